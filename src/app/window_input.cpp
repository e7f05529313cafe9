// What keys, menus, mouse and dropped files do, and the actions that belong to the window itself.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <unordered_set>

#include "app/dialog_actions.h"
#include "app/window_run.h"
#include "command/menu.h"
#include "lib/paths.h"
#include "save/screen.h"
#include "ui/screen.h"

namespace app {
namespace {

constexpr std::chrono::milliseconds progress_interval(50);

}  // namespace

void window_run::register_actions() {
  command::engine& engine = parts_.engine;
  ksn::state& composition = parts_.composition;
  engine.add({.group = command::action_group::window,
              .name = "toggle_fullscreen",
              .help = "fill the screen with the window, or leave full screen",
              .keys = "F11",
              .menu = {"mi_view", 10},
              .execute = [this, &composition] { set_fullscreen(!composition.workspace.full_screen); },
              .checked = [&composition] { return composition.workspace.full_screen; }});
  engine.add({.group = command::action_group::window,
              .name = "toggle_always_on_top",
              .help = "keep the window above all others, or not",
              .execute =
                  [this] {
                    always_on_top_ = !always_on_top_;
                    if (desktop_) desktop_->set_always_on_top(always_on_top_);
                  },
              .checked = [this] { return always_on_top_; }});
  engine.add({.group = command::action_group::window,
              .name = "resize_window_to_fit",
              .help = "make the window as large as the picture",
              .keys = "W",
              .menu = {"mi_view", 50},
              .execute = [this, &composition] {
                const math::point size = ui::client_size_to_fit(composition);
                if (desktop_ && desktop_->window_exists()) {
                  desktop_->set_client_size(size);
                } else {
                  pending_client_size_ = size;
                }
              }});
  register_fits();
}

// Zooms that fit something into something, for the menu of the zoom.
void window_run::register_fits() {
  ksn::state& composition = parts_.composition;
  const auto add = [&](const char* name, const char* help, const char* keys, std::function<void()> run) {
    parts_.engine.add({.group = command::action_group::menu_choice,
                       .name = name,
                       .help = help,
                       .keys = keys,
                       .execute = std::move(run)});
  };
  const auto in_client = [this, &composition](void (*fit)(ksn::state&, int, int)) {
    return [this, &composition, fit] {
      int width = save::default_client_width;
      int height = save::default_client_height;
      client_area(width, height);
      fit(composition, width, height);
    };
  };
  add("pv_zcm_fit_window", "zoom so that the visible layers fit the window", "F", in_client(ui::fit_picture));
  add("pv_zcm_fit_mask", "zoom so that the output fits the window", "Shift+F", in_client(ui::fit_output));
  const auto as_video = [&composition](math::point size, double aspect) {
    return [&composition, size, aspect] {
      composition.view.set_view_aspect(aspect);
      ui::fit_zoom(composition, composition.doc.mask_size, size);
    };
  };
  constexpr double ntsc = 0.9;
  constexpr double pal = 1.0666667;
  add("pv_zcm_hd720_ntsc", "zoom so that an NTSC output fits 1280 x 720 pixels", "", as_video({1280, 720}, ntsc));
  add("pv_zcm_hd720_pal", "zoom so that a PAL output fits 1280 x 720 pixels", "", as_video({1280, 720}, pal));
  add("pv_zcm_hd1080_ntsc", "zoom so that an NTSC output fits 1920 x 1080 pixels", "", as_video({1920, 1080}, ntsc));
  add("pv_zcm_hd1080_pal", "zoom so that a PAL output fits 1920 x 1080 pixels", "", as_video({1920, 1080}, pal));
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
  events.open_menu = [this](std::size_t menu) {
    return command::main_menu({parts_.engine, keys_, parts_.text}, command::main_menus()[menu]);
  };
  events.menu_chosen = [this](const std::string& command) { choose(command); };
  events.modal_tick = [this] { modal_tick(); };
  events.display_lost = [this] { lose_display(); };
  return events;
}

void window_run::on_key(int code) {
  redraw_ = true;
  if (!pan_button_) {
    for (const std::string& command : keys_.commands_of(code)) {
      // What a key runs tells of errors in the window's lines, and no box stands in the way of the next key. A save
      // under the user's own hand is the exception.
      const command::action* row = parts_.engine.find_action(command);
      if (command == "save_composition" || (row && row->ask)) {
        choose(command);
      } else {
        parts_.engine.run_command(command);
      }
    }
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
      if (event.button == mouse_button::left && !shift && !alt) choose("add_layer");
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

void window_run::choose(const std::string& command) {
  redraw_ = true;
  // A document without a name is saved under one that is asked for.
  const bool unnamed = command == "save_composition" && parts_.composition.file_name.empty();
  const command::action* row = parts_.engine.find_action(unnamed ? "save_composition_as" : command);
  if (row && row->ask) {
    // No command is under way while the dialog is open, so that lines of other instances are carried out.
    parts_.engine.execute_action(row->name);
  } else {
    run_and_tell(parts_.engine, *desktop_, [&] { parts_.engine.run_command(command); });
  }
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
