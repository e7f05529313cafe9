// Truevision TGA File Format Specification 2.0: true-colour and gray pictures, plain and run-length packed.
#include <algorithm>
#include <cstring>
#include <vector>

#include "img/format.h"
#include "img/formats/export_planes.h"
#include "img/formats/tga_runs.h"
#include "img/row_kernels.h"
#include "io/exceptions.h"
#include "io/file.h"

namespace img {
namespace {

constexpr int header_size = 18;
constexpr int type_packed = 0x08;
constexpr int top_row_first = 0x20;
// Files are read and written in pieces of about this size: few enough calls, and a piece stays in the processor's
// cache between the copy from or to the system and its conversion. Whole files at once took 1.4 times as long.
constexpr int piece_size = 256 << 10;

struct tga_header {
  int id_length = 0;
  int width = 0;
  int height = 0;
  int bytes = 0;  // of a pixel
  bool packed = false;
  bool top_first = false;

  const char* letters() const { return bytes == 1 ? "L" : bytes == 4 ? "BGRA" : "BGR"; }
};

int word_at(const std::uint8_t* bytes) {
  return bytes[0] | bytes[1] << 8;
}

tga_header parse_header(const std::uint8_t* bytes, const std::string& path, std::int64_t file_size) {
  const int colour_map = bytes[1];
  const int type = bytes[2];
  const int bits = bytes[16];
  if (colour_map != 0 || (type & ~(type_packed | 1)) != 2) throw io::invalid_format(path, "Unsupported variant");
  if (bits != 8 && bits != 15 && bits != 16 && bits != 24 && bits != 32) {
    throw io::invalid_format(path, "Unsupported bit depth");
  }
  tga_header header;
  header.id_length = bytes[0];
  header.width = word_at(bytes + 12);
  header.height = word_at(bytes + 14);
  header.bytes = (bits + 7) / 8;
  header.packed = (type & type_packed) != 0;
  header.top_first = (bytes[17] & top_row_first) != 0;
  check_dimensions(path, header.width, header.height);
  // A file that can't hold the picture is short, however much of it is there. A packet of 1 + n bytes gives at most
  // 128 pixels.
  const std::int64_t pixels = static_cast<std::int64_t>(header.width) * header.height;
  const std::int64_t available = file_size - header_size - header.id_length;
  const std::int64_t most =
      header.packed ? (available + header.bytes) / (1 + header.bytes) * 128 : available / header.bytes;
  if (pixels > most) throw io::eof_error(path);
  return header;
}

// The file in pieces, with room behind the data that kernels may read.
class piece_reader {
 public:
  piece_reader(io::llfile& file, std::size_t size) : file_(file), size_(size), block_(size + tga_read_ahead) {
    position_ = end_ = block_.data();
  }

  // Makes at least `count` bytes available; throws io::eof_error when the file has no more.
  const std::uint8_t* need(std::size_t count) {
    while (available() < count) more();
    return position_;
  }
  // Reads on behind the unread bytes. Throws io::eof_error at the end of the file.
  void more() {
    const std::size_t kept = available();
    std::memmove(block_.data(), position_, kept);
    position_ = block_.data();
    const int count = file_.read(block_.data() + kept, static_cast<int>(size_ - kept));
    end_ = position_ + kept + count;
    if (count == 0) throw io::eof_error(file_.name());
  }
  std::size_t available() const { return static_cast<std::size_t>(end_ - position_); }
  const std::uint8_t* position() const { return position_; }
  const std::uint8_t* end() const { return end_; }
  void move_to(const std::uint8_t* position) { position_ = position; }

 private:
  io::llfile& file_;
  std::size_t size_;
  plane block_;
  const std::uint8_t* position_;
  const std::uint8_t* end_;
};

void read_packed(piece_reader& reader, const tga_header& header, image& image) {
  const auto unpack = active_tga_kernels().unpack[header.bytes];
  const int planes = image.plane_count();
  tga_packets packets{};
  for (int i = 0; i < header.height; ++i) {
    const int y = header.top_first ? i : header.height - 1 - i;
    std::uint8_t* rows[4] = {};
    for (int p = 0; p < planes; ++p) rows[p] = image.row(p, y);
    for (std::size_t left = static_cast<std::size_t>(header.width); left > 0;) {
      packets.position = reader.position();
      packets.end = reader.end();
      const std::size_t count = unpack(&packets, rows, left);
      reader.move_to(packets.position);
      left -= count;
      for (int p = 0; p < planes; ++p) rows[p] += count;
      if (left > 0) reader.more();
    }
  }
}

void read_plain(piece_reader& reader, const tga_header& header, image& image) {
  const row_kernels& kernels = active_row_kernels();
  const auto width = static_cast<std::size_t>(header.width);
  const std::size_t row_bytes = width * static_cast<std::size_t>(header.bytes);
  for (int i = 0; i < header.height; ++i) {
    const int y = header.top_first ? i : header.height - 1 - i;
    const std::uint8_t* row = reader.need(row_bytes);
    switch (header.bytes) {
      case 1:
        std::memcpy(image.row(0, y), row, width);
        break;
      case 2:
        kernels.split555(row, image.row(0, y), image.row(1, y), image.row(2, y), width);
        break;
      case 3:
        kernels.split3(row, image.row(0, y), image.row(1, y), image.row(2, y), width);
        break;
      default:
        kernels.split4(row, image.row(0, y), image.row(1, y), image.row(2, y), image.row(3, y), width);
    }
    reader.move_to(row + row_bytes);
  }
}

class tga : public format {
 public:
  const char* name() const override { return "tga"; }

