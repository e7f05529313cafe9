#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <utility>

#include "lib/parallel.h"
#include "ui/timeline/frame_marks.h"
#include "ui/timeline/layer_facts.h"
#include "ui/timeline/row_drawing.h"
#include "ui/timeline/row_layout.h"
#include "ui/timeline/scroll_bar.h"
#include "ui/timeline/time_drag.h"
#include "ui/timeline/timeline.h"
#include "ui/timeline/track_drags.h"
#include "ui/toolkit/painter.h"
#include "ui/toolkit/palette.h"

namespace ui {
namespace {

constexpr const char* region_hints[] = {"",
                                        "ta_hotspot_number",
                                        "ta_hotspot_visible",
                                        "ta_hotspot_audible",
                                        "ta_hotspot_effect",
                                        "ta_hotspot_background",
                                        "ta_hotspot_track_in",
                                        "ta_hotspot_track_body",
                                        "ta_hotspot_track_out"};

// Milliseconds until a held scroll bar goes on, between two of its steps, and until a gesture at the edge scrolls.
constexpr int repeat_delay = 350;
constexpr int repeat_interval = 60;
constexpr int edge_delay = 250;

constexpr int rows_at_once = 5;  // that a thread draws in one go

// The layer stack. The row under the pointer is looked up at every call, since rows move under it.
class track_area : public ui_object, public mouse_handler {
 public:
  track_area(workbench& bench, std::shared_ptr<mark_table> marks) : bench_(bench), marks_(std::move(marks)) {}

  mouse_handler* hit_test(math::point point, const place& at) override {
    place_ = at;
    return layer_at(point) >= 0 ? this : nullptr;
  }

  void draw(painter& on, const place& at) override {
    place_ = at;
    keep_inside();
    const ksn::document& doc = bench_.composition.doc;
    const ruler_scale ruler = scale_of(bench_);
    const row_window rows = shown_rows();
    const std::string gone = bench_.text("ta_source_is_gone");
    const auto row = [&](int i) {
      const int index = rows.first + i;
      const ksn::track_info& track = doc.track_at(index);
      return drawn_row{.track = track,
                       .columns = marks_->of(index),
                       .columns_left = marks_->left(),
                       .index = index,
                       .top = at.at(0, ksn::strip_height + i * ksn::layer_row_height).y,
                       .selected = doc.selection.contains(index),
                       .scrolls = rows.scrolls(),
                       .gone = is_gone(track) ? std::string_view(gone) : std::string_view()};
    };
    // Half of the time goes into filling, and no row touches a pixel of another.
    const int shown = std::min(rows.rows, rows.count - rows.first);
    prepare_rows(on);
    lib::parallel_chunks(shown, rows_at_once, [&](int first, int last) {
      painter own = on;
      for (int i = first; i < last; ++i) draw_row(own, ruler, row(i));
    });
    if (rows.scrolls()) draw_scroll_bar(on, bar(), is_over_scroll_bar(on));
    const int top = at.at(0, ksn::strip_height).y;
    const int x = ruler.x_of(shown_frame(bench_.composition));
    on.fill({x, top, x + on.px(1), at.at(0, ksn::strip_height + rows.rows * ksn::layer_row_height).y}, palette::live);
  }

  press_result mouse_down(mouse_button button, math::point point, bool double_click) override {
    if (on_scroll_bar(point)) return button == mouse_button::left ? press_result::drag : press_result::click;
    if (button != mouse_button::left) return press_result::click;
    const row_region region = region_at(point);
    // Two quick clicks switch twice.
    if (region == row_region::visible || region == row_region::audible) return press_result::drag;
    if (double_click) return press_result::click;
    switch (region) {
      case row_region::bar_in:
      case row_region::bar_body:
      case row_region::bar_out:
        return press_result::drag_after_movement;
      default:
        return press_result::click;
    }
  }
  std::shared_ptr<drag_handler> get_drag_handler(mouse_button, math::point point) override {
    if (on_scroll_bar(point)) {
      std::shared_ptr<drag_handler> drag;
      if (bar().part_at(point.y) == scroll_part::thumb) {
        drag = std::make_shared<thumb_drag>(*this);
      } else {
        drag = std::make_shared<held_scroll>(*this, bar().part_at(point.y));
      }
      scrolling_ = drag;
      return drag;
    }
    const int index = layer_at(point);
    if (index < 0) return {};
    edge_.emplace(bench_.milliseconds(), edge_delay);
    return make_track_drag(bench_, region_at(point), index,
                           {.layer_at = [this](math::point p) { return layer_at(p); },
                            .first = [this] { return first_; },
                            .scroll_at_edge = [this](math::point p) { scroll_at_edge(p); }});
  }

