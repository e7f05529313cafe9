// Helpers of the text forms of lookup tables: lines, numbers, resampling.
//
// Numbers are read and written the same in every locale. Readers hold no more memory than the text itself justifies: a
// size that the text states is only compared with what came.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "img/lookup/table.h"

namespace img {

// The largest sizes that are read. Real tables stay far below; no file needs more memory than these allow.
constexpr int largest_grid = 257;
constexpr int largest_curve = 1 << 20;

// Walks the lines of a text. Line feeds and carriage returns end a line, blanks around it are cut, and so are a byte
// order mark in front of the text and everything from a `#` on. Empty lines are left out.
class line_scanner {
 public:
  explicit line_scanner(std::string_view text);
  bool next(std::string_view& line);
  // Gives lines that are comments alone too, as empty ones.
  void take_comments() { comments_ = true; }
  // Of the line that next() gave: its number from 1 on, and what stands after its `#`.
  int number() const { return number_; }
  std::string_view comment() const { return comment_; }

 private:
  std::string_view rest_;
  std::string_view comment_;
  int number_ = 0;
  bool comments_ = false;
};

// Takes the next word off `line`; empty at its end.
std::string_view take_word(std::string_view& line);

// Whether a line starts as a number does, "nan" and "inf" among them; all other lines are keywords.
bool is_data_line(std::string_view line);

// The whole word must be a number, and a finite one. A leading `+` is taken.
bool parse_number(std::string_view word, double& value);
bool parse_number(std::string_view word, int& value);

// Throws io::invalid_format(source, "Invalid data line ...") with the line's number and text and what was expected.
[[noreturn]] void bad_data_line(std::string_view line, int number, const std::string& source, const char* expected);

// Exactly three numbers, or bad_data_line().
template <class T>
void parse_data_line(std::string_view line, int number, const std::string& source, T (&values)[3]);

// Appends a number as the shortest text that reads back the same; what is not finite as 0.
void append_number(std::string& text, double value);

// The forms. A reader throws io::invalid_format or io::eof_error with `source`, a writer gives the whole text of a
// table that has the curves, or the cube, that its form holds.
lookup_table read_lut(std::string_view text, const std::string& source);
lookup_table read_3dl(std::string_view text, const std::string& source);
lookup_table read_cube(std::string_view text, const std::string& source);
lookup_table read_csp(std::string_view text, const std::string& source);
lookup_table read_spi1d(std::string_view text, const std::string& source);
lookup_table read_spi3d(std::string_view text, const std::string& source);
lookup_table read_cdl(std::string_view text, const std::string& source);
std::string write_lut(const lookup_table& table);
std::string write_3dl(const lookup_table& table);
std::string write_cms(const lookup_table& table);
std::string write_cube(const lookup_table& table);

}  // namespace img
