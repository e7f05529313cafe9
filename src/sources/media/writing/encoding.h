// How each codec is asked for: its encoder, the form of its pictures and the options.
#pragma once

#include <string>

#include "sources/media/library.h"
#include "sources/movie_writer.h"

namespace media {

// How pictures are handed to an encoder.
struct encoder_form {
  AVPixelFormat format = AV_PIX_FMT_NONE;
  int width = 0;  // with what is added to make it even where the codec wants that
  int height = 0;
  AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
  bool full_range = false;
  AVChromaLocation chroma = AVCHROMA_LOC_UNSPECIFIED;
};

// The form in which a movie's pictures are encoded. BT.601 up to 576 lines and always in JPEG, else BT.709, which
// DNxHR has always.
encoder_form form_of(const sources::movie_settings& settings);

// An open encoder. Null, with the reason, when this FFmpeg has none or it refuses the settings.
codec_ptr open_video_encoder(const sources::movie_settings& settings, const encoder_form& form,
                             const AVOutputFormat& container, sources::movie_failure& failure);
// For interleaved stereo of 16 bits: PCM, AAC in MP4.
codec_ptr open_sound_encoder(const sources::movie_settings& settings, const AVOutputFormat& container,
                             sources::movie_failure& failure);

// What an error number of the library says.
sources::movie_failure failure_of(int error);

}  // namespace media
