// The key definitions and texts that come with the program name real commands, and every command has a text.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>

#include "command/keys.h"
#include "command/language.h"
#include "command/menu.h"
#include "lib/messages.h"
#include "paths.h"

namespace {

const std::string assets = KESTRIN_SOURCE_DIR "/assets/";

std::string content_of(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

TEST(assets, every_line_of_the_key_definitions_is_a_binding) {
  command::key_table keys;
  const std::string text = content_of(assets + "keydefs.txt");
  keys.load(text);
  std::istringstream lines(text);
  std::string line;
  std::size_t count = 0;
  while (std::getline(lines, line)) count += !line.empty() && line[0] != '#';
  EXPECT_GT(count, 60u);
  EXPECT_EQ(keys.bindings().size(), count) << "a key is bound twice, or a line names no key";
}

// Keys of texts as the sources write them.
std::set<std::string> keys_in_sources() {
  const std::regex forms[] = {
      std::regex(R"re(text\("([a-z_0-9.]+)")re"),
      std::regex(R"re("((?:ti_|mi_|undo_|redo_)[a-z_0-9]+)")re"),
      std::regex(R"re("([a-z_0-9]+[._](?:title|filter|pdlg_title|missing_frame))")re"),
  };
  const std::regex undo_form(R"re(undo_name\{"([a-z_]+)"\})re");
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
  const document_language p;
  lib::catalogue texts;
  texts.load_file(assets + "messages.txt");
  for (const auto& [name, row] : p.engine.action_table)
    EXPECT_TRUE(row.title || !row.plain() || texts.has(name)) << name;
  const command::menu_source source{p.engine, {}, [&](std::string_view key) {
                                      EXPECT_TRUE(texts.has(key)) << key;
                                      return std::string(key);
                                    }};
  for (const std::string_view menu : command::main_menus()) {
    EXPECT_TRUE(texts.has(menu)) << menu;
    EXPECT_FALSE(command::main_menu(source, menu).empty()) << menu;
  }
  const std::set<std::string> asked = keys_in_sources();
  EXPECT_GT(asked.size(), 30u) << "the forms above find none any more";
  // A key that is put together from parts, a picture and a field.
  const std::set<std::string> others = {"ext_device_", "mouse.", "panel_title", "view_filter"};
  for (const std::string& key : asked) EXPECT_TRUE(texts.has(key) || others.contains(key)) << key;
}

}  // namespace
