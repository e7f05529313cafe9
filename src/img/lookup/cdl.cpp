// ASC Color Decision List 1.2 (.cc, .ccc, .cdl): slope, offset, power and saturation of the first correction of the
// file.
#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

#include "img/lookup/sampling.h"
#include "img/lookup/text.h"
#include "io/exceptions.h"

namespace img {
namespace {

constexpr int points = 65;  // of the cube that a saturation other than 1 needs

struct decision {
  std::array<double, 3> slope{1, 1, 1};
  std::array<double, 3> offset{0, 0, 0};
  std::array<double, 3> power{1, 1, 1};
  double saturation = 1;
};

// Walks the tags of an XML text and skips comments, declarations and attributes.
class tag_walker {
 public:
  explicit tag_walker(std::string_view text) : rest_(text) {}

  // The next tag: its name without a prefix, an opening one or not; `content` is the text up to the tag after it.
  bool next() {
    for (;;) {
      const std::size_t open = rest_.find('<');
      if (open == std::string_view::npos) return false;
      rest_.remove_prefix(open + 1);
      if (rest_.starts_with("!--")) {
        rest_.remove_prefix(std::min(rest_.find("-->"), rest_.size()));
        continue;
      }
      const std::size_t close = rest_.find('>');
      if (close == std::string_view::npos) return false;
      std::string_view tag = rest_.substr(0, close);
      rest_.remove_prefix(close + 1);
      if (tag.starts_with('?') || tag.starts_with('!')) continue;
      opens = !tag.starts_with('/');
      if (!opens) tag.remove_prefix(1);
      name = tag.substr(0, tag.find_first_of(" \t\r\n/"));
      if (const std::size_t colon = name.find(':'); colon != std::string_view::npos) name.remove_prefix(colon + 1);
      content = rest_.substr(0, rest_.find('<'));
      return true;
    }
  }

  bool opens = false;
  std::string_view name;
  std::string_view content;

 private:
  std::string_view rest_;
};

std::string one_line(std::string_view text) {
  std::string line(text);
  for (char& c : line) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  return line;
}

void read_numbers(const tag_walker& tag, const std::string& source, double* values, int count, double least) {
  const std::string line = one_line(tag.content);
  std::string_view rest = line;
  for (int i = 0; i < count; ++i) {
    if (!parse_number(take_word(rest), values[i]) || values[i] < least) {
      throw io::invalid_format(source, "Invalid " + std::string(tag.name) + ": \"" + line.substr(0, 60) +
                                           "\", expected " + (count == 1 ? "a number" : "three numbers") +
                                           (least == 0 ? " from 0 up" : ""));
    }
  }
}

decision read_decision(std::string_view text, const std::string& source) {
  constexpr double any = -HUGE_VAL;
  tag_walker tag(text);
  std::optional<decision> found;
  while (tag.next()) {
    if (tag.name == "ColorCorrection") {
      // Those after the first are not looked at.
      if (found) break;
      if (tag.opens) found.emplace();
    }
    if (!tag.opens || !found) continue;
    if (tag.name == "Slope") read_numbers(tag, source, found->slope.data(), 3, 0);
    if (tag.name == "Offset") read_numbers(tag, source, found->offset.data(), 3, any);
    if (tag.name == "Power") {
      read_numbers(tag, source, found->power.data(), 3, 0);
      if (std::any_of(found->power.begin(), found->power.end(), [](double p) { return p == 0; })) {
        throw io::invalid_format(source, "Invalid Power: 0, expected more");
      }
    }
    if (tag.name == "Saturation") read_numbers(tag, source, &found->saturation, 1, 0);
  }
  if (!found) throw io::invalid_format(source, "No ColorCorrection in the file");
  return *found;
}

// Slope, offset and power of one colour.
double graded(const decision& d, std::size_t c, double v) {
  return std::pow(std::clamp(v * d.slope[c] + d.offset[c], 0.0, 1.0), d.power[c]);
}

lookup_table curves_of(const decision& d) {
  std::vector<double> values;
  for (std::size_t c = 0; c < 3; ++c) {
    for (int i = 0; i < 1024; ++i) values.push_back(graded(d, c, i / 1023.0));
  }
  lookup_table table;
  table.set_1d(values, true);
  return table;
}

lookup_table cube_of(const decision& d) {
  std::vector<std::uint16_t> nodes;
  nodes.reserve(lookup_table::entries_of(points));
  std::array<std::array<double, points>, 3> axis;
  for (std::size_t c = 0; c < 3; ++c) {
    for (std::size_t i = 0; i < points; ++i) axis[c][i] = graded(d, c, static_cast<double>(i) / (points - 1));
  }
  for (const double r : axis[0]) {
    for (const double g : axis[1]) {
      for (const double b : axis[2]) {
        const double luma = 0.2126 * r + 0.7152 * g + 0.0722 * b;
        for (const double v : {b, g, r})
          nodes.push_back(fixed_of(std::clamp(luma + d.saturation * (v - luma), 0.0, 1.0)));
        nodes.push_back(0);
      }
    }
  }
  lookup_table table;
  table.set_3d(nodes, true);
  return table;
}

}  // namespace

lookup_table read_cdl(std::string_view text, const std::string& source) {
  const decision d = read_decision(text, source);
  return d.saturation == 1 ? curves_of(d) : cube_of(d);
}

}  // namespace img
