// Radiance pictures (Greg Ward, "Real Pixels" and the Radiance file formats): mantissas of red, green and blue with one
// common exponent, plain, or run-length packed in the old or the new way.
#include "img/format.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <span>
#include <vector>

#include "img/formats/exr/rows.h"
#include "img/formats/shared/byte_cursor.h"
#include "img/formats/shared/metadata_text.h"
#include "img/formats/shared/orientation.h"
#include "img/formats/shared/parallel_tasks.h"
#include "img/formats/shared/refuse.h"
#include "io/exceptions.h"
#include "lib/from_string.h"
#include "lib/printable.h"

namespace img {
namespace {

constexpr std::int64_t most_header = 1 << 20;

struct hdr_header {
  int columns = 0;  // pixels of a stored row
  int rows = 0;
  int orientation = 1;  // as Exif numbers it
  bool xyz = false;     // CIE XYZ in place of red, green and blue
  std::int64_t data = 0;
  std::map<std::string, std::string> metadata;

  int width() const { return swaps_sides(orientation) ? rows : columns; }
  int height() const { return swaps_sides(orientation) ? columns : rows; }
};

std::string next_line(byte_cursor& text, const std::string& path) {
  std::string line;
  for (;;) {
    if (text.left() == 0) throw io::invalid_format(path, "Invalid or corrupt file data");
    const char c = static_cast<char>(text.u8());
    if (c == '\n') return line;
    if (c != '\r') line += c;
  }
}

// Takes as many numbers off the front of a text as there are factors; false when one is missing.
bool parse_factors(std::string_view text, std::span<double> factors) {
  for (double& factor : factors) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t+"), text.size()));
    const std::size_t length = std::min(text.find_first_of(" \t"), text.size());
    if (!lib::parse_value(text.substr(0, length), factor)) return false;
    text.remove_prefix(length);
  }
  return true;
}

// "-Y 480 +X 640" is the upright picture. The first axis counts rows: down for -Y, to the right for +X.
void parse_resolution(const std::string& line, const std::string& path, hdr_header& header) {
  char signs[2], axes[2];
  int counts[2];
  if (std::sscanf(line.c_str(), "%c%c %d %c%c %d", &signs[0], &axes[0], &counts[0], &signs[1], &axes[1], &counts[1]) !=
      6) {
    refuse(path, "Invalid/unsupported orientation", lib::printable(line), "a line as -Y 480 +X 640 is read");
  }
  static constexpr struct {
    const char* text;
    int orientation;
  } kinds[] = {{"-Y+X", 1}, {"-Y-X", 2}, {"+Y-X", 3}, {"+Y+X", 4}, {"+X-Y", 5}, {"-X-Y", 6}, {"-X+Y", 7}, {"+X+Y", 8}};
  const std::string text{signs[0], axes[0], signs[1], axes[1]};
  const auto* kind = std::find_if(std::begin(kinds), std::end(kinds), [&](const auto& k) { return text == k.text; });
  if (kind == std::end(kinds)) {
    refuse(path, "Invalid/unsupported orientation", lib::printable(line), "one axis is X and the other Y");
  }
  header.orientation = kind->orientation;
  header.rows = counts[0];
  header.columns = counts[1];
  if (header.rows < 1 || header.columns < 1 || header.rows > max_dimension || header.columns > max_dimension) {
    refuse(path, "Invalid/unsupported dimensions", std::to_string(header.columns) + " x " + std::to_string(header.rows),
           "1 to " + std::to_string(max_dimension) + " are read");
  }
}

hdr_header read_hdr_header(const source_file& file) {
  const std::string& path = file.path();
  const file_bytes bytes(file, 0, most_header);
  byte_cursor text = bytes.cursor();
  if (text.peek(2) != "#?") throw io::invalid_signature(path);
  hdr_header header;
  // Both are cumulative. The pixels stay as their author exposed them; a lighting tool that wants radiances divides.
  double exposure = 1;
  std::array<double, 3> correction{1, 1, 1};
  next_line(text, path);
  for (std::string line = next_line(text, path); !line.empty(); line = next_line(text, path)) {
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos || line[0] == '\t' || line[0] == '#') continue;
    const std::string name = line.substr(0, equals);
    std::string value = line.substr(equals + 1);
    value.erase(0, value.find_first_not_of(' '));
    if (name == "FORMAT") {
      if (value != "32-bit_rle_rgbe" && value != "32-bit_rle_xyze") {
        throw io::invalid_format(path, "Invalid or corrupt file data");
      }
      header.xyz = value == "32-bit_rle_xyze";
    } else if (name == "EXPOSURE") {
      double factor;
      if (!parse_factors(value, {&factor, 1})) continue;
      exposure *= factor;
      header.metadata[name] = print("%g", exposure);
    } else if (name == "COLORCORR") {
      double factors[3];
      if (!parse_factors(value, factors)) continue;
      for (std::size_t i = 0; i < 3; ++i) correction[i] *= factors[i];
      header.metadata[name] = print("%g %g %g", correction[0], correction[1], correction[2]);
    } else {
      header.metadata[valid_utf8(name)] = valid_utf8(value);
    }
  }
  parse_resolution(next_line(text, path), path, header);
  header.data = static_cast<std::int64_t>(bytes.size() - text.left());
  // The new coding gives at most 127 bytes of one mantissa for two, the old one more than a row for each pixel and run.
  check_size(path, header.columns, header.rows, 1, file.size() - header.data, 1 << 16);
  return header;
}

