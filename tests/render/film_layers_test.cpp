// Film pictures through the layer pipeline: depth on its way into the compositor, packed words up to the tables.
#include <gtest/gtest.h>

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfOutputFile.h>

#include "composition/sequence.h"
#include "img/film_files.h"
#include "img/transfer.h"
#include "render/compositor.h"
#include "support/temp_folder.h"

namespace {

class film_layers : public testing::Test {
 protected:
  film_layers() {
    cache.memory_load = [] { return 0; };
  }

  // Adds a picture of 4 by 2 pixels below the others, each column with its own depth.
  ksn::track_info& add(const char* name, const std::vector<float>& depths) {
    const std::string path = folder / name;
    Imf::Header header(4, 2);
    Imf::FrameBuffer buffer;
    std::vector<float> colour(8, 0.25F);
    std::vector<float> depth;
    for (int i = 0; i < 8; ++i) depth.push_back(depths[static_cast<std::size_t>(i % 4)]);
    for (const char* channel : {"R", "G", "B", "Z"}) {
      header.channels().insert(channel, Imf::Channel(Imf::FLOAT));
      buffer.insert(
          channel,
          Imf::Slice(Imf::FLOAT, reinterpret_cast<char*>(channel[0] == 'Z' ? depth.data() : colour.data()), 4, 16));
    }
    Imf::OutputFile file(path.c_str(), header);
    file.setFrameBuffer(buffer);
    file.writePixels(2);
    return add_file(path);
  }
  ksn::track_info& add_file(const std::string& path) {
    ksn::track_info track;
    EXPECT_TRUE(ksn::add_single_image(path, track, ksn::alpha_type::ignore, {}));
    composition.tracks.push_back(track);
    return composition.tracks.back();
  }

  support::temp_folder folder;
  cache::frame_cache cache;
  render::pipeline pipeline{cache, {}};
  ksn::state composition;
};

TEST_F(film_layers, depth_of_a_file_meets_the_depth_below) {
  add("upper.exr", {1.0F, 0.25F, -1.0F, 0.5F});
  add("lower.exr", {0.0F, 0.5F, 7.0F, 0.5F});
  // 8 bits: trunc(v * 255.99), cut to 0 to 1.
  const std::pair<ksn::depth_blend_type, std::vector<int>> modes[] = {
      {ksn::depth_blend_type::ignore, {0, 127, 255, 127}},
      {ksn::depth_blend_type::replace, {255, 63, 0, 127}},
      {ksn::depth_blend_type::combine, {255, 127, 255, 127}},
  };
  render::frame_view view;
  view.width = 4;
  view.height = 2;
  for (const auto& [mode, expected] : modes) {
    composition.tracks.front().depth_blend_type = mode;
    img::image frame;
    render::render_frame(pipeline, composition, frame, view, 0);
    for (int x = 0; x < 4; ++x) EXPECT_EQ(frame.row(4, 1)[x], expected[static_cast<std::size_t>(x)]) << x;
  }
}

TEST_F(film_layers, depth_can_be_seen) {
  ksn::track_info& track = add("a.exr", {1.0F, 0.25F, -1.0F, 0.5F});
  track.channels = ksn::view_type::depth;
  const img::const_image_ptr shown =
      pipeline.layer_frame(composition, track, 0, ksn::cache_resolution_type::full, false, 0);
  ASSERT_NE(shown, nullptr);
  // The plane is a half when it is copied, and becomes a display value like any other.
  const double linear[] = {1.0, 0.25, 0.0, 0.5};
  for (int x = 0; x < 4; ++x) {
    EXPECT_EQ(shown->row(1, 0)[x], static_cast<int>(std::min(img::srgb_encode(linear[x]), 1.0) * 255.99)) << x;
  }
}

TEST_F(film_layers, scans_stay_packed_in_the_cache) {
  film_files::shape s;
  s.width = 16;
  support::write_file(folder / "a.dpx", film_files::make_dpx(s).data);
  ksn::track_info& track = add_file(folder / "a.dpx");
  const img::const_image_ptr native = pipeline.native_frame(track, 0);
  ASSERT_NE(native, nullptr);
  EXPECT_EQ(native->format[0], 'U');
  const img::const_image_ptr shown =
      pipeline.layer_frame(composition, track, 0, ksn::cache_resolution_type::full, false, 0);
  ASSERT_NE(shown, nullptr);
  for (int x = 0; x < 16; ++x) {
    for (int p = 0; p < 3; ++p) {
      const double linear = img::log_decode(static_cast<int>(film_files::code(x, 1, 2 - p)));
      const int expected = linear <= 0 ? 0 : linear >= 1 ? 255 : static_cast<int>(img::srgb_encode(linear) * 255.99);
      EXPECT_EQ(shown->row(p, 1)[x], expected) << p << ' ' << x;
    }
  }
}

}  // namespace
