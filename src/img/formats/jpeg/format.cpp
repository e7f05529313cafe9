// JPEG (ISO/IEC 10918) through libjpeg-turbo, as 8-bit colour planes. Gray is repeated. Four channels are taken for
// CMYK and come out as they would print without a profile. Pictures come out upright, as their EXIF block tells.
#include <cstddef>
#include <cstdio>

#include <jerror.h>
#include <jpeglib.h>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

#include "img/formats/jpeg/format.h"
#include "img/formats/jpeg/half_chroma.h"
#include "img/formats/shared/exif.h"
#include "img/formats/shared/export_planes.h"
#include "img/formats/shared/icc_name.h"
#include "img/formats/shared/library_guard.h"
#include "img/formats/shared/metadata_text.h"
#include "img/formats/shared/orientation.h"
#include "img/formats/shared/refuse.h"
#include "img/row_kernels.h"
#include "io/file.h"
#include "lib/foreground.h"

namespace img {
namespace {

constexpr std::size_t buffer_size = 256 << 10;
// One channel at least is stored at full size, and each block of 64 pixels takes at least one bit of it; arithmetic
// coding goes below a bit.
constexpr int most_pixels_per_byte = 512;
constexpr int most_pixels_per_byte_arithmetic = 32768;
// Scans of a progressive file; encoders make about ten. Each costs a walk over the whole picture, and a few bytes.
constexpr int most_scans = 200;

struct error_manager : jpeg_error_mgr {
  library_guard guard;
};

library_guard& guard_of(j_common_ptr jpeg) {
  return static_cast<error_manager*>(jpeg->err)->guard;
}

[[noreturn]] void fail(j_common_ptr jpeg) {
  char text[JMSG_LENGTH_MAX];
  jpeg->err->format_message(jpeg, text);
  guard_of(jpeg).leave(text);
}

// Warnings are counted, and nothing is printed.
void count_warning(j_common_ptr jpeg, int level) {
  if (level < 0) ++jpeg->err->num_warnings;
}

void set_up(error_manager& errors) {
  jpeg_std_error(&errors);
  errors.error_exit = fail;
  errors.emit_message = count_warning;
}

struct source : jpeg_source_mgr {
  explicit source(const std::string& path) : file(path, false), buffer(buffer_size) {}
  io::llfile file;
  plane buffer;
  bool may_end = false;  // a file that ends from here on is shown as far as it goes
  bool ended = false;
};

boolean fill_buffer(j_decompress_ptr jpeg) {
  source& from = *static_cast<source*>(jpeg->src);
  int size = 0;
  const bool done = guard_of(reinterpret_cast<j_common_ptr>(jpeg)).attempt([&] {
    size = from.file.read(from.buffer.data(), static_cast<int>(from.buffer.size()));
    if (size == 0 && !from.may_end) throw io::eof_error(from.file.name());
  });
  if (!done) ERREXIT(jpeg, JERR_INPUT_EOF);
  if (size == 0) {
    // The library makes up the rest of a picture that ends with its proper mark.
    from.ended = true;
    from.buffer.data()[0] = 0xFF;
    from.buffer.data()[1] = JPEG_EOI;
    size = 2;
  }
  from.next_input_byte = from.buffer.data();
  from.bytes_in_buffer = static_cast<std::size_t>(size);
  return TRUE;
}

void skip_bytes(j_decompress_ptr jpeg, long count) {
  source& from = *static_cast<source*>(jpeg->src);
  while (count > static_cast<long>(from.bytes_in_buffer)) {
    count -= static_cast<long>(from.bytes_in_buffer);
    fill_buffer(jpeg);
  }
  if (count > 0) {
    from.next_input_byte += count;
    from.bytes_in_buffer -= static_cast<std::size_t>(count);
  }
}

void nothing_to_start(j_decompress_ptr) {}

void limit_scans(j_common_ptr jpeg) {
  const auto* decompress = reinterpret_cast<j_decompress_ptr>(jpeg);
  if (decompress->input_scan_number > most_scans) guard_of(jpeg).leave("Too many scans");
}

// An open file whose header has been read.
class reading {
 public:
  explicit reading(const std::string& path) : path_(path), source_(path) {
    set_up(errors_);
    jpeg_.err = &errors_;
    source_.init_source = nothing_to_start;
    source_.fill_input_buffer = fill_buffer;
    source_.skip_input_data = skip_bytes;
    source_.resync_to_restart = jpeg_resync_to_restart;
    source_.term_source = nothing_to_start;
    source_.bytes_in_buffer = 0;
    source_.next_input_byte = nullptr;
    progress_.progress_monitor = limit_scans;
    try {
      errors_.guard.run(path, [this] {
        jpeg_create_decompress(&jpeg_);
        jpeg_.src = &source_;
        jpeg_.progress = &progress_;
        jpeg_save_markers(&jpeg_, JPEG_APP0 + 1, 0xFFFF);
        jpeg_save_markers(&jpeg_, JPEG_APP0 + 2, 0xFFFF);
        jpeg_read_header(&jpeg_, TRUE);
      });
      take_markers();
      check_size(path, width(), height(), 1, source_.file.size(),
                 jpeg_.arith_code ? most_pixels_per_byte_arithmetic : most_pixels_per_byte);
      const int channels = jpeg_.num_components;
      if (channels != 1 && channels != 3 && channels != 4) {
        refuse(path, "Invalid number of channels", channels, "1, 3 and 4 are read");
      }
    } catch (...) {
      jpeg_destroy_decompress(&jpeg_);
      throw;
    }
  }
  ~reading() { jpeg_destroy_decompress(&jpeg_); }
  reading(const reading&) = delete;
  reading& operator=(const reading&) = delete;

