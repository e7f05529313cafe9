// The actions that say what a picture carries: print_metadata and print_image_layers.
#pragma once

#include <string>
#include <vector>

#include "command/engine.h"
#include "img/image.h"
#include "render/pipeline.h"

namespace render {

// Lines of the form `name=value`: path, size, pixel_form, frame, timecode, timecode2, keycode and rate, where nothing
// follows the sign for what is not known, and then the metadata in the order of the names. A value has no line ends.
std::vector<std::string> describe_picture(const img::image& picture);

void register_information(command::engine& engine, pipeline& pipeline);

}  // namespace render
