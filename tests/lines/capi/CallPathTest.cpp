// One call followed through the line binding into the call record, in each direction, with the alert
// decision, the answering machine's hand-over and the end of a call. The record's display side only
// records what it is asked; what the panel and the log make of it is tested with the call record.

#include "tests/support/TestLine.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

// The binding's part of a dial: the numbers into the configuration block, then the connect request.
int32_t dial(TestLine& t, const QByteArray& number, const QByteArray& msn = "*") {
    t.cti().eifc.CalledNumber = number;
    t.cti().eifc.CallingNumber = msn;
    t.cti().CtiIcaSetConfig();
    return t.cti().CtiConnect();
}

TEST(IncomingCall, RingsIsAnsweredTalksAndEnds) {
    TestLine t;
    const int32_t handle = t.ring("891234567", "5551", true);
    RecordingDisplay& call = t.call;

    EXPECT_EQ(call.CallState, StateIncomingRinging);
    EXPECT_EQ(call.CallDirection, 1);
    EXPECT_EQ(call.CallNumber, QStringLiteral("0891234567"));
    EXPECT_EQ(call.CallMSN, QStringLiteral("5551"));
    EXPECT_EQ(t.cti().lngAlerted, 1);
    EXPECT_EQ(t.cti().intMSNIndex, 1);
    EXPECT_EQ(t.cti().dateRingStart, t.clock.now());
    EXPECT_TRUE(t.line->requests().contains(QStringLiteral("IcaSetAlert 1")));
    EXPECT_TRUE(t.sound.playingFile().endsWith(QStringLiteral("/sound/ring.wav")));
    EXPECT_EQ(t.sound.playingLoops(), 100);
    EXPECT_EQ(call.shownStates, std::vector<int16_t>{StateIncomingRinging});

    t.clock.advance(3s);
    t.line->clearRequests();
    ASSERT_EQ(t.cti().CtiAnswerCall(handle), 0);
    t.settle();
    EXPECT_EQ(t.line->requests().first(), QStringLiteral("AnswerCall %1").arg(handle));
    EXPECT_EQ(call.CallState, StateIncomingConnected);
    EXPECT_EQ(call.CallStart, t.clock.now());
    EXPECT_TRUE(t.sound.playingFile().isEmpty()) << "the ring stops";
    EXPECT_TRUE(t.line->requests().contains(QStringLiteral("SndInStart")));
    EXPECT_TRUE(t.line->requests().contains(QStringLiteral("SndOutStart")));
    EXPECT_EQ(t.line->config().Listen, 0);
    EXPECT_EQ(call.shownStates.back(), StateIncomingConnected);

    t.clock.advance(75s);
    t.line->farEndHangsUp(0x3490);
    t.settle();
    EXPECT_EQ(call.CallState, StateIdle);
    EXPECT_EQ(t.line->config().Listen, 1);
    ASSERT_EQ(call.finished.size(), 1u);
    const RecordingDisplay::Finished& end = call.finished[0];
    EXPECT_EQ(end.CallNumber, QStringLiteral("0891234567"));
    EXPECT_EQ(end.CallState, StateIncomingConnected) << "the entry reads the record before it is cleared";
    EXPECT_EQ(end.CallDirection, 1);
    EXPECT_EQ(end.CallDuration, QStringLiteral("00:01:15"));
    EXPECT_EQ(end.CallMSN, QStringLiteral("5551"));
    EXPECT_TRUE(end.CallSoundFile.isEmpty());
    EXPECT_EQ(call.IdleStatusText, QStringLiteral("Normal call clearing"));
    EXPECT_EQ(call.shownStates.back(), StateIdle) << "the idle state is shown after the reason is set";
    EXPECT_TRUE(t.line->requests().contains(QStringLiteral("SndOutStop")));
}

