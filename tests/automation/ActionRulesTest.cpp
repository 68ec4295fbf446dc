// The action engine: macros, the command line's split, which rules a call state runs, what each action
// asks of the desktop, the result text and Action.log. The desktop is a fake that records what it was
// asked; the real one is tested in its own layer and with the program.

#include "automation/ActionRules.h"
#include "platform/Clock.h"
#include "platform/desktop/Desktop.h"
#include "platform/numbers/NumTrans.h"
#include "shell/base/CallRecord.h"
#include "shell/base/Language.h"
#include "shell/base/Logs.h"
#include "shell/base/Settings.h"
#include "shell/base/UserDialogs.h"
#include "tests/support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

struct FakeDesktop : desktop::Desktop {
    struct Started {
        QStringList argv;
        bool minimised;
    };
    struct Call {
        QString service, path, interface, method;
        std::optional<QString> argument;
    };
    std::vector<Started> started;
    std::vector<Call> calls;
    QStringList windows;    // the titles of the desktop's windows
    QStringList closed;     // titles asked to close
    bool windowList = true; // false: Wayland without X11
    QString dbusError;

    QString startProgram(const QStringList& argv, bool minimised) override {
        started.push_back({argv, minimised});
        return argv.first() == S("missing") ? S("program not found: missing") : QString();
    }
    desktop::WindowSearch findWindow(const QString& title) override {
        if (!windowList)
            return desktop::WindowSearch::NoWindowList;
        return windows.contains(title) ? desktop::WindowSearch::Found : desktop::WindowSearch::NotFound;
    }
    desktop::WindowSearch closeWindow(const QString& title) override {
        const desktop::WindowSearch found = findWindow(title);
        if (found == desktop::WindowSearch::Found)
            closed << title;
        return found;
    }
    QString callDBus(const QString& service, const QString& path, const QString& interface,
                     const QString& method, const std::optional<QString>& argument) override {
        calls.push_back({service, path, interface, method, argument});
        return dbusError;
    }
};

struct Engine {
    Engine() {
        settings.Vorwahl = S("089");
        rules.setDesktop(&desktop);
        rules.setCallRecord(&call);
        dialogs.setAsker([this](const QString& text, UserDialogs::Buttons, UserDialogs::Icon) {
            messages << text;
            return UserDialogs::Answer::Ok;
        });
    }
    ActionRule& add(int16_t status, int16_t typ, const char* command, const char* command2 = "",
                    const char* command3 = "") {
        rules.rules.push_back({1, status, typ, S(command), S(command2), S(command3)});
        return rules.rules.back();
    }
    QStringList logLines() const { return ReadLines(rules.logPath()); }

    ManualClock clock{QDateTime(QDate(2026, 3, 14), QTime(15, 9, 26))};
    QTemporaryDir dir;
    Settings settings;
    Language language;
    NumTrans numTrans;
    Logs logs{clock, settings, dir.path()};
    UserDialogs dialogs{logs};
    QStringList messages;
    CallRecord call;
    FakeDesktop desktop;
    ActionRules rules{settings, language, numTrans, clock, dialogs, dir.path()};
};

TEST(ActionMacros, StarAndSplitFormsAndEveryMacro) {
    Engine e;
    struct Row {
        const char* number;
        const char* star2;
        const char* star3;
        const char* split;
    };
    const Row rows[] = {
        {"0891234567", "089*1*2*34567", "08*9*1234567", "+49-89-1234567"},
        {"1234567", "123*4*5*67", "12*3*4567", "+49-89-1234567"}, // a local number gets the own area code
        {"01711234567", "017*1*1*234567", "01*7*11234567", "+49-171-1234567"},
        {"0033123456789", "003*3*1*23456789", "00*3*3123456789", "+33-1-23456789"},
        {"123456", "123*4*5*6", "12*3*456", "+49-89-123456"}, // six characters: star form 2 begins
        {"12345", "12345", "12*3*45", "+49-89-12345"},        // five stay in form 2, not in form 3
        {"1234", "1234", "12*3*4", "+49-89-1234"},
        {"123", "123", "123", "+49-89-123"},
        {"21", "21", "21", "21"}, // too short to split
        {"", "", "", ""},
    };
    for (const Row& row : rows) {
        ActionMacroValues values;
        values.runNumber = S(row.number);
        const auto macro = [&](const char* text) {
            return ActionReplaceMacros(S(text), values, e.settings, e.numTrans);
        };
        EXPECT_EQ(macro("%U2"), S(row.star2)) << row.number;
        EXPECT_EQ(macro("%U3"), S(row.star3)) << row.number;
        EXPECT_EQ(macro("%U4"), S(row.split)) << row.number;
        EXPECT_EQ(macro("%U5"), S(row.split).replace(QLatin1Char('-'), QLatin1Char('/'))) << row.number;
    }
    const ActionMacroValues values{S("0301"), S("555"), S("5551"), S("00:01:05"), S("0,12")};
    EXPECT_EQ(ActionReplaceMacros(S("%N|%U1|%M|%D|%G|%N%N|%X"), values, e.settings, e.numTrans),
              S("0301|555|5551|00:01:05|0,12|03010301|%X"));
    // Without a country of its own the number cannot be split and stays.
    e.settings.LandesCode.clear();
    EXPECT_EQ(ActionReplaceMacros(S("%U4"), values, e.settings, e.numTrans), S("555"));
}

