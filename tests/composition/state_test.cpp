#include "composition/state.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using ksn::state;
using ksn::track_info;

void put_layer(state& composition, int begin, int frames, double end = 1.0) {
  track_info track;
  track.source_type = ksn::source_type::sequence;
  track.frames = frames;
  track.begin = begin;
  track.send_f = end;
  composition.tracks.push_back(track);
}

TEST(timeline, lengths_clamp_what_lies_behind_them) {
  state composition;
  composition.set_current_time(200);
  composition.set_timeline_length(5, false);
  EXPECT_EQ(composition.tm_n, 10);
  EXPECT_EQ(composition.tm_l, 10);
  EXPECT_EQ(composition.tm_t, 10.0);
  EXPECT_TRUE(composition.timeline_user_set);

  composition.set_timeline_length(100, true);
  EXPECT_EQ(composition.tm_l, 10);  // the work area does not grow with the timeline
  composition.set_workarea_begin(90);
  composition.set_timeline_length(50, true);
  EXPECT_EQ(composition.tm_l, 50);
  EXPECT_EQ(composition.tm_f, 49);

  state with_layer;
  put_layer(with_layer, 0, 10);
  with_layer.set_timeline_length(20, false);
  EXPECT_FALSE(with_layer.timeline_user_set);
}

TEST(timeline, work_area) {
  struct row {
    int begin_at;  // -1 for none
    int end_at;
    int first, end;
  };
  // On a timeline of 100 frames with a work area of 20 to 40.
  const row rows[] = {
      {30, -1, 30, 40}, {40, -1, 40, 41},   {99, -1, 99, 100}, {500, -1, 99, 100}, {-5, -1, 0, 40},  {-1, 60, 20, 60},
      {-1, 20, 19, 20}, {-1, 500, 20, 100}, {-1, 1, 0, 1},     {-1, 2, 1, 2},      {98, -1, 98, 99},
  };
  for (const row& r : rows) {
    state composition;
    composition.set_timeline_length(100, false);
    composition.tm_f = 20;
    composition.tm_l = 40;
    if (r.begin_at != -1) composition.set_workarea_begin(r.begin_at);
    if (r.end_at != -1) composition.set_workarea_end(r.end_at);
    EXPECT_EQ(composition.tm_f, r.first) << r.begin_at << " " << r.end_at;
    EXPECT_EQ(composition.tm_l, r.end) << r.begin_at << " " << r.end_at;
  }
}

TEST(timeline, fit_starts_at_the_first_layer_and_ends_behind_the_last_repeat) {
  state composition;
  put_layer(composition, 30, 20);
  put_layer(composition, 20, 30, 1.5);
  composition.tm_f = 25;
  composition.tm_l = 60;
  composition.tm_t = 10;
  composition.timeline_user_set = true;
  composition.timeline_fit_all_layers();
  EXPECT_EQ(composition.track_at(0).begin, 10);
  EXPECT_EQ(composition.track_at(1).begin, 0);
  EXPECT_EQ(composition.tm_n, 60);
  EXPECT_EQ(composition.tm_f, 5);
  EXPECT_EQ(composition.tm_l, 40);
  EXPECT_EQ(composition.tm_t, 0.0);
  EXPECT_FALSE(composition.timeline_user_set);
}

TEST(timeline, fit_moves_by_no_more_than_leaves_ten_frames) {
  state composition;
  composition.set_timeline_length(100, true);
  put_layer(composition, 300, 20);
  composition.timeline_fit_all_layers();
  EXPECT_EQ(composition.track_at(0).begin, 210);
  EXPECT_EQ(composition.tm_n, 230);
}

TEST(timeline, trim_to_workarea) {
  state composition;
  put_layer(composition, 0, 100);
  composition.tm_f = 40;
  composition.tm_l = 70;
  composition.tm_t = 50;
  composition.timeline_trim_to_workarea();
  EXPECT_EQ(composition.tm_n, 30);
  EXPECT_EQ(composition.tm_f, 0);
  EXPECT_EQ(composition.tm_l, 30);
  EXPECT_EQ(composition.tm_t, 10.0);
  EXPECT_EQ(composition.track_at(0).begin, -40);
}

TEST(timeline, current_time_is_clamped_and_stops_the_clock) {
  state composition;
  for (const auto& [given, stored] : {std::pair{-3.0, 0.0}, {12.5, 12.5}, {1e9, 250.0}}) {
    composition.playing = true;
    composition.set_current_time(given);
    EXPECT_EQ(composition.tm_t, stored);
    EXPECT_FALSE(composition.playing);
  }
}

