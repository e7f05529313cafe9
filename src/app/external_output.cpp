#include "app/external_output.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "command/field_builder.h"
#include "command/messages.h"
#include "render/fitted.h"

namespace app {
namespace {

using ksn::ext_device_type;

constexpr std::chrono::milliseconds text_redraw(1000);  // a text may tell the time
constexpr std::chrono::milliseconds frame_patience(1500);

// The place of the monitor in the desktop's list; 0 for a device that is none.
std::size_t monitor_of(ext_device_type device) {
  return device == ext_device_type::secondary ? 1 : device == ext_device_type::tertiary ? 2 : 0;
}

}  // namespace

// The monitor as the presenter sees it. The main loop's waits are the main window's.
class external_output::monitor_display : public ui::display {
 public:
  explicit monitor_display(std::unique_ptr<platform::output_window> window) : window_(std::move(window)) {}
  math::point size() const { return window_->size(); }
  int create() override { return 0; }
  int restore() override { return 0; }
  bool window_exists() override { return size() != math::point{}; }
  bool is_minimised() override { return false; }
  int blit(const std::shared_ptr<const ui::surface>& picture, bool at_blank) override {
    return window_->show_picture({picture, picture->pixels.get()}, picture->width, picture->height, at_blank);
  }
  bool knows_blank() override { return window_->knows_vertical_blank(); }
  void wait_vertical_blank() override {}
  std::optional<int> scan_line() override { return std::nullopt; }
  void wait_events(int) override {}
  void wake() override {}

 private:
  std::unique_ptr<platform::output_window> window_;
};

external_output::~external_output() {
  stop();
}

std::string external_output::name() const {
  const auto device =
      running() ? static_cast<ext_device_type>(now_.kind) : parts_.engine.composition().settings.ext_device;
  return parts_.text("ext_device_" + std::string(ksn::word_of(device)));
}

bool external_output::start() {
  stop();
  const ext_device_type device = parts_.engine.composition().settings.ext_device;
  const std::size_t monitor = monitor_of(device);
  platform::desktop* desktop = parts_.desktop();
  const auto refuse = [&](const char* why) {
    parts_.engine.report(command::about(name(), why));
    return false;
  };
  if (monitor == 0) return refuse("This kind of output is not supported; secondary and tertiary are monitors");
  if (!desktop) return wanted_ = true;
  std::unique_ptr<platform::output_window> window = desktop->open_output(monitor);
  if (!window) return refuse("There is no such monitor");
  display_ = std::make_shared<monitor_display>(std::move(window));
  presenter_ = std::make_unique<ui::presenter>(display_);
  presenter_->start();
  now_ = {static_cast<int>(device), display_->size().x, display_->size().y, 0};
  frame_ = -1;
  return true;
}

void external_output::stop() {
  wanted_ = false;
  presenter_.reset();
  display_.reset();
  pipeline_.reset();
  surface_ = {};
  now_ = {};
}

bool external_output::is_due() const {
  const ksn::state& composition = parts_.engine.composition();
  return static_cast<int>(std::floor(parts_.clock.shown_time())) != frame_ || composition.revision != revision_ ||
         pipeline_->waits_for_frames() || composition.doc.shows_live() ||
         (composition.doc.shows_text() && std::chrono::steady_clock::now() - shown_ > text_redraw);
}

void external_output::tick() {
  if (!is_on()) return;
  const ksn::state& composition = parts_.engine.composition();
  if (now_.kind != static_cast<int>(composition.settings.ext_device)) {
    const command::execution told(parts_.engine);
    if (!start() || !running()) return;
  }
  const math::point size = display_->size();
  if (size == math::point{}) {
    parts_.report(command::about(name(), "The monitor is gone, and the output has ended"));
    return stop();
  }
  if (!pipeline_) {
    pipeline_ = parts_.make_pipeline();
    pipeline_->patience = frame_patience;
  }
  if (size == surface_ && !is_due()) return;
  try {
    if (size != surface_) presenter_->resize(size.x, size.y);
    surface_ = size;
    now_.width = size.x;
    now_.height = size.y;
    const double time = parts_.clock.shown_time();
    const img::image_ptr picture = render::render_fitted(*pipeline_, composition, size, time);
    // It shows by itself at the monitor's own refresh: the main loop waits for the window's alone.
    presenter_->present_picture(
        *picture, composition.settings.vsync ? ui::present_mode::no_tearing : ui::present_mode::immediate);
    frame_ = static_cast<int>(std::floor(time));
    revision_ = composition.revision;
    shown_ = std::chrono::steady_clock::now();
  } catch (const std::bad_alloc&) {
    // The picture before stays until memory is there again.
    surface_ = {};
  }
}

void external_output::forget_layer(int id) {
  if (!pipeline_) return;
  id < 0 ? pipeline_->forget_all() : pipeline_->forget_layer(id);
}

void external_output::register_actions() {
  using command::action_group;
  command::engine& engine = parts_.engine;
  engine.add({.group = action_group::view,
              .name = "toggle_ext_device",
              .help = "show the picture on the external output, or not",
              .execute = [this] { is_on() ? stop() : static_cast<void>(start()); },
              .checked = [this] { return is_on(); }});
  engine.add({.group = action_group::menu_choice,
              .name = "opt_ext_turn_on",
              .help = "switch the external output on",
              .execute = [this] { start(); },
              .enabled = [this] { return !is_on(); }});
  engine.add({.group = action_group::menu_choice,
              .name = "opt_ext_turn_off",
              .help = "switch the external output off",
              .execute = [this] { stop(); },
              .enabled = [this] { return is_on(); }});
  command::add_read_only<ksn::state>(
      engine, "ext_output", "external output that runs, with its size in pixels; empty for none; only to be read",
      command::text("DEVICE,W,H"), [this](const ksn::state&) {
        if (!running()) return std::string();
        return std::string(ksn::word_of(static_cast<ext_device_type>(now_.kind))) + "," + std::to_string(now_.width) +
               "," + std::to_string(now_.height);
      });
}

}  // namespace app
