#include "companion/watch/wake.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

namespace tavrine {

namespace {

sigset_t heldSignals() {
  sigset_t held;
  ::sigemptyset(&held);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGWINCH}) ::sigaddset(&held, signal);
  return held;
}

[[noreturn]] void throwLast(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

void readSignals(int descriptor, Wake& wake) {
  signalfd_siginfo signal{};
  while (::read(descriptor, &signal, sizeof(signal)) == sizeof(signal)) {
    if (signal.ssi_signo == SIGWINCH) {
      wake.isResized = true;
    } else {
      wake.end = static_cast<int>(signal.ssi_signo);
    }
  }
}

}  // namespace

WakeUps::WakeUps() {
  const sigset_t held = heldSignals();
  signals_ = ::signalfd(-1, &held, SFD_CLOEXEC | SFD_NONBLOCK);
  if (signals_ < 0) throwLast("cannot wait for signals");
  ::sigprocmask(SIG_BLOCK, &held, nullptr);
}

WakeUps::~WakeUps() {
  ::close(signals_);
  const sigset_t held = heldSignals();
  ::sigprocmask(SIG_UNBLOCK, &held, nullptr);
}

Wake WakeUps::wait(std::chrono::milliseconds longest) const {
  std::array<pollfd, 2> waiting = {{{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0},
                                    {.fd = signals_, .events = POLLIN, .revents = 0}}};
  Wake wake;
  if (::poll(waiting.data(), waiting.size(), static_cast<int>(longest.count())) < 0) {
    if (errno != EINTR) throwLast("cannot wait for keys");
    return wake;
  }
  wake.hasInput = (waiting[0].revents & POLLIN) != 0;
  wake.isGone = (waiting[0].revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
  if ((waiting[1].revents & POLLIN) != 0) readSignals(signals_, wake);
  return wake;
}

void endBy(int signal) {
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

}  // namespace tavrine
