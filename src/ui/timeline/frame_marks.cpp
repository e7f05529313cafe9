#include "ui/timeline/frame_marks.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <unordered_map>
#include <utility>

#include "ui/toolkit/painter.h"
#include "ui/toolkit/palette.h"

namespace ui {
namespace {

using cache::frame_presence;

constexpr int most_passes = 64;  // of a source that repeats, whose columns are looked for one by one

// Sums in place of early exits, so that the compiler takes many frames at once.
mark mark_of(std::span<const frame_presence> states) {
  std::size_t failed = 0;
  std::size_t kept = 0;
  std::size_t reading = 0;
  for (const frame_presence state : states) {
    failed += state == frame_presence::failed;
    kept += state == frame_presence::kept;
    reading += state == frame_presence::being_read || state == frame_presence::wanted;
  }
  if (failed > 0) return mark::failed;
  if (kept == states.size()) return mark::kept;
  return reading > 0 ? mark::reading : mark::missing;
}

// The first and the last source frame that a column stands for; the first is -1 where the layer is not there.
std::pair<int, int> source_frames(const ksn::track_info& track, const ruler_scale& ruler, int x) {
  const int in = track.timing.begin + track.in();
  const int out = track.timing.begin + track.out();
  if (x < ruler.x_of(in) || x >= std::max(ruler.x_of(out), ruler.x_of(in) + 1)) return {-1, -1};
  // The frames that begin in the column, whose pixel reaches half a one to either side; else the one that it lies in.
  const auto frame_from = [&](double column) {
    return static_cast<int>(std::ceil((column - ruler.left()) * ruler.frames_per_pixel()));
  };
  const int next = std::clamp(frame_from(x + 0.5), in + 1, out);
  const int begin = std::clamp(frame_from(x - 0.5), in, next - 1);
  const int first = static_cast<int>(track.source_position(begin));
  // Where the source repeats within a column, its first frame stands for it.
  return {first, std::max(first, static_cast<int>(track.source_position(next - 1)))};
}

mark mixed(const std::array<int, 5>& layers) {
  const auto has = [&](mark m) { return layers[static_cast<std::size_t>(m)] > 0; };
  for (const mark m : {mark::failed, mark::missing, mark::reading, mark::kept}) {
    if (has(m)) return m;
  }
  return mark::none;
}

int passes_of(const ksn::track_info& track) {
  return (track.out() - 1) / track.length() - track.in() / track.length() + 1;
}

// Calls use(x) for each column that the source frame may stand in.
template <class Use>
void columns_of(const ksn::track_info& track, const ruler_scale& ruler, int frame, int columns, Use use) {
  const int pass = track.length();
  const int first_pass = track.in() / pass;
  const int last_pass = (track.out() - 1) / pass;
  const double stretch = pass / static_cast<double>(std::max(track.source.frames, 1));
  for (int i = first_pass; i <= last_pass; ++i) {
    const double start = static_cast<double>(track.timing.begin) + static_cast<double>(i) * pass;
    const int begin = ruler.x_of(start + frame * stretch - 1) - ruler.left() - 1;
    const int end = ruler.x_of(start + (frame + 1) * stretch + 1) - ruler.left() + 1;
    for (int x = std::max(begin, 0); x < std::min(end, columns); ++x) use(x);
  }
}

std::vector<hole> holes_of(const ksn::track_info& track, const ruler_scale& ruler, std::size_t columns) {
  const std::span<const std::uint32_t> missing = track.source.names.holes();
  if (missing.empty()) return {};
  std::vector<hole> holes(columns, hole::none);
  for (std::size_t i = 0; i < columns; ++i) {
    const auto [first, last] = source_frames(track, ruler, ruler.left() + static_cast<int>(i));
    if (first < 0) continue;
    const auto begin = std::lower_bound(missing.begin(), missing.end(), static_cast<std::uint32_t>(first));
    const auto end = std::upper_bound(begin, missing.end(), static_cast<std::uint32_t>(last));
    if (begin != end) holes[i] = end - begin == last - first + 1 ? hole::all : hole::some;
  }
  return holes;
}

lib::color between(lib::color a, lib::color b) {
  const auto mean = [](int x, int y) { return static_cast<std::uint8_t>((x + y) / 2); };
  return {255, mean(a.r, b.r), mean(a.g, b.g), mean(a.b, b.b)};
}

// Columns in their colours, others left alone. `color_of(plane, column)` gives the value that a column takes where
// `takes(column)`.
template <class Column, class Choose>
void draw_columns(painter& on, std::span<const Column> columns, int from, const rectangle& box, Choose choose) {
  const int left = std::max({box.left, from, on.clip().left});
  const int right = std::min({box.right, from + static_cast<int>(columns.size()), on.clip().right});
  if (left >= right) return;
  const Column* first = columns.data() + (left - from);
  const int count = right - left;
  for (int plane = 0; plane < 3; ++plane) {
    for (int y = std::max(box.top, on.clip().top); y < std::min(box.bottom, on.clip().bottom); ++y) {
      std::uint8_t* row = on.target().row(plane, y) + left;
      for (int i = 0; i < count; ++i) row[i] = choose(plane, first[i], row[i]);
    }
  }
}

std::uint8_t plane_of(lib::color color, int plane) {
  return plane == 0 ? color.b : plane == 1 ? color.g : color.r;
}

}  // namespace

mark mark_at(const ksn::track_info& track, std::span<const frame_presence> states, const ruler_scale& ruler, int x) {
  const auto [first, last] = source_frames(track, ruler, x);
  if (first < 0 || static_cast<std::size_t>(last) >= states.size()) return mark::none;
  return mark_of(states.subspan(static_cast<std::size_t>(first), static_cast<std::size_t>(last - first + 1)));
}

bool mark_table::keeps(const row& row, const ksn::track_info& track) {
  return row.id == track.id && row.frames == track.source.frames && row.timing == track.timing &&
         row.names.shares_with(track.source.names);
}

void mark_table::count(const row& row, int by) {
  if (!row.counted) return;
  for (std::size_t i = 0; i < row.columns.marks.size(); ++i)
    counts_[i][static_cast<std::size_t>(row.columns.marks[i])] += by;
}

void mark_table::rebuild(row& row, const ksn::track_info& track, const cache::frame_board& board) {
  count(row, -1);
  row.counted = track.look.visible;
  row.id = track.id;
  row.source = board.source_of(track);
  row.frames = track.source.frames;
  row.timing = track.timing;
  row.names = track.source.names;
  const std::span<const frame_presence> states = board.of(track);
  row.columns = {};
  if (!states.empty()) {
    row.columns.marks.resize(columns());
    for (std::size_t i = 0; i < columns(); ++i)
      row.columns.marks[i] = mark_at(track, states, ruler_, ruler_.left() + static_cast<int>(i));
    row.columns.holes = holes_of(track, ruler_, columns());
  }
  count(row, 1);
}

void mark_table::refresh(row& row, const ksn::track_info& track, std::span<const frame_presence> states, int frame) {
  columns_of(track, ruler_, frame, static_cast<int>(columns()), [&](int x) {
    const std::size_t i = static_cast<std::size_t>(x);
    const mark now = mark_at(track, states, ruler_, ruler_.left() + x);
    const mark before = std::exchange(row.columns.marks[i], now);
    if (!row.counted) return;
    --counts_[i][static_cast<std::size_t>(before)];
    ++counts_[i][static_cast<std::size_t>(now)];
  });
}

void mark_table::update(const ksn::document& doc, const cache::frame_board& board, const ruler_scale& ruler) {
  const bool rescaled = ruler.width != ruler_.width || ruler.length != ruler_.length || ruler.scale != ruler_.scale;
  if (rescaled) {
    ruler_ = ruler;
    counts_.assign(static_cast<std::size_t>(std::max(0, ruler.right() + 1 - ruler.left())), {});
    rows_.clear();
  }
  bool changed = rescaled;
  const std::size_t layers = doc.tracks.size();
  // Another stack: what is known of a layer follows it to its new place.
  const auto same = [&](const row& row, const ksn::track_info& track) { return row.id == track.id; };
  if (!std::equal(rows_.begin(), rows_.end(), doc.tracks.begin(), doc.tracks.end(), same)) {
    std::map<int, row> known;
    for (row& row : rows_) known.emplace(row.id, std::move(row));
    rows_.assign(layers, {});
    for (std::size_t i = 0; i < layers; ++i) {
      if (auto found = known.extract(doc.tracks[i].id)) rows_[i] = std::move(found.mapped());
    }
    for (const auto& [id, gone] : known) count(gone, -1);
    changed = true;
  }

  const auto changes = board.changes_since(seen_);
  std::unordered_map<std::uint64_t, std::vector<int>> frames;  // that changed, by source
  if (changes) {
    for (const cache::frame_board::change& change : *changes) frames[change.source].push_back(change.frame);
  }
  changed = changed || board.revision() != seen_;
  seen_ = board.revision();
  for (std::size_t i = 0; i < layers; ++i) {
    const ksn::track_info& track = doc.tracks[i];
    row& row = rows_[i];
    const auto news = frames.find(row.source);
    const bool much = news != frames.end() && (news->second.size() > columns() || passes_of(track) > most_passes);
    const bool all_new = !keeps(row, track) || row.source != board.source_of(track) || !changes || much;
    if (all_new) {
      rebuild(row, track, board);
      changed = true;
      continue;
    }
    if (row.counted != track.look.visible) {
      count(row, -1);
      row.counted = track.look.visible;
      count(row, 1);
      changed = true;
    }
    if (news == frames.end()) continue;
    const std::span<const frame_presence> states = board.of(track);
    for (const int frame : news->second) refresh(row, track, states, frame);
  }
  if (!changed) return;
  all_.resize(columns());
  for (std::size_t i = 0; i < columns(); ++i) all_[i] = mixed(counts_[i]);
}

void draw_marks(painter& on, std::span<const mark> columns, int from, const rectangle& box, bool on_selected) {
  const lib::color kept = on_selected ? palette::kept_on_selected : palette::selected;
  const lib::color reading = on_selected ? between(kept, palette::selected) : palette::reading;
  draw_columns(on, columns, from, box, [&](int plane, mark m, std::uint8_t was) {
    return m == mark::kept      ? plane_of(kept, plane)
           : m == mark::reading ? plane_of(reading, plane)
           : m == mark::failed  ? plane_of(palette::failed, plane)
                                : was;
  });
}

void draw_holes(painter& on, std::span<const hole> columns, int from, const rectangle& box, lib::color bar,
                lib::color ground) {
  const lib::color some = between(bar, ground);
  draw_columns(on, columns, from, box, [&](int plane, hole h, std::uint8_t was) {
    return h == hole::all ? plane_of(ground, plane) : h == hole::some ? plane_of(some, plane) : was;
  });
}

}  // namespace ui
