// The help and the command reference say what the tables hold.
#include <gtest/gtest.h>

#include <sstream>

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

TEST(reference, key_definitions_are_those_of_the_rows) {
  const std::string shipped = support::read_file(KESTRIN_SOURCE_DIR "/assets/keydefs.txt");
  EXPECT_GT(shipped.size(), 1000u);
  EXPECT_EQ(run("--help=keydefs").out, shipped) << "run tools/update_commands.sh";
}

}  // namespace
