#include "img/formats/exr/piz.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "img/formats/exr/huffman.h"
#include "img/formats/exr/plain_rows.h"
#include "img/formats/exr/rows.h"

namespace img {
namespace {

constexpr std::size_t bitmap_bytes = 8192;  // a bit for each value
constexpr std::uint32_t largest_narrow = (1u << 14) - 1;

// A rectangle of samples, `step` apart in a row of `stride`.
struct wavelet_plane {
  std::uint16_t* samples;
  std::size_t width;
  std::size_t height;
  std::size_t step;
  std::size_t stride;
};

// Samples `distance` apart. A lone last column has no neighbour to join with.
void join_pair_of_rows(std::uint16_t* upper, std::uint16_t* lower, std::size_t columns, std::size_t distance,
                       bool wide) {
  if (distance == 1) return active_exr_rows().join_wavelet(upper, lower, columns, wide);
  for (std::size_t i = 0; i < columns; ++i) plain_join_samples(upper[i * distance], lower[i * distance], wide);
  for (std::size_t i = 0; i + 1 < columns; i += 2) {
    plain_join_samples(upper[i * distance], upper[(i + 1) * distance], wide);
    plain_join_samples(lower[i * distance], lower[(i + 1) * distance], wide);
  }
}

// The inverse of a two-dimensional Haar wavelet, from the coarsest level to the finest. At each level cells of 2 x 2
// samples that are `near` apart are joined; what is left over beside the last whole cell is joined one way only.
void join_plane(const wavelet_plane& plane, bool wide) {
  std::size_t far = 1;
  while (far * 2 <= std::min(plane.width, plane.height)) far *= 2;
  for (; far > 1; far /= 2) {
    const std::size_t near = far / 2;
    const std::size_t columns = plane.width / far * 2 + ((plane.width & near) != 0 ? 1 : 0);
    const std::size_t distance = near * plane.step;
    std::size_t y = 0;
    for (; y + far <= plane.height; y += far) {
      std::uint16_t* upper = plane.samples + y * plane.stride;
      join_pair_of_rows(upper, upper + near * plane.stride, columns, distance, wide);
    }
    if ((plane.height & near) == 0) continue;
    std::uint16_t* row = plane.samples + y * plane.stride;
    for (std::size_t i = 0; i + 1 < columns; i += 2) {
      plain_join_samples(row[i * distance], row[(i + 1) * distance], wide);
    }
  }
}

// Lists the values that occur, 0 always among them, in ascending order. Returns the largest place, and how much of the
// data the list took in `taken`; false for damage.
bool read_values(const std::uint8_t* in, std::size_t in_size, std::vector<std::uint16_t>& values,
                 std::uint32_t& largest, std::size_t& taken) {
  if (in_size < 4) return false;
  const std::size_t first = in[0] | in[1] << 8;
  const std::size_t last = in[2] | in[3] << 8;
  if (last >= bitmap_bytes) return false;
  taken = 4;
  std::uint8_t bitmap[bitmap_bytes] = {};
  if (first <= last) {
    const std::size_t size = last - first + 1;
    if (in_size - taken < size) return false;
    std::memcpy(bitmap + first, in + taken, size);
    taken += size;
  }
  bitmap[0] |= 1;
  values.resize(65536);
  std::uint32_t count = 0;
  for (std::uint32_t byte = 0; byte < bitmap_bytes; ++byte) {
    for (unsigned bits = bitmap[byte]; bits != 0; bits &= bits - 1) {
      values[count++] = static_cast<std::uint16_t>(byte * 8 + static_cast<unsigned>(std::countr_zero(bits)));
    }
  }
  std::fill(values.begin() + count, values.end(), std::uint16_t{0});
  largest = count - 1;
  return true;
}

}  // namespace

bool unpack_piz(const std::uint8_t* in, std::size_t in_size, std::uint8_t* out, std::span<const exr_row> rows,
                piz_memory& memory) {
  auto& channels = memory.channels;
  channels.clear();
  std::size_t total = 0;
  for (const exr_row& row : rows) {
    const auto index = static_cast<std::size_t>(row.channel);
    if (index >= channels.size()) channels.resize(index + 1);
    piz_channel& channel = channels[index];
    channel.step = row.type == EXR_PIXEL_HALF ? 1 : 2;
    channel.width = row.samples;
    ++channel.height;
    total += row.samples * channel.step;
  }
  std::uint32_t largest = 0;
  std::size_t taken = 0;
  if (!read_values(in, in_size, memory.values, largest, taken) || in_size - taken < 4) return false;
  std::uint32_t coded = 0;
  std::memcpy(&coded, in + taken, 4);
  taken += 4;
  if (coded > in_size - taken) return false;
  memory.samples.resize(total);
  if (!decode_exr_huffman(in + taken, coded, memory.samples.data(), total, memory)) return false;

  const bool wide = largest > largest_narrow;
  std::uint16_t* samples = memory.samples.data();
  for (piz_channel& channel : channels) {
    // The rows of a channel lie one behind the other; samples of 32 bits are pairs of planes.
    const std::size_t stride = channel.width * channel.step;
    for (std::size_t i = 0; i < channel.step; ++i) {
      join_plane({samples + i, channel.width, channel.height, channel.step, stride}, wide);
    }
    channel.next_row = samples;
    samples += stride * channel.height;
  }
  const std::uint16_t* const values = memory.values.data();
  for (const exr_row& row : rows) {
    piz_channel& channel = channels[static_cast<std::size_t>(row.channel)];
    const std::size_t stride = channel.width * channel.step;
    for (std::size_t i = 0; i < stride; ++i) {
      const std::uint16_t value = values[channel.next_row[i]];
      std::memcpy(out + row.at + 2 * i, &value, 2);
    }
    channel.next_row += stride;
  }
  return true;
}

}  // namespace img
