#include "ui/timeline/time_drag.h"

#include <cmath>
#include <cstdlib>

#include "ui/toolkit/painter.h"
#include "ui/toolkit/palette.h"
#include "ui/toolkit/tip.h"

namespace ui {

ruler_scale scale_of(const workbench& bench) {
  const ksn::window_layout window = bench.layout();
  return {window.size.x, bench.composition.doc.tm_n, window.scale};
}

int shown_frame(const ksn::state& composition) {
  return static_cast<int>(std::rint(composition.doc.tm_t));
}

std::set<int> all_ids(const ksn::document& doc) {
  std::set<int> ids;
  for (const ksn::track_info& track : doc.tracks) ids.insert(track.id);
  return ids;
}

std::string signed_frames(int frames) {
  return (frames > 0 ? "+" : "") + std::to_string(frames);
}

time_drag::time_drag(workbench& bench, const std::set<int>& ids)
    : bench_(bench), ruler_(scale_of(bench)), before_(bench.composition, ids) {}

void time_drag::begin(math::point point) {
  from_ = point;
  frames_ = snap_frames_at_press();
}

void time_drag::draw(math::point point, painter& on) {
  if (snapped_) {
    const int x = ruler_.x_of(*snapped_);
    const ksn::window_layout window = bench_.layout();
    on.fill({x, window.split + on.px(ruler_top), x + on.px(1), window.size.y}, palette::live);
  }
  if (const std::string told = text(); !told.empty()) draw_tip(on, told, point);
}

ksn::track_info* time_drag::track_of(int id) const {
  const int index = doc().index_of_id(id);
  return index < 0 ? nullptr : &doc().track_at(index);
}

int time_drag::frames_moved(math::point point) const {
  return static_cast<int>(std::rint((point.x - from_.x) * ruler_.frames_per_pixel()));
}

bool time_drag::outside_band(math::point point) const {
  return std::abs(point.y - from_.y) > drag_band * ruler_.scale;
}

int time_drag::snap(int frame) {
  snapped_.reset();
  if (!(bench_.input.modifiers() & platform::key_ctrl)) return frame;
  snapped_ = snapped(frames_, doc().fpcs, frame, snap_reach * ruler_.scale * ruler_.frames_per_pixel());
  return snapped_.value_or(frame);
}

}  // namespace ui
