// The columns of frames in memory under anything that happens to the frames and to the layers.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "cache/track_frame.h"
#include "support/fake_clip.h"
#include "ui/timeline/frame_marks.h"

namespace {

using ui::hole;
using ui::mark;

class marks : public testing::Test {
 protected:
  ksn::state composition;
  cache::frame_cache frames;
  cache::frame_scheduler reading{frames};
  cache::frame_board board{reading};
  ui::mark_table table;
  ui::ruler_scale ruler{291, 200, 1};

  ksn::track_info& add(int begin, int count, const std::string& path) {
    composition.doc.tracks.push_back(support::plain_layer(count, "BGR", 1, 1, {1, 2, 3}));
    ksn::track_info& track = composition.doc.tracks.back();
    track.source.path = path;
    track.timing.begin = begin;
    composition.touch();
    return track;
  }
  img::const_image_ptr keep(const ksn::track_info& track, int frame) {
    const cache::frame_key key = cache::key_of_frame(track, frame, ksn::cache_resolution_type::full);
    const img::const_image_ptr image = frames.get_clip_frame(key, *track.source.clip, frame, nullptr);
    frames.touch(image);
    return image;
  }
  void update() {
    do {
      board.update(composition);
    } while (board.is_busy());
    table.update(composition.doc, board, ruler);
  }
  // "." none, "-" missing, "r" reading, "k" kept, "f" failed.
  static std::string text(std::span<const mark> columns) {
    std::string result;
    for (const mark m : columns) result += ".-rkf"[static_cast<int>(m)];
    return result;
  }
};

TEST_F(marks, of_the_composition_are_those_of_the_layers_that_are_seen) {
  ruler = {101, 10, 1};
  add(0, 5, "/a.avi");
  add(3, 5, "/b.avi");
  ksn::track_info& still = add(0, 10, "/c.avi");
  still.source.type = ksn::source_type::text;
  for (int i = 0; i < 5; ++i) keep(composition.doc.tracks[0], i);
  keep(composition.doc.tracks[1], 4);
  update();
  EXPECT_EQ(text(table.of(0).marks), "kkkkk......");
  EXPECT_EQ(text(table.of(1).marks), "...----k...");
  EXPECT_TRUE(table.of(2).marks.empty());
  EXPECT_EQ(text(table.all()), "kkk----k...");
  composition.doc.tracks[1].look.visible = false;
  update();
  EXPECT_EQ(text(table.all()), "kkkkk......");
}

TEST_F(marks, holes_of_a_sequence) {
  ksn::name_list names;
  for (int i = 0; i < 10; ++i) names.add("a." + std::to_string(i) + ".tga");
  ksn::track_info track;
  track.source.type = ksn::source_type::sequence;
  track.source.path = "/nowhere/";
  track.source.frames = 10;
  track.source.names = ksn::frame_names(std::move(names), {2, 3, 7});
  track.look.visible = true;
  composition.doc.tracks.push_back(track);
  const auto holes = [&] {
    update();
    std::string found;
    for (const hole h : table.of(0).holes) found += ".+x"[static_cast<int>(h)];
    return found;
  };
  ruler = {101, 10, 1};
  EXPECT_EQ(holes(), "..xx...x...");
  ruler = {94, 10, 1};  // three frames and more in a pixel
  EXPECT_NE(holes().find('+'), std::string::npos);
}

// A table that only hears of changes stays the one that is made from scratch.
TEST_F(marks, stay_right_whatever_happens) {
  std::mt19937 random(7);
  const auto any = [&](int below) { return static_cast<int>(random() % static_cast<unsigned>(below)); };
  std::vector<img::const_image_ptr> kept;
  for (int i = 0; i < 6; ++i) add(any(60) - 20, 1 + any(90), "/" + std::to_string(i / 2) + ".avi");
  for (int step = 0; step < 600; ++step) {
    std::deque<ksn::track_info>& tracks = composition.doc.tracks;
    ksn::track_info& track = tracks[static_cast<std::size_t>(any(static_cast<int>(tracks.size())))];
    const int event = any(12);
    if (event < 5) {
      for (int i = any(6); i-- > 0;) kept.push_back(keep(track, any(track.source.frames)));
    } else if (event < 7 && !kept.empty()) {
      frames.drop(kept.back());
      kept.pop_back();
    } else if (event == 7) {
      track.timing.begin = any(250) - 50;
    } else if (event == 8) {
      track.timing.retime = 0.25 * (1 + any(12));
      track.set_in_out(any(track.length()), track.length() * (1 + any(3)));
    } else if (event == 9) {
      track.look.visible = !track.look.visible;
    } else if (event == 10) {
      std::swap(tracks.front(), tracks.back());
    } else if (any(4) == 0) {
      ruler.length = 100 + any(300);
    } else if (tracks.size() > 3) {
      tracks.erase(tracks.begin() + any(3));
    } else {
      add(any(60), 1 + any(90), "/" + std::to_string(any(4)) + ".avi");
    }
    composition.touch();
    update();
    ui::mark_table fresh;
    fresh.update(composition.doc, board, ruler);
    ASSERT_EQ(text(table.all()), text(fresh.all())) << "step " << step << ", event " << event;
    for (int i = 0; i < composition.doc.track_count(); ++i)
      ASSERT_EQ(text(table.of(i).marks), text(fresh.of(i).marks)) << "layer " << i << ", event " << event;
  }
}

}  // namespace
