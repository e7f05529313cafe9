// The bundles beside the program, and what becomes of damaged ones.
#include "ui/skin/skin.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

#include "platform/folders.h"
#include "ui/skin/drawing.h"

namespace {

// Every name that the interface asks for.
constexpr const char* all_names = R"(
a.tga a_over.tga a_pressed.tga a_pressed_over.tga adjustment_placeholder.tga audible.tga audio.tga audio_over.tga
audio_pressed.tga audio_pressed_over.tga b.tga b_over.tga b_pressed.tga b_pressed_over.tga bg.tga bg_over.tga
bg_pressed.tga bg_pressed_over.tga button.tga button_over.tga button_panel_next.tga button_panel_next_disabled.tga
button_panel_next_over.tga button_panel_next_pressed.tga button_panel_previous.tga
button_panel_previous_disabled.tga button_panel_previous_over.tga button_panel_previous_pressed.tga
button_pressed.tga button_pressed_over.tga button_stereo.tga button_stereo_l.tga button_stereo_l_over.tga
button_stereo_l_pressed.tga button_stereo_l_pressed_over.tga button_stereo_over.tga button_stereo_pressed.tga
button_stereo_pressed_over.tga button_stereo_r.tga button_stereo_r_over.tga button_stereo_r_pressed.tga
button_stereo_r_pressed_over.tga checkbox_disabled.tga checkbox_off.tga checkbox_off_over.tga checkbox_on.tga
checkbox_on_over.tga color_spot.tga data_overlay.tga data_overlay_pressed.tga ext.tga ext_over.tga ext_pressed.tga
ext_pressed_over.tga first_frame.tga first_frame_pressed.tga fps.tga fps_fixed.tga fps_fixed_over.tga
fps_fixed_pressed.tga fps_free.tga fps_free_over.tga fps_free_pressed.tga fps_over.tga fs_button.tga
fs_button_over.tga fs_button_pressed.tga fs_button_pressed_over.tga fs_first_frame.tga fs_first_frame_pressed.tga
fs_last_frame.tga fs_last_frame_pressed.tga fs_loop.tga fs_loop_pressed.tga fs_next_frame.tga
fs_next_frame_pressed.tga fs_ping-pong.tga fs_ping-pong_pressed.tga fs_play_back.tga fs_play_back_pressed.tga
fs_play_forward.tga fs_play_forward_pressed.tga fs_play_once.tga fs_play_once_pressed.tga fs_prev_frame.tga
fs_prev_frame_pressed.tga g.tga g_over.tga g_pressed.tga g_pressed_over.tga grid.tga grid_over.tga grid_pressed.tga
grid_pressed_over.tga info.tga info_over.tga info_pressed.tga info_pressed_over.tga kestrin_logo.tga
kestrin_logo_64.tga key.tga key_over.tga key_pressed.tga key_pressed_over.tga l.tga l_over.tga l_pressed.tga
l_pressed_over.tga last_frame.tga last_frame_pressed.tga loop.tga loop_pressed.tga next_frame.tga
next_frame_pressed.tga panel_lock2_disabled.tga panel_lock2_off.tga panel_lock2_off_over.tga panel_lock2_on.tga
panel_lock2_on_over.tga panel_lock3_disabled.tga panel_lock3_off.tga panel_lock3_off_over.tga panel_lock3_on.tga
panel_lock3_on_over.tga panel_title.tga pause.tga pause_pressed.tga ping-pong.tga ping-pong_pressed.tga
play_back.tga play_back_pressed.tga play_forward.tga play_forward_pressed.tga play_once.tga play_once_pressed.tga
prev_frame.tga prev_frame_pressed.tga properties.tga properties_over.tga properties_pressed.tga
properties_pressed_over.tga quality_full.tga quality_full_over.tga quality_full_pressed_over.tga quality_half.tga
quality_half_over.tga quality_half_pressed_over.tga quality_quarter.tga quality_quarter_over.tga
quality_quarter_pressed_over.tga r.tga r_over.tga r_pressed.tga r_pressed_over.tga safe.tga safe_over.tga
safe_pressed.tga safe_pressed_over.tga scroll_down.tga scroll_down_pressed.tga scroll_up.tga scroll_up_pressed.tga
server.tga server_over.tga server_pressed.tga server_pressed_over.tga small_icon_aspect.tga small_icon_layer.tga
small_icon_mask.tga small_icon_ram.tga small_icon_volume.tga small_icon_zoom.tga split_color_disabled.tga
split_color_off.tga split_color_off_over.tga split_color_on.tga split_color_on_over.tga split_scale_disabled.tga
split_scale_off.tga split_scale_off_over.tga split_scale_on.tga split_scale_on_over.tga time.tga timeline_bg.tga
tm_handle_left.tga tm_handle_left_drag.tga tm_handle_right.tga tm_handle_right_drag.tga transfer.tga transp_bg.tga
transp_bg_over.tga transp_bg_pressed.tga transp_bg_pressed_over.tga visible.tga vsync.tga vsync_over.tga
vsync_pressed.tga vsync_pressed_over.tga work_area.tga work_area_bg.tga z.tga z_over.tga z_pressed.tga
z_pressed_over.tga
)";

