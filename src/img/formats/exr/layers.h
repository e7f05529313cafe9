// Which channels of an OpenEXR file make a picture.
#pragma once

#include <string>
#include <vector>

#include "img/formats/exr/file.h"
#include "img/image.h"

namespace img {

// A channel, by its place in the file's list, and the plane of the picture that it fills. A channel may fill several.
struct exr_channel_use {
  int channel = 0;
  int plane = 0;
};

struct exr_picture {
  std::string letters;                // of the planes in front, as for image::reset
  std::vector<exr_channel_use> uses;  // planes of the picture that no channel fills are black
  bool has_depth = false;             // a plane Z at place 4, behind a gap when there is no alpha
  bool from_chroma = false;  // colours are to be computed from Y, RY and BY; `uses` has only what is beside them
};

// The main picture, or the channels that `layer` names: a channel of that very name as a gray picture, or else the
// first of the suffix groups. Throws io::invalid_format with "Empty layer", "Unsupported layer", "Unsupported channel
// type within a layer", "Channel type mismatch within a layer" and "Unsupported sampling rate".
exr_picture choose_picture(const exr_file& file, const layer& layer);

// The main picture, then every group of channels with a common name in front of the last dot, then the single channels
// that belong to none of them and can be read.
std::vector<layer> layers_of(const exr_file& file);

}  // namespace img
