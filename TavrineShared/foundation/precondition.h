// The one way this library stops the process.
#pragma once

#include <string_view>

#ifdef TAVRINE_FUZZING
#include <stdexcept>
#endif

namespace tavrine {

#ifdef TAVRINE_FUZZING
/// What `preconditionFailure` throws in fuzz builds. A stop that is meant is no finding, so the
/// harnesses catch this type and go on; nothing else may catch it.
struct PreconditionFailure : std::runtime_error {
  using std::runtime_error::runtime_error;
};
#endif

/// Writes `message` and a line feed to stderr, then aborts. For conversions whose contract makes
/// a bad value fatal, and for nothing else: input that is merely wrong never ends up here.
/// The message names the place and the value. Callers must not be noexcept (see above).
[[noreturn]] void preconditionFailure(std::string_view message);

}  // namespace tavrine
