#include "ui/preview/layer_drags.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>

#include "composition/editing/layer_placement.h"
#include "composition/editing/undo.h"
#include "img/image.h"
#include "ui/preview/selection.h"
#include "ui/preview/view_drags.h"
#include "ui/toolkit/tip.h"

namespace ui {
namespace {

constexpr int largest_scale = 1'000'000;  // percent

// The common part of all drags: the step of undo, the way back, and where the press was.
class layer_drag : public drag_handler {
 public:
  layer_drag(workbench& bench, const std::set<int>& ids, ksn::undo_name name, ksn::undo_rule rule)
      : bench_(bench), before_(bench.composition, ids), name_(name), rule_(rule) {
    for (const ksn::track_info& track : bench.composition.doc.tracks) {
      if (ids.contains(track.id))
        started_.emplace(track.id, start{track.placement, {track.source.width, track.source.height}});
    }
  }
  void begin(math::point point) override { from_ = point; }
  void move(math::point point) override {
    view_ = preview_view(bench_);
    bool changed = false;
    for (ksn::track_info& track : bench_.composition.doc.tracks) {
      // One that a command took away meanwhile is left out.
      const auto found = started_.find(track.id);
      if (found == started_.end()) continue;
      const start now{track.placement, {track.source.width, track.source.height}};
      change(track, found->second, {point.x - from_.x, point.y - from_.y});
      changed = changed || !(now == start{track.placement, {track.source.width, track.source.height}});
    }
    if (changed) bench_.composition.touch();
  }
  void end(math::point) override { before_.remember(bench_.composition, name_, rule_); }
  void cancel() override {
    for (ksn::track_info& track : bench_.composition.doc.tracks) {
      const auto found = started_.find(track.id);
      if (found == started_.end()) continue;
      track.placement = found->second.placement;
      if (math::point{track.source.width, track.source.height} != found->second.size) {
        ksn::resize_made_picture(bench_.composition, track, found->second.size);
        track.placement = found->second.placement;
      }
    }
    bench_.composition.touch();
  }
  cursor_shape get_cursor(math::point) override { return cursor_shape::move; }
  void draw(math::point point, painter& on) override {
    draw_selection(on, bench_);
    const std::string text = value_text();
    if (!text.empty()) draw_tip(on, text, point);
  }

 protected:
  struct start {
    ksn::layer_placement placement;
    math::point size;  // of the picture
    bool operator==(const start&) const = default;
  };
  // Makes the layer what it is after that much movement of the pointer since the press, in pixels of the window.
  virtual void change(ksn::track_info& track, const start& from, math::point by) = 0;
  virtual std::string value_text() { return {}; }

  workbench& bench_;
  render::frame_view view_;  // at the movement at hand
  bool holds(int modifier) const { return (bench_.input.modifiers() & modifier) != 0; }
  const ksn::track_info* only_layer() const {
    const int index = bench_.composition.doc.index_of_id(started_.begin()->first);
    return index < 0 ? nullptr : &bench_.composition.doc.track_at(index);
  }

 private:
  ksn::undo_capture before_;
  ksn::undo_name name_;
  ksn::undo_rule rule_;
  std::map<int, start> started_;
  math::point from_;
};

std::string text_of(const char* format, int a, int b) {
  char text[64];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  std::snprintf(text, sizeof text, format, a, b);
#pragma GCC diagnostic pop
  return text;
}

// Window pixels in pixels of the layer's picture.
math::point in_picture(const ksn::track_info& track, const render::frame_view& view, math::point by) {
  const render::layer_geometry scale =
      render::layer_scale(track, view.zoom_x, view.zoom_y, ksn::cache_resolution_type::full);
  const auto divided = [](int value, int den, int num) {
    return num == 0 ? 0 : static_cast<int>(static_cast<long long>(value) * den / num);
  };
  return {divided(by.x, scale.den_x, scale.num_x), divided(by.y, scale.den_y, scale.num_y)};
}

class layers_drag : public layer_drag {
 public:
  explicit layers_drag(workbench& bench)
      : layer_drag(bench, ksn::selected_ids(bench.composition), ksn::undo_name{"layer_move"},
                   ksn::undo_rule::by_offset) {}

