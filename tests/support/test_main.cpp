// The main of every unit test executable: GoogleTest, after taking over the user's locale, as a
// program that calls this library would have done.
//
// With TAVRINE_TEST_ABROAD set, the tests are meant to run where numbers have a decimal comma and
// clocks stand at UTC+05:45. A place that cannot be had falls back silently to the C locale and to
// UTC, and would prove nothing; so it is checked first.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <locale>
#include <string_view>

namespace {

bool isAbroad() {
  const std::time_t epoch = 0;
  std::tm local{};
  localtime_r(&epoch, &local);
  return std::string_view(std::localeconv()->decimal_point) == "," && local.tm_hour == 5 &&
         local.tm_min == 45;
}

}  // namespace

int main(int argc, char** argv) {
  std::setlocale(LC_ALL, "");
  if (std::getenv("TAVRINE_TEST_ABROAD") != nullptr) {
    if (!isAbroad()) {
      std::fputs("TAVRINE_TEST_ABROAD is set, but TZ and LC_ALL have no effect here\n", stderr);
      return 1;
    }
    std::locale::global(std::locale(""));  // C++ streams, too
  }
  testing::InitGoogleMock(&argc, argv);
  return RUN_ALL_TESTS();
}
