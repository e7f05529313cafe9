#include "img/formats/tiff/write.h"

#include <libdeflate.h>

#include <algorithm>
#include <new>
#include <vector>

#include "img/formats/shared/packbits.h"
#include "img/formats/shared/parallel_tasks.h"
#include "img/formats/tiff/lzw.h"
#include "img/formats/tiff/picture.h"
#include "io/exceptions.h"
#include "io/file.h"

namespace img {
namespace {

constexpr std::size_t strip_bytes = 256 << 10;

int coding_of(int compression) {
  switch (compression) {
    case 2:
      return tiff_packbits;
    case 3:
      return tiff_deflate;
    case 5:
      return tiff_lzw;
    default:
      return tiff_none;
  }
}

bool has_predictor(int coding, const tiff_content& content) {
  return (coding == tiff_lzw || coding == tiff_deflate) && content.bits <= 16;
}

template <class Sample>
void take_differences(std::uint8_t* row, std::size_t samples, std::size_t stride) {
  auto* at = reinterpret_cast<Sample*>(row);
  for (std::size_t i = samples; i-- > stride;) at[i] = static_cast<Sample>(at[i] - at[i - stride]);
}

struct strip_worker {
  plane raw;
  plane packed;
  libdeflate_compressor* compressor = nullptr;
  strip_worker() = default;
  strip_worker(const strip_worker&) = delete;
  ~strip_worker() { libdeflate_free_compressor(compressor); }
};

// The bytes of one strip as the file holds them.
std::vector<std::uint8_t> make_strip(const tiff_content& content, int coding, int first, int rows, strip_worker& own) {
  const std::size_t row_bytes = content.row_bytes();
  const std::size_t size = row_bytes * static_cast<std::size_t>(rows);
  if (own.raw.size() < size) own.raw = plane(size);
  const auto stride = static_cast<std::size_t>(content.samples);
  for (int y = 0; y < rows; ++y) {
    std::uint8_t* row = own.raw.data() + static_cast<std::size_t>(y) * row_bytes;
    content.row(first + y, row);
    if (!has_predictor(coding, content)) continue;
    const std::size_t samples = static_cast<std::size_t>(content.width) * stride;
    if (content.bits == 8) {
      take_differences<std::uint8_t>(row, samples, stride);
    } else {
      take_differences<std::uint16_t>(row, samples, stride);
    }
  }
  if (coding == tiff_none) return {own.raw.data(), own.raw.data() + size};
  std::size_t count = 0;
  if (coding == tiff_lzw) {
    if (own.packed.empty()) own.packed = plane(packed_lzw_room(size));
    count = pack_lzw(own.packed.data(), own.raw.data(), size);
  } else if (coding == tiff_packbits) {
    // Packets end with their row.
    if (own.packed.empty()) own.packed = plane(packed_packbits_room(row_bytes) * static_cast<std::size_t>(rows));
    for (int y = 0; y < rows; ++y) {
      count +=
          pack_packbits(own.packed.data() + count, own.raw.data() + static_cast<std::size_t>(y) * row_bytes, row_bytes);
    }
  } else {
    if (!own.compressor) own.compressor = libdeflate_alloc_compressor(6);
    if (!own.compressor) throw std::bad_alloc();
    if (own.packed.empty()) own.packed = plane(libdeflate_zlib_compress_bound(own.compressor, size));
    count = libdeflate_zlib_compress(own.compressor, own.raw.data(), size, own.packed.data(), own.packed.size());
  }
  return {own.packed.data(), own.packed.data() + count};
}

// Header and directory, with the lists after it. Everything is little-endian.
class directory {
 public:
  void add(int tag, std::vector<std::uint32_t> values, bool wide = false) {
    fields_.push_back({tag, wide ? 4 : 3, std::move(values)});
  }
  void add_ratio(int tag, std::uint32_t value) { fields_.push_back({tag, 5, {value, 1}}); }

  std::vector<std::uint8_t> bytes() const {
    std::vector<std::uint8_t> out{'I', 'I', 42, 0, 8, 0, 0, 0};
    put(out, fields_.size(), 2);
    std::vector<std::uint8_t> lists;
    const std::size_t lists_at = out.size() + 12 * fields_.size() + 4;
    for (const field& f : fields_) {
      const std::size_t size = f.type == 3 ? 2 : 4;
      put(out, static_cast<std::size_t>(f.tag), 2);
      put(out, static_cast<std::size_t>(f.type), 2);
      put(out, f.type == 5 ? 1 : f.values.size(), 4);
      std::vector<std::uint8_t> values;
      for (const std::uint32_t value : f.values) put(values, value, size);
      if (values.size() <= 4) {
        values.resize(4);
        out.insert(out.end(), values.begin(), values.end());
      } else {
        put(out, lists_at + lists.size(), 4);
        lists.insert(lists.end(), values.begin(), values.end());
      }
    }
    put(out, 0, 4);
    out.insert(out.end(), lists.begin(), lists.end());
    return out;
  }

