#include "img/formats/tiff/blocks.h"

#include <libdeflate.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "img/formats/shared/byte_order.h"
#include "img/formats/shared/packbits.h"
#include "img/formats/shared/refuse.h"
#include "img/formats/tiff/lzw.h"
#include "io/exceptions.h"

namespace img {
namespace {

void reserve(plane& memory, std::size_t bytes) {
  if (memory.size() < bytes) memory = plane(bytes);
}

void reverse_bits(std::uint8_t* bytes, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint64_t b = bytes[i];
    // Four copies, of which a mask takes the bits that a multiplication brings to their places.
    bytes[i] = static_cast<std::uint8_t>(((b * 0x80200802ULL) & 0x0884422110ULL) * 0x0101010101ULL >> 32);
  }
}

std::size_t inflate(std::uint8_t* out, std::size_t room, const std::uint8_t* in, std::size_t size) {
  struct decompressor {
    libdeflate_decompressor* it = libdeflate_alloc_decompressor();
    ~decompressor() { libdeflate_free_decompressor(it); }
  };
  static thread_local decompressor own;
  if (own.it == nullptr) throw std::bad_alloc();
  std::size_t got = 0;
  const libdeflate_result result = libdeflate_zlib_decompress(own.it, in, size, out, room, &got);
  return result == LIBDEFLATE_SUCCESS ? got : 0;
}

template <class Sample>
void swap_samples(std::uint8_t* row, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    Sample value;
    std::memcpy(&value, row + i * sizeof value, sizeof value);
    if constexpr (sizeof value == 2) value = __builtin_bswap16(value);
    if constexpr (sizeof value == 4) value = __builtin_bswap32(value);
    if constexpr (sizeof value == 8) value = __builtin_bswap64(value);
    std::memcpy(row + i * sizeof value, &value, sizeof value);
  }
}

// Each sample is stored as the difference to the one of the pixel before it (TIFF 6.0, section 14).
template <class Sample>
void add_up(std::uint8_t* row, std::size_t count, std::size_t stride) {
  if constexpr (sizeof(Sample) == 1) {
    if (stride == 3) {
      std::uint8_t a = row[0], b = row[1], c = row[2];
      for (std::size_t i = 3; i + 2 < count; i += 3) {
        row[i] = a = static_cast<std::uint8_t>(a + row[i]);
        row[i + 1] = b = static_cast<std::uint8_t>(b + row[i + 1]);
        row[i + 2] = c = static_cast<std::uint8_t>(c + row[i + 2]);
      }
      return;
    }
  }
  for (std::size_t i = stride; i < count; ++i) {
    Sample value, before;
    std::memcpy(&value, row + i * sizeof value, sizeof value);
    std::memcpy(&before, row + (i - stride) * sizeof value, sizeof value);
    value = static_cast<Sample>(value + before);
    std::memcpy(row + i * sizeof value, &value, sizeof value);
  }
}

// Differences of bytes, all the highest bytes of a row first (Adobe Photoshop TIFF Technical Note 3).
void undo_float_predictor(std::uint8_t* row, std::size_t bytes, std::size_t sample_bytes, std::size_t stride,
                          std::vector<std::uint8_t>& copy) {
  for (std::size_t i = stride; i < bytes; ++i) row[i] = static_cast<std::uint8_t>(row[i] + row[i - stride]);
  copy.assign(row, row + bytes);
  const std::size_t samples = bytes / sample_bytes;
  for (std::size_t i = 0; i < samples; ++i) {
    for (std::size_t b = 0; b < sample_bytes; ++b) {
      row[i * sample_bytes + sample_bytes - 1 - b] = copy[b * samples + i];
    }
  }
}

bool has_predictor(const tiff_picture& picture) {
  return picture.predictor != 1 && !picture.old_lzw &&
         (picture.compression == tiff_lzw || picture.compression == tiff_deflate ||
          picture.compression == tiff_old_deflate);
}

