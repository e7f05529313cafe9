// The pipeline on a scheduler: frames that are late, and frames that fail.
#include <gtest/gtest.h>

#include "io/exceptions.h"
#include "render/pipeline.h"
#include "support/fake_clip.h"
#include "support/gate.h"

namespace {

struct pipeline_reading : testing::Test {
  support::gate gate;
  std::vector<std::string> lines;
  cache::frame_cache frames;
  cache::frame_scheduler reading{frames};
  render::pipeline pipeline{frames, {true, [this](const std::string& line) { lines.push_back(line); }, {}, &reading}};
  ksn::state composition;

  ~pipeline_reading() override { gate.open(); }

  ksn::track_info& add(support::fake_clip::frame_function read) {
    auto clip = std::make_shared<support::fake_clip>(10, std::move(read));
    composition.doc.tracks.push_back(support::clip_layer(std::move(clip), 4, 4));
    return composition.doc.tracks.back();
  }
  img::const_image_ptr show(double time) {
    return pipeline.layer_image(composition, composition.doc.tracks[0], time, ksn::cache_resolution_type::full);
  }
  int reads() const { return static_cast<support::fake_clip&>(*composition.doc.tracks[0].source.clip).reads; }
};

TEST_F(pipeline_reading, a_late_frame_leaves_the_picture_before) {
  add([this](int frame, int, img::image& image) {
    if (frame == 1) gate.pass();
    image = support::picture("BGR", 4, 4, {frame, frame, frame});
    return true;
  });
  const img::const_image_ptr before = show(0);
  ASSERT_TRUE(before);
  pipeline.patience = std::chrono::milliseconds(1);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(show(1), before);
    EXPECT_TRUE(pipeline.waits_for_frames());
    EXPECT_FALSE(pipeline.waits_for_frames());
  }
  gate.open();
  ASSERT_TRUE(support::wait_until([&] { return show(1) != before; }));
  EXPECT_EQ(show(1)->row(0, 0)[0], 1);
  pipeline.patience.reset();
  show(2);
  EXPECT_EQ(reads(), 3);
  EXPECT_TRUE(lines.empty());
}

TEST_F(pipeline_reading, a_failure_is_told_and_tried_once) {
  for (const bool direct : {false, true}) {
    lines.clear();
    composition.doc.tracks.clear();
    reading.failures().forget_all();
    add([](int frame, int, img::image& image) {
      if (frame == 1) throw io::read_error("/clips/fake.avi", "Broken");
      if (frame == 2) return false;
      image = support::picture("BGR", 4, 4, {frame, frame, frame});
      return true;
    }).source.disable_cache = direct;
    for (int i = 0; i < 3; ++i) {
      EXPECT_FALSE(show(1));
      EXPECT_FALSE(show(2));
    }
    EXPECT_EQ(lines.size(), 2u) << direct;
    EXPECT_EQ(reads(), 2) << direct;
    EXPECT_TRUE(show(3)) << direct;
  }
}

}  // namespace