  void read(image& image, const std::string& path, const layer&) const override {
    io::llfile file(path, false);
    const std::int64_t size = file.size();
    piece_reader reader(file, static_cast<std::size_t>(std::clamp<std::int64_t>(size, 4096, piece_size)));
    const tga_header header = parse_header(reader.need(header_size), path, size);
    reader.move_to(reader.position() + header_size);
    reader.move_to(reader.need(static_cast<std::size_t>(header.id_length)) + header.id_length);
    image.reset(header.letters(), 8, header.width, header.height);
    image.set_path(path);
    image.set_centre_anchor();
    header.packed ? read_packed(reader, header, image) : read_plain(reader, header, image);
  }

  picture_header read_header(const std::string& path, const layer&) const override {
    io::llfile file(path, false);
    std::uint8_t bytes[header_size];
    file.read_exact(bytes, header_size);
    const tga_header header = parse_header(bytes, path, file.size());
    return {header.width, header.height, header.bytes == 4, {layer()}};
  }

  void write(const image& image, const std::string& path, const save_options& options) const override {
    export_planes planes = planes_for_export(image, path, options);
    if (planes.count == 2) {
      planes.data[3] = planes.data[1];
      planes.data[1] = planes.data[2] = planes.data[0];
      planes.count = 4;
    }
    const bool packed = options.compression == 2;
    std::uint8_t header[header_size] = {};
    header[2] = static_cast<std::uint8_t>((planes.count == 1 ? 3 : 2) | (packed ? type_packed : 0));
    header[12] = static_cast<std::uint8_t>(image.width);
    header[13] = static_cast<std::uint8_t>(image.width >> 8);
    header[14] = static_cast<std::uint8_t>(image.height);
    header[15] = static_cast<std::uint8_t>(image.height >> 8);
    header[16] = static_cast<std::uint8_t>(8 * planes.count);
    header[17] = static_cast<std::uint8_t>(top_row_first | (planes.count == 4 ? 8 : 0));
    io::llfile file(path, true);
    write_rows(file, header, planes, image.width, image.height, packed);
  }

 private:
  // The header goes out with the first piece, so that a small picture is one call.
  static void write_rows(io::llfile& file, const std::uint8_t* header, const export_planes& planes, int width,
                         int height, bool packed) {
    const tga_kernels& kernels = active_tga_kernels();
    const auto columns = static_cast<std::size_t>(width);
    const auto bytes = static_cast<std::size_t>(planes.count);
    const std::size_t most_row_bytes = columns * (bytes + (packed ? 1 : 0)) + tga_write_ahead;
    plane block(header_size + most_row_bytes + piece_size);
    std::vector<std::uint8_t> pixels(packed ? columns * bytes + tga_write_ahead : 0);
    std::vector<std::uint64_t> bits(packed ? (columns + 63) / 64 : 0);
    std::memcpy(block.data(), header, header_size);
    std::size_t filled = header_size;
    for (int y = 0; y < height; ++y) {
      const std::uint8_t* rows[4] = {};
      for (std::size_t p = 0; p < bytes; ++p) rows[p] = planes.data[p] + static_cast<std::size_t>(y) * columns;
      std::uint8_t* out = block.data() + filled;
      if (packed) {
        join(rows, planes.count, columns, pixels.data());
        kernels.equal_neighbours(rows, planes.count, columns, bits.data());
        filled += tga_pack_row(pixels.data(), planes.count, columns, bits.data(), out);
      } else {
        join(rows, planes.count, columns, out);
        filled += columns * bytes;
      }
      if (filled >= piece_size || y == height - 1) {
        file.write(block.data(), static_cast<int>(filled));
        filled = 0;
      }
    }
  }

  static void join(const std::uint8_t* const* rows, int count, std::size_t width, std::uint8_t* out) {
    const row_kernels& kernels = active_row_kernels();
    if (count == 1) {
      std::memcpy(out, rows[0], width);
    } else if (count == 3) {
      kernels.join3(rows[0], rows[1], rows[2], out, width);
    } else {
      kernels.join4(rows[0], rows[1], rows[2], rows[3], out, width);
    }
  }
};

}  // namespace

const format& tga_format() {
  static const tga instance;
  return instance;
}

}  // namespace img
