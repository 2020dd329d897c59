#include "companion/shell/interruption.h"

#include <csignal>
#include <initializer_list>

namespace tavrine {

namespace {

volatile std::sig_atomic_t interrupted = 0;  // what a signal handler may write

void note(int) { interrupted = 1; }

}  // namespace

void noteInterruptions() {
  struct sigaction noting {};
  noting.sa_handler = note;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction before {};
    ::sigaction(signal, nullptr, &before);
    if (before.sa_handler != SIG_IGN) ::sigaction(signal, &noting, nullptr);
  }
}

bool isInterrupted() { return interrupted != 0; }

}  // namespace tavrine
