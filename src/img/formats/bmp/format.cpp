// Windows and OS/2 bitmaps of all versions.
#include "img/format.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "img/formats/bmp/header.h"
#include "img/formats/shared/bit_field.h"
#include "img/formats/shared/byte_cursor.h"
#include "img/formats/shared/export_planes.h"
#include "img/formats/shared/parallel_tasks.h"
#include "img/row_kernels.h"
#include "io/exceptions.h"
#include "io/file.h"

namespace img {
namespace {

constexpr std::int64_t piece_size = 256 << 10;

int picture_row(const bmp_header& header, int stored) {
  return header.top_down ? stored : header.height - 1 - stored;
}

void put_indices(const bmp_header& header, const std::uint8_t* indices, image& image, int y) {
  for (int p = 0; p < 3; ++p) {
    std::uint8_t* out = image.row(p, y);
    for (int x = 0; x < header.width; ++x) out[x] = header.palette[indices[x]][static_cast<std::size_t>(p)];
  }
}

void put_bmp_row(const bmp_header& header, const std::uint8_t* row, image& image, int y,
                 std::vector<std::uint8_t>& memory) {
  const auto width = static_cast<std::size_t>(header.width);
  if (header.bits == 24) {
    active_row_kernels().split3(row, image.row(0, y), image.row(1, y), image.row(2, y), width);
  } else if (header.bits == 8) {
    put_indices(header, row, image, y);
  } else if (header.bits < 8) {
    memory.resize(width);
    const int in_byte = 8 / header.bits;
    for (int x = 0; x < header.width; ++x) {
      const int shift = 8 - header.bits * (x % in_byte + 1);
      memory[static_cast<std::size_t>(x)] =
          static_cast<std::uint8_t>(row[x / in_byte] >> shift & ((1 << header.bits) - 1));
    }
    put_indices(header, memory.data(), image, y);
  } else if (header.bits == 32 && header.masks == std::array<std::uint32_t, 4>{0xFF, 0xFF00, 0xFF0000, 0xFF000000}) {
    active_row_kernels().split4(row, image.row(0, y), image.row(1, y), image.row(2, y), image.row(3, y), width);
  } else {
    put_bit_fields(image, y, row, header.bits / 8, header.masks);
  }
}

void read_plain(const source_file& file, const bmp_header& header, image& image) {
  const std::int64_t row_bytes = header.row_bytes();
  const int most_rows = static_cast<int>(std::clamp<std::int64_t>(piece_size / row_bytes, 1, header.height));
  const int pieces = (header.height + most_rows - 1) / most_rows;
  struct worker {
    plane block;
    std::vector<std::uint8_t> memory;
  };
  const bool small = static_cast<long long>(header.width) * header.height < 32768;
  parallel_tasks<worker>(pieces, small ? 1 : lib::thread_count(), [&](int piece, worker& own) {
    const int first = piece * most_rows;
    const int rows = std::min(most_rows, header.height - first);
    if (own.block.empty()) own.block = plane(static_cast<std::size_t>(row_bytes * most_rows));
    const std::int64_t offset = header.data + first * row_bytes;
    // The padding of the last row may be missing.
    const std::int64_t wanted = std::min(row_bytes * rows, file.size() - offset);
    file.read(own.block.data(), static_cast<std::size_t>(wanted), offset);
    for (int i = 0; i < rows; ++i) {
      put_bmp_row(header, own.block.data() + i * row_bytes, image, picture_row(header, first + i), own.memory);
    }
  });
}

// Pairs of a count and a colour; a count of 0 leads to the end of a row (0), of the picture (1), a step (2) or so many
// pixels as they stand, up to a whole word.
void read_packed(const source_file& file, const bmp_header& header, image& image) {
  const std::int64_t most = static_cast<std::int64_t>(header.width) * header.height * 4 + 65536;
  const file_bytes bytes(file, header.data, most);
  byte_cursor codes = bytes.cursor();
  const bool nibbles = header.compression == bmp_rle4;
  const auto width = static_cast<std::size_t>(header.width);
  std::vector<std::uint8_t> row(width);
  std::size_t x = 0;
  int y = 0;
  const auto end_row = [&] {
    put_indices(header, row.data(), image, picture_row(header, y++));
    std::fill(row.begin(), row.end(), 0);
  };
  const auto put = [&](std::size_t count, const auto& index) {
    for (std::size_t i = 0; i < count && x < width; ++i) row[x++] = static_cast<std::uint8_t>(index(i));
  };
  while (y < header.height) {
    const std::size_t count = codes.u8();
    const std::uint8_t code = codes.u8();
    if (count > 0) {
      put(count, [&](std::size_t i) { return nibbles ? (i % 2 == 0 ? code >> 4 : code & 15) : code; });
    } else if (code == 0) {
      end_row();
      x = 0;
    } else if (code == 1) {
      while (y < header.height) end_row();
    } else if (code == 2) {
      const std::uint8_t* step = codes.take(2);
      x = std::min(x + step[0], width);
      for (int i = 0; i < step[1] && y < header.height; ++i) end_row();
    } else {
      const std::size_t size = nibbles ? (code + 1U) / 2 : code;
      const std::uint8_t* indices = codes.take(size + size % 2);
      put(code, [&](std::size_t i) {
        return nibbles ? (i % 2 == 0 ? indices[i / 2] >> 4 : indices[i / 2] & 15) : indices[i];
      });
    }
  }
}

void put_le(std::vector<std::uint8_t>& out, std::uint32_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

// A gray picture has a palette, one with alpha the header of version 4 that tells which bits it is.
std::vector<std::uint8_t> make_header(int width, int height, int bits, std::int64_t data_bytes, bool packed) {
  const bool alpha = bits == 32;
  const std::uint32_t header = alpha ? 108 : 40;
  const std::uint32_t palette = bits == 8 ? 1024 : 0;
  const std::uint32_t offset = 14 + header + palette;
  std::vector<std::uint8_t> out{'B', 'M'};
  put_le(out, static_cast<std::uint32_t>(offset + data_bytes), 4);
  put_le(out, 0, 4);
  put_le(out, offset, 4);
  put_le(out, header, 4);
  put_le(out, static_cast<std::uint32_t>(width), 4);
  put_le(out, static_cast<std::uint32_t>(height), 4);
  put_le(out, 1, 2);
  put_le(out, static_cast<std::uint32_t>(bits), 2);
  put_le(out, alpha ? bmp_bit_fields : packed ? bmp_rle8 : bmp_plain, 4);
  put_le(out, static_cast<std::uint32_t>(data_bytes), 4);
  put_le(out, 2835, 4);  // 72 per inch, in metres
  put_le(out, 2835, 4);
  put_le(out, palette / 4, 4);
  put_le(out, 0, 4);
  if (alpha) {
    for (const std::uint32_t mask : {0x00FF0000U, 0x0000FF00U, 0x000000FFU, 0xFF000000U}) put_le(out, mask, 4);
    put_le(out, 0x73524742, 4);  // "sRGB"
    out.resize(offset);
  }
  for (std::uint32_t i = 0; i < palette / 4; ++i) put_le(out, i * 0x010101, 4);
  return out;
}

void pack_row(std::vector<std::uint8_t>& out, const std::uint8_t* row, int width) {
  for (int x = 0; x < width;) {
    int run = 1;
    while (run < 255 && x + run < width && row[x + run] == row[x]) ++run;
    int count = run;
    // Pixels as they stand, which must be three at least, up to the next run.
    if (run < 3) {
      while (count < 255 && x + count < width &&
             !(x + count + 2 < width && row[x + count] == row[x + count + 1] && row[x + count] == row[x + count + 2])) {
        ++count;
      }
    }
    if (run >= 3 || count < 3) {
      count = run;
      out.push_back(static_cast<std::uint8_t>(run));
      out.push_back(row[x]);
    } else {
      out.push_back(0);
      out.push_back(static_cast<std::uint8_t>(count));
      out.insert(out.end(), row + x, row + x + count);
      if (count % 2 != 0) out.push_back(0);
    }
    x += count;
  }
  out.push_back(0);
  out.push_back(0);
}

class bmp : public format {
 public:
  const char* name() const override { return "bmp"; }

  void read(image& image, const std::string& path, const layer&) const override {
    const source_file file(path);
    const bmp_header header = read_bmp_header(file);
    image.reset(header.has_alpha() ? "BGRA" : "BGR", header.is_deep() ? 16 : 8, header.width, header.height);
    image.set_path(path);
    image.set_centre_anchor();
    header.is_packed() ? read_packed(file, header, image) : read_plain(file, header, image);
  }

  picture_header read_header(const std::string& path, const layer&) const override {
    const bmp_header header = read_bmp_header(source_file(path));
    return {header.width, header.height, header.has_alpha(), {layer()}};
  }

  void write(const image& image, const std::string& path, const save_options& options) const override {
    const export_planes planes = planes_for_export(image, path, options);
    const int bits = planes.count == 1 ? 8 : planes.count == 3 ? 24 : 32;
    const auto width = static_cast<std::size_t>(image.width);
    const auto row_bytes = static_cast<std::size_t>((static_cast<std::int64_t>(image.width) * bits + 31) / 32 * 4);
    const bool packed = bits == 8 && options.compression == 2;
    std::vector<std::uint8_t> body;
    const auto row_of = [&](int plane, int y) {
      const int from = planes.count == 2 ? plane / 3 : plane;
      return planes.data[from] + static_cast<std::size_t>(y) * width;
    };
    if (packed) {
      for (int y = image.height - 1; y >= 0; --y) pack_row(body, row_of(0, y), image.width);
      body.push_back(0);
      body.push_back(1);
    }
    const std::int64_t size =
        packed ? static_cast<std::int64_t>(body.size()) : static_cast<std::int64_t>(row_bytes) * image.height;
    if (size > 0xF0000000) throw io::invalid_format(path, "The picture is larger than the 4 GiB that the format takes");
    io::llfile file(path, true);
    const std::vector<std::uint8_t> header = make_header(image.width, image.height, bits, size, packed);
    file.write(header.data(), static_cast<int>(header.size()));
    if (packed) {
      constexpr std::size_t most_at_once = 1 << 30;
      for (std::size_t done = 0; done < body.size(); done += most_at_once) {
        file.write(body.data() + done, static_cast<int>(std::min(body.size() - done, most_at_once)));
      }
      return;
    }
    const auto rows_at_once = static_cast<int>(std::clamp<std::size_t>(piece_size / row_bytes, 1, 4096));
    body.resize(row_bytes * static_cast<std::size_t>(rows_at_once));
    const row_kernels& kernels = active_row_kernels();
    for (int stored = 0; stored < image.height;) {
      int i = 0;
      for (; i < rows_at_once && stored < image.height; ++i, ++stored) {
        const int y = image.height - 1 - stored;
        std::uint8_t* out = body.data() + static_cast<std::size_t>(i) * row_bytes;
        if (bits == 8) {
          std::memcpy(out, row_of(0, y), width);
        } else if (bits == 24) {
          kernels.join3(row_of(0, y), row_of(1, y), row_of(2, y), out, width);
        } else {
          kernels.join4(row_of(0, y), row_of(1, y), row_of(2, y), row_of(3, y), out, width);
        }
      }
      file.write(body.data(), static_cast<int>(row_bytes) * i);
    }
  }
};

}  // namespace

const format& bmp_format() {
  static const bmp instance;
  return instance;
}

}  // namespace img
