#include <string>
#include <utility>

#include "composition/enums.h"
#include "ui/strips/strips.h"
#include "ui/toolkit/palette.h"
#include "ui/widgets/button.h"
#include "ui/widgets/group.h"

namespace ui {
namespace {

// Of the layout, at scale 1.
constexpr int button_pitch = 20;
constexpr int row_middle = 12;  // below the split
constexpr rectangle button_box{-10, -10, 10, 10};

struct option {
  std::function<std::string()> art;  // stem of its pictures
  std::function<bool()> on;
  std::function<std::string()> command;  // what a click runs
  const char* hint;                      // key of the tip
  const char* action;                    // whose key the tip ends with, and whose state enables the button
  const char* menu;                      // of a right click; null for none
};

// Its picture follows the value, which is shown turned over while it is pressed.
class option_button : public button {
 public:
  option_button(workbench& bench, math::point position, option option)
      : button(position, button_box), bench_(bench), option_(std::move(option)) {}
  void mouse_up(mouse_button button, math::point point, bool) override {
    if (button == mouse_button::right && option_.menu) bench_.context_menu(option_.menu, point);
  }
  std::string get_tool_tip(math::point) override { return tip_text(bench_, option_.hint, option_.action); }

 protected:
  bool is_enabled() const override {
    const auto known = bench_.engine.action_table.find(option_.action);
    return known == bench_.engine.action_table.end() || bench_.engine.action_enabled(option_.action);
  }
  void act() override { bench_.run(option_.command()); }
  void paint(painter& on, math::point point, const rectangle& box, button_state state) override {
    std::string name = option_.art();
    if (option_.on() != (state == button_state::pressed)) name += "_pressed";
    if (state == button_state::over || state == button_state::pressed) name += "_over";
    on.art(name, point);
    if (state == button_state::disabled) on.fill(box, palette::with_alpha(palette::strip, 150));
  }

 private:
  workbench& bench_;
  option option_;
};

std::function<std::string()> always(std::string text) {
  return [text = std::move(text)] { return text; };
}

// A button that turns one action on and off.
option toggle(workbench& bench, const char* art, const char* hint, const char* action, const char* menu = nullptr) {
  return {always(art), [&bench, action] { return bench.engine.action_checked(action); }, always(action), hint, action,
          menu};
}

option channel(workbench& bench, const char* art, const char* hint, const char* action, ksn::channel_type channel,
               const char* menu = nullptr) {
  return {always(art),    [&bench, channel] { return bench.composition.view.channel_lit(channel); },
          always(action), hint,
          action,         menu};
}

option stereo(workbench& bench) {
  using enum ksn::target_view_type;
  return {[&bench] {
            const ksn::target_view_type eye = bench.composition.view.stereo_view;
            return std::string("button_stereo") + (eye == left ? "_l" : eye == right ? "_r" : "");
          },
          [&bench] { return bench.composition.view.switch_views; },
          [&bench] {
            const ksn::target_view_type eye = bench.composition.view.stereo_view;
            return std::string(eye == left ? "opt_target_view_right" : "opt_target_view_left");
          },
          "opt_target_view",
          "switch_stereo_views",
          "stereo"};
}

option background(workbench& bench) {
  using enum ksn::back_color_type;
  return {always("transp_bg"),
          [&bench] { return bench.composition.doc.back_color == transparent; },
          [&bench] {
            const ksn::state& composition = bench.composition;
            if (composition.doc.back_color != transparent) return std::string("back_color_transparent");
            const ksn::back_color_type usual = composition.settings.default_back_color;
            // A transparent default goes to black, so that a click always changes something.
            return "back_color_" + std::string(ksn::word_of(usual == transparent ? black : usual));
          },
          "opt_transp_bg",
          "back_color_transparent",
          "back_color"};
}

option quality(workbench& bench) {
  using enum ksn::cache_resolution_type;
  return {[&bench] { return "quality_" + std::string(ksn::word_of(bench.composition.view.resolution)); },
          [] { return false; },
          [&bench] {
            const ksn::cache_resolution_type now = bench.composition.view.resolution;
            const ksn::cache_resolution_type next = now == full ? half : now == half ? quarter : full;
            return "cache_resolution_" + std::string(ksn::word_of(next));
          },
          "opt_resolution",
          "cache_resolution_full",
          "resolution"};
}

}  // namespace

std::shared_ptr<ui_object> make_options(workbench& bench) {
  using enum ksn::channel_type;
  const option options[] = {
      stereo(bench),
      channel(bench, "r", "opt_channel_r", "channel_r", red, "channel_r"),
      channel(bench, "g", "opt_channel_g", "channel_g", green, "channel_g"),
      channel(bench, "b", "opt_channel_b", "channel_b", blue, "channel_b"),
      channel(bench, "a", "opt_channel_a", "channel_a", alpha),
      channel(bench, "l", "opt_channel_l", "channel_l", luma),
      channel(bench, "z", "opt_channel_z", "channel_z", depth),
      toggle(bench, "properties", "opt_properties", "toggle_property_panel"),
      toggle(bench, "safe", "opt_safe_area", "toggle_mask", "safe_area"),
      toggle(bench, "grid", "opt_grid", "toggle_grid"),
      background(bench),
      toggle(bench, "vsync", "opt_vsync", "toggle_vsync", "vsync"),
      quality(bench),
      toggle(bench, "server", "opt_http", "http_toggle", "http"),
      toggle(bench, "ext", "opt_ext_out", "toggle_ext_device", "ext"),
  };
  auto group = std::make_shared<ui_group>();
  int x = -static_cast<int>(std::size(options)) * button_pitch / 2 + button_pitch / 2;
  for (const option& option : options) {
    group->add(std::make_shared<option_button>(bench, math::point{x, row_middle}, option));
    x += button_pitch;
  }
  return group;
}

}  // namespace ui
