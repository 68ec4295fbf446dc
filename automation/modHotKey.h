#pragma once

// Dialling from any application: two global keys, the first dials the number marked anywhere on the
// desktop (or answers a ringing call, or takes a call over from the answering machine), the second hangs
// up. The marked text is read, never copied by keys sent to the other application, so its clipboard and
// its keys stay untouched; the number is picked from the text and the user's prefix rules applied.

#include "shell/base/Settings.h"

#include <QObject>
#include <QString>

#include <cstdint>
#include <functional>

class Language;
class Logs;
class UserDialogs;
namespace hotkeys {
class GlobalHotkeys;
}

// What the hotkeys do with the call; the program's windows give it.
class HotkeyCalls {
public:
    virtual ~HotkeyCalls() = default;
    virtual int16_t callState() const = 0;
    // Whether a call can be dialled: the line is there.
    virtual bool lineOpen() const = 0;
    // Puts the number into the main window's number box.
    virtual void showNumber(const QString& number) = 0;
    virtual void dial(const QString& number) = 0;
    virtual void answer() = 0;
    virtual void takeOver() = 0;
    virtual void hangUp() = 0;
};

// The number in a marked text: blanks removed, cut after its last digit, then read backwards so that
// single separators inside the number are passed over and two together end it ("Tel.: 0123" gives
// "0123"). The prefix rule follows: a number that begins with `rules.prefix` gets `rules.replace` in its
// place; otherwise a number that stood behind a "+" gets `rules.plusString` in front when
// `rules.replacePlus` is 1. Empty when the text holds no digit.
QString HotkeyPickNumber(const QString& text, const HotkeyRules& rules);

class modHotKey : public QObject {
    Q_OBJECT
public:
    modHotKey(Settings& settings, const Language& language, Logs& logs, UserDialogs& dialogs);

    // The desktop's global keys and the call; without keys (tests of the program, no desktop) nothing is
    // registered.
    void setKeys(hotkeys::GlobalHotkeys* keys);
    void setCalls(HotkeyCalls* calls) { m_calls = calls; }
    // The text marked in any application; the desktop's primary selection unless a test gives another.
    std::function<QString()> markedText;

    // At the start: registers both keys of the settings.
    void HotkeyInit();
    // At the stop: gives both keys back.
    void HotkeyExit();
    // Registers `key` as hotkey `number` (1 dial, 2 hang up). A key code of 0 registers nothing and is
    // true. A key that cannot be had: its code in the settings falls to 0, the user sees why (string
    // 3236) and error.log keeps the reason.
    bool HotkeyRegister(int number, const HotkeyRecord& key);
    bool HotkeyUnregister(int number);

    // A hotkey was pressed. Hotkey 1 at rest dials the marked number, on a ringing call answers, on the
    // answering machine's call takes it over; hotkey 2 hangs up. A press while the last one of the same
    // key is at work is ignored.
    void HotkeyPressed(int number);
    // The number marked on the desktop, with the prefix rules applied; empty when none.
    QString HotkeyGrabNumber();

private:
    HotkeyRecord& record(int number) { return number == 2 ? m_settings.Hotkey2 : m_settings.Hotkey1; }
    void refuse(int number, const QString& reason);

    Settings& m_settings;
    const Language& m_language;
    Logs& m_logs;
    UserDialogs& m_dialogs;
    hotkeys::GlobalHotkeys* m_keys = nullptr;
    HotkeyCalls* m_calls = nullptr;
    bool m_busy[2] = {false, false};
};
