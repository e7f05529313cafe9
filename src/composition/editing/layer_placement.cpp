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

bool has_made_size(const track_info& track) {
  return track.source.type == source_type::adjustment || track.source.type == source_type::text;
}

void resize_made_picture(const state& composition, track_info& track, math::point size) {
  const math::point before{track.source.width, track.source.height};
  for (math::point* part : {&track.placement.crop_xy, &track.placement.crop_wh}) {
    *part = {rescaled(part->x, size.x, before.x), rescaled(part->y, size.y, before.y)};
  }
  track.source.width = size.x;
  track.source.height = size.y;
  composition.hooks.forget_layer(track.id);
}

void layer_resize_to_mask(state& composition) {
  for (const int index : composition.doc.selection) {
    track_info& track = composition.doc.track_at(index);
    if (has_made_size(track)) resize_made_picture(composition, track, composition.doc.mask_size);
  }
}

}  // namespace ksn
