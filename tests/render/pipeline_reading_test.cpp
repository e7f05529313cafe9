// The pipeline on a scheduler: frames that are late, and frames that fail.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "io/exceptions.h"
#include "render/pipeline.h"
#include "support/fake_clip.h"
#include "support/gate.h"
#include "support/temp_folder.h"

namespace {

struct pipeline_reading : testing::Test {
  support::gate gate;
  std::vector<std::string> lines;
  cache::frame_cache frames;
  cache::frame_scheduler reading{frames};
  std::uint32_t now = 4'294'967'000u;  // milliseconds; wraps soon
  render::pipeline pipeline{
      frames, {true, [this](const std::string& line) { lines.push_back(line); }, [this] { return now; }, &reading}};
  ksn::state composition;

  pipeline_reading() {
    frames.memory_load = [] { return 0; };
  }
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

TEST_F(pipeline_reading, a_file_that_changes_is_told_of_once_and_waited_for) {
  const support::temp_folder folder;
  ksn::track_info& layer = composition.doc.tracks.emplace_back();
  layer.source.type = ksn::source_type::image;
  layer.source.path = folder / "a.tga";
  layer.source.frames = 1;
  layer.source.auto_update = true;
  layer.look.visible = true;
  int time = 1000;
  const auto write = [&](int level) {
    if (level < 0) {
      support::write_file(layer.source.path, "short");
    } else {
      img::save(support::picture("BGR", 4, 4, {level, level, level}), layer.source.path, nullptr, {});
    }
    const timespec times[2] = {{++time, 0}, {time, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, layer.source.path.c_str(), times, 0), 0);
  };
  const auto changed = [&] { return pipeline.finds_changed_file(composition, 0.0); };
  const auto level = [&] {
    const img::const_image_ptr image = show(0);
    return image ? image->row(0, 0)[0] : -1;
  };
  write(10);
  EXPECT_FALSE(changed()) << "never shown";
  EXPECT_EQ(level(), 10);
  now += 5000;
  EXPECT_FALSE(changed());
  write(20);
  now += 1999;
  EXPECT_FALSE(changed()) << "just looked at";
  now += 1;
  EXPECT_TRUE(changed());
  EXPECT_FALSE(changed()) << "told";

  // The only reader has something else to do.
  reading.set_readers(1);
  cache::frame_request other;
  other.key.path = "/other.avi\\A,0";
  other.clip = std::make_shared<support::fake_clip>(1, [this](int, int, img::image& image) {
    gate.pass();
    image = support::picture("BGR", 4, 4);
    return true;
  });
  reading.want(cache::frame_owner::save, {other});
  ASSERT_TRUE(support::wait_until([&] { return gate.waiting() == 1; }));
  pipeline.patience = std::chrono::milliseconds(1);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(level(), 10);
    EXPECT_TRUE(pipeline.waits_for_frames());
  }
  gate.open();
  EXPECT_TRUE(support::wait_until([&] { return level() == 20; }));
  pipeline.patience.reset();

  const struct {
    const char* name;
    bool visible;
    int written;
  } rows[] = {{"while it is being written", true, -1}, {"whole", true, 30}, {"hidden", false, 40}};
  for (const auto& row : rows) {
    layer.look.visible = row.visible;
    now += 2000;
    EXPECT_FALSE(changed()) << row.name;
    write(row.written);
    now += 2000;
    EXPECT_EQ(changed(), row.visible) << row.name;
    EXPECT_TRUE(!row.visible || level() == row.written) << row.name;
  }
}

}  // namespace
