// One call followed through the line binding into the shared call record, in each direction, with
// the alert decision, the answering machine's hand-over and the end of a call.

#include "tests/support/TestProgram.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

TEST(IncomingCall, RingsIsAnsweredTalksAndEnds) {
    TestProgram t;
    const int32_t handle = t.ring("891234567", "5551", true);
    Eurit30& call = t.call();

    EXPECT_EQ(call.CallState, StateIncomingRinging);
    EXPECT_EQ(call.CallDirection, 1);
    EXPECT_EQ(call.CallNumber, QStringLiteral("0891234567"));
    EXPECT_EQ(call.CallMSN, QStringLiteral("5551"));
    EXPECT_EQ(t.cti().lngAlerted, 1);
    EXPECT_EQ(t.cti().intMSNIndex, 1);
    EXPECT_EQ(t.cti().dateRingStart, t.clock.now());
    EXPECT_TRUE(t.line->requests().contains(QStringLiteral("IcaSetAlert 1")));
    EXPECT_TRUE(t.program->sound.playingFile().endsWith(QStringLiteral("/sound/ring.wav")));
    EXPECT_EQ(t.program->sound.playingLoops(), 100);
    EXPECT_EQ(call.panel().lblStatus, QStringLiteral("Ringing (incoming)"));

    t.clock.advance(3s);
    t.program->clockTick();
    t.line->clearRequests();
    t.program->commands.Eurit_Answer();
    t.settle();
    EXPECT_EQ(t.line->requests().first(), QStringLiteral("AnswerCall %1").arg(handle));
    EXPECT_EQ(call.CallState, StateIncomingConnected);
    EXPECT_EQ(call.CallStart, t.clock.now());
    EXPECT_TRUE(t.program->sound.playingFile().isEmpty()) << "the ring stops";
    EXPECT_TRUE(t.line->requests().contains(QStringLiteral("SndInStart")));
    EXPECT_TRUE(t.line->requests().contains(QStringLiteral("SndOutStart")));
    EXPECT_EQ(t.line->config().Listen, 0);

    t.clock.advance(75s);
    t.program->clockTick();
    EXPECT_EQ(call.panel().lblDauer, QStringLiteral("00:01:15"));

    t.line->farEndHangsUp(0x3490);
    t.settle();
    EXPECT_EQ(call.CallState, StateIdle);
    EXPECT_EQ(t.line->config().Listen, 1);
    const std::vector<EZGRecord> log = CallLogRecords(*t.program);
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].PartnerRufnummer, QStringLiteral("0891234567"));
    EXPECT_EQ(log[0].Verbindungsstatus, StateIncomingConnected)
        << "the entry reads the record before it is cleared";
    EXPECT_EQ(log[0].Richtung, 1);
    EXPECT_EQ(log[0].Gesprächsdauer, 75);
    EXPECT_EQ(log[0].MSN, QStringLiteral("5551"));
    EXPECT_EQ(call.IdleStatusText, QStringLiteral("Normal call clearing"));
    EXPECT_EQ(call.panel().lblStatus, call.IdleStatusText);
    EXPECT_TRUE(t.line->requests().contains(QStringLiteral("SndOutStop")));
}

TEST(IncomingCall, IncomingPrefixIsRemovedAndAnEmptyNumberIsUnbekannt) {
    TestProgram t;
    t.program->settings.NBST = 1;
    t.program->settings.NBSTAKZIN = QStringLiteral("0");
    t.ring("0891234567", "5551", false);
    EXPECT_EQ(t.call().CallNumber, QStringLiteral("891234567"));
    t.line->farEndHangsUp();
    t.settle();

    t.ring("", "5551", true);
    EXPECT_EQ(t.call().CallNumber, QStringLiteral("unbekannt"));
    EXPECT_EQ(t.call().panel().lblName, QStringLiteral("unbekannt"));
}

