#include "companion/assemble/agent_reports.h"

#include "companion/shell/encodable.h"

#include <TavrineShared/foundation/json_reader.h>
#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/model/json_conventions.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tavrine {

namespace {

template <class R>
struct ReportedRecords {
  std::vector<R> records;

  static const RecordTable& table() {
    using Report = ReportedRecords;
    static constexpr auto fields = fieldsOf<Report>(lossyList<&Report::records>());
    static constexpr RecordTable table{"ReportedRecords", fields};
    return table;
  }
};

template <class R>
void stamp(R& record, const std::string& server) {
  if constexpr (requires { record.withServerName(server); }) {
    record = record.withServerName(server);
  } else {
    record.serverName = server;
  }
}

void tellIgnored(std::string_view path, std::string_view reason, Findings& findings) {
  findings.add(FindingOutcome::ignored, [&] {
    Finding finding{};
    finding.path = excerpt(path);
    finding.reason = reason;
    return finding;
  });
}

bool isOneValue(std::string_view document) {
  JSONReader reader(document);
  reader.skip();
  return reader.finish();
}

// A record or a list of them becomes the one list of a document, which drops what is no use.
template <auto Records>
void addReport(std::string_view report, const std::string& server, AppSnapshot& snapshot,
               Findings& findings) {
  auto& all = snapshot.*Records;
  using R = typename std::decay_t<decltype(all)>::value_type;
  const std::string_view content = trimmed(report);
  // What is not whole might be, once it is part of a document.
  if (!isOneValue(content)) return tellIgnored("", "not JSON", findings);
  std::string document = R"({"records":)";
  const bool isList = content.starts_with('[');
  document.append(isList ? "" : "[").append(content).append(isList ? "}" : "]}");
  auto decoded = decode<ReportedRecords<R>>(document, &findings);
  for (R& record : decoded.records) stamp(record, server);
  keepEncodable(decoded.records, "records", findings);
  std::move(decoded.records.begin(), decoded.records.end(), std::back_inserter(all));
}

struct Report {
  std::string_view name;
  void (*add)(std::string_view report, const std::string& server, AppSnapshot& snapshot,
              Findings& findings);
};

constexpr auto kReports = std::to_array<Report>({
    {"status", addReport<&AppSnapshot::agentStatuses>},
    {"usage", addReport<&AppSnapshot::usageSummaries>},
    {"network", addReport<&AppSnapshot::networkSummaries>},
    {"lab_events", addReport<&AppSnapshot::labEvents>},
    {"lab_event_store", addReport<&AppSnapshot::labEventStores>},
    {"recorder_health", addReport<&AppSnapshot::recorderHealth>},
    {"model_manager", addReport<&AppSnapshot::modelManagers>},
});

void addNamed(std::string_view name, std::string_view report, const std::string& server,
              AppSnapshot& snapshot, Findings& findings) {
  const auto* const known = std::find_if(kReports.begin(), kReports.end(), [&](const Report& each) {
    return each.name == name;
  });
  if (known == kReports.end()) return tellIgnored(name, "no report has this name", findings);
  try {
    known->add(report, server, snapshot, findings);
  } catch (const DecodingError& error) {
    tellIgnored(name, error.what(), findings);
  }
}

// The members of the object, each a document of its own.
void addAll(std::string_view document, const std::string& server, AppSnapshot& snapshot,
            Findings& findings) {
  struct Member {
    std::string name;
    std::string_view report;
  };
  std::vector<Member> members;
  JSONReader reader(document);
  if (reader.enterObject() == JSONResult::ok) {
    for (std::string_view key; reader.nextKey(key);) {
      std::string name(key);
      const char* const start = reader.position();
      reader.skip();
      members.push_back({std::move(name), {start, reader.position()}});
    }
  }
  if (!reader.finish() || !trimmed(document).starts_with('{')) {
    return tellIgnored("", "not the JSON of an object", findings);
  }
  for (const Member& member : members) {
    addNamed(member.name, member.report, server, snapshot, findings);
  }
}

}  // namespace

void addAgentReports(const Capture& capture, AppSnapshot& snapshot, FindingsBook& book) {
  constexpr std::string_view kEnding = ".json";
  const std::string prefix = std::string(kAgentFolder) + "/";
  for (const auto& [path, text] : capture.texts) {
    if (!path.starts_with(prefix)) continue;
    Findings& findings = book.open(capture.info.server + "/" + path);
    std::string_view name = std::string_view(path).substr(prefix.size());
    if (!name.ends_with(kEnding)) {
      tellIgnored("", "its name does not end in .json", findings);
      continue;
    }
    name.remove_suffix(kEnding.size());
    if (name == kAllReports) {
      addAll(text, capture.info.server, snapshot, findings);
    } else {
      addNamed(name, text, capture.info.server, snapshot, findings);
    }
  }
}

}  // namespace tavrine
