#include "ui/window.h"

#include <utility>

#include "ui/screen.h"

namespace ui {

window::window(window_parts parts)
    : parts_(std::move(parts)),
      input_({[this](math::point point) { return hit_test(point); }, parts_.set_cursor, parts_.run_key}),
      bench_{parts_,
             input_,
             {input_, parts_.text, parts_.popup_menu, parts_.clipboard_text, parts_.set_clipboard_text},
             [this] { return layout(); },
             parts_.run,
             parts_.context_menu,
             parts_.work_area_changed,
             parts_.recent_sources,
             parts_.milliseconds,
             parts_.saves,
             parts_.news},
      areas_(make_areas(bench_)) {}

ksn::window_layout window::layout() const {
  return ksn::layout_window(parts_.composition, drawn_size_ ? *drawn_size_ : parts_.client_size());
}

place window::place_of(const area& area, const ksn::window_layout& layout) {
  place result{{}, layout.size, layout.scale};
  if (area.origin == area_origin::preview) result.origin = layout.preview_middle();
  if (area.origin == area_origin::split) result.origin = layout.split_middle();
  return result;
}

mouse_handler* window::hit_test(math::point point) {
  const ksn::window_layout now = layout();
  if (now.size.x <= 0 || now.size.y <= 0) return nullptr;
  for (auto area = areas_.rbegin(); area != areas_.rend(); ++area) {
    if (!area->shown(now)) continue;
    if (mouse_handler* found = area->object->hit_test(point, place_of(*area, now))) return found;
  }
  return nullptr;
}

redraw window::pass(int elapsed_milliseconds, bool live) {
  input_.set_scale(parts_.composition.interface_scale);
  redraw wish = input_.pass(elapsed_milliseconds, live);
  if (std::exchange(seen_errors_, parts_.errors.count()) != parts_.errors.count()) wish.now = true;
  return wish;
}

void window::make_ahead(math::point size, double time) {
  make_screen_ahead(parts_.pipeline, parts_.composition, time, size.x, size.y, &bench_.composite, ahead_);
}

redraw window::draw(img::image& target, math::point size, double time, render::frame_times* times) {
  drawn_size_ = size;
  draw_screen(parts_.pipeline, parts_.composition, time, target, size.x, size.y, times, &bench_.composite, &ahead_);
  const ksn::window_layout now = layout();
  painter on(target, parts_.drawing, now.scale, input_.hot());
  for (const area& area : areas_) {
    if (area.shown(now)) area.object->draw(on, place_of(area, now));
  }
  input_.draw(on);
  drawn_size_.reset();
  return input_.after_draw();
}

}  // namespace ui
