// Browsers that ask a server on this computer for one address again and again.
#pragma once

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "../tests/support/http_client.h"

namespace bench {

class browsers {
 public:
  browsers(int port, int count, const std::string& path) {
    for (int i = 0; i < count; ++i) {
      threads_.emplace_back([this, port, path] {
        while (!stop_) {
          const std::string answer = support::http_get(port, path);
          if (stop_) break;
          answer.starts_with("HTTP/1.0 200 ") ? ++answers_ : ++failures_;
          bytes_ += static_cast<long long>(answer.size());
        }
      });
    }
  }
  // Requests under way must be answered meanwhile.
  void stop() { stop_ = true; }
  ~browsers() {
    stop();
    for (std::thread& thread : threads_) thread.join();
  }
  int answers() const { return answers_; }
  int failures() const { return failures_; }
  long long bytes() const { return bytes_; }

 private:
  std::atomic<bool> stop_ = false;
  std::atomic<int> answers_ = 0;
  std::atomic<int> failures_ = 0;
  std::atomic<long long> bytes_ = 0;
  std::vector<std::thread> threads_;
};

}  // namespace bench
