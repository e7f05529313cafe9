// The C++ interface of the OpenEXR library on our own files.
#pragma once

#include <ImfIO.h>

#include <array>
#include <cstdio>
#include <string>

#include "img/formats/shared/source_file.h"

namespace img {

// Gives the library's thread pool a thread for each processor. Before each use of the library that decodes or encodes;
// only the first call does something, since the pool must not change while another thread decodes.
void start_exr_threads();

// A file to be read. The library keeps its place in it, so each open picture needs one of its own.
class exr_input_stream : public Imf::IStream {
 public:
  explicit exr_input_stream(const source_file& source) : IStream(source.path().c_str()), source_(source) {}
  bool read(char bytes[], int count) override;
  std::uint64_t tellg() override { return static_cast<std::uint64_t>(place_); }
  void seekg(std::uint64_t place) override;

 private:
  const source_file& source_;
  std::int64_t place_ = 0;
  // The library reads headers byte by byte.
  std::array<char, 8192> buffer_;
  std::int64_t buffer_place_ = 0;
  std::int64_t buffered_ = 0;  // bytes of the file from buffer_place_ on
};

// A file to be written, which is made or emptied. Throws io::open_error, and io::write_error where the library lets
// exceptions through; finish() throws the failure that it did not.
class exr_output_stream : public Imf::OStream {
 public:
  explicit exr_output_stream(const std::string& path);
  ~exr_output_stream() override;
  void write(const char bytes[], int count) override;
  std::uint64_t tellp() override;
  void seekp(std::uint64_t place) override;
  // When the picture is complete and its library object gone.
  void finish();

 private:
  [[noreturn]] void fail();
  std::FILE* file_;
  int error_ = 0;  // errno of the first failure
};

// Calls body() and throws what the library throws as io::invalid_format with its text.
template <class Body>
void with_exr_errors(const std::string& path, Body&& body);

}  // namespace img

#include "io/exceptions.h"

template <class Body>
void img::with_exr_errors(const std::string& path, Body&& body) {
  try {
    body();
  } catch (const io::exception&) {
    throw;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& e) {
    throw io::invalid_format(path, e.what());
  }
}
