#include "ui/timeline/track_drags.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "composition/editing/layer_stack.h"
#include "composition/time/frame_numbers.h"
#include "ui/timeline/time_drag.h"
#include "ui/toolkit/painter.h"
#include "ui/toolkit/palette.h"

namespace ui {
namespace {

int moved_frame(int frame, int by) {
  return ksn::clamped_frame(static_cast<long long>(frame) + by);
}

int first_frame(const ksn::track_info& track) {
  return moved_frame(track.timing.begin, track.in());
}

int end_frame(const ksn::track_info& track) {
  return moved_frame(track.timing.begin, track.out());
}

// Changes when the selected layers play, one of which is dragged.
class timing_drag : public time_drag {
 public:
  timing_drag(workbench& bench, int index)
      : time_drag(bench, ksn::selected_ids(bench.composition)),
        ids_(ksn::selected_ids(bench.composition)),
        id_(doc().track_at(index).id) {
    for (const int selected : doc().selection) timings_[doc().track_at(selected).id] = doc().track_at(selected).timing;
  }
  void cancel() override {
    put_back();
    changed();
  }

 protected:
  std::vector<int> snap_frames_at_press() const override { return snap_frames(doc(), ids_, true); }

  const std::set<int> ids_;
  const int id_;  // of the dragged layer

  void put_back() {
    for (const auto& [id, timing] : timings_) {
      if (ksn::track_info* track = track_of(id)) track->timing = timing;
    }
  }
  template <class Change>
  void for_each_track(Change change) {
    for (ksn::track_info& track : doc().tracks) {
      if (ids_.contains(track.id)) change(track);
    }
    changed();
  }
  // "100 - 149" of the dragged layer, and how long that is.
  std::string extent() const {
    const ksn::track_info* track = track_of(id_);
    if (!track) return {};
    return shown(first_frame(*track)) + " - " + shown(end_frame(*track) - 1) + " (" +
           std::to_string(track->out() - track->in()) + ")";
  }

 private:
  std::map<int, ksn::layer_timing> timings_;  // at the press, by id
};

// ta_body_drag_handler and 2: moves layers in time, and one alone in the stack. Ctrl draws the start or the end of the
// dragged one to other frames.
class body_drag : public timing_drag {
 public:
  body_drag(workbench& bench, int index, const row_view& view)
      : timing_drag(bench, index), view_(view), first_(view.first()) {}
  void move(math::point point) override {
    const ksn::track_info* track = track_of(id_);
    if (!track) return;
    put_back();
    by_ = snapped_move(*track, frames_moved(point));
    for_each_track([this](ksn::track_info& moved) { moved.timing.begin = moved_frame(moved.timing.begin, by_); });
    // Only one layer changes its place, since several need not lie side by side.
    if (ids_.size() > 1) return;
    view_.scroll_at_edge(point);
    const int index = doc().index_of_id(id_);
    const double row = ksn::layer_row_height * ruler_.scale;
    rows_ = static_cast<int>(std::rint((point.y - from_.y) / row)) + view_.first() - first_;
    rows_ = std::clamp(rows_, -index, doc().track_count() - 1 - index);
  }
  void end(math::point) override {
    if (const int index = doc().index_of_id(id_); index >= 0) ksn::move_layer(bench_.composition, index, index + rows_);
    const bool one = ids_.size() == 1;
    // Several go back by as far as they went.
    remember(one ? "move_in_timeline" : "multiple_move_in_timeline",
             one ? ksn::undo_rule::as_left : ksn::undo_rule::by_offset, !one);
    changed();
  }
  cursor_shape get_cursor(math::point) override { return cursor_shape::move; }
  // A line where the layer will come to lie.
  void draw(math::point point, painter& on) override {
    if (rows_ != 0) {
      const int top = bench_.layout().split + on.px(ksn::strip_height);
      const int row = (from_.y - top) / on.px(ksn::layer_row_height) + first_ - view_.first() + rows_ + (rows_ > 0);
      const int y = top + row * on.px(ksn::layer_row_height) - on.px(1);
      on.fill({0, y, bench_.layout().size.x, y + on.px(2)}, palette::live);
    }
    time_drag::draw(point, on);
  }

 protected:
  std::string text() const override { return signed_frames(by_) + "  " + extent(); }

 private:
  const row_view view_;
  const int first_;  // row at the press
  int by_ = 0;
  int rows_ = 0;

