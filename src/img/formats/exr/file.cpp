#include "img/formats/exr/file.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <new>

#include "img/formats/exr/header_sizes.h"
#include "img/image.h"
#include "io/exceptions.h"

namespace img {
namespace {

// Largest picture that may be all empty space: 8192 x 4608.
constexpr double most_empty_pixels = 8192.0 * 4608.0;
// Places within which all sums and differences stay in the range of an int.
constexpr std::int32_t furthest = 0x3FFFFFFF;
// Of either window. No picture shows as many; memory for a row or a chunk follows from it.
constexpr int most_columns = 1 << 18;
// Beyond that a picture is at most this many times as large as its data window.
constexpr double most_empty_factor = 16;

// The library leaves out an attribute that it finds no memory for, and goes on with another window.
thread_local bool ran_out_of_memory = false;

void* library_block(std::size_t bytes) {
  void* const block = std::malloc(bytes);
  ran_out_of_memory = ran_out_of_memory || !block;
  return block;
}

}  // namespace

exr_file::exr_file(const std::string& path) : source_(path) {
  try {
    open();
  } catch (...) {
    exr_finish(&context_);
    throw;
  }
}

exr_file::~exr_file() {
  exr_finish(&context_);
}

void exr_file::open() {
  exr_context_initializer_t setup = EXR_DEFAULT_CONTEXT_INITIALIZER;
  setup.user_data = this;
  setup.error_handler_fn = &error_callback;
  setup.read_fn = &read_callback;
  setup.size_fn = &size_callback;
  std::array<std::uint8_t, 8> start{};  // magic number, version and flags, little-endian
  source_.read(start.data(), start.size(), 0);
  has_parts_ = (start[5] & 0x10) != 0;
  constexpr std::uint8_t magic[] = {0x76, 0x2F, 0x31, 0x01};
  if (!std::equal(std::begin(magic), std::end(magic), start.begin())) throw io::invalid_signature(path());
  check_header_sizes(source_);
  setup.alloc_fn = &library_block;
  setup.free_fn = &std::free;
  ran_out_of_memory = false;
  const exr_result_t result = exr_start_read(&context_, path().c_str(), &setup);
  if (ran_out_of_memory) throw std::bad_alloc();
  check(result);
  int count = 0;
  check(exr_get_count(context_, &count));
  for (int i = 0; i < count; ++i) parts_.push_back(part_at(i));
  if (parts_.empty()) throw io::invalid_format(path(), "The file has no parts");
}

exr_part exr_file::part_at(int index) const {
  exr_part part;
  const char* name = nullptr;
  if (exr_get_name(context_, index, &name) == EXR_ERR_SUCCESS && name != nullptr) part.name = name;
  check(exr_get_storage(context_, index, &part.storage));
  check(exr_get_compression(context_, index, &part.compression));
  check(exr_get_channels(context_, index, &part.channels));
  check(exr_get_data_window(context_, index, &part.data_window));
  check(exr_get_display_window(context_, index, &part.display_window));
  return part;
}

void exr_file::use_part(int index) {
  const exr_part& part = parts_[static_cast<std::size_t>(index)];
  if (part.is_deep()) {
    throw io::invalid_format(path(), "Unsupported deep data" + (part.name.empty() ? "" : " in part " + part.name));
  }
  check_window(part.data_window);
  check_window(part.display_window);
  part_ = index;
}

void exr_file::check_window(const exr_attr_box2i_t& window) const {
  for (const std::int32_t value : {window.min.x, window.min.y, window.max.x, window.max.y}) {
    if (value < -furthest || value > furthest) throw io::invalid_format(path(), "Invalid window");
  }
  if (window.max.x - window.min.x >= most_columns) throw io::invalid_format(path(), "Invalid window");
  if (window.max.x < window.min.x || window.max.y < window.min.y) throw io::invalid_format(path(), "Empty window");
}

int64_t exr_file::read_callback(exr_const_context_t, void* file, void* buffer, uint64_t size, uint64_t offset,
                                exr_stream_error_func_ptr_t) {
  const source_file& source = static_cast<exr_file*>(file)->source_;
  if (offset > static_cast<std::uint64_t>(source.size())) return 0;
  return source.raw().read(buffer, size, static_cast<std::int64_t>(offset));
}

int64_t exr_file::size_callback(exr_const_context_t, void* file) {
  return static_cast<exr_file*>(file)->source_.size();
}

void exr_file::error_callback(exr_const_context_t context, exr_result_t, const char* text) {
  void* user = nullptr;
  if (exr_get_user_data(context, &user) != EXR_ERR_SUCCESS || user == nullptr) return;
  const exr_file* file = static_cast<const exr_file*>(user);
  const std::lock_guard hold(file->lock_);
  if (file->message_.empty()) file->message_ = text;
}

void exr_file::check(exr_result_t result) const {
  if (result == EXR_ERR_SUCCESS) return;
  if (result == EXR_ERR_OUT_OF_MEMORY) throw std::bad_alloc();
  if (result == EXR_ERR_READ_IO) throw io::eof_error(path());
  const std::lock_guard hold(lock_);
  throw io::invalid_format(path(), message_.empty() ? exr_get_default_error_message(result) : message_);
}

int find_channel(const exr_attr_chlist_t& channels, std::string_view name) {
  for (int i = 0; i < channels.num_channels; ++i) {
    if (name == channels.entries[i].name.str) return i;
  }
  return -1;
}

int exr_file::expansion() const {
  switch (compression()) {
    case EXR_COMPRESSION_NONE:
      return 1;
    case EXR_COMPRESSION_RLE:
      return 64;  // two bytes for a run of 128
    case EXR_COMPRESSION_B44:
    case EXR_COMPRESSION_B44A:
      return 11;  // three bytes for a flat block of 16 halves
    case EXR_COMPRESSION_DWAA:
    case EXR_COMPRESSION_DWAB:
      return 1 << 17;  // deflated run-length codes
    default:
      return 2048;  // deflate gives 1032, and drops a byte of four in PXR24
  }
}

void exr_file::check_picture_size(int bytes_per_pixel) const {
  check_dimensions(path(), width(), height());
  const double data_pixels =
      (1.0 + data_window().max.x - data_window().min.x) * (1.0 + data_window().max.y - data_window().min.y);
  const double coded = static_cast<double>(source_.size()) * expansion() / bytes_per_pixel;
  const double backed = std::max(most_empty_pixels, std::min(coded, data_pixels * most_empty_factor));
  check_size(path(), width(), height(), bytes_per_pixel, static_cast<long long>(backed * bytes_per_pixel), 1);
}

}  // namespace img
