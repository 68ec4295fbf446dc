#pragma once

// The shared call record: the one call that the program follows, as every line kind writes it, and what
// a line asks of the record's logic once it has written it (CallDisplay). The lines know only these two;
// the logic behind them (Eurit30) shows the call, runs the action rules, writes the call log entry and
// refreshes the calls list.

#include <QDateTime>
#include <QString>

#include <atomic>
#include <cstdint>

// Call states of the record. 128 marks an incoming call.
enum CallStates : int16_t {
    StateIdle = 0,
    StateOutgoingBusy = 5,
    StateOutgoingWaiting = 6,
    StateOutgoingConnected = 16,
    StateIncomingRinging = 134,
    StateIncomingMachine = 135,
    StateIncomingConnected = 144,
};

// Display masks of Eurit_ShowCallState and Eurit_ShowCallFields.
enum ShowMask : int {
    MaskState = 1,
    MaskNumber = 2,
    MaskMSN = 4,
    MaskDuration = 8,
    MaskCharge = 16,
    MaskAll = -1,
};

struct CallRecord {
    // CallState is also read by the line library's thread (the alert decision), so it is atomic;
    // everything else belongs to the main thread.
    std::atomic<int16_t> CallState = StateIdle;
    int16_t CallDirection = 0; // 0 none, 1 incoming, 2 outgoing
    QString CallNumber;
    QString CallMSN;
    QString CallCharge;
    QString CallDuration;
    QDateTime CallStart;
    QString IdleStatusText;
    QString CallSoundFile;
    QString ShownNumber;

    // Clears the record for a new call: number, MSN, charge, duration, state and direction; the start is
    // `now`. The reason of the last call (IdleStatusText) stays.
    void Reset(const QDateTime& now) {
        CallMSN.clear();
        CallNumber.clear();
        CallCharge.clear();
        CallDuration.clear();
        CallState = StateIdle;
        CallDirection = 0;
        CallStart = now;
    }
};

// What a line asks of the call record's logic after it has written the record.
class CallDisplay {
public:
    virtual ~CallDisplay() = default;
    // Clears the record for a new call: number, MSN, charge, duration, state and direction; the start is now.
    virtual void Eurit_ResetCall() = 0;
    // The record changed: with the state bit the action rules run and the buttons follow the state, then
    // the fields of `mask` are shown.
    virtual void Eurit_ShowCallState(int mask) = 0;
    virtual void Eurit_ShowCallFields(int mask) = 0;
    // A call, or a part of it, ended: its log entry from the record as it stands.
    virtual void Eurit_CallFinished() = 0;
    // The status bar shows the line's state anew.
    virtual void Me_Set_Status() = 0;
    // Adds a number to the last-used numbers (newest on top).
    virtual void RememberNumber(const QString& number) = 0;

protected:
    CallDisplay() = default;
    CallDisplay(const CallDisplay&) = default;
    CallDisplay& operator=(const CallDisplay&) = default;
};
