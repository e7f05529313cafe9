// Portable Network Graphics (ISO/IEC 15948) through libpng. Every form becomes colour planes: gray is repeated,
// palettes and transparent colours are resolved. 16 bits become linear halves, all others 8 bits. Gamma and profile are
// not applied. The pixels of the common form are read without the library (plain.h).
#include <png.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "img/format.h"
#include "img/formats/png/plain.h"
#include "img/formats/shared/deep_export.h"
#include "img/formats/shared/deep_samples.h"
#include "img/formats/shared/exif.h"
#include "img/formats/shared/export_planes.h"
#include "img/formats/shared/icc_name.h"
#include "img/formats/shared/library_guard.h"
#include "img/formats/shared/metadata_text.h"
#include "img/formats/shared/orientation.h"
#include "img/row_kernels.h"
#include "io/buffered.h"
#include "io/file.h"

namespace img {
namespace {

constexpr int buffer_size = 256 << 10;
// Limits of text and profiles: bytes unpacked, and how many are kept.
constexpr png_alloc_size_t most_chunk_bytes = 1 << 20;
constexpr png_uint_32 most_chunks = 100;
// The library makes room for a chunk by the length that the file gives; rows of pixels need half a megabyte at most.
constexpr png_alloc_size_t most_block_bytes = 16 << 20;
constexpr int most_deflate_expansion = 1032;  // no deflate stream gives more bytes for one (RFC 1951, runs of 258)

[[noreturn]] void fail(png_structp png, png_const_charp text) {
  static_cast<library_guard*>(png_get_error_ptr(png))->leave(text);
}

void ignore_warning(png_structp, png_const_charp) {}

png_voidp allocate(png_structp, png_alloc_size_t size) {
  return size > most_block_bytes ? nullptr : std::malloc(size);
}

void release(png_structp, png_voidp block) {
  std::free(block);
}

struct input {
  explicit input(const std::string& path) : file(path, false), reader(file, buffer_size) {}
  io::llfile file;
  io::buffered_reader reader;
  library_guard guard;
};

void read_bytes(png_structp png, png_bytep data, png_size_t size) {
  input& in = *static_cast<input*>(png_get_io_ptr(png));
  const bool done = in.guard.attempt([&] {
    if (in.reader.read(data, static_cast<int>(size)) < static_cast<int>(size)) throw io::eof_error(in.reader.name());
  });
  if (!done) png_error(png, "Read error");
}

// An open file whose header has been read.
class reading {
 public:
  explicit reading(const std::string& path) : path_(path), in_(path) {
    png_ =
        png_create_read_struct_2(PNG_LIBPNG_VER_STRING, &in_.guard, fail, ignore_warning, nullptr, allocate, release);
    info_ = png_ ? png_create_info_struct(png_) : nullptr;
    if (!info_) {
      destroy();
      throw std::bad_alloc();
    }
    try {
      in_.guard.run(path, [this] {
        png_set_user_limits(png_, max_dimension, max_dimension);
        png_set_chunk_malloc_max(png_, most_chunk_bytes);
        png_set_chunk_cache_max(png_, most_chunks);
        png_set_read_fn(png_, &in_, read_bytes);
        png_read_info(png_, info_);
      });
      check();
    } catch (...) {
      destroy();
      throw;
    }
  }
  ~reading() { destroy(); }
  reading(const reading&) = delete;
  reading& operator=(const reading&) = delete;

  int width() const { return static_cast<int>(png_get_image_width(png_, info_)); }
  int height() const { return static_cast<int>(png_get_image_height(png_, info_)); }
  bool has_alpha() const {
    return (png_get_color_type(png_, info_) & PNG_COLOR_MASK_ALPHA) || png_get_valid(png_, info_, PNG_INFO_tRNS);
  }

  void text_into(std::map<std::string, std::string>& metadata) const {
    png_textp text = nullptr;
    const int count = png_get_text(png_, info_, &text, nullptr);
    for (int i = 0; i < count; ++i) {
      const bool international = text[i].compression >= PNG_ITXT_COMPRESSION_NONE;
      const char* value = text[i].text ? text[i].text : "";
      const std::string key = utf8_of_latin1(text[i].key);
      metadata[key == "XML:com.adobe.xmp" ? "xmp" : key] = international ? valid_utf8(value) : utf8_of_latin1(value);
    }
  }

  // The EXIF block into the metadata; gives the orientation.
  int exif_into(metadata_map& metadata) const {
    png_uint_32 size = 0;
    png_bytep block = nullptr;
    return png_get_eXIf_1(png_, info_, &size, &block) != 0 ? take_exif({block, size}, metadata) : 1;
  }

