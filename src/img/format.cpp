#include "img/format.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

#include "img/transfer.h"
#include "io/exceptions.h"
#include "lib/parallel.h"

namespace img {
namespace {

// trunc(E(v) * 255.99), with E the sRGB encoding, for samples cut to 0 to 1. Floats that agree in their upper 16 bits
// have codes that differ by one at most, so a table of those bits gives a first code and one comparison the right one.
class float_to_byte {
 public:
  float_to_byte() {
    for (int code = 1; code < 256; ++code) first_of_[static_cast<std::size_t>(code)] = first_float_of(code);
    first_of_[256] = 2.0F;  // no code above 255
    int code = 0;
    for (std::uint32_t i = 0; i < guess_.size(); ++i) {
      const float lowest = std::bit_cast<float>(i << 16);
      while (lowest >= first_of_[static_cast<std::size_t>(code) + 1]) ++code;
      guess_[i] = static_cast<std::uint8_t>(code);
    }
  }

  std::uint8_t operator()(float v) const {
    if (!(v > 0.0F)) return 0;
    if (v >= 1.0F) return 255;
    int code = guess_[std::bit_cast<std::uint32_t>(v) >> 16];
    while (v >= first_of_[static_cast<std::size_t>(code) + 1]) ++code;
    return static_cast<std::uint8_t>(code);
  }

 private:
  static int code_of(float v) { return static_cast<int>(std::clamp(srgb_encode(v), 0.0, 1.0) * 255.99); }

  // The smallest float with this code. Positive floats are in the order of their bits.
  static float first_float_of(int code) {
    std::uint32_t low = 0;
    std::uint32_t high = std::bit_cast<std::uint32_t>(1.0F);
    while (low < high) {
      const std::uint32_t middle = low + (high - low) / 2;
      if (code_of(std::bit_cast<float>(middle)) >= code) {
        high = middle;
      } else {
        low = middle + 1;
      }
    }
    return std::bit_cast<float>(low);
  }

  std::array<float, 257> first_of_{};
  std::array<std::uint8_t, 0x3F80> guess_{};  // by the upper bits of 0 to 1
};

std::uint8_t alpha_to_byte(float v) {
  if (!(v > 0.0F)) return 0;
  return v >= 1.0F ? 255 : static_cast<std::uint8_t>(v * 255.99F);
}

void convert_to_bytes(image& out, const float_image& image) {
  static const float_to_byte to_byte;
  const bool alpha = !image.data[3].empty();
  out.reset(alpha ? "BGRA" : "BGR", 8, image.width, image.height);
  out.copy_info(image);
  const long long samples = static_cast<long long>(image.width) * image.height;
  lib::parallel_rows(image.height, samples, [&](int first, int last) {
    const std::size_t begin = static_cast<std::size_t>(first) * image.width;
    const std::size_t end = static_cast<std::size_t>(last) * image.width;
    for (int i = 0; i < 3; ++i) {
      std::uint8_t* to = out.data[i].data();
      const float* from = image.data[i].data();
      for (std::size_t at = begin; at < end; ++at) to[at] = to_byte(from[at]);
    }
    if (!alpha) return;
    for (std::size_t at = begin; at < end; ++at) out.data[3].data()[at] = alpha_to_byte(image.data[3][at]);
  });
}

const format& format_of(const std::string& path, const char* type) {
  const format* found = find_format(path, type);
  if (!found) throw io::invalid_format(path, "Unrecognized file type");
  return *found;
}

const layer& main_picture() {
  static const layer picture;
  return picture;
}

}  // namespace

void format::list_layers(const std::string&, std::vector<layer>& layers) const {
  layers.assign(1, layer());
}

void format::read_converted(image& image, const std::string& path, const layer& layer, transfer& transfer,
                            img::image* scratch) const {
  img::image temporary;
  img::image& native = scratch ? *scratch : temporary;
  read(native, path, layer);
  if (native.depth[0] == 8) {
    transfer.apply(native);
    image.swap(native);
  } else {
    transfer.convert(image, native);
  }
}

void format::write(const image&, const std::string& path, const save_options&) const {
  throw io::exception(path, "Unsupported functionality");
}

void format::read_float(float_image& out, const std::string& path, const layer& layer, transfer& transfer,
                        const save_options&, img::image* scratch) const {
  img::image temporary;
  img::image& native = scratch ? *scratch : temporary;
  read(native, path, layer);
  // The matrix acts on display values, as it does on bytes.
  transfer.convert_float(out, native, true);
}

void format::write_float(const float_image& image, const std::string& path, const save_options& options) const {
  img::image bytes;
  if (image.width > 0 && image.height > 0) convert_to_bytes(bytes, image);
  write(bytes, path, options);
}

picture_header format::read_header(const std::string& path, const layer& layer) const {
  image picture;
  read(picture, path, layer);
  picture_header header;
  header.width = picture.width;
  header.height = picture.height;
  header.has_alpha = picture.plane_of('A') >= 0;
  list_layers(path, header.layers);
  return header;
}

bool is_image_file(const std::string& path, const char* type) {
  return find_format(path, type) != nullptr;
}

void load(image& image, const std::string& path, const char* type, const layer* layer) {
  format_of(path, type).read(image, path, layer ? *layer : main_picture());
}

void load_converted(image& image, const std::string& path, const char* type, const layer* layer, transfer* transfer,
                    img::image* scratch) {
  const format& format = format_of(path, type);
  img::transfer identity;
  format.read_converted(image, path, layer ? *layer : main_picture(), transfer ? *transfer : identity, scratch);
}

void list_layers(const std::string& path, const char* type, std::vector<layer>& layers) {
  format_of(path, type).list_layers(path, layers);
}

void save(const image& image, const std::string& path, const char* type, const save_options& options) {
  format_of(path, type).write(image, path, options);
}

}  // namespace img
