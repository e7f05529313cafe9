// The parts of a Photoshop document (Adobe Photoshop File Formats Specification).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "img/formats/shared/source_file.h"
#include "img/image.h"

namespace img {

enum psd_mode { psd_bitmap = 0, psd_gray = 1, psd_indexed = 2, psd_rgb = 3, psd_cmyk = 4, psd_duotone = 8 };

struct psd_channel {
  int id = 0;  // 0 to 3 the colours in their order, -1 transparency, others masks
  std::int64_t position = 0;
  std::int64_t size = 0;  // with the word that tells the compression
};

struct psd_layer {
  std::string name;
  int left = 0, top = 0, width = 0, height = 0;
  std::vector<psd_channel> channels;
  bool alone = false;  // the document's only layer, shown as it is: no blending, mask or effect
};

struct psd_document {
  bool large = false;  // the form for large documents, PSB
  int channels = 0;    // of the merged picture
  int width = 0;
  int height = 0;
  int bits = 8;  // of a sample: 1, 8, 16 or 32
  int mode = psd_rgb;
  bool on_white = false;     // the merged picture's first further channel is its transparency, and white shines through
  std::int64_t palette = 0;  // 256 reds, greens, blues; 0 for none
  std::int64_t resources = 0;  // between these two
  std::int64_t resources_end = 0;
  std::int64_t layers = 0;
  std::int64_t layers_end = 0;
  std::int64_t merged = 0;  // the word that tells the compression of the merged picture

  int colors() const { return mode == psd_rgb ? 3 : mode == psd_cmyk ? 4 : 1; }
  bool has_alpha() const { return channels > colors() && mode != psd_indexed && mode != psd_bitmap; }
};

// Throws io::invalid_signature, io::eof_error, and io::invalid_format with "Invalid/unsupported bit depth",
// "Unsupported variant" and "Unsupported number of channels".
psd_document read_psd_document(const source_file& file);

// The layers that hold pixels, the uppermost first. A layer part that makes no sense gives what came before.
std::vector<psd_layer> read_psd_layers(const source_file& file, const psd_document& document);

// Resolution, the name of the profile and XMP.
void take_psd_metadata(const source_file& file, const psd_document& document, image_info& info);

}  // namespace img
