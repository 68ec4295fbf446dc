#include "lines/capi/clsCti.h"

#include "config/colConfig.h"
#include "lines/capi/AnsweringSteps.h"
#include "lines/capi/modCtiDef.h"
#include "lines/sound/SoundEngine.h"
#include "numbers/Num_module.h"
#include "platform/Clock.h"
#include "shell/base/CallRecord.h"
#include "shell/base/Logs.h"
#include "shell/base/Settings.h"

#include <QDir>
#include <QFile>

clsCti::clsCti(CtiLibrary& library, const Clock& clock, const Settings& settings, Logs& logs,
               CallRecord& call, CallDisplay& display, const colConfig& configs, SoundEngine& sound,
               AnsweringSteps& machine)
    : m_library(library), m_clock(clock), m_settings(settings), m_logs(logs), m_call(call),
      m_display(display), m_configs(configs), m_sound(sound), m_machine(machine) {}

void clsCti::setABMithören(bool on) {
    m_intABMithören = on;
    if (lngABState == 0)
        return;
    m_display.Me_Set_Status();
    if (on) {
        m_sound.SoundPlayStop();
        CtiSndOutStart();
    } else {
        CtiSndOutStop();
    }
}

void clsCti::Set_m_eifc_Config() {
    m_eifc_Config.encode(eifc);
}

void clsCti::Set_m_FdWave_Config() {
    for (int i = 0; i < int(fdWave.size()); ++i)
        m_FdWave_Config.setValue(i, fdWave[std::size_t(i)]);
}

void clsCti::takeEvent(const CtiEvent& record) {
    event.type = record.type();
    event.xcId = record.xcId();
    event.callHandle = record.callHandle();
    event.calledNumber = QString::fromLatin1(record.calledNumber());
    event.callingNumber = QString::fromLatin1(record.callingNumber());
    event.direction = record.direction();
    event.stateName = QString::fromLatin1(record.stateName());
    event.reason = record.reason();
    event.dtmfDigit = record.dtmfDigit();
}

QString clsCti::remoteNumber() const {
    return isIncoming() ? IncomingPrefix(m_settings, event.callingNumber, 0)
                        : OutsideLinePrefix(m_settings, event.calledNumber, 0);
}

QString clsCti::ownNumber() const {
    return isIncoming() ? event.calledNumber : event.callingNumber;
}

bool clsCti::concerns(const CtiEvent& record, bool alerted) const {
    if (m_followed.handle != 0)
        return record.callHandle() == m_followed.handle;
    // The record follows no call: only a call that begins may take it.
    return record.stateName() == StateConnectPending && (record.direction() != 1 || alerted);
}

void clsCti::fktCallback() {
    if (event.stateName == QLatin1String(StateConnectPending)) {
        onConnectPending();
    } else if (event.stateName == QLatin1String(StateConnected)) {
        onConnected();
        m_display.Eurit_ShowCallState(MaskAll);
    } else if (event.stateName == QLatin1String(StateDisconnected)) {
        onDisconnected();
        m_display.Eurit_ShowCallState(MaskAll);
    }
}

void clsCti::keepFollowedCall() {
    m_followed.state = m_call.CallState;
    m_followed.direction = m_call.CallDirection;
    m_followed.number = m_call.CallNumber;
    m_followed.msn = m_call.CallMSN;
}

void clsCti::onConnectPending() {
    if (isIncoming() && lngAlerted != 1)
        return; // an ignored call changes nothing in the record
    m_followed = {};
    m_followed.handle = event.callHandle;
    m_call.CallDirection = isIncoming() ? 1 : 2;
    m_call.CallNumber = remoteNumber();
    m_call.CallMSN = ownNumber();
    if (!isIncoming()) {
        m_call.CallState = StateOutgoingWaiting;
        m_sound.SoundPlayLoop(m_sound.FreizeichenPath, 100);
    } else {
        m_call.CallState = StateIncomingRinging;
        intMSNIndex = int16_t(m_configs.Item(1).GetMatchMSNNummer(event.calledNumber, true));
        if (intMSNIndex > 0)
            m_sound.SoundPlayLoop(m_configs.Item(1).strMSNRufartFile(intMSNIndex), 100);
        dateRingStart = m_clock.now();
        CtiIcaSetConfig();
    }
    keepFollowedCall();
    m_display.Eurit_ShowCallState(MaskAll);
}

