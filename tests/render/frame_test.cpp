#include <gtest/gtest.h>

#include "render/compositor.h"
#include "support/fake_clip.h"
#include "support/levels.h"

namespace {

using ksn::back_color_type;
using ksn::source_type;
using ksn::target_view_type;

class frame_test : public testing::Test {
 protected:
  frame_test() {
    cache.memory_load = [] { return 0; };
    view.width = 4;
    view.height = 2;
  }

  // Adds a layer of 4 by 2 pixels of one colour below the others and returns its record until the next one is added.
  ksn::track_info& add(std::string letters, std::vector<int> values, target_view_type eye = target_view_type::both) {
    composition.tracks.push_back(support::plain_layer(100, letters, 4, 2, values));
    ksn::track_info& track = composition.tracks.back();
    track.target_view = eye;
    if (letters == "BGRA") track.alpha_type = ksn::alpha_type::normal;
    return track;
  }
  int reads(int index) { return std::static_pointer_cast<support::fake_clip>(composition.track_at(index).clip)->reads; }
  img::image render(double time = 0.0) {
    img::image target;
    render::render_frame(pipeline, composition, target, view, time);
    return target;
  }
  // Blue, green, red, alpha, depth of one pixel.
  static std::vector<int> pixel(const img::image& image, int x, int y) {
    std::vector<int> values;
    for (int p = 0; p < 5; ++p) values.push_back(image.row(p, y)[x]);
    return values;
  }

