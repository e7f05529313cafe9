#include "img/formats/jpeg/half_chroma.h"

#include <algorithm>

namespace img {

bool has_half_chroma(const jpeg_decompress_struct& jpeg) {
  if (jpeg.num_components != 3 || jpeg.jpeg_color_space != JCS_YCbCr) return false;
  const jpeg_component_info* parts = jpeg.comp_info;
  const auto is = [](const jpeg_component_info& part, int factor) {
    return part.h_samp_factor == factor && part.v_samp_factor == factor;
  };
  // The library does not smooth the narrowest ones.
  return is(parts[0], 2) && is(parts[1], 1) && is(parts[2], 1) && jpeg.image_width > 4;
}

half_chroma_picture::half_chroma_picture(const jpeg_decompress_struct& jpeg, image& image)
    : image_(image),
      fresh_(image),
      scratch_(jpeg_scratch(static_cast<std::size_t>(image.width))),
      luma_stride_(std::size_t{DCTSIZE} * jpeg.comp_info[0].width_in_blocks),
      chroma_stride_(std::size_t{DCTSIZE} *
                     std::max(jpeg.comp_info[1].width_in_blocks, jpeg.comp_info[2].width_in_blocks)) {
  samples_.resize(2 * (luma_lines * luma_stride_ + 2 * DCTSIZE * chroma_stride_));
}

std::uint8_t* half_chroma_picture::luma_line(int y) {
  return samples_.data() + static_cast<std::size_t>(y % (2 * luma_lines)) * luma_stride_;
}

std::uint8_t* half_chroma_picture::chroma_line(int component, int y) {
  const std::size_t line =
      static_cast<std::size_t>(component - 1) * 2 * DCTSIZE + static_cast<std::size_t>(y % (2 * DCTSIZE));
  return samples_.data() + 2 * luma_lines * luma_stride_ + line * chroma_stride_;
}

void half_chroma_picture::take(j_decompress_ptr jpeg) {
  JSAMPROW luma[luma_lines], blue[DCTSIZE], red[DCTSIZE];
  for (int i = 0; i < luma_lines; ++i) luma[i] = luma_line(taken_ + i);
  for (int i = 0; i < DCTSIZE; ++i) {
    blue[i] = chroma_line(1, taken_ / 2 + i);
    red[i] = chroma_line(2, taken_ / 2 + i);
  }
  JSAMPARRAY parts[] = {luma, blue, red};
  jpeg_read_raw_data(jpeg, parts, luma_lines);
  taken_ += luma_lines;
}

void half_chroma_picture::make_rows() {
  const bool all = taken_ >= image_.height;
  const int last_chroma = (image_.height + 1) / 2 - 1;
  for (const int end = all ? image_.height : taken_ - 2; done_ < end; ++done_) {
    fresh_.reach(done_);
    const int near = done_ / 2;
    const int far = std::clamp(done_ % 2 == 0 ? near - 1 : near + 1, 0, last_chroma);
    convert_({luma_line(done_), chroma_line(1, near), chroma_line(1, far), chroma_line(2, near), chroma_line(2, far)},
             scratch_.data(), image_.row(0, done_), image_.row(1, done_), image_.row(2, done_),
             static_cast<std::size_t>(image_.width));
  }
}

}  // namespace img
