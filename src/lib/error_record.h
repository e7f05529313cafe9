// The error lines that were told last, with their times, for whoever shows them after they were written.
#pragma once

#include <chrono>
#include <deque>
#include <string>

namespace lib {

struct error_entry {
  std::chrono::system_clock::time_point time;
  std::string text;  // one line
};

// One thread.
class error_record {
 public:
  static constexpr std::size_t most = 200;

  void add(std::string text) {
    if (entries_.size() == most) entries_.pop_front();
    entries_.push_back({std::chrono::system_clock::now(), std::move(text)});
    ++count_;
  }
  // Oldest first.
  const std::deque<error_entry>& entries() const { return entries_; }
  // How many there were in all: who remembers it sees whether any came since.
  long long count() const { return count_; }

 private:
  std::deque<error_entry> entries_;
  long long count_ = 0;
};

}  // namespace lib