void clsCti::onConnected() {
    m_call.CallDirection = isIncoming() ? 1 : 2;
    m_call.CallStart = m_clock.now();
    m_call.CallNumber = remoteNumber();
    m_call.CallMSN = ownNumber();
    const bool machine = isIncoming() && lngABState != 0;
    if (!isIncoming()) {
        m_call.CallState = StateOutgoingConnected;
        m_sound.SoundPlayStop();
        m_sound.SoundRecordStop();
    } else if (machine) {
        m_call.CallState = StateIncomingMachine;
        m_machine.ABOnConnected(*this);
    } else {
        m_call.CallState = StateIncomingConnected;
        m_sound.SoundPlayStop();
    }
    if (!machine) {
        CtiSndInStart();
        CtiSndOutStart();
    }
    m_sound.SoundPlayStop();
    eifc.Listen = 0;
    CtiIcaSetConfig();
    keepFollowedCall();
    m_followed.start = m_call.CallStart;
}

void clsCti::stopLineSound() {
    CtiSndOutFileStop();
    CtiSndInFileStop();
    m_sound.SoundPlayStop();
    CtiSndOutStop();
    CtiSndInStop();
}

void clsCti::finishCallPart() {
    m_call.CallState = m_followed.state;
    m_call.CallDirection = m_followed.direction;
    m_call.CallNumber = m_followed.number;
    m_call.CallMSN = m_followed.msn;
    // Until the call is connected the call clock keeps the start at now, so only a connected call has
    // a start of its own.
    if (m_followed.start.isValid())
        m_call.CallStart = m_followed.start;
    if (m_call.CallStart.isValid())
        m_call.CallDuration = FormatLongTime(m_call.CallStart.secsTo(m_clock.now()));
    // The machine's recording goes with the call part it belongs to, also when the recording limit
    // ended it before the call: a message is never left without its log entry.
    QString recording;
    {
        std::lock_guard lock(machineMutex);
        recording = strRecordFile;
    }
    m_call.CallSoundFile = m_sound.SoundRelativePath(recording);
    m_display.Eurit_CallFinished();
}

void clsCti::onDisconnected() {
    stopLineSound();
    if (m_followed.state != StateIdle) {
        finishCallPart();
        m_call.IdleStatusText = CtiReasonText(event.reason);
        if (event.reason == ReasonUserBusy)
            m_sound.SoundPlayOnce(m_sound.BesetztPath);
    }
    m_machine.ABOnDisconnected(*this);
    m_call.CallState = StateIdle;
    m_followed = {};
    lngABState = 0;
    eifc.Listen = 1;
    CtiIcaSetConfig();
}

int32_t clsCti::CtiABÜbernahme() {
    if (!registered())
        return -1;
    // The line takes the answer mode first: a take-over that fails leaves the call as it was, with its
    // one log entry still to come at its end.
    const int32_t answerMode = eifc.AnswerMode;
    eifc.AnswerMode = 0;
    const int32_t result = CtiIcaSetConfig();
    if (result < 0) {
        eifc.AnswerMode = answerMode;
        Set_m_eifc_Config();
        return result;
    }
    // The machine's part of the call gets its own log entry.
    if (m_followed.state != StateIdle)
        finishCallPart();
    m_call.CallState = StateIncomingConnected;
    // The talk after the take-over is a call part of its own: its log entry counts from here. The
    // machine gives the call up for good: no more digits reach its inquiry, no recording limit cuts
    // the talk, and the recording stays with the machine's part of the call.
    m_call.CallStart = m_clock.now();
    keepFollowedCall();
    m_followed.start = m_call.CallStart;
    lngABState = 0;
    intPlaying = 0;
    {
        std::lock_guard lock(machineMutex);
        intRecording = 0;
        strRecordFile.clear();
    }
    CtiSndOutFileStop();
    CtiSndInFileStop();
    CtiSndOutStop();
    CtiSndInStop();
    m_sound.SoundRecordStop();
    m_sound.SoundPlayStop();
    CtiSndInStart();
    CtiSndOutStart();
    m_display.Eurit_ShowCallState(MaskAll);
    return result;
}

