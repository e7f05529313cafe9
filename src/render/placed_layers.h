// The layers of a frame as they lie in a picture: between the compositor and the smooth view, which draws them
// elsewhere.
#pragma once

#include <memory>
#include <vector>

#include "composition/state.h"
#include "render/blend.h"
#include "render/compositor.h"

namespace render {

// A strip holds every layer before the next one starts, so that its target rows stay in the cache.
constexpr int strip_rows = 4;

// A layer with everything that does not change from strip to strip.
struct placed_layer {
  const ksn::track_info* track = nullptr;
  const img::image* image = nullptr;
  std::shared_ptr<const img::transfer> correction;  // of an adjustment layer
  int opacity = 100;
  rectangle box;  // the scaled layer, unclipped
  rectangle crop;
  bool show_outside = false;  // what the crop cuts off shows at half opacity
  planned_blend half;         // for that
};

// The work for one eye. A blend for each layer; that of an adjustment layer is not used.
struct eye {
  img::image* target = nullptr;
  bool draws_lines = true;  // borders and safe areas
  std::vector<placed_layer> layers;
  std::vector<planned_blend> blends;
};

// Places the layers that are not for the `other` eye alone in a picture of `size`; `target` is not touched, and with
// null nothing is placed.
eye place_all(img::image* target, ksn::target_view_type other, const ksn::state& composition,
              const std::vector<prepared_layer>& layers, const frame_view& view, math::point size);

// Draws all layers of an eye as far as they lie in the strip; `below` as for draw_blends().
void draw_strip(const eye& eye, const rectangle& strip, const background* below);
// The border and the safe area of a layer.
void draw_lines(const placed_layer& layer, img::image& target, const rectangle& strip);

// A frame in a smooth view for one eye: the composite at its own size, strip by strip, and from each strip its average.
void render_smooth(img::image& target, ksn::target_view_type other, const ksn::state& composition,
                   const std::vector<prepared_layer>& layers, const frame_view& view, const background& below);

}  // namespace render
