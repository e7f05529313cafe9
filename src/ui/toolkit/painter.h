// Drawing of the interface into a picture of the window. Main thread, but for copies of a painter that draw in other
// threads where they touch other pixels.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "img/image.h"
#include "lib/color.h"
#include "lib/point.h"
#include "lib/rectangle.h"

namespace ui {

class mouse_handler;
using math::rectangle;  // left, top, right, bottom; the last two are not part of it

// Where a text goes. Sizes are pixels.
struct text_place {
  math::point position;  // upper left corner
  int max_width = 0;     // where lines are broken; 0 for nowhere
  int max_lines = 0;     // 0 for no limit
  int line_gap = 0;      // between lines
  int x_align = 0;       // width in which the text is centred, 0 for none
  int right_align = 0;   // width at whose right end the text stands, 0 for none
  bool below_baseline = false;
};

// Functions that draw art and text. The owner binds them; a test notes what is asked for. Names of fonts and of art are
// those of the tables in text/ and ui/skin/; the scale is 1 or 2. Any thread, at once where the pixels are others; what
// is missing is told on the thread of the first call that needs it.
struct drawing_functions {
  // The picture of that name; null for none.
  std::function<const img::image*(std::string_view name, int scale)> skin_image;
  // Source-over, the picture's anchor on `point`, cut to `clip` when that is not null.
  std::function<void(img::image& target, const img::image& image, math::point point, const rectangle* clip)> draw_image;
  // Width and height in pixels.
  std::function<math::point(std::string_view text, int max_width, int max_lines, std::string_view font, int scale)>
      measure_text;
  std::function<void(img::image& target, std::string_view text, std::string_view font, int scale, lib::color color,
                     const text_place& place, const rectangle* clip)>
      draw_text;
};

// Draws into one picture, 8-bit planes that begin with B, G, R. All places are pixels of it and may lie outside. A
// colour's alpha is its coverage.
class painter {
 public:
  painter(img::image& target, const drawing_functions& functions, int scale, const mouse_handler* hot = nullptr);

  img::image& target() { return target_; }
  // 1 or 2; px() is a length of the layout in pixels.
  int scale() const { return scale_; }
  int px(int length) const { return length * scale_; }
  // Whether the pointer is over it.
  bool is_hot(const mouse_handler* handler) const { return handler && handler == hot_; }

  // Nothing is drawn outside; the whole picture at first. Returns the clip before.
  rectangle set_clip(const rectangle& clip);
  const rectangle& clip() const { return clip_; }

  void fill(const rectangle& box, lib::color color);
  // A line of px(1) just inside the box.
  void frame(const rectangle& box, lib::color color);
  // With corners of that radius in pixels, smooth.
  void round_fill(const rectangle& box, int radius, lib::color color);
  void round_frame(const rectangle& box, int radius, lib::color color);

  // The art of that name without ".tga"; nothing for a name that is not there. False when there was none.
  bool art(std::string_view name, math::point point);
  const img::image* art_of(std::string_view name) const;

  math::point measure(std::string_view text, std::string_view font, int max_width = 0, int max_lines = 0) const;
  void text(std::string_view text, std::string_view font, lib::color color, const text_place& place);
  // One line in the middle of the box's height, `margin` pixels from its left end, its right end or centred; a text
  // that is too long loses its end to an ellipsis.
  enum class align { left, centre, right };
  void line(std::string_view text, std::string_view font, lib::color color, const rectangle& box,
            align where = align::left, int margin = 0);

 private:
  img::image& target_;
  const drawing_functions& functions_;
  int scale_;
  const mouse_handler* hot_;
  rectangle clip_;

  void cover_pixel(int x, int y, lib::color color, int coverage);
  void cover_corners(const rectangle& box, int x, int y, lib::color color, int coverage);
};

// `text` cut at its end to `width` pixels, with an ellipsis when something is missing.
std::string elided(const painter& on, std::string_view text, std::string_view font, int width);

}  // namespace ui
