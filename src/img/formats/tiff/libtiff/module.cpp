// The exports of the TIFF module: blocks and pictures as the library decodes them.
#include <tiffio.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "img/formats/tiff/library.h"

namespace {

// An open file, and where the text of a failure goes.
struct picture {
  TIFF* file = nullptr;
  char* error = nullptr;
};

int keep_error(TIFF*, void* data, const char*, const char* format, va_list arguments) {
  const picture& owner = *static_cast<picture*>(data);
  if (owner.error) std::vsnprintf(owner.error, img::tiff_error_room, format, arguments);
  return 1;
}

int ignore_warning(TIFF*, void*, const char*, const char*, va_list) {
  return 1;
}

void close(void* handle) {
  auto* owner = static_cast<picture*>(handle);
  owner->error = nullptr;
  if (owner->file) TIFFClose(owner->file);
  delete owner;
}

void* open(const char* path, std::uint64_t directory, std::size_t most, char* error) {
  auto* owner = new picture;
  owner->error = error;
  TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
  TIFFOpenOptionsSetErrorHandlerExtR(options, keep_error, owner);
  TIFFOpenOptionsSetWarningHandlerExtR(options, ignore_warning, owner);
  TIFFOpenOptionsSetMaxSingleMemAlloc(options, static_cast<tmsize_t>(most));
  // No memory mapping, since a file that is cut meanwhile would end the process.
  owner->file = TIFFOpenExt(path, "rm", options);
  TIFFOpenOptionsFree(options);
  if (owner->file == nullptr || !TIFFSetSubDirectory(owner->file, directory)) {
    close(owner);
    return nullptr;
  }
  std::uint16_t compression = 0, photometric = 0;
  TIFFGetField(owner->file, TIFFTAG_COMPRESSION, &compression);
  TIFFGetField(owner->file, TIFFTAG_PHOTOMETRIC, &photometric);
  if (compression == COMPRESSION_JPEG && photometric == PHOTOMETRIC_YCBCR) {
    TIFFSetField(owner->file, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
  }
  return owner;
}

long long read_block(void* handle, std::uint32_t block, void* buffer, std::size_t size, char* error) {
  auto* owner = static_cast<picture*>(handle);
  owner->error = error;
  const auto room = static_cast<tmsize_t>(size);
  return TIFFIsTiled(owner->file) ? TIFFReadEncodedTile(owner->file, block, buffer, room)
                                  : TIFFReadEncodedStrip(owner->file, block, buffer, room);
}

bool read_rgba(void* handle, std::uint32_t width, std::uint32_t height, std::uint32_t* pixels, char* error) {
  auto* owner = static_cast<picture*>(handle);
  owner->error = error;
  TIFFSetField(owner->file, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
  return TIFFReadRGBAImageOriented(owner->file, width, height, pixels, ORIENTATION_TOPLEFT, 1) != 0;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) const img::tiff_library_functions* kestrin_tiff() {
  static const img::tiff_library_functions functions{open, close, read_block, read_rgba};
  return &functions;
}
