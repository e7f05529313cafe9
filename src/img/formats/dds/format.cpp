// DirectDraw surfaces: the largest level of the first picture, plain or in blocks.
#include "img/format.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "img/formats/dds/blocks.h"
#include "img/formats/dds/header.h"
#include "img/formats/shared/bit_field.h"
#include "img/formats/shared/byte_order.h"
#include "img/formats/shared/deep_samples.h"
#include "img/formats/shared/parallel_tasks.h"
#include "io/exceptions.h"

namespace img {
namespace {

void decode_block(const dds_header& header, const std::uint8_t* bytes, byte_block& out) {
  switch (header.coding) {
    case dds_coding::bc1:
      return decode_bc1(bytes, out);
    case dds_coding::bc2:
      return decode_bc2(bytes, out);
    case dds_coding::bc3:
      return decode_bc3(bytes, out);
    case dds_coding::bc4:
      return decode_bc4(bytes, header.is_signed, out);
    case dds_coding::bc5:
      return decode_bc5(bytes, header.is_signed, out);
    default:
      return decode_bc7(bytes, out);
  }
}

// A row of blocks, of which the last of a side may reach over the edge.
void put_blocks(const dds_header& header, const std::uint8_t* row, image& image, int top) {
  const int rows = std::min(4, header.height - top);
  byte_block bytes;
  half_block halves;
  for (int left = 0; left < header.width; left += 4, row += header.block_bytes()) {
    const int columns = std::min(4, header.width - left);
    const bool deep = header.coding == dds_coding::bc6h;
    if (deep) {
      decode_bc6h(row, header.is_signed, halves);
    } else {
      decode_block(header, row, bytes);
    }
    for (int y = 0; y < rows; ++y) {
      for (int x = 0; x < columns; ++x) {
        const auto pixel = static_cast<std::size_t>(4 * y + x);
        for (int p = 0; p < image.plane_count(); ++p) {
          const auto channel = static_cast<std::size_t>(p == 3 ? 3 : 2 - p);
          if (deep) {
            image.row<std::uint16_t>(p, top + y)[left + x] = halves[pixel][channel];
          } else {
            image.row(p, top + y)[left + x] = bytes[pixel][channel];
          }
        }
      }
    }
  }
}

void put_plain_row(const dds_header& header, const std::uint8_t* row, image& image, int y) {
  const auto width = static_cast<std::size_t>(header.width);
  const auto step = static_cast<std::size_t>(header.bytes);
  if (header.coding == dds_coding::fields) return put_bit_fields(image, y, row, header.bytes, header.masks);
  sample_form form;
  form.kind = header.coding == dds_coding::words ? sample_form::whole : sample_form::real;
  form.bits = header.coding == dds_coding::floats ? 32 : 16;
  for (int p = 0; p < image.plane_count(); ++p) {
    // One channel is gray.
    const int channel = header.channels == 1 ? 0 : p == 3 ? 3 : 2 - p;
    put_samples(image, p, 0, y, width, row + channel * form.bytes(), step, form);
  }
}

class dds : public format {
 public:
  const char* name() const override { return "dds"; }

  void read(image& image, const std::string& path, const layer&) const override {
    const source_file file(path);
    const dds_header header = read_dds_header(file);
    image.reset(header.has_alpha() ? "BGRA" : "BGR", header.is_deep() ? 16 : 8, header.width, header.height);
    image.set_path(path);
    image.set_centre_anchor();
    const int step = header.is_block() ? 4 : 1;
    const int steps = (header.height + step - 1) / step;
    const auto bytes = static_cast<std::size_t>(header.data_bytes() / steps);
    const bool small = static_cast<long long>(header.width) * header.height < 32768;
    struct worker {
      plane row;
    };
    parallel_tasks<worker>(steps, small ? 1 : lib::thread_count(), [&](int i, worker& own) {
      if (own.row.empty()) own.row = plane(bytes);
      file.read(own.row.data(), bytes, header.data + static_cast<std::int64_t>(bytes) * i);
      if (header.is_block()) {
        put_blocks(header, own.row.data(), image, 4 * i);
      } else {
        put_plain_row(header, own.row.data(), image, i);
      }
    });
  }

  picture_header read_header(const std::string& path, const layer&) const override {
    const dds_header header = read_dds_header(source_file(path));
    return {header.width, header.height, header.has_alpha(), {layer()}};
  }
};

}  // namespace

const format& dds_format() {
  static const dds instance;
  return instance;
}

}  // namespace img
