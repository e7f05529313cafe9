// A stream in memory, and what failures say.
#pragma once

#include <ios>
#include <string>
#include <vector>

#include "io/exceptions.h"
#include "io/streams.h"

namespace support {

// Keeps what it is given.
struct byte_writer : io::binary_writer {
  void write(const void* buffer, int count) override {
    if (room >= 0 && static_cast<int>(bytes.size()) + count > room) throw io::write_error(name(), "full");
    bytes.append(static_cast<const char*>(buffer), static_cast<std::size_t>(count));
    sizes.push_back(count);
  }
  void flush() override { ++flushes; }
  const char* name() const override { return "bytes"; }

  std::string bytes;
  std::vector<int> sizes;  // of the single writes
  int flushes = 0;
  int room = -1;  // bytes that it takes; any number below 0
};

// Class, source and message of a failure of the io family, what() of any other, "none" without one.
template <class Action>
std::string failure(Action&& action) {
  try {
    action();
  } catch (const io::exception& e) {
    return std::string(e.what()) + "|" + e.source() + "|" + e.message();
  } catch (const std::ios_base::failure&) {
    return "ios_base::failure";
  } catch (const std::exception& e) {
    return e.what();
  }
  return "none";
}

}  // namespace support
