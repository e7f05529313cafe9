// The help and the command reference say what the tables hold.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <string_view>
#include <vector>

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

// Options that a script offers are options of the program: each is run as the help of one name.
TEST(reference, completions_and_manual_follow_the_tables) {
  const std::string bash = run("--help=bash").out;
  const std::string fish = run("--help=fish").out;
  const std::string zsh = run("--help=zsh").out;
  const std::string man = run("--help=man").out;
  std::istringstream text(run("--help=markdown").out);
  std::string line;
  int rows = 0;
  while (std::getline(text, line)) {
    if (!line.starts_with("| `--") || line.find("(not available") != line.npos) continue;
    const std::string name = line.substr(5, line.find_first_of("=`", 5) - 5);
    ++rows;
    EXPECT_NE(bash.find("--" + name), bash.npos) << name;
    EXPECT_NE(zsh.find("'*--" + name), zsh.npos) << name;
    EXPECT_NE(fish.find("complete -c kestrin -l " + name + " "), fish.npos) << name;
    EXPECT_NE(man.find("\\-\\-" + name), man.npos) << name;
  }
  EXPECT_GT(rows, 150);
  EXPECT_NE(bash.find("--alpha) words='"), bash.npos);
}

// What the help says of fields can be typed as it stands, except where a file must be there.
TEST(reference, examples_of_fields_are_carried_out) {
  std::vector<std::string> arguments{"--new_text_layer=10"};
  for (const char* group : {"--help=fields of layers", "--help=fields of the composition"}) {
    for (const std::string& line : run(group).out_lines()) {
      constexpr std::string_view mark = "Set it: ";
      const std::size_t at = line.find(mark);
      if (at == line.npos) continue;
      std::string argument = line.substr(at + mark.size());
      std::erase(argument, '"');
      const bool needs_file = argument.find("lookup_table") != argument.npos || argument.starts_with("--image_layer=");
      if (!needs_file) arguments.push_back(argument);
    }
  }
  EXPECT_GT(arguments.size(), 140u);
  arguments.push_back("--exit=status");
  const support::outcome outcome = support::run_program(KESTRIN_BINARY, arguments, "/", {{"HOME", "/nowhere"}});
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.code, 0);
}

TEST(reference, help_on_one_name) {
  EXPECT_NE(run("--help=range").out.find("--range=LIST"), std::string::npos);
  EXPECT_NE(run("--help=exposure").out.find("--global:exposure="), std::string::npos);
  EXPECT_NE(run("--help=opacity").out.find("--print_field=opacity"), std::string::npos);
  EXPECT_NE(run("--help=--save_frame_as").out.find("--save_frame_as=PATH"), std::string::npos);
  EXPECT_NE(run("--help=save_frame_as").out.find("exr --save_frame_as=frame.exr"), std::string::npos);
  EXPECT_NE(run("--help=layer time").out.find("--layer_go_to_in"), std::string::npos);
  EXPECT_NE(run("--help=work area").out.find("--workarea_set_begin"), std::string::npos);
  EXPECT_NE(run("--help=Fields of layers").out.find("--opacity="), std::string::npos);
  EXPECT_NE(run("--help=work aera").errors.find("did you mean work area?"), std::string::npos);
  const support::outcome mistyped = run("--help=opcity");
  EXPECT_NE(mistyped.errors.find("did you mean opacity?"), std::string::npos);
  EXPECT_EQ(mistyped.code, 1);
  EXPECT_NE(run("--lyer_duplicate").errors.find("did you mean --layer_duplicate?"), std::string::npos);
  EXPECT_EQ(run("--qqqqqqqqqq").errors.find("did you mean"), std::string::npos);
}

}  // namespace
