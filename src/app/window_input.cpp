// What keys, menus, mouse and dropped files do, and the actions that belong to the window itself.
#include <algorithm>

#include "app/window_run.h"
#include "command/menu.h"
#include "composition/recent_items.h"
#include "lib/paths.h"
#include "platform/folders.h"
#include "ui/screen.h"

namespace app {
namespace {

// The list behind a menu entry that opens one.
const char* list_of(const std::string& action) {
  if (action == "add_recent") return ksn::added_items;
  if (action == "open_recent") return ksn::opened_items;
  if (action == "open_unsaved") return ksn::unsaved_items;
  return nullptr;
}

}  // namespace

void window_run::register_actions() {
  command::engine& engine = parts_.engine;
  engine.action_table["exit"].execute = [this, &engine] {
    close_requested_ = true;
    engine.quit_requested = true;
  };
  command::action& fullscreen = engine.action_table["toggle_fullscreen"];
  fullscreen.execute = [this] { set_fullscreen(!parts_.composition.full_screen); };
  fullscreen.enabled = [this] { return desktop_ != nullptr; };
  fullscreen.checked = [this] { return parts_.composition.full_screen; };
  command::action& on_top = engine.action_table["toggle_always_on_top"];
  on_top.execute = [this] {
    always_on_top_ = !always_on_top_;
    if (desktop_) desktop_->set_always_on_top(always_on_top_);
  };
  on_top.checked = [this] { return always_on_top_; };
  engine.action_table["resize_window_to_fit"].execute = [this] {
    const math::point size = ui::client_size_to_fit(parts_.composition);
    if (desktop_ && desktop_->window_exists()) {
      desktop_->set_client_size(size);
    } else {
      pending_client_size_ = size;
    }
  };
}

void window_run::set_fullscreen(bool on) {
  if (!desktop_ || on == parts_.composition.full_screen) return;
  desktop_->set_fullscreen(on);
  parts_.composition.full_screen = on;
  redraw_ = true;
}

platform::window_events window_run::events() {
  platform::window_events events;
  events.key = [this](int code) {
    redraw_ = true;
    keys_.run_key(code, parts_.engine);
  };
  events.mouse = [this](const platform::mouse_event& event) { on_mouse(event); };
  events.dropped = [this](const std::vector<std::string>& paths) { drop(paths); };
  events.close_requested = [this] { close_requested_ = true; };
  events.menu_state = [this](const std::string& action) { return menu_state(action); };
  events.menu_chosen = [this](const std::string& action, int item) { choose(action, item); };
  events.modal_tick = [this] { modal_tick(); };
  events.display_lost = [this] { lose_display(); };
  return events;
}

// The wheel zooms in the steps of the zoom actions.
void window_run::on_mouse(const platform::mouse_event& event) {
  if (event.action != platform::mouse_action::wheel) return;
  for (wheel_rest_ += event.wheel; std::abs(wheel_rest_) >= 120;) {
    const bool up = wheel_rest_ > 0;
    wheel_rest_ -= up ? 120 : -120;
    up ? parts_.composition.increase_zoom_factor() : parts_.composition.decrease_zoom_factor();
    redraw_ = true;
  }
}

std::vector<platform::menu_description> window_run::menus() const {
  std::vector<platform::menu_description> result;
  for (const command::menu& menu : command::main_menu()) {
    platform::menu_description& description = result.emplace_back();
    description.title = parts_.text(menu.title);
    description.entries.assign(menu.entries.begin(), menu.entries.end());
  }
  return result;
}

platform::menu_entry_state window_run::menu_state(const std::string& name) const {
  const command::engine& engine = parts_.engine;
  platform::menu_entry_state state;
  const auto found = engine.action_table.find(name);
  const bool titled = found != engine.action_table.end() && found->second.title;
  state.text = titled ? found->second.title() : parts_.text(name);
  state.key_text = keys_.key_text_of_action(name);
  state.enabled = engine.action_enabled(name);
  state.checkable = found != engine.action_table.end() && found->second.checked;
  state.checked = state.checkable && engine.action_checked(name);
  if (const char* kind = list_of(name)) {
    std::string folder;
    if (platform::get_folder(platform::folder_kind::local_data, false, folder)) {
      ksn::recent_lists lists = ksn::read_recent(folder);
      for (const ksn::recent_item& item : lists[kind]) state.items.push_back(item.path);
    }
    state.enabled = !state.items.empty();
  }
  return state;
}

void window_run::choose(const std::string& action, int item) {
  redraw_ = true;
  if (item < 0) {
    parts_.engine.execute_action(action);
  } else {
    parts_.engine.run_option(action + "=" + std::to_string(item + 1));
  }
}

void window_run::drop(const std::vector<std::string>& paths) {
  redraw_ = true;
  command::engine& engine = parts_.engine;
  if (paths.size() == 1 && lib::lower_extension(paths[0]) == "ksncomp") {
    engine.run_option("open_composition=" + paths[0]);
  } else {
    for (const std::string& path : paths) {
      engine.run_option((lib::lower_extension(path) == "ksncmd" ? "execute_cmdfile=" : "add_layer=") + path);
    }
  }
  desktop_->bring_forward();
}

}  // namespace app