  void mouse_up(mouse_button button, math::point point, bool double_click) override {
    const int index = layer_at(point);
    if (index < 0 || on_scroll_bar(point)) return;
    if (button == mouse_button::right) return open_menu(index, point);
    if (button != mouse_button::left) return;
    double_click ? act_on(index, region_at(point)) : select(index);
  }
  void wheel(int axis, int steps, math::point) override {
    if (axis == 0) scroll_to(first_ - steps);
  }
  cursor_shape get_cursor(math::point point) override {
    switch (region_at(point)) {
      case row_region::bar_in:
      case row_region::bar_out:
        return cursor_shape::size_horizontal;
      case row_region::visible:
      case row_region::audible:
      case row_region::effect:
        return cursor_shape::hand;
      default:
        return cursor_shape::arrow;
    }
  }
  std::string get_tool_tip(math::point point) override {
    const int index = layer_at(point);
    if (index < 0 || on_scroll_bar(point)) return {};
    const ksn::track_info& track = bench_.composition.doc.track_at(index);
    const row_region region = region_at(point);
    const std::string hint = bench_.text(region_hints[static_cast<std::size_t>(region)]);
    if (region == row_region::background || region == row_region::bar_body || region == row_region::number) {
      const std::string gone = gone_text(track);
      return track.name + (gone.empty() ? "" : "\n" + gone) + layer_facts(bench_, track) +
             (hint.empty() ? "" : "\n" + hint);
    }
    return hint;
  }

 private:
  class thumb_drag : public drag_handler {
   public:
    explicit thumb_drag(track_area& area) : area_(area), before_(area.first_) {}
    void begin(math::point point) override { from_ = point; }
    void move(math::point point) override { area_.scroll_to(before_ + area_.bar().rows_of(point.y - from_.y)); }
    void end(math::point) override {}
    void cancel() override { area_.scroll_to(before_); }

   private:
    track_area& area_;
    int before_;
    math::point from_;
  };

  // An arrow, or the trough beside the thumb, goes on while it is held and the pointer stays over it.
  class held_scroll : public drag_handler {
   public:
    held_scroll(track_area& area, scroll_part part)
        : area_(area), part_(part), again_(area.bench_.milliseconds(), repeat_delay) {}
    void begin(math::point) override { area_.scroll_by(part_); }
    void move(math::point point) override {
      if (!area_.on_scroll_bar(point) || area_.bar().part_at(point.y) != part_) return;
      if (again_.is_due(area_.bench_.milliseconds(), repeat_interval)) area_.scroll_by(part_);
    }
    void end(math::point) override {}
    void cancel() override {}

   private:
    track_area& area_;
    const scroll_part part_;
    repeater again_;
  };

  workbench& bench_;
  std::shared_ptr<mark_table> marks_;
  place place_;
  int first_ = 0;
  std::weak_ptr<drag_handler> scrolling_;
  std::optional<repeater> edge_;  // of a gesture over the rows
  int followed_ = -1;             // the single selected layer, which is scrolled into sight when it becomes another

