#include "ui/timeline/ruler_drags.h"

#include <algorithm>
#include <cmath>

#include "ui/timeline/time_drag.h"
#include "ui/toolkit/painter.h"
#include "ui/toolkit/palette.h"

namespace ui {
namespace {

// tm_drag_handler_t moves the cursor from where it was; _a brings it to the pointer and goes on from there.
class cursor_drag : public time_drag {
 public:
  cursor_drag(workbench& bench, bool to_pointer)
      : time_drag(bench, {}), was_playing_(doc().playing), time_(doc().tm_t), to_pointer_(to_pointer) {}
  void begin(math::point point) override {
    time_drag::begin(point);
    start_ = to_pointer_ ? clamped(std::rint(ruler_.frame_at(point.x))) : shown_frame(bench_.composition);
    go_to(to_pointer_ ? start_ : time_);
  }
  void move(math::point point) override {
    if (outside_band(point)) {
      snapped_.reset();
      return go_to(time_);
    }
    if (const int by = frames_moved(point); by != 0 || to_pointer_ || moved_) {
      moved_ = true;
      go_to(snap(clamped(start_ + static_cast<double>(by))));
    }
  }
  void end(math::point) override {
    doc().playing = was_playing_ && bench_.composition.settings.continue_playback_after_drag;
  }
  void cancel() override {
    go_to(time_);
    doc().playing = was_playing_;
  }
  cursor_shape get_cursor(math::point) override { return cursor_shape::arrow; }

 protected:
  std::vector<int> snap_frames_at_press() const override { return snap_frames(doc(), {}, false); }

 private:
  const bool was_playing_;
  const double time_;  // at the press
  const bool to_pointer_;
  bool moved_ = false;
  int start_ = 0;

  int clamped(double frame) const { return static_cast<int>(std::clamp(frame, 0.0, static_cast<double>(doc().tm_n))); }
  void go_to(double time) {
    const double before = doc().tm_t;
    doc().set_current_time(time);
    if (doc().tm_t != before) changed();
  }
};

// tm_drag_handler_f, _l and _w: an end of the work area, or all of it.
class work_area_drag : public time_drag {
 public:
  work_area_drag(workbench& bench, ruler_region part)
      : time_drag(bench, {}), part_(part), begin_(doc().tm_f), end_(doc().tm_l) {}
  void move(math::point point) override {
    if (outside_band(point)) {
      snapped_.reset();
      return set(begin_, end_);
    }
    const int by = frames_moved(point);
    // set() cuts what a shorter timeline has no room for.
    const int length = doc().tm_n;
    if (part_ == ruler_region::work_area_begin) {
      set(std::clamp(snap(begin_ + by), 0, end_ - 1), end_);
    } else if (part_ == ruler_region::work_area_end) {
      set(begin_, std::clamp(snap(end_ + by), begin_ + 1, std::max(length, begin_ + 1)));
    } else {
      const int span = end_ - begin_;
      const int begin = std::clamp(snap(begin_ + by), 0, std::max(length - span, 0));
      set(begin, begin + span);
    }
  }
  void end(math::point) override {
    if (remember("change_workarea")) bench_.work_area_changed();
  }
  void cancel() override { set(begin_, end_); }
  cursor_shape get_cursor(math::point) override {
    return part_ == ruler_region::work_area ? cursor_shape::move : cursor_shape::size_horizontal;
  }

 protected:
  std::string text() const override {
    return shown(doc().tm_f) + " - " + shown(doc().tm_l - 1) + " (" + std::to_string(doc().tm_l - doc().tm_f) + ")";
  }

 private:
  const ruler_region part_;
  const int begin_;  // at the press
  const int end_;

  void set(int begin, int end) {
    // A command of others may have made the timeline shorter.
    end = std::clamp(end, 1, doc().tm_n);
    begin = std::clamp(begin, 0, end - 1);
    if (begin == doc().tm_f && end == doc().tm_l) return;
    doc().tm_f = begin;
    doc().tm_l = end;
    changed();
  }
};

// tm_drag_handler_0 and _n: the ends of the timeline. Their work is done when the button goes up, so that the ruler's
// scale stands still under the pointer.
class extent_drag : public time_drag {
 public:
  extent_drag(workbench& bench, ruler_region handle)
      : time_drag(bench, all_ids(bench.composition.doc)), left_(handle == ruler_region::left_handle) {}
  void move(math::point point) override {
    snapped_.reset();
    const int by = outside_band(point) ? 0 : frames_moved(point);
    pending_ = by == 0 ? 0 : snap(place() + by) - place();
    const int removable = ruler_.length - shortest;
    pending_ = left_ ? std::min(pending_, removable) : std::max(pending_, -removable);
  }
  void end(math::point) override {
    if (pending_ == 0) return;
    if (left_) {
      doc().cut_timeline_begin(pending_);
    } else {
      doc().set_timeline_length(ruler_.length + pending_, false);
    }
    if (remember("change_timeline", ksn::undo_rule::as_left, false)) bench_.work_area_changed();
  }
  void cancel() override {}
  void draw(math::point point, painter& on) override {
    const int x = ruler_.x_of(place() + pending_);
    const int y = bench_.layout().split + on.px(ruler_top);
    on.art(left_ ? "tm_handle_left_drag" : "tm_handle_right_drag", {left_ ? x - on.px(6) : x + on.px(2), y});
    on.fill({x, y, x + on.px(1), y + on.px(ruler_height)}, palette::live);
    time_drag::draw(point, on);
  }

 protected:
  std::string text() const override {
    const int by = left_ ? -pending_ : pending_;
    return signed_frames(by) + " (" + std::to_string(ruler_.length + by) + ")";
  }

 private:
  static constexpr int shortest = 10;  // frames of a timeline
  const bool left_;
  int pending_ = 0;

  int place() const { return left_ ? 0 : ruler_.length; }
};

}  // namespace

std::shared_ptr<drag_handler> make_ruler_drag(workbench& bench, ruler_region region, mouse_button button) {
  if (button == mouse_button::middle && region == ruler_region::work_area)
    return std::make_shared<work_area_drag>(bench, region);
  if (button != mouse_button::left) return {};
  switch (region) {
    case ruler_region::left_handle:
    case ruler_region::right_handle:
      return std::make_shared<extent_drag>(bench, region);
    case ruler_region::work_area_begin:
    case ruler_region::work_area_end:
      return std::make_shared<work_area_drag>(bench, region);
    case ruler_region::cursor:
      return std::make_shared<cursor_drag>(bench, false);
    case ruler_region::work_area:
    case ruler_region::rest:
      return std::make_shared<cursor_drag>(bench, true);
    case ruler_region::none:
      break;
  }
  return {};
}

}  // namespace ui
