// The one family of exceptions with which streams, formats and archives report failure.
#pragma once

#include <exception>
#include <string>
#include <utility>

namespace io {

// Says what failed (`source`: a path or the name of a stream) and how (`message`). what() of a concrete class is its
// qualified name, so that a catch site can print class, source and message apart.
class exception : public std::exception {
 public:
  exception(std::string source, std::string message) : source_(std::move(source)), message_(std::move(message)) {}
  const char* what() const noexcept override { return "io::exception"; }
  virtual const std::string& source() const { return source_; }
  virtual const std::string& message() const { return message_; }

 private:
  std::string source_;
  std::string message_;
};

// A failed file operation: the text of an errno, or a given text followed by the errno where there is one.
class file_error : public exception {
 public:
  file_error(std::string source, int error_number);
  file_error(std::string source, std::string message, int error_number = 0)
      : exception(std::move(source), std::move(message)), error_number_(error_number) {}
  int error_number() const { return error_number_; }  // 0 when there is none
  const char* what() const noexcept override { return "io::file_error"; }

 private:
  int error_number_;
};

#define KSN_IO_ERROR(name, base)                                        \
  class name : public base {                                            \
   public:                                                              \
    using base::base;                                                   \
    const char* what() const noexcept override { return "io::" #name; } \
  }
#define KSN_IO_FIXED_ERROR(name, base, text)                             \
  class name : public base {                                             \
   public:                                                               \
    explicit name(std::string source) : base(std::move(source), text) {} \
    const char* what() const noexcept override { return "io::" #name; }  \
  }

KSN_IO_ERROR(open_error, file_error);
KSN_IO_ERROR(read_error, file_error);
KSN_IO_ERROR(write_error, file_error);
KSN_IO_ERROR(seek_error, file_error);
KSN_IO_FIXED_ERROR(eof_error, read_error, std::string("Unexpected end of file"));
KSN_IO_ERROR(invalid_format, exception);
KSN_IO_FIXED_ERROR(invalid_signature, invalid_format, "Invalid signature");
KSN_IO_FIXED_ERROR(invalid_version, invalid_format, "Invalid version");
KSN_IO_FIXED_ERROR(invalid_count, invalid_format, "Negative sequence size");
KSN_IO_FIXED_ERROR(invalid_array_size, invalid_format, "Invalid array size");
KSN_IO_FIXED_ERROR(logic_error, exception, "Unsupported functionality");
KSN_IO_ERROR(compression_error, exception);
KSN_IO_ERROR(decompression_error, exception);

#undef KSN_IO_ERROR
#undef KSN_IO_FIXED_ERROR

}  // namespace io
