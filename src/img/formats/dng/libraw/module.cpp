// The exports of the camera raw module: digital negatives as the library develops them.
#include <libraw/libraw.h>

#include <cstdio>
#include <exception>
#include <memory>

#include "img/formats/dng/library.h"

namespace {

const char* text_of(int code) {
  switch (code) {
    case LIBRAW_FILE_UNSUPPORTED:
      return "Invalid DNG file";
    case LIBRAW_NOT_IMPLEMENTED:
      return "Unsupported functionality";
    case LIBRAW_REQUEST_FOR_NONEXISTENT_IMAGE:
    case LIBRAW_OUT_OF_ORDER_CALL:
    case LIBRAW_TOO_BIG:
      return "Bad file format";
    case LIBRAW_DATA_ERROR:
    case LIBRAW_BAD_CROP:
      return "File is damaged";
    case LIBRAW_IO_ERROR:
      return "Read error";
    default:
      return "Unknown DNG SDK error";
  }
}

bool fail(char* error, const char* text) {
  std::snprintf(error, img::raw_error_room, "%s", text);
  return false;
}

void note_damage(void* data, const char*, int) {
  *static_cast<bool*>(data) = true;
}

bool open(LibRaw& library, const char* path, char* error) {
  auto& params = library.imgdata.params;
  params.output_bps = 16;
  params.output_color = 1;  // sRGB
  params.gamm[0] = params.gamm[1] = 1;
  params.no_auto_bright = 1;
  params.adjust_maximum_thr = 0;  // white is what the file says, in every frame of a sequence
  params.use_camera_wb = 1;
  const int code = library.open_file(path);
  if (code != LIBRAW_SUCCESS) return fail(error, text_of(code));
  return library.imgdata.idata.dng_version != 0 || fail(error, "Invalid DNG file");
}

bool measure(const char* path, int* width, int* height, char* error) try {
  const auto library = std::make_unique<LibRaw>();
  if (!open(*library, path, error)) return false;
  const int code = library->adjust_sizes_info_only();
  if (code != LIBRAW_SUCCESS) return fail(error, text_of(code));
  *width = library->imgdata.sizes.iwidth;
  *height = library->imgdata.sizes.iheight;
  return true;
} catch (const std::exception&) {
  return fail(error, "Unknown DNG SDK error");
}

bool develop(const char* path, img::raw_picture* picture, char* error) try {
  const auto library = std::make_unique<LibRaw>();
  bool damaged = false;
  library->set_dataerror_handler(note_damage, &damaged);
  if (!open(*library, path, error)) return false;
  int code = library->unpack();
  if (code == LIBRAW_SUCCESS) code = library->dcraw_process();
  if (code != LIBRAW_SUCCESS) return fail(error, text_of(code));
  if (damaged) return fail(error, "File is damaged");
  libraw_processed_image_t* made = library->dcraw_make_mem_image(&code);
  if (made == nullptr) return fail(error, text_of(code));
  picture->owner = made;
  if (made->type != LIBRAW_IMAGE_BITMAP || made->colors != 3 || made->bits != 16) {
    LibRaw::dcraw_clear_mem(made);
    return fail(error, "Unsupported functionality");
  }
  picture->width = made->width;
  picture->height = made->height;
  picture->pixels = reinterpret_cast<const std::uint16_t*>(made->data);
  return true;
} catch (const std::exception&) {
  return fail(error, "Unknown DNG SDK error");
}

void release(img::raw_picture* picture) {
  if (picture->owner) LibRaw::dcraw_clear_mem(static_cast<libraw_processed_image_t*>(picture->owner));
}

}  // namespace

extern "C" __attribute__((visibility("default"))) const img::raw_library_functions* kestrin_raw() {
  static const img::raw_library_functions functions{measure, develop, release};
  return &functions;
}
