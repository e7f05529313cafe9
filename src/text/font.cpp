#include "text/font.h"

#include <array>
#include <iterator>

namespace text {
namespace {

struct table_row {
  std::string_view key;
  const char* face;
  int height;
  bool bold;
};

constexpr table_row table[] = {
    {"default", "Arial", 12, false},
    {"small", "Arial", 11, false},
    {"timeline.digits", "Verdana", 9, false},
    {"track.opacity", "Tahoma", 11, false},
    {"track.transfer", "Tahoma", 9, false},
    {"track.effect", "Arial", 12, false},
    {"track.name", "Arial", 12, false},
    {"tooltip", "Tahoma", 11, false},
    {"pan_position", "Tahoma", 11, false},
    {"layer_selection", "Arial", 11, false},
    {"about", "Arial", 14, false},
    {"about.bold", "Arial", 14, true},
    {"panel.default", "Arial", 12, false},
    {"panel.text", "Arial", 12, false},
    {"panel.value", "Arial", 11, false},
    {"panel.label", "Arial", 12, false},
};

struct stand_in_row {
  std::string_view face;
  std::string_view instead;
};

constexpr stand_in_row stand_ins[] = {
    {"Arial", "Liberation Sans"},
    {"Helvetica", "Liberation Sans"},
    {"Tahoma", "DejaVu Sans Condensed"},
    {"Verdana", "DejaVu Sans"},
    {"Times New Roman", "Liberation Serif"},
    {"Courier New", "Liberation Mono"},
    {"Arial Narrow", "Liberation Sans Narrow"},
};

}  // namespace

std::span<const font> interface_fonts(int scale) {
  // The interface looks the same on every machine, with the original faces installed or without.
  static const auto fonts = [] {
    std::array<std::array<font, std::size(table)>, 2> made;
    for (int scale = 1; scale <= 2; ++scale) {
      for (std::size_t i = 0; i < std::size(table); ++i) {
        made[static_cast<std::size_t>(scale - 1)][i] = {std::string(stand_in(table[i].face)), table[i].height * scale,
                                                        table[i].bold, false};
      }
    }
    return made;
  }();
  return fonts[scale >= 2 ? 1 : 0];
}

const font& interface_font(std::string_view key, int scale) {
  std::size_t found = 0;
  for (std::size_t i = 0; i < std::size(table); ++i) {
    if (table[i].key == key) found = i;
  }
  return interface_fonts(scale)[found];
}

std::string_view stand_in(std::string_view face) {
  for (const stand_in_row& row : stand_ins) {
    if (row.face == face) return row.instead;
  }
  return face;
}

}  // namespace text
