// JSON: a list of servers, tens of megabytes, decoded, validated and written, beside simdjson (the
// fastest parser there is) and nlohmann/json (the one most people use).
//
// simdjson's part is only its raw parse into a DOM, without taking one value out of it. It stands
// here twice: with a parser made for the document, which has to find its memory as our decoder has
// to, and with a parser that has been warmed up on the same document before, which has not.
// nlohmann/json decodes into the same records through its macros, with identifiers and times kept
// as plain texts, which spares it their conversion.

#include <TavrineShared/foundation/json_reader.h>
#include <TavrineShared/model/gpu_server.h>
#include <TavrineShared/model/json_conventions.h>
#include <TavrineShared/model/stable_id.h>

#include "benchmarks/comparison.h"

#include <benchmark/benchmark.h>
#include <simdjson.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <random>

template <class T>
struct nlohmann::adl_serializer<std::optional<T>> {
  static void from_json(const json& j, std::optional<T>& value) {
    if (j.is_null()) {
      value.reset();
    } else {
      value = j.get<T>();
    }
  }
  static void to_json(json& j, const std::optional<T>& value) {
    if (value) {
      j = *value;
    } else {
      j = nullptr;
    }
  }
};

namespace twin {

struct GPU {
  std::int64_t index{};
  std::string name;
  double utilizationPercent{}, memoryUsedMB{}, memoryTotalMB{}, temperatureC{}, powerDrawW{},
      powerLimitW{};
  std::optional<double> fanSpeedPercent, smClockMHz, memClockMHz;
  std::optional<std::int64_t> eccErrorsTotal, pcieLinkGen, pcieLinkWidth;
  std::optional<std::string> pstate;
};
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(GPU, index, name, utilizationPercent, memoryUsedMB,
                                                memoryTotalMB, temperatureC, powerDrawW,
                                                powerLimitW, fanSpeedPercent, smClockMHz,
                                                memClockMHz, eccErrorsTotal, pcieLinkGen,
                                                pcieLinkWidth, pstate)

struct Server {
  std::string id, name, host, state;
  std::vector<GPU> gpus;
  std::int64_t activeRuns{};
  std::optional<double> diskFreeGB;
  std::string lastSeen;
};
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Server, id, name, host, state, gpus, activeRuns,
                                                diskFreeGB, lastSeen)

}  // namespace twin

