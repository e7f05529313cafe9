#include "save/memory.h"

#include <algorithm>
#include <cstdio>

#include "img/plane.h"
#include "platform/memory.h"
#include "render/image_pool.h"

namespace save {
namespace {

constexpr std::size_t composite_planes = 5;

std::string in_units(double bytes) {
  const bool large = bytes >= 1e9;
  char text[32];
  std::snprintf(text, sizeof text, large ? "%.1f GB" : "%.0f MB", bytes / (large ? 1e9 : 1e6));
  return text;
}

}  // namespace

std::size_t bytes_of(const picture& picture) {
  std::size_t bytes = picture.bytes ? cache::bytes_of(*picture.bytes) : 0;
  if (picture.floats) {
    for (const auto& plane : picture.floats->data) bytes += plane.size() * sizeof(plane[0]);
  }
  return bytes;
}

std::size_t composite_bytes(const ksn::state& composition, const render::frame_view& view) {
  const std::size_t eyes = view.eyes == ksn::target_view_type::both ? 2 : 1;
  std::size_t largest = 0;
  const std::vector<bool> taking_part = render::layers_taking_part(composition);
  for (std::size_t i = 0; i < taking_part.size(); ++i) {
    if (taking_part[i]) largest = std::max(largest, layer_bytes(composition.doc.tracks[i]));
  }
  return img::plane_bytes(8, view.width, view.height) * composite_planes * eyes + largest;
}

std::size_t layer_bytes(const ksn::track_info& track) {
  if (track.source.width <= 0 || track.source.height <= 0) return 0;
  return img::plane_bytes(8, track.source.width, track.source.height) * 3;
}

bool find_memory(cache::frame_cache& cache, std::size_t bytes) {
  if (platform::available_memory() >= bytes) return true;
  render::release_pooled_images();
  img::release_spare_planes();
  platform::release_free_memory();
  while (platform::available_memory() < bytes) {
    if (!cache.evict_oldest()) return false;
    img::release_spare_planes();
  }
  return true;
}

std::string too_large_text(std::size_t bytes) {
  return "One frame needs " + in_units(static_cast<double>(bytes)) + " of memory, and " +
         in_units(static_cast<double>(platform::available_memory())) + " are free";
}

}  // namespace save