  // The other metadata beside the text: the name of the profile, the resolution.
  void facts_into(metadata_map& metadata) const {
    png_uint_32 size = 0;
    png_charp name = nullptr;
    int method = 0;
    png_bytep profile = nullptr;
    if (png_get_iCCP(png_, info_, &name, &method, &profile, &size) != 0) {
      const std::string told = icc_name({profile, size});
      metadata["icc_profile"] = told.empty() ? utf8_of_latin1(name) : told;
    }
    png_uint_32 x = 0;
    png_uint_32 y = 0;
    int unit = 0;
    if (png_get_pHYs(png_, info_, &x, &y, &unit) != 0 && unit == PNG_RESOLUTION_METER) {
      constexpr double metres_an_inch = 0.0254;
      metadata["resolution"] = print("%.6g x %.6g dpi", x * metres_an_inch, y * metres_an_inch);
    }
  }

  bool is_deep() const { return png_get_bit_depth(png_, info_) == 16; }

  // 8-bit RGB or RGBA as it comes.
  bool is_plain() const {
    const int type = png_get_color_type(png_, info_);
    return png_get_bit_depth(png_, info_) == 8 && (type == PNG_COLOR_TYPE_RGB || type == PNG_COLOR_TYPE_RGB_ALPHA) &&
           !png_get_valid(png_, info_, PNG_INFO_tRNS) && png_get_interlace_type(png_, info_) == PNG_INTERLACE_NONE;
  }

  void pixels_into(image& image) {
    if (is_plain() && read_plain_png(in_.file, image)) return;
    const std::size_t channels = has_alpha() ? 4 : 3;
    const std::size_t row_bytes = static_cast<std::size_t>(image.width) * channels * (is_deep() ? 2 : 1);
    const auto height = static_cast<std::size_t>(image.height);
    bool interlaced = false;
    in_.guard.run(path_, [&] {
      png_set_expand(png_);
      png_set_gray_to_rgb(png_);
      if (!is_deep()) png_set_bgr(png_);
      interlaced = png_set_interlace_handling(png_) > 1;
      png_read_update_info(png_, info_);
      if (png_get_rowbytes(png_, info_) != row_bytes) png_error(png_, "Unexpected row size");
    });
    // An interlaced picture comes in seven passes over all rows, any other row by row.
    plane pixels(row_bytes * (interlaced ? height : 1));
    std::vector<png_bytep> rows(interlaced ? height : 0);
    for (std::size_t y = 0; y < rows.size(); ++y) rows[y] = pixels.data() + y * row_bytes;
    in_.guard.run(path_, [&] {
      if (interlaced) png_read_image(png_, rows.data());
      for (std::size_t y = 0; y < height; ++y) {
        if (!interlaced) png_read_row(png_, pixels.data(), nullptr);
        take_row(interlaced ? rows[y] : pixels.data(), static_cast<int>(y), static_cast<int>(channels), image);
      }
    });
  }

 private:
  void check() const {
    const int bits = png_get_bit_depth(png_, info_) * png_get_channels(png_, info_);
    const std::int64_t size = in_.file.size();
    if (bits >= 8) {
      check_size(path_, width(), height(), bits / 8, size, most_deflate_expansion);
    } else {
      check_size(path_, width(), height(), 1, size, most_deflate_expansion * 8 / bits);
    }
  }
  // 16-bit samples come red first, all others blue first.
  void take_row(const std::uint8_t* row, int y, int channels, image& image) const {
    const auto width = static_cast<std::size_t>(image.width);
    const row_kernels& kernels = active_row_kernels();
    if (is_deep()) {
      const sample_form form{sample_form::whole, 16, true, false};
      for (int p = 0; p < channels; ++p) {
        put_samples(image, p == 3 ? 3 : 2 - p, 0, y, width, row + p * 2, static_cast<std::size_t>(channels) * 2, form);
      }
    } else if (channels == 3) {
      kernels.split3(row, image.row(0, y), image.row(1, y), image.row(2, y), width);
    } else {
      kernels.split4(row, image.row(0, y), image.row(1, y), image.row(2, y), image.row(3, y), width);
    }
  }
  void destroy() { png_destroy_read_struct(&png_, &info_, nullptr); }

