// What is read stands out from what it stands on.
#include "lib/palette.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace {

using namespace lib::palette;

// The contrast of two colours as the Web Content Accessibility Guidelines define it, 1 to 21.
double contrast(lib::color a, lib::color b) {
  const auto luminance = [](lib::color color) {
    const auto linear = [](int value) {
      const double part = value / 255.0;
      return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.r) + 0.7152 * linear(color.g) + 0.0722 * linear(color.b);
  };
  const double x = luminance(a), y = luminance(b);
  return (std::max(x, y) + 0.05) / (std::min(x, y) + 0.05);
}

TEST(palette, text_and_values_are_read) {
  for (const lib::color on : {ground, menu, strip, panel, row, row_other, field, work_area, tip, selected_row}) {
    EXPECT_GE(contrast(text, on), 4.5) << "text on " << int{on.g};
    EXPECT_GE(contrast(value, on), 7.0) << "a value on " << int{on.g};
  }
  for (const lib::color on : {ground, panel, row, row_other}) EXPECT_GE(contrast(quiet, on), 4.5) << int{on.g};
  for (const lib::color bar : {bar_sequence, bar_still, bar_text, bar_adjustment}) {
    EXPECT_GE(contrast(value, bar), 6.5) << "a layer's name on " << int{bar.g};
    EXPECT_GE(contrast(on_bar, bar), 4.5) << "what stands beside it on " << int{bar.g};
  }
  EXPECT_GE(contrast(on_selected_bar, selected_bar), 7.0);
  EXPECT_GE(contrast(live, tip), 4.5);
}

}  // namespace
