// The records of the large lab, drawn one by one.
#pragma once

#include <TavrineShared/model/app_snapshot.h>
#include <TavrineShared/model/stable_id.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <utility>

namespace tavrine::benchmarks {

inline constexpr std::size_t kServers = 200;

inline std::string number(std::uint64_t value) { return std::to_string(value); }
std::string padded(std::uint64_t value, std::size_t width);
std::string joined(std::initializer_list<std::string_view> parts);
std::string serverName(std::size_t server);

/// Countries with the code, the name and the flag that go together.
struct Country {
  std::string_view code, name, flag;
};

/// Every draw is one of the generator's numbers, reduced by plain arithmetic: the distributions of
/// the standard library differ from one library to the next. Where one expression draws several
/// times, it does so in a braced list, which fixes their order.
class Lab {
 public:
  explicit Lab(std::uint32_t seed) : random_(seed) {}

  ServerSummary server(std::size_t i);
  TrainingRun run(std::size_t i);
  ProcessStat process(std::size_t i);
  NetworkSummary network(std::size_t server);
  UsageSummary usage(std::size_t server);
  TavrineAlert alert(std::size_t i);
  LabEvent labEvent(std::size_t i);
  LabEventStoreSummary labEventStore(std::size_t server);
  AgentStatus agentStatus(std::size_t server);
  SystemSensors sensors(std::size_t server);
  RecorderHealth recorderHealth(std::size_t server);
  ModelManager modelManager(std::size_t server);

  static constexpr std::uint64_t kNow = 1'794'536'000;

 private:
  std::uint64_t below(std::uint64_t bound) { return random_() % bound; }
  std::int64_t count(std::uint64_t low, std::uint64_t high) {
    return static_cast<std::int64_t>(low + below(high - low + 1));
  }
  // Up to some thousand times what one number of the generator reaches.
  std::int64_t bytes() { return count(0, 4'000'000'000) * count(1, 3'000); }
  // Between the limits with the given number of steps to one, such as 10 for tenths.
  double reading(std::uint64_t low, std::uint64_t high, std::uint64_t steps) {
    return static_cast<double>(low * steps + below((high - low) * steps + 1)) /
           static_cast<double>(steps);
  }
  template <std::size_t N>
  std::string pick(const std::string_view (&texts)[N]) {
    return std::string(texts[below(N)]);
  }
  // No value for one in `outOf`.
  template <class T>
  std::optional<T> mostly(std::uint64_t outOf, T value) {
    return below(outOf) == 0 ? std::nullopt : std::optional<T>(std::move(value));
  }
  // A value for one in `outOf`.
  template <class T>
  std::optional<T> seldom(std::uint64_t outOf, T value) {
    return below(outOf) == 0 ? std::optional<T>(std::move(value)) : std::nullopt;
  }
  Timestamp secondsAgo(std::uint64_t seconds) {
    return Timestamp(std::chrono::seconds(kNow - seconds));
  }
  UUID uuid() { return StableID::uuid("record-" + number(nextID_++)); }
  template <VocabularyType V>
  V oneOf() {
    return V::allCases()[below(V::allCases().size())];
  }
  bool chance(std::uint64_t percent) { return below(100) < percent; }

  std::string user();
  std::string model();
  std::string dataset();
  std::string networkOwner();
  const Country& country();
  std::string address();
  std::string publicAddress();
  std::string busID();
  std::string commandLine(const std::string& owner);
  std::string logTail(std::uint64_t step);
  std::string prose(std::size_t sentences);
  std::string day();
  TrainingMetric metric(std::uint64_t step, std::uint64_t last);
  RecorderLogPoint recorderPoint(std::size_t i, const std::string& command);
  StackFrame stack(std::string thread, std::size_t depth);
  NetworkConnectionStat connection(std::size_t server);
  SSHAuthEvent sshEvent(std::size_t server);
  ConnectionSource connectionSource();
  StudentUsage student();

  std::mt19937 random_;
  std::uint64_t nextID_ = 0;
};

}  // namespace tavrine::benchmarks
