#include <gtest/gtest.h>

#include <vector>

#include "img/lookup_table.h"
#include "img/transfer.h"

namespace {

using img::lookup_table;

TEST(lookup_table, one_form_at_a_time) {
  lookup_table table;
  EXPECT_TRUE(table.empty());
  EXPECT_EQ(table.cube_hash(), 0u);
  table.set_3d(std::vector<std::uint16_t>(lookup_table::cube_entries, 7), true);
  EXPECT_TRUE(table.has_cube() && table.output_srgb3);
  table.set_1d(std::vector<double>(lookup_table::curve_entries, 0.5), true);
  EXPECT_TRUE(table.has_curves() && !table.has_cube() && table.output_srgb1 && !table.output_srgb3);
  EXPECT_EQ(table.cube_hash(), 0u);
}

TEST(lookup_table, arrays_of_another_size_count_as_absent) {
  lookup_table table;
  table.set_raw(std::vector<std::uint16_t>(lookup_table::cube_entries - 1), true, std::vector<double>(3073), true);
  EXPECT_TRUE(table.empty());
  EXPECT_EQ(table.raw_cube().size(), lookup_table::cube_entries - 1u);
  EXPECT_EQ(table.raw_curves().size(), 3073u);
  EXPECT_EQ(table.cube_hash(), 0u);
}

TEST(lookup_table, values_beyond_14_bits_are_held) {
  std::vector<std::uint16_t> nodes(lookup_table::cube_entries, 65535);
  lookup_table table;
  table.set_raw(nodes, true, {}, false);
  EXPECT_EQ(table.cube()[0], 16383);
  EXPECT_EQ(table.cube()[lookup_table::cube_entries - 2], 16383);
  // No index of the tables behind a cube may leave them.
  img::image in("BGR", 8, 9, 1), out;
  in.fill(255, 0, 100, 0);
  img::correction settings;
  settings.lookup_table = table;
  img::transfer(settings).convert(out, in);
  EXPECT_EQ(*out.row(0, 0), 255);
}

// Folded by hand for a cube of zeros but for one value: fold(h, x) = h ^ (x + (h << 6) + (h >> 2) + 0x9e3779b9).
TEST(lookup_table, hash) {
  auto fold = [](std::uint32_t h, std::uint32_t x) { return h ^ (x + (h << 6) + (h >> 2) + 0x9e3779b9u); };
  auto fold_many = [&](std::uint32_t h, std::uint32_t x, int count) {
    for (int i = 0; i < count; ++i) h = fold(h, x);
    return h;
  };
  const std::uint32_t node = fold_many(0, 0, 4);
  const std::uint32_t row = fold_many(0, node, 17);
  const std::uint32_t plane = fold_many(0, row, 17);
  lookup_table table;
  std::vector<std::uint16_t> nodes(lookup_table::cube_entries, 0);
  table.set_3d(nodes, false);
  EXPECT_EQ(table.cube_hash(), fold_many(0, plane, 17));

  // Red of the node at red 16, green 0, blue 2.
  nodes[((16 * 17 + 0) * 17 + 2) * 4 + 2] = 300;
  const std::uint32_t marked = fold(fold(fold_many(0, 0, 2), 300), 0);
  const std::uint32_t first_row = fold_many(fold(fold_many(0, node, 2), marked), node, 14);
  const std::uint32_t last_plane = fold_many(fold(0, first_row), row, 16);
  table.set_3d(nodes, false);
  EXPECT_EQ(table.cube_hash(), fold(fold_many(0, plane, 16), last_plane));
}

TEST(lookup_table, equal_by_contents_and_flags) {
  lookup_table a, b;
  EXPECT_EQ(a, b);
  a.set_1d(std::vector<double>(lookup_table::curve_entries, 0.5), true);
  EXPECT_NE(a, b);
  b.set_1d(std::vector<double>(lookup_table::curve_entries, 0.5), true);
  EXPECT_EQ(a, b);
  b.output_srgb1 = false;
  EXPECT_NE(a, b);
  b = a;
  EXPECT_EQ(&a.raw_curves(), &b.raw_curves());
}

}  // namespace
