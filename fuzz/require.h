// How a fuzz target finds fault.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace tavrine::fuzz {

/// Ends the process when what must hold does not; `words` say what must.
inline void require(bool holds, const char* words) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", words);
  std::abort();
}

}  // namespace tavrine::fuzz
