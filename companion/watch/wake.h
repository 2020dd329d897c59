// Sleeping until a key is typed, a signal comes, or some time has passed.
#pragma once

#include <chrono>
#include <optional>

namespace tavrine {

/// What ended a wait; nothing of it where only time has passed.
struct Wake {
  bool hasInput = false;   ///< something was typed
  bool isResized = false;  ///< the screen has another size
  bool isGone = false;     ///< the terminal is no longer there
  std::optional<int> end;  ///< the signal by which somebody wants the program to end
};

/// While there is one, SIGINT, SIGTERM, SIGHUP and SIGWINCH interrupt nothing but `wait`.
class WakeUps {
 public:
  /// Throws `std::system_error`.
  WakeUps();
  ~WakeUps();
  WakeUps(const WakeUps&) = delete;
  WakeUps& operator=(const WakeUps&) = delete;

  /// Throws `std::system_error`.
  Wake wait(std::chrono::milliseconds longest) const;

 private:
  int signals_;
};

/// Ends the program by a signal, as if it had never been held back.
void endBy(int signal);

}  // namespace tavrine
