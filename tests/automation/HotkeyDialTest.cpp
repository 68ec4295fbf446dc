// The hotkeys' logic: the number picked from a marked text with the prefix rules, what each key does in
// each call state, and a key that cannot be had. The desktop's keys are a fake here; the real grab is
// tested in its own layer and with the program.

#include "automation/modHotKey.h"
#include "platform/Clock.h"
#include "platform/hotkeys/GlobalHotkeys.h"
#include "shell/base/CallRecord.h"
#include "shell/base/Language.h"
#include "shell/base/Logs.h"
#include "shell/base/UserDialogs.h"
#include "tests/support/TestEnvironment.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

TEST(HotkeyPickNumber, SeparatorsPassAloneTwoEndTheNumberAndThePrefixRulesFollow) {
    struct Row {
        const char* marked;
        const char* number;
    };
    const Row rows[] = {
        {"+49 (89) 12 34-56", "089123456"},   // "49" at the head becomes "0"; its "+" goes with it
        {"+1 212 555-0100", "0012125550100"}, // a "+" without the prefix gets "00"
        {"Tel.: 0123", "0123"},               // two non-digits together end the search
        {"Call 089/123 45 67 today.", "0891234567"},
        {"Fax 089 1111, Tel 089 2222", "0892222"}, // the last number of the text
        {"4930123", "030123"},
        {"  0171 / 123 456  \n", "0171123456"},
        {"no digits here", ""},
        {"", ""},
        {"x9", "9"},
        {"+++5", "005"}, // the non-digit next to the number is its sign; the second ends the search
        {"A-1", "1"},
    };
    const HotkeyRules defaults;
    for (const Row& row : rows)
        EXPECT_EQ(HotkeyPickNumber(S(row.marked), defaults), S(row.number)) << row.marked;

    HotkeyRules rules;
    rules.replacePlus = 0;
    EXPECT_EQ(HotkeyPickNumber(S("+1 212 555-0100"), rules), S("12125550100")) << "the plus rule off";
    rules.prefix = S("41");
    rules.replace = S("0041");
    EXPECT_EQ(HotkeyPickNumber(S("+41 44 123"), rules), S("004144123"));
    rules.prefix.clear();
    EXPECT_EQ(HotkeyPickNumber(S("4989"), rules), S("4989")) << "an empty prefix matches nothing";
}

struct FakeKeys : hotkeys::GlobalHotkeys {
    std::map<int, hotkeys::HotkeyKey> registered;
    QString refuse; // a reason: every key is refused
    bool registerKey(int id, const hotkeys::HotkeyKey& key, QString* error) override {
        if (!refuse.isEmpty()) {
            *error = refuse;
            return false;
        }
        registered[id] = key;
        return true;
    }
    void unregisterKey(int id) override { registered.erase(id); }
    QString kind() const override { return S("X11"); }
};

struct FakeCalls : HotkeyCalls {
    int16_t state = StateIdle;
    bool open = true;
    QStringList done;
    std::function<void()> duringDial;
    int16_t callState() const override { return state; }
    bool lineOpen() const override { return open; }
    void showNumber(const QString& number) override { done << S("show ") + number; }
    void dial(const QString& number) override {
        done << S("dial ") + number;
        if (duringDial)
            duringDial();
    }
    void answer() override { done << S("answer"); }
    void takeOver() override { done << S("take over"); }
    void hangUp() override { done << S("hang up"); }
};

struct Hotkeys {
    Hotkeys() {
        hotkey.setKeys(&keys);
        hotkey.setCalls(&calls);
        hotkey.markedText = [this] {
            ++reads;
            return marked;
        };
        dialogs.setAsker([this](const QString& text, UserDialogs::Buttons, UserDialogs::Icon) {
            messages << text;
            return UserDialogs::Answer::Ok;
        });
    }
    ManualClock clock;
    QTemporaryDir dir;
    Settings settings;
    Language language;
    Logs logs{clock, settings, dir.path()};
    UserDialogs dialogs{logs};
    QStringList messages;
    FakeKeys keys;
    FakeCalls calls;
    QString marked;
    int reads = 0;
    modHotKey hotkey{settings, language, logs, dialogs};
};

