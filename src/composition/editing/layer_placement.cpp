#include "composition/editing/layer_placement.h"

#include <algorithm>
#include <cmath>

#include "composition/editing/undo.h"
#include "composition/time/frame_numbers.h"

namespace ksn {
namespace {

// Positions stay as far from the ends of an int as frame numbers do.
int moved(int value, int by) {
  return clamped_frame(static_cast<long long>(value) + by);
}

int scaled_size(int size, double factor) {
  return static_cast<int>(std::clamp<double>(std::trunc(size * std::nearbyint(factor * 1000) / 1000), 0, frame_limit));
}

// From a size of `old_size` to one of `new_size`.
int rescaled(int value, int new_size, int old_size) {
  return old_size == 0 ? value : rounded_frame(static_cast<double>(value) * new_size / old_size);
}

}  // namespace

void move_position(track_info& track, math::point offset) {
  track.placement.pos = {moved(track.placement.pos.x, offset.x), moved(track.placement.pos.y, offset.y)};
}

math::point displayed_size(const track_info& track) {
  return {scaled_size(track.source.width, track.placement.scale_x * track.placement.aspect / 100),
          scaled_size(track.source.height, track.placement.scale_y / 100.0)};
}

void move_selected_layers(state& composition, math::point offset) {
  if (!composition.doc.has_selection() || offset == math::point{}) return;
  const undo_capture before(composition);
  for (const int index : composition.doc.selection) move_position(composition.doc.track_at(index), offset);
  before.remember(composition, undo_name{"layer_move"}, undo_rule::by_offset);
}

void reset_layer_position(state& composition) {
  const track_info* track = composition.doc.selected_track();
  if (track) move_selected_layers(composition, {moved(0, -track->placement.pos.x), moved(0, -track->placement.pos.y)});
}

void move_by_half_size(state& composition, int direction_x, int direction_y) {
  const track_info* track = composition.doc.selected_track();
  if (!track) return;
  const math::point size = displayed_size(*track);
  move_selected_layers(composition, {direction_x * (size.x / 2), direction_y * (size.y / 2)});
}

void layer_resize_to_mask(state& composition) {
  for (const int index : composition.doc.selection) {
    track_info& track = composition.doc.track_at(index);
    if (track.source.type != source_type::adjustment && track.source.type != source_type::text) continue;
    const math::point size = composition.doc.mask_size;
    track.placement.crop_xy = {rescaled(track.placement.crop_xy.x, size.x, track.source.width),
                               rescaled(track.placement.crop_xy.y, size.y, track.source.height)};
    track.placement.crop_wh = {rescaled(track.placement.crop_wh.x, size.x, track.source.width),
                               rescaled(track.placement.crop_wh.y, size.y, track.source.height)};
    track.source.width = size.x;
    track.source.height = size.y;
    composition.hooks.forget_layer(track.id);
  }
}

}  // namespace ksn
