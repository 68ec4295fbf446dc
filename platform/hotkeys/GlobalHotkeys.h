#pragma once

// Keys that work in any application: on X11 a grab of the key on the root window (through an xcb
// connection of its own), on Wayland the desktop portal's global shortcuts where the desktop offers them.
// Keys are given as the virtual key codes that the settings keep (VirtualKeys.h).

#include <QObject>
#include <QString>

#include <memory>

namespace hotkeys {

struct HotkeyKey {
    quint32 vkey = 0; // virtual key code; 0 is no key
    bool ctrl = false;
    bool alt = false;
    bool shift = false;
};

class GlobalHotkeys : public QObject {
    Q_OBJECT
public:
    // Registers `key` under `id` (1 or 2), replacing what `id` had. False, with the reason in `error`,
    // when the key cannot be had (taken by another program, no key of that code on this keyboard, no
    // desktop that offers global keys). A registration that the desktop answers later (the portal) gives
    // true here and `failed` afterwards when it is refused. After a refusal `id` holds no key. A key of
    // vkey 0 only takes back what `id` had.
    virtual bool registerKey(int id, const HotkeyKey& key, QString* error) = 0;
    virtual void unregisterKey(int id) = 0;
    // Which way the keys go: "X11", "portal" or "none"; for the log.
    virtual QString kind() const = 0;

Q_SIGNALS:
    // The key of `id` was pressed.
    void activated(int id);
    // A registration answered later was refused.
    void failed(int id, const QString& reason);
};

enum class HotkeyWay { X11, Portal, None };
// The portal in a Wayland session (XDG_SESSION_TYPE "wayland", or a Wayland display without an X one),
// else X11 where there is an X display, else none.
HotkeyWay ChooseHotkeyWay(const QString& sessionType, bool hasWaylandDisplay, bool hasX11Display);

// As ChooseHotkeyWay says from the environment: X11 (X11Hotkeys.h) where $DISPLAY reaches a server, the
// portal (PortalHotkeys.h) on Wayland; otherwise one that refuses every key, saying why.
std::unique_ptr<GlobalHotkeys> CreateGlobalHotkeys(QObject* parent = nullptr);

// The text marked in any application: the X11 primary selection, or the clipboard when that is empty,
// read through a connection of its own to $DISPLAY; without an X server Qt's selection and clipboard
// where a QGuiApplication exists, else empty. Reads only; neither is changed. Waits at most `timeoutMs`
// in all for the owners' answers.
QString MarkedText(int timeoutMs = 1000);

} // namespace hotkeys
