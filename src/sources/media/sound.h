// The sound of a movie as one PCM block.
#pragma once

#include <memory>
#include <string>

#include "sources/media/container.h"
#include "sources/wave.h"

namespace media {

// Decodes the whole first audio stream to 16 bits, one or two channels at its own rate. Sample 0 belongs to frame 0 of
// the picture: sound that begins later gets silence in front, what lies before is cut. Null without sound.
std::shared_ptr<const sources::wave_context> decode_sound(sources::clip_kind kind, const std::string& path,
                                                          const timing& picture);

}  // namespace media
