// A strict JSON (RFC 8259) cursor: values are pulled one by one, straight into their destination.
//
// What holds for every call:
//  - One call consumes exactly one value, whether or not it is of the wanted kind, so an unwanted
//    value can be dropped and everything that is dropped is validated all the same.
//  - Syntax outranks types. Once the document proves not to be JSON, every call answers `notJSON`
//    (or false), the loops over members and elements end, and `syntaxError` tells where and why.
//  - No recursion, no exceptions, no copy of the document; one bit of memory per nesting level of a
//    value that is skipped.
//
// Not JSON, among others: control characters in texts, bad escapes, lone surrogates, ill-formed
// UTF-8, a byte order mark, 01, "1.", NaN, anything behind the value. A number that no double can
// hold is JSON; it fails only where it is read as a number.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tavrine {

/// What reading one value came to.
enum class JSONResult : std::uint8_t {
  ok,
  null,        ///< a null where a value was wanted
  wrongType,   ///< a value of another JSON type
  outOfRange,  ///< a number that the wanted type cannot hold
  malformed,   ///< a text that is not of the wanted form, such as an impossible date
  inner,       ///< a value inside this one failed, and that failure has been told
  notJSON,     ///< the document is not JSON
};

class JSONNumber;

/// What the first byte of a value says that it is; `none` is no value.
enum class JSONKind : std::uint8_t { null, boolean, number, text, list, object, none };

/// A place in a document, which moves on with each value that is read.
class JSONReader {
 public:
  /// Where a document stops being JSON, and why.
  struct SyntaxError {
    std::size_t offset;  ///< byte offset in the document
    std::string_view reason;
  };

  /// The document's bytes must outlive the reader. Stands before the document's one value.
  explicit JSONReader(std::string_view document);

  /// The kind of the next value; nothing is consumed. `none` where no value can begin.
  JSONKind peek() const;

  /// Consumes and validates one value of any kind.
  bool skip();

  /// Accepts a number whose value is an integer within 64 bits: 12, 12.0, 1.2e1.
  JSONResult readInteger(std::int64_t& value);
  /// Accepts every number that fits a finite double, exactly rounded; underflow gives 0.
  JSONResult readDouble(double& value);
  JSONResult readBoolean(bool& value);
  JSONResult readText(std::string& value);
  /// The text as a view into the document or, when it holds escapes, into the reader's own buffer:
  /// valid until the next read.
  JSONResult readTextView(std::string_view& value);
  /// Consumes a null if one stands here.
  bool consumeNull();

  /// After `ok`, call `nextElement` until it is false, reading exactly one value after each true.
  JSONResult enterList();
  bool nextElement();

  /// After `ok`, call `nextKey` until it is false, reading exactly one value after each true. The
  /// key is a view into the document, the reader's own buffer or the guess: valid until the next
  /// read.
  JSONResult enterObject();
  bool nextKey(std::string_view& key);

  enum class KeyMatch : std::uint8_t { expected, other, end };
  /// As `nextKey`, with a guess: `expected` when the key is the guessed one, found with a single
  /// comparison. The guess must be a text that JSON writes without escapes.
  KeyMatch nextKey(std::string_view guess, std::string_view& key);

  /// Consumes and validates what is left of the innermost list or object that was entered.
  void skipRestOfList();
  void skipRestOfObject();

  /// True if the document ends here, but for white space.
  bool finish();

  bool failed() const { return syntaxError_.has_value(); }
  const std::optional<SyntaxError>& syntaxError() const { return syntaxError_; }

  /// The document from the next value on; with the one of after the read, it spans the value.
  const char* position() const { return p_; }

 private:
  // Scans take the place where something begins and give the one behind it; null when it is not
  // JSON, which they have then noted. Places travel in registers, which is half of the speed.
  std::nullptr_t fail(const char* where, std::string_view reason);
  const char* skipSpace(const char* p);
  const char* scanText(const char* p, bool& hasEscapes);
  const char* scanEscape(const char* p);
  const char* scanNumber(const char* p, JSONNumber& number);
  const char* scanLiteral(const char* p, std::string_view literal);
  const char* scanLeaf(const char* p);
  const char* scanColon(const char* p);
  const char* scanKey(const char* p);
  const char* scanContainer(const char* p);

  bool moveTo(const char* p);
  JSONResult mismatch();
  JSONResult enter(char bracket);
  bool nextMember(char closing);
  bool readKey(std::string_view& key);
  std::string_view textBefore(const char* start, const char* p, bool hasEscapes);

  const char* begin_;
  const char* p_;
  const char* end_;
  bool first_ = false;              ///< a list or an object has just been entered: no comma is due
  std::ptrdiff_t indentation_ = 0;  ///< of the last line, as far as it helps to guess the next one
  std::string unescaped_;
  std::optional<SyntaxError> syntaxError_;
};

}  // namespace tavrine
