// PNG and JPEG of 1920 x 1080 into planes on one thread, against libspng and libjpeg-turbo with rows side by side.
#include <cstdio>

#include <jpeglib.h>
#if defined(HAVE_SPNG)
#include <spng.h>
#endif

#include <algorithm>

#include "img/format.h"
#include "lib/parallel.h"
#include "support.h"
#include "test_picture.h"

namespace {

// Smooth shapes with grain in the lowest bits.
img::image grained(const char* letters, unsigned most) {
  img::image picture = bench::test_picture(letters, 1920, 1080, 1);
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

void print(const char* work, const char* peer, std::vector<bench::contender>& all) {
  bench::run_in_turn(all, 21);
  std::printf("%-34s %-34s %5.2f\n", work, peer, all[1].typical() / all[0].typical());
}

#if defined(HAVE_SPNG)
void read_by_spng(const std::string& path, std::vector<unsigned char>& out) {
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

void read_by_turbo(const std::string& path, std::vector<unsigned char>& out) {
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

}  // namespace

int main() {
  lib::set_thread_count(1);
  const bench::work_folder folder;
  img::image picture;
  std::vector<unsigned char> rows;
  std::printf("Files in the page cache, one thread. Ratios of medians; more is faster than the peer.\n\n");
#if defined(HAVE_SPNG)
  for (const char* letters : {"BGR", "BGRA"}) {
    const std::string path = folder.path() + "/a.png";
    img::save(grained(letters, 3), path, nullptr, {});
    std::vector<bench::contender> all = {{"ours", [&] { img::load(picture, path); }, {}},
                                         {"libspng", [&] { read_by_spng(path, rows); }, {}}};
    print(letters[3] != 0 ? "1080p PNG, RGBA" : "1080p PNG, RGB", "libspng", all);
  }
#endif
  const std::string path = folder.path() + "/a.jpg";
  img::save(grained("BGR", 7), path, nullptr, {});
  std::vector<bench::contender> all = {{"ours", [&] { img::load(picture, path); }, {}},
                                       {"libjpeg-turbo", [&] { read_by_turbo(path, rows); }, {}}};
  print("1080p JPEG 4:2:0", "libjpeg-turbo", all);
}
