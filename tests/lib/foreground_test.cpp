#include "lib/foreground.h"

#include <gtest/gtest.h>

#include <optional>
#include <thread>

namespace {

// How long a thread stands aside that calls give_way().
double stood_aside(bool works_ahead) {
  double seconds = 0;
  std::thread([&] {
    std::optional<lib::ahead_scope> ahead;
    if (works_ahead) ahead.emplace();
    lib::give_way();
    seconds = lib::seconds_given_way();
  }).join();
  return seconds;
}

TEST(foreground, who_works_ahead_stands_aside_and_nobody_else) {
  EXPECT_EQ(stood_aside(true), 0.0) << "nobody is waited for";
  const lib::foreground_scope idle(false);
  EXPECT_EQ(stood_aside(true), 0.0);
  const lib::foreground_scope outer;
  {
    const lib::foreground_scope inner;
    EXPECT_GT(stood_aside(true), 0.0);
  }
  EXPECT_GT(stood_aside(true), 0.0);
  EXPECT_EQ(stood_aside(false), 0.0);
  {
    const lib::foreground_break at_rest;
    EXPECT_EQ(stood_aside(true), 0.0) << "it waits for the very thread that works ahead";
  }
  EXPECT_GT(stood_aside(true), 0.0);
}

// Somebody who is waited for very long does not keep the others from work.
TEST(foreground, for_a_while_only) {
  const lib::foreground_scope waited_for;
  std::thread([] {
    const lib::ahead_scope works_ahead;
    lib::give_way();
    const double once = lib::seconds_given_way();
    EXPECT_GT(once, 0.0);
    for (int i = 0; i < 1000; ++i) lib::give_way();
    EXPECT_EQ(lib::seconds_given_way(), once);
  }).join();
}

}  // namespace
