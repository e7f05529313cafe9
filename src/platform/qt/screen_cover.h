// A window over a whole screen.
#pragma once

#include <memory>

#include "platform/desktop.h"

class QScreen;

namespace platform {

std::unique_ptr<output_window> cover_screen(QScreen& screen);

}  // namespace platform