  static bool is_gone(const ksn::track_info& track) {
    const std::size_t names = track.source.names.size();
    return track.source.type == ksn::source_type::none || (names > 0 && track.source.names.holes().size() == names);
  }
  // The text of a layer's row when its source is not there; empty when it is.
  std::string gone_text(const ksn::track_info& track) const {
    return is_gone(track) ? bench_.text("ta_source_is_gone") : std::string();
  }
  row_window shown_rows() const {
    return {first_, std::max(0, bench_.layout().rows), bench_.composition.doc.track_count()};
  }
  scroll_bar bar() const {
    const row_window rows = shown_rows();
    return {place_.size.x, place_.at(0, ksn::strip_height).y, rows.rows * ksn::layer_row_height * place_.scale,
            place_.scale, rows};
  }
  void scroll_by(scroll_part part) {
    const int page = std::max(shown_rows().rows, 1);
    const int by = part == scroll_part::up       ? -1
                   : part == scroll_part::before ? -page
                   : part == scroll_part::after  ? page
                   : part == scroll_part::down   ? 1
                                                 : 0;
    scroll_to(first_ + by);
  }
  void scroll_to(int first) {
    const row_window rows = shown_rows();
    const int before = std::exchange(first_, std::clamp(first, 0, rows.largest_first()));
    if (first_ != before) bench_.input.ask_redraw();
  }
  void scroll_at_edge(math::point point) {
    const int row = ksn::layer_row_height * place_.scale;
    const int top = place_.at(0, ksn::strip_height).y;
    const int bottom = top + shown_rows().rows * row;
    const int edge = row / 4;
    const int out = point.y < top + edge ? top + edge - point.y : std::max(point.y - (bottom - edge) + 1, 0);
    if (out == 0 || !edge_ || !edge_->is_due(bench_.milliseconds(), repeat_interval)) return;
    const int by = 1 + out / (2 * row);
    scroll_to(point.y < top + edge ? first_ - by : first_ + by);
  }
  void keep_inside() {
    const row_window rows = shown_rows();
    first_ = std::clamp(first_, 0, rows.largest_first());
    const ksn::document& doc = bench_.composition.doc;
    const ksn::track_info* track = doc.selected_track();
    const int id = track ? track->id : -1;
    if (id == followed_) return;
    followed_ = id;
    if (!track) return;
    const int index = doc.selected_index();
    if (index < first_) first_ = index;
    if (index >= first_ + rows.rows) first_ = std::clamp(index - rows.rows + 1, 0, rows.largest_first());
  }

  int layer_at(math::point point) const {
    const int top = place_.at(0, ksn::strip_height).y;
    const int row = ksn::layer_row_height * place_.scale;
    const row_window rows = shown_rows();
    if (point.y < top || point.y >= top + rows.rows * row) return -1;
    const int index = rows.first + (point.y - top) / row;
    return index < rows.count ? index : -1;
  }
  bool is_over_scroll_bar(const painter& on) const {
    return !scrolling_.expired() || (on.is_hot(this) && on_scroll_bar(bench_.input.pointer()));
  }
  bool on_scroll_bar(math::point point) const {
    return shown_rows().scrolls() && point.x >= place_.size.x - scroll_bar_width * place_.scale;
  }
  row_region region_at(math::point point) const {
    const int index = layer_at(point);
    if (index < 0) return row_region::none;
    return row_hit(scale_of(bench_), bench_.composition.doc.track_at(index), shown_rows().scrolls(), point.x);
  }

  void select(int index) {
    ksn::document& doc = bench_.composition.doc;
    const int held = bench_.input.modifiers();
    if (held & platform::key_ctrl) {
      if (!doc.selection.erase(index)) doc.selection.insert(index);
    } else if ((held & platform::key_shift) && doc.has_selection()) {
      const int first = std::min(index, *doc.selection.begin());
      const int last = std::max(index, *doc.selection.rbegin());
      for (int i = first; i <= last; ++i) doc.selection.insert(i);
    } else {
      doc.selection = {index};
    }
    followed_ = doc.selected_track() ? doc.selected_track()->id : -1;
    bench_.composition.touch();
  }

  // The action of a double click.
  void act_on(int index, row_region region) {
    ksn::state& composition = bench_.composition;
    composition.doc.selection = {index};
    ksn::track_info& track = composition.doc.track_at(index);
    const ksn::undo_capture before(composition);
    switch (region) {
      case row_region::number:
        bench_.run("layer_select_group");
        break;
      case row_region::background:
      case row_region::bar_body:
        bench_.run("layer_properties");
        break;
      case row_region::bar_in:
        track.set_in(0);
        before.remember(composition, ksn::undo_name{"trim_layer"});
        break;
      case row_region::bar_out:
        track.set_out(track.length());
        before.remember(composition, ksn::undo_name{"trim_layer"});
        break;
      default:
        break;
    }
  }

  void open_menu(int index, math::point point) {
    const row_region region = region_at(point);
    if (region != row_region::effect && region != row_region::bar_body) return;
    select_for_gesture(bench_.composition.doc, index);
    bench_.context_menu(region == row_region::effect ? "layer_modes" : "layer", point);
  }
};

}  // namespace

std::shared_ptr<ui_object> make_tracks(workbench& bench, std::shared_ptr<mark_table> marks) {
  return std::make_shared<track_area>(bench, std::move(marks));
}

}  // namespace ui
