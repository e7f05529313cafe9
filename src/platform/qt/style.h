// The look of menus, dialogs and the frame of the window.
#pragma once

class QApplication;

namespace platform {

// The same dark grays as the rest of the interface, and the icon of its windows. Users who name a style of their own
// (QT_STYLE_OVERRIDE) keep its looks.
void wear_program_style(QApplication& application);

}  // namespace platform
