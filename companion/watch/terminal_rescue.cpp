#include "companion/watch/terminal_rescue.h"

#include <termios.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstddef>

namespace tavrine {

namespace {

constexpr std::array kCrashes = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};

// A signal handler finds nothing but globals, and may neither allocate nor lock: all it needs lies
// ready here.
std::array<char, 512> leaveText;
std::size_t leaveLength = 0;
termios terminalBefore;
volatile std::sig_atomic_t isArmed = 0;

// A crash may be that of a stack that is full.
std::array<char, std::size_t{64} * 1024> handlerStack;

void rescue(int signal) {
  if (isArmed != 0) {
    isArmed = 0;
    // Nobody is left to be told that it could not be written.
    const ssize_t written = ::write(STDOUT_FILENO, leaveText.data(), leaveLength);
    static_cast<void>(written);
    ::tcsetattr(STDIN_FILENO, TCSANOW, &terminalBefore);
  }
  // The handler is gone by now, and the signal held back until it returns.
  ::raise(signal);
}

void setHandlers(void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = SA_ONSTACK | static_cast<int>(SA_RESETHAND);
  ::sigemptyset(&action.sa_mask);
  for (const int signal : kCrashes) ::sigaction(signal, &action, nullptr);
}

void setStack(int flags) {
  stack_t stack{};
  stack.ss_sp = handlerStack.data();
  stack.ss_size = handlerStack.size();
  stack.ss_flags = flags;
  ::sigaltstack(&stack, nullptr);
}

}  // namespace

TerminalRescue::TerminalRescue()
    : knowsTerminal_(::tcgetattr(STDIN_FILENO, &terminalBefore) == 0) {}

void TerminalRescue::arm(const std::string& leave) const {
  if (!knowsTerminal_) return;
  leaveLength = leave.copy(leaveText.data(), leaveText.size());
  isArmed = 1;
  setStack(0);
  setHandlers(rescue);
}

TerminalRescue::~TerminalRescue() {
  if (isArmed == 0) return;
  setHandlers(SIG_DFL);
  setStack(SS_DISABLE);
  isArmed = 0;
}

}  // namespace tavrine
