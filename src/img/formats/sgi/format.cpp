// The SGI image file format 1.0: one plane after another, bottom row first, plain or run-length packed.
#include "img/format.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "img/formats/shared/byte_cursor.h"
#include "img/formats/shared/deep_export.h"
#include "img/formats/shared/deep_samples.h"
#include "img/formats/shared/parallel_tasks.h"
#include "img/formats/shared/refuse.h"
#include "io/exceptions.h"
#include "io/file.h"

namespace img {
namespace {

constexpr int header_size = 512;
constexpr int magic = 474;

struct sgi_header {
  int width = 0;
  int height = 0;
  int channels = 0;
  int bytes = 1;  // of a sample
  bool packed = false;

  bool has_alpha() const { return channels == 2 || channels == 4; }
  int rows() const { return height * channels; }
  std::size_t row_bytes() const { return static_cast<std::size_t>(width) * static_cast<std::size_t>(bytes); }
};

sgi_header read_sgi_header(const source_file& file) {
  std::uint8_t bytes[header_size];
  file.read(bytes, header_size, 0);
  const std::string& path = file.path();
  if (be16(bytes) != magic) throw io::invalid_signature(path);
  sgi_header header;
  if (bytes[2] > 1) refuse(path, "Invalid storage type", bytes[2], "0 and 1 are read");
  header.packed = bytes[2] == 1;
  header.bytes = bytes[3];
  if (header.bytes != 1 && header.bytes != 2) {
    refuse(path, "Invalid/unsupported bit depth", std::to_string(header.bytes) + " bytes a sample", "1 and 2 are read");
  }
  const int dimensions = be16(bytes + 4);
  if (dimensions < 1 || dimensions > 3) {
    refuse(path, "Unsupported number of dimensions", dimensions, "1, 2 and 3 are read");
  }
  header.width = be16(bytes + 6);
  header.height = dimensions > 1 ? be16(bytes + 8) : 1;
  header.channels = dimensions > 2 ? be16(bytes + 10) : 1;
  // A picture of dithered colours or of a map is none of its own.
  const std::uint32_t map = be32(bytes + 104);
  if (header.channels < 1 || header.channels > 4 || map != 0) {
    refuse(path, "Unsupported number of channels",
           std::to_string(header.channels) + " with colour map type " + std::to_string(map),
           "1 to 4 with type 0 are read");
  }
  check_dimensions(path, header.width, header.height);
  const std::int64_t samples = static_cast<std::int64_t>(header.width) * header.rows();
  if (header.packed) {
    file.check_range(header_size, std::int64_t{8} * header.rows());
    // A code gives at most 127 samples, and rows may share theirs.
    check_size(path, header.width, header.height, 1, file.size() - header_size, 127 * header.height);
  } else {
    file.check_range(header_size, samples * header.bytes);
  }
  return header;
}

// Codes of one sample each: the low 7 bits count, 0 ends the row, bit 7 tells samples as they stand from one repeated.
void unpack_row(byte_cursor codes, int bytes, std::uint8_t* out, std::size_t width) {
  std::size_t left = width;
  const auto size = static_cast<std::size_t>(bytes);
  while (left > 0) {
    const unsigned code = codes.take(size)[size - 1];
    const std::size_t count = std::min<std::size_t>(code & 127, left);
    if (count == 0) break;
    if ((code & 128) != 0) {
      std::memcpy(out, codes.take(count * size), count * size);
    } else if (bytes == 1) {
      std::memset(out, codes.u8(), count);
    } else {
      const std::uint8_t* sample = codes.take(2);
      for (std::size_t i = 0; i < count; ++i) std::memcpy(out + 2 * i, sample, 2);
    }
    out += count * size;
    left -= count;
  }
  std::memset(out, 0, left * size);
}

// Where the rows of a packed file lie.
struct row_table {
  std::vector<std::uint32_t> starts, lengths;
};

row_table read_row_table(const source_file& file, const sgi_header& header) {
  const auto count = static_cast<std::size_t>(header.rows());
  std::vector<std::uint8_t> bytes(8 * count);
  file.read(bytes.data(), bytes.size(), header_size);
  row_table table{std::vector<std::uint32_t>(count), std::vector<std::uint32_t>(count)};
  for (std::size_t i = 0; i < count; ++i) {
    table.starts[i] = be32(bytes.data() + 4 * i);
    table.lengths[i] = be32(bytes.data() + 4 * (count + i));
  }
  return table;
}

void put_sgi_row(image& image, const sgi_header& header, int channel, int y, const std::uint8_t* row) {
  const bool gray = header.channels < 3;
  const bool alpha = header.has_alpha() && channel == header.channels - 1;
  const int plane = alpha ? 3 : gray ? 0 : 2 - channel;
  sample_form form;
  form.bits = 8 * header.bytes;
  form.swapped = true;
  const auto width = static_cast<std::size_t>(header.width);
  put_samples(image, plane, 0, y, width, row, static_cast<std::size_t>(header.bytes), form);
  if (!gray || alpha) return;
  for (int p = 1; p < 3; ++p) {
    if (header.bytes == 1) {
      std::memcpy(image.row(p, y), image.row(0, y), width);
    } else {
      std::memcpy(image.row<std::uint16_t>(p, y), image.row<std::uint16_t>(0, y), 2 * width);
    }
  }
}

void read_rows(const source_file& file, const sgi_header& header, image& image) {
  const row_table table = header.packed ? read_row_table(file, header) : row_table();
  const std::size_t row_bytes = header.row_bytes();
  const std::size_t most_packed = 2 * row_bytes + 16;
  const int rows_at_once = std::clamp(static_cast<int>((128 << 10) / row_bytes), 1, header.rows());
  const int tasks = (header.rows() + rows_at_once - 1) / rows_at_once;
  struct worker {
    std::vector<std::uint8_t> stored, row;
  };
  const bool small = static_cast<long long>(header.width) * header.rows() < 65536;
  parallel_tasks<worker>(tasks, small ? 1 : lib::thread_count(), [&](int task, worker& own) {
    const int first = task * rows_at_once;
    const int last = std::min(first + rows_at_once, header.rows());
    own.row.resize(row_bytes);
    std::int64_t begin = header_size + static_cast<std::int64_t>(first) * static_cast<std::int64_t>(row_bytes);
    std::int64_t end = begin + static_cast<std::int64_t>(last - first) * static_cast<std::int64_t>(row_bytes);
    bool together = true;
    if (header.packed) {
      begin = file.size();
      end = 0;
      for (int i = first; i < last; ++i) {
        const auto at = static_cast<std::size_t>(i);
        const std::int64_t start = table.starts[at];
        begin = std::min(begin, start);
        end = std::max(end, start + std::min<std::int64_t>(table.lengths[at], static_cast<std::int64_t>(most_packed)));
      }
      together = end - begin <= static_cast<std::int64_t>(most_packed) * rows_at_once;
    }
    if (together) {
      file.check_range(begin, end - begin);
      own.stored.resize(static_cast<std::size_t>(end - begin));
      file.read(own.stored.data(), own.stored.size(), begin);
    }
    for (int i = first; i < last; ++i) {
      const std::uint8_t* row = own.stored.data() + static_cast<std::size_t>(i - first) * row_bytes;
      if (header.packed) {
        const auto at = static_cast<std::size_t>(i);
        const std::size_t length = std::min<std::size_t>(table.lengths[at], most_packed);
        std::int64_t offset = table.starts[at] - begin;
        if (!together) {
          file.check_range(table.starts[at], static_cast<std::int64_t>(length));
          own.stored.resize(length);
          file.read(own.stored.data(), length, table.starts[at]);
          offset = 0;
        }
        const std::uint8_t* codes = own.stored.data() + offset;
        unpack_row({codes, length, file.path()}, header.bytes, own.row.data(), static_cast<std::size_t>(header.width));
        row = own.row.data();
      }
      put_sgi_row(image, header, i / header.height, header.height - 1 - i % header.height, row);
    }
  });
}

// Packs one row of samples of one or two bytes, most significant first.
template <class Sample>
void pack_row(std::vector<std::uint8_t>& out, const Sample* row, std::size_t width) {
  const auto put = [&](unsigned value) {
    if constexpr (sizeof(Sample) == 2) out.push_back(static_cast<std::uint8_t>(value >> 8));
    out.push_back(static_cast<std::uint8_t>(value));
  };
  for (std::size_t x = 0; x < width;) {
    std::size_t run = 1;
    while (run < 127 && x + run < width && row[x + run] == row[x]) ++run;
    if (run >= 3) {
      put(static_cast<unsigned>(run));
      put(row[x]);
      x += run;
      continue;
    }
    std::size_t count = 1;
    while (count < 127 && x + count < width &&
           !(x + count + 2 < width && row[x + count] == row[x + count + 1] && row[x + count] == row[x + count + 2])) {
      ++count;
    }
    put(static_cast<unsigned>(count) | 128);
    for (std::size_t i = 0; i < count; ++i) put(row[x + i]);
    x += count;
  }
  put(0);
}

// 8 or 16 bits as the planes have.
template <class Planes>
void write_sgi(const Planes& planes, const std::string& path, const save_options& options) {
  using sample = std::remove_cv_t<std::remove_pointer_t<decltype(planes.row(0, 0))>>;
  const int width = planes.width, height = planes.height, channels = planes.count;
  const bool packed = options.compression != 1;
  std::vector<std::uint8_t> header(header_size);
  const auto put16 = [&](int at, int value) {
    header[static_cast<std::size_t>(at)] = static_cast<std::uint8_t>(value >> 8);
    header[static_cast<std::size_t>(at) + 1] = static_cast<std::uint8_t>(value);
  };
  put16(0, magic);
  header[2] = packed;
  header[3] = sizeof(sample);
  put16(4, channels == 1 ? 2 : 3);
  put16(6, width);
  put16(8, height);
  put16(10, channels);
  put16(18, sizeof(sample) == 1 ? 255 : 0);  // the largest value, a long word at 16
  if (sizeof(sample) == 2) put16(18, 65535);
  const auto rows = static_cast<std::size_t>(height) * static_cast<std::size_t>(channels);
  const auto columns = static_cast<std::size_t>(width);
  io::llfile file(path, true);
  std::vector<std::uint8_t> table(packed ? 8 * rows : 0), body;
  file.write(header.data(), header_size);
  if (packed) file.write(table.data(), static_cast<int>(table.size()));
  std::uint64_t position = header_size + table.size();
  for (std::size_t i = 0; i < rows; ++i) {
    const int channel = static_cast<int>(i) / height;
    const sample* from = planes.row(plane_red_first(channels, channel), height - 1 - static_cast<int>(i) % height);
    const std::size_t before = body.size();
    if (packed) {
      pack_row(body, from, columns);
      const std::uint64_t numbers[] = {position, body.size() - before};
      for (std::size_t n = 0; n < 2; ++n) {
        for (std::size_t b = 0; b < 4; ++b) {
          table[4 * (n * rows + i) + b] = static_cast<std::uint8_t>(numbers[n] >> (24 - 8 * b));
        }
      }
    } else {
      for (std::size_t x = 0; x < columns; ++x) {
        if constexpr (sizeof(sample) == 2) body.push_back(static_cast<std::uint8_t>(from[x] >> 8));
        body.push_back(static_cast<std::uint8_t>(from[x]));
      }
    }
    position += body.size() - before;
    if (body.size() > 256 << 10 || i + 1 == rows) {
      file.write(body.data(), static_cast<int>(body.size()));
      body.clear();
    }
  }
  if (position > 0xFFFFFFFFU)
    throw io::invalid_format(path, "The picture is larger than the 4 GiB that the format takes");
  if (packed) {
    file.seek(header_size, SEEK_SET);
    file.write(table.data(), static_cast<int>(table.size()));
  }
}

class sgi : public deep_format {
 public:
  const char* name() const override { return "sgi"; }

  void read(image& image, const std::string& path, const layer&) const override {
    const source_file file(path);
    const sgi_header header = read_sgi_header(file);
    image.reset(header.has_alpha() ? "BGRA" : "BGR", 8 * header.bytes, header.width, header.height);
    image.set_path(path);
    image.set_centre_anchor();
    read_rows(file, header, image);
  }

  picture_header read_header(const std::string& path, const layer&) const override {
    const sgi_header header = read_sgi_header(source_file(path));
    return {header.width, header.height, header.has_alpha(), {layer()}};
  }

 private:
  void write_bytes(const export_planes& planes, const std::string& path, const save_options& options) const override {
    write_sgi(planes, path, options);
  }
  void write_words(const deep_planes& planes, const std::string& path, const save_options& options) const override {
    write_sgi(planes, path, options);
  }
};

}  // namespace

const format& sgi_format() {
  static const sgi instance;
  return instance;
}

}  // namespace img
