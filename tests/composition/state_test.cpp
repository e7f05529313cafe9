#include <gtest/gtest.h>

#include <cmath>
#include <span>
#include <tuple>
#include <vector>

#include "composition/test_document.h"

namespace {

using ksn::state;
using support::document;

TEST(timeline, lengths_clamp_what_lies_behind_them) {
  document c;
  c.doc.set_current_time(200);
  c.doc.set_timeline_length(5, false);
  EXPECT_EQ(c.timeline(), "10: 0 to 10, at 10");
  EXPECT_TRUE(c.doc.timeline_user_set);
  c.doc.set_timeline_length(100, true);
  EXPECT_EQ(c.timeline(), "100: 0 to 10, at 10") << "the work area does not grow with the timeline";
  c.doc.set_workarea_begin(90);
  c.doc.set_timeline_length(50, true);
  EXPECT_EQ(c.timeline(), "50: 49 to 50, at 10");

  document with_layer;
  with_layer.put("a");
  with_layer.doc.set_timeline_length(20, false);
  EXPECT_FALSE(with_layer.doc.timeline_user_set);
}

TEST(timeline, work_area) {
  const auto begin = &ksn::document::set_workarea_begin;
  const auto end = &ksn::document::set_workarea_end;
  // On a timeline of 100 frames with a work area of 20 to 40.
  const std::tuple<void (ksn::document::*)(int), int, const char*> rows[] = {
      {begin, 30, "100: 30 to 40, at 0"},  {begin, 40, "100: 40 to 41, at 0"},   {begin, 98, "100: 98 to 99, at 0"},
      {begin, 99, "100: 99 to 100, at 0"}, {begin, 500, "100: 99 to 100, at 0"}, {begin, -5, "100: 0 to 40, at 0"},
      {end, 60, "100: 20 to 60, at 0"},    {end, 20, "100: 19 to 20, at 0"},     {end, 500, "100: 20 to 100, at 0"},
      {end, 1, "100: 0 to 1, at 0"},       {end, 2, "100: 1 to 2, at 0"}};
  for (const auto& [set, frame, expected] : rows) {
    document c;
    c.doc.set_timeline_length(100, false);
    c.doc.tm_f = 20;
    c.doc.tm_l = 40;
    (c.doc.*set)(frame);
    EXPECT_EQ(c.timeline(), expected);
  }
}

TEST(timeline, fit_and_trim) {
  struct row {
    void (ksn::document::*run)();
    int tm_n, tm_f, tm_l;
    double tm_t;
    std::vector<int> begins;  // of layers of thirty frames
    double end;               // their out point as a fraction
    std::string timeline_after;
    std::vector<int> begins_after;
  };
  const auto fit = &ksn::document::timeline_fit_all_layers;
  const auto trim = &ksn::document::timeline_trim_to_workarea;
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
    c.doc.tm_n = r.tm_n;
    c.doc.tm_f = r.tm_f;
    c.doc.tm_l = r.tm_l;
    c.doc.tm_t = r.tm_t;
    for (const int begin : r.begins) c.put("a", begin, 30).timing.send_f = r.end;
    c.doc.timeline_user_set = true;
    (c.doc.*r.run)();
    EXPECT_EQ(c.timeline(), r.timeline_after);
    EXPECT_EQ(c.begins(), r.begins_after) << c.timeline();
    EXPECT_EQ(c.doc.timeline_user_set, r.run == trim || r.begins.empty()) << c.timeline();
  }
}

TEST(timeline, current_time_is_clamped_and_stops_the_clock) {
  state composition;
  for (const auto& [given, stored] : {std::pair{-3.0, 0.0}, {12.5, 12.5}, {1e9, 250.0}, {double(NAN), 0.0}}) {
    composition.doc.playing = true;
    composition.doc.set_current_time(given);
    EXPECT_EQ(composition.doc.tm_t, stored);
    EXPECT_FALSE(composition.doc.playing);
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
  const auto check = []<class T>(auto table, int T::*field, void (T::*increase)(), void (T::*decrease)()) {
    for (const row& r : table) {
      T stepped;
      stepped.*field = r.from;
      (stepped.*increase)();
      EXPECT_EQ(stepped.*field, r.above) << r.from;
      stepped.*field = r.from;
      (stepped.*decrease)();
      EXPECT_EQ(stepped.*field, r.below) << r.from;
    }
  };
  check(std::span(zooms), &ksn::view::zoom_factor2, &ksn::view::increase_zoom_factor, &ksn::view::decrease_zoom_factor);
  check(std::span(rates), &ksn::document::fpcs, &ksn::document::increase_fps, &ksn::document::decrease_fps);
}

TEST(view, channels) {
  state composition;
  composition.view.toggle_channel(ksn::view_type::alpha);
  EXPECT_EQ(composition.view.channels, ksn::view_type::alpha);
  EXPECT_TRUE(composition.view.channel_lit(ksn::channel_type::alpha));
  EXPECT_FALSE(composition.view.channel_lit(ksn::channel_type::red));
  composition.view.toggle_channel(ksn::view_type::alpha);
  EXPECT_EQ(composition.view.channels, ksn::view_type::rgb);
  EXPECT_TRUE(composition.view.channel_lit(ksn::channel_type::red));

  // Hiding red, then green, leaves blue in colour; pressing each channel thrice from rgb comes back to it.
  composition.view.step_channel_mode(ksn::channel_type::red);
  composition.view.step_channel_mode(ksn::channel_type::red);
  composition.view.step_channel_mode(ksn::channel_type::red);
  EXPECT_EQ(composition.view.channels, ksn::view_type::r_hidden);
  composition.view.step_channel_mode(ksn::channel_type::green);
  EXPECT_EQ(composition.view.channels, ksn::view_type::b_color);
  for (const auto channel : {ksn::channel_type::blue, ksn::channel_type::green, ksn::channel_type::red}) {
    composition.view.channels = ksn::view_type::rgb;
    for (int i = 0; i < 4; ++i) composition.view.step_channel_mode(channel);
    EXPECT_EQ(composition.view.channels, ksn::view_type::rgb);
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
    composition.view.safe_area_type = area_before;
    composition.view.mask_type = mask_before;
    composition.view.toggle_mask();
    EXPECT_TRUE(composition.view.safe_area_active);
    EXPECT_EQ(composition.view.safe_area_type, area_after);
    EXPECT_EQ(composition.view.mask_type, mask_after);
    composition.view.toggle_mask();
    EXPECT_FALSE(composition.view.safe_area_active);
  }
}

TEST(view, aspect_below_one_switches_off) {
  state composition;
  composition.view.set_view_aspect(1.5);
  composition.view.zoom_factor2 = 200;
  EXPECT_DOUBLE_EQ(composition.view.zoom(), 3.0);
  composition.view.set_view_aspect(0.9);
  EXPECT_FALSE(composition.view.aspect_enabled);
  EXPECT_DOUBLE_EQ(composition.view.aspect, 1.5);
  EXPECT_DOUBLE_EQ(composition.view.zoom(), 2.0);
}

TEST(view, background_as_a_colour) {
  state composition;
  composition.doc.set_back_color({0, 1, 2, 3});
  EXPECT_EQ(composition.doc.resolved_back_color(), (lib::color{255, 1, 2, 3}));
  composition.doc.back_color = ksn::back_color_type::transparent;
  EXPECT_EQ(composition.doc.resolved_back_color(), (lib::color{255, 0, 0, 0}));
}

}  // namespace
