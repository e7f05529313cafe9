// The picture of a text layer.
#pragma once

#include <string_view>

#include "composition/track_info.h"
#include "img/image.h"
#include "lib/rectangle.h"
#include "text/fonts.h"

namespace render {

// The margin on all sides within which lines are broken, for letters of that line height; in pixels.
int text_layer_margin(int line_height);

// Draws a text, its fields filled, into an 8-bit picture "BGRA" that is empty everywhere, and returns the box of what
// was drawn. From below: panel, shadows, outlines, letters. Lines are broken within the picture, a margin of a quarter
// of the letters' height on all sides. An outline is one pixel wide, a shadow lies two pixels down and to the right;
// neither is drawn in a colour of alpha 0. Alpha is straight.
math::rectangle draw_text_layer(text::fonts& fonts, const ksn::text_attributes& attributes, std::string_view text,
                                img::image& target);

// Makes the box empty again.
void clear_box(img::image& target, const math::rectangle& box);

// Tells by the hints of alpha that the picture is empty outside the box, or takes them away.
void set_alpha_hints(img::image& target, const math::rectangle& box, bool wanted);

}  // namespace render
