// Any text as what a process or a log may show. What must hold: only secrets are taken, so that the
// rest stands in the text in the same order; and what has been redacted stays as it is.
#include "companion/redact/text_redaction.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tavrine;
  using namespace tavrine::fuzz;
  const std::string_view text(reinterpret_cast<const char*>(data), size);

  const std::string once = redacted(text);
  require(redacted(once) == once, "what is redacted stays as it is");

  std::size_t searched = 0;
  std::string_view rest = once;
  while (true) {
    const std::size_t secret = rest.find(kRedacted);
    const std::string_view kept = rest.substr(0, secret);
    const std::size_t found = text.find(kept, searched);
    require(found != std::string_view::npos, "what is kept stands in the text");
    searched = found + kept.size();
    if (secret == std::string_view::npos) break;
    rest.remove_prefix(secret + kRedacted.size());
  }
  require(once.find(kRedacted) != std::string::npos || once == text, "all else is left alone");
  return 0;
}
