#include "platform/capilink/CapiLink.h"

#include "platform/capilink/LineVoice.h"
#include "platform/cti/CapiMessage.h"

#include <QDateTime>
#include <QFile>

#include <capi20.h>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <thread>

using namespace capi;
using Clock = std::chrono::steady_clock;

namespace {

// Results of the cti_* operations: a CAPI info value, negated.
constexpr int32_t Failed(uint16_t info) {
    return -int32_t(info);
}
constexpr uint16_t NotInstalled = 0x1009;
constexpr uint16_t IllegalParameter = 0x2007;
// The reason a call ends with when the link to the CAPI server is lost: the line is broken.
constexpr int32_t ReasonLinkLost = 0x3301;

// DATA_B3 blocks: never more unconfirmed than this, whatever the registration allows, so that the voice
// stays close to real time.
constexpr int MaxUnconfirmedBlocks = 3;
// Blocks owed to the line beyond what the window lets out: more would only add delay.
constexpr int MaxOwedBlocks = 4;
// libcapi20 copies a DATA_B3_REQ's payload behind the message in a buffer of this size.
constexpr std::size_t SendBufferSize = 2176;
constexpr std::size_t MaxBlock = SendBufferSize - DataB3ReqSize - 128;

constexpr const char* StatePending = "D_ConnectPending";
constexpr const char* StateConnected = "Connected";
constexpr const char* StateDisconnected = "Disconnected";

// Pauses between attempts to reach a lost server.
constexpr int FirstRetryMs = 1000;
constexpr int LastRetryMs = 30000;

// The service of an outgoing call is one CIP value, which the configuration keeps as a mask: telephony
// when its bit is set, else the lowest value of the mask.
uint16_t outgoingCip(uint32_t mask) {
    if (mask == 0 || (mask & cipBit(CipTelephony)))
        return CipTelephony;
    uint16_t cip = 0;
    while (!(mask & cipBit(cip)))
        ++cip;
    return cip;
}

QString hex(uint32_t v) {
    return QStringLiteral("0x%1").arg(v, 4, 16, QLatin1Char('0'));
}

// libcapi20 loads its server module once, process-wide, at the first capi20_isinstalled; the choice
// is handed over here before that, once: a program has one CAPI server. libcapi20 copies the strings.
void chooseServer(const CapiServer& server) {
    static std::once_flag once;
    std::call_once(once, [&server] {
        // A write to a server that has gone must fail with EPIPE, not end the program.
        std::signal(SIGPIPE, SIG_IGN);
        capi20ext_set_tracelevel(0);
        if (server.driver.isEmpty())
            return;
        QByteArray driver = server.driver;
        QByteArray host = server.host;
        capi20ext_set_driver(driver.data());
        if (!host.isEmpty())
            capi20ext_set_host(host.data());
        if (server.port > 0)
            capi20ext_set_port(server.port);
    });
}

} // namespace

QString CapiServer::name() const {
    if (driver.isEmpty())
        return QStringLiteral("libcapi20 (~/.capi20rc, /etc/capi20.conf)");
    if (host.isEmpty())
        return QString::fromLatin1(driver);
    return QString::fromLatin1(host) + (port > 0 ? QStringLiteral(":%1").arg(port) : QString()) +
           QStringLiteral(" (") + QString::fromLatin1(driver) + QLatin1Char(')');
}

QString CapiServer::describe() const {
    if (driver.isEmpty())
        return QStringLiteral("libcapi20's own configuration (~/.capi20rc or /etc/capi20.conf)");
    QString text = QString::fromLatin1(driver);
    if (!host.isEmpty())
        text += QStringLiteral(" at ") + QString::fromLatin1(host) +
                (port > 0 ? QStringLiteral(":%1").arg(port) : QString());
    return text;
}

struct CapiLink::Core {
    enum class Phase { Offered, Alerting, Ignored, Answering, Dialling, Connecting, Connected, Clearing };
    struct Call {
        uint32_t plci = 0;
        uint32_t ncci = 0;
        bool incoming = true;
        Phase phase = Phase::Offered;
        QByteArray called, calling;
        uint8_t callingFlags = 0;
        uint16_t indication = 0; // message number of the CONNECT_IND, which its response repeats
        int unconfirmed = 0;     // DATA_B3_REQ not yet confirmed
        int owed = 0;            // blocks the line's clock asked for that the window held back
        std::size_t blockLength = 0;
        bool disconnectWanted = false;
    };

    Core(CapiServer s, std::shared_ptr<voice::AudioDevice> audio)
        : server(std::move(s)), voice(std::move(audio)) {}

    // ----- the program's side, under the lock -----
    void post(std::function<void()> command);
    bool registered(int32_t id) const { return id == ChannelId && channelRegistered; }
    Call* programCallLocked() {
        auto it = calls.find(programCall);
        return it == calls.end() ? nullptr : &it->second;
    }

    // ----- the line's thread -----
    void run();
    void registerApplication(std::unique_lock<std::mutex>& lock);
    void releaseApplication(bool endCalls);
    void clearProgramCallAtStop();
    void linkLost();
    void receive();
    void handle(MessageReader& m, const uint8_t* raw);
    void onConnectInd(MessageReader& m);
    void onConnectConf(MessageReader& m);
    void onDisconnectInd(MessageReader& m);
    void onB3Active(MessageReader& m);
    void onDataInd(MessageReader& m, const uint8_t* raw);
    void onFacility(MessageReader& m);
    void sendOwedBlocks(Call& call);
    void listen();
    void listenConfirmed(uint16_t info);
    void send(const QByteArray& message);
    void respond(MessageReader& m);
    // CONNECT_RESP: 0 answers the call with the B protocols of the configuration, 1 ignores it, 2 and
    // more reject it.
    void sendConnectResponse(uint32_t plci, uint16_t reject);
    void disconnect(uint32_t plci);
    void startDtmfDetection();
    uint16_t nextNumber() { return nextMessageNumber = uint16_t(nextMessageNumber % 0x7fff + 1); }
    void endCall(Call& call, int32_t reason);
    void raiseCallState(const Call& call, const char* state, int32_t reason = 0);
    void raiseError(int32_t number, const QString& text);
    void raiseDigit(char digit);
    void raiseFileOut(int32_t samples, int32_t endValue);
    void raiseFileIn(int32_t samples);
    // A file the line cannot play or record: logged, reported, and a failure for the caller.
    int32_t fileRefused(const QString& error);
    void deliver(std::unique_lock<std::mutex>& lock);
    void log(const QString& line, bool always = false);

