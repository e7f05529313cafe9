#include "platform/threads.h"

#include <fcntl.h>
#include <sched.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>

namespace platform {
namespace {

double seconds(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// /proc/thread-self/schedstat: nanoseconds on a processor, nanoseconds ready for one, and a count. 0 where the kernel
// does not tell.
double ready_seconds() {
  const int file = open("/proc/thread-self/schedstat", O_RDONLY | O_CLOEXEC);
  if (file < 0) return 0.0;
  char text[96];
  const ssize_t size = read(file, text, sizeof text - 1);
  close(file);
  if (size <= 0) return 0.0;
  text[size] = 0;
  unsigned long long running = 0;
  unsigned long long ready = 0;
  return std::sscanf(text, "%llu %llu", &running, &ready) == 2 ? static_cast<double>(ready) / 1e9 : 0.0;
}

}  // namespace

void step_back() {
  // Not a nice value: beside other programs that would cost a reader most of its processor, and it can't be taken back.
  const sched_param none{};
  sched_setscheduler(0, SCHED_BATCH, &none);
}

thread_times read_thread_times() {
  return {seconds(CLOCK_MONOTONIC), seconds(CLOCK_THREAD_CPUTIME_ID), ready_seconds()};
}

}  // namespace platform