TEST(HotkeyPressed, TheDialKeyFollowsTheCallStateAndTheOtherHangsUp) {
    Hotkeys h;
    h.marked = S("+49 (89) 12 34-56");
    struct Row {
        int16_t state;
        bool lineOpen;
        QStringList done;
    };
    const Row rows[] = {
        {StateIdle, true, {S("show 089123456"), S("dial 089123456")}},
        {StateIdle, false, {S("show 089123456")}}, // no line: the number waits in the box
        {StateIncomingRinging, true, {S("answer")}},
        {StateIncomingMachine, true, {S("take over")}},
        {StateIncomingConnected, true, {}},
        {StateOutgoingWaiting, true, {}},
    };
    for (const Row& row : rows) {
        h.calls.done.clear();
        h.calls.state = row.state;
        h.calls.open = row.lineOpen;
        h.keys.activated(1);
        EXPECT_EQ(h.calls.done, row.done) << row.state;
    }
    EXPECT_EQ(h.reads, 2) << "the marked text is read only at rest";

    h.calls.done.clear();
    h.marked = S("nothing to dial");
    h.calls.state = StateIdle;
    h.keys.activated(1);
    EXPECT_TRUE(h.calls.done.isEmpty());
    h.keys.activated(2);
    EXPECT_EQ(h.calls.done, QStringList{S("hang up")});

    // A press while the last one is at work is not taken; the other key is.
    h.calls.done.clear();
    h.marked = S("0891");
    h.calls.duringDial = [&h] {
        h.keys.activated(1);
        h.keys.activated(2);
    };
    h.keys.activated(1);
    EXPECT_EQ(h.calls.done, QStringList({S("show 0891"), S("dial 0891"), S("hang up")}));
}

TEST(HotkeyRegister, KeysOfTheSettingsAreRegisteredAndARefusedOneIsSwitchedOffAndTold) {
    Hotkeys h;
    h.settings.Hotkey1 = {120, 1, 1, 0}; // Ctrl+Alt+F9
    h.settings.Hotkey2 = {0, 1, 0, 0};   // none
    h.hotkey.HotkeyInit();
    ASSERT_EQ(h.keys.registered.size(), 1u);
    EXPECT_EQ(h.keys.registered[1].vkey, 120u);
    EXPECT_TRUE(h.keys.registered[1].ctrl);
    EXPECT_TRUE(h.keys.registered[1].alt);
    EXPECT_FALSE(h.keys.registered[1].shift);
    EXPECT_TRUE(h.messages.isEmpty()) << "a key code of 0 registers nothing and says nothing";
    h.hotkey.HotkeyExit();
    EXPECT_TRUE(h.keys.registered.empty());

    h.keys.refuse = S("the key is grabbed by another program");
    h.settings.Hotkey2 = {121, 0, 0, 1};
    h.hotkey.HotkeyInit();
    EXPECT_EQ(h.settings.Hotkey1.vkey, 0);
    EXPECT_EQ(h.settings.Hotkey2.vkey, 0);
    EXPECT_EQ(h.messages, QStringList({h.language.LanguageString(3236), h.language.LanguageString(3236)}));
    const QStringList errors = ReadLines(h.dir.filePath(S("error.log")));
    ASSERT_EQ(errors.size(), 2);
    EXPECT_TRUE(errors[0].contains(S("Hotkey 1 (key code 120, X11): the key is grabbed by another program")))
        << errors[0].toStdString();

    // A refusal that the desktop sends later (the portal) is told the same way.
    h.settings.Hotkey1.vkey = 120;
    h.keys.failed(1, S("the portal refused"));
    EXPECT_EQ(h.settings.Hotkey1.vkey, 0);
    EXPECT_EQ(h.messages.size(), 3);
}

} // namespace
