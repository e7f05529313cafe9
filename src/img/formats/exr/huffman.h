// The Huffman codes of PIZ chunks.
#pragma once

#include <cstddef>
#include <cstdint>

#include "img/formats/exr/piz.h"

namespace img {

// Decodes just `count` samples. False for damaged data. Reads as unpack_piz() does.
bool decode_exr_huffman(const std::uint8_t* in, std::size_t in_size, std::uint16_t* out, std::size_t count,
                        piz_memory& memory);

}  // namespace img
