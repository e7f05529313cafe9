#include "app/console.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "command/messages.h"
#include "lib/printable.h"

namespace app {

namespace {

// A terminal at the end of a slow line takes no more than that.
constexpr std::chrono::milliseconds progress_interval(50);

constexpr const char* clear_line = "\r\x1b[K";

bool write_line(std::FILE* stream, const std::string& line) {
  return std::fwrite(line.data(), 1, line.size(), stream) == line.size() && std::fputc('\n', stream) != EOF;
}

}  // namespace

console::console(lib::error_record& errors) : errors_(errors), terminal_(isatty(STDERR_FILENO) == 1) {}

int console::log_to(const std::string& path) {
  log_.close();
  log_.clear();
  errno = 0;
  log_.open(path, std::ios::app);
  return log_ ? 0 : errno != 0 ? errno : EIO;
}

// Whole at once, so that the last line before a crash is there.
void console::note(const char* kind, const std::string& line) {
  if (!log_.is_open()) return;
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", localtime_r(&now, &local));
  log_ << text << ' ' << kind << ' ' << lib::printable(line) << std::endl;
}

void console::print(const std::string& line) {
  clear_progress();
  note("out", line);
  if (!write_line(stdout, line) && output_error_ == 0) output_error_ = errno;
}

void console::flush() {
  if (std::fflush(stdout) != 0 && output_error_ == 0) output_error_ = errno;
}

void console::report(const std::string& line) {
  report_outside(line);
  errors_.add(lib::printable(line));
}

void console::report_outside(const std::string& line) {
  clear_progress();
  // Earlier output comes before the error when both streams go to one place.
  flush();
  write_line(stderr, lib::printable(line));
  note("error", line);
  any_error_ = true;
}

void console::show(const save::progress& progress, const std::string& text) {
  const auto now = std::chrono::steady_clock::now();
  if (quiet_ || !terminal_ || (progress.done < progress.total && now < next_progress_)) return;
  next_progress_ = now + progress_interval;
  flush();
  std::fprintf(stderr, "%s%s", clear_line, text.c_str());
  std::fflush(stderr);
  progress_shown_ = true;
  if (progress.done >= progress.total) clear_progress();
}

void console::finish() {
  clear_progress();
  flush();
  if (output_error_ != 0 && output_error_ != EPIPE)
    report(command::about("standard output", std::strerror(output_error_)));
}

void console::clear_progress() {
  if (!progress_shown_) return;
  std::fputs(clear_line, stderr);
  std::fflush(stderr);
  progress_shown_ = false;
}

}  // namespace app
