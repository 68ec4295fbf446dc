#pragma once

// An in-process stand-in for the ISDN line: it implements the line library's operations, keeps the
// calls of a small exchange, and raises CtiEvent records on a thread of its own, as the real library
// does. A person drives its far end from a small window; tests drive it directly. It records every
// request of the program so a test can check what the program asked of the line.

#include "platform/cti/CtiLibrary.h"

#include <QString>
#include <QStringList>

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

class StandInLine final : public CtiLibrary {
public:
    // CAPI's "message not supported in current state", as a failure result.
    static constexpr int32_t WrongState = -0x2001;
    // CAPI's "illegal application number": the channel is not registered.
    static constexpr int32_t IllegalApplication = -0x1101;
    static constexpr int32_t ReasonNormalClearing = 0x3490;
    static constexpr int32_t ReasonUserBusy = 0x3491;

    StandInLine();
    ~StandInLine() override;

    // What the line library offers the program.
    int32_t cti_Init() override;
    int32_t cti_Exit() override;
    int32_t cti_Register(const EifcConfigBlock& config, const FdWaveConfigBlock& wave,
                         CtiEventCallback callback) override;
    int32_t cti_Release(int32_t id) override;
    int32_t cti_IcaSetConfig(int32_t id, const EifcConfigBlock& config) override;
    int32_t cti_IcaGetConfig(int32_t id, EifcConfigBlock& config) override;
    int32_t cti_IcaSetAlert(int32_t id, int32_t alert) override;
    int32_t cti_AnswerCall(int32_t id, int32_t callHandle) override;
    int32_t cti_Connect(int32_t id) override;
    int32_t cti_Disconnect(int32_t id) override;
    int32_t cti_SndOutFileStart(int32_t id, const QByteArray& path) override;
    int32_t cti_SndOutFileStop(int32_t id) override;
    int32_t cti_SndInFileStart(int32_t id, const QByteArray& path, int16_t waveFormat) override;
    int32_t cti_SndInFileStop(int32_t id) override;
    int32_t cti_SndOutStart(int32_t id) override;
    int32_t cti_SndOutStop(int32_t id) override;
    int32_t cti_SndInStart(int32_t id) override;
    int32_t cti_SndInStop(int32_t id) override;
    int32_t cti_GetCapiProfile(int32_t id, int32_t& value1, int32_t& value2) override;
    int32_t cti_SetDebugFlag(int32_t flag) override;

    // The far end. Each raises its events on the line's thread and returns at once.
    // A call from `calling` (empty: suppressed) to `called`; `national` marks a number without its
    // leading "0". Returns the call's handle.
    int32_t offerCall(const QByteArray& calling, const QByteArray& called, bool national = false);
    // The far end of the outgoing call answers.
    void farEndAnswers();
    // The far end ends a call (the newest one when `handle` is 0) with a CAPI reason.
    void farEndHangsUp(int32_t reason = ReasonNormalClearing, int32_t handle = 0);
    // A digit from the far end of the connected call.
    void sendDtmf(char digit);
    // Any record, for tests of the event path; XcId is filled in.
    void raise(CtiEvent event);
    // Blocks until every event posted so far has been delivered.
    void waitIdle();
    // From now on configuration changes fail with `result` (0: they succeed again), as a line that has
    // lost its server refuses them.
    void refuseConfig(int32_t result);

    // The next `count` starts (cti_Init) fail as a line whose server does not answer yet, as a router
    // that is still starting up.
    void refuseStarts(int count);

    // What the program asked: one line per request, such as "IcaSetAlert 1" or "Connect 0891234".
    QStringList requests() const;
    void clearRequests();
    // The configuration last taken into force by cti_Register or cti_IcaSetConfig.
    EifcFields config() const;
    // A line for people: the line's calls and their phases.
    QString describe() const;

private:
    int32_t m_configRefusal = 0;
    enum class Phase { Offered, Alerting, Ignored, Dialling, Connected };
    struct Call {
        int32_t handle = 0;
        bool incoming = true;
        Phase phase = Phase::Offered;
        QByteArray calling, called;
        bool national = false;
    };

    void post(std::function<void()> task);
    void run();
    // Hands an event to the program on the line's thread, with the channel's id filled in.
    void deliverRaw(CtiEvent event);
    // Builds and delivers a call-state event of a call.
    void deliver(const Call& call, const char* state, int32_t reason = 0);
    void record(const QString& request);
    // A request that only needs the channel: recorded, 0 when registered.
    int32_t simpleRequest(int32_t id, const QString& request);
    int32_t newestCallLocked() const;
    bool registeredLocked(int32_t id) const { return m_channelId != 0 && id == m_channelId; }

    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_idle;
    std::deque<std::function<void()>> m_tasks;
    bool m_running = false;
    int m_startsToRefuse = 0;
    bool m_stop = false;
    int m_busy = 0;
    std::thread m_thread;

    CtiEventCallback m_callback;
    int32_t m_channelId = 0;
    EifcConfigBlock m_config;
    std::map<int32_t, Call> m_calls;
    int32_t m_nextHandle = 1;
    QStringList m_requests;
};
