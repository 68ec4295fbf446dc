// The whole program on the real line: what a user sees of calls on the simulated exchange.

#include "platform/Clock.h"
#include "platform/capilink/CapiLink.h"
#include "platform/voice/AudioDevice.h"
#include "shell/Program.h"
#include "shell/call/Eurit30.h"
#include "tests/support/CapiLineSupport.h"
#include "tests/support/TestProgram.h"

#include <QFile>
#include <QStringList>

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

// A whole program on the real line and the exchange, with a manual clock and its own data folder.
struct CapiProgram {
    explicit CapiProgram(std::shared_ptr<voice::AudioDevice> audio = {});
    ~CapiProgram();

    // Pumps the program's events until `pred` holds.
    bool pumpUntil(const std::function<bool()>& pred, int timeoutMs = 5000);
    Eurit30& call() { return program->call(); }
    clsCti& cti() { return *program->cti().channel(); }

    ManualClock clock;
    QTemporaryDir dir;
    std::unique_ptr<CapiExchange> exchange;
    CapiLink* line = nullptr;
    std::unique_ptr<Program> program;
};

CapiProgram::CapiProgram(std::shared_ptr<voice::AudioDevice> audio) : exchange(StartExchange()) {
    auto link = std::make_unique<CapiLink>(ExchangeServer(), std::move(audio));
    line = link.get();
    program = std::make_unique<Program>(clock, std::move(link), dir.path());
    program->callLog().SEZGDBOpen();
    program->Konfigurationen().Item(1).setStrMSN(1, QStringLiteral("5551"));
    EXPECT_TRUE(program->startLine())
        << program->fatalMessage().toStdString() << " " << line->lastError().toStdString();
}

CapiProgram::~CapiProgram() {
    program.reset();
    exchange->stop();
}

bool CapiProgram::pumpUntil(const std::function<bool()>& pred, int timeoutMs) {
    return WaitUntil(pred, timeoutMs, [this] {
        while (program->cti().pendingEvents() > 0)
            program->eventTick();
    });
}

bool exchangeState(const CapiExchange& x, int call, ExchangeCall::State state) {
    const auto c = x.call(call);
    return c && c->state == state;
}

QString fileText(const QString& path) {
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    return QString::fromUtf8(file.readAll());
}

} // namespace

TEST(CapiProgramIncoming, RingsIsAnsweredTalksBothWaysAndIsEndedByTheFarEndWithItsReason) {
    QTemporaryDir cardDir;
    const QString speaker = cardDir.filePath(QStringLiteral("speaker.wav"));
    const QString microphone = cardDir.filePath(QStringLiteral("microphone.wav"));
    const QString far = cardDir.filePath(QStringLiteral("far.wav"));
    WriteTestSignal(microphone, 4000);
    WriteTestSignal(far, 4000);
    CapiProgram t(std::make_shared<voice::WaveFileAudioDevice>(speaker, microphone));
    const int call = t.exchange->offerCall("891234567", "5551");
    ASSERT_TRUE(t.pumpUntil([&] { return t.call().CallState == StateIncomingRinging; }));
    EXPECT_EQ(t.call().CallNumber, QStringLiteral("0891234567"));
    EXPECT_EQ(t.call().CallMSN, QStringLiteral("5551"));

    // Answered, the program puts the sound card on the line by itself.
    t.program->commands().Eurit_Answer();
    ASSERT_TRUE(t.pumpUntil([&] { return t.call().CallState == StateIncomingConnected; }));
    ASSERT_TRUE(t.exchange->waitFor(
        [call](const CapiExchange& x) { return exchangeState(x, call, ExchangeCall::Active); }, 3000));
    QString error;
    ASSERT_TRUE(t.exchange->playFile(call, far, &error)) << error.toStdString();
    ASSERT_TRUE(t.exchange->waitFor(
        [&](const CapiExchange& x) { return !x.call(call)->playing && x.call(call)->received.size() > 6000; },
        5000));

    t.exchange->hangUp(call, 0x3490);
    ASSERT_TRUE(t.pumpUntil([&] { return t.call().CallState == StateIdle; }));
    EXPECT_EQ(t.call().IdleStatusText, QStringLiteral("Normal call clearing"));
    ASSERT_EQ(CallLogRecords(*t.program).size(), 1u);
    EXPECT_EQ(CallLogRecords(*t.program)[0].PartnerRufnummer, QStringLiteral("0891234567"));
    EXPECT_TRUE(t.exchange->violations().empty()) << t.exchange->violations().front().toStdString();
    // The far end heard the microphone, the loudspeaker the far end (the speaker file is whole once the
    // end of the call stopped it).
    ExpectSameSound(FromLine(t.exchange->call(call)->received), ThroughLine(ReadWave(microphone)));
    ExpectSameSound(ReadWave(speaker), ThroughLine(ReadWave(far)));
}