 private:
  void change(ksn::track_info& track, const start& from, math::point by) override {
    track.placement.pos = from.placement.pos;
    ksn::move_position(track, {static_cast<int>(by.x / view_.zoom_x), static_cast<int>(by.y / view_.zoom_y)});
  }
};

math::point crop_size(const ksn::track_info& track, const ksn::layer_placement& placement) {
  return {placement.crop_wh.x > 0 ? placement.crop_wh.x : track.source.width,
          placement.crop_wh.y > 0 ? placement.crop_wh.y : track.source.height};
}

class crop_drag : public layer_drag {
 public:
  crop_drag(workbench& bench, int id)
      : layer_drag(bench, {id}, ksn::undo_name{"layer_move_crop"}, ksn::undo_rule::as_left) {}

 private:
  enum class axis { both, across, down };
  axis kept_ = axis::both;

  void change(ksn::track_info& track, const start& from, math::point by) override {
    if (!holds(platform::key_ctrl)) {
      kept_ = axis::both;
    } else if (kept_ == axis::both && by != math::point{}) {
      kept_ = std::abs(by.x) >= std::abs(by.y) ? axis::across : axis::down;
    }
    if (kept_ == axis::across) by.y = 0;
    if (kept_ == axis::down) by.x = 0;
    const math::point offset = in_picture(track, view_, by);
    track.placement.crop_xy = {from.placement.crop_xy.x + offset.x, from.placement.crop_xy.y + offset.y};
  }
  std::string value_text() override {
    const ksn::track_info* track = only_layer();
    return track ? text_of("%d, %d", track->placement.crop_xy.x, track->placement.crop_xy.y) : std::string();
  }
};

class crop_handle_drag : public layer_drag {
 public:
  crop_handle_drag(workbench& bench, int id, const handle& handle)
      : layer_drag(bench, {id}, ksn::undo_name{"layer_move_crop"}, ksn::undo_rule::as_left), handle_(handle) {}
  cursor_shape get_cursor(math::point) override { return cursor_of(handle_); }

 private:
  handle handle_;

  // One axis: the side of code 0 or 2 moves, and the rectangle keeps at least a pixel.
  static void change_side(int side, int by, int& centre, int& size) {
    const int first = centre - size / 2;
    const int end = first + size;
    if (side == 0) {
      const int moved = std::min(first + by, end - 1);
      size = end - moved;
      centre = moved + size / 2;
    } else if (side == 2) {
      size = std::max(size + by, 1);
      centre = first + size / 2;
    }
  }
  void change(ksn::track_info& track, const start& from, math::point by) override {
    const math::point offset = in_picture(track, view_, by);
    math::point centre = from.placement.crop_xy;
    math::point size = crop_size(track, from.placement);
    change_side(handle_.across, offset.x, centre.x, size.x);
    change_side(handle_.down, offset.y, centre.y, size.y);
    track.placement.crop_xy = centre;
    track.placement.crop_wh = size;
  }
  std::string value_text() override {
    const ksn::track_info* track = only_layer();
    if (!track) return {};
    const math::point size = crop_size(*track, track->placement);
    return text_of("%d x %d", size.x, size.y);
  }
};

// The scale, or the size of a picture that is made inside. Both are one arithmetic on the displayed size.
class box_handle_drag : public layer_drag {
 public:
  box_handle_drag(workbench& bench, int id, const handle& handle, bool resizes)
      : layer_drag(bench, {id}, ksn::undo_name{resizes ? "layer_resize" : "layer_scale"}, ksn::undo_rule::as_left),
        handle_(handle),
        resizes_(resizes) {}
  cursor_shape get_cursor(math::point) override { return cursor_of(handle_); }

 private:
  handle handle_;
  bool resizes_;

