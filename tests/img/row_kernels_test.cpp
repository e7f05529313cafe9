#include "img/row_kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "img/formats/tga/runs.h"
#include "support/levels.h"

namespace {

constexpr std::size_t guard = 64;

// Bytes with a guard on both sides, at an odd address.
struct guarded {
  explicit guarded(std::size_t size) : bytes(size + 2 * guard + 1, 0xA5) {}
  std::uint8_t* data() { return bytes.data() + guard + 1; }
  bool intact() const {
    auto untouched = [](std::uint8_t byte) { return byte == 0xA5; };
    return std::all_of(bytes.begin(), bytes.begin() + guard + 1, untouched) &&
           std::all_of(bytes.end() - guard, bytes.end(), untouched);
  }
  bool operator==(const guarded& other) const { return bytes == other.bytes; }
  std::vector<std::uint8_t> bytes;
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
  {
    std::vector<std::uint16_t> split(3 * count);
    kernels.split3_16(reinterpret_cast<const std::uint16_t*>(source.data()), split.data(), split.data() + count,
                      split.data() + 2 * count, count);
    std::copy_n(reinterpret_cast<const std::uint8_t*>(split.data()), 6 * count, more(6 * count));
  }
  kernels.join3(planes[0], planes[1], planes[2], more(3 * count), count);
  kernels.join4(planes[0], planes[1], planes[2], planes[3], more(4 * count), count);
  kernels.every_2nd_8(source.data(), more(count), count);
  kernels.every_4th_8(source.data(), more(count), count);
  // The wider samples are aligned to their size, as planes are.
  auto every = [&](auto* kernel, auto sample) {
    std::vector<decltype(sample)> few(count);
    kernel(reinterpret_cast<const decltype(sample)*>(source.data()), few.data(), count);
    std::copy_n(reinterpret_cast<const std::uint8_t*>(few.data()), count * sizeof sample, more(count * sizeof sample));
  };
  every(kernels.every_2nd_16, std::uint16_t{});
  every(kernels.every_4th_16, std::uint16_t{});
  every(kernels.every_2nd_32, std::uint32_t{});
  every(kernels.every_4th_32, std::uint32_t{});
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

// Packets of all lengths, a run and a literal of each, with what they hold: samples for each plane.
struct packet_stream {
  explicit packet_stream(int bytes) : planes(bytes == 1 ? 1 : bytes == 4 ? 4 : 3) {
    std::uint8_t seed = 1;
    for (int length = 1; length <= 128; ++length) {
      packed.push_back(static_cast<std::uint8_t>((length - 1) | 128));
      add_pixel(bytes, ++seed, length);
      packed.push_back(static_cast<std::uint8_t>(length - 1));
      for (int i = 0; i < length; ++i) add_pixel(bytes, ++seed, 1);
    }
  }

  std::vector<std::uint8_t> packed;
  std::vector<std::vector<std::uint8_t>> planes;

 private:
  void add_pixel(int bytes, std::uint8_t seed, int times) {
    std::uint8_t values[4];
    for (int i = 0; i < 4; ++i) values[i] = static_cast<std::uint8_t>(seed * (i + 1));
    if (bytes == 2) {
      // A word with the seed's five bits in blue and red.
      const unsigned v = seed & 31u;
      packed.insert(packed.end(), {static_cast<std::uint8_t>(v), static_cast<std::uint8_t>(v << 2)});
      values[0] = values[2] = static_cast<std::uint8_t>((v << 3) + (v >> 2));
      values[1] = 0;
    } else {
      packed.insert(packed.end(), values, values + bytes);
    }
    for (std::size_t p = 0; p < planes.size(); ++p)
      planes[p].insert(planes[p].end(), static_cast<std::size_t>(times), values[p]);
  }
};

// At all distances from the end of a row, in pieces of all sizes, what comes out is what went in.
TEST(tga_kernels, packets_across_rows_and_pieces) {
  for (int bytes : {1, 2, 3, 4}) {
    const packet_stream stream(bytes);
    const std::size_t total = stream.planes[0].size();
    std::vector<std::uint8_t> data(stream.packed);
    data.resize(data.size() + img::tga_read_ahead);
    support::every_level([&](const char* level) {
      for (std::size_t row : {1u, 7u, 64u, 301u, 20000u}) {
        for (std::size_t piece : {std::size_t{1}, std::size_t{5}, std::size_t{1000}, stream.packed.size()}) {
          std::vector<guarded> out(4, guarded(row));
          img::tga_packets packets{data.data(), data.data(), 0, false, {}};
          for (std::size_t done = 0; done < total;) {
            const std::size_t wanted = std::min(row, total - done);
            for (std::size_t got = 0; got < wanted;) {
              std::uint8_t* rows[4];
              for (std::size_t p = 0; p < 4; ++p) rows[p] = out[p].data() + got;
              got += img::active_tga_kernels().unpack[bytes](&packets, rows, wanted - got);
              if (got == wanted) break;
              const auto in_memory = static_cast<std::size_t>(packets.end - data.data());
              ASSERT_LT(in_memory, stream.packed.size()) << level << " wants more data than there is";
              packets.end += std::min(piece, stream.packed.size() - in_memory);
            }
            for (std::size_t p = 0; p < stream.planes.size(); ++p) {
              ASSERT_EQ(std::memcmp(out[p].data(), stream.planes[p].data() + done, wanted), 0)
                  << level << ", " << bytes << " bytes, rows of " << row << ", pieces of " << piece << ", pixel "
                  << done;
              ASSERT_TRUE(out[p].intact()) << level << ", rows of " << row;
            }
            done += wanted;
          }
          ASSERT_EQ(packets.position, data.data() + stream.packed.size());
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