std::vector<std::string> names() {
  std::istringstream words(all_names);
  return {std::istream_iterator<std::string>(words), {}};
}

std::string bundle(int scale) {
  std::string folder;
  platform::get_folder(platform::folder_kind::config, false, folder);
  std::ifstream file(folder + "/skin_" + std::to_string(scale) + ".ksnskin", std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

ui::skin read(const std::string& bytes) {
  ui::skin skin;
  skin.load(bytes.data(), bytes.size());
  return skin;
}

std::string pixels(const img::image& image) {
  std::string all;
  for (int plane = 0; plane < 4; ++plane) {
    all.append(reinterpret_cast<const char*>(image.data[plane].data()), image.data[plane].size());
  }
  return all;
}

TEST(Skin, EveryNameIsThereAtBothScales) {
  ASSERT_EQ(names().size(), 204u);
  const ui::skin skins[] = {read(bundle(1)), read(bundle(2))};
  for (const std::string& name : names()) {
    const img::image* one = skins[0].image(name);
    const img::image* two = skins[1].image(name);
    ASSERT_TRUE(one && two) << name;
    EXPECT_EQ(two->user[1], (math::point{one->user[1].x * 2, one->user[1].y * 2})) << name;
    for (const img::image* image : {one, two}) {
      const math::point canvas = image->user[1];
      EXPECT_LE(image->width, canvas.x) << name;
      EXPECT_LE(image->height, canvas.y) << name;
      EXPECT_EQ(image->path, "images/" + name);
      EXPECT_EQ(image->frame, -1);
      ASSERT_EQ(image->hint[3].size(), static_cast<std::size_t>(image->height)) << name;
      std::set<int> columns;
      for (int y = 0; y < image->height; ++y) {
        const std::uint8_t* alpha = image->row(3, y);
        const img::row_hint hint = image->hint[3][static_cast<std::size_t>(y)];
        for (int x = 0; x < image->width; ++x) {
          if (alpha[x] == 0) continue;
          columns.insert(x);
          EXPECT_TRUE(x >= hint.first && x <= hint.last) << name << ' ' << x << ',' << y;
        }
      }
      // Cut to the ink on all sides.
      ASSERT_FALSE(columns.empty()) << name;
      EXPECT_EQ(*columns.begin(), 0) << name;
      EXPECT_EQ(*columns.rbegin(), image->width - 1) << name;
    }
  }
  EXPECT_EQ(skins[0].image("no such name.tga"), nullptr);
  EXPECT_EQ(skins[0].image("R.tga"), nullptr);
}

TEST(Skin, StatesDifferAndHaveOneCanvas) {
  const ui::skin skin = read(bundle(1));
  std::map<std::string, std::vector<const img::image*>> stems;
  skin.for_each([&](const std::string& name, const img::image& image) {
    std::string stem = name.substr(0, name.size() - 4);
    for (const char* suffix : {"_over", "_pressed", "_disabled", "_on", "_off", "_drag"}) {
      if (stem.ends_with(suffix)) stem.resize(stem.size() - std::string(suffix).size());
    }
    stems[stem].push_back(&image);
  });
  for (const auto& [stem, images] : stems) {
    std::set<std::string> different;
    for (const img::image* image : images) {
      different.insert(pixels(*image));
      EXPECT_EQ(image->user[1], images[0]->user[1]) << stem;
    }
    EXPECT_EQ(different.size(), images.size()) << stem;
  }
  EXPECT_EQ(skin.image("a_pressed.tga")->user[0], (math::point{8, 8}));
  EXPECT_EQ(skin.image("a_pressed.tga")->user[1], (math::point{17, 17}));
}

TEST(Skin, ADamagedBundleIsAnEmptySkin) {
  const std::string whole = bundle(1);
  const ui::skin intact = read(whole);
  ASSERT_EQ(intact.size(), 204u);
  for (std::size_t length = 0; length < whole.size(); length += 1 + length / 9) {
    EXPECT_EQ(read(whole.substr(0, length)).size(), 0u) << length;
  }
  EXPECT_EQ(read(whole.substr(0, whole.size() - 1)).size(), 0u);
  for (std::size_t at = 0; at < whole.size(); at += 1 + at / 20) {
    std::string flipped = whole;
    flipped[at] = static_cast<char>(flipped[at] ^ 0x10);
    // The same bytes can stand at several distances, so a few flips change nothing.
    const ui::skin skin = read(flipped);
    if (skin.size() == 0) continue;
    skin.for_each([&](const std::string& name, const img::image& image) {
      ASSERT_TRUE(intact.image(name)) << at;
      EXPECT_EQ(pixels(image), pixels(*intact.image(name))) << name << ' ' << at;
    });
  }
  EXPECT_EQ(read(std::string(100, '\0')).size(), 0u);
}

TEST(Skin, PicturesAreDrawnWithTheirAnchorOnThePoint) {
  const ui::skin skin = read(bundle(1));
  const img::image* plate = skin.image("r_pressed.tga");
  ASSERT_TRUE(plate);
  img::image target("BGRAZ", 8, 40, 40);
  target.fill(0, 0, 0, 255, 0);
  ui::draw_image(target, nullptr, {20, 20});
  ui::draw_image(target, plate, {20, 20});
  const auto touched = [&](int x, int y) { return target.row(1, y)[x] != 0; };
  EXPECT_TRUE(touched(20, 12) && touched(12, 20) && touched(28, 20) && touched(20, 28));
  EXPECT_FALSE(touched(20, 11) || touched(11, 20) || touched(29, 20) || touched(20, 29));
  target.fill(0, 0, 0, 255, 0);
  const math::rectangle clip{0, 0, 20, 40};
  ui::draw_image(target, plate, {20, 20}, &clip);
  EXPECT_TRUE(touched(19, 20));
  EXPECT_FALSE(touched(20, 20));
}

TEST(Skin, PaintersGetArtAndTextFromIt) {
  std::vector<std::string> lines;
  const auto report = [&](const std::string& line) { lines.push_back(line); };
  ui::skins skins(report);
  text::fonts fonts(report);
  const ui::drawing_functions functions = ui::drawing_with(skins, fonts);
  img::image target("BGRAZ", 8, 200, 60);
  target.fill(44, 44, 44, 255, 0);
  for (const int scale : {1, 2}) {
    ui::painter painter(target, functions, scale);
    EXPECT_TRUE(painter.art("grid_over", {30, 30}));
    EXPECT_FALSE(painter.art("griddle", {30, 30}));
    const math::point size = painter.measure("Exposure", "panel.label");
    EXPECT_GT(size.x, 30 * scale);
    EXPECT_LT(size.x, 80 * scale);
    painter.text("Exposure", "panel.label", {255, 226, 226, 226}, {.position = {90, 5}});
  }
  int brightest = 0;
  for (int y = 0; y < 60; ++y)
    brightest = std::max<int>(brightest, *std::max_element(target.row(0, y) + 90, target.row(0, y) + 200));
  EXPECT_GT(brightest, 200);
  EXPECT_EQ(lines, std::vector<std::string>{});
}

}  // namespace
