// The simulated exchange driven through the real libcapi20 ("fritzbox" module) as a raw CAPI application.
//
// libcapi20 keeps its state per process and chooses the module at the first capi20_isinstalled(); later
// calls answer "already initialized". The fritzbox module reads host and port at every connection it
// opens: each capi20_register opens one, and capi20_get_profile reaches the port set now. So every test
// starts an exchange on a free port and sets that port before it registers.

#include "tools/capiexchange/CapiExchange.h"
#include "tools/capiexchange/ExchangeCommands.h"

#include <QFileInfo>
#include <QTemporaryDir>

#include <capi20.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

using namespace capi;

namespace {

struct Message {
    QByteArray bytes; // the message as the application got it
    QByteArray data;  // a DATA_B3_IND's payload, from the pointer the library put into it
    MessageReader reader() const { return MessageReader(bytes); }
    uint8_t command() const { return MessageReader(bytes).command(); }
    uint8_t subcommand() const { return MessageReader(bytes).subcommand(); }
    uint32_t address() const { return MessageReader(bytes).address(); }
    uint16_t number() const { return MessageReader(bytes).number(); }
    // The first word after the address: the Info of most CONFs, the reason of DISCONNECT_IND.
    uint16_t firstWord() const {
        MessageReader r = reader();
        return r.word();
    }
};

// A registered CAPI application.
class App {
public:
    explicit App(unsigned maxBlocks = 7, unsigned maxLength = 2048) {
        EXPECT_EQ(capi20_register(1, maxBlocks, maxLength, &id), 0u);
    }
    ~App() {
        if (id)
            capi20_release(id);
    }
    MessageWriter writer(uint8_t command, uint8_t subcommand, uint32_t address, int number = -1) {
        return MessageWriter(uint16_t(id), command, subcommand, uint16_t(number < 0 ? next++ : number),
                             address);
    }
    void put(const QByteArray& message) {
        std::vector<unsigned char> buffer(4096); // the library copies a whole 2176-byte buffer
        std::memcpy(buffer.data(), message.constData(), size_t(message.size()));
        ASSERT_EQ(capi20_put_message(id, buffer.data()), 0u);
    }
    std::optional<Message> get(int timeoutMs = 3000) {
        timeval tv{timeoutMs / 1000, (timeoutMs % 1000) * 1000};
        if (capi20_waitformessage(id, &tv) != 0)
            return std::nullopt;
        unsigned char* buffer = nullptr;
        if (capi20_get_message(id, &buffer) != 0)
            return std::nullopt;
        Message m;
        m.bytes = QByteArray(reinterpret_cast<const char*>(buffer), buffer[0] | (buffer[1] << 8));
        if (buffer[4] == DataB3 && buffer[5] == Ind) {
            const unsigned char* data = nullptr;
            std::memcpy(&data, buffer + 22, sizeof data); // Data64
            m.data = QByteArray(reinterpret_cast<const char*>(data), buffer[16] | (buffer[17] << 8));
        }
        return m;
    }
    // The next message, which must be `command`/`subcommand`; DATA_B3_IND on the way are answered.
    Message expect(uint8_t command, uint8_t subcommand) {
        for (;;) {
            const auto m = get();
            if (!m) {
                ADD_FAILURE() << "no message, waited for " << int(command) << "/" << int(subcommand);
                return {};
            }
            if (m->command() == DataB3 && m->subcommand() == Ind &&
                !(command == DataB3 && subcommand == Ind)) {
                respondData(*m);
                continue;
            }
            EXPECT_EQ(m->command(), command);
            EXPECT_EQ(m->subcommand(), subcommand);
            return *m;
        }
    }
    void respond(const Message& ind, const std::function<void(MessageWriter&)>& params = {}) {
        MessageWriter w = writer(ind.command(), Resp, ind.address(), ind.number());
        if (params)
            params(w);
        put(w.finish());
    }
    void respondData(const Message& ind) {
        MessageReader r = ind.reader();
        r.dword();
        r.word();
        const uint16_t handle = r.word();
        respond(ind, [&](MessageWriter& w) { w.word(handle); });
    }
    void listen(uint32_t cipMask) {
        put(writer(Listen, Req, 1).dword(0).dword(cipMask).dword(0).structure({}).structure({}).finish());
        EXPECT_EQ(expect(Listen, Conf).firstWord(), NoError);
    }
    // Answers an offered call and takes it to the data phase.
    void answer(const Message& connectInd) {
        respond(connectInd, [](MessageWriter& w) {
            w.word(0)
                .structure(encodeBProtocol(1, 1, 0))
                .structure({})
                .structure({})
                .structure({})
                .structure({});
        });
        respond(expect(ConnectActive, Ind));
        respond(expect(ConnectB3, Ind), [](MessageWriter& w) { w.word(0).structure({}); });
        respond(expect(ConnectB3Active, Ind));
    }
    void sendData(uint32_t ncci, const QByteArray& payload, uint16_t handle) {
        const unsigned char* data = reinterpret_cast<const unsigned char*>(payload.constData());
        put(writer(DataB3, Req, ncci)
                .dword(0)
                .word(uint16_t(payload.size()))
                .word(handle)
                .word(0)
                .qword(uint64_t(reinterpret_cast<uintptr_t>(data)))
                .finish());
    }
    unsigned id = 0;
    uint16_t next = 1;
};

class CapiExchangeTest : public ::testing::Test {
protected:
    void SetUp() override {
        CapiExchange::Options options;
        options.speed = 5;
        exchange = std::make_unique<CapiExchange>(options);
        QString error;
        ASSERT_TRUE(exchange->start(&error)) << error.toStdString();
        capi20ext_set_driver(const_cast<char*>("fritzbox"));
        capi20ext_set_host(const_cast<char*>("127.0.0.1"));
        capi20ext_set_port(exchange->port());
        capi20ext_set_tracelevel(0);
        ASSERT_EQ(capi20_isinstalled(), 0u);
    }
    void TearDown() override {
        const auto v = exchange->violations();
        if (HasFailure() || v.size() != expectedViolations) // what went over the line, for the reader
            for (const auto& line : exchange->messageLog())
                std::printf("%s\n", line.toLatin1().constData());
        EXPECT_EQ(v.size(), expectedViolations) << (v.empty() ? std::string() : v.front().toStdString());
    }
    bool waitState(int id, ExchangeCall::State state, int timeoutMs = 3000) {
        return exchange->waitFor(
            [&](const CapiExchange& e) { return e.call(id) && e.call(id)->state == state; }, timeoutMs);
    }
    // An incoming call answered by `app`; returns its id and the CONNECT_IND.
    std::pair<int, Message> activeCall(App& app) {
        const int id = exchange->offerCall("891234567", "5551");
        const Message ind = app.expect(Connect, Ind);
        app.answer(ind);
        EXPECT_TRUE(waitState(id, ExchangeCall::Active));
        return {id, ind};
    }

