// The help and the command reference say what the tables hold.
#include <gtest/gtest.h>

#include "command/menu.h"
#include "support/program.h"

namespace {

support::outcome run(const std::string& argument) {
  return support::run_program(KESTRIN_BINARY, {argument}, "/");
}

TEST(reference, commands_md_holds_the_tables_of_the_program) {
  const std::string text = support::read_file(KESTRIN_SOURCE_DIR "/docs/commands.md");
  const std::string begin = "<!-- tables -->\n";
  const std::size_t from = text.find(begin);
  const std::size_t to = text.find("<!-- end of tables -->");
  ASSERT_NE(from, text.npos);
  ASSERT_NE(to, text.npos);
  EXPECT_EQ(text.substr(from + begin.size(), to - from - begin.size()), run("--help=markdown").out)
      << "run tools/update_commands.sh";
}

TEST(reference, help_names_every_action_of_the_menus) {
  const std::string help = run("--help").out;
  std::size_t names = 0;
  for (const command::menu& menu : command::main_menu()) {
    int identifier = menu.first_identifier;
    for (const std::string_view name : menu.entries) {
      EXPECT_EQ(command::action_of_identifier(identifier++), name == "-" ? "" : name);
      if (name == "-" || name == "add_recent" || name == "open_recent" || name == "open_unsaved") continue;
      const std::size_t found = help.find("\n  --" + std::string(name));
      ASSERT_NE(found, help.npos) << name;
      EXPECT_NE(std::string(" \n").find(help[found + 5 + name.size()]), std::string::npos) << name;
      ++names;
    }
    EXPECT_EQ(command::action_of_identifier(identifier), "");
  }
  EXPECT_GT(names, 120u);
}

}  // namespace
