#pragma once

#include <QString>

#include <cstdint>
#include <functional>
#include <vector>

struct Settings;

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
    int16_t Status = 8;
    int16_t Typ = 8;
    QString Command;
    QString Command2;
    QString Command3;
};

// The engine that runs on every change of the call state. It begins with the fixed reactions (raise
// the window on a ring, minimise it when the line goes quiet, mark the number's log entries as seen);
// the user's programmed rules follow once the rule table exists.
class ActionRules {
public:
    explicit ActionRules(const Settings& settings);
    void setWindow(WindowReactions* window) { m_window = window; }
    // Marks the calls of a number read in the main window's list of new calls (the call log's
    // SEZGMarkNumberSeen), which is then shown anew.
    std::function<void(const QString& number)> markNumberSeen;

    // Runs for `state`; `callNumber` is the number of the current call. Returns the result text of the
    // last rule run (empty while there are no rules).
    QString ActionRun(int16_t state, int testIndex, const QString& testNumber, const QString& callNumber);

    // The rule table: entry 0 is never a rule, entries 1 to the count are; sized by the settings loader.
    std::vector<ActionRule> rules = std::vector<ActionRule>(1);

private:
    const Settings& m_settings;
    WindowReactions* m_window = nullptr;
};
