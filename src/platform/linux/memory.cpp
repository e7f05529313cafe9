#include "platform/memory.h"

#include <fcntl.h>
#include <malloc.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <utility>

#include "lib/paths.h"
#include "platform/linux/memory_readings.h"

namespace platform {
namespace {

// The number at the start of `text` after blanks; `otherwise` when there is none, as for the word "max".
std::uint64_t number_at(std::string_view text, std::uint64_t otherwise) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  std::uint64_t value = 0;
  return std::from_chars(text.data(), text.data() + text.size(), value).ec == std::errc() ? value : otherwise;
}

// The number after `key` at the start of a line.
std::uint64_t number_of(std::string_view text, std::string_view key, std::uint64_t otherwise) {
  for (std::size_t at = text.find(key); at != text.npos; at = text.find(key, at + 1))
    if (at == 0 || text[at - 1] == '\n') return number_at(text.substr(at + key.size()), otherwise);
  return otherwise;
}

}  // namespace

int load_percent(std::uint64_t available, std::uint64_t total) {
  if (total == 0) return 0;
  const auto wide = static_cast<unsigned __int128>(std::min(available, total)) * 100;
  return 100 - static_cast<int>(wide / total);
}

system_file::system_file(const std::string& path) : handle_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}

system_file::~system_file() {
  if (handle_ >= 0) close(handle_);
}

std::string_view system_file::read(char (&buffer)[most_bytes]) const {
  const ssize_t size = handle_ < 0 ? 0 : pread(handle_, buffer, most_bytes, 0);
  return {buffer, size > 0 ? static_cast<std::size_t>(size) : 0};
}

memory_readings::memory_readings(const std::string& root)
    : machine_(root + "/proc/meminfo"), process_(root + "/proc/self/statm") {
  char buffer[system_file::most_bytes];
  std::string_view lines = system_file(root + "/proc/self/cgroup").read(buffer);
  const std::string mount = root + "/sys/fs/cgroup";
  while (!lines.empty()) {
    const std::string_view line = lines.substr(0, lines.find('\n'));
    lines.remove_prefix(std::min(line.size() + 1, lines.size()));
    // "0::/group" for version 2, "4:memory:/group" or "4:cpu,memory:/group" for version 1.
    const std::size_t first = line.find(':');
    const std::size_t second = first == line.npos ? line.npos : line.find(':', first + 1);
    if (second == line.npos) continue;
    const std::string controllers = "," + std::string(line.substr(first + 1, second - first - 1)) + ",";
    const std::string group(line.substr(second + 1));
    if (controllers == ",,") add_groups(mount, group, true);
    if (controllers.find(",memory,") != std::string::npos) add_groups(mount + "/memory", group, false);
  }
}

void memory_readings::add_groups(const std::string& mount, std::string group, bool version_2) {
  for (;;) {
    const std::string folder = mount + (group == "/" ? "" : group);
    const std::string limit = folder + (version_2 ? "/memory.max" : "/memory.limit_in_bytes");
    if (access(limit.c_str(), R_OK) == 0)
      groups_.push_back({system_file(limit),
                         system_file(folder + (version_2 ? "/memory.current" : "/memory.usage_in_bytes")),
                         system_file(folder + "/memory.stat"), version_2 ? "inactive_file " : "total_inactive_file ",
                         version_2 ? "active_file " : "total_active_file "});
    if (group.empty() || group == "/") return;
    group = lib::remove_separator(lib::folder_of(group));
  }
}

memory_readings::room memory_readings::machine() const {
  char buffer[system_file::most_bytes];
  const std::string_view lines = machine_.read(buffer);
  // Kernels before 3.14 have no MemAvailable.
  const std::uint64_t free = number_of(lines, "MemFree:", 0) + number_of(lines, "Cached:", 0);
  return {number_of(lines, "MemTotal:", 0) * 1024, number_of(lines, "MemAvailable:", free) * 1024};
}

memory_readings::room memory_readings::of(const control_group& group, std::uint64_t most) const {
  char buffer[system_file::most_bytes];
  const std::uint64_t limit = number_at(group.limit.read(buffer), UINT64_MAX);
  if (limit >= most) return {limit, limit};
  const std::uint64_t usage = number_at(group.usage.read(buffer), 0);
  // Cached file pages are given back on demand and count as free, as MemAvailable counts them.
  const std::string_view details = group.details.read(buffer);
  const std::uint64_t cached = number_of(details, group.inactive_key, 0) + number_of(details, group.active_key, 0);
  return {limit, limit - std::min(limit, usage - std::min(usage, cached))};
}

memory_readings::room memory_readings::address_space(std::uint64_t limit) const {
  char buffer[system_file::most_bytes];
  const std::uint64_t pages = number_at(process_.read(buffer), 0);
  return {limit, limit - std::min(limit, pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)))};
}

memory_status memory_readings::read(std::uint64_t address_space_limit) const {
  memory_status status;
  const room all = machine();
  status.physical_load = load_percent(all.free, all.size);
  for (const control_group& group : groups_) {
    const room part = of(group, all.size == 0 ? UINT64_MAX : all.size);
    status.physical_load = std::max(status.physical_load, load_percent(part.free, part.size));
  }
  if (address_space_limit) {
    const room addresses = address_space(address_space_limit);
    status.address_space_load = load_percent(addresses.free, addresses.size);
  }
  return status;
}

std::uint64_t memory_readings::available(std::uint64_t address_space_limit) const {
  char buffer[system_file::most_bytes];
  const std::uint64_t swap = number_of(machine_.read(buffer), "SwapFree:", 0) * 1024;
  const room all = machine();
  // A file that says nothing sets no limit.
  std::uint64_t bytes = all.size == 0 ? UINT64_MAX : all.free + swap;
  const std::uint64_t most = all.size == 0 ? UINT64_MAX : all.size + swap;
  for (const control_group& group : groups_) bytes = std::min(bytes, of(group, most).free);
  if (address_space_limit) bytes = std::min(bytes, address_space(address_space_limit).free);
  return bytes;
}

namespace {

// Never destroyed: threads may still ask while the process ends.
const memory_readings& readings() {
  static const memory_readings& all = *new memory_readings("");
  return all;
}

// In bytes, 0 for none.
std::uint64_t address_space_limit() {
  rlimit limit;
  const bool limited = getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
  return limited ? static_cast<std::uint64_t>(limit.rlim_cur) : 0;
}

}  // namespace

memory_status query_memory() {
  return readings().read(address_space_limit());
}

std::uint64_t available_memory() {
  return readings().available(address_space_limit());
}

void respect_address_space_limit() {
#if defined(__GLIBC__)
  if (address_space_limit()) mallopt(M_ARENA_MAX, 1);
#endif
}

void make_present(void* begin, std::size_t bytes) {
#if defined(MADV_POPULATE_WRITE)
  // Kernels before 5.14 know nothing of it.
  static std::atomic<bool> known{true};
  if (!known.load(std::memory_order_relaxed)) return;
  static const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  const auto address = reinterpret_cast<std::uintptr_t>(begin);
  const std::uintptr_t first = address / page * page;
  const std::uintptr_t end = (address + bytes + page - 1) / page * page;
  if (madvise(reinterpret_cast<void*>(first), end - first, MADV_POPULATE_WRITE) != 0 && errno == EINVAL) known = false;
#else
  static_cast<void>(begin);
  static_cast<void>(bytes);
#endif
}

void release_free_memory() {
#if defined(__GLIBC__)
  malloc_trim(0);
#endif
}

}  // namespace platform