    std::unique_ptr<CapiExchange> exchange;
    std::size_t expectedViolations = 0;
};

TEST_F(CapiExchangeTest, RegistersGivesProfileAndReleases) {
    unsigned char profile[64] = {};
    ASSERT_EQ(capi20_get_profile(1, profile), 0u);
    EXPECT_EQ(profile[0], 1);       // controllers
    EXPECT_EQ(profile[2], 2);       // B channels
    EXPECT_TRUE(profile[4] & 0x08); // DTMF
    EXPECT_TRUE(profile[8] & 0x02); // B1 64 kbit/s transparent
    {
        App a, b;
        EXPECT_NE(a.id, 0u);
        EXPECT_NE(a.id, b.id);
        EXPECT_TRUE(
            exchange->waitFor([](const CapiExchange& e) { return e.registeredApplications() == 2; }, 3000));
    }
    EXPECT_TRUE(
        exchange->waitFor([](const CapiExchange& e) { return e.registeredApplications() == 0; }, 3000));
}

TEST_F(CapiExchangeTest, OffersACallOnlyToApplicationsListeningForItsCip) {
    App telephony, speechOnly, deaf;
    telephony.listen(cipBit(CipTelephony) | cipBit(CipAudio31));
    speechOnly.listen(cipBit(CipSpeech));
    const int id = exchange->offerCall("891234567", "5551");
    const Message ind = telephony.expect(Connect, Ind);
    MessageReader r = ind.reader();
    EXPECT_EQ(r.word(), CipTelephony);
    const Bytes called = r.structure();
    EXPECT_EQ(uint8_t(called[0]), 0x81);
    EXPECT_EQ(decodeCalledNumber(called), "5551");
    EXPECT_EQ(decodeCallingNumber(r.structure()),
              (PartyNumber{"891234567", PartyNumber::National, PartyNumber::Allowed}));
    EXPECT_EQ(exchange->call(id)->plci, 0x101u);
    EXPECT_EQ(exchange->call(id)->state, ExchangeCall::Offered);
    EXPECT_FALSE(speechOnly.get(200));
    EXPECT_FALSE(deaf.get(0));

    const int hidden = exchange->offerCall({}, "5551", CipSpeech);
    const Message speech = speechOnly.expect(Connect, Ind);
    MessageReader s = speech.reader();
    s.word();
    s.structure();
    const PartyNumber suppressed = decodeCallingNumber(s.structure());
    EXPECT_EQ(suppressed.presentation, PartyNumber::Restricted);
    EXPECT_TRUE(suppressed.digits.isEmpty());
    EXPECT_EQ(exchange->call(hidden)->plci, 0x201u);

    const int unheard = exchange->offerCall("891234567", "5551", 2);
    EXPECT_EQ(exchange->call(unheard)->state, ExchangeCall::NotOffered);
    EXPECT_TRUE(exchange->hangUp(unheard));
    EXPECT_EQ(exchange->call(unheard)->state, ExchangeCall::Ended);
}

TEST_F(CapiExchangeTest, AlertsIgnoresAndAnswersIncomingCalls) {
    App app;
    app.listen(cipBit(CipTelephony));
    const int ignored = exchange->offerCall("891234567", "5551");
    const Message offer = app.expect(Connect, Ind);
    app.put(app.writer(Alert, Req, offer.address(), 0x1234).structure({}).finish());
    const Message alertConf = app.expect(Alert, Conf);
    EXPECT_EQ(alertConf.number(), 0x1234);
    EXPECT_EQ(alertConf.firstWord(), NoError);
    EXPECT_TRUE(waitState(ignored, ExchangeCall::Alerting));
    app.respond(offer, [](MessageWriter& w) {
        w.word(1).structure({}).structure({}).structure({}).structure({}).structure({});
    });
    app.respond(app.expect(Disconnect, Ind));
    EXPECT_TRUE(waitState(ignored, ExchangeCall::Ignored));

    const auto [id, ind] = activeCall(app);
    EXPECT_EQ(exchange->call(id)->applId, app.id);
    app.put(app.writer(Disconnect, Req, ind.address(), 77).structure({}).finish());
    const Message conf = app.expect(Disconnect, Conf);
    EXPECT_EQ(conf.number(), 77);
    EXPECT_EQ(conf.firstWord(), NoError);
    const Message b3 = app.expect(DisconnectB3, Ind);
    EXPECT_EQ(b3.address(), ind.address() | 0x10000);
    app.respond(b3);
    const Message down = app.expect(Disconnect, Ind);
    EXPECT_EQ(down.firstWord(), NormalClearing);
    app.respond(down);
    EXPECT_TRUE(waitState(id, ExchangeCall::Ended));
    EXPECT_EQ(exchange->call(id)->endReason, NormalClearing);
}

TEST_F(CapiExchangeTest, VoiceFlowsBothWaysWithinTheWindow) {
    App app(2, 2048);
    app.listen(cipBit(CipTelephony));
    const auto [id, ind] = activeCall(app);
    const uint32_t ncci = ind.address() | 0x10000;
    // The library hands a DATA_B3_IND on as a 30-byte message, Data32 zero, the data behind Data64.
    const Message first = app.expect(DataB3, Ind);
    EXPECT_EQ(first.bytes.size(), 30);
    EXPECT_EQ(first.address(), ncci);
    EXPECT_EQ(first.reader().dword(), 0u);
    EXPECT_EQ(first.data, QByteArray(160, char(0xAB)));
    const Message second = app.expect(DataB3, Ind);
    // Both blocks unanswered: the exchange skips slots rather than send a third.
    EXPECT_TRUE(
        exchange->waitFor([&](const CapiExchange& e) { return e.call(id)->blocksSkipped >= 3; }, 3000));
    EXPECT_FALSE(app.get(0));
    app.respondData(first);
    app.respondData(second);
    app.respondData(app.expect(DataB3, Ind));

    QTemporaryDir dir;
    QString error;
    ASSERT_TRUE(exchange->recordTo(id, dir.filePath(QStringLiteral("in.wav")), 3, &error))
        << error.toStdString();
    QByteArray sent;
    for (uint16_t handle = 1; handle <= 2; ++handle) {
        const QByteArray block(160, char(0x10 + handle));
        app.sendData(ncci, block, handle);
        sent += block;
        const Message conf = app.expect(DataB3, Conf);
        MessageReader r = conf.reader();
        EXPECT_EQ(r.word(), handle);
        EXPECT_EQ(r.word(), NoError);
    }
    EXPECT_EQ(exchange->call(id)->received, sent);
    ASSERT_TRUE(exchange->recordTo(id, {}, 3, &error));
    EXPECT_EQ(QFileInfo(dir.filePath(QStringLiteral("in.wav"))).size(), 44 + 2 * 320);
    EXPECT_TRUE(exchange->hangUp(id));
    app.respond(app.expect(DisconnectB3, Ind));
    app.respond(app.expect(Disconnect, Ind));
    EXPECT_TRUE(waitState(id, ExchangeCall::Ended));
}

TEST_F(CapiExchangeTest, OutgoingCallsMeetTheConfiguredFarEnd) {
    App app;
    const auto dial = [&](uint16_t number) {
        app.put(app.writer(Connect, Req, 1, number)
                    .word(CipSpeech)
                    .structure(encodeCalledNumber("0891234567", 0x81))
                    .structure(encodeCallingNumber({"5551", PartyNumber::Unknown, PartyNumber::Allowed}))
                    .structure({})
                    .structure({})
                    .structure(encodeBProtocol(1, 1, 0))
                    .structure({})
                    .structure({})
                    .structure({})
                    .structure({})
                    .finish());
        const Message conf = app.expect(Connect, Conf);
        EXPECT_EQ(conf.number(), number);
        EXPECT_EQ(conf.firstWord(), NoError);
        return conf.address();
    };
    const auto refusedWith = [&](uint16_t reason) {
        const uint32_t plci = dial(5);
        const Message down = app.expect(Disconnect, Ind);
        EXPECT_EQ(down.address(), plci);
        EXPECT_EQ(down.firstWord(), reason);
        app.respond(down);
        EXPECT_TRUE(waitState(exchange->lastCallId(), ExchangeCall::Ended));
    };
    exchange->setOutgoing(CapiExchange::Outgoing::Answer);
    std::vector<uint32_t> plcis;
    for (int i = 0; i < 2; ++i) {
        plcis.push_back(dial(uint16_t(40 + i)));
        app.respond(app.expect(ConnectActive, Ind));
        app.put(app.writer(ConnectB3, Req, plcis.back()).structure({}).finish());
        const Message b3 = app.expect(ConnectB3, Conf);
        EXPECT_EQ(b3.address(), plcis.back() | 0x10000);
        EXPECT_EQ(b3.firstWord(), NoError);
        app.respond(app.expect(ConnectB3Active, Ind));
        EXPECT_TRUE(waitState(exchange->lastCallId(), ExchangeCall::Active));
    }
    const ExchangeCall first = *exchange->call(exchange->lastCallId());
    EXPECT_FALSE(first.incoming);
    EXPECT_EQ(first.called, "0891234567");
    EXPECT_EQ(first.calling, "5551");
    EXPECT_EQ(first.cip, CipSpeech);
    refusedWith(0x34A2); // both B channels in use
    for (const uint32_t plci : plcis) {
        app.put(app.writer(Disconnect, Req, plci).structure({}).finish());
        app.expect(Disconnect, Conf);
        app.respond(app.expect(DisconnectB3, Ind));
        app.respond(app.expect(Disconnect, Ind));
    }
    exchange->setOutgoing(CapiExchange::Outgoing::Busy);
    refusedWith(UserBusy);
    exchange->setOutgoing(CapiExchange::Outgoing::Unallocated);
    refusedWith(Unallocated);
    exchange->setOutgoing(CapiExchange::Outgoing::NoAnswer, 100);
    refusedWith(NoAnswer);
    exchange->setOutgoing(CapiExchange::Outgoing::Ring);
    dial(6);
    EXPECT_EQ(exchange->call(exchange->lastCallId())->state, ExchangeCall::Dialling);
    EXPECT_TRUE(exchange->answer(exchange->lastCallId()));
    app.respond(app.expect(ConnectActive, Ind));
    EXPECT_TRUE(waitState(exchange->lastCallId(), ExchangeCall::Connecting));
}

TEST_F(CapiExchangeTest, AnswersRequestsInTheWrongStateAndForUnknownIdentifiers) {
    App app;
    app.listen(cipBit(CipTelephony));
    exchange->offerCall("891234567", "5551");
    const Message offer = app.expect(Connect, Ind);
    app.put(app.writer(ConnectB3, Req, offer.address(), 0x4321).structure({}).finish());
    const Message wrong = app.expect(ConnectB3, Conf);
    EXPECT_EQ(wrong.number(), 0x4321);
    EXPECT_EQ(wrong.firstWord(), WrongState);
    app.put(app.writer(Alert, Req, 0x701, 0x4322).structure({}).finish());
    const Message unknown = app.expect(Alert, Conf);
    EXPECT_EQ(unknown.number(), 0x4322);
    EXPECT_EQ(unknown.firstWord(), IllegalIdentifier);
    app.put(app.writer(ConnectActive, Resp, 0x701).finish());
    EXPECT_TRUE(exchange->waitFor([](const CapiExchange& e) { return e.violations().size() == 3; }, 3000));
    expectedViolations = 3;
}

TEST_F(CapiExchangeTest, ReportsDtmfThroughTheFacilityOrRefusesIt) {
    App app;
    app.listen(cipBit(CipTelephony));
    const auto [id, ind] = activeCall(app);
    const auto startListening = [&] {
        app.put(app.writer(Facility, Req, ind.address())
                    .word(FacilityDtmf)
                    .structure(QByteArray::fromHex("0100280028000000"))
                    .finish());
        return app.expect(Facility, Conf);
    };
    EXPECT_FALSE(exchange->sendDtmfFacility(id, "1"));
    const Message listening = startListening();
    MessageReader conf = listening.reader();
    EXPECT_EQ(conf.word(), NoError);
    EXPECT_EQ(conf.word(), FacilityDtmf);
    EXPECT_EQ(conf.structure(), QByteArray(2, '\0'));
    EXPECT_TRUE(exchange->call(id)->facilityDtmf);
    EXPECT_TRUE(exchange->sendDtmfFacility(id, "1#"));
    for (const char digit : {'1', '#'}) {
        const Message fi = app.expect(Facility, Ind);
        MessageReader r = fi.reader();
        EXPECT_EQ(r.word(), FacilityDtmf);
        EXPECT_EQ(r.structure(), QByteArray(1, digit));
        app.respond(fi, [](MessageWriter& w) { w.word(FacilityDtmf).structure({}); });
    }
    exchange->setFacilityRefused(true);
    EXPECT_EQ(startListening().firstWord(), FacilityNotSupported);
    unsigned char profile[64] = {};
    ASSERT_EQ(capi20_get_profile(1, profile), 0u);
    EXPECT_FALSE(profile[4] & 0x08);
}

TEST_F(CapiExchangeTest, DroppedLinkEndsCallsAndTheLibraryRegistersAgain) {
    auto app = std::make_unique<App>();
    app->listen(cipBit(CipTelephony));
    const int id = activeCall(*app).first;
    exchange->dropLink();
    EXPECT_EQ(exchange->call(id)->state, ExchangeCall::Ended);
    EXPECT_EQ(exchange->registeredApplications(), 0);
    app.reset();
    App again;
    EXPECT_TRUE(
        exchange->waitFor([](const CapiExchange& e) { return e.registeredApplications() == 1; }, 3000));
    again.listen(cipBit(CipTelephony));
    exchange->offerCall("891234567", "5551");
    EXPECT_EQ(again.expect(Connect, Ind).address(), 0x101u); // the dropped call's PLCI is free again
}

TEST_F(CapiExchangeTest, RecordsMalformedFramesAndCarriesOn) {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(exchange->port());
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    // A frame shorter than a header, a message before any register, then bytes out of step.
    const QByteArray garbage = QByteArray::fromHex("800400ffff0000") +
                               QByteArray::fromHex("800c000c000000018000000100000000") + QByteArray("AAAA");
    ASSERT_EQ(::send(fd, garbage.constData(), size_t(garbage.size()), MSG_NOSIGNAL), garbage.size());
    EXPECT_TRUE(exchange->waitFor([](const CapiExchange& e) { return e.violations().size() == 3; }, 3000));
    ::close(fd);
    App app;
    app.listen(cipBit(CipTelephony));
    expectedViolations = 3;
}

TEST(CapiExchangeCommands, CarryOutCommandsAndExplainBadInput) {
    CapiExchange exchange;
    EXPECT_EQ(exchange::splitCommandLine(QStringLiteral("play 2 \"my file.wav\""), nullptr),
              (QStringList{QStringLiteral("play"), QStringLiteral("2"), QStringLiteral("my file.wav")}));
    const auto run = [&](const char* line) {
        return exchange::runCommand(exchange, exchange::splitCommandLine(QString::fromLatin1(line), nullptr));
    };
    EXPECT_FALSE(run("hangup").ok);
    EXPECT_TRUE(run("ring +4930123 5551").ok);
    EXPECT_EQ(exchange.call(1)->calling, "4930123");
    EXPECT_EQ(exchange.call(1)->state, ExchangeCall::NotOffered);
    EXPECT_TRUE(run("ring - 5551 1").ok);
    EXPECT_TRUE(exchange.call(2)->calling.isEmpty());
    EXPECT_TRUE(run("hangup 1 0x3491").ok);
    EXPECT_EQ(exchange.call(1)->endReason, UserBusy);
    EXPECT_TRUE(run("hangup 349a").ok);
    EXPECT_EQ(exchange.call(2)->endReason, NonSelectedUser);
    EXPECT_TRUE(run("outgoing noanswer 200").ok);
    for (const char* line :
         {"ring 12ab 5551", "hangup 9", "outgoing maybe", "dtmf 12x", "play", "frobnicate"}) {
        const auto result = run(line);
        EXPECT_FALSE(result.ok) << line;
        EXPECT_FALSE(result.text.isEmpty()) << line;
    }
}

} // namespace
