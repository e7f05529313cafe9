// Uncompressed scan lines of halves: the system copies them from the page cache into the planes, with nothing between.
#include <algorithm>
#include <array>
#include <cerrno>

#include "img/formats/exr/decode.h"
#include "img/formats/shared/parallel_tasks.h"
#include "img/fresh_rows.h"
#include "io/exceptions.h"

namespace img {
namespace {

constexpr int most_pieces = 1024;        // that the system takes in one call
constexpr std::int64_t line_header = 8;  // the line's number and the size of its data

// One line of the file as pieces that go to planes, or nowhere.
struct line_piece {
  int plane = -1;
  int column = 0;  // in the plane
  std::size_t bytes = 0;
};

std::vector<line_piece> pieces_of_a_line(const exr_file& file, const std::vector<exr_channel_use>& uses,
                                         const exr_overlap& overlap) {
  const exr_attr_box2i_t& data = file.data_window();
  std::vector<line_piece> pieces;
  const auto add = [&](int plane, int column, int samples) {
    const std::size_t bytes = static_cast<std::size_t>(samples) * 2;
    if (bytes == 0) return;
    if (plane < 0 && !pieces.empty() && pieces.back().plane < 0) {
      pieces.back().bytes += bytes;
    } else {
      pieces.push_back({plane, column, bytes});
    }
  };
  for (int i = 0; i < file.channels().num_channels; ++i) {
    const auto use = std::find_if(uses.begin(), uses.end(), [&](const auto& u) { return u.channel == i; });
    if (use == uses.end()) {
      add(-1, 0, data.max.x - data.min.x + 1);
    } else {
      add(-1, 0, overlap.left - data.min.x);
      add(use->plane, overlap.left - file.display_window().min.x, overlap.right - overlap.left);
      add(-1, 0, data.max.x + 1 - overlap.right);
    }
  }
  return pieces;
}

bool is_plain(const exr_file& file) {
  if (file.compression() != EXR_COMPRESSION_NONE || file.is_tiled() || file.has_parts()) return false;
  const exr_attr_chlist_t& list = file.channels();
  return std::all_of(list.entries, list.entries + list.num_channels, [](const exr_attr_chlist_entry_t& c) {
    return c.pixel_type == EXR_PIXEL_HALF && c.x_sampling == 1 && c.y_sampling == 1;
  });
}

}  // namespace

bool read_uncompressed(const exr_file& file, const std::vector<exr_channel_use>& uses, image& image,
                       const exr_overlap& overlap) {
  if (!is_plain(file)) return false;
  const std::vector<line_piece> pieces = pieces_of_a_line(file, uses, overlap);
  const int lines_at_once = most_pieces / (static_cast<int>(pieces.size()) + 1);
  if (lines_at_once < 1) return false;
  std::int64_t line_bytes = 0;
  std::size_t unused = 0;  // of the largest piece that goes nowhere
  for (const line_piece& piece : pieces) {
    line_bytes += static_cast<std::int64_t>(piece.bytes);
    if (piece.plane < 0) unused = std::max(unused, piece.bytes);
  }
  // Lines follow each other in nearly every file; in any other they are read one by one.
  exr_chunk_info_t first{};
  exr_chunk_info_t last{};
  file.check(exr_read_scanline_chunk_info(file.context(), file.part(), overlap.top, &first));
  file.check(exr_read_scanline_chunk_info(file.context(), file.part(), overlap.bottom - 1, &last));
  const std::int64_t stride = line_bytes + line_header;
  const std::int64_t lines = overlap.bottom - overlap.top;
  const auto begin = static_cast<std::int64_t>(first.data_offset) - line_header;
  if (static_cast<std::int64_t>(last.data_offset) - line_header != begin + (lines - 1) * stride) return false;
  file.source().check_range(begin, lines * stride);

  struct worker {
    std::array<iovec, most_pieces> vectors;
    std::vector<std::int32_t> headers;  // of the lines
    std::vector<std::uint8_t> nowhere;  // what is not wanted lands here
  };
  const fresh_rows fresh(image);
  const int blocks = (static_cast<int>(lines) + lines_at_once - 1) / lines_at_once;
  parallel_tasks<worker>(blocks, lib::thread_count(), [&](int block, worker& own) {
    const int from = block * lines_at_once;
    const int to = std::min(from + lines_at_once, static_cast<int>(lines));
    own.headers.resize(static_cast<std::size_t>(lines_at_once) * 2);
    own.nowhere.resize(unused);
    fresh.prepare(overlap.top + from - file.display_window().min.y, overlap.top + to - file.display_window().min.y);
    int count = 0;
    for (int line = from; line < to; ++line) {
      own.vectors[static_cast<std::size_t>(count++)] = {&own.headers[static_cast<std::size_t>(line - from) * 2],
                                                        line_header};
      const int y = overlap.top + line - file.display_window().min.y;
      for (const line_piece& piece : pieces) {
        void* target = own.nowhere.data();
        if (piece.plane >= 0) target = image.row<std::uint16_t>(piece.plane, y) + piece.column;
        own.vectors[static_cast<std::size_t>(count++)] = {target, piece.bytes};
      }
    }
    const std::int64_t got = file.source().raw().read_pieces(own.vectors.data(), count, begin + from * stride);
    if (got < 0) throw io::read_error(file.path(), errno);
    if (got != (to - from) * stride) throw io::eof_error(file.path());
    for (int line = from; line < to; ++line) {
      const std::int32_t* header = &own.headers[static_cast<std::size_t>(line - from) * 2];
      if (header[0] != overlap.top + line || header[1] != line_bytes) {
        throw io::invalid_format(file.path(), "Invalid chunk data at line " + std::to_string(overlap.top + line));
      }
    }
  });
  return true;
}

}  // namespace img
