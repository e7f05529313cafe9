#include "playback/pacing.h"

#include <gtest/gtest.h>

namespace playback {

bool operator==(const pacing& a, const pacing& b) {
  return a.wait == b.wait && a.milliseconds == b.milliseconds;
}
void PrintTo(const pacing& value, std::ostream* out) {
  *out << static_cast<int>(value.wait) << " for " << value.milliseconds;
}

}  // namespace playback

namespace {

using playback::pacing_wait;

TEST(pacing, gives_back_the_rest_of_a_frame) {
  struct row {
    const char* what;
    playback::tick tick;
    playback::pacing expected;
  };
  const row rows[] = {
      {"24 a second", {.fpcs = 2400, .spent = 10}, {pacing_wait::events, 31}},
      {"one a second still ticks ten times", {.fpcs = 100, .spent = 1}, {pacing_wait::events, 99}},
      {"a rate of zero too", {.fpcs = 0, .spent = 0}, {pacing_wait::events, 100}},
      {"one millisecond is left", {.fpcs = 2400, .spent = 40}, {pacing_wait::events, 1}},
      {"nothing is left", {.fpcs = 2400, .spent = 41}, {pacing_wait::none, 0}},
      {"presented by the thread", {.fpcs = 2500, .spent = 4, .present_mode = 4}, {pacing_wait::present_done, 36}},
      {"polled by the thread", {.fpcs = 2500, .spent = 4, .present_mode = 5}, {pacing_wait::present_done, 36}},
      {"not by the thread", {.fpcs = 2500, .spent = 4, .present_mode = 1}, {pacing_wait::events, 36}},
      {"no throttle in front", {.fpcs = 2500, .spent = 4, .foreground = true, .throttled = false}, {}},
      {"no throttle in the background",
       {.fpcs = 2500, .spent = 4, .foreground = false, .throttled = false},
       {pacing_wait::events, 36}},
      {"no throttle and the thread",
       {.fpcs = 2500, .spent = 4, .present_mode = 4, .foreground = true, .throttled = false},
       {pacing_wait::present_done, 36}},
      {"an output", {.fpcs = 2500, .spent = 4, .device_runs = true, .present_mode = 4}, {pacing_wait::device, 36}},
      {"an output that is asked",
       {.fpcs = 2500, .spent = 4, .device_runs = true, .device_is_asked = true},
       {pacing_wait::device, 1}},
  };
  for (const row& r : rows) EXPECT_EQ(playback::pace(r.tick), r.expected) << r.what;
}

TEST(pacing, rate_field) {
  constexpr lib::color wanted{255, 255, 255, 255};
  constexpr lib::color reached{255, 75, 141, 190};
  struct row {
    const char* what;
    int fpcs;
    unsigned first, second, third;  // times of three draws
    const char* text;
    lib::color color;
  };
  const row rows[] = {
      {"on time", 2400, 1000, 1042, 1084, "24.00 fps", wanted},
      {"one millisecond long", 2500, 0, 41, 82, "25.00 fps", wanted},
      {"late", 2400, 0, 50, 100, "20.00 fps", reached},
      {"one draw late", 2400, 0, 42, 112, "17.85 fps", reached},
      {"faster than wanted", 2400, 0, 10, 20, "24.00 fps", wanted},
      {"odd sum", 2500, 0, 42, 85, "23.80 fps", reached},
      {"across the wrap of the counter", 2400, 0xFFFFFFF0u, 0x22, 0x54, "20.00 fps", reached},
      {"two draws at once", 2400, 7, 7, 8, "24.00 fps", wanted},
      {"no rate", 0, 0, 50, 100, "0.00 fps", wanted},
      {"a long stall", 2400, 0, 1, 0x80000000u, "0.00 fps", reached},
  };
  for (const row& r : rows) {
    playback::rate_field field;
    EXPECT_EQ(field.draw(r.first, r.fpcs, false).color, wanted) << r.what;
    EXPECT_EQ(field.draw(r.second, r.fpcs, false).color, wanted) << r.what;
    const playback::rate_reading reading = field.draw(r.third, r.fpcs, false);
    EXPECT_EQ(reading.text, r.text) << r.what;
    EXPECT_EQ(reading.color, r.color) << r.what;
  }
  EXPECT_EQ(playback::rate_field().draw(0, 2997, true).text, "29.97* fps");
}

}  // namespace
