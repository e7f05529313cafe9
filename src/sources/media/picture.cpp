#include "sources/media/picture.h"

#include <algorithm>
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

bool is_jpeg_form(const AVFrame& picture) {
  switch (picture.format) {
    case AV_PIX_FMT_YUVJ420P:
    case AV_PIX_FMT_YUVJ422P:
    case AV_PIX_FMT_YUVJ444P:
    case AV_PIX_FMT_YUVJ440P:
    case AV_PIX_FMT_YUVJ411P:
      return true;
    default:
      return false;
  }
}

bool is_full_range(const AVFrame& picture) {
  return is_jpeg_form(picture) || picture.color_range == AVCOL_RANGE_JPEG;
}

AVChromaLocation chroma_of(const AVFrame& picture) {
  if (picture.chroma_location != AVCHROMA_LOC_UNSPECIFIED) return picture.chroma_location;
  return is_jpeg_form(picture) ? AVCHROMA_LOC_CENTER : AVCHROMA_LOC_LEFT;
}

bool is_between_columns(AVChromaLocation chroma) {
  return chroma == AVCHROMA_LOC_CENTER || chroma == AVCHROMA_LOC_TOP || chroma == AVCHROMA_LOC_BOTTOM;
}

// Where a chroma row lies among its pixel rows: on the first, in their middle, on the last.
enum class chroma_height { top, middle, bottom };

chroma_height height_of(AVChromaLocation chroma) {
  switch (chroma) {
    case AVCHROMA_LOC_TOPLEFT:
    case AVCHROMA_LOC_TOP:
      return chroma_height::top;
    case AVCHROMA_LOC_BOTTOMLEFT:
    case AVCHROMA_LOC_BOTTOM:
      return chroma_height::bottom;
    default:
      return chroma_height::middle;
  }
}

// The chroma rows on both sides of a pixel row, and how much of the further one counts, in quarters.
struct chroma_rows {
  int near;
  int far;
  int quarters;
};

chroma_rows chroma_rows_of(int y, int height, chroma_height place) {
  const int near = y >> 1;
  const bool lower = (y & 1) != 0;
  const int far = std::clamp(lower ? near + 1 : near - 1, 0, (height + 1) / 2 - 1);
  if (place == chroma_height::middle) return {near, far, 1};
  return {near, far, lower == (place == chroma_height::top) ? 2 : 0};
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
    if (form->nb_components >= 3 && bits <= 14 && form->log2_chroma_w <= 1 && form->log2_chroma_h <= 1)
      return convert_yuv(picture, *form, image);
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
  const AVChromaLocation chroma = chroma_of(picture);
  const chroma_height height = height_of(chroma);
  const sources::chroma_across across = form.log2_chroma_w == 0      ? sources::chroma_on_each
                                        : is_between_columns(chroma) ? sources::chroma_between
                                                                     : sources::chroma_on_left;
  parallel_rows(image.height, static_cast<long long>(image.width) * image.height, [&](int first, int last) {
    for (int y = first; y < last; ++y) {
      const auto line = [&](int component, int row) {
        const int plane = form.comp[component].plane;
        return picture.data[plane] + static_cast<std::ptrdiff_t>(row) * picture.linesize[plane];
      };
      const chroma_rows rows = form.log2_chroma_h == 0 ? chroma_rows{y, y, 0} : chroma_rows_of(y, image.height, height);
      convert_row(
          {line(0, y), line(1, rows.near), line(2, rows.near), line(1, rows.far), line(2, rows.far), rows.quarters,
           bits > 8 ? 2 : 1, across, image.row(0, y), image.row(1, y), image.row(2, y), image.width},
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

bool picture_converter::prepare_scaler(const scaling& wanted, const AVPixFmtDescriptor& form) {
  if (scaler_ && wanted == scaler_is_for_) return true;
  scaler_.reset(sws_alloc_context());
  if (!scaler_) return false;
  const bool mixes = form.log2_chroma_w > 0 || form.log2_chroma_h > 0;
  const auto set = [&](const char* name, int value) { av_opt_set_int(scaler_.get(), name, value, 0); };
  set("srcw", wanted.width);
  set("srch", wanted.height);
  set("src_format", wanted.from);
  set("dstw", wanted.width);
  set("dsth", wanted.height);
  set("dst_format", wanted.to);
  set("sws_flags", (mixes ? SWS_BILINEAR : SWS_POINT) | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT);
  if (mixes) {
    // In 256ths of a pixel from the middle of the first one.
    const int across = (128 << form.log2_chroma_w) - 128;
    const int down = (128 << form.log2_chroma_h) - 128;
    const chroma_height height = height_of(wanted.chroma);
    set("src_h_chr_pos", is_between_columns(wanted.chroma) ? across : 0);
    set("src_v_chr_pos", height == chroma_height::top ? 0 : height == chroma_height::middle ? down : 2 * down);
  }
  scaler_is_for_ = wanted;
  if (sws_init_context(scaler_.get(), nullptr, nullptr) >= 0) return true;
  scaler_.reset();
  return false;
}

bool picture_converter::convert_by_scaler(const AVFrame& picture, const AVPixFmtDescriptor& form, img::image& image) {
  const auto format = static_cast<AVPixelFormat>(picture.format);
  const bool gray = form.nb_components == 1 && !(form.flags & (AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BAYER));
  const bool alpha = has_alpha(format);
  const AVPixelFormat wanted = gray ? AV_PIX_FMT_GRAY8 : alpha ? AV_PIX_FMT_GBRAP : AV_PIX_FMT_GBRP;
  if (!prepare_scaler({picture.width, picture.height, format, wanted, chroma_of(picture)}, form)) return false;
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
