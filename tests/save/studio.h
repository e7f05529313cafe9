// A small program without a window for tests of saves.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "command/engine.h"
#include "save/actions.h"
#include "save/save.h"
#include "support/pictures.h"
#include "support/temp_folder.h"

namespace save_tests {

// Document, cache, pipeline and command language as the program has them, with every line and callback noted.
class studio : public ::testing::Test {
 protected:
  using text_list = std::vector<std::string>;

  studio() {
    frames.memory_load = [] { return 0; };
    engine.write_error = [this](const std::string& line) { lines.push_back(line); };
    composition.hooks.report_error = [this](const std::string& line) { engine.report(line); };
    command::register_fields(engine);
    command::register_language_actions(engine);
    command::register_document_actions(engine);
    save::register_save_actions(engine, pipeline,
                                {[this](const save::progress& p) { shown.push_back(p); },
                                 [this] { return cancel_after >= 0 && --cancel_after < 0; },
                                 [this](const std::string& path) { saved.push_back(path); }, nullptr, nullptr});
  }

  // A gray level for each frame, 16 x 8; a negative level is a broken file.
  void sequence(const std::string& name, const std::vector<int>& levels, const char* letters = "BGR") {
    for (std::size_t i = 0; i < levels.size(); ++i) {
      const std::string path = folder / (name + "." + std::to_string(1001 + i) + ".tga");
      if (levels[i] < 0) {
        support::write_file(path, "short");
      } else {
        const int level = levels[i];
        img::save(support::picture(letters, 16, 8, {level, level, level, 128}), path, nullptr, {});
      }
    }
  }
  // Index 0 of the arguments is the program. Returns the error lines.
  text_list run(text_list arguments) {
    lines.clear();
    arguments.insert(arguments.begin(), "kestrin");
    engine.command_pass(arguments);
    return lines;
  }
  // A layer of these levels, and a mask of the size of its frames.
  void open_sequence(const std::vector<int>& levels, const char* letters = "BGR") {
    sequence("a", levels, letters);
    EXPECT_EQ(run({folder / "a.1001.tga", "--mask_size=16,8"}), text_list());
  }
  std::string out(const std::string& name) const { return folder / ("out/" + name); }
  static img::image loaded(const std::string& path) {
    img::image image;
    if (std::filesystem::exists(path)) img::load(image, path);
    return image;
  }
  // The level of the first pixel, -1 for no such file.
  static int level_of(const std::string& path) {
    const img::image image = loaded(path);
    return image.empty() ? -1 : image.row(0, 0)[0];
  }
  static text_list files_of(const std::string& path) {
    text_list names;
    for (const auto& entry : std::filesystem::directory_iterator(path)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }

  support::temp_folder folder;
  ksn::state composition;
  cache::frame_cache frames;
  cache::frame_scheduler reading{frames};
  command::engine engine{composition};
  text_list lines;
  render::pipeline pipeline{frames, {true, [this](const std::string& line) { engine.report(line); }, {}, &reading}};
  std::vector<save::progress> shown;
  text_list saved;
  int cancel_after = -1;
};

}  // namespace save_tests
