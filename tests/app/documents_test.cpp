// Documents and lists over several runs of the program.
#include "composition/documents/persistence.h"
#include "support/program_test.h"

namespace {

// One user with a home of its own, over all runs of a test.
class documents : public support::program_test {
 protected:
  support::temp_folder home;

  std::string site;  // KESTRIN_SITE

  support::outcome run(strings arguments) {
    arguments.push_back("--exit=status");
    support::run_options options;
    options.environment = {
        {"XDG_CONFIG_HOME", home / "config"}, {"XDG_DATA_HOME", home / "data"}, {"KESTRIN_SITE", site}};
    return program_test::run(std::move(arguments), std::move(options));
  }
  static std::string shown(const support::outcome& found) { return found.out + found.errors; }
};

TEST_F(documents, a_composition_opens_with_its_sequence) {
  for (const char* name : {"shot/s.1.tga", "shot/s.2.tga", "shot/s.3.tga", "shot/other.tga"}) picture(name);
  const strings fields = {"--print_fields=global", "--print_fields=1", "--print_fields=var"};
  for (const char* name : {"shot/a.ksncomp", "shot/a.xml"}) {
    strings arguments = {"shot/s.#.tga",         "--opacity=40", "--in_point=1",
                         "--exposure=0.5",       "--text=a <b>", "--fps=24",
                         "--global_aspect=1.25", "--var:x= y ",  std::string("--save_composition_as=") + name};
    arguments.insert(arguments.end(), fields.begin(), fields.end());
    const support::outcome saved = run(arguments);
    EXPECT_EQ(saved.errors, "");
    arguments = {std::string("--open_composition=") + name};
    if (std::string(name).ends_with(".ksncomp")) arguments = {name};
    arguments.insert(arguments.end(), fields.begin(), fields.end());
    const support::outcome opened = run(arguments);
    EXPECT_EQ(opened.out, saved.out) << name;
    EXPECT_EQ(opened.errors, "") << name;
  }
  // Relative paths are those of the composition from then on, and its frames moved with it.
  std::filesystem::rename(folder / "shot", folder / "moved");
  const support::outcome found =
      run({"moved/a.ksncomp", "other.tga", "--still_image", "--print_field=1:name", "--2:opacity=100",
           "--save_mask_as_sequence=out.#.tga", "--print_field=2:length"});
  EXPECT_EQ(shown(found), "1:name=other.tga\n2:length=2\n");
  EXPECT_TRUE(std::filesystem::exists(folder / "moved/out.1.tga"));
}

TEST_F(documents, a_broken_file_costs_one_line) {
  picture("a.tga");
  ASSERT_EQ(shown(run({"a.tga", "--opacity=40", "--save_composition_as=whole.ksncomp"})), "");
  ASSERT_EQ(shown(run({"whole.ksncomp", "--save_composition_as=whole.xml"})), "");
  const std::string binary = support::read_file(folder / "whole.ksncomp");
  const std::string xml = support::read_file(folder / "whole.xml");
  support::write_file(folder / "cut.ksncomp", binary.substr(0, binary.size() / 2));
  support::write_file(folder / "empty.ksncomp", "");
  support::write_file(folder / "cut.xml", xml.substr(0, xml.find("<f name=\"opacity\"")));
  support::write_file(folder / "nested.xml", xml.substr(0, xml.find("<f name=\"grid\"")) + "<r><r><r>");
  for (const char* name : {"cut.ksncomp", "empty.ksncomp", "cut.xml", "nested.xml", "none.ksncomp"}) {
    const support::outcome found =
        run({"a.tga", "--name=kept", "--opacity=30", std::string("--open_composition=") + name, "--open_unsaved=1",
             "--print_field=1:name", "--print_field=1:opacity"});
    EXPECT_EQ(found.error_lines().size(), 1u) << found.errors;
    EXPECT_TRUE(found.errors.starts_with("\"" + folder / name + "\": ")) << found.errors;
    EXPECT_EQ(found.out, "1:name=kept\n1:opacity=30\n") << name;
  }
}

// Half a document has no name, so that it is saved over nothing.
TEST_F(documents, a_broken_file_is_not_saved_over_another) {
  picture("a.tga");
  ASSERT_EQ(shown(run({"a.tga", "--save_composition_as=whole.ksncomp"})), "");
  const std::string before = support::read_file(folder / "whole.ksncomp");
  support::write_file(folder / "cut.ksncomp", before.substr(0, before.size() / 2));
  const support::outcome broken = run({"whole.ksncomp", "--open_composition=cut.ksncomp", "--save_composition"});
  EXPECT_EQ(broken.error_lines().size(), 2u);
  EXPECT_TRUE(broken.errors.ends_with("\"--save_composition\": The composition has no name yet\n")) << broken.errors;
  EXPECT_TRUE(support::read_file(folder / "whole.ksncomp") == before);
  for (const char* none : {"--save_composition_as=", "--save_composition_as=./", "--open_composition="}) {
    EXPECT_EQ(run({"a.tga", none}).error_lines(), strings{"\"" + std::string(none) + "\": Invalid option"});
  }
  EXPECT_FALSE(exists(".ksncomp"));
  // A file that isn't there changes nothing.
  const support::outcome gone =
      run({"whole.ksncomp", "--fps=30", "--open_composition=none.ksncomp", "--save_composition"});
  EXPECT_EQ(gone.error_lines().size(), 1u);
  EXPECT_EQ(shown(run({"whole.ksncomp", "--print_field=fps"})), "global:fps=30\n");
}

TEST_F(documents, lists_outlast_the_runs) {
  for (const char* name : {"a.tga", "b.tga", "c.tga"}) picture(name);
  const auto still = [&](const char* name) { return run({name, "--still_image", "--print_field=1:name"}); };
  for (const char* name : {"a.tga", "b.tga", "c.tga", "a.tga"}) EXPECT_EQ(still(name).errors, "");
  EXPECT_EQ(shown(run({"--add_recent=1", "--print_field=1:name"})), "1:name=a.tga\n");
  EXPECT_EQ(shown(run({"--add_recent=3", "--print_field=1:name"})), "1:name=b.tga\n");
  EXPECT_EQ(shown(run({"--add_recent", "--print_field=1:name"})), "1:name=b.tga\n") << "it came again";
  EXPECT_EQ(run({"--add_recent=4"}).errors, "\"--add_recent=4\": No such item\n");
  EXPECT_EQ(run({"--open_unsaved=1"}).errors, "\"--open_unsaved=1\": No such item\n");
  EXPECT_EQ(run({"--open_recent=x"}).errors, "\"--open_recent=x\": No such item\n");

  EXPECT_EQ(shown(run({"a.tga", "--name=one", "--save_composition_as=1.ksncomp"})), "");
  EXPECT_EQ(shown(run({"b.tga", "--name=two", "--save_composition_as=2.xml"})), "");
  EXPECT_EQ(shown(run({"--open_recent=1", "--print_field=1:name"})), "1:name=two\n");
  EXPECT_EQ(shown(run({"--open_recent=2", "--print_field=1:name"})), "1:name=one\n");
  EXPECT_EQ(shown(run({"--open_recent=1", "--print_field=1:name"})), "1:name=one\n");

  // A document that a run replaces can be opened again in a later one.
  EXPECT_EQ(shown(run({"c.tga", "--name=lost", "--new_composition"})), "");
  EXPECT_EQ(shown(run({"--open_unsaved=1", "--print_field=1:name"})), "1:name=lost\n");

  // A transient run leaves no trace in the lists.
  EXPECT_EQ(shown(run({"--transient", "b.tga"})), "");
  EXPECT_EQ(shown(run({"--add_recent=1", "--print_field=1:name"})), "1:name=c.tga\n");
}

TEST_F(documents, settings_are_read_and_not_written_without_a_window) {
  ksn::composition_view settings;
  settings.settings.default_cfps = 3000;
  settings.settings.volume = 40;
  const std::string path = home / "config/Kestrin/kestrin.settings.dat";
  std::filesystem::create_directories(home / "config/Kestrin");
  ksn::save_settings_file(settings, path);
  const std::string before = support::read_file(path);
  EXPECT_EQ(shown(run({"--print_field=fps", "--print_field=global_volume", "--global_volume=10"})),
            "global:fps=30\nglobal:global_volume=40\n");
  EXPECT_TRUE(support::read_file(path) == before);
  support::write_file(path, before.substr(0, before.size() / 2));
  EXPECT_EQ(run({"--print_field=fps"}).errors, "");
}

TEST_F(documents, a_site_comes_before_the_user) {
  picture("a.tga");
  site = home / "site";
  const auto write_settings = [](const std::string& path, int rate) {
    ksn::composition_view settings;
    settings.settings.default_cfps = rate * 100;
    support::write_file(path, "");
    ksn::save_settings_file(settings, path);
  };
  write_settings(site + "/kestrin.settings.dat", 30);
  support::write_file(site + "/start.ksncmd", "// for all\n--var:studio=ours --global_volume=7\n");
  support::write_file(site + "/messages.txt", "save_layer_as.missing_frame=no such frame\n");
  support::write_file(site + "/keydefs.txt", "Ctrl+F12 save_composition\n");
  support::write_file(site + "/LUTs/show.cube", "LUT_1D_SIZE 2\n0 0 0\n1 1 1\n");
  const strings look = {"a.tga",
                        "--lookup_table=show.cube",
                        "--print_field=fps",
                        "--print_field=var:studio",
                        "--print_field=1:lookup_table",
                        "--set_time=5",
                        "--save_frame_as=x.tga"};
  const auto lines_of = [&](bool plain) {
    strings arguments = look;
    if (plain) arguments.insert(arguments.begin() + 3, "--no_settings");
    return shown(run(arguments));
  };
  const std::string missing = "\"" + folder / "x.tga" + "\": ";
  EXPECT_EQ(lines_of(false),
            "global:fps=30\nvar:studio=ours\n1:lookup_table=show.cube\n" + missing + "no such frame\n");
  EXPECT_NE(run({"--help=keys"}).out.find("Ctrl+F12"), std::string::npos);
  // The user's own settings take the place of the site's.
  write_settings(home / "config/Kestrin/kestrin.settings.dat", 24);
  EXPECT_EQ(lines_of(false).substr(0, 14), "global:fps=24\n");
  const support::outcome plain = run({"a.tga", "--no_settings", "--lookup_table=show.cube", "--print_field=fps",
                                      "--print_field=global_volume", "--set_time=5", "--save_frame_as=x.tga"});
  EXPECT_EQ(plain.out, "global:fps=25\nglobal:global_volume=100\n");
  EXPECT_EQ(plain.error_lines(), (strings{"Invalid value \"show.cube\" for layer field \"lookup_table\"",
                                          missing + "The frame is missing"}));
  EXPECT_EQ(run({"--no_settings", "--help=keys"}).out.find("Ctrl+F12"), std::string::npos);

  site = home / "none";
  EXPECT_EQ(run({}).errors, "\"" + site + "\": KESTRIN_SITE names no folder; it takes an absolute path\n");
  EXPECT_EQ(run({"--no_settings"}).errors, "");
}

TEST_F(documents, a_limit_on_files_leaves_the_old_one) {
  picture("a.tga");
  for (const char* name : {"a.ksncomp", "a.xml"}) {
    const std::string save = std::string("--save_composition_as=") + name;
    ASSERT_EQ(shown(run({"a.tga", "--name=old", save})), "");
    const std::string before = support::read_file(folder / name);
    strings arguments;
    for (int i = 0; i < 300; ++i)
      arguments.push_back("--var:v" + std::to_string(i * 7919) + "=" + std::to_string(i * i));
    arguments.insert(arguments.end(), {save, "--transient", "--exit=status"});
    const support::outcome found = run_shell("ulimit -f 1;", arguments);
    EXPECT_EQ(found.code, 1);
    EXPECT_EQ(found.error_lines(), strings{line(name, "io::write_error: File too large")});
    EXPECT_TRUE(support::read_file(folder / name) == before);
  }
}

// A home that can't be written costs a note. A document that can't be filed away is not replaced.
TEST_F(documents, a_home_that_cannot_be_written) {
  picture("a.tga");
  ASSERT_EQ(shown(run({"--transient", "a.tga", "--name=filed", "--save_composition_as=a.ksncomp"})), "");
  std::filesystem::remove_all(home / "data/Kestrin");
  std::filesystem::create_directories(home / "data/Kestrin/kestrin.recent.xml");
  support::write_file(home / "data/Kestrin/unsaved", "no folder");
  EXPECT_EQ(shown(run({"a.ksncomp", "--print_field=1:name", "--save_composition_as=b.ksncomp"})), "1:name=filed\n");
  const support::outcome found =
      run({"a.tga", "--name=present", "--open_composition=a.ksncomp", "--print_field=1:name"});
  EXPECT_EQ(found.out, "1:name=present\n");
  EXPECT_EQ(found.error_lines().size(), 1u) << found.errors;
}

}  // namespace
