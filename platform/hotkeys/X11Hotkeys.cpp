#include "platform/hotkeys/X11Hotkeys.h"

#include "platform/hotkeys/VirtualKeys.h"

#include <QSocketNotifier>

#include <X11/keysym.h>
#include <xcb/xcb.h>

#include <cstdlib>
#include <vector>

namespace hotkeys {
namespace {

constexpr uint16_t OwnModifiers = XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1 | XCB_MOD_MASK_SHIFT;
constexpr uint8_t BadAccess = 10;
// XF86Switch_VT_1 ... 12: the symbols of a key at its Ctrl+Alt level that switch to a text console.
constexpr xcb_keysym_t XF86SwitchVt1 = 0x1008fe01;
constexpr xcb_keysym_t XF86SwitchVt12 = 0x1008fe0c;

template <typename T> struct FreeDeleter {
    void operator()(T* p) const { std::free(p); }
};
template <typename T> using Reply = std::unique_ptr<T, FreeDeleter<T>>;

} // namespace

X11Hotkeys::X11Hotkeys(const QByteArray& display, QObject* parent) {
    setParent(parent);
    int screenNumber = 0;
    m_connection = xcb_connect(display.isEmpty() ? nullptr : display.constData(), &screenNumber);
    if (xcb_connection_has_error(m_connection)) {
        xcb_disconnect(m_connection);
        m_connection = nullptr;
        return;
    }
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
    for (int i = 0; i < screenNumber && screens.rem > 0; ++i)
        xcb_screen_next(&screens);
    if (screens.rem == 0) {
        xcb_disconnect(m_connection);
        m_connection = nullptr;
        return;
    }
    m_root = screens.data->root;
    m_notifier =
        std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(m_connection), QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &X11Hotkeys::readEvents);
}

X11Hotkeys::~X11Hotkeys() {
    m_notifier.reset();
    if (!m_connection)
        return;
    // The server would release the grabs of a closed connection too, but only once it noticed the
    // close: given back here, the keys are free for whoever asks next.
    while (!m_grabs.empty())
        unregisterKey(m_grabs.begin()->first);
    xcb_disconnect(m_connection);
}

bool X11Hotkeys::isConnected() const {
    return m_connection && !xcb_connection_has_error(m_connection);
}

uint8_t X11Hotkeys::keycodeOf(uint32_t keysym) const {
    const xcb_setup_t* setup = xcb_get_setup(m_connection);
    const uint8_t first = setup->min_keycode;
    const uint8_t count = static_cast<uint8_t>(setup->max_keycode - setup->min_keycode + 1);
    Reply<xcb_get_keyboard_mapping_reply_t> mapping(xcb_get_keyboard_mapping_reply(
        m_connection, xcb_get_keyboard_mapping(m_connection, first, count), nullptr));
    if (!mapping)
        return 0;
    const int perKeycode = mapping->keysyms_per_keycode;
    const xcb_keysym_t* keysyms = xcb_get_keyboard_mapping_keysyms(mapping.get());
    const int length = xcb_get_keyboard_mapping_keysyms_length(mapping.get());
    if (perKeycode == 0)
        return 0;
    // The lowest level that carries the symbol wins: a key that has it without Shift before one that
    // has it shifted.
    for (int level = 0; level < perKeycode; ++level) {
        for (int key = 0; key * perKeycode + level < length; ++key) {
            if (keysyms[key * perKeycode + level] == keysym)
                return static_cast<uint8_t>(first + key);
        }
    }
    return 0;
}

int X11Hotkeys::consoleOfKey(uint8_t keycode) const {
    Reply<xcb_get_keyboard_mapping_reply_t> mapping(xcb_get_keyboard_mapping_reply(
        m_connection, xcb_get_keyboard_mapping(m_connection, keycode, 1), nullptr));
    if (!mapping)
        return 0;
    const xcb_keysym_t* keysyms = xcb_get_keyboard_mapping_keysyms(mapping.get());
    for (int i = 0; i < xcb_get_keyboard_mapping_keysyms_length(mapping.get()); ++i) {
        if (keysyms[i] >= XF86SwitchVt1 && keysyms[i] <= XF86SwitchVt12)
            return static_cast<int>(keysyms[i] - XF86SwitchVt1 + 1);
    }
    return 0;
}

