#pragma once

// The virtual key codes that the settings keep for the hotkeys (a byte each, the codes of the Windows
// keyboard), their names for the options dialog, and the X11 key symbols they stand for.

#include <QString>

#include <cstdint>

namespace hotkeys {

// The name of a key code for the lists of the options dialog ("F9 Key"); empty for a code without one.
QString HotkeyName(int code);
// The X11 key symbol of a key code; 0 for a code without one.
uint32_t KeysymOfVirtualKey(int code);

} // namespace hotkeys
