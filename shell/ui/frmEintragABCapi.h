#pragma once

// The answering machine's entry of one own number (MSN): whether the machine answers it (chkABON), the
// rings before the answer (ctlAnzRufsignale, 0 to 20, with what they come to in seconds beside it), the
// longest recording in seconds (ctlMaxTime, 0 to 5000), listening in on the loudspeaker (chkMithören) and
// the greeting (ctlAnsage, relative to the sound folder, with the play button; empty plays the shipped
// default greeting, which the empty box says). The number is shown read-only (txtMSNNr, txtMSN).
//
// The opener gives the values (Set_Values) and listens to valuesChosen. cmdOK hands the values back as
// ABCapiEntry::Confirmed takes them (a greeting that does not exist turns the machine off for the number)
// and closes; cmdCancel, Escape and the close button leave without handing anything back.

#include "config/ABCapiEntry.h"

#include <QDialog>

class Language;
class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;
class ctlDateiAuswahl;
class ctlNummerText;

class frmEintragABCapi : public QDialog {
    Q_OBJECT
public:
    // `language` gives the texts and outlives the window.
    explicit frmEintragABCapi(const Language& language, QWidget* parent = nullptr);

    // Shows MSN `index` with its number `msn` and its values; `soundFolder` is the folder that greetings
    // are relative to.
    void Set_Values(int index, const QString& msn, const ABCapiEntry& values, const QString& soundFolder);
    // The values as the controls show them now.
    ABCapiEntry Values() const;
    int index() const { return m_index; }

    // The greeting's control, for its owner to wire its play button.
    ctlDateiAuswahl* ctlAnsage() const { return m_ctlAnsage; }

    void Me_Set_Language();

Q_SIGNALS:
    // OK: the values of MSN `index` to be written.
    void valuesChosen(int index, const ABCapiEntry& values);

public Q_SLOTS:
    void cmdOK_Click();
    void cmdCancel_Click();

private:
    void showSeconds();

    const Language& m_language;
    int m_index = 0;
    QString m_soundFolder;

    QLabel* m_lblMSN = nullptr;
    QLineEdit* m_txtMSNNr = nullptr;
    QLineEdit* m_txtMSN = nullptr;
    QCheckBox* m_chkABON = nullptr;
    QLabel* m_lblAnzRufsignale = nullptr;
    ctlNummerText* m_ctlAnzRufsignale = nullptr;
    QLabel* m_lblAufnahmesekunden = nullptr;
    QLabel* m_lblRufsekunden = nullptr;
    QLabel* m_lblMaxTime = nullptr;
    ctlNummerText* m_ctlMaxTime = nullptr;
    QCheckBox* m_chkMithören = nullptr;
    QLabel* m_lblAnsage = nullptr;
    ctlDateiAuswahl* m_ctlAnsage = nullptr;
    QLabel* m_lblHinweis = nullptr;
    QPushButton* m_cmdOK = nullptr;
    QPushButton* m_cmdCancel = nullptr;
};
