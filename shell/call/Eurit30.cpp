#include "shell/call/Eurit30.h"

#include "automation/ActionRules.h"
#include "calllog/modEZGDB.h"
#include "config/colConfig.h"
#include "numbers/Num_module.h"
#include "phonebook/colPhonebook.h"
#include "platform/Clock.h"
#include "shell/base/Language.h"
#include "shell/base/Logs.h"
#include "shell/base/Settings.h"

#include <QTime>

CallButtons ButtonsForState(int16_t callState) {
    switch (callState) {
    case StateIdle:
        return {false, false, true, false, true};
    case StateOutgoingWaiting:
        return {false, false, true, true, true};
    case StateOutgoingConnected:
        return {false, false, true, true, false};
    case StateIncomingRinging:
        return {true, false, false, true, true};
    case StateIncomingMachine:
        return {false, true, false, true, true};
    case StateIncomingConnected:
        return {false, false, true, true, false};
    default:
        return {false, false, true, true, true};
    }
}

Eurit30::Eurit30(const Clock& clock, const Settings& settings, const Language& language,
                 const NumTrans& numTrans, const colConfig& configs, colPhonebook& phonebooks,
                 modEZGDB& callLog, ActionRules& actions, LastNumbers& lastNumbers)
    : m_clock(clock), m_settings(settings), m_language(language), m_numTrans(numTrans), m_configs(configs),
      m_phonebooks(phonebooks), m_callLog(callLog), m_actions(actions), m_lastNumbers(lastNumbers) {
    CallStart = m_clock.now();
}

void Eurit30::Eurit_ResetCall() {
    Reset(m_clock.now());
}

QString Eurit30::statusText(int16_t state) const {
    auto pair = [this](int a, int b) {
        return m_language.LanguageString(a) + QLatin1Char(' ') + m_language.LanguageString(b);
    };
    switch (state) {
    case StateIdle:
        return IdleStatusText;
    case StateOutgoingWaiting:
        return pair(626, 629);
    case StateOutgoingConnected:
        return pair(624, 629);
    case StateIncomingRinging:
        return pair(626, 630);
    case StateIncomingMachine:
        return pair(631, 630);
    case StateIncomingConnected:
        return pair(624, 630);
    default:
        return m_language.LanguageString(620);
    }
}

void Eurit30::RememberNumber(const QString& number) {
    if (m_lastNumbers.RememberNumber(number))
        Q_EMIT lastNumbersChanged();
}

void Eurit30::Eurit_ShowCallState(int mask) {
    if (mask & MaskState) {
        const int16_t state = CallState;
        // The rules see the record before the panel changes.
        m_actions.ActionRun(state);
        m_panel.lblStatus = statusText(state);
        m_panel.buttons = ButtonsForState(state);
        if (state == StateIncomingRinging || state == StateIncomingMachine)
            RememberNumber(CallNumber);
    }
    Eurit_ShowCallFields(mask);
}

void Eurit30::Eurit_ShowCallFields(int mask) {
    if (mask & MaskNumber) {
        QString place1, place2;
        FormatCanonic(m_settings, m_numTrans, CallNumber, QStringLiteral("0<AREA> <NUMBER>"), place1, place2,
                      &m_phonebooks.Vorwahlen);
        m_panel.lblOrt = place2.isEmpty() ? place1 : place2;
        m_panel.lblOrtToolTip = place1;
        // A carrier code that the dial put in front is no part of the number to remember: dialled again, the
        // number takes the carrier chosen then.
        QString carrier;
        RememberNumber(m_phonebooks.Vorwahlen.StripCarrierPrefix(CallNumber, carrier));
        m_panel.lblName = m_phonebooks.NumberToNameAddNew(CallNumber, m_panel.lblNameToolTip);
        ShownNumber = AddAreaCode(m_settings, CallNumber);
    }
    if (CallState != StateIdle) {
        if (mask & MaskNumber) {
            QString carrier;
            m_panel.txtNumber = m_phonebooks.Vorwahlen.StripCarrierPrefix(CallNumber, carrier);
            m_panel.DDENummer = CallNumber;
        }
        if (mask & MaskMSN)
            m_panel.lblMSN = m_configs.trlMSNName(CallMSN, false);
    }
    if (mask & MaskDuration)
        m_panel.lblDauer = CallDuration;
    if (mask & MaskCharge)
        m_panel.lblGebühren = CallCharge;
    Q_EMIT panelChanged();
}

void Eurit30::Eurit_UpdateCallClock() {
    switch (CallState) {
    case StateIdle:
    case StateOutgoingWaiting:
    case StateIncomingRinging:
        CallDuration = FormatLongTime(0);
        CallStart = m_clock.now();
        break;
    case StateOutgoingConnected:
    case StateIncomingConnected:
        CallDuration = FormatLongTime(CallStart.secsTo(m_clock.now()));
        m_panel.lblDauer = CallDuration;
        Q_EMIT panelChanged();
        break;
    default:
        break;
    }
}

void Eurit30::Eurit_CallFinished() {
    if (m_settings.LogEnable != 0) {
        m_callLog.SEZGED_SaveEZGEintrag(
            {CallNumber, CallState, CallDuration, CallDirection, CallCharge, CallMSN, CallSoundFile});
    }
    if (CallDirection == 1)
        Me_AnruflisteAktualisieren();
}

void Eurit30::Me_AnruflisteAktualisieren() {
    Q_EMIT callsListRefreshRequested();
}

void Eurit30::Me_SetStatusNummer() {
    m_panel.lblName = m_phonebooks.NumberToNameAddNew(ShownNumber, m_panel.lblNameToolTip);
    Q_EMIT panelChanged();
}

void Eurit30::Me_Set_Status() {
    Q_EMIT statusBarChanged();
}

void Eurit30::Init() {
    m_panel.lblName.clear();
    m_panel.lblNameToolTip.clear();
    m_panel.lblStatus.clear();
    m_panel.lblGebühren.clear();
    m_panel.lblDauer.clear();
    m_panel.lblMSN.clear();
    m_panel.lblOrt.clear();
    m_panel.lblOrtToolTip.clear();
    m_panel.txtNumber.clear();
    Q_EMIT panelChanged();
    Me_Set_Status();
}
