#include "img/formats/tiff/library.h"

#include <cstring>

#include "img/formats/shared/metadata_text.h"
#include "io/exceptions.h"
#include "platform/module.h"

namespace img {
namespace {

const tiff_library_functions* load_functions(const std::string& path) {
  std::string reason;
  void* function = platform::module_function("tiff", "kestrin_tiff", reason);
  if (!function) throw io::invalid_format(path, "This compression needs the TIFF library: " + reason);
  return reinterpret_cast<tiff_library_function>(function)();
}

}  // namespace

tiff_library_picture::tiff_library_picture(const std::string& path, std::int64_t directory, std::size_t most)
    : functions_(load_functions(path)), path_(path) {
  char error[tiff_error_room] = "Unsupported TIFF variant";
  picture_ = functions_->open(path.c_str(), static_cast<std::uint64_t>(directory), most, error);
  if (!picture_) throw io::invalid_format(path, valid_utf8(error));
}

tiff_library_picture::~tiff_library_picture() {
  functions_->close(picture_);
}

void tiff_library_picture::read_block(std::size_t block, std::uint8_t* buffer, std::size_t size) {
  char error[tiff_error_room] = "Invalid compressed data";
  const long long got = functions_->read_block(picture_, static_cast<std::uint32_t>(block), buffer, size, error);
  if (got < 0) throw io::invalid_format(path_, valid_utf8(error));
  if (got < static_cast<long long>(size)) std::memset(buffer + got, 0, size - static_cast<std::size_t>(got));
}

void tiff_library_picture::read_rgba(int width, int height, std::uint32_t* pixels) {
  char error[tiff_error_room] = "Unsupported TIFF variant";
  if (!functions_->read_rgba(picture_, static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height), pixels,
                             error)) {
    throw io::invalid_format(path_, valid_utf8(error));
  }
}

}  // namespace img
