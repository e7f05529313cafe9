// Row loops on all processors. All parallel pixel work of the program goes through here.
#pragma once

#include <algorithm>
#include <memory>
#include <type_traits>

namespace lib {

// Number of threads that a parallel loop uses, the calling one included; at least 1. The start value is the number of
// processors.
int thread_count();
// Sets it for the loops that start from now on; 0 brings the number of processors back. Tests use it to show that
// pictures do not depend on it.
void set_thread_count(int count);

namespace detail {

using chunk_function = void (*)(void* body, int first, int last);
void run_chunks(int count, int chunk, chunk_function call, void* body);

}  // namespace detail

// While one lives, thread_count() is 1 on the thread that made it, so that its loops stay on it. For a thread that is
// one of several which share the processors already.
class single_thread_scope {
 public:
  explicit single_thread_scope(bool active = true);
  ~single_thread_scope();
  single_thread_scope(const single_thread_scope&) = delete;
  single_thread_scope& operator=(const single_thread_scope&) = delete;

 private:
  bool before_;
};

// While one lives, loops of the thread that made it stand back: when another thread's loop wants the threads, they go
// to it, and the one in the background ends on its own thread. For long work beside a user.
class background_scope {
 public:
  background_scope();
  ~background_scope();
  background_scope(const background_scope&) = delete;
  background_scope& operator=(const background_scope&) = delete;

 private:
  bool before_;
};

// Calls body(first, last) for the half-open stretches of `chunk` items that cover 0 to `count`, and returns when all
// are done. The threads take stretches as they get to them, so that one that the system holds up costs the others
// little; which thread takes which is left open, and no result may depend on it. A call from inside a body, or while
// another loop has the threads, runs on the calling thread alone. An exception of a body ends the loop early, on all
// threads, and is thrown again here; of several that of the lowest item. Any thread may call.
template <class Body>
void parallel_chunks(int count, int chunk, Body&& body) {
  using body_type = std::remove_reference_t<Body>;
  auto* address = const_cast<std::remove_const_t<body_type>*>(std::addressof(body));
  detail::run_chunks(
      count, chunk, [](void* self, int first, int last) { (*static_cast<body_type*>(self))(first, last); }, address);
}

// Divides 0 to `rows` into a few contiguous stretches a thread and calls body(first, last) for each. Runs on the
// calling thread alone when `items` (the samples that the loop will touch) is below 4096.
template <class Body>
void parallel_rows(int rows, long long items, Body&& body) {
  const int stretches = items < 4096 || thread_count() == 1 ? 1 : 4 * thread_count();
  parallel_chunks(rows, std::max(1, (rows + stretches - 1) / stretches), body);
}

}  // namespace lib
