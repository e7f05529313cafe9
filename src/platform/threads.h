// Requests and measurements of the calling thread.
#pragma once

namespace platform {

// The calling thread works without a break: a thread that wakes up to answer the user goes before it. Its share of the
// processors stays the same.
void step_back();

// Seconds of the calling thread's life: by the clock, on a processor, and ready for one that others had. The rest it
// waited, for a file or another thread.
struct thread_times {
  double wall = 0.0;
  double running = 0.0;
  double ready = 0.0;
};
thread_times read_thread_times();

}  // namespace platform
