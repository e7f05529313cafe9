#include "ui/panel/page.h"

#include <algorithm>
#include <numeric>

#include "ui/toolkit/palette.h"

namespace ui::panel {
namespace {

// At scale 1.
constexpr int label_right = 104;
constexpr int values_left = 110;
constexpr int values_right = panel_width - 8;
constexpr int gap = 4;
constexpr int field_height = 18;
constexpr int space_height = 6;

constexpr lib::color channel_colors[] = {palette::red, palette::green, palette::blue};

bool is_channel_row(const row& row) {
  return row.when == shown::color_split && row.cells.size() == 3 && row.cells[2].kind == widget::number;
}

int height_of(const row& row) {
  return row.is_space ? space_height : row.lines * row_height;
}

}  // namespace

page::page(workbench& bench, edits& changes, const tab& table, std::function<void(int, int)> scroll_to,
           std::function<void(int)> scroll)
    : bench_(bench), bound_{bench, changes, table.fits}, scroll_to_(std::move(scroll_to)) {
  for (const row& row : table.rows) {
    placed_row placed{&row, {}, height_of(row)};
    // A row without a label takes all of the width when it is one text.
    const bool whole = !*row.label && row.cells.size() == 1 && row.cells[0].kind == widget::note;
    const int left = whole ? 12 : values_left;
    const int room = values_right - left - gap * (static_cast<int>(row.cells.size()) - 1);
    const int weights = std::accumulate(row.cells.begin(), row.cells.end(), 0,
                                        [](int sum, const cell& one) { return sum + one.weight; });
    int before = 0;
    int x = left;
    for (const cell& cell : row.cells) {
      before += cell.weight;
      const int right = left + room * before / weights + gap * static_cast<int>(placed.cells.size());
      const int height = placed.height - row_height + field_height;
      placed_cell made{&cell, {}, {x, (row_height - field_height) / 2, right - x, height}};
      made.object = make_widget(bound_, cell, made.box);
      made.field = dynamic_cast<typing_field*>(made.object.get());
      if (made.field) {
        made.field->set_surroundings({[this, field = made.field](int direction) { walk(field, direction); }, scroll});
      }
      placed.cells.push_back(std::move(made));
      x = right + gap;
    }
    rows_.push_back(std::move(placed));
  }
}

bool page::fits() const {
  return first_layer(bound_) != nullptr;
}

bool page::is_there(const row& row) const {
  const ksn::workspace& workspace = bench_.composition.workspace;
  const std::size_t selected = bench_.composition.doc.selection.size();
  switch (row.when) {
    case shown::always:
      return true;
    case shown::color_joined:
      return !workspace.split_color;
    case shown::color_split:
      return workspace.split_color;
    case shown::scale_joined:
      return !workspace.split_scale;
    case shown::scale_split:
      return workspace.split_scale;
    case shown::one_layer:
      return selected == 1;
    case shown::many_layers:
      return selected > 1;
  }
  return true;
}

int page::height() const {
  int sum = 0;
  for (const placed_row& row : rows_) {
    if (is_there(*row.made_from)) sum += row.height;
  }
  return sum;
}

int page::top_of(const placed_row& wanted) const {
  int top = 0;
  for (const placed_row& row : rows_) {
    if (&row == &wanted) break;
    if (is_there(*row.made_from)) top += row.height;
  }
  return top;
}

mouse_handler* page::hit_test(math::point point, const place& at) {
  int top = 0;
  for (const placed_row& row : rows_) {
    if (!is_there(*row.made_from)) continue;
    const place here = at.moved(0, top);
    for (const placed_cell& cell : row.cells) {
      if (!cell.object) continue;
      if (mouse_handler* found = cell.object->hit_test(point, here)) return found;
    }
    top += row.height;
  }
  return nullptr;
}

void page::draw(painter& on, const place& at) {
  int top = 0;
  for (const placed_row& row : rows_) {
    if (!is_there(*row.made_from)) continue;
    const place here = at.moved(0, top);
    const int first = here.origin.y;
    if (first < on.clip().bottom && first + on.px(row.height) > on.clip().top) draw_row(on, here, row);
    top += row.height;
  }
}

void page::draw_row(painter& on, const place& at, const placed_row& row) {
  if (*row.made_from->label) {
    const widget_box label{4, 0, label_right - 4, row_height};
    on.line(bench_.text(row.made_from->label), "panel.label", palette::text, label.in(at), painter::align::right);
  }
  const bool channels = is_channel_row(*row.made_from);
  for (std::size_t i = 0; i < row.cells.size(); ++i) {
    if (!row.cells[i].object) continue;
    row.cells[i].object->draw(on, at);
    if (!channels) continue;
    const rectangle box = row.cells[i].box.in(at);
    on.fill({box.left + on.px(1), box.bottom - on.px(2), box.right - on.px(1), box.bottom - on.px(1)},
            palette::with_alpha(channel_colors[i], 200));
  }
}

void page::walk(const typing_field* from, int direction) {
  struct stop {
    typing_field* field;
    const placed_row* row;
  };
  std::vector<stop> stops;
  for (const placed_row& row : rows_) {
    if (!is_there(*row.made_from)) continue;
    for (const placed_cell& cell : row.cells) {
      if (cell.field && (cell.field == from || cell.field->can_type())) stops.push_back({cell.field, &row});
    }
  }
  const auto here = std::find_if(stops.begin(), stops.end(), [&](const stop& one) { return one.field == from; });
  if (here == stops.end()) return;
  const auto count = static_cast<std::ptrdiff_t>(stops.size());
  const stop& next = stops[static_cast<std::size_t>((here - stops.begin() + direction + count) % count)];
  const int top = top_of(*next.row);
  scroll_to_(top, top + next.row->height);
  next.field->begin_typing();
}

std::vector<page::widget_of> page::widgets() const {
  std::vector<widget_of> all;
  int top = 0;
  for (const placed_row& row : rows_) {
    if (!is_there(*row.made_from)) continue;
    for (const placed_cell& cell : row.cells) {
      if (!cell.object) continue;
      const widget_box& box = cell.box;
      all.push_back({cell.made_from, cell.object, {box.x, top + box.y, box.x + box.width, top + box.y + box.height}});
    }
    top += row.height;
  }
  return all;
}

}  // namespace ui::panel
