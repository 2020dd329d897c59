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

std::string shellPath(std::string_view path) {
  constexpr std::string_view kHome = "~/";
  if (!path.starts_with(kHome)) return shellQuoted(path);
  return "\"$HOME\"/" + shellQuoted(path.substr(kHome.size()));
}

}  // namespace tavrine
