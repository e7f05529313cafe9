#include "render/brush/stroke.h"

#include <algorithm>
#include <cmath>

#include "lib/rectangle.h"

namespace render {
namespace {

constexpr int largest_brush = 10000;
constexpr double most_stamps = 20000;  // of one movement

math::pointd minus(math::pointd a, math::pointd b) {
  return {a.x - b.x, a.y - b.y};
}

double length_of(math::pointd v) {
  return std::hypot(v.x, v.y);
}

}  // namespace

math::pointd canvas_point(const ksn::track_info& track, const frame_view& view, math::pointd at) {
  const math::point centre = layer_centre(track, view, view.width, view.height);
  const ksn::layer_placement& placement = track.placement;
  double x = (at.x - centre.x) / (view.zoom_x * placement.aspect * placement.scale_x / 100.0);
  double y = (at.y - centre.y) / (view.zoom_y * placement.scale_y / 100.0);
  if (placement.flip_x) x = track.source.width % 2 - x;
  if (placement.flip_y) y = track.source.height % 2 - y;
  return {x + track.source.width / 2, y + track.source.height / 2};
}

brush_stroke::brush_stroke(ksn::state& composition, brush_stamps& stamps, const ksn::track_info& track, int frame)
    : composition_(composition),
      stamps_(stamps),
      before_(track, frame, true),
      layer_id_(track.id),
      frame_(frame),
      shape_{std::clamp(composition.workspace.brush_size, 1, largest_brush),
             std::clamp(composition.workspace.brush_softness, 0, 100)},
      color_(composition.workspace.brush_color),
      pressure_changes_(composition.workspace.brush_pressure),
      step_(std::max(
          1.0, composition.view.zoom_factor2 / 100.0 * shape_.size * composition.workspace.brush_spacing / 100.0)) {}

std::unique_ptr<brush_stroke> brush_stroke::begin(ksn::state& composition, brush_stamps& stamps, const frame_view& view,
                                                  math::pointd at, bool erase, double pressure) {
  const ksn::track_info* track = composition.doc.selected_track();
  int frame = 0;
  if (!track || !ksn::canvas_frame(composition, *track, frame)) return nullptr;
  if (track->source.width <= 0 || track->source.height <= 0) return nullptr;
  std::unique_ptr<brush_stroke> stroke(new brush_stroke(composition, stamps, *track, frame));
  stroke->erase_ = erase;
  stroke->last_ = stroke->previous_ = at;
  stroke->last_pressure_ = pressure;
  stroke->paint(view, at, pressure);
  return stroke;
}

void brush_stroke::paint(const frame_view& view, math::pointd at, double pressure) {
  const int index = composition_.doc.index_of_id(layer_id_);
  if (index < 0) return;
  ksn::track_info& track = composition_.doc.track_at(index);
  if (!ksn::has_canvas(track)) return;
  math::point size{track.source.width, track.source.height};
  // Not held any longer than here: canvas_for_painting() copies what is shared.
  if (const img::image_ptr canvas = ksn::canvas_at(track, frame_)) {
    size = {canvas->width, canvas->height};
  } else if (erase_) {
    return;
  }
  pressure = std::clamp(pressure, 0.0, 1.0);
  brush_shape shape = shape_;
  lib::color color = color_;
  if (pressure_changes_ == ksn::brush_pressure_type::size) {
    shape.size = std::max(static_cast<int>(std::rint(shape.size * pressure)), 1);
  } else if (pressure_changes_ == ksn::brush_pressure_type::opacity) {
    color.a = static_cast<std::uint8_t>(std::rint(color.a * pressure));
  }
  const math::pointd centre = canvas_point(track, view, at);
  const double reach = shape.size + 4.0;
  if (!(centre.x > -reach && centre.x < size.x + reach && centre.y > -reach && centre.y < size.y + reach)) return;
  const auto quarter = [](double value) { return static_cast<int>((value - std::floor(value)) * 4); };
  const img::image& stamp = stamps_.stamp(shape, quarter(centre.x), quarter(centre.y));
  const math::point corner{static_cast<int>(std::floor(centre.x)) - stamp.user[0].x,
                           static_cast<int>(std::floor(centre.y)) - stamp.user[0].y};
  const math::rectangle touched{corner.x, corner.y, corner.x + stamp.width, corner.y + stamp.height};
  if (math::intersect(touched, {0, 0, size.x, size.y}).empty()) return;
  img::image* canvas = ksn::canvas_for_painting(composition_, track, frame_);
  if (!canvas) return;
  painted_ = true;
  paint_stamp(*canvas, stamp, corner, color, erase_);
  composition_.touch();
}

void brush_stroke::extend(const frame_view& view, math::pointd at, double pressure) {
  const math::pointd way = minus(at, last_);
  const double distance = length_of(way);
  const double steps = std::min(std::trunc(distance / step_), most_stamps);
  if (steps < 1) return;
  const double part = step_ * steps / distance;
  const math::pointd end{last_.x + way.x * part, last_.y + way.y * part};
  math::pointd incoming = minus(last_, previous_);
  if (const double length = length_of(incoming); length > 0) {
    incoming = {incoming.x * distance / length, incoming.y * distance / length};
  }
  const int count = static_cast<int>(steps);
  for (int i = 1; i <= count; ++i) {
    // A cubic Hermite curve from the last point, as it was come to, to the end, in the direction of the pointer.
    const double t = static_cast<double>(i) / count;
    const double t2 = t * t;
    const double t3 = t2 * t;
    const double from_last = 2 * t3 - 3 * t2 + 1;
    const double from_incoming = t3 - 2 * t2 + t;
    const double from_end = 3 * t2 - 2 * t3;
    const double from_way = t3 - t2;
    const math::pointd place{from_last * last_.x + from_incoming * incoming.x + from_end * end.x + from_way * way.x,
                             from_last * last_.y + from_incoming * incoming.y + from_end * end.y + from_way * way.y};
    paint(view, place, last_pressure_ + (pressure - last_pressure_) * t);
  }
  previous_ = last_;
  last_ = end;
  last_pressure_ = pressure;
}

void brush_stroke::end() {
  if (painted_) before_.remember(composition_, ksn::undo_name{"brush_stroke"});
}

void brush_stroke::cancel() {
  if (painted_) before_.take_back(composition_);
}

brush_shape dragged_brush(const brush_shape& from, math::point travel) {
  return {std::clamp(from.size + travel.x, 1, largest_brush), std::clamp(from.softness + travel.y, 0, 100)};
}

}  // namespace render
