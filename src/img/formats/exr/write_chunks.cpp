#include "img/formats/exr/write_chunks.h"

#include <libdeflate.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

#include "img/formats/exr/codecs.h"
#include "img/formats/exr/rows.h"
#include "img/formats/shared/parallel_tasks.h"

namespace img {
namespace {

constexpr int zip_lines = 16;
constexpr std::uint32_t magic = 20000630;
constexpr std::uint32_t version = 2;
constexpr std::size_t chunk_header = 8;  // first line, bytes of data
// Chunks of single lines are packed and written some at a time. Fewer bytes cost too many calls, more gained nothing.
constexpr std::size_t group_bytes = 256 << 10;
// Files are 2 % smaller than with zlib's level 4, which the OpenEXR library takes, in two fifths of the time. Level 1
// takes three quarters of that for files 6 % larger, level 5 twice as long for 2 % less.
constexpr int deflate_level = 3;

void put32(std::uint8_t* at, std::uint32_t value) {
  std::memcpy(at, &value, 4);
}

// Lets tasks on several threads go through a door in the order of their numbers.
class turns {
 public:
  // False when a task has failed: there will be no turn.
  bool wait(int number) {
    std::unique_lock hold(lock_);
    changed_.wait(hold, [&] { return next_ == number || failed_; });
    return !failed_;
  }
  void done() {
    const std::lock_guard hold(lock_);
    ++next_;
    changed_.notify_all();
  }
  void fail() {
    const std::lock_guard hold(lock_);
    failed_ = true;
    changed_.notify_all();
  }

 private:
  std::mutex lock_;
  std::condition_variable changed_;
  int next_ = 0;
  bool failed_ = false;
};

class chunk_writer {
 public:
  chunk_writer(exr_output_stream& stream, const Imf::Header& header, std::span<const std::uint16_t* const> planes)
      : stream_(stream), compression_(header.compression()), planes_(planes) {
    const Imath::Box2i& window = header.dataWindow();
    first_line_ = window.min.y;
    width_ = static_cast<std::size_t>(window.max.x - window.min.x) + 1;
    height_ = window.max.y - window.min.y + 1;
    line_bytes_ = width_ * planes.size() * 2;
    chunk_lines_ = compression_ == Imf::ZIP_COMPRESSION ? zip_lines : 1;
    const std::size_t chunk_bytes = line_bytes_ * static_cast<std::size_t>(chunk_lines_);
    group_chunks_ = static_cast<int>(std::clamp<std::size_t>(group_bytes / chunk_bytes, 1, 64));
    offsets_.resize(static_cast<std::size_t>((height_ + chunk_lines_ - 1) / chunk_lines_));
  }

  void write(const Imf::Header& header) {
    std::uint8_t start[8];
    put32(start, magic);
    put32(start + 4, version);
    write_bytes(start, sizeof start);
    header.writeTo(stream_);
    const std::uint64_t table = stream_.tellp();
    write_table();
    next_offset_ = stream_.tellp();
    write_groups();
    stream_.seekp(table);
    write_table();
  }

 private:
  struct worker {
    std::vector<std::uint8_t> split, differences;
    std::vector<std::uint8_t> packed;  // the chunks of a group, with their headers
    std::vector<std::uint32_t> sizes;  // of them
    std::unique_ptr<libdeflate_compressor, void (*)(libdeflate_compressor*)> deflater{nullptr,
                                                                                      libdeflate_free_compressor};
  };

  void write_bytes(const void* bytes, std::size_t count) {
    stream_.write(static_cast<const char*>(bytes), static_cast<int>(count));
  }

  void write_table() {
    for (const std::uint64_t offset : offsets_) write_bytes(&offset, sizeof offset);
  }

