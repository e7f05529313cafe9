// The server by command, and the picture that it shows.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "img/formats/jpeg/format.h"
#include "platform/tcp.h"
#include "render/compositor.h"
#include "services/http/actions.h"
#include "services/http/picture.h"
#include "support/fake_clip.h"
#include "support/http_client.h"
#include "support/temp_folder.h"

namespace {

using strings = std::vector<std::string>;

class http_actions : public testing::Test {
 protected:
  support::temp_folder folder;
  ksn::state composition;
  command::engine engine{composition};
  services::http::server server;
  strings errors, output;
  std::string clipboard;
  bool has_root = true;

  void SetUp() override {
    engine.write_error = [this](const std::string& line) { errors.push_back(line); };
    engine.write_output = [this](const std::string& line) { output.push_back(line); };
    command::register_language_actions(engine);
    services::http::register_actions({engine, server,
                                      [this](std::string& root) {
                                        root = folder.path();
                                        return has_root;
                                      },
                                      [](std::string_view key) { return "<" + std::string(key) + ">"; },
                                      [this](const std::string& text) { clipboard = text; }});
  }
  void run(const std::string& line) {
    errors.clear();
    output.clear();
    engine.command_pass(command::tokenise("kestrin " + line));
  }
  std::string url() {
    std::string value;
    engine.get_field("global:http_url", value);
    return value;
  }
  std::string at(const std::string& host) const { return "http://" + host + ":" + std::to_string(server.port()) + "/"; }
};

TEST_F(http_actions, addresses_and_who_may_look) {
  const std::string users = folder / ".htpasswd";
  EXPECT_EQ(url(), "");
  run("--http_start=0");
  EXPECT_EQ(url(), at("localhost"));
  EXPECT_EQ(output,
            strings{"The HTTP server listens at " + url() + ", for this computer only; lines NAME:PASSWORD in " +
                    users + " or --http_start=ADDRESS:PORT open it to others"});
  run("--opt_http_copy_url");
  EXPECT_EQ(clipboard, url());
  EXPECT_EQ(engine.find_action("opt_http_copy_url")->title(), "<opt_http_copy_url>  " + url());
  EXPECT_TRUE(engine.action_checked("http_toggle"));
  run("--http_toggle");
  EXPECT_EQ(url(), "");
  EXPECT_FALSE(engine.action_enabled("opt_http_open_in_browser"));
  run("--http_toggle --print_field=http_url");
  EXPECT_EQ(output.back(), "global:http_url=" + at("localhost"));

  // With users it is open where no address was told.
  support::write_file(users, "ann:secret\n");
  run("--http_start");
  EXPECT_EQ(url(), at(platform::host_name()));
  EXPECT_EQ(output, strings{"The HTTP server listens at " + url()});
  EXPECT_EQ(support::http_get(server.port(), "/").substr(0, 12), "HTTP/1.0 401");
  run("--http_start=127.0.0.1:0");
  EXPECT_EQ(url(), at("127.0.0.1"));
  std::filesystem::remove(users);
  run("--http_start=0.0.0.0:0");
  EXPECT_EQ(url(), at(platform::host_name()));
  EXPECT_NE(output.at(0).find(", for everybody; "), std::string::npos) << output.at(0);

  for (const char* wrong : {"", "x", "-1", "65536", ":80", "8001x", "a:b"}) {
    run("--http_start=" + std::string(wrong));
    EXPECT_EQ(errors.size(), 1u) << wrong;
  }
  run("--http_start=none:0");
  EXPECT_EQ(errors, strings{"\"none:0\": no address in numbers"});
  EXPECT_EQ(url(), "");
  has_root = false;
  run("--http_start=localhost:0");
  EXPECT_EQ(support::http_get(server.port(), "/").substr(0, 12), "HTTP/1.0 500");

  has_root = true;
  services::http::server other;
  std::string error;
  int number = 0;
  ASSERT_TRUE(other.start("localhost", 0, {}, error, number));
  const std::string taken = std::to_string(other.port());
  run("--http_start=localhost:" + taken);
  EXPECT_EQ(errors,
            strings{"\"localhost:" + taken + "\": Address already in use; --http_start=PORT takes another port"});
}

// A file of users that can't be read must not let everybody in.
TEST_F(http_actions, users_that_can_not_be_read) {
  std::filesystem::create_directory(folder / ".htpasswd");
  run("--http_start=0");
  EXPECT_EQ(errors, strings{"\"" + folder / ".htpasswd" + "\": Open error: Is a directory"});
  EXPECT_FALSE(server.listening());
}

TEST(http_picture, is_the_output_fitted_on_its_background) {
  cache::frame_cache cache;
  ksn::state composition;
  services::http::pictures pictures(std::make_unique<render::pipeline>(cache, render::pipeline_options{}), composition);
  composition.doc.mask_size = {16, 8};
  composition.doc.back_color = ksn::back_color_type::custom;
  composition.doc.back_custom_color = {255, 10, 20, 30};
  // Larger than the output: what lies beyond it does not show in the bars.
  composition.doc.tracks.push_back(support::plain_layer(100, "BGR", 40, 40, {200, 100, 50}));
  // The window's own ways do not count.
  composition.view.zoom_factor2 = 400;
  composition.view.pan_position = {5, 5};
  composition.view.channels = ksn::view_type::luma;
  struct row {
    int width, height, left, top, right, bottom;  // of the output inside
  };
  for (const row& r : {row{32, 16, 0, 0, 32, 16}, row{32, 32, 0, 8, 32, 24}, row{40, 8, 12, 0, 28, 8},
                       row{1, 1, 0, 0, 1, 1}, row{5, 3, 0, 0, 5, 2}, row{2048, 2, 1022, 0, 1026, 2}}) {
    const img::const_image_ptr picture = pictures.draw(0.0, r.width, r.height);
    ASSERT_EQ(picture->width, r.width);
    ASSERT_EQ(picture->height, r.height);
    for (int y = 0; y < r.height; ++y) {
      for (int x = 0; x < r.width; ++x) {
        const bool inside = x >= r.left && x < r.right && y >= r.top && y < r.bottom;
        const int red = picture->row(2, y)[x];
        ASSERT_EQ(red, inside ? 50 : 10) << r.width << " x " << r.height << " at " << x << ", " << y;
      }
    }
  }
  composition.touch();
  composition.view.aspect_enabled = true;
  composition.view.aspect = 2.0;
  const img::const_image_ptr wide = pictures.draw(0.0, 32, 32);
  EXPECT_EQ(wide->row(2, 11)[0], 10);
  EXPECT_EQ(wide->row(2, 12)[0], 50);

  // Kept until something may have changed.
  EXPECT_EQ(pictures.draw(0.5, 32, 32), wide);
  EXPECT_NE(pictures.draw(1.0, 32, 32), wide);
  const img::const_image_ptr next = pictures.draw(1.0, 32, 32);
  EXPECT_EQ(pictures.draw(1.0, 32, 32), next);
  composition.touch();
  EXPECT_NE(pictures.draw(1.0, 32, 32), next);

  // As a file has it.
  const img::const_image_ptr picture = pictures.draw(0.0, 64, 48);
  support::temp_folder folder;
  img::save(*picture, folder / "a.jpg", nullptr, {});
  EXPECT_EQ(services::http::jpeg_of(*picture), support::read_file(folder / "a.jpg"));
}

}  // namespace
