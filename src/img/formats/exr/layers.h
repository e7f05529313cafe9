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
  bool has_depth = false;             // a plane Z at place 4, after a gap when there is no alpha
  bool from_chroma = false;  // colours are to be computed from Y, RY and BY; `uses` has only what is beside them
  std::string shown_layer;   // that stands for the main picture of a file that has named layers only
};

// The main picture of the first part, or what `layer` names, and has `file` use its part: a channel of that very name
// as a gray picture, or the first of the suffix groups under that name, in the first part; then a part of that name, a
// layer or channel of a part as `part.layer`; then a layer or channel of any part. Throws io::invalid_format with
// "Empty layer", "Unsupported layer", "Unsupported channel type within a layer", "Channel type mismatch within a layer"
// and "Unsupported sampling rate", each followed by what was found.
//
// The main picture is R, G and B, in part missing only where Y alone, or Y with RY and BY, does not stand in for them.
// Without any of these it is the first layer that has colours.
exr_picture choose_picture(exr_file& file, const layer& layer);

// The main picture, then of the first part every group of channels with a common name in front of the last dot and the
// single channels that belong to none of them and can be read, then each further part and what it has of those as
// `part.layer`. Throws io::invalid_format when all parts are deep.
std::vector<layer> layers_of(const exr_file& file);

// Every channel that can be read as a gray picture, of further parts as `part.channel`.
std::vector<std::string> channels_of(const exr_file& file);

}  // namespace img
