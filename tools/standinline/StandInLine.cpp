#include "tools/standinline/StandInLine.h"

#include <algorithm>
#include <vector>

StandInLine::StandInLine() = default;

StandInLine::~StandInLine() {
    cti_Exit();
}

void StandInLine::record(const QString& request) {
    // Called with m_mutex held.
    m_requests.append(request);
}

int32_t StandInLine::cti_Init() {
    std::lock_guard lock(m_mutex);
    if (m_running)
        return 1;
    if (m_startsToRefuse > 0) {
        --m_startsToRefuse;
        record(QStringLiteral("Init refused"));
        return -0x1009; // not installed: no server answers
    }
    m_stop = false;
    m_running = true;
    m_thread = std::thread([this] { run(); });
    record(QStringLiteral("Init"));
    return 1;
}

void StandInLine::refuseStarts(int count) {
    std::lock_guard lock(m_mutex);
    m_startsToRefuse = count;
}

int32_t StandInLine::cti_Exit() {
    std::vector<Call> ending;
    {
        std::lock_guard lock(m_mutex);
        if (!m_running)
            return 0;
        m_stop = true;
        record(QStringLiteral("Exit"));
        for (const auto& [handle, call] : m_calls)
            if (call.phase != Phase::Ignored)
                ending.push_back(call);
    }
    m_wake.notify_all();
    m_thread.join();
    // The program's call ends with the line, as a hang-up ends it, and the program hears of it.
    for (const Call& call : ending)
        deliver(call, "Disconnected", 0x3490);
    std::lock_guard lock(m_mutex);
    m_running = false;
    m_tasks.clear();
    m_calls.clear();
    m_channelId = 0;
    m_callback = nullptr;
    m_idle.notify_all();
    return 0;
}

void StandInLine::post(std::function<void()> task) {
    {
        std::lock_guard lock(m_mutex);
        if (!m_running || m_stop)
            return;
        m_tasks.push_back(std::move(task));
    }
    m_wake.notify_one();
}

void StandInLine::run() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_stop || !m_tasks.empty(); });
        if (m_stop)
            return;
        auto task = std::move(m_tasks.front());
        m_tasks.pop_front();
        ++m_busy;
        lock.unlock();
        task();
        lock.lock();
        --m_busy;
        if (m_tasks.empty() && m_busy == 0)
            m_idle.notify_all();
    }
}

void StandInLine::waitIdle() {
    std::unique_lock lock(m_mutex);
    m_idle.wait(lock, [this] { return !m_running || (m_tasks.empty() && m_busy == 0); });
}

void StandInLine::deliverRaw(CtiEvent event) {
    CtiEventCallback callback;
    {
        std::lock_guard lock(m_mutex);
        event.setXcId(m_channelId);
        callback = m_callback;
    }
    if (callback)
        callback(event);
}

void StandInLine::deliver(const Call& call, const char* state, int32_t reason) {
    CtiEvent event;
    event.setType(CtiEvent::CallState);
    event.setCallHandle(call.handle);
    event.setCalledNumber(call.called);
    event.setCallingNumber(call.calling);
    event.setCallingFlags(call.national ? CtiEvent::CallingNational : 0);
    event.setDirection(call.incoming ? 1 : 2);
    event.setStateName(state);
    event.setReason(reason);
    deliverRaw(event);
}

int32_t StandInLine::cti_Register(const EifcConfigBlock& config, const FdWaveConfigBlock&,
                                  CtiEventCallback callback) {
    std::lock_guard lock(m_mutex);
    if (!m_running)
        return -0x1009; // not installed
    m_channelId = 1;
    m_config = config;
    m_callback = std::move(callback);
    record(QStringLiteral("Register"));
    return m_channelId;
}

int32_t StandInLine::cti_Release(int32_t id) {
    std::lock_guard lock(m_mutex);
    if (!registeredLocked(id))
        return IllegalApplication;
    m_channelId = 0;
    m_callback = nullptr;
    record(QStringLiteral("Release"));
    return 0;
}

int32_t StandInLine::cti_IcaSetConfig(int32_t id, const EifcConfigBlock& config) {
    std::lock_guard lock(m_mutex);
    if (!registeredLocked(id))
        return IllegalApplication;
    record(QStringLiteral("IcaSetConfig"));
    if (m_configRefusal != 0)
        return m_configRefusal;
    m_config = config;
    return 0;
}

void StandInLine::refuseConfig(int32_t result) {
    std::lock_guard lock(m_mutex);
    m_configRefusal = result;
}