  // Of the picture as it is stored.
  int width() const { return static_cast<int>(jpeg_.image_width); }
  int height() const { return static_cast<int>(jpeg_.image_height); }
  int orientation() const { return orientation_; }
  const metadata_map& metadata() const { return metadata_; }

  void pixels_into(image& image) {
    source_.may_end = true;
    if (has_half_chroma(jpeg_)) {
      half_chroma_into(image);
    } else {
      rows_into(image);
    }
    if (missing_ == image.height) throw io::eof_error(path_);
    const std::size_t bytes = static_cast<std::size_t>(image.width) * static_cast<std::size_t>(missing_);
    for (int p = 0; p < 3 && missing_ > 0; ++p) std::memset(image.row(p, image.height - missing_), 0, bytes);
    if (missing_ > 0) {
      image.note = std::to_string(missing_) + " of " + std::to_string(image.height) +
                   " lines are missing from the file and shown in black";
    } else if (details_missing_) {
      image.note = "The file ends early, and details are missing from the picture";
    }
  }

 private:
  void start() {
    jpeg_start_decompress(&jpeg_);
    // A progressive file is read to its end here.
    details_missing_ = source_.ended && errors_.num_warnings > 0;
  }
  // Only a warning tells that the library went on without data.
  bool lacks_data() const { return source_.ended && errors_.num_warnings > 0 && !details_missing_; }

  void half_chroma_into(image& image) {
    half_chroma_picture picture(jpeg_, image);
    errors_.guard.run(path_, [&] {
      jpeg_.raw_data_out = TRUE;
      jpeg_.out_color_space = JCS_YCbCr;
      start();
      while (jpeg_.output_scanline < jpeg_.output_height) {
        lib::give_way();
        picture.take(&jpeg_);
        if (lacks_data()) {
          missing_ = image.height - picture.rows();
          return;
        }
        picture.make_rows();
      }
      jpeg_finish_decompress(&jpeg_);
    });
  }

