#include "lib/foreground.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace lib {
namespace {

constexpr std::chrono::milliseconds longest_wait(20);

// One for the process: there is one set of processors. Never destroyed, as threads may work until the process ends.
struct gate {
  std::atomic<int> waited_for{0};  // scopes of all threads
  std::atomic<unsigned> turn{0};   // counts the times that somebody began to be waited for
  std::mutex lock;
  std::condition_variable open;
};

gate& the_gate() {
  static auto* const one = new gate;
  return *one;
}

thread_local int depth = 0;
thread_local bool works_ahead = false;
thread_local double given_way = 0.0;
thread_local unsigned sat_out = 0;  // the turn in which the thread has stood aside for long enough

void change(int by) {
  gate& gate = the_gate();
  const int before = gate.waited_for.fetch_add(by);
  if (before == 0) ++gate.turn;
  if (before + by != 0) return;
  // A thread that has looked and not yet begun to wait holds the lock.
  { const std::lock_guard guard(gate.lock); }
  gate.open.notify_all();
}

}  // namespace

foreground_scope::foreground_scope(bool active) : active_(active) {
  if (!active_) return;
  ++depth;
  change(1);
}

foreground_scope::~foreground_scope() {
  if (!active_) return;
  --depth;
  change(-1);
}

foreground_break::foreground_break() : depth_(depth) {
  depth = 0;
  if (depth_ > 0) change(-depth_);
}

foreground_break::~foreground_break() {
  depth = depth_;
  if (depth_ > 0) change(depth_);
}

ahead_scope::ahead_scope() : before_(works_ahead) {
  works_ahead = true;
}

ahead_scope::~ahead_scope() {
  works_ahead = before_;
}

void give_way() {
  if (!works_ahead) return;
  gate& gate = the_gate();
  if (gate.waited_for.load(std::memory_order_relaxed) == 0 || gate.turn == sat_out) return;
  const auto start = std::chrono::steady_clock::now();
  {
    std::unique_lock guard(gate.lock);
    const unsigned turn = gate.turn;
    if (!gate.open.wait_for(guard, longest_wait, [&] { return gate.waited_for == 0; })) sat_out = turn;
  }
  given_way += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double seconds_given_way() {
  return given_way;
}

}  // namespace lib
