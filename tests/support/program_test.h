// A test that runs the program in a folder of its own.
#pragma once

#include <gtest/gtest.h>

#include "img/format.h"
#include "paths.h"
#include "support/pictures.h"
#include "support/program.h"

namespace support {

class program_test : public testing::Test {
 protected:
  using strings = std::vector<std::string>;

  temp_folder folder;

  outcome run(strings arguments, run_options options = {}) {
    if (options.folder == "/") options.folder = folder.path();
    return run_program(KESTRIN_BINARY, std::move(arguments), std::move(options));
  }
  // Through the shell, which does `before` in the same process: "ulimit -f 1;" or a redirection at its end.
  outcome run_shell(const std::string& before, strings arguments, const std::string& behind = "") {
    arguments.insert(arguments.begin(), {"-c", before + " exec \"$0\" \"$@\" " + behind, KESTRIN_BINARY});
    return run_program("/bin/sh", std::move(arguments), folder.path());
  }
  // A file of one colour: blue, green, red and maybe alpha. Makes missing parents.
  void picture(const std::string& name, const std::vector<int>& bgra = {10, 20, 30}, int width = 4, int height = 3) {
    write_file(folder / name, "");
    img::save(support::picture(bgra.size() == 4 ? "BGRA" : "BGR", width, height, bgra), folder / name, nullptr, {});
  }
  bool exists(const std::string& name) const { return std::filesystem::exists(folder / name); }
  // "PATH": text
  std::string line(const std::string& name, const std::string& text) const {
    return "\"" + folder / name + "\": " + text;
  }
};

}  // namespace support
