// Readers of other libraries, which the benchmarks of pictures compare with.
#pragma once

#include <cstdio>

#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>
#include <jpeglib.h>
#if defined(HAVE_SPNG)
#include <spng.h>
#endif

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "test_picture.h"

namespace bench {

// Smooth shapes with grain in the lowest bits.
inline img::image grained(const char* letters, unsigned most) {
  img::image picture = test_picture(letters, 1920, 1080, 1);
  unsigned state = 1;
  for (std::size_t p = 0; p < 3; ++p) {
    for (std::size_t i = 0; i < picture.data[p].size(); ++i) {
      state = state * 1664525u + 1013904223u;
      const unsigned v = picture.data[p].data()[i] + (state >> 24) % (most + 1);
      picture.data[p].data()[i] = static_cast<std::uint8_t>(std::min(v, 255u));
    }
  }
  return picture;
}

// Memory that nobody clears, as for a picture that is about to be read.
template <class T>
struct unset_allocator : std::allocator<T> {
  template <class U>
  struct rebind {
    using other = unset_allocator<U>;
  };
  template <class U>
  void construct(U* place) {
    ::new (static_cast<void*>(place)) U;
  }
};
using pixels = std::vector<unsigned char, unset_allocator<unsigned char>>;

// Each reads a whole file into `out`, one thread, and ends the program when it can't.
#if defined(HAVE_SPNG)
inline void read_by_spng(const std::string& path, pixels& out) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  spng_ctx* context = spng_ctx_new(0);
  spng_set_png_file(context, file);
  spng_ihdr header;
  spng_get_ihdr(context, &header);
  const int form = header.color_type == SPNG_COLOR_TYPE_TRUECOLOR_ALPHA ? SPNG_FMT_RGBA8 : SPNG_FMT_RGB8;
  std::size_t size = 0;
  spng_decoded_image_size(context, form, &size);
  out.resize(size);
  if (spng_decode_image(context, out.data(), size, form, 0) != 0) std::exit(1);
  spng_ctx_free(context);
  std::fclose(file);
}
#endif

inline void read_by_turbo(const std::string& path, pixels& out) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  jpeg_decompress_struct jpeg;
  jpeg_error_mgr errors;
  jpeg.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&jpeg);
  jpeg_stdio_src(&jpeg, file);
  jpeg_read_header(&jpeg, TRUE);
  jpeg_start_decompress(&jpeg);
  const std::size_t row_bytes = std::size_t{3} * jpeg.output_width;
  out.resize(row_bytes * jpeg.output_height);
  while (jpeg.output_scanline < jpeg.output_height) {
    JSAMPROW row = out.data() + row_bytes * jpeg.output_scanline;
    jpeg_read_scanlines(&jpeg, &row, 1);
  }
  jpeg_finish_decompress(&jpeg);
  jpeg_destroy_decompress(&jpeg);
  std::fclose(file);
}

// Half R, G and B side by side.
inline void read_by_openexr(const std::string& path, pixels& out) {
  Imf::InputFile file(path.c_str(), 0);
  const Imath::Box2i box = file.header().dataWindow();
  const std::size_t width = static_cast<std::size_t>(box.max.x - box.min.x + 1);
  const std::size_t height = static_cast<std::size_t>(box.max.y - box.min.y + 1);
  out.resize(width * height * 6);
  Imf::FrameBuffer target;
  const char* const names[] = {"R", "G", "B"};
  for (std::size_t c = 0; c < 3; ++c) {
    target.insert(names[c], Imf::Slice::Make(Imf::HALF, out.data() + 2 * c, box, 6, 6 * width));
  }
  file.setFrameBuffer(target);
  file.readPixels(box.min.y, box.max.y);
}

}  // namespace bench
