#include "img/formats/exr/library.h"

#include <ImfThreading.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <thread>

#include "io/opening.h"

namespace img {

void start_exr_threads() {
  static std::once_flag once;
  std::call_once(
      once, [] { Imf::setGlobalThreadCount(static_cast<int>(std::max(1u, std::thread::hardware_concurrency()))); });
}

bool exr_input_stream::read(char bytes[], int count) {
  source_.check_range(place_, count);
  if (count < static_cast<int>(buffer_.size()) / 2) {
    if (place_ < buffer_place_ || place_ + count > buffer_place_ + buffered_) {
      buffered_ = std::min<std::int64_t>(static_cast<std::int64_t>(buffer_.size()), source_.size() - place_);
      source_.read(buffer_.data(), static_cast<std::size_t>(buffered_), place_);
      buffer_place_ = place_;
    }
    std::memcpy(bytes, buffer_.data() + (place_ - buffer_place_), static_cast<std::size_t>(count));
  } else {
    source_.read(bytes, static_cast<std::size_t>(count), place_);
  }
  place_ += count;
  return place_ < source_.size();
}

void exr_input_stream::seekg(std::uint64_t place) {
  // For the read that follows, a place beyond the file is its end.
  place_ = static_cast<std::int64_t>(std::min(place, static_cast<std::uint64_t>(source_.size())));
}

exr_output_stream::exr_output_stream(const std::string& path)
    : OStream(path.c_str()), file_(io::open_stream(path, "wb")) {}

exr_output_stream::~exr_output_stream() {
  if (file_ != nullptr) std::fclose(file_);
}

void exr_output_stream::fail() {
  if (error_ == 0) error_ = errno;
  throw io::write_error(fileName(), error_);
}

void exr_output_stream::write(const char bytes[], int count) {
  if (std::fwrite(bytes, 1, static_cast<std::size_t>(count), file_) != static_cast<std::size_t>(count)) fail();
}

std::uint64_t exr_output_stream::tellp() {
  const off_t place = ftello(file_);
  if (place < 0) fail();
  return static_cast<std::uint64_t>(place);
}

void exr_output_stream::seekp(std::uint64_t place) {
  if (fseeko(file_, static_cast<off_t>(place), SEEK_SET) != 0) fail();
}

void exr_output_stream::finish() {
  if (error_ != 0) throw io::write_error(fileName(), error_);
  if (std::fclose(std::exchange(file_, nullptr)) != 0) fail();
}

}  // namespace img