  void rows_into(image& image) {
    const auto width = static_cast<std::size_t>(image.width);
    const bool cmyk = jpeg_.num_components == 4;
    // A row that begins at a round address the library writes around the processor's cache, from which it is read next.
    std::vector<std::uint8_t> buffer(width * 4 + 1);
    std::uint8_t* const pixels = buffer.data() + 1;
    const row_kernels& kernels = active_row_kernels();
    fresh_rows fresh(image);
    errors_.guard.run(path_, [&] {
      jpeg_.out_color_space = cmyk ? JCS_CMYK : JCS_EXT_BGR;
      start();
      JSAMPROW row = pixels;
      while (jpeg_.output_scanline < jpeg_.output_height) {
        const int y = static_cast<int>(jpeg_.output_scanline);
        fresh.reach(y);
        if (y % DCTSIZE == 0) lib::give_way();
        jpeg_read_scanlines(&jpeg_, &row, 1);
        if (lacks_data()) {
          missing_ = image.height - y;
          return;
        }
        std::uint8_t *b = image.row(0, y), *g = image.row(1, y), *r = image.row(2, y);
        if (cmyk) {
          from_cmyk(row, b, g, r, width, jpeg_.saw_Adobe_marker);
        } else {
          kernels.split3(row, b, g, r, width);
        }
      }
      jpeg_finish_decompress(&jpeg_);
    });
  }

  void take_markers() {
    for (const jpeg_marker_struct* marker = jpeg_.marker_list; marker != nullptr; marker = marker->next) {
      const std::span<const std::uint8_t> data(marker->data, marker->data_length);
      const auto begins = [&](std::string_view text) {
        return data.size() >= text.size() && std::memcmp(data.data(), text.data(), text.size()) == 0;
      };
      constexpr std::string_view exif("Exif\0\0", 6);
      constexpr std::string_view xmp("http://ns.adobe.com/xap/1.0/\0", 29);
      constexpr std::string_view profile("ICC_PROFILE\0", 12);
      if (begins(exif)) orientation_ = take_exif(data.subspan(exif.size()), metadata_);
      if (begins(xmp)) {
        const auto text = data.subspan(xmp.size());
        metadata_["xmp"] = valid_utf8({reinterpret_cast<const char*>(text.data()), text.size()});
      }
      // The description stands in the first of its pieces.
      if (begins(profile) && data.size() > profile.size() + 2 && data[profile.size()] == 1) {
        if (std::string name = icc_name(data.subspan(profile.size() + 2)); !name.empty()) {
          metadata_["icc_profile"] = std::move(name);
        }
      }
    }
    if (jpeg_.saw_JFIF_marker && jpeg_.density_unit != 0) {
      metadata_["resolution"] =
          print("%d x %d %s", jpeg_.X_density, jpeg_.Y_density, jpeg_.density_unit == 1 ? "dpi" : "dots/cm");
    }
  }

  // Light left by ink and black: (255 - ink) * (255 - black) / 255, rounded. Files with Adobe's marker hold 255 - ink.
  static void from_cmyk(const std::uint8_t* pixels, std::uint8_t* b, std::uint8_t* g, std::uint8_t* r,
                        std::size_t width, bool inverted) {
    const int flip = inverted ? 0 : 255;
    for (std::size_t x = 0; x < width; ++x, pixels += 4) {
      const int black = pixels[3] ^ flip;
      auto light = [&](int channel) {
        return static_cast<std::uint8_t>(((pixels[channel] ^ flip) * black + 127) / 255);
      };
      r[x] = light(0);
      g[x] = light(1);
      b[x] = light(2);
    }
  }

  std::string path_;
  source source_;
  error_manager errors_;
  jpeg_progress_mgr progress_{};
  jpeg_decompress_struct jpeg_{};
  metadata_map metadata_;
  int orientation_ = 1;
  int missing_ = 0;               // lines at the end
  bool details_missing_ = false;  // of a picture that is there as a whole
};

struct destination : jpeg_destination_mgr {
  explicit destination(io::binary_writer& to) : to(to), buffer(buffer_size) {}
  io::binary_writer& to;
  plane buffer;
};

void start_buffer(j_compress_ptr jpeg) {
  destination& to = *static_cast<destination*>(jpeg->dest);
  to.next_output_byte = to.buffer.data();
  to.free_in_buffer = to.buffer.size();
}

void write_out(j_compress_ptr jpeg, std::size_t size) {
  destination& to = *static_cast<destination*>(jpeg->dest);
  const bool done = guard_of(reinterpret_cast<j_common_ptr>(jpeg)).attempt([&] {
    to.to.write(to.buffer.data(), static_cast<int>(size));
  });
  if (!done) ERREXIT(jpeg, JERR_FILE_WRITE);
  start_buffer(jpeg);
}

boolean empty_buffer(j_compress_ptr jpeg) {
  write_out(jpeg, static_cast<destination*>(jpeg->dest)->buffer.size());
  return TRUE;
}

void end_buffer(j_compress_ptr jpeg) {
  destination& to = *static_cast<destination*>(jpeg->dest);
  write_out(jpeg, to.buffer.size() - to.free_in_buffer);
}

class writing {
 public:
  explicit writing(io::binary_writer& to) : path_(to.name()), destination_(to) {
    set_up(errors_);
    jpeg_.err = &errors_;
    destination_.init_destination = start_buffer;
    destination_.empty_output_buffer = empty_buffer;
    destination_.term_destination = end_buffer;
  }
  ~writing() { jpeg_destroy_compress(&jpeg_); }
  writing(const writing&) = delete;
  writing& operator=(const writing&) = delete;

