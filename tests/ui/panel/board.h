// A property panel under a simulated pointer and keyboard, over layers that a test makes.
#pragma once

#include <gtest/gtest.h>

#include <deque>

#include "lib/messages.h"
#include "paths.h"
#include "support/fake_clip.h"
#include "ui/drawn.h"
#include "ui/opened_parts.h"
#include "ui/panel/panel.h"

namespace support {

class board : public testing::Test, protected opened_parts {
 protected:
  static constexpr int enter = 13;
  static constexpr int escape = 27;
  static constexpr int tab_key = 9;
  static constexpr int up = 38;

  lib::catalogue texts;
  drawn canvas{940, 800};
  math::point size{940, 800};
  std::deque<std::string> menu_answers;  // texts of the entries that are chosen
  std::vector<platform::menu_entry> menu;
  std::function<void(const platform::menu_entry& entry)> on_entry;  // called as the pointer comes to an entry
  std::string clipboard;
  std::vector<std::string> commands;
  std::shared_ptr<ui::property_panel> panel;
  ui::input input{{[this](math::point point) { return panel->is_shown() ? panel->hit_test(point, at()) : nullptr; },
                   [](ui::cursor_shape) {},
                   {}}};
  ui::workbench bench{{subjects()},
                      input,
                      {input, [this](std::string_view key) { return text(key); },
                       [this](const std::vector<platform::menu_entry>& entries, math::point) {
                         menu = entries;
                         return answer();
                       },
                       [this] { return clipboard; }, [this](const std::string& text) { clipboard = text; }},
                      [this] { return ksn::layout_window(composition, size); },
                      [this](const std::string& command) {
                        commands.push_back(command);
                        engine.run_command(command);
                      }};

  void SetUp() override {
    texts.load_file(KESTRIN_SOURCE_DIR "/assets/messages.txt");
    command::register_document_actions(engine);
    panel = ui::make_property_panel(bench);
    composition.workspace.pp_visible = true;
  }
  std::string text(std::string_view key) {
    EXPECT_TRUE(texts.has(key)) << key;
    return texts.text(key);
  }
  int answer() {
    if (menu_answers.empty()) return -1;
    const std::string wanted = menu_answers.front();
    menu_answers.pop_front();
    return answer(menu, wanted);
  }
  // On the way to the wanted entry the pointer comes by those before.
  int answer(const std::vector<platform::menu_entry>& entries, const std::string& wanted) {
    for (const platform::menu_entry& entry : entries) {
      if (entry.reached) entry.reached();
      if (on_entry) on_entry(entry);
      if (const int found = answer(entry.entries, wanted); found >= 0) return found;
      if (entry.text == wanted && entry.enabled) return entry.id;
    }
    return -1;
  }
  ksn::track_info& add_layer(ksn::source_type type = ksn::source_type::avi) {
    composition.doc.tracks.push_back(plain_layer(3, "BGRA", 90, 70, {40, 100, 200, 128}));
    composition.doc.tracks.back().source.type = type;
    composition.doc.selection.insert(composition.doc.track_count() - 1);
    return composition.doc.tracks.back();
  }

  ui::place at() const { return {{}, size, composition.interface_scale}; }
  std::vector<std::string> drawn_texts() {
    ui::painter on = canvas.painter(composition.interface_scale, input.hot());
    panel->draw(on, at());
    return canvas.texts;
  }
  bool shows(const std::string& wanted) {
    const std::vector<std::string> all = drawn_texts();
    return std::find(all.begin(), all.end(), wanted) != all.end();
  }
  // The middle of a widget, or of its check mark.
  math::point middle_of(const ui::panel::page::widget_of& widget) {
    const ui::place page = panel->page_place(at());
    const bool is_check = dynamic_cast<ui::ui_check_box*>(widget.object.get()) != nullptr;
    const int x = is_check ? widget.box.left + 7 : widget.box.left + 15;
    return page.at(x, (widget.box.top + widget.box.bottom) / 2);
  }
  // The widget of a field on the open tab; the part counts from 0.
  math::point find(const std::string& field, int part = 0) {
    for (const ui::panel::page::widget_of& widget : panel->open_page().widgets()) {
      const bool same_part = widget.made_from->part == part || widget.made_from->part == ui::panel::all_parts;
      if (field == widget.made_from->field && same_part) return middle_of(widget);
    }
    ADD_FAILURE() << "no widget of " << field;
    return {};
  }
  void click(math::point point, ui::mouse_button button = ui::mouse_button::left) {
    input.mouse_down(button, point, false, 0);
    input.mouse_up(button, point, 0);
  }
  void drag(math::point from, int by, int modifiers = 0) {
    input.mouse_down(ui::mouse_button::left, from, false, modifiers);
    input.mouse_move({from.x + by / 2, from.y}, modifiers);
    input.mouse_move({from.x + by, from.y}, modifiers);
    input.mouse_up(ui::mouse_button::left, {from.x + by, from.y}, modifiers);
  }
  void type(const std::string& typed) {
    input.pass(0, true);
    input.text(typed);
  }
  std::string field(const std::string& name) {
    std::string value;
    const bool scoped = name.find(':') != name.npos;
    EXPECT_TRUE(engine.get_field(scoped ? name : "selected:" + name, value)) << name;
    return value;
  }
};

}  // namespace support