uint16_t X11Hotkeys::numLockModifier() const {
    const uint8_t numLock = keycodeOf(XK_Num_Lock);
    if (numLock == 0)
        return 0;
    Reply<xcb_get_modifier_mapping_reply_t> mapping(
        xcb_get_modifier_mapping_reply(m_connection, xcb_get_modifier_mapping(m_connection), nullptr));
    if (!mapping)
        return 0;
    const int perModifier = mapping->keycodes_per_modifier;
    const xcb_keycode_t* keycodes = xcb_get_modifier_mapping_keycodes(mapping.get());
    // Eight modifiers in the order Shift, Lock, Control, Mod1 ... Mod5.
    for (int modifier = 0; modifier < 8; ++modifier) {
        for (int i = 0; i < perModifier; ++i) {
            if (keycodes[modifier * perModifier + i] == numLock)
                return static_cast<uint16_t>(1u << modifier);
        }
    }
    return 0;
}

bool X11Hotkeys::registerKey(int id, const HotkeyKey& key, QString* error) {
    unregisterKey(id);
    if (key.vkey == 0)
        return true;
    Grab grab;
    const QString reason = grabKey(key, &grab);
    if (!reason.isEmpty()) {
        if (error)
            *error = reason;
        return false;
    }
    m_grabs[id] = grab;
    // Replies read above may have brought events along, which the socket will not announce again.
    QMetaObject::invokeMethod(this, &X11Hotkeys::readEvents, Qt::QueuedConnection);
    return true;
}

