// The text of a text layer, edited in place on the picture.
#pragma once

#include <memory>

#include "ui/area.h"
#include "ui/panel/edits.h"

namespace ui {

// The area that shows caret and selection over the picture while a text is edited. Registers the action `edit_text`.
std::shared_ptr<ui_object> make_picture_text(workbench& bench);

}  // namespace ui
