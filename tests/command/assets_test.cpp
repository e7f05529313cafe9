// The key definitions and texts that come with the program name real commands, and every command has a text.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>

#include "command/action_names.h"
#include "command/engine.h"
#include "command/keys.h"
#include "command/menu.h"
#include "command/reference.h"
#include "lib/messages.h"

namespace {

const std::string assets = std::string(KESTRIN_SOURCE_DIR) + "/assets/";

std::string content_of(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

struct program {
  ksn::state composition;
  command::engine engine{composition};
  program() {
    command::register_fields(engine);
    command::register_language_actions(engine);
    command::register_document_actions(engine);
    command::register_unavailable(engine);
  }
};

TEST(assets, every_key_runs_something) {
  program p;
  command::key_table keys;
  const std::string text = content_of(assets + "keydefs.txt");
  keys.load(text);
  EXPECT_GT(keys.bindings().size(), 60u);
  for (const auto& [code, commands] : keys.bindings()) {
    EXPECT_FALSE(commands.empty()) << command::key_text(code);
    for (const std::string& c : commands) {
      const std::string name = c.substr(0, c.find('='));
      const bool known = p.engine.action_table.contains(name) || p.engine.value_action_table.contains(name) ||
                         p.engine.find_global_field(name) || p.engine.find_layer_field(name);
      EXPECT_TRUE(known) << command::key_text(code) << ' ' << c;
    }
  }
  // Every line that is no comment is a binding of its own.
  std::istringstream lines(text);
  std::string line;
  std::size_t count = 0;
  while (std::getline(lines, line)) count += !line.empty() && line[0] != '#';
  EXPECT_EQ(keys.bindings().size(), count) << "a key is bound twice, or a line names no key";
}

TEST(assets, keys_that_users_of_such_players_know) {
  command::key_table keys;
  keys.load(content_of(assets + "keydefs.txt"));
  for (const auto& [key, command] :
       std::vector<std::pair<const char*, const char*>>{{"Space", "toggle_pause"},
                                                        {"J", "play_backward"},
                                                        {"K", "toggle_pause"},
                                                        {"L", "play_forward"},
                                                        {"Left", "prev_frame"},
                                                        {"Right", "next_frame"},
                                                        {"Home", "first_frame"},
                                                        {"End", "last_frame"},
                                                        {"Up", "play_forward"},
                                                        {"Down", "play_backward"},
                                                        {"F", "toggle_fullscreen"},
                                                        {"R", "channel_r"},
                                                        {"G", "channel_g"},
                                                        {"B", "channel_b"},
                                                        {"A", "channel_a"},
                                                        {"Ctrl+Z", "undo"},
                                                        {"Ctrl+O", "open_composition"},
                                                        {"Ctrl+S", "save_composition"},
                                                        {"Ctrl+Shift+S", "save_composition_as"},
                                                        {"Ctrl+N", "new_composition"},
                                                        {"Ctrl+Q", "exit"},
                                                        {"Ctrl+C", "clipboard_copy_layer"},
                                                        {"Ctrl+V", "clipboard_paste"},
                                                        {"Delete", "layer_delete_selected"},
                                                        {"I", "workarea_set_begin"},
                                                        {"O", "workarea_set_end"}}) {
    const auto found = keys.bindings().find(command::parse_key(key));
    ASSERT_NE(found, keys.bindings().end()) << key;
    EXPECT_EQ(found->second, std::vector<std::string>{command}) << key;
  }
  program p;
  p.composition.zoom_factor2 = 350;
  p.composition.pan_position = {4.0, 5.0};
  ASSERT_TRUE(keys.run_key(command::parse_key("1"), p.engine));
  EXPECT_EQ(p.composition.zoom_factor2, 100) << "one picture pixel is one pixel of the screen";
  EXPECT_EQ(p.composition.pan_position.x, 0.0);
  EXPECT_EQ(p.composition.pan_position.y, 0.0);
}

// Keys of texts as the sources write them.
std::set<std::string> keys_in_sources() {
  const std::regex forms[] = {
      std::regex(R"re(text\("([a-z_0-9.]+)")re"),
      std::regex(R"re("((?:ti_|mi_|undo_|redo_)[a-z_0-9]+)")re"),
      std::regex(R"re("([a-z_0-9]+[._](?:title|filter|pdlg_title|missing_frame))")re"),
  };
  const std::regex undo_form(R"re(key_for\("([a-z_]+)"\))re");
  std::set<std::string> keys;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(KESTRIN_SOURCE_DIR "/src")) {
    const std::string path = entry.path();
    if (!path.ends_with(".cpp") && !path.ends_with(".h")) continue;
    const std::string text = content_of(path);
    const auto every = [&](const std::regex& form, const auto& take) {
      for (std::sregex_iterator found(text.begin(), text.end(), form), end; found != end; ++found) take((*found)[1]);
    };
    for (const std::regex& form : forms) {
      every(form, [&](const std::string& key) { keys.insert(key); });
    }
    every(undo_form, [&](const std::string& name) { keys.insert({"undo_" + name, "redo_" + name}); });
  }
  return keys;
}

TEST(assets, every_action_and_menu_has_a_text) {
  program p;
  lib::catalogue texts;
  texts.load_file(assets + "messages.txt");
  for (const auto& [name, action] : p.engine.action_table) EXPECT_TRUE(texts.has(name)) << name;
  for (const command::action_name& listed : command::action_names()) {
    EXPECT_TRUE(!listed.value_form.empty() || texts.has(listed.name)) << listed.name;
  }
  for (const command::menu& menu : command::main_menu()) {
    EXPECT_TRUE(texts.has(menu.title)) << menu.title;
    for (const std::string_view entry : menu.entries) EXPECT_TRUE(entry == "-" || texts.has(entry)) << entry;
  }
  const std::set<std::string> asked = keys_in_sources();
  for (const char* known : {"mi_file", "ti_text_name", "undo_brush_stroke", "redo_align_at_current",
                            "undo_delete_layers", "save_layer_as.missing_frame"}) {
    EXPECT_TRUE(asked.contains(known)) << known;
  }
  for (const std::string& key : asked) EXPECT_TRUE(texts.has(key)) << key;
}

}  // namespace
