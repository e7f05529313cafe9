#include "io/buffered.h"

#include <algorithm>
#include <cstring>

namespace io {

buffered_reader::buffered_reader(binary_reader& reader, int size)
    : buffer_(static_cast<std::size_t>(std::max(size, 1))),
      position_(buffer_.data()),
      end_(buffer_.data()),
      reader_(reader) {}

bool buffered_reader::fill() {
  if (position_ != end_) return true;
  // Emptied first, so that a read that throws leaves an empty buffer behind.
  position_ = end_ = buffer_.data();
  end_ += std::max(0, reader_.read(buffer_.data(), static_cast<int>(buffer_.size())));
  return position_ != end_;
}

int buffered_reader::take_buffered(std::uint8_t* buffer, int count) {
  const int part = std::min(count, available());
  if (buffer && part > 0) std::memcpy(buffer, position_, static_cast<std::size_t>(part));
  position_ += part;
  return part;
}

int buffered_reader::read(void* buffer, int count) {
  if (buffer && count > 0 && count <= available()) {
    std::memcpy(buffer, position_, static_cast<std::size_t>(count));
    position_ += count;
    return count;
  }
  auto* target = static_cast<std::uint8_t*>(buffer);
  int done = 0;
  while (done < count && fill()) done += take_buffered(target ? target + done : nullptr, count - done);
  return done;
}

int buffered_reader::read_through(void* buffer, int count) {
  if (count < 1) return 0;
  auto* target = static_cast<std::uint8_t*>(buffer);
  const int done = take_buffered(target, count);
  return done == count ? done : done + reader_.read(target ? target + done : nullptr, count - done);
}

bool buffered_reader::unread(int count) {
  if (count < 0 || count > position_ - buffer_.data()) return false;
  position_ -= count;
  return true;
}

buffered_writer::buffered_writer(binary_writer& writer, int size)
    : buffer_(static_cast<std::size_t>(std::max(size, 1))), writer_(writer) {}

buffered_writer::~buffered_writer() {
  try {
    flush();
  } catch (...) {
  }
}

void buffered_writer::write(const void* buffer, int count) {
  const auto* source = static_cast<const std::uint8_t*>(buffer);
  const int size = static_cast<int>(buffer_.size());
  while (count > 0) {
    if (pending_ == size) {
      // Forgotten before it is handed over: bytes that the stream below refused are not offered again.
      pending_ = 0;
      writer_.write(buffer_.data(), size);
    }
    const int part = std::min(count, size - pending_);
    std::memcpy(buffer_.data() + pending_, source, static_cast<std::size_t>(part));
    pending_ += part;
    source += part;
    count -= part;
  }
}

void buffered_writer::flush() {
  const int size = pending_;
  pending_ = 0;
  if (size > 0) writer_.write(buffer_.data(), size);
  writer_.flush();
}

}  // namespace io
