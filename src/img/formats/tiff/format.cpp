// Tagged Image File Format (TIFF 6.0, its technical notes, and BigTIFF). Directories, the plain and the lossless
// codings are read here, on all threads; the other codings and colours by the TIFF library, which only their files
// load.
#include "img/format.h"

#include "img/formats/shared/deep_export.h"
#include "img/formats/shared/layer_names.h"
#include "img/formats/shared/orientation.h"
#include "img/formats/tiff/metadata.h"
#include "img/formats/tiff/pixels.h"
#include "img/formats/tiff/write.h"
#include "img/row_kernels.h"
#include "img/transfer.h"
#include "io/exceptions.h"

namespace img {
namespace {

// Directories of the pictures that can be chosen: all but masks and reduced copies.
struct page_list {
  std::vector<std::int64_t> positions;
  std::vector<layer> layers;
};

page_list pages_of(const tiff_file& file) {
  page_list list;
  std::vector<std::string> names;
  for (const std::int64_t position : file.pages()) {
    const std::vector<tiff_entry> entries = file.read_directory(position);
    const tiff_entry* kind = find_entry(entries, 254);
    const std::vector<std::uint64_t> flags = kind ? file.numbers(*kind, 1) : std::vector<std::uint64_t>();
    constexpr std::uint64_t reduced_or_mask = 1 | 4;
    if (!list.positions.empty() && !flags.empty() && (flags[0] & reduced_or_mask) != 0) continue;
    list.positions.push_back(position);
    const tiff_entry* name = find_entry(entries, 285);
    const std::string text = name ? file.text(*name) : std::string();
    names.push_back(text.empty() ? "page " + std::to_string(list.positions.size()) : text);
  }
  if (names.size() < 2) names.clear();
  list.layers = layers_named(std::move(names));
  return list;
}

std::int64_t position_of(const tiff_file& file, const layer& layer) {
  if (layer.is_default()) return file.first_directory();
  const page_list list = pages_of(file);
  return list.positions[static_cast<std::size_t>(find_layer(file.path(), list.layers, layer))];
}

void write_eight(const export_planes& planes, const std::string& path, int compression) {
  tiff_content content{planes.width, planes.height, planes.count, 8, {}};
  content.row = [&](int y, std::uint8_t* out) {
    const auto columns = static_cast<std::size_t>(planes.width);
    const std::uint8_t* rows[4] = {};
    for (int p = 0; p < planes.count; ++p) rows[p] = planes.row(p, y);
    if (planes.count == 3) {
      active_row_kernels().join3(rows[2], rows[1], rows[0], out, columns);
    } else if (planes.count == 4) {
      active_row_kernels().join4(rows[2], rows[1], rows[0], rows[3], out, columns);
    } else {
      for (std::size_t x = 0; x < columns; ++x) {
        for (int p = 0; p < planes.count; ++p) *out++ = rows[p][x];
      }
    }
  };
  write_tiff(content, path, compression);
}

// Interleaves planes of wider samples, blue first, as red first.
template <class Row>
void join_rows(std::uint8_t* bytes, int count, std::size_t width, const Row& row) {
  using sample = std::remove_cv_t<std::remove_pointer_t<decltype(row(0))>>;
  auto* out = reinterpret_cast<sample*>(bytes);
  for (int s = 0; s < count; ++s) {
    const sample* in = row(count >= 3 && s < 3 ? 2 - s : s);
    for (std::size_t x = 0; x < width; ++x)
      out[x * static_cast<std::size_t>(count) + static_cast<std::size_t>(s)] = in[x];
  }
}

void write_sixteen(const deep_planes& planes, const std::string& path, int compression) {
  tiff_content content{planes.width, planes.height, planes.count, 16, {}};
  content.row = [&](int y, std::uint8_t* out) {
    join_rows(out, planes.count, static_cast<std::size_t>(planes.width), [&](int p) { return planes.row(p, y); });
  };
  write_tiff(content, path, compression);
}

class tiff : public deep_format {
 public:
  const char* name() const override { return "tiff"; }

  void list_layers(const std::string& path, std::vector<layer>& layers) const override {
    layers = pages_of(tiff_file(path)).layers;
  }

  void read(image& image, const std::string& path, const layer& layer) const override {
    const tiff_file file(path);
    const tiff_picture picture = read_tiff_picture(file, position_of(file, layer));
    image.reset(letters_of(picture), depth_of(picture), picture.width, picture.height);
    image.set_path(path);
    image.set_centre_anchor();
    take_tiff_metadata(file, picture.position, image);
    image.pixel_aspect = tiff_pixel_aspect(file, picture);
    read_tiff_pixels(file, picture, image);
    apply_orientation(image, picture.orientation);
  }

  picture_header read_header(const std::string& path, const layer& layer) const override {
    const tiff_file file(path);
    const tiff_picture picture = read_tiff_picture(file, position_of(file, layer));
    const bool sides = swaps_sides(picture.orientation);
    return {sides ? picture.height : picture.width, sides ? picture.width : picture.height, picture.has_alpha,
            pages_of(file).layers, tiff_pixel_aspect(file, picture)};
  }

  void write_float(const float_image& image, const std::string& path, const save_options& options) const override {
    if (options.bits != 0) return deep_format::write_float(image, path, options);
    if (image.width <= 0 || image.height <= 0) throw io::invalid_format(path, "Cannot export an empty image");
    tiff_content content{image.width, image.height, image.data[3].empty() || options.ignore_alpha ? 3 : 4, 32, {}};
    content.row = [&](int y, std::uint8_t* out) {
      const auto width = static_cast<std::size_t>(image.width);
      join_rows(out, content.samples, width, [&](int p) {
        return image.data[static_cast<std::size_t>(p)].data() + static_cast<std::size_t>(y) * width;
      });
    };
    write_tiff(content, path, options.compression);
  }

 private:
  void write_bytes(const export_planes& planes, const std::string& path, const save_options& options) const override {
    write_eight(planes, path, options.compression);
  }
  void write_words(const deep_planes& planes, const std::string& path, const save_options& options) const override {
    write_sixteen(planes, path, options.compression);
  }
};

// Files that hold linear floats unless the options ask for so many bits.
class float_tiff : public tiff {
 public:
  bool has_native_float() const override { return true; }
  void write(const image& image, const std::string& path, const save_options& options) const override {
    if (options.bits != 0) return tiff::write(image, path, options);
    float_image floats;
    if (!image.empty()) transfer().convert_float(floats, image, true);
    write_float(floats, path, options);
  }
};

}  // namespace

const format& tiff_format() {
  static const tiff instance;
  return instance;
}

const format& float_tiff_format() {
  static const float_tiff instance;
  return instance;
}

}  // namespace img
