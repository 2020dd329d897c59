// Any text as a JSON list of servers with their GPUs. What must hold:
//  - decoding throws nothing but DecodingError, and does the same with and without findings;
//  - a list of servers is its elements, decoded one by one: the first bad one fails it;
//  - a list of GPUs is its good elements, and every other loss is told, where it stood;
//  - what was decoded encodes, and decodes to itself, with the same text when encoded again.
#include <TavrineShared/foundation/json_reader.h>
#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/gpu_server.h>
#include <TavrineShared/model/json_conventions.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/decoded.h"
#include "fuzz/require.h"
#include "tests/support/naive_nvidia_smi_parser.h"
#include "tests/support/naive_text.h"

namespace tavrine::fuzz {
namespace {

using Servers = std::vector<ServerSummary>;

bool areSameBits(const ServerSummary& a, const ServerSummary& b) {
  return a.id == b.id && a.name == b.name && a.host == b.host && a.state == b.state &&
         naive::areSameBits(a.gpus, b.gpus) && a.activeRuns == b.activeRuns &&
         naive::areSameBits(a.diskFreeGB, b.diskFreeGB) &&
         naive::areSameBits(a.lastSeen.time_since_epoch().count(),
                            b.lastSeen.time_since_epoch().count());
}

bool areSameBits(const Servers& a, const Servers& b) {
  return std::equal(
      a.begin(),
      a.end(),
      b.begin(),
      b.end(),
      [](const ServerSummary& x, const ServerSummary& y) { return areSameBits(x, y); });
}

/// The elements of a list, as they stand in the document; no value where there is no list.
std::optional<std::vector<std::string_view>> elementsOf(std::string_view json) {
  JSONReader reader(json);
  if (reader.enterList() != JSONResult::ok) return std::nullopt;
  std::vector<std::string_view> elements;
  while (reader.nextElement()) {
    const char* const start = reader.position();
    reader.skip();
    elements.emplace_back(start, reader.position());
  }
  return elements;
}

std::string indexed(std::size_t i) { return "[" + std::to_string(i) + "]"; }

std::string textIn(std::string_view json) { return decode<std::string>(json); }

void requireIsUUID(std::string_view json, const UUID& uuid) {
  std::string text = textIn(json);
  for (char& c : text) c = static_cast<char>(c >= 'a' && c <= 'f' ? c - 'a' + 'A' : c);
  require(uuid.text() == text, "a UUID is its text in upper case");
}

/// Whether an offset, if there is one, moves the time by its hours and minutes.
void requireIsTime(std::string_view json, Timestamp time) {
  const std::string text = textIn(json);
  constexpr std::size_t kWithoutZone = 19;
  const std::optional<Timestamp> local = timestampFromISO8601(text.substr(0, kWithoutZone) + "Z");
  require(local.has_value() && iso8601Text(*local) == text.substr(0, kWithoutZone) + "Z",
          "a time in UTC is its text");
  const std::string zone = text.substr(kWithoutZone);
  int hours = 0;
  int minutes = 0;
  char sign = 'Z';
  require(zone == "Z" || (zone.size() == 6 &&
                          std::sscanf(zone.c_str(), "%c%2d:%2d", &sign, &hours, &minutes) == 3),
          "a time zone is Z or an offset");
  const double offset = (hours * 60 + minutes) * (sign == '-' ? -60 : 60);
  require((*local - time).count() == offset, "an offset is what the zone is ahead of UTC");
}

/// What is lost in a server that decodes, found out by decoding each of its GPUs alone.
struct Losses {
  std::vector<std::string> paths;  ///< of the GPUs that are dropped
  std::size_t lists = 0;           ///< that are no lists
  std::size_t repeated = 0;        ///< values of keys that had one

  void addGPUs(std::string_view json, const std::string& path, const std::vector<GPUStat>& kept) {
    const auto elements = elementsOf(json);
    if (!elements) {
      lists += json == "null" ? 0U : 1U;
      require(kept.empty(), "what is no list has no GPUs");
      return;
    }
    std::vector<GPUStat> good;
    for (std::size_t i = 0; i < elements->size(); ++i) {
      Findings findings = roomyFindings();
      const Decoded<GPUStat> gpu((*elements)[i], &findings);
      repeated += findings.count();
      if (gpu.value) {
        good.push_back(*gpu.value);
      } else {
        paths.push_back(path + indexed(i));
      }
    }
    require(naive::areSameBits(kept, good), "a list of GPUs is its good elements");
  }

