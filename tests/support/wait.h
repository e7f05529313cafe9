// Waiting for what another thread or process brings about.
#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace support {

// Asks until it holds; false when that has not come about on the busiest machine, or within `most`.
inline bool wait_until(const std::function<bool()>& holds, std::chrono::milliseconds most = std::chrono::minutes(3)) {
  const auto end = std::chrono::steady_clock::now() + most;
  while (!holds()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

}  // namespace support
