// A whole snapshot as pretty JSON, tens of megabytes of every kind of record, beside simdjson (the
// fastest parser there is) and nlohmann/json (the one most people use).

#include <TavrineShared/model/app_snapshot.h>
#include <TavrineShared/model/json_conventions.h>
#include <TavrineShared/store/snapshot_disk_store.h>

#include "benchmarks/comparison.h"
#include "benchmarks/json_tasks.h"
#include "benchmarks/large_lab.h"
#include "benchmarks/nlohmann_records.h"
#include "tests/support/temporary_folder.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iomanip>
#include <ostream>
#include <random>
#include <streambuf>
#include <string>
#include <string_view>
#include <utility>

namespace tavrine::benchmarks {

namespace {

// The same values with the keys of every object in random order, as agents may send them.
std::string withShuffledKeys(const std::string& document) {
  std::mt19937 random(7);
  const std::function<nlohmann::ordered_json(const nlohmann::ordered_json&)> shuffled =
      [&](const nlohmann::ordered_json& value) -> nlohmann::ordered_json {
    if (value.is_array()) {
      auto list = nlohmann::ordered_json::array();
      for (const auto& element : value) list.push_back(shuffled(element));
      return list;
    }
    if (!value.is_object()) return value;
    std::vector<std::string> keys;
    for (const auto& [key, member] : value.items()) keys.push_back(key);
    std::shuffle(keys.begin(), keys.end(), random);
    auto object = nlohmann::ordered_json::object();
    for (const std::string& key : keys) object[key] = shuffled(value[key]);
    return object;
  };
  return shuffled(nlohmann::ordered_json::parse(document)).dump(2);
}

// Takes what is written to a stream and keeps nothing.
class ByteSink : public std::streambuf {
 protected:
  int_type overflow(int_type c) override { return traits_type::not_eof(c); }
  std::streamsize xsputn(const char* bytes, std::streamsize count) override {
    benchmark::DoNotOptimize(bytes);
    return count;
  }
};

std::string badProcesses(std::size_t count) {
  constexpr std::string_view kKinds[] =
      {R"({"pid":1})", "7", "null", R"({"pid":"x","owner":3})", R"({"pid":1e999})", "\"text\""};
  std::string document = R"({"timestamp":"2026-01-01T00:00:00Z","processes":[)";
  for (std::size_t i = 0; i < count; ++i) {
    if (i != 0) document += ',';
    document += kKinds[i % std::size(kKinds)];
  }
  return document + "]}";
}

int run(int argc, char** argv) {
  keepHeap();
  const AppSnapshot snapshot = largeLab();
  const AppSnapshot twin = snapshot;
  const std::string pretty = encode(snapshot, JSONStyle::pretty);
  const std::string shuffled = withShuffledKeys(pretty);
  const simdjson::padded_string padded(pretty);

  // Figures beside somebody who does other work would say nothing.
  if (decode<AppSnapshot>(shuffled) != snapshot ||
      nlohmann::json::parse(pretty).get<AppSnapshot>() != snapshot ||
      decode<AppSnapshot>(nlohmann::json(snapshot).dump(2)) != snapshot) {
    std::fprintf(stderr, "the sides do not read and write the same snapshot\n");
    return 1;
  }

  const auto decoding = [](const std::string& document) {
    return [&document] { return decode<AppSnapshot>(document); };
  };

  Comparison table("A snapshot of " + std::to_string(snapshot.servers.size()) + " servers, " +
                   std::to_string(pretty.size() / 1'000'000) + " MB of pretty JSON; simdjson " +
                   "runs its " + simdjson::get_active_implementation()->name() + " code");
  table.making("decode", pretty.size(), decoding(pretty));
  table.making("decode, fresh memory", pretty.size(), decoding(pretty), giveBackHeap);
  table.making("decode, keys shuffled", shuffled.size(), decoding(shuffled));
  table.task("validate", pretty.size(), validation(pretty));
  table.making("encode", pretty.size(), [&snapshot] {
    return encode(snapshot, JSONStyle::pretty);
  });
  table.task("encode, in pieces", pretty.size(), [&snapshot] {
    encode(snapshot, JSONStyle::pretty, [](std::string_view piece) {
      benchmark::DoNotOptimize(piece.data());
    });
  });
  table.task("hash", pretty.size(), [&snapshot] {
    benchmark::DoNotOptimize(std::hash<AppSnapshot>()(snapshot));
  });
  table.task("compare two equal ones", pretty.size(), [&snapshot, &twin] {
    bool areEqual = snapshot == twin;
    benchmark::DoNotOptimize(areEqual);
  });
  table.making("simdjson raw parse", pretty.size(), rawParse(padded), giveBackHeap);
  table.task("simdjson raw parse, warm", pretty.size(), warmRawParse(padded));
  table.making("nlohmann decode by macros", pretty.size(), [&pretty] {
    return nlohmann::json::parse(pretty).get<AppSnapshot>();
  });
  table.making("nlohmann to_json and dump(2)", pretty.size(), [&snapshot] {
    return nlohmann::json(snapshot).dump(2);
  });
  table.task("nlohmann to_json and <<", pretty.size(), [&snapshot] {
    ByteSink sink;
    std::ostream(&sink) << std::setw(2) << nlohmann::json(snapshot);
  });
  // The store syncs what it wrote, which nobody else does here; but that is waiting, not CPU time.
  const TemporaryFolder folder;
  const std::filesystem::path ours = folder / "ours.json";
  const std::filesystem::path theirs = folder / "theirs.json";
  SnapshotDiskStore::write(snapshot, ours);
  table.task("store: write", pretty.size(), [&snapshot, &ours] {
    SnapshotDiskStore::write(snapshot, ours);
  });
  table.making("store: read", pretty.size(), [&ours] { return SnapshotDiskStore::read(ours); });
  table.task("nlohmann dump(2) to a file", pretty.size(), [&snapshot, &theirs] {
    std::ofstream(theirs) << nlohmann::json(snapshot).dump(2);
  });
  table.making("nlohmann parse of a file", pretty.size(), [&ours] {
    std::ifstream file(ours);
    return nlohmann::json::parse(file).get<AppSnapshot>();
  });
  std::string copy(pretty.size(), ' ');
  table.task("memcpy of the document", pretty.size(), [&pretty, &copy] {
    std::copy(pretty.begin(), pretty.end(), copy.begin());
    benchmark::DoNotOptimize(copy.data());
  });

  table.row("decode, fresh memory", "simdjson raw parse", 0.45, 0.7);
  table.row("decode", "simdjson raw parse, warm", 0.45, 0.7);
  table.row("decode", "nlohmann decode by macros", 9, 20);
  table.row("decode, keys shuffled", "decode", 0.55, 0.8);
  table.row("validate", "simdjson raw parse", 0.85, 1.2);
  table.row("validate", "simdjson raw parse, warm", 0.85, 1.2);
  table.row("encode", "nlohmann to_json and dump(2)", 6, 12);
  table.row("encode, in pieces", "nlohmann to_json and <<", 6, 12);
  table.row("store: read", "nlohmann parse of a file");
  table.row("store: write", "nlohmann dump(2) to a file");
  table.row("decode", "memcpy of the document");
  table.row("encode", "memcpy of the document");
  table.row("hash", "memcpy of the document");
  table.row("compare two equal ones", "memcpy of the document");

  const std::size_t added = peakAllocation([&pretty] { decode<AppSnapshot>(pretty); });
  table.figure("memory added by decoding, of the document",
               static_cast<double>(added) / static_cast<double>(pretty.size()),
               "",
               1.1);
  const std::string bad = badProcesses(1'000'000);
  table.figure("a lenient list of 1,000,000 bad elements",
               bestSeconds(7, [&bad] { benchmark::DoNotOptimize(decode<AppSnapshot>(bad)); }),
               "s",
               0.15);
  return table.run(argc, argv);
}

}  // namespace

}  // namespace tavrine::benchmarks

int main(int argc, char** argv) { return tavrine::benchmarks::run(argc, argv); }