TEST(CapiProgramIncoming, AnAnsweredCallIsEndedByTheProgram) {
    CapiProgram t;
    const int call = t.exchange->offerCall("891234567", "5551");
    ASSERT_TRUE(t.pumpUntil([&] { return t.call().CallState == StateIncomingRinging; }));
    t.program->commands().Eurit_Answer();
    ASSERT_TRUE(t.pumpUntil([&] { return t.call().CallState == StateIncomingConnected; }));
    t.program->commands().Eurit_Hangup();
    ASSERT_TRUE(t.pumpUntil([&] { return t.call().CallState == StateIdle; }));
    EXPECT_TRUE(t.exchange->waitFor(
        [call](const CapiExchange& x) { return exchangeState(x, call, ExchangeCall::Ended); }, 3000));
    EXPECT_EQ(CallLogRecords(*t.program).size(), 1u);
    EXPECT_TRUE(t.exchange->violations().empty()) << t.exchange->violations().front().toStdString();
}

TEST(CapiProgramIgnored, ACallToNoOwnNumberAndASecondCallAreLeftAlone) {
    CapiProgram t;
    const int stranger = t.exchange->offerCall("891234567", "7777");
    ASSERT_TRUE(t.exchange->waitFor(
        [&](const CapiExchange& x) { return exchangeState(x, stranger, ExchangeCall::Ignored); }, 3000));
    t.pumpUntil([] { return false; }, 200);
    EXPECT_EQ(t.call().CallState, StateIdle);

    const int first = t.exchange->offerCall("891234567", "5551");
    ASSERT_TRUE(t.pumpUntil([&] { return t.call().CallState == StateIncomingRinging; }));
    const int second = t.exchange->offerCall("30123456", "5551");
    ASSERT_TRUE(t.exchange->waitFor(
        [&](const CapiExchange& x) { return exchangeState(x, second, ExchangeCall::Ignored); }, 3000));
    t.pumpUntil([] { return false; }, 200);
    EXPECT_EQ(t.call().CallState, StateIncomingRinging);
    EXPECT_EQ(t.call().CallNumber, QStringLiteral("0891234567"));
    EXPECT_TRUE(exchangeState(*t.exchange, first, ExchangeCall::Alerting));

    t.exchange->hangUp(stranger, 0x3490);
    t.exchange->hangUp(second, 0x3490);
    t.exchange->hangUp(first, 0x3490);
    ASSERT_TRUE(t.pumpUntil([&] { return t.call().CallState == StateIdle; }));
    EXPECT_EQ(CallLogRecords(*t.program).size(), 1u) << "only the call that rang is logged";
}

TEST(CapiProgramOutgoing, AnsweredBusyAndUnallocatedCalls) {
    CapiProgram t;
    t.exchange->setOutgoing(CapiExchange::Outgoing::Answer);
    t.program->commands().Eurit_Dial(QStringLiteral("0891234"));
    ASSERT_TRUE(t.pumpUntil([&] { return t.call().CallState == StateOutgoingConnected; }));
    const auto placed = t.exchange->call(t.exchange->lastCallId());
    ASSERT_TRUE(placed);
    EXPECT_FALSE(placed->incoming);
    EXPECT_EQ(placed->called, "0891234");
    EXPECT_EQ(placed->calling, "5551");
    t.program->commands().Eurit_Hangup();
    ASSERT_TRUE(t.pumpUntil([&] { return t.call().CallState == StateIdle; }));

    t.exchange->setOutgoing(CapiExchange::Outgoing::Busy);
    t.program->commands().Eurit_Dial(QStringLiteral("0891234"));
    ASSERT_TRUE(t.pumpUntil([&] { return t.call().IdleStatusText == QStringLiteral("User busy"); }));
    EXPECT_EQ(t.call().CallState, StateIdle);
    EXPECT_EQ(t.program->sound().playingFile(),
              t.program->sound().SoundFullPath(t.program->sound().BesetztPath))
        << "the busy tone sounds";
    EXPECT_EQ(t.program->sound().playingLoops(), 1);

    t.exchange->setOutgoing(CapiExchange::Outgoing::Unallocated);
    t.program->Konfigurationen().Item(1).setStrMSN(1, QStringLiteral("*"));
    t.program->commands().Eurit_Dial(QStringLiteral("0899999"));
    ASSERT_TRUE(t.pumpUntil(
        [&] { return t.call().IdleStatusText == QStringLiteral("Unallocated (unassigned) number"); }));
    EXPECT_EQ(t.exchange->call(t.exchange->lastCallId())->calling, "") << "\"*\" is no number to send";
    EXPECT_EQ(CallLogRecords(*t.program).size(), 3u);
    EXPECT_TRUE(t.exchange->violations().empty()) << t.exchange->violations().front().toStdString();
}

