// .lut: three curves of integers.
#include <algorithm>
#include <cmath>

#include "img/lookup/sampling.h"
#include "img/lookup/text.h"
#include "io/exceptions.h"

namespace img {

lookup_table read_lut(std::string_view text, const std::string& source) {
  line_scanner lines(text);
  std::string_view line;
  constexpr std::string_view mark = "LUT:";
  do {
    if (!lines.next(line)) {
      throw io::invalid_format(source, "Missing line \"LUT:\", expected \"LUT: 3 SIZE\" before the values");
    }
  } while (!line.starts_with(mark));

  // A third number, the depth of the output, is common and not needed.
  const std::string found(line.substr(0, 60));
  line.remove_prefix(mark.size());
  int channels = 0;
  int size = 0;
  if (!parse_number(take_word(line), channels) || !parse_number(take_word(line), size) || channels != 3 || size < 2 ||
      size > largest_curve) {
    throw io::invalid_format(source, "Unsupported channel count or invalid table size: \"" + found +
                                         "\", expected 3 and 2 to " + std::to_string(largest_curve));
  }
  const std::size_t wanted = 3 * static_cast<std::size_t>(size);
  std::vector<double> values;
  int largest = 0;
  while (values.size() < wanted) {
    if (!lines.next(line)) throw io::eof_error(source);
    while (values.size() < wanted) {
      const std::string_view word = take_word(line);
      if (word.empty()) break;
      int value = 0;
      if (!parse_number(word, value)) bad_data_line(word, lines.number(), source, "an integer");
      largest = std::max(largest, value);
      values.push_back(value);
    }
  }
  const double scale = largest < 256 ? 255 : largest < 1024 ? 1023 : largest < 4096 ? 4095 : 65535;
  for (double& value : values) value /= scale;
  return table_of(table_curves{size, std::move(values), {}});
}

std::string write_lut(const lookup_table& table) {
  std::string text =
      "#   LUT to convert 10-bit log to 16-bit linear.\n"
      "#   Version 3.0\n"
      "#   RGB Reference White:     685   685   685\n"
      "#   RGB Reference Black:      95    95    95\n"
      "#   RGB Softclip:              0     0     0\n"
      "#   RGB Film Gamma:          0.6   0.6   0.6\n"
      "#   RGB Gamma Correction:    1.0   1.0   1.0\n"
      "#   RGB HighLight:         65535 65535 65535\n"
      "#   RGB Shadow:                0     0     0\n"
      "#   Exported by Kestrin.\n"
      "LUT: 3 1024\n";
  for (const double value : table.curves()) {
    const double held = value > 0 ? std::min(std::rint(value * 65535), 65535.0) : 0;
    text += std::to_string(static_cast<int>(held)) + '\n';
  }
  return text;
}

}  // namespace img
