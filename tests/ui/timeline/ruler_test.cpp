// The arithmetic of the ruler: frames and pixels, what the pointer finds, ticks, marks and snaps.
#include <gtest/gtest.h>

#include <cmath>

#include "ui/timeline/frame_marks.h"
#include "ui/timeline/row_layout.h"
#include "ui/timeline/ruler_scale.h"
#include "ui/timeline/snapping.h"

namespace {

using cache::frame_presence;
using ui::mark;
using ui::ruler_region;
using ui::ruler_scale;

TEST(ruler, a_hundred_frames_in_1091_pixels_have_ten_each) {
  const ruler_scale ruler{1091, 100, 1};
  EXPECT_DOUBLE_EQ(ruler.pixels_per_frame(), 10.0);
  EXPECT_EQ(ruler.left(), 45);
  EXPECT_EQ(ruler.x_of(7), 45 + 70);
  EXPECT_EQ(ruler.right(), 1091 - 46);
}

TEST(ruler, a_frame_is_found_again_at_its_pixel) {
  for (const int scale : {1, 2}) {
    for (int width = 440 * scale; width <= 4000; width += 173) {
      for (const int length : {10, 24, 99, 250, 1000, 9999, 100'000, 1'000'000}) {
        const ruler_scale ruler{width, length, scale};
        ASSERT_NEAR(ruler.left(), 45 * scale, 1) << width;
        ASSERT_NEAR(ruler.right(), width - 46 * scale, 1 + scale) << width << " " << length;
        const int step = std::max(1, length / 97);
        for (int frame = 0; frame <= length; frame += step) {
          const double back = ruler.frame_at(ruler.x_of(frame));
          ASSERT_LE(std::abs(back - frame), 0.5 * ruler.frames_per_pixel() + 1e-6)
              << width << " " << length << " " << frame;
        }
      }
    }
  }
}

TEST(ruler, the_pointer_finds_the_boxes_in_their_order) {
  const ruler_scale ruler{1091, 100, 1};
  const ui::ruler_marks marks{20, 60, 40};
  const int y = ui::ruler_top;
  struct row {
    int x, y;
    ruler_region expected;
  };
  const row rows[] = {
      {45 + 600, y, ruler_region::work_area_end},
      {45 + 603, y + 16, ruler_region::work_area_end},
      {45 + 604, y, ruler_region::rest},
      {45 + 603, y + 17, ruler_region::rest},
      {45 + 196, y, ruler_region::work_area_begin},
      {45 + 199, y + 16, ruler_region::work_area_begin},
      {45 + 195, y, ruler_region::rest},
      {45 + 200, y, ruler_region::work_area},
      {45 + 395, y, ruler_region::cursor},
      {45 + 405, y + 11, ruler_region::cursor},
      {45 + 406, y, ruler_region::work_area},
      {45 + 400, y + 12, ruler_region::work_area},
      {39, y, ruler_region::left_handle},
      {43, y + 18, ruler_region::left_handle},
      {38, y, ruler_region::none},
      {1047, y, ruler_region::right_handle},
      {1051, y + 18, ruler_region::right_handle},
      {1052, y, ruler_region::none},
      {500, y - 1, ruler_region::none},
      {500, y + ui::ruler_height, ruler_region::none},
      {100, y + 5, ruler_region::rest},
  };
  for (const row& r : rows) EXPECT_EQ(ui::ruler_hit(ruler, marks, r.x, r.y), r.expected) << r.x << ", " << r.y;
  // The end of the work area wins over the cursor that stands on it, and all of it doubles with the scale.
  EXPECT_EQ(ui::ruler_hit(ruler, {20, 60, 60}, 645, y), ruler_region::work_area_end);
  const ruler_scale doubled{2182, 100, 2};
  for (const row& r : rows) EXPECT_EQ(ui::ruler_hit(doubled, marks, 2 * r.x, 2 * r.y), r.expected) << r.x << " doubled";
}

TEST(ruler, ticks_are_round_and_never_closer_than_their_labels) {
  struct row {
    int length, rate, major, minor;
  };
  const row rows[] = {
      {100, 0, 5, 1},                // 10 pixels a frame
      {10, 0, 1, 0},                 // 100
      {1000, 0, 50, 5},              // 1
      {1'000'000, 0, 50'000, 5000},  //
      {1000, 24, 48, 24},            // 2 seconds
      {100'000, 24, 7200, 720},      // 5 minutes
  };
  for (const row& r : rows) {
    const ruler_scale ruler{1091, r.length, 1};
    const ui::ruler_ticks ticks = ui::ticks_of(ruler, 40, r.rate);
    EXPECT_EQ(ticks.major, r.major) << r.length << " at " << r.rate;
    EXPECT_EQ(ticks.minor, r.minor) << r.length << " at " << r.rate;
    EXPECT_GE(ticks.major * ruler.pixels_per_frame(), 40.0);
  }
}

ksn::track_info layer(int begin, int frames) {
  ksn::track_info track;
  track.source.type = ksn::source_type::sequence;
  track.source.frames = frames;
  track.timing.begin = begin;
  return track;
}

TEST(columns, tell_what_their_frames_are) {
  // One pixel a frame, and then ten frames a pixel.
  std::vector<frame_presence> states(100, frame_presence::kept);
  states[37] = frame_presence::failed;
  states[57] = frame_presence::missing;
  states[83] = frame_presence::being_read;
  const ksn::track_info track = layer(10, 100);
  struct row {
    int width, column;
    mark expected;
  };
  const row rows[] = {{291, 9, mark::none},    {291, 10, mark::kept},    {291, 47, mark::failed},
                      {291, 48, mark::kept},   {291, 67, mark::missing}, {291, 93, mark::reading},
                      {291, 109, mark::kept},  {291, 110, mark::none},   {111, 0, mark::none},
                      {111, 2, mark::kept},    {111, 5, mark::failed},   {111, 7, mark::missing},
                      {111, 9, mark::reading}, {111, 10, mark::kept},    {111, 11, mark::none}};
  for (const row& r : rows) {
    const ruler_scale ruler{r.width, 200, 1};
    EXPECT_EQ(ui::mark_at(track, states, ruler, ruler.left() + r.column), r.expected) << r.width << ' ' << r.column;
  }
}

TEST(snapping, the_nearest_end_within_reach_else_a_whole_second) {
  ksn::document doc;
  doc.tm_n = 500;
  doc.tm_f = 40;
  doc.tm_l = 90;
  doc.tm_t = 60.4;
  doc.tracks.push_back(layer(100, 30));
  doc.tracks.push_back(layer(103, 30));
  const int moved = doc.tracks[1].id;
  const std::vector<int> frames = ui::snap_frames(doc, {moved}, true);
  EXPECT_EQ(frames, (std::vector<int>{0, 40, 60, 90, 100, 130, 500}));
  EXPECT_EQ(ui::snapped(frames, 2500, 97, 4), 100);
  EXPECT_EQ(ui::snapped(frames, 2500, 95, 4), std::nullopt);
  EXPECT_EQ(ui::snapped(frames, 2500, 202, 4), 200) << "second 8";
  EXPECT_EQ(ui::snapped(frames, 2997, 301, 4), 300) << "second 10 of 29.97 is frame 299.7";
  EXPECT_EQ(ui::snapped(frames, 200, 202, 4), std::nullopt) << "seconds of two frames are everywhere";
  EXPECT_EQ(ui::snap_frames(doc, {moved}, false), (std::vector<int>{0, 40, 90, 100, 130, 500}));
}

TEST(row, regions_follow_the_bar) {
  const ruler_scale ruler{1091, 100, 1};
  const ksn::track_info track = layer(10, 20);  // 145 to 345
  using ui::row_region;
  struct row {
    int x;
    row_region expected;
  };
  const row rows[] = {{0, row_region::number},       {14, row_region::number},     {15, row_region::visible},
                      {30, row_region::audible},     {45, row_region::background}, {144, row_region::background},
                      {145, row_region::bar_in},     {150, row_region::bar_in},    {151, row_region::bar_body},
                      {338, row_region::bar_body},   {339, row_region::bar_out},   {344, row_region::bar_out},
                      {345, row_region::background}, {1050, row_region::effect},   {1090, row_region::effect},
                      {1091, row_region::none}};
  for (const row& r : rows) EXPECT_EQ(ui::row_hit(ruler, track, false, r.x), r.expected) << r.x;
  EXPECT_EQ(ui::row_hit(ruler, track, true, 1085), row_region::none);
  // A layer of one frame still has a body between its ends; what lies outside of the timeline has no end to hold.
  EXPECT_EQ(ui::row_hit(ruler, layer(10, 1), false, 149), row_region::bar_body);
  EXPECT_EQ(ui::row_hit(ruler, layer(-10, 40), false, 46), row_region::bar_body);
  EXPECT_EQ(ui::row_hit(ruler, layer(90, 40), false, 1045), row_region::bar_body);
}

}  // namespace
