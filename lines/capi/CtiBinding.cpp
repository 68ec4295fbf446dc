#include "lines/capi/CtiBinding.h"

#include "config/colConfig.h"
#include "lines/capi/AnsweringSteps.h"
#include "lines/sound/SoundEngine.h"
#include "platform/Process.h"
#include "shell/base/CallRecord.h"
#include "shell/base/Logs.h"
#include "shell/base/Settings.h"

#include <QDir>

#include <chrono>
#include <thread>

CtiBinding::CtiBinding(CtiLibrary& library, const Clock& clock, const Settings& settings, Logs& logs,
                       CallRecord& call, CallDisplay& display, const colConfig& configs, SoundEngine& sound,
                       AnsweringSteps& machine, const QString& programDir)
    : m_library(library), m_clock(clock), m_settings(settings), m_logs(logs), m_call(call),
      m_display(display), m_configs(configs), m_sound(sound), m_machine(machine), m_programDir(programDir) {}

CtiBinding::~CtiBinding() {
    if (!m_channels.empty())
        CtiExit();
}

void CtiBinding::fail(const QString& line) {
    m_logs.Log_Write(line);
    m_fatalMessage = line;
}

bool CtiBinding::CtiInit() {
    m_channels.clear();
    m_channels.push_back(std::make_unique<clsCti>(m_library, m_clock, m_settings, m_logs, m_call, m_display,
                                                  m_configs, m_sound, m_machine));
    clsCti& cti = *m_channels.front();

    EifcFields& f = cti.eifc;
    f = EifcFields{};
    f.MaxBDataLen = m_settings.BlockSize;
    f.LogFile = QDir(m_programDir).filePath(QStringLiteral("Ctilog.txt")).toLocal8Bit();
    f.DebugEnable = m_settings.ErrorLogOn;
    cti.fdWave = {
        100, 2 * m_settings.BlockSize, 10, 2 * m_settings.BlockSize, m_sound.OutDevice, m_sound.InDevice};
    cti.Set_m_eifc_Config();
    cti.Set_m_FdWave_Config();

    RaiseProcessPriority();

    m_initResult = m_library.cti_Init();
    if (m_initResult <= 0) {
        fail(QStringLiteral("CtiInit:Failed Reason: %1").arg(m_initResult));
        return false;
    }
    return true;
}

bool CtiBinding::CtiRegisterChannel() {
    clsCti* cti = channel();
    if (!cti)
        return false;
    const int32_t result = cti->CtiRegister([this](const CtiEvent& event) { CtiEventEntry(event); });
    if (result < 0) {
        fail(QStringLiteral("CtiRegister: Failed Channel 0 Err: %1").arg(result));
        return false;
    }
    return true;
}

int16_t CtiBinding::pendingEvents() {
    std::lock_guard lock(m_queue.mutex);
    return m_queue.count();
}

void CtiBinding::drainQueue() {
    // The library may go on raising events until it has stopped, so the drain is bounded: at most two
    // rings' worth, yielding while the entry runs.
    for (int round = 0; round < 2 * CtiEventQueue::Slots && pendingEvents() > 0; ++round) {
        if (m_queue.busy)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        CtiEventPump();
    }
}

void CtiBinding::CtiExit() {
    // The event timer is off by now. What still stands in the queue is taken first; then the library
    // ends, clearing a call still up and reporting its "Disconnected", which is taken as well, so the
    // call in progress at the stop is still logged.
    drainQueue();
    const int32_t result = m_library.cti_Exit();
    if (result < 0)
        m_logs.Log_Write(QStringLiteral("cti_Exit: Failed, Reason: %1").arg(result));
    drainQueue();
    {
        std::lock_guard lock(m_queue.mutex);
        if (m_queue.count() > 0)
            m_logs.ErrorLog(QStringLiteral("CtiExit: %1 line events discarded").arg(m_queue.count()));
        m_queue.clear();
        m_lineCall = 0;
    }
    m_channels.clear();
}

CtiLinkState CtiBinding::linkState() const {
    CtiLinkState state = m_library.linkState();
    const clsCti* cti = channel();
    if (!cti || cti->lngCtiId == -1)
        state.kind = CtiLinkState::Unavailable;
    return state;
}

int32_t CtiBinding::CtiDial() {
    clsCti* cti = channel();
    if (!cti)
        return -1;
    // From the connect request on, the line has a call of the program's: an offered call must not be
    // alerted in its place, though the line names the call only when the exchange has taken it.
    bool pending = false;
    {
        std::lock_guard lock(m_queue.mutex);
        if (m_lineCall == 0) {
            m_lineCall = DialPending;
            pending = true;
        }
    }
    const int32_t result = cti->CtiConnect();
    if (result < 0 && pending) {
        std::lock_guard lock(m_queue.mutex);
        if (m_lineCall == DialPending)
            m_lineCall = 0;
    }
    return result;
}

int CtiBinding::GetCtiIdbyXcId(int32_t xcId) const {
    if (!m_channels.empty() && m_channels.front()->lngCtiId == xcId)
        return 0;
    return -1;
}

