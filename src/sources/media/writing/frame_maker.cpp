#include "sources/media/writing/frame_maker.h"

#include <algorithm>
#include <cstring>

namespace media {
namespace {

constexpr int alignment = 64;

template <class Sample>
const Sample* row_of(const void* plane, int y, int width) {
  return static_cast<const Sample*>(plane) + static_cast<std::size_t>(y) * static_cast<std::size_t>(width);
}

std::uint8_t* line_of(const AVFrame& frame, int plane, int y) {
  return frame.data[plane] + static_cast<std::ptrdiff_t>(y) * frame.linesize[plane];
}

// One row of a matrix over bytes or words, to bytes or words.
void weigh(const sources::yuv_making_rows& rows, const void* b, const void* g, const void* r, bool words_in, void* out,
           bool words_out, const sources::matrix_row& row, std::size_t count) {
  const auto bytes = [](const void* p) { return static_cast<const std::uint8_t*>(p); };
  const auto words = [](const void* p) { return static_cast<const std::uint16_t*>(p); };
  if (words_in) {
    if (words_out) {
      rows.weigh_16_to_16(words(b), words(g), words(r), static_cast<std::uint16_t*>(out), &row, count);
    } else {
      rows.weigh_16_to_8(words(b), words(g), words(r), static_cast<std::uint8_t*>(out), &row, count);
    }
  } else if (words_out) {
    rows.weigh_8_to_16(bytes(b), bytes(g), bytes(r), static_cast<std::uint16_t*>(out), &row, count);
  } else {
    rows.weigh_8_to_8(bytes(b), bytes(g), bytes(r), static_cast<std::uint8_t*>(out), &row, count);
  }
}

}  // namespace

frame_maker::frame_maker(const encoder_form& form, const sources::movie_settings& settings,
                         const sources::writing_host& lent)
    : lent_(&lent), form_(form), width_(settings.width), height_(settings.height), deep_(settings.deep) {
  const AVPixFmtDescriptor& pixels = *av_pix_fmt_desc_get(form.format);
  bits_ = pixels.comp[0].depth;
  half_x_ = pixels.log2_chroma_w;
  half_y_ = pixels.log2_chroma_h;
  rgb_ = (pixels.flags & AV_PIX_FMT_FLAG_RGB) != 0;
  planar_ = (pixels.flags & AV_PIX_FMT_FLAG_PLANAR) != 0;
  const int size = av_image_get_buffer_size(form.format, form.width, form.height, alignment);
  pool_.reset(av_buffer_pool_init(static_cast<std::size_t>(std::max(size, 0)) + AV_INPUT_BUFFER_PADDING_SIZE, nullptr));
  if (rgb_) return;
  const bool bt709 = form.matrix == AVCOL_SPC_BT709;
  const double red = bt709 ? 0.2126 : 0.299;
  const double blue = bt709 ? 0.0722 : 0.114;
  const int most = deep_ ? 65535 : 255;
  luma_ = sources::make_yuv_matrix(red, blue, form.full_range, bits_, most);
  chroma_ = half_x_ == 0 ? luma_
                         : sources::make_yuv_matrix(red, blue, form.full_range, bits_,
                                                    deep_ ? most : static_cast<int>(sources::halved_8_max));
}

frame_ptr frame_maker::allocate() {
  frame_ptr frame(av_frame_alloc());
  if (!frame || !pool_) return nullptr;
  frame->buf[0] = av_buffer_pool_get(pool_.get());
  if (!frame->buf[0]) return nullptr;
  frame->format = form_.format;
  frame->width = form_.width;
  frame->height = form_.height;
  frame->color_range = form_.full_range ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
  frame->color_primaries = AVCOL_PRI_BT709;
  frame->color_trc = AVCOL_TRC_BT709;
  frame->colorspace = form_.matrix;
  frame->chroma_location = form_.chroma;
  frame->sample_aspect_ratio = {1, 1};
  frame->extended_data = frame->data;
  return av_image_fill_arrays(frame->data, frame->linesize, frame->buf[0]->data, form_.format, form_.width,
                              form_.height, alignment) < 0
             ? nullptr
             : std::move(frame);
}

frame_ptr frame_maker::make(const sources::movie_picture& picture) {
  frame_ptr frame = allocate();
  if (!frame) return nullptr;
  if (!rgb_) {
    make_yuv(picture, *frame);
    if (av_pix_fmt_desc_get(form_.format)->nb_components == 4) make_alpha(picture.planes[3], *frame);
    pad(*frame);
  } else if (planar_) {
    make_planar(picture, *frame);
  } else {
    make_packed(picture, *frame);
  }
  return frame;
}

void frame_maker::make_yuv(const sources::movie_picture& picture, AVFrame& frame) const {
  const sources::yuv_making_rows& rows = lent_->yuv_rows();
  const bool words_out = bits_ > 8;
  const std::size_t sample = deep_ ? 2 : 1;
  const auto row = [&](int plane, int y) {
    return static_cast<const std::uint8_t*>(picture.planes[static_cast<std::size_t>(plane)]) +
           static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) * sample;
  };
  const auto width = static_cast<std::size_t>(width_);
  const int chroma_rows = (height_ + (1 << half_y_) - 1) >> half_y_;
  parallel_rows(chroma_rows, static_cast<long long>(width_) * height_, [&](int first, int last) {
    const std::size_t chroma_width = half_x_ > 0 ? (width + 1) / 2 : width;
    std::vector<std::uint16_t> halves(half_x_ > 0 ? 3 * chroma_width : 0);
    for (int at = first; at < last; ++at) {
      const int upper = at << half_y_;
      const int lower = std::min(upper + half_y_, height_ - 1);
      for (int y = upper; y <= lower; ++y)
        weigh(rows, row(0, y), row(1, y), row(2, y), deep_, line_of(frame, 0, y), words_out, luma_.y, width);
      const void* from[3] = {row(0, upper), row(1, upper), row(2, upper)};
      bool words_in = deep_;
      if (half_x_ > 0) {
        const auto across = form_.chroma == AVCHROMA_LOC_CENTER ? sources::chroma_between : sources::chroma_on_left;
        for (int c = 0; c < 3; ++c) {
          std::uint16_t* half = halves.data() + static_cast<std::size_t>(c) * chroma_width;
          if (deep_) {
            rows.halve_16(row_of<std::uint16_t>(picture.planes[static_cast<std::size_t>(c)], upper, width_),
                          row_of<std::uint16_t>(picture.planes[static_cast<std::size_t>(c)], lower, width_), half,
                          width, across);
          } else {
            rows.halve_8(row(c, upper), row(c, lower), half, width, across);
          }
          from[c] = half;
        }
        words_in = true;
      }
      weigh(rows, from[0], from[1], from[2], words_in, line_of(frame, 1, at), words_out, chroma_.u, chroma_width);
      weigh(rows, from[0], from[1], from[2], words_in, line_of(frame, 2, at), words_out, chroma_.v, chroma_width);
    }
  });
}

