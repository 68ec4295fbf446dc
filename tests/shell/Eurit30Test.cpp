// The shared call record and the status panel's logic, without a window.

#include "tests/support/TestProgram.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

struct RecordingWindow : WindowReactions {
    int shown = 0, minimized = 0;
    void showNormalAndFocus() override { ++shown; }
    void minimize() override { ++minimized; }
};

TEST(CallButtons, FollowTheStateTable) {
    struct Row {
        int16_t state;
        CallButtons buttons;
        const char* status;
    };
    const Row rows[] = {
        {0, {false, false, true, false, true}, ""},
        {6, {false, false, true, true, true}, "Ringing (outgoing)"},
        {16, {false, false, true, true, false}, "Connected (outgoing)"},
        {134, {true, false, false, true, true}, "Ringing (incoming)"},
        {135, {false, true, false, true, true}, "Answering machine (incoming)"},
        {144, {false, false, true, true, false}, "Connected (incoming)"},
        {5, {false, false, true, true, true}, "Unknown call state"},
        {77, {false, false, true, true, true}, "Unknown call state"},
    };
    TestProgram t(false);
    for (const Row& row : rows) {
        t.call().CallState = row.state;
        t.call().Eurit_ShowCallState(MaskState);
        EXPECT_EQ(t.call().panel().buttons, row.buttons) << "state " << row.state;
        EXPECT_EQ(t.call().panel().lblStatus, QString::fromUtf8(row.status)) << "state " << row.state;
    }
}

TEST(ShowCallState, IdleShowsTheLastReasonWhichSurvivesAReset) {
    TestProgram t(false);
    t.call().IdleStatusText = QStringLiteral("User busy");
    t.call().Eurit_ResetCall();
    t.call().Eurit_ShowCallState(MaskAll);
    EXPECT_EQ(t.call().panel().lblStatus, QStringLiteral("User busy"));
}

TEST(ShowCallFields, EachMaskBitTouchesOnlyItsFields) {
    TestProgram t(false);
    Eurit30& call = t.call();
    call.CallState = StateIncomingConnected;
    call.CallNumber = QStringLiteral("0891234567");
    call.CallMSN = QStringLiteral("5551");
    call.CallDuration = QStringLiteral("00:00:09");
    call.CallCharge = QStringLiteral("0,12");

    call.Eurit_ShowCallFields(MaskDuration);
    EXPECT_EQ(call.panel().lblDauer, QStringLiteral("00:00:09"));
    EXPECT_TRUE(call.panel().lblName.isEmpty());
    EXPECT_TRUE(call.panel().lblGebühren.isEmpty());

    call.Eurit_ShowCallFields(MaskCharge);
    EXPECT_EQ(call.panel().lblGebühren, QStringLiteral("0,12"));
    EXPECT_TRUE(call.panel().lblMSN.isEmpty());

    call.Eurit_ShowCallFields(MaskMSN);
    EXPECT_EQ(call.panel().lblMSN, QStringLiteral("5551"));
    EXPECT_TRUE(call.panel().txtNumber.isEmpty());

    call.Eurit_ShowCallFields(MaskNumber);
    EXPECT_EQ(call.panel().lblName, QStringLiteral("0891234567"));
    EXPECT_EQ(call.panel().txtNumber, QStringLiteral("0891234567"));
    EXPECT_EQ(call.panel().DDENummer, QStringLiteral("0891234567"));
    EXPECT_EQ(call.ShownNumber, QStringLiteral("0891234567"));
    EXPECT_EQ(t.program->lastNumbers.numbers(), QStringList{QStringLiteral("0891234567")});
}

TEST(ShowCallFields, InIdleTheNumberBitKeepsWhatTheUserTyped) {
    TestProgram t(false);
    Eurit30& call = t.call();
    call.setTxtNumber(QStringLiteral("0301"));
    call.CallNumber = QStringLiteral("12345");
    t.program->settings.Vorwahl = QStringLiteral("089");
    call.Eurit_ShowCallFields(MaskAll);
    EXPECT_EQ(call.panel().txtNumber, QStringLiteral("0301"));
    EXPECT_EQ(call.panel().lblName, QStringLiteral("08912345"))
        << "name and place are rewritten even in idle";
    EXPECT_EQ(call.ShownNumber, QStringLiteral("08912345"));
}

TEST(ShowCallState, ARingingNumberStaysOneEntryOnTopOfTheLastUsed) {
    TestProgram t(false);
    t.program->lastNumbers.RememberNumber(QStringLiteral("0301"));
    t.call().CallState = StateIncomingRinging;
    t.call().CallNumber = QStringLiteral("0891234567");
    t.call().Eurit_ShowCallState(MaskAll);
    t.call().Eurit_ShowCallState(MaskAll);
    EXPECT_EQ(t.program->lastNumbers.numbers(),
              (QStringList{QStringLiteral("0891234567"), QStringLiteral("0301")}));
}

