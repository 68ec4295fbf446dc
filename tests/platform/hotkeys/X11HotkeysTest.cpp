// The X11 global keys against an X server of the test's own (Xvfb without a window manager), pressed by
// xdotool through the XTEST extension as a keyboard would. Skipped without Xvfb or xdotool.

#include "platform/hotkeys/X11Hotkeys.h"
#include "platform/hotkeys/GlobalHotkeys.h"
#include "tests/support/TestDesktop.h"
#include "tests/support/TestEnvironment.h"

#include <QSignalSpy>

#include <X11/keysym.h>
#include <xcb/xcb.h>

#include <gmock/gmock.h>

#include <cstdlib>
#include <vector>

namespace {

using hotkeys::HotkeyKey;
using hotkeys::X11Hotkeys;
using ::testing::HasSubstr;

constexpr quint32 F9 = 120;
constexpr quint32 F10 = 121;
const HotkeyKey CtrlAltF9{F9, true, true, false};
const HotkeyKey CtrlAltF10{F10, true, true, false};

// A plain X client of the test, for what the test looks at or holds itself.
class TestClient {
public:
    TestClient() {
        m_c = xcb_connect(nullptr, nullptr);
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_c)).data->root;
    }
    ~TestClient() { xcb_disconnect(m_c); }

    // The modifiers as the server has them now, the locks included.
    uint16_t modifierState() {
        xcb_query_pointer_reply_t* reply =
            xcb_query_pointer_reply(m_c, xcb_query_pointer(m_c, m_root), nullptr);
        const uint16_t mask = reply ? reply->mask : 0;
        std::free(reply);
        return mask;
    }
    uint8_t keycodeOf(xcb_keysym_t keysym) {
        const xcb_setup_t* setup = xcb_get_setup(m_c);
        const uint8_t count = static_cast<uint8_t>(setup->max_keycode - setup->min_keycode + 1);
        xcb_get_keyboard_mapping_reply_t* mapping = xcb_get_keyboard_mapping_reply(
            m_c, xcb_get_keyboard_mapping(m_c, setup->min_keycode, count), nullptr);
        uint8_t found = 0;
        const xcb_keysym_t* keysyms = xcb_get_keyboard_mapping_keysyms(mapping);
        for (int i = 0; i < xcb_get_keyboard_mapping_keysyms_length(mapping) && found == 0; ++i) {
            if (keysyms[i] == keysym)
                found = static_cast<uint8_t>(setup->min_keycode + i / mapping->keysyms_per_keycode);
        }
        std::free(mapping);
        return found;
    }
    // Takes the switch to a text console off the key of `keysym`, as the option "srvrkeys:none" of a
    // keymap does: the server keeps Ctrl+Alt+F1 ... F12 for that and no client would see those keys.
    void freeFromConsoleSwitching(xcb_keysym_t keysym) {
        const uint8_t keycode = keycodeOf(keysym);
        xcb_get_keyboard_mapping_reply_t* mapping =
            xcb_get_keyboard_mapping_reply(m_c, xcb_get_keyboard_mapping(m_c, keycode, 1), nullptr);
        std::vector<xcb_keysym_t> keysyms(mapping->keysyms_per_keycode, XCB_NO_SYMBOL);
        keysyms[0] = keysym;
        xcb_generic_error_t* error =
            xcb_request_check(m_c, xcb_change_keyboard_mapping_checked(
                                       m_c, 1, keycode, mapping->keysyms_per_keycode, keysyms.data()));
        EXPECT_EQ(error, nullptr);
        std::free(error);
        std::free(mapping);
    }
    // A keycode that carries no symbol; 0 when every keycode has one.
    uint8_t emptyKeycode() {
        const xcb_setup_t* setup = xcb_get_setup(m_c);
        const uint8_t count = static_cast<uint8_t>(setup->max_keycode - setup->min_keycode + 1);
        xcb_get_keyboard_mapping_reply_t* mapping = xcb_get_keyboard_mapping_reply(
            m_c, xcb_get_keyboard_mapping(m_c, setup->min_keycode, count), nullptr);
        const int per = mapping->keysyms_per_keycode;
        const xcb_keysym_t* keysyms = xcb_get_keyboard_mapping_keysyms(mapping);
        uint8_t found = 0;
        for (int key = count - 1; key >= 0 && found == 0; --key) {
            bool empty = true;
            for (int level = 0; level < per; ++level)
                empty = empty && keysyms[key * per + level] == XCB_NO_SYMBOL;
            if (empty)
                found = static_cast<uint8_t>(setup->min_keycode + key);
        }
        std::free(mapping);
        return found;
    }
    // Gives `keycode` the one symbol `keysym` (none for XCB_NO_SYMBOL).
    void setKeysym(uint8_t keycode, xcb_keysym_t keysym) {
        xcb_get_keyboard_mapping_reply_t* mapping =
            xcb_get_keyboard_mapping_reply(m_c, xcb_get_keyboard_mapping(m_c, keycode, 1), nullptr);
        std::vector<xcb_keysym_t> keysyms(mapping->keysyms_per_keycode, XCB_NO_SYMBOL);
        keysyms[0] = keysym;
        xcb_generic_error_t* error =
            xcb_request_check(m_c, xcb_change_keyboard_mapping_checked(
                                       m_c, 1, keycode, mapping->keysyms_per_keycode, keysyms.data()));
        EXPECT_EQ(error, nullptr);
        std::free(error);
        std::free(mapping);
    }
    // Grabs one combination of modifiers of a key; true when the server gave it.
    bool grab(uint8_t keycode, uint16_t modifiers) {
        xcb_generic_error_t* error =
            xcb_request_check(m_c, xcb_grab_key_checked(m_c, 0, m_root, modifiers, keycode,
                                                        XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
        std::free(error);
        return error == nullptr;
    }
    void ungrab(uint8_t keycode, uint16_t modifiers) {
        xcb_ungrab_key(m_c, keycode, m_root, modifiers);
        xcb_flush(m_c);
    }

private:
    xcb_connection_t* m_c = nullptr;
    xcb_window_t m_root = 0;
};

class X11HotkeysTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (TestDisplay().isEmpty())
            GTEST_SKIP() << "needs Xvfb";
        if (!HaveXdotool())
            GTEST_SKIP() << "needs xdotool";
        TestClient client;
        client.freeFromConsoleSwitching(XK_F9);
        client.freeFromConsoleSwitching(XK_F10);
    }

    // Presses the keys and waits until `spy` holds `count` signals; true when they came.
    static bool press(const char* keys, QSignalSpy& spy, qsizetype count) {
        if (!Xdotool({QStringLiteral("key"), QString::fromLatin1(keys)}))
            return false;
        return WaitUntil([&] { return spy.size() >= count; }, 5000);
    }
};

