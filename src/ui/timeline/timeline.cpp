#include "ui/timeline/timeline.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "ui/timeline/frame_marks.h"
#include "ui/timeline/ruler_drags.h"
#include "ui/timeline/time_drag.h"
#include "ui/toolkit/painter.h"
#include "ui/toolkit/palette.h"
#include "ui/widgets/edit_field.h"

namespace ui {
namespace {

constexpr int label_distance = 40;  // pixels at scale 1
constexpr int time_code_distance = 84;
constexpr int mark_height = 2;
constexpr int field_width = 36;
constexpr int field_height = 18;

bool shows_time_code(const ksn::state& composition) {
  return composition.workspace.counter_type == ksn::counter_type_t::timecode;
}

int whole_rate(const ksn::state& composition) {
  return std::max(1, (composition.doc.fpcs + 50) / 100);
}

// A frame as the counter would show it.
std::string label_of(const ksn::state& composition, int frame) {
  if (!shows_time_code(composition)) return std::to_string(frame + composition.doc.frame_base);
  const int rate = whole_rate(composition);
  const int seconds = frame / rate;
  char text[32];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d:%02d", seconds / 3600, seconds / 60 % 60, seconds % 60,
                frame % rate);
  return text;
}

const char* hint_of(ruler_region region) {
  switch (region) {
    case ruler_region::left_handle:
      return "tm_hotspot_0";
    case ruler_region::work_area_begin:
      return "tm_hotspot_f";
    case ruler_region::cursor:
      return "tm_hotspot_t";
    case ruler_region::work_area:
    case ruler_region::rest:
      return "tm_hotspot_a";
    case ruler_region::work_area_end:
      return "tm_hotspot_l";
    case ruler_region::right_handle:
      return "tm_hotspot_n";
    case ruler_region::none:
      break;
  }
  return "";
}

// The rate, with the usual ones under the right button.
class rate_field : public ui_edit_field {
 public:
  rate_field(workbench& bench, widget_box box, parts parts)
      : ui_edit_field(bench.host, box, std::move(parts)), bench_(bench) {}
  void mouse_up(mouse_button button, math::point point, bool double_click) override {
    if (button == mouse_button::right && !is_typing()) return bench_.context_menu("rate", point);
    ui_edit_field::mouse_up(button, point, double_click);
  }
  void type() { ui_edit_field::mouse_up(mouse_button::left, {}, false); }

 private:
  workbench& bench_;
};

class timeline_area : public ui_object, public mouse_handler {
 public:
  timeline_area(workbench& bench, std::shared_ptr<mark_table> marks) : bench_(bench), marks_(std::move(marks)) {
    ksn::state& composition = bench.composition;
    const widget_box box{0, 0, field_width, field_height};
    // The fields of the command language, so that one rule bounds both.
    ui_edit_field::parts rate;
    rate.format = "%.2f";
    rate.hint = "tm_fps_hint";
    rate.step = 1.0;
    rate.get = [&composition] { return composition.doc.fpcs / 100.0; };
    rate.set = [&bench](double value) { bench.run("fps=" + number(value, 2)); };
    rate_ = std::make_shared<rate_field>(bench, box, rate);

    ui_edit_field::parts length;
    length.format = "%.0f";
    length.hint = "tm_n_hint";
    length.step = 1.0;
    length.get = [&composition] { return static_cast<double>(composition.doc.tm_n); };
    length.set = [this](double value) {
      const bool dragged = before_drag_.has_value();
      if (!dragged) begin_length();
      set_length(value);
      if (!dragged) end_length(true);
    };
    length.begin_drag = [this] { begin_length(); };
    length.end_drag = [this](bool kept) { end_length(kept); };
    length_ = std::make_shared<ui_edit_field>(bench.host, box, length);

    bench.engine.add({.group = command::action_group::menu_choice,
                      .name = "tm_fps_edit",
                      .help = "type the frame rate on the ruler",
                      .execute = [field = rate_] { field->type(); }});
  }

  mouse_handler* hit_test(math::point point, const place& at) override {
    place_ = at;
    if (point.y < at.at(0, ruler_top - 2).y || point.y >= at.at(0, ruler_top + ruler_height + 1).y) return nullptr;
    if (mouse_handler* found = rate_->hit_test(point, rate_place(at))) return found;
    if (mouse_handler* found = length_->hit_test(point, length_place(at))) return found;
    return region_at(point) == ruler_region::none ? nullptr : this;
  }

