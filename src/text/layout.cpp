#include "text/layout.h"

namespace text {
namespace {

bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f';
}

std::string_view without_blanks(std::string_view text) {
  while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
  return text;
}

// The end of the line that begins at `text`, which is not empty and begins with a word.
std::size_t line_end(std::string_view text, int max_width, const measure_function& measure) {
  std::size_t end = 0;
  for (std::size_t at = 0; at < text.size();) {
    std::size_t word_end = at;
    while (word_end < text.size() && !is_blank(text[word_end])) ++word_end;
    if (end > 0 && measure(text.substr(0, word_end)) > max_width) return end;
    end = at = word_end;
    while (at < text.size() && is_blank(text[at])) ++at;
  }
  return end;
}

}  // namespace

std::vector<std::string_view> break_lines(std::string_view text, int max_width, int max_lines,
                                          const measure_function& measure) {
  if (max_width <= 0 || max_width > max_line_width) max_width = max_line_width;
  std::vector<std::string_view> lines;
  const auto full = [&] { return max_lines > 0 && lines.size() >= static_cast<std::size_t>(max_lines); };
  while (!text.empty() && !full()) {
    const std::size_t feed = text.find('\n');
    std::string_view paragraph = without_blanks(text.substr(0, feed));
    text.remove_prefix(feed == text.npos ? text.size() : feed + 1);
    // Most texts are one short line: one measurement tells.
    if (paragraph.empty() || measure(paragraph) <= max_width) {
      lines.push_back(paragraph);
      continue;
    }
    while (!paragraph.empty() && !full()) {
      const std::size_t end = line_end(paragraph, max_width, measure);
      lines.push_back(paragraph.substr(0, end));
      paragraph = without_blanks(paragraph.substr(end));
    }
  }
  return lines;
}

}  // namespace text
