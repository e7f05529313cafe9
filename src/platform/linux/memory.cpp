#include "platform/memory.h"

#include <fcntl.h>
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>

#include "lib/paths.h"
#include "platform/linux/memory_readings.h"

namespace platform {
namespace {

// The start of a small text file of the system; empty when there is none.
std::string read_text(const std::string& path) {
  char text[8192];
  const int handle = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (handle < 0) return {};
  const ssize_t size = read(handle, text, sizeof text);
  close(handle);
  return std::string(text, size > 0 ? static_cast<std::size_t>(size) : 0);
}

// The number at the start of `text` behind blanks; `otherwise` when there is none, as for the word "max".
std::uint64_t number_at(std::string_view text, std::uint64_t otherwise) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  std::uint64_t value = 0;
  return std::from_chars(text.data(), text.data() + text.size(), value).ec == std::errc() ? value : otherwise;
}

// The number behind `key` at the start of a line.
std::uint64_t number_of(std::string_view text, std::string_view key, std::uint64_t otherwise) {
  for (std::size_t at = text.find(key); at != text.npos; at = text.find(key, at + 1))
    if (at == 0 || text[at - 1] == '\n') return number_at(text.substr(at + key.size()), otherwise);
  return otherwise;
}

struct control_group_names {
  const char* limit;
  const char* usage;
  const char* inactive;
  const char* active;
};
constexpr control_group_names version_1{"/memory.limit_in_bytes", "/memory.usage_in_bytes", "total_inactive_file ",
                                        "total_active_file "};
constexpr control_group_names version_2{"/memory.max", "/memory.current", "inactive_file ", "active_file "};

// The fullest of a control group and its parents, for those whose limit is below the machine's memory. Cached file
// pages are given back on demand and count as free, as MemAvailable counts them.
int control_group_load(const std::string& mount, std::string group, const control_group_names& names,
                       std::uint64_t machine_total) {
  int load = 0;
  for (;;) {
    const std::string folder = mount + (group == "/" ? "" : group);
    const std::uint64_t limit = number_at(read_text(folder + names.limit), UINT64_MAX);
    if (limit < machine_total) {
      const std::uint64_t usage = number_at(read_text(folder + names.usage), 0);
      const std::string details = read_text(folder + "/memory.stat");
      const std::uint64_t cached = number_of(details, names.inactive, 0) + number_of(details, names.active, 0);
      const std::uint64_t used = usage - std::min(usage, cached);
      load = std::max(load, load_percent(limit - std::min(limit, used), limit));
    }
    if (group.empty() || group == "/") return load;
    group = lib::remove_separator(lib::folder_of(group));
  }
}

int control_groups_load(const std::string& root, std::uint64_t machine_total) {
  const std::string groups = read_text(root + "/proc/self/cgroup");
  const std::string mount = root + "/sys/fs/cgroup";
  int load = 0;
  for (std::size_t from = 0; from < groups.size();) {
    const std::size_t end = std::min(groups.find('\n', from), groups.size());
    const std::string_view line(groups.data() + from, end - from);
    from = end + 1;
    // "0::/group" for version 2, "4:memory:/group" or "4:cpu,memory:/group" for version 1.
    const std::size_t first = line.find(':');
    const std::size_t second = first == line.npos ? line.npos : line.find(':', first + 1);
    if (second == line.npos) continue;
    const std::string_view controllers = line.substr(first + 1, second - first - 1);
    const std::string group(line.substr(second + 1));
    if (controllers.empty()) {
      load = std::max(load, control_group_load(mount, group, version_2, machine_total));
    } else if (("," + std::string(controllers) + ",").find(",memory,") != std::string::npos) {
      load = std::max(load, control_group_load(mount + "/memory", group, version_1, machine_total));
    }
  }
  return load;
}

}  // namespace

int load_percent(std::uint64_t available, std::uint64_t total) {
  if (total == 0) return 0;
  // In floating point the product could not overflow, but integers keep the stated rounding.
  const auto wide = static_cast<unsigned __int128>(std::min(available, total)) * 100;
  return 100 - static_cast<int>(wide / total);
}

memory_status read_memory_status(const std::string& root, std::uint64_t address_space_limit) {
  memory_status status;
  const std::string machine = read_text(root + "/proc/meminfo");
  const std::uint64_t total = number_of(machine, "MemTotal:", 0) * 1024;
  // Kernels before 3.14 have no MemAvailable.
  const std::uint64_t free = number_of(machine, "MemFree:", 0) + number_of(machine, "Cached:", 0);
  const std::uint64_t available = number_of(machine, "MemAvailable:", free) * 1024;
  status.physical_load =
      std::max(load_percent(available, total), control_groups_load(root, total ? total : UINT64_MAX));
  if (address_space_limit) {
    const std::uint64_t pages = number_at(read_text(root + "/proc/self/statm"), 0);
    const std::uint64_t used = std::min(address_space_limit, pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)));
    status.address_space_load = load_percent(address_space_limit - used, address_space_limit);
  }
  return status;
}

memory_status query_memory() {
  rlimit limit;
  const bool limited = getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
  return read_memory_status("", limited ? static_cast<std::uint64_t>(limit.rlim_cur) : 0);
}

void release_free_memory() {
#if defined(__GLIBC__)
  malloc_trim(0);
#endif
}

}  // namespace platform
