#include "companion/redact/capture_redaction.h"

#include "companion/redact/redaction.h"

#include <TavrineShared/foundation/json_reader.h>
#include <TavrineShared/foundation/json_writer.h>

#include <algorithm>
#include <cstddef>

namespace tavrine {

namespace {

// Behind the quotation mark that ends the text which `json` begins with; 0 when it has no end.
std::size_t endOfText(std::string_view json) {
  for (std::size_t at = 1; at < json.size(); ++at) {
    if (json[at] == '\\') {
      ++at;
    } else if (json[at] == '"') {
      return at + 1;
    } else if (json[at] == '\n') {
      break;  // no text goes on in the next line
    }
  }
  return 0;
}

void appendRedacted(std::string& out, std::string_view literal) {
  JSONReader reader(literal);
  std::string text;
  if (reader.readText(text) != JSONResult::ok) {
    out.append(literal);
    return;
  }
  const std::string kept = redacted(std::string_view(text));
  if (kept == text) {
    out.append(literal);
    return;
  }
  JSONWriter writer(JSONStyle::compact);
  writer.text(kept);
  out.append(writer.take());
}

}  // namespace

std::string redactedJSON(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const std::size_t start = std::min(text.find('"'), text.size());
    out.append(text.substr(0, start));
    text.remove_prefix(start);
    if (text.empty()) break;
    const std::size_t end = endOfText(text);
    if (end == 0) {
      // What has no end is no JSON; looking for one again and again would take for ever.
      const std::size_t lineEnd = std::min(text.find('\n'), text.size());
      out.append(text.substr(0, lineEnd));
      text.remove_prefix(lineEnd);
      continue;
    }
    appendRedacted(out, text.substr(0, end));
    text.remove_prefix(end);
  }
  return out;
}

Capture redacted(Capture capture) {
  for (auto& [path, text] : capture.texts) {
    const bool isJSON = path.ends_with(".json") || path.ends_with(".jsonl");
    text = isJSON ? redactedJSON(text) : redacted(std::string_view(text));
  }
  return capture;
}

}  // namespace tavrine
