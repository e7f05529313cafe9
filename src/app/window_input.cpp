// Menus, dropped files, and the actions that belong to the window itself.
#include <algorithm>
#include <chrono>
#include <unordered_set>

#include "app/dialog_actions.h"
#include "app/window_run.h"
#include "lib/paths.h"
#include "save/preview_view.h"
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
              .keys = "F11 `",
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
  composition.hooks.fit_view = [this] { fit_view(); };
  register_fits();
  make_interface();
}

// Zooms that fit something into something, for the menu of the zoom.
void window_run::register_fits() {
  ksn::state& composition = parts_.composition;
  const auto add = [&](const char* name, const char* help, const char* keys, std::function<void()> run) {
    parts_.engine.add({.group = command::action_group::menu_choice,
                       .name = name,
                       .help = help,
                       .keys = keys,
                       .menu = {*keys ? "mi_view" : "", 40},
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
  add("fit_window", "zoom so that the visible layers fit the window", "F", in_client(ui::fit_picture));
  add("fit_mask", "zoom so that the output fits the window", "Shift+F", in_client(ui::fit_output));
  add("pv_zcm_fit_window", "the same as fit_window", "", in_client(ui::fit_picture));
  add("pv_zcm_fit_mask", "the same as fit_mask", "", in_client(ui::fit_output));
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

// Without a window only a zoom that was asked for is made, for the window that would open.
void window_run::fit_view() {
  ksn::state& composition = parts_.composition;
  const bool asked = composition.fit == ksn::view_fit::asked;
  if (!asked && composition.fit != ksn::view_fit::due) return;
  if (!asked && !desktop()) return;
  int width = save::default_client_width;
  int height = save::default_client_height;
  client_area(width, height);
  if (asked) {
    ui::fit_picture(composition, width, height);
  } else if (composition.view.zoom_factor2 == 100 && composition.view.pan_position == math::pointd{}) {
    ui::fit_first_layer(composition, width, height);
  }
  if (desktop()) composition.fit = ksn::view_fit::settled;
  redraw_ = true;
}

void window_run::set_fullscreen(bool on) {
  if (on == parts_.composition.workspace.full_screen) return;
  if (desktop_) desktop_->set_fullscreen(on);
  parts_.composition.workspace.full_screen = on;
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
