// Widgets made from the cells of a tab, each bound to its field.
#pragma once

#include <memory>

#include "command/field_view.h"
#include "ui/panel/edits.h"
#include "ui/panel/tabs.h"
#include "ui/widgets/edit_field.h"

namespace ui::panel {

// The common part of the widgets of one tab. Outlives them.
struct binding {
  workbench& bench;
  edits& changes;
  bool (*fits)(const ksn::track_info& layer);

  command::field_view field(const char* name) const { return {bench.engine, name, fits}; }
};

// What a field of text does.
ui_text_field::parts text_parts(const binding& bound, const cell& cell);

// A cell's widget in its box, which counts from the upper left corner of the row; null for an empty cell.
std::shared_ptr<ui_object> make_widget(const binding& bound, const cell& cell, const widget_box& box);

// The choosers of choosers.cpp, lookup_chooser.cpp and face_field.cpp.
std::shared_ptr<ui_object> make_lookup_chooser(const binding& bound, const widget_box& box);
std::shared_ptr<ui_object> make_layer_chooser(const binding& bound, const widget_box& box);
std::shared_ptr<ui_object> make_picture_chooser(const binding& bound, const widget_box& box);
std::shared_ptr<ui_object> make_version_chooser(const binding& bound, const widget_box& box);
std::shared_ptr<ui_object> make_face_field(const binding& bound, const cell& cell, const widget_box& box);
std::shared_ptr<ui_object> make_brush_preview(const binding& bound, const widget_box& box);

// The first layer that the widget shows; null for none.
const ksn::track_info* first_layer(const binding& bound);

}  // namespace ui::panel
