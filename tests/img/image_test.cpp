#include "img/image.h"
#include "img/fresh_rows.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "img/fresh_rows.h"
#include "img/sampling.h"
#include "lib/parallel.h"
#include "support/failure.h"
#include "support/pictures.h"

namespace {

TEST(image, reset_allocates_what_the_letters_say) {
  struct row {
    std::string letters;
    int bits;
    std::string format;
    std::size_t bytes;
  };
  const row rows[] = {
      {"", 8, "", 0},
      {"L", 8, "L", 15},
      {"BGRA", 8, "BGRA", 15},
      {"BGRAZ", 16, "BGRAZ", 30},
      {"U", 32, "U", 60},
      {"BGRAZXYWV", 8, "BGRAZXYW", 15},
      {std::string("BG\0RA", 5), 8, "BG", 15},
  };
  img::image image("BGRAZ", 16, 9, 9);
  image.metadata["a"] = "b";
  image.frame = 7;
  image.hint[3].resize(9);
  for (const row& r : rows) {
    image.reset(r.letters, r.bits, 5, 3);
    EXPECT_EQ(support::letters_of(image), r.format);
    EXPECT_EQ(static_cast<img::image_info&>(image), img::image_info()) << r.letters;
    EXPECT_TRUE(image.hint[3].empty());
    for (int i = 0; i < img::image::max_planes; ++i) {
      const bool present = i < static_cast<int>(r.format.size());
      EXPECT_EQ(image.data[i].size(), present ? r.bytes : 0) << r.letters << " plane " << i;
      EXPECT_EQ(image.depth[i], present ? r.bits : 0) << r.letters << " plane " << i;
      EXPECT_EQ(reinterpret_cast<std::uintptr_t>(image.data[i].data()) % img::plane::alignment, 0u);
    }
  }
}

TEST(image, gaps_letters_and_path) {
  img::image image;
  image.reset_like({'B', 'G', 'R', 0, 'Z'}, 8, 4, 4);
  EXPECT_EQ(support::letters_of(image), "BGR.Z");
  EXPECT_TRUE(image.has_plane(4));
  EXPECT_FALSE(image.has_plane(3));
  EXPECT_EQ(image.plane_count(), 3);
  EXPECT_EQ(image.plane_of('Z'), 4);
  EXPECT_EQ(image.plane_of('A'), -1);
  EXPECT_EQ(image.plane_of('\0'), -1);
  image.reset_like(image.format, 16, 2, 2);  // its own list
  EXPECT_EQ(support::letters_of(image), "BGR.Z");
  EXPECT_EQ(image.data[4].size(), 8u);
  image.mtime = 1;
  image.set_path("/no/such/file.tga");
  EXPECT_EQ(image.path, "/no/such/file.tga");
  EXPECT_EQ(image.mtime, 0);
}

TEST(image, fill_copy_swap_and_clear_reach_every_byte) {
  // Sizes around the block of 1024 bytes that is dealt to the threads, and one that takes several threads.
  for (int width : {1, 1023, 1024, 1025, 300000}) {
    img::image image;
    image.reset_like({'B', 'G', 'R', 0, 'Z'}, 8, width, 1);
    image.fill(1, 2, 3, 4, 5);
    for (int p : {0, 1, 2, 4}) {
      ASSERT_EQ(support::samples(image, p), std::vector<int>(static_cast<std::size_t>(width), p + 1)) << width;
    }
    img::image copy = image;
    copy.path = "somewhere";
    img::image other;
    other.swap(copy);
    EXPECT_TRUE(copy.empty());
    EXPECT_EQ(other.path, "somewhere");
    EXPECT_EQ(support::differing_plane(other, image), -1);
    EXPECT_NE(image.data[0].data(), other.data[0].data());
    other.clear();
    EXPECT_TRUE(other.empty());
    EXPECT_EQ(other.width, 0);
  }
}

TEST(plane, spare_blocks_are_bounded_and_reused) {
  img::release_spare_planes();
  EXPECT_EQ(img::spare_plane_bytes(), 0u);
  constexpr std::size_t size = 1 << 20;
  const void* first;
  {
    img::plane plane(size);
    first = plane.data();
  }
  EXPECT_EQ(img::spare_plane_bytes(), size);
  {
    const img::plane other(size + 1);  // of another size
    EXPECT_NE(other.data(), first);
    const img::plane again(size);
    EXPECT_EQ(again.data(), first);
  }
  { const img::plane small(img::smallest_spare_plane / 2); }
  EXPECT_EQ(img::spare_plane_bytes(), 2 * size + img::plane::alignment);
  {
    std::vector<img::plane> many;
    for (std::size_t i = 0; i < 2 * img::most_spare_planes; ++i) many.emplace_back(size);
  }
  EXPECT_EQ(img::spare_plane_bytes(), img::most_spare_planes * size);
  {
    // Never touched, so the memory is not really taken.
    std::vector<img::plane> large;
    for (int i = 0; i < 5; ++i) large.emplace_back(img::most_spare_bytes / 4);
  }
  EXPECT_EQ(img::spare_plane_bytes(), img::most_spare_bytes);
  img::release_spare_planes();
  EXPECT_EQ(img::spare_plane_bytes(), 0u);
}

// Rows of new memory are made present and lose nothing; used memory is known as such.
TEST(plane, memory_that_is_new) {
  img::release_spare_planes();
  for (const bool is_new : {true, false}) {
    img::image image("BG", 8, 1000, 333);
    EXPECT_EQ(img::has_new_memory(image.data[1]), is_new);
    img::fresh_rows fresh(image);
    for (int p = 0; p < 2; ++p) std::fill_n(image.row(p, 100), 1000, std::uint8_t{7});
    for (int y = 332; y >= 0; --y) fresh.reach(y);
    fresh.prepare(0, 333);
    for (int p = 0; p < 2; ++p) EXPECT_EQ(std::count(image.row(p, 100), image.row(p, 101), 7), 1000);
  }
  img::release_spare_planes();
}

TEST(plane, spare_blocks_serve_many_threads) {
  // Each thread writes its mark all over its blocks and finds it unharmed.
  std::vector<std::thread> threads;
  std::atomic<int> wrong{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&wrong, t] {
      for (int i = 0; i < 200; ++i) {
        img::plane plane(100000 + static_cast<std::size_t>(i % 3) * 50000);
        std::memset(plane.data(), t, plane.size());
        const img::plane copy = plane;
        for (std::size_t at = 0; at < copy.size(); at += 997) wrong += copy.data()[at] != t;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  img::release_spare_planes();
}

TEST(image, sizes_are_believed_as_far_as_the_file_goes) {
  struct row {
    long long width, height;
    int bytes;
    long long available;
    int expansion;
    bool taken;
  };
  const row rows[] = {
      {1, 1, 1, 1, 1, true},          {0, 1, 1, 100, 1, false},        {1, -1, 1, 100, 1, false},
      {65535, 1, 3, 196605, 1, true}, {65535, 1, 3, 196604, 1, false}, {65536, 1, 1, 1 << 30, 1, false},
      {100, 100, 4, 400, 100, true},  {100, 100, 4, 399, 100, false},  {65535, 65535, 16, 1000, 1000, false},
      {10, 10, 1, -5, 1000, false},
  };
  for (const row& r : rows) {
    const std::string failure = support::failure_of(
        "file", [&] { img::check_size("file", r.width, r.height, r.bytes, r.available, r.expansion); });
    const std::string size = std::to_string(r.width) + " x " + std::to_string(r.height);
    EXPECT_EQ(failure.find(size) == std::string::npos, r.taken) << size << ": " << failure;
  }
}

TEST(sampling, columns_and_rows) {
  struct row {
    int num, den, size;
    bool flip;
    std::vector<int> columns, rows;
  };
  const row rows[] = {
      {1000, 1000, 4, false, {0, 1, 2, 3}, {0, 1, 2, 3}},
      {1000, 1000, 4, true, {3, 2, 1, 0}, {3, 2, 1, 0}},
      {2000, 1000, 3, false, {0, 0, 1, 1, 2, 2}, {0, 0, 1, 1, 2, 2}},
      {500, 1000, 5, false, {0, 2}, {0, 2}},
      {500, 1000, 5, true, {4, 2}, {4, 2}},
      // Step rint(65536 / 3) = 21845 falls just short of a third: column 3 is still source 0, row 3 is source 1.
      {3000, 1000, 2, false, {0, 0, 0, 0, 1, 1}, {0, 0, 0, 1, 1, 1}},
      // Step rint(65536 * 1000 / 667) = 98255.
      {667, 1000, 4, false, {0, 1}, {0, 1}},
      {1500, 1000, 4, false, {0, 0, 1, 2, 2, 3}, {0, 0, 1, 2, 2, 3}},
  };
  for (const row& r : rows) {
    const img::axis_scale axis{r.num, r.den, r.size, r.flip};
    ASSERT_EQ(axis.scaled_size(), static_cast<int>(r.columns.size())) << r.num << "/" << r.den << " of " << r.size;
    for (int i = 0; i < axis.scaled_size(); ++i) {
      EXPECT_EQ(axis.column(i), r.columns[static_cast<std::size_t>(i)]) << r.num << "/" << r.den << " column " << i;
      EXPECT_EQ(axis.row(i), r.rows[static_cast<std::size_t>(i)]) << r.num << "/" << r.den << " row " << i;
    }
    // Beyond both ends the edge repeats.
    EXPECT_EQ(axis.column(1000), r.flip ? 0 : r.size - 1);
    EXPECT_EQ(axis.row(-3), r.flip ? r.size - 1 : 0);
  }
}

TEST(sampling, rows_agree_with_columns) {
  std::vector<std::uint8_t> source(50);
  for (std::size_t i = 0; i < source.size(); ++i) source[i] = static_cast<std::uint8_t>(i * 5 + 1);
  for (int num : {1, 250, 333, 500, 999, 1000, 1001, 2000, 3000, 7777}) {
    for (bool flip : {false, true}) {
      const img::axis_scale axis{num, 1000, 50, flip};
      for (const auto& [first, last] : {std::pair{0, 60}, {17, 44}, {49, 51}, {-4, 3}, {100, 130}, {5, 5}}) {
        std::vector<std::uint8_t> out(200, 0xEE);
        img::sample_row(out.data() + 8, source.data(), axis, first, last);
        for (int i = -8; i < last - first + 8; ++i) {
          const bool inside = i >= 0 && i < last - first;
          const int expected = inside ? source[static_cast<std::size_t>(axis.column(first + i))] : 0xEE;
          ASSERT_EQ(out[static_cast<std::size_t>(i + 8)], expected) << num << (flip ? " flipped " : " ") << first + i;
        }
      }
    }
  }
}

TEST(sampling, reduce_keeps_the_top_left_samples) {
  struct row {
    int width, height, factor, new_width, new_height;
  };
  const row rows[] = {{8, 4, 2, 4, 2}, {9, 5, 2, 5, 3}, {9, 5, 4, 3, 2}, {1, 1, 4, 1, 1}, {403, 70, 4, 101, 18}};
  for (const row& r : rows) {
    img::image image;
    image.reset("U", 32, r.width, r.height);
    image.set_plane(1, 'A', 8);
    image.set_plane(2, 'Z', 16);
    image.user[0] = {r.width / 2, r.height / 2};
    image.path = "kept";
    for (int i = 0; i < r.width * r.height; ++i) {
      image.data[0].as<std::uint32_t>()[i] = static_cast<std::uint32_t>(i) * 70001u;
      image.data[1].as<std::uint8_t>()[i] = static_cast<std::uint8_t>(i * 7);
      image.data[2].as<std::uint16_t>()[i] = static_cast<std::uint16_t>(i * 77);
    }
    const img::image before = image;
    img::reduce(image, r.factor);
    ASSERT_EQ(image.width, r.new_width);
    ASSERT_EQ(image.height, r.new_height);
    EXPECT_EQ(image.user[0], (math::point{r.width / 2 / r.factor, r.height / 2 / r.factor}));
    EXPECT_EQ(image.path, "kept");
    EXPECT_EQ(support::letters_of(image), "UAZ");
    for (int y = 0; y < r.new_height; ++y) {
      for (int x = 0; x < r.new_width; ++x) {
        const int from_x = x * r.factor, from_y = y * r.factor;
        ASSERT_EQ(image.row<std::uint32_t>(0, y)[x], before.row<std::uint32_t>(0, from_y)[from_x]);
        ASSERT_EQ(image.row(1, y)[x], before.row(1, from_y)[from_x]);
        ASSERT_EQ(image.row<std::uint16_t>(2, y)[x], before.row<std::uint16_t>(2, from_y)[from_x]);
      }
    }
  }
}

}  // namespace