QString X11Hotkeys::grabKey(const HotkeyKey& key, Grab* grab) {
    if (!isConnected())
        return QStringLiteral("no connection to the X server");
    const uint32_t keysym = KeysymOfVirtualKey(static_cast<int>(key.vkey));
    if (keysym == 0)
        return QStringLiteral("the key code %1 names no key").arg(key.vkey);
    grab->key = key;
    grab->keycode = keycodeOf(keysym);
    if (grab->keycode == 0)
        return QStringLiteral("this keyboard has no key %1").arg(KeysymNameOfVirtualKey(int(key.vkey)));
    // The server acts on such a key itself (it switches to a text console, or does nothing under Xvfb
    // and XWayland) and no client sees it, grab or not.
    if (key.ctrl && key.alt && !key.shift) {
        if (const int console = consoleOfKey(grab->keycode))
            return QStringLiteral("the X server keeps Ctrl+Alt+%1 for switching to console %2")
                .arg(KeysymNameOfVirtualKey(int(key.vkey)))
                .arg(console);
    }
    grab->modifiers =
        static_cast<uint16_t>((key.ctrl ? XCB_MOD_MASK_CONTROL : 0) | (key.alt ? XCB_MOD_MASK_1 : 0) |
                              (key.shift ? XCB_MOD_MASK_SHIFT : 0));

    // The lock keys add their modifiers to every key event; a grab without them would miss the key
    // while Caps Lock or Num Lock is on.
    const uint16_t numLock = numLockModifier();
    grab->locks = {0, XCB_MOD_MASK_LOCK};
    if (numLock != 0 && (numLock & (OwnModifiers | XCB_MOD_MASK_LOCK)) == 0) {
        grab->locks.push_back(numLock);
        grab->locks.push_back(static_cast<uint16_t>(numLock | XCB_MOD_MASK_LOCK));
    }
    std::vector<xcb_void_cookie_t> cookies;
    for (uint16_t lock : grab->locks) {
        cookies.push_back(xcb_grab_key_checked(m_connection, 0, m_root,
                                               static_cast<uint16_t>(grab->modifiers | lock), grab->keycode,
                                               XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    }
    xcb_flush(m_connection);
    QString reason;
    for (const xcb_void_cookie_t& cookie : cookies) {
        Reply<xcb_generic_error_t> failure(xcb_request_check(m_connection, cookie));
        if (failure && reason.isEmpty()) {
            reason = failure->error_code == BadAccess
                         ? QStringLiteral("the key is taken by another program")
                         : QStringLiteral("the X server refused the key (error %1)").arg(failure->error_code);
        }
    }
    if (!reason.isEmpty()) {
        // Give back the variants that were had, unless another id of ours holds the same key.
        ungrab(*grab);
    }
    return reason;
}

void X11Hotkeys::grabAgain() {
    // The keyboard's mapping changed (another layout, another keyboard): the keys may sit on other
    // keycodes now, and Num Lock on another modifier.
    std::map<int, Grab> old;
    old.swap(m_grabs);
    for (const auto& [id, grab] : old)
        ungrab(grab);
    m_down.clear();
    for (const auto& [id, grab] : old) {
        Grab again;
        const QString reason = grabKey(grab.key, &again);
        if (reason.isEmpty())
            m_grabs[id] = again;
        else
            Q_EMIT failed(id, reason);
    }
}

void X11Hotkeys::unregisterKey(int id) {
    const auto it = m_grabs.find(id);
    if (it == m_grabs.end())
        return;
    const Grab grab = it->second;
    m_grabs.erase(it);
    ungrab(grab);
}

void X11Hotkeys::ungrab(const Grab& grab) {
    if (!isConnected())
        return;
    for (const auto& [other, held] : m_grabs) {
        if (held.keycode == grab.keycode && held.modifiers == grab.modifiers)
            return;
    }
    for (uint16_t lock : grab.locks)
        xcb_ungrab_key(m_connection, grab.keycode, m_root, static_cast<uint16_t>(grab.modifiers | lock));
    // A round trip: when this returns the server has released the key, and another program (or
    // another connection of ours) may grab it at once.
    std::free(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
    QMetaObject::invokeMethod(this, &X11Hotkeys::readEvents, Qt::QueuedConnection);
    m_down.erase(grab.keycode);
}

void X11Hotkeys::readEvents() {
    if (!m_connection)
        return;
    while (xcb_generic_event_t* event = xcb_poll_for_event(m_connection)) {
        handleEvent(event);
        std::free(event);
    }
    if (xcb_connection_has_error(m_connection) && m_notifier)
        m_notifier->setEnabled(false);
}

void X11Hotkeys::handleEvent(const void* raw) {
    const auto* event = static_cast<const xcb_generic_event_t*>(raw);
    const uint8_t type = event->response_type & 0x7f;
    if (type == XCB_KEY_RELEASE) {
        const auto* release = static_cast<const xcb_key_release_event_t*>(raw);
        if (m_down.erase(release->detail) > 0) {
            m_releasedKey = release->detail;
            m_releasedAt = release->time;
        }
        return;
    }
    if (type == XCB_MAPPING_NOTIFY) {
        const auto* mapping = static_cast<const xcb_mapping_notify_event_t*>(raw);
        if (mapping->request != XCB_MAPPING_POINTER && !m_grabs.empty())
            grabAgain();
        return;
    }
    if (type != XCB_KEY_PRESS)
        return;
    const auto* press = static_cast<const xcb_key_press_event_t*>(raw);
    // The keyboard's repeat comes as further presses while the key is down, or, where the server does
    // not say it is a repeat, as a release and a press at the same moment.
    const bool repeat =
        m_down.count(press->detail) > 0 || (press->detail == m_releasedKey && press->time == m_releasedAt);
    m_releasedKey = 0;
    bool ours = false;
    std::vector<int> ids;
    for (const auto& [id, grab] : m_grabs) {
        if (grab.keycode == press->detail && grab.modifiers == (press->state & OwnModifiers)) {
            ours = true;
            ids.push_back(id);
        }
    }
    if (!ours)
        return;
    m_down.insert(press->detail);
    if (repeat)
        return;
    for (int id : ids)
        Q_EMIT activated(id);
}

} // namespace hotkeys
