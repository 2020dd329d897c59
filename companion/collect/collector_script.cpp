#include "companion/collect/collector_script.h"

#include "companion/capture/capture.h"
#include "companion/collect/queries.h"
#include "companion/collect/shell_quote.h"

#include <TavrineShared/foundation/ascii.h>

#include <cstdint>
#include <random>

namespace tavrine {

namespace {

// `piece NAME COMMAND` runs a command and frames what it prints. Where the host has the tool, no
// command takes longer than allowed. A command that prints without end is cut off by who listens.
// A login shell may have left a line without its end.
constexpr std::string_view kFunctions = R"sh(
LC_ALL=C; export LC_ALL
limit="timeout -k 2 $seconds"
$limit true </dev/null >/dev/null 2>&1 || limit=
begin() { printf '\n%s begin %s\n' "$word" "$1"; }
end() { printf '\n%s end %s %s\n' "$word" "$1" "$2"; }
piece() { begin "$1"; $limit sh -c "$2" </dev/null 2>/dev/null; end "$1" $?; }
text() { begin "$1"; printf '%s' "$2"; end "$1" 0; }
age() {
  begin "$1"
  now=$(date +%s) && changed=$(stat -c %Y -- "$2" 2>/dev/null) && printf %s $((now - changed))
  end "$1" $?
}
)sh";

// Of one kind of file: those that match a pattern and can be read. Links are passed over: anybody
// could make one to what only the user who asks may read. With IFS empty a pattern may
// hold blanks. There may be thousands; nobody wants to see more than some.
constexpr std::string_view kFilesLoop = R"sh(
count=0
IFS=
for file in PATTERNS; do
  if [ -L "$file" ] || [ ! -f "$file" ] || [ ! -r "$file" ]; then continue; fi
  count=$((count + 1))
  if [ "$count" -gt MOST ]; then continue; fi
  unset IFS
  text KIND-path "$file"
  age KIND-age "$file"
  begin KIND-text
  $limit COMMAND </dev/null 2>/dev/null
  end KIND-text $?
  IFS=
done
unset IFS
if [ "$count" -gt MOST ]; then text KIND-left-out $((count - MOST)); fi
)sh";

std::string replaced(std::string text, std::string_view what, std::string_view with) {
  for (std::size_t at = text.find(what); at != std::string::npos;
       at = text.find(what, at + with.size())) {
    text.replace(at, what.size(), with);
  }
  return text;
}

// Quoted but for what makes it a pattern, and for the home that it may begin with.
std::string patternWord(std::string_view pattern) {
  constexpr std::string_view kHome = "~/";
  std::string word;
  if (pattern.starts_with(kHome)) {
    word = "\"$HOME\"/";
    pattern.remove_prefix(kHome.size());
  }
  std::string plain;
  const auto flush = [&] {
    if (!plain.empty()) word += shellQuoted(plain);
    plain.clear();
  };
  bool isInBrackets = false;
  for (const char c : pattern) {
    // Quoted, the signs within brackets would stand for themselves only.
    const bool isSpecial = c == '*' || c == '?' || c == '[' || c == ']' ||
                           (isInBrackets && (c == '-' || c == '!' || c == '^'));
    isInBrackets = c == '[' || (isInBrackets && c != ']');
    if (isSpecial) flush();
    (isSpecial ? word : plain) += c;
  }
  flush();
  return word;
}

std::string filesLoop(std::string_view kind, const std::string& words, const std::string& command) {
  if (words.empty()) return "";
  std::string loop = replaced(std::string(kFilesLoop), "KIND", kind);
  loop = replaced(std::move(loop), "MOST", std::to_string(kMostFilesOfKind));
  loop = replaced(std::move(loop), "COMMAND", command);
  return replaced(std::move(loop), "PATTERNS", words);
}

std::string filesLoop(std::string_view kind, const std::vector<std::string>& patterns,
                      const std::string& command) {
  std::string words;
  for (const std::string& pattern : patterns) words += patternWord(pattern) + " ";
  return filesLoop(kind, words, command);
}

std::string piece(std::string_view name, const std::string& command) {
  return "piece " + std::string(name) + " " + shellQuoted(command) + "\n";
}

}  // namespace

std::string makeWord() {
  std::random_device random;
  std::string word = "tavrine-";
  for (int i = 0; i < 4; ++i) {
    std::uint32_t bits = random();
    for (int digit = 0; digit < 8; ++digit, bits >>= 4U) word += ascii::kHexDigits[bits & 0xFU];
  }
  return word;
}

std::string collectorScript(const CollectorOptions& options, std::string_view word) {
  std::string script = "word=" + std::string(word) + "\n";
  script += "seconds=" + std::to_string(options.commandSeconds) + "\n";
  script += kFunctions;
  script += piece(commands::kGPUs.command, gpuQueryCommand());
  script += piece(commands::kGPUProcesses.command, gpuProcessQueryCommand());
  script += piece(commands::kProcesses.command, processQueryCommand());
  script += piece(commands::kLoad.command, loadQueryCommand());
  script += piece(commands::kDisks.command, diskQueryCommand());
  script += piece(commands::kThermal.command, thermalQueryCommand());
  script += piece(commands::kDiskFree.command, diskFreeQueryCommand(options.disks));
  script += filesLoop(kTrainingLogPiece, options.trainingLogs, trainingLogQueryOfVariable("file"));
  script += filesLoop(kRecorderLogPiece, options.recorderLogs, recorderQueryOfVariable("file"));
  if (options.agentFolder) {
    script +=
        filesLoop(kAgentFilePiece, shellPath(*options.agentFolder) + "/*.json", "cat -- \"$file\"");
  }
  if (options.agentCommand) script += piece(kAgentCommandPiece, *options.agentCommand);
  script += "text " + std::string(kLastPiece) + " ''\n";
  return script;
}

}  // namespace tavrine