    const CapiServer server;
    LineVoice voice;

    mutable std::mutex mutex;
    std::condition_variable changed;
    std::thread thread;
    int wakeFd = -1;
    bool stopping = false;
    bool finished = false;
    std::deque<std::function<void()>> commands;
    std::vector<CtiEvent> pending;

    bool initDone = false;
    int32_t initResult = 0;
    bool registerDone = false;
    int32_t registerResult = 0;
    QString lastError;

    // The channel and its CAPI application.
    bool channelRegistered = false;
    unsigned applId = 0;
    int capiFd = -1;
    int controllers = 0;
    bool controllerDtmf = false;
    Clock::time_point nextAttempt;
    int retryMs = FirstRetryMs;
    int losses = 0; // how often the server was lost since the start
    EifcConfigBlock config;
    EifcFields fields;
    CtiEventCallback callback;
    bool debug = false;
    uint32_t listening = ~0u; // the CIP mask last listened with
    bool awaitingListen = false;
    uint16_t nextMessageNumber = 0;
    std::array<uint8_t, SendBufferSize + 64> sendBuffer{};

    std::map<uint32_t, Call> calls; // by PLCI; an outgoing call waits under its message number
    uint32_t offered = 0;           // the call whose "D_ConnectPending" the program is deciding on now
    uint32_t programCall = 0;       // the call the program follows
};

// ---------------------------------------------------------------------------------------------------
// The program's side

CapiLink::CapiLink(CapiServer server, std::shared_ptr<voice::AudioDevice> audio)
    : m_core(std::make_shared<Core>(std::move(server), std::move(audio))) {}

CapiLink::~CapiLink() {
    cti_Exit();
}

void CapiLink::Core::post(std::function<void()> command) {
    commands.push_back(std::move(command));
    const uint64_t one = 1;
    if (wakeFd >= 0)
        (void)::write(wakeFd, &one, sizeof one);
}

int32_t CapiLink::cti_Init() {
    Core& c = *m_core;
    std::unique_lock lock(c.mutex);
    if (c.thread.joinable() && c.initDone) {
        if (c.initResult > 0)
            return c.initResult;
        // The last start found no server, and its thread ends by itself: this start asks again (a router
        // may still be starting up).
        c.changed.wait(lock, [&c] { return c.finished; });
        lock.unlock();
        c.thread.join();
        lock.lock();
        ::close(c.wakeFd);
        c.wakeFd = -1;
    }
    // A start whose thread still waits for the server's first answer is waited for again, without a
    // second thread beside it.
    if (!c.thread.joinable()) {
        c.stopping = c.finished = c.initDone = false;
        c.wakeFd = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
        c.thread = std::thread([core = m_core] { core->run(); });
    }
    const bool answered =
        c.changed.wait_for(lock, std::chrono::milliseconds(StartTimeoutMs), [&c] { return c.initDone; });
    if (!answered) {
        c.lastError = QStringLiteral("The CAPI server (%1) did not answer within %2 seconds.")
                          .arg(c.server.describe())
                          .arg(StartTimeoutMs / 1000);
        return Failed(NotInstalled);
    }
    return c.initResult;
}

int32_t CapiLink::cti_Exit() {
    Core& c = *m_core;
    std::unique_lock lock(c.mutex);
    if (!c.thread.joinable())
        return 0;
    c.stopping = true;
    c.post([] {});
    // A thread that hangs in connecting to an unreachable server is left to finish on its own; it holds
    // its share of the state.
    if (c.changed.wait_for(lock, std::chrono::seconds(3), [&c] { return c.finished; })) {
        lock.unlock();
        c.thread.join();
        ::close(c.wakeFd);
        c.wakeFd = -1;
        return 0;
    }
    c.thread.detach();
    return Failed(0x1007);
}

int32_t CapiLink::cti_Register(const EifcConfigBlock& config, const FdWaveConfigBlock&,
                               CtiEventCallback callback) {
    Core& c = *m_core;
    std::unique_lock lock(c.mutex);
    if (!c.initDone || c.initResult <= 0)
        return Failed(NotInstalled);
    if (c.channelRegistered && c.registerDone)
        return Failed(WrongState);
    // A registration that still waits for the server's answer is waited for again; a failed one (or
    // none yet) is asked anew.
    if (!c.channelRegistered) {
        c.config = config;
        c.fields = config.decode();
        c.debug = c.fields.DebugEnable != 0;
        c.callback = std::move(callback);
        c.registerDone = false;
        c.post([core = m_core.get()] {
            core->channelRegistered = true;
            core->nextAttempt = Clock::now();
        });
    }
    const bool answered =
        c.changed.wait_for(lock, std::chrono::milliseconds(StartTimeoutMs), [&c] { return c.registerDone; });
    if (!answered) {
        c.lastError = QStringLiteral("The CAPI server (%1) did not answer the registration within %2 "
                                     "seconds.")
                          .arg(c.server.describe())
                          .arg(StartTimeoutMs / 1000);
        return Failed(0x1008);
    }
    return c.registerResult;
}

int32_t CapiLink::cti_Release(int32_t id) {
    Core& c = *m_core;
    std::lock_guard lock(c.mutex);
    if (id != ChannelId || !c.channelRegistered)
        return Failed(IllegalApplication);
    c.post([core = m_core.get()] {
        core->channelRegistered = false;
        core->releaseApplication(false);
    });
    return 0;
}