  void draw(painter& on, const place& at) override {
    place_ = at;
    const ruler_scale ruler = scale_of(bench_);
    const int top = at.at(0, ruler_top).y;
    const int bottom = top + on.px(ruler_height);
    const ksn::document& doc = bench_.composition.doc;
    on.fill({ruler.left(), top, ruler.right() + on.px(1), bottom}, palette::field);
    on.fill({ruler.x_of(doc.tm_f), top, ruler.x_of(doc.tm_l) + on.px(1), bottom}, palette::work_area);
    const rectangle told = cursor_label(on, ruler, top);
    draw_ticks(on, ruler, top, bottom, told);
    marks_->update(doc, bench_.frames, ruler);
    const rectangle line{ruler.left(), bottom - on.px(mark_height), ruler.right() + on.px(1), bottom};
    draw_marks(on, marks_->all(), marks_->left(), line, false);
    for (const int frame : {doc.tm_f, doc.tm_l}) {
      const int x = ruler.x_of(frame);
      on.fill({x, top, x + on.px(1), bottom}, palette::value);
      const int outer = frame == doc.tm_f ? x - on.px(3) : x + on.px(1);
      on.fill({outer, top, outer + on.px(3), top + on.px(3)}, palette::value);
    }
    on.art("tm_handle_left", {ruler.left() - on.px(6), top});
    on.art("tm_handle_right", {ruler.right() + on.px(2), top});
    draw_cursor(on, ruler, top, bottom, told);
    rate_->draw(on, rate_place(at));
    length_->draw(on, length_place(at));
  }

  press_result mouse_down(mouse_button button, math::point point, bool) override {
    const bool whole = button == mouse_button::middle && region_at(point) == ruler_region::work_area;
    return whole || button == mouse_button::left ? press_result::drag : press_result::click;
  }
  std::shared_ptr<drag_handler> get_drag_handler(mouse_button button, math::point point) override {
    return make_ruler_drag(bench_, region_at(point), button);
  }
  void mouse_up(mouse_button button, math::point point, bool) override {
    if (button == mouse_button::right) bench_.context_menu("ruler", point);
  }
  // A step of the wheel is a frame.
  void wheel(int, int steps, math::point) override {
    ksn::document& doc = bench_.composition.doc;
    doc.set_current_time(std::clamp(shown_frame(bench_.composition) - steps, 0, doc.tm_n));
  }
  cursor_shape get_cursor(math::point point) override {
    switch (region_at(point)) {
      case ruler_region::none:
      case ruler_region::rest:
      case ruler_region::work_area:
      case ruler_region::cursor:
        return cursor_shape::arrow;
      default:
        return cursor_shape::size_horizontal;
    }
  }
  std::string get_tool_tip(math::point point) override {
    const ruler_region region = region_at(point);
    const std::string frame = label_of(
        bench_.composition, static_cast<int>(std::rint(std::clamp(scale_of(bench_).frame_at(point.x), 0.0,
                                                                  static_cast<double>(bench_.composition.doc.tm_n)))));
    std::string tip = frame + "\n" + bench_.text(hint_of(region));
    if (region == ruler_region::work_area)
      tip += "\n" + bench_.text("tm_hotspot_w") + "\n" + bench_.text("tm_hotspot_w2");
    return tip;
  }

 private:
  workbench& bench_;
  std::shared_ptr<rate_field> rate_;
  std::shared_ptr<ui_edit_field> length_;
  // While the length is dragged.
  struct length_drag {
    ksn::undo_capture step;
    int work_area_begin;
    int work_area_end;
    int length;
    bool set_by_user;
    std::optional<double> cut_time = {};  // that the time was, where the last length cut it
  };
  std::optional<length_drag> before_drag_;
  place place_;
  std::shared_ptr<mark_table> marks_;

