// Blends one picture into another: the row operations behind the compositor.
#pragma once

#include <array>
#include <span>

#include "composition/enums.h"
#include "img/image.h"
#include "img/sampling.h"
#include "render/pipeline.h"
#include "render/rows.h"

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

constexpr int drawn_planes = 5;
using plane_indices = std::array<int, drawn_planes>;        // of blue, green, red, alpha, depth; -1 for none
using background = std::array<std::uint8_t, drawn_planes>;  // samples in the same order

// A blend with all that is the same for every row, for drawing the same layer in strips. Refers to the source.
struct planned_blend {
  const img::image* source = nullptr;
  rectangle box;  // where the whole source lies in the target; empty when there is nothing to draw
  plane_indices planes{};
  row_operation operation = nullptr;
  int weight = 256;
  bool reads_alpha = false;
  ksn::depth_blend_type depth = ksn::depth_blend_type::ignore;
  bool replaces = false;  // nothing shows through: colours are copied and alpha becomes 255
  bool resamples = false;
  bool copies = false;  // an opaque plate, resampled straight into the target
  img::axis_scale columns;
  img::axis_scale lines;
};

planned_blend plan_blend(const img::image& source, math::point position, const blend_mode& mode,
                         const layer_geometry& scale, bool flip_x, bool flip_y);

// Whether the blend writes depth to a target that has it.
bool has_depth(const planned_blend& blend);
// Whether nothing of what lies below shows within `area`, its depth left aside.
bool hides(const planned_blend& blend, const rectangle& area);

// Draws the blends, lowest first, as far as they lie in `clip`, on the calling thread. With `below`, the rows of the
// clip are set to that first, whatever they hold.
void draw_blends(img::image& target, std::span<const planned_blend> blends, const rectangle& clip,
                 const background* below);

// Sets the planes of a box of the target that have bytes.
void fill_background(img::image& target, const rectangle& box, const background& samples);

}  // namespace render
