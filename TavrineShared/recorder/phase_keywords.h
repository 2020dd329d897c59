// Which keyword decides the phase of a stack. Private: no public header includes it.
#pragma once

#include <TavrineShared/recorder/runtime_diagnosis.h>

#include <span>
#include <string_view>

namespace tavrine {

struct PhaseKeyword {
  std::string_view text;  ///< in lower case
  RuntimePhase phase;
};

/// The first keyword of the fixed list that stands in any of the frames, letter case ignored; null
/// when none does.
const PhaseKeyword* decidingKeyword(std::span<const std::string_view> frames);

}  // namespace tavrine
