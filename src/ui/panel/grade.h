// Lift, gamma and gain by colours that the user shows: what shall be black, white or without a tint.
#pragma once

#include <array>
#include <functional>
#include <optional>
#include <string_view>

#include "ui/panel/cells.h"

namespace ui::panel {

// A colour, and the one that a grade is to make of it.
enum class grade_goal {
  neutral,  // a grey, as bright as the colour was
  black,
  white
};

// Red, green, blue, linear, as they come to the lift: after exposure and temperature.
using linear_color = std::array<double, 3>;

// The values of `lift`, `gamma` or `gain` (red, green, blue, in the user's units) that reach the goal for a colour.
// Channels that can't reach it keep what they have. `tf` is the correction as it is.
std::array<double, 3> graded(std::string_view field, grade_goal goal, const linear_color& color,
                             const img::correction& tf);

// A colour of 0 to 255 as people read it from a picture, and a pixel of a source, as they come to the lift.
linear_color before_lift(lib::color color, const img::correction& tf);
linear_color before_lift(const img::image& pixel, const img::correction& tf, bool after_cube);

// The right-click menu of the numbers of lift, gamma and gain; empty for other fields.
std::function<void(math::point at)> grade_menu(const binding& bound, const char* field);

}  // namespace ui::panel