int32_t StandInLine::cti_IcaGetConfig(int32_t id, EifcConfigBlock& config) {
    std::lock_guard lock(m_mutex);
    if (!registeredLocked(id))
        return IllegalApplication;
    config = m_config;
    return 0;
}

int32_t StandInLine::cti_IcaSetAlert(int32_t id, int32_t alert) {
    std::lock_guard lock(m_mutex);
    if (!registeredLocked(id))
        return IllegalApplication;
    record(QStringLiteral("IcaSetAlert %1").arg(alert));
    // One call at a time: an offer while the program has a call is ignored, whatever the answer.
    const bool busy = std::any_of(m_calls.begin(), m_calls.end(), [](const auto& entry) {
        return entry.second.phase != Phase::Ignored && entry.second.phase != Phase::Offered;
    });
    // The answer belongs to the newest offered call.
    for (auto it = m_calls.rbegin(); it != m_calls.rend(); ++it) {
        if (it->second.incoming && it->second.phase == Phase::Offered) {
            it->second.phase = alert && !busy ? Phase::Alerting : Phase::Ignored;
            return alert && busy ? WrongState : 0;
        }
    }
    return WrongState;
}

int32_t StandInLine::cti_AnswerCall(int32_t id, int32_t callHandle) {
    Call call;
    {
        std::lock_guard lock(m_mutex);
        if (!registeredLocked(id))
            return IllegalApplication;
        record(QStringLiteral("AnswerCall %1").arg(callHandle));
        auto it = m_calls.find(callHandle);
        if (it == m_calls.end() || !it->second.incoming || it->second.phase != Phase::Alerting)
            return WrongState;
        it->second.phase = Phase::Connected;
        call = it->second;
    }
    post([this, call] { deliver(call, "Connected"); });
    return 0;
}

int32_t StandInLine::cti_Connect(int32_t id) {
    Call call;
    {
        std::lock_guard lock(m_mutex);
        if (!registeredLocked(id))
            return IllegalApplication;
        const EifcFields fields = m_config.decode();
        record(QStringLiteral("Connect %1 from %2")
                   .arg(QString::fromLatin1(fields.CalledNumber), QString::fromLatin1(fields.CallingNumber)));
        for (const auto& [handle, other] : m_calls)
            if (other.phase != Phase::Ignored)
                return WrongState; // one B channel: no second call while one is up
        call.handle = m_nextHandle++;
        call.incoming = false;
        call.phase = Phase::Dialling;
        call.called = fields.CalledNumber;
        call.calling = fields.CallingNumber;
        m_calls[call.handle] = call;
    }
    post([this, call] { deliver(call, "D_ConnectPending"); });
    return 0;
}

int32_t StandInLine::cti_Disconnect(int32_t id) {
    Call call;
    {
        std::lock_guard lock(m_mutex);
        if (!registeredLocked(id))
            return IllegalApplication;
        record(QStringLiteral("Disconnect"));
        auto active = std::find_if(m_calls.rbegin(), m_calls.rend(),
                                   [](const auto& entry) { return entry.second.phase != Phase::Ignored; });
        if (active == m_calls.rend())
            return WrongState;
        call = active->second;
        m_calls.erase(call.handle);
    }
    post([this, call] { deliver(call, "Disconnected", 0); });
    return 0;
}

namespace {
QString pathText(const QByteArray& path) {
    return QString::fromLocal8Bit(path);
}
} // namespace

int32_t StandInLine::cti_SndOutFileStart(int32_t id, const QByteArray& path) {
    return simpleRequest(id, QStringLiteral("SndOutFileStart ") + pathText(path));
}

int32_t StandInLine::cti_SndInFileStart(int32_t id, const QByteArray& path, int16_t waveFormat) {
    return simpleRequest(id, QStringLiteral("SndInFileStart %1 %2").arg(pathText(path)).arg(waveFormat));
}

int32_t StandInLine::simpleRequest(int32_t id, const QString& request) {
    std::lock_guard lock(m_mutex);
    if (!registeredLocked(id))
        return IllegalApplication;
    record(request);
    return 0;
}

