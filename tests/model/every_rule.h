// A record with a field for every type and every rule, and the part of which it holds some.
#pragma once

#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/json_conventions.h>
#include <TavrineShared/model/status.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/documents.h"

namespace tavrine {

using TextMap = std::map<std::string, std::string>;

struct Part {
  std::int64_t index;
  std::string label;
  std::optional<double> weight;

  bool operator==(const Part&) const = default;
  static const RecordTable& table();
};

inline const RecordTable& Part::table() {
  using R = Part;
  static constexpr auto fields =
      fieldsOf<R>(field<&R::index>(), field<&R::label>(), field<&R::weight>());
  static constexpr RecordTable table{"Part", fields};
  return table;
}

/// A field for every type and every rule; the names are in no order.
struct EveryRule {
  std::int64_t count;
  double ratio;
  bool ok;
  std::string name;
  UUID id;
  Timestamp seenAt;
  RunStatus status;
  std::optional<std::int64_t> limit;
  std::optional<double> share;
  std::optional<bool> startTLS;
  std::optional<std::string> note;
  std::optional<Timestamp> lastSeenAt;
  std::optional<RunHealth> health;
  std::optional<UUID> parent;
  std::optional<Part> part;
  std::optional<std::vector<Part>> stack;
  std::vector<Part> parts;
  std::vector<std::string> commands;
  std::vector<Part> strictParts;
  std::vector<double> loads;
  std::int64_t days;
  std::string phase;
  std::string path;
  bool enabled;
  double usage;
  std::vector<std::string> templates;
  std::vector<std::int64_t> pids;
  TextMap settings;
  TextMap tags;
  bool running;
  std::optional<std::int64_t> tier;
  std::int64_t sizeBytes;
  std::int64_t capBytes;
  Timestamp t;
  Timestamp openedAt;
  std::optional<Timestamp> alertSentAt;
  double gpuUtil;
  std::optional<double> vramMB;

  bool operator==(const EveryRule&) const = default;
  static const RecordTable& table();
};

inline constexpr double kDecodingTime = 1'000'000'000;

inline const RecordTable& EveryRule::table() {
  using R = EveryRule;
  static constexpr auto fields =
      fieldsOf<R>(field<&R::count>(),
                  field<&R::ratio>(),
                  field<&R::ok>(),
                  field<&R::name>(),
                  field<&R::id>(),
                  field<&R::seenAt>(),
                  field<&R::status>(),
                  field<&R::limit>(),
                  field<&R::share>(),
                  field<&R::startTLS>(),
                  field<&R::note>(),
                  field<&R::lastSeenAt>(),
                  field<&R::health>(),
                  field<&R::parent>(),
                  field<&R::part>(),
                  field<&R::stack>(),
                  lossyList<&R::parts>(),
                  lossyList<&R::commands>(),
                  field<&R::strictParts>(),
                  field<&R::loads>(),
                  defaulted<&R::days>([] { return std::int64_t{14}; }),
                  defaulted<&R::phase>([] { return std::string("snapshot"); }),
                  defaulted<&R::path>(),
                  defaulted<&R::enabled>(),
                  defaulted<&R::usage>(),
                  defaulted<&R::templates>([] {
                    return std::vector<std::string>{"concise", "detailed"};
                  }),
                  defaulted<&R::pids>(),
                  defaulted<&R::settings>(),
                  field<&R::tags>(),
                  forgiving<&R::running>(),
                  forgiving<&R::tier>(),
                  flexibleInt64<&R::sizeBytes>(),
                  flexibleInt64<&R::capBytes>([] { return std::int64_t{53'687'091'200}; }),
                  secondsOrDate(field<&R::t>()),
                  secondsOrDate(defaulted<&R::openedAt>([] { return at(kDecodingTime); })),
                  secondsOrDate(field<&R::alertSentAt>()),
                  field<&R::gpuUtil>("gpu_util"),
                  field<&R::vramMB>("vram_mb"));
  static constexpr RecordTable table{"EveryRule", fields};
  return table;
}

inline EveryRule fullExample() {
  return {.count = 12,
          .ratio = 0.25,
          .ok = true,
          .name = "gpu-01",
          .id = *UUID::fromText("0F8FAD5B-D9CB-469F-A165-70867728950E"),
          .seenAt = at(1794764905),
          .status = RunStatus::warmingUp,
          .limit = 5,
          .share = 0.5,
          .startTLS = false,
          .note = "a \"note\"",
          .lastSeenAt = at(1700000000),
          .health = RunHealth::memoryRisk,
          .parent = UUID{},
          .part = Part{1, "one", 1.5},
          .stack = std::vector<Part>{{2, "two", {}}},
          .parts = {{3, "three", 3.5}, {4, "", {}}},
          .commands = {"python train.py", ""},
          .strictParts = {{5, "five", {}}, {6, "six", 6.5}},
          .loads = {0.5, 1, 2.25},
          .days = 30,
          .phase = "step",
          .path = "/var/log",
          .enabled = true,
          .usage = 99.5,
          .templates = {"one"},
          .pids = {10, 20},
          .settings = {{"batch", "32"}, {"lr", "3e-4"}},
          .tags = {{"team", "vision"}},
          .running = true,
          .tier = 2,
          .sizeBytes = 1234,
          .capBytes = 4321,
          .t = at(1700000001),
          .openedAt = at(1700000002),
          .alertSentAt = at(1700000003),
          .gpuUtil = 87.5,
          .vramMB = 4096};
}

inline constexpr std::string_view kFullDocument =
    R"({"alertSentAt":"2023-11-14T22:13:23Z","capBytes":4321,"commands":["python train.py",""],)"
    R"("count":12,"days":30,"enabled":true,"gpu_util":87.5,"health":"memory_risk",)"
    R"("id":"0F8FAD5B-D9CB-469F-A165-70867728950E","lastSeenAt":"2023-11-14T22:13:20Z",)"
    R"("limit":5,"loads":[0.5,1,2.25],"name":"gpu-01","note":"a \"note\"","ok":true,)"
    R"("openedAt":"2023-11-14T22:13:22Z","parent":"00000000-0000-0000-0000-000000000000",)"
    R"("part":{"index":1,"label":"one","weight":1.5},)"
    R"("parts":[{"index":3,"label":"three","weight":3.5},{"index":4,"label":""}],)"
    R"("path":"/var/log","phase":"step","pids":[10,20],"ratio":0.25,"running":true,)"
    R"("seenAt":"2026-11-15T17:48:25Z","settings":{"batch":"32","lr":"3e-4"},"share":0.5,)"
    R"("sizeBytes":1234,"stack":[{"index":2,"label":"two"}],"startTLS":false,)"
    R"("status":"warming_up",)"
    R"("strictParts":[{"index":5,"label":"five"},{"index":6,"label":"six","weight":6.5}],)"
    R"("t":"2023-11-14T22:13:21Z","tags":{"team":"vision"},"templates":["one"],"tier":2,)"
    R"("usage":99.5,"vram_mb":4096})";

}  // namespace tavrine
