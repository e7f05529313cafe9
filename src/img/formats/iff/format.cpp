// Pictures in IFF files: tiled ones of animation programs, interleaved bitmaps of the Amiga.
#include "img/format.h"

#include "img/formats/iff/planar.h"
#include "img/formats/iff/tiled.h"
#include "img/formats/shared/byte_cursor.h"
#include "io/exceptions.h"

namespace img {
namespace {

enum class kind { tiled, planar, bytes };

// The group that the file is, with the cursor after its names.
kind open_group(byte_cursor& at, const std::string& path) {
  if (at.left() < 12) throw io::eof_error(path);
  const std::string_view group = at.peek(4);
  at.take(8);
  const std::string_view type{reinterpret_cast<const char*>(at.take(4)), 4};
  if (group == "FOR4" && type == "CIMG") return kind::tiled;
  if (group == "FORM" && type == "ILBM") return kind::planar;
  if (group == "FORM" && type == "PBM ") return kind::bytes;
  throw io::invalid_signature(path);
}

constexpr std::int64_t most_file = std::int64_t{1} << 31;
constexpr std::int64_t most_header = 1 << 20;  // the header stands in front of the pixels

class iff : public format {
 public:
  const char* name() const override { return "iff"; }

  void read(image& image, const std::string& path, const layer&) const override {
    const source_file file(path);
    const file_bytes bytes(file, 0, most_file);
    byte_cursor at = bytes.cursor();
    const kind kind = open_group(at, path);
    if (kind == kind::tiled) {
      const tiled_header header = read_tiled_header(at, path);
      begin(image, file, header.width, header.height, header.channels == 4, 8 * header.bytes);
      // Tiles that are not there are black.
      for (int p = 0; p < image.plane_count(); ++p) fill_plane(image.data[static_cast<std::size_t>(p)], 0);
      read_tiles(at, header, path, image);
    } else {
      const planar_header header = read_planar_header(at, kind == kind::bytes, path);
      begin(image, file, header.width, header.height, header.has_alpha(), 8);
      if (header.has_alpha()) fill_plane(image.data[3], 255);
      read_planes(at, header, path, image);
    }
  }

  picture_header read_header(const std::string& path, const layer&) const override {
    const source_file file(path);
    const file_bytes bytes(file, 0, most_header);
    byte_cursor at = bytes.cursor();
    const kind kind = open_group(at, path);
    if (kind == kind::tiled) {
      const tiled_header header = read_tiled_header(at, path);
      check(file, header.width, header.height);
      return {header.width, header.height, header.channels == 4, {layer()}};
    }
    const planar_header header = read_planar_header(at, kind == kind::bytes, path);
    check(file, header.width, header.height);
    return {header.width, header.height, header.has_alpha(), {layer()}};
  }

 private:
  // Two bytes give at most 128 bytes of one plane, that is 1024 pixels.
  static void check(const source_file& file, int width, int height) {
    check_size(file.path(), width, height, 1, file.size(), 1024);
  }

  static void begin(image& image, const source_file& file, int width, int height, bool alpha, int bits) {
    check(file, width, height);
    image.reset(alpha ? "BGRA" : "BGR", bits, width, height);
    image.set_path(file.path());
    image.set_centre_anchor();
  }
};

}  // namespace

const format& iff_format() {
  static const iff instance;
  return instance;
}

}  // namespace img
