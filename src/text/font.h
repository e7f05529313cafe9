// Fonts as the program asks for them.
#pragma once

#include <compare>
#include <span>
#include <string>
#include <string_view>

namespace text {

constexpr int max_font_height = 1024;  // pixels

struct font {
  std::string face = "Arial";
  int height = 12;  // pixels of the em square; held within 1 to max_font_height where it is used
  bool bold = false;
  bool italic = false;
  auto operator<=>(const font&) const = default;
};

// The font of the interface with this key ("default", "small", "panel.value", ...), its height times `scale`, 1 or 2. A
// key that is not in the table gives "default". Stays for good.
const font& interface_font(std::string_view key, int scale = 1);
// All of them, some of them more than once.
std::span<const font> interface_fonts(int scale);

// The free face of the same widths that stands in for one of another system: "Liberation Sans" for "Arial". The name
// itself when there is none.
std::string_view stand_in(std::string_view face);

}  // namespace text
