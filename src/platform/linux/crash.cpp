#include "platform/crash.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <time.h>
#include <ucontext.h>
#include <unistd.h>
#include <unwind.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string_view>

namespace platform {
namespace {

// All that the handler uses stands ready: it may neither ask for memory nor take a lock.
struct prepared {
  char version[64] = {};
  char folder[1024] = {};  // with a closing separator; empty for none
  char note[1024] = {};
};

prepared ready;
std::atomic<bool> note_is_whole = false;
std::atomic<pid_t> first_crashed = 0;  // thread

constexpr int fatal[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};
constexpr std::size_t stack_bytes = 128 << 10;
constexpr int most_calls = 64;

template <std::size_t N>
void keep(char (&to)[N], std::string_view text) {
  const std::size_t count = text.size() < N ? text.size() : 0;  // half a path is none
  std::memcpy(to, text.data(), count);
  to[count] = 0;
}

// A text of limited length that needs nothing but itself.
class line {
 public:
  line& operator<<(std::string_view text) {
    const std::size_t count = std::min(text.size(), sizeof text_ - size_ - 1);
    std::memcpy(text_ + size_, text.data(), count);
    size_ += count;
    text_[size_] = 0;
    return *this;
  }
  line& number(std::uint64_t value, unsigned base = 10, int digits = 1) {
    char turned[24];
    int count = 0;
    while (value != 0 || count < digits) {
      turned[count++] = "0123456789abcdef"[value % base];
      value /= base;
    }
    std::reverse(turned, turned + count);
    return *this << std::string_view(turned, static_cast<std::size_t>(count));
  }
  const char* c_str() const { return text_; }
  void write_to(int file) const {
    for (std::size_t at = 0; at < size_;) {
      const ssize_t count = write(file, text_ + at, size_ - at);
      if (count <= 0) return;
      at += static_cast<std::size_t>(count);
    }
  }