TEST(view, zoom_steps) {
  state composition;
  std::vector<int> up;
  composition.zoom_factor2 = 8;
  while (composition.zoom_factor2 < 300) {
    composition.increase_zoom_factor();
    up.push_back(composition.zoom_factor2);
  }
  EXPECT_EQ(up, (std::vector<int>{9, 10, 20, 30, 40, 50, 100, 200, 300}));
  std::vector<int> down;
  composition.zoom_factor2 = 250;
  while (composition.zoom_factor2 > 8) {
    composition.decrease_zoom_factor();
    down.push_back(composition.zoom_factor2);
  }
  EXPECT_EQ(down, (std::vector<int>{200, 100, 50, 40, 30, 20, 10, 9, 8}));
  for (const auto& [from, above, below] : {std::tuple{75, 100, 50}, {101, 200, 100}, {55, 100, 50}, {1, 2, 1}}) {
    composition.zoom_factor2 = from;
    composition.increase_zoom_factor();
    EXPECT_EQ(composition.zoom_factor2, above) << from;
    composition.zoom_factor2 = from;
    composition.decrease_zoom_factor();
    EXPECT_EQ(composition.zoom_factor2, below) << from;
  }
}

TEST(view, rate_steps) {
  for (const auto& [from, above, below] : {std::tuple{2500, 2600, 2400},
                                           {2900, 2997, 2800},
                                           {2997, 3000, 2900},
                                           {3000, 3100, 2997},
                                           {2300, 2398, 2200},
                                           {2398, 2400, 2300},
                                           {2400, 2500, 2398},
                                           {5900, 5994, 5800},
                                           {5994, 6000, 5900},
                                           {6000, 6100, 5994},
                                           {100, 200, 100},
                                           {199, 200, 100},
                                           {50, 100, 50}}) {
    state composition;
    composition.fpcs = from;
    composition.increase_fps();
    EXPECT_EQ(composition.fpcs, above) << from;
    composition.fpcs = from;
    composition.decrease_fps();
    EXPECT_EQ(composition.fpcs, below) << from;
  }
}

TEST(view, channels) {
  state composition;
  composition.toggle_channel(ksn::view_type::alpha);
  EXPECT_EQ(composition.view, ksn::view_type::alpha);
  EXPECT_TRUE(composition.channel_lit(ksn::channel_type::alpha));
  EXPECT_FALSE(composition.channel_lit(ksn::channel_type::red));
  composition.toggle_channel(ksn::view_type::alpha);
  EXPECT_EQ(composition.view, ksn::view_type::rgb);
  EXPECT_TRUE(composition.channel_lit(ksn::channel_type::red));

  // Hiding red, then green, leaves blue in colour; pressing each channel thrice from rgb comes back to it.
  composition.step_channel_mode(ksn::channel_type::red);
  composition.step_channel_mode(ksn::channel_type::red);
  composition.step_channel_mode(ksn::channel_type::red);
  EXPECT_EQ(composition.view, ksn::view_type::r_hidden);
  composition.step_channel_mode(ksn::channel_type::green);
  EXPECT_EQ(composition.view, ksn::view_type::b_color);
  for (const auto channel : {ksn::channel_type::blue, ksn::channel_type::green, ksn::channel_type::red}) {
    composition.view = ksn::view_type::rgb;
    for (int i = 0; i < 4; ++i) composition.step_channel_mode(channel);
    EXPECT_EQ(composition.view, ksn::view_type::rgb);
  }
}

TEST(view, mask_toggle_makes_something_to_show) {
  state composition;
  composition.safe_area_type = ksn::safe_area_type_t::none;
  composition.mask_type = ksn::mask_type_t::none;
  composition.toggle_mask();
  EXPECT_TRUE(composition.safe_area_active);
  EXPECT_EQ(composition.safe_area_type, ksn::safe_area_type_t::blue);
  EXPECT_EQ(composition.mask_type, ksn::mask_type_t::transparent);
  composition.toggle_mask();
  EXPECT_FALSE(composition.safe_area_active);
}

TEST(view, aspect_below_one_switches_off) {
  state composition;
  composition.set_view_aspect(1.5);
  composition.zoom_factor2 = 200;
  EXPECT_DOUBLE_EQ(composition.zoom(), 3.0);
  composition.set_view_aspect(0.9);
  EXPECT_FALSE(composition.aspect_enabled);
  EXPECT_DOUBLE_EQ(composition.aspect, 1.5);
  EXPECT_DOUBLE_EQ(composition.zoom(), 2.0);
}

TEST(view, background_by_value) {
  state composition;
  composition.set_back_color({7, 50, 50, 50});
  EXPECT_EQ(composition.back_color, ksn::back_color_type::dark_grey);
  composition.set_back_color({0, 1, 2, 3});
  EXPECT_EQ(composition.back_color, ksn::back_color_type::custom);
  EXPECT_EQ(composition.resolved_back_color(), (lib::color{255, 1, 2, 3}));
  composition.back_color = ksn::back_color_type::transparent;
  EXPECT_EQ(composition.resolved_back_color(), (lib::color{255, 0, 0, 0}));
}

}  // namespace
