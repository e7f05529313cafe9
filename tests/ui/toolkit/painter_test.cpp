// Fills that let the ground through, and boxes with round corners that are cut.
#include "ui/toolkit/painter.h"

#include <gtest/gtest.h>

#include <numeric>

#include "ui/drawn.h"
#include "ui/toolkit/mixing.h"

namespace {

TEST(Painter, EveryBuildOfAMixGivesTheSameBytes) {
  std::vector<std::uint8_t> ground(256);
  std::iota(ground.begin(), ground.end(), 0);
  for (int value = 0; value < 256; value += 5) {
    for (int weight = 0; weight < 256; ++weight) {
      std::vector<std::uint8_t> row = ground;
      std::vector<std::uint8_t> plain = ground;
      ui::mix_row(row.data(), row.size(), value, weight);
      ui::plain_mix_row(plain.data(), plain.size(), value, weight);
      ASSERT_EQ(row, plain) << value << ' ' << weight;
    }
    EXPECT_EQ(ground[100], 100);
  }
}

// A clip takes pixels away and changes none: what is drawn in pieces is what is drawn at once.
TEST(Painter, ShapesAreTheSameInPieces) {
  const math::rectangle boxes[] = {{5, 4, 60, 22},   {5, 4, 11, 60},   {-6, -3, 30, 12},
                                   {50, 50, 90, 90}, {20, 20, 23, 22}, {30, 30, 30, 40}};
  for (const int scale : {1, 2}) {
    for (const math::rectangle& box : boxes) {
      for (const int radius : {0, 1, 3, 8, 11}) {
        for (const bool framed : {false, true}) {
          support::drawn whole(64, 64);
          support::drawn pieces(64, 64);
          const auto draw = [&](support::drawn& canvas, const math::rectangle& clip) {
            ui::painter on = canvas.painter(scale);
            on.set_clip(clip);
            const lib::color color{170, 250, 120, 10};
            framed ? on.round_frame(box, radius, color) : on.round_fill(box, radius, color);
          };
          draw(whole, {0, 0, 64, 64});
          for (int y = 0; y < 64; y += 7) {
            for (int x = 0; x < 64; x += 5) draw(pieces, {x, y, std::min(x + 5, 64), std::min(y + 7, 64)});
          }
          for (int plane = 0; plane < 3; ++plane) {
            ASSERT_EQ(whole.picture.data[static_cast<std::size_t>(plane)],
                      pieces.picture.data[static_cast<std::size_t>(plane)])
                << box.left << ' ' << radius << ' ' << framed;
          }
        }
      }
    }
  }
}

// A filled box under its frame has no gap, and its corners are round.
TEST(Painter, CornersFadeFromTheInside) {
  support::drawn canvas(40, 40);
  ui::painter on = canvas.painter();
  on.round_fill({10, 10, 30, 30}, 6, {255, 200, 0, 0});
  EXPECT_EQ(canvas.red_at(10, 10), 0);
  EXPECT_EQ(canvas.red_at(16, 10), 200);
  for (int i = 0; i < 6; ++i) {
    EXPECT_LE(canvas.red_at(10 + i, 10), canvas.red_at(11 + i, 10));
    EXPECT_EQ(canvas.red_at(10 + i, 10), canvas.red_at(29 - i, 29));
    EXPECT_EQ(canvas.red_at(10 + i, 11), canvas.red_at(11, 10 + i));
  }
}

}  // namespace
