// A file descriptor with an owner.
#pragma once

#include <unistd.h>

#include <utility>

namespace platform {

class descriptor {
 public:
  explicit descriptor(int number = -1) : number_(number) {}
  ~descriptor() { reset(); }
  descriptor(descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  descriptor& operator=(descriptor&& other) noexcept {
    reset();
    number_ = std::exchange(other.number_, -1);
    return *this;
  }
  void reset() {
    if (number_ >= 0) close(number_);
    number_ = -1;
  }
  int get() const { return number_; }
  int release() { return std::exchange(number_, -1); }
  explicit operator bool() const { return number_ >= 0; }

 private:
  int number_;
};

}  // namespace platform
