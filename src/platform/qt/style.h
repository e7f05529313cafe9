// What menus, dialogs and the frame of the window look like.
#pragma once

class QApplication;

namespace platform {

// The same dark grays as the rest of the interface. A user who names a style of his own (QT_STYLE_OVERRIDE) keeps its
// looks.
void wear_program_style(QApplication& application);

}  // namespace platform
