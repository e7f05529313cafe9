// Blends one picture into another: the row operations behind the compositor.
#pragma once

#include "composition/enums.h"
#include "img/image.h"
#include "render/pipeline.h"

namespace render {

struct blend_mode {
  ksn::alpha_type alpha = ksn::alpha_type::ignore;
  ksn::blend_type blend = ksn::blend_type::normal;
  ksn::depth_blend_type depth = ksn::depth_blend_type::ignore;
  int opacity = 100;  // percent
};

// One layer without scaling. `position` is where the source's anchor lands in `target`; `clip` may be null. Both are
// 8-bit pictures; a source of another form is left out. Where the source has hints for its alpha, each row is limited
// to its hint's columns, the last one included.
void blend_image(img::image& target, const img::image& source, math::point position, const blend_mode& mode,
                 const rectangle* clip);

// The general form, with scale and flips. Hints do not apply to a scaled or flipped source.
void blend_scaled(img::image& target, const img::image& source, math::point position, const blend_mode& mode,
                  const layer_geometry& scale, const rectangle* clip, bool flip_x, bool flip_y);

// Where blend_scaled() draws a picture of this size and anchor, unclipped.
rectangle placed_rectangle(math::point position, int width, int height, math::point anchor,
                           const layer_geometry& scale);

}  // namespace render
