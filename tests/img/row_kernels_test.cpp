#include "img/row_kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "img/formats/tga_runs.h"
#include "support/levels.h"

namespace {

constexpr std::size_t guard = 64;

// Bytes with a guard on both sides, at an odd address.
struct guarded {
  explicit guarded(std::size_t size) : bytes(size + 2 * guard + 1, 0xA5), size(size) {}
  std::uint8_t* data() { return bytes.data() + guard + 1; }
  bool intact() const {
    for (std::size_t i = 0; i < guard + 1; ++i) {
      if (bytes[i] != 0xA5) return false;
    }
    for (std::size_t i = 0; i < guard; ++i) {
      if (bytes[guard + 1 + size + i] != 0xA5) return false;
    }
    return true;
  }
  bool operator==(const guarded& other) const { return bytes == other.bytes; }
  std::vector<std::uint8_t> bytes;
  std::size_t size;
};

std::vector<std::uint8_t> noise(std::size_t size) {
  std::vector<std::uint8_t> bytes(size);
  std::uint32_t state = 12345;
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>((state = state * 1664525u + 1013904223u) >> 24);
  return bytes;
}

// Every operation of a table over the same noise, one guarded result after the other.
std::vector<guarded> results_of(const img::row_kernels& kernels, std::size_t count) {
  const std::vector<std::uint8_t> source = noise(count * 16 + 16);
  const std::uint8_t* planes[4];
  for (std::size_t i = 0; i < 4; ++i) planes[i] = source.data() + i * count + i;
  std::vector<guarded> out;
  auto more = [&](std::size_t size) { return out.emplace_back(size).data(); };
  out.reserve(32);
  std::uint8_t *b = more(count), *g = more(count), *r = more(count), *a = more(count);
  kernels.split3(source.data(), b, g, r, count);
  b = more(count), g = more(count), r = more(count), a = more(count);
  kernels.split4(source.data(), b, g, r, a, count);
  b = more(count), g = more(count), r = more(count);
  kernels.split555(source.data(), b, g, r, count);
  kernels.join3(planes[0], planes[1], planes[2], more(3 * count), count);
  kernels.join4(planes[0], planes[1], planes[2], planes[3], more(4 * count), count);
  kernels.every_2nd_8(source.data(), more(count), count);
  kernels.every_4th_8(source.data(), more(count), count);
  // The wider samples are aligned to their size, as planes are.
  const auto* words = reinterpret_cast<const std::uint16_t*>(source.data());
  const auto* longs = reinterpret_cast<const std::uint32_t*>(source.data());
  std::vector<std::uint16_t> few16(count);
  std::vector<std::uint32_t> few32(count);
  auto keep = [&](const void* data, std::size_t size) {
    std::uint8_t* to = more(size);
    if (size) std::memcpy(to, data, size);
  };
  kernels.every_2nd_16(words, few16.data(), count);
  keep(few16.data(), 2 * count);
  kernels.every_4th_16(words, few16.data(), count);
  keep(few16.data(), 2 * count);
  kernels.every_2nd_32(longs, few32.data(), count);
  keep(few32.data(), 4 * count);
  kernels.every_4th_32(longs, few32.data(), count);
  keep(few32.data(), 4 * count);
  return out;
}

TEST(row_kernels, every_level_equals_the_plain_form) {
  for (std::size_t count = 0; count <= 131; ++count) {
    const std::vector<guarded> plain = results_of(img::plain_row_kernels(), count);
    support::every_level([&](const char* level) {
      const std::vector<guarded> fast = results_of(img::active_row_kernels(), count);
      for (std::size_t i = 0; i < plain.size(); ++i) {
        ASSERT_TRUE(fast[i].intact()) << level << " result " << i << " of " << count << " pixels";
        ASSERT_TRUE(fast[i] == plain[i]) << level << " result " << i << " of " << count << " pixels";
      }
    });
  }
}

TEST(row_kernels, plain_forms) {
  const img::row_kernels& plain = img::plain_row_kernels();
  const std::uint8_t pixels[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  std::uint8_t b[4], g[4], r[4], a[4], joined[12];
  plain.split3(pixels, b, g, r, 4);
  EXPECT_EQ(b[3], 10);
  EXPECT_EQ(g[1], 5);
  EXPECT_EQ(r[2], 9);
  plain.join3(b, g, r, joined, 4);
  EXPECT_EQ(std::memcmp(joined, pixels, 12), 0);
  plain.split4(pixels, b, g, r, a, 3);
  EXPECT_EQ(b[2], 9);
  EXPECT_EQ(g[0], 2);
  EXPECT_EQ(r[1], 7);
  EXPECT_EQ(a[2], 12);
  plain.join4(b, g, r, a, joined, 3);
  EXPECT_EQ(std::memcmp(joined, pixels, 12), 0);
  // Blue 1, green 16, red 31, and bit 15, which does not count.
  const std::uint8_t word[] = {0x01, 0xFE};
  plain.split555(word, b, g, r, 1);
  EXPECT_EQ(b[0], 8);
  EXPECT_EQ(g[0], 132);
  EXPECT_EQ(r[0], 255);
}

// All packet lengths at all distances from the end of a row, in pieces of all sizes: what comes out is what went in.
TEST(tga_kernels, packets_across_rows_and_pieces) {
  for (int bytes : {1, 2, 3, 4}) {
    const int planes = bytes == 1 ? 1 : bytes == 4 ? 4 : 3;
    std::vector<std::uint8_t> packed;
    std::vector<std::uint8_t> expected[4];
    auto pixel_samples = [&](std::uint8_t seed) {
      // The two lowest words of 5 bits, or plain samples.
      if (bytes == 2) {
        const unsigned v = seed & 31u;
        packed.insert(packed.end(), {static_cast<std::uint8_t>(v), static_cast<std::uint8_t>(v << 2)});
        const auto wide = static_cast<std::uint8_t>((v << 3) + (v >> 2));
        return std::array<std::uint8_t, 4>{wide, 0, wide, 0};
      }
      std::array<std::uint8_t, 4> samples{};
      for (int i = 0; i < bytes; ++i) {
        samples[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(seed * (i + 1));
        packed.push_back(samples[static_cast<std::size_t>(i)]);
      }
      return samples;
    };
    std::uint8_t seed = 1;
    for (int length = 1; length <= 128; ++length) {
      packed.push_back(static_cast<std::uint8_t>((length - 1) | 128));
      const auto run = pixel_samples(++seed);
      for (int p = 0; p < planes; ++p) expected[p].insert(expected[p].end(), static_cast<std::size_t>(length), run[p]);
      packed.push_back(static_cast<std::uint8_t>(length - 1));
      for (int i = 0; i < length; ++i) {
        const auto literal = pixel_samples(++seed);
        for (int p = 0; p < planes; ++p) expected[p].push_back(literal[p]);
      }
    }
    const std::size_t total = expected[0].size();
    support::every_level([&](const char* level) {
      for (std::size_t row : {1u, 7u, 64u, 301u, 20000u}) {
        for (std::size_t piece : {std::size_t{1}, std::size_t{5}, std::size_t{1000}, packed.size()}) {
          std::vector<guarded> out(4, guarded(row));
          img::tga_packets packets{};
          std::size_t done = 0, in_memory = 0, used = 0;
          // Room behind the data that the kernels may read.
          std::vector<std::uint8_t> data(packed);
          data.resize(packed.size() + img::tga_read_ahead);
          while (done < total) {
            const std::size_t wanted = std::min(row, total - done);
            for (std::size_t got = 0; got < wanted;) {
              std::uint8_t* rows[4];
              for (int p = 0; p < 4; ++p) rows[p] = out[static_cast<std::size_t>(p)].data() + got;
              packets.position = data.data() + used;
              packets.end = data.data() + in_memory;
              got += img::active_tga_kernels().unpack[bytes](&packets, rows, wanted - got);
              used = static_cast<std::size_t>(packets.position - data.data());
              if (got < wanted) {
                ASSERT_LT(in_memory, packed.size()) << level << " wants more data than there is";
                in_memory = std::min(packed.size(), in_memory + piece);
              }
            }
            for (int p = 0; p < planes; ++p) {
              guarded& plane = out[static_cast<std::size_t>(p)];
              ASSERT_EQ(std::memcmp(plane.data(), expected[p].data() + done, wanted), 0)
                  << level << ", " << bytes << " bytes, rows of " << row << ", pieces of " << piece << ", pixel "
                  << done;
              ASSERT_TRUE(plane.intact()) << level << ", rows of " << row;
            }
            done += wanted;
          }
          ASSERT_EQ(used, packed.size());
        }
      }
    });
  }
}

TEST(tga_kernels, equal_neighbours) {
  const std::vector<std::uint8_t> source = noise(4 * 300);
  std::vector<std::uint8_t> planes[4];
  for (std::size_t p = 0; p < 4; ++p) {
    // Few values, so that neighbours are often equal.
    for (std::size_t i = 0; i < 300; ++i) planes[p].push_back(source[p * 300 + i] < 40 ? 1 : 0);
  }
  support::every_level([&](const char* level) {
    for (int count : {1, 3, 4}) {
      for (std::size_t width = 1; width <= 300; ++width) {
        const std::uint8_t* rows[4];
        for (std::size_t p = 0; p < 4; ++p) rows[p] = planes[p].data();
        std::uint64_t bits[6] = {~0ull, ~0ull, ~0ull, ~0ull, ~0ull, ~0ull};
        img::active_tga_kernels().equal_neighbours(rows, count, width, bits);
        for (std::size_t x = 0; x < width; ++x) {
          bool same = x + 1 < width;
          for (int p = 0; same && p < count; ++p) same = planes[p][x] == planes[p][x + 1];
          ASSERT_EQ(bits[x / 64] >> (x % 64) & 1, same ? 1u : 0u) << level << " width " << width << " pixel " << x;
        }
        ASSERT_EQ(bits[(width + 63) / 64], ~0ull);
      }
    }
  });
}

}  // namespace