  // One gray plane or three colours.
  void write(const export_planes& planes, int width, int height, int quality) {
    const auto columns = static_cast<std::size_t>(width);
    const bool gray = planes.count == 1;
    std::vector<std::uint8_t> pixels(columns * (gray ? 1 : 3));
    const row_kernels& kernels = active_row_kernels();
    errors_.guard.run(path_, [&] {
      jpeg_create_compress(&jpeg_);
      jpeg_.dest = &destination_;
      jpeg_.image_width = static_cast<JDIMENSION>(width);
      jpeg_.image_height = static_cast<JDIMENSION>(height);
      jpeg_.input_components = gray ? 1 : 3;
      jpeg_.in_color_space = gray ? JCS_GRAYSCALE : JCS_EXT_BGR;
      jpeg_set_defaults(&jpeg_);
      jpeg_set_quality(&jpeg_, quality, TRUE);
      jpeg_start_compress(&jpeg_, TRUE);
      JSAMPROW row = pixels.data();
      for (int y = 0; y < height; ++y) {
        const std::size_t at = static_cast<std::size_t>(y) * columns;
        if (gray) {
          std::copy_n(planes.data[0] + at, columns, row);
        } else {
          kernels.join3(planes.data[0] + at, planes.data[1] + at, planes.data[2] + at, row, columns);
        }
        jpeg_write_scanlines(&jpeg_, &row, 1);
      }
      jpeg_finish_compress(&jpeg_);
    });
  }

 private:
  std::string path_;
  destination destination_;
  error_manager errors_;
  jpeg_compress_struct jpeg_{};
};

export_planes colour_planes(const image& image, const std::string& path, const save_options& options) {
  export_planes planes = planes_for_export(image, path, options, JPEG_MAX_DIMENSION);
  if (planes.count == 2) throw io::invalid_format(path, "JPEG does not support two channel images");
  if (planes.count == 4) planes.count = 3;
  return planes;
}

class jpeg : public format {
 public:
  const char* name() const override { return "jpeg"; }

  void read(image& image, const std::string& path, const layer&) const override {
    reading file(path);
    image.reset("BGR", 8, file.width(), file.height());
    image.set_path(path);
    image.set_centre_anchor();
    image.metadata = file.metadata();
    file.pixels_into(image);
    apply_orientation(image, file.orientation());
  }

  picture_header read_header(const std::string& path, const layer&) const override {
    const reading file(path);
    const bool turned = swaps_sides(file.orientation());
    return {turned ? file.height() : file.width(), turned ? file.width() : file.height(), false, {layer()}};
  }

  void write(const image& image, const std::string& path, const save_options& options) const override {
    const export_planes planes = colour_planes(image, path, options);
    io::llfile file(path, true);
    writing(file).write(planes, image.width, image.height, std::clamp(options.quality, 1, 100));
  }
};

}  // namespace

void write_jpeg(const image& image, io::binary_writer& to, const save_options& options) {
  const export_planes planes = colour_planes(image, to.name(), options);
  writing(to).write(planes, image.width, image.height, std::clamp(options.quality, 1, 100));
}

const format& jpeg_format() {
  static const jpeg instance;
  return instance;
}

}  // namespace img
