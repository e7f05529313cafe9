// The key definitions and texts that come with the program name real commands, and every command has a text.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <sstream>

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

TEST(assets, every_action_and_menu_has_a_text) {
  program p;
  lib::catalogue texts;
  texts.load_file(assets + "messages.txt");
  for (const auto& [name, action] : p.engine.action_table) {
    EXPECT_NE(texts.text(name), name);
  }
  for (const char* key : {"mi_file", "mi_edit", "mi_view", "mi_play", "mi_layer"}) EXPECT_NE(texts.text(key), key);
}

}  // namespace
