#include "cache/pointer_map.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

namespace {

// Keys that lie as heap blocks of many sizes do: next to each other, in steps of powers of two, far apart.
TEST(pointer_map, does_what_a_map_does) {
  for (const std::uintptr_t step : {1u, 16u, 592u, 4096u, 65536u, 1u << 22}) {
    std::mt19937 random(static_cast<unsigned>(step));
    cache::pointer_map<char, int> map;
    std::map<const char*, int> expected;
    for (int turn = 0; turn < 20000; ++turn) {
      // Grows, shrinks to little, grows again.
      const bool adds = random() % 10 < (turn / 4000 % 2 == 0 ? 7u : 2u);
      const char* key = reinterpret_cast<const char*>(0x7f0000000000u + step * (1 + random() % 3000));
      if (!adds) {
        ASSERT_EQ(map.erase(key), expected.erase(key) == 1) << step;
      } else if (!expected.contains(key)) {
        map.insert(key, turn);
        expected[key] = turn;
      }
      ASSERT_EQ(map.size(), expected.size()) << step;
      if (turn % 500 != 0) continue;
      for (std::uintptr_t i = 1; i <= 3000; ++i) {
        const char* each = reinterpret_cast<const char*>(0x7f0000000000u + step * i);
        const auto found = expected.find(each);
        const int* value = map.find(each);
        ASSERT_EQ(value != nullptr, found != expected.end()) << step;
        if (value) {
          EXPECT_EQ(*value, found->second) << step;
        }
      }
    }
    map.clear();
    EXPECT_EQ(map.size(), 0u);
    EXPECT_FALSE(map.contains(reinterpret_cast<const char*>(0x7f0000000000u + step)));
  }
}

}  // namespace
