#include "cache/reading/frame_order.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

using enum ksn::repeat_type;

template <class Order>
std::string listed(const Order& order) {
  std::string text;
  for (int step = 0; step < order.steps() && order.at(step); ++step) text += std::to_string(*order.at(step)) + " ";
  return text;
}

TEST(frame_order, of_a_play) {
  const struct {
    cache::play_order order;
    const char* frames;
  } rows[] = {
      {{2, 7, 4, true, loop}, "4 5 6 2 3 "},
      {{2, 7, 4, false, loop}, "4 3 2 6 5 "},
      {{2, 7, 4, true, none}, "4 5 6 "},
      {{2, 7, 4, false, none}, "4 3 2 "},
      {{2, 7, 4, true, ping_pong}, "4 5 6 6 5 4 3 2 "},
      {{2, 7, 4, false, ping_pong}, "4 3 2 2 3 4 5 6 "},
      {{2, 3, 2, true, loop}, "2 "},
      {{2, 2, 2, true, loop}, ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(listed(row.order), row.frames);
    std::set<int> seen;
    for (int step = 0; step < row.order.steps(); ++step) {
      const int frame = row.order.at(step).value();
      if (seen.insert(frame).second) {
        EXPECT_EQ(row.order.steps_to(frame), step) << row.frames;
      }
    }
  }
  EXPECT_EQ((cache::play_order{2, 7, 4, true, none}.steps_to(3)), std::nullopt);
  for (const int outside : {1, 7}) EXPECT_EQ((cache::play_order{2, 7, 4, true, loop}.steps_to(outside)), std::nullopt);
  EXPECT_EQ((cache::play_order{2, 7, 4, true, loop}.at(7)), 6) << "round and round";
}

TEST(frame_order, outward) {
  const struct {
    cache::outward_order order;
    const char* frames;
  } rows[] = {
      {{0, 7, 3, true, 1}, "3 4 2 5 1 6 0 "},     {{0, 7, 3, false, 1}, "3 2 4 1 5 0 6 "},
      {{0, 6, 4, true, 1}, "4 5 3 2 1 0 "},       {{0, 6, 1, false, 1}, "1 0 2 3 4 5 "},
      {{0, 9, 4, true, 2}, "4 5 6 7 2 3 8 0 1 "}, {{0, 9, 4, false, 2}, "4 5 2 3 6 7 0 1 8 "},
      {{0, 9, 8, true, 3}, "8 5 6 7 2 3 4 0 1 "}, {{5, 6, 5, true, 1}, "5 "},
  };
  for (const auto& row : rows) EXPECT_EQ(listed(row.order), row.frames);
  // Every frame once, wherever the head stands.
  for (int head = 0; head < 40; ++head) {
    for (const int run : {1, 5, 24}) {
      const cache::outward_order order{0, 40, head, head % 2 == 0, run};
      std::set<int> seen;
      for (int step = 0; step < 40; ++step) seen.insert(order.at(step).value());
      EXPECT_EQ(seen.size(), 40u) << head << " " << run;
    }
  }
}

}  // namespace