TEST(IncomingCall, IncomingPrefixIsRemovedAndAnEmptyNumberIsUnbekannt) {
    TestLine t;
    t.settings.NBST = 1;
    t.settings.NBSTAKZIN = QStringLiteral("0");
    t.ring("0891234567", "5551", false);
    EXPECT_EQ(t.call.CallNumber, QStringLiteral("891234567"));
    t.line->farEndHangsUp();
    t.settle();

    t.ring("", "5551", true);
    EXPECT_EQ(t.call.CallNumber, QStringLiteral("unbekannt"));
}

TEST(AlertDecision, ASecondCallDuringACallIsIgnoredAndChangesNothing) {
    TestLine t;
    const int32_t first = t.ring("891111111", "5551", true);
    t.cti().CtiAnswerCall(first);
    t.settle();
    ASSERT_EQ(t.call.CallState, StateIncomingConnected);
    const std::size_t shown = t.call.shownStates.size();

    t.line->clearRequests();
    const int32_t second = t.ring("892222222", "5551", true);
    EXPECT_EQ(t.line->requests(), QStringList{QStringLiteral("IcaSetAlert 0")});
    EXPECT_EQ(t.cti().lngAlerted, 1) << "the ignored call leaves the decision on the call in progress";
    EXPECT_EQ(t.cti().event.callHandle, first) << "and the handle that answers it";
    EXPECT_EQ(t.call.CallState, StateIncomingConnected);
    EXPECT_EQ(t.call.CallNumber, QStringLiteral("0891111111"));
    EXPECT_EQ(t.call.shownStates.size(), shown) << "nothing shown for the ignored call";

    // The caller of the ignored call gives up: the call in progress goes on.
    t.line->farEndHangsUp(0x3490, second);
    t.settle();
    EXPECT_EQ(t.call.CallState, StateIncomingConnected);
    EXPECT_TRUE(t.call.finished.empty());

    t.line->farEndHangsUp(0x3490, first);
    t.settle();
    EXPECT_EQ(t.call.CallState, StateIdle);
    ASSERT_EQ(t.call.finished.size(), 1u);
    EXPECT_EQ(t.call.finished[0].CallNumber, QStringLiteral("0891111111"));
}

TEST(AlertDecision, ACallOfferedWhileTheProgramDialsIsIgnoredBeforeTheLineNamesTheDial) {
    TestLine t;
    t.cti().eifc.CalledNumber = "0891234567";
    t.cti().CtiIcaSetConfig();
    ASSERT_EQ(t.binding.CtiDial(), 0);
    // The offer reaches the entry before the dial's "D_ConnectPending" does.
    CtiEvent offer;
    offer.setType(CtiEvent::CallState);
    offer.setXcId(t.cti().lngCtiId);
    offer.setCallHandle(77);
    offer.setCalledNumber("5551");
    offer.setCallingNumber("30123456");
    offer.setDirection(1);
    offer.setStateName(StateConnectPending);
    t.line->clearRequests();
    t.binding.CtiEventEntry(offer);
    EXPECT_EQ(t.line->requests(), QStringList{QStringLiteral("IcaSetAlert 0")});
    t.settle();
    EXPECT_EQ(t.call.CallState, StateOutgoingWaiting);
    EXPECT_EQ(t.call.CallNumber, QStringLiteral("0891234567"));

    // Once the dial has ended, calls are alerted again.
    ASSERT_EQ(t.cti().CtiDisconnect(), 0);
    t.settle();
    t.ring("891234567", "5551", true);
    EXPECT_EQ(t.call.CallState, StateIncomingRinging);
}

TEST(AlertDecision, ACallToNoOwnNumberIsIgnoredAndLeavesNoLogEntry) {
    TestLine t;
    t.Konfigurationen.Item(1).setStrMSN(1, QStringLiteral("5551"));
    t.ring("891234567", "5559", true);
    EXPECT_TRUE(t.line->requests().contains(QStringLiteral("IcaSetAlert 0")));
    EXPECT_EQ(t.call.CallState, StateIdle);
    EXPECT_TRUE(t.call.CallNumber.isEmpty());
    EXPECT_TRUE(t.sound.playingFile().isEmpty());
    EXPECT_TRUE(t.call.shownStates.empty());

    t.line->farEndHangsUp();
    t.settle();
    EXPECT_EQ(t.call.CallState, StateIdle);
    EXPECT_TRUE(t.call.finished.empty());
}

