// Bytes as a binary archive, plain or, when the first byte is odd, inside a zlib stream. One that can be read must come
// out of a second round the same.
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <string>

#include "archive_sample.h"
#include "io/binary_archive.h"
#include "io/buffered.h"
#include "io/memory_reader.h"
#include "io/packer.h"

namespace {

struct string_writer : io::binary_writer {
  void write(const void* buffer, int count) override {
    bytes.append(static_cast<const char*>(buffer), static_cast<std::size_t>(count));
  }
  void flush() override {}
  const char* name() const override { return "string"; }
  std::string bytes;
};

support::everything read(io::binary_reader& source) {
  io::binary_iarchive in(source);
  support::everything value;
  in.read_header();
  in.field("all", value);
  return value;
}

std::string written(const support::everything& value) {
  string_writer target;
  io::binary_oarchive out(target);
  out.write_header();
  out.field("all", value);
  return target.bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  io::memory_reader memory(data + 1, size - 1);
  support::everything value;
  try {
    if (data[0] & 1) {
      io::unpacker unpacked(memory);
      io::buffered_reader buffer(unpacked);
      value = read(buffer);
    } else {
      value = read(memory);
    }
  } catch (const std::exception&) {
    return 0;
  }
  const std::string once = written(value);
  io::memory_reader again(once.data(), once.size());
  if (written(read(again)) != once) std::abort();
  return 0;
}
