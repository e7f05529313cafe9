// A window under test.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "playback/actions.h"
#include "support/fake_clip.h"
#include "ui/drawn.h"
#include "ui/opened_parts.h"
#include "ui/window.h"

namespace support {

using strings = std::vector<std::string>;

// The whole window over a document, with a pointer and a list of what was run. Nothing is read and nothing is decoded.
class whole_window : public testing::Test, protected opened_parts {
 protected:
  support::drawn canvas{940, 800};
  math::point size{940, 800};
  strings commands;
  strings menus;
  std::string clipboard;
  std::string news;
  int work_area_changes = 0;
  std::uint32_t now = 1000;  // milliseconds
  std::unique_ptr<ui::window> window;

  void SetUp() override {
    command::register_document_actions(engine);
    command::register_menu_choices(engine);
    playback::register_playback_actions(engine, clock);
    ui::window_parts parts{{subjects()}, canvas.functions, [this] { return size; }};
    parts.context_menu = [this](std::string_view menu, math::point) { menus.emplace_back(menu); };
    parts.run = [this](const std::string& command) {
      commands.push_back(command);
      engine.run_command(command);
    };
    parts.work_area_changed = [this] { ++work_area_changes; };
    parts.recent_sources = [] { return strings{"/a/one.tga", "/a/two.tga"}; };
    parts.clipboard_text = [this] { return clipboard; };
    parts.set_clipboard_text = [this](const std::string& text) { clipboard = text; };
    parts.milliseconds = [this] { return now; };
    parts.news = [this] { return news; };
    window = std::make_unique<ui::window>(std::move(parts));
  }
  void add_layer() { composition.doc.tracks.push_back(support::plain_layer(3, "BGRA", 90, 70, {40, 100, 200, 128})); }

  const strings& art() {
    canvas.painter();
    window->draw(canvas.picture, size, 0, nullptr);
    return canvas.art;
  }
  bool shows(const std::string& name) {
    const strings& all = art();
    return std::find(all.begin(), all.end(), name + ".tga") != all.end();
  }
  ksn::window_layout layout() const { return ksn::layout_window(composition, size); }
  // A point below the split, at scale 1 from its middle.
  math::point below(int x, int y) const {
    const math::point middle = layout().split_middle();
    return {middle.x + x * layout().scale, middle.y + y * layout().scale};
  }
  void click(math::point point, ui::mouse_button button = ui::mouse_button::left, bool twice = false) {
    window->input().mouse_down(button, point, twice, 0);
    window->input().mouse_up(button, point, 0);
  }
  void drag(math::point from, math::point to, ui::mouse_button button = ui::mouse_button::left, int modifiers = 0) {
    window->input().mouse_down(button, from, false, modifiers);
    window->input().mouse_move(to, modifiers);
    window->input().mouse_up(button, to, modifiers);
  }
};

}  // namespace support
