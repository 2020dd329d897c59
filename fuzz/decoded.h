// What the targets for records share: the outcome of decoding, and what an error must tell.
#pragma once

#include <TavrineShared/foundation/json_reader.h>
#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/model/json_conventions.h>

#include <cstddef>
#include <limits>
#include <optional>
#include <string_view>

#include "fuzz/require.h"
#include "tests/support/naive_text.h"

namespace tavrine::fuzz {

/// The value or, where there is none, why.
template <class T>
struct Decoded {
  std::optional<T> value;
  DecodingError error{DecodingError::Kind::notJSON, "", ""};

  Decoded(std::string_view document, Findings* findings) {
    try {
      value = decode<T>(document, findings);
    } catch (const DecodingError& thrown) {
      error = thrown;
    }
  }
};

inline bool areSame(const DecodingError& a, const DecodingError& b) {
  return a.kind() == b.kind() && a.path() == b.path() && a.reason() == b.reason() &&
         a.found() == b.found();
}

/// Findings enough for any document: none is merely counted.
inline Findings roomyFindings() { return Findings(std::numeric_limits<std::size_t>::max()); }

inline bool isJSON(std::string_view document) {
  JSONReader reader(document);
  return reader.skip() && reader.finish();
}

/// A reader of errors and findings gets short, well-formed texts in one line.
inline void requireIsShown(std::string_view found) {
  require(isWellFormedUTF8(found) && naive::decodedUTF8(found).size() <= 80,
          "what is shown is short");
}

inline void requireErrorIsTold(std::string_view document, const DecodingError& error) {
  require((error.kind() == DecodingError::Kind::notJSON) == !isJSON(document),
          "what is not JSON is told as such");
  const std::string_view what = error.what();
  require(!error.reason().empty() && what.ends_with(error.reason()), "an error has a reason");
  require(what.starts_with(error.path()), "an error tells its path");
  require(isWellFormedUTF8(what) && what.find('\n') == std::string_view::npos,
          "an error is told in one line");
  requireIsShown(error.found());
}

inline void requireFindingsAreTold(const Findings& findings) {
  for (const Finding& finding : findings.list()) {
    require(!finding.line && !finding.column, "a finding about JSON has a path alone");
    require(!finding.reason.empty() && isWellFormedUTF8(finding.reason), "a finding has a reason");
    requireIsShown(finding.found);
  }
}

/// Findings without room count those that findings with room tell.
inline void requireSameCounts(const Findings& counts, const Findings& findings) {
  require(counts.list().empty(), "findings without room tell nothing");
  for (const FindingOutcome outcome : FindingOutcome::allCases()) {
    require(counts.count(outcome) == findings.count(outcome), "findings without room are counted");
  }
}

}  // namespace tavrine::fuzz
