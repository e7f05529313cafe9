// What the text forms of lookup tables share: lines, numbers, resampling.
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

 private:
  std::string_view rest_;
};

// Takes the next word off `line`; empty at its end.
std::string_view take_word(std::string_view& line);

// Whether a line starts as a number does; all other lines are keywords.
bool is_data_line(std::string_view line);

// The whole word must be a number, and a finite one. A leading `+` is taken.
bool parse_number(std::string_view word, double& value);
bool parse_number(std::string_view word, int& value);

// Exactly three numbers, or io::invalid_format(source, "Invalid data line").
template <class T>
void parse_data_line(std::string_view line, const std::string& source, T (&values)[3]);

// Appends a number as the shortest text that reads back the same; what is not finite as 0.
void append_number(std::string& text, double value);

// Three blocks of `size` entries to three of 1024, by linear interpolation.
std::vector<double> resample_curves(const std::vector<double>& values, int size);

// Points of three values red, green, blue on a grid of `size` a side, red or blue fastest, to the nodes of a table, by
// trilinear interpolation.
std::vector<std::uint16_t> resample_cube(const std::vector<double>& points, int size, bool red_fastest);

// clamp(rint((value + 0.125) * 4096), 0, 16383)
std::uint16_t fixed_of(double value);

// The forms. A reader throws io::invalid_format or io::eof_error with `source`, a writer gives the whole text of a
// table that has the curves, or the cube, that its form holds.
lookup_table read_lut(std::string_view text, const std::string& source);
lookup_table read_3dl(std::string_view text, const std::string& source);
lookup_table read_cube(std::string_view text, const std::string& source);
std::string write_lut(const lookup_table& table);
std::string write_3dl(const lookup_table& table);
std::string write_cms(const lookup_table& table);
std::string write_cube(const lookup_table& table);

}  // namespace img