  // By how much a side grows with the pointer, from the size at the press.
  double factor(int side, double by, double size) const {
    if (side == 1 || size <= 0) return 1.0;
    const double both = holds(platform::key_alt) ? 2.0 : 1.0;
    return std::max((size + (side == 2 ? by : -by) * both) / size, 0.0);
  }
  // Half of what the displayed size grew goes to the centre, away from the side that stays.
  int centre_moved(int side, double before, double now) const {
    if (side == 1 || holds(platform::key_alt)) return 0;
    return static_cast<int>(std::rint((now - before) / 2)) * (side == 2 ? 1 : -1);
  }
  void change(ksn::track_info& track, const start& from, math::point by) override {
    const ksn::layer_placement& was = from.placement;
    const math::pointd unit{was.scale_x * was.aspect / 100.0, was.scale_y / 100.0};  // of one pixel of the picture
    const math::pointd shown{from.size.x * unit.x, from.size.y * unit.y};
    math::pointd grown{factor(handle_.across, by.x / view_.zoom_x, shown.x),
                       factor(handle_.down, by.y / view_.zoom_y, shown.y)};
    const bool corner = handle_.across != 1 && handle_.down != 1;
    if (corner && !resizes_ && !holds(platform::key_ctrl)) {
      grown.x = grown.y = std::abs(grown.x - 1) >= std::abs(grown.y - 1) ? grown.x : grown.y;
    }
    track.placement = was;
    math::pointd now;
    const auto rounded = [](double value, int most) {
      return static_cast<int>(std::clamp(std::rint(value), 1.0, static_cast<double>(most)));
    };
    if (resizes_) {
      const math::point size{rounded(from.size.x * grown.x, img::max_dimension),
                             rounded(from.size.y * grown.y, img::max_dimension)};
      track.source.width = from.size.x;
      track.source.height = from.size.y;
      ksn::resize_made_picture(bench_.composition, track, size);
      now = {size.x * unit.x, size.y * unit.y};
    } else {
      track.placement.set_scale_x(rounded(was.scale_x * grown.x, largest_scale));
      track.placement.set_scale_y(rounded(was.scale_y * grown.y, largest_scale));
      now = {from.size.x * track.placement.scale_x * was.aspect / 100.0, from.size.y * track.placement.scale_y / 100.0};
    }
    ksn::move_position(track,
                       {centre_moved(handle_.across, shown.x, now.x), centre_moved(handle_.down, shown.y, now.y)});
  }
  std::string value_text() override {
    const ksn::track_info* track = only_layer();
    if (!track) return {};
    if (resizes_) return text_of("%d x %d", track->source.width, track->source.height);
    const ksn::layer_placement& placement = track->placement;
    return placement.scale_x == placement.scale_y ? text_of("%d%%", placement.scale_x, 0)
                                                  : text_of("%d%% %d%%", placement.scale_x, placement.scale_y);
  }
};

}  // namespace

cursor_shape cursor_of(const handle& handle) {
  if (handle.across == 1) return cursor_shape::size_vertical;
  if (handle.down == 1) return cursor_shape::size_horizontal;
  return handle.across == handle.down ? cursor_shape::size_diagonal_down : cursor_shape::size_diagonal_up;
}

std::shared_ptr<drag_handler> make_layers_drag(workbench& bench) {
  return std::make_shared<layers_drag>(bench);
}

std::shared_ptr<drag_handler> make_crop_drag(workbench& bench, int layer) {
  return std::make_shared<crop_drag>(bench, bench.composition.doc.track_at(layer).id);
}

std::shared_ptr<drag_handler> make_handle_drag(workbench& bench, int layer, const handle& handle) {
  const ksn::track_info& track = bench.composition.doc.track_at(layer);
  if (handle.of == handle::box_kind::crop) return std::make_shared<crop_handle_drag>(bench, track.id, handle);
  return std::make_shared<box_handle_drag>(bench, track.id, handle, ksn::has_made_size(track));
}

}  // namespace ui
