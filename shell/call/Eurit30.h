#pragma once

// The shared call record and the status panel that shows it. Every line kind (the ISDN line, the
// serial telephone, the TAPI line) writes the record and then calls the same few procedures here; they
// refresh the panel and the call buttons, run the action engine, write the call log entry and refresh
// the calls list. One call at a time: a second call that begins overwrites the record.

#include "platform/numbers/NumTrans.h"
#include "shell/base/CallRecord.h"

#include <QObject>
#include <QString>

#include <cstdint>

class Clock;
struct Settings;
class Language;
class colConfig;
class colPhonebook;
class modEZGDB;
class ActionRules;
class LastNumbers;

// What the call buttons of tbrBigButtons show in a call state.
struct CallButtons {
    bool answerVisible = false;   // ANSWER
    bool answerABVisible = false; // ANSWERAB
    bool dialVisible = true;      // DIAL
    bool hangupEnabled = false;   // HANGUP
    bool dialEnabled = true;      // DIAL
    bool operator==(const CallButtons&) const = default;
};
CallButtons ButtonsForState(int16_t callState);

// The fields of the status panel, as texts; the main window shows them.
struct StatusPanel {
    QString lblName, lblNameToolTip;
    QString lblOrt, lblOrtToolTip;
    QString lblMSN;
    QString lblStatus;
    QString lblDauer;
    QString lblGebühren;
    QString txtNumber;
    QString DDENummer;
    CallButtons buttons;
};

class Eurit30 : public QObject, public CallRecord, public CallDisplay {
    Q_OBJECT
public:
    Eurit30(const Clock& clock, const Settings& settings, const Language& language, const NumTrans& numTrans,
            const colConfig& configs, colPhonebook& phonebooks, modEZGDB& callLog, ActionRules& actions,
            LastNumbers& lastNumbers);

    const StatusPanel& panel() const { return m_panel; }
    // The user edited txtNumber.
    void setTxtNumber(const QString& text) { m_panel.txtNumber = text; }

    // CallDisplay
    void Eurit_ResetCall() override;
    void Eurit_ShowCallState(int mask) override;
    void Eurit_ShowCallFields(int mask) override;
    // The end of a call: the log entry from the record as it stands, and the calls list refresh.
    void Eurit_CallFinished() override;
    void Me_Set_Status() override;
    void RememberNumber(const QString& number) override;

    // Once a second: the call clock.
    void Eurit_UpdateCallClock();
    void Me_AnruflisteAktualisieren();
    void Me_SetStatusNummer();
    void Init();

Q_SIGNALS:
    void panelChanged();
    void statusBarChanged();
    void callsListRefreshRequested();
    void lastNumbersChanged();

private:
    QString statusText(int16_t state) const;

    const Clock& m_clock;
    const Settings& m_settings;
    const Language& m_language;
    // The number library of the status panel: the canonical form and the place of a number.
    const NumTrans& m_numTrans;
    const colConfig& m_configs;
    colPhonebook& m_phonebooks;
    modEZGDB& m_callLog;
    ActionRules& m_actions;
    LastNumbers& m_lastNumbers;
    StatusPanel m_panel;
};
