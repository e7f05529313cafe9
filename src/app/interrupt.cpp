#include "app/interrupt.h"

#include <csignal>

namespace app {

namespace {

volatile std::sig_atomic_t interrupt_seen = 0;

void on_interrupt(int) {
  interrupt_seen = 1;
}

}  // namespace

void watch_interrupt() {
  struct sigaction now {};
  if (sigaction(SIGINT, nullptr, &now) != 0 || now.sa_handler == SIG_IGN) return;
  struct sigaction wanted {};
  wanted.sa_handler = on_interrupt;
  wanted.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
  sigaction(SIGINT, &wanted, nullptr);
}

bool interrupted() {
  return interrupt_seen != 0;
}

}  // namespace app
