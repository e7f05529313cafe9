// The one interface behind which all still-image file formats stand, and the registry of them.
#pragma once

#include <string>
#include <vector>

#include "img/image.h"

namespace img {

class transfer;

// `compression`: 0 the format's default, 1 uncompressed, 2 run-length, 3 ZIP, 4 B44A, 5 LZW. `quality`: 1 to 100, JPEG.
// A writer reads only the fields that it understands.
struct save_options {
  int compression = 0;
  int quality = 90;
  bool ignore_alpha = false;  // leave out the alpha plane
  int bits = 0;               // of a sample: 8, 16, or 0 for the format's default
  bool operator==(const save_options&) const = default;
};

// The description of a picture that its file gives before any pixel is decoded.
struct picture_header {
  int width = 0;
  int height = 0;
  bool has_alpha = false;
  std::vector<layer> layers;  // as list_layers()
  double pixel_aspect = 0;    // width of a pixel to its height, 0 unknown
};

// One instance of each format lives as long as the program. Instances hold no state, so any number of threads may
// read and write at once with different images. All operations throw the io family; a failed read leaves the image
// destructible, no more.
class format {
 public:
  virtual ~format() = default;

  // Fills `layers` with the file's pictures; the default gives the main picture alone.
  virtual void list_layers(const std::string& path, std::vector<layer>& layers) const;
  // Replaces `image` by the file's pixels in the format's native form, with path, time and centre anchor set.
  virtual void read(image& image, const std::string& path, const layer& layer) const = 0;
  // read(), then transfer::convert. `scratch`, when given, is used for the native form and saves an allocation.
  virtual void read_converted(image& image, const std::string& path, const layer& layer, transfer& transfer,
                              img::image* scratch) const;
  virtual const char* name() const = 0;
  // Writes `image` to `path`, which it creates or truncates. Savers give a temporary name (save/).
  virtual void write(const image& image, const std::string& path, const save_options& options) const;
  virtual bool has_native_float() const { return false; }
  // Whether the options can ask for 16 bits, which write_float() then stores.
  virtual bool holds_16_bits() const { return false; }
  // Whether layers go by names; then a reading refuses one that the file does not have.
  virtual bool has_named_layers() const { return false; }
  // Where they do: the channels of the file that are pictures of their own under these names.
  virtual std::vector<std::string> list_channels(const std::string& /*path*/) const { return {}; }
  virtual void read_float(float_image& out, const std::string& path, const layer& layer, transfer& transfer,
                          const save_options& options, img::image* scratch) const;
  // The default converts to an 8-bit image, sRGB encoded, and calls write().
  virtual void write_float(const float_image& image, const std::string& path, const save_options& options) const;
  // Size and alpha without decoding; the default reads the whole picture.
  virtual picture_header read_header(const std::string& path, const layer& layer) const;
};

// By the text after the last `.` of `path` without regard to case, or by `type` when it is given. Null for a format
// that is not known. Signatures in the file do not count.
const format* find_format(const std::string& path, const char* type = nullptr);
bool is_image_file(const std::string& path, const char* type = nullptr);

// find_format() and the operation. They throw io::invalid_format(path, "Unrecognized file type") for an unknown format.
void load(image& image, const std::string& path, const char* type = nullptr, const layer* layer = nullptr);
void load_converted(image& image, const std::string& path, const char* type, const layer* layer, transfer* transfer,
                    img::image* scratch);
void list_layers(const std::string& path, const char* type, std::vector<layer>& layers);
void save(const image& image, const std::string& path, const char* type, const save_options& options);

}  // namespace img
