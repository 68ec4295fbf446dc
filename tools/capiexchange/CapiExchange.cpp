#include "tools/capiexchange/CapiExchange.h"

#include "platform/voice/Dtmf.h"
#include "platform/voice/LineAudio.h"
#include "platform/voice/WaveFiles.h"
#include "tools/capiexchange/ExchangeWire.h"

#include <QStringList>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <thread>

using namespace capi;
using Clock = std::chrono::steady_clock;

namespace {

constexpr uint8_t Controller = 1;
constexpr int BChannels = 2;
constexpr int VoiceBlock = 160; // 20 ms of line bytes
constexpr std::chrono::microseconds VoicePeriod{20000};
constexpr std::size_t LogLimit = 20000;
constexpr uint16_t IllegalParameterCoding = 0x2007;
constexpr uint16_t AlertAlreadySent = 0x0003;
constexpr uint16_t NoCircuit = 0x34A2;
constexpr uint16_t LinkLost = 0x3301;

// The state of a PLCI as one application sees it.
enum class Plci { Offered, Dialling, Connected, Disconnecting };
// The state of the call's one NCCI.
enum class Ncci { None, Incoming, Activating, Active, Disconnecting };

// An indication whose response the exchange waits for.
struct Expected {
    uint8_t command;
    uint32_t address;
    uint16_t number;
    uint16_t handle;
};

// One TCP connection: a registered application, or libcapi20's probe connection (applId 0).
struct App {
    int fd = -1;
    QByteArray in, out;
    uint16_t applId = 0;
    int maxBlocks = 0;
    int maxLength = 0;
    uint32_t cipMask = 0; // 0: not listening
    uint16_t nextNumber = 0;
    std::vector<Expected> expected;
    bool closed = false;
};

struct PendingConf {
    uint16_t number;
    uint16_t handle;
    Clock::time_point due;
};

struct Call {
    ExchangeCall info;
    std::map<uint16_t, Plci> apps; // every application that holds the PLCI
    Ncci ncci = Ncci::None;
    bool disconnectAfterB3 = false; // the application cleared: DISCONNECT_IND follows DISCONNECT_B3_RESP
    uint16_t nextHandle = 0;
    Clock::time_point nextBlock;
    Clock::time_point lineFreeAt;              // when the line has sent what the application gave it
    std::deque<PendingConf> pendingConfs;      // DATA_B3_REQ confirmed when the line takes them
    std::optional<Clock::time_point> giveUpAt; // an unanswered outgoing call
    std::unique_ptr<voice::WaveReader> player;
    std::unique_ptr<voice::WaveWriter> recorder;
    std::unique_ptr<voice::DtmfGenerator> dtmf;

    uint32_t ncciAddress() const { return info.plci | (1u << 16); }
};

using Params = std::function<void(MessageWriter&)>;

QString hex(uint32_t v, int width = 0) {
    return QStringLiteral("0x%1").arg(v, width, 16, QLatin1Char('0'));
}

bool occupiesChannel(const Call& c) {
    return c.info.applId != 0 && c.info.state != ExchangeCall::Ended &&
           c.info.state != ExchangeCall::Clearing;
}

} // namespace

QString callerText(const ExchangeCall& call) {
    if (call.calling.isEmpty())
        return QStringLiteral("(suppressed)");
    const QString digits = QString::fromLatin1(call.calling);
    if (call.callingType == PartyNumber::International)
        return QStringLiteral("00") + digits;
    if (call.callingType == PartyNumber::National)
        return QStringLiteral("0") + digits;
    return digits;
}

QString stateName(ExchangeCall::State state) {
    static const char* const names[] = {"offered",    "not offered", "alerting", "ignored", "dialling",
                                        "connecting", "active",      "clearing", "ended"};
    return QLatin1String(names[state]);
}

struct CapiExchange::State {
    Options options;
    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    uint64_t version = 0;
    int listenFd = -1;
    int wake[2] = {-1, -1};
    uint16_t port = 0;
    std::thread thread;
    bool running = false;
    bool stopping = false;
    bool dropRequested = false;
    std::map<int, std::unique_ptr<App>> apps; // by descriptor
    std::map<int, Call> calls;                // by id
    int lastId = 0;
    Outgoing outgoing = Outgoing::Ring;
    int noAnswerMs = 500;
    bool facilityRefused = false;
    std::vector<QString> violations, log, events;
    std::function<void(const QString&)> handler;

    // ---- bookkeeping; all with the mutex held ----

    void touched() {
        ++version;
        changed.notify_all();
    }
    void wakeUp() const {
        const char c = 1;
        [[maybe_unused]] const auto n = ::write(wake[1], &c, 1);
    }
    void violation(const QString& text) {
        violations.push_back(text);
        events.push_back(QStringLiteral("violation: ") + text);
    }
    void event(const Call& c, const QString& text) {
        events.push_back(QStringLiteral("call %1: %2").arg(c.info.id).arg(text));
    }
    void logLine(const QString& line) {
        if (log.size() < LogLimit)
            log.push_back(line);
    }
    std::chrono::nanoseconds scaled(std::chrono::nanoseconds d) const {
        return std::chrono::nanoseconds(int64_t(double(d.count()) / options.speed));
    }

    App* appById(uint16_t applId) {
        for (auto& [fd, app] : apps)
            if (app->applId == applId && !app->closed)
                return app.get();
        return nullptr;
    }
    Call* callById(int id) {
        const auto it = calls.find(id);
        return it == calls.end() ? nullptr : &it->second;
    }
    // The call whose PLCI (or NCCI) `address` is, among those this application holds.
    Call* callFor(const App& app, uint32_t address) {
        for (auto& [id, c] : calls)
            if (c.info.plci == (address & 0xffff) && c.apps.count(app.applId))
                return &c;
        return nullptr;
    }

    // ---- sending ----

