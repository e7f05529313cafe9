// Qt keys as the virtual keys of key definitions, and what is held down with them.
#pragma once

#include <Qt>

class QKeyEvent;

namespace platform {

// The virtual key with its modifiers, 0 for a key that has none (a modifier alone, a dead key).
int key_code_of(const QKeyEvent& event);

// key_shift, key_ctrl and key_alt, and key_caps as it was when last looked at.
int modifiers_of(Qt::KeyboardModifiers modifiers);
// The same as they are now, asked of the display where it tells.
int modifiers_now();

// Shift, Ctrl, Alt or Caps Lock alone.
bool is_modifier_key(const QKeyEvent& event);
// The modifiers that are down after the event of such a key.
int modifiers_after(const QKeyEvent& event, bool pressed);

}  // namespace platform
