#include "img/formats/exr/decode.h"

#include <algorithm>
#include <cstring>

#include "io/exceptions.h"

namespace img {
namespace {

void clear_columns(image& image, int plane, int y, int first, int last) {
  if (first < last)
    std::memset(image.row<std::uint16_t>(plane, y) + first, 0, static_cast<std::size_t>(last - first) * 2);
}

void clear_rows(image& image, int plane, int first, int last) {
  for (int y = first; y < last; ++y) clear_columns(image, plane, y, 0, image.width);
}

// Black where the windows do not overlap.
void clear_around(image& image, int plane, const exr_file& file, const exr_overlap& overlap) {
  if (overlap.empty()) return clear_rows(image, plane, 0, image.height);
  const exr_attr_v2i_t& origin = file.display_window().min;
  clear_rows(image, plane, 0, overlap.top - origin.y);
  for (int y = overlap.top - origin.y; y < overlap.bottom - origin.y; ++y) {
    clear_columns(image, plane, y, 0, overlap.left - origin.x);
    clear_columns(image, plane, y, overlap.right - origin.x, image.width);
  }
  clear_rows(image, plane, overlap.bottom - origin.y, image.height);
}

void read_area(const exr_file& file, const std::vector<exr_channel_use>& uses, image& image, const exr_overlap& area) {
  if (!read_uncompressed(file, uses, image, area) && !read_chunks(file, uses, image, area)) {
    read_by_library(file, uses, image, area);
  }
}

// The chunks of `area` that lie whole in a file of scan lines, as areas of their own.
std::vector<exr_overlap> whole_areas(const exr_file& file, const exr_overlap& area) {
  std::int32_t lines = 1;
  file.check(exr_get_scanlines_per_chunk(file.context(), file.part(), &lines));
  std::vector<exr_overlap> found;
  const int top = file.data_window().min.y;
  for (int y = top + (area.top - top) / lines * lines; y < area.bottom; y += lines) {
    exr_chunk_info_t info{};
    if (exr_read_scanline_chunk_info(file.context(), file.part(), y, &info) != EXR_ERR_SUCCESS) continue;
    const auto size = static_cast<std::uint64_t>(file.source().size());
    if (info.data_offset > size || info.packed_size > size - info.data_offset) continue;
    const int first = std::max(y, area.top);
    const int end = std::min(y + lines, area.bottom);
    if (!found.empty() && found.back().bottom == first) {
      found.back().bottom = end;
    } else {
      found.push_back({area.left, first, area.right, end});
    }
  }
  return found;
}

// After a failure: the lines whose chunks are whole, black for the others. False when none or all of them are.
bool read_what_is_there(const exr_file& file, const std::vector<exr_channel_use>& uses, image& image,
                        const exr_overlap& area) {
  if (file.is_tiled()) return false;
  const std::vector<exr_overlap> whole = whole_areas(file, area);
  int missing = area.bottom - area.top;
  for (const exr_overlap& part : whole) missing -= part.bottom - part.top;
  if (whole.empty() || missing == 0) return false;
  for (const exr_channel_use& use : uses) fill_plane(image.data[static_cast<std::size_t>(use.plane)], 0);
  for (const exr_overlap& part : whole) read_area(file, uses, image, part);
  image.note = std::to_string(missing) + " of " + std::to_string(area.bottom - area.top) +
               " lines are missing from the file and shown in black";
  return true;
}

}  // namespace

void check_chunk_sizes(const exr_file& file) {
  const exr_attr_box2i_t& data = file.data_window();
  std::int32_t width = data.max.x - data.min.x + 1;
  std::int32_t height = 1;
  std::int32_t chunks = 0;
  file.check(exr_get_chunk_count(file.context(), file.part(), &chunks));
  if (file.is_tiled()) {
    std::int32_t tile_width = 0;
    file.check(exr_get_tile_sizes(file.context(), file.part(), 0, 0, &tile_width, &height));
    width = std::min(width, tile_width);
  } else {
    file.check(exr_get_scanlines_per_chunk(file.context(), file.part(), &height));
  }
  height = std::min(height, data.max.y - data.min.y + 1);
  if (width < 1 || height < 1) throw io::invalid_format(file.path(), "Invalid tile size");

  double chunk_bytes = 0;
  for (int i = 0; i < file.channels().num_channels; ++i) {
    const exr_attr_chlist_entry_t& channel = file.channels().entries[i];
    if (channel.x_sampling < 1 || channel.y_sampling < 1) {
      throw io::invalid_format(file.path(), "Unsupported sampling rate");
    }
    chunk_bytes += (channel.pixel_type == EXR_PIXEL_HALF ? 2.0 : 4.0) * width * height /
                   (static_cast<double>(channel.x_sampling) * channel.y_sampling);
  }
  const double size = static_cast<double>(file.source().size());
  // Each has a place in the table of offsets and a header of its own.
  if (chunks < 0 || chunks * 16.0 > size || chunk_bytes > size * file.expansion()) throw io::eof_error(file.path());
}

exr_overlap overlap_of(const exr_file& file) {
  const exr_attr_box2i_t& data = file.data_window();
  const exr_attr_box2i_t& display = file.display_window();
  return {std::max(data.min.x, display.min.x), std::max(data.min.y, display.min.y),
          std::min(data.max.x, display.max.x) + 1, std::min(data.max.y, display.max.y) + 1};
}

void decode_channels(const exr_file& file, const std::vector<exr_channel_use>& uses, image& image) {
  // A channel is read once, into the first of its planes.
  std::vector<exr_channel_use> firsts;
  for (const exr_channel_use& use : uses) {
    const bool seen =
        std::any_of(firsts.begin(), firsts.end(), [&](const auto& f) { return f.channel == use.channel; });
    if (!seen) firsts.push_back(use);
  }
  const exr_overlap overlap = overlap_of(file);
  for (int plane = 0; plane < image::max_planes; ++plane) {
    if (!image.has_plane(plane)) continue;
    const auto use = std::find_if(uses.begin(), uses.end(), [&](const auto& u) { return u.plane == plane; });
    if (use == uses.end()) {
      fill_plane(image.data[static_cast<std::size_t>(plane)], 0);
    } else {
      clear_around(image, plane, file, overlap);
    }
  }
  if (!overlap.empty() && !firsts.empty()) {
    check_chunk_sizes(file);
    try {
      read_area(file, firsts, image, overlap);
    } catch (const io::exception&) {
      if (!read_what_is_there(file, firsts, image, overlap)) throw;
    }
  }
  for (const exr_channel_use& use : uses) {
    const auto first =
        std::find_if(firsts.begin(), firsts.end(), [&](const auto& f) { return f.channel == use.channel; });
    if (first->plane != use.plane) {
      copy_plane(image.data[static_cast<std::size_t>(use.plane)], image.data[static_cast<std::size_t>(first->plane)]);
    }
  }
}

}  // namespace img
