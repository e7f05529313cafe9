// The command pass, options, layer sets with values, expansion, command files and printing.
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "io/exceptions.h"
#include "language.h"
#include "lib/paths.h"

namespace {

TEST(option, error_lines) {
  struct row {
    const char* option;
    strings errors;
  };
  const row rows[] = {
      {"--9:opacity=1", {"\"--9:opacity=1\": Invalid layer index 9"}},
      {"---9:opacity=1", {"\"---9:opacity=1\": Invalid layer index -9"}},
      {"--1,9:opacity=1,2", {"\"--1,9:opacity=1,2\": Invalid layer index 9"}},
      {"--id(7):opacity=1", {"\"--id(7):opacity=1\": Empty layer set \"id(7)\""}},
      {"--1,2:opacity=10", {"\"--1,2:opacity=10\": Numbers of layers (2) and values (1) do not match"}},
      {"--1..3:opacity=", {"\"--1..3:opacity=\": Numbers of layers (3) and values (0) do not match"}},
      {"--group(5):opacity=1", {"\"--group(5):opacity=1\": Numbers of layers (0) and values (1) do not match"}},
      {"--1:opacity=x", {"Invalid value \"x\" for layer field \"opacity\""}},
      {"--1,2:opacity=x,101",
       {"Invalid value \"x\" for layer field \"opacity\"", "Invalid value \"101\" for layer field \"opacity\""}},
      {"--fps=0", {"Invalid value \"0\" for global field \"fps\""}},
      {"--http_start=1", {"\"--http_start=1\": Invalid option"}},
  };
  for (const row& r : rows) {
    language tried({"a", "b", "c"});
    tried.run({r.option});
    EXPECT_EQ(tried.errors, r.errors) << r.option;
  }
  for (const std::string& option :
       command::tokenise("--nonsense \"--nonsense=a b\" --= --opacity --:opacity=1 --1:=1 --1:nonsense=1 --0:opacity=1"
                         " --!:opacity=0 --global:opacity=1 --1:fps=1 --selected:fps=1 --env:=1 --still_image --attach"
                         " --print_fields=nonsense --print_fields= --set_time=x --add_layer= --execute_cmdfile=")) {
    language tried({"a", "b", "c"});
    tried.run({option});
    EXPECT_EQ(tried.errors, strings{"\"" + option + "\": Invalid option"});
  }
}

// One line quotes all of a long option; lines for each of many layers do not.
TEST(option, long_quotes) {
  language tried({"a"});
  std::string nines = "9";
  for (int i = 1; i < 1000; ++i) nines += ",9";
  const std::string option = "--" + nines + ":opacity=";
  tried.run({option + "1", option + nines, "--var:x=%{" + nines + ":name}"});
  ASSERT_EQ(tried.errors.size(), 2001u);
  EXPECT_EQ(tried.errors[0], "\"" + option + "1\": Numbers of layers (1000) and values (1) do not match");
  EXPECT_EQ(tried.errors[1], "\"" + option.substr(0, 1000) + "...\": Invalid layer index 9");
  EXPECT_EQ(tried.errors[1001], "\"{" + nines.substr(0, 999) + "...\": Invalid layer index 9");
}

TEST(option, without_a_selected_layer) {
  language tried({"a", "b"});
  for (const std::set<int>& selection : {std::set<int>{}, std::set<int>{0, 1}}) {
    tried.composition.doc.selection = selection;
    tried.run({"--opacity=5", "--selected:opacity=6", "--name=%{selected:name}x", "--print_field=selected:name",
               "--print_fields=selected"});
    EXPECT_EQ(tried.errors, (strings{"\"--opacity=5\": Option requires a selected layer",
                                     "\"--selected:opacity=6\": Option requires a selected layer",
                                     "\"{selected:name}\": Field access requires a selected layer",
                                     "\"--name=x\": Option requires a selected layer",
                                     "\"{selected:name}\": Field access requires a selected layer",
                                     "\"{selected}\": Field access requires a selected layer"}));
    EXPECT_EQ(tried.out, strings{});
  }
}

TEST(option, layer_sets_take_values_in_their_order) {
  struct row {
    const char* option;
    const char* field;
    strings expected;  // of the layers a, b, c, d
  };
  const row rows[] = {
      {"--opacity=5", "opacity", {"5", "100", "100", "100"}},
      {"--1:opacity=50", "opacity", {"50", "100", "100", "100"}},
      {"---1:opacity=50", "opacity", {"100", "100", "100", "50"}},
      {"--1,2:opacity=10,20", "opacity", {"10", "20", "100", "100"}},
      {"--3..1:opacity=1,2,3", "opacity", {"3", "2", "1", "100"}},
      {"--!1:opacity=0,1,2", "opacity", {"100", "0", "1", "2"}},
      {"--'c':opacity=7", "opacity", {"100", "100", "7", "100"}},
      {"--'c'+1:position=3,4", "position", {"0,0", "0,0", "0,0", "3,4"}},
      {"--1:position=3,4", "position", {"3,4", "0,0", "0,0", "0,0"}},
      {"--1,3:position={3,4},{5,6}", "position", {"3,4", "0,0", "5,6", "0,0"}},
      {"--id(102):name=x,y", "name", {"a", "x,y", "c", "d"}},
      {"--1..2:name={x,y},{", "name", {"x,y", "{", "c", "d"}},
      {"--1,1:opacity=1,2", "opacity", {"2", "100", "100", "100"}},
      {"--2,9,3:opacity=1,2,3", "opacity", {"100", "1", "3", "100"}},
      {"--1,2:opacity=x,3", "opacity", {"100", "3", "100", "100"}},
  };
  for (const row& r : rows) {
    language tried({"a", "b", "c", "d"});
    tried.run({r.option});
    strings found;
    for (int i = 1; i <= 4; ++i) found.push_back(tried.field(std::to_string(i) + ":" + r.field));
    EXPECT_EQ(found, r.expected) << r.option;
  }
}

TEST(option, disabled_action_does_nothing) {
  language tried;
  int runs = 0;
  bool enabled = false;
  tried.engine.add({.name = "probe",
                    .execute = [&] { ++runs; },
                    .enabled = [&] { return enabled; },
                    .checked = [&] { return enabled; }});
  EXPECT_THROW(tried.engine.add({.name = "probe"}), std::logic_error);
  tried.run({"--probe"});
  EXPECT_EQ(runs, 0);
  EXPECT_FALSE(tried.engine.action_enabled("probe"));
  enabled = true;
  tried.run({"--probe", "--probe=1"});
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(tried.errors, strings{"\"--probe=1\": Invalid option"});
  EXPECT_TRUE(tried.engine.action_enabled("probe"));
  EXPECT_TRUE(tried.engine.action_checked("probe"));
  EXPECT_FALSE(tried.engine.action_enabled("nonsense"));
  EXPECT_FALSE(tried.engine.action_checked("exit"));
}

TEST(option, failures_of_an_action_are_one_line) {
  language tried;
  tried.engine.action_table["io"].execute_value = [](const std::string&) -> bool {
    throw io::read_error("/a/b", "gone");
  };
  tried.engine.action_table["memory"].execute_value = [](const std::string&) -> bool { throw std::bad_alloc(); };
  tried.engine.action_table["other"].execute_value = [](const std::string&) -> bool {
    throw std::runtime_error("odd");
  };
  tried.run({"--io=1", "--memory=1", "--other=1", "--fps=24"});
  EXPECT_EQ(tried.errors,
            (strings{"\"/a/b\": io::read_error: gone", "\"--memory=1\": Not enough memory", "\"--other=1\": odd"}));
  EXPECT_EQ(tried.field("global:fps"), "24");
}

TEST(option, calls_from_outside_a_pass_are_silent) {
  language tried({"a"});
  EXPECT_TRUE(tried.engine.set_field("1:opacity", "x"));
  EXPECT_TRUE(tried.engine.set_field("9:opacity", "1"));
  EXPECT_FALSE(tried.engine.execute_action("nonsense"));
  EXPECT_EQ(tried.errors, strings{});
  tried.engine.run_option("1:opacity=x");
  EXPECT_EQ(tried.errors, strings{"Invalid value \"x\" for layer field \"opacity\""});
}

TEST(expansion, field_rule) {
  struct row {
    const char* text;
    const char* expanded;
    strings errors;
  };
  const row rows[] = {
      {"", "", {}},
      {"%", "%", {}},
      {"100%", "100%", {}},
      {"%%%", "%%%", {}},
      {"%x%{1:name}%", "%xa b%", {}},
      {"%%{x}", "%%{x}", {}},
      {"%%{%{2:name}}", "%%{c}", {}},
      {"%%%{1:name}", "%a b", {}},
      {"%%%%%{2:name}", "%%c", {}},
      {"%{1:name}%{2:name}", "a bc", {}},
      {"%{var:%{2:name}}", "1", {}},
      {"%{var:%{var:%{2:name}}}", "one", {}},
      {"%{var:{x}}", "braces", {}},
      {"%{1,2:name}", "a b,c", {}},
      {"%{env:KESTRIN_TEST_PATH}", "%PATH%", {}},
      {"%{id(101):name}", "a b", {}},
      {"%{nothing}", "", {"\"%{nothing}\": Invalid field"}},
      {"%{name}", "", {"\"%{name}\": Invalid field"}},
      {"%{}", "", {"\"%{}\": Invalid field"}},
      {"x%{var:none}y", "xy", {"\"%{var:none}\": Invalid field"}},
      {"x%{1:name", "x", {"\"%{1:name\": Missing field closing bracket"}},
      {"x%{a%{1:name}y", "x", {"\"%{a%{1:name}y\": Missing field closing bracket"}},
      {"%{9:name}", "", {"\"{9:name}\": Invalid layer index 9"}},
      {"%{1,9:name}", "a b,", {"\"{1,9:name}\": Invalid layer index 9"}},
      {"%{id(7):name}", "", {"\"{id(7):name}\": Empty layer set \"id(7)\""}},
      {"%{cmdfile:folder}", "", {"\"%{cmdfile:folder}\": Invalid field"}},
  };
  setenv("KESTRIN_TEST_PATH", "%PATH%", 1);
  for (const row& r : rows) {
    language tried({"a b", "c"});
    tried.composition.doc.vars = {{"c", "1"}, {"1", "one"}, {"{x}", "braces"}};
    tried.run({std::string("--var:found=") + r.text});
    EXPECT_EQ(tried.composition.doc.vars["found"], r.expanded) << r.text;
    EXPECT_EQ(tried.errors, r.errors) << r.text;
  }
}

TEST(expansion, environment_rule) {
  struct row {
    const char* text;
    const char* expanded;
  };
  const row rows[] = {
      {"%KESTRIN_A%", "value"},
      {"a%KESTRIN_A%b%KESTRIN_A%", "avaluebvalue"},
      {"%%", "%"},
      {"100%% %KESTRIN_A%", "100% value"},
      {"%KESTRIN_NONE%", "%KESTRIN_NONE%"},
      {"%KESTRIN_NONE%KESTRIN_A%", "%KESTRIN_NONE%KESTRIN_A%"},
      {"%KESTRIN_A", "%KESTRIN_A"},
      {"%KESTRIN_A x%", "%KESTRIN_A x%"},
      {"%1%", "%1%"},
      {"%KESTRIN_1%", "one"},
      {"%{1:name}", "%{1:name}"},
      {"%", "%"},
  };
  setenv("KESTRIN_A", "value", 1);
  setenv("KESTRIN_1", "one", 1);
  unsetenv("KESTRIN_NONE");
  language tried({"a"});
  for (const row& r : rows) {
    tried.run({"--expand_env_vars=1", std::string("--var:found=") + r.text});
    EXPECT_EQ(tried.composition.doc.vars["found"], r.expanded) << r.text;
  }
  // The switch counts from where it stands.
  tried.run({"--var:a=%KESTRIN_A%", "--expand_env_vars=1x", "--var:b=%KESTRIN_A%",
             "--expand_env_vars=", "--var:c=%KESTRIN_A%"});
  EXPECT_EQ(tried.composition.doc.vars["a"], "%KESTRIN_A%");
  EXPECT_EQ(tried.composition.doc.vars["b"], "value");
  EXPECT_EQ(tried.composition.doc.vars["c"], "%KESTRIN_A%");
  EXPECT_EQ(tried.errors, strings{});
}

TEST(command_pass, sources_and_what_follows_them) {
  const std::string here = lib::full_path(".") + "/";
  struct row {
    strings args;
    strings sources;
    strings errors;
  };
  const row rows[] = {
      {{"a.tga", "", "/b/../c.tga"}, {here + "a.tga", "/c.tga"}, {}},
      {{"-x"}, {here + "-x"}, {}},
      {{"shm:/some//./thing"}, {"shm:/some//./thing"}, {}},
      {{"SHM:/x"}, {here + "SHM:/x"}, {}},
      {{"/a.1.tga", "--still_image"}, {"/a.1.tga still"}, {}},
      {{"/a.1.tga", "--force_sequence"}, {"/a.1.tga forced"}, {}},
      {{"/a.1.tga", "--range=1-5,9"}, {"/a.1.tga range=1-5,9"}, {}},
      {{"/a.#.tga", "--fcheck", "--range=1"}, {"/a.####.tga range=1"}, {}},
      {{"/#@/a.#.#", "--fcheck"}, {"/#@/a.####.#"}, {}},
      {{"/a.##.tga", "--fcheck"}, {"/a.##.tga"}, {}},
      {{"/a#b#.tga", "--fcheck"}, {"/a#b####.tga"}, {}},
      {{"/a.@@.tga", "--fcheck", "--still_image"}, {"/a.##.tga still"}, {}},
      {{"/a.@.tga", "/b.%d.tga", "/c.#.tga", "/d.%04d.tga"}, {"/a.*.tga", "/b.*.tga", "/c.#.tga", "/d.####.tga"}, {}},
      {{"/a.tga", "--fcheck", "--fcheck"}, {"/a.tga"}, {"\"--fcheck\": Invalid option"}},
      {{"/a.tga", "--still_image", "--range=1"}, {"/a.tga still"}, {"\"--range=1\": Invalid option"}},
      {{"/a.tga", "--still_image=1"}, {"/a.tga"}, {"\"--still_image=1\": Invalid option"}},
      {{"/a.tga", "/b.ksncomp"}, {"/a.tga", "/b.ksncomp"}, {}},
      {{"/b.ksncomp", "/a.tga"}, {"/a.tga"}, {}},
      {{"/none.ksncmd"}, {}, {"\"/none.ksncmd\": Open error"}},
      {{"//comment"}, {"/comment"}, {}},
      {{"/a b'\"%.tga"}, {"/a b'\"%.tga"}, {}},
      {{"--exit", "/a.tga"}, {}, {}},
      {{"--add_layer=x.tga"}, {here + "x.tga"}, {}},
  };
  for (const row& r : rows) {
    language tried;
    tried.run(r.args);
    EXPECT_EQ(tried.sources, r.sources) << r.args[0];
    EXPECT_EQ(tried.errors, r.errors) << r.args[0];
  }
}

TEST(command_file, text_and_comments) {
  struct row {
    const char* text;
    strings sources;
    strings errors;
  };
  const row rows[] = {
      {"", {}, {}},
      {"/a /b\n/c", {"/a", "/b", "/c"}, {}},
      {"/a\r\n/b\r\n", {"/a", "/b"}, {}},
      {"// comment first\n/a\n//\n//\r\n//\tx\n/b", {"/a", "/b"}, {}},
      {"//comment", {"/comment"}, {}},
      {" // /x", {"/", "/x"}, {}},
      {"\"/a b\"\n--name=\"x y\"", {"/a b"}, {"\"--name=x y\": Option requires a selected layer"}},
      {"\"/a\nb\" /c", {"/a b", "/c"}, {}},  // a line feed never reaches the tokens
      {"--ksncmd\n/a", {"/a"}, {}},
      {"// c\n--ksncmd\n/a", {"/a"}, {}},
      {"/a\n--ksncmd", {"/a"}, {"\"--ksncmd\": Invalid option"}},
      {"/a --exit /b", {"/a"}, {}},
      {"%{cmdfile:folder}/a", {"/d/a"}, {}},
  };
  for (const row& r : rows) {
    language tried;
    tried.files["/d/f.ksncmd"] = r.text;
    tried.run({"/d/f.ksncmd"});
    EXPECT_EQ(tried.sources, r.sources) << r.text;
    EXPECT_EQ(tried.errors, r.errors) << r.text;
  }
}

TEST(command_file, inclusion) {
  language tried;
  tried.files["/d/self.ksncmd"] = "/a\n/d/../d/self.ksncmd\n/b";
  tried.files["/d/one.KSNCMD"] = "/1 /d/two.ksncmd --execute_cmdfile=/d/two.ksncmd %{cmdfile:folder}/3";
  tried.files["/d/two.ksncmd"] = "/2 /d/one.KSNCMD";
  tried.run({"/d/self.ksncmd", "/d/self.ksncmd"});
  EXPECT_EQ(tried.sources, (strings{"/a", "/b", "/a", "/b"}));
  EXPECT_EQ(tried.errors,
            (strings{"\"/d/self.ksncmd\": File includes itself", "\"/d/self.ksncmd\": File includes itself"}));
  tried.run({"/d/one.KSNCMD"});
  EXPECT_EQ(tried.sources, (strings{"/1", "/2", "/2", "/d/3"}));
  EXPECT_EQ(tried.errors,
            (strings{"\"/d/one.KSNCMD\": File includes itself", "\"/d/one.KSNCMD\": File includes itself"}));
  EXPECT_TRUE(tried.engine.include_stack.empty());
  EXPECT_EQ(tried.engine.command_depth, 0);

  // A long chain ends with a line, not with the stack.
  for (int i = 0; i < 100000; ++i) {
    tried.files["/c/" + std::to_string(i) + ".ksncmd"] = "/c/" + std::to_string(i + 1) + ".ksncmd";
  }
  tried.run({"/c/0.ksncmd", "/end"});
  EXPECT_EQ(tried.errors.size(), 1u);
  EXPECT_EQ(tried.sources, strings{"/end"});
}

TEST(run_command_line, first_token_is_skipped) {
  language tried;
  tried.engine.run_command_line("--ksncmd\r\n--var:a=\"1 2\"\n// --var:a=3\n--var:b=4");
  EXPECT_EQ(tried.composition.doc.vars, (std::map<std::string, std::string>{{"a", "1 2"}, {"b", "4"}}));
  EXPECT_EQ(tried.errors, strings{});
}

TEST(print, one_field) {
  language tried({"a,b", "c"});
  tried.composition.doc.vars["name"] = "v";
  setenv("name", "e", 1);
  struct row {
    const char* argument;
    strings out;
    strings errors;
  };
  const row rows[] = {
      {"--print_field=1:name", {"1:name=a,b"}, {}},
      {"--print_field=1,2:name", {"1,2:name={a,b},c"}, {}},
      {"--print_field=id(102):name", {"id(102):name=c"}, {}},
      {"--print_field=global:fps", {"global:fps=25"}, {}},
      {"--print_field=fps", {"global:fps=25"}, {}},
      {"--print_field=name", {"env:name=e", "var:name=v", "selected:name=a,b"}, {}},
      {"--print_field=exposure", {"global:exposure=0", "selected:exposure=0"}, {}},
      {"--print_field=nothing", {}, {}},
      {"--print_field=var:nothing", {}, {}},
      {"--print_field=", {}, {}},
      {"--print_field=9:name", {}, {"\"{9:name}\": Invalid layer index 9"}},
  };
  for (const row& r : rows) {
    tried.run({r.argument});
    EXPECT_EQ(tried.out, r.out) << r.argument;
    EXPECT_EQ(tried.errors, r.errors) << r.argument;
  }
  unsetenv("name");
}

TEST(print, all_fields_of_a_scope) {
  language tried({"a", "b", "c"});
  tried.composition.doc.vars = {{"y", "1"}, {"x", "2"}};
  const auto first_and_count = [&](const std::string& argument) {
    tried.run({argument});
    return std::pair(tried.out.empty() ? "" : tried.out.front(), tried.out.size());
  };
  const std::size_t layer_fields = tried.engine.layer_field_table.size();
  EXPECT_EQ(first_and_count("--print_fields=global"),
            std::pair(std::string("global:timeline=250"), tried.engine.global_field_table.size()));
  EXPECT_EQ(first_and_count("--print_fields=selected"), std::pair(std::string("selected:name=a"), layer_fields));
  EXPECT_EQ(first_and_count("--print_fields='b'"), std::pair(std::string("'b':name=b"), layer_fields));
  EXPECT_EQ(first_and_count("--print_fields=3..2"), std::pair(std::string("3:name=c"), 2 * layer_fields));
  EXPECT_EQ(tried.out.at(layer_fields), "2:name=b");
  EXPECT_EQ(first_and_count("--print_fields=var"), std::pair(std::string("var:x=2"), std::size_t{2}));
  setenv("KESTRIN_PRINTED", "a=b", 1);
  tried.run({"--print_fields=env"});
  EXPECT_EQ(std::count(tried.out.begin(), tried.out.end(), "env:KESTRIN_PRINTED=a=b"), 1);
  const std::size_t variables = tried.out.size();
  EXPECT_EQ(first_and_count("--print_fields"),
            std::pair(std::string("global:timeline=250"),
                      tried.engine.global_field_table.size() + variables + 2 + layer_fields));
}

}  // namespace
