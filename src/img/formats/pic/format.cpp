// Softimage PIC pictures: rows of packets of channels of 8 bits, each plain or run-length packed in one of two ways.
#include "img/format.h"

#include <algorithm>
#include <vector>

#include "img/formats/shared/byte_cursor.h"
#include "img/formats/shared/metadata_text.h"
#include "img/formats/shared/refuse.h"
#include "io/exceptions.h"

namespace img {
namespace {

constexpr std::uint32_t magic = 0x5380F634;
constexpr int header_size = 104;
enum encoding { plain = 0, pure_runs = 1, mixed_runs = 2 };
constexpr int red_code = 0x80, green_code = 0x40, blue_code = 0x20, alpha_code = 0x10;

// Channels that a row stores together, pixel by pixel.
struct packet {
  int encoding = plain;
  std::vector<int> planes;
};

struct pic_header {
  int width = 0;
  int height = 0;
  std::vector<packet> packets;
  bool has_alpha = false;
  std::string comment;
  std::int64_t data = 0;
};

pic_header read_pic_header(const source_file& file) {
  const std::string& path = file.path();
  const file_bytes bytes(file, 0, header_size + 4 * 16);
  byte_cursor at = bytes.cursor();
  if (at.be_u32() != magic) throw io::invalid_signature(path);
  at.take(4);
  pic_header header;
  const char* comment = reinterpret_cast<const char*>(at.take(80));
  header.comment = valid_utf8({comment, static_cast<std::size_t>(std::find(comment, comment + 80, '\0') - comment)});
  if (std::string_view(reinterpret_cast<const char*>(at.take(4)), 4) != "PICT") throw io::invalid_signature(path);
  header.width = at.be_u16();
  header.height = at.be_u16();
  if (header.width == 0 || header.height == 0) {
    refuse(path, "Invalid width/height", std::to_string(header.width) + " x " + std::to_string(header.height),
           "both are at least 1");
  }
  at.take(8);
  bool more = true;
  while (more) {
    if (header.packets.size() == 8) {
      throw io::invalid_format(path, "Invalid/unsupported channel code: more than 8 packets of channels");
    }
    more = at.u8() != 0;
    if (const int bits = at.u8(); bits != 8) {
      refuse(path, "Invalid/unsupported channel bit depth", bits, "8 is read");
    }
    packet packet;
    packet.encoding = at.u8();
    if (packet.encoding > mixed_runs) {
      refuse(path, "Invalid/unsupported channel encoding", packet.encoding, "0, 1 and 2 are read");
    }
    const int code = at.u8();
    if ((code & 0xF) != 0 || code == 0) {
      refuse(path, "Invalid/unsupported channel code", code, "sums of 16, 32, 64 and 128 are read");
    }
    if (code & red_code) packet.planes.push_back(2);
    if (code & green_code) packet.planes.push_back(1);
    if (code & blue_code) packet.planes.push_back(0);
    if (code & alpha_code) packet.planes.push_back(3);
    header.has_alpha = header.has_alpha || (code & alpha_code) != 0;
    header.packets.push_back(packet);
  }
  header.data = static_cast<std::int64_t>(bytes.size() - at.left());
  // A run of at most 65535 pixels takes four bytes at least, and each row its own.
  check_size(path, header.width, header.height, 1, std::max<std::int64_t>(file.size() - header.data, 0), 65535);
  return header;
}

// Fills one row of the planes of a packet.
class row_writer {
 public:
  row_writer(image& image, const packet& packet, int y) : width_(static_cast<std::size_t>(image.width)) {
    for (const int plane : packet.planes) rows_.push_back(image.row(plane, y));
  }
  std::size_t left() const { return width_ - x_; }
  std::size_t pixel_size() const { return rows_.size(); }
  void put_run(const std::uint8_t* pixel, std::size_t count) {
    for (std::size_t c = 0; c < rows_.size(); ++c) std::fill_n(rows_[c] + x_, count, pixel[c]);
    x_ += count;
  }
  void put_pixels(const std::uint8_t* pixels, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      for (std::uint8_t* row : rows_) row[x_ + i] = *pixels++;
    }
    x_ += count;
  }

 private:
  std::size_t width_;
  std::size_t x_ = 0;
  std::vector<std::uint8_t*> rows_;
};

void read_packet(byte_cursor& codes, const packet& packet, row_writer row, const std::string& path) {
  if (packet.encoding == plain) return row.put_pixels(codes.take(row.left() * row.pixel_size()), row.left());
  while (row.left() > 0) {
    const unsigned code = codes.u8();
    std::size_t count = code;
    bool run = true;
    if (packet.encoding == mixed_runs) {
      run = code >= 128;
      count = code == 128 ? codes.be_u16() : run ? code - 127 : code + 1;
    }
    if (count > row.left() || count == 0) throw io::invalid_format(path, "Scanline overrun");
    if (run) {
      row.put_run(codes.take(row.pixel_size()), count);
    } else {
      row.put_pixels(codes.take(count * row.pixel_size()), count);
    }
  }
}

class pic : public format {
 public:
  const char* name() const override { return "pic"; }

  void read(image& image, const std::string& path, const layer&) const override {
    const source_file file(path);
    const pic_header header = read_pic_header(file);
    image.reset(header.has_alpha ? "BGRA" : "BGR", 8, header.width, header.height);
    image.set_path(path);
    image.set_centre_anchor();
    if (!header.comment.empty()) image.metadata["Comment"] = header.comment;
    // Channels that no packet has are black.
    for (int p = 0; p < image.plane_count(); ++p) fill_plane(image.data[static_cast<std::size_t>(p)], 0);
    const std::int64_t most = static_cast<std::int64_t>(header.width) * header.height * 6 * 2 + 65536;
    const file_bytes bytes(file, header.data, most);
    byte_cursor codes = bytes.cursor();
    for (int y = 0; y < header.height; ++y) {
      for (const packet& packet : header.packets) read_packet(codes, packet, row_writer(image, packet, y), path);
    }
  }

  picture_header read_header(const std::string& path, const layer&) const override {
    const pic_header header = read_pic_header(source_file(path));
    return {header.width, header.height, header.has_alpha, {layer()}};
  }

  void write(const image&, const std::string& path, const save_options&) const override {
    throw io::exception(path, "Not implemented");
  }
};

}  // namespace

const format& pic_format() {
  static const pic instance;
  return instance;
}

}  // namespace img
