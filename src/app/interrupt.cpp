#include "app/interrupt.h"

#include <csignal>
#include <initializer_list>

namespace app {

namespace {

volatile std::sig_atomic_t signal_seen = 0;

void on_interrupt(int signal) {
  signal_seen = signal;
}

}  // namespace

void watch_interrupt() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction now {};
    if (sigaction(signal, nullptr, &now) != 0 || now.sa_handler == SIG_IGN) continue;
    struct sigaction wanted {};
    wanted.sa_handler = on_interrupt;
    wanted.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
    sigaction(signal, &wanted, nullptr);
  }
}

bool interrupted() {
  return signal_seen != 0;
}

int interrupt_status() {
  return 128 + signal_seen;
}

}  // namespace app
