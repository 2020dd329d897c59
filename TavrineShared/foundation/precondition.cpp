#include <TavrineShared/foundation/precondition.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace tavrine {

void preconditionFailure(std::string_view message) {
#ifdef TAVRINE_FUZZING
  throw PreconditionFailure(std::string(message));
#else
  const std::string line = std::string(message) + '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
  std::abort();
#endif
}

}  // namespace tavrine
