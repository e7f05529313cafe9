// What keys, menus, mouse and dropped files do, and the actions that belong to the window itself.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <unordered_set>

#include "app/dialog_actions.h"
#include "app/window_run.h"
#include "command/menu.h"
#include "composition/recent_items.h"
#include "lib/paths.h"
#include "platform/folders.h"
#include "save/screen.h"
#include "ui/screen.h"

namespace app {
namespace {

constexpr std::chrono::milliseconds progress_interval(50);

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
  fullscreen.execute = [this] { set_fullscreen(!parts_.composition.workspace.full_screen); };
  fullscreen.checked = [this] { return parts_.composition.workspace.full_screen; };
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
  if (on == parts_.composition.workspace.full_screen) return;
  if (desktop_) desktop_->set_fullscreen(on);
  parts_.composition.workspace.full_screen = on;
  redraw_ = true;
}

platform::window_events window_run::events() {
  platform::window_events events;
  events.key = [this](int code) { on_key(code); };
  events.mouse = [this](const platform::mouse_event& event) { on_mouse(event); };
  events.dropped = [this](const std::vector<std::string>& paths) { drop(paths); };
  events.focus_lost = [this] { end_pan(); };
  events.capture_lost = [this] { end_pan(); };
  events.close_requested = [this] { close_requested_ = true; };
  events.menu_state = [this](const std::string& action) { return menu_state(action); };
  events.menu_chosen = [this](const std::string& action, int item) { choose(action, item); };
  events.modal_tick = [this] { modal_tick(); };
  events.display_lost = [this] { lose_display(); };
  return events;
}

void window_run::on_key(int code) {
  redraw_ = true;
  if (code == command::parse_key("escape")) parts_.loader.stop();
  if (!pan_button_) {
    keys_.run_key(code, parts_.engine);
  } else if (code == command::parse_key("escape")) {
    parts_.composition.view.pan_position = pan_before_;
    end_pan();
  }
}

// The middle button, or the left one with Alt, moves the picture. A double click asks for a layer.
void window_run::on_mouse(const platform::mouse_event& event) {
  using platform::mouse_action;
  using platform::mouse_button;
  const bool shift = (event.modifiers & platform::key_shift) != 0;
  const bool ctrl = (event.modifiers & platform::key_ctrl) != 0;
  const bool alt = (event.modifiers & platform::key_alt) != 0;
  switch (event.action) {
    case mouse_action::wheel:
      return on_wheel(event);
    case mouse_action::press:
      if (!pan_button_ && !shift &&
          ((event.button == mouse_button::middle && !alt) || (event.button == mouse_button::left && alt && !ctrl))) {
        pan_button_ = event.button;
        pan_from_ = event.position;
        pan_before_ = parts_.composition.view.pan_position;
        desktop_->set_cursor(platform::cursor_shape::move);
      }
      return;
    case mouse_action::move:
      if (pan_button_) move_pan(event.position);
      return;
    case mouse_action::release:
      if (pan_button_ != event.button) return;
      move_pan(event.position);
      end_pan();
      return;
    case mouse_action::double_click:
      if (event.button == mouse_button::left && !shift && !alt) choose("add_layer", -1);
      return;
    case mouse_action::leave:
      return;
  }
}

void window_run::end_pan() {
  if (!pan_button_) return;
  pan_button_.reset();
  desktop_->set_cursor(platform::cursor_shape::arrow);
}

void window_run::move_pan(math::point position) {
  ksn::state& composition = parts_.composition;
  composition.view.pan_position = {pan_before_.x + (position.x - pan_from_.x) / composition.view.zoom(),
                                   pan_before_.y + (position.y - pan_from_.y) * 100.0 / composition.view.zoom_factor2};
  redraw_ = true;
}

// The wheel zooms in the steps of the zoom actions; with Ctrl the point under the pointer stays where it is.
void window_run::on_wheel(const platform::mouse_event& event) {
  constexpr int step = 120;
  ksn::state& composition = parts_.composition;
  wheel_rest_ += event.wheel;
  const int steps = wheel_rest_ / step;
  if (steps == 0 || pan_button_) return;
  wheel_rest_ %= step;
  const math::point size = desktop_->client_size();
  const render::frame_view view = save::screen_view(composition, size.x, size.y);
  const math::point from_centre{event.position.x - view.width / 2, event.position.y - view.height / 2};
  const math::pointd before{from_centre.x / view.zoom_x, from_centre.y / view.zoom_y};
  for (int i = 0; i < std::abs(steps); ++i) {
    steps > 0 ? composition.view.increase_zoom_factor() : composition.view.decrease_zoom_factor();
  }
  if (event.modifiers & platform::key_ctrl) {
    composition.view.pan_position.x += from_centre.x / composition.view.zoom() - before.x;
    composition.view.pan_position.y += from_centre.y * 100.0 / composition.view.zoom_factor2 - before.y;
  }
  redraw_ = true;
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
  if (item < 0 && opens_dialog(action)) {
    parts_.engine.execute_action(action);
    return;
  }
  run_and_tell(parts_.engine, *desktop_, [&] {
    if (item < 0) {
      parts_.engine.execute_action(action);
    } else {
      parts_.engine.run_option("--" + action + "=" + std::to_string(item + 1));
    }
  });
}

// A dropped frame of a sequence brings the whole sequence: its other frames, dropped with it, are in it already.
void window_run::drop(const std::vector<std::string>& paths) {
  redraw_ = true;
  command::engine& engine = parts_.engine;
  if (engine.command_depth > 0) {
    // From inside other work, whose progress dialog runs events.
    waiting_drops_.insert(waiting_drops_.end(), paths.begin(), paths.end());
    return;
  }
  const ksn::state& composition = parts_.composition;
  if (paths.size() == 1 && lib::lower_extension(paths[0]) == "ksncomp") {
    run_and_tell(engine, *desktop_, [&] { engine.run_option("--open_composition=" + paths[0]); });
  } else {
    run_and_tell(engine, *desktop_, [&] {
      std::unordered_set<std::string> taken;
      auto told = std::chrono::steady_clock::now();
      for (std::size_t i = 0; i < paths.size() && !progress_cancelled_; ++i) {
        if (const auto now = std::chrono::steady_clock::now(); i % 500 == 499 || now - told > progress_interval) {
          told = now;
          show_progress(paths[i], static_cast<int>(i), static_cast<int>(paths.size()));
        }
        if (lib::lower_extension(paths[i]) == "ksncmd") {
          engine.run_option("--execute_cmdfile=" + paths[i]);
          continue;
        }
        if (taken.contains(paths[i])) continue;
        const int before = composition.doc.track_count();
        engine.run_option("--add_layer=" + paths[i]);
        if (composition.doc.track_count() == before || composition.doc.tracks.front().source.names.size() < 2) continue;
        const ksn::track_info& added = composition.doc.tracks.front();
        for (int frame = 0; frame < static_cast<int>(added.source.names.size()); ++frame)
          taken.insert(added.source.file_of(frame));
      }
      end_progress();
    });
  }
  desktop_->bring_forward();
}

}  // namespace app
