// Rows of film scans whose samples have to be taken apart.
#pragma once

#include <cstdint>

#include "img/formats/dpx/header.h"

namespace img {

// Bytes of a row without its padding.
std::int64_t film_row_bytes(const film_header& header);

// Takes the samples of integers of more than 8 bits out of a row, width * channels of header.bits each.
void unpack_film_row(std::uint16_t* samples, const std::uint8_t* row, const film_header& header);

// Samples of one row as packed words with 10 bits a colour, the lower bits of deeper samples left out; luma in all
// three.
void pack_film_words(std::uint32_t* words, const std::uint16_t* samples, const film_header& header);

// The alpha of one row of four channels as bytes, rounded.
void take_film_alpha(std::uint8_t* alpha, const std::uint16_t* samples, const film_header& header);

}  // namespace img
