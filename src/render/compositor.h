// The layer stack becomes one picture.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "composition/state.h"
#include "img/image.h"
#include "render/blend.h"
#include "render/pipeline.h"

namespace render {

// The composite's value at a point of a view's picture, before the checker and all that belongs to the display. The
// view's exposure is in it where that acts before the 8-bit step.
struct composite_probe {
  math::point at;                      // set by who asks
  bool inside = false;                 // whether the picture has that point
  std::array<std::uint8_t, 4> rgba{};  // red, green, blue, alpha
  bool operator==(const composite_probe&) const = default;
};

// The marks over a picture that is shown (render/marks.h).
struct view_marks {
  ksn::mask_type_t mask = ksn::mask_type_t::none;
  ksn::safe_area_type_t safe_area = ksn::safe_area_type_t::none;
  bool mask_follows_layer = false;  // the placement of the only selected layer places mask and safe area too
  bool grid = false;
  bool operator==(const view_marks&) const = default;
};

// Which part of the composition a frame shows, and how: all that a renderer takes from a view. The default is the left
// eye's saved composite: 100 % zoom, no pan, full resolution and nothing that belongs to the display. Whoever draws
// pictures of its own kind, at another time or resolution, has a pipeline too: several share one frame cache, and none
// takes away what another keeps.
struct frame_view {
  int width = 0;  // of the picture; a saved composite has `mask_size`
  int height = 0;
  double zoom_x = 1.0;
  double zoom_y = 1.0;
  math::point offset;         // of the composition's centre from the picture's centre, in picture pixels
  math::point view_origin;    // screen position of the picture's corner, for the checkerboard's parity
  bool smooth = false;        // below 100 % a pixel is the average of what it covers, else one sample of it
  bool crop_preview = false;  // the selected layer shows what its crop cuts off, at half opacity
  int room_below = 0;         // rows that the target has below the picture, without a value; not with both eyes
  bool for_display = false;   // with the checker behind a transparent background
  view_marks marks;
  bool counter = false;  // with the counter over the lower end; the information bar of a window has its own
  ksn::cache_resolution_type resolution = ksn::cache_resolution_type::full;
  ksn::target_view_type eyes = ksn::target_view_type::left;
  ksn::stereo_view_type stereo_mode = ksn::stereo_view_type::anaglyph;  // of both eyes
  bool switch_views = false;
  ksn::view_type channels = ksn::view_type::rgb;
  img::correction correction;        // of the finished picture, before checker and channels; neutral for what is saved
  composite_probe* probe = nullptr;  // filled with each frame; not owned
  bool operator==(const frame_view&) const = default;
};

// A view of the whole output at 100 %, as saved composites have it, with the eyes that `shown` shows.
frame_view output_view(const ksn::document& document, const ksn::view& shown);

// One layer as the compositor draws it, prepared once a frame.
struct prepared_layer {
  int index = 0;  // into state::tracks
  // Of an adjustment layer with an alpha source: its alpha in plane 3 alone, in the layer's size; without one null.
  img::const_image_ptr image;
  int opacity = 0;  // percent, faded
  // The resolution of the picture, for layer_scale().
  ksn::cache_resolution_type resolution = ksn::cache_resolution_type::full;
  // Of an adjustment layer: its correction after prepare_rows(). When null, the compositor builds it for the frame.
  std::shared_ptr<const img::transfer> correction;
  bool operator==(const prepared_layer&) const = default;
};

// The centre of a layer in a picture of `width` by `height` pixels.
math::point layer_centre(const ksn::track_info& track, const frame_view& view, int width, int height);

// Which layers take part in a frame: the visible ones and, through the chains of alpha sources, those that they need.
std::vector<bool> layers_taking_part(const ksn::state& composition);

// Fetches the pictures of all layers that take part at `time`, alpha sources included, and applies alpha sources and
// inversions. Bottom of the stack first. Layers that have no picture are left out.
std::vector<prepared_layer> prepare_layers(pipeline& pipeline, const ksn::state& composition, double time,
                                           ksn::cache_resolution_type resolution = ksn::cache_resolution_type::full);

// The picture of one layer with its alpha source and inversions, whether the layer is visible or not; null when it has
// none. The content of a saved layer frame.
img::const_image_ptr prepare_layer_picture(pipeline& pipeline, const ksn::state& composition, int index, double time,
                                           ksn::cache_resolution_type resolution = ksn::cache_resolution_type::full);

// Composites into the left and maybe the right eye's picture, which have the same size and five planes of bytes. Either
// may be null. A layer goes to the left picture unless its target view is `right`, and to the right one unless it is
// `left`. With `below` the pictures start as that background, strip by strip, which saves the trip through memory that
// filling them before costs; without it they hold what the layers go onto, and the view is never smooth. In a smooth
// view the borders and safe areas of layers lie over all layers, and depth is 0 unless the view shows it.
void render_stereo_pair(img::image* left, img::image* right, const ksn::state& composition,
                        const std::vector<prepared_layer>& layers, const frame_view& view,
                        const background* below = nullptr);

// The times of the two halves of a frame, in nanoseconds.
struct frame_times {
  long long fetch = 0;      // the pictures of the layers
  long long composite = 0;  // all after it
};

// A composite that was made before it is due, and all that it was made from.
struct frame_ahead {
  img::image_ptr picture;  // null for none
  std::vector<prepared_layer> layers;
  frame_view view;
  composite_probe probe;
  unsigned long long revision = 0;  // of the composition
};

// One whole frame: background, layers, stereo merge, frame number, time code and rate. `target` becomes BGRAZ at 8
// bits. `times` and `ahead` may be null. A composite made ahead is taken where layers, view and revision are still what
// it was made from, and gone after the call.
void render_frame(pipeline& pipeline, const ksn::state& composition, img::image& target, const frame_view& view,
                  double time, frame_times* times = nullptr, frame_ahead* ahead = nullptr);
// Makes what can be made of a frame before it is due, of source frames that are in memory, and waits for nothing. At
// least the pictures of layers; where those are all there is to it, the composite too.
void make_ahead(pipeline& pipeline, const ksn::state& composition, const frame_view& view, double time,
                frame_ahead& ahead);

}  // namespace render
