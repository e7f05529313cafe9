// Pixels of files without compression and of those that are decoded here: run-length, ZIPS, ZIP and
// PXR24. Chunks are decoded on all threads straight into the planes. Their layout: "OpenEXR File Layout", openexr.com.
#include <libdeflate.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "img/formats/exr/codecs.h"
#include "img/formats/exr/decode.h"
#include "img/formats/exr/rows.h"
#include "img/formats/shared/parallel_tasks.h"
#include "img/fresh_rows.h"
#include "io/exceptions.h"

namespace img {
namespace {

// Waking the other threads costs as much as decoding a few thousand pixels.
constexpr long long fewest_parallel_pixels = 8192;

// Memory that grows and is never cleared.
class scratch {
 public:
  std::uint8_t* get(std::size_t size) {
    if (size > size_) {
      bytes_ = std::make_unique_for_overwrite<std::uint8_t[]>(size);
      size_ = size;
    }
    return bytes_.get();
  }

 private:
  std::unique_ptr<std::uint8_t[]> bytes_;
  std::size_t size_ = 0;
};

// Samples of a channel from `first` to `last` of the picture, when it keeps every `step`-th.
long long sample_count(int step, long long first, long long last) {
  if (step == 1) return last < first ? 0 : last - first + 1;  // of nearly every channel, and without a division
  const auto floor_of = [&](long long v) { return v >= 0 ? v / step : -((-v + step - 1) / step); };
  return floor_of(last) - floor_of(first - 1);
}

struct channel_layout {
  int x_step = 1;
  int y_step = 1;
  int bytes = 2;  // of a sample
  exr_pixel_type_t type = EXR_PIXEL_HALF;
  int plane = -1;  // where it goes, -1 for nowhere
};

// The part of the data window that a chunk holds.
struct chunk_area {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
};

// The bytes of a chunk's rows, channel by channel in each row. `split` bytes are as the differences leave them: those
// at even places first, then those at odd places.
struct chunk_bytes {
  const std::uint8_t* data = nullptr;
  std::size_t size = 0;
  int first_line = 0;  // where they begin, and not at the chunk's own top if what lies above was left out
  bool split = false;
};

class chunk_reader {
 public:
  chunk_reader(const exr_file& file, const std::vector<exr_channel_use>& uses, image& image, const exr_overlap& area)
      : file_(file), image_(image), fresh_(image), overlap_(area) {
    const exr_attr_chlist_t& list = file.channels();
    for (int i = 0; i < list.num_channels; ++i) {
      const exr_attr_chlist_entry_t& channel = list.entries[i];
      channel_layout layout{channel.x_sampling, channel.y_sampling, channel.pixel_type == EXR_PIXEL_HALF ? 2 : 4,
                            channel.pixel_type, -1};
      for (const exr_channel_use& use : uses) {
        if (use.channel == i) layout.plane = use.plane;
      }
      channels_.push_back(layout);
    }
  }

  void read_all() {
    if (file_.is_tiled()) {
      read_tiles();
    } else {
      read_lines();
    }
  }

 private:
  struct worker {
    scratch packed, inflated, unpacked, row;
    std::vector<exr_row> rows;  // of PXR24, those at hand
    std::unique_ptr<libdeflate_decompressor, void (*)(libdeflate_decompressor*)> inflater{
        libdeflate_alloc_decompressor(), libdeflate_free_decompressor};
  };

  void read_lines() {
    std::int32_t lines = 1;
    file_.check(exr_get_scanlines_per_chunk(file_.context(), file_.part(), &lines));
    const exr_attr_box2i_t& data = file_.data_window();
    const int first = (overlap_.top - data.min.y) / lines;
    const int last = (overlap_.bottom - 1 - data.min.y) / lines;
    parallel_tasks<worker>(last - first + 1, threads(), [&](int i, worker& own) {
      chunk_area area;
      area.x = data.min.x;
      area.y = data.min.y + (first + i) * lines;
      area.width = data.max.x - data.min.x + 1;
      area.height = std::min(lines, data.max.y - area.y + 1);
      exr_chunk_info_t info{};
      file_.check(exr_read_scanline_chunk_info(file_.context(), file_.part(), area.y, &info));
      read_chunk(info, area, own);
    });
  }

