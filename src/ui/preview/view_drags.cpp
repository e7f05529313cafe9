#include "ui/preview/view_drags.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

#include "save/preview_view.h"
#include "ui/toolkit/tip.h"

namespace ui {
namespace {

math::pointd moved_by(const ksn::view& view, math::pointd pan, math::point by) {
  return {pan.x + by.x / view.zoom(), pan.y + by.y * 100.0 / view.zoom_factor2};
}

class pan_drag : public drag_handler {
 public:
  explicit pan_drag(workbench& bench) : view_(bench.composition.view), before_(view_.pan_position) {}
  void begin(math::point point) override { from_ = point; }
  void move(math::point point) override {
    view_.pan_position = moved_by(view_, before_, {point.x - from_.x, point.y - from_.y});
  }
  void end(math::point) override {}
  void cancel() override { view_.pan_position = before_; }
  cursor_shape get_cursor(math::point) override { return cursor_shape::move; }

 private:
  ksn::view& view_;
  math::pointd before_;
  math::point from_;
};

class zoom_drag : public drag_handler {
 public:
  zoom_drag(workbench& bench, bool keep_point)
      : bench_(bench), before_(bench.composition.view), keep_point_(keep_point) {}
  void begin(math::point point) override { from_ = point; }
  void move(math::point point) override {
    ksn::view& view = bench_.composition.view;
    const long long percent = before_.zoom_factor2 + (point.x - from_.x) / bench_.layout().scale;
    view.zoom_factor2 = static_cast<int>(std::clamp<long long>(percent, 1, std::numeric_limits<int>::max()));
    if (!keep_point_) return;
    const render::frame_view shown = preview_view(bench_);
    const math::point press{from_.x - shown.width / 2, from_.y - shown.height / 2};
    const math::pointd now = moved_by(view, {}, press);
    const math::pointd then = moved_by(before_, {}, press);
    view.pan_position = {before_.pan_position.x + now.x - then.x, before_.pan_position.y + now.y - then.y};
  }
  void end(math::point) override {}
  void cancel() override {
    bench_.composition.view.zoom_factor2 = before_.zoom_factor2;
    bench_.composition.view.pan_position = before_.pan_position;
  }
  cursor_shape get_cursor(math::point) override { return cursor_shape::size_horizontal; }
  void draw(math::point point, painter& on) override {
    draw_tip(on, std::to_string(bench_.composition.view.zoom_factor2) + "%", point);
  }

 private:
  workbench& bench_;
  ksn::view before_;
  bool keep_point_;
  math::point from_;
};

class scrub_drag : public drag_handler {
 public:
  scrub_drag(workbench& bench, std::uint32_t pressed_at)
      : bench_(bench),
        pressed_at_(pressed_at),
        time_(bench.composition.doc.tm_t),
        played_(bench.composition.doc.playing) {}
  void begin(math::point point) override { from_ = point; }
  void move(math::point point) override {
    const double frames = (point.x - from_.x) * frames_per_pixel / bench_.layout().scale;
    bench_.composition.doc.set_current_time(time_ + frames);
  }
  void end(math::point point) override {
    ksn::document& doc = bench_.composition.doc;
    const int down = point.y - from_.y;
    const bool quick = bench_.milliseconds() - pressed_at_ < flick_milliseconds;
    if (quick && std::abs(down) >= flick_distance * bench_.layout().scale &&
        std::abs(down) > std::abs(point.x - from_.x)) {
      doc.tm_t = time_;
      doc.playing = played_;
      bench_.run(down < 0 ? "play_forward" : "play_backward");
    } else if (played_ && bench_.composition.settings.continue_playback_after_drag) {
      bench_.clock.toggle_pause();
    }
  }
  void cancel() override {
    bench_.composition.doc.tm_t = time_;
    bench_.composition.doc.playing = played_;
  }
  cursor_shape get_cursor(math::point) override { return cursor_shape::size_horizontal; }

 private:
  workbench& bench_;
  std::uint32_t pressed_at_;
  double time_;  // at the press
  bool played_;
  math::point from_;
};

class volume_drag : public drag_handler {
 public:
  explicit volume_drag(workbench& bench) : bench_(bench), before_(bench.composition.settings.volume) {}
  void begin(math::point point) override { from_ = point.x; }
  void move(math::point point) override {
    const int by = (point.x - from_) / bench_.layout().scale;
    bench_.composition.settings.volume = by == 0 ? before_ : std::clamp(before_ + by, 0, std::max(before_, 100));
  }
  void end(math::point) override {}
  void cancel() override { bench_.composition.settings.volume = before_; }
  cursor_shape get_cursor(math::point) override { return cursor_shape::size_horizontal; }

 private:
  workbench& bench_;
  int before_;
  int from_ = 0;
};

class view_correction_drag : public drag_handler {
 public:
  explicit view_correction_drag(workbench& bench) : bench_(bench), before_(bench.composition.view) {}
  void begin(math::point point) override { from_ = point; }
  void move(math::point point) override {
    ksn::view changed = before_;
    if (bench_.input.modifiers() & platform::key_shift) {
      changed.add_gamma(point.x - from_.x);
    } else {
      changed.add_exposure(point.x - from_.x);
    }
    set(changed.tf);
  }
  void end(math::point) override {}
  void cancel() override { set(before_.tf); }
  cursor_shape get_cursor(math::point) override { return cursor_shape::size_horizontal; }

 private:
  workbench& bench_;
  ksn::view before_;
  math::point from_;

  void set(const img::correction& correction) {
    if (bench_.composition.view.tf == correction) return;
    bench_.composition.view.tf = correction;
    bench_.composition.touch();
  }
};

}  // namespace

render::frame_view preview_view(const workbench& bench) {
  const math::point size = bench.layout().size;
  return save::preview_view(bench.composition, size.x, size.y);
}

void zoom_around(const workbench& bench, math::point point, const std::function<void(ksn::view&)>& change) {
  const render::frame_view shown = preview_view(bench);
  ksn::view& view = bench.composition.view;
  const math::point from_centre{point.x - shown.width / 2, point.y - shown.height / 2};
  const math::pointd before = moved_by(view, {}, from_centre);
  change(view);
  const math::pointd now = moved_by(view, {}, from_centre);
  view.pan_position.x += now.x - before.x;
  view.pan_position.y += now.y - before.y;
}

std::shared_ptr<drag_handler> make_pan_drag(workbench& bench) {
  return std::make_shared<pan_drag>(bench);
}
std::shared_ptr<drag_handler> make_zoom_drag(workbench& bench, bool keep_point) {
  return std::make_shared<zoom_drag>(bench, keep_point);
}
std::shared_ptr<drag_handler> make_scrub_drag(workbench& bench, std::uint32_t pressed_at) {
  return std::make_shared<scrub_drag>(bench, pressed_at);
}
std::shared_ptr<drag_handler> make_volume_drag(workbench& bench) {
  return std::make_shared<volume_drag>(bench);
}

std::shared_ptr<drag_handler> make_view_correction_drag(workbench& bench) {
  return std::make_shared<view_correction_drag>(bench);
}

}  // namespace ui
