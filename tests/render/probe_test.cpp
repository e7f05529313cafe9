#include "render/probe.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/fake_clip.h"
#include "support/levels.h"

namespace {

using render::rectangle;

constexpr auto left = ksn::target_view_type::left;

std::uint16_t half(float value) {
  return img::float_to_half(value);
}

class probe_test : public testing::Test {
 protected:
  probe_test() {
    cache.memory_load = [] { return 0; };
    view.width = 40;
    view.height = 20;
    view.eyes = left;
  }

  // A layer whose pixels are what `fill` puts into a picture of that form.
  ksn::track_info& add(std::string letters, int bits, int width, int height, std::function<void(img::image&)> fill) {
    auto clip = std::make_shared<support::fake_clip>(1, [=](int, int, img::image& image) {
      image = img::image(letters, bits, width, height);
      image.set_centre_anchor();
      fill(image);
      return true;
    });
    clips.push_back(clip);
    composition.doc.tracks.push_back(
        support::clip_layer(clip, width, height, "/clips/" + std::to_string(clips.size()) + ".avi"));
    return composition.doc.tracks.back();
  }
  // A ramp: red is x, green y, blue -0.5, alpha 0.25, in halves.
  ksn::track_info& add_ramp(int width, int height) {
    return add("BGRA", 16, width, height, [](img::image& image) {
      for (int y = 0; y < image.height; ++y) {
        for (int x = 0; x < image.width; ++x) {
          image.row<std::uint16_t>(0, y)[x] = half(-0.5f);
          image.row<std::uint16_t>(1, y)[x] = half(static_cast<float>(y));
          image.row<std::uint16_t>(2, y)[x] = half(static_cast<float>(x));
          image.row<std::uint16_t>(3, y)[x] = half(0.25f);
        }
      }
    });
  }
  void show() { render::render_frame(pipeline, composition, shown, view, 0.0); }
  std::optional<render::pixel_values> at(int x, int y, int layer = 0) {
    return render::values_at(pipeline, composition, view, layer, {x, y});
  }
  std::optional<render::area_statistics> over(const rectangle& box) {
    return render::statistics_over(pipeline, composition, view, 0, box);
  }

