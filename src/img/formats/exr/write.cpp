// Writing of OpenEXR pictures with half samples.
#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfOutputFile.h>
#include <ImfStandardAttributes.h>

#include <array>
#include <cmath>
#include <vector>

#include "img/formats/exr/format.h"
#include "img/formats/exr/library.h"
#include "img/formats/exr/rows.h"
#include "img/formats/exr/write_chunks.h"
#include "img/transfer.h"
#include "io/exceptions.h"
#include "lib/parallel.h"

namespace img {
namespace {

// Planes of halves that go into a file: red, green, blue and maybe alpha, by reference.
using half_planes = std::array<const std::uint16_t*, 4>;
constexpr const char* channel_names[] = {"R", "G", "B", "A"};

Imf::Compression compression_of(const save_options& options) {
  switch (options.compression) {
    case 1:
      return Imf::NO_COMPRESSION;
    case 2:
      return Imf::RLE_COMPRESSION;
    case 4:
      return Imf::B44A_COMPRESSION;
    default:
      return Imf::ZIP_COMPRESSION;
  }
}

void add_information(Imf::Header& header, const image_info& info) {
  if (info.timecode.is_valid()) {
    const std::uint32_t user = info.timecode.user == 0xFFFFFFFFu ? 0 : info.timecode.user;
    Imf::addTimeCode(header, Imf::TimeCode(info.timecode.code, user));
  }
  if (const keycode& k = info.keycode; k.is_valid()) {
    Imf::addKeyCode(header, Imf::KeyCode(k.manufacturer, k.film_type, k.prefix, k.count, k.offset, k.perfs_per_frame,
                                         k.perfs_per_count));
  }
  if (info.frame_rate_nm > 0 && info.frame_rate_dn > 0) {
    Imf::addFramesPerSecond(header, Imf::Rational(info.frame_rate_nm, static_cast<unsigned>(info.frame_rate_dn)));
  }
}

void write_by_library(exr_output_stream& stream, const Imf::Header& header, const half_planes& planes, int width,
                      int height) {
  start_exr_threads();
  Imf::FrameBuffer source;
  for (std::size_t i = 0; i < planes.size(); ++i) {
    if (planes[i] == nullptr) continue;
    // The library only reads.
    char* samples = const_cast<char*>(reinterpret_cast<const char*>(planes[i]));
    source.insert(channel_names[i], Imf::Slice(Imf::HALF, samples, 2, static_cast<std::size_t>(width) * 2));
  }
  Imf::OutputFile output(stream, header);
  output.setFrameBuffer(source);
  output.writePixels(height);
}

void write_planes(const std::string& path, const image_info& info, int width, int height, const half_planes& planes,
                  const save_options& options) {
  Imf::Header header(width, height, 1.0F, Imath::V2f(0, 0), 1.0F, Imf::INCREASING_Y, compression_of(options));
  for (std::size_t i = 0; i < planes.size(); ++i) {
    if (planes[i] != nullptr) header.channels().insert(channel_names[i], Imf::Channel(Imf::HALF));
  }
  add_information(header, info);
  exr_output_stream stream(path);
  with_exr_errors(path, [&] {
    if (writes_exr_chunks(header)) {
      // Files hold channels in the order of their names.
      std::vector<const std::uint16_t*> in_order;
      if (planes[3] != nullptr) in_order.push_back(planes[3]);
      in_order.insert(in_order.end(), {planes[2], planes[1], planes[0]});
      write_exr_chunks(stream, header, in_order);
    } else {
      write_by_library(stream, header, planes, width, height);
    }
  });
  stream.finish();
}

template <class Sample, class Table>
void convert(plane& out, const plane& in, const Table& halves) {
  const std::size_t samples = in.size() / sizeof(Sample);
  constexpr std::size_t block = 65536;
  lib::parallel_chunks(static_cast<int>((samples + block - 1) / block), 1, [&](int first, int) {
    const std::size_t begin = static_cast<std::size_t>(first) * block;
    const std::size_t end = std::min(samples, begin + block);
    for (std::size_t i = begin; i < end; ++i) out.as<std::uint16_t>()[i] = halves(in.as<Sample>()[i]);
  });
}

std::array<std::uint16_t, 256> byte_halves(bool encoded) {
  std::array<std::uint16_t, 256> halves;
  for (std::size_t i = 0; i < halves.size(); ++i) {
    const double value = static_cast<double>(i) / 255.0;
    halves[i] = float_to_half(static_cast<float>(encoded ? srgb_decode(value) : value));
  }
  return halves;
}

std::array<std::uint16_t, 1024> code_halves() {
  std::array<std::uint16_t, 1024> halves;
  for (int i = 0; i < 1024; ++i) halves[static_cast<std::size_t>(i)] = float_to_half(static_cast<float>(log_decode(i)));
  return halves;
}

// Planes of an image as halves: its own, or new ones in `owned`.
class half_source {
 public:
  explicit half_source(const image& image) : image_(image) {}

