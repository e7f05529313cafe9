// A second reader of the lines that the command language writes.
#pragma once

#include <functional>
#include <string>
#include <utility>

namespace app {

using line_writer = std::function<void(const std::string& line)>;

// While it lives, `copy` gets every line that goes to `writer`, after the writer itself.
class line_copy {
 public:
  line_copy(line_writer& writer, line_writer copy) : writer_(writer), original_(writer) {
    writer_ = [original = original_, copy = std::move(copy)](const std::string& line) {
      original(line);
      copy(line);
    };
  }
  ~line_copy() { writer_ = std::move(original_); }
  line_copy(const line_copy&) = delete;
  line_copy& operator=(const line_copy&) = delete;

 private:
  line_writer& writer_;
  line_writer original_;
};

}  // namespace app
