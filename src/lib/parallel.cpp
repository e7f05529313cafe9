#include "lib/parallel.h"

#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>

namespace lib {
namespace {

std::atomic<int> wanted_threads{0};
thread_local bool on_one_thread = false;
thread_local bool inside_a_loop = false;
thread_local bool in_background = false;

struct loop {
  detail::chunk_function call;
  void* body;
  int count;
  int chunk;
  std::atomic<long long> next{0};           // first item that nobody has taken
  std::atomic<long long> failed_at{count};  // the stretch whose body threw, the lowest of several
  std::exception_ptr failure{};             // what it threw
  std::mutex lock{};                        // guards failure

  // Until all is taken, or `leave` is set.
  void work(const std::atomic<bool>& leave) {
    while (!leave.load(std::memory_order_relaxed)) {
      const long long first = next.fetch_add(chunk, std::memory_order_relaxed);
      if (first >= failed_at) return;
      try {
        call(body, static_cast<int>(first), static_cast<int>(std::min<long long>(count, first + chunk)));
      } catch (...) {
        const std::lock_guard guard(lock);
        if (first >= failed_at) return;
        failed_at = first;
        failure = std::current_exception();
      }
    }
  }
};

// Threads that sleep between loops. An OpenMP runtime was the first choice here: its threads wait in a spin, which
// costs a machine that runs more than one job dearly (with six other busy processes a composite took six times as
// long), and neither the thread sanitizer nor a fork knows them.
class thread_pool {
 public:
  // False when another loop has the threads, or took them before this one was through.
  bool run(loop& work, int helpers) {
    if (!take()) return false;
    const std::lock_guard owned(owner_, std::adopt_lock);
    const std::atomic<bool>& leave = in_background ? wanted_ : never_;
    {
      const std::lock_guard guard(lock_);
      try {
        for (; threads_ < helpers; ++threads_) std::thread([this] { serve(); }).detach();
      } catch (const std::system_error&) {
        // The user may have no more threads. The loop runs on those that there are.
      }
      current_ = &work;
      leave_ = &leave;
      places_ = helpers;
      round_.fetch_add(1, std::memory_order_release);
    }
    started_.notify_all();
    work.work(leave);
    std::unique_lock guard(lock_);
    current_ = nullptr;
    finished_.wait(guard, [this] { return active_ == 0; });
    return work.next >= work.count;
  }

  const std::atomic<bool>& never() const { return never_; }

 private:
  std::mutex owner_;                 // held by the thread whose loop runs
  std::atomic<bool> yields_{false};  // that loop is one in the background
  std::atomic<bool> wanted_{false};  // another one waits for the threads
  const std::atomic<bool> never_{false};
  std::mutex lock_;  // guards what follows
  std::condition_variable started_;
  std::condition_variable finished_;
  loop* current_ = nullptr;
  const std::atomic<bool>* leave_ = nullptr;
  int places_ = 0;  // helpers that may still join the current loop
  int active_ = 0;  // helpers at work in it
  int threads_ = 0;
  std::atomic<unsigned> round_{0};

  // Takes owner_. One that waits for a loop in the background has it after the stretches that are at hand there.
  bool take() {
    if (!owner_.try_lock()) {
      if (in_background || !yields_) return false;
      wanted_ = true;
      owner_.lock();
      wanted_ = false;
    }
    yields_ = in_background;
    return true;
  }

  void serve() {
    inside_a_loop = true;
    unsigned seen = 0;
    for (;;) {
      // Loops of one frame follow each other closely: a short spin saves the sleep between them.
      for (int i = 0; i < spins && round_.load(std::memory_order_acquire) == seen; ++i) {
#if defined(__x86_64__)
        __builtin_ia32_pause();
#endif
      }
      std::unique_lock guard(lock_);
      started_.wait(guard, [&] { return round_.load(std::memory_order_relaxed) != seen; });
      seen = round_.load(std::memory_order_relaxed);
      if (!current_ || places_ == 0) continue;
      --places_;
      ++active_;
      loop* work = current_;
      const std::atomic<bool>* leave = leave_;
      guard.unlock();
      work->work(*leave);
      guard.lock();
      if (--active_ == 0) finished_.notify_one();
    }
  }

  static constexpr int spins = 2000;  // some ten microseconds
};

thread_pool& pool() {
  // One per process: there is one set of processors, and two pools would share it badly. A row loop is called at the
  // bottom of everything, where handing a pool down would reach every function. Never destroyed: its threads sleep in
  // it to the end of the process.
  static auto* const threads = new thread_pool;
  return *threads;
}

}  // namespace

int thread_count() {
  if (on_one_thread) return 1;
  const int wanted = wanted_threads.load(std::memory_order_relaxed);
  if (wanted > 0) return wanted;
  static const int processors = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
  return processors;
}

void set_thread_count(int count) {
  wanted_threads.store(count, std::memory_order_relaxed);
}

void detail::run_chunks(int count, int chunk, chunk_function call, void* body) {
  if (count <= 0) return;
  loop work{call, body, count, std::max(chunk, 1)};
  const int stretches = (count - 1) / work.chunk + 1;
  const int helpers = inside_a_loop ? 0 : std::min(thread_count(), stretches) - 1;
  bool shared = false;
  if (helpers > 0) {
    inside_a_loop = true;
    shared = pool().run(work, helpers);
    inside_a_loop = false;
  }
  if (!shared) work.work(pool().never());
  if (work.failure) std::rethrow_exception(work.failure);
}

single_thread_scope::single_thread_scope(bool active) : before_(on_one_thread) {
  on_one_thread = on_one_thread || active;
}

single_thread_scope::~single_thread_scope() {
  on_one_thread = before_;
}

background_scope::background_scope() : before_(in_background) {
  in_background = true;
}

background_scope::~background_scope() {
  in_background = before_;
}

}  // namespace lib