  const std::uint16_t* plane_of(int index, bool encoded) {
    const plane& in = image_.data[static_cast<std::size_t>(index)];
    if (image_.depth[static_cast<std::size_t>(index)] == 16) return in.as<std::uint16_t>();
    plane& out = owned_[next_++];
    out = plane(in.size() * 2);
    const auto halves = byte_halves(encoded);
    convert<std::uint8_t>(out, in, [&](std::uint8_t byte) { return halves[byte]; });
    return out.as<std::uint16_t>();
  }

  // The field of a packed plane whose lowest bit is `shift`.
  const std::uint16_t* field(int shift) {
    const plane& in = image_.data[0];
    plane& out = owned_[next_++];
    out = plane(in.size() / 2);
    const auto halves = code_halves();
    const bool swap = image_.format[0] == 'U';
    convert<std::uint32_t>(
        out, in, [&](std::uint32_t word) { return halves[(swap ? __builtin_bswap32(word) : word) >> shift & 1023u]; });
    return out.as<std::uint16_t>();
  }

 private:
  const image& image_;
  std::array<plane, 4> owned_;
  std::size_t next_ = 0;
};

}  // namespace

void exr_fmt::write(const image& image, const std::string& path, const save_options& options) const {
  if (image.empty() || image.width <= 0 || image.height <= 0) {
    throw io::invalid_format(path, "Cannot export an empty image");
  }
  half_source source(image);
  half_planes planes{};
  if (image.is_packed()) {
    planes = {source.field(22), source.field(12), source.field(2), nullptr};
  } else if (image.plane_of('G') < 0 || image.plane_of('R') < 0) {
    planes.fill(source.plane_of(0, true));
  } else {
    planes = {source.plane_of(image.plane_of('R'), true), source.plane_of(image.plane_of('G'), true),
              source.plane_of(0, true), nullptr};
  }
  const int alpha = image.plane_of('A');
  planes[3] = alpha > 0 && !options.ignore_alpha ? source.plane_of(alpha, false) : nullptr;
  write_planes(path, image, image.width, image.height, planes, options);
}

void exr_fmt::write_float(const float_image& image, const std::string& path, const save_options& options) const {
  if (image.width <= 0 || image.height <= 0 || image.data[0].empty()) {
    throw io::invalid_format(path, "Cannot export an empty image");
  }
  const std::size_t row = static_cast<std::size_t>(image.width);
  std::array<plane, 4> owned;
  half_planes planes{};
  for (std::size_t i = 0; i < 4; ++i) {
    // Blue, green and red come first in the image, last in the file.
    const std::vector<float>& in = image.data[i < 3 ? 2 - i : 3];
    if (in.empty() || (i == 3 && options.ignore_alpha)) continue;
    owned[i] = plane(in.size() * 2);
    std::uint16_t* out = owned[i].as<std::uint16_t>();
    lib::parallel_rows(image.height, static_cast<long long>(in.size()), [&](int first, int last) {
      const std::size_t begin = row * static_cast<std::size_t>(first);
      active_exr_kernels().floats_to_halves(out + begin, reinterpret_cast<const std::uint32_t*>(in.data() + begin),
                                            row * static_cast<std::size_t>(last - first));
    });
    planes[i] = out;
  }
  write_planes(path, image, image.width, image.height, planes, options);
}

}  // namespace img
