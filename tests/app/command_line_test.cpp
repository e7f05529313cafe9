// The program from outside: command lines and files, what they print, and how they end.
#include "support/program_test.h"

namespace {

class command_line : public support::program_test {};

TEST_F(command_line, ends) {
  struct row {
    strings arguments;
    int code;
    bool prints;
    std::size_t error_lines;
  };
  const row rows[] = {
      {{"--exit"}, 0, false, 0},
      {{"--exit=status"}, 0, false, 0},
      {{"--nonsense", "--exit"}, 0, false, 1},
      {{"--nonsense", "--exit=status"}, 1, false, 1},
      {{"--exit=status", "--nonsense"}, 0, false, 0},
      {{"--exit=state", "--exit"}, 0, false, 1},
      {{"--exit", "--print_fields"}, 0, false, 0},
      {{"--help"}, 0, true, 0},
      {{"--version"}, 0, true, 0},
      {{}, 0, true, 0},               // no display: how to begin
      {{"--fps=24"}, 255, false, 1},  // no window can be opened
      {{"none.tga"}, 255, false, 2},
      {{"--attach", "--exit"}, 0, false, 1},
  };
  for (const row& r : rows) {
    const support::outcome found = run(r.arguments);
    const std::string shown = r.arguments.empty() ? "" : r.arguments[0];
    EXPECT_EQ(found.code, r.code) << shown;
    EXPECT_EQ(!found.out.empty(), r.prints) << shown << found.out;
    EXPECT_EQ(found.error_lines().size(), r.error_lines) << shown << found.errors;
  }
}

TEST_F(command_line, names_with_every_kind_of_character) {
  const strings names = {
      "a b.tga",      "it's.tga", "say \"hi\".tga",  "100%.tga",      "%%.tga",
      "%PATH%.tga",   "{x}.tga",  "a,b.tga",         "a=b.tga",       "gr\xC3\xBC\xC3\x9F \xE6\x97\xA5\xE6\x9C\xAC.tga",
      "\xFF\xFE.tga", "-x.tga",   "back\\slash.tga", "new\nline.tga", "folder.ksncomp/a.tga",
      "#.tga",        "[1-2].tga"};
  for (const std::string& name : names) {
    picture(name);
    const std::string file = name.substr(name.rfind('/') + 1);
    const support::outcome found = run({name, "--still_image", "--print_field=1:name", "--exit=status"});
    EXPECT_EQ(found.out, "1:name=" + file + "\n") << name;
    EXPECT_EQ(found.errors, "") << name;
    EXPECT_EQ(found.code, 0) << name;
  }
}

TEST_F(command_line, what_is_printed_as_json_and_into_a_log) {
  picture("a.tga");
  picture("b.01.tga");
  picture("b.02.tga");
  const support::outcome found =
      run({"--log=run.log", "--json", "a.tga", "--1:opacity=50", "--1:name=a \"b\"\n\xFF", "--print_field=1:name",
           "--print_field=1:opacity", "--print_field=1:position", "--print_field=1:visible", "--nonsense", "--json=0",
           "--print_field=1:opacity", "--exit"});
  EXPECT_EQ(found.out_lines(),
            (strings{R"({"scope":"1","name":"name","value":"a \"b\"\n\ufffd"})",
                     R"({"scope":"1","name":"opacity","value":50})", R"({"scope":"1","name":"position","value":[0,0]})",
                     R"({"scope":"1","name":"visible","value":true})", "1:opacity=50"}));
  const std::string log = support::read_file(folder / "run.log");
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 6);
  EXPECT_NE(log.find(" error \"--nonsense\": Invalid option"), log.npos) << log;
  EXPECT_EQ(run({"b.%02d.tga", "--print_field=1:frames", "--exit"}).out, "1:frames=2\n");
  EXPECT_EQ(run({"--", "a.tga", "--exit"}).error_lines().size(), 2u)
      << "--exit is a path there, and nothing ends the run";
}

TEST_F(command_line, sources_that_are_none) {
  support::write_file(folder / "folder/readme", "");
  struct row {
    strings arguments;
    strings errors;
  };
  const row rows[] = {
      {{"none.tga"}, {line("none.tga", "Open error 2 (0x00000002)")}},
      {{"none/none.tga"}, {line("none/none.tga", "Open error 2 (0x00000002)")}},
      {{"none.####.tga"}, {line("none.####.tga", "Path contains no images")}},
      {{"folder"}, {line("folder", "Path contains no images")}},
      {{"none.ksncmd"}, {line("none.ksncmd", "Open error")}},
      {{"folder/../none.tga"}, {line("none.tga", "Open error 2 (0x00000002)")}},
  };
  for (const row& r : rows) {
    strings arguments = r.arguments;
    arguments.insert(arguments.end(), {"--print_field=1:name", "--exit"});
    const support::outcome found = run(arguments);
    strings errors = r.errors;
    errors.push_back("\"{1:name}\": Invalid layer index 1");
    EXPECT_EQ(found.error_lines(), errors) << r.arguments[0];
    EXPECT_EQ(found.out, "") << r.arguments[0];
    EXPECT_EQ(found.code, 0) << r.arguments[0];
  }
}