    void flush(App& app) {
        while (!app.out.isEmpty() && !app.closed) {
            const ssize_t n = ::send(app.fd, app.out.constData(), size_t(app.out.size()), MSG_NOSIGNAL);
            if (n > 0) {
                app.out.remove(0, qsizetype(n));
            } else if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
                return;
            } else if (n < 0 && errno == EINTR) {
                continue;
            } else {
                app.closed = true;
            }
        }
    }
    void send(App& app, const QByteArray& message, const QByteArray& payload = {}) {
        MessageReader r(message);
        if (r.command() != DataB3)
            logLine(QStringLiteral("-> %1 appl %2 nr %3 addr %4 %5")
                        .arg(exchange::messageName(r.command(), r.subcommand()))
                        .arg(r.applId())
                        .arg(r.number())
                        .arg(hex(r.address()))
                        .arg(QString::fromLatin1(message.mid(HeaderSize).toHex(' '))));
        if (app.closed)
            return;
        app.out.append(exchange::frame(message, payload));
        flush(app);
    }
    // An indication; the exchange then waits for its response.
    void indicate(App& app, uint8_t command, uint32_t address, const Params& params, uint16_t handle = 0,
                  const QByteArray& payload = {}) {
        const uint16_t number = app.nextNumber;
        app.nextNumber = uint16_t((app.nextNumber + 1) & 0x7fff);
        MessageWriter w(app.applId, command, Ind, number, address);
        params(w);
        app.expected.push_back({command, address, number, handle});
        send(app, w.finish(), payload);
    }
    // The confirmation of `req` with an Info value, laid out as its command needs.
    void confirm(App& app, const MessageReader& req, uint32_t address, uint16_t info, uint16_t handle = 0,
                 uint16_t selector = FacilityDtmf, const QByteArray& facility = {}) {
        MessageWriter w(app.applId, req.command(), Conf, req.number(), address);
        if (req.command() == DataB3)
            w.word(handle);
        w.word(info);
        if (req.command() == Facility)
            w.word(selector).structure(facility);
        send(app, w.finish());
    }
    // A request in the wrong state: Info 0x2001. One that crossed the exchange's clearing is no fault of
    // the application's; any other is a violation.
    void wrongState(App& app, const MessageReader& req, bool crossed, uint16_t handle = 0) {
        confirm(app, req, req.address(), WrongState, handle);
        if (!crossed)
            violation(QStringLiteral("appl %1: %2 for %3 in the wrong state")
                          .arg(app.applId)
                          .arg(exchange::messageName(req.command(), Req), hex(req.address())));
    }
    void unknownIdentifier(App& app, const MessageReader& req, uint16_t handle = 0) {
        confirm(app, req, req.address(), IllegalIdentifier, handle);
        violation(QStringLiteral("appl %1: %2 for unknown %3")
                      .arg(app.applId)
                      .arg(exchange::messageName(req.command(), Req), hex(req.address())));
    }

    // ---- call steps ----

    void disconnectInd(Call& c, App& app, uint16_t reason) {
        c.apps[app.applId] = Plci::Disconnecting;
        indicate(app, Disconnect, c.info.plci, [&](MessageWriter& w) { w.word(reason); });
    }
    void flushConfs(Call& c, App& app) {
        for (const auto& p : c.pendingConfs)
            sendDataConf(c, app, p);
        c.pendingConfs.clear();
    }
    void sendDataConf(Call& c, App& app, const PendingConf& p) {
        MessageWriter w(app.applId, DataB3, Conf, p.number, c.ncciAddress());
        w.word(p.handle).word(NoError);
        send(app, w.finish());
    }
    void disconnectB3Ind(Call& c, App& app) {
        flushConfs(c, app);
        c.ncci = Ncci::Disconnecting;
        indicate(app, DisconnectB3, c.ncciAddress(), [](MessageWriter& w) { w.word(0).structure({}); });
    }
    void releaseMedia(Call& c) {
        c.player.reset();
        c.info.playing = false;
        if (c.recorder)
            c.recorder->close();
        c.recorder.reset();
        c.dtmf.reset();
        c.giveUpAt.reset();
    }
    void endCall(Call& c, uint16_t reason) {
        if (c.info.state == ExchangeCall::Ended)
            return;
        if (c.info.endReason == 0)
            c.info.endReason = reason;
        c.info.state = ExchangeCall::Ended;
        releaseMedia(c);
        event(c, QStringLiteral("ended, reason %1").arg(hex(c.info.endReason, 4)));
    }
    // Clears the call towards every application that holds it, with `reason`.
    void clear(Call& c, uint16_t reason) {
        c.info.endReason = reason;
        c.giveUpAt.reset();
        for (auto& [applId, plci] : c.apps) {
            App* app = appById(applId);
            if (!app || plci == Plci::Disconnecting)
                continue;
            if (applId == c.info.applId && c.ncci != Ncci::None && c.ncci != Ncci::Disconnecting)
                disconnectB3Ind(c, *app);
            disconnectInd(c, *app, reason);
        }
        if (c.apps.empty())
            endCall(c, reason);
        else
            c.info.state = ExchangeCall::Clearing;
    }
    // After an application let go of the call (answered its DISCONNECT_IND, or went away). Its
    // indications on the call that are still unanswered are forgotten with it.
    void left(Call& c, App* app, uint16_t applId) {
        c.apps.erase(applId);
        if (c.info.applId == applId)
            c.info.applId = 0;
        if (app)
            std::erase_if(app->expected,
                          [&](const Expected& e) { return (e.address & 0xffff) == c.info.plci; });
        if (c.info.state == ExchangeCall::Clearing && c.apps.empty())
            endCall(c, c.info.endReason);
        else
            recount(c);
    }
    // An offered call that no application may take any more rings on at the far end.
    void recount(Call& c) {
        const bool anyOffered = std::any_of(c.apps.begin(), c.apps.end(),
                                            [](const auto& a) { return a.second == Plci::Offered; });
        if ((c.info.state == ExchangeCall::Offered || c.info.state == ExchangeCall::Alerting) &&
            !anyOffered && c.info.applId == 0) {
            c.info.state = ExchangeCall::Ignored;
            event(c, QStringLiteral("ignored by every application; the caller rings on"));
        }
    }
    void connectActiveInd(Call& c, App& app) {
        c.apps[app.applId] = Plci::Connected;
        c.info.state = ExchangeCall::Connecting;
        const Bytes connected =
            c.info.incoming
                ? Bytes()
                : encodeCallingNumber({c.info.called, PartyNumber::Unknown, PartyNumber::Allowed});
        indicate(app, ConnectActive, c.info.plci,
                 [&](MessageWriter& w) { w.structure(connected).structure({}).structure({}); });
    }
    void b3Active(Call& c, App& app) {
        c.ncci = Ncci::Activating;
        indicate(app, ConnectB3Active, c.ncciAddress(), [](MessageWriter& w) { w.structure({}); });
    }

    // ---- messages from the applications ----

    void frameFrom(App& app, const QByteArray& frame) {
        if (frame.size() < HeaderSize) {
            violation(QStringLiteral("frame of %1 bytes, shorter than a message header").arg(frame.size()));
            return;
        }
        MessageReader r(frame);
        if (!r.ok()) {
            violation(QStringLiteral("frame whose message length does not fit it: %1")
                          .arg(QString::fromLatin1(frame.left(16).toHex(' '))));
            return;
        }
        if (r.command() == exchange::ManagementCommand && r.subcommand() == exchange::ManagementRequest) {
            management(app, frame);
            return;
        }
        if (app.applId == 0) {
            violation(QStringLiteral("%1 on a connection that did not register")
                          .arg(exchange::messageName(r.command(), r.subcommand())));
            return;
        }
        if (r.applId() != app.applId) {
            violation(QStringLiteral("%1 with ApplID %2 on the connection of appl %3")
                          .arg(exchange::messageName(r.command(), r.subcommand()))
                          .arg(r.applId())
                          .arg(app.applId));
            return;
        }
        const QByteArray payload = frame.mid(r.length());
        if (r.command() != DataB3)
            logLine(QStringLiteral("<- %1 appl %2 nr %3 addr %4 %5")
                        .arg(exchange::messageName(r.command(), r.subcommand()))
                        .arg(r.applId())
                        .arg(r.number())
                        .arg(hex(r.address()))
                        .arg(QString::fromLatin1(frame.mid(HeaderSize, r.length() - HeaderSize).toHex(' '))));
        if (r.subcommand() == Req)
            request(app, r, payload);
        else if (r.subcommand() == Resp)
            response(app, r);
        else
            violation(QStringLiteral("appl %1 sent %2")
                          .arg(app.applId)
                          .arg(exchange::messageName(r.command(), r.subcommand())));
    }

    void management(App& app, const QByteArray& frame) {
        const auto byteAt = [&](int i) {
            return i < frame.size() ? uint8_t(frame[i]) : uint8_t(0);
        };
        const auto wordAt = [&](int i) {
            return uint16_t(byteAt(i) | (byteAt(i + 1) << 8));
        };
        const uint8_t selector = byteAt(10);
        if (selector == exchange::Register && frame.size() >= exchange::ManagementParamOffset + 6) {
            if (app.applId != 0) {
                violation(
                    QStringLiteral("appl %1 registered a second time on its connection").arg(app.applId));
                return;
            }
            app.applId = exchange::allocateApplId();
            const int logical = wordAt(exchange::ManagementParamOffset);
            app.maxBlocks = std::max<int>(1, wordAt(exchange::ManagementParamOffset + 2));
            app.maxLength = wordAt(exchange::ManagementParamOffset + 4);
            app.out.append(exchange::managementReply(selector, app.applId, NoError));
            flush(app);
            logLine(QStringLiteral("<- REGISTER connections %1 blocks %2 length %3: appl %4")
                        .arg(logical)
                        .arg(app.maxBlocks)
                        .arg(app.maxLength)
                        .arg(app.applId));
            events.push_back(QStringLiteral("application %1 registered").arg(app.applId));
        } else if (selector == exchange::GetProfile && frame.size() >= exchange::ManagementParamOffset + 2) {
            const uint16_t controller = wordAt(exchange::ManagementParamOffset);
            const bool known = controller <= Controller;
            const QByteArray p = known ? exchange::profile(options.dtmfFacility && !facilityRefused)
                                       : QByteArray(exchange::ProfileSize, '\0');
            app.out.append(
                exchange::managementReply(selector, app.applId, known ? NoError : IllegalIdentifier, p));
            flush(app);
            logLine(QStringLiteral("<- GET_PROFILE controller %1").arg(controller));
        } else if (selector == exchange::Release) {
            logLine(QStringLiteral("<- RELEASE appl %1").arg(wordAt(2)));
            if (app.applId != 0)
                events.push_back(QStringLiteral("application %1 released").arg(app.applId));
            app.closed = true;
        } else {
            violation(QStringLiteral("unknown management request %1 (%2 bytes)")
                          .arg(hex(selector, 2))
                          .arg(frame.size()));
        }
    }

    void request(App& app, MessageReader& r, const QByteArray& payload) {
        switch (r.command()) {
        case Listen:
            return listen(app, r);
        case Connect:
            return connectReq(app, r);
        case Alert:
            return alertReq(app, r);
        case Disconnect:
            return disconnectReq(app, r);
        case ConnectB3:
            return connectB3Req(app, r);
        case DisconnectB3:
            return disconnectB3Req(app, r);
        case DataB3:
            return dataB3Req(app, r, payload);
        case Facility:
            return facilityReq(app, r);
        case Info:
            return confirm(app, r, r.address(), NoError); // overlap sending: nothing to do
        default:
            confirm(app, r, r.address(), WrongState);
            violation(QStringLiteral("appl %1: unsupported %2")
                          .arg(app.applId)
                          .arg(exchange::messageName(r.command(), Req)));
        }
    }
    void malformed(App& app, const MessageReader& r, uint16_t handle = 0) {
        confirm(app, r, r.address(), IllegalParameterCoding, handle);
        violation(QStringLiteral("appl %1: malformed %2")
                      .arg(app.applId)
                      .arg(exchange::messageName(r.command(), Req)));
    }
    void checkBProtocol(App& app, const Bytes& b) {
        StructReader s(b);
        const uint16_t b1 = s.word(), b2 = s.word(), b3 = s.word();
        if (!s.ok() || b1 != 1 || b2 != 1 || b3 != 0)
            violation(QStringLiteral("appl %1: B protocol %2 is not transparent voice (1/1/0)")
                          .arg(app.applId)
                          .arg(QString::fromLatin1(b.toHex(' '))));
    }

    void listen(App& app, MessageReader& r) {
        r.dword(); // info mask
        const uint32_t cipMask = r.dword();
        r.dword();
        r.structure();
        r.structure();
        if (!r.ok())
            return malformed(app, r);
        if ((r.address() & 0x7f) != Controller)
            return unknownIdentifier(app, r);
        app.cipMask = cipMask;
        confirm(app, r, r.address(), NoError);
    }

    void connectReq(App& app, MessageReader& r) {
        const uint16_t cip = r.word();
        const QByteArray called = decodeCalledNumber(r.structure());
        const PartyNumber calling = decodeCallingNumber(r.structure());
        if (!r.ok())
            return malformed(app, r);
        r.structure();
        r.structure();
        const Bytes bProtocol = r.structure();
        if (r.ok())
            checkBProtocol(app, bProtocol);
        if ((r.address() & 0x7f) != Controller)
            return unknownIdentifier(app, r);
        Call& c = newCall(false);
        c.info.called = called;
        c.info.calling = calling.digits;
        c.info.callingType = calling.type;
        c.info.cip = cip;
        c.info.applId = app.applId;
        c.apps[app.applId] = Plci::Dialling;
        c.info.state = ExchangeCall::Dialling;
        confirm(app, r, c.info.plci, NoError);
        const int busyChannels = int(std::count_if(calls.begin(), calls.end(), [&](const auto& e) {
            return e.second.info.id != c.info.id && occupiesChannel(e.second);
        }));
        event(c, QStringLiteral("outgoing %1 -> %2 (application %3)")
                     .arg(QString::fromLatin1(calling.digits), QString::fromLatin1(called))
                     .arg(app.applId));
        if (busyChannels >= BChannels)
            return clear(c, NoCircuit);
        switch (outgoing) {
        case Outgoing::Ring:
            event(c, QStringLiteral("ringing"));
            break;
        case Outgoing::Answer:
            connectActiveInd(c, app);
            break;
        case Outgoing::Busy:
            clear(c, UserBusy);
            break;
        case Outgoing::Unallocated:
            clear(c, Unallocated);
            break;
        case Outgoing::NoAnswer:
            c.giveUpAt = Clock::now() + std::chrono::milliseconds(noAnswerMs);
            event(c, QStringLiteral("ringing, nobody answers"));
            break;
        }
    }

    void alertReq(App& app, MessageReader& r) {
        Call* c = callFor(app, r.address());
        if (!c)
            return unknownIdentifier(app, r);
        const Plci plci = c->apps[app.applId];
        if (plci != Plci::Offered)
            return wrongState(app, r, plci == Plci::Disconnecting);
        if (c->info.state == ExchangeCall::Alerting)
            return confirm(app, r, r.address(), AlertAlreadySent);
        c->info.state = ExchangeCall::Alerting;
        confirm(app, r, r.address(), NoError);
        event(*c, QStringLiteral("ringing (application %1)").arg(app.applId));
    }

    void disconnectReq(App& app, MessageReader& r) {
        Call* c = callFor(app, r.address());
        if (!c)
            return unknownIdentifier(app, r);
        const Plci plci = c->apps[app.applId];
        if (plci == Plci::Disconnecting)
            return wrongState(app, r, true);
        confirm(app, r, r.address(), NoError);
        if (plci == Plci::Offered) { // declines an offered call
            disconnectInd(*c, app, 0);
            return;
        }
        c->info.endReason = NormalClearing;
        c->info.state = ExchangeCall::Clearing;
        c->giveUpAt.reset();
        event(*c, QStringLiteral("cleared by application %1").arg(app.applId));
        if (c->ncci == Ncci::Disconnecting) {
            c->disconnectAfterB3 = true;
        } else if (c->ncci != Ncci::None) {
            c->disconnectAfterB3 = true;
            disconnectB3Ind(*c, app);
        } else {
            disconnectInd(*c, app, NormalClearing);
        }
    }

    void connectB3Req(App& app, MessageReader& r) {
        r.structure(); // NCPI
        Call* c = callFor(app, r.address());
        if (!c)
            return unknownIdentifier(app, r);
        const Plci plci = c->apps[app.applId];
        if (plci != Plci::Connected || c->ncci != Ncci::None || c->info.applId != app.applId)
            return wrongState(app, r, plci == Plci::Disconnecting);
        confirm(app, r, c->ncciAddress(), NoError);
        b3Active(*c, app);
    }

    // The call whose NCCI `address` is, for this application.
    Call* ncciCall(App& app, uint32_t address) {
        Call* c = callFor(app, address);
        if (!c || (address >> 16) != 1 || c->ncci == Ncci::None || c->info.applId != app.applId)
            return nullptr;
        return c;
    }

    void disconnectB3Req(App& app, MessageReader& r) {
        Call* c = ncciCall(app, r.address());
        if (!c)
            return unknownIdentifier(app, r);
        if (c->ncci == Ncci::Disconnecting)
            return wrongState(app, r, true);
        confirm(app, r, r.address(), NoError);
        if (c->info.state == ExchangeCall::Active)
            c->info.state = ExchangeCall::Connecting;
        disconnectB3Ind(*c, app);
    }

    void dataB3Req(App& app, MessageReader& r, const QByteArray& payload) {
        r.dword(); // Data32: the payload follows the message
        const uint16_t length = r.word();
        const uint16_t handle = r.word();
        r.word(); // flags
        if (!r.ok())
            return malformed(app, r, handle);
        Call* c = ncciCall(app, r.address());
        if (!c)
            return unknownIdentifier(app, r, handle);
        if (c->ncci != Ncci::Active)
            return wrongState(
                app, r, c->ncci == Ncci::Disconnecting || c->apps[app.applId] == Plci::Disconnecting, handle);
        if (payload.size() != length)
            violation(QStringLiteral("appl %1: DATA_B3_REQ announces %2 bytes and carries %3")
                          .arg(app.applId)
                          .arg(length)
                          .arg(payload.size()));
        if (app.maxLength > 0 && length > app.maxLength)
            violation(QStringLiteral("appl %1: DATA_B3_REQ of %2 bytes beyond its MaxBDataLen %3")
                          .arg(app.applId)
                          .arg(length)
                          .arg(app.maxLength));
        if (int(c->pendingConfs.size()) >= app.maxBlocks)
            violation(QStringLiteral("appl %1: DATA_B3_REQ beyond its window of %2 unconfirmed blocks")
                          .arg(app.applId)
                          .arg(app.maxBlocks));
        c->info.received.append(payload);
        if (c->recorder) {
            std::vector<int16_t> samples(std::size_t(payload.size()));
            voice::linearFromLine(reinterpret_cast<const uint8_t*>(payload.constData()), samples.data(),
                                  samples.size());
            c->recorder->write(samples.data(), samples.size());
        }
        // The line takes a block when it has sent the ones before it: that is when a controller
        // confirms it, so an application that sends too fast sees its window fill.
        const auto now = Clock::now();
        const auto due = std::max(now, c->lineFreeAt);
        c->lineFreeAt = due + scaled(std::chrono::nanoseconds(int64_t(payload.size()) * 125000));
        const PendingConf p{r.number(), handle, due};
        if (due <= now && c->pendingConfs.empty())
            sendDataConf(*c, app, p);
        else
            c->pendingConfs.push_back(p);
    }

    void facilityReq(App& app, MessageReader& r) {
        const uint16_t selector = r.word();
        StructReader s(r.structure());
        if (!r.ok())
            return malformed(app, r);
        if (selector != FacilityDtmf || facilityRefused || !options.dtmfFacility)
            return confirm(app, r, r.address(), FacilityNotSupported, 0, selector);
        Call* c = callFor(app, r.address());
        if (!c)
            return unknownIdentifier(app, r);
        const Plci plci = c->apps[app.applId];
        if (plci != Plci::Connected || c->info.applId != app.applId)
            return wrongState(app, r, plci == Plci::Disconnecting);
        const uint16_t function = s.word();
        s.word(); // tone duration
        s.word(); // gap duration
        const QByteArray digits = s.structure();
        if (function == 1) {
            c->info.facilityDtmf = true;
        } else if (function == 2) {
            c->info.facilityDtmf = false;
        } else if (function == 3 && s.ok()) {
            c->info.dtmfFromApp.append(digits);
        } else {
            return malformed(app, r);
        }
        confirm(app, r, r.address(), NoError, 0, FacilityDtmf, QByteArray(2, '\0')); // DTMF information: done
    }

    void response(App& app, MessageReader& r) {
        uint16_t handle = 0;
        if (r.command() == DataB3)
            handle = r.word();
        const auto it = std::find_if(app.expected.begin(), app.expected.end(), [&](const Expected& e) {
            return e.command == r.command() && e.address == r.address() && e.handle == handle;
        });
        if (it == app.expected.end()) {
            violation(QStringLiteral("appl %1: %2 for %3%4 that was not indicated")
                          .arg(app.applId)
                          .arg(exchange::messageName(r.command(), Resp), hex(r.address()))
                          .arg(r.command() == DataB3 ? QStringLiteral(" handle %1").arg(handle) : QString()));
            return;
        }
        if (it->number != r.number())
            violation(QStringLiteral("appl %1: %2 for %3 carries message number %4, its indication %5")
                          .arg(app.applId)
                          .arg(exchange::messageName(r.command(), Resp), hex(r.address()))
                          .arg(r.number())
                          .arg(it->number));
        app.expected.erase(it);
        Call* c = callFor(app, r.address());
        if (!c)
            return;
        switch (r.command()) {
        case Connect:
            return connectResp(app, *c, r);
        case ConnectActive:
            if (c->info.incoming && c->apps[app.applId] == Plci::Connected && c->ncci == Ncci::None) {
                c->ncci = Ncci::Incoming;
                indicate(app, ConnectB3, c->ncciAddress(), [](MessageWriter& w) { w.structure({}); });
            }
            return;
        case ConnectB3:
            if (c->ncci != Ncci::Incoming)
                return;
            if (r.word() == 0)
                b3Active(*c, app);
            else
                disconnectB3Ind(*c, app);
            return;
        case ConnectB3Active:
            if (c->ncci != Ncci::Activating)
                return;
            c->ncci = Ncci::Active;
            c->info.state = ExchangeCall::Active;
            c->nextBlock = Clock::now() + scaled(VoicePeriod);
            c->lineFreeAt = Clock::now();
            event(*c, QStringLiteral("connected, voice flows"));
            return;
        case DisconnectB3:
            c->ncci = Ncci::None;
            if (c->disconnectAfterB3 && c->apps[app.applId] != Plci::Disconnecting) {
                c->disconnectAfterB3 = false;
                disconnectInd(*c, app, NormalClearing);
            }
            return;
        case Disconnect:
            return left(*c, &app, app.applId);
        default:
            return;
        }
    }

    void connectResp(App& app, Call& c, MessageReader& r) {
        const uint16_t reject = r.word();
        const Bytes bProtocol = r.structure();
        if (c.apps[app.applId] != Plci::Offered)
            return;
        if (reject != 0) {
            event(c, QStringLiteral("rejected (%1) by application %2").arg(reject).arg(app.applId));
            disconnectInd(c, app, 0);
            return recount(c);
        }
        if (c.info.applId != 0) { // another application took it first
            disconnectInd(c, app, NonSelectedUser);
            return;
        }
        if (r.ok())
            checkBProtocol(app, bProtocol);
        c.info.applId = app.applId;
        for (auto& [other, plci] : c.apps)
            if (other != app.applId && plci == Plci::Offered)
                if (App* o = appById(other))
                    disconnectInd(c, *o, NonSelectedUser);
        event(c, QStringLiteral("answered by application %1").arg(app.applId));
        connectActiveInd(c, app);
    }

    // ---- the line's clock ----

    void sendVoiceBlock(Call& c, App& app) {
        const int n = app.maxLength > 0 ? std::min(VoiceBlock, app.maxLength) : VoiceBlock;
        std::vector<int16_t> samples(std::size_t(n), 0);
        bool sound = false;
        if (c.dtmf && c.dtmf->busy()) {
            c.dtmf->generate(samples.data(), samples.size());
            sound = true;
        } else if (c.player) {
            const std::size_t got = c.player->read(samples.data(), samples.size());
            sound = true;
            if (got < samples.size()) {
                c.player.reset();
                c.info.playing = false;
                event(c, QStringLiteral("wave file played to its end"));
            }
        }
        const auto outstanding =
            std::count_if(app.expected.begin(), app.expected.end(), [&](const Expected& e) {
                return e.command == DataB3 && e.address == c.ncciAddress();
            });
        if (outstanding >= app.maxBlocks) {
            ++c.info.blocksSkipped;
            return;
        }
        QByteArray bytes(n, char(voice::LineSilence));
        if (sound)
            voice::lineFromLinear(samples.data(), reinterpret_cast<uint8_t*>(bytes.data()), samples.size());
        const uint16_t handle = c.nextHandle++;
        indicate(
            app, DataB3, c.ncciAddress(),
            [&](MessageWriter& w) { w.dword(0).word(uint16_t(n)).word(handle).word(0); }, handle, bytes);
        ++c.info.blocksSent;
    }

    // Runs what is due and returns when the next thing is.
    Clock::time_point runTimers(Clock::time_point now) {
        Clock::time_point next = now + std::chrono::seconds(1);
        for (auto& [id, c] : calls) {
            App* app = c.info.applId ? appById(c.info.applId) : nullptr;
            if (c.giveUpAt && *c.giveUpAt <= now) {
                c.giveUpAt.reset();
                event(c, QStringLiteral("nobody answered"));
                clear(c, NoAnswer);
            }
            if (c.giveUpAt)
                next = std::min(next, *c.giveUpAt);
            if (!app)
                continue;
            while (!c.pendingConfs.empty() && c.pendingConfs.front().due <= now) {
                sendDataConf(c, *app, c.pendingConfs.front());
                c.pendingConfs.pop_front();
            }
            if (!c.pendingConfs.empty())
                next = std::min(next, c.pendingConfs.front().due);
            if (c.ncci != Ncci::Active)
                continue;
            const auto period = scaled(VoicePeriod);
            for (int rounds = 0; c.nextBlock <= now; ++rounds) {
                if (rounds == 10) { // far behind (a stalled machine): go on from now
                    c.nextBlock = now + period;
                    break;
                }
                c.nextBlock += period;
                sendVoiceBlock(c, *app);
            }
            next = std::min(next, c.nextBlock);
        }
        return next;
    }

    // ---- connections ----

    void closeApp(App& app, uint16_t reason) {
        ::close(app.fd);
        logLine(QStringLiteral("-- connection %1 (appl %2) closed").arg(app.fd).arg(app.applId));
        for (auto& [id, c] : calls) {
            if (!c.apps.count(app.applId) || app.applId == 0)
                continue;
            if (c.info.applId == app.applId)
                endCall(c, reason);
            left(c, nullptr, app.applId);
        }
        if (app.applId != 0)
            events.push_back(QStringLiteral("application %1 gone").arg(app.applId));
    }

    void readFrom(App& app) {
        char buffer[8192];
        bool ended = false;
        for (;;) {
            const ssize_t n = ::recv(app.fd, buffer, sizeof buffer, MSG_DONTWAIT);
            if (n > 0) {
                app.in.append(buffer, qsizetype(n));
                continue;
            }
            if (n < 0 && errno == EINTR)
                continue;
            ended = n == 0 || (errno != EAGAIN && errno != EWOULDBLOCK);
            break;
        }
        // What arrived before the end of the connection still counts (a release, for one).
        bool broken = false;
        while (const auto frame = exchange::takeFrame(app.in, &broken))
            frameFrom(app, *frame);
        if (broken) {
            violation(QStringLiteral("a frame does not start with 0x80; the connection of appl %1 is closed")
                          .arg(app.applId));
            app.closed = true;
        }
        if (ended)
            app.closed = true;
    }

    Call& newCall(bool incoming) {
        Call& c = calls[++lastId];
        c.info.id = lastId;
        c.info.incoming = incoming;
        // The lowest PLCI that no call in progress uses (with 255 calls in progress, the newest's).
        for (uint32_t n = 1; n <= 255 && c.info.plci == 0; ++n) {
            const uint32_t plci = Controller | (n << 8);
            if (std::none_of(calls.begin(), calls.end(), [&](const auto& e) {
                    return e.second.info.plci == plci && e.second.info.state != ExchangeCall::Ended;
                }))
                c.info.plci = plci;
        }
        if (c.info.plci == 0)
            c.info.plci = Controller | (uint32_t(lastId % 255 + 1) << 8);
        return c;
    }

    void loop() {
        std::unique_lock lock(mutex);
        while (!stopping) {
            const auto next = runTimers(Clock::now());
            std::vector<pollfd> fds{{wake[0], POLLIN, 0}, {listenFd, POLLIN, 0}};
            for (const auto& [fd, app] : apps)
                fds.push_back({fd, short(POLLIN | (app->out.isEmpty() ? 0 : POLLOUT)), 0});
            std::vector<QString> toDeliver;
            toDeliver.swap(events);
            touched();
            const auto handlerCopy = handler;
            lock.unlock();
            if (handlerCopy)
                for (const auto& e : toDeliver)
                    handlerCopy(e);
            const auto wait =
                std::chrono::duration_cast<std::chrono::microseconds>(next - Clock::now()).count();
            ::poll(fds.data(), fds.size(), int(std::max<int64_t>(0, (wait + 999) / 1000)));
            lock.lock();
            if (fds[0].revents & POLLIN) {
                char drain[64];
                while (::read(wake[0], drain, sizeof drain) > 0) {
                }
            }
            if (fds[1].revents & POLLIN) {
                for (;;) {
                    const int fd = ::accept4(listenFd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
                    if (fd < 0)
                        break;
                    // Each frame goes out at once, as on a line: Nagle's wait for the peer's delayed
                    // acknowledgement would hold voice blocks back by tens of milliseconds.
                    const int one = 1;
                    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
                    auto app = std::make_unique<App>();
                    app->fd = fd;
                    logLine(QStringLiteral("-- connection %1 opened").arg(fd));
                    apps[fd] = std::move(app);
                }
            }
            for (std::size_t i = 2; i < fds.size(); ++i) {
                const auto it = apps.find(fds[i].fd);
                if (it == apps.end() || it->second->closed)
                    continue;
                if (fds[i].revents & POLLOUT)
                    flush(*it->second);
                if (fds[i].revents & (POLLIN | POLLHUP | POLLERR))
                    readFrom(*it->second);
            }
            if (dropRequested) {
                dropRequested = false;
                for (auto& [fd, app] : apps)
                    app->closed = true;
                events.push_back(QStringLiteral("link dropped"));
            }
            for (auto it = apps.begin(); it != apps.end();) {
                if (it->second->closed) {
                    closeApp(*it->second, LinkLost);
                    it = apps.erase(it);
                } else {
                    ++it;
                }
            }
        }
    }
};

