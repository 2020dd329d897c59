#include <TavrineShared/foundation/json_writer.h>

#include <TavrineShared/foundation/ascii.h>
#include <TavrineShared/foundation/json_scan.h>
#include <TavrineShared/foundation/unicode_text.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <new>
#include <utility>

namespace tavrine {

namespace {

constexpr std::size_t kIndentWidth = 2;
constexpr std::size_t kFirstCapacity = 256;
constexpr std::size_t kPieceSize = std::size_t{64} << 10;

// Longer than the longest shortest form, -2.2250738585072014e-308, and than any 64-bit integer.
constexpr std::size_t kNumberRoom = 32;

constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";

// Writes what std::to_chars would for the doubles that records mostly hold: whole numbers, and
// numbers of up to three decimals. Null for all others. Up to 15 digits, no two decimals are the
// same double, so a decimal that reads as `value` is the shortest that does.
char* writeShortDecimal(char* p, double value) {
  constexpr double kScale = 1000;
  constexpr double kLargest = 1e12;  // scaled, it still has no more than 15 digits
  if (!(std::abs(value) < kLargest)) return nullptr;
  const double scaled = std::nearbyint(value * kScale);
  if (scaled / kScale != value || scaled == 0) return nullptr;
  const auto digits = static_cast<std::uint64_t>(std::abs(scaled));
  const std::uint64_t whole = digits / 1000;
  const std::uint64_t thousandths = digits % 1000;
  // Many zeros at the end are shorter as an exponent.
  if (thousandths == 0 && whole % 100'000 == 0) return nullptr;
  if (value < 0) *p++ = '-';
  p = std::to_chars(p, p + kNumberRoom, whole).ptr;
  if (thousandths == 0) return p;
  *p++ = '.';
  const auto put = [&p](std::uint64_t digit) { *p++ = static_cast<char>('0' + digit); };
  put(thousandths / 100);
  if (thousandths % 100 == 0) return p;
  put(thousandths / 10 % 10);
  if (thousandths % 10 == 0) return p;
  put(thousandths % 10);
  return p;
}

}  // namespace

void JSONWriter::grow(std::size_t count) {
  const auto capacity = static_cast<std::size_t>(end_ - buffer_.get());
  flush();
  if (sink_ && count <= capacity) return;
  const auto written = static_cast<std::size_t>(p_ - buffer_.get());
  const std::size_t wanted = sink_ ? std::max(count, kPieceSize)
                                   : std::max({written + count, capacity * 2, kFirstCapacity});
  auto* const bytes = static_cast<char*>(std::realloc(buffer_.get(), wanted));
  if (bytes == nullptr) throw std::bad_alloc();
  static_cast<void>(buffer_.release());
  buffer_.reset(bytes);
  p_ = bytes + written;
  end_ = bytes + wanted;
}

inline void JSONWriter::put(std::string_view bytes) {
  if (bytes.empty()) return;  // a view of nothing has no data to copy from
  std::memcpy(p_, bytes.data(), bytes.size());
  p_ += bytes.size();
}

inline void JSONWriter::newLine() {
  const std::size_t indent = depth_ * kIndentWidth;
  reserve(indent + 1);
  put('\n');
  std::memset(p_, ' ', indent);
  p_ += indent;
}

// The comma and the line break before a key or an element.
inline void JSONWriter::beginMember() {
  reserve(1);
  if (!isEmptyLevel_) put(',');
  if (isPretty_) newLine();
  isEmptyLevel_ = false;
}

void JSONWriter::open(char bracket) {
  reserve(1);
  put(bracket);
  ++depth_;
  isEmptyLevel_ = true;
}

void JSONWriter::close(char bracket) {
  --depth_;
  if (isPretty_ && !isEmptyLevel_) newLine();
  reserve(1);
  put(bracket);
  isEmptyLevel_ = false;
}

void JSONWriter::plainKey(std::string_view key) {
  beginMember();
  plainText(key);
  reserve(2);
  put(':');
  if (isPretty_) put(' ');
}

void JSONWriter::key(std::string_view key) {
  beginMember();
  text(key);
  reserve(2);
  put(':');
  if (isPretty_) put(' ');
}

void JSONWriter::element() { beginMember(); }

void JSONWriter::null() {
  reserve(4);
  put("null");
}

void JSONWriter::boolean(bool value) {
  reserve(5);
  put(value ? "true" : "false");
}

void JSONWriter::integer(std::int64_t value) {
  reserve(kNumberRoom);
  p_ = std::to_chars(p_, p_ + kNumberRoom, value).ptr;
}

bool JSONWriter::number(double value) {
  if (!std::isfinite(value)) return false;
  reserve(kNumberRoom);
  char* const end = writeShortDecimal(p_, value);
  p_ = end != nullptr ? end : std::to_chars(p_, p_ + kNumberRoom, value).ptr;
  return true;
}

void JSONWriter::plainText(std::string_view value) {
  reserve(value.size() + 2);
  put('"');
  put(value);
  put('"');
}

void JSONWriter::text(std::string_view value) {
  reserve(value.size() + 2);
  put('"');
  const char* p = value.data();
  const char* const end = p + value.size();
  while (true) {
    const char* const stop = json_scan::plainTextEnd(p, end);
    const auto run = static_cast<std::size_t>(stop - p);
    reserve(run + 8);
    put({p, run});
    p = stop;
    if (p == end) break;
    const auto rest = std::string_view(p, static_cast<std::size_t>(end - p));
    const auto c = static_cast<unsigned char>(*p);
    if (c >= 0x80) {
      const std::size_t length = wellFormedSequenceLength(rest);
      put(length == 0 ? kReplacementCharacter : rest.substr(0, length));
      p += length == 0 ? illFormedPartLength(rest) : length;
      continue;
    }
    put('\\');
    switch (*p++) {
      case '"':
        put('"');
        break;
      case '\\':
        put('\\');
        break;
      case '\b':
        put('b');
        break;
      case '\f':
        put('f');
        break;
      case '\n':
        put('n');
        break;
      case '\r':
        put('r');
        break;
      case '\t':
        put('t');
        break;
      default: {
        put("u00");
        put(ascii::kHexDigits[c >> 4U]);
        put(ascii::kHexDigits[c & 0xFU]);
      }
    }
  }
  put('"');
}

void JSONWriter::flush() {
  if (!sink_ || p_ == buffer_.get()) return;
  const char* const end = std::exchange(p_, buffer_.get());
  sink_({buffer_.get(), end});
}

std::string JSONWriter::take() {
  std::string document(buffer_.get(), p_);
  buffer_.reset();
  p_ = end_ = nullptr;
  isEmptyLevel_ = true;
  depth_ = 0;
  return document;
}

}  // namespace tavrine