TEST(AlertDecision, TheRingFileIsThatOfTheMatchingMSN) {
    TestLine t;
    clsConfig& set = t.Konfigurationen.Item(1);
    set.setStrMSN(1, QStringLiteral("5551"));
    set.setStrMSN(2, QStringLiteral("5552"));
    set.setStrMSNRufartFile(2, QStringLiteral("fax.wav"));
    t.ring("891234567", "5552", true);
    EXPECT_EQ(t.cti().intMSNIndex, 2);
    EXPECT_TRUE(t.sound.playingFile().endsWith(QStringLiteral("/sound/fax.wav")));
}

TEST(OutgoingCall, DialsWaitsConnectsAndIsHungUp) {
    TestLine t;
    RecordingDisplay& call = t.call;
    ASSERT_EQ(dial(t, "0891234567"), 0);
    t.settle();
    EXPECT_EQ(call.CallState, StateOutgoingWaiting);
    EXPECT_EQ(call.CallDirection, 2);
    EXPECT_EQ(call.CallNumber, QStringLiteral("0891234567"));
    EXPECT_EQ(call.CallMSN, QStringLiteral("*")) << "the calling number the dial set";
    EXPECT_TRUE(t.sound.playingFile().endsWith(QStringLiteral("/sound/frei.wav")));
    EXPECT_EQ(t.sound.playingLoops(), 100);
    EXPECT_EQ(call.shownStates, std::vector<int16_t>{StateOutgoingWaiting});

    t.clock.advance(4s);
    t.line->farEndAnswers();
    t.settle();
    EXPECT_EQ(call.CallState, StateOutgoingConnected);
    EXPECT_EQ(call.CallStart, t.clock.now());
    EXPECT_TRUE(t.sound.playingFile().isEmpty());
    EXPECT_EQ(call.shownStates.back(), StateOutgoingConnected);

    t.clock.advance(10s);
    ASSERT_EQ(t.cti().CtiDisconnect(), 0);
    t.settle();
    EXPECT_EQ(call.CallState, StateIdle);
    ASSERT_EQ(call.finished.size(), 1u);
    EXPECT_EQ(call.finished[0].CallDuration, QStringLiteral("00:00:10"));
    EXPECT_EQ(call.finished[0].CallDirection, 2);
    EXPECT_EQ(call.finished[0].CallState, StateOutgoingConnected);
}

TEST(OutgoingCall, ABusyCalleeHearsTheBusyToneAfterTheLogEntryAndBeforeIdle) {
    TestLine t;
    dial(t, "0891234567");
    t.settle();
    bool checked = false;
    t.sound.observer = [&](const QString& op, const QString& file) {
        if (op == QLatin1String("play") && file.endsWith(QLatin1String("besetzt.wav"))) {
            EXPECT_EQ(t.call.finished.size(), 1u);
            EXPECT_EQ(t.call.CallState, StateOutgoingWaiting);
            checked = true;
        }
    };
    t.line->farEndHangsUp(0x3491);
    t.settle();
    EXPECT_TRUE(checked);
    EXPECT_EQ(t.sound.playingLoops(), 1);
    EXPECT_EQ(t.call.CallState, StateIdle);
    EXPECT_EQ(t.call.IdleStatusText, QStringLiteral("User busy"));
}