CapiExchange::CapiExchange() : CapiExchange(Options()) {}

CapiExchange::CapiExchange(Options options) : d(std::make_unique<State>()) {
    d->options = options;
    if (!(d->options.speed > 0))
        d->options.speed = 1.0;
}

CapiExchange::~CapiExchange() {
    stop();
}

bool CapiExchange::start(QString* error) {
    const auto fail = [&](const QString& what) {
        if (error)
            *error = QStringLiteral("%1: %2").arg(what, QString::fromLocal8Bit(std::strerror(errno)));
        if (d->listenFd >= 0)
            ::close(d->listenFd);
        d->listenFd = -1;
        return false;
    };
    if (d->running)
        return true;
    d->listenFd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (d->listenFd < 0)
        return fail(QStringLiteral("cannot open a socket"));
    const int on = 1;
    ::setsockopt(d->listenFd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(d->options.port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::bind(d->listenFd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
        return fail(QStringLiteral("cannot listen on 127.0.0.1:%1").arg(d->options.port));
    if (::listen(d->listenFd, 16) != 0)
        return fail(QStringLiteral("cannot listen on 127.0.0.1:%1").arg(d->options.port));
    socklen_t length = sizeof address;
    ::getsockname(d->listenFd, reinterpret_cast<sockaddr*>(&address), &length);
    if (::pipe2(d->wake, O_NONBLOCK | O_CLOEXEC) != 0)
        return fail(QStringLiteral("cannot make a pipe"));
    d->port = ntohs(address.sin_port);
    d->stopping = false;
    d->running = true;
    d->thread = std::thread([this] { d->loop(); });
    return true;
}

void CapiExchange::stop() {
    if (!d->running)
        return;
    {
        std::lock_guard lock(d->mutex);
        d->stopping = true;
        d->wakeUp();
    }
    d->thread.join();
    std::vector<QString> events;
    std::function<void(const QString&)> handler;
    {
        std::lock_guard lock(d->mutex);
        for (auto& [fd, app] : d->apps)
            d->closeApp(*app, LinkLost);
        d->apps.clear();
        for (auto& [id, c] : d->calls)
            d->endCall(c, LinkLost);
        ::close(d->listenFd);
        ::close(d->wake[0]);
        ::close(d->wake[1]);
        d->listenFd = d->wake[0] = d->wake[1] = -1;
        d->running = false;
        d->touched();
        events.swap(d->events);
        handler = d->handler;
    }
    if (handler)
        for (const auto& e : events)
            handler(e);
}

uint16_t CapiExchange::port() const {
    std::lock_guard lock(d->mutex);
    return d->port;
}

int CapiExchange::offerCall(const QByteArray& from, const QByteArray& to, uint16_t cip, uint8_t fromType) {
    std::lock_guard lock(d->mutex);
    Call& c = d->newCall(true);
    c.info.called = to;
    c.info.calling = from;
    c.info.cip = cip;
    c.info.callingType = fromType;
    const PartyNumber calling{from, fromType,
                              from.isEmpty() ? PartyNumber::Restricted : PartyNumber::Allowed};
    QStringList offeredTo;
    for (auto& [fd, app] : d->apps) {
        if (app->applId == 0 || app->closed || !(app->cipMask & (1u | (cip < 32 ? cipBit(cip) : 0))))
            continue;
        c.apps[app->applId] = Plci::Offered;
        d->indicate(*app, Connect, c.info.plci, [&](MessageWriter& w) {
            w.word(cip).structure(encodeCalledNumber(to, 0x81)).structure(encodeCallingNumber(calling));
            for (int i = 0; i < 6; ++i) // subaddresses, BC, LLC, HLC, additional info
                w.structure({});
        });
        offeredTo << QString::number(app->applId);
    }
    c.info.state = offeredTo.isEmpty() ? ExchangeCall::NotOffered : ExchangeCall::Offered;
    d->event(c, QStringLiteral("incoming %1 -> %2, %3")
                    .arg(callerText(c.info), QString::fromLatin1(to),
                         offeredTo.isEmpty() ? QStringLiteral("no application listens")
                                             : QStringLiteral("offered to application %1")
                                                   .arg(offeredTo.join(QStringLiteral(", ")))));
    d->touched();
    d->wakeUp();
    return c.info.id;
}

void CapiExchange::setOutgoing(Outgoing behaviour, int noAnswerMs) {
    std::lock_guard lock(d->mutex);
    d->outgoing = behaviour;
    d->noAnswerMs = std::max(0, noAnswerMs);
}

bool CapiExchange::answer(int callId) {
    std::lock_guard lock(d->mutex);
    Call* c = d->callById(callId);
    App* app = c ? d->appById(c->info.applId) : nullptr;
    if (!app || c->info.incoming || c->info.state != ExchangeCall::Dialling)
        return false;
    c->giveUpAt.reset();
    d->event(*c, QStringLiteral("the far end answers"));
    d->connectActiveInd(*c, *app);
    d->touched();
    d->wakeUp();
    return true;
}

bool CapiExchange::hangUp(int callId, uint16_t reason) {
    std::lock_guard lock(d->mutex);
    Call* c = d->callById(callId);
    if (!c || c->info.state == ExchangeCall::Ended || c->info.state == ExchangeCall::Clearing)
        return false;
    d->event(*c, QStringLiteral("the far end hangs up, reason %1").arg(hex(reason, 4)));
    d->clear(*c, reason);
    d->touched();
    d->wakeUp();
    return true;
}

bool CapiExchange::sendDtmfFacility(int callId, const QByteArray& digits) {
    std::lock_guard lock(d->mutex);
    Call* c = d->callById(callId);
    App* app = c ? d->appById(c->info.applId) : nullptr;
    if (!app || !c->info.facilityDtmf || c->apps[app->applId] != Plci::Connected)
        return false;
    for (const char digit : digits)
        d->indicate(*app, Facility, c->info.plci,
                    [&](MessageWriter& w) { w.word(FacilityDtmf).structure(QByteArray(1, digit)); });
    d->event(*c, QStringLiteral("DTMF %1 through the facility").arg(QString::fromLatin1(digits)));
    d->touched();
    d->wakeUp();
    return true;
}

bool CapiExchange::sendDtmfInband(int callId, const QByteArray& digits) {
    std::lock_guard lock(d->mutex);
    Call* c = d->callById(callId);
    if (!c || (c->info.state != ExchangeCall::Active && c->info.state != ExchangeCall::Connecting))
        return false;
    if (!c->dtmf)
        c->dtmf = std::make_unique<voice::DtmfGenerator>();
    c->dtmf->queue(digits.toStdString());
    d->event(*c, QStringLiteral("DTMF %1 in band").arg(QString::fromLatin1(digits)));
    d->wakeUp();
    return true;
}

namespace {
bool connectedCall(const Call* c, int callId, QString* error) {
    if (c && (c->info.state == ExchangeCall::Active || c->info.state == ExchangeCall::Connecting))
        return true;
    if (error)
        *error = c ? QStringLiteral("call %1 is not connected").arg(callId)
                   : QStringLiteral("no call %1").arg(callId);
    return false;
}
} // namespace

bool CapiExchange::playFile(int callId, const QString& path, QString* error) {
    std::lock_guard lock(d->mutex);
    Call* c = d->callById(callId);
    if (!connectedCall(c, callId, error))
        return false;
    c->player.reset();
    c->info.playing = false;
    if (path.isEmpty())
        return true;
    auto reader = std::make_unique<voice::WaveReader>();
    if (!reader->open(path, error))
        return false;
    c->player = std::move(reader);
    c->info.playing = true;
    d->event(*c, QStringLiteral("playing %1").arg(path));
    d->touched();
    d->wakeUp();
    return true;
}

bool CapiExchange::recordTo(int callId, const QString& path, int format, QString* error) {
    std::lock_guard lock(d->mutex);
    Call* c = d->callById(callId);
    if (!connectedCall(c, callId, error))
        return false;
    if (c->recorder)
        c->recorder->close();
    c->recorder.reset();
    if (path.isEmpty())
        return true;
    auto writer = std::make_unique<voice::WaveWriter>();
    if (!writer->open(path, format, error))
        return false;
    c->recorder = std::move(writer);
    d->event(*c, QStringLiteral("recording into %1").arg(path));
    d->wakeUp();
    return true;
}

void CapiExchange::setFacilityRefused(bool refused) {
    std::lock_guard lock(d->mutex);
    d->facilityRefused = refused;
}

void CapiExchange::dropLink() {
    std::unique_lock lock(d->mutex);
    if (!d->running)
        return;
    d->dropRequested = true;
    d->wakeUp();
    d->changed.wait(lock, [&] { return !d->dropRequested || d->stopping; });
}

namespace {
// A copy of a call for another thread. The byte strings that the exchange's thread appends to are copied
// deep: a shared buffer would be detached and freed inside Qt, where the thread sanitizer cannot see the
// reference count that orders the two threads.
ExchangeCall snapshot(const ExchangeCall& info) {
    ExchangeCall copy = info;
    copy.received = QByteArray(info.received.constData(), info.received.size());
    copy.dtmfFromApp = QByteArray(info.dtmfFromApp.constData(), info.dtmfFromApp.size());
    return copy;
}
} // namespace

std::optional<ExchangeCall> CapiExchange::call(int id) const {
    std::lock_guard lock(d->mutex);
    const auto it = d->calls.find(id);
    if (it == d->calls.end())
        return std::nullopt;
    return snapshot(it->second.info);
}

std::vector<ExchangeCall> CapiExchange::calls() const {
    std::lock_guard lock(d->mutex);
    std::vector<ExchangeCall> out;
    for (const auto& [id, c] : d->calls)
        out.push_back(snapshot(c.info));
    return out;
}

int CapiExchange::lastCallId() const {
    std::lock_guard lock(d->mutex);
    return d->lastId;
}

bool CapiExchange::waitFor(const std::function<bool(const CapiExchange&)>& pred, int timeoutMs) const {
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    std::unique_lock lock(d->mutex);
    for (;;) {
        const uint64_t seen = d->version;
        lock.unlock();
        if (pred(*this))
            return true;
        lock.lock();
        if (!d->changed.wait_until(lock, deadline, [&] { return d->version != seen; })) {
            lock.unlock();
            return pred(*this);
        }
    }
}

std::vector<QString> CapiExchange::violations() const {
    std::lock_guard lock(d->mutex);
    return d->violations;
}

std::vector<QString> CapiExchange::messageLog() const {
    std::lock_guard lock(d->mutex);
    return d->log;
}

int CapiExchange::registeredApplications() const {
    std::lock_guard lock(d->mutex);
    return int(std::count_if(d->apps.begin(), d->apps.end(),
                             [](const auto& e) { return e.second->applId != 0 && !e.second->closed; }));
}

void CapiExchange::setEventHandler(std::function<void(const QString&)> handler) {
    std::lock_guard lock(d->mutex);
    d->handler = std::move(handler);
}
