// What a training run is doing, and what holds it back, as its recorder's samples tell it.
#pragma once

#include <TavrineShared/model/vocabulary.h>
#include <TavrineShared/recorder/recorder_records.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <utility>

namespace tavrine {

/// What one thread is at.
class RuntimePhase : public Vocabulary<RuntimePhase> {
 public:
  enum class Case : std::uint8_t {
    forward,
    backward,
    optimizer,
    collective,
    dataloader,
    idle,
    unknown
  };
  static const RuntimePhase forward, backward, optimizer, collective, dataloader, idle, unknown;
  constexpr RuntimePhase(Case value = Case::forward) : value_(value) {}
  constexpr operator Case() const { return value_; }
  static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
      {Case::forward, "forward"},
      {Case::backward, "backward"},
      {Case::optimizer, "optimizer"},
      {Case::collective, "collective"},
      {Case::dataloader, "dataloader"},
      {Case::idle, "idle"},
      {Case::unknown, "unknown"},
  });

  /// By keywords in the texts of the frames, letter case ignored. The first keyword of a fixed list
  /// that stands in any frame decides, so a collective call counts as one wherever it was made.
  /// The label of the thread says nothing.
  static RuntimePhase classify(const StackFrame& frame);

 private:
  Case value_;
};
inline constexpr RuntimePhase RuntimePhase::forward{Case::forward};
inline constexpr RuntimePhase RuntimePhase::backward{Case::backward};
inline constexpr RuntimePhase RuntimePhase::optimizer{Case::optimizer};
inline constexpr RuntimePhase RuntimePhase::collective{Case::collective};
inline constexpr RuntimePhase RuntimePhase::dataloader{Case::dataloader};
inline constexpr RuntimePhase RuntimePhase::idle{Case::idle};
inline constexpr RuntimePhase RuntimePhase::unknown{Case::unknown};

/// What limits a run.
class RuntimeDiagnosis {
 public:
  enum Case : std::uint8_t {
    mixed,  ///< no one thing: the phase that most stacks are in is all that can be told
    computeBound,
    memoryBound,
    communicationBound,
    dataloaderStall,
    unknown
  };

  /// Only `mixed` has a payload.
  RuntimeDiagnosis(Case value = unknown, std::string payload = {})
      : value_(value), payload_(std::move(payload)) {}
  static RuntimeDiagnosis mixedWith(RuntimePhase dominant) {
    return {mixed, std::string(dominant.rawValue())};
  }

  constexpr operator Case() const { return value_; }
  /// Of `mixed`: the raw value of the dominant phase. Empty for all others.
  const std::string& payload() const { return payload_; }
  /// The text to show, such as "Memory bound".
  std::string label() const;

  /// From the newest sample, whose DCGM counters are the only ones that count, and the recent ones,
  /// oldest first, whose stacks and utilisation do.
  static RuntimeDiagnosis derive(const std::optional<RecorderLogPoint>& latest,
                                 std::span<const RecorderLogPoint> recent);
  static RuntimeDiagnosis derive(const std::optional<RecorderLogPoint>& latest,
                                 std::initializer_list<RecorderLogPoint> recent) {
    return derive(latest, std::span(recent.begin(), recent.size()));
  }

  bool operator==(const RuntimeDiagnosis&) const = default;
  /// Whether it is this case, whatever its payload.
  constexpr bool operator==(Case value) const { return value_ == value; }

 private:
  Case value_;
  std::string payload_;
};

}  // namespace tavrine

template <>
struct std::hash<tavrine::RuntimeDiagnosis> {
  std::size_t operator()(const tavrine::RuntimeDiagnosis& diagnosis) const noexcept;
};
