#include <cstdlib>
#include <string>
#include <utility>

#include "ui/strips/strips.h"
#include "ui/toolkit/null_handlers.h"
#include "ui/widgets/button.h"
#include "ui/widgets/group.h"

namespace ui {
namespace {

// Of the layout, at scale 1.
constexpr int row_middle = 35;  // below the split
constexpr int button_pitch = 27;
constexpr rectangle button_box{-13, -10, 14, 11};
constexpr int floating_pitch = 44;
constexpr int floating_middle = -36;  // above the lower end of the preview
constexpr rectangle floating_box{-20, -20, 21, 21};
constexpr int zone_height = 80;
constexpr int zone_half_width = 240;

struct control {
  std::function<std::string()> art;
  const char* hint;
  std::function<std::string()> action;
  std::function<bool()> running;  // shown as pressed; empty for never
};

std::function<std::string()> always(const char* text) {
  return [text] { return std::string(text); };
}

// Plain and pressed pictures only.
class control_button : public button {
 public:
  control_button(workbench& bench, math::point position, rectangle box, std::string prefix, control control)
      : button(position, box), bench_(bench), prefix_(std::move(prefix)), control_(std::move(control)) {}
  std::string get_tool_tip(math::point) override { return tip_text(bench_, control_.hint, control_.action()); }

 protected:
  void act() override { bench_.run(control_.action()); }
  void paint(painter& on, math::point point, const rectangle&, button_state state) override {
    const bool lit = state == button_state::pressed || (control_.running && control_.running());
    on.art(prefix_ + control_.art() + (lit ? "_pressed" : ""), point);
  }

 private:
  workbench& bench_;
  std::string prefix_;
  control control_;
};

// `floating` has no art of its own for a pause: a running direction stays lit there.
std::vector<control> controls(workbench& bench, bool floating) {
  const auto runs = [&bench](bool forward) {
    return [&bench, forward] { return bench.composition.doc.playing && bench.composition.doc.forward == forward; };
  };
  const auto play = [&](const char* hint, const char* art, const char* action, bool forward) {
    const auto running = runs(forward);
    return control{[running, art, floating] { return std::string(running() && !floating ? "pause" : art); }, hint,
                   [running, action] { return std::string(running() ? "toggle_pause" : action); }, running};
  };
  return {{always("first_frame"), "ctrl_first_frame", always("first_frame"), {}},
          {always("prev_frame"), "ctrl_prev_frame", always("prev_frame"), {}},
          play("ctrl_play_backward", "play_back", "play_backward", false),
          play("ctrl_play_forward", "play_forward", "play_forward", true),
          {always("next_frame"), "ctrl_next_frame", always("next_frame"), {}},
          {always("last_frame"), "ctrl_last_frame", always("last_frame"), {}},
          {[&bench] {
             using enum ksn::repeat_type;
             const ksn::repeat_type mode = bench.composition.doc.repeat;
             return std::string(mode == loop ? "loop" : mode == ping_pong ? "ping-pong" : "play_once");
           },
           "ctrl_repeat_mode",
           always("toggle_repeat"),
           {}}};
}

std::shared_ptr<ui_group> row_of(workbench& bench, int pitch, int y, rectangle box, const char* prefix) {
  auto group = std::make_shared<ui_group>();
  std::vector<control> all = controls(bench, *prefix != '\0');
  int x = -static_cast<int>(all.size() - 1) * pitch / 2;
  for (control& control : all) {
    group->add(std::make_shared<control_button>(bench, math::point{x, y}, box, prefix, std::move(control)));
    x += pitch;
  }
  return group;
}

class floating_controls : public ui_object {
 public:
  explicit floating_controls(workbench& bench)
      : bench_(bench), buttons_(row_of(bench, floating_pitch, floating_middle, floating_box, "fs_")) {}
  mouse_handler* hit_test(math::point point, const place& at) override {
    if (!is_near(point, at)) return nullptr;
    mouse_handler* found = buttons_->hit_test(point, at);
    return found ? found : &zone_;
  }
  void draw(painter& on, const place& at) override {
    if (bench_.input.pointer_inside() && is_near(bench_.input.pointer(), at)) buttons_->draw(on, at);
  }

 private:
  workbench& bench_;
  std::shared_ptr<ui_group> buttons_;
  null_mouse_handler zone_;  // between the buttons

  static bool is_near(math::point point, const place& at) {
    return at.origin.y - point.y <= zone_height * at.scale && point.y < at.origin.y &&
           std::abs(point.x - at.origin.x) < zone_half_width * at.scale;
  }
};

}  // namespace

std::shared_ptr<ui_object> make_controls(workbench& bench) {
  return row_of(bench, button_pitch, row_middle, button_box, "");
}

std::shared_ptr<ui_object> make_floating_controls(workbench& bench) {
  return std::make_shared<floating_controls>(bench);
}

}  // namespace ui
