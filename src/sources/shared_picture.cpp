#include "sources/shared_picture.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "img/row_kernels.h"
#include "lib/parallel.h"
#include "lib/printable.h"
#include "platform/memory.h"
#include "platform/shared_memory.h"

namespace sources {
namespace {

constexpr std::size_t piece_bytes = 256 << 10;  // that are read at once, and split while they are in the cache
constexpr std::size_t project_bytes = 64;

template <class... Values>
std::string print(const char* form, Values... values) {
  char text[160];
  std::snprintf(text, sizeof text, form, values...);
  return text;
}

class shared_picture final : public live_source {
 public:
  shared_picture(std::unique_ptr<platform::shared_memory> block, shared_picture_header header)
      : block_(std::move(block)), header_(std::move(header)) {}

  int width() const override { return header_.width; }
  int height() const override { return header_.height; }
  bool has_alpha() const override { return header_.alpha_offset != 0; }

  img::const_image_ptr newest() override {
    const auto picture = std::make_shared<img::image>(has_alpha() ? "BGRA" : "BGR", 8, width(), height());
    picture->set_centre_anchor();
    if (read(*picture)) {
      tell(*picture);
      last_ = picture;
    }
    return last_;
  }
  img::const_image_ptr latest() override { return last_; }

 private:
  bool read(img::image& picture) const {
    const auto columns = static_cast<std::size_t>(header_.width);
    const int rows_at_once = static_cast<int>(std::max<std::size_t>(1, piece_bytes / (4 * columns)));
    const img::row_kernels& kernels = img::active_row_kernels();
    std::atomic<bool> whole = true;
    lib::parallel_chunks(header_.height, rows_at_once, [&](int first, int last) {
      thread_local std::vector<std::uint8_t> pixels;
      const std::size_t count = columns * static_cast<std::size_t>(last - first);
      const auto before = static_cast<std::int64_t>(columns) * first;
      if (pixels.size() < 4 * count + columns) pixels.resize(4 * count + columns);
      if (!whole || !block_->read(pixels.data(), 4 * count, header_.color_offset + 4 * before)) {
        whole = false;
        return;
      }
      // The free bytes of every row go to the same place after the pixels, which stays in the first cache.
      for (int y = first; y < last; ++y) {
        kernels.split4(pixels.data() + 4 * columns * static_cast<std::size_t>(y - first), picture.row(0, y),
                       picture.row(1, y), picture.row(2, y), pixels.data() + 4 * count, columns);
      }
      if (has_alpha() && !block_->read(picture.row(3, first), count, header_.alpha_offset + before)) whole = false;
    });
    return whole;
  }

  // What the header says now beside the picture.
  void tell(img::image& picture) const {
    std::array<std::uint8_t, shared_picture_header::most_bytes> bytes{};
    const std::int64_t size = block_->size();
    const auto count = static_cast<std::size_t>(std::clamp<std::int64_t>(size, 0, bytes.size()));
    shared_picture_header now;
    std::string reason;
    if (!block_->read(bytes.data(), count, 0) || !parse_header(bytes.data(), count, size, now, reason)) return;
    picture.frame = now.frame;
    picture.metadata["render time"] = std::to_string(now.render_time);
    if (!now.project.empty()) picture.metadata["project"] = lib::printable(now.project);
  }

