// A JSON document as our reader sees it: a flat list of events, since nesting must not be followed
// by recursion, and since duplicate keys then need no special care.
#pragma once

#include <TavrineShared/foundation/json_reader.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine::fuzz {

/// Thrown where two sides differ that have to agree.
struct Disagreement {
  std::string words;
};

/// `words` say what has to hold.
inline void agree(bool holds, const char* words) {
  if (!holds) throw Disagreement{words};
}

struct Event {
  enum class Kind : std::uint8_t {
    null,
    boolean,
    number,
    text,
    key,
    beginList,
    endList,
    beginObject,
    endObject
  };
  Kind kind;
  std::string text{};  ///< of a text or a key; of a number, its spelling
  bool isTrue = false;
  std::optional<std::int64_t> integer{};  ///< of a number that is one
  std::optional<double> real{};           ///< of a number that a double can hold
};

using Events = std::vector<Event>;

/// Reads a document value by value.
class Walk {
 public:
  enum class Depth : std::uint8_t {
    quick,
    thorough,  ///< reads every value in several ways, and throws where they differ
  };

  /// The document must outlive the walk.
  Walk(std::string_view document, Depth depth)
      : document_(document), reader_(document), isThorough_(depth == Depth::thorough) {}

  /// Whether the document is JSON. If not, `events` holds what came before the fault.
  bool run();

  const Events& events() const { return events_; }
  const std::optional<JSONReader::SyntaxError>& syntaxError() const {
    return reader_.syntaxError();
  }

  /// Whatever is asked of a reader that has found a fault, the answer is the same.
  void checkFailedReader(JSONReader reader) const;

 private:
  struct Level {
    bool isObject;
    const char* end;  ///< where skipping it ended; null when that was not tried
  };

  bool walk();
  bool nextMember();
  bool readValue();
  void readNumber();
  void readText();
  void readAsSomethingElse(JSONKind kind, const JSONReader& skipped);
  void leaveEarly(JSONKind kind, const JSONReader& skipped);

  std::string_view document_;
  JSONReader reader_;
  bool isThorough_;
  unsigned turn_ = 0;  ///< takes the ways of reading in turn
  std::string guess_ = "k";
  std::string lastKey_ = "k";
  std::vector<Level> levels_;
  Events events_;
};

/// Whether JSON writes a text, which is UTF-8, without escapes.
bool isPlain(std::string_view text);

/// The document with 0 in the place of every number outside a text. What only looks like a number
/// stays, so the result is JSON exactly when the document is.
std::string withoutNumbers(std::string_view document);

}  // namespace tavrine::fuzz
