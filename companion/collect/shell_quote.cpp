#include "companion/collect/shell_quote.h"

namespace tavrine {

std::string shellQuoted(std::string_view word) {
  std::string text = "'";
  for (const char c : word) {
    if (c == '\'') {
      text += "'\\''";  // in single quotes nothing but a single quote means anything
    } else {
      text += c;
    }
  }
  return text + "'";
}

}  // namespace tavrine
