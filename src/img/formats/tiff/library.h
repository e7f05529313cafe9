// The interface to the TIFF library, which is a module of its own: only files with its codings load it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace img {

// The functions that the module exports as "kestrin_tiff". Nothing throws; a failure leaves its text in `error`, which
// has room for tiff_error_room bytes.
constexpr std::size_t tiff_error_room = 256;
struct tiff_library_functions {
  // Opens one picture of a file by the position of its directory. `most` bounds what a single block may take.
  void* (*open)(const char* path, std::uint64_t directory, std::size_t most, char* error);
  void (*close)(void* picture);
  // A strip or tile, by its number, in the byte order of the machine, without predictor and with JPEG colours as RGB.
  // Returns how many bytes came, -1 on failure.
  long long (*read_block)(void* picture, std::uint32_t block, void* buffer, std::size_t size, char* error);
  // The whole picture as bytes red, green, blue, alpha, as the file holds its rows and columns. False on failure.
  bool (*read_rgba)(void* picture, std::uint32_t width, std::uint32_t height, std::uint32_t* pixels, char* error);
};
using tiff_library_function = const tiff_library_functions* (*)();

// One picture, open in the library. For one thread at a time; any number may be open.
class tiff_library_picture {
 public:
  // Throws io::invalid_format with the library's text or what is missing.
  tiff_library_picture(const std::string& path, std::int64_t directory, std::size_t most);
  ~tiff_library_picture();
  tiff_library_picture(const tiff_library_picture&) = delete;
  tiff_library_picture& operator=(const tiff_library_picture&) = delete;

  // As above; they throw io::invalid_format. Bytes of a block that did not come are zero.
  void read_block(std::size_t block, std::uint8_t* buffer, std::size_t size);
  void read_rgba(int width, int height, std::uint32_t* pixels);

 private:
  const tiff_library_functions* functions_;
  void* picture_ = nullptr;
  std::string path_;
};

}  // namespace img
