// Standard output, the error stream, and the progress line between error lines.
#pragma once

#include <chrono>
#include <fstream>
#include <string>

#include "lib/error_record.h"
#include "save/save.h"

namespace app {

class console {
 public:
  // Reported lines go to `errors` as well, which outlives the console and is what the window shows of them.
  explicit console(lib::error_record& errors);

  // One line to standard output, or to the error stream with its control characters escaped.
  void print(const std::string& line);
  void report(const std::string& line);
  // The same for a line that says nothing to who sits at the window.
  void report_outside(const std::string& line);
  // Rewrites the progress line when the error stream is a terminal. It is cleared by the next line, or when all is
  // done.
  void show(const save::progress& progress, const std::string& text);
  void clear_progress();
  // No progress line.
  void set_quiet(bool quiet) { quiet_ = quiet; }
  // Lines go to the end of this file as well, each with its time in front; an errno when it can't be written.
  int log_to(const std::string& path);
  // Call it when nothing more is printed: output that could not be written, on a full disk perhaps, is an error line.
  // A reader that has gone is none.
  void finish();

  bool any_error() const { return any_error_; }

  // Hands printed text to its reader now.
  void flush();

 private:
  void note(const char* kind, const std::string& line);

  lib::error_record& errors_;
  std::ofstream log_;
  bool terminal_;
  bool quiet_ = false;
  bool any_error_ = false;
  bool progress_shown_ = false;
  std::chrono::steady_clock::time_point next_progress_;  // before it the line stands as it is
  int output_error_ = 0;                                 // errno of the first line that could not be written
};

}  // namespace app