int32_t CapiLink::cti_IcaSetConfig(int32_t id, const EifcConfigBlock& config) {
    Core& c = *m_core;
    std::lock_guard lock(c.mutex);
    if (!c.registered(id))
        return Failed(IllegalApplication);
    c.config = config;
    c.fields = config.decode();
    c.debug = c.fields.DebugEnable != 0;
    c.post([core = m_core.get()] { core->listen(); });
    return 0;
}

int32_t CapiLink::cti_IcaGetConfig(int32_t id, EifcConfigBlock& config) {
    Core& c = *m_core;
    std::lock_guard lock(c.mutex);
    if (id != ChannelId || !c.channelRegistered)
        return Failed(IllegalApplication);
    config = c.config;
    return 0;
}

int32_t CapiLink::cti_IcaSetAlert(int32_t id, int32_t alert) {
    Core& c = *m_core;
    std::lock_guard lock(c.mutex);
    if (!c.registered(id))
        return Failed(IllegalApplication);
    auto it = c.calls.find(c.offered);
    if (it == c.calls.end() || it->second.phase != Core::Phase::Offered)
        return Failed(WrongState);
    Core::Call& call = it->second;
    c.offered = 0;
    // The program follows one call. An offer while its own call is up or being dialled is left to
    // other devices, whatever the program answered: it never takes that call's place.
    const bool busy = c.programCallLocked() != nullptr;
    if (busy)
        alert = 0;
    call.phase = alert ? Core::Phase::Alerting : Core::Phase::Ignored;
    if (alert)
        c.programCall = call.plci;
    const uint32_t plci = call.plci;
    c.post([core = m_core.get(), plci, alert] {
        if (alert) {
            core->send(MessageWriter(uint16_t(core->applId), Alert, Req, core->nextNumber(), plci)
                           .structure({}) // additional info
                           .finish());
        } else {
            // Reject 1: the call is ignored, and another device on the bus may take it.
            core->sendConnectResponse(plci, 1);
        }
    });
    return busy ? Failed(WrongState) : 0;
}

int32_t CapiLink::cti_AnswerCall(int32_t id, int32_t callHandle) {
    Core& c = *m_core;
    std::lock_guard lock(c.mutex);
    if (!c.registered(id))
        return Failed(IllegalApplication);
    auto it = c.calls.find(uint32_t(callHandle));
    if (it == c.calls.end() || it->second.phase != Core::Phase::Alerting)
        return Failed(WrongState);
    it->second.phase = Core::Phase::Answering;
    const uint32_t plci = it->second.plci;
    c.post([core = m_core.get(), plci] { core->sendConnectResponse(plci, 0); });
    return 0;
}

int32_t CapiLink::cti_Connect(int32_t id) {
    Core& c = *m_core;
    std::lock_guard lock(c.mutex);
    if (!c.registered(id))
        return Failed(IllegalApplication);
    if (c.applId == 0)
        return Failed(NotInstalled); // the server is away; the library is reaching for it again
    if (c.programCallLocked())
        return Failed(WrongState);
    if (c.fields.CalledNumber.isEmpty())
        return Failed(IllegalParameter);
    Core::Call call;
    call.incoming = false;
    call.phase = Core::Phase::Dialling;
    call.called = c.fields.CalledNumber;
    call.calling = c.fields.CallingNumber;
    // The call waits under its message number until CONNECT_CONF gives it its PLCI.
    const uint16_t number = c.nextNumber();
    call.plci = 0x80000000u | number;
    c.calls[call.plci] = call;
    c.programCall = call.plci;
    const EifcFields f = c.fields;
    c.post([core = m_core.get(), number, f] {
        // Only digits name an own number; anything else ("*", any MSN) leaves the choice to the
        // network, which then shows the line's main number.
        Bytes calling;
        const bool digits = std::all_of(f.CallingNumber.begin(), f.CallingNumber.end(),
                                        [](char ch) { return ch >= '0' && ch <= '9'; });
        if (!f.CallingNumber.isEmpty() && digits)
            calling =
                char(f.CallingNumberType) + QByteArray(1, char(f.CallingPresentation)) + f.CallingNumber;
        core->send(MessageWriter(uint16_t(core->applId), Connect, Req, number, 1)
                       .word(outgoingCip(uint32_t(f.CipOut)))
                       .structure(encodeCalledNumber(f.CalledNumber, f.CalledNumberType))
                       .structure(calling)
                       .structure({}) // called subaddress
                       .structure({}) // calling subaddress
                       .structure(encodeBProtocol(uint16_t(f.B1Protocol), uint16_t(f.B2Protocol),
                                                  uint16_t(f.B3Protocol)))
                       .structure({}) // BC
                       .structure({}) // LLC
                       .structure({}) // HLC
                       .structure({}) // additional info
                       .finish());
    });
    return 0;
}

int32_t CapiLink::cti_Disconnect(int32_t id) {
    Core& c = *m_core;
    std::lock_guard lock(c.mutex);
    if (!c.registered(id))
        return Failed(IllegalApplication);
    Core::Call* call = c.programCallLocked();
    if (!call || call->phase == Core::Phase::Clearing)
        return Failed(WrongState);
    const uint32_t plci = call->plci;
    if (call->phase == Core::Phase::Dialling) {
        // Cleared as soon as the exchange names the call.
        call->disconnectWanted = true;
        return 0;
    }
    const bool ringing = call->phase == Core::Phase::Alerting;
    call->phase = Core::Phase::Clearing;
    c.post([core = m_core.get(), plci, ringing] {
        if (ringing) {
            // A call that rings here and is hung up is rejected with "normal call clearing".
            core->sendConnectResponse(plci, 2);
        } else {
            core->disconnect(plci);
        }
    });
    return 0;
}

namespace {
QString filePath(const QByteArray& path) {
    return QFile::decodeName(path);
}
} // namespace

