// The strips and tiles of a TIFF picture as rows of plain samples.
#pragma once

#include <memory>
#include <vector>

#include "img/formats/shared/deep_samples.h"
#include "img/formats/tiff/library.h"
#include "img/formats/tiff/picture.h"
#include "img/plane.h"

namespace img {

// Whether the library has to unpack the blocks.
bool needs_library(const tiff_picture& picture);

// Unpacks blocks one after the other, in memory of its own that grows to the largest. One for each thread.
class tiff_blocks {
 public:
  // Rows `first` to `first + count - 1` of a block, unpacked, without predictor, samples of fewer than 8 bits still
  // packed. The pointer holds until the next call. Throws io::eof_error and io::invalid_format.
  std::uint8_t* rows(const tiff_file& file, const tiff_picture& picture, std::size_t block, int first, int count);
  // How the samples stand in the rows that came.
  static sample_form form_of(const tiff_file& file, const tiff_picture& picture);

 private:
  void unpack(const tiff_file& file, const tiff_picture& picture, std::size_t block, std::size_t wanted);

  std::unique_ptr<tiff_library_picture> library_;
  plane packed_;
  plane unpacked_;
};

}  // namespace img
