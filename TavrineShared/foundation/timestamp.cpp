#include <TavrineShared/foundation/timestamp.h>

#include <cmath>
#include <cstdint>

namespace tavrine {
namespace {

// 0000-01-01T00:00:00Z, and the first second of the year 10000.
constexpr std::chrono::sys_days kFirstDay{std::chrono::year{0} / 1 / 1};
constexpr std::chrono::sys_days kDayPastLast{std::chrono::year{10000} / 1 / 1};
constexpr std::int64_t kSecondsPerDay = 86400;

constexpr double secondsOf(std::chrono::sys_days day) {
  return static_cast<double>(day.time_since_epoch().count() * kSecondsPerDay);
}

/// Reads the fields of a text of known length at fixed places. Whether all were well is asked once
/// at the end: a malformed text is rare, and the branches for it cost more than reading on.
class FieldReader {
 public:
  explicit FieldReader(const char* text) : text_(text) {}

  unsigned twoDigits(std::size_t at) {
    const unsigned tens = digit(at);
    return tens * 10 + digit(at + 1);
  }
  void expect(std::size_t at, char c) { ok_ &= text_[at] == c; }
  bool ok() const { return ok_; }

 private:
  unsigned digit(std::size_t at) {
    const unsigned value = static_cast<unsigned char>(text_[at]) - unsigned{'0'};
    ok_ &= value <= 9;
    return value;
  }

  const char* text_;
  bool ok_ = true;
};

void writeTwoDigits(char* out, unsigned value) {
  out[0] = static_cast<char>('0' + value / 10);
  out[1] = static_cast<char>('0' + value % 10);
}

}  // namespace

std::optional<Timestamp> timestampFromISO8601(std::string_view text) {
  constexpr std::size_t kLengthWithOffset = 25;
  constexpr std::size_t kZone = 19;  // where the Z or the offset stands
  if (text.size() != kISO8601Length && text.size() != kLengthWithOffset) return std::nullopt;

  FieldReader fields(text.data());
  const unsigned year = fields.twoDigits(0) * 100 + fields.twoDigits(2);
  fields.expect(4, '-');
  const unsigned month = fields.twoDigits(5);
  fields.expect(7, '-');
  const unsigned day = fields.twoDigits(8);
  fields.expect(10, 'T');
  const unsigned hour = fields.twoDigits(11);
  fields.expect(13, ':');
  const unsigned minute = fields.twoDigits(14);
  fields.expect(16, ':');
  const unsigned second = fields.twoDigits(17);

  std::int64_t offset = 0;
  if (text.size() == kISO8601Length) {
    fields.expect(kZone, 'Z');
  } else {
    if (text[kZone] != '+' && text[kZone] != '-') return std::nullopt;
    const unsigned offsetHours = fields.twoDigits(kZone + 1);
    fields.expect(kZone + 3, ':');
    const unsigned offsetMinutes = fields.twoDigits(kZone + 4);
    if (offsetHours > 23 || offsetMinutes > 59) return std::nullopt;
    offset = std::int64_t{offsetHours} * 3600 + std::int64_t{offsetMinutes} * 60;
    if (text[kZone] == '-') offset = -offset;
  }

  if (!fields.ok() || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  const std::chrono::year_month_day date{std::chrono::year{static_cast<int>(year)},
                                         std::chrono::month{month},
                                         std::chrono::day{day}};
  if (!date.ok()) return std::nullopt;
  const std::int64_t days = std::chrono::sys_days{date}.time_since_epoch().count();
  const std::int64_t seconds = days * kSecondsPerDay + std::int64_t{hour} * 3600 +
                               std::int64_t{minute} * 60 + second - offset;
  return Timestamp{std::chrono::duration<double>{static_cast<double>(seconds)}};
}

std::optional<std::string> iso8601Text(Timestamp time) {
  std::string text(kISO8601Length, '\0');
  if (!writeISO8601(time, std::span<char, kISO8601Length>(text.data(), kISO8601Length))) {
    return std::nullopt;
  }
  return text;
}

bool writeISO8601(Timestamp time, std::span<char, kISO8601Length> out) {
  const double exact = time.time_since_epoch().count();
  // Said this way round so that NaN fails too.
  if (!(exact >= secondsOf(kFirstDay) && exact < secondsOf(kDayPastLast))) return false;
  const auto sinceFirst = static_cast<std::uint64_t>(std::floor(exact) - secondsOf(kFirstDay));
  const std::chrono::year_month_day date{kFirstDay +
                                         std::chrono::days{sinceFirst / kSecondsPerDay}};
  const auto year = static_cast<unsigned>(static_cast<int>(date.year()));
  const auto second = static_cast<unsigned>(sinceFirst % kSecondsPerDay);

  char* const p = out.data();
  writeTwoDigits(p, year / 100);
  writeTwoDigits(p + 2, year % 100);
  p[4] = '-';
  writeTwoDigits(p + 5, static_cast<unsigned>(date.month()));
  p[7] = '-';
  writeTwoDigits(p + 8, static_cast<unsigned>(date.day()));
  p[10] = 'T';
  writeTwoDigits(p + 11, second / 3600);
  p[13] = ':';
  writeTwoDigits(p + 14, second / 60 % 60);
  p[16] = ':';
  writeTwoDigits(p + 17, second % 60);
  p[19] = 'Z';
  return true;
}

}  // namespace tavrine
