// The contents of the tabs of the property panel: rows of plain data, from which its widgets are made.
#pragma once

#include <span>
#include <vector>

#include "composition/track_info.h"

namespace ui::panel {

enum class widget {
  number,         // one number of the field
  check,          // a bool, or one number that is 0 or `scale`
  enabled,        // whether the field is on, for one with a word that switches it off
  word,           // one of the field's values
  text,           // one line
  lines,          // several
  color,          // red, green, blue, and a swatch that picks from the picture
  lookup,         // a lookup table
  layer,          // another layer
  picture,        // one of the pictures of a file
  version,        // of the source
  face,           // a typeface
  brush_preview,  // the brush as it paints
  command,        // a button that runs an action
  split,          // a switch of the panel with art of its own
  note            // a text alone, or nothing
};

constexpr int all_parts = -1;

struct cell {
  widget kind;
  // The name that command::field_view goes by.
  const char* field = "";
  // number: how a double is printed. word: the values with the keys of their texts, "value:key value:key", in the order
  // of the list. check, enabled, split, note: the key of the text beside it. command: the action, whose text it bears.
  // Else empty.
  const char* text = "";
  int part = 0;           // which of the field's numbers; all_parts for one number that stands for them all
  int weight = 1;         // of the cell's width in its row
  double scale = 1;       // a number is shown times this
  double offset = 0;      // plus this
  double step = 0;        // of a drag, for a pixel; 0 for one of the last digit
  const char* also = "";  // a field that takes the same number
};

// When a row is there at all.
enum class shown { always, color_joined, color_split, scale_joined, scale_split, one_layer, many_layers };

struct row {
  const char* label = "";  // catalogue key; empty for none
  std::vector<cell> cells = {};
  shown when = shown::always;
  int lines = 1;          // how many rows it is high
  bool is_space = false;  // half a row of nothing
};

struct tab {
  const char* title;  // catalogue key
  // Whether the tab has anything for such a layer. The tab edits those of the selected layers for which it has.
  bool (*fits)(const ksn::track_info& layer);
  std::vector<row> rows;
};

// In the order of workspace::pp_tab.
std::span<const tab> tabs();

}  // namespace ui::panel