void undo_predictor(const tiff_file& file, const tiff_picture& picture, std::uint8_t* rows, int count) {
  const std::size_t row_bytes = picture.row_bytes();
  const std::size_t sample_bytes = static_cast<std::size_t>(picture.bits) / 8;
  const auto stride = static_cast<std::size_t>(picture.block_samples());
  const std::size_t samples = static_cast<std::size_t>(picture.block_width) * stride;
  if (picture.predictor == 3) {
    if (!picture.floats) refuse(file.path(), "Unsupported TIFF variant", "predictor 3 of integers", "it is for floats");
    std::vector<std::uint8_t> copy;
    for (int y = 0; y < count; ++y, rows += row_bytes)
      undo_float_predictor(rows, row_bytes, sample_bytes, stride, copy);
    return;
  }
  for (int y = 0; y < count; ++y, rows += row_bytes) {
    switch (picture.predictor == 2 ? picture.bits : 0) {
      case 8:
        add_up<std::uint8_t>(rows, samples, stride);
        break;
      case 16:
        if (file.big_endian()) swap_samples<std::uint16_t>(rows, samples);
        add_up<std::uint16_t>(rows, samples, stride);
        break;
      case 32:
        if (file.big_endian()) swap_samples<std::uint32_t>(rows, samples);
        add_up<std::uint32_t>(rows, samples, stride);
        break;
      case 64:
        if (file.big_endian()) swap_samples<std::uint64_t>(rows, samples);
        add_up<std::uint64_t>(rows, samples, stride);
        break;
      default:
        refuse(file.path(), "Unsupported TIFF variant",
               "predictor " + std::to_string(picture.predictor) + " of " + std::to_string(picture.bits) + " bits",
               "2 of 8, 16, 32 and 64 bits and 3 are read");
    }
  }
}

}  // namespace

bool needs_library(const tiff_picture& picture) {
  switch (picture.compression) {
    case tiff_lzw:
      return picture.old_lzw;
    case tiff_none:
    case tiff_deflate:
    case tiff_old_deflate:
    case tiff_packbits:
      return false;
    default:
      return true;
  }
}

sample_form tiff_blocks::form_of(const tiff_file& file, const tiff_picture& picture) {
  sample_form form;
  form.kind = picture.floats ? sample_form::real : sample_form::whole;
  form.bits = picture.bits;
  const bool in_host_order = needs_library(picture) || has_predictor(picture);
  form.swapped = file.big_endian() && !in_host_order && (picture.bits == 16 || picture.bits >= 32);
  form.inverted = picture.photometric == tiff_white_is_zero && !picture.floats;
  return form;
}

void tiff_blocks::unpack(const tiff_file& file, const tiff_picture& picture, std::size_t block, std::size_t wanted) {
  const std::uint64_t there = block < picture.sizes.size() ? picture.sizes[block] : 0;
  const auto offset = static_cast<std::int64_t>(picture.offsets[block]);
  file.source().check_range(offset, static_cast<std::int64_t>(there));
  // A block that is far longer than its pixels is not read to its end.
  const std::size_t size = std::min<std::size_t>(static_cast<std::size_t>(there), 2 * wanted + 65536);
  reserve(packed_, size);
  file.source().read(packed_.data(), size, offset);
  if (picture.reversed_bits) reverse_bits(packed_.data(), size);
  // A last strip may hold rows below the picture, which the coding of deflate can't leave out. It gives at most 1032
  // bytes for one.
  const std::size_t whole = picture.row_bytes() * static_cast<std::size_t>(picture.block_height);
  const std::size_t room = picture.compression == tiff_lzw || picture.compression == tiff_packbits
                               ? wanted
                               : std::max(wanted, std::min(whole, 1032 * size + 1024));
  reserve(unpacked_, room);
  std::size_t got = 0;
  switch (picture.compression) {
    case tiff_packbits:
      got = unpack_packbits(unpacked_.data(), wanted, packed_.data(), size);
      break;
    case tiff_lzw:
      got = unpack_lzw(unpacked_.data(), wanted, packed_.data(), size);
      break;
    default:
      got = inflate(unpacked_.data(), room, packed_.data(), size);
  }
  if (got == 0) throw io::invalid_format(file.path(), "Invalid compressed data");
  if (got < wanted) throw io::eof_error(file.path());
}

std::uint8_t* tiff_blocks::rows(const tiff_file& file, const tiff_picture& picture, std::size_t block, int first,
                                int count) {
  const std::size_t row_bytes = picture.row_bytes();
  const std::size_t skipped = row_bytes * static_cast<std::size_t>(first);
  const std::size_t wanted = row_bytes * static_cast<std::size_t>(count);
  if (picture.compression == tiff_none) {
    reserve(unpacked_, wanted);
    file.source().read(unpacked_.data(), wanted, static_cast<std::int64_t>(picture.offsets[block] + skipped));
    if (picture.reversed_bits) reverse_bits(unpacked_.data(), wanted);
    return unpacked_.data();
  }
  if (needs_library(picture)) {
    reserve(unpacked_, skipped + wanted);
    const std::size_t most = 2 * (skipped + wanted) + static_cast<std::size_t>(file.source().size()) + (1 << 20);
    if (!library_) library_ = std::make_unique<tiff_library_picture>(file.path(), picture.position, most);
    library_->read_block(block, unpacked_.data(), skipped + wanted);
  } else {
    unpack(file, picture, block, skipped + wanted);
    if (has_predictor(picture)) undo_predictor(file, picture, unpacked_.data(), first + count);
  }
  return unpacked_.data() + skipped;
}

}  // namespace img
