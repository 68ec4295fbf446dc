#pragma once

// clsCti: the one B-channel connection of the ISDN line. It owns the two configuration blocks handed
// to the line library, takes the library's events over from the queue, and drives the shared call
// record: the ring sound, the answer, the voice path between line and sound card, the call log entry.

#include "platform/cti/CtiLibrary.h"
#include "platform/cti/CtiRecords.h"

#include <QDateTime>
#include <QString>

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>

class Clock;
struct Settings;
class Logs;
struct CallRecord;
class CallDisplay;
class colConfig;
class SoundEngine;
class AnsweringSteps;

// The names of the call states in a CtiEvent.
inline constexpr char StateConnectPending[] = "D_ConnectPending";
inline constexpr char StateConnected[] = "Connected";
inline constexpr char StateDisconnected[] = "Disconnected";

class clsCti {
public:
    clsCti(CtiLibrary& library, const Clock& clock, const Settings& settings, Logs& logs, CallRecord& call,
           CallDisplay& display, const colConfig& configs, SoundEngine& sound, AnsweringSteps& machine);

    // Fields read and written by the program. Those marked atomic are also touched on the line
    // library's thread (the alert decision, the file-end report, the channel lookup).
    QDateTime dateRingStart;
    std::atomic<int32_t> lngABState =
        0; // 0 not the machine's; 1 the machine will answer; 2 playing/recording
    std::atomic<int16_t> intPlaying = 0; // a file is played into the line for the machine
    // The machine's recording. Its start is decided on the line library's thread when the greeting ends
    // (ABOnFileEnd), and it is read and ended on the main thread: these three fields, and the machine's
    // play list, are guarded by `machineMutex`.
    std::mutex machineMutex;
    int16_t intRecording = 0;
    QDateTime dateRecordStart;
    QString strRecordFile;  // the recording of this call until its log entry is written; empty when none
    int32_t lngAlerted = 0; // 1 the incoming call that the record follows was accepted for alerting
    int16_t intMSNIndex = 0;
    std::atomic<int32_t> lngCtiId = -1; // channel id from cti_Register; -1 while not registered

    // The source fields of m_eifc_Config, and the six values of m_FdWave_Config.
    EifcFields eifc;
    std::array<int32_t, 6> fdWave{};
    EifcConfigBlock m_eifc_Config;
    FdWaveConfigBlock m_FdWave_Config;

    // A copy of the fields of the last event of the call that the record follows (call state or digit).
    // Events of other calls never reach it, so its CallHandle is the one that answers the call.
    struct LastEvent {
        int32_t type = 0;
        int32_t xcId = 0;
        int32_t callHandle = 0;
        QString calledNumber;
        QString callingNumber; // with "0" ahead when national, "unbekannt" when none
        int32_t direction = 0;
        QString stateName;
        int32_t reason = 0;
        char dtmfDigit = 0;
    } event;
    // Reports that the library raises outside the queue; written on the library's thread.
    std::array<int32_t, 3> fileInReport{};
    std::array<int32_t, 3> fileOutReport{};
    int32_t errorNumber = 0;
    QByteArray errorText;

    // Listening in while the answering machine has the call.
    bool ABMithören() const { return m_intABMithören; }
    void setABMithören(bool on);

    void Set_m_eifc_Config();
    void Set_m_FdWave_Config();
    // The user takes the call over from the answering machine. Negative on failure.
    int32_t CtiABÜbernahme();
    // A call state taken off the queue, on the main thread.
    void fktCallback();
    void DtmfCallback();
    void FileInCallback() {}
    // On the library's thread: a file played into the line has ended or stopped.
    void FileOutCallback();
    void fktErrCallback();

    int32_t CtiRegister(CtiEventCallback callback);
    int32_t CtiGetProfile(int32_t& value1, int32_t& value2);
    int32_t CtiIcaSetConfig();
    int32_t CtiIcaSetAlert(int32_t alert);
    int32_t CtiIcaGetConfig();
    int32_t CtiRelease();
    int32_t CtiSetDebugFlag(int32_t flag);
    int32_t CtiAnswerCall(int32_t callHandle);
    int32_t CtiConnect();
    int32_t CtiDisconnect();
    int32_t CtiSndOutFileStart(const QString& file);
    int32_t CtiSndOutFileStop();
    int32_t CtiSndOutStart();
    int32_t CtiSndOutStop();
    int32_t CtiSndInFileStart(const QString& file);
    int32_t CtiSndInFileStop();
    int32_t CtiSndInStart();
    int32_t CtiSndInStop();

    // Whether a call-state event belongs to the call that the record follows, or begins one: the
    // program's own dial, or an offered call that was alerted (`alerted`, the decision the entry made
    // for it). Events of any other call (one offered and ignored, a call the line ended on its own
    // before the record followed it) must change neither the record nor `event` nor `lngAlerted`.
    bool concerns(const CtiEvent& record, bool alerted) const;
    // Takes an event's fields into `event` (the pump does this before the callbacks).
    void takeEvent(const CtiEvent& record);
    // Whether the record follows a call (from its "D_ConnectPending" to its "Disconnected").
    bool followsCall() const { return m_followed.handle != 0; }

private:
    bool registered() const { return lngCtiId != -1; }
    void onConnectPending();
    void onConnected();
    void onDisconnected();
    // Duration, recording name and log entry of the followed call. A dial during the call (which the
    // line refuses) has replaced the record meanwhile: the call's own fields are put back first, so
    // that its entry has its real start, state, number and MSN.
    void finishCallPart();
    // Keeps what the record says of the followed call, after the binding has written it.
    void keepFollowedCall();
    void stopLineSound();
    bool isIncoming() const { return event.direction == 1; }
    QString remoteNumber() const;
    QString ownNumber() const;

    CtiLibrary& m_library;
    const Clock& m_clock;
    const Settings& m_settings;
    Logs& m_logs;
    CallRecord& m_call;
    CallDisplay& m_display;
    const colConfig& m_configs;
    SoundEngine& m_sound;
    AnsweringSteps& m_machine;
    bool m_intABMithören = false;
    // The call that the record follows, as the binding last wrote it into the record; handle 0 when
    // the record follows no call.
    struct FollowedCall {
        int32_t handle = 0;
        int16_t state = 0;
        int16_t direction = 0;
        QString number;
        QString msn;
        QDateTime start;
    } m_followed;
};