TEST(AlertDecision, ASecondCallDuringACallIsIgnoredAndChangesNothing) {
    TestProgram t;
    const int32_t first = t.ring("891111111", "5551", true);
    t.program->commands.Eurit_Answer();
    t.settle();
    ASSERT_EQ(t.call().CallState, StateIncomingConnected);

    t.line->clearRequests();
    const int32_t second = t.ring("892222222", "5551", true);
    EXPECT_EQ(t.line->requests(), QStringList{QStringLiteral("IcaSetAlert 0")});
    EXPECT_EQ(t.cti().lngAlerted, 0);
    EXPECT_EQ(t.call().CallState, StateIncomingConnected);
    EXPECT_EQ(t.call().CallNumber, QStringLiteral("0891111111"));

    // The caller of the ignored call gives up: the call in progress goes on.
    t.line->farEndHangsUp(0x3490, second);
    t.settle();
    EXPECT_EQ(t.call().CallState, StateIncomingConnected);
    EXPECT_TRUE(CallLogRecords(*t.program).empty());

    t.line->farEndHangsUp(0x3490, first);
    t.settle();
    EXPECT_EQ(t.call().CallState, StateIdle);
    EXPECT_EQ(CallLogRecords(*t.program).size(), 1u);
}

TEST(AlertDecision, ACallToNoOwnNumberIsIgnoredAndLeavesNoLogEntry) {
    TestProgram t;
    t.program->Konfigurationen.Item(1).setStrMSN(1, QStringLiteral("5551"));
    t.ring("891234567", "5559", true);
    EXPECT_TRUE(t.line->requests().contains(QStringLiteral("IcaSetAlert 0")));
    EXPECT_EQ(t.call().CallState, StateIdle);
    EXPECT_TRUE(t.call().CallNumber.isEmpty());
    EXPECT_TRUE(t.program->sound.playingFile().isEmpty());

    t.line->farEndHangsUp();
    t.settle();
    EXPECT_EQ(t.call().CallState, StateIdle);
    EXPECT_TRUE(CallLogRecords(*t.program).empty());
}

TEST(AlertDecision, TheRingFileIsThatOfTheMatchingMSN) {
    TestProgram t;
    clsConfig& set = t.program->Konfigurationen.Item(1);
    set.setStrMSN(1, QStringLiteral("5551"));
    set.setStrMSN(2, QStringLiteral("5552"));
    set.setStrMSNRufartFile(2, QStringLiteral("fax.wav"));
    t.ring("891234567", "5552", true);
    EXPECT_EQ(t.cti().intMSNIndex, 2);
    EXPECT_TRUE(t.program->sound.playingFile().endsWith(QStringLiteral("/sound/fax.wav")));
}

TEST(OutgoingCall, DialsWaitsConnectsAndIsHungUp) {
    TestProgram t;
    Eurit30& call = t.call();
    t.program->commands.Eurit_Dial(QStringLiteral("0891234567"));
    t.settle();
    EXPECT_EQ(call.CallState, StateOutgoingWaiting);
    EXPECT_EQ(call.CallDirection, 2);
    EXPECT_EQ(call.CallNumber, QStringLiteral("0891234567"));
    EXPECT_EQ(call.CallMSN, QStringLiteral("*")) << "the calling number is MSN 1 of set 1";
    EXPECT_TRUE(t.program->sound.playingFile().endsWith(QStringLiteral("/sound/frei.wav")));
    EXPECT_EQ(t.program->sound.playingLoops(), 100);
    EXPECT_EQ(call.panel().lblStatus, QStringLiteral("Ringing (outgoing)"));

    t.clock.advance(4s);
    t.program->clockTick();
    t.line->farEndAnswers();
    t.settle();
    EXPECT_EQ(call.CallState, StateOutgoingConnected);
    EXPECT_TRUE(t.program->sound.playingFile().isEmpty());
    EXPECT_EQ(call.panel().lblStatus, QStringLiteral("Connected (outgoing)"));

    t.clock.advance(10s);
    t.program->clockTick();
    t.program->commands.Eurit_Hangup();
    t.settle();
    EXPECT_EQ(call.CallState, StateIdle);
    ASSERT_EQ(CallLogRecords(*t.program).size(), 1u);
    EXPECT_EQ(CallLogRecords(*t.program)[0].Gesprächsdauer, 10);
    EXPECT_EQ(CallLogRecords(*t.program)[0].Richtung, 2);
}