int32_t StandInLine::cti_SndOutFileStop(int32_t id) {
    return simpleRequest(id, QStringLiteral("SndOutFileStop"));
}
int32_t StandInLine::cti_SndInFileStop(int32_t id) {
    return simpleRequest(id, QStringLiteral("SndInFileStop"));
}
int32_t StandInLine::cti_SndOutStart(int32_t id) {
    return simpleRequest(id, QStringLiteral("SndOutStart"));
}
int32_t StandInLine::cti_SndOutStop(int32_t id) {
    return simpleRequest(id, QStringLiteral("SndOutStop"));
}
int32_t StandInLine::cti_SndInStart(int32_t id) {
    return simpleRequest(id, QStringLiteral("SndInStart"));
}
int32_t StandInLine::cti_SndInStop(int32_t id) {
    return simpleRequest(id, QStringLiteral("SndInStop"));
}

int32_t StandInLine::cti_GetCapiProfile(int32_t id, int32_t& value1, int32_t& value2) {
    std::lock_guard lock(m_mutex);
    if (!registeredLocked(id))
        return IllegalApplication;
    value1 = 1; // one controller
    value2 = 2; // two B channels
    return 0;
}

int32_t StandInLine::cti_SetDebugFlag(int32_t flag) {
    std::lock_guard lock(m_mutex);
    record(QStringLiteral("SetDebugFlag %1").arg(flag));
    return 0;
}

int32_t StandInLine::offerCall(const QByteArray& calling, const QByteArray& called, bool national) {
    Call call;
    {
        std::lock_guard lock(m_mutex);
        call.handle = m_nextHandle++;
        call.incoming = true;
        call.phase = Phase::Offered;
        call.calling = calling;
        call.called = called;
        call.national = national;
    }
    post([this, call] {
        {
            std::lock_guard lock(m_mutex);
            m_calls[call.handle] = call;
        }
        deliver(call, "D_ConnectPending");
    });
    return call.handle;
}

void StandInLine::farEndAnswers() {
    post([this] {
        Call call;
        {
            std::lock_guard lock(m_mutex);
            auto it = std::find_if(m_calls.begin(), m_calls.end(), [](const auto& entry) {
                return !entry.second.incoming && entry.second.phase == Phase::Dialling;
            });
            if (it == m_calls.end())
                return;
            it->second.phase = Phase::Connected;
            call = it->second;
        }
        deliver(call, "Connected");
    });
}

void StandInLine::farEndHangsUp(int32_t reason, int32_t handle) {
    post([this, reason, handle] {
        Call call;
        {
            std::lock_guard lock(m_mutex);
            const int32_t target = handle != 0 ? handle : newestCallLocked();
            auto it = m_calls.find(target);
            if (it == m_calls.end())
                return;
            call = it->second;
            m_calls.erase(it);
        }
        deliver(call, "Disconnected", reason);
    });
}

void StandInLine::sendDtmf(char digit) {
    post([this, digit] {
        CtiEvent event;
        event.setType(CtiEvent::Dtmf);
        event.setDtmfDigit(digit);
        {
            std::lock_guard lock(m_mutex);
            event.setCallHandle(newestCallLocked());
        }
        deliverRaw(event);
    });
}

void StandInLine::raise(CtiEvent event) {
    post([this, event] { deliverRaw(event); });
}

int32_t StandInLine::newestCallLocked() const {
    return m_calls.empty() ? 0 : m_calls.rbegin()->first;
}

QStringList StandInLine::requests() const {
    std::lock_guard lock(m_mutex);
    return m_requests;
}

void StandInLine::clearRequests() {
    std::lock_guard lock(m_mutex);
    m_requests.clear();
}

EifcFields StandInLine::config() const {
    std::lock_guard lock(m_mutex);
    return m_config.decode();
}

QString StandInLine::describe() const {
    std::lock_guard lock(m_mutex);
    if (!m_running)
        return QStringLiteral("Line not started");
    if (m_calls.empty())
        return m_channelId ? QStringLiteral("Line idle") : QStringLiteral("Line started, not registered");
    QStringList parts;
    for (const auto& [handle, call] : m_calls) {
        static const char* const phases[] = {"offered", "ringing", "ignored", "dialling", "connected"};
        const QString who =
            call.incoming
                ? QStringLiteral("from %1 to %2")
                      .arg(QString::fromLatin1(call.calling.isEmpty() ? "(suppressed)" : call.calling),
                           QString::fromLatin1(call.called))
                : QStringLiteral("to %1").arg(QString::fromLatin1(call.called));
        parts
            << QStringLiteral("Call %1 %2: %3").arg(handle).arg(who, QLatin1String(phases[int(call.phase)]));
    }
    return parts.join(QLatin1Char('\n'));
}
