// zlib streams (RFC 1950), compressed on the way down and expanded on the way up, in blocks of 8192 bytes.
#pragma once

#include <memory>

#include "io/streams.h"

namespace io {

// Copies share one stream; the last one to go finishes it and swallows failures.
class packer : public binary_writer {
 public:
  // Throws io::compression_error.
  explicit packer(binary_writer& writer);

  void write(const void* buffer, int count) override;
  // Ends the zlib stream and flushes the target: nothing may be written after it.
  void flush() override;
  const char* name() const override;

 private:
  struct impl;
  std::shared_ptr<impl> impl_;
};

// Copies share one stream.
class unpacker : public binary_reader {
 public:
  // Throws io::decompression_error.
  explicit unpacker(binary_reader& reader);

  // A short count is the end of the zlib stream; io::eof_error says that the source ended before it did. A skip past
  // the end throws io::seek_error. Bad data throws io::decompression_error.
  int read(void* buffer, int count) override;
  const char* name() const override;

 private:
  struct impl;
  std::shared_ptr<impl> impl_;
};

}  // namespace io
