// The text forms of field values, both ways. A reader takes the whole text or fails and changes nothing.
#pragma once

#include <array>
#include <limits>
#include <span>
#include <string>
#include <string_view>

#include "lib/color.h"

namespace command {

bool read_int(std::string_view text, int& value, int least = std::numeric_limits<int>::min(),
              int most = std::numeric_limits<int>::max());
bool read_bool(std::string_view text, bool& value);
// Finite numbers only.
bool read_double(std::string_view text, double& value);
// Exactly values.size() numbers, separated by commas.
bool read_ints(std::string_view text, std::span<int> values);
bool read_doubles(std::string_view text, std::span<double> values);
// Red, green, blue and maybe alpha, each 0 to 255; without alpha it is 255.
bool read_color(std::string_view text, lib::color& value);

std::string write_bool(bool value);
std::string write_double(double value);        // as "%.10g", whatever the locale
std::string write_exact_double(double value);  // as short as possible, but the same number when it is read
std::string write_color(lib::color value);     // four numbers unless alpha is 255

// Text on one line: a line break as \n, a backslash as \\, a double quote as \q.
std::string escape_text(std::string_view text);
std::string unescape_text(std::string_view text);

}  // namespace command