// Four bytes a pixel: one run of each mantissa, then of the exponents.
void unpack_new(byte_cursor& codes, std::uint8_t* row, std::size_t columns, const std::string& path) {
  codes.take(4);
  for (std::size_t c = 0; c < 4; ++c) {
    for (std::size_t x = 0; x < columns;) {
      const unsigned code = codes.u8();
      const std::size_t count = code > 128 ? code - 128 : code;
      if (count == 0 || count > columns - x) throw io::invalid_format(path, "Invalid or corrupt file data");
      if (code > 128) {
        std::memset(row + c * columns + x, codes.u8(), count);
      } else {
        std::memcpy(row + c * columns + x, codes.take(count), count);
      }
      x += count;
    }
  }
}

// Pixels, of which 1 1 1 n repeats the one before n times, and 256 times as often after another repetition.
void unpack_old(byte_cursor& codes, std::uint8_t* row, std::size_t columns, const std::string& path) {
  int shift = 0;
  for (std::size_t x = 0; x < columns;) {
    const std::uint8_t* pixel = codes.take(4);
    std::size_t count = 1;
    std::size_t from = x;
    if (pixel[0] == 1 && pixel[1] == 1 && pixel[2] == 1) {
      if (shift > 16 || x == 0) throw io::invalid_format(path, "Invalid or corrupt file data");
      count = static_cast<std::size_t>(pixel[3]) << shift;
      shift += 8;
      if (count > columns - x) throw io::invalid_format(path, "Invalid or corrupt file data");
      from = x - 1;
    } else {
      shift = 0;
      for (std::size_t c = 0; c < 4; ++c) row[c * columns + x] = pixel[c];
    }
    for (std::size_t c = 0; c < 4; ++c) {
      if (from != x) std::memset(row + c * columns + x, row[c * columns + from], count);
    }
    x += count;
  }
}

// CIE XYZ to the linear light of sRGB's primaries (IEC 61966-2-1), equal energy white to D65 left to the matrix.
void xyz_to_rgb(float* r, float* g, float* b, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const float x = r[i], y = g[i], z = b[i];
    r[i] = 3.2404542F * x - 1.5371385F * y - 0.4985314F * z;
    g[i] = -0.9692660F * x + 1.8760108F * y + 0.0415560F * z;
    b[i] = 0.0556434F * x - 0.2040259F * y + 1.0572252F * z;
  }
}

