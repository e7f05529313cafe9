// Writing of 10-bit DPX (SMPTE ST 268-1), version 2.0, in the machine's byte order.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <functional>
#include <vector>

#include "img/formats/dpx/format.h"
#include "img/formats/dpx/header.h"
#include "img/formats/shared/film_codes.h"
#include "img/transfer.h"
#include "io/exceptions.h"
#include "io/file.h"
#include "lib/parallel.h"

namespace img {
namespace {

// Far enough after the header for reads that need whole pages.
constexpr std::uint32_t data_offset = 8192;

// The header, with all bits set where nothing is put.
class header_block {
 public:
  header_block() { bytes_.fill(0xFF); }
  void put8(std::size_t offset, std::uint8_t value) { bytes_[offset] = value; }
  void put16(std::size_t offset, std::uint16_t value) { std::memcpy(&bytes_[offset], &value, 2); }
  void put32(std::size_t offset, std::uint32_t value) { std::memcpy(&bytes_[offset], &value, 4); }
  void put_real(std::size_t offset, float value) { std::memcpy(&bytes_[offset], &value, 4); }
  // A text with its closing zero; the rest of the field stays unset.
  void put_text(std::size_t offset, const char* text) { std::memcpy(&bytes_[offset], text, std::strlen(text) + 1); }
  // A text that fills its field.
  void put_digits(std::size_t offset, const char* text) { std::memcpy(&bytes_[offset], text, std::strlen(text)); }
  const std::array<std::uint8_t, data_offset>& bytes() const { return bytes_; }

