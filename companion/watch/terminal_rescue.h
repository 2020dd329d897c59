// Gives the terminal back when the program crashes: whoever typed the command must not be left with
// a screen that shows neither what is typed nor where.
#pragma once

#include <string>

namespace tavrine {

/// Remembers how the terminal is set when it is made. Once it is armed, a crash (SIGSEGV, SIGBUS,
/// SIGFPE, SIGILL, SIGABRT) first writes a text to standard output and sets the terminal to how it
/// was; then it goes its way. There is at most one at a time.
class TerminalRescue {
 public:
  TerminalRescue();
  ~TerminalRescue();
  TerminalRescue(const TerminalRescue&) = delete;
  TerminalRescue& operator=(const TerminalRescue&) = delete;

  /// With the text that makes the terminal leave the screen.
  void arm(const std::string& leave) const;

 private:
  bool knowsTerminal_;
};

}  // namespace tavrine
