// Helpers of the benchmarks: rounds that take turns, medians, and peers run as processes.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace bench {

inline double seconds(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

inline double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

// One thing to time, and what it took in each round.
struct contender {
  std::string name;
  std::function<void()> work;
  std::vector<double> times;
  double typical() const { return median(times); }
};

// Runs all once to warm up and then `rounds` times in turn, so that a slow moment of the machine meets all of them.
// `before` comes before each, and is not timed.
inline void run_in_turn(
    std::vector<contender>& contenders, int rounds, const std::function<void()>& before = [] {}) {
  for (int i = -1; i < rounds; ++i) {
    for (contender& c : contenders) {
      before();
      const double time = seconds(c.work);
      if (i >= 0) c.times.push_back(time);
    }
  }
}

// Runs a shell command and ends the program when that fails.
inline void run(const std::string& command) {
  if (std::system(command.c_str()) != 0) {
    std::fprintf(stderr, "failed: %s\n", command.c_str());
    std::exit(1);
  }
}

inline bool have(const char* program) {
  return std::system(("command -v " + std::string(program) + " >/dev/null 2>&1").c_str()) == 0;
}

// A folder in memory where there is one, removed at the end.
class work_folder {
 public:
  work_folder() {
    const char* base = std::getenv("KESTRIN_BENCH_DIR");
    std::string name = std::string(base ? base : "/tmp") + "/kestrin_bench_XXXXXX";
    if (!mkdtemp(name.data())) std::exit(1);
    path_ = name;
  }
  ~work_folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  work_folder(const work_folder&) = delete;
  work_folder& operator=(const work_folder&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// Whether a part of a benchmark is named among the arguments, or none is.
inline bool asked(int count, char** arguments, const char* part) {
  return count == 1 ||
         std::any_of(arguments + 1, arguments + count, [&](const char* a) { return std::strcmp(a, part) == 0; });
}

}  // namespace bench
