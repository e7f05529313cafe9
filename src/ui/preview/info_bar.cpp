#include "ui/preview/info_bar.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <optional>
#include <vector>

#include "playback/pacing.h"
#include "render/counter.h"
#include "ui/preview/view_drags.h"
#include "ui/screen.h"
#include "ui/toolkit/palette.h"
#include "ui/widgets/edit_field.h"

namespace ui {
namespace {

// At scale 1.
constexpr int icon_middle = 7;  // of 13 pixels, from the left edge of a field
constexpr int text_left = 17;
constexpr int text_room = 34;                   // that a long text may take beyond its field
constexpr std::uint32_t memory_interval = 500;  // milliseconds between two readings

std::string size_text(math::point size) {
  return std::to_string(size.x) + "x" + std::to_string(size.y);
}

// The playing rate, measured while the clock runs, and the frames that were left out since it began.
class rate_meter {
 public:
  playback::rate_reading draw(const workbench& bench) {
    const ksn::document& doc = bench.composition.doc;
    if (!doc.playing) {
      field_ = {};
      last_.reset();
    } else {
      if (!last_) dropped_ = 0;
      const int frame = static_cast<int>(doc.tm_t);
      const int step = last_ ? (doc.forward ? frame - *last_ : *last_ - frame) : 0;
      // A step back is the end of a loop, or a jump.
      if (step > 1) dropped_ += step - 1;
      last_ = frame;
    }
    return field_.draw(bench.milliseconds(), doc.fpcs, doc.can_drop_frames);
  }
  int dropped() const { return dropped_; }

 private:
  playback::rate_field field_;
  std::optional<int> last_;  // frame that was drawn
  int dropped_ = 0;
};

struct spot_row {
  const char* key;  // of its tip
  int left, right;  // from the middle of the window
  const char* icon;
  const char* menu;   // of a right click; null for none
  const char* click;  // action of a left click; null opens the menu
};

class info_spot : public ui_object, public mouse_handler {
 public:
  info_spot(workbench& bench, const spot_row& row, std::function<std::string()> text)
      : bench_(bench), row_(row), text_(std::move(text)) {}

  mouse_handler* hit_test(math::point point, const place& at) override {
    const rectangle box = pixels(at);
    return point.x >= box.left && point.x < box.right ? this : nullptr;
  }
  void draw(painter& on, const place& at) override { draw_value(on, at, text_(), palette::text); }

  press_result mouse_down(mouse_button, math::point, bool) override { return press_result::click; }
  void mouse_up(mouse_button button, math::point point, bool) override {
    if (button == mouse_button::left && row_.click) {
      bench_.run(row_.click);
    } else if (row_.menu && button != mouse_button::middle) {
      bench_.context_menu(row_.menu, point);
    }
  }
  std::string get_tool_tip(math::point) override { return bench_.text(row_.key); }

 protected:
  workbench& bench_;
  spot_row row_;

  rectangle pixels(const place& at) const {
    return {at.at(row_.left, 0).x, at.at(0, -infobar_height).y, at.at(row_.right, 0).x, at.origin.y};
  }
  void draw_value(painter& on, const place& at, const std::string& text, lib::color color) {
    rectangle box = pixels(at);
    if (on.is_hot(this)) color = palette::value;
    if (!row_.icon) {
      box.left -= on.px(text_room);
      box.right += on.px(text_room);
      return on.line(text, "small", color, box, painter::align::centre);
    }
    // What is too long for its place begins further to the left.
    const int room = box.right - box.left + on.px(text_room - text_left);
    box.left -= std::max(on.measure(text, "small", 0, 1).x - room, 0);
    // Cut by a narrow window it would say something else.
    if (box.left < 0) return;
    on.art(row_.icon, {box.left + on.px(icon_middle), (box.top + box.bottom) / 2});
    on.line(text, "small", color, {box.left + on.px(text_left), box.top, box.right + on.px(text_room), box.bottom});
  }

