// A block of memory as a stream.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "io/streams.h"

namespace io {

// Does not own the block, which must outlive it.
class memory_reader : public binary_reader {
 public:
  memory_reader(const void* data, std::size_t size)
      : position_(static_cast<const std::uint8_t*>(data)), end_(position_ + size) {}

  int read(void* buffer, int count) override {
    count = static_cast<int>(std::min<std::ptrdiff_t>(count, end_ - position_));
    if (count < 1) return count;
    if (buffer) std::memcpy(buffer, position_, static_cast<std::size_t>(count));
    position_ += count;
    return count;
  }
  const char* name() const override { return "(memory_reader)"; }

  std::size_t left() const { return static_cast<std::size_t>(end_ - position_); }

 private:
  const std::uint8_t* position_;
  const std::uint8_t* end_;
};

}  // namespace io