TEST(ActionCommandLine, SplitsAsAShellSplitsAndExpandsNothing) {
    struct Row {
        const char* line;
        std::vector<const char*> arguments;
    };
    const Row rows[] = {
        {"prog a  b", {"prog", "a", "b"}},
        {"  \t ", {}},
        {"'a b' \"c d\"", {"a b", "c d"}},
        {"a\\ b c", {"a b", "c"}},
        {"\"say \\\"hi\\\" \\\\ \\n\"", {"say \"hi\" \\ \\n"}},
        {"'it''s' '\\n'", {"its", "\\n"}},
        {"a\"b\"'c'd", {"abcd"}},
        {"'' \"\"", {"", ""}},
        {"echo $HOME ~ `id` $(id) ;|&", {"echo", "$HOME", "~", "`id`", "$(id)", ";|&"}},
        {"/usr/bin/notify-send \"Call from %N\" --urgency=low",
         {"/usr/bin/notify-send", "Call from %N", "--urgency=low"}},
    };
    for (const Row& row : rows) {
        QStringList arguments;
        ASSERT_TRUE(SplitCommandLine(S(row.line), arguments)) << row.line;
        QStringList expected;
        for (const char* a : row.arguments)
            expected << S(a);
        EXPECT_EQ(arguments, expected) << row.line;
    }
    for (const char* open : {"'open", "a \"b", "x 'y\"z"}) {
        QStringList arguments{S("old")};
        QString error;
        EXPECT_FALSE(SplitCommandLine(S(open), arguments, &error)) << open;
        EXPECT_TRUE(arguments.isEmpty());
        EXPECT_FALSE(error.isEmpty());
    }
}

TEST(ActionRun, EachStateRunsTheRulesOfItsTrigger) {
    Engine e;
    // One D-Bus rule per trigger 0 to 6; its data names the trigger.
    for (int16_t status = 0; status <= 6; ++status)
        e.add(status, 4, "org.example.Service/x",
              qPrintable(QStringLiteral("org.example.I.T%1").arg(status)));
    struct Row {
        int16_t state;
        const char* method;
    };
    const Row rows[] = {{0, "T0"},   {6, "T1"}, {16, "T2"}, {134, "T3"}, {144, "T4"},
                        {135, "T5"}, {5, "T5"}, {1, "T5"},  {200, "T5"}};
    for (const Row& row : rows) {
        e.desktop.calls.clear();
        EXPECT_EQ(e.rules.ActionRun(row.state), S("Command OK")) << row.state;
        ASSERT_EQ(e.desktop.calls.size(), 1u) << row.state;
        EXPECT_EQ(e.desktop.calls[0].method, S(row.method)) << row.state;
    }
    // A rule of trigger 6 never runs by a state, but a test runs it; a test runs its rule alone.
    e.desktop.calls.clear();
    e.rules.ActionRun(0, 7, S("123"));
    ASSERT_EQ(e.desktop.calls.size(), 1u);
    EXPECT_EQ(e.desktop.calls[0].method, S("T6"));
}