TEST(CapiProgramServer, ALostServerEndsTheCallInTheLogAndRingingWorksAgain) {
    CapiProgram t;
    EXPECT_EQ(t.program->lineStatus().text, QStringLiteral("ISDN line ready"));
    EXPECT_TRUE(t.program->lineStatus().ready);
    t.exchange->offerCall("891234567", "5551");
    ASSERT_TRUE(t.pumpUntil([&] { return t.call().CallState == StateIncomingRinging; }));
    t.program->commands().Eurit_Answer();
    ASSERT_TRUE(t.pumpUntil([&] { return t.call().CallState == StateIncomingConnected; }));

    t.exchange->dropLink();
    ASSERT_TRUE(t.pumpUntil([&] { return t.call().CallState == StateIdle; }));
    EXPECT_EQ(CallLogRecords(*t.program).size(), 1u);
    EXPECT_TRUE(fileText(t.dir.filePath(QStringLiteral("error.log"))).contains(QStringLiteral("lost")));
    // The status bar says which server went away and when the line tries again.
    const Program::LineStatus lost = t.program->lineStatus();
    EXPECT_FALSE(lost.ready);
    EXPECT_TRUE(lost.text.startsWith(
        QStringLiteral("CAPI server 127.0.0.1:%1 (fritzbox) lost – reconnecting").arg(ExchangePort())))
        << lost.text.toStdString();

    ASSERT_TRUE(t.exchange->waitFor(
        [](const CapiExchange& x) { return x.registeredApplications() == 1 && ListeningAgain(x); }, 8000));
    ASSERT_TRUE(WaitUntil([&] { return t.program->lineStatus().ready; }));
    t.clock.advance(std::chrono::minutes(5));
    EXPECT_EQ(t.program->lineStatus().text, QStringLiteral("ISDN line ready again since 09:00"))
        << "the time the program saw the line back";
    t.exchange->offerCall("30123456", "5551");
    EXPECT_TRUE(t.pumpUntil([&] { return t.call().CallState == StateIncomingRinging; }));
}

TEST(CapiProgramTwoCalls, TheRingingCallIsAnsweredAfterOtherOffersWereIgnored) {
    CapiProgram t;
    t.program->Konfigurationen().Item(1).setStrMSN(2, QStringLiteral("5552"));
    QStringList messages;
    t.program->commands().setShowMessage([&messages](const QString& text) { messages << text; });
    const int first = t.exchange->offerCall("891234567", "5551");
    ASSERT_TRUE(t.pumpUntil([&] { return t.call().CallState == StateIncomingRinging; }));
    const int32_t handle = t.cti().event.callHandle;

    // A second caller of the same number and a call to the other MSN, both while the first rings.
    const int second = t.exchange->offerCall("30123456", "5551");
    const int other = t.exchange->offerCall("40123456", "5552");
    ASSERT_TRUE(t.exchange->waitFor(
        [&](const CapiExchange& x) {
            return exchangeState(x, second, ExchangeCall::Ignored) &&
                   exchangeState(x, other, ExchangeCall::Ignored);
        },
        3000))
        << stateName(t.exchange->call(second)->state).toStdString() << " "
        << stateName(t.exchange->call(other)->state).toStdString();
    t.pumpUntil([] { return false; }, 200);
    EXPECT_EQ(t.cti().event.callHandle, handle);
    EXPECT_EQ(t.cti().lngAlerted, 1);
    EXPECT_EQ(t.call().CallNumber, QStringLiteral("0891234567"));

    t.program->commands().Eurit_Answer();
    ASSERT_TRUE(t.pumpUntil([&] { return t.call().CallState == StateIncomingConnected; }))
        << messages.join(u'|').toStdString();
    EXPECT_TRUE(messages.isEmpty());
    EXPECT_TRUE(t.exchange->waitFor(
        [first](const CapiExchange& x) { return exchangeState(x, first, ExchangeCall::Active); }, 3000));

    // The ignored callers give up; the talk goes on and is the one call logged.
    t.exchange->hangUp(second, 0x3490);
    t.exchange->hangUp(other, 0x3490);
    t.pumpUntil([] { return false; }, 200);
    EXPECT_EQ(t.call().CallState, StateIncomingConnected);
    t.clock.advance(30s);
    t.exchange->hangUp(first, 0x3490);
    ASSERT_TRUE(t.pumpUntil([&] { return t.call().CallState == StateIdle; }));
    const auto records = CallLogRecords(*t.program);
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].PartnerRufnummer, QStringLiteral("0891234567"));
    EXPECT_EQ(records[0].Verbindungsstatus, StateIncomingConnected);
    EXPECT_EQ(records[0].Gesprächsdauer, 30);
    EXPECT_TRUE(t.exchange->violations().empty()) << t.exchange->violations().front().toStdString();
}