  void write_groups() {
    const int chunks = static_cast<int>(offsets_.size());
    const int groups = (chunks + group_chunks_ - 1) / group_chunks_;
    turns order;
    parallel_tasks<worker>(groups, lib::thread_count(), [&](int group, worker& own) {
      try {
        const int first = group * group_chunks_;
        pack_group(first, std::min(first + group_chunks_, chunks), own);
        if (!order.wait(group)) return;
        write_bytes(own.packed.data(), own.packed.size());
        for (std::size_t i = 0; i < own.sizes.size(); ++i) {
          offsets_[static_cast<std::size_t>(first) + i] = next_offset_;
          next_offset_ += own.sizes[i];
        }
        order.done();
      } catch (...) {
        order.fail();
        throw;
      }
    });
  }

  void pack_group(int first, int last, worker& own) {
    own.packed.clear();
    own.sizes.clear();
    for (int chunk = first; chunk < last; ++chunk) {
      const int top = chunk * chunk_lines_;
      const int lines = std::min(chunk_lines_, height_ - top);
      const std::size_t size = line_bytes_ * static_cast<std::size_t>(lines);
      const std::size_t at = own.packed.size();
      own.packed.resize(at + chunk_header + size);
      std::uint8_t* data = own.packed.data() + at + chunk_header;
      std::size_t packed = compression_ == Imf::NO_COMPRESSION ? 0 : pack(top, lines, data, size, own);
      if (packed == 0) {
        store(top, lines, data);
        packed = size;
      }
      put32(data - chunk_header, static_cast<std::uint32_t>(first_line_ + top));
      put32(data - 4, static_cast<std::uint32_t>(packed));
      own.packed.resize(at + chunk_header + packed);
      own.sizes.push_back(static_cast<std::uint32_t>(chunk_header + packed));
    }
  }

  void store(int top, int lines, std::uint8_t* out) const {
    for (int y = top; y < top + lines; ++y) {
      for (const std::uint16_t* plane : planes_) {
        std::memcpy(out, plane + static_cast<std::size_t>(y) * width_, width_ * 2);
        out += width_ * 2;
      }
    }
  }

  // The low bytes of the chunk and then the high ones, as differences, runs or deflated. 0 when it would not become
  // smaller.
  std::size_t pack(int top, int lines, std::uint8_t* out, std::size_t size, worker& own) const {
    const exr_kernels& kernels = active_exr_kernels();
    own.split.resize(size);
    own.differences.resize(size);
    std::uint8_t* low = own.split.data();
    for (int y = top; y < top + lines; ++y) {
      for (const std::uint16_t* plane : planes_) {
        kernels.split_bytes(low, low + size / 2, plane + static_cast<std::size_t>(y) * width_, width_);
        low += width_;
      }
    }
    kernels.take_differences(own.differences.data(), own.split.data(), size);
    if (compression_ == Imf::RLE_COMPRESSION) return pack_exr_runs(own.differences.data(), size, out, size - 1);
    if (!own.deflater) {
      own.deflater.reset(libdeflate_alloc_compressor(deflate_level));
      if (!own.deflater) throw std::bad_alloc();
    }
    return libdeflate_zlib_compress(own.deflater.get(), own.differences.data(), size, out, size - 1);
  }

  exr_output_stream& stream_;
  Imf::Compression compression_;
  std::span<const std::uint16_t* const> planes_;
  int first_line_ = 0;
  std::size_t width_ = 0;
  int height_ = 0;
  std::size_t line_bytes_ = 0;
  int chunk_lines_ = 1;
  int group_chunks_ = 1;
  std::vector<std::uint64_t> offsets_;  // of the chunks
  std::uint64_t next_offset_ = 0;
};

}  // namespace

bool writes_exr_chunks(const Imf::Header& header) {
  return header.compression() == Imf::NO_COMPRESSION || header.compression() == Imf::RLE_COMPRESSION ||
         header.compression() == Imf::ZIP_COMPRESSION;
}

void write_exr_chunks(exr_output_stream& stream, const Imf::Header& header,
                      std::span<const std::uint16_t* const> planes) {
  chunk_writer(stream, header, planes).write(header);
}

}  // namespace img