namespace tavrine::benchmarks {

namespace {

using Servers = std::vector<ServerSummary>;

Servers makeServers(std::size_t count) {
  std::mt19937 random(42);
  // A reading between the limits with the given number of steps to one, such as 10 for tenths.
  const auto reading = [&random](int low, int high, int steps) {
    return std::uniform_int_distribution<int>(low * steps, high * steps)(random) /
           static_cast<double>(steps);
  };
  Servers servers;
  for (std::size_t i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    ServerSummary server{
        .id = StableID::uuid("server-" + number),
        .name = "gpu-" + number,
        .host = "10.0." + std::to_string(i / 256 % 256) + "." + std::to_string(i % 256),
        .state = ServerConnectionState::connected,
        .gpus = {},
        .activeRuns = static_cast<std::int64_t>(i % 4),
        .diskFreeGB = reading(10, 4000, 10),
        .lastSeen = Timestamp(std::chrono::seconds(1'700'000'000 + i)),
    };
    for (std::int64_t g = 0; g < 8; ++g) {
      server.gpus.push_back({
          .index = g,
          .name = "NVIDIA H100 80GB HBM3",
          .utilizationPercent = reading(0, 100, 1),
          .memoryUsedMB = reading(0, 81559, 1),
          .memoryTotalMB = 81559,
          .temperatureC = reading(30, 90, 1),
          .powerDrawW = reading(60, 700, 100),
          .powerLimitW = 700,
          .fanSpeedPercent = g % 2 == 0 ? std::optional(reading(20, 100, 1)) : std::nullopt,
          .smClockMHz = reading(345, 1980, 1),
          .memClockMHz = 2619,
          .eccErrorsTotal = 0,
          .pcieLinkGen = 5,
          .pcieLinkWidth = 16,
          .pstate = "P0",
      });
    }
    servers.push_back(std::move(server));
  }
  return servers;
}

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

std::string badElements(std::size_t count) {
  constexpr std::string_view kKinds[] = {R"({"index":1})",
                                         "7",
                                         "null",
                                         R"({"index":"x","name":3})",
                                         R"({"index":1e999})",
                                         "\"text\""};
  std::string document =
      R"([{"id":"00000000-0000-0000-0000-000000000000","name":"a","host":"b",)"
      R"("state":"demo","activeRuns":0,"lastSeen":"2026-01-01T00:00:00Z","gpus":[)";
  for (std::size_t i = 0; i < count; ++i) {
    if (i != 0) document += ',';
    document += kKinds[i % std::size(kKinds)];
  }
  return document + "]}]";
}

int run(int argc, char** argv) {
  const Servers servers = makeServers(10'000);
  const std::string pretty = encode(servers, JSONStyle::pretty);
  const std::string compact = encode(servers);
  const std::string shuffled = withShuffledKeys(pretty);
  const simdjson::padded_string prettyPadded(pretty);
  const simdjson::padded_string compactPadded(compact);
  const auto twins = nlohmann::json::parse(pretty).get<std::vector<twin::Server>>();
  simdjson::dom::parser warmParser;

  const auto decodeServers = [](const std::string& document) {
    return [&document] { benchmark::DoNotOptimize(decode<Servers>(document)); };
  };
  const auto validate = [](const std::string& document) {
    return [&document] {
      JSONReader reader(document);
      const bool isJSON = reader.skip() && reader.finish();
      benchmark::DoNotOptimize(isJSON);
    };
  };
  const auto rawParse = [](const simdjson::padded_string& document) {
    return [&document] {
      simdjson::dom::parser parser;
      benchmark::DoNotOptimize(parser.parse(document).error());
    };
  };
  const auto rawParseWarm = [&warmParser](const simdjson::padded_string& document) {
    return [&] { benchmark::DoNotOptimize(warmParser.parse(document).error()); };
  };

  Comparison table("JSON: " + std::to_string(servers.size()) + " servers, " +
                   std::to_string(pretty.size() / 1'000'000) + " MB pretty, " +
                   std::to_string(compact.size() / 1'000'000) + " MB compact; simdjson runs its " +
                   simdjson::get_active_implementation()->name() + " code");
  table.task("decode", pretty.size(), decodeServers(pretty));
  table.task("decode, compact", compact.size(), decodeServers(compact));
  table.task("decode, keys shuffled", shuffled.size(), decodeServers(shuffled));
  table.task("validate", pretty.size(), validate(pretty));
  table.task("validate, compact", compact.size(), validate(compact));
  table.task("encode", pretty.size(), [&] {
    benchmark::DoNotOptimize(encode(servers, JSONStyle::pretty));
  });
  table.task("simdjson raw parse", pretty.size(), rawParse(prettyPadded));
  table.task("simdjson raw parse, warm", pretty.size(), rawParseWarm(prettyPadded));
  table.task("simdjson raw parse, compact", compact.size(), rawParse(compactPadded));
  table.task("simdjson raw parse, compact, warm", compact.size(), rawParseWarm(compactPadded));
  table.task("nlohmann decode by macros", pretty.size(), [&] {
    benchmark::DoNotOptimize(nlohmann::json::parse(pretty).get<std::vector<twin::Server>>());
  });
  table.task("nlohmann to_json and dump(2)", pretty.size(), [&] {
    benchmark::DoNotOptimize(nlohmann::json(twins).dump(2));
  });
  std::string copy(pretty.size(), ' ');
  table.task("memcpy", pretty.size(), [&] {
    std::copy(pretty.begin(), pretty.end(), copy.begin());
    benchmark::DoNotOptimize(copy.data());
  });

  table.row("decode", "simdjson raw parse", 0.45, 0.7);
  table.row("decode", "simdjson raw parse, warm", 0.45, 0.7);
  table.row("decode, compact", "simdjson raw parse, compact", 0.45, 0.7);
  table.row("decode, compact", "simdjson raw parse, compact, warm", 0.45, 0.7);
  table.row("decode", "nlohmann decode by macros", 9, 20);
  table.row("decode, keys shuffled", "decode", 0.55, 0.8);
  table.row("validate", "simdjson raw parse", 0.85, 1.2);
  table.row("validate", "simdjson raw parse, warm", 0.85, 1.2);
  table.row("validate, compact", "simdjson raw parse, compact", 0.85, 1.2);
  table.row("validate, compact", "simdjson raw parse, compact, warm", 0.85, 1.2);
  table.row("encode", "nlohmann to_json and dump(2)", 6, 12);
  table.row("decode", "memcpy");

  const std::size_t added = peakAllocation([&] { decode<Servers>(pretty); });
  table.figure("memory added by decoding, of the document",
               static_cast<double>(added) / static_cast<double>(pretty.size()),
               "",
               1.1);
  const std::string bad = badElements(1'000'000);
  table.figure("a lenient list of 1,000,000 bad elements",
               bestSeconds(7, [&] { benchmark::DoNotOptimize(decode<Servers>(bad)); }),
               "s",
               0.15);
  return table.run(argc, argv);
}

}  // namespace

}  // namespace tavrine::benchmarks

int main(int argc, char** argv) { return tavrine::benchmarks::run(argc, argv); }