  cache::frame_cache cache;
  render::pipeline pipeline{cache, {}};
  ksn::state composition;
  render::frame_view view;
  img::image shown;
  std::vector<std::shared_ptr<support::fake_clip>> clips;
};

// The pixel under a point is the one that is drawn there: a layer of bytes numbers its columns and rows, and the
// composite must show the very numbers that the probe tells.
TEST_F(probe_test, is_the_pixel_that_is_drawn) {
  ksn::track_info& track = add("BGR", 8, 16, 9, [](img::image& image) {
    for (int y = 0; y < image.height; ++y) {
      for (int x = 0; x < image.width; ++x) {
        image.row(0, y)[x] = 200;
        image.row(1, y)[x] = static_cast<std::uint8_t>(10 + y);
        image.row(2, y)[x] = static_cast<std::uint8_t>(10 + x);
      }
    }
  });
  struct placement {
    double zoom_x, zoom_y;
    math::point pos, pan;
    bool flip_x, flip_y;
    int scale_x;
    bool crop;
  };
  const placement placements[] = {
      {1, 1, {}, {}, false, false, 100, false},    {1, 1, {3, -2}, {-7, 4}, false, false, 100, false},
      {2.5, 2.5, {}, {}, false, false, 100, true}, {0.4, 0.4, {5, 5}, {}, true, false, 100, false},
      {1.0666, 1, {}, {}, false, true, 70, false}, {1, 1, {-1, 1}, {}, true, true, 230, true},
  };
  for (const placement& p : placements) {
    view.zoom_x = p.zoom_x, view.zoom_y = p.zoom_y, view.offset = p.pan;
    track.placement.pos = p.pos, track.placement.flip_x = p.flip_x, track.placement.flip_y = p.flip_y;
    track.placement.scale_x = p.scale_x, track.placement.crop = p.crop;
    track.placement.crop_xy = {1, -1}, track.placement.crop_wh = {6, 4};
    show();
    int found = 0;
    for (int y = -1; y <= view.height; ++y) {
      for (int x = -1; x <= view.width; ++x) {
        const bool outside = x < 0 || y < 0 || x == view.width || y == view.height;
        const auto values = at(x, y);
        if (outside) continue;
        ASSERT_EQ(values.has_value(), shown.row(0, y)[x] == 200) << x << ' ' << y;
        ASSERT_EQ(render::picture_under(pipeline, composition, view, {x, y}), values ? 0 : -1) << x << ' ' << y;
        if (!values) continue;
        ++found;
        ASSERT_EQ(values->pixel, (math::point{shown.row(2, y)[x] - 10, shown.row(1, y)[x] - 10}));
        ASSERT_FLOAT_EQ(values->rgba[0], static_cast<float>(values->pixel.x + 10) / 255.0f);
        ASSERT_FLOAT_EQ(values->rgba[2], 200.0f / 255.0f);
      }
    }
    EXPECT_GT(found, 10);
  }
}

TEST_F(probe_test, values_are_the_files_own_whatever_the_layer_does_with_them) {
  ksn::track_info& track = add_ramp(40, 20);
  track.look.tf.exposure.fill(200);
  track.look.invert_color = true;
  view.probe = nullptr;
  show();
  const auto values = at(12, 7);
  ASSERT_TRUE(values);
  EXPECT_EQ(values->rgba, (std::array<float, 4>{12.0f, 7.0f, -0.5f, 0.25f}));
  EXPECT_TRUE(values->has_alpha && !values->reduced && !values->after_cube);

  // A cube: the picture before it is told where it is in memory.
  img::lookup_table cube;
  cube.set_3d(std::vector<std::uint16_t>(img::lookup_table::cube_entries, 512), true);
  track.look.tf.lookup_table = cube;
  const img::const_image_ptr before = cache.find(render::key_of_frame(track, 0, ksn::cache_resolution_type::full));
  show();
  const auto plain = at(12, 7);
  ASSERT_TRUE(plain);
  EXPECT_TRUE(plain->after_cube || plain->rgba[0] == 12.0f);

  // Half resolution: the pixel that is shown.
  track.look.tf = {};
  view.resolution = ksn::cache_resolution_type::half;
  show();
  const auto reduced = at(13, 7);
  ASSERT_TRUE(reduced);
  EXPECT_TRUE(reduced->reduced);
  EXPECT_EQ(reduced->pixel, (math::point{12, 6}));
  EXPECT_EQ(reduced->rgba[0], 12.0f);

  // A frame that left memory is not read again.
  const int reads = clips[0]->reads;
  cache.clear();
  EXPECT_FALSE(at(12, 7));
  EXPECT_FALSE(over({0, 0, 40, 20}));
  EXPECT_EQ(clips[0]->reads, reads);
}

TEST_F(probe_test, packed_words_and_gray) {
  // Red 1023, green 512, blue 0 as a big-endian file holds them, and a gray half with alpha after it.
  add("U", 32, 2, 2, [](img::image& image) {
    const std::uint32_t word = 1023u << 22 | 512u << 12;
    for (std::size_t i = 0; i < 4; ++i) image.data[0].as<std::uint32_t>()[i] = __builtin_bswap32(word);
  });
  add("LA", 16, 2, 2, [](img::image& image) {
    for (std::size_t i = 0; i < 4; ++i) {
      image.data[0].as<std::uint16_t>()[i] = half(3.5f);
      image.data[1].as<std::uint16_t>()[i] = half(0.5f);
    }
  });
  show();
  ASSERT_TRUE(at(20, 10, 0) && at(20, 10, 1));
  EXPECT_EQ(at(20, 10, 0)->rgba, (std::array<float, 4>{1.0f, 512.0f / 1023.0f, 0.0f, 1.0f}));
  EXPECT_EQ(at(20, 10, 1)->rgba, (std::array<float, 4>{3.5f, 3.5f, 3.5f, 0.5f}));
}

// Mean, least, most and the counts of a picture whose values are known, for any number of threads.
TEST_F(probe_test, statistics_over_an_area) {
  const int width = 300;
  const int height = 200;
  add("BGRA", 16, width, height, [](img::image& image) {
    const float infinity = std::numeric_limits<float>::infinity();
    for (int y = 0; y < image.height; ++y) {
      for (int x = 0; x < image.width; ++x) {
        image.row<std::uint16_t>(0, y)[x] = half(x % 3 == 0 ? -1.0f : 2.0f);
        image.row<std::uint16_t>(1, y)[x] = half(0.5f);
        image.row<std::uint16_t>(2, y)[x] = half(static_cast<float>(x));
        image.row<std::uint16_t>(3, y)[x] = half(NAN);
      }
    }
    image.row<std::uint16_t>(1, 0)[0] = half(infinity);
    image.row<std::uint16_t>(1, 0)[1] = half(-infinity);
    image.row<std::uint16_t>(1, 0)[2] = half(NAN);
  });
  view.width = width, view.height = height;
  show();
  support::every_thread_count([&](int) {
    const auto all = over({-10, -10, 1000, 1000});
    ASSERT_TRUE(all);
    EXPECT_EQ(all->area, (rectangle{0, 0, width, height}));
    EXPECT_EQ(all->pixels, width * height);
    const auto& [red, green, blue, alpha] = all->rgba;
    EXPECT_DOUBLE_EQ(red.mean, 149.5);
    EXPECT_EQ(red.least, 0.0f);
    EXPECT_EQ(red.most, 299.0f);
    EXPECT_EQ(red.above_one, 298 * height);
    EXPECT_DOUBLE_EQ(green.mean, 0.5);
    EXPECT_EQ(green.least, -std::numeric_limits<float>::infinity());
    EXPECT_EQ(green.most, std::numeric_limits<float>::infinity());
    EXPECT_EQ((std::array<long long, 3>{green.below_zero, green.above_one, green.not_a_number}),
              (std::array<long long, 3>{1, 1, 1}));
    EXPECT_DOUBLE_EQ(blue.mean, 1.0);
    EXPECT_EQ((std::array<long long, 2>{blue.below_zero, blue.above_one}),
              (std::array<long long, 2>{100 * height, 200 * height}));
    EXPECT_EQ(alpha.not_a_number, width * height);
    EXPECT_TRUE(std::isnan(alpha.mean) && std::isnan(alpha.least) && std::isnan(alpha.most));
  });

  // A part, and all pixels behind a point of a small zoom.
  const auto part = over({10, 20, 13, 22});
  ASSERT_TRUE(part);
  EXPECT_EQ(part->area, (rectangle{10, 20, 13, 22}));
  EXPECT_DOUBLE_EQ(part->rgba[0].mean, 11.0);
  view.zoom_x = view.zoom_y = 0.1;
  view.width = 30, view.height = 20;
  show();
  const auto small = over({1, 1, 3, 3});
  ASSERT_TRUE(small);
  EXPECT_EQ(small->area, (rectangle{10, 10, 21, 21}));
  EXPECT_FALSE(over({4, 4, 4, 9}));
}

// The composite's bytes under a point come with each frame, from before the checker and the channels.
TEST_F(probe_test, composite_under_a_point) {
  composition.doc.tracks.push_back(support::plain_layer(1, "BGRA", 4, 2, {10, 20, 30, 128}));
  composition.doc.tracks.back().look.alpha_type = ksn::alpha_type::pm;
  composition.doc.back_color = ksn::back_color_type::transparent;
  view.for_display = true;
  view.channels = ksn::view_type::alpha;
  render::composite_probe probe;
  view.probe = &probe;
  probe.at = {20, 10};
  show();
  EXPECT_TRUE(probe.inside);
  EXPECT_EQ(probe.rgba, (std::array<std::uint8_t, 4>{30, 20, 10, 128}));
  probe.at = {40, 10};
  show();
  EXPECT_FALSE(probe.inside);
}

}  // namespace
