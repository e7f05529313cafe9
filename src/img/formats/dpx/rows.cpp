#include "img/formats/dpx/rows.h"

#include <cstddef>
#include <cstring>

#include "img/formats/shared/film_codes.h"

namespace img {
namespace {

std::uint32_t word_at(const std::uint8_t* row, std::size_t index, bool big_endian) {
  std::uint32_t word;
  std::memcpy(&word, row + index * 4, 4);
  return big_endian ? __builtin_bswap32(word) : word;
}

void unpack_run_on(std::uint16_t* samples, std::size_t count, const std::uint8_t* row, const film_header& header) {
  const std::uint32_t mask = (1u << header.bits) - 1;
  std::uint64_t held = 0;
  int held_bits = 0;
  std::size_t next = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (held_bits < header.bits) {
      held |= static_cast<std::uint64_t>(word_at(row, next++, header.big_endian)) << held_bits;
      held_bits += 32;
    }
    samples[i] = static_cast<std::uint16_t>(held & mask);
    held >>= header.bits;
    held_bits -= header.bits;
  }
}

void unpack_three_a_word(std::uint16_t* samples, std::size_t count, const std::uint8_t* row,
                         const film_header& header) {
  const bool lowest_first = header.channels == 1;
  for (std::size_t i = 0; i < count; ++i) {
    const int place = static_cast<int>(i % 3);
    const std::uint32_t word = word_at(row, i / 3, header.big_endian);
    samples[i] = static_cast<std::uint16_t>(word >> (header.shift + 10 * (lowest_first ? place : 2 - place)) & 0x3FFu);
  }
}

void unpack_shorts(std::uint16_t* samples, std::size_t count, const std::uint8_t* row, const film_header& header) {
  const std::uint32_t mask = (1u << header.bits) - 1;
  for (std::size_t i = 0; i < count; ++i) {
    std::uint16_t value;
    std::memcpy(&value, row + 2 * i, 2);
    if (header.big_endian) value = __builtin_bswap16(value);
    samples[i] = static_cast<std::uint16_t>(value >> header.shift & mask);
  }
}

}  // namespace

std::int64_t film_row_bytes(const film_header& header) {
  const std::int64_t count = static_cast<std::int64_t>(header.width) * header.channels;
  switch (header.coding) {
    case film_coding::bytes:
      return count;
    case film_coding::three_a_word:
      return (count + 2) / 3 * 4;
    case film_coding::run_on:
      return (count * header.bits + 31) / 32 * 4;
    case film_coding::shorts:
      return count * 2;
    case film_coding::floats:
      break;
  }
  return count * 4;
}

void unpack_film_row(std::uint16_t* samples, const std::uint8_t* row, const film_header& header) {
  const auto count = static_cast<std::size_t>(header.width) * static_cast<std::size_t>(header.channels);
  if (header.coding == film_coding::run_on) {
    unpack_run_on(samples, count, row, header);
  } else if (header.coding == film_coding::three_a_word) {
    unpack_three_a_word(samples, count, row, header);
  } else {
    unpack_shorts(samples, count, row, header);
  }
}

void pack_film_words(std::uint32_t* words, const std::uint16_t* samples, const film_header& header) {
  const int lost = header.bits - 10;
  const auto code = [&](const std::uint16_t* sample) { return static_cast<std::uint32_t>(*sample >> lost); };
  const int red = header.channels == 1 ? 0 : header.alpha_first ? 3 : 0;
  const int green = header.channels == 1 ? 0 : header.alpha_first ? 2 : 1;
  const int blue = header.channels == 1 ? 0 : header.alpha_first ? 1 : 2;
  for (int x = 0; x < header.width; ++x, samples += header.channels) {
    words[x] = film_word(code(samples + red), code(samples + green), code(samples + blue));
  }
}

void take_film_alpha(std::uint8_t* alpha, const std::uint16_t* samples, const film_header& header) {
  const std::uint32_t largest = (1u << header.bits) - 1;
  const int place = header.alpha_first ? 0 : 3;
  for (int x = 0; x < header.width; ++x) {
    alpha[x] = static_cast<std::uint8_t>((samples[4 * x + place] * 255u + largest / 2) / largest);
  }
}

}  // namespace img