bool CtiBinding::enqueue(const CtiEvent& event, bool callEnd, uint8_t alert) {
    // A full ring means the main thread has not taken an event for seconds. The new event is dropped,
    // never an older one written over, and the last slots stay free for the end of a call.
    const int16_t needed = callEnd ? 1 : SlotsKeptForCallEnds + 1;
    if (m_queue.freeSlots() >= needed && m_queue.push(event, alert))
        return true;
    m_logs.ErrorLog(
        QStringLiteral("CtiEventQueue full: event of type %1 (%2) dropped")
            .arg(event.type())
            .arg(QString::fromLatin1(event.type() == CtiEvent::Dtmf ? QByteArray(1, event.dtmfDigit())
                                                                    : event.stateName())));
    return false;
}

void CtiBinding::callStateEntry(clsCti& cti, const CtiEvent& event) {
    const QByteArray state = event.stateName();
    const bool offered = state == StateConnectPending && event.direction() == 1;
    const bool callEnd = state == StateConnected || state == StateDisconnected;
    if (!offered) {
        // The program's own call is named once the exchange has taken it; it may also end before that
        // (a server lost while it was dialled), while the binding still holds it as pending.
        if (state == StateConnectPending)
            m_lineCall = event.callHandle();
        else if (state == StateDisconnected &&
                 (event.callHandle() == m_lineCall || m_lineCall == DialPending))
            m_lineCall = 0;
        enqueue(event, callEnd);
        return;
    }
    // A call that comes while another call is up, that matches no own number, or that the ring has no
    // room for (the program would never see it) is not offered to the user. The line may still refuse
    // to alert (it holds a call of the program's that the binding has not heard of yet): then the call
    // is ignored as well.
    const bool callInProgress = m_call.CallState != StateIdle || m_lineCall != 0;
    const bool wanted = !callInProgress && m_configs.Item(1).GetMatchMSNNummer(
                                               QString::fromLatin1(event.calledNumber()), true) != 0;
    uint8_t alert = wanted && m_queue.freeSlots() > SlotsKeptForCallEnds;
    if (cti.CtiIcaSetAlert(alert) < 0)
        alert = 0;
    if (alert)
        m_lineCall = event.callHandle();
    // lngAlerted is set when the pump takes this event, from the decision carried in its slot: set
    // here, it would speak for whichever call was offered last rather than for the call being shown.
    enqueue(event, false, alert);
}

void CtiBinding::CtiEventEntry(const CtiEvent& event) {
    std::lock_guard lock(m_queue.mutex);
    m_queue.busy = 1;
    const int index = GetCtiIdbyXcId(event.xcId());
    if (index >= 0) {
        clsCti& cti = *m_channels[std::size_t(index)];
        switch (event.type()) {
        case CtiEvent::Dtmf:
            enqueue(event, false);
            break;
        case CtiEvent::CallState:
            callStateEntry(cti, event);
            break;
        case CtiEvent::FileIn:
            for (int i = 0; i < 3; ++i)
                cti.fileInReport[std::size_t(i)] = event.fileInValue(i);
            cti.FileInCallback();
            break;
        case CtiEvent::FileOut:
            for (int i = 0; i < 3; ++i)
                cti.fileOutReport[std::size_t(i)] = event.fileOutValue(i);
            cti.FileOutCallback();
            break;
        case CtiEvent::LibraryError:
            cti.errorNumber = event.errorNumber();
            cti.errorText = event.errorText();
            cti.fktErrCallback();
            break;
        default:
            break;
        }
    }
    m_queue.busy = 0;
}

void CtiBinding::CtiEventPump() {
    if (m_queue.busy)
        return;
    CtiEvent event;
    uint8_t alerted = 0;
    {
        std::unique_lock lock(m_queue.mutex, std::try_to_lock);
        if (!lock.owns_lock() || !m_queue.pop(event, &alerted))
            return;
    }
    const int index = GetCtiIdbyXcId(event.xcId());
    if (index < 0) {
        m_logs.ErrorLog(QStringLiteral("GetCtiIdbyXcId failed"));
        return;
    }
    clsCti& cti = *m_channels[std::size_t(index)];
    switch (event.type()) {
    case CtiEvent::CallState:
        if (!cti.concerns(event, alerted != 0)) {
            m_logs.Log_Write(
                QStringLiteral("clsCti: %1 of call %2, which the record does not follow, ignored")
                    .arg(QString::fromLatin1(event.stateName()))
                    .arg(event.callHandle()));
            break;
        }
        cti.takeEvent(event);
        // The decision that the entry made for this very call.
        if (event.direction() == 1 && event.stateName() == StateConnectPending)
            cti.lngAlerted = alerted;
        cti.fktCallback();
        break;
    case CtiEvent::Dtmf:
        cti.event.dtmfDigit = event.dtmfDigit();
        cti.DtmfCallback();
        break;
    default:
        break;
    }
}