TEST(CallClock, CountsOnlyWhileConnectedAndFromTheLastSecondBefore) {
    TestProgram t(false);
    Eurit30& call = t.call();
    call.CallState = StateIncomingRinging;
    t.clock.advance(5s);
    call.Eurit_UpdateCallClock();
    EXPECT_EQ(call.CallDuration, QStringLiteral("00:00:00"));
    EXPECT_EQ(call.CallStart, t.clock.now()) << "ringing moves the start along";

    call.CallState = StateIncomingConnected;
    t.clock.advance(3723s);
    call.Eurit_UpdateCallClock();
    EXPECT_EQ(call.CallDuration, QStringLiteral("01:02:03"));
    EXPECT_EQ(call.panel().lblDauer, QStringLiteral("01:02:03"));

    call.CallState = StateIncomingMachine;
    t.clock.advance(10s);
    call.Eurit_UpdateCallClock();
    EXPECT_EQ(call.CallDuration, QStringLiteral("01:02:03")) << "the machine's call keeps no clock";

    call.CallState = StateIdle;
    call.Eurit_UpdateCallClock();
    EXPECT_EQ(call.CallDuration, QStringLiteral("00:00:00"));
    EXPECT_EQ(call.panel().lblDauer, QStringLiteral("01:02:03")) << "idle leaves the last duration shown";
}

TEST(ActionTrigger, MapsCallStates) {
    EXPECT_EQ(ActionTrigger(0), 0);
    EXPECT_EQ(ActionTrigger(6), 1);
    EXPECT_EQ(ActionTrigger(16), 2);
    EXPECT_EQ(ActionTrigger(134), 3);
    EXPECT_EQ(ActionTrigger(144), 4);
    EXPECT_EQ(ActionTrigger(135), 5) << "the machine's call is not a connected call";
    EXPECT_EQ(ActionTrigger(5), 5);
}

TEST(CallStateReactions, RaiseOnRingMinimiseOnSilenceAndMarkTheNumberSeen) {
    TestProgram t(false);
    RecordingWindow window;
    t.program->actions.setWindow(&window);
    Eurit30& call = t.call();

    call.CallState = StateIncomingRinging;
    call.Eurit_ShowCallState(MaskState);
    call.CallState = StateIdle;
    call.Eurit_ShowCallState(MaskState);
    EXPECT_EQ(window.shown, 0);
    EXPECT_EQ(window.minimized, 0);

    t.program->settings.Showonring = 1;
    t.program->settings.MinimizeOnSilence = 1;
    call.CallState = StateIncomingRinging;
    call.Eurit_ShowCallState(MaskState);
    EXPECT_EQ(window.shown, 1);
    call.CallState = StateIdle;
    call.Eurit_ShowCallState(MaskState);
    EXPECT_EQ(window.minimized, 1);

    // A call not answered earlier today stands in the list of new calls until the number talks.
    call.CallNumber = QStringLiteral("0891234567");
    call.CallDirection = 1;
    call.CallState = StateIncomingRinging;
    call.Eurit_CallFinished();
    ListItems& calls = t.program->lvListAnrufe;
    ASSERT_EQ(calls.Count(), 1);
    call.CallState = StateIncomingMachine;
    call.Eurit_ShowCallState(MaskState);
    EXPECT_EQ(calls.Count(), 1) << "trigger 5: the machine's call marks nothing";
    call.CallState = StateIncomingConnected;
    call.Eurit_ShowCallState(MaskState);
    EXPECT_EQ(calls.Count(), 0) << "marked read, and the list shown anew";
    EXPECT_EQ(CallLogRecords(*t.program)[0].Neu, 0);
    t.program->actions.setWindow(nullptr);
}

TEST(CallFinished, LogsTheRecordRefreshesOnlyForIncomingAndHonoursLogEnable) {
    TestProgram t(false);
    Eurit30& call = t.call();
    int refreshes = 0;
    QObject::connect(&call, &Eurit30::callsListRefreshRequested, [&] { ++refreshes; });
    call.CallDirection = 2;
    call.CallNumber = QStringLiteral("0301");
    call.Eurit_CallFinished();
    EXPECT_EQ(refreshes, 0);
    call.CallDirection = 1;
    call.Eurit_CallFinished();
    EXPECT_EQ(refreshes, 1);
    EXPECT_EQ(CallLogRecords(*t.program).size(), 2u);
    t.program->settings.LogEnable = 0;
    call.Eurit_CallFinished();
    EXPECT_EQ(CallLogRecords(*t.program).size(), 2u);
}

} // namespace
