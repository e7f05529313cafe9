// IFF files: groups of chunks, each with a name and a length (Electronic Arts, EA IFF 85), numbers most significant
// byte first.
#pragma once

#include <string_view>

#include "img/formats/shared/byte_cursor.h"

namespace img {

// Calls body(name, cursor over the data) for each chunk until it returns false. Chunks begin at multiples of
// `alignment` bytes: 2, or 4 in groups whose name says so. A last chunk that is cut short comes as far as it is there.
template <class Body>
void for_chunks(byte_cursor at, std::size_t alignment, const Body& body) {
  while (at.left() >= 8) {
    const std::string_view name{reinterpret_cast<const char*>(at.take(4)), 4};
    const std::size_t length = at.be_u32();
    const std::size_t there = std::min(length, at.left());
    if (!body(name, at.part(there))) return;
    at.take(std::min((alignment - length % alignment) % alignment, at.left()));
  }
}

}  // namespace img