void frame_maker::make_alpha(const void* plane, AVFrame& frame) const {
  const int shift = 16 - bits_;
  for (int y = 0; y < height_; ++y) {
    auto* out = reinterpret_cast<std::uint16_t*>(line_of(frame, 3, y));
    if (!plane) {
      std::fill_n(out, width_, static_cast<std::uint16_t>((1 << bits_) - 1));
    } else if (deep_) {
      const std::uint16_t* in = row_of<std::uint16_t>(plane, y, width_);
      for (int x = 0; x < width_; ++x) out[x] = static_cast<std::uint16_t>(in[x] >> shift);
    } else {
      const std::uint8_t* in = row_of<std::uint8_t>(plane, y, width_);
      for (int x = 0; x < width_; ++x) out[x] = static_cast<std::uint16_t>((in[x] * 257) >> shift);
    }
  }
}

// The last column and row again, where the codec has one more than the picture.
void frame_maker::pad(AVFrame& frame) const {
  if (form_.width == width_ && form_.height == height_) return;
  // Chroma has been made for the rounded size already.
  for (int y = 0; form_.width > width_ && y < height_; ++y)
    line_of(frame, 0, y)[width_] = line_of(frame, 0, y)[width_ - 1];
  if (form_.height > height_)
    std::memcpy(line_of(frame, 0, height_), line_of(frame, 0, height_ - 1), static_cast<std::size_t>(form_.width));
}

void frame_maker::make_packed(const sources::movie_picture& picture, AVFrame& frame) const {
  const auto& [blue, green, red, alpha] = picture.planes;
  const AVPixelFormat format = form_.format;
  if (bits_ > 8) {
    const std::size_t channels = format == AV_PIX_FMT_RGBA64BE ? 4 : 3;
    for (int y = 0; y < height_; ++y) {
      const std::uint16_t* from[4] = {row_of<std::uint16_t>(red, y, width_), row_of<std::uint16_t>(green, y, width_),
                                      row_of<std::uint16_t>(blue, y, width_),
                                      alpha ? row_of<std::uint16_t>(alpha, y, width_) : nullptr};
      std::uint8_t* out = line_of(frame, 0, y);
      for (int x = 0; x < width_; ++x) {
        for (std::size_t c = 0; c < channels; ++c, out += 2) {
          const int value = from[c] ? from[c][x] : 65535;
          out[0] = static_cast<std::uint8_t>(value >> 8);
          out[1] = static_cast<std::uint8_t>(value);
        }
      }
    }
    return;
  }
  const img::row_kernels& rows = lent_->row_kernels();
  const auto width = static_cast<std::size_t>(width_);
  const std::vector<std::uint8_t> opaque(alpha ? 0 : width, 255);
  for (int y = 0; y < height_; ++y) {
    const std::uint8_t* b = row_of<std::uint8_t>(blue, y, width_);
    const std::uint8_t* g = row_of<std::uint8_t>(green, y, width_);
    const std::uint8_t* r = row_of<std::uint8_t>(red, y, width_);
    const std::uint8_t* a = alpha ? row_of<std::uint8_t>(alpha, y, width_) : opaque.data();
    std::uint8_t* out = line_of(frame, 0, y);
    switch (format) {
      case AV_PIX_FMT_BGR24:
        rows.join3(b, g, r, out, width);
        break;
      case AV_PIX_FMT_RGB24:
        rows.join3(r, g, b, out, width);
        break;
      case AV_PIX_FMT_RGBA:
        rows.join4(r, g, b, a, out, width);
        break;
      case AV_PIX_FMT_ARGB:
        rows.join4(a, r, g, b, out, width);
        break;
      default:
        rows.join4(b, g, r, a, out, width);
        break;
    }
  }
}

void frame_maker::make_planar(const sources::movie_picture& picture, AVFrame& frame) const {
  // The library's order is green, blue, red, alpha.
  const void* planes[4] = {picture.planes[1], picture.planes[0], picture.planes[2], picture.planes[3]};
  const std::size_t bytes = static_cast<std::size_t>(width_) * 2;
  for (int plane = 0; plane < 4 && frame.data[plane]; ++plane) {
    for (int y = 0; y < height_; ++y) {
      if (planes[plane]) {
        std::memcpy(line_of(frame, plane, y), row_of<std::uint16_t>(planes[plane], y, width_), bytes);
      } else {
        std::memset(line_of(frame, plane, y), 255, bytes);
      }
    }
  }
}

}  // namespace media