  void read_tiles() {
    std::int32_t width = 1;
    std::int32_t height = 1;
    file_.check(exr_get_tile_sizes(file_.context(), file_.part(), 0, 0, &width, &height));
    const exr_attr_box2i_t& data = file_.data_window();
    const int left = (overlap_.left - data.min.x) / width;
    const int across = (overlap_.right - 1 - data.min.x) / width - left + 1;
    const int top = (overlap_.top - data.min.y) / height;
    const int down = (overlap_.bottom - 1 - data.min.y) / height - top + 1;
    parallel_tasks<worker>(across * down, threads(), [&](int i, worker& own) {
      const int column = left + i % across;
      const int row = top + i / across;
      chunk_area area;
      area.x = data.min.x + column * width;
      area.y = data.min.y + row * height;
      area.width = std::min(width, data.max.x - area.x + 1);
      area.height = std::min(height, data.max.y - area.y + 1);
      exr_chunk_info_t info{};
      file_.check(exr_read_tile_chunk_info(file_.context(), file_.part(), column, row, 0, 0, &info));
      read_chunk(info, area, own);
    });
  }

  int threads() const {
    const long long pixels = static_cast<long long>(overlap_.right - overlap_.left) * (overlap_.bottom - overlap_.top);
    return pixels < fewest_parallel_pixels ? 1 : lib::thread_count();
  }

  // The lines of a chunk that are part of the picture.
  int top_of(const chunk_area& area) const { return std::max(area.y, overlap_.top); }
  int bottom_of(const chunk_area& area) const { return std::min(area.y + area.height, overlap_.bottom); }

  std::size_t samples_in_row(const channel_layout& c, const chunk_area& area) const {
    return static_cast<std::size_t>(sample_count(c.x_step, area.x, area.x + area.width - 1LL));
  }

  // Bytes of the rows of a chunk from the line `first` on, before the line `end`, where a sample of a channel has
  // `bytes_of(channel)`.
  template <typename Bytes>
  std::size_t bytes_between(const chunk_area& area, int first, int end, Bytes bytes_of) const {
    if (first >= end) return 0;
    std::size_t bytes = 0;
    for (const channel_layout& c : channels_) {
      const auto rows = static_cast<std::size_t>(sample_count(c.y_step, first, end - 1LL));
      bytes += rows * samples_in_row(c, area) * static_cast<std::size_t>(bytes_of(c));
    }
    return bytes;
  }
  std::size_t bytes_between(const chunk_area& area, int first, int end) const {
    return bytes_between(area, first, end, [](const channel_layout& c) { return c.bytes; });
  }
  // The same of PXR24 before its rows are unpacked.
  std::size_t pxr24_bytes_between(const chunk_area& area, int first, int end) const {
    return bytes_between(area, first, end, [](const channel_layout& c) { return pxr24_sample_bytes(c.type); });
  }

  // Lists the rows of a chunk from the line `first` on, before the line `end`. `at`: where the first of them begins.
  void list_rows(const chunk_area& area, int first, int end, std::size_t at, std::vector<exr_row>& rows) const {
    rows.clear();
    for (int y = first; y < end; ++y) {
      for (std::size_t i = 0; i < channels_.size(); ++i) {
        const channel_layout& c = channels_[i];
        if (y % c.y_step != 0) continue;
        const std::size_t samples = samples_in_row(c, area);
        rows.push_back({static_cast<int>(i), y, c.type, at, samples});
        at += samples * static_cast<std::size_t>(c.bytes);
      }
    }
  }

  void read_chunk(const exr_chunk_info_t& info, const chunk_area& area, worker& own) {
    chunk_bytes chunk;
    chunk.size = bytes_between(area, area.y, area.y + area.height);
    const std::size_t packed_size = info.packed_size;
    // Data that the coding would not make smaller is stored as it is.
    const bool stored = packed_size == chunk.size;
    if (!stored && file_.compression() == EXR_COMPRESSION_NONE) bad_chunk(area);
    if (packed_size > chunk.size || chunk.size / static_cast<std::size_t>(file_.expansion()) > packed_size) {
      bad_chunk(area);
    }
    file_.source().check_range(static_cast<std::int64_t>(info.data_offset), static_cast<std::int64_t>(packed_size));
    std::uint8_t* packed = own.packed.get(packed_size);
    file_.source().read(packed, packed_size, static_cast<std::int64_t>(info.data_offset));
    chunk.data = packed;
    chunk.first_line = area.y;
    if (!stored) unpack(chunk, packed_size, area, own);
    scatter(chunk, area, own);
  }

  void unpack(chunk_bytes& chunk, std::size_t packed_size, const chunk_area& area, worker& own) {
    if (file_.compression() == EXR_COMPRESSION_PXR24) {
      unpack_pxr24_chunk(chunk, packed_size, area, own);
      return;
    }
    std::uint8_t* out = own.unpacked.get(chunk.size);
    const bool whole = file_.compression() == EXR_COMPRESSION_RLE
                           ? expand_exr_runs(chunk.data, packed_size, out, chunk.size)
                           : inflate(own, chunk.data, packed_size, out, chunk.size);
    if (!whole) bad_chunk(area);
    active_exr_kernels().undo_differences(out, chunk.size);
    chunk.data = out;
    chunk.split = true;
  }

