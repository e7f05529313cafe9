// The places that Linux tells memory use in, below a root folder so that a test can lay out its own.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/memory.h"

namespace platform {

// Percent in use: 100 - available * 100 / total by integer division, 0 to 100; 0 when `total` is 0.
int load_percent(std::uint64_t available, std::uint64_t total);

// A small text file of the system that is kept open, since it is read again and again. Any thread may read.
class system_file {
 public:
  static constexpr int most_bytes = 8192;

  explicit system_file(const std::string& path);
  system_file(system_file&& other) noexcept : handle_(std::exchange(other.handle_, -1)) {}
  system_file& operator=(system_file&&) = delete;
  ~system_file();

  // Its text as it is now, in `buffer`; empty when there is none.
  std::string_view read(char (&buffer)[most_bytes]) const;

 private:
  int handle_;
};

// Finds the files in `<root>/proc` and `<root>/sys/fs/cgroup`, with "" for the machine's own, once; what is not there
// counts as no limit. Any thread may call read().
class memory_readings {
 public:
  explicit memory_readings(const std::string& root);
  // `address_space_limit` is in bytes, 0 for none.
  memory_status read(std::uint64_t address_space_limit) const;
  // Bytes that are free within all limits.
  std::uint64_t available(std::uint64_t address_space_limit) const;

 private:
  struct control_group {
    system_file limit;
    system_file usage;
    system_file details;
    const char* inactive_key;
    const char* active_key;
  };
  // Something of a limited size, and what is free of it.
  struct room {
    std::uint64_t size = 0;
    std::uint64_t free = 0;
  };
  void add_groups(const std::string& mount, std::string group, bool version_2);
  room machine() const;
  // A limit of `most` bytes or more is none, and spares reading what the group uses: all of it is free.
  room of(const control_group& group, std::uint64_t most) const;
  room address_space(std::uint64_t limit) const;

  system_file machine_;
  system_file process_;
  std::vector<control_group> groups_;  // those of this process and their parents, where they have a limit file
};

}  // namespace platform
