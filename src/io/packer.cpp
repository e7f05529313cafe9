#include "io/packer.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "io/exceptions.h"

namespace io {
namespace {

constexpr int block_size = 8192;
using block = std::array<Bytef, block_size>;

std::string text_of(const z_stream& stream) {
  return stream.msg ? stream.msg : "";
}

}  // namespace

struct packer::impl {
  explicit impl(binary_writer& writer) : target(writer) {
    if (deflateInit(&stream, Z_DEFAULT_COMPRESSION) != Z_OK) throw compression_error(target.name(), text_of(stream));
  }
  ~impl() {
    try {
      finish();
    } catch (...) {
    }
    deflateEnd(&stream);
  }

  // One step: returns zlib's result after what it gave has been written.
  int step(int mode) {
    stream.next_out = output.data();
    stream.avail_out = block_size;
    const int result = deflate(&stream, mode);
    if (result < 0) throw compression_error(target.name(), text_of(stream));
    const int size = block_size - static_cast<int>(stream.avail_out);
    if (size > 0) target.write(output.data(), size);
    return result;
  }
  void finish() {
    stream.avail_in = 0;  // what a failed write left there is no longer ours to read
    while (step(Z_FINISH) != Z_STREAM_END) {
    }
  }

  block output;
  z_stream stream{};
  binary_writer& target;
};

packer::packer(binary_writer& writer) : impl_(std::make_shared<impl>(writer)) {}

void packer::write(const void* buffer, int count) {
  if (count < 1) return;
  z_stream& stream = impl_->stream;
  stream.next_in = const_cast<Bytef*>(static_cast<const Bytef*>(buffer));
  stream.avail_in = static_cast<uInt>(count);
  do {
    impl_->step(Z_NO_FLUSH);
  } while (stream.avail_in > 0);
}

void packer::flush() {
  impl_->finish();
  impl_->target.flush();
}

const char* packer::name() const {
  return impl_->target.name();
}

struct unpacker::impl {
  explicit impl(binary_reader& reader) : source(reader) {
    if (inflateInit(&stream) != Z_OK) throw decompression_error(source.name(), text_of(stream));
  }
  ~impl() { inflateEnd(&stream); }

  int read(void* buffer, int count) {
    if (ended) return 0;
    stream.next_out = static_cast<Bytef*>(buffer);
    stream.avail_out = static_cast<uInt>(count);
    while (stream.avail_out > 0) {
      if (stream.avail_in == 0) {
        const int size = source.read(input.data(), block_size);
        if (size <= 0) throw eof_error(source.name());
        stream.next_in = input.data();
        stream.avail_in = static_cast<uInt>(size);
      }
      const int result = inflate(&stream, Z_NO_FLUSH);
      if (result == Z_STREAM_END) {
        ended = true;
        break;
      }
      if (result != Z_OK) throw decompression_error(source.name(), text_of(stream));
    }
    return count - static_cast<int>(stream.avail_out);
  }

  block input;
  z_stream stream{};
  bool ended = false;
  binary_reader& source;
};

unpacker::unpacker(binary_reader& reader) : impl_(std::make_shared<impl>(reader)) {}

int unpacker::read(void* buffer, int count) {
  if (count < 1) return 0;
  if (buffer) return impl_->read(buffer, count);
  block scratch;
  for (int left = count; left > 0;) {
    const int part = std::min(left, block_size);
    if (impl_->read(scratch.data(), part) < part) throw seek_error(name(), errno);
    left -= part;
  }
  return count;
}

const char* unpacker::name() const {
  return impl_->source.name();
}

}  // namespace io
