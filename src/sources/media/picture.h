// A decoded picture as an image of ours.
#pragma once

#include "img/image.h"
#include "sources/media/library.h"

namespace media {

// Turns decoder pictures into 8-bit planes: "L" for gray ones, "BGRA" where there is alpha, else "BGR". Matrix and
// range come from the picture's tags (BT.601, BT.709, BT.2020); without tags pictures over 576 lines count as BT.709,
// and luma as limited. Chroma is interpolated from where the stream says that it lies (H.273, ChromaLocType); unsaid it
// lies on the left pixel, as in MPEG-2 and H.264, and in the middle in JPEG. Precision drops to bytes here and nowhere
// before. Keeps a scaler for the forms that have no rows of their own; one thread at a time.
class picture_converter {
 public:
  // False when the form can't be converted.
  bool convert(const AVFrame& picture, img::image& image);

 private:
  // What a scaler is made for.
  struct scaling {
    int width = 0;
    int height = 0;
    int from = AV_PIX_FMT_NONE;
    int to = AV_PIX_FMT_NONE;
    AVChromaLocation chroma = AVCHROMA_LOC_UNSPECIFIED;
    bool operator==(const scaling&) const = default;
  };

  scaler_ptr scaler_;
  scaling scaler_is_for_;
  bool prepare_scaler(const scaling& wanted, const AVPixFmtDescriptor& form);
  bool convert_yuv(const AVFrame& picture, const AVPixFmtDescriptor& form, img::image& image);
  bool convert_planar_rgb(const AVFrame& picture, const AVPixFmtDescriptor& form, img::image& image);
  bool convert_narrow_rgb(const AVFrame& picture, const AVPixFmtDescriptor& form, img::image& image);
  bool convert_by_scaler(const AVFrame& picture, const AVPixFmtDescriptor& form, img::image& image);
};

// Whether a pixel form holds alpha.
bool has_alpha(AVPixelFormat format);

}  // namespace media
