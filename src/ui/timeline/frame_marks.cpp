#include "ui/timeline/frame_marks.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <unordered_map>
#include <utility>

#include "ui/timeline/recolor.h"
#include "ui/toolkit/painter.h"
#include "ui/toolkit/palette.h"

namespace ui {
namespace {

using cache::frame_presence;

constexpr int most_passes = 64;  // of a source that repeats, whose columns are looked for one by one

// What a run of states has in common, found out from eight of them at a time. Only `failed` has the bit 4, only `kept`
// both of the others.
mark mark_of(std::span<const frame_presence> states) {
  static_assert(static_cast<int>(frame_presence::missing) == 0 && static_cast<int>(frame_presence::kept) == 3 &&
                static_cast<int>(frame_presence::failed) == 4);
  constexpr std::uint64_t ones = 0x0101010101010101u;
  std::uint64_t any = 0;
  std::uint64_t all = ~0ull;
  std::uint64_t passing = 0;  // the lowest bit of a byte: one of its two bits is set
  const auto take = [&](std::uint64_t word) {
    any |= word;
    all &= word;
    passing |= (word ^ (word >> 1)) & ones;
  };
  std::size_t i = 0;
  for (; i + 8 <= states.size(); i += 8) {
    std::uint64_t word;
    std::memcpy(&word, states.data() + i, 8);
    take(word);
  }
  for (; i < states.size(); ++i) take(ones * static_cast<std::uint64_t>(states[i]));
  if (any & 4 * ones) return mark::failed;
  if (all == 3 * ones) return mark::kept;
  return passing != 0 ? mark::reading : mark::missing;
}

// Which source frames of a layer stand in a column.
class source_columns {
 public:
  source_columns(const ksn::track_info& track, const ruler_scale& ruler)
      : left_(ruler.left()),
        frames_per_pixel_(ruler.frames_per_pixel()),
        begin_(track.timing.begin),
        in_(track.timing.begin + track.in()),
        out_(track.timing.begin + track.out()),
        pass_(track.length()),
        frames_(track.source.is_single_frame() ? 0 : track.source.frames),
        first_x_(ruler.x_of(in_)),
        end_x_(std::max(ruler.x_of(out_), first_x_ + 1)) {}

  // The first and the last one of column x; the first is -1 where the layer is not there.
  std::pair<int, int> at(int x) const {
    if (x < first_x_ || x >= end_x_) return {-1, -1};
    // The frames that begin in the column, whose pixel reaches half a one to either side; else the one that it lies in.
    const int next = std::clamp(frame_from(x + 0.5), in_ + 1, out_);
    const int begin = std::clamp(frame_from(x - 0.5), in_, next - 1);
    const int first = source_frame(begin);
    // Where the source repeats within a column, its first frame stands for it.
    return {first, std::max(first, source_frame(next - 1))};
  }

 private:
  int left_;
  double frames_per_pixel_;
  int begin_, in_, out_, pass_, frames_, first_x_, end_x_;

  int frame_from(double column) const { return static_cast<int>(std::ceil((column - left_) * frames_per_pixel_)); }
  // As track_info::source_position().
  int source_frame(int frame) const {
    const int within = static_cast<int>((static_cast<long long>(frame) - begin_) % pass_);
    return pass_ == frames_ ? within : static_cast<int>(static_cast<double>(within) * frames_ / pass_);
  }
};

mark mark_at(const source_columns& sources, std::span<const frame_presence> states, int x) {
  const auto [first, last] = sources.at(x);
  if (first < 0 || static_cast<std::size_t>(last) >= states.size()) return mark::none;
  return mark_of(states.subspan(static_cast<std::size_t>(first), static_cast<std::size_t>(last - first + 1)));
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
  const source_columns sources(track, ruler);
  for (std::size_t i = 0; i < columns; ++i) {
    const auto [first, last] = sources.at(ruler.left() + static_cast<int>(i));
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

struct coded_color {
  std::uint8_t code;
  lib::color color;
};

std::array<std::uint8_t, 3> plane_values(lib::color color) {
  return {color.b, color.g, color.r};
}

// Columns with one of three codes in its colour, others left alone.
void draw_columns(painter& on, std::span<const std::uint8_t> columns, int from, const rectangle& box,
                  const std::array<coded_color, 3>& colors) {
  const int left = std::max({box.left, from, on.clip().left});
  const int right = std::min({box.right, from + static_cast<int>(columns.size()), on.clip().right});
  if (left >= right) return;
  const std::uint8_t* codes = columns.data() + (left - from);
  const auto count = static_cast<std::size_t>(right - left);
  const std::array<std::uint8_t, 3> wanted{colors[0].code, colors[1].code, colors[2].code};
  for (std::size_t plane = 0; plane < 3; ++plane) {
    const std::array<std::uint8_t, 3> values{plane_values(colors[0].color)[plane], plane_values(colors[1].color)[plane],
                                             plane_values(colors[2].color)[plane]};
    for (int y = std::max(box.top, on.clip().top); y < std::min(box.bottom, on.clip().bottom); ++y)
      recolor(on.target().row(static_cast<int>(plane), y) + left, codes, count, wanted.data(), values.data());
  }
}

template <class Code>
std::span<const std::uint8_t> bytes_of(std::span<const Code> columns) {
  static_assert(sizeof(Code) == 1);
  return {reinterpret_cast<const std::uint8_t*>(columns.data()), columns.size()};
}

}  // namespace

mark mark_at(const ksn::track_info& track, std::span<const frame_presence> states, const ruler_scale& ruler, int x) {
  return mark_at(source_columns(track, ruler), states, x);
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
    const source_columns sources(track, ruler_);
    for (std::size_t i = 0; i < columns(); ++i)
      row.columns.marks[i] = mark_at(sources, states, ruler_.left() + static_cast<int>(i));
    row.columns.holes = holes_of(track, ruler_, columns());
  }
  count(row, 1);
}

void mark_table::refresh(row& row, const ksn::track_info& track, std::span<const frame_presence> states, int frame) {
  const source_columns sources(track, ruler_);
  columns_of(track, ruler_, frame, static_cast<int>(columns()), [&](int x) {
    const std::size_t i = static_cast<std::size_t>(x);
    const mark now = mark_at(sources, states, ruler_.left() + x);
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
  const bool same_sources = std::exchange(listing_, board.listing()) == board.listing();
  for (std::size_t i = 0; i < layers; ++i) {
    const ksn::track_info& track = doc.tracks[i];
    row& row = rows_[i];
    const auto news = frames.empty() ? frames.end() : frames.find(row.source);
    const bool much = news != frames.end() && (news->second.size() > columns() || passes_of(track) > most_passes);
    const bool same_source = same_sources || row.source == board.source_of(track);
    const bool all_new = !keeps(row, track) || !same_source || !changes || much;
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
  const lib::color reading = on_selected ? palette::selected : palette::reading;
  const auto code = [](mark m) { return static_cast<std::uint8_t>(m); };
  draw_columns(on, bytes_of(columns), from, box,
               {{{code(mark::kept), kept}, {code(mark::reading), reading}, {code(mark::failed), palette::failed}}});
}

void draw_holes(painter& on, std::span<const hole> columns, int from, const rectangle& box, lib::color bar,
                lib::color ground) {
  const auto code = [](hole h) { return static_cast<std::uint8_t>(h); };
  const coded_color all{code(hole::all), ground};
  draw_columns(on, bytes_of(columns), from, box, {{all, all, {code(hole::some), between(bar, ground)}}});
}

}  // namespace ui
