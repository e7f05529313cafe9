// PIZ, the wavelet coding of OpenEXR chunks: a table of the values that occur, an integer Haar wavelet of their places
// in it, Huffman codes with runs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "img/formats/exr/codecs.h"

namespace img {

// A channel of the chunk at hand.
struct piz_channel {
  std::size_t step = 1;   // words of 16 bits in a sample
  std::size_t width = 0;  // samples in a row
  std::size_t height = 0;
  const std::uint16_t* next_row = nullptr;  // that is still to be written
};

// Memory that one thread keeps from chunk to chunk.
struct piz_memory {
  std::vector<piz_channel> channels;
  std::vector<std::uint16_t> samples;  // of the chunk, channel by channel
  std::vector<std::uint16_t> values;   // by place, 65536
  std::vector<std::uint32_t> lookup;   // by the next bits of the code
  std::vector<std::uint8_t> lengths;   // of the codes, by symbol
  std::vector<std::uint32_t> symbols;  // by length, then by number
};

// False for damaged data. Reads up to 8 bytes behind `in_size`, which must be there and may hold anything.
bool unpack_piz(const std::uint8_t* in, std::size_t in_size, std::uint8_t* out, std::span<const exr_row> rows,
                piz_memory& memory);

}  // namespace img