  // Only the lines of the picture, a few at a time: a tile may be far higher than that.
  void unpack_pxr24_chunk(chunk_bytes& chunk, std::size_t packed_size, const chunk_area& area, worker& own) {
    const std::size_t size = pxr24_bytes_between(area, area.y, area.y + area.height);
    std::uint8_t* inflated = own.inflated.get(size);
    if (!inflate(own, chunk.data, packed_size, inflated, size)) bad_chunk(area);
    const int top = top_of(area);
    const int bottom = bottom_of(area);
    chunk.size = bytes_between(area, top, bottom);
    chunk.first_line = top;
    std::uint8_t* out = own.unpacked.get(chunk.size);
    chunk.data = out;
    const std::uint8_t* in = inflated + pxr24_bytes_between(area, area.y, top);
    constexpr int lines_at_once = 256;
    std::size_t at = 0;
    for (int y = top; y < bottom;) {
      const int end = std::min(bottom - y, lines_at_once) + y;
      list_rows(area, y, end, at, own.rows);
      in = unpack_pxr24(in, out, own.rows);
      at += bytes_between(area, y, end);
      y = end;
    }
  }

  [[noreturn]] void bad_chunk(const chunk_area& area) const {
    throw io::invalid_format(file_.path(), "Invalid chunk data at line " + std::to_string(area.y));
  }

  static bool inflate(worker& own, const std::uint8_t* in, std::size_t in_size, std::uint8_t* out, std::size_t size) {
    if (!own.inflater) throw std::bad_alloc();
    std::size_t got = 0;
    return libdeflate_zlib_decompress(own.inflater.get(), in, in_size, out, size, &got) == LIBDEFLATE_SUCCESS &&
           got == size;
  }

  // `count` samples of 16 bits from an even place on.
  static void copy16(std::uint16_t* out, const chunk_bytes& chunk, std::size_t at, std::size_t count) {
    if (chunk.split) {
      active_exr_kernels().join_bytes(out, chunk.data + at / 2, chunk.data + chunk.size / 2 + at / 2, count);
    } else {
      std::memcpy(out, chunk.data + at, count * 2);
    }
  }

  void scatter(const chunk_bytes& chunk, const chunk_area& area, worker& own) {
    const exr_attr_v2i_t& origin = file_.display_window().min;
    const int left = std::max(area.x, overlap_.left);
    const int right = std::min(area.x + area.width, overlap_.right);
    const std::size_t count = static_cast<std::size_t>(right - left);
    const int top = top_of(area);
    const int bottom = bottom_of(area);
    fresh_.prepare(top - origin.y, bottom - origin.y);
    std::size_t at = bytes_between(area, chunk.first_line, top);
    for (int y = top; y < bottom; ++y) {
      for (const channel_layout& c : channels_) {
        if (c.y_step != 1 && y % c.y_step != 0) continue;
        const std::size_t from = at + static_cast<std::size_t>(left - area.x) * static_cast<std::size_t>(c.bytes);
        at += samples_in_row(c, area) * static_cast<std::size_t>(c.bytes);
        if (c.plane < 0) continue;
        std::uint16_t* out = image_.row<std::uint16_t>(c.plane, y - origin.y) + (left - origin.x);
        if (c.type == EXR_PIXEL_HALF) {
          copy16(out, chunk, from, count);
        } else {
          auto* wide = reinterpret_cast<std::uint32_t*>(own.row.get(count * 4));
          copy16(reinterpret_cast<std::uint16_t*>(wide), chunk, from, count * 2);
          to_halves(out, wide, count, c.type);
        }
      }
    }
  }

  static void to_halves(std::uint16_t* out, std::uint32_t* samples, std::size_t count, exr_pixel_type_t type) {
    if (type == EXR_PIXEL_UINT) {
      for (std::size_t i = 0; i < count; ++i) {
        const float value = static_cast<float>(samples[i]);
        std::memcpy(&samples[i], &value, 4);
      }
    }
    active_exr_kernels().floats_to_halves(out, samples, count);
  }

  const exr_file& file_;
  image& image_;
  const fresh_rows fresh_;
  const exr_overlap overlap_;
  std::vector<channel_layout> channels_;
};

}  // namespace

bool read_chunks(const exr_file& file, const std::vector<exr_channel_use>& uses, image& image,
                 const exr_overlap& area) {
  switch (file.compression()) {
    case EXR_COMPRESSION_NONE:
    case EXR_COMPRESSION_RLE:
    case EXR_COMPRESSION_ZIPS:
    case EXR_COMPRESSION_ZIP:
    case EXR_COMPRESSION_PXR24:
      break;
    default:
      return false;
  }
  chunk_reader(file, uses, image, area).read_all();
  return true;
}

}  // namespace img