// Puts a lock (Num_Lock, Caps_Lock) on or off by pressing its key when needed; true when the server's
// state then says so through the lock's modifier.
bool setLock(TestClient& client, const char* key, uint16_t modifier, bool on) {
    if (((client.modifierState() & modifier) != 0) != on)
        Xdotool({QStringLiteral("key"), QString::fromLatin1(key)});
    return ((client.modifierState() & modifier) != 0) == on;
}

std::vector<int> ids(const QSignalSpy& spy) {
    std::vector<int> out;
    for (const auto& signal : spy)
        out.push_back(signal.at(0).toInt());
    return out;
}

TEST_F(X11HotkeysTest, ARegisteredKeyFiresWhateverTheLocks) {
    TestClient client;
    ASSERT_TRUE(setLock(client, "Num_Lock", XCB_MOD_MASK_2, false));
    ASSERT_TRUE(setLock(client, "Caps_Lock", XCB_MOD_MASK_LOCK, false));
    X11Hotkeys keys;
    ASSERT_TRUE(keys.isConnected());
    EXPECT_EQ(keys.kind(), QStringLiteral("X11"));
    QSignalSpy spy(&keys, &hotkeys::GlobalHotkeys::activated);
    QString error;
    ASSERT_TRUE(keys.registerKey(1, CtrlAltF9, &error)) << error.toStdString();
    ASSERT_TRUE(keys.registerKey(2, CtrlAltF10, &error)) << error.toStdString();

    ASSERT_TRUE(press("ctrl+alt+F9", spy, 1));
    EXPECT_EQ(ids(spy), std::vector<int>{1});

    // The key without its modifiers, and with one more, is not ours; the key of id 2 after them shows
    // that their events, had there been any, would have come already.
    ASSERT_TRUE(Xdotool({QStringLiteral("key"), QStringLiteral("F9")}));
    ASSERT_TRUE(Xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+shift+F9")}));
    ASSERT_TRUE(press("ctrl+alt+F10", spy, 2));
    EXPECT_EQ(ids(spy), (std::vector<int>{1, 2}));

    // Num Lock is Mod2 in this keymap.
    ASSERT_TRUE(setLock(client, "Num_Lock", XCB_MOD_MASK_2, true));
    ASSERT_TRUE(press("ctrl+alt+F9", spy, 3));

    ASSERT_TRUE(setLock(client, "Caps_Lock", XCB_MOD_MASK_LOCK, true));
    ASSERT_TRUE(press("ctrl+alt+F9", spy, 4));

    ASSERT_TRUE(setLock(client, "Num_Lock", XCB_MOD_MASK_2, false));
    ASSERT_TRUE(press("ctrl+alt+F9", spy, 5));
    ASSERT_TRUE(setLock(client, "Caps_Lock", XCB_MOD_MASK_LOCK, false));
    EXPECT_EQ(ids(spy), (std::vector<int>{1, 2, 1, 1, 1}));
}

TEST_F(X11HotkeysTest, AKeyHeldDownCountsOnce) {
    X11Hotkeys keys;
    QSignalSpy spy(&keys, &hotkeys::GlobalHotkeys::activated);
    QString error;
    ASSERT_TRUE(keys.registerKey(1, CtrlAltF9, &error)) << error.toStdString();
    ASSERT_TRUE(keys.registerKey(2, CtrlAltF10, &error)) << error.toStdString();
    // Held for a second: longer than the server's repeat delay (660 ms by default).
    ASSERT_TRUE(Xdotool({QStringLiteral("keydown"), QStringLiteral("ctrl+alt+F9"), QStringLiteral("sleep"),
                         QStringLiteral("1"), QStringLiteral("keyup"), QStringLiteral("F9")}));
    ASSERT_TRUE(press("ctrl+alt+F10", spy, 2));
    ASSERT_TRUE(Xdotool({QStringLiteral("keyup"), QStringLiteral("ctrl+alt")}));
    EXPECT_EQ(ids(spy), (std::vector<int>{1, 2}));
}

TEST_F(X11HotkeysTest, AKeyHeldByAnotherProgramIsRefused) {
    X11Hotkeys first;
    X11Hotkeys second;
    ASSERT_TRUE(second.isConnected());
    QSignalSpy firstSpy(&first, &hotkeys::GlobalHotkeys::activated);
    QSignalSpy secondSpy(&second, &hotkeys::GlobalHotkeys::activated);
    QString error;
    ASSERT_TRUE(first.registerKey(1, CtrlAltF9, &error)) << error.toStdString();
    EXPECT_FALSE(second.registerKey(1, CtrlAltF9, &error));
    EXPECT_THAT(error.toStdString(), HasSubstr("taken by another program"));
    // The same key with other modifiers is free.
    error.clear();
    EXPECT_TRUE(second.registerKey(2, HotkeyKey{F9, true, false, false}, &error)) << error.toStdString();

    // The refusal took nothing from the first.
    ASSERT_TRUE(press("ctrl+alt+F9", firstSpy, 1));
    ASSERT_TRUE(press("ctrl+F9", secondSpy, 1));
    EXPECT_EQ(ids(firstSpy), std::vector<int>{1});
    EXPECT_EQ(ids(secondSpy), std::vector<int>{2});
}

TEST_F(X11HotkeysTest, ARefusedKeyGivesBackWhatItHad) {
    // Another program holds the key only with Num Lock on: our first grabs succeed, a later one fails.
    TestClient other;
    const uint8_t f9 = other.keycodeOf(XK_F9);
    ASSERT_NE(f9, 0);
    const uint16_t ctrlAlt = XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1;
    ASSERT_TRUE(other.grab(f9, ctrlAlt | XCB_MOD_MASK_2));

    X11Hotkeys refused;
    QString error;
    EXPECT_FALSE(refused.registerKey(1, CtrlAltF9, &error));
    EXPECT_THAT(error.toStdString(), HasSubstr("taken by another program"));

    // Had the refused registration kept its grabs without the lock, the other program could not take
    // them now.
    EXPECT_TRUE(other.grab(f9, ctrlAlt));
    EXPECT_TRUE(other.grab(f9, ctrlAlt | XCB_MOD_MASK_LOCK));
    other.ungrab(f9, ctrlAlt);
    other.ungrab(f9, ctrlAlt | XCB_MOD_MASK_LOCK);
    other.ungrab(f9, ctrlAlt | XCB_MOD_MASK_2);
    X11Hotkeys later;
    EXPECT_TRUE(later.registerKey(1, CtrlAltF9, &error)) << error.toStdString();
}

TEST_F(X11HotkeysTest, AnUnregisteredKeyNoLongerFiresAndIsFree) {
    X11Hotkeys keys;
    QSignalSpy spy(&keys, &hotkeys::GlobalHotkeys::activated);
    QString error;
    ASSERT_TRUE(keys.registerKey(1, CtrlAltF9, &error)) << error.toStdString();
    ASSERT_TRUE(keys.registerKey(2, CtrlAltF10, &error)) << error.toStdString();
    ASSERT_TRUE(press("ctrl+alt+F9", spy, 1));
    keys.unregisterKey(1);
    ASSERT_TRUE(Xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+F9")}));
    ASSERT_TRUE(press("ctrl+alt+F10", spy, 2));
    EXPECT_EQ(ids(spy), (std::vector<int>{1, 2}));

    X11Hotkeys other;
    EXPECT_TRUE(other.registerKey(1, CtrlAltF9, &error)) << error.toStdString();
    EXPECT_FALSE(other.registerKey(2, CtrlAltF10, &error));
}

TEST_F(X11HotkeysTest, RegisteringAnIdAgainReplacesItsKey) {
    X11Hotkeys keys;
    QSignalSpy spy(&keys, &hotkeys::GlobalHotkeys::activated);
    QString error;
    ASSERT_TRUE(keys.registerKey(1, CtrlAltF9, &error)) << error.toStdString();
    ASSERT_TRUE(keys.registerKey(1, CtrlAltF10, &error)) << error.toStdString();
    ASSERT_TRUE(keys.registerKey(2, HotkeyKey{F9, false, false, true}, &error)) << error.toStdString();
    ASSERT_TRUE(Xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+F9")}));
    ASSERT_TRUE(press("ctrl+alt+F10", spy, 1));
    ASSERT_TRUE(press("shift+F9", spy, 2));
    EXPECT_EQ(ids(spy), (std::vector<int>{1, 2}));
}

TEST_F(X11HotkeysTest, AKeyThatMovesToAnotherKeycodeIsGrabbedThere) {
    TestClient client;
    const uint8_t f9 = client.keycodeOf(XK_F9);
    const uint8_t spare = client.emptyKeycode();
    ASSERT_NE(f9, 0);
    ASSERT_NE(spare, 0);
    X11Hotkeys keys;
    QSignalSpy spy(&keys, &hotkeys::GlobalHotkeys::activated);
    QSignalSpy failed(&keys, &hotkeys::GlobalHotkeys::failed);
    QString error;
    ASSERT_TRUE(keys.registerKey(1, HotkeyKey{F9, true, false, false}, &error)) << error.toStdString();
    ASSERT_TRUE(press("ctrl+F9", spy, 1));

    // Another layout puts F9 elsewhere: the mapping's change reaches every client.
    client.setKeysym(f9, XCB_NO_SYMBOL);
    client.setKeysym(spare, XK_F9);
    RunEvents(300);
    ASSERT_EQ(client.keycodeOf(XK_F9), spare);
    ASSERT_TRUE(press("ctrl+F9", spy, 2));

    // And back again.
    client.setKeysym(spare, XCB_NO_SYMBOL);
    client.setKeysym(f9, XK_F9);
    RunEvents(300);
    ASSERT_TRUE(press("ctrl+F9", spy, 3));
    EXPECT_EQ(ids(spy), (std::vector<int>{1, 1, 1}));
    EXPECT_EQ(failed.size(), 0);
}

TEST_F(X11HotkeysTest, NoKeyAndKeysTheKeyboardLacks) {
    X11Hotkeys keys;
    QString error;
    EXPECT_TRUE(keys.registerKey(1, HotkeyKey{}, &error));
    EXPECT_TRUE(error.isEmpty()) << error.toStdString();
    // Xvfb's keymap is the US one: no Ü.
    EXPECT_FALSE(keys.registerKey(1, HotkeyKey{186, true, false, false}, &error));
    EXPECT_THAT(error.toStdString(), HasSubstr("no key udiaeresis"));
    EXPECT_FALSE(keys.registerKey(1, HotkeyKey{200, true, false, false}, &error));
    EXPECT_THAT(error.toStdString(), HasSubstr("names no key"));
}

TEST_F(X11HotkeysTest, CtrlAltAndAKeyForAConsoleIsRefused) {
    // F11 keeps its switch to console 11 (the others were freed from theirs for the tests).
    X11Hotkeys keys;
    QString error;
    EXPECT_FALSE(keys.registerKey(1, HotkeyKey{122, true, true, false}, &error));
    EXPECT_THAT(error.toStdString(), HasSubstr("console 11"));
    // Without Alt the key is the program's.
    QSignalSpy spy(&keys, &hotkeys::GlobalHotkeys::activated);
    ASSERT_TRUE(keys.registerKey(1, HotkeyKey{122, true, false, false}, &error)) << error.toStdString();
    ASSERT_TRUE(press("ctrl+F11", spy, 1));
}

TEST(X11HotkeysNoServer, AnUnreachableServerRefusesKeys) {
    X11Hotkeys keys("unix:/nonexistent/socket");
    EXPECT_FALSE(keys.isConnected());
    QString error;
    EXPECT_FALSE(keys.registerKey(1, CtrlAltF9, &error));
    EXPECT_THAT(error.toStdString(), HasSubstr("no connection"));
    EXPECT_TRUE(keys.registerKey(1, HotkeyKey{}, &error));
}

TEST(HotkeyWay, ThePortalOnWaylandX11WithADisplayElseNone) {
    using hotkeys::ChooseHotkeyWay;
    using hotkeys::HotkeyWay;
    EXPECT_EQ(ChooseHotkeyWay(QStringLiteral("wayland"), true, true), HotkeyWay::Portal);
    EXPECT_EQ(ChooseHotkeyWay(QStringLiteral("wayland"), false, false), HotkeyWay::Portal);
    EXPECT_EQ(ChooseHotkeyWay(QString(), true, false), HotkeyWay::Portal);
    EXPECT_EQ(ChooseHotkeyWay(QString(), true, true), HotkeyWay::X11);
    EXPECT_EQ(ChooseHotkeyWay(QStringLiteral("x11"), false, true), HotkeyWay::X11);
    EXPECT_EQ(ChooseHotkeyWay(QStringLiteral("tty"), false, false), HotkeyWay::None);
}

TEST(HotkeyWay, WithoutAnyDesktopEveryKeyIsRefused) {
    qunsetenv("DISPLAY");
    qunsetenv("WAYLAND_DISPLAY");
    qunsetenv("XDG_SESSION_TYPE");
    const auto keys = hotkeys::CreateGlobalHotkeys();
    EXPECT_EQ(keys->kind(), QStringLiteral("none"));
    QString error;
    EXPECT_TRUE(keys->registerKey(1, HotkeyKey{}, &error));
    EXPECT_FALSE(keys->registerKey(1, CtrlAltF9, &error));
    EXPECT_THAT(error.toStdString(), HasSubstr("no X server"));
}

TEST_F(X11HotkeysTest, CreatedFromTheEnvironmentOnX11) {
    qunsetenv("WAYLAND_DISPLAY");
    qputenv("XDG_SESSION_TYPE", "x11");
    const auto keys = hotkeys::CreateGlobalHotkeys();
    EXPECT_EQ(keys->kind(), QStringLiteral("X11"));
    QSignalSpy spy(keys.get(), &hotkeys::GlobalHotkeys::activated);
    QString error;
    ASSERT_TRUE(keys->registerKey(2, CtrlAltF9, &error)) << error.toStdString();
    ASSERT_TRUE(press("ctrl+alt+F9", spy, 1));
    EXPECT_EQ(ids(spy), std::vector<int>{2});
}

} // namespace