TEST(ActionRun, ACallersTextStaysOneArgumentOfTheOneProgram) {
    Engine e;
    e.add(3, 0, "/usr/local/bin/caller-note --number %N \"--line=%N on %M\" %U3");
    e.add(3, 1, "missing %N");
    for (const char* number : {"0301;rm -rf ~", "$(touch x)", "`touch y` && reboot", "a b\tc", "'\"\\"}) {
        e.desktop.started.clear();
        e.call.CallNumber = S(number);
        e.call.CallMSN = S("5551");
        const QString result = e.rules.ActionRun(StateIncomingRinging);
        ASSERT_EQ(e.desktop.started.size(), 2u);
        const QString n = S(number);
        EXPECT_EQ(e.desktop.started[0].argv, QStringList({S("/usr/local/bin/caller-note"), S("--number"), n,
                                                          S("--line=") + n + S(" on 5551"), StarForm3(n)}))
            << number;
        EXPECT_FALSE(e.desktop.started[0].minimised);
        EXPECT_EQ(e.desktop.started[1].argv, QStringList({S("missing"), n}));
        EXPECT_TRUE(e.desktop.started[1].minimised);
        EXPECT_EQ(result, S("program not found: missing\n")) << "the failure is reported, the first rule ran";
    }
}

TEST(ActionRun, AWindowTitleGuardsTheStartAndClosingGoesOnWhenNoneIsFound) {
    Engine e;
    e.add(4, 0, "editor %N", "Notes %N"); // started only while no window "Notes <number>" exists
    e.add(4, 2, "Gone %N");
    e.add(4, 2, "Caller %N");
    e.add(4, 4, "org.morva.Morva/Main", "org.morva.Morva.Main.Raise");
    e.call.CallNumber = S("0891");
    e.desktop.windows = QStringList{S("Notes 0891"), S("Caller 0891")};

    EXPECT_EQ(e.rules.ActionRun(StateIncomingConnected), S("Fenster nicht gefunden\n"));
    EXPECT_TRUE(e.desktop.started.empty()) << "the window exists";
    EXPECT_EQ(e.desktop.closed, QStringList{S("Caller 0891")}) << "the run went on after the missing window";
    EXPECT_EQ(e.desktop.calls.size(), 1u);
    EXPECT_THAT(e.logLines(),
                ::testing::ElementsAre(
                    S("14.03.2026\t15:09:26\tStart program\t'editor %N'\t'Notes 0891'\tWindow exists !"),
                    S("14.03.2026\t15:09:26\tClose window\t'Gone 0891'\tFenster nicht gefunden"),
                    S("14.03.2026\t15:09:26\tClose window\t'Caller 0891'\tOK gesendet"),
                    S("14.03.2026\t15:09:26\tD-Bus call\t'org.morva.Morva/Main' - "
                      "'org.morva.Morva.Main.Raise' - ''\t")));

    // Without a window list (Wayland without X11) the program starts all the same, and the log says why
    // nothing was closed.
    e.desktop.windowList = false;
    const QString noList = e.language.LanguageString(3290);
    EXPECT_EQ(e.rules.ActionRun(StateIncomingConnected), noList + S("\n") + noList + S("\n"));
    ASSERT_EQ(e.desktop.started.size(), 1u);
    EXPECT_EQ(e.desktop.started[0].argv, QStringList({S("editor"), S("0891")}));
    EXPECT_TRUE(e.logLines()[4].endsWith(S("'Notes 0891'\t") + noList + S("; ")))
        << e.logLines()[4].toStdString();
}

