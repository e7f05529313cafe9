// The parts that an area of the window is built from. Each area has a folder of its own and one line in areas.cpp.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cache/reading/frame_board.h"
#include "command/engine.h"
#include "command/keys.h"
#include "composition/state.h"
#include "composition/window_layout.h"
#include "lib/error_record.h"
#include "playback/clock.h"
#include "render/compositor.h"
#include "render/pipeline.h"
#include "ui/toolkit/input.h"
#include "ui/widgets/host.h"

namespace save {
class queue;
}

namespace ui {

// What a window shows and works on. All of it outlives the window.
struct subjects {
  ksn::state& composition;
  command::engine& engine;
  render::pipeline& pipeline;
  playback::clock& clock;
  const command::key_table& keys;
  const lib::error_record& errors;   // the latest error lines
  const cache::frame_board& frames;  // what is known of every frame of every layer
  std::string product_title = {};    // "NAME VERSION"
};

// All that areas work on and ask for. Outlives them. A function that is not told does nothing.
struct workbench : subjects {
  ui::input& input;
  widget_host host;  // with the words of the catalogue, menus and the clipboard

  // The window as it is laid out for the picture or the event at hand.
  std::function<ksn::window_layout()> layout;
  // Runs an action ("next_frame") or an option with its value ("zoom=200") as the user's own; error lines are shown.
  std::function<void(const std::string& command)> run = [](const std::string&) {};
  // Opens the context menu of that name with its corner at a point of the client area and runs what is chosen.
  std::function<void(std::string_view menu, math::point at)> context_menu = [](std::string_view, math::point) {};
  // A gesture has ended that changed the work area: what is read ahead follows.
  std::function<void()> work_area_changed = [] {};
  // Sources that became layers lately, the newest first; `add_recent=N` adds the N-th.
  std::function<std::vector<std::string>()> recent_sources = [] { return std::vector<std::string>(); };
  // A counter of milliseconds that wraps; tests move it by hand.
  std::function<std::uint32_t()> milliseconds = [] { return std::uint32_t{0}; };
  const save::queue* saves = nullptr;  // null where there is none
  // The latest news of the program, empty for none; `open_news` opens it. May be empty.
  std::function<std::string()> news = {};
  // The composite's value under a point of the client area; filled with each picture of the window.
  render::composite_probe composite{};

  std::string text(std::string_view key) const { return host.text(key); }
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
  std::function<bool(const ksn::window_layout& layout)> shown;
};

// A tip: the text of `key`, and after it the key that runs `action`, if there is one.
std::string tip_text(const workbench& bench, std::string_view key, const std::string& action);

// Every area in the order of drawing, the preview first. The pointer finds the last one that answers.
std::vector<area> make_areas(workbench& bench);

}  // namespace ui