  std::unique_ptr<platform::shared_memory> block_;
  shared_picture_header header_;
  img::const_image_ptr last_;
};

}  // namespace

bool parse_header(const std::uint8_t* bytes, std::size_t count, std::int64_t block_bytes, shared_picture_header& header,
                  std::string& reason) {
  if (block_bytes < shared_picture_header::least_bytes || count < shared_picture_header::least_bytes) {
    reason = print("The block has %lld bytes, its header alone takes %d", static_cast<long long>(block_bytes),
                   shared_picture_header::least_bytes);
    return false;
  }
  const auto word = [&](std::size_t at) -> std::uint32_t {
    return bytes[at] | bytes[at + 1] << 8 | bytes[at + 2] << 16 | static_cast<std::uint32_t>(bytes[at + 3]) << 24;
  };
  if (word(0) != shared_picture_header::magic) {
    reason =
        print("It is no picture: it begins with 0x%08X and not with 0x%08X", word(0), shared_picture_header::magic);
    return false;
  }
  if (word(4) != 0) {
    reason = print("Its version is %u, and 0 is the only one that is known", word(4));
    return false;
  }
  const std::uint32_t header_bytes = word(8);
  if (header_bytes < shared_picture_header::least_bytes || header_bytes > block_bytes) {
    reason =
        print("A header of %u bytes does not fit the block of %lld", header_bytes, static_cast<long long>(block_bytes));
    return false;
  }
  const std::uint32_t width = word(12);
  const std::uint32_t height = word(16);
  if (width < 1 || height < 1 || width > img::max_dimension || height > img::max_dimension) {
    reason =
        print("Its size is %u x %u pixels, and 1 to %d either way can be shown", width, height, img::max_dimension);
    return false;
  }
  header = {};
  header.width = static_cast<int>(width);
  header.height = static_cast<int>(height);
  header.color_offset = word(20);
  header.alpha_offset = word(24);
  header.third_offset = word(28);
  const std::int64_t pixels = static_cast<std::int64_t>(width) * height;
  const struct {
    const char* name;
    std::uint32_t offset;
    std::int64_t bytes;
    bool needed;
  } planes[] = {{"colour", header.color_offset, 4 * pixels, true},
                {"alpha", header.alpha_offset, pixels, false},
                {"third", header.third_offset, 4 * pixels, false}};
  for (const auto& plane : planes) {
    if (plane.offset == 0 && !plane.needed) continue;
    if (plane.offset < header_bytes || plane.offset + plane.bytes > block_bytes) {
      reason = print("The %s plane of %lld bytes at %u does not fit between the header of %u and the end at %lld",
                     plane.name, static_cast<long long>(plane.bytes), plane.offset, header_bytes,
                     static_cast<long long>(block_bytes));
      return false;
    }
  }
  const auto holds = [&](std::size_t end) { return header_bytes >= end && count >= end; };
  if (holds(36)) header.frame = static_cast<int>(word(32));
  if (holds(40)) header.render_time = word(36);
  if (holds(104)) {
    const auto* text = reinterpret_cast<const char*>(bytes + 40);
    header.project.assign(text, strnlen(text, project_bytes));
  }
  if (holds(108)) header.further = word(104);
  return true;
}

std::shared_ptr<live_source> open_shared_picture(const std::string& path, int& error, std::string& reason) {
  const std::string name = path.substr(std::min(std::string_view(shared_picture_prefix).size(), path.size()));
  auto block = std::make_unique<platform::shared_memory>(name);
  error = block->error();
  if (error != 0) return nullptr;
  std::array<std::uint8_t, shared_picture_header::most_bytes> bytes{};
  const std::int64_t size = block->size();
  const auto count = static_cast<std::size_t>(std::clamp<std::int64_t>(size, 0, bytes.size()));
  shared_picture_header header;
  if (!block->read(bytes.data(), count, 0) || !parse_header(bytes.data(), count, size, header, reason)) {
    if (reason.empty()) reason = "The block became shorter meanwhile";
    return nullptr;
  }
  // A block may be as long as its writer says without holding anything: reading it would take the memory here.
  if (static_cast<std::uint64_t>(header.width) * header.height * 4 > platform::available_memory())
    throw std::bad_alloc();
  block->prefer_large_pages(header.color_offset, std::int64_t{4} * header.width * header.height);
  auto picture = std::make_shared<shared_picture>(std::move(block), std::move(header));
  picture->newest();
  return picture;
}

}  // namespace sources
