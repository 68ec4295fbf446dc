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

class Clock;
struct Settings;
class Logs;
struct CallRecord;
class CallDisplay;
class colConfig;
class SoundEngine;
class AnsweringMachine;

// The names of the call states in a CtiEvent.
inline constexpr char StateConnectPending[] = "D_ConnectPending";
inline constexpr char StateConnected[] = "Connected";
inline constexpr char StateDisconnected[] = "Disconnected";

class clsCti {
public:
    clsCti(CtiLibrary& library, const Clock& clock, const Settings& settings, Logs& logs, CallRecord& call,
           CallDisplay& display, const colConfig& configs, SoundEngine& sound, AnsweringMachine& machine);

    // Fields read and written by the program. Those marked atomic are also touched on the line
    // library's thread (the alert decision, the file-end report, the channel lookup).
    QDateTime dateRingStart;
    std::atomic<int32_t> lngABState =
        0; // 0 not the machine's; 1 the machine will answer; 2 playing/recording
    std::atomic<int16_t> intPlaying = 0; // a file is played into the line for the machine
    int16_t intRecording = 0;
    QDateTime dateRecordStart;
    QString strRecordFile;
    int32_t lngAlerted = 0; // 1 the incoming call being shown was accepted for alerting
    int16_t intMSNIndex = 0;
    std::atomic<int32_t> lngCtiId = -1; // channel id from cti_Register; -1 while not registered

    // The source fields of m_eifc_Config, and the six values of m_FdWave_Config.
    EifcFields eifc;
    std::array<int32_t, 6> fdWave{};
    EifcConfigBlock m_eifc_Config;
    FdWaveConfigBlock m_FdWave_Config;

    // A copy of the fields of the last event taken off the queue (call state or digit).
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

    // Takes an event's fields into `event` (the pump does this before the callbacks).
    void takeEvent(const CtiEvent& record);

private:
    bool registered() const { return lngCtiId != -1; }
    void onConnectPending();
    void onConnected();
    void onDisconnected();
    // Duration, recording name and log entry of the call as it stands.
    void finishCallPart();
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
    AnsweringMachine& m_machine;
    bool m_intABMithören = false;
    int32_t m_followedHandle = 0;
};
