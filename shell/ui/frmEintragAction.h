#pragma once

// One programmed rule: on which call state it fires (cboStatusAuf, the seven triggers), what it does
// (cboActionAuf, the five actions) and its parameters (txtCommand, txtCommand2, txtCommand3), each field
// shown with its label only where the action takes it. A test runs the rule at once on a number of the
// user's (txtTestNummer) and shows what came of it (txtResult).
//
// The window edits rule `index` of the table it is given; an index beyond the count is a new rule, added
// by the first save. cmdOK saves and closes, cmdTest saves and runs the rule, the window staying open;
// both refuse values without a trigger or an action with the message of string 3299 and save nothing.
// Each save is announced (saved) so that its owner writes the rules and shows them anew. The rule is run
// through the callable its owner gives (setRunner).

#include "automation/ActionRules.h"

#include <QDialog>

#include <functional>

class Language;
class QComboBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;

class frmEintragAction : public QDialog {
    Q_OBJECT
public:
    // `language` gives the texts and `rules` the table to edit; both outlive the window.
    frmEintragAction(const Language& language, ActionTable& rules, QWidget* parent = nullptr);

    // Runs rule `index` as a test with the number given and returns the result text.
    using Runner = std::function<QString(int index, const QString& number)>;
    void setRunner(Runner runner) { m_runner = std::move(runner); }

    // Shows rule `index`, or a new rule's values when the index is beyond the count.
    void SetValues(int index);
    // The rule edited: after a save of a new rule, the index it was given.
    int index() const { return m_index; }

    void setTestNumber(const QString& number);
    QString testNumber() const;

    void Me_Set_Language();

Q_SIGNALS:
    // Rule `index` was saved into the table.
    void saved(int index);

public Q_SLOTS:
    void cmdOK_Click();
    void cmdCancel_Click();
    void cmdTest_Click();

private:
    // Saves the values into the table; false, after the message, when they are not complete.
    bool save();
    ActionEntryValues values() const;
    // The parameter fields and their labels for the action chosen.
    void cboActionAuf_Click();

    const Language& m_language;
    ActionTable& m_rules;
    Runner m_runner;
    int m_index = 0;

    QLabel* m_lblStatusAuf = nullptr;
    QComboBox* m_cboStatusAuf = nullptr;
    QLabel* m_lblActionAuf = nullptr;
    QComboBox* m_cboActionAuf = nullptr;
    QLabel* m_lblCommand[3] = {};
    QLineEdit* m_txtCommand[3] = {};
    QLabel* m_lblTestNummer = nullptr;
    QLineEdit* m_txtTestNummer = nullptr;
    QPushButton* m_cmdTest = nullptr;
    QLabel* m_lblResult = nullptr;
    QPlainTextEdit* m_txtResult = nullptr;
    QPushButton* m_cmdOK = nullptr;
    QPushButton* m_cmdCancel = nullptr;
};
