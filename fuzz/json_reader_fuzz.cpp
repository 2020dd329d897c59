// The JSON reader and writer against simdjson, nlohmann/json and themselves: see json_agreement.h.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "fuzz/json_agreement.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static tavrine::fuzz::JSONAgreement agreement;
  const std::string_view document(reinterpret_cast<const char*>(data), size);
  const tavrine::fuzz::JSONComparison comparison = agreement.compare(document);
  if (!comparison.disagreement.empty()) {
    std::fprintf(stderr, "does not hold: %s\n", comparison.disagreement.c_str());
    std::abort();
  }
  return 0;
}
