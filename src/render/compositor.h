// The layer stack becomes one picture.
#pragma once

#include <memory>
#include <vector>

#include "composition/state.h"
#include "img/image.h"
#include "render/pipeline.h"

namespace render {

// Which part of the composition a frame shows. The default is a saved composite: `mask_size`, 100 % zoom, no pan.
struct frame_view {
  int width = 0;
  int height = 0;
  double zoom_x = 1.0;
  double zoom_y = 1.0;
  math::point offset;         // of the composition's centre from the picture's centre, in picture pixels
  math::point view_origin;    // screen position of the picture's corner, for the checkerboard's parity
  bool crop_preview = false;  // the selected layer shows what its crop cuts off, at half opacity
};

// One layer as the compositor draws it, prepared once a frame.
struct prepared_layer {
  int index = 0;               // into state::tracks
  img::const_image_ptr image;  // of an adjustment layer: its alpha in plane 3, in the layer's size; null without one
  int opacity = 0;             // percent, faded
  // Of an adjustment layer: its correction after prepare_rows(). When null, the compositor builds it for the frame.
  std::shared_ptr<const img::transfer> correction;
};

// Fetches the pictures of all layers that take part at `time`, alpha sources included, and applies alpha sources and
// inversions. Bottom of the stack first. Layers that have no picture are left out.
std::vector<prepared_layer> prepare_layers(pipeline& pipeline, const ksn::state& composition, double time);

// Composites into the left and maybe the right eye's picture; both must have the same size and five planes, filled with
// the background. Either may be null. A layer goes to the left picture unless its target view is `right`, and to the
// right one unless it is `left`.
void render_stereo_pair(img::image* left, img::image* right, const ksn::state& composition,
                        const std::vector<prepared_layer>& layers, const frame_view& view, double time);

// One whole frame: background, layers, stereo merge, frame number, time code and rate. `target` is reset to BGRAZ.
void render_frame(pipeline& pipeline, const ksn::state& composition, img::image& target, const frame_view& view,
                  double time);

}  // namespace render
