// Pictures of ours as frames for an encoder.
#pragma once

#include <cstdint>
#include <vector>

#include "sources/media/writing/encoding.h"

namespace media {

struct pool_closer {
  void operator()(AVBufferPool* pool) const { av_buffer_pool_uninit(&pool); }
};

// One thread at a time; the frames may be read and freed on any.
class frame_maker {
 public:
  // Of pictures with these planes; `form` is that of the encoder.
  frame_maker(const encoder_form& form, const sources::movie_settings& settings, const sources::writing_host& lent);

  // Null when there is no memory.
  frame_ptr make(const sources::movie_picture& picture);

 private:
  const sources::writing_host* lent_;
  encoder_form form_;
  int width_ = 0;  // of the pictures
  int height_ = 0;
  bool deep_ = false;
  int bits_ = 8;  // of a sample of the frame
  int half_x_ = 0;
  int half_y_ = 0;
  bool rgb_ = false;
  bool planar_ = false;
  sources::yuv_matrix luma_{};    // from samples as they come
  sources::yuv_matrix chroma_{};  // from samples as the rows for chroma leave them
  std::unique_ptr<AVBufferPool, pool_closer> pool_;

  frame_ptr allocate();
  void make_yuv(const sources::movie_picture& picture, AVFrame& frame) const;
  void make_alpha(const void* plane, AVFrame& frame) const;
  void make_packed(const sources::movie_picture& picture, AVFrame& frame) const;
  void make_planar(const sources::movie_picture& picture, AVFrame& frame) const;
  void pad(AVFrame& frame) const;
};

}  // namespace media
