#include "ui/timeline/row_layout.h"

namespace ui {

row_region row_hit(const ruler_scale& ruler, const ksn::track_info& track, bool scrolls, int x) {
  const int s = ruler.scale;
  if (x < 0 || x >= ruler.width) return row_region::none;
  if (x < row_column * s) return row_region::number;
  if (x < 2 * row_column * s) return row_region::visible;
  if (x < ruler.left()) return row_region::audible;
  if (x > ruler.right()) {
    return scrolls && x >= ruler.width - scroll_bar_width * s ? row_region::none : row_region::effect;
  }
  const bar_place bar = bar_of(ruler, track);
  // In a bar that is too short for three parts the ends take a third each.
  const int end = std::min(bar_end * s, (bar.end - bar.begin) / 3);
  if (x < bar.begin || x >= bar.end) return row_region::background;
  if (bar.begin_seen && x < bar.begin + end) return row_region::bar_in;
  if (bar.end_seen && x >= bar.end - end) return row_region::bar_out;
  return row_region::bar_body;
}

}  // namespace ui
