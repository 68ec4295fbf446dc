#pragma once

// The number rules of the dial hotkey: how a number marked in another program becomes the number to dial.
// A number that begins with txtHotPrefix gets txtHotReplace in place of that beginning; with chkHotLandPlus
// a leading "+" becomes txtHotReplacePlus, a field open only while the box is checked.
//
// The opener gives the rules (SetValues); cmdOK hands them back (valuesChosen) and closes, cmdCancel,
// Escape and the close button leave them as they were.

#include "shell/base/Settings.h"

#include <QDialog>

class Language;
class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;

class frmOptHotkey : public QDialog {
    Q_OBJECT
public:
    // `language` gives the texts and outlives the window.
    explicit frmOptHotkey(const Language& language, QWidget* parent = nullptr);

    void SetValues(const HotkeyRules& rules);
    // The rules as the controls show them now, trimmed.
    HotkeyRules Values() const;

    void Me_Set_Language();

Q_SIGNALS:
    void valuesChosen(const HotkeyRules& rules);

public Q_SLOTS:
    void cmdOK_Click();
    void cmdCancel_Click();
    void chkHotLandPlus_Click();

private:
    const Language& m_language;

    QLabel* m_lblHotPrefix = nullptr;
    QLineEdit* m_txtHotPrefix = nullptr;
    QLabel* m_lblHotReplace = nullptr;
    QLineEdit* m_txtHotReplace = nullptr;
    QCheckBox* m_chkHotLandPlus = nullptr;
    QLabel* m_lblHotReplacePlus = nullptr;
    QLineEdit* m_txtHotReplacePlus = nullptr;
    QPushButton* m_cmdOK = nullptr;
    QPushButton* m_cmdCancel = nullptr;
};
