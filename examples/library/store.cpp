#include <TavrineShared/tavrine_shared.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>

using namespace tavrine;

namespace fs = std::filesystem;

void writeAndRead(const fs::path& file) {
  SnapshotDiskStore::write(SampleData::snapshot(60), file);
  if (const auto snapshot = SnapshotDiskStore::read(file)) {
    std::cout << snapshot->servers.size() << " servers, " << snapshot->runs.size() << " runs\n";
  }
}

void why(const fs::path& file) {
  std::ofstream(file) << R"({"timestamp": "2026-11-15T17:48:25Z", "runs": ["none"]})";
  Findings findings;
  const AppSnapshot snapshot = SnapshotDiskStore::readOrThrow(file, &findings);
  std::cout << snapshot.runs.size() << " runs, " << findings.lossCount()
            << " loss: " << findings.list().front().reason << '\n';

  std::ofstream(file) << "not a snapshot";
  std::cout << (SnapshotDiskStore::read(file) ? "a snapshot" : "none") << '\n';
  try {
    SnapshotDiskStore::readOrThrow(file);
  } catch (const DecodingError& error) {
    std::cout << error.what() << '\n';
  }
  fs::remove(file);
  try {
    SnapshotDiskStore::readOrThrow(file);
  } catch (const fs::filesystem_error& error) {
    std::cout << error.code().message() << '\n';
  }
}

void demo() {
  for (const std::int64_t tick : {60, 61, 63}) {
    const AppSnapshot lab = SampleData::snapshot(tick);
    std::cout << "tick " << tick << ": " << lab.averageGPUUtilization() << " %, "
              << lab.runs.front().name << " " << lab.runs.front().status.title() << '\n';
  }
}

int main() {
  // A program would take SnapshotDiskStore::defaultURL(), which is ~/.tavrine/latest.json.
  const fs::path file = "latest.json";
  writeAndRead(file);
  why(file);
  demo();
}
