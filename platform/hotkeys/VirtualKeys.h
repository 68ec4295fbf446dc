#pragma once

// The virtual key codes that the settings keep for the hotkeys (a byte each, the codes of the Windows
// keyboard), their names for the options dialog, and the X11 key symbols they stand for.

#include <QString>

#include <cstdint>

namespace hotkeys {

// The name of a key code for the lists of the options dialog ("F9 Key"); empty for a code without one.
QString HotkeyName(int code);
// The X11 key symbol of a key code; 0 for a code without one. Letters give the lower-case symbols, the
// keys of the German layout (186 "Ü" ...) the symbols that key carries there without Shift.
uint32_t KeysymOfVirtualKey(int code);
// The name of that key symbol as XKB writes it ("F9", "a", "udiaeresis", "KP_1"), the key part of the
// desktop portal's shortcut texts; empty for a code without one.
QString KeysymNameOfVirtualKey(int code);

} // namespace hotkeys
