#include <gtest/gtest.h>

#include <vector>

#include "img/lookup/table.h"
#include "img/transfer.h"

namespace {

using img::lookup_table;

TEST(lookup_table, one_form_at_a_time) {
  lookup_table table;
  table.set_3d(std::vector<std::uint16_t>(lookup_table::cube_entries, 7), true);
  EXPECT_TRUE(table.has_cube() && table.output_srgb3);
  table.set_1d(std::vector<double>(lookup_table::curve_entries, 0.5), true);
  EXPECT_TRUE(table.has_curves() && !table.has_cube() && table.output_srgb1 && !table.output_srgb3);
  EXPECT_EQ(table.cube_hash(), 0u);

  // Arrays of another size count as absent.
  table.set_raw(std::vector<std::uint16_t>(lookup_table::cube_entries - 1), true, std::vector<double>(3073), true);
  EXPECT_TRUE(table.empty());
  EXPECT_EQ(table.raw_cube().size(), lookup_table::cube_entries - 1u);
  EXPECT_EQ(table.raw_curves().size(), 3073u);
  EXPECT_EQ(table.cube_hash(), 0u);
  for (const std::size_t entries : {std::size_t{4}, lookup_table::entries_of(130)}) {
    table.set_raw(std::vector<std::uint16_t>(entries), true, {}, false);
    EXPECT_TRUE(table.empty()) << entries;
  }
}

TEST(lookup_table, values_beyond_14_bits_are_held) {
  lookup_table table;
  for (const int points : {2, 17, 129}) {
    std::vector<std::uint16_t> nodes(lookup_table::entries_of(points), 65535);
    table.set_raw(nodes, true, {}, false);
    EXPECT_EQ(table.points(), points);
    EXPECT_EQ(table.cube()[0], 16383);
    EXPECT_EQ(table.cube()[nodes.size() - 2], 16383);
  }
  // No index of the tables after a cube may leave them.
  img::image in("BGR", 8, 9, 1), out;
  in.fill(255, 0, 100, 0);
  img::correction settings;
  settings.lookup_table = table;
  img::transfer(settings).convert(out, in);
  EXPECT_EQ(*out.row(0, 0), 255);
}

// Folded outside the program, by h ^= x + (h << 6) + (h >> 2) - 1640531527 in 32 bits.
TEST(lookup_table, hash) {
  lookup_table table;
  EXPECT_EQ(table.cube_hash(), 0u);
  std::vector<std::uint16_t> nodes(lookup_table::cube_entries, 0);
  table.set_3d(nodes, false);
  EXPECT_EQ(table.cube_hash(), 0xA8503115u);
  nodes[((16 * 17 + 0) * 17 + 2) * 4 + 2] = 300;
  table.set_3d(nodes, false);
  EXPECT_EQ(table.cube_hash(), 0x47D4C0B0u);
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
