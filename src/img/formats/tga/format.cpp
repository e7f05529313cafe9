// Truevision TGA File Format Specification 2.0: true-colour and gray pictures, gray with alpha too, plain and
// run-length packed.
#include <algorithm>
#include <cstring>
#include <vector>

#include "img/format.h"
#include "img/formats/shared/export_planes.h"
#include "img/formats/shared/parallel_tasks.h"
#include "img/formats/shared/read_ahead_stream.h"
#include "img/formats/tga/runs.h"
#include "img/fresh_rows.h"
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
  bool gray_alpha = false;
  bool packed = false;
  bool top_first = false;

  std::int64_t data_offset() const { return header_size + id_length; }
  const char* letters() const { return bytes == 1 ? "L" : bytes == 4 ? "BGRA" : gray_alpha ? "LA" : "BGR"; }
  bool has_alpha() const { return bytes == 4 || gray_alpha; }
};

int word_at(const std::uint8_t* bytes) {
  return bytes[0] | bytes[1] << 8;
}

tga_header read_tga_header(const io::llfile& file) {
  const std::string path = file.name();
  std::uint8_t bytes[header_size];
  if (file.read_at(bytes, header_size, 0) < header_size) throw io::eof_error(path);
  const int colour_map = bytes[1];
  const int type = bytes[2];
  const int bits = bytes[16];
  if (colour_map != 0 || (type & ~(type_packed | 1)) != 2) {
    throw io::invalid_format(path, "Unsupported variant: type " + std::to_string(type) + " with colour map type " +
                                       std::to_string(colour_map) + "; 2, 3, 10 and 11 without one are read");
  }
  if (bits != 8 && bits != 15 && bits != 16 && bits != 24 && bits != 32) {
    throw io::invalid_format(path,
                             "Unsupported bit depth: " + std::to_string(bits) + "; 8, 15, 16, 24 and 32 are read");
  }
  tga_header header;
  header.id_length = bytes[0];
  header.width = word_at(bytes + 12);
  header.height = word_at(bytes + 14);
  header.bytes = (bits + 7) / 8;
  header.gray_alpha = (type & 1) != 0 && bits == 16;
  header.packed = (type & type_packed) != 0;
  header.top_first = (bytes[17] & top_row_first) != 0;
  check_dimensions(path, header.width, header.height);
  // A file that can't hold the picture is short, however much of it is there. A packet of 1 + n bytes gives at most
  // 128 pixels.
  const std::int64_t pixels = static_cast<std::int64_t>(header.width) * header.height;
  const std::int64_t available = file.size() - header.data_offset();
  const std::int64_t most =
      header.packed ? (available + header.bytes) / (1 + header.bytes) * 128 : available / header.bytes;
  if (pixels > most) throw io::eof_error(path);
  return header;
}

// Waking the other threads costs as much as converting this many pixels.
constexpr long long fewest_parallel_pixels = 32768;

int threads_for(const tga_header& header) {
  return static_cast<long long>(header.width) * header.height < fewest_parallel_pixels ? 1 : lib::thread_count();
}

int picture_row(const tga_header& header, int stored) {
  return header.top_first ? stored : header.height - 1 - stored;
}

// As the kernels do, for gray with alpha, which few files have.
std::size_t unpack_gray_alpha(tga_packets* packets, std::uint8_t* const* planes, std::size_t count) {
  std::size_t done = 0;
  for (; done < count; ++done, --packets->left) {
    if (packets->left == 0) {
      if (packets->position == packets->end) break;
      const int mark = *packets->position;
      const bool run = mark >= 128;
      if (run && packets->end - packets->position < 3) break;
      if (run) std::memcpy(packets->pixel, packets->position + 1, 2);
      packets->position += run ? 3 : 1;
      packets->literal = !run;
      packets->left = (mark & 127) + 1;
    }
    const std::uint8_t* pixel = packets->pixel;
    if (packets->literal) {
      if (packets->end - packets->position < 2) break;
      pixel = packets->position;
      packets->position += 2;
    }
    planes[0][done] = pixel[0];
    planes[1][done] = pixel[1];
  }
  return done;
}

