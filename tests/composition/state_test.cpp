#include <gtest/gtest.h>

#include <cmath>
#include <span>
#include <tuple>
#include <vector>

#include "composition/document.h"

namespace {

using ksn::state;
using support::document;

TEST(timeline, lengths_clamp_what_lies_behind_them) {
  document c;
  c.set_current_time(200);
  c.set_timeline_length(5, false);
  EXPECT_EQ(c.timeline(), "10: 0 to 10, at 10");
  EXPECT_TRUE(c.timeline_user_set);
  c.set_timeline_length(100, true);
  EXPECT_EQ(c.timeline(), "100: 0 to 10, at 10") << "the work area does not grow with the timeline";
  c.set_workarea_begin(90);
  c.set_timeline_length(50, true);
  EXPECT_EQ(c.timeline(), "50: 49 to 50, at 10");

  document with_layer;
  with_layer.put("a");
  with_layer.set_timeline_length(20, false);
  EXPECT_FALSE(with_layer.timeline_user_set);
}

TEST(timeline, work_area) {
  const auto begin = &state::set_workarea_begin;
  const auto end = &state::set_workarea_end;
  // On a timeline of 100 frames with a work area of 20 to 40.
  const std::tuple<void (state::*)(int), int, const char*> rows[] = {
      {begin, 30, "100: 30 to 40, at 0"},  {begin, 40, "100: 40 to 41, at 0"},   {begin, 98, "100: 98 to 99, at 0"},
      {begin, 99, "100: 99 to 100, at 0"}, {begin, 500, "100: 99 to 100, at 0"}, {begin, -5, "100: 0 to 40, at 0"},
      {end, 60, "100: 20 to 60, at 0"},    {end, 20, "100: 19 to 20, at 0"},     {end, 500, "100: 20 to 100, at 0"},
      {end, 1, "100: 0 to 1, at 0"},       {end, 2, "100: 1 to 2, at 0"}};
  for (const auto& [set, frame, expected] : rows) {
    document c;
    c.set_timeline_length(100, false);
    c.tm_f = 20;
    c.tm_l = 40;
    (c.*set)(frame);
    EXPECT_EQ(c.timeline(), expected);
  }
}

TEST(timeline, fit_and_trim) {
  struct row {
    void (state::*run)();
    int tm_n, tm_f, tm_l;
    double tm_t;
    std::vector<int> begins;  // of layers of thirty frames
    double end;               // their out point as a fraction
    std::string timeline_after;
    std::vector<int> begins_after;
  };
  const auto fit = &state::timeline_fit_all_layers;
  const auto trim = &state::timeline_trim_to_workarea;
  const row rows[] = {
      {fit, 250, 25, 60, 10, {30, 20}, 1.0, "40: 5 to 40, at 0", {10, 0}},
      {fit, 250, 0, 250, 0, {0}, 1.5, "60: 0 to 60, at 0", {0}},        // to the end of the last repeat
      {fit, 100, 0, 100, 50, {300}, 1.0, "240: 0 to 10, at 0", {210}},  // moved by what leaves ten frames
      {fit, 100, 20, 50, 30, {-15, 5}, 1.0, "50: 35 to 50, at 45", {0, 20}},
      {fit, 100, 90, 100, 95, {0}, 1.0, "30: 29 to 30, at 30", {0}},
      {fit, 100, 20, 50, 30, {}, 1.0, "100: 20 to 50, at 30", {}},
      {trim, 250, 40, 70, 50, {0}, 1.0, "30: 0 to 30, at 10", {-40}},
      {trim, 100, 95, 100, 99, {7}, 1.0, "10: 5 to 10, at 9", {-83}},
      {trim, 100, 0, 3, 2, {7}, 1.0, "10: 0 to 3, at 2", {7}},
  };
  for (const row& r : rows) {
    document c;
    c.tm_n = r.tm_n;
    c.tm_f = r.tm_f;
    c.tm_l = r.tm_l;
    c.tm_t = r.tm_t;
    for (const int begin : r.begins) c.put("a", begin, 30).send_f = r.end;
    c.timeline_user_set = true;
    (c.*r.run)();
    EXPECT_EQ(c.timeline(), r.timeline_after);
    EXPECT_EQ(c.begins(), r.begins_after) << c.timeline();
    EXPECT_EQ(c.timeline_user_set, r.run == trim || r.begins.empty()) << c.timeline();
  }
}

TEST(timeline, current_time_is_clamped_and_stops_the_clock) {
  state composition;
  for (const auto& [given, stored] : {std::pair{-3.0, 0.0}, {12.5, 12.5}, {1e9, 250.0}, {double(NAN), 0.0}}) {
    composition.playing = true;
    composition.set_current_time(given);
    EXPECT_EQ(composition.tm_t, stored);
    EXPECT_FALSE(composition.playing);
  }
}

TEST(view, steps_of_zoom_and_rate) {
  struct row {
    int from, above, below;
  };
  const row zooms[] = {{1, 2, 1},     {8, 9, 7},     {9, 10, 8},     {10, 20, 9},     {15, 20, 10},   {49, 50, 40},
                       {50, 100, 40}, {55, 100, 50}, {100, 200, 50}, {101, 200, 100}, {250, 300, 200}};
  const row rates[] = {{2500, 2600, 2400}, {2900, 2997, 2800}, {2997, 3000, 2900}, {3000, 3100, 2997},
                       {2300, 2398, 2200}, {2398, 2400, 2300}, {2400, 2500, 2398}, {5900, 5994, 5800},
                       {5994, 6000, 5900}, {6000, 6100, 5994}, {100, 200, 100},    {199, 200, 100},
                       {50, 100, 50}};
  const auto check = [](auto table, int state::*field, void (state::*increase)(), void (state::*decrease)()) {
    for (const row& r : table) {
      state composition;
      composition.*field = r.from;
      (composition.*increase)();
      EXPECT_EQ(composition.*field, r.above) << r.from;
      composition.*field = r.from;
      (composition.*decrease)();
      EXPECT_EQ(composition.*field, r.below) << r.from;
    }
  };
  check(std::span(zooms), &state::zoom_factor2, &state::increase_zoom_factor, &state::decrease_zoom_factor);
  check(std::span(rates), &state::fpcs, &state::increase_fps, &state::decrease_fps);
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
  using area = ksn::safe_area_type_t;
  using mask = ksn::mask_type_t;
  for (const auto& [area_before, mask_before, area_after, mask_after] :
       {std::tuple{area::none, mask::none, area::blue, mask::transparent},
        {area::none, mask::crop, area::none, mask::crop},
        {area::orange, mask::none, area::orange, mask::none}}) {
    state composition;
    composition.safe_area_type = area_before;
    composition.mask_type = mask_before;
    composition.toggle_mask();
    EXPECT_TRUE(composition.safe_area_active);
    EXPECT_EQ(composition.safe_area_type, area_after);
    EXPECT_EQ(composition.mask_type, mask_after);
    composition.toggle_mask();
    EXPECT_FALSE(composition.safe_area_active);
  }
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

TEST(view, background_as_a_colour) {
  state composition;
  composition.set_back_color({0, 1, 2, 3});
  EXPECT_EQ(composition.resolved_back_color(), (lib::color{255, 1, 2, 3}));
  composition.back_color = ksn::back_color_type::transparent;
  EXPECT_EQ(composition.resolved_back_color(), (lib::color{255, 0, 0, 0}));
}

}  // namespace
