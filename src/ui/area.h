// What a part of the window is built from. Each area has a folder of its own and one line in areas.cpp.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "command/engine.h"
#include "composition/state.h"
#include "platform/desktop.h"
#include "playback/clock.h"
#include "render/pipeline.h"
#include "ui/toolkit/input.h"

namespace ui {

// All that areas work on and ask for. Outlives them; every function is bound.
struct workbench {
  ksn::state& composition;
  command::engine& engine;
  render::pipeline& pipeline;
  playback::clock& clock;
  ui::input& input;

  // --- words ---
  std::function<std::string(std::string_view key)> text;         // of the message catalogue
  std::function<std::string(std::string_view action)> key_text;  // of the key that runs an action, empty for none

  // --- acts ---
  // Runs an action ("next_frame") or an option with its value ("zoom=200") as the user's own; error lines are shown.
  std::function<void(const std::string& command)> run;
  // Opens a menu with its corner at a point of the client area and returns the id of the chosen entry, -1 for none.
  // Picture and clock go on meanwhile.
  std::function<int(const std::vector<platform::menu_entry>& entries, math::point at)> popup_menu;
  // The window's desktop; null when the picture is drawn without a window.
  std::function<platform::desktop*()> desktop;
};

// From where an area counts its places.
enum class area_origin {
  preview,  // the middle of the preview area
  split,    // the middle of the split line, for all that stands below it
  client    // the upper left corner of the window
};

struct area {
  std::shared_ptr<ui_object> object;
  area_origin origin = area_origin::split;
  // Asked at each drawing and each hit test; a hidden area is neither drawn nor found.
  std::function<bool()> shown;
};

// A tip: the text of `key`, and the key of `action` after it when it has one.
std::string tip_text(const workbench& bench, std::string_view key, std::string_view action);

// Every area in the order of drawing, the preview first. The pointer finds the last one that answers.
std::vector<area> make_areas(workbench& bench);

}  // namespace ui
