// Standard output, the error stream, and the progress line between error lines.
#pragma once

#include <chrono>
#include <string>

#include "save/save.h"

namespace app {

class console {
 public:
  console();

  // One line to standard output or to the error stream.
  void print(const std::string& line);
  void report(const std::string& line);
  // Rewrites the progress line when the error stream is a terminal. It is cleared by the next line, or when all is
  // done.
  void show(const save::progress& progress);
  void clear_progress();
  // Call it when nothing more is printed: output that could not be written, on a full disk perhaps, is an error line.
  // A reader that has gone is none.
  void finish();

  bool any_error() const { return any_error_; }

  // What was printed goes to its reader now.
  void flush();

 private:
  bool terminal_;
  bool progress_shown_ = false;
  std::chrono::steady_clock::time_point next_progress_;  // before it the line stands as it is
  bool any_error_ = false;
  int output_error_ = 0;  // errno of the first line that could not be written
};

// "12/48 frames, 23.4 a second, 0:02 left"
std::string progress_text(const save::progress& progress);

}  // namespace app
