#include "platform/hotkeys/VirtualKeys.h"

// Interim: replaced by the full tables.
namespace hotkeys {
QString HotkeyName(int) {
    return QString();
}
uint32_t KeysymOfVirtualKey(int) {
    return 0;
}
} // namespace hotkeys