 private:
  std::function<std::string()> text_;
};

class volume_spot : public info_spot {
 public:
  using info_spot::info_spot;
  press_result mouse_down(mouse_button button, math::point, bool) override {
    return button == mouse_button::left ? press_result::drag : press_result::click;
  }
  std::shared_ptr<drag_handler> get_drag_handler(mouse_button, math::point) override {
    return make_volume_drag(bench_);
  }
  cursor_shape get_cursor(math::point) override { return cursor_shape::size_horizontal; }
};

class rate_spot : public info_spot {
 public:
  using info_spot::info_spot;
  void draw(painter& on, const place& at) override {
    const playback::rate_reading reading = meter_.draw(bench_);
    draw_value(on, at, reading.text, reading.color);
  }
  void mouse_up(mouse_button button, math::point point, bool twice) override {
    if (button == mouse_button::left) {
      bench_.run(bench_.composition.doc.can_drop_frames ? "pv_fps_cannot_drop_frames" : "pv_fps_can_drop_frames");
    } else {
      info_spot::mouse_up(button, point, twice);
    }
  }
  std::string get_tool_tip(math::point point) override {
    const std::string tip = info_spot::get_tool_tip(point);
    if (meter_.dropped() == 0) return tip;
    return tip + "\n" + bench_.text("pv_fps_dropped") + ": " + std::to_string(meter_.dropped());
  }

 private:
  rate_meter meter_;
};

// The size of the output, typed as two numbers with anything between them.
class mask_edit : public typing_field {
 public:
  mask_edit(workbench& bench, const spot_row& row)
      : typing_field(bench.host,
                     {row.left + text_left - 5, -infobar_height, row.right - row.left - text_left, infobar_height},
                     text_editor([](char16_t c) { return c >= u' ' && c < 127; }, 15, false)),
        bench_(bench),
        row_(row) {}

  void draw(painter& on, const place& at) override {
    const math::point corner = at.at(row_.left, -infobar_height);
    if (corner.x < 0 && !is_typing()) return;
    on.art(row_.icon, {corner.x + on.px(icon_middle), (corner.y + at.origin.y) / 2});
    if (is_typing()) return typing_field::draw(on, at);
    on.line(shown_text(), "small", on.is_hot(this) ? palette::value : palette::text,
            {at.at(row_.left + text_left, 0).x, corner.y, at.at(row_.right, 0).x, at.origin.y});
  }
  void mouse_up(mouse_button button, math::point point, bool twice) override {
    if (button == mouse_button::right && !is_typing()) return bench_.context_menu(row_.menu, point);
    typing_field::mouse_up(button, point, twice);
  }
  std::string get_tool_tip(math::point) override { return bench_.text(row_.key); }

 protected:
  bool is_enabled() const override { return true; }
  std::string shown_text() const override { return size_text(bench_.composition.doc.mask_size); }
  void store(const std::string& text) override {
    math::point size;
    char between = 0;
    if (std::sscanf(text.c_str(), "%d%c%d", &size.x, &between, &size.y) == 3) {
      bench_.run("mask_size=" + std::to_string(size.x) + "," + std::to_string(size.y));
    }
  }
  painter::align alignment() const override { return painter::align::left; }

 private:
  workbench& bench_;
  spot_row row_;
};

// Over the right end of the bar while the view is not neutral: what it adds to the picture. Drags, and a right click
// takes it back.
class correction_spot : public mouse_handler {
 public:
  explicit correction_spot(workbench& bench) : bench_(bench) {}

  bool holds(math::point point, const place& bottom) const {
    const rectangle box = pixels(bottom);
    return !bench_.composition.view.is_neutral() && point.x >= box.left && point.x < box.right && point.y >= box.top &&
           point.y < box.bottom;
  }
  void draw(painter& on, const place& bottom) const {
    const ksn::view& view = bench_.composition.view;
    if (view.is_neutral()) return;
    char text[64];
    std::snprintf(text, sizeof text, "%+.2f  %.2f", view.tf.exposure[1] / 100.0, view.tf.gamma[1] / 100.0);
    const rectangle box = pixels(bottom);
    on.fill(box, palette::with_alpha(palette::ground, 200));
    on.line(text, "small", on.is_hot(this) ? palette::text : palette::value, box, painter::align::centre);
  }
  press_result mouse_down(mouse_button button, math::point, bool) override {
    return button == mouse_button::left ? press_result::drag : press_result::click;
  }
  std::shared_ptr<drag_handler> get_drag_handler(mouse_button, math::point) override {
    return make_view_correction_drag(bench_);
  }
  void mouse_up(mouse_button button, math::point, bool) override {
    if (button == mouse_button::right) bench_.run("view_neutral");
  }
  cursor_shape get_cursor(math::point) override { return cursor_shape::size_horizontal; }
  std::string get_tool_tip(math::point) override { return bench_.text("pv_correction"); }

 private:
  workbench& bench_;

