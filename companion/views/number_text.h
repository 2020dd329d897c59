// Numbers as people read them in a table: short, in the C locale's spelling wherever we run.
#pragma once

#include <string>

namespace tavrine {

/// With one digit behind the point, rounded: "84.2", "320.0". From 10^9 on with an exponent
/// instead: "1e+09". What is no number is "nan", "inf" or "-inf".
std::string oneDecimal(double value);

/// The same, without ".0": "7", "45.2".
std::string upToOneDecimal(double value);

/// With at most so many digits that count: "0.04217", "1.2e-05".
std::string significantDigits(double value, int digits);

}  // namespace tavrine
