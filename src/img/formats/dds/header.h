// Headers of DirectDraw surfaces.
#pragma once

#include <array>
#include <cstdint>

#include "img/formats/shared/source_file.h"

namespace img {

enum class dds_coding { fields, bc1, bc2, bc3, bc4, bc5, bc6h, bc7, halves, floats, words };

struct dds_header {
  int width = 0;
  int height = 0;
  dds_coding coding = dds_coding::fields;
  bool is_signed = false;                // of bc4 to bc6h
  int bytes = 0;                         // of a pixel, where it is no block
  int channels = 4;                      // of halves, floats and words
  std::array<std::uint32_t, 4> masks{};  // of fields: blue, green, red, alpha
  bool gray = false;                     // the red field is gray
  std::int64_t data = 128;

  bool is_block() const { return coding >= dds_coding::bc1 && coding <= dds_coding::bc7; }
  int block_bytes() const { return coding == dds_coding::bc1 || coding == dds_coding::bc4 ? 8 : 16; }
  bool has_alpha() const;
  bool is_deep() const;
  // Of the largest level.
  std::int64_t data_bytes() const;
};

// Throws io::invalid_signature, io::eof_error and io::invalid_format with "Invalid header size", "Invalid height",
// "Invalid width", "Invalid pixel format size", "Unsupported compression", "Unsupported format" and "Unsupported bit
// count".
dds_header read_dds_header(const source_file& file);

}  // namespace img
