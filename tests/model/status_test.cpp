#include <TavrineShared/model/status.h>

#include <TavrineShared/model/json_conventions.h>

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace tavrine {
namespace {

template <class V>
struct CaseRow {
  typename V::Case value;
  std::string_view caseName;
  std::string_view rawValue;
  std::string_view title;
};

/// The rows are all cases of V, in order, and no other text stands for any of them.
template <class V>
void expectTheTable(const std::vector<CaseRow<V>>& table) {
  ASSERT_EQ(V::allCases().size(), table.size());
  std::unordered_set<std::size_t> hashes;
  for (std::size_t i = 0; i < table.size(); ++i) {
    const CaseRow<V>& row = table[i];
    SCOPED_TRACE(row.caseName);
    const V value = row.value;
    EXPECT_EQ(V::allCases()[i], value);
    // The entries stand at the places that the cases number.
    EXPECT_EQ(static_cast<std::size_t>(row.value), i);
    EXPECT_EQ(value.rawValue(), row.rawValue);
    EXPECT_EQ(value.title(), row.title);
    EXPECT_EQ(V::fromRawValue(row.rawValue), value);
    EXPECT_EQ(encode(value), '"' + std::string(row.rawValue) + '"');
    EXPECT_EQ(decode<V>(encode(value)), value);
    hashes.insert(std::hash<V>()(value));

    EXPECT_FALSE(V::fromRawValue(row.title)) << "titles stand for no case";
    EXPECT_EQ(V::fromRawValue(row.caseName).has_value(), row.caseName == row.rawValue);
    std::string upperCase;
    for (const char c : row.rawValue)
      upperCase += c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
    EXPECT_FALSE(V::fromRawValue(upperCase));
    EXPECT_FALSE(V::fromRawValue(" " + std::string(row.rawValue)));
    EXPECT_FALSE(V::fromRawValue(std::string(row.rawValue) + " "));
    EXPECT_FALSE(V::fromRawValue(row.rawValue.substr(1)));
  }
  EXPECT_EQ(hashes.size(), table.size());
  for (const std::string_view text : {"", "paused", "null", "0"}) {
    EXPECT_FALSE(V::fromRawValue(text)) << text;
    EXPECT_THROW(decode<V>('"' + std::string(text) + '"'), DecodingError) << text;
  }
}

TEST(RunStatus, hasTheseCases) {
  expectTheTable<RunStatus>({{RunStatus::queued, "queued", "queued", "Queued"},
                             {RunStatus::warmingUp, "warmingUp", "warming_up", "Warming Up"},
                             {RunStatus::running, "running", "running", "Running"},
                             {RunStatus::stalled, "stalled", "stalled", "Stalled"},
                             {RunStatus::failed, "failed", "failed", "Failed"},
                             {RunStatus::completed, "completed", "completed", "Completed"},
                             {RunStatus::idle, "idle", "idle", "Idle"}});
}

TEST(RunHealth, hasTheseCases) {
  expectTheTable<RunHealth>({{RunHealth::healthy, "healthy", "healthy", "Healthy"},
                             {RunHealth::warmingUp, "warmingUp", "warming_up", "Warming Up"},
                             {RunHealth::degraded, "degraded", "degraded", "Degraded"},
                             {RunHealth::stalled, "stalled", "stalled", "Stalled"},
                             {RunHealth::memoryRisk, "memoryRisk", "memory_risk", "Memory Risk"},
                             {RunHealth::overheating, "overheating", "overheating", "Overheating"},
                             {RunHealth::failed, "failed", "failed", "Failed"},
                             {RunHealth::unknown, "unknown", "unknown", "Unknown"}});
}

TEST(ServerConnectionState, hasTheseCases) {
  expectTheTable<ServerConnectionState>(
      {{ServerConnectionState::connected, "connected", "connected", "Connected"},
       {ServerConnectionState::degraded, "degraded", "degraded", "Degraded"},
       {ServerConnectionState::offline, "offline", "offline", "Offline"},
       {ServerConnectionState::demo, "demo", "demo", "Demo"}});
}

TEST(AlertSeverity, hasTheseCases) {
  expectTheTable<AlertSeverity>({{AlertSeverity::info, "info", "info", "Info"},
                                 {AlertSeverity::warning, "warning", "warning", "Warning"},
                                 {AlertSeverity::critical, "critical", "critical", "Critical"}});
}

// `unknown` is what an agent says when it does not know, and no refuge for texts we do not know.
TEST(RunHealth, takesNoUnknownTextForUnknown) {
  EXPECT_EQ(RunHealth::fromRawValue("unknown"), RunHealth(RunHealth::unknown));
  EXPECT_FALSE(RunHealth::fromRawValue("on_fire"));
}

TEST(RunStatus, sharesTextsWithRunHealthButNoCases) {
  EXPECT_EQ(decode<RunStatus>(R"("warming_up")"), RunStatus::warmingUp);
  EXPECT_EQ(decode<RunHealth>(R"("warming_up")"), RunHealth::warmingUp);
  EXPECT_FALSE(RunStatus::fromRawValue("memory_risk"));
  EXPECT_FALSE(RunHealth::fromRawValue("completed"));
}

}  // namespace
}  // namespace tavrine
