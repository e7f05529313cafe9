#include "img/formats/png/plain.h"

#include <libdeflate.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "img/fresh_rows.h"
#include "img/row_kernels.h"
#include "lib/foreground.h"

namespace img {
namespace {

constexpr std::size_t signature_bytes = 8;
constexpr std::size_t chunk_frame = 12;  // length, type and check sum
constexpr std::size_t room_behind = 16;  // that the filters may read and write after a row

std::uint32_t big_endian32(const std::uint8_t* bytes) {
  std::uint32_t value;
  std::memcpy(&value, bytes, 4);
  return __builtin_bswap32(value);
}

// Moves the contents of all IDAT chunks together at the front of `file`. Their size, 0 for a damaged file.
std::size_t join_data(std::uint8_t* file, std::size_t size) {
  std::size_t joined = 0;
  bool seen = false;
  for (std::size_t at = signature_bytes; size - at >= chunk_frame;) {
    const std::size_t length = big_endian32(file + at);
    if (length > size - at - chunk_frame) return 0;
    const std::uint8_t* type = file + at + 4;
    if (std::memcmp(type, "IDAT", 4) == 0) {
      seen = true;
      if (libdeflate_crc32(0, type, length + 4) != big_endian32(type + 4 + length)) return 0;
      std::memmove(file + joined, type + 4, length);
      joined += length;
    } else if (seen) {
      return joined;
    }
    at += length + chunk_frame;
  }
  return 0;
}

// One row back from the differences that its filter left. `above` is the row before, zeros for the first. Pixels have
// `step` bytes.
void undo_sub(std::uint8_t* row, std::size_t bytes, std::size_t step) {
  for (std::size_t i = step; i < bytes; ++i) row[i] = static_cast<std::uint8_t>(row[i] + row[i - step]);
}

void undo_up(std::uint8_t* __restrict row, const std::uint8_t* __restrict above, std::size_t bytes) {
  for (std::size_t i = 0; i < bytes; ++i) row[i] = static_cast<std::uint8_t>(row[i] + above[i]);
}

#if defined(__SSE2__)

// A pixel in the lowest four bytes; of three, the fourth holds what follows.
__m128i load_pixel(const std::uint8_t* at) {
  std::int32_t value;
  std::memcpy(&value, at, 4);
  return _mm_cvtsi32_si128(value);
}

template <std::size_t step>
void store_pixel(std::uint8_t* at, __m128i pixel) {
  const std::int32_t value = _mm_cvtsi128_si32(pixel);
  std::memcpy(at, &value, step);
}

template <std::size_t step>
void undo_average(std::uint8_t* row, const std::uint8_t* above, std::size_t bytes) {
  __m128i left = _mm_setzero_si128();
  const __m128i one = _mm_set1_epi8(1);
  for (std::size_t i = 0; i < bytes; i += step) {
    const __m128i up = load_pixel(above + i);
    // The instruction rounds up where the format rounds down.
    const __m128i odd = _mm_and_si128(_mm_xor_si128(left, up), one);
    left = _mm_add_epi8(load_pixel(row + i), _mm_sub_epi8(_mm_avg_epu8(left, up), odd));
    store_pixel<step>(row + i, left);
  }
}

__m128i magnitude(__m128i v) {
  return _mm_max_epi16(v, _mm_sub_epi16(_mm_setzero_si128(), v));
}

__m128i chosen(__m128i mask, __m128i yes, __m128i no) {
  return _mm_or_si128(_mm_and_si128(mask, yes), _mm_andnot_si128(mask, no));
}

template <std::size_t step>
void undo_paeth(std::uint8_t* row, const std::uint8_t* above, std::size_t bytes) {
  const __m128i zero = _mm_setzero_si128();
  __m128i left = zero;
  __m128i corner = zero;
  for (std::size_t i = 0; i < bytes; i += step) {
    const __m128i up = _mm_unpacklo_epi8(load_pixel(above + i), zero);
    const __m128i left_less = _mm_sub_epi16(left, corner);
    const __m128i up_less = _mm_sub_epi16(up, corner);
    const __m128i to_left = magnitude(up_less);
    const __m128i to_up = magnitude(left_less);
    const __m128i to_corner = magnitude(_mm_add_epi16(left_less, up_less));
    const __m128i least = _mm_min_epi16(to_corner, _mm_min_epi16(to_left, to_up));
    const __m128i nearest =
        chosen(_mm_cmpeq_epi16(least, to_left), left, chosen(_mm_cmpeq_epi16(least, to_up), up, corner));
    const __m128i sum = _mm_add_epi8(load_pixel(row + i), _mm_packus_epi16(nearest, nearest));
    store_pixel<step>(row + i, sum);
    left = _mm_unpacklo_epi8(sum, zero);
    corner = up;
  }
}

#else

std::uint8_t nearest_of(int left, int above, int corner) {
  const int to_left = std::abs(above - corner);
  const int to_above = std::abs(left - corner);
  const int to_corner = std::abs(left + above - 2 * corner);
  return static_cast<std::uint8_t>(to_left <= to_above && to_left <= to_corner ? left
                                   : to_above <= to_corner                     ? above
                                                                               : corner);
}

template <std::size_t step>
void undo_average(std::uint8_t* row, const std::uint8_t* above, std::size_t bytes) {
  for (std::size_t i = 0; i < bytes; ++i) {
    row[i] = static_cast<std::uint8_t>(row[i] + ((i < step ? 0 : row[i - step]) + above[i]) / 2);
  }
}

template <std::size_t step>
void undo_paeth(std::uint8_t* row, const std::uint8_t* above, std::size_t bytes) {
  for (std::size_t i = 0; i < bytes; ++i) {
    const bool first = i < step;
    row[i] = static_cast<std::uint8_t>(row[i] +
                                       nearest_of(first ? 0 : row[i - step], above[i], first ? 0 : above[i - step]));
  }
}

#endif

template <std::size_t step>
bool undo_filter(int filter, std::uint8_t* row, const std::uint8_t* above, std::size_t bytes) {
  switch (filter) {
    case 0:
      return true;
    case 1:
      undo_sub(row, bytes, step);
      return true;
    case 2:
      undo_up(row, above, bytes);
      return true;
    case 3:
      undo_average<step>(row, above, bytes);
      return true;
    case 4:
      undo_paeth<step>(row, above, bytes);
      return true;
    default:
      return false;
  }
}

template <std::size_t step>
bool rows_into(image& image, std::uint8_t* data, fresh_rows& fresh) {
  const auto width = static_cast<std::size_t>(image.width);
  const std::size_t bytes = width * step;
  const std::vector<std::uint8_t> nothing(bytes + room_behind);
  const std::uint8_t* above = nothing.data();
  const row_kernels& kernels = active_row_kernels();
  for (int y = 0; y < image.height; ++y, data += bytes + 1) {
    std::uint8_t* row = data + 1;
    fresh.reach(y);
    if (y % 16 == 0) lib::give_way();
    if (!undo_filter<step>(*data, row, above, bytes)) return false;
    if constexpr (step == 3) {
      kernels.split3(row, image.row(2, y), image.row(1, y), image.row(0, y), width);
    } else {
      kernels.split4(row, image.row(2, y), image.row(1, y), image.row(0, y), image.row(3, y), width);
    }
    above = row;
  }
  return true;
}

}  // namespace

bool read_plain_png(const io::llfile& file, image& image) {
  const std::int64_t size = file.size();
  if (size < static_cast<std::int64_t>(signature_bytes) || size > INT32_MAX) return false;
  plane packed(static_cast<std::size_t>(size));
  if (file.read_at(packed.data(), static_cast<int>(size), 0) < size) return false;
  const std::size_t data = join_data(packed.data(), packed.size());
  if (data == 0) return false;

  fresh_rows fresh(image);
  const std::size_t step = image.plane_count() == 4 ? 4 : 3;
  const std::size_t whole = (static_cast<std::size_t>(image.width) * step + 1) * static_cast<std::size_t>(image.height);
  plane rows(whole + room_behind);
  const std::unique_ptr<libdeflate_decompressor, void (*)(libdeflate_decompressor*)> inflater(
      libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
  if (!inflater) throw std::bad_alloc();
  std::size_t got = 0;
  if (libdeflate_zlib_decompress(inflater.get(), packed.data(), data, rows.data(), whole, &got) != LIBDEFLATE_SUCCESS ||
      got != whole) {
    return false;
  }
  return step == 4 ? rows_into<4>(image, rows.data(), fresh) : rows_into<3>(image, rows.data(), fresh);
}

}  // namespace img
