// Digital negatives (Adobe DNG), mosaic and linear, which the camera raw library develops.
#include "img/format.h"

#include "img/formats/dng/library.h"
#include "img/formats/shared/deep_samples.h"
#include "img/formats/shared/metadata_text.h"
#include "img/formats/tiff/metadata.h"
#include "io/exceptions.h"
#include "lib/parallel.h"
#include "platform/module.h"

namespace img {
namespace {

const raw_library_functions& library_for(const std::string& path) {
  std::string reason;
  void* function = platform::module_function("raw", "kestrin_raw", reason);
  if (!function) throw io::invalid_format(path, "Camera raw files need the raw module: " + reason);
  return *reinterpret_cast<raw_library_function>(function)();
}

// Refuses what does not say that it is a negative before the library sees it. The metadata go to `info`, if given.
void check_negative(const std::string& path, image_info* info) {
  constexpr int version_tag = 50706;
  bool negative = false;
  try {
    const tiff_file file(path);
    negative = find_entry(file.read_directory(file.first_directory()), version_tag) != nullptr;
    if (negative && info) take_tiff_metadata(file, file.first_directory(), *info);
  } catch (const io::invalid_format&) {
  }
  if (!negative) throw io::invalid_format(path, "Invalid DNG file");
}

// Holds a developed picture.
class developed {
 public:
  explicit developed(const std::string& path) : library_(library_for(path)) {
    char error[raw_error_room] = "";
    if (!library_.develop(path.c_str(), &picture_, error)) throw io::invalid_format(path, error);
  }
  ~developed() { library_.release(&picture_); }
  developed(const developed&) = delete;
  developed& operator=(const developed&) = delete;
  const raw_picture& picture() const { return picture_; }

 private:
  const raw_library_functions& library_;
  raw_picture picture_;
};

class dng : public format {
 public:
  const char* name() const override { return "dng"; }

  void read(image& image, const std::string& path, const layer&) const override {
    image_info info;
    check_negative(path, &info);
    measure(path);
    const developed made(path);
    const raw_picture& picture = made.picture();
    check_dimensions(path, picture.width, picture.height);
    image.reset("BGR", 16, picture.width, picture.height);
    image.copy_info(info);
    image.set_path(path);
    image.set_centre_anchor();
    const auto width = static_cast<std::size_t>(picture.width);
    const std::uint16_t* table = fraction16_to_half();
    lib::parallel_rows(picture.height, static_cast<long long>(width) * picture.height * 3, [&](int first, int last) {
      for (int y = first; y < last; ++y) {
        const std::uint16_t* row = picture.pixels + 3 * width * static_cast<std::size_t>(y);
        for (std::size_t c = 0; c < 3; ++c) {
          std::uint16_t* out = image.row<std::uint16_t>(static_cast<int>(2 - c), y);
          for (std::size_t x = 0; x < width; ++x) out[x] = table[row[3 * x + c]];
        }
      }
    });
  }

  picture_header read_header(const std::string& path, const layer&) const override {
    check_negative(path, nullptr);
    const auto [width, height] = measure(path);
    return {width, height, false, {layer()}};
  }

 private:
  static std::pair<int, int> measure(const std::string& path) {
    char error[raw_error_room] = "";
    int width = 0, height = 0;
    if (!library_for(path).measure(path.c_str(), &width, &height, error)) throw io::invalid_format(path, error);
    // A lossy coding of a linear picture comes to a few bits for a block of 8 x 8.
    check_size(path, width, height, 1, source_file(path).size(), 1024);
    return {width, height};
  }
};

}  // namespace

const format& dng_format() {
  static const dng instance;
  return instance;
}

}  // namespace img
