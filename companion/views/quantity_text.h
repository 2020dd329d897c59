// Quantities, times and what may be missing, as people read them in a table.
#pragma once

#include <TavrineShared/foundation/timestamp.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tavrine {

/// Up to one decimal and the unit, put together as given: "84.2%"; a dash for no value.
std::string withUnit(const std::optional<double>& value, std::string_view unit);

/// How many GiB so many MiB are.
double gibibytesIn(double mebibytes);

/// "45.2 GiB", from MiB or from GiB; a dash for no value.
std::string gibibytesOfMB(const std::optional<double>& mebibytes);
std::string gibibytes(const std::optional<double>& gibibytes);

/// "45.2 / 80.0 GiB", from GiB.
std::string gibibytesUsed(double used, double total);

/// "320.0 W"; a dash for no value.
std::string watts(const std::optional<double>& value);

/// Of a training loss, with four digits; a dash for no value.
std::string lossText(const std::optional<double>& loss);

/// A dash for no value.
std::string countText(const std::optional<std::int64_t>& value);
std::string orAbsent(const std::optional<std::string>& value);

/// "1 GPU", "2 GPUs".
std::string counted(std::size_t count, std::string_view one, std::string_view many);

/// "2026-11-15 17:48:25 UTC"; a dash for what no calendar holds.
std::string timeText(Timestamp time);

/// The two largest units: "45 s", "12 min", "2 h 13 min", "3 d 4 h"; a dash for what is negative,
/// no number, or longer than 30,000 years.
std::string durationText(double seconds);

/// "3 min ago", "in 2 h"; "now" within half a second. Only the largest unit. A dash for no number
/// and for more than 30,000 years.
std::string agoText(Timestamp time, Timestamp now);

}  // namespace tavrine
