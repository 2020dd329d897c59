#include <TavrineShared/parsers/process_kinds.h>

#include <algorithm>
#include <optional>

namespace tavrine::process_kinds {

namespace {

constexpr std::array<std::string_view, 5> kSystemOwners = {
    "root", "daemon", "messagebus", "systemd-network", "systemd-resolve"};

// Both texts as they stand: no keyword has a blank, so none spans the one between them.
std::optional<ProcessKind> kindByKeyword(std::string_view executable, std::string_view command) {
  static const KeywordTable table(kKeywords);
  const std::array<std::string_view, 2> texts = {executable, command};
  const std::optional<std::size_t> rank = table.lowestRank(texts);
  if (!rank) return std::nullopt;
  return ProcessKind::kEntries[*rank].value;
}

}  // namespace

ProcessKind classify(std::string_view executable, std::string_view command,
                     std::string_view owner) {
  if (const std::optional<ProcessKind> kind = kindByKeyword(executable, command)) return *kind;
  const bool isSystem =
      std::find(kSystemOwners.begin(), kSystemOwners.end(), owner) != kSystemOwners.end();
  return isSystem ? ProcessKind::system : ProcessKind::other;
}

}  // namespace tavrine::process_kinds