  std::string path_;
  input in_;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
};

struct output {
  explicit output(const std::string& path) : file(path, true), writer(file, buffer_size) {}
  io::llfile file;
  io::buffered_writer writer;
  library_guard guard;
};

void write_bytes(png_structp png, png_bytep data, png_size_t size) {
  output& out = *static_cast<output*>(png_get_io_ptr(png));
  if (!out.guard.attempt([&] { out.writer.write(data, static_cast<int>(size)); })) png_error(png, "Write error");
}

// The last bytes are flushed when all is done.
void flush_nothing(png_structp) {}

class writing {
 public:
  explicit writing(const std::string& path) : path_(path), out_(path) {
    png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, &out_.guard, fail, ignore_warning);
    info_ = png_ ? png_create_info_struct(png_) : nullptr;
    if (!info_) {
      png_destroy_write_struct(&png_, nullptr);
      throw std::bad_alloc();
    }
  }
  ~writing() { png_destroy_write_struct(&png_, &info_); }
  writing(const writing&) = delete;
  writing& operator=(const writing&) = delete;

  void write(const export_planes& planes, bool compressed) {
    const auto columns = static_cast<std::size_t>(planes.width);
    const row_kernels& kernels = active_row_kernels();
    write_rows(planes.count, 8, planes.width, planes.height, compressed, [&](int y, std::uint8_t* pixels) {
      const std::uint8_t* rows[4] = {};
      for (int p = 0; p < planes.count; ++p) rows[p] = planes.row(p, y);
      if (planes.count == 4) {
        kernels.join4(rows[0], rows[1], rows[2], rows[3], pixels, columns);
      } else if (planes.count == 3) {
        kernels.join3(rows[0], rows[1], rows[2], pixels, columns);
      } else {
        for (std::size_t x = 0; x < columns; ++x) {
          for (int p = 0; p < planes.count; ++p) pixels[x * static_cast<std::size_t>(planes.count) + p] = rows[p][x];
        }
      }
    });
  }

  void write(const deep_planes& planes, bool compressed) {
    write_rows(planes.count, 16, planes.width, planes.height, compressed, [&](int y, std::uint8_t* pixels) {
      const auto count = static_cast<std::size_t>(planes.count);
      for (int p = 0; p < planes.count; ++p) {
        const std::uint16_t* row = planes.row(p, y);
        std::uint8_t* out = pixels + 2 * p;
        for (int x = 0; x < planes.width; ++x, out += 2 * count) {
          out[0] = static_cast<std::uint8_t>(row[x] >> 8);
          out[1] = static_cast<std::uint8_t>(row[x]);
        }
      }
    });
  }

 private:
  // `row_into(y, pixels)` gives the samples of a row, colours blue first.
  template <class RowInto>
  void write_rows(int channels, int bits, int width, int height, bool compressed, RowInto row_into) {
    constexpr int color_types[] = {PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA, PNG_COLOR_TYPE_RGB,
                                   PNG_COLOR_TYPE_RGB_ALPHA};
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(channels * bits / 8));
    out_.guard.run(path_, [&] {
      png_set_user_limits(png_, max_dimension, max_dimension);
      png_set_write_fn(png_, &out_, write_bytes, flush_nothing);
      png_set_IHDR(png_, info_, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), bits,
                   color_types[channels - 1], PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                   PNG_FILTER_TYPE_DEFAULT);
      if (!compressed) {
        png_set_compression_level(png_, 0);
        png_set_filter(png_, PNG_FILTER_TYPE_BASE, PNG_FILTER_NONE);
      }
      png_write_info(png_, info_);
      if (channels > 2) png_set_bgr(png_);
      for (int y = 0; y < height; ++y) {
        row_into(y, pixels.data());
        png_write_row(png_, pixels.data());
      }
      png_write_end(png_, info_);
    });
    out_.writer.flush();
  }

  std::string path_;
  output out_;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
};

class png : public deep_format {
 public:
  const char* name() const override { return "png"; }

  void read(image& image, const std::string& path, const layer&) const override {
    reading file(path);
    image.reset(file.has_alpha() ? "BGRA" : "BGR", file.is_deep() ? 16 : 8, file.width(), file.height());
    image.set_path(path);
    image.set_centre_anchor();
    file.text_into(image.metadata);
    const int orientation = file.exif_into(image.metadata);
    file.facts_into(image.metadata);
    file.pixels_into(image);
    apply_orientation(image, orientation);
  }

  picture_header read_header(const std::string& path, const layer&) const override {
    const reading file(path);
    metadata_map metadata;
    const bool turned = swaps_sides(file.exif_into(metadata));
    return {turned ? file.height() : file.width(), turned ? file.width() : file.height(), file.has_alpha(), {layer()}};
  }

 private:
  void write_bytes(const export_planes& planes, const std::string& path, const save_options& options) const override {
    writing(path).write(planes, options.compression != 1);
  }
  void write_words(const deep_planes& planes, const std::string& path, const save_options& options) const override {
    writing(path).write(planes, options.compression != 1);
  }
};

}  // namespace

const format& png_format() {
  static const png instance;
  return instance;
}

}  // namespace img