// One thread unpacks, since only the packets tell where the next one begins; another brings the bytes.
void unpack_rows(read_ahead_stream& stream, const tga_header& header, image& image, fresh_rows& fresh) {
  const auto unpack = header.gray_alpha ? unpack_gray_alpha : active_tga_kernels().unpack[header.bytes];
  const int planes = image.plane_count();
  tga_packets packets{};
  for (int i = 0; i < header.height; ++i) {
    const int y = picture_row(header, i);
    fresh.reach(y);
    std::uint8_t* rows[4] = {};
    for (int p = 0; p < planes; ++p) rows[p] = image.row(p, y);
    for (std::size_t left = static_cast<std::size_t>(header.width); left > 0;) {
      packets.position = stream.position();
      packets.end = stream.end();
      const std::size_t count = unpack(&packets, rows, left);
      stream.move_to(packets.position);
      left -= count;
      for (int p = 0; p < planes; ++p) rows[p] += count;
      if (left > 0) stream.more();
    }
  }
}

void read_packed(const io::llfile& file, const tga_header& header, image& image) {
  // A packet of one pixel takes a byte more than the pixel.
  const std::int64_t most = static_cast<std::int64_t>(header.width) * header.height * (header.bytes + 1);
  read_ahead_stream stream(file, header.data_offset(), std::min(file.size(), header.data_offset() + most));
  fresh_rows fresh(image);
  struct nothing {};
  parallel_tasks<nothing>(2, threads_for(header), [&](int role, nothing&) {
    if (role == 1) return stream.read_ahead();
    try {
      unpack_rows(stream, header, image, fresh);
    } catch (...) {
      stream.stop();
      throw;
    }
    stream.stop();
  });
}

// A row of interleaved pixels to row y of the planes.
void split_row(const std::uint8_t* row, const tga_header& header, image& image, int y) {
  const row_kernels& kernels = active_row_kernels();
  const auto width = static_cast<std::size_t>(header.width);
  switch (header.bytes) {
    case 1:
      std::memcpy(image.row(0, y), row, width);
      break;
    case 2:
      if (header.gray_alpha) {
        for (std::size_t x = 0; x < width; ++x) {
          image.row(0, y)[x] = row[2 * x];
          image.row(1, y)[x] = row[2 * x + 1];
        }
        break;
      }
      kernels.split555(row, image.row(0, y), image.row(1, y), image.row(2, y), width);
      break;
    case 3:
      kernels.split3(row, image.row(0, y), image.row(1, y), image.row(2, y), width);
      break;
    default:
      kernels.split4(row, image.row(0, y), image.row(1, y), image.row(2, y), image.row(3, y), width);
  }
}

void read_plain(const io::llfile& file, const tga_header& header, image& image) {
  const int row_bytes = header.width * header.bytes;
  const int most_rows = std::clamp(piece_size / row_bytes, 1, header.height);
  const int pieces = (header.height + most_rows - 1) / most_rows;
  struct worker {
    plane block;
  };
  const fresh_rows fresh(image);
  parallel_tasks<worker>(pieces, threads_for(header), [&](int piece, worker& own) {
    const int first = piece * most_rows;
    const int rows = std::min(most_rows, header.height - first);
    if (own.block.empty()) own.block = plane(static_cast<std::size_t>(most_rows * row_bytes));
    const std::int64_t offset = header.data_offset() + static_cast<std::int64_t>(first) * row_bytes;
    if (file.read_at(own.block.data(), rows * row_bytes, offset) < rows * row_bytes) throw io::eof_error(file.name());
    const int top = std::min(picture_row(header, first), picture_row(header, first + rows - 1));
    fresh.prepare(top, top + rows);
    for (int i = 0; i < rows; ++i) {
      split_row(own.block.data() + static_cast<std::size_t>(i) * static_cast<std::size_t>(row_bytes), header, image,
                picture_row(header, first + i));
    }
  });
}

class tga : public format {
 public:
  const char* name() const override { return "tga"; }

  void read(image& image, const std::string& path, const layer&) const override {
    const io::llfile file(path, false);
    const tga_header header = read_tga_header(file);
    image.reset(header.letters(), 8, header.width, header.height);
    image.set_path(path);
    image.set_centre_anchor();
    header.packed ? read_packed(file, header, image) : read_plain(file, header, image);
  }

  picture_header read_header(const std::string& path, const layer&) const override {
    const tga_header header = read_tga_header(io::llfile(path, false));
    return {header.width, header.height, header.has_alpha(), {layer()}};
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