TEST(AnsweringMachine, ItsCallIsState135AndATakeOverWritesTwoLogEntries) {
    TestLine t;
    t.ring("891234567", "5551", true);
    // The machine has decided to answer: it sets its state and answers the call itself.
    t.cti().lngABState = 1;
    t.cti().eifc.AnswerMode = 1;
    t.line->clearRequests();
    t.cti().CtiAnswerCall(t.cti().event.callHandle);
    t.settle();
    EXPECT_EQ(t.call.CallState, StateIncomingMachine);
    EXPECT_EQ(t.call.shownStates.back(), StateIncomingMachine);
    EXPECT_FALSE(t.line->requests().contains(QStringLiteral("SndInStart")))
        << "no voice path to the sound card";

    t.clock.advance(20s);
    t.cti().strRecordFile = t.sound.SoundFullPath(QStringLiteral("Msg20260105.wav"));
    t.cti().intRecording = 1;
    t.line->clearRequests();
    ASSERT_EQ(t.cti().CtiABÜbernahme(), 0);
    EXPECT_EQ(t.call.CallState, StateIncomingConnected);
    EXPECT_EQ(t.call.shownStates.back(), StateIncomingConnected);
    EXPECT_EQ(t.line->config().AnswerMode, 0);
    EXPECT_TRUE(t.line->requests().contains(QStringLiteral("SndInFileStop")));
    EXPECT_TRUE(t.line->requests().endsWith(QStringLiteral("SndOutStart")));
    ASSERT_EQ(t.call.finished.size(), 1u);
    EXPECT_EQ(t.call.finished[0].CallDuration, QStringLiteral("00:00:20"));
    EXPECT_EQ(t.call.finished[0].CallState, StateIncomingMachine);
    EXPECT_EQ(t.call.finished[0].CallSoundFile, QStringLiteral("Msg20260105.wav"));

    t.clock.advance(30s);
    t.line->farEndHangsUp();
    t.settle();
    ASSERT_EQ(t.call.finished.size(), 2u);
    EXPECT_EQ(t.call.finished[1].CallDuration, QStringLiteral("00:00:30"));
    EXPECT_EQ(t.call.finished[1].CallState, StateIncomingConnected);
    EXPECT_TRUE(t.call.finished[1].CallSoundFile.isEmpty());
}

TEST(AnsweringMachine, AFailedTakeOverLeavesTheCallWithTheMachineAndLogsItOnce) {
    TestLine t;
    t.ring("891234567", "5551", true);
    t.cti().lngABState = 1;
    t.cti().eifc.AnswerMode = 1;
    t.cti().CtiAnswerCall(t.cti().event.callHandle);
    t.settle();
    ASSERT_EQ(t.call.CallState, StateIncomingMachine);

    t.clock.advance(20s);
    t.line->refuseConfig(StandInLine::IllegalApplication);
    EXPECT_EQ(t.cti().CtiABÜbernahme(), StandInLine::IllegalApplication);
    EXPECT_EQ(t.call.CallState, StateIncomingMachine);
    EXPECT_EQ(t.cti().eifc.AnswerMode, 1);
    EXPECT_TRUE(t.call.finished.empty()) << "nothing is logged for a take-over that did not happen";

    t.line->refuseConfig(0);
    t.clock.advance(10s);
    t.line->farEndHangsUp();
    t.settle();
    ASSERT_EQ(t.call.finished.size(), 1u);
    EXPECT_EQ(t.call.finished[0].CallState, StateIncomingMachine);
    EXPECT_EQ(t.call.finished[0].CallDuration, QStringLiteral("00:00:30"));
}

TEST(ListeningIn, SwitchesTheLineToTheSoundCardOnlyWhileTheMachineHasTheCall) {
    TestLine t;
    t.line->clearRequests();
    t.cti().setABMithören(true);
    EXPECT_TRUE(t.line->requests().isEmpty());
    EXPECT_EQ(t.call.statusShown, 0);
    t.cti().lngABState = 2;
    t.cti().setABMithören(true);
    EXPECT_EQ(t.line->requests(), QStringList{QStringLiteral("SndOutStart")});
    EXPECT_EQ(t.call.statusShown, 1) << "the status bar shows the listening";
    t.cti().setABMithören(false);
    EXPECT_TRUE(t.line->requests().endsWith(QStringLiteral("SndOutStop")));
    EXPECT_FALSE(t.cti().ABMithören());
}

} // namespace
