// The help and the command reference say what the tables hold.
#include <gtest/gtest.h>

#include <sstream>

#include "command/menu.h"
#include "paths.h"
#include "support/program.h"

namespace {

support::outcome run(const std::string& argument) {
  // HOME: no key definitions of the user's.
  return support::run_program(KESTRIN_BINARY, {argument}, "/", {{"HOME", "/nowhere"}});
}

TEST(reference, documents_hold_the_tables_of_the_program) {
  for (const auto& [document, option] :
       {std::pair("commands.md", "--help=markdown"), std::pair("keyboard.md", "--help=keys")}) {
    std::istringstream text(support::read_file(std::string(KESTRIN_SOURCE_DIR "/docs/") + document));
    std::string line;
    while (std::getline(text, line) && line != "<!-- tables -->") {
    }
    for (const std::string& expected : run(option).out_lines()) {
      ASSERT_TRUE(std::getline(text, line)) << document << ": run tools/update_commands.sh";
      ASSERT_EQ(line, expected) << document << ": run tools/update_commands.sh";
    }
    std::getline(text, line);
    EXPECT_EQ(line, "<!-- end of tables -->") << document << ": run tools/update_commands.sh";
  }
}

TEST(reference, help_names_every_action_of_the_menus) {
  const std::string help = run("--help").out;
  std::size_t names = 0;
  for (const command::menu& menu : command::main_menu()) {
    int identifier = menu.first_identifier;
    for (const std::string_view name : menu.entries) {
      EXPECT_EQ(command::action_of_identifier(identifier++), name == "-" ? "" : name);
      if (name == "-" || name == "add_recent" || name == "open_recent" || name == "open_unsaved") continue;
      const std::string line = "\n  --" + std::string(name);
      EXPECT_TRUE(help.find(line + " ") != help.npos || help.find(line + "\n") != help.npos) << name;
      ++names;
    }
    EXPECT_EQ(command::action_of_identifier(identifier), "");
  }
  EXPECT_GT(names, 120u);
}

}  // namespace