  void begin_length() {
    const ksn::document& doc = bench_.composition.doc;
    before_drag_.emplace(
        length_drag{{bench_.composition, std::set<int>()}, doc.tm_f, doc.tm_l, doc.tm_n, doc.timeline_user_set});
  }
  // A length cuts work area and time: each is set from what was there at the press.
  void set_length(double value) {
    put_back_length();
    const double time = bench_.composition.doc.tm_t;
    bench_.run("timeline=" + number(value, 0));
    if (bench_.composition.doc.tm_t != time) before_drag_->cut_time = time;
  }
  void put_back_length() {
    ksn::document& doc = bench_.composition.doc;
    doc.set_timeline_length(before_drag_->length, true);
    doc.timeline_user_set = before_drag_->set_by_user;
    doc.tm_f = before_drag_->work_area_begin;
    doc.tm_l = before_drag_->work_area_end;
    if (const auto time = std::exchange(before_drag_->cut_time, std::nullopt)) doc.tm_t = *time;
    bench_.composition.touch();
  }
  void end_length(bool kept) {
    if (!before_drag_) return;
    if (!kept) put_back_length();
    if (before_drag_->step.remember(bench_.composition, ksn::undo_name{"change_timeline"})) bench_.work_area_changed();
    before_drag_.reset();
  }

  static std::string number(double value, int digits) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
  }

  static place field_place(const place& at, int x) {
    place moved = at;
    moved.origin = {x, at.at(0, ruler_top + 1).y};
    return moved;
  }
  static place rate_place(const place& at) { return field_place(at, 2 * at.scale); }
  static place length_place(const place& at) { return field_place(at, at.size.x - (2 + field_width) * at.scale); }

  ruler_region region_at(math::point point) const {
    const ksn::document& doc = bench_.composition.doc;
    return ruler_hit(scale_of(bench_), {doc.tm_f, doc.tm_l, shown_frame(bench_.composition)}, point.x,
                     point.y - place_.origin.y);
  }

  // The box of the number beside the cursor.
  rectangle cursor_label(const painter& on, const ruler_scale& ruler, int top) const {
    const int x = ruler.x_of(shown_frame(bench_.composition));
    const int width =
        on.measure(label_of(bench_.composition, shown_frame(bench_.composition)), "timeline.digits").x + on.px(6);
    const int left = x + on.px(8) + width > ruler.right() ? x - on.px(8) - width : x + on.px(8);
    return {left, top, left + width, top + on.px(12)};
  }

  // Labels leave the cursor with its number alone.
  void draw_ticks(painter& on, const ruler_scale& ruler, int top, int bottom, const rectangle& told) const {
    const ksn::state& composition = bench_.composition;
    const bool time_code = shows_time_code(composition);
    const ruler_ticks ticks = ticks_of(ruler, on.px(time_code ? time_code_distance : label_distance),
                                       time_code ? whole_rate(composition) : 0);
    const int length = composition.doc.tm_n;
    // The shown numbers are round ones, not the counted frames.
    const int base = time_code ? 0 : composition.doc.frame_base;
    const auto each = [&](int step, const auto& use) {
      for (long long shown = (base + step - 1) / step * static_cast<long long>(step); shown - base <= length;
           shown += step)
        use(static_cast<int>(shown - base));
    };
    const int floor = bottom - on.px(mark_height);
    const int cursor = ruler.x_of(shown_frame(composition));
    const int taken_begin = std::min(cursor - on.px(6), told.left);
    const int taken_end = std::max(cursor + on.px(6), told.right);
    if (ticks.minor > 0) {
      each(ticks.minor, [&](int frame) {
        const int x = ruler.x_of(frame);
        on.fill({x, floor - on.px(3), x + on.px(1), floor}, palette::tick);
      });
    }
    each(ticks.major, [&](int frame) {
      const int x = ruler.x_of(frame);
      on.fill({x, floor - on.px(7), x + on.px(1), floor}, palette::faint);
      const std::string label = label_of(composition, frame);
      const int left = x + on.px(3);
      if (left < taken_end && left + on.measure(label, "timeline.digits").x > taken_begin) return;
      on.line(label, "timeline.digits", palette::text,
              {left, top, std::min(x + on.px(80), ruler.right()), top + on.px(12)});
    });
  }

  void draw_cursor(painter& on, const ruler_scale& ruler, int top, int bottom, const rectangle& told) const {
    const int frame = shown_frame(bench_.composition);
    const int x = ruler.x_of(frame);
    on.fill({x, top, x + on.px(1), bottom}, palette::live);
    on.art("time", {x, top});
    on.round_fill(told, on.px(palette::field_radius), palette::tip);
    on.line(label_of(bench_.composition, frame), "timeline.digits", palette::live, told, painter::align::centre);
  }
};

}  // namespace

std::shared_ptr<ui_object> make_timeline(workbench& bench, std::shared_ptr<mark_table> marks) {
  return std::make_shared<timeline_area>(bench, std::move(marks));
}

}  // namespace ui
