#include "composition/track_info.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using ksn::track_info;

track_info sequence_of(int frames, double retime = 1.0, double first = 0.0, double end = 1.0) {
  track_info track;
  track.source.type = ksn::source_type::sequence;
  track.source.frames = frames;
  track.timing.retime = retime;
  track.timing.sbegin_f = first;
  track.timing.send_f = end;
  return track;
}

TEST(track_info, length_in_out_and_layer_end) {
  struct row {
    int frames;
    double retime, first, end;
    int length, in, out, layer_end;
  };
  const row rows[] = {
      {10, 0.04, 0.0, 1.0, 1, 0, 1, 1},
      {100, 1.0, 0.0, 2.5, 100, 0, 250, 300},
      {5, 1.0, 0.5, 1.0, 5, 2, 5, 5},        // 2.5 goes to the even 2
      {7, 1.0, 0.5, 1.0, 7, 4, 7, 7},        // 3.5 goes to the even 4
      {10, 0.25, 0.0, 1.0, 2, 0, 2, 2},      // 2.5
      {10, 1.0, 1.5, 1.0, 10, 9, 10, 10},    // in stays before the end, out after in
      {10, 1.0, -0.5, 0.0, 10, 0, 1, 10},    // out is at least one frame
      {0, 1.0, 0.0, 1.0, 1, 0, 1, 1},        // no frames at all still take one
      {10, 2.0, 0.25, 0.75, 20, 5, 15, 20},  // retimed
      {10, 1.0, 0.0, 1.05, 10, 0, 10, 10},   // 10.5
      {10, 1.0, 0.0, 1.15, 10, 0, 12, 20},   // 11.5
      {10, -3.0, 0.0, 1.0, 1, 0, 1, 1},      // nonsense stays within bounds
      {10, NAN, NAN, INFINITY, 1, 0, 1000000000, 1000000000},
  };
  for (const row& r : rows) {
    const track_info track = sequence_of(r.frames, r.retime, r.first, r.end);
    EXPECT_EQ(track.length(), r.length) << r.frames << " * " << r.retime;
    EXPECT_EQ(track.in(), r.in) << r.frames << " * " << r.retime << " at " << r.first;
    EXPECT_EQ(track.out(), r.out) << r.frames << " * " << r.retime << " at " << r.end;
    EXPECT_EQ(track.layer_end(), r.layer_end) << r.frames << " * " << r.retime << " to " << r.end;
  }
}

TEST(track_info, setters_keep_the_fractions_normalised) {
  track_info track = sequence_of(10);
  track.set_in(3);
  EXPECT_DOUBLE_EQ(track.timing.sbegin_f, 0.3);
  EXPECT_DOUBLE_EQ(track.timing.send_f, 1.0);
  track.set_out(25);
  EXPECT_EQ(track.out(), 25);
  EXPECT_DOUBLE_EQ(track.timing.send_f, 2.5);
  track.set_in(40);  // clamped to the last frame of a pass
  EXPECT_EQ(track.in(), 9);
  EXPECT_DOUBLE_EQ(track.timing.sbegin_f, 0.9);
  track.set_out(-7);
  EXPECT_EQ(track.out(), 10);
  EXPECT_DOUBLE_EQ(track.timing.send_f, 1.0);
  track.set_in_out(2, 4);
  EXPECT_EQ(track.in(), 2);
  EXPECT_EQ(track.out(), 4);
  track.set_in_out(std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
  EXPECT_EQ(track.in(), 0);
  EXPECT_GT(track.out(), 0);
}

TEST(track_info, source_position) {
  struct row {
    int begin, frames;
    double retime, first, end, t, position;
  };
  const row rows[] = {
      {10, 100, 1.0, 0.0, 1.0, 9.99, -1.0},   // in front
      {10, 100, 1.0, 0.0, 1.0, 10.0, 0.0},    // first
      {10, 100, 1.0, 0.0, 1.0, 109.5, 99.5},  // last
      {10, 100, 1.0, 0.0, 1.0, 110.0, -1.0},  // the out point is not part of the layer
      {10, 100, 1.0, 0.1, 1.0, 19.0, -1.0},   // in front of the in point
      {10, 100, 1.0, 0.1, 1.0, 20.0, 10.0},  {0, 100, 1.0, 0.0, 2.5, 249.0, 49.0},  // third pass
      {0, 10, 2.0, 0.0, 1.0, 5.0, 2.5},                                             // each frame twice
      {0, 10, 0.5, 0.0, 1.0, 4.0, 8.0},                                             // every second frame
      {-20, 100, 1.0, 0.0, 1.0, 0.0, 20.0},                                         // starts before the timeline
      {0, 10, 1.0, 0.0, 1.0, NAN, -1.0},
  };
  for (const row& r : rows) {
    track_info track = sequence_of(r.frames, r.retime, r.first, r.end);
    track.timing.begin = r.begin;
    EXPECT_DOUBLE_EQ(track.source_position(r.t), r.position) << "at " << r.t << " of a layer from " << r.begin;
  }
  track_info still = sequence_of(1, 50.0);
  still.source.type = ksn::source_type::image;
  EXPECT_DOUBLE_EQ(still.source_position(30.0), 0.0);
  EXPECT_DOUBLE_EQ(still.source_position(50.0), -1.0);
}

TEST(track_info, fades) {
  struct row {
    int base, fade_in, fade_out;
    double t;
    int value;
  };
  // A layer from 100 to 150.
  const row rows[] = {
      {100, 0, 0, 99.0, 0},    {100, 0, 0, 100.0, 100},  {100, 0, 0, 150.0, 0},  {50, 10, 0, 109.0, 45},
      {50, 10, 0, 110.0, 50},  {50, 10, 0, 100.0, 5},    {100, 0, 9, 141.0, 90}, {100, 0, 9, 149.0, 10},
      {100, 0, 9, 140.0, 100}, {100, 60, 60, 125.0, 41},
  };
  for (const row& r : rows) {
    track_info track = sequence_of(50);
    track.timing.begin = 100;
    track.timing.fade_in = r.fade_in;
    track.timing.fade_out = r.fade_out;
    EXPECT_EQ(track.faded_value(r.t, r.base), r.value)
        << "base " << r.base << " fades " << r.fade_in << "," << r.fade_out << " at " << r.t;
  }
}

TEST(track_info, setters_with_rules) {
  track_info track;
  for (const auto& [given, stored] : {std::pair{0.002, 0.002}, {-2.0, 0.001}, {double(NAN), 0.001}}) {
    track.placement.set_aspect(given);
    EXPECT_DOUBLE_EQ(track.placement.aspect, stored) << given;
  }
  for (const auto& [given, stored] : {std::pair{2, 2}, {-50, 1}}) {
    track.placement.set_scale_x(given);
    track.placement.set_scale_y(given);
    EXPECT_EQ(track.placement.scale_x, stored) << given;
    EXPECT_EQ(track.placement.scale_y, stored) << given;
  }
}

TEST(track_info, ids_go_on_behind_reserved_ones) {
  const int first = ksn::next_layer_id();
  for (const int reserved : {first + 100, first}) ksn::reserve_layer_id(reserved);
  EXPECT_EQ(ksn::next_layer_id(), first + 101);
}

}  // namespace
