// The colours of the interface: grays without a hue around the picture, one accent for what is live, one for what is
// selected.
#pragma once

#include <cstdint>

#include "lib/color.h"

namespace lib::palette {

constexpr lib::color gray(std::uint8_t level, std::uint8_t alpha = 255) {
  return {alpha, level, level, level};
}
constexpr lib::color with_alpha(lib::color color, std::uint8_t alpha) {
  color.a = alpha;
  return color;
}

constexpr lib::color ground = gray(30);  // around the picture
constexpr lib::color menu = gray(40);    // menu bar, menus, dialogs
constexpr lib::color strip = gray(44);   // strips
constexpr lib::color panel = gray(43);
constexpr lib::color rule_dark = gray(16);  // above and below the split
constexpr lib::color rule_light = gray(58);
constexpr lib::color row = gray(38);  // layer rows, alternating, with a rule between
constexpr lib::color row_other = gray(41);
constexpr lib::color row_rule = gray(24);
constexpr lib::color field = gray(31);
constexpr lib::color field_rim = gray(58);
constexpr lib::color text = gray(170);
constexpr lib::color value = gray(226);
constexpr lib::color work_area = gray(50);         // of the ruler
constexpr lib::color tick = gray(84);              // of the ruler
constexpr lib::color faint = gray(110);            // disabled
constexpr lib::color quiet = gray(146);            // text that steps back: numbers of rows, headings, notes
constexpr lib::color hover = gray(62);             // under the pointer, of a list's row or a button without art
constexpr lib::color live{255, 251, 174, 23};      // time cursor, a running transport, a drag in progress
constexpr lib::color selected{255, 75, 141, 190};  // and what is in memory
constexpr lib::color kept_on_selected{255, 175, 210, 235};
constexpr lib::color reading{255, 52, 88, 113};  // on its way into memory
constexpr lib::color selected_row{255, 49, 65, 76};
constexpr lib::color selected_bar{255, 40, 84, 119};  // a shade on which text is read, with a rim of `selected`
constexpr lib::color on_selected_bar = gray(245);
constexpr lib::color on_bar = gray(196);         // what stands beside the name on the other bars
constexpr lib::color failed{255, 217, 95, 105};  // and missing
constexpr lib::color tip = gray(16, 230);
constexpr lib::color tip_rim = gray(58);

constexpr lib::color red{255, 217, 105, 95};  // channel letters, lit only while the channel shows
constexpr lib::color green{255, 116, 179, 106};
constexpr lib::color blue{255, 106, 159, 216};

// Bars of layers, told apart by a hint of hue and never louder than the selected one.
constexpr lib::color bar_sequence{255, 61, 75, 85};
constexpr lib::color bar_still{255, 69, 66, 77};
constexpr lib::color bar_text{255, 63, 74, 60};
constexpr lib::color bar_adjustment{255, 76, 68, 54};

// Corner radii at scale 1.
constexpr int field_radius = 2;
constexpr int button_radius = 3;
constexpr int panel_radius = 4;

}  // namespace lib::palette
