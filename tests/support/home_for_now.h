// The environment's HOME, changed for the time of a test.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace tavrine {

/// HOME as given, or not at all, for as long as this lives.
class HomeForNow {
 public:
  explicit HomeForNow(const char* value) {
    if (const char* const before = std::getenv("HOME")) before_ = before;
    set(value);
  }
  ~HomeForNow() { set(before_ ? before_->c_str() : nullptr); }
  HomeForNow(const HomeForNow&) = delete;
  HomeForNow& operator=(const HomeForNow&) = delete;

 private:
  static void set(const char* value) {
    if (value == nullptr) {
      ::unsetenv("HOME");
    } else {
      ::setenv("HOME", value, 1);
    }
  }

  std::optional<std::string> before_;
};

}  // namespace tavrine
