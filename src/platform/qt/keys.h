// Qt keys as the virtual keys of key definitions.
#pragma once

class QKeyEvent;

namespace platform {

// The virtual key with its modifiers, 0 for a key that has none (a modifier alone, a dead key).
int key_code_of(const QKeyEvent& event);

}  // namespace platform