 private:
  std::array<std::uint8_t, data_offset> bytes_;
};

header_block make_header(const image_info& info, int width, int height) {
  const std::uint64_t file_size =
      data_offset + std::uint64_t{4} * static_cast<unsigned>(width) * static_cast<unsigned>(height);
  header_block h;
  h.put32(0, 0x53445058u);
  h.put32(4, data_offset);
  h.put_text(8, "V2.0");
  if (file_size < 0xFFFFFFFFu) h.put32(16, static_cast<std::uint32_t>(file_size));
  h.put32(20, 1);  // a new frame, not a copy
  h.put32(24, 1664);
  h.put32(28, 384);
  h.put32(32, 0);
  h.put_text(160, "Kestrin");
  h.put16(768, 0);  // left to right, top to bottom
  h.put16(770, 1);
  h.put32(772, static_cast<std::uint32_t>(width));
  h.put32(776, static_cast<std::uint32_t>(height));
  h.put32(780, 0);  // unsigned
  h.put32(784, 0);
  h.put_real(788, 0.0f);
  h.put32(792, 1023);
  h.put_real(796, 2.046f);  // printing density of code 1023
  h.put8(800, 50);          // RGB
  h.put8(801, 1);           // printing density
  h.put8(802, 1);
  h.put8(803, 10);
  h.put16(804, 1);  // filled, method A
  h.put16(806, 0);  // not run-length coded
  h.put32(808, data_offset);
  h.put32(812, 0);
  h.put32(816, 0);
  h.put32(1628, 1);
  h.put32(1632, 1);
  if (const keycode& code = info.keycode; code.is_valid() && code.offset < 100) {
    char digits[64];
    std::snprintf(digits, sizeof digits, "%02d%02d%02d%06d%04d", code.manufacturer, code.film_type, code.offset,
                  code.prefix, code.count);
    h.put_digits(1664, digits);
  }
  if (info.frame >= 0) h.put32(1712, static_cast<std::uint32_t>(info.frame));
  if (info.frame_rate_nm > 0 && info.frame_rate_dn > 0) {
    const float rate = static_cast<float>(static_cast<double>(info.frame_rate_nm) / info.frame_rate_dn);
    h.put_real(1724, rate);
    h.put_real(1940, rate);
  }
  h.put32(1920, info.timecode.code);
  // The second time code stands in the user bits, where the first has none of its own.
  h.put32(1924, info.timecode.user != 0xFFFFFFFFu ? info.timecode.user : info.timecode2.code);
  return h;
}

// `convert(out, y)` gives the words of one row; it is called on all threads.
void write_film(const std::string& path, const image_info& info, int width, int height,
                const std::function<void(std::uint32_t* out, int y)>& convert) {
  plane words(plane_bytes(32, width, height));
  const std::size_t row = static_cast<std::size_t>(width);
  lib::parallel_rows(height, static_cast<long long>(width) * height, [&](int first, int last) {
    for (int y = first; y < last; ++y) convert(words.as<std::uint32_t>() + row * static_cast<std::size_t>(y), y);
  });
  io::file file(path, "wb");
  const header_block header = make_header(info, width, height);
  file.write(header.bytes().data(), static_cast<int>(header.bytes().size()));
  constexpr std::size_t most = 64u << 20;
  for (std::size_t done = 0; done < words.size(); done += most) {
    file.write(words.data() + done, static_cast<int>(std::min(most, words.size() - done)));
  }
  file.flush();
}

// Code of each sRGB encoded byte, and of each half.
std::array<std::uint16_t, 256> byte_codes() {
  std::array<std::uint16_t, 256> codes;
  for (int i = 0; i < 256; ++i)
    codes[static_cast<std::size_t>(i)] = static_cast<std::uint16_t>(film_code(srgb_decode(i / 255.0)));
  return codes;
}
const std::vector<std::uint16_t>& half_codes() {
  static const std::vector<std::uint16_t> codes = [] {
    std::vector<std::uint16_t> result(65536);
    for (unsigned i = 0; i < 65536; ++i) {
      result[i] = static_cast<std::uint16_t>(film_code(half_to_double(static_cast<std::uint16_t>(i))));
    }
    return result;
  }();
  return codes;
}

template <class Sample, class Codes>
void pack_planes(std::uint32_t* out, const image& image, const int (&planes)[3], int y, const Codes& codes) {
  const Sample* red = image.row<Sample>(planes[0], y);
  const Sample* green = image.row<Sample>(planes[1], y);
  const Sample* blue = image.row<Sample>(planes[2], y);
  for (int x = 0; x < image.width; ++x) out[x] = film_word(codes[red[x]], codes[green[x]], codes[blue[x]]);
}

}  // namespace

void dpx_fmt::write(const image& image, const std::string& path, const save_options&) const {
  if (image.empty() || image.width <= 0 || image.height <= 0) {
    throw io::invalid_format(path, "Cannot export an empty image");
  }
  // A colour that is missing, as in a gray picture, is taken from the first plane.
  int planes[3] = {image.plane_of('R'), image.plane_of('G'), image.plane_of('B')};
  for (int& p : planes) {
    if (p < 0 || image.depth[static_cast<std::size_t>(p)] != image.depth[0]) p = 0;
  }
  if (image.depth[0] == 32) {
    const bool swap = image.format[0] == 'U';
    write_film(path, image, image.width, image.height, [&](std::uint32_t* out, int y) {
      const std::uint32_t* in = image.row<std::uint32_t>(0, y);
      for (int x = 0; x < image.width; ++x) out[x] = swap ? __builtin_bswap32(in[x]) : in[x];
    });
  } else if (image.depth[0] == 16) {
    const auto& codes = half_codes();
    write_film(path, image, image.width, image.height,
               [&](std::uint32_t* out, int y) { pack_planes<std::uint16_t>(out, image, planes, y, codes); });
  } else {
    const auto codes = byte_codes();
    write_film(path, image, image.width, image.height,
               [&](std::uint32_t* out, int y) { pack_planes<std::uint8_t>(out, image, planes, y, codes); });
  }
}

void dpx_fmt::write_float(const float_image& image, const std::string& path, const save_options&) const {
  if (image.width <= 0 || image.height <= 0 || image.data[0].empty()) {
    throw io::invalid_format(path, "Cannot export an empty image");
  }
  const film_code_table& code = film_code_table::get();
  const std::size_t row = static_cast<std::size_t>(image.width);
  write_film(path, image, image.width, image.height, [&](std::uint32_t* out, int y) {
    const std::size_t begin = row * static_cast<std::size_t>(y);
    const float* blue = image.data[0].data() + begin;
    const float* green = image.data[1].data() + begin;
    const float* red = image.data[2].data() + begin;
    for (std::size_t x = 0; x < row; ++x) {
      out[x] = film_word(static_cast<unsigned>(code(red[x])), static_cast<unsigned>(code(green[x])),
                         static_cast<unsigned>(code(blue[x])));
    }
  });
}

}  // namespace img