 private:
  struct field {
    int tag;
    int type;  // 3 words, 4 long words, 5 one fraction
    std::vector<std::uint32_t> values;
  };
  static void put(std::vector<std::uint8_t>& out, std::size_t value, std::size_t bytes) {
    for (std::size_t i = 0; i < bytes; ++i) out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  }
  std::vector<field> fields_;
};

directory make_directory(const tiff_content& content, int coding, int rows, const std::vector<std::uint32_t>& offsets,
                         const std::vector<std::uint32_t>& sizes) {
  const auto samples = static_cast<std::size_t>(content.samples);
  directory result;
  result.add(256, {static_cast<std::uint32_t>(content.width)}, true);
  result.add(257, {static_cast<std::uint32_t>(content.height)}, true);
  result.add(258, std::vector<std::uint32_t>(samples, static_cast<std::uint32_t>(content.bits)));
  result.add(259, {static_cast<std::uint32_t>(coding)});
  result.add(262, {static_cast<std::uint32_t>(samples >= 3 ? tiff_rgb : tiff_black_is_zero)});
  result.add(273, offsets, true);
  result.add(274, {1});
  result.add(277, {static_cast<std::uint32_t>(samples)});
  result.add(278, {static_cast<std::uint32_t>(rows)}, true);
  result.add(279, sizes, true);
  result.add_ratio(282, 72);
  result.add_ratio(283, 72);
  result.add(284, {1});
  result.add(296, {2});
  if (has_predictor(coding, content)) result.add(317, {2});
  // Whether the colours are multiplied by alpha is the user's to know.
  if (samples == 2 || samples == 4) result.add(338, {0});
  if (content.bits == 32) result.add(339, std::vector<std::uint32_t>(samples, 3));
  return result;
}

}  // namespace

void write_tiff(const tiff_content& content, const std::string& path, int compression) {
  const int coding = coding_of(compression);
  const int rows = static_cast<int>(
      std::clamp<std::size_t>(strip_bytes / content.row_bytes(), 1, static_cast<std::size_t>(content.height)));
  const int strips = (content.height + rows - 1) / rows;
  const auto check_end = [&](std::uint64_t end) {
    if (end > 0xF0000000U) {
      throw io::invalid_format(path, "The picture is larger than the 4 GiB that the format takes");
    }
  };
  check_end(static_cast<std::uint64_t>(content.row_bytes()) * static_cast<std::uint64_t>(content.height));
  io::llfile file(path, true);
  std::vector<std::uint32_t> offsets(static_cast<std::size_t>(strips)), sizes(static_cast<std::size_t>(strips));
  // The directory comes first and has the same size whatever the numbers in it.
  const std::vector<std::uint8_t> reserved = make_directory(content, coding, rows, offsets, sizes).bytes();
  file.write(reserved.data(), static_cast<int>(reserved.size()));
  std::uint64_t position = reserved.size();
  // So many strips are made at once and then written in order.
  const int most = 8 * lib::thread_count();
  for (int begin = 0; begin < strips; begin += most) {
    std::vector<std::vector<std::uint8_t>> made(static_cast<std::size_t>(std::min(most, strips - begin)));
    parallel_tasks<strip_worker>(static_cast<int>(made.size()), lib::thread_count(), [&](int i, strip_worker& own) {
      const int first = (begin + i) * rows;
      made[static_cast<std::size_t>(i)] =
          make_strip(content, coding, first, std::min(rows, content.height - first), own);
    });
    for (std::size_t i = 0; i < made.size(); ++i) {
      // A coding may make more of a strip than it was.
      check_end(position + made[i].size());
      offsets[static_cast<std::size_t>(begin) + i] = static_cast<std::uint32_t>(position);
      sizes[static_cast<std::size_t>(begin) + i] = static_cast<std::uint32_t>(made[i].size());
      file.write(made[i].data(), static_cast<int>(made[i].size()));
      position += made[i].size();
    }
  }
  const std::vector<std::uint8_t> header = make_directory(content, coding, rows, offsets, sizes).bytes();
  file.seek(0, SEEK_SET);
  file.write(header.data(), static_cast<int>(header.size()));
}

}  // namespace img