 private:
  char text_[2048] = {};
  std::size_t size_ = 0;
};

std::string_view name_of(int signal) {
  switch (signal) {
    case SIGSEGV:
      return "SIGSEGV, memory that is not there";
    case SIGBUS:
      return "SIGBUS, memory that could not be reached; a file may have become shorter while it was read";
    case SIGILL:
      return "SIGILL, an instruction that the processor does not know";
    case SIGFPE:
      return "SIGFPE, a calculation that has no result";
    default:
      return "SIGABRT, the program gave up";
  }
}

// "20261122-084512", of Greenwich. Days to a date after H. Hinnant, "chrono-Compatible Low-Level Date Algorithms".
void add_time(line& text) {
  const std::uint64_t seconds = static_cast<std::uint64_t>(time(nullptr));
  const std::uint64_t days = seconds / 86400 + 719468;
  const std::uint64_t era = days / 146097;
  const std::uint64_t day_of_era = days % 146097;
  const std::uint64_t year_of_era = (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const std::uint64_t day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const std::uint64_t month = (5 * day_of_year + 2) / 153;
  const std::uint64_t day = day_of_year - (153 * month + 2) / 5 + 1;
  const std::uint64_t number_of_month = month < 10 ? month + 3 : month - 9;
  text.number(year_of_era + era * 400 + (number_of_month <= 2 ? 1 : 0), 10, 4);
  text.number(number_of_month, 10, 2).number(day, 10, 2) << "-";
  const std::uint64_t of_day = seconds % 86400;
  text.number(of_day / 3600, 10, 2).number(of_day / 60 % 60, 10, 2).number(of_day % 60, 10, 2);
}

void make_parents(const char* path) {
  char part[sizeof ready.folder];
  keep(part, path);
  for (std::size_t i = 1; part[i] != 0; ++i) {
    if (part[i] != '/') continue;
    part[i] = 0;
    mkdir(part, 0700);
    part[i] = '/';
  }
}

// A line of /proc/self/maps: START-END RIGHTS OFFSET DEVICE INODE PATH.
struct mapping {
  std::uint64_t start = 0;
  std::uint64_t end = 0;
  bool code = false;
  std::string_view path;
};

std::uint64_t take_number(std::string_view& text) {
  std::uint64_t value = 0;
  while (!text.empty()) {
    const std::size_t digit = std::string_view("0123456789abcdef").find(text.front());
    if (digit == text.npos) break;
    value = value * 16 + digit;
    text.remove_prefix(1);
  }
  if (!text.empty()) text.remove_prefix(1);
  return value;
}

mapping parse_mapping(std::string_view text) {
  mapping found;
  found.start = take_number(text);
  found.end = take_number(text);
  found.code = text.substr(0, 4).find('x') != text.npos;
  if (const std::size_t path = text.find('/'); path != text.npos)
    found.path = text.substr(path, text.size() - path - 1);
  return found;
}

// Calls use(mapping, base) for each mapping of code from a file; `base` is where the file begins in memory.
template <class Use>
void for_each_module(const Use& use) {
  const int maps = open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
  if (maps < 0) return;
  char block[2048];
  char row[1024];
  char file[1024] = {};  // that `base` belongs to
  std::size_t length = 0;
  std::uint64_t base = 0;
  for (ssize_t count = 0; (count = read(maps, block, sizeof block)) > 0;) {
    for (ssize_t i = 0; i < count; ++i) {
      if (length < sizeof row) row[length++] = block[i];
      if (block[i] != '\n') continue;
      const mapping found = parse_mapping({row, length});
      length = 0;
      if (found.path.empty()) continue;
      if (found.path != file) {
        keep(file, found.path);
        base = found.start;
      }
      if (found.code) use(found, base);
    }
  }
  close(maps);
}

// What is told of the end. It goes in steps: a fault in one of them, such as a stack too broken to be walked, ends that
// step alone, and the next one goes on.
struct report {
  int signal = 0;
  const void* address = nullptr;
  const std::uintptr_t* caller = nullptr;  // where a call keeps the place that it comes back to
  int file = -1;                           // the error stream without one
  line path;
  std::array<std::uintptr_t, most_calls> calls = {};
  std::size_t count = 0;
  std::atomic<std::size_t> step = 0;  // the next one
};

report told;

int file_of_trace() {
  return told.file >= 0 ? told.file : STDERR_FILENO;
}

_Unwind_Reason_Code keep_call(_Unwind_Context* context, void*) {
  told.calls[told.count++] = _Unwind_GetIP(context);
  return told.count < most_calls ? _URC_NO_REASON : _URC_END_OF_STACK;
}

_Unwind_Reason_Code keep_none(_Unwind_Context*, void*) {
  return _URC_END_OF_STACK;
}

void write_call(std::uintptr_t at) {
  line call;
  for_each_module([&](const mapping& found, std::uint64_t base) {
    if (at >= found.start && at < found.end) (call << found.path << "+0x").number(at - base, 16);
  });
  (call << " [0x").number(at, 16) << "]\n";
  call.write_to(file_of_trace());
}

void open_file() {
  if (ready.folder[0] == 0) return;
  make_parents(ready.folder);
  told.path << ready.folder << "crash-";
  add_time(told.path);
  (told.path << "-").number(static_cast<std::uint64_t>(getpid())) << ".txt";
  told.file = open(told.path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
}

void write_head() {
  line head;
  head << ready.version << "\nEnded by signal ";
  head.number(static_cast<std::uint64_t>(told.signal)) << " (" << name_of(told.signal) << ") at address 0x";
  head.number(reinterpret_cast<std::uintptr_t>(told.address), 16) << "\n\nCalls, the last one first:\n";
  head.write_to(file_of_trace());
}

void walk_calls() {
  _Unwind_Backtrace(keep_call, nullptr);
}

void write_calls() {
  for (std::size_t i = 0; i < told.count; ++i) write_call(told.calls[i]);
}

// A call of what is no function can't be walked back from, but who made it has just left the place to come back to.
void write_caller() {
  if (told.caller != nullptr) write_call(*told.caller);
}

void write_modules() {
  line title;
  (title << "\nModules:\n").write_to(file_of_trace());
  for_each_module([&](const mapping& found, std::uint64_t base) {
    line module;
    (module << "0x").number(base, 16) << " " << found.path << "\n";
    module.write_to(file_of_trace());
  });
}

void tell() {
  line text;
  text << "Kestrin ended by signal ";
  text.number(static_cast<std::uint64_t>(told.signal));
  if (told.file >= 0) text << "; the trace is in \"" << told.path.c_str() << "\"";
  text << ".";
  if (note_is_whole) text << " " << ready.note;
  (text << "\n").write_to(STDERR_FILENO);
  if (told.file >= 0) close(told.file);
}

constexpr void (*steps[])() = {open_file, write_head, walk_calls, write_calls, write_caller, write_modules, tell};

// The default action: a core where the system keeps cores, and the status that tells of the signal.
[[noreturn]] void end_by(int signal) {
  std::signal(signal, SIG_DFL);
  raise(signal);
  _exit(1);
}

[[noreturn]] void go_on() {
  for (std::size_t i; (i = told.step++) < std::size(steps);) steps[i]();
  end_by(told.signal);
}

void on_crash(int signal, siginfo_t* info, void* context) {
  // Of several threads that fail at once the first one tells, and the others wait until the process ends.
  pid_t first = 0;
  if (!first_crashed.compare_exchange_strong(first, gettid())) {
    if (first == gettid()) go_on();
    for (;;) pause();
  }
  // A fault while it is held back would end the process at once.
  sigset_t held;
  sigemptyset(&held);
  for (const int other : fatal) sigaddset(&held, other);
  pthread_sigmask(SIG_UNBLOCK, &held, nullptr);
  told.signal = signal;
  const bool sent = info->si_code <= 0;
  if (!sent) told.address = info->si_addr;
#if defined(__x86_64__)
  const auto& registers = static_cast<const ucontext_t*>(context)->uc_mcontext.gregs;
  const auto at = static_cast<std::uintptr_t>(registers[REG_RIP]);
  if (!sent && at == reinterpret_cast<std::uintptr_t>(info->si_addr) && signal == SIGSEGV)
    told.caller = reinterpret_cast<const std::uintptr_t*>(registers[REG_RSP]);
#endif
  go_on();
}

}  // namespace

void watch_crashes(const std::string& version, const std::string& folder) {
  keep(ready.version, version);
  keep(ready.folder, folder.empty() || folder.ends_with('/') ? folder : folder + "/");
  // The first call loads what unwinds; a handler must not.
  _Unwind_Backtrace(keep_none, nullptr);
  // A stack that has run over has no room for the handler.
  static void* const stack = mmap(nullptr, stack_bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  stack_t present{};
  if (stack != MAP_FAILED && sigaltstack(nullptr, &present) == 0 && (present.ss_flags & SS_DISABLE) != 0) {
    const stack_t wanted{stack, 0, stack_bytes};
    sigaltstack(&wanted, nullptr);
  }
  for (const int signal : fatal) {
    struct sigaction now {};
    if (sigaction(signal, nullptr, &now) != 0 || (now.sa_flags & SA_SIGINFO) != 0 || now.sa_handler != SIG_DFL)
      continue;
    struct sigaction wanted {};
    wanted.sa_sigaction = on_crash;
    wanted.sa_flags = static_cast<int>(SA_SIGINFO | SA_ONSTACK | SA_NODEFER);
    sigaction(signal, &wanted, nullptr);
  }
}

void set_crash_note(const std::string& text) {
  note_is_whole = false;
  keep(ready.note, text);
  note_is_whole = !text.empty();
}

}  // namespace platform