  cache::frame_cache cache;
  render::pipeline pipeline{cache, {}};
  ksn::state composition;
  render::frame_view view;
};

using values = std::vector<int>;

TEST_F(frame_test, background) {
  composition.back_custom_color = {255, 1, 2, 3};
  const std::map<back_color_type, values> colors{
      {back_color_type::black, {0, 0, 0, 0, 0}},       {back_color_type::dark_grey, {50, 50, 50, 0, 0}},
      {back_color_type::green, {0, 255, 0, 0, 0}},     {back_color_type::blue, {255, 0, 0, 0, 0}},
      {back_color_type::magenta, {255, 0, 255, 0, 0}}, {back_color_type::white, {255, 255, 255, 0, 0}},
      {back_color_type::transparent, {0, 0, 0, 0, 0}}, {back_color_type::custom, {3, 2, 1, 0, 0}},
  };
  for (const auto& [color, expected] : colors) {
    composition.back_color = color;
    const img::image frame = render();
    EXPECT_EQ(support::letters_of(frame), "BGRAZ");
    EXPECT_EQ(frame.width, 4);
    EXPECT_EQ(frame.height, 2);
    for (int x = 0; x < 4; ++x) EXPECT_EQ(pixel(frame, x, 1), expected) << ksn::word_of(color);
  }
}

TEST_F(frame_test, number_time_code_and_rate) {
  composition.fpcs = 2500;
  const img::image frame = render(76.9);
  EXPECT_EQ(frame.frame, 76);
  EXPECT_EQ(img::to_text(frame.timecode), "00:00:03:01");
  EXPECT_EQ(frame.frame_rate_nm, 2500);
  EXPECT_EQ(frame.frame_rate_dn, 100);
  EXPECT_TRUE(frame.path.empty());
}

TEST_F(frame_test, layers_stand_from_the_last_to_the_first) {
  add("BGR", {10, 20, 30});
  add("BGR", {40, 50, 60});
  EXPECT_EQ(pixel(render(), 3, 1), (values{10, 20, 30, 255, 0}));
  composition.track_at(0).visible = false;
  EXPECT_EQ(pixel(render(1.0), 3, 1), (values{41, 50, 60, 255, 0}));
}

TEST_F(frame_test, only_layers_that_take_part_are_fetched) {
  ksn::track_info matte = support::plain_layer(1, "BGRA", 4, 2, {1, 2, 3, 128});
  ksn::track_info plate = support::plain_layer(1, "BGR", 4, 2, {10, 20, 30});
  ksn::track_info hidden = support::plain_layer(1, "BGR", 4, 2, {70, 80, 90});
  ksn::track_info far = support::plain_layer(1, "L", 4, 2, {99});
  plate.alpha_source_id = matte.id;
  plate.alpha_type = ksn::alpha_type::normal;
  plate.opacity = 50;
  matte.alpha_source_id = far.id;  // a chain is fetched to its end
  matte.visible = hidden.visible = far.visible = false;
  composition.tracks = {matte, plate, hidden, far};

  const std::vector<render::prepared_layer> layers = render::prepare_layers(pipeline, composition, 0.0);
  EXPECT_EQ((values{reads(0), reads(1), reads(2), reads(3)}), (values{1, 1, 0, 1}));
  ASSERT_EQ(layers.size(), 1u);
  EXPECT_EQ(layers[0].index, 1);
  EXPECT_EQ(layers[0].opacity, 50);
  EXPECT_EQ(support::letters_of(*layers[0].image), "BGRA");
  EXPECT_EQ(support::samples(*layers[0].image, 3), values(8, 128));
  // A saved layer frame is prepared the same way, also of a layer that is not visible.
  composition.track_at(1).visible = false;
  const img::const_image_ptr saved = render::prepare_layer_picture(pipeline, composition, 1, 0.0);
  EXPECT_EQ(support::differing_plane(*saved, *layers[0].image), -1);
}

TEST_F(frame_test, rings_of_alpha_sources_end) {
  for (int i = 0; i < 3; ++i) add("BGRA", {i, i, i, 100 + i});
  for (int i = 0; i < 3; ++i) composition.track_at(i).alpha_source_id = composition.track_at((i + 1) % 3).id;
  for (const int visible : {1, 3, 7}) {
    for (int i = 0; i < 3; ++i) composition.track_at(i).visible = (visible >> i & 1) != 0;
    const std::vector<render::prepared_layer> layers = render::prepare_layers(pipeline, composition, 0.0);
    EXPECT_EQ(layers.size(), visible == 1 ? 1u : visible == 3 ? 2u : 3u);
    // Each takes the alpha of the next one as that came from its file.
    for (const auto& layer : layers) EXPECT_EQ(layer.image->row(3, 0)[0], 100 + (layer.index + 1) % 3);
  }
  composition.tracks.resize(1);
  composition.track_at(0).alpha_source_id = composition.track_at(0).id;
  EXPECT_EQ(render::prepare_layers(pipeline, composition, 0.0).at(0).image->row(3, 0)[0], 100);
  composition.track_at(0).alpha_source_id = 1000000;
  EXPECT_EQ(render::prepare_layers(pipeline, composition, 0.0).at(0).image->row(3, 0)[0], 100);
}

TEST_F(frame_test, failed_and_inactive_layers_are_left_out) {
  auto broken = std::make_shared<support::fake_clip>(1, [](int, int, img::image&) { return false; });
  add("BGR", {10, 20, 30}).begin = 5;
  composition.tracks.push_back(support::clip_layer(broken, 4, 2, "/clips/broken.avi"));
  add("BGR", {40, 50, 60});
  const std::vector<render::prepared_layer> layers = render::prepare_layers(pipeline, composition, 0.0);
  ASSERT_EQ(layers.size(), 1u);
  EXPECT_EQ(layers[0].index, 2);
}

TEST_F(frame_test, adjustment_layers_carry_their_correction_and_the_alpha_of_their_source) {
  ksn::track_info adjustment;
  adjustment.source_type = source_type::adjustment;
  adjustment.frames = 1;
  adjustment.width = 4;
  adjustment.height = 2;
  adjustment.visible = true;
  adjustment.tf.exposure = {-10000, -10000, -10000};
  composition.tracks = {adjustment, support::plain_layer(1, "BGR", 4, 2, {40, 50, 60})};
  const auto first = render::prepare_layers(pipeline, composition, 0.0);
  ASSERT_EQ(first.size(), 2u);
  EXPECT_EQ(first[1].index, 0);
  EXPECT_EQ(first[1].image, nullptr);
  ASSERT_TRUE(first[1].correction);
  EXPECT_EQ(render::prepare_layers(pipeline, composition, 0.0)[1].correction, first[1].correction);
  EXPECT_EQ(pixel(render(), 0, 0), (values{0, 0, 0, 255, 0}));
  composition.track_at(0).tf.exposure = {0, 0, 0};
  EXPECT_EQ(pixel(render(), 0, 0), (values{40, 50, 60, 255, 0}));

  ksn::track_info matte = support::plain_layer(1, "BGRA", 4, 2, {1, 2, 3, 0});
  matte.visible = false;
  composition.tracks.push_back(matte);
  composition.track_at(0).alpha_source_id = matte.id;
  composition.track_at(0).alpha_type = ksn::alpha_type::normal;
  composition.track_at(0).tf.exposure = {-10000, -10000, -10000};
  EXPECT_EQ(pixel(render(), 0, 0), (values{40, 50, 60, 255, 0}));
  composition.track_at(0).alpha_source_invert = true;
  EXPECT_EQ(pixel(render(), 0, 0), (values{0, 0, 0, 255, 0}));
}

// Left eye 10, 20, 30; right eye 200, 50, 90; a picture of 4 by 2.
TEST_F(frame_test, eyes) {
  add("BGR", {10, 20, 30}, target_view_type::left);
  add("BGR", {200, 50, 90}, target_view_type::right);
  struct eye_case {
    target_view_type shown;
    ksn::stereo_view_type merge;
    bool switched;
    values first, second;  // pixels 0 and 1 of row 0
  };
  using merge = ksn::stereo_view_type;
  const eye_case cases[] = {
      {target_view_type::left, merge::anaglyph, true, {10, 20, 30, 255, 0}, {10, 20, 30, 255, 0}},
      {target_view_type::right, merge::anaglyph, true, {200, 50, 90, 255, 0}, {200, 50, 90, 255, 0}},
      // ((200 - 50) * 76 >> 8) + 50
      {target_view_type::both, merge::anaglyph, false, {10, 20, 94, 255, 0}, {10, 20, 94, 255, 0}},
      // ((10 - 20) * 76 >> 8) + 20 = -3 + 20, the shift rounds down
      {target_view_type::both, merge::anaglyph, true, {200, 50, 17, 255, 0}, {200, 50, 17, 255, 0}},
      {target_view_type::both, merge::interlaced, false, {200, 50, 90, 255, 0}, {200, 50, 90, 255, 0}},
      {target_view_type::both, merge::checkerboard, false, {200, 50, 90, 255, 0}, {10, 20, 30, 255, 0}},
      {target_view_type::both, merge::checkerboard, true, {10, 20, 30, 255, 0}, {200, 50, 90, 255, 0}},
  };
  for (const eye_case& c : cases) {
    composition.target_view = c.shown;
    composition.stereo_view = c.merge;
    composition.switch_views = c.switched;
    const img::image frame = render();
    EXPECT_EQ(pixel(frame, 0, 0), c.first) << &c - cases;
    EXPECT_EQ(pixel(frame, 1, 0), c.second) << &c - cases;
    EXPECT_EQ(frame.frame, 0) << &c - cases;
  }
  // Layers of both eyes alone are the same picture twice: red becomes the mix of the own blue and green.
  composition.tracks.resize(1);
  composition.track_at(0).target_view = target_view_type::both;
  composition.stereo_view = merge::anaglyph;
  EXPECT_EQ(pixel(render(), 0, 0), (values{10, 20, 17, 255, 0}));
  // The checkerboard stays put on the screen.
  view.view_origin = {7, 4};
  composition.tracks.clear();
  add("BGR", {10, 20, 30}, target_view_type::left);
  add("BGR", {200, 50, 90}, target_view_type::right);
  composition.stereo_view = merge::checkerboard;
  composition.switch_views = false;
  EXPECT_EQ(pixel(render(), 0, 0), (values{10, 20, 30, 255, 0}));
}

TEST_F(frame_test, what_belongs_to_the_display_is_not_saved) {
  view.width = 40;
  view.height = 20;
  composition.back_color = back_color_type::transparent;
  composition.view = ksn::view_type::g_grayscale;
  EXPECT_EQ(pixel(render(), 39, 19), (values{0, 0, 0, 0, 0}));
  add("BGR", {10, 100, 30});
  EXPECT_EQ(pixel(render(), 20, 10), (values{10, 100, 30, 255, 0}));

  view.for_display = true;
  const img::image shown = render();
  EXPECT_EQ(pixel(shown, 20, 10), (values{100, 100, 100, 255, 0}));
  // Two grays in squares of eight, alternating both ways, that do not move with the picture.
  const values dark{102, 102, 102, 0, 0};
  const values light{153, 153, 153, 0, 0};
  EXPECT_EQ(pixel(shown, 0, 0), dark);
  EXPECT_EQ(pixel(shown, 7, 7), dark);
  EXPECT_EQ(pixel(shown, 8, 0), light);
  EXPECT_EQ(pixel(shown, 0, 8), light);
  EXPECT_EQ(pixel(shown, 8, 8), dark);
  view.view_origin = {-5, 3};
  const img::image moved = render();
  EXPECT_EQ(pixel(moved, 5, 5), light);  // screen 0, 8
  EXPECT_EQ(pixel(moved, 4, 4), light);  // screen -1, 7
  EXPECT_EQ(pixel(moved, 5, 4), dark);   // screen 0, 7
  composition.back_color = back_color_type::black;
  EXPECT_EQ(pixel(render(), 0, 0), (values{0, 0, 0, 0, 0}));
}

TEST_F(frame_test, reduced_layers_keep_their_place_and_size) {
  view.width = 24;
  view.height = 16;
  auto clip = std::make_shared<support::fake_clip>(1, [](int, int, img::image& image) {
    image = support::picture("BGR", 16, 8, {9, 9, 9});
    for (int x = 8; x < 16; ++x) image.row(0, 0)[x] = image.row(0, 4)[x] = 200;
    return true;
  });
  composition.tracks = {support::clip_layer(clip, 16, 8)};
  const img::image whole = render();
  EXPECT_EQ(pixel(whole, 4, 4), (values{9, 9, 9, 255, 0}));
  for (const auto resolution : {ksn::cache_resolution_type::half, ksn::cache_resolution_type::quarter}) {
    view.resolution = resolution;
    const img::image reduced = render();
    for (const int plane : {1, 3}) {
      EXPECT_EQ(support::samples(reduced, plane), support::samples(whole, plane)) << static_cast<int>(resolution);
    }
    EXPECT_EQ(pixel(reduced, 12, 4)[0], 200);
    EXPECT_EQ(pixel(reduced, 12, 5)[0], 200);  // the row above it, enlarged
    EXPECT_EQ(pixel(whole, 12, 5)[0], 9);
  }
}

TEST_F(frame_test, same_frame_for_every_number_of_threads_and_every_level) {
  view.width = 131;
  view.height = 67;
  view.for_display = true;
  composition.back_color = back_color_type::transparent;
  composition.target_view = target_view_type::both;
  composition.stereo_view = ksn::stereo_view_type::anaglyph_gm;
  composition.view = ksn::view_type::luma;
  for (int i = 0; i < 4; ++i) {
    auto clip = std::make_shared<support::fake_clip>(1, [i](int, int, img::image& image) {
      image = support::random_picture("BGRAZ", 90 + 7 * i, 70 - 11 * i, static_cast<unsigned>(i));
      return true;
    });
    ksn::track_info track = support::clip_layer(clip, 90 + 7 * i, 70 - 11 * i, "/clips/" + std::to_string(i));
    track.alpha_type = ksn::alpha_type::normal;
    track.opacity = 100 - 20 * i;
    track.scale_x = 100 + 30 * i;
    track.target_view = static_cast<target_view_type>(i % 3);
    track.ck_primary.enabled = i == 1;
    track.tf.exposure = {20 * i, 0, -10 * i};
    track.tf.saturation = {100 + i, 100 + i, 100 + i};
    track.invert_depth = i == 2;
    if (i > 0) track.alpha_source_id = composition.tracks.back().id;
    composition.tracks.push_back(track);
  }
  lib::set_thread_count(1);
  const img::image expected = render();
  support::every_level([&](const char* level) {
    support::every_thread_count([&](int threads) {
      pipeline.forget_all();
      EXPECT_EQ(support::differing_plane(render(), expected), -1) << level << ' ' << threads;
    });
  });
}

}  // namespace
