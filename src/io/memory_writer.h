// A stream that keeps what is written in memory.
#pragma once

#include <cstddef>
#include <string>

#include "io/streams.h"

namespace io {

struct memory_writer : binary_writer {
  void write(const void* buffer, int count) override {
    if (count > 0) bytes.append(static_cast<const char*>(buffer), static_cast<std::size_t>(count));
  }
  void flush() override {}
  const char* name() const override { return "(memory_writer)"; }

  std::string bytes;
};

}  // namespace io