namespace {
// The voice requests: on a registered channel, under the lock.
template <typename F> int32_t voiceRequest(CapiLink::Core& c, int32_t id, F&& f) {
    std::lock_guard lock(c.mutex);
    if (!c.registered(id))
        return Failed(IllegalApplication);
    return f(c);
}
} // namespace

int32_t CapiLink::cti_SndOutFileStart(int32_t id, const QByteArray& path) {
    return voiceRequest(*m_core, id, [&path](Core& c) {
        QString error;
        return c.voice.startFileOut(filePath(path), &error) ? 0 : c.fileRefused(error);
    });
}

int32_t CapiLink::cti_SndOutFileStop(int32_t id) {
    return voiceRequest(*m_core, id, [](Core& c) {
        if (const auto played = c.voice.stopFileOut())
            c.raiseFileOut(*played, 1);
        return 0;
    });
}

int32_t CapiLink::cti_SndInFileStart(int32_t id, const QByteArray& path, int16_t waveFormat) {
    return voiceRequest(*m_core, id, [&path, waveFormat](Core& c) {
        QString error;
        return c.voice.startFileIn(filePath(path), waveFormat, &error) ? 0 : c.fileRefused(error);
    });
}

int32_t CapiLink::cti_SndInFileStop(int32_t id) {
    return voiceRequest(*m_core, id, [](Core& c) {
        if (const auto recorded = c.voice.stopFileIn())
            c.raiseFileIn(*recorded);
        return 0;
    });
}

int32_t CapiLink::cti_SndOutStart(int32_t id) {
    return voiceRequest(*m_core, id, [](Core& c) {
        c.voice.setPlayback(true);
        return 0;
    });
}
int32_t CapiLink::cti_SndOutStop(int32_t id) {
    return voiceRequest(*m_core, id, [](Core& c) {
        c.voice.setPlayback(false);
        return 0;
    });
}
int32_t CapiLink::cti_SndInStart(int32_t id) {
    return voiceRequest(*m_core, id, [](Core& c) {
        c.voice.setCapture(true);
        return 0;
    });
}
int32_t CapiLink::cti_SndInStop(int32_t id) {
    return voiceRequest(*m_core, id, [](Core& c) {
        c.voice.setCapture(false);
        return 0;
    });
}

int32_t CapiLink::cti_GetCapiProfile(int32_t id, int32_t& value1, int32_t& value2) {
    Core& c = *m_core;
    std::lock_guard lock(c.mutex);
    if (!c.registered(id))
        return Failed(IllegalApplication);
    value1 = c.controllers;
    value2 = c.controllerDtmf ? 1 : 0;
    return 0;
}

int32_t CapiLink::cti_SetDebugFlag(int32_t flag) {
    std::lock_guard lock(m_core->mutex);
    m_core->debug = flag != 0;
    return 0;
}

CtiLinkState CapiLink::linkState() const {
    const Core& c = *m_core;
    std::lock_guard lock(c.mutex);
    CtiLinkState state;
    state.server = c.server.name();
    state.losses = c.losses;
    if (!c.channelRegistered || !c.registerDone) {
        state.kind = CtiLinkState::Unavailable;
    } else if (c.applId != 0 && !c.awaitingListen) {
        state.kind = CtiLinkState::Ready;
    } else {
        state.kind = CtiLinkState::Lost;
        const auto wait =
            std::chrono::duration_cast<std::chrono::milliseconds>(c.nextAttempt - Clock::now()).count();
        state.retryInSeconds = wait > 0 ? int((wait + 999) / 1000) : 0;
    }
    return state;
}

QString CapiLink::lastError() const {
    std::lock_guard lock(m_core->mutex);
    return m_core->lastError;
}

// ---------------------------------------------------------------------------------------------------
// The line's thread

void CapiLink::Core::run() {
    chooseServer(server);
    const unsigned installed = capi20_isinstalled();
    {
        std::lock_guard lock(mutex);
        initDone = true;
        if (installed == 0) {
            initResult = 1;
        } else {
            initResult = Failed(uint16_t(installed));
            lastError = QStringLiteral("No CAPI server answered (%1, CAPI info %2).")
                            .arg(server.describe(), hex(installed));
        }
        changed.notify_all();
    }
    std::unique_lock lock(mutex);
    while (initResult > 0 && !stopping) {
        while (!commands.empty()) {
            auto command = std::move(commands.front());
            commands.pop_front();
            command();
        }
        deliver(lock);
        if (!commands.empty())
            continue;
        if (channelRegistered && applId == 0 && Clock::now() >= nextAttempt)
            registerApplication(lock);

        int timeout = -1;
        if (channelRegistered && applId == 0)
            timeout = int(
                std::chrono::duration_cast<std::chrono::milliseconds>(nextAttempt - Clock::now()).count());
        pollfd fds[2] = {{wakeFd, POLLIN, 0}, {capiFd, POLLIN, 0}};
        const nfds_t count = capiFd >= 0 ? 2 : 1;
        lock.unlock();
        ::poll(fds, count, timeout < 0 ? -1 : std::max(timeout, 0));
        uint64_t drained;
        while (::read(wakeFd, &drained, sizeof drained) > 0) {
        }
        lock.lock();
        if (count == 2 && (fds[1].revents & (POLLIN | POLLHUP | POLLERR)) && capiFd >= 0) {
            // A server that has gone leaves the socket readable with nothing to read.
            char probe;
            const ssize_t peeked = ::recv(capiFd, &probe, 1, MSG_PEEK | MSG_DONTWAIT);
            if (peeked == 0 || (peeked < 0 && errno != EAGAIN && errno != EWOULDBLOCK))
                linkLost();
            else
                receive();
        }
    }
    // The program is stopping. Its call is cleared as a hang-up clears it, and the program hears of
    // its end, so that the call is logged; releasing the application then leaves the server clean.
    clearProgramCallAtStop();
    releaseApplication(false);
    deliver(lock);
    finished = true;
    changed.notify_all();
}

