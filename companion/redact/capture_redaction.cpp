#include "companion/redact/capture_redaction.h"

#include "companion/redact/secret_names.h"
#include "companion/redact/text_redaction.h"

#include <TavrineShared/foundation/json_reader.h>
#include <TavrineShared/foundation/json_writer.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>

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

// A key may be a name in words of its own, "my api key", or hold one as text does, "env:API_KEY".
bool isSecretKey(const std::string& key) {
  const std::string assignment = key + "=x";
  return isSecretName(key) || redacted(assignment) != assignment;
}

bool holdsOnly(std::string_view part, std::string_view signs) {
  return part.find_first_not_of(signs) == std::string_view::npos;
}

// Takes a document apart into texts and what stands between them, and leaves out secrets.
class JSONRedaction {
 public:
  explicit JSONRedaction(std::size_t size) { out_.reserve(size); }

  // Between texts stand signs and numbers; where the beginning or the end of a document is cut off,
  // a text may be among them, and is taken for one without quotes.
  void addBetween(std::string_view part) {
    out_.append(redacted(part));
    const std::size_t sign = part.find_first_not_of(" \t\r\n");
    if (sign != std::string_view::npos && part[sign] == ':') {
      // The texts of a list are all values of its name; those of an object have names of their own.
      const std::string_view rest = part.substr(sign + 1);
      isSecretValue_ = holdsOnly(rest, "[ \t\r\n") && isSecretKey(text_);
      isSecretList_ = isSecretValue_ && rest.find('[') != std::string_view::npos;
    } else {
      isSecretList_ = isSecretList_ && holdsOnly(part, ", \t\r\n");
      isSecretValue_ = isSecretList_;
    }
  }

  void addText(std::string_view literal) {
    JSONReader reader(literal);
    if (reader.readText(text_) != JSONResult::ok) {
      out_.append(redacted(literal));
      return;
    }
    const bool isSecret = isSecretValue_ && !text_.empty() && !isAnswer(text_);
    const std::string kept = isSecret ? std::string(kRedacted) : redacted(text_);
    if (kept == text_) {
      out_.append(literal);
      return;
    }
    JSONWriter writer(JSONStyle::compact);
    writer.text(kept);
    out_.append(writer.take());
  }

  std::string take() { return std::move(out_); }

 private:
  std::string out_;
  std::string text_;            // the last one
  bool isSecretValue_ = false;  // what a text that comes now is
  bool isSecretList_ = false;   // what those behind it are
};

void redactInfo(CaptureInfo& info) {
  const auto redact = [](std::optional<std::string>& text) {
    if (text) text = redacted(*text);
  };
  redact(info.problem);
  for (CapturedRun& run : info.runs) {
    redact(run.logPath);
    redact(run.recorderPath);
  }
}

}  // namespace

std::string redactedJSON(std::string_view text) {
  JSONRedaction redaction(text.size());
  while (!text.empty()) {
    const std::size_t start = std::min(text.find('"'), text.size());
    redaction.addBetween(text.substr(0, start));
    text.remove_prefix(start);
    if (text.empty()) break;
    const std::size_t end = endOfText(text);
    // What has no end is no JSON; looking for one again and again would take for ever.
    const std::size_t length = end != 0 ? end : std::min(text.find('\n'), text.size());
    if (end != 0) {
      redaction.addText(text.substr(0, length));
    } else {
      redaction.addBetween(text.substr(0, length));
    }
    text.remove_prefix(length);
  }
  return redaction.take();
}

Capture redacted(Capture capture) {
  for (auto& [path, text] : capture.texts) {
    const bool isJSON = path.ends_with(".json") || path.ends_with(".jsonl");
    text = isJSON ? redactedJSON(text) : redacted(text);
  }
  redactInfo(capture.info);
  return capture;
}

}  // namespace tavrine