TEST(ActionRun, DBusTopicAndItemNameTheCallAndErrorsGatherInTheResult) {
    Engine e;
    e.add(2, 3, "org.example.Notes /org/example/Notes", "org.example.Notes.Add", "Call %N at %M");
    e.add(2, 3, "org.example.Notes/org/example/Notes", "org.example.Notes.Add", "");
    e.add(2, 4, "org.example.Bare", "org.example.Notes.Sync", "ignored");
    e.add(2, 4, "org.example.Notes/x", "NoInterface");
    e.call.CallNumber = S("0891");
    e.call.CallMSN = S("5551");
    const QString result = e.rules.ActionRun(StateOutgoingConnected);
    ASSERT_EQ(e.desktop.calls.size(), 3u);
    EXPECT_EQ(e.desktop.calls[0].service, S("org.example.Notes"));
    EXPECT_EQ(e.desktop.calls[0].path, S("/org/example/Notes"));
    EXPECT_EQ(e.desktop.calls[0].interface, S("org.example.Notes"));
    EXPECT_EQ(e.desktop.calls[0].method, S("Add"));
    EXPECT_EQ(e.desktop.calls[0].argument, std::optional<QString>(S("Call 0891 at 5551")));
    EXPECT_EQ(e.desktop.calls[1].path, S("/org/example/Notes"));
    EXPECT_EQ(e.desktop.calls[1].argument, std::optional<QString>(QString()))
        << "an empty text is still sent";
    EXPECT_EQ(e.desktop.calls[2].path, S("/"));
    EXPECT_EQ(e.desktop.calls[2].method, S("Sync"));
    EXPECT_FALSE(e.desktop.calls[2].argument.has_value()) << "the plain call sends no data";
    EXPECT_THAT(result.split(QLatin1Char('\n')), ::testing::SizeIs(2)) << result.toStdString();
    EXPECT_TRUE(result.startsWith(S("D-Bus: "))) << result.toStdString();

    e.desktop.dbusError = S("org.freedesktop.DBus.Error.ServiceUnknown: no such name");
    EXPECT_EQ(e.rules.ActionRun(StateOutgoingConnected).count(S("ServiceUnknown")), 3);
}

TEST(ActionRun, ATestUsesItsNumberForU1WhileNStaysTheCallsAndAnUnwritableLogIsTold) {
    Engine e;
    e.add(6, 3, "org.example.S/p", "org.example.I.M", "%N|%U1|%U4");
    e.call.CallNumber.clear();
    EXPECT_EQ(e.rules.ActionRun(0, 1, S("0891234567")), S("Command OK"));
    ASSERT_EQ(e.desktop.calls.size(), 1u);
    EXPECT_EQ(e.desktop.calls[0].argument, std::optional<QString>(S("|0891234567|+49-89-1234567")));

    // Action.log cannot be written: the user is told, and the action has run.
    ASSERT_TRUE(QFile::remove(e.rules.logPath()));
    ASSERT_TRUE(QDir(e.dir.path()).mkdir(S("Action.log")));
    EXPECT_EQ(e.rules.ActionRun(0, 1, S("1")), S("Command OK"));
    EXPECT_EQ(e.desktop.calls.size(), 2u);
    EXPECT_EQ(e.messages, QStringList{e.language.LanguageString(600) + e.rules.logPath() + S(" ")});
}

TEST(ActionTable, DeletePasteAndTheEntrysSaveKeepTheOrder) {
    ActionTable rules(1);
    ActionEntryValues values = ActionEntryLoad(rules, 1);
    EXPECT_EQ(values.status, 0) << "a new rule shows the first entries";
    EXPECT_EQ(values.typ, 0);
    int index = 1;
    values.status = -1;
    EXPECT_FALSE(ActionEntrySave(rules, index, values)) << "no trigger chosen";
    EXPECT_EQ(ActionCount(rules), 0);
    for (const char* command : {"a", "b", "c"}) {
        index = ActionCount(rules) + 1;
        ASSERT_TRUE(ActionEntrySave(rules, index, {3, 2, S(command), S("title"), S("x")}));
    }
    EXPECT_EQ(index, 3);
    EXPECT_EQ(rules[2].Command2, QString()) << "closing a window keeps one parameter";
    index = 2;
    ASSERT_TRUE(ActionEntrySave(rules, index, {1, 3, S("B"), S("item"), S("data")}));
    EXPECT_EQ(rules[2], (ActionRule{1, 1, 3, S("B"), S("item"), S("data")}));

    const auto commands = [&rules] {
        QStringList list;
        for (int n = 1; n <= ActionCount(rules); ++n)
            list << rules[std::size_t(n)].Command;
        return list.join(QString());
    };
    ActionPaste(rules, rules[3], 1);
    EXPECT_EQ(commands(), S("caBc"));
    ActionPaste(rules, rules[2], 0);
    EXPECT_EQ(commands(), S("caBca"));
    ActionDelete(rules, 5);
    ActionDelete(rules, 1);
    ActionDelete(rules, 9);
    EXPECT_EQ(commands(), S("aBc"));
    EXPECT_EQ(ActionFieldsFor(4).label3, 0);
    EXPECT_EQ(ActionFieldsFor(3).label3, 258);
}

} // namespace
