#include "command/keys.h"

#include <gtest/gtest.h>

namespace {

TEST(keys, texts_both_ways) {
  struct row {
    const char* text;
    int code;
    const char* display;
  };
  const row rows[] = {
      {"a", 'A', "A"},
      {"7", '7', "7"},
      {"Ctrl+Shift+A", 0x30041, "Ctrl+Shift+A"},
      {"shift+ctrl+a", 0x30041, "Ctrl+Shift+A"},
      {"ALT+CTRL+SHIFT+f24", 0x70087, "Ctrl+Shift+Alt+F24"},
      {"F1", 112, "F1"},
      {"numpad5", 101, "Numpad 5"},
      {"shift+numpad+", 0x1006B, "Shift+Numpad +"},
      {"pgdn", 34, "Page Down"},
      {"BackSp", 8, "Backspace"},
      {"~", 192, "`"},
      {"ctrl+=", 0x200BB, "Ctrl+="},
      {"-", 189, "-"},
      {"alt+\\", 0x400DC, "Alt+\\"},
      {"esc", 27, "Escape"},
  };
  for (const row& r : rows) {
    EXPECT_EQ(command::parse_key(r.text), r.code) << r.text;
    EXPECT_EQ(command::key_text(r.code), r.display) << r.text;
  }
  for (const char* unknown : {"", "f0", "f25", "f01", "ctrl+", "ctrl+ctrl+a", "numpad", "numpad10", "//", "ab", "+"})
    EXPECT_EQ(command::parse_key(unknown), 0) << unknown;
  EXPECT_EQ(command::key_text(0x20001), "");
}

TEST(keys, later_lines_replace_and_commands_run_in_order) {
  ksn::state composition;
  command::engine engine(composition);
  std::string ran;
  for (const char* name : {"one", "two"}) engine.add({.name = name, .execute = [&ran, name] { ran += name; }});
  engine.action_table["set"].execute_value = [&ran](const std::string& value) {
    ran += value;
    return true;
  };
  command::register_fields(engine);

  command::key_table keys;
  keys.load("# no key\r\nF1 one\nF2 --one --two\n\nnonsense two\nF3 --fps=24\nF4 set=\"a b\"\nF5 nothing\n");
  keys.load("f1 --two\nF7 two\n");
  const auto run = [&](const char* key) {
    const std::vector<std::string> commands = keys.commands_of(command::parse_key(key));
    for (const std::string& c : commands) engine.run_command(c);
    return !commands.empty();
  };
  EXPECT_TRUE(run("F2"));
  EXPECT_TRUE(run("F1"));
  EXPECT_TRUE(run("F4"));
  EXPECT_TRUE(run("F5"));
  EXPECT_FALSE(run("F6"));
  EXPECT_EQ(ran, "onetwotwoa b");
  EXPECT_TRUE(run("F3"));
  EXPECT_EQ(composition.doc.fpcs, 2400) << "a command with a value may be a field";
  EXPECT_EQ(keys.key_text_of_action("two"), "F1") << "the first of a text";
  EXPECT_EQ(keys.key_text_of_action("one"), "F1") << "that table is only ever added to";
  EXPECT_EQ(keys.bindings().size(), 6u);
}

}  // namespace