  int snapped_move(const ksn::track_info& track, int by) {
    const int begin = first_frame(track);
    const int end = end_frame(track);
    const int begin_by = snap(moved_frame(begin, by)) - begin;
    const std::optional<int> at_begin = snapped_;
    const int end_by = snap(moved_frame(end, by)) - end;
    if (snapped_ && (!at_begin || std::abs(end_by - by) < std::abs(begin_by - by))) return end_by;
    snapped_ = at_begin;
    return begin_by;
  }
};

// ta_in_drag_handler and ta_out_drag_handler: an end of each selected layer, all by the same number of frames.
class end_drag : public timing_drag {
 public:
  end_drag(workbench& bench, int index, bool out) : timing_drag(bench, index), out_(out) {}
  void move(math::point point) override {
    const ksn::track_info* track = track_of(id_);
    if (!track) return;
    put_back();
    const int place = out_ ? end_frame(*track) : first_frame(*track);
    const int before = out_ ? track->out() : track->in();
    const int by = snap(moved_frame(place, frames_moved(point))) - place;
    for_each_track([&](ksn::track_info& moved) {
      // Where nothing moves the stored fractions stay as they are.
      if (by == 0) return;
      out_ ? moved.set_out(moved_frame(moved.out(), by)) : moved.set_in(moved_frame(moved.in(), by));
    });
    by_ = (out_ ? track->out() : track->in()) - before;
  }
  void end(math::point) override { remember("trim_layer"); }

 protected:
  std::string text() const override { return signed_frames(by_) + "  " + extent(); }

 private:
  const bool out_;
  int by_ = 0;
};

// ta_visible_drag_handler, and the same for the speaker: what the press makes of the first row, every row that the
// pointer comes over gets as well.
class switch_drag : public time_drag {
 public:
  switch_drag(workbench& bench, int index, bool sound, const row_view& view)
      : time_drag(bench, all_ids(bench.composition.doc)),
        sound_(sound),
        id_(doc().track_at(index).id),
        last_(index),
        view_(view) {
    const ksn::track_info& track = doc().track_at(index);
    on_ = sound ? !track.sound.audible : !track.look.visible;
  }
  void begin(math::point point) override {
    time_drag::begin(point);
    set(last_);
  }
  void move(math::point point) override {
    view_.scroll_at_edge(point);
    const int now = view_.layer_at(point);
    if (now < 0) return;
    // A quick hand leaves rows out.
    for (int i = std::min(last_, now); i <= std::max(last_, now); ++i) set(i);
    last_ = now;
  }
  void end(math::point) override {
    if (const int index = doc().index_of_id(id_); !sound_ && index >= 0) select_for_gesture(doc(), index);
    remember(sound_ ? "change_audible" : "change_visible", ksn::undo_rule::as_left, false);
    changed();
  }
  void cancel() override {
    for (const auto& [id, was] : before_of_) {
      ksn::track_info* track = track_of(id);
      if (!track) continue;
      track->look.visible = was.visible;
      track->look.opacity = was.opacity;
      track->sound = was.sound;
    }
    changed();
  }
  cursor_shape get_cursor(math::point) override { return cursor_shape::hand; }

 private:
  struct state {
    bool visible;
    int opacity;
    ksn::layer_sound sound;
  };
  const bool sound_;
  bool on_ = false;
  const int id_;  // of the row that was pressed
  int last_;
  const row_view view_;
  std::map<int, state> before_of_;  // layers that were painted over, by id

  void set(int index) {
    if (index < 0 || index >= doc().track_count()) return;
    ksn::track_info& track = doc().track_at(index);
    if (sound_ ? !track.source.has_audio() : !can_be_shown(track)) return;
    before_of_.try_emplace(track.id, state{track.look.visible, track.look.opacity, track.sound});
    if (sound_) {
      track.sound.audible = on_;
      if (on_ && track.sound.volume == 0) track.sound.volume = 100;
    } else {
      track.look.visible = on_;
      if (on_ && track.look.opacity == 0) track.look.opacity = 100;
    }
    changed();
  }
  static bool can_be_shown(const ksn::track_info& track) {
    return track.source.type != ksn::source_type::none && track.source.type != ksn::source_type::wave &&
           track.source.type != ksn::source_type::embedded_audio;
  }
};

}  // namespace

void select_for_gesture(ksn::document& doc, int index) {
  if (!doc.selection.contains(index)) doc.selection = {index};
}

std::shared_ptr<drag_handler> make_track_drag(workbench& bench, row_region region, int index, const row_view& rows) {
  ksn::document& doc = bench.composition.doc;
  switch (region) {
    case row_region::visible:
      return std::make_shared<switch_drag>(bench, index, false, rows);
    case row_region::audible:
      if (!doc.track_at(index).source.has_audio()) return {};
      return std::make_shared<switch_drag>(bench, index, true, rows);
    case row_region::bar_body:
      select_for_gesture(doc, index);
      return std::make_shared<body_drag>(bench, index, rows);
    case row_region::bar_in:
    case row_region::bar_out:
      select_for_gesture(doc, index);
      return std::make_shared<end_drag>(bench, index, region == row_region::bar_out);
    default:
      return {};
  }
}

}  // namespace ui