  void addServer(std::string_view json, const std::string& path, const ServerSummary& server) {
    std::set<std::string_view> left;
    for (const Field& field : ServerSummary::table().fields) left.insert(field.key);
    const std::set<std::string_view> known = left;
    std::string firstValues = "{";
    JSONReader reader(json);
    reader.enterObject();
    std::string_view view;
    while (reader.nextKey(view)) {
      const std::string key(view);
      const char* const start = reader.position();
      reader.skip();
      const std::string_view value(start, reader.position());
      if (!known.contains(key)) continue;
      if (left.erase(key) == 0) {
        ++repeated;
        continue;
      }
      firstValues += (firstValues.size() > 1 ? ",\"" : "\"") + key + "\":" + std::string(value);
      if (key == "gpus") addGPUs(value, path + ".gpus", server.gpus);
      if (key == "id") requireIsUUID(value, server.id);
      if (key == "lastSeen") requireIsTime(value, server.lastSeen);
    }
    require(areSameBits(decode<ServerSummary>(firstValues + "}"), server),
            "of each key the first value counts, and other keys do not");
  }
};

void requireErrorMakesSense(std::string_view document, const DecodingError& error) {
  requireErrorIsTold(document, error);
  if (error.kind() == DecodingError::Kind::notJSON) return;

  const auto elements = elementsOf(document);
  if (!elements) {
    require(error.path().empty(), "what is no list fails as a whole");
    return;
  }
  for (std::size_t i = 0; i < elements->size(); ++i) {
    const Decoded<ServerSummary> server((*elements)[i], nullptr);
    if (server.value) continue;
    const std::string& inner = server.error.path();
    const DecodingError want(server.error.kind(),
                             indexed(i) + (inner.empty() ? "" : "." + inner),
                             server.error.reason(),
                             server.error.found());
    require(areSame(error, want), "a list of servers fails with its first bad one");
    return;
  }
  require(false, "a list fails with one of its elements");
}

void requireFindingsAccountForLosses(std::string_view document, const Servers& servers,
                                     const Findings& findings) {
  const auto elements = elementsOf(document);
  require(elements && elements->size() == servers.size(), "no server is dropped");
  Losses losses;
  for (std::size_t i = 0; i < servers.size(); ++i) {
    losses.addServer((*elements)[i], indexed(i), servers[i]);
  }
  requireFindingsAreTold(findings);
  std::vector<std::string> told;
  for (const Finding& finding : findings.list()) {
    if (finding.outcome == FindingOutcome::elementDropped) told.push_back(finding.path);
  }
  require(told == losses.paths, "each dropped GPU is told by its path, in their order");
  require(findings.count(FindingOutcome::listEmptied) == losses.lists, "what is no list is told");
  require(findings.count(FindingOutcome::ignored) == losses.repeated, "repeated keys are told");
  require(findings.count() == losses.paths.size() + losses.lists + losses.repeated,
          "nothing else is told");
}

void requireEncodes(const Servers& servers) {
  std::string compact;
  try {
    compact = encode(servers);
  } catch (const EncodingError& error) {
    // The offset of a time can lead out of the years that have a text.
    require(std::any_of(servers.begin(),
                        servers.end(),
                        [](const ServerSummary& server) { return !iso8601Text(server.lastSeen); }),
            "what was decoded encodes");
    require(error.path().ends_with(".lastSeen"), "an error of encoding tells its path");
    return;
  }
  const std::string pretty = encode(servers, JSONStyle::pretty);
  for (const std::string& text : {compact, pretty}) {
    Findings findings;
    const auto again = decode<Servers>(text, &findings);
    require(again == servers, "servers decode to themselves");
    require(findings.count() == 0, "nothing is lost in what was encoded");
    require(encode(again) == compact && encode(again, JSONStyle::pretty) == pretty,
            "servers encode to the same text again");
    for (std::size_t i = 0; i < servers.size(); ++i) {
      require(std::hash<ServerSummary>()(again[i]) == std::hash<ServerSummary>()(servers[i]),
              "equal servers have equal hashes");
    }
  }
}

}  // namespace
}  // namespace tavrine::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tavrine;
  using namespace tavrine::fuzz;
  const std::string_view document(reinterpret_cast<const char*>(data), size);

  const Decoded<Servers> decoded(document, nullptr);
  Findings findings = roomyFindings();
  Findings counts(0);
  for (Findings* const told : {&findings, &counts}) {
    const Decoded<Servers> again(document, told);
    require(again.value.has_value() == decoded.value.has_value(), "findings change no outcome");
    require(decoded.value ? areSameBits(*again.value, *decoded.value)
                          : areSame(again.error, decoded.error),
            "findings change no value and no error");
  }
  if (!decoded.value) {
    requireErrorMakesSense(document, decoded.error);
    return 0;
  }
  requireSameCounts(counts, findings);
  requireFindingsAccountForLosses(document, *decoded.value, findings);
  requireEncodes(*decoded.value);
  return 0;
}
