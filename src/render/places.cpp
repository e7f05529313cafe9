#include "render/places.h"

#include "render/blend.h"

namespace render {
namespace {

rectangle around(math::point centre, math::point size, const layer_geometry& scale) {
  const rectangle placed = placed_rectangle({}, size.x, size.y, {}, scale);
  const math::point corner{centre.x - placed.right / 2, centre.y - placed.bottom / 2};
  return {corner.x, corner.y, corner.x + placed.right, corner.y + placed.bottom};
}

}  // namespace

rectangle picture_place(const ksn::track_info& track, const frame_view& view) {
  if (track.source.width <= 0 || track.source.height <= 0) return {};
  return around(layer_centre(track, view, view.width, view.height), {track.source.width, track.source.height},
                layer_scale(track, view.zoom_x, view.zoom_y, ksn::cache_resolution_type::full));
}

rectangle crop_place(const ksn::track_info& track, const frame_view& view) {
  const rectangle crop = crop_rect(track);
  const math::point centre = layer_centre(track, view, view.width, view.height);
  return {limited(crop.left * view.zoom_x) + centre.x, limited(crop.top * view.zoom_y) + centre.y,
          limited(crop.right * view.zoom_x) + centre.x, limited(crop.bottom * view.zoom_y) + centre.y};
}

rectangle output_place(const ksn::state& composition, const frame_view& view) {
  static const ksn::track_info unplaced;
  const ksn::track_info* selected = view.marks.mask_follows_layer ? composition.doc.selected_track() : nullptr;
  const ksn::track_info& track = selected ? *selected : unplaced;
  return around(layer_centre(track, view, view.width, view.height), composition.doc.mask_size,
                layer_scale(track, view.zoom_x, view.zoom_y, ksn::cache_resolution_type::full));
}

}  // namespace render
