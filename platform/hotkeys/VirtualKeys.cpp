#include "platform/hotkeys/VirtualKeys.h"

#include <X11/keysym.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace hotkeys {
namespace {

struct VirtualKey {
    int code;
    std::string_view name;    // UTF-8, as the options dialog shows it
    uint32_t keysym;          // X11 key symbol
    std::string_view xkbName; // the symbol's name
};

// Codes in ascending order, so that a code is found by a binary search.
constexpr std::array<VirtualKey, 115> Keys{{
    {8, "BACKSPACE Key", XK_BackSpace, "BackSpace"},
    {9, "TAB key", XK_Tab, "Tab"},
    {12, "Clear Key", XK_Clear, "Clear"},
    {13, "ENTER Key", XK_Return, "Return"},
    {16, "Shift Key", XK_Shift_L, "Shift_L"},
    {17, "CTRL Key", XK_Control_L, "Control_L"},
    {18, "ALT Key", XK_Alt_L, "Alt_L"},
    {19, "PAUSE Key", XK_Pause, "Pause"},
    {20, "CAPS LOCK key", XK_Caps_Lock, "Caps_Lock"},
    {27, "ESC Key", XK_Escape, "Escape"},
    {32, "SPACEBAR", XK_space, "space"},
    {33, "PAGE UP key", XK_Prior, "Prior"},
    {34, "PAGE DOWN key", XK_Next, "Next"},
    {35, "END key", XK_End, "End"},
    {36, "HOME Key", XK_Home, "Home"},
    {37, "LEFT ARROW key", XK_Left, "Left"},
    {38, "UP ARROW key", XK_Up, "Up"},
    {39, "RIGHT ARROW key", XK_Right, "Right"},
    {40, "DOWN ARROW key", XK_Down, "Down"},
    {41, "SELECT key", XK_Select, "Select"},
    {43, "EXECUTE Key", XK_Execute, "Execute"},
    {44, "PRINT SCREEN key for Windows 3.0 and later", XK_Print, "Print"},
    {45, "INS Key", XK_Insert, "Insert"},
    {46, "DEL Key", XK_Delete, "Delete"},
    {47, "HELP Key", XK_Help, "Help"},
    {48, "0 Key", XK_0, "0"},
    {49, "1 Key", XK_1, "1"},
    {50, "2 Key", XK_2, "2"},
    {51, "3 Key", XK_3, "3"},
    {52, "4 Key", XK_4, "4"},
    {53, "5 Key", XK_5, "5"},
    {54, "6 Key", XK_6, "6"},
    {55, "7 Key", XK_7, "7"},
    {56, "8 Key", XK_8, "8"},
    {57, "9 Key", XK_9, "9"},
    {65, "A Key", XK_a, "a"},
    {66, "B Key", XK_b, "b"},
    {67, "C Key", XK_c, "c"},
    {68, "D Key", XK_d, "d"},
    {69, "E Key", XK_e, "e"},
    {70, "F Key", XK_f, "f"},
    {71, "G Key", XK_g, "g"},
    {72, "H Key", XK_h, "h"},
    {73, "I Key", XK_i, "i"},
    {74, "J Key", XK_j, "j"},
    {75, "K Key", XK_k, "k"},
    {76, "L Key", XK_l, "l"},
    {77, "M Key", XK_m, "m"},
    {78, "N Key", XK_n, "n"},
    {79, "O Key", XK_o, "o"},
    {80, "P Key", XK_p, "p"},
    {81, "Q Key", XK_q, "q"},
    {82, "R Key", XK_r, "r"},
    {83, "S Key", XK_s, "s"},
    {84, "T Key", XK_t, "t"},
    {85, "U Key", XK_u, "u"},
    {86, "V Key", XK_v, "v"},
    {87, "W Key", XK_w, "w"},
    {88, "X Key", XK_x, "x"},
    {89, "Y Key", XK_y, "y"},
    {90, "Z Key", XK_z, "z"},
    {91, "Left Windows key (Microsoft Natural Keyboard)", XK_Super_L, "Super_L"},
    {92, "Right Windows key (Microsoft Natural Keyboard)", XK_Super_R, "Super_R"},
    {93, "Applications key (Microsoft Natural Keyboard)", XK_Menu, "Menu"},
    {96, "Numeric keypad 0 key", XK_KP_0, "KP_0"},
    {97, "Numeric keypad 1 key", XK_KP_1, "KP_1"},
    {98, "Numeric keypad 2 key", XK_KP_2, "KP_2"},
    {99, "Numeric keypad 3 key", XK_KP_3, "KP_3"},
    {100, "Numeric keypad 4 key", XK_KP_4, "KP_4"},
    {101, "Numeric keypad 5 key", XK_KP_5, "KP_5"},
    {102, "Numeric keypad 6 key", XK_KP_6, "KP_6"},
    {103, "Numeric keypad 7 key", XK_KP_7, "KP_7"},
    {104, "Numeric keypad 8 key", XK_KP_8, "KP_8"},
    {105, "Numeric keypad 9 key", XK_KP_9, "KP_9"},
    {106, "Multiply Key", XK_KP_Multiply, "KP_Multiply"},
    {107, "Add Key", XK_KP_Add, "KP_Add"},
    {108, "Separator Key", XK_KP_Separator, "KP_Separator"},
    {109, "Subtract Key", XK_KP_Subtract, "KP_Subtract"},
    {110, "Decimal key", XK_KP_Decimal, "KP_Decimal"},
    {111, "Divide Key", XK_KP_Divide, "KP_Divide"},
    {112, "F1 Key", XK_F1, "F1"},
    {113, "F2 Key", XK_F2, "F2"},
    {114, "F3 Key", XK_F3, "F3"},
    {115, "F4 Key", XK_F4, "F4"},
    {116, "F5 Key", XK_F5, "F5"},
    {117, "F6 Key", XK_F6, "F6"},
    {118, "F7 Key", XK_F7, "F7"},
    {119, "F8 Key", XK_F8, "F8"},
    {120, "F9 Key", XK_F9, "F9"},
    {121, "F10 Key", XK_F10, "F10"},
    {122, "F11 Key", XK_F11, "F11"},
    {123, "F12 Key", XK_F12, "F12"},
    {124, "F13 Key", XK_F13, "F13"},
    {125, "F14 Key", XK_F14, "F14"},
    {126, "F15 Key", XK_F15, "F15"},
    {127, "F16 Key", XK_F16, "F16"},
    {128, "F17 Key", XK_F17, "F17"},
    {129, "F18 Key", XK_F18, "F18"},
    {130, "F19 Key", XK_F19, "F19"},
    {131, "F20 Key", XK_F20, "F20"},
    {132, "F21 Key", XK_F21, "F21"},
    {133, "F22 Key", XK_F22, "F22"},
    {134, "F23 Key", XK_F23, "F23"},
    {135, "F24 Key", XK_F24, "F24"},
    {144, "NUM LOCK key", XK_Num_Lock, "Num_Lock"},
    {145, "SCROLL LOCK key", XK_Scroll_Lock, "Scroll_Lock"},
    // The keys of the German layout, by the Windows codes of their places.
    {186, "\u00dc Key", XK_udiaeresis, "udiaeresis"},
    {187, "+ Key", XK_plus, "plus"},
    {191, "# Key", XK_numbersign, "numbersign"},
    {192, "\u00d6 Key", XK_odiaeresis, "odiaeresis"},
    {219, "? Key", XK_ssharp, "ssharp"},
    {220, "^ Key", XK_dead_circumflex, "dead_circumflex"},
    {221, "\u00b4 Key", XK_dead_acute, "dead_acute"},
    {222, "\u00c4 Key", XK_adiaeresis, "adiaeresis"},
    {226, "< Key", XK_less, "less"},
}};

static_assert(std::is_sorted(Keys.begin(), Keys.end(),
                             [](const VirtualKey& a, const VirtualKey& b) { return a.code < b.code; }));

const VirtualKey* find(int code) {
    const auto it = std::lower_bound(Keys.begin(), Keys.end(), code,
                                     [](const VirtualKey& key, int c) { return key.code < c; });
    return it != Keys.end() && it->code == code ? &*it : nullptr;
}

QString fromView(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace

QString HotkeyName(int code) {
    const VirtualKey* key = find(code);
    return key ? fromView(key->name) : QString();
}

uint32_t KeysymOfVirtualKey(int code) {
    const VirtualKey* key = find(code);
    return key ? key->keysym : 0;
}

QString KeysymNameOfVirtualKey(int code) {
    const VirtualKey* key = find(code);
    return key ? fromView(key->xkbName) : QString();
}

} // namespace hotkeys