  static rectangle pixels(const place& bottom) {
    return {bottom.at(365, 0).x, bottom.at(0, -2 * infobar_height).y, bottom.at(470, 0).x,
            bottom.at(0, -infobar_height).y};
  }
};

class bar : public info_bar {
 public:
  explicit bar(workbench& bench) : bench_(bench), correction_(bench) {
    ksn::state& composition = bench.composition;
    const auto percent = [](int value) { return std::to_string(value) + "%"; };
    const auto add = [&](const spot_row& row, std::function<std::string()> text) {
      spots_.push_back(std::make_shared<info_spot>(bench, row, std::move(text)));
    };
    add({"pv_layer_size", -392, -316, "small_icon_layer", nullptr, nullptr}, [this] { return layer_size(); });
    spots_.push_back(std::make_shared<mask_edit>(
        bench, spot_row{"pv_mask_size", -280, -150, "small_icon_mask", "safe_area", nullptr}));
    spots_.push_back(
        std::make_shared<volume_spot>(bench, spot_row{"pv_volume", -118, -86, "small_icon_volume", nullptr, nullptr},
                                      [&composition, percent] { return percent(composition.settings.volume); }));
    spots_.push_back(std::make_shared<rate_spot>(bench, spot_row{"pv_fps", -33, 27, nullptr, "fps", nullptr}, nullptr));
    add({"pv_memory", 82, 120, "small_icon_ram", "memory", nullptr}, [this, percent] { return percent(memory()); });
    add({"pv_zoom", 178, 235, "small_icon_zoom", "zoom", nullptr},
        [&composition, percent] { return percent(composition.view.zoom_factor2); });
    add({"pv_aspect", 258, 305, "small_icon_aspect", "aspect", nullptr}, [&composition] {
      char text[32];
      std::snprintf(text, sizeof text, "%.3f", composition.view.view_pixel_aspect());
      return std::string(text);
    });
    add({"pv_timecode", render::counter_left, render::counter_right, nullptr, "counter", nullptr},
        [this] { return render::counter_text(bench_.pipeline, bench_.composition, bench_.clock.shown_time()); });
  }

  bool shown() const override { return bench_.composition.workspace.shown_infobar(); }
  bool covers(math::point point) const override {
    const ksn::window_layout layout = bench_.layout();
    if (!shown()) return false;
    if (correction_.holds(point, {layout.split_middle(), layout.size, layout.scale})) return true;
    return point.y < layout.split && point.y >= layout.split - infobar_height * layout.scale;
  }
  mouse_handler* hit_test(math::point point, const place& at) override {
    if (correction_.holds(point, at_split(at))) return &correction_;
    for (const std::shared_ptr<ui_object>& spot : spots_) {
      if (mouse_handler* found = spot->hit_test(point, at_split(at))) return found;
    }
    return nullptr;
  }
  void draw(painter& on, const place& at) override {
    const place bottom = at_split(at);
    on.fill({0, bottom.at(0, -infobar_height).y, at.size.x, bottom.origin.y},
            palette::with_alpha(palette::ground, 200));
    for (const std::shared_ptr<ui_object>& spot : spots_) spot->draw(on, bottom);
    correction_.draw(on, bottom);
  }

 private:
  workbench& bench_;
  std::vector<std::shared_ptr<ui_object>> spots_;
  correction_spot correction_;
  int memory_ = 0;
  std::optional<std::uint32_t> memory_read_;

  place at_split(const place& at) const { return {bench_.layout().split_middle(), at.size, at.scale}; }
  std::string layer_size() const {
    const ksn::track_info* track = render::told_layer(bench_.composition, bench_.clock.shown_time());
    if (!track || track->source.width <= 0) return "--";
    const math::point whole{track->source.width, track->source.height};
    const ksn::layer_placement& placement = track->placement;
    const math::point cropped{placement.crop_wh.x > 0 ? placement.crop_wh.x : whole.x,
                              placement.crop_wh.y > 0 ? placement.crop_wh.y : whole.y};
    return placement.crop && cropped != whole ? size_text(whole) + " (" + size_text(cropped) + ")" : size_text(whole);
  }
  int memory() {
    const std::uint32_t now = bench_.milliseconds();
    if (!memory_read_ || now - *memory_read_ >= memory_interval) {
      memory_ = bench_.pipeline.frame_cache().memory_load();
      memory_read_ = now;
    }
    return memory_;
  }
};

}  // namespace

std::shared_ptr<info_bar> make_info_bar(workbench& bench) {
  return std::make_shared<bar>(bench);
}

}  // namespace ui
