#include "services/http/md5.h"

#include <array>
#include <bit>
#include <cstdint>

namespace services::http {
namespace {

// floor(2^32 * |sin(i + 1)|)
constexpr std::uint32_t sines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};
constexpr int turns[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

using sum = std::array<std::uint32_t, 4>;

void add_block(sum& state, const char* block) {
  std::uint32_t words[16];
  for (int i = 0; i < 16; ++i) {
    words[i] = 0;
    for (int byte = 3; byte >= 0; --byte) words[i] = words[i] << 8 | static_cast<std::uint8_t>(block[i * 4 + byte]);
  }
  auto [a, b, c, d] = state;
  for (int i = 0; i < 64; ++i) {
    const int round = i / 16;
    const std::uint32_t mix = round == 0   ? (b & c) | (~b & d)
                              : round == 1 ? (b & d) | (c & ~d)
                              : round == 2 ? b ^ c ^ d
                                           : c ^ (b | ~d);
    constexpr int steps[4] = {1, 5, 3, 7};
    constexpr int starts[4] = {0, 1, 5, 0};
    const std::uint32_t word = words[(starts[round] + steps[round] * i) % 16];
    const std::uint32_t next = b + std::rotl(a + mix + sines[i] + word, turns[round][i % 4]);
    a = d;
    d = c;
    c = b;
    b = next;
  }
  state = {state[0] + a, state[1] + b, state[2] + c, state[3] + d};
}

}  // namespace

std::string md5_text(std::string_view bytes) {
  std::string padded(bytes);
  padded += '\x80';
  padded.append((120 - padded.size() % 64) % 64, '\0');
  for (std::uint64_t bits = bytes.size() * 8ULL, i = 0; i < 8; ++i) padded += static_cast<char>(bits >> (8 * i));
  sum state{0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
  for (std::size_t at = 0; at < padded.size(); at += 64) add_block(state, padded.data() + at);
  std::string text;
  for (const std::uint32_t word : state) {
    for (int byte = 0; byte < 4; ++byte) {
      const unsigned value = word >> (8 * byte) & 255;
      text += {"0123456789abcdef"[value >> 4], "0123456789abcdef"[value & 15]};
    }
  }
  return text;
}

}  // namespace services::http
