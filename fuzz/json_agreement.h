// Holds the JSON reader and writer against other readers, and against themselves, on one document.
//
// What is compared, on any bytes:
//  - Is it JSON: skipping the whole, reading it value by value, simdjson and nlohmann/json agree.
//  - Which values: every key, text, literal and number, in their order, is what nlohmann/json
//    reads. Each number is also compared with strtod and with integer arithmetic on its digits.
//  - Where values end: skipping one, reading it and reading it as something else stop at the same
//    byte, and the latter says what was wrong.
//  - What is written from the values, compact and pretty, reads back as the same values; simdjson
//    finds it to be JSON, and the pretty form is the compact one with line breaks and indentation.
//    The document's own bytes, written as a text, read back repaired.
#pragma once

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace tavrine::fuzz {

/// Where the other readers are known to differ. There is no other ground on which a disagreement is
/// passed over, and each leaves as much to be compared as it can.
enum class KnownDifference : std::uint8_t {
  /// A byte order mark at the start. nlohmann/json passes over it, and newer versions of simdjson
  /// do: neither is asked, and the document must be refused.
  byteOrderMark,
  /// A NUL. Outside a text nlohmann/json takes it for the end of the document: only simdjson is
  /// asked, and the document must be refused.
  nul,
  /// A number beyond the finite doubles. Both refuse the document: they are asked again with 0 in
  /// the place of every number, and what the numbers are is left to strtod.
  doubleRange,
  /// An integer beyond 64 bits, which simdjson refuses: it is asked again in the same way.
  integerRange,
  /// Nesting deeper than 1024 levels, where simdjson gives up: only nlohmann/json is asked.
  depth,
  /// nlohmann/json reads the integer -0 as 0: strtod alone decides on its sign.
  minusZero,
};

inline constexpr std::array<const char*, 6> kKnownDifferenceNames = {
    "byte order mark", "NUL", "double range", "integer range", "depth", "minus zero"};

struct JSONComparison {
  bool isJSON = false;
  std::bitset<kKnownDifferenceNames.size()> met;  ///< by KnownDifference
  std::string disagreement;                       ///< in words; empty when there is none

  void meet(KnownDifference difference) { met.set(static_cast<std::size_t>(difference)); }
  bool hasMet(KnownDifference difference) const {
    return met.test(static_cast<std::size_t>(difference));
  }
};

/// Keeps what the other readers need between documents, so that millions can be compared.
class JSONAgreement {
 public:
  JSONAgreement();
  ~JSONAgreement();

  JSONComparison compare(std::string_view document);

 private:
  class SimdJSON;
  void compareWithSimdJSON(std::string_view document, JSONComparison& comparison);

  std::unique_ptr<SimdJSON> simdjson_;
};

}  // namespace tavrine::fuzz
