#pragma once

// Global keys on X11: each key is grabbed on the root window through an xcb connection of the library's
// own, so it works whatever Qt platform plugin the program runs on (xcb, offscreen, or wayland with an X
// server beside it); Qt's own connection is never used.

#include "platform/hotkeys/GlobalHotkeys.h"

#include <QByteArray>

#include <map>
#include <memory>
#include <set>
#include <vector>

class QSocketNotifier;
struct xcb_connection_t;

namespace hotkeys {

class X11Hotkeys : public GlobalHotkeys {
    Q_OBJECT
public:
    // Connects to `display` (":1"), or to $DISPLAY when empty.
    explicit X11Hotkeys(const QByteArray& display = {}, QObject* parent = nullptr);
    ~X11Hotkeys() override;

    // False when no X server could be reached.
    bool isConnected() const;

    bool registerKey(int id, const HotkeyKey& key, QString* error) override;
    void unregisterKey(int id) override;
    QString kind() const override { return QStringLiteral("X11"); }

private:
    struct Grab {
        HotkeyKey key;
        uint8_t keycode = 0;
        uint16_t modifiers = 0;      // Control, Mod1 (Alt), Shift
        std::vector<uint16_t> locks; // the lock modifiers grabbed with them
    };

    // Grabs `key` with every lock state; the reason when the server refused, having given back what
    // it had.
    QString grabKey(const HotkeyKey& key, Grab* grab);
    void grabAgain();
    uint8_t keycodeOf(uint32_t keysym) const;
    // The console (1 ...) that the server switches to on Ctrl+Alt and this key, 0 for none.
    int consoleOfKey(uint8_t keycode) const;
    uint16_t numLockModifier() const;
    void ungrab(const Grab& grab);
    void readEvents();
    void handleEvent(const void* event);

    xcb_connection_t* m_connection = nullptr;
    uint32_t m_root = 0;
    std::unique_ptr<QSocketNotifier> m_notifier;
    std::map<int, Grab> m_grabs;
    // Keys of ours that are down, so that the keyboard's repeat does not count as presses.
    std::set<uint8_t> m_down;
    // The last release, which a press at the same moment of the same key turns into a repeat.
    uint8_t m_releasedKey = 0;
    uint32_t m_releasedAt = 0;
};

} // namespace hotkeys
