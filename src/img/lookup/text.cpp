#include "img/lookup/text.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "io/exceptions.h"

namespace img {
namespace {

constexpr std::string_view blanks = " \t\v\f";

// std::from_chars takes no plus sign.
std::string_view without_plus(std::string_view word) {
  if (word.size() > 1 && word[0] == '+' && word[1] != '-') word.remove_prefix(1);
  return word;
}

}  // namespace

line_scanner::line_scanner(std::string_view text) : rest_(text) {
  constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
  if (rest_.starts_with(byte_order_mark)) rest_.remove_prefix(byte_order_mark.size());
}

bool line_scanner::next(std::string_view& line) {
  while (!rest_.empty()) {
    const std::size_t end = std::min(rest_.find_first_of("\r\n"), rest_.size());
    line = rest_.substr(0, end);
    rest_.remove_prefix(std::min(end + 1, rest_.size()));
    line = line.substr(0, line.find('#'));
    line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
    line = line.substr(0, line.find_last_not_of(blanks) + 1);
    if (!line.empty()) return true;
  }
  return false;
}

std::string_view take_word(std::string_view& line) {
  line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
  const std::string_view word = line.substr(0, line.find_first_of(blanks));
  line.remove_prefix(word.size());
  return word;
}

bool is_data_line(std::string_view line) {
  return !line.empty() &&
         (std::string_view("+-.").find(line[0]) != std::string_view::npos || (line[0] >= '0' && line[0] <= '9'));
}

bool parse_number(std::string_view word, double& value) {
  word = without_plus(word);
  const char* end = word.data() + word.size();
  const auto [stop, error] = std::from_chars(word.data(), end, value);
  if (stop != end || word.empty()) return false;
  if (error == std::errc::result_out_of_range) {
    // Too small for a double is as good as 0, too large is not a colour.
    value = 0;
    return word.find("e-") != word.npos || word.find("E-") != word.npos;
  }
  return error == std::errc() && std::isfinite(value);
}

bool parse_number(std::string_view word, int& value) {
  word = without_plus(word);
  const char* end = word.data() + word.size();
  const auto [stop, error] = std::from_chars(word.data(), end, value);
  return error == std::errc() && stop == end && !word.empty();
}

template <class T>
void parse_data_line(std::string_view line, const std::string& source, T (&values)[3]) {
  for (T& value : values) {
    if (!parse_number(take_word(line), value)) throw io::invalid_format(source, "Invalid data line");
  }
  if (!take_word(line).empty()) throw io::invalid_format(source, "Invalid data line");
}
template void parse_data_line(std::string_view, const std::string&, double (&)[3]);
template void parse_data_line(std::string_view, const std::string&, int (&)[3]);

void append_number(std::string& text, double value) {
  char buffer[32];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, std::isfinite(value) ? value : 0.0);
  text.append(buffer, result.ptr);
}

std::vector<double> resample_curves(const std::vector<double>& values, int size) {
  if (size == 1024) return values;
  std::vector<double> out(lookup_table::curve_entries);
  for (int c = 0; c < 3; ++c) {
    const double* curve = values.data() + static_cast<std::size_t>(c) * size;
    for (int i = 0; i < 1024; ++i) {
      const long long position = static_cast<long long>(i) * (size - 1);
      const long long cell = std::min<long long>(position / 1023, size - 2);
      const double fraction = static_cast<double>(position - cell * 1023) / 1023;
      out[c * 1024 + i] = curve[cell] * (1 - fraction) + curve[cell + 1] * fraction;
    }
  }
  return out;
}

std::uint16_t fixed_of(double value) {
  return static_cast<std::uint16_t>(std::clamp(std::rint((value + 0.125) * 4096), 0.0, 16383.0));
}

std::vector<std::uint16_t> resample_cube(const std::vector<double>& points, int size, bool red_fastest) {
  constexpr int nodes = lookup_table::cube_points;
  struct place {
    std::size_t cell;
    double fraction;
  };
  place at[nodes];
  for (int i = 0; i < nodes; ++i) {
    const int position = i * (size - 1);
    const int cell = std::min(position / 16, size - 2);
    at[i] = {static_cast<std::size_t>(cell), (position - cell * 16) / 16.0};
  }
  const std::size_t n = static_cast<std::size_t>(size);
  const std::size_t red_step = red_fastest ? 3 : n * n * 3;
  const std::size_t blue_step = red_fastest ? n * n * 3 : 3;
  const std::size_t green_step = n * 3;

  std::vector<std::uint16_t> out;
  out.reserve(lookup_table::cube_entries);
  for (const place& r : at) {
    for (const place& g : at) {
      for (const place& b : at) {
        const double* corner = points.data() + r.cell * red_step + g.cell * green_step + b.cell * blue_step;
        double sum[3] = {0, 0, 0};
        for (int k = 0; k < 8; ++k) {
          const double weight = (k & 4 ? r.fraction : 1 - r.fraction) * (k & 2 ? g.fraction : 1 - g.fraction) *
                                (k & 1 ? b.fraction : 1 - b.fraction);
          const double* point = corner + (k & 4 ? red_step : 0) + (k & 2 ? green_step : 0) + (k & 1 ? blue_step : 0);
          for (int c = 0; c < 3; ++c) sum[c] += weight * point[c];
        }
        for (int c = 2; c >= 0; --c) out.push_back(fixed_of(sum[c]));
        out.push_back(0);
      }
    }
  }
  return out;
}

}  // namespace img
