// The shared call record and the status panel's logic, without a window.

#include "tests/support/TestCallRecord.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

QString S(const char* text) {
    return QString::fromUtf8(text);
}

struct RecordingWindow : WindowReactions {
    int shown = 0, minimized = 0;
    void showNormalAndFocus() override { ++shown; }
    void minimize() override { ++minimized; }
};

TEST(CallButtons, FollowTheStateTableAndIdleShowsTheLastReason) {
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
    TestCallRecord t;
    for (const Row& row : rows) {
        t.call.CallState = row.state;
        t.call.Eurit_ShowCallState(MaskState);
        EXPECT_EQ(t.call.panel().buttons, row.buttons) << "state " << row.state;
        EXPECT_EQ(t.call.panel().lblStatus, QString::fromUtf8(row.status)) << "state " << row.state;
    }
    t.call.IdleStatusText = S("User busy");
    t.call.Eurit_ResetCall();
    t.call.Eurit_ShowCallState(MaskAll);
    EXPECT_EQ(t.call.panel().lblStatus, S("User busy")) << "the reason survives a reset";
}

TEST(ShowCallFields, EachMaskBitTouchesOnlyItsFieldsAndIdleKeepsTheTypedNumber) {
    TestCallRecord t;
    Eurit30& call = t.call;
    call.CallState = StateIncomingConnected;
    call.CallNumber = S("0891234567");
    call.CallMSN = S("5551");
    call.CallDuration = S("00:00:09");
    call.CallCharge = S("0,12");

    call.Eurit_ShowCallFields(MaskDuration);
    EXPECT_EQ(call.panel().lblDauer, S("00:00:09"));
    EXPECT_TRUE(call.panel().lblName.isEmpty());
    EXPECT_TRUE(call.panel().lblGebühren.isEmpty());

    call.Eurit_ShowCallFields(MaskCharge);
    EXPECT_EQ(call.panel().lblGebühren, S("0,12"));
    EXPECT_TRUE(call.panel().lblMSN.isEmpty());

    call.Eurit_ShowCallFields(MaskMSN);
    EXPECT_EQ(call.panel().lblMSN, S("5551"));
    EXPECT_TRUE(call.panel().txtNumber.isEmpty());

    call.Eurit_ShowCallFields(MaskNumber);
    EXPECT_EQ(call.panel().lblName, S("0891234567"));
    EXPECT_EQ(call.panel().txtNumber, S("0891234567"));
    EXPECT_EQ(call.panel().DDENummer, S("0891234567"));
    EXPECT_EQ(call.ShownNumber, S("0891234567"));
    EXPECT_EQ(t.lastNumbers.numbers(), QStringList{S("0891234567")});

    // In idle the number bit keeps what the user typed; name and place are rewritten all the same.
    call.CallState = StateIdle;
    call.setTxtNumber(S("0301"));
    call.CallNumber = S("12345");
    t.settings.Vorwahl = S("089");
    call.Eurit_ShowCallFields(MaskAll);
    EXPECT_EQ(call.panel().txtNumber, S("0301"));
    EXPECT_EQ(call.panel().lblName, S("08912345"));
    EXPECT_EQ(call.ShownNumber, S("08912345"));
}

TEST(CallClock, CountsOnlyWhileConnectedAndFromTheLastSecondBefore) {
    TestCallRecord t;
    Eurit30& call = t.call;
    call.CallState = StateIncomingRinging;
    t.clock.advance(5s);
    call.Eurit_UpdateCallClock();
    EXPECT_EQ(call.CallDuration, S("00:00:00"));
    EXPECT_EQ(call.CallStart, t.clock.now()) << "ringing moves the start along";

    call.CallState = StateIncomingConnected;
    t.clock.advance(3723s);
    call.Eurit_UpdateCallClock();
    EXPECT_EQ(call.CallDuration, S("01:02:03"));
    EXPECT_EQ(call.panel().lblDauer, S("01:02:03"));

    call.CallState = StateIncomingMachine;
    t.clock.advance(10s);
    call.Eurit_UpdateCallClock();
    EXPECT_EQ(call.CallDuration, S("01:02:03")) << "the machine's call keeps no clock";

    call.CallState = StateIdle;
    call.Eurit_UpdateCallClock();
    EXPECT_EQ(call.CallDuration, S("00:00:00"));
    EXPECT_EQ(call.panel().lblDauer, S("01:02:03")) << "idle leaves the last duration shown";
}

TEST(ActionTrigger, MapsCallStates) {
    // The machine's call (135) is not a connected call.
    for (auto [state, trigger] : {std::pair{0, 0}, {6, 1}, {16, 2}, {134, 3}, {144, 4}, {135, 5}, {5, 5}})
        EXPECT_EQ(ActionTrigger(int16_t(state)), trigger) << state;
}

TEST(CallStateReactions, RaiseOnRingMinimiseOnSilenceLogAndMarkTheNumberSeen) {
    TestCallRecord t;
    RecordingWindow window;
    t.actions.setWindow(&window);
    Eurit30& call = t.call;

    call.CallState = StateIncomingRinging;
    call.Eurit_ShowCallState(MaskState);
    call.CallState = StateIdle;
    call.Eurit_ShowCallState(MaskState);
    EXPECT_EQ(window.shown, 0);
    EXPECT_EQ(window.minimized, 0);

    t.settings.Showonring = 1;
    t.settings.MinimizeOnSilence = 1;
    call.CallState = StateIncomingRinging;
    call.Eurit_ShowCallState(MaskState);
    EXPECT_EQ(window.shown, 1);
    call.CallState = StateIdle;
    call.Eurit_ShowCallState(MaskState);
    EXPECT_EQ(window.minimized, 1);

    // A finished call is logged unless LogEnable is off, and only an incoming one refreshes the list of
    // calls. A call not answered earlier today stands in the list of new calls until the number talks.
    int refreshes = 0;
    QObject::connect(&call, &Eurit30::callsListRefreshRequested, [&] { ++refreshes; });
    call.CallNumber = S("0891234567");
    call.CallDirection = 2;
    call.Eurit_CallFinished();
    EXPECT_EQ(refreshes, 0);
    call.CallDirection = 1;
    call.CallState = StateIncomingRinging;
    call.Eurit_CallFinished();
    EXPECT_EQ(refreshes, 1);
    t.settings.LogEnable = 0;
    call.Eurit_CallFinished();
    ASSERT_EQ(t.CallLogRecords().size(), 2u);
    ListItems& calls = t.lvListAnrufe;
    ASSERT_EQ(calls.Count(), 1);
    call.CallState = StateIncomingMachine;
    call.Eurit_ShowCallState(MaskState);
    EXPECT_EQ(calls.Count(), 1) << "trigger 5: the machine's call marks nothing";
    call.CallState = StateIncomingConnected;
    call.Eurit_ShowCallState(MaskState);
    EXPECT_EQ(calls.Count(), 0) << "marked read, and the list shown anew";
    EXPECT_EQ(t.CallLogRecords()[1].Neu, 0);
    t.actions.setWindow(nullptr);
}

} // namespace
