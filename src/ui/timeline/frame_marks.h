// Frames that are in memory, being read, failed or without a file, as columns of pixels on the scale of the ruler.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "cache/reading/frame_board.h"
#include "composition/document.h"
#include "lib/color.h"
#include "lib/rectangle.h"
#include "ui/timeline/ruler_scale.h"

namespace ui {

class painter;

// In the order of what wins in a column that stands for several frames of a layer, but for `missing`, which wins over
// the two after it.
enum class mark : std::uint8_t {
  none,     // the layer has no frame there
  missing,  // not in memory
  reading,  // being read, or soon
  kept,     // all of it in memory
  failed    // one could not be read
};

// Frames of a column that have no file, since their sequence has a hole there.
enum class hole : std::uint8_t { none, some, all };

// A layer's columns from the left end of the ruler to its right end.
struct layer_columns {
  std::vector<mark> marks;
  std::vector<hole> holes;  // empty where the source has none
};

// The columns of every layer and of the whole composition. Main thread.
class mark_table {
 public:
  // Before they are drawn. A frame whose state changed costs its own column, a layer that moved costs its frames, and
  // another scale all of them.
  void update(const ksn::document& doc, const cache::frame_board& board, const ruler_scale& ruler);

  // Of the layer with that index at the last update. Empty for a layer without frames of files.
  const layer_columns& of(int index) const { return rows_[static_cast<std::size_t>(index)].columns; }
  // Of all visible layers: kept where every one that has a frame there keeps it, failed where one could not be read.
  std::span<const mark> all() const { return all_; }
  // The pixel of the client area where the columns begin.
  int left() const { return ruler_.left(); }

 private:
  // All that the columns of a layer depend on beside the states of its frames.
  struct row {
    int id = 0;
    bool counted = false;      // in the columns of the composition
    std::uint64_t source = 0;  // as the board calls it
    int frames = 0;
    ksn::layer_timing timing;
    ksn::frame_names names;  // shared
    layer_columns columns;
  };
  using counts = std::array<int, 5>;  // layers of a column by their mark

  ruler_scale ruler_{0, 0, 0};
  std::uint64_t seen_ = 0;     // revision of the board
  std::uint64_t listing_ = 0;  // of the board, that the sources of the rows are of
  std::vector<row> rows_;      // by index of the layer
  std::vector<counts> counts_;
  std::vector<mark> all_;

  static bool keeps(const row& row, const ksn::track_info& track);
  void rebuild(row& row, const ksn::track_info& track, const cache::frame_board& board);
  void refresh(row& row, const ksn::track_info& track, std::span<const cache::frame_presence> states, int frame);
  void count(const row& row, int by);
  std::size_t columns() const { return counts_.size(); }
};

// --- the arithmetic ---

// The mark of column x, a pixel of the client area. `states` are those of the layer's source frames.
mark mark_at(const ksn::track_info& track, std::span<const cache::frame_presence> states, const ruler_scale& ruler,
             int x);

// --- drawing; `from` is the pixel of the client area that the first column stands at, `box` what is drawn of them ---

// Blue for what is in memory, a fainter blue for what is being read, red for what failed. On a bar that is blue itself
// what is in memory is lighter.
void draw_marks(painter& on, std::span<const mark> columns, int from, const math::rectangle& box, bool on_selected);
// Holes in a bar of that colour over that ground.
void draw_holes(painter& on, std::span<const hole> columns, int from, const math::rectangle& box, lib::color bar,
                lib::color ground);

}  // namespace ui