TEST(CapiProgramTwoCalls, ADialDuringACallIsRefusedAndTheCallIsStillLoggedAsItWas) {
    CapiProgram t;
    QStringList messages;
    t.program->commands().setShowMessage([&messages](const QString& text) { messages << text; });
    const int call = t.exchange->offerCall("891234567", "5551");
    ASSERT_TRUE(t.pumpUntil([&] { return t.call().CallState == StateIncomingRinging; }));

    // Enter in the number field while the call rings: the dial takes the record, the line refuses it.
    t.program->commands().Eurit_Dial(QStringLiteral("0301111"));
    ASSERT_EQ(messages.size(), 1);
    EXPECT_TRUE(messages[0].startsWith(QStringLiteral("Err: CtiConnect -"))) << messages[0].toStdString();
    EXPECT_EQ(t.call().CallState, StateIdle);
    EXPECT_EQ(t.call().CallNumber, QStringLiteral("0301111"));

    // The call still rings, is answered, and a dial during the talk fares the same.
    t.program->commands().Eurit_Answer();
    ASSERT_TRUE(t.pumpUntil([&] { return t.call().CallState == StateIncomingConnected; }));
    t.clock.advance(20s);
    t.program->clockTick();
    t.program->commands().Eurit_Dial(QStringLiteral("0302222"));
    EXPECT_EQ(messages.size(), 2);
    EXPECT_EQ(t.call().CallState, StateIdle);
    t.clock.advance(25s);
    t.program->clockTick();

    t.exchange->hangUp(call, 0x3490);
    ASSERT_TRUE(t.pumpUntil([&] { return CallLogRecords(*t.program).size() == 1; }));
    const EZGRecord record = CallLogRecords(*t.program)[0];
    EXPECT_EQ(record.PartnerRufnummer, QStringLiteral("0891234567"));
    EXPECT_EQ(record.MSN, QStringLiteral("5551"));
    EXPECT_EQ(record.Richtung, 1);
    EXPECT_EQ(record.Verbindungsstatus, StateIncomingConnected);
    EXPECT_EQ(record.Gesprächsdauer, 45) << "from the answer on, not from the dial";
    EXPECT_EQ(t.exchange->lastCallId(), call) << "no second call went out";
    EXPECT_TRUE(t.exchange->violations().empty()) << t.exchange->violations().front().toStdString();
}

TEST(CapiProgramStop, AStopDuringACallClearsItAndLogsIt) {
    for (const bool answered : {true, false}) {
        SCOPED_TRACE(answered ? "talking" : "ringing");
        CapiProgram t;
        const int call = t.exchange->offerCall("891234567", "5551");
        ASSERT_TRUE(t.pumpUntil([&] { return t.call().CallState == StateIncomingRinging; }));
        if (answered) {
            t.program->commands().Eurit_Answer();
            ASSERT_TRUE(t.pumpUntil([&] { return t.call().CallState == StateIncomingConnected; }));
        }
        t.clock.advance(42s);
        t.program->clockTick();
        t.program->stopLine();
        const auto records = CallLogRecords(*t.program);
        ASSERT_EQ(records.size(), 1u);
        EXPECT_EQ(records[0].PartnerRufnummer, QStringLiteral("0891234567"));
        EXPECT_EQ(records[0].Verbindungsstatus, answered ? StateIncomingConnected : StateIncomingRinging);
        EXPECT_EQ(records[0].Gesprächsdauer, answered ? 42 : 0);
        // A talk is cleared; a call that rang here is let go, as Hang up lets it go: other telephones on
        // the line may still take it.
        const auto end = answered ? ExchangeCall::Ended : ExchangeCall::Ignored;
        EXPECT_TRUE(
            t.exchange->waitFor([&](const CapiExchange& x) { return exchangeState(x, call, end); }, 3000))
            << stateName(t.exchange->call(call)->state).toStdString();
        EXPECT_TRUE(t.exchange->violations().empty()) << t.exchange->violations().front().toStdString();
    }
}
