// The dialog that opens files: folders in which a sequence is one row, and a look at what is chosen.
#pragma once

#include <string>
#include <vector>

#include "platform/desktop.h"

class QWidget;

namespace platform {

// `over` may be null. Paths as the user chose or typed them, absolute; none when he cancelled.
std::vector<std::string> ask_with_list(QWidget* over, const file_dialog& dialog);

}  // namespace platform
