// Writes one JSON document: compact, or pretty with two blanks per level, `"key": value`, and
// `[]` and `{}` for what is empty.
//
// Texts are escaped only where RFC 8259 demands it; ill-formed UTF-8 becomes U+FFFD. Doubles are
// the shortest decimal that reads back the same, integral ones without a point. The caller brings
// the values in a legal order (keys only inside objects, one value behind each key); the writer
// sees to commas, line breaks and indentation. It keeps the document until it is taken, or hands it
// on piece by piece.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace tavrine {

/// One line, or indented lines for people and for files.
enum class JSONStyle : std::uint8_t {
  compact,
  pretty,
};

/// Takes the next piece of a document. What it throws goes through to whoever writes, whose
/// document then lacks that piece.
using JSONSink = std::function<void(std::string_view)>;

/// A document as far as it has been written.
class JSONWriter {
 public:
  /// With a sink, no more of the document is kept than 64 KB, or the longest text in it.
  explicit JSONWriter(JSONStyle style, JSONSink sink = nullptr)
      : sink_(std::move(sink)), isPretty_(style == JSONStyle::pretty) {}

  void beginObject() { open('{'); }
  void endObject() { close('}'); }
  void beginList() { open('['); }
  void endList() { close(']'); }

  /// Before each value of an object. Any text is a key.
  void key(std::string_view key);
  /// The same for a key known to need no escapes, as all keys of the field tables are.
  void plainKey(std::string_view key);
  /// Before each value of a list.
  void element();

  void null();
  void boolean(bool value);
  void integer(std::int64_t value);
  /// False, with nothing written, for a NaN or an infinity: JSON has no form for them.
  [[nodiscard]] bool number(double value);
  void text(std::string_view value);
  /// A text known to need no escapes.
  void plainText(std::string_view value);

  /// The document, complete once every level has been closed and unless there is a sink. The writer
  /// is empty afterwards.
  std::string take();
  /// Hands on what a sink, if there is one, has not been given yet.
  void flush();

 private:
  void open(char bracket);
  void close(char bracket);
  void beginMember();
  void put(char c) { *p_++ = c; }
  void put(std::string_view bytes);
  void newLine();
  /// Makes room for `count` bytes behind `p_`.
  void reserve(std::size_t count) {
    if (static_cast<std::size_t>(end_ - p_) < count) grow(count);
  }
  void grow(std::size_t count);

  struct Free {
    void operator()(char* bytes) const { std::free(bytes); }
  };

  JSONSink sink_;
  // Not a std::string: for a large document, growing one touches several times the memory that
  // realloc does, which moves pages rather than bytes.
  std::unique_ptr<char, Free> buffer_;
  char* p_ = nullptr;    ///< where the next byte goes
  char* end_ = nullptr;  ///< of the room there is
  std::size_t depth_ = 0;
  bool isEmptyLevel_ = true;  ///< nothing has been written yet in the innermost level
  bool isPretty_;
};

}  // namespace tavrine