void CapiLink::Core::registerApplication(std::unique_lock<std::mutex>& lock) {
    const unsigned maxBlocks = unsigned(std::clamp(fields.MaxBDataBlocks, 2, 7));
    const unsigned maxLength = unsigned(std::clamp(fields.MaxBDataLen, 128, int(MaxBlock)));
    const unsigned logical = unsigned(std::max(fields.MaxLogicalConnections, 1)) + 1;
    unsigned id = 0;
    // Registering opens the connection to a remote server: no lock while it may take its time.
    lock.unlock();
    const unsigned result = capi20_register(logical, maxBlocks, maxLength, &id);
    std::array<unsigned char, 64> profile{};
    const unsigned profileResult = result == 0 ? capi20_get_profile(0, profile.data()) : result;
    lock.lock();

    const bool first = !registerDone;
    if (result != 0 || profileResult != 0) {
        if (result == 0)
            capi20_release(id);
        const unsigned info = result != 0 ? result : profileResult;
        if (first) {
            lastError = QStringLiteral("The CAPI server (%1) refused the registration (CAPI info %2).")
                            .arg(server.describe(), hex(info));
            registerResult = Failed(uint16_t(info));
            registerDone = true;
            channelRegistered = false;
            changed.notify_all();
        } else {
            log(QStringLiteral("CAPI server %1 still unreachable (CAPI info %2); next try in %3 s")
                    .arg(server.describe(), hex(info))
                    .arg(retryMs / 1000),
                true);
            nextAttempt = Clock::now() + std::chrono::milliseconds(retryMs);
            retryMs = std::min(retryMs * 2, LastRetryMs);
        }
        return;
    }
    applId = id;
    capiFd = capi20_fileno(id);
    if (capiFd >= 0) {
        // On a connection to a remote server, every message goes out at once: Nagle's wait for the
        // server's delayed acknowledgement would hold voice blocks back by tens of milliseconds.
        const int one = 1;
        ::setsockopt(capiFd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    }
    controllers = profile[0] | (profile[1] << 8);
    retryMs = FirstRetryMs;
    listening = ~0u;
    for (int ctrl = 1; ctrl <= controllers; ++ctrl) {
        std::array<unsigned char, 64> manufacturer{};
        std::array<unsigned char, 64> version{};
        std::array<unsigned char, 64> ctrlProfile{};
        capi20_get_manufacturer(unsigned(ctrl), manufacturer.data());
        capi20_get_version(unsigned(ctrl), version.data());
        capi20_get_profile(unsigned(ctrl), ctrlProfile.data());
        const int bChannels = ctrlProfile[2] | (ctrlProfile[3] << 8);
        const uint32_t options = uint32_t(ctrlProfile[4]) | (uint32_t(ctrlProfile[5]) << 8);
        if (ctrl == 1)
            controllerDtmf = options & 0x08;
        manufacturer.back() = 0;
        log(QStringLiteral(
                "Controller %1: %2, CAPI %3.%4, manufacturer version %5.%6, %7 B channels, DTMF %8 "
                "(server %9)")
                .arg(ctrl)
                .arg(QString::fromLatin1(reinterpret_cast<const char*>(manufacturer.data())))
                .arg(version[0])
                .arg(version[4])
                .arg(version[8])
                .arg(version[12])
                .arg(bChannels)
                .arg(QLatin1String(options & 0x08 ? "by the controller" : "detected in the audio"))
                .arg(server.describe()),
            true);
    }
    if (controllers == 0) {
        // A server without a controller can take no call: as good as none.
        const QString text =
            QStringLiteral("The CAPI server (%1) has no ISDN controller.").arg(server.describe());
        capi20_release(applId);
        applId = 0;
        capiFd = -1;
        if (first) {
            lastError = text;
            registerResult = Failed(IllegalIdentifier);
            registerDone = true;
            channelRegistered = false;
            changed.notify_all();
        } else {
            // Back from a loss without a controller: tried again later, like a server that is away.
            log(text, true);
            nextAttempt = Clock::now() + std::chrono::milliseconds(retryMs);
            retryMs = std::min(retryMs * 2, LastRetryMs);
        }
        return;
    }
    // The channel counts as registered once the controllers listen: the LISTEN_CONF finishes it.
    awaitingListen = true;
    listen();
}

void CapiLink::Core::listenConfirmed(uint16_t info) {
    if (info != 0)
        log(QStringLiteral("LISTEN refused: info %1").arg(hex(info)), true);
    if (!awaitingListen)
        return;
    awaitingListen = false;
    if (registerDone) {
        log(QStringLiteral("CAPI server %1 is back; listening again").arg(server.describe()), true);
        return;
    }
    registerResult = info == 0 ? ChannelId : Failed(info);
    if (info != 0)
        lastError = QStringLiteral("The CAPI server (%1) refused to take calls for Morva (CAPI info %2).")
                        .arg(server.describe(), hex(info));
    registerDone = true;
    channelRegistered = info == 0;
    changed.notify_all();
}

void CapiLink::Core::releaseApplication(bool endCalls) {
    if (applId == 0)
        return;
    for (auto& [plci, call] : calls)
        if (endCalls && plci == programCall)
            endCall(call, ReasonLinkLost);
    voice.reset();
    calls.clear();
    offered = programCall = 0;
    capi20_release(applId);
    applId = 0;
    capiFd = -1;
}

void CapiLink::Core::clearProgramCallAtStop() {
    auto it = calls.find(programCall);
    if (applId == 0 || it == calls.end())
        return;
    Call& call = it->second;
    switch (call.phase) {
    case Phase::Alerting:
        sendConnectResponse(call.plci, 2);
        break;
    case Phase::Dialling: // not named by the exchange yet: the release clears it
    case Phase::Clearing: // its clearing is on its way
        break;
    default:
        disconnect(call.plci);
        break;
    }
    endCall(call, NormalClearing);
    calls.erase(it);
    programCall = 0;
}

void CapiLink::Core::linkLost() {
    const QString text =
        QStringLiteral("Connection to the CAPI server %1 lost; reconnecting").arg(server.describe());
    log(text, true);
    raiseError(Failed(ReasonLinkLost), text);
    releaseApplication(true);
    ++losses;
    nextAttempt = Clock::now() + std::chrono::milliseconds(retryMs);
}

void CapiLink::Core::listen() {
    if (applId == 0)
        return;
    // The program's mask names 3.1 kHz audio and telephony. Speech (CIP 1) is added: many exchanges and
    // private branch exchanges signal a call from an analogue telephone as speech, and such a call is
    // a voice call like the others; without it the program would miss it without a trace.
    uint32_t mask = 0;
    if (fields.Listen != 0) {
        mask = uint32_t(fields.CipMask);
        if (mask & (cipBit(CipAudio31) | cipBit(CipTelephony)))
            mask |= cipBit(CipSpeech);
    }
    if (mask == listening)
        return;
    listening = mask;
    for (int ctrl = 1; ctrl <= controllers; ++ctrl)
        send(MessageWriter(uint16_t(applId), Listen, Req, nextNumber(), uint32_t(ctrl))
                 .dword(0) // info mask
                 .dword(mask)
                 .dword(uint32_t(fields.CipMask2))
                 .structure({})
                 .structure({})
                 .finish());
}

void CapiLink::Core::send(const QByteArray& message) {
    if (applId == 0 || std::size_t(message.size()) > sendBuffer.size())
        return;
    std::memcpy(sendBuffer.data(), message.constData(), std::size_t(message.size()));
    if (debug) {
        MessageReader m(message);
        log(QStringLiteral("> %1/%2 %3").arg(hex(m.command()), hex(m.subcommand()), hex(m.address())));
    }
    const unsigned result = capi20_put_message(applId, sendBuffer.data());
    if (result != 0)
        log(QStringLiteral("CAPI_PUT_MESSAGE %1/%2 failed: %3")
                .arg(hex(uint8_t(message[4])), hex(uint8_t(message[5])), hex(result)),
            true);
}

void CapiLink::Core::sendConnectResponse(uint32_t plci, uint16_t reject) {
    const auto it = calls.find(plci);
    const uint16_t number = it == calls.end() ? 0 : it->second.indication;
    send(MessageWriter(uint16_t(applId), Connect, Resp, number, plci)
             .word(reject)
             .structure(encodeBProtocol(uint16_t(fields.B1Protocol), uint16_t(fields.B2Protocol),
                                        uint16_t(fields.B3Protocol)))
             .structure({}) // connected number
             .structure({}) // connected subaddress
             .structure({}) // LLC
             .structure({}) // additional info
             .finish());
}

void CapiLink::Core::disconnect(uint32_t plci) {
    send(MessageWriter(uint16_t(applId), Disconnect, Req, nextNumber(), plci).structure({}).finish());
}

void CapiLink::Core::startDtmfDetection() {
    voice.setDtmfDetection([this](char digit) { raiseDigit(digit); });
}

void CapiLink::Core::respond(MessageReader& m) {
    send(MessageWriter(uint16_t(applId), m.command(), Resp, m.number(), m.address()).finish());
}

void CapiLink::Core::receive() {
    // libcapi20 reads one message from the socket per call and blocks while its bytes are still on the
    // way; after the first, a further one is taken only when capi20_waitformessage sees it waiting.
    for (int taken = 0; taken < 32 && applId != 0; ++taken) {
        if (taken > 0) {
            timeval now{0, 0};
            if (capi20_waitformessage(applId, &now) != 0)
                return;
        }
        unsigned char* raw = nullptr;
        if (capi20_get_message(applId, &raw) != 0 || raw == nullptr)
            return;
        const std::size_t size = raw[0] | (raw[1] << 8);
        MessageReader m(raw, size);
        if (!m.ok()) {
            log(QStringLiteral("Malformed CAPI message dropped (%1 bytes)").arg(size), true);
            continue;
        }
        if (debug)
            log(QStringLiteral("< %1/%2 %3").arg(hex(m.command()), hex(m.subcommand()), hex(m.address())));
        handle(m, raw);
    }
}

void CapiLink::Core::handle(MessageReader& m, const uint8_t* raw) {
    const uint16_t command = uint16_t(m.command() << 8 | m.subcommand());
    auto callOf = [this](uint32_t address) -> Call* {
        auto it = calls.find(address & 0xffff);
        return it == calls.end() ? nullptr : &it->second;
    };
    switch (command) {
    case Connect << 8 | Ind:
        onConnectInd(m);
        return;
    case Connect << 8 | Conf:
        onConnectConf(m);
        return;
    case ConnectActive << 8 | Ind:
        respond(m);
        if (Call* call = callOf(m.address()); call && !call->incoming)
            send(MessageWriter(uint16_t(applId), ConnectB3, Req, nextNumber(), call->plci)
                     .structure({})
                     .finish());
        return;
    case ConnectB3 << 8 | Ind:
        if (Call* call = callOf(m.address()))
            call->ncci = m.address();
        send(MessageWriter(uint16_t(applId), ConnectB3, Resp, m.number(), m.address())
                 .word(0)
                 .structure({})
                 .finish());
        return;
    case ConnectB3 << 8 | Conf: {
        const uint16_t info = m.word();
        Call* call = callOf(m.address());
        if (call && info == 0)
            call->ncci = m.address();
        else if (call)
            disconnect(call->plci);
        return;
    }
    case ConnectB3Active << 8 | Ind:
        respond(m);
        onB3Active(m);
        return;
    case DataB3 << 8 | Ind:
        onDataInd(m, raw);
        return;
    case DataB3 << 8 | Conf:
        if (Call* call = callOf(m.address()); call && call->unconfirmed > 0) {
            --call->unconfirmed;
            sendOwedBlocks(*call);
        }
        return;
    case DisconnectB3 << 8 | Ind:
        respond(m);
        if (Call* call = callOf(m.address()))
            call->ncci = 0;
        return;
    case Disconnect << 8 | Ind:
        onDisconnectInd(m);
        return;
    case Facility << 8 | Conf:
    case Facility << 8 | Ind:
        onFacility(m);
        return;
    case Listen << 8 | Conf:
        listenConfirmed(m.word());
        return;
    case Alert << 8 | Conf:
    case Disconnect << 8 | Conf:
    case DisconnectB3 << 8 | Conf: {
        const uint16_t info = m.word();
        // ALERT_CONF 0x0003: another application alerted first; the call rings all the same.
        if (info != 0 && info != 0x0003)
            log(QStringLiteral("CAPI %1/%2 for %3: info %4")
                    .arg(hex(m.command()), hex(m.subcommand()), hex(m.address()), hex(info)),
                true);
        return;
    }
    default:
        // An indication nobody here needs is answered all the same, as CAPI wants every one answered.
        if (m.subcommand() == Ind)
            respond(m);
        return;
    }
}

void CapiLink::Core::onConnectInd(MessageReader& m) {
    const uint16_t cip = m.word();
    const QByteArray called = decodeCalledNumber(m.structure());
    const PartyNumber calling = decodeCallingNumber(m.structure());
    if (!m.ok()) {
        log(QStringLiteral("Malformed CONNECT_IND dropped"), true);
        return;
    }
    Call call;
    call.plci = m.address();
    call.indication = m.number();
    call.incoming = true;
    call.called = called;
    // The program puts the "0" ahead of a national number itself; an international one gets its "00"
    // here, since the program knows no flag for it.
    call.calling = calling.type == PartyNumber::International && !calling.digits.isEmpty()
                       ? "00" + calling.digits
                       : calling.digits;
    call.callingFlags = calling.type == PartyNumber::National ? CtiEvent::CallingNational : 0;
    calls[call.plci] = call;
    log(QStringLiteral("Incoming call %1 from %2 to %3, CIP %4")
            .arg(hex(call.plci), QString::fromLatin1(call.calling), QString::fromLatin1(called))
            .arg(cip));
    raiseCallState(call, StatePending);
}

void CapiLink::Core::onConnectConf(MessageReader& m) {
    const uint16_t info = m.word();
    auto it = calls.find(0x80000000u | m.number());
    if (it == calls.end())
        return;
    Call call = it->second;
    calls.erase(it);
    if (info != 0) {
        // The exchange did not take the call at all: the program sees it begin and end.
        raiseCallState(call, StatePending);
        endCall(call, info);
        if (programCall == call.plci)
            programCall = 0;
        return;
    }
    const uint32_t waiting = call.plci;
    call.plci = m.address();
    call.phase = Phase::Connecting;
    calls[call.plci] = call;
    if (programCall == waiting)
        programCall = call.plci;
    raiseCallState(call, StatePending);
    if (call.disconnectWanted) {
        calls[call.plci].phase = Phase::Clearing;
        disconnect(call.plci);
    }
}

void CapiLink::Core::onB3Active(MessageReader& m) {
    auto it = calls.find(m.address() & 0xffff);
    if (it == calls.end())
        return;
    Call& call = it->second;
    call.ncci = m.address();
    call.phase = Phase::Connected;
    call.unconfirmed = 0;
    call.owed = 0;
    raiseCallState(call, StateConnected);
    // Digits from the controller when it can; in the audio otherwise.
    if (controllerDtmf) {
        Bytes parameter;
        parameter.append(char(1)).append(char(0));                 // function 1: start listening
        parameter.append(char(40)).append(char(0));                // tone duration, ms
        parameter.append(char(40)).append(char(0));                // gap duration, ms
        parameter.append(char(0));                                 // no digits to send
        parameter.append(char(2)).append(char(0)).append(char(0)); // characteristics
        send(MessageWriter(uint16_t(applId), Facility, Req, nextNumber(), call.plci)
                 .word(FacilityDtmf)
                 .structure(parameter)
                 .finish());
    } else {
        startDtmfDetection();
    }
}

void CapiLink::Core::onFacility(MessageReader& m) {
    const bool confirmation = m.subcommand() == Conf;
    const uint16_t info = confirmation ? m.word() : 0;
    const uint16_t selector = m.word();
    const Bytes parameter = m.structure();
    if (!confirmation)
        send(MessageWriter(uint16_t(applId), Facility, Resp, m.number(), m.address())
                 .word(selector)
                 .structure({})
                 .finish());
    if (selector != FacilityDtmf || !m.ok())
        return;
    if (confirmation) {
        // A controller that cannot listen for digits leaves them to the detector in the audio. The
        // detector runs only then: with both, every digit would arrive twice.
        const bool refused = info != 0 || (parameter.size() >= 2 && (parameter[0] != 0 || parameter[1] != 0));
        if (refused && !voice.dtmfDetection()) {
            log(QStringLiteral("DTMF by the controller refused (info %1); detecting digits in the audio")
                    .arg(hex(info)),
                true);
            startDtmfDetection();
        }
        return;
    }
    for (char digit : parameter)
        raiseDigit(digit);
}

void CapiLink::Core::onDataInd(MessageReader& m, const uint8_t* raw) {
    const uint32_t data32 = m.dword();
    const uint16_t length = m.word();
    const uint16_t handle = m.word();
    (void)data32;
    // libcapi20 hands the payload over in its own buffer: a 64-bit pointer at the end of a 30-byte
    // message, or the bytes behind a shorter one.
    const uint8_t* payload = raw + m.length();
    if (m.length() >= DataB3ReqSize) {
        m.word(); // flags
        const uint64_t data64 = m.qword();
        if (data64 != 0)
            payload = reinterpret_cast<const uint8_t*>(uintptr_t(data64));
    }
    auto it = calls.find(m.address() & 0xffff);
    if (it != calls.end() && it->second.phase == Phase::Connected && m.ok()) {
        voice.takeIncoming(payload, length);
        send(MessageWriter(uint16_t(applId), DataB3, Resp, m.number(), m.address()).word(handle).finish());
        // The line's clock paces what goes out: a block out for every block in, held back while the
        // window is full and sent as confirmations free it.
        Call& call = it->second;
        call.owed = std::min(call.owed + 1, MaxOwedBlocks);
        call.blockLength = length;
        sendOwedBlocks(call);
        return;
    }
    send(MessageWriter(uint16_t(applId), DataB3, Resp, m.number(), m.address()).word(handle).finish());
}

void CapiLink::Core::sendOwedBlocks(Call& call) {
    const std::size_t length =
        std::min(call.blockLength, std::size_t(std::clamp(fields.MaxBDataLen, 128, int(MaxBlock))));
    while (call.owed > 0 && call.unconfirmed < MaxUnconfirmedBlocks && call.phase == Phase::Connected &&
           length > 0) {
        --call.owed;
        std::array<uint8_t, MaxBlock> block;
        const auto end = voice.fillOutgoing(block.data(), length);
        QByteArray message = MessageWriter(uint16_t(applId), DataB3, Req, nextNumber(), call.ncci)
                                 .dword(0)
                                 .word(uint16_t(length))
                                 .word(nextMessageNumber) // the handle
                                 .word(0)
                                 .qword(0) // the payload follows the message
                                 .finish();
        message.append(reinterpret_cast<const char*>(block.data()), qsizetype(length));
        ++call.unconfirmed;
        send(message);
        if (end)
            raiseFileOut(end->samplesPlayed, 0);
    }
}

void CapiLink::Core::onDisconnectInd(MessageReader& m) {
    const uint16_t reason = m.word();
    respond(m);
    auto it = calls.find(m.address() & 0xffff);
    if (it == calls.end())
        return;
    Call call = it->second;
    calls.erase(it);
    if (offered == call.plci)
        offered = 0;
    log(QStringLiteral("Call %1 ended: %2").arg(hex(call.plci), hex(reason)));
    endCall(call, reason);
    if (programCall == call.plci)
        programCall = 0;
}

void CapiLink::Core::endCall(Call& call, int32_t reason) {
    if (call.plci == programCall)
        voice.reset();
    raiseCallState(call, StateDisconnected, reason);
}

void CapiLink::Core::raiseCallState(const Call& call, const char* state, int32_t reason) {
    CtiEvent event;
    event.setType(CtiEvent::CallState);
    event.setXcId(ChannelId);
    event.setCallHandle(int32_t(call.plci));
    event.setCalledNumber(call.called);
    event.setCallingNumber(call.calling);
    event.setCallingFlags(call.callingFlags);
    event.setDirection(call.incoming ? 1 : 2);
    event.setStateName(state);
    event.setReason(reason);
    pending.push_back(event);
}

void CapiLink::Core::raiseDigit(char digit) {
    CtiEvent event;
    event.setType(CtiEvent::Dtmf);
    event.setXcId(ChannelId);
    event.setDtmfDigit(digit);
    pending.push_back(event);
}

void CapiLink::Core::raiseError(int32_t number, const QString& text) {
    CtiEvent event;
    event.setType(CtiEvent::LibraryError);
    event.setXcId(ChannelId);
    event.setErrorNumber(number);
    event.setErrorText(text.toLocal8Bit());
    pending.push_back(event);
    post([] {});
}

void CapiLink::Core::raiseFileIn(int32_t samples) {
    CtiEvent event;
    event.setType(CtiEvent::FileIn);
    event.setXcId(ChannelId);
    cti::writeLe32(event.bytes.data(), CtiEvent::FileInReport, samples);
    pending.push_back(event);
    post([] {});
}

int32_t CapiLink::Core::fileRefused(const QString& error) {
    log(error, true);
    raiseError(Failed(IllegalParameter), error);
    return Failed(IllegalParameter);
}

void CapiLink::Core::raiseFileOut(int32_t samples, int32_t endValue) {
    CtiEvent event;
    event.setType(CtiEvent::FileOut);
    event.setXcId(ChannelId);
    event.setFileOutValue(0, samples);
    event.setFileOutValue(1, endValue);
    pending.push_back(event);
    post([] {});
}

void CapiLink::Core::deliver(std::unique_lock<std::mutex>& lock) {
    while (!pending.empty()) {
        const CtiEvent event = pending.front();
        pending.erase(pending.begin());
        // The program decides on an offered call from within the callback: the decision belongs to the
        // call of this event, though the server may have offered more calls since.
        const bool offer = event.type() == CtiEvent::CallState && event.direction() == 1 &&
                           event.stateName() == StatePending;
        if (offer)
            offered = uint32_t(event.callHandle());
        const CtiEventCallback target = callback;
        // The program answers some events at once (the alert decision, the next file of a prompt):
        // its requests take the lock and queue their messages, so it is released here.
        lock.unlock();
        if (target)
            target(event);
        lock.lock();
        // What the program asked from within the callback goes out before the next message comes in.
        while (!commands.empty()) {
            auto command = std::move(commands.front());
            commands.pop_front();
            command();
        }
        // An offered call that the program did not decide on is left to other devices.
        if (offer) {
            if (auto it = calls.find(offered); it != calls.end() && it->second.phase == Phase::Offered) {
                it->second.phase = Phase::Ignored;
                sendConnectResponse(it->first, 1);
            }
            offered = 0;
        }
    }
}

void CapiLink::Core::log(const QString& line, bool always) {
    if (!always && !debug)
        return;
    const QString path = QString::fromLocal8Bit(fields.LogFile);
    if (path.isEmpty())
        return;
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text))
        return;
    file.write((QDateTime::currentDateTime().toString(QStringLiteral("dd.MM.yyyy hh:mm:ss.zzz ")) + line +
                QLatin1Char('\n'))
                   .toUtf8());
}
