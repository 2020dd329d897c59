// What a training run is doing, and what holds it back, as its recorder's samples tell it.
#pragma once

#include <TavrineShared/model/vocabulary.h>
#include <TavrineShared/recorder/recorder_records.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

namespace tavrine {

/// What one thread is at.
class RuntimePhase : public Vocabulary<RuntimePhase> {
 public:
  enum Case : std::uint8_t { forward, backward, optimizer, collective, dataloader, idle, unknown };
  constexpr RuntimePhase(Case value = forward) : value_(value) {}
  constexpr operator Case() const { return value_; }
  static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
      {forward, "forward"},
      {backward, "backward"},
      {optimizer, "optimizer"},
      {collective, "collective"},
      {dataloader, "dataloader"},
      {idle, "idle"},
      {unknown, "unknown"},
  });

  /// By keywords in the texts of the frames, letter case ignored. The first keyword of a fixed list
  /// that stands in any frame decides, so a collective call counts as one wherever it was made.
  /// The label of the thread says nothing.
  static RuntimePhase classify(const StackFrame& frame);

 private:
  Case value_;
};

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

  /// Any case but `mixed`.
  constexpr RuntimeDiagnosis(Case value = unknown) : value_(value) {}
  static RuntimeDiagnosis mixedWith(RuntimePhase dominant);

  constexpr operator Case() const { return value_; }
  /// Of `mixed`: the raw value of the dominant phase. Empty for all others.
  const std::string& payload() const { return payload_; }
  /// The text to show, such as "Memory bound".
  std::string label() const;

  /// From the newest sample, whose DCGM counters are the only ones that count, and the recent ones,
  /// oldest first, whose stacks and utilisation do.
  static RuntimeDiagnosis derive(const std::optional<RecorderLogPoint>& latest,
                                 std::span<const RecorderLogPoint> recent);

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
