// For picture libraries in C that report an error by a function that must not return.
#pragma once

#include <csetjmp>
#include <cstdio>
#include <exception>
#include <string>
#include <utility>

#include "io/exceptions.h"

namespace img {

// The error function calls leave(), which jumps back into run(). Nothing with a destructor may live in `body` or in
// the callbacks that leave, since a jump passes it by. A stream failure inside a callback is kept and thrown again.
class library_guard {
 public:
  // Runs body() on behalf of `path`. Throws io::invalid_format(path, the library's text), or what a stream threw.
  template <class Body>
  [[gnu::noinline]] void run(const std::string& path, const Body& body) {
    if (setjmp(jump_) != 0) raise(path);
    body();
  }

  [[noreturn]] void leave(const char* text) {
    std::snprintf(text_, sizeof text_, "%s", text);
    std::longjmp(jump_, 1);
  }

  // Calls a stream from a callback; true when it did not throw. The callback then leaves by the library's own error.
  template <class Call>
  bool attempt(const Call& call) {
    try {
      call();
      return true;
    } catch (...) {
      failure_ = std::current_exception();
      return false;
    }
  }

 private:
  [[noreturn]] void raise(const std::string& path) {
    if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
    throw io::invalid_format(path, text_);
  }

  std::jmp_buf jump_;
  char text_[256] = "";
  std::exception_ptr failure_;
};

}  // namespace img
