#pragma once

// The programmed actions on call events: the rule table, the macros that put the call's data into a
// rule's parameters, and the engine that runs the rules at every change of the call state, with the
// fixed reactions of the main window before them. What a rule does on the desktop goes through
// `desktop::Desktop`; what it did goes into "Action.log" in the data folder.

#include <QDateTime>
#include <QString>

#include <cstdint>
#include <functional>
#include <vector>

class Clock;
class Language;
class NumTrans;
class UserDialogs;
struct CallRecord;
struct Settings;
namespace desktop {
class Desktop;
}

// What the action engine asks of the main window.
class WindowReactions {
public:
    virtual ~WindowReactions() = default;
    virtual void showNormalAndFocus() = 0;
    virtual void minimize() = 0;
};

// The trigger value of a call state: 0 idle, 1 outgoing waiting, 2 outgoing connected, 3 incoming
// ringing, 4 incoming connected, 5 any other state (the answering machine's 135 among them).
int ActionTrigger(int16_t callState);

// One programmed rule as the settings file keeps it (section Actions, keys "Action" n " ...").
struct ActionRule {
    int16_t Nbst = 1;
    int16_t Status = 8; // trigger 0 to 6 (6: never)
    int16_t Typ = 8;    // 0 start, 1 start minimised, 2 close a window, 3 D-Bus call with data, 4 D-Bus call
    QString Command;
    QString Command2;
    QString Command3;
    bool operator==(const ActionRule&) const = default;
};

// The rule table: entry 0 is never a rule, entries 1 to the count are.
using ActionTable = std::vector<ActionRule>;
int ActionCount(const ActionTable& rules);
// Removes rule `index` (1 to the count); the rules behind it move one place forward.
void ActionDelete(ActionTable& rules, int index);
// Inserts `rule` ahead of rule `before`, or at the end when `before` is 0 or beyond the count.
void ActionPaste(ActionTable& rules, const ActionRule& rule, int before);

// The list texts of a rule's trigger and action, from the language's strings.
QString ActionTriggerLabel(const Language& language, int status);
QString ActionTypLabel(const Language& language, int typ);

// What the entry window shows for an action: which parameters, and the string numbers of their labels
// (0 where the field is hidden). Typ 0 to 2 label the one field with string 265 and " 1".
struct ActionFields {
    int label1 = 0;
    int label2 = 0;
    int label3 = 0;
};
ActionFields ActionFieldsFor(int typ);

// The entry window's values of one rule; -1 in a list is no selection.
struct ActionEntryValues {
    int status = -1;
    int typ = -1;
    QString command;
    QString command2;
    QString command3;
};
// The values shown for rule `index`; an index beyond the count gives those of a new rule (first entries
// of both lists, empty texts).
ActionEntryValues ActionEntryLoad(const ActionTable& rules, int index);
// Validates and saves the values into rule `index`, adding a rule first when the index is beyond the
// count (the index then names the new rule). False, with nothing saved, when either list has no
// selection: the window says "Ihre Eingabe ist nicht korrekt!". Typ 0 to 2 keep only the first parameter.
bool ActionEntrySave(ActionTable& rules, int& index, const ActionEntryValues& values);

// A command line split into its arguments as a POSIX shell splits it, without expanding anything:
// blanks separate, '...' keeps everything, "..." keeps everything but \" \\ \$ \` and a line end, a
// backslash outside quotes keeps the next character. False, with the reason, for an open quote.
bool SplitCommandLine(const QString& line, QStringList& arguments, QString* error = nullptr);

// The number forms of the macros: star form 2 (more than 5 characters: "012*3*4*56789"), star form 3
// (more than 3: "01*2*3456789"), and the split form with a separator ("+49-89-1234567", parts missing
// left out; the number as it stands where it cannot be split).
QString StarForm2(const QString& number);
QString StarForm3(const QString& number);
QString SplitForm(const Settings& settings, const NumTrans& numTrans, const QString& number,
                  const QString& separator);

// The call's data that the macros put in.
struct ActionMacroValues {
    QString number;    // %N
    QString runNumber; // %U1 .. %U5: the test number in a test, else the call's number
    QString msn;       // %M
    QString duration;  // %D
    QString charge;    // %G
};
QString ActionReplaceMacros(const QString& text, const ActionMacroValues& values, const Settings& settings,
                            const NumTrans& numTrans);

class ActionRules {
public:
    ActionRules(const Settings& settings, const Language& language, const NumTrans& numTrans,
                const Clock& clock, UserDialogs& dialogs, QString dataDir);
    void setWindow(WindowReactions* window) { m_window = window; }
    void setDesktop(desktop::Desktop* desktop) { m_desktop = desktop; }
    void setCallRecord(const CallRecord* call) { m_call = call; }
    // Marks the calls of a number read in the main window's list of new calls (the call log's
    // SEZGMarkNumberSeen), which is then shown anew.
    std::function<void(const QString& number)> markNumberSeen;

    // Runs the rules for `state`, or in a test (testIndex > 0) rule `testIndex` alone with `testNumber`.
    // Returns the result text: the errors of the run, one per line, or "Command OK".
    QString ActionRun(int16_t state, int testIndex = 0, const QString& testNumber = QString());

    QString logPath() const;

    ActionTable rules = ActionTable(1);

private:
    QString runRule(const ActionRule& rule, const ActionMacroValues& values, QString& logLine);
    void log(const QString& text);

    const Settings& m_settings;
    const Language& m_language;
    const NumTrans& m_numTrans;
    const Clock& m_clock;
    UserDialogs& m_dialogs;
    QString m_dataDir;
    WindowReactions* m_window = nullptr;
    desktop::Desktop* m_desktop = nullptr;
    const CallRecord* m_call = nullptr;
};
