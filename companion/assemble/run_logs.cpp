#include "companion/assemble/run_logs.h"

#include <set>
#include <string_view>

namespace tavrine {

std::vector<RunLogs> runLogsOf(const Capture& capture) {
  std::set<std::string> names;
  const std::string prefix = std::string(kRunsFolder) + "/";
  for (auto each = capture.texts.lower_bound(prefix);
       each != capture.texts.end() && each->first.starts_with(prefix);
       ++each) {
    names.insert(each->first.substr(prefix.size(), each->first.rfind('/') - prefix.size()));
  }
  std::vector<RunLogs> runs;
  for (const std::string& name : names) {
    const auto file = [&](std::string_view which) {
      return capture.text(prefix + name + "/" + std::string(which));
    };
    RunLogs logs{name, file(kTrainingLogFile), file(kRecorderLogFile), capture.run(name)};
    if (logs.training != nullptr || logs.recorder != nullptr) runs.push_back(logs);
  }
  return runs;
}

}  // namespace tavrine