void clsCti::DtmfCallback() {
    if (lngABState != 0)
        m_machine.ABOnDigit(*this, event.dtmfDigit);
}

void clsCti::FileOutCallback() {
    // Every report goes to the machine, also while it plays nothing: it counts the ends of the files it
    // started, and plays on only while intPlaying is set.
    m_machine.ABOnFileEnd(*this);
}

void clsCti::fktErrCallback() {
    // The library's own errors are rare and otherwise invisible: keep them for diagnosis.
    m_logs.ErrorLog(
        QStringLiteral("Line library error %1: %2").arg(errorNumber).arg(QString::fromLocal8Bit(errorText)));
}

int32_t clsCti::CtiRegister(CtiEventCallback callback) {
    if (registered())
        return -1;
    const int32_t id = m_library.cti_Register(m_eifc_Config, m_FdWave_Config, std::move(callback));
    lngCtiId = id < 0 ? -1 : id;
    return id;
}

int32_t clsCti::CtiGetProfile(int32_t& value1, int32_t& value2) {
    return registered() ? m_library.cti_GetCapiProfile(lngCtiId, value1, value2) : -1;
}

int32_t clsCti::CtiIcaSetConfig() {
    Set_m_eifc_Config();
    return registered() ? m_library.cti_IcaSetConfig(lngCtiId, m_eifc_Config) : -1;
}

int32_t clsCti::CtiIcaSetAlert(int32_t alert) {
    return registered() ? m_library.cti_IcaSetAlert(lngCtiId, alert) : -1;
}

int32_t clsCti::CtiIcaGetConfig() {
    return registered() ? m_library.cti_IcaGetConfig(lngCtiId, m_eifc_Config) : -3;
}

int32_t clsCti::CtiRelease() {
    const int32_t result = m_library.cti_Release(lngCtiId);
    lngCtiId = -1;
    return result;
}

int32_t clsCti::CtiSetDebugFlag(int32_t flag) {
    return m_library.cti_SetDebugFlag(flag);
}

int32_t clsCti::CtiAnswerCall(int32_t callHandle) {
    return registered() ? m_library.cti_AnswerCall(lngCtiId, callHandle) : -1;
}

int32_t clsCti::CtiConnect() {
    return registered() ? m_library.cti_Connect(lngCtiId) : -1;
}
int32_t clsCti::CtiDisconnect() {
    return registered() ? m_library.cti_Disconnect(lngCtiId) : -1;
}

int32_t clsCti::CtiSndOutFileStart(const QString& file) {
    // The machine plays on from the library's thread with full paths, which need no sound folder.
    const QString path = QDir::isAbsolutePath(file) ? file : m_sound.SoundFullPath(file);
    return registered() ? m_library.cti_SndOutFileStart(lngCtiId, QFile::encodeName(path)) : -1;
}

int32_t clsCti::CtiSndOutFileStop() {
    return registered() ? m_library.cti_SndOutFileStop(lngCtiId) : -1;
}

int32_t clsCti::CtiSndInFileStart(const QString& file) {
    const QString path = QDir::isAbsolutePath(file) ? file : m_sound.SoundFullPath(file);
    return registered()
               ? m_library.cti_SndInFileStart(lngCtiId, QFile::encodeName(path), m_sound.FormatRecording)
               : -1;
}

int32_t clsCti::CtiSndInFileStop() {
    return registered() ? m_library.cti_SndInFileStop(lngCtiId) : -1;
}
int32_t clsCti::CtiSndOutStart() {
    return registered() ? m_library.cti_SndOutStart(lngCtiId) : -1;
}
int32_t clsCti::CtiSndOutStop() {
    return registered() ? m_library.cti_SndOutStop(lngCtiId) : -1;
}
int32_t clsCti::CtiSndInStart() {
    return registered() ? m_library.cti_SndInStart(lngCtiId) : -1;
}
int32_t clsCti::CtiSndInStop() {
    return registered() ? m_library.cti_SndInStop(lngCtiId) : -1;
}