// The value of a mantissa of one, for each exponent.
std::array<float, 256> make_scales() {
  std::array<float, 256> scales{};
  for (int i = 1; i < 256; ++i) scales[static_cast<std::size_t>(i)] = std::ldexp(1.0F, i - 136);
  return scales;
}

struct row_memory {
  std::vector<float> colors[3];
};

void put_hdr_row(image& image, int y, const std::uint8_t* row, bool xyz, row_memory& own) {
  static const std::array<float, 256> scales = make_scales();
  const auto columns = static_cast<std::size_t>(image.width);
  const std::uint8_t* exponents = row + 3 * columns;
  for (std::size_t c = 0; c < 3; ++c) {
    own.colors[c].resize(columns);
    for (std::size_t x = 0; x < columns; ++x) {
      own.colors[c][x] = static_cast<float>(row[c * columns + x]) * scales[exponents[x]];
    }
  }
  if (xyz) xyz_to_rgb(own.colors[0].data(), own.colors[1].data(), own.colors[2].data(), columns);
  for (std::size_t c = 0; c < 3; ++c) {
    active_exr_kernels().floats_to_halves(image.row<std::uint16_t>(static_cast<int>(2 - c), y),
                                          reinterpret_cast<const std::uint32_t*>(own.colors[c].data()), columns);
  }
}

// A row is packed in the new way when it begins with 2 2 and its own length.
bool is_new_row(const byte_cursor& codes, int columns) {
  const std::string_view start = codes.peek(4);
  if (columns < 8 || columns > 32767 || start.size() < 4 || start[0] != 2 || start[1] != 2) return false;
  return be16(start.data() + 2) == columns;
}

// One thread unpacks blocks of rows, since only the codes tell where a row ends; all of them turn blocks into halves.
void read_pixels(const source_file& file, const hdr_header& header, image& image) {
  const auto columns = static_cast<std::size_t>(header.columns);
  const std::int64_t most = static_cast<std::int64_t>(columns) * 4 * 2 * header.rows + 65536;
  const file_bytes bytes(file, header.data, most);
  byte_cursor codes = bytes.cursor();
  const int block = static_cast<int>(std::clamp<std::size_t>((512 << 10) / (4 * columns), 1, 1024));
  std::vector<std::uint8_t> rows(4 * columns * static_cast<std::size_t>(std::min(block, header.rows)));
  for (int first = 0; first < header.rows; first += block) {
    const int count = std::min(block, header.rows - first);
    for (int i = 0; i < count; ++i) {
      std::uint8_t* row = rows.data() + 4 * columns * static_cast<std::size_t>(i);
      if (is_new_row(codes, header.columns)) {
        unpack_new(codes, row, columns, file.path());
      } else {
        unpack_old(codes, row, columns, file.path());
      }
    }
    lib::parallel_rows(count, static_cast<long long>(count) * header.columns, [&](int begin, int end) {
      row_memory own;
      for (int i = begin; i < end; ++i) {
        put_hdr_row(image, first + i, rows.data() + 4 * columns * static_cast<std::size_t>(i), header.xyz, own);
      }
    });
  }
}

class hdr : public format {
 public:
  const char* name() const override { return "hdr"; }

  void read(image& image, const std::string& path, const layer&) const override {
    const source_file file(path);
    hdr_header header = read_hdr_header(file);
    image.reset("BGR", 16, header.columns, header.rows);
    image.set_path(path);
    image.set_centre_anchor();
    image.metadata = std::move(header.metadata);
    read_pixels(file, header, image);
    apply_orientation(image, header.orientation);
  }

  picture_header read_header(const std::string& path, const layer&) const override {
    const hdr_header header = read_hdr_header(source_file(path));
    return {header.width(), header.height(), false, {layer()}};
  }
};

}  // namespace

const format& hdr_format() {
  static const hdr instance;
  return instance;
}

}  // namespace img
