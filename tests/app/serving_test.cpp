// The program as a server, from outside.
#include <gtest/gtest.h>

#include "img/format.h"
#include "support/http_client.h"
#include "support/pictures.h"
#include "support/program_test.h"

namespace {

int port_in(const std::string& output) {
  const std::size_t at = output.find("http://localhost:");
  return at == output.npos ? 0 : std::atoi(output.c_str() + at + 17);
}

// Without a display and without a window: a composition, a picture of it, a change on disk, and Ctrl+C.
TEST(serving, shows_a_composition_until_it_is_interrupted) {
  const support::temp_folder folder;
  const std::string path = folder / "a.tga";
  support::write_file(path, "");
  img::save(support::picture("BGR", 64, 36, {10, 60, 200}), path, nullptr, {});
  support::process program(
      {KESTRIN_BINARY, path, "--mask_size=64,36", "--auto_update=1", "--http_start=localhost:0", "--serve", "--exit"},
      {folder.path(),
       {{"DISPLAY", ""}, {"WAYLAND_DISPLAY", ""}, {"XDG_CONFIG_HOME", folder.path()}, {"XDG_DATA_HOME", folder.path()}},
       folder / "out",
       folder / "errors"});
  int port = 0;
  ASSERT_TRUE(support::wait_until([&] {
    port = port_in(support::read_file(folder / "out"));
    return port > 0 || !program.running();
  }));
  ASSERT_GT(port, 0) << support::read_file(folder / "errors");
  const auto color = [&] {
    support::write_file(folder / "shown.jpg", support::http_body(support::http_get(port, "/64,36")));
    img::image shown;
    img::load(shown, folder / "shown.jpg");
    return std::vector<int>{shown.row(0, 18)[32], shown.row(1, 18)[32], shown.row(2, 18)[32]};
  };
  const auto near = [](const std::vector<int>& a, const std::vector<int>& b) {
    for (std::size_t i = 0; i < 3; ++i) {
      if (std::abs(a[i] - b[i]) > 4) return false;
    }
    return true;
  };
  EXPECT_TRUE(near(color(), {10, 60, 200}));
  EXPECT_NE(support::http_get(port, "/").find("Content-Type: text/html"), std::string::npos);
  // A render that writes over the frame shows.
  img::save(support::picture("BGR", 64, 36, {200, 60, 10}), folder / "b.tga", nullptr, {});
  std::filesystem::last_write_time(folder / "b.tga", std::filesystem::last_write_time(path) + std::chrono::seconds(10));
  std::filesystem::rename(folder / "b.tga", path);
  EXPECT_TRUE(support::wait_until([&] { return near(color(), {200, 60, 10}); }));
  program.send(SIGTERM);
  EXPECT_EQ(program.wait_for_end(), 128 + SIGTERM);
  EXPECT_EQ(support::read_file(folder / "errors"), "");
}

TEST(serving, an_address_that_is_not_ours_ends_it) {
  const support::outcome run = support::run_program(KESTRIN_BINARY, {"--http_start=192.0.2.1:8001", "--serve"}, "/");
  EXPECT_EQ(run.code, 1);
  EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
  ASSERT_FALSE(run.error_lines().empty());
  EXPECT_EQ(run.error_lines()[0], "\"192.0.2.1:8001\": Cannot assign requested address");
}

}  // namespace
