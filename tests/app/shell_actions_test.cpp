// Pictures and files that go to other programs, with scripts in their place that note what they are given.
#include <sys/stat.h>

#include <regex>

#include "support/program_test.h"
#include "support/wait.h"

namespace {

class shell_actions : public support::program_test {
 protected:
  void script(const std::string& name, int code = 0) const {
    const std::string told = folder / "told";
    support::write_file(folder / ("bin/" + name), "#!/bin/sh\nprintf '%s|' " + name + " \"$@\" > " + told +
                                                      ".part\nmv " + told + ".part " + told + "\nexit " +
                                                      std::to_string(code) + "\n");
    chmod((folder / ("bin/" + name)).c_str(), 0755);
  }
  // What a script was given by a run with these arguments.
  std::string told(strings arguments, const std::string& path) {
    std::remove((folder / "told").c_str());
    arguments.push_back("--exit=status");
    support::run_options options;
    options.environment = {{"PATH", path}, {"TMPDIR", folder / "tmp"}};
    std::filesystem::create_directory(folder / "tmp");
    const support::outcome found = run(arguments, options);
    if (!found.errors.empty()) return found.errors;
    support::wait_until([&] { return exists("told"); }, std::chrono::seconds(60));
    return support::read_file(folder / "told");
  }
};

TEST_F(shell_actions, give_a_picture_to_the_mail_program_and_a_file_to_its_own) {
  for (int i = 0; i < 3; ++i) picture("a." + std::to_string(i) + ".tga");
  for (const char* name : {"xdg-email", "xdg-open"}) script(name);
  const std::string with = folder / "bin:/usr/bin:/bin";
  for (const char* kind : {"screen", "mask", "frame"}) {
    for (const auto& [word, extension] : std::map<std::string, std::string>{{"jpeg", "jpg"}, {"png", "png"}}) {
      const std::string text = told({"a.#.tga", std::string("--mail_") + kind + "_as_" + word}, with);
      std::smatch path;
      ASSERT_TRUE(std::regex_match(
          text, path, std::regex(R"(xdg-email\|--attach\|(.*/kestrin_\d{8}_\d{6}(_\d)?\.)" + extension + R"()\|)")))
          << text;
      img::image image;
      img::load(image, path[1]);
      EXPECT_GT(image.width, 0) << text;
    }
  }
  EXPECT_EQ(told({"a.#.tga", "--time=1", "--open_with"}, with), "xdg-open|" + folder / "a.1.tga|");
  EXPECT_EQ(told({"--new_adjustment_layer", "--name=grade", "--open_with"}, with),
            "\"grade\": The layer has no file\n");
  EXPECT_EQ(told({"--mail_frame_as_png"}, with).find("\"--save_frame_as="), 0u) << "no layer";

  // A desktop that has the tools, and nothing behind them.
  for (const char* name : {"xdg-email", "xdg-open"}) script(name, 3);
  EXPECT_EQ(told({"a.#.tga", "--open_with"}, with),
            line("a.0.tga", "xdg-open found no program that opens it (exit code 3)\n"));
  EXPECT_NE(told({"a.#.tga", "--mail_mask_as_png"}, with)
                .find(".png\": xdg-email found no program that mails it (exit code 3)\n"),
            std::string::npos);

  const std::string without = folder / "nothing";
  EXPECT_EQ(told({"a.#.tga", "--open_with"}, without), line("a.0.tga", "xdg-open is not installed\n"));
  for (const char* name : {"--locate_in_explorer", "--reveal_in_finder", "--open_containing_folder"})
    EXPECT_EQ(told({"a.#.tga", name}, without), line("a.0.tga", "xdg-open is not installed\n")) << name;
  EXPECT_NE(told({"a.#.tga", "--mail_mask_as_png"}, without).find(": xdg-email is not installed\n"), std::string::npos);
}

}  // namespace
