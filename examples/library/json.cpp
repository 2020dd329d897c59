#include <TavrineShared/tavrine_shared.h>

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

using namespace tavrine;

void thereAndBack() {
  const std::vector<CPUTemperature> sensors = {{"x86_pkg_temp", 64.5}, {"nvme", 41}};
  const std::string text = encode(sensors);
  std::cout << text << '\n' << encode(sensors.front(), JSONStyle::pretty) << '\n';
  std::cout << (decode<std::vector<CPUTemperature>>(text) == sensors ? "the same" : "another")
            << '\n';
}

void strict() {
  for (const std::string text : {R"({"label": "nvme"})",
                                 R"({"label": "nvme", "celsius": null})",
                                 R"({"label": "nvme", "celsius": "41"})",
                                 R"({"label": "nvme", "celsius": 41,})"}) {
    try {
      decode<CPUTemperature>(text);
    } catch (const DecodingError& error) {
      std::cout << error.what() << '\n';
    }
  }
}

void lenient() {
  const std::string text = R"({
    "id": "0F8FAD5B-D9CB-469F-A165-70867728950E", "name": "gpu-01", "host": "10.0.1.42",
    "state": "connected", "activeRuns": 1, "lastSeen": "2026-11-15T17:48:25Z",
    "gpus": [null, {"index": 0}]})";
  Findings findings;
  const auto server = decode<ServerSummary>(text, &findings);
  std::cout << server.name << " with " << server.gpus.size() << " GPUs\n";
  for (const Finding& finding : findings.list()) {
    std::cout << finding.path << ": " << finding.outcome.title() << ": " << finding.reason << '\n';
  }
}

void ownLimit() {
  Findings few(1);
  NVIDIASMIParser::parseCSV("no line\nof this\nis a GPU\n", &few);
  std::cout << few.list().size() << " kept, " << few.count() << " met, of which "
            << few.count(FindingOutcome::lineDropped) << " are dropped lines\n";
}

void unwritable() {
  try {
    encode(CPUTemperature{.label = "nvme", .celsius = std::numeric_limits<double>::quiet_NaN()});
  } catch (const EncodingError& error) {
    std::cout << error.what() << '\n';
  }
}

void inPieces() {
  const std::vector<CPUTemperature> sensors(100'000, CPUTemperature{"nvme", 41});
  std::size_t bytes = 0;
  std::size_t longest = 0;
  encode(sensors, JSONStyle::compact, [&](std::string_view piece) {
    bytes += piece.size();
    longest = std::max(longest, piece.size());
  });
  std::cout << bytes << " bytes, never more than " << longest << " at once\n";
}

void schema() {
  std::cout << jsonSchema(CPUTemperature::table(), JSONStyle::compact).substr(0, 60) << "...\n";
}

int main() {
  thereAndBack();
  strict();
  lenient();
  ownLimit();
  unwritable();
  inPieces();
  schema();
}
