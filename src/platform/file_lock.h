// A lock among processes.
#pragma once

#include <string>

namespace platform {

// Holds an empty file locked while it lives; the lock goes with the process at the latest. The file stays.
class file_lock {
 public:
  // Waits for other holders, at most `milliseconds`.
  file_lock(const std::string& path, int milliseconds);
  ~file_lock();
  file_lock(const file_lock&) = delete;
  file_lock& operator=(const file_lock&) = delete;

  // False when it could not be had in time, or the file can't be made.
  bool held() const { return handle_ >= 0; }

 private:
  int handle_;
};

}  // namespace platform
