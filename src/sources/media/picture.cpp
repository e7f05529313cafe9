#include "sources/media/picture.h"

#include <cmath>
#include <cstring>
#include <vector>

#include "sources/words.h"
#include "sources/yuv.h"

namespace media {
namespace {

struct luma_weights {
  double red;
  double blue;
};

luma_weights matrix_of(const AVFrame& picture) {
  switch (picture.colorspace) {
    case AVCOL_SPC_BT709:
      return {0.2126, 0.0722};
    case AVCOL_SPC_BT2020_NCL:
    case AVCOL_SPC_BT2020_CL:
      return {0.2627, 0.0593};
    case AVCOL_SPC_SMPTE240M:
      return {0.212, 0.087};
    case AVCOL_SPC_BT470BG:
    case AVCOL_SPC_SMPTE170M:
    case AVCOL_SPC_FCC:
      return {0.299, 0.114};
    default:
      return picture.height > 576 ? luma_weights{0.2126, 0.0722} : luma_weights{0.299, 0.114};
  }
}

bool is_full_range(const AVFrame& picture) {
  switch (picture.format) {
    case AV_PIX_FMT_YUVJ420P:
    case AV_PIX_FMT_YUVJ422P:
    case AV_PIX_FMT_YUVJ444P:
    case AV_PIX_FMT_YUVJ440P:
      return true;
    default:
      return picture.color_range == AVCOL_RANGE_JPEG;
  }
}

// Samples of a plane of `bits` to bytes, rounded to nearest.
void plane_to_bytes(const AVFrame& picture, int plane, int bits, img::image& image, int target) {
  const std::uint32_t weight = bits > 8 ? sources::make_word_weight(bits) : 0;
  parallel_rows(image.height, static_cast<long long>(image.width) * image.height, [&](int first, int last) {
    for (int y = first; y < last; ++y) {
      const std::uint8_t* from = picture.data[plane] + static_cast<std::ptrdiff_t>(y) * picture.linesize[plane];
      std::uint8_t* to = image.row(target, y);
      if (bits == 8) {
        std::memcpy(to, from, static_cast<std::size_t>(image.width));
      } else {
        sources::narrow_words(reinterpret_cast<const std::uint16_t*>(from), to, image.width, weight);
      }
    }
  });
}

bool is_host_order_integer(const AVPixFmtDescriptor& form) {
  return !(form.flags & (AV_PIX_FMT_FLAG_BE | AV_PIX_FMT_FLAG_FLOAT | AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BITSTREAM |
                         AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_BAYER));
}

// Every component has a plane of its own with nothing between the samples.
bool is_fully_planar(const AVPixFmtDescriptor& form) {
  const int bits = form.comp[0].depth;
  for (int c = 0; c < form.nb_components; ++c) {
    if (form.comp[c].step != (bits > 8 ? 2 : 1) || form.comp[c].shift != 0 || form.comp[c].depth != bits) return false;
    for (int other = 0; other < c; ++other) {
      if (form.comp[c].plane == form.comp[other].plane) return false;
    }
  }
  return true;
}

// Red, green and blue of less than 8 bits in one word.
bool is_narrow_rgb(const AVPixFmtDescriptor& form) {
  constexpr auto other = AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_HWACCEL |
                         AV_PIX_FMT_FLAG_BAYER | AV_PIX_FMT_FLAG_PLANAR | AV_PIX_FMT_FLAG_FLOAT;
  return (form.flags & AV_PIX_FMT_FLAG_RGB) && !(form.flags & other) && form.nb_components == 3 &&
         form.comp[0].depth < 8 && form.comp[1].depth < 8 && form.comp[2].depth < 8;
}

}  // namespace

bool has_alpha(AVPixelFormat format) {
  const AVPixFmtDescriptor* form = av_pix_fmt_desc_get(format);
  return form && (form->flags & AV_PIX_FMT_FLAG_ALPHA) && !(form->flags & AV_PIX_FMT_FLAG_PAL);
}

bool picture_converter::convert(const AVFrame& picture, img::image& image) {
  const AVPixFmtDescriptor* form = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
  if (!form || picture.width < 1 || picture.height < 1) return false;
  if (is_host_order_integer(*form) && is_fully_planar(*form)) {
    const int bits = form->comp[0].depth;
    if (form->flags & AV_PIX_FMT_FLAG_RGB) return convert_planar_rgb(picture, *form, image);
    if (form->nb_components == 1) {
      host().reset_image(image, "L", 8, picture.width, picture.height);
      plane_to_bytes(picture, 0, bits, image, 0);
      return true;
    }
    if (form->nb_components >= 3 && bits <= 14 && form->log2_chroma_w <= 1) return convert_yuv(picture, *form, image);
  }
  if (is_narrow_rgb(*form)) return convert_narrow_rgb(picture, *form, image);
  return convert_by_scaler(picture, *form, image);
}

// The scaler puts zeros below the few bits, so that white would not be white.
bool picture_converter::convert_narrow_rgb(const AVFrame& picture, const AVPixFmtDescriptor& form, img::image& image) {
  host().reset_image(image, "BGR", 8, picture.width, picture.height);
  parallel_rows(image.height, static_cast<long long>(image.width) * image.height, [&](int first, int last) {
    const std::uint8_t* planes[4] = {picture.data[0]};
    const int strides[4] = {picture.linesize[0]};
    std::vector<std::uint16_t> row(static_cast<std::size_t>(image.width));
    for (int y = first; y < last; ++y) {
      for (int c = 0; c < 3; ++c) {
        av_read_image_line(row.data(), planes, strides, &form, 0, y, c, image.width, 0);
        const int most = (1 << form.comp[c].depth) - 1;
        std::uint8_t* out = image.row(2 - c, y);
        for (std::size_t x = 0; x < row.size(); ++x)
          out[x] = static_cast<std::uint8_t>((row[x] * 255 + most / 2) / most);
      }
    }
  });
  return true;
}

bool picture_converter::convert_yuv(const AVFrame& picture, const AVPixFmtDescriptor& form, img::image& image) {
  const int bits = form.comp[0].depth;
  const bool alpha = form.nb_components == 4;
  host().reset_image(image, alpha ? "BGRA" : "BGR", 8, picture.width, picture.height);
  const auto [red, blue] = matrix_of(picture);
  const sources::yuv_weights weights = sources::make_yuv_weights(red, blue, is_full_range(picture), bits);
  const sources::yuv_row_function convert_row = host().yuv_row();
  parallel_rows(image.height, static_cast<long long>(image.width) * image.height, [&](int first, int last) {
    for (int y = first; y < last; ++y) {
      const auto line = [&](int component, int row) {
        const int plane = form.comp[component].plane;
        return picture.data[plane] + static_cast<std::ptrdiff_t>(row) * picture.linesize[plane];
      };
      const int chroma_y = y >> form.log2_chroma_h;
      convert_row({line(0, y), line(1, chroma_y), line(2, chroma_y), bits > 8 ? 2 : 1, form.log2_chroma_w,
                   image.row(0, y), image.row(1, y), image.row(2, y), image.width},
                  weights);
    }
  });
  if (alpha) plane_to_bytes(picture, form.comp[3].plane, bits, image, 3);
  return true;
}

bool picture_converter::convert_planar_rgb(const AVFrame& picture, const AVPixFmtDescriptor& form, img::image& image) {
  const int bits = form.comp[0].depth;
  const bool alpha = form.nb_components == 4;
  host().reset_image(image, alpha ? "BGRA" : "BGR", 8, picture.width, picture.height);
  // Components are red, green, blue, alpha.
  for (int c = 0; c < form.nb_components; ++c)
    plane_to_bytes(picture, form.comp[c].plane, bits, image, c < 3 ? 2 - c : 3);
  return true;
}

bool picture_converter::convert_by_scaler(const AVFrame& picture, const AVPixFmtDescriptor& form, img::image& image) {
  const auto format = static_cast<AVPixelFormat>(picture.format);
  const bool gray = form.nb_components == 1 && !(form.flags & (AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BAYER));
  const bool alpha = has_alpha(format);
  const AVPixelFormat wanted = gray ? AV_PIX_FMT_GRAY8 : alpha ? AV_PIX_FMT_GBRAP : AV_PIX_FMT_GBRP;
  const int flags = SWS_POINT | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT;
  scaler_.reset(sws_getCachedContext(scaler_.release(), picture.width, picture.height, format, picture.width,
                                     picture.height, wanted, flags, nullptr, nullptr, nullptr));
  if (!scaler_) return false;
  const bool bt709 = std::lrint(matrix_of(picture).red * 1e4) == 2126;
  const bool bt2020 = std::lrint(matrix_of(picture).red * 1e4) == 2627;
  const int* coefficients = sws_getCoefficients(bt2020 ? SWS_CS_BT2020 : bt709 ? SWS_CS_ITU709 : SWS_CS_ITU601);
  sws_setColorspaceDetails(scaler_.get(), coefficients, is_full_range(picture), coefficients, 1, 0, 1 << 16, 1 << 16);
  host().reset_image(image, gray ? "L" : alpha ? "BGRA" : "BGR", 8, picture.width, picture.height);
  // The library's plane order is green, blue, red.
  std::uint8_t* planes[4] = {};
  int strides[4] = {image.width, image.width, image.width, image.width};
  if (gray) {
    planes[0] = image.row(0, 0);
  } else {
    planes[0] = image.row(1, 0);
    planes[1] = image.row(0, 0);
    planes[2] = image.row(2, 0);
    if (alpha) planes[3] = image.row(3, 0);
  }
  return sws_scale(scaler_.get(), picture.data, picture.linesize, 0, picture.height, planes, strides) == picture.height;
}

}  // namespace media
