// What a reader lost on the way, and why.
//
// Parsers and lenient lists stay silent: a line that cannot be read is dropped, an unsupported
// number becomes 0. Whoever wants to know hands them a `Findings`; the records are exactly the
// same, and each loss is told. A parser that picks few values out of much text also tells where
// each of them stood.
#pragma once

#include <TavrineShared/model/record.h>
#include <TavrineShared/model/vocabulary.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

/// What became of the input that a finding is about.
class FindingOutcome : public Vocabulary<FindingOutcome> {
 public:
  enum class Case : std::uint8_t {
    headerSkipped,
    leftOut,
    located,
    lineDropped,
    readAsZero,
    readAsAbsent,
    truncated,
    repaired,
    ignored,
    elementDropped,
    listEmptied,
    defaultUsed
  };
  static const FindingOutcome headerSkipped, leftOut, located, lineDropped, readAsZero,
      readAsAbsent, truncated, repaired, ignored, elementDropped, listEmptied, defaultUsed;
  constexpr FindingOutcome(Case value = Case::headerSkipped) : value_(value) {}
  constexpr operator Case() const { return value_; }
  static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
      {Case::headerSkipped, "header_skipped", "header line skipped"},
      {Case::leftOut, "left_out", "left out"},
      {Case::located, "located", "read from here"},
      {Case::lineDropped, "line_dropped", "line dropped"},
      {Case::readAsZero, "read_as_zero", "read as 0"},
      {Case::readAsAbsent, "read_as_absent", "read as absent"},
      {Case::truncated, "truncated", "fraction cut off"},
      {Case::repaired, "repaired", "read with U+FFFD in place of ill-formed bytes"},
      {Case::ignored, "ignored", "ignored"},
      {Case::elementDropped, "element_dropped", "element dropped"},
      {Case::listEmptied, "list_emptied", "read as an empty list"},
      {Case::defaultUsed, "default_used", "default used"},
  });

  /// False for what a reader is meant to pass over, and for what only tells where a value stood.
  constexpr bool isLoss() const { return value_ > located; }
  /// True for what is worth a line to a person: losses, and where values stood.
  constexpr bool isTold() const { return value_ >= located; }

 private:
  Case value_;
};
inline constexpr FindingOutcome FindingOutcome::headerSkipped{Case::headerSkipped};
inline constexpr FindingOutcome FindingOutcome::leftOut{Case::leftOut};
inline constexpr FindingOutcome FindingOutcome::located{Case::located};
inline constexpr FindingOutcome FindingOutcome::lineDropped{Case::lineDropped};
inline constexpr FindingOutcome FindingOutcome::readAsZero{Case::readAsZero};
inline constexpr FindingOutcome FindingOutcome::readAsAbsent{Case::readAsAbsent};
inline constexpr FindingOutcome FindingOutcome::truncated{Case::truncated};
inline constexpr FindingOutcome FindingOutcome::repaired{Case::repaired};
inline constexpr FindingOutcome FindingOutcome::ignored{Case::ignored};
inline constexpr FindingOutcome FindingOutcome::elementDropped{Case::elementDropped};
inline constexpr FindingOutcome FindingOutcome::listEmptied{Case::listEmptied};
inline constexpr FindingOutcome FindingOutcome::defaultUsed{Case::defaultUsed};

/// One thing that was lost, passed over or, where that was asked for, read: where, and why.
struct Finding {
  std::optional<std::int64_t> line;    ///< from 1, in line-oriented text; absent in JSON documents
  std::optional<std::int64_t> column;  ///< from 1, in characters, where what is meant begins
  std::string path;  ///< JSON: path of what was lost; text: the field, empty for a whole line
  FindingOutcome outcome;
  std::string found;   ///< what stood there, cut to 80 characters; empty when nothing did
  std::string reason;  ///< why, in words

  bool operator==(const Finding&) const = default;
  static const RecordTable& table();
};

/// Collects findings in the order they are met. Only the first `limit` are kept in full, so that
/// hostile input cannot fill the memory with them; all are counted.
class Findings {
 public:
  static constexpr std::size_t kDefaultLimit = 10'000;

  explicit Findings(std::size_t limit = kDefaultLimit) : limit_(limit) {}

  /// Counts one more finding; `describe()` gives it and is called only while there is room.
  template <class Describe>
  void add(FindingOutcome outcome, const Describe& describe) {
    ++counts_[outcome.index()];
    if (!hasRoom()) return;
    findings_.push_back(describe());
    findings_.back().outcome = outcome;
  }

  /// False once further findings are only counted.
  bool hasRoom() const { return findings_.size() < limit_; }

  /// Those kept in full.
  const std::vector<Finding>& list() const { return findings_; }

  /// All of this outcome that were met, kept or not.
  std::size_t count(FindingOutcome outcome) const { return counts_[outcome.index()]; }
  /// All that were met, kept or not.
  std::size_t count() const;
  /// Of these, the losses, as `FindingOutcome::isLoss` tells them.
  std::size_t lossCount() const;
  /// How many are worth telling, and those among them that are kept in full.
  std::size_t toldCount() const;
  std::vector<Finding> told() const;

 private:
  std::vector<Finding> findings_;
  std::array<std::size_t, FindingOutcome::kEntries.size()> counts_{};
  std::size_t limit_;
};

/// `text` in the form a finding shows it: well-formed and cut to 80 characters, the last of them
/// an ellipsis when there was more. Reads no more of `text` than it shows.
std::string excerpt(std::string_view text);

}  // namespace tavrine
