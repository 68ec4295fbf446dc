#include "platform/hotkeys/VirtualKeys.h"

#include <X11/keysym.h>

#include <gmock/gmock.h>

#include <set>

namespace {

using hotkeys::HotkeyName;
using hotkeys::KeysymNameOfVirtualKey;
using hotkeys::KeysymOfVirtualKey;

TEST(VirtualKeys, NameExactlyTheKeysOfTheOptionsDialog) {
    int named = 0;
    std::set<QString> names;
    for (int code = 0; code <= 255; ++code) {
        const QString name = HotkeyName(code);
        if (name.isEmpty())
            continue;
        ++named;
        names.insert(name);
        // Every named key has a key symbol and the symbol's name, and only named keys have them.
        EXPECT_NE(KeysymOfVirtualKey(code), 0u) << code;
        EXPECT_FALSE(KeysymNameOfVirtualKey(code).isEmpty()) << code;
    }
    EXPECT_EQ(named, 115);
    EXPECT_EQ(names.size(), 115u);
}

TEST(VirtualKeys, NamesOfSingleCodesIncludingTheEdges) {
    struct Case {
        int code;
        const char* name;
    };
    const Case cases[] = {
        {-1, ""},
        {0, ""},
        {7, ""},
        {8, "BACKSPACE Key"},
        {9, "TAB key"},
        {10, ""},
        {12, "Clear Key"},
        {13, "ENTER Key"},
        {32, "SPACEBAR"},
        {42, ""},
        {44, "PRINT SCREEN key for Windows 3.0 and later"},
        {48, "0 Key"},
        {57, "9 Key"},
        {58, ""},
        {64, ""},
        {65, "A Key"},
        {90, "Z Key"},
        {91, "Left Windows key (Microsoft Natural Keyboard)"},
        {93, "Applications key (Microsoft Natural Keyboard)"},
        {94, ""},
        {96, "Numeric keypad 0 key"},
        {105, "Numeric keypad 9 key"},
        {110, "Decimal key"},
        {111, "Divide Key"},
        {112, "F1 Key"},
        {120, "F9 Key"},
        {135, "F24 Key"},
        {136, ""},
        {144, "NUM LOCK key"},
        {145, "SCROLL LOCK key"},
        {146, ""},
        {186, "\u00dc Key"},
        {187, "+ Key"},
        {188, ""},
        {191, "# Key"},
        {192, "\u00d6 Key"},
        {219, "? Key"},
        {220, "^ Key"},
        {221, "\u00b4 Key"},
        {222, "\u00c4 Key"},
        {226, "< Key"},
        {227, ""},
        {255, ""},
        {256, ""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(HotkeyName(c.code), QString::fromUtf8(c.name)) << c.code;
}

TEST(VirtualKeys, KeySymbolsAsX11NamesThem) {
    struct Case {
        int code;
        uint32_t keysym;
        const char* name;
    };
    const Case cases[] = {
        {-1, 0, ""},
        {0, 0, ""},
        {8, 0xff08, "BackSpace"},
        {13, 0xff0d, "Return"},
        {32, 0x20, "space"},
        {33, 0xff55, "Prior"},
        {44, 0xff61, "Print"},
        {48, 0x30, "0"},
        {65, 0x61, "a"}, // letters as the lower-case symbols
        {90, 0x7a, "z"},
        {92, 0xffec, "Super_R"},
        {93, 0xff67, "Menu"},
        {96, 0xffb0, "KP_0"},
        {106, 0xffaa, "KP_Multiply"},
        {110, 0xffae, "KP_Decimal"},
        {111, 0xffaf, "KP_Divide"},
        {112, 0xffbe, "F1"},
        {120, 0xffc6, "F9"},
        {135, 0xffd5, "F24"},
        {136, 0, ""},
        {144, 0xff7f, "Num_Lock"},
        {145, 0xff14, "Scroll_Lock"},
        {186, 0xfc, "udiaeresis"},
        {187, 0x2b, "plus"},
        {191, 0x23, "numbersign"},
        {192, 0xf6, "odiaeresis"},
        {219, 0xdf, "ssharp"},
        {220, 0xfe52, "dead_circumflex"},
        {221, 0xfe51, "dead_acute"},
        {222, 0xe4, "adiaeresis"},
        {226, 0x3c, "less"},
        {255, 0, ""},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(KeysymOfVirtualKey(c.code), c.keysym) << c.code;
        EXPECT_EQ(KeysymNameOfVirtualKey(c.code), QString::fromUtf8(c.name)) << c.code;
    }
    // The numbers above are those of the X11 headers.
    EXPECT_EQ(KeysymOfVirtualKey(120), uint32_t(XK_F9));
    EXPECT_EQ(KeysymOfVirtualKey(220), uint32_t(XK_dead_circumflex));
}

TEST(VirtualKeys, RowsOfCodesFollowEachOther) {
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(HotkeyName(48 + i), QStringLiteral("%1 Key").arg(i));
        EXPECT_EQ(HotkeyName(96 + i), QStringLiteral("Numeric keypad %1 key").arg(i));
        EXPECT_EQ(KeysymOfVirtualKey(96 + i), uint32_t(XK_KP_0 + i));
    }
    for (int i = 0; i < 26; ++i) {
        EXPECT_EQ(HotkeyName(65 + i), QStringLiteral("%1 Key").arg(QChar(u'A' + i)));
        EXPECT_EQ(KeysymOfVirtualKey(65 + i), uint32_t(XK_a + i));
    }
    for (int i = 0; i < 24; ++i) {
        EXPECT_EQ(HotkeyName(112 + i), QStringLiteral("F%1 Key").arg(i + 1));
        EXPECT_EQ(KeysymOfVirtualKey(112 + i), uint32_t(XK_F1 + i));
    }
}

} // namespace
