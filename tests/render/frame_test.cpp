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
    composition.doc.tracks.push_back(support::plain_layer(100, letters, 4, 2, values));
    ksn::track_info& track = composition.doc.tracks.back();
    track.look.target_view = eye;
    if (letters == "BGRA") track.look.alpha_type = ksn::alpha_type::normal;
    return track;
  }
  int reads(int index) {
    return std::static_pointer_cast<support::fake_clip>(composition.doc.track_at(index).source.clip)->reads;
  }
  img::image render(double time = 0.0) {
    img::image target;
    render::frame_view shown = render::output_view(composition.doc, composition.view);
    view.eyes = shown.eyes;
    view.stereo_mode = shown.stereo_mode;
    view.switch_views = shown.switch_views;
    view.channels = view.for_display ? composition.view.channels : ksn::view_type::rgb;
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

TEST_F(frame_test, background_number_time_code_and_rate) {
  composition.doc.back_custom_color = {255, 1, 2, 3};
  const std::map<back_color_type, values> colors{
      {back_color_type::black, {0, 0, 0, 0, 0}},       {back_color_type::dark_grey, {50, 50, 50, 0, 0}},
      {back_color_type::green, {0, 255, 0, 0, 0}},     {back_color_type::blue, {255, 0, 0, 0, 0}},
      {back_color_type::magenta, {255, 0, 255, 0, 0}}, {back_color_type::white, {255, 255, 255, 0, 0}},
      {back_color_type::transparent, {0, 0, 0, 0, 0}}, {back_color_type::custom, {3, 2, 1, 0, 0}},
  };
  for (const auto& [color, expected] : colors) {
    composition.doc.back_color = color;
    const img::image frame = render(76.9);
    EXPECT_EQ(support::letters_of(frame), "BGRAZ");
    EXPECT_EQ(frame.width, 4);
    EXPECT_EQ(frame.height, 2);
    for (int x = 0; x < 4; ++x) EXPECT_EQ(pixel(frame, x, 1), expected) << ksn::word_of(color);
    EXPECT_EQ(frame.frame, 76);
    EXPECT_EQ(img::to_text(frame.timecode), "00:00:03:01");
    EXPECT_EQ(frame.frame_rate_nm, 2500);
    EXPECT_EQ(frame.frame_rate_dn, 100);
    EXPECT_TRUE(frame.path.empty());
  }
}

// The last layer is the lowest. One that is hidden, not there at this time or broken is left out.
TEST_F(frame_test, order_of_layers) {
  add("BGR", {10, 20, 30}).look.visible = false;
  add("BGR", {10, 20, 30}).timing.begin = 5;
  auto broken = std::make_shared<support::fake_clip>(1, [](int, int, img::image&) { return false; });
  composition.doc.tracks.push_back(support::clip_layer(broken, 4, 2, "/clips/broken.avi"));
  add("BGR", {40, 50, 60});
  add("BGR", {70, 80, 90});
  const auto layers = render::prepare_layers(pipeline, composition, 1.0);
  ASSERT_EQ(layers.size(), 2u);
  EXPECT_EQ(layers[0].index, 4);
  EXPECT_EQ(layers[1].index, 3);
  EXPECT_EQ(pixel(render(1.0), 3, 1), (values{41, 50, 60, 255, 0}));
}

// For the display only: an outline where the picture would be, and in it the name of the layer.
TEST_F(frame_test, a_frame_that_failed_is_marked) {
  auto broken = std::make_shared<support::fake_clip>(9, [](int, int, img::image&) { return false; });
  composition.doc.tracks.push_back(support::clip_layer(broken, 100, 50, "/clips/broken.avi"));
  composition.doc.tracks.back().look.visible = true;
  composition.doc.back_color = back_color_type::black;
  view.width = 120;
  view.height = 60;
  const auto coloured = [&](bool inside) {
    const img::image frame = render();
    int count = 0;
    for (int y = 0; y < 60; ++y) {
      for (int x = 0; x < 120; ++x) {
        const bool is_inside = x > 10 && x < 109 && y > 5 && y < 54;
        count += is_inside == inside && frame.row(2, y)[x] != 0;
      }
    }
    return count;
  };
  EXPECT_EQ(coloured(false) + coloured(true), 0) << "saved";
  view.for_display = true;
  composition.doc.tracks.back().name.clear();
  EXPECT_EQ(coloured(false), 2 * (100 + 48));
  EXPECT_EQ(coloured(true), 0);
  composition.doc.tracks.back().name = "plate";
  EXPECT_EQ(coloured(false), 2 * (100 + 48));
  EXPECT_GT(coloured(true), 30);
}

TEST_F(frame_test, only_layers_that_take_part_are_fetched) {
  ksn::track_info matte = support::plain_layer(1, "BGRA", 4, 2, {1, 2, 3, 128});
  ksn::track_info plate = support::plain_layer(1, "BGR", 4, 2, {10, 20, 30});
  ksn::track_info hidden = support::plain_layer(1, "BGR", 4, 2, {70, 80, 90});
  ksn::track_info far = support::plain_layer(1, "L", 4, 2, {99});
  plate.look.alpha_source_id = matte.id;
  plate.look.alpha_type = ksn::alpha_type::normal;
  plate.look.opacity = 50;
  plate.timing.fade_in = 4;
  matte.look.alpha_source_id = far.id;  // a chain is fetched to its end; the plate gets the alpha of the matte's file
  matte.look.visible = hidden.look.visible = far.look.visible = false;
  composition.doc.tracks = {matte, plate, hidden, far};

  const auto layers = render::prepare_layers(pipeline, composition, 0.0);
  EXPECT_EQ((values{reads(0), reads(1), reads(2), reads(3)}), (values{1, 1, 0, 1}));
  ASSERT_EQ(layers.size(), 1u);
  EXPECT_EQ(layers[0].index, 1);
  EXPECT_EQ(layers[0].opacity, 10);  // the first of five steps
  EXPECT_EQ(support::letters_of(*layers[0].image), "BGRA");
  EXPECT_EQ(support::samples(*layers[0].image, 3), values(8, 128));
  // A saved layer frame is prepared the same way, also of a layer that is not visible.
  composition.doc.track_at(1).look.visible = false;
  const img::const_image_ptr saved = render::prepare_layer_picture(pipeline, composition, 1, 0.0);
  EXPECT_EQ(support::differing_plane(*saved, *layers[0].image), -1);
}

TEST_F(frame_test, chains_of_alpha_sources_end) {
  const struct {
    std::vector<bool> visible;
    std::vector<std::size_t> source;  // 9 for none that exists
    std::vector<bool> taking_part;
  } cases[] = {
      {{true, false, false, false}, {2, 9, 3, 9}, {true, false, true, true}},
      {{true, false, false}, {1, 2, 0}, {true, true, true}},
      {{true, false, true}, {1, 0, 2}, {true, true, true}},
      {{false, false, true}, {1, 2, 9}, {false, false, true}},
  };
  for (const auto& c : cases) {
    composition.doc.tracks.assign(c.visible.size(), {});
    for (ksn::track_info& track : composition.doc.tracks) track.id = ksn::next_layer_id();
    for (std::size_t i = 0; i < c.visible.size(); ++i) {
      composition.doc.tracks[i].look.visible = c.visible[i];
      composition.doc.tracks[i].look.alpha_source_id =
          c.source[i] == 9 ? 1000000 : composition.doc.tracks[c.source[i]].id;
    }
    EXPECT_EQ(render::layers_taking_part(composition), c.taking_part) << &c - cases;
  }
}

TEST_F(frame_test, adjustment_layers_carry_their_correction_and_the_alpha_of_their_source) {
  ksn::track_info adjustment;
  adjustment.source.type = source_type::adjustment;
  adjustment.source.frames = 1;
  adjustment.source.width = 4;
  adjustment.source.height = 2;
  adjustment.look.visible = true;
  adjustment.look.tf.exposure = {-10000, -10000, -10000};
  composition.doc.tracks = {adjustment, support::plain_layer(1, "BGR", 4, 2, {40, 50, 60})};
  const auto first = render::prepare_layers(pipeline, composition, 0.0);
  ASSERT_EQ(first.size(), 2u);
  EXPECT_EQ(first[1].index, 0);
  EXPECT_EQ(first[1].image, nullptr);
  ASSERT_TRUE(first[1].correction);
  EXPECT_EQ(render::prepare_layers(pipeline, composition, 0.0)[1].correction, first[1].correction);
  EXPECT_EQ(pixel(render(), 0, 0), (values{0, 0, 0, 255, 0}));
  composition.doc.track_at(0).look.tf.exposure = {0, 0, 0};
  EXPECT_EQ(pixel(render(), 0, 0), (values{40, 50, 60, 255, 0}));

  ksn::track_info matte = support::plain_layer(1, "BGRA", 4, 2, {1, 2, 3, 0});
  matte.look.visible = false;
  composition.doc.tracks.push_back(matte);
  composition.doc.track_at(0).look.alpha_source_id = matte.id;
  composition.doc.track_at(0).look.alpha_type = ksn::alpha_type::normal;
  composition.doc.track_at(0).look.tf.exposure = {-10000, -10000, -10000};
  EXPECT_EQ(pixel(render(), 0, 0), (values{40, 50, 60, 255, 0}));
  composition.doc.track_at(0).look.alpha_source_invert = true;
  EXPECT_EQ(pixel(render(), 0, 0), (values{0, 0, 0, 255, 0}));
}

// Left eye 10, 20, 30; right eye 200, 50, 90.
TEST_F(frame_test, eyes) {
  add("BGR", {10, 20, 30}, target_view_type::left);
  add("BGR", {200, 50, 90}, target_view_type::right);
  ksn::track_info both = add("BGR", {5, 6, 7});
  both.placement.pos = {3, 0};  // from column 3 on
  composition.doc.tracks.insert(composition.doc.tracks.begin(), both);
  composition.doc.tracks.pop_back();
  using merge = ksn::stereo_view_type;
  const values left{10, 20, 30, 255, 0};
  const values right{200, 50, 90, 255, 0};
  const struct {
    target_view_type shown;
    merge mode;
    bool switched;
    math::point origin;
    values first, second;  // pixels 0 and 1 of row 0
  } cases[] = {
      {target_view_type::left, merge::checkerboard, true, {}, left, left},
      {target_view_type::right, merge::checkerboard, true, {}, right, right},
      // ((200 - 50) * 76 >> 8) + 50, and ((10 - 20) * 76 >> 8) + 20 = -3 + 20: the shift rounds down
      {target_view_type::both, merge::anaglyph, false, {}, {10, 20, 94, 255, 0}, {10, 20, 94, 255, 0}},
      {target_view_type::both, merge::anaglyph, true, {}, {200, 50, 17, 255, 0}, {200, 50, 17, 255, 0}},
      {target_view_type::both, merge::checkerboard, false, {}, right, left},
      {target_view_type::both, merge::checkerboard, true, {}, left, right},
      {target_view_type::both, merge::checkerboard, false, {7, 4}, left, right},  // stays put on the screen
  };
  for (const auto& c : cases) {
    composition.view.stereo_view = c.shown;
    composition.view.stereo_mode = c.mode;
    composition.view.switch_views = c.switched;
    view.view_origin = c.origin;
    const img::image frame = render();
    EXPECT_EQ(pixel(frame, 0, 0), c.first) << &c - cases;
    EXPECT_EQ(pixel(frame, 1, 0), c.second) << &c - cases;
    if (c.mode == merge::checkerboard) {
      EXPECT_EQ(pixel(frame, 3, 0), (values{5, 6, 7, 255, 0})) << &c - cases;
    }
  }
  // Layers of both eyes alone are the same picture twice: red becomes the mix of the own blue and green.
  composition.doc.tracks.resize(1);
  composition.view.stereo_mode = merge::anaglyph;
  EXPECT_EQ(pixel(render(), 3, 0), (values{5, 6, 5, 255, 0}));
}

TEST_F(frame_test, what_belongs_to_the_display_is_not_saved) {
  view.width = 40;
  view.height = 20;
  composition.doc.back_color = back_color_type::transparent;
  composition.view.channels = ksn::view_type::g_grayscale;
  EXPECT_EQ(pixel(render(), 39, 19), (values{0, 0, 0, 0, 0}));
  add("BGR", {10, 100, 30});
  EXPECT_EQ(pixel(render(), 20, 10), (values{10, 100, 30, 255, 0}));

  view.for_display = true;
  const img::image shown = render();
  EXPECT_EQ(pixel(shown, 20, 10), (values{100, 100, 100, 255, 0}));
  // Two grays in squares of eight, alternating both ways, that do not move with the picture.
  const values dark{102, 102, 102, 0, 0};
  const values light{153, 153, 153, 0, 0};
  const math::point dark_places[] = {{0, 0}, {7, 7}, {8, 8}};
  for (const math::point& at : dark_places) EXPECT_EQ(pixel(shown, at.x, at.y), dark) << at.x << ',' << at.y;
  EXPECT_EQ(pixel(shown, 8, 0), light);
  EXPECT_EQ(pixel(shown, 0, 8), light);
  view.view_origin = {-5, 3};
  const img::image moved = render();
  EXPECT_EQ(pixel(moved, 5, 5), light);  // screen 0, 8
  EXPECT_EQ(pixel(moved, 4, 4), light);  // screen -1, 7
  EXPECT_EQ(pixel(moved, 5, 4), dark);   // screen 0, 7
  composition.doc.back_color = back_color_type::black;
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
  composition.doc.tracks = {support::clip_layer(clip, 16, 8)};
  const img::image whole = render();
  EXPECT_EQ(pixel(whole, 12, 5)[0], 9);
  for (const auto resolution : {ksn::cache_resolution_type::half, ksn::cache_resolution_type::quarter}) {
    view.resolution = resolution;
    const img::image reduced = render();
    EXPECT_EQ(support::samples(reduced, 3), support::samples(whole, 3)) << static_cast<int>(resolution);
    EXPECT_EQ(pixel(reduced, 12, 5)[0], 200) << static_cast<int>(resolution);  // the row above it, enlarged
  }
}

// All that runs by rows, from a layer's picture to the channel view.
TEST_F(frame_test, same_frame_for_every_number_of_threads_and_every_level) {
  view.width = 131;
  view.height = 67;
  view.for_display = true;
  composition.doc.back_color = back_color_type::transparent;
  composition.view.stereo_view = target_view_type::both;
  for (int i = 0; i < 5; ++i) {
    auto clip = std::make_shared<support::fake_clip>(1, [i](int, int, img::image& image) {
      const img::image bytes = support::random_picture("BGRAZ", 90 + 7 * i, 70 - 7 * i, static_cast<unsigned>(i));
      image = i < 4 ? bytes : img::image("BGRA", 16, bytes.width, bytes.height);
      for (int k = 0; i == 4 && k < 4 * bytes.width * bytes.height; ++k) {
        image.row<std::uint16_t>(k % 4, 0)[k / 4] = static_cast<std::uint16_t>(bytes.row(k % 4, 0)[k / 4] << 6);
      }
      return true;
    });
    ksn::track_info track = support::clip_layer(clip, 90 + 7 * i, 70 - 7 * i, "/clips/" + std::to_string(i));
    track.look.alpha_type = ksn::alpha_type::normal;
    track.look.opacity = 100 - 20 * i;
    track.placement.scale_x = 100 + 30 * i;
    track.look.target_view = static_cast<target_view_type>(i % 3);
    track.look.ck_primary.enabled = i == 1;
    track.look.tf.exposure = {20 * i, 0, -10 * i};
    track.look.tf.saturation = {100 + i, 100 + i, 100 + i};
    track.look.invert_depth = track.look.invert_color = i == 2;
    track.look.alpha_source_range = ksn::alpha_source_range_type::midtones;
    if (i > 0) track.look.alpha_source_id = composition.doc.tracks.back().id;
    composition.doc.tracks.push_back(track);
  }
  const ksn::view_type shown[] = {ksn::view_type::rgb, ksn::view_type::luma, ksn::view_type::g_color,
                                  ksn::view_type::b_hidden, ksn::view_type::alpha};
  for (int round = 0; round < 5; ++round) {
    composition.view.stereo_mode = static_cast<ksn::stereo_view_type>(round % 4);
    composition.view.channels = shown[round];
    for (ksn::track_info& track : composition.doc.tracks) {
      track.look.alpha_source_mode = static_cast<ksn::alpha_source_mode_type>(round % 3);
      track.look.alpha_source_stretch = round % 2 == 1;
      track.look.alpha_source_channel = track.look.alpha_source_channel2 =
          round == 3 ? ksn::channel_type::luma : ksn::channel_type::alpha;
      track.look.channels = shown[(round + 1 + track.placement.scale_x / 30) % 5];
    }
    lib::set_thread_count(1);
    pipeline.forget_all();
    const img::image expected = render();
    support::every_level([&](const char* level) {
      support::every_thread_count([&](int threads) {
        pipeline.forget_all();
        EXPECT_EQ(support::differing_plane(render(), expected), -1) << level << ' ' << threads << " round " << round;
      });
    });
  }
}

}  // namespace
