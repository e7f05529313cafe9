// Cameras and capture cards through libavdevice.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "sources/live_source.h"

namespace media {

// As sources::list_inputs() and sources::open_input(). Throw std::bad_alloc.
std::vector<std::string> list_inputs();
std::shared_ptr<sources::live_source> open_input(const std::string& name, std::string& reason);

}  // namespace media
