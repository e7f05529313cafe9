// The bytes that the pictures of a save take, and whether there is room for them.
#pragma once

#include <cstddef>
#include <string>

#include "cache/frame_cache.h"
#include "render/compositor.h"
#include "save/picture_file.h"

namespace save {

std::size_t bytes_of(const picture& picture);

// The least bytes that one frame takes while it is made: its own planes and its largest source.
std::size_t composite_bytes(const ksn::state& composition, const render::frame_view& view);
std::size_t layer_bytes(const ksn::track_info& track);

// Whether so much is free, after pictures that are only kept for later use have gone where that is needed.
bool find_memory(cache::frame_cache& cache, std::size_t bytes);

// "One frame needs 4.2 GB of memory, and 0.4 GB are free"
std::string too_large_text(std::size_t bytes);

}  // namespace save
