// The colours of the interface. They stand in lib/, since the menus and dialogs of the desktop wear them too.
#pragma once

#include "lib/palette.h"

namespace ui {
namespace palette = lib::palette;
}