TEST(OutgoingCall, ABusyCalleeHearsTheBusyToneAfterTheLogEntryAndBeforeIdle) {
    TestProgram t;
    t.program->commands.Eurit_Dial(QStringLiteral("0891234567"));
    t.settle();
    bool checked = false;
    t.program->sound.observer = [&](const QString& op, const QString& file) {
        if (op == QLatin1String("play") && file.endsWith(QLatin1String("besetzt.wav"))) {
            EXPECT_EQ(CallLogRecords(*t.program).size(), 1u);
            EXPECT_EQ(t.call().CallState, StateOutgoingWaiting);
            checked = true;
        }
    };
    t.line->farEndHangsUp(0x3491);
    t.settle();
    EXPECT_TRUE(checked);
    EXPECT_EQ(t.program->sound.playingLoops(), 1);
    EXPECT_EQ(t.call().CallState, StateIdle);
}

TEST(AnsweringMachine, ItsCallIsState135AndATakeOverWritesTwoLogEntries) {
    TestProgram t;
    t.ring("891234567", "5551", true);
    // The machine has decided to answer: it sets its state and answers the call itself.
    t.cti().lngABState = 1;
    t.cti().eifc.AnswerMode = 1;
    t.line->clearRequests();
    t.cti().CtiAnswerCall(t.cti().event.callHandle);
    t.settle();
    EXPECT_EQ(t.call().CallState, StateIncomingMachine);
    EXPECT_FALSE(t.line->requests().contains(QStringLiteral("SndInStart")))
        << "no voice path to the sound card";
    EXPECT_FALSE(t.call().panel().buttons.answerVisible);
    EXPECT_TRUE(t.call().panel().buttons.answerABVisible);

    t.clock.advance(20s);
    t.program->clockTick();
    t.cti().strRecordFile = t.program->sound.SoundFullPath(QStringLiteral("Msg20260105.wav"));
    t.cti().intRecording = 1;
    t.line->clearRequests();
    t.program->commands.Eurit_TakeOver();
    EXPECT_EQ(t.call().CallState, StateIncomingConnected);
    EXPECT_EQ(t.line->config().AnswerMode, 0);
    EXPECT_TRUE(t.line->requests().contains(QStringLiteral("SndInFileStop")));
    EXPECT_TRUE(t.line->requests().endsWith(QStringLiteral("SndOutStart")));
    ASSERT_EQ(CallLogRecords(*t.program).size(), 1u);
    EXPECT_EQ(CallLogRecords(*t.program)[0].Gesprächsdauer, 20);
    EXPECT_EQ(CallLogRecords(*t.program)[0].Tondatei, QStringLiteral("Msg20260105.wav"));
    EXPECT_EQ(t.call().panel().lblStatus, QStringLiteral("Connected (incoming)"));

    t.clock.advance(30s);
    t.line->farEndHangsUp();
    t.settle();
    ASSERT_EQ(CallLogRecords(*t.program).size(), 2u);
    EXPECT_EQ(CallLogRecords(*t.program)[1].Gesprächsdauer, 30);
    EXPECT_TRUE(CallLogRecords(*t.program)[1].Tondatei.isEmpty());
}

TEST(ListeningIn, SwitchesTheLineToTheSoundCardOnlyWhileTheMachineHasTheCall) {
    TestProgram t;
    t.line->clearRequests();
    t.cti().setABMithören(true);
    EXPECT_TRUE(t.line->requests().isEmpty());
    t.cti().lngABState = 2;
    t.cti().setABMithören(true);
    EXPECT_EQ(t.line->requests(), QStringList{QStringLiteral("SndOutStart")});
    t.cti().setABMithören(false);
    EXPECT_TRUE(t.line->requests().endsWith(QStringLiteral("SndOutStop")));
    EXPECT_FALSE(t.cti().ABMithören());
}

} // namespace