TEST_F(command_line, command_files) {
  support::write_file(folder / "self.ksncmd",
                      "\xEF\xBB\xBF// a comment\r\n--var:a=1\r\nself.ksncmd\r\n\"--var:b=2 3\"\r\n");
  support::write_file(folder / "outer file.ksncmd",
                      "self.ksncmd\n--execute_cmdfile=none.txt --print_fields=var\n--exit\n");
  const support::outcome found = run({"outer file.ksncmd", "--print_fields"});
  EXPECT_EQ(found.error_lines(),
            (strings{line("self.ksncmd", "File includes itself"), line("none.txt", "Open error")}));
  EXPECT_EQ(found.out_lines(), (strings{"var:a=1", "var:b=2 3"}));
  EXPECT_EQ(found.code, 0);
  const support::outcome endless = run({"--execute_cmdfile=/dev/zero", "--exit=status"});
  EXPECT_EQ(endless.error_lines(), strings{"\"/dev/zero\": Open error"});
  EXPECT_EQ(endless.code, 1);
}

TEST_F(command_line, standard_streams) {
  // Failing to print is an error, and no file that is opened takes the place of a stream.
  const support::outcome full = run_shell("", {"--print_fields=global", "--fps=0", "--exit=status"}, ">/dev/full");
  EXPECT_EQ(full.error_lines(),
            (strings{"Invalid value \"0\" for global field \"fps\"", "\"standard output\": No space left on device"}));
  EXPECT_EQ(full.code, 1);
  const support::outcome closed =
      run_shell("",
                {"--execute_cmdfile=/proc/self/fd/0", "--execute_cmdfile=/proc/self/fd/1",
                 "--execute_cmdfile=/proc/self/fd/2", "--print_fields=global", "--exit=status"},
                "<&- >&- 2>&-");
  EXPECT_EQ(closed.code, 0);
  // A pipe holds less than what is printed, and nobody reads it.
  run_shell("",
            {"--var:x=" + std::string(100000, 'x'), "--print_field=var:x", "--print_field=var:x",
             "--save_composition_as=kept", "--exit"},
            "| :");
  EXPECT_TRUE(exists("kept.ksncomp"));
}

TEST_F(command_line, no_more_threads) {
  picture("a.tga");
  const std::string limits = "ulimit -s 4000000; ulimit -v 3500000;";  // a stack of 4 GB in less memory
  if (run_shell(limits, {"--exit"}).code != 0) GTEST_SKIP() << "the limits can't be set, or a sanitizer needs more";
  const support::outcome found =
      run_shell(limits, {"a.tga", "--mask_size=1920,1080", "--save_mask_as_image=out.png", "--exit=status"});
  EXPECT_EQ(found.errors, "");
  EXPECT_TRUE(exists("out.png"));
}

TEST_F(command_line, ten_thousand_arguments) {
  strings options;
  for (int i = 0; i < 10000; ++i) options.push_back("--var:v" + std::to_string(i % 100) + "=" + std::to_string(i));
  options.insert(options.end(), {"--print_field=var:v99", "--exit"});
  const support::outcome set = run(options);
  EXPECT_EQ(set.out, "var:v99=9999\n");
  EXPECT_EQ(set.errors, "");

  picture("a.tga");
  strings layers;
  for (int i = 0; i < 5000; ++i) layers.insert(layers.end(), {"a.tga", "--still_image"});
  layers.insert(layers.end(), {"--5000:name=last", "--print_field=-1:name", "--exit"});
  const support::outcome added = run(layers);
  EXPECT_EQ(added.out, "-1:name=last\n");
  EXPECT_EQ(added.errors, "");
}

TEST_F(command_line, arguments_of_ten_megabytes) {
  const std::size_t size = 10 << 20;
  const std::string long_text(size, 'x');
  std::string commas;
  std::string brackets;
  std::string folders;
  while (commas.size() < size) commas += "1,";
  while (brackets.size() < size) brackets += "%{";
  while (folders.size() < size) folders += "a/";
  struct row {
    std::string text;
    std::size_t error_lines;
  };
  const row rows[] = {
      {"--var:v=" + long_text, 0},
      {"--" + long_text, 1},
      {"--" + long_text + ":opacity=1", 1},
      {long_text, 1},
      {"--" + commas + "1:opacity=1", 1},
      {"--!1:opacity=" + commas, 1},
      {"--var:v=" + brackets, 1},
      {"--var:v=" + brackets + std::string(size / 2, '}'), 1},
      {"--var:v=" + std::string(size, '%') + "{x", 0},
      {"--var:v=\"" + std::string(size, '\\') + "\"", 0},
      {"--'" + long_text + "':name=" + long_text, 1},
      {std::string(size, '"'), 0},
      {std::string(size, '\n'), 0},
      {"--1:crop=" + commas, 1},
      {"--save_mask_as_image=" + folders + "x.tga", 1},
      {"--save_composition_as=" + folders + "x", 1},
      {"--save_composition_as=" + folders, 1},
  };
  for (const row& r : rows) {
    support::write_file(folder / "long.ksncmd", r.text + "\n--print_field=fps --exit");
    const support::outcome found = run({"long.ksncmd"});
    EXPECT_EQ(found.code, 0) << r.text.substr(0, 20);
    EXPECT_EQ(found.out, "global:fps=25\n") << r.text.substr(0, 20);
    EXPECT_EQ(found.error_lines().size(), r.error_lines) << r.text.substr(0, 20) << found.errors.substr(0, 200);
  }
}

}  // namespace
