// The start and stop of the line binding, its fatal paths, and the hand-over between the library's
// thread and the pump.

#include "tests/support/TestLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::_;
using ::testing::Return;

namespace {

class MockCtiLibrary : public CtiLibrary {
public:
    MOCK_METHOD(int32_t, cti_Init, (), (override));
    MOCK_METHOD(int32_t, cti_Exit, (), (override));
    MOCK_METHOD(int32_t, cti_Register, (const EifcConfigBlock&, const FdWaveConfigBlock&, CtiEventCallback),
                (override));
    MOCK_METHOD(int32_t, cti_Release, (int32_t), (override));
    MOCK_METHOD(int32_t, cti_IcaSetConfig, (int32_t, const EifcConfigBlock&), (override));
    MOCK_METHOD(int32_t, cti_IcaGetConfig, (int32_t, EifcConfigBlock&), (override));
    MOCK_METHOD(int32_t, cti_IcaSetAlert, (int32_t, int32_t), (override));
    MOCK_METHOD(int32_t, cti_AnswerCall, (int32_t, int32_t), (override));
    MOCK_METHOD(int32_t, cti_Connect, (int32_t), (override));
    MOCK_METHOD(int32_t, cti_Disconnect, (int32_t), (override));
    MOCK_METHOD(int32_t, cti_SndOutFileStart, (int32_t, const QByteArray&), (override));
    MOCK_METHOD(int32_t, cti_SndOutFileStop, (int32_t), (override));
    MOCK_METHOD(int32_t, cti_SndInFileStart, (int32_t, const QByteArray&, int16_t), (override));
    MOCK_METHOD(int32_t, cti_SndInFileStop, (int32_t), (override));
    MOCK_METHOD(int32_t, cti_SndOutStart, (int32_t), (override));
    MOCK_METHOD(int32_t, cti_SndOutStop, (int32_t), (override));
    MOCK_METHOD(int32_t, cti_SndInStart, (int32_t), (override));
    MOCK_METHOD(int32_t, cti_SndInStop, (int32_t), (override));
    MOCK_METHOD(int32_t, cti_GetCapiProfile, (int32_t, int32_t&, int32_t&), (override));
    MOCK_METHOD(int32_t, cti_SetDebugFlag, (int32_t), (override));
};

// The binding on a mocked line library, not started.
struct MockedLine : TestLine {
    MockCtiLibrary* mock;
    MockedLine() : TestLine(std::make_unique<::testing::NiceMock<MockCtiLibrary>>(), false) {
        mock = static_cast<MockCtiLibrary*>(library.get());
        settings.ErrorLogOn = 1;
    }
    QString debugText() const {
        QFile f(dir.filePath(QStringLiteral("debug.txt")));
        return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
    }
};

TEST(CtiInit, FillsTheBlocksFromTheSettings) {
    MockedLine p;
    p.settings.BlockSize = 512;
    p.settings.ErrorLogOn = 1;
    EXPECT_CALL(*p.mock, cti_Init()).WillOnce(Return(1));
    EifcFields registered;
    FdWaveConfigBlock wave;
    EXPECT_CALL(*p.mock, cti_Register(_, _, _))
        .WillOnce([&](const EifcConfigBlock& c, const FdWaveConfigBlock& w, CtiEventCallback) {
            registered = c.decode();
            wave = w;
            return 3;
        });
    ASSERT_TRUE(p.startLine());
    EXPECT_EQ(registered.MaxBDataLen, 512);
    EXPECT_EQ(registered.Listen, 1);
    EXPECT_EQ(registered.CipMask, 0x10010);
    EXPECT_EQ(registered.DebugEnable, 1);
    EXPECT_TRUE(registered.LogFile.endsWith("/Ctilog.txt"));
    EXPECT_EQ(wave.value(0), 100);
    EXPECT_EQ(wave.value(1), 1024);
    EXPECT_EQ(wave.value(2), 10);
    EXPECT_EQ(wave.value(3), 1024);
    EXPECT_EQ(wave.value(4), -1);
    EXPECT_EQ(wave.value(5), -1);
    EXPECT_EQ(p.binding.channel()->lngCtiId, 3);
}

TEST(CtiInit, AFailingLibraryIsFatalWithItsLogLine) {
    MockedLine p;
    EXPECT_CALL(*p.mock, cti_Init()).WillOnce(Return(0));
    EXPECT_CALL(*p.mock, cti_Register(_, _, _)).Times(0);
    EXPECT_FALSE(p.startLine());
    EXPECT_EQ(p.binding.fatalMessage(), QStringLiteral("CtiInit:Failed Reason: 0"));
    EXPECT_TRUE(p.debugText().contains(QStringLiteral("\tCtiInit:Failed Reason: 0\n")));
}

TEST(CtiRegisterChannel, AFailedRegistrationIsFatalWithItsLogLine) {
    MockedLine p;
    EXPECT_CALL(*p.mock, cti_Init()).WillOnce(Return(1));
    EXPECT_CALL(*p.mock, cti_Register(_, _, _)).WillOnce(Return(-4105));
    EXPECT_FALSE(p.startLine());
    EXPECT_TRUE(p.debugText().contains(QStringLiteral("CtiRegister: Failed Channel 0 Err: -4105")));
    EXPECT_EQ(p.binding.channel()->lngCtiId, -1);
}

TEST(CtiRegister, ASecondRegistrationDoesNotRegisterAgain) {
    TestLine t;
    EXPECT_EQ(t.cti().CtiRegister([](const CtiEvent&) {}), -1);
    EXPECT_EQ(t.line->requests().count(QStringLiteral("Register")), 1);
}

TEST(CtiExit, AFailingExitIsLoggedAndTheStopGoesOn) {
    MockedLine p;
    EXPECT_CALL(*p.mock, cti_Init()).WillOnce(Return(1));
    EXPECT_CALL(*p.mock, cti_Register(_, _, _)).WillOnce(Return(1));
    EXPECT_CALL(*p.mock, cti_Exit()).WillOnce(Return(-2));
    ASSERT_TRUE(p.startLine());
    p.stopLine();
    EXPECT_TRUE(p.debugText().contains(QStringLiteral("cti_Exit: Failed, Reason: -2")));
    EXPECT_EQ(p.binding.channel(), nullptr);
}

TEST(CtiWrappers, AnUnregisteredChannelAnswersWithoutCallingTheLibrary) {
    MockedLine p;
    EXPECT_CALL(*p.mock, cti_Init()).WillOnce(Return(1));
    ASSERT_TRUE(p.binding.CtiInit());
    clsCti& cti = *p.binding.channel();
    EXPECT_CALL(*p.mock, cti_Connect(_)).Times(0);
    EXPECT_CALL(*p.mock, cti_IcaGetConfig(_, _)).Times(0);
    EXPECT_EQ(cti.CtiConnect(), -1);
    EXPECT_EQ(cti.CtiDisconnect(), -1);
    EXPECT_EQ(cti.CtiIcaGetConfig(), -3);
    EXPECT_CALL(*p.mock, cti_SetDebugFlag(1)).WillOnce(Return(0));
    EXPECT_EQ(cti.CtiSetDebugFlag(1), 0) << "called without the registration test";
    EXPECT_CALL(*p.mock, cti_Release(-1)).WillOnce(Return(-5));
    EXPECT_EQ(cti.CtiRelease(), -5);
    EXPECT_EQ(cti.lngCtiId, -1);
}

TEST(CtiEventPump, AnEventOfAnUnknownChannelIsDroppedAndLogged) {
    TestLine t;
    CtiEvent e;
    e.setType(CtiEvent::CallState);
    e.setXcId(99);
    e.setStateName("D_ConnectPending");
    {
        std::lock_guard lock(t.binding.queue().mutex);
        ASSERT_TRUE(t.binding.queue().push(e));
    }
    t.eventTick();
    EXPECT_EQ(t.binding.pendingEvents(), 0);
    EXPECT_EQ(t.call.CallState, StateIdle);
    const QStringList lines = t.logLines(QStringLiteral("error.log"));
    ASSERT_EQ(lines.size(), 1);
    EXPECT_TRUE(lines[0].endsWith(QStringLiteral(" GetCtiIdbyXcId failed")));
}

TEST(CtiEventEntry, AnEventForNoChannelIsNotQueued) {
    TestLine t;
    CtiEvent e;
    e.setType(CtiEvent::Dtmf);
    e.setXcId(42);
    t.binding.CtiEventEntry(e);
    EXPECT_EQ(t.binding.pendingEvents(), 0);
    EXPECT_EQ(t.binding.queue().busy, 0);
}

TEST(CtiEventPump, SkipsItsTickWhileTheEntryIsBusy) {
    TestLine t;
    t.line->sendDtmf('5');
    t.line->waitIdle();
    ASSERT_EQ(t.binding.pendingEvents(), 1);
    CtiEventQueue& q = t.binding.queue();
    q.busy = 1;
    t.eventTick();
    EXPECT_EQ(t.binding.pendingEvents(), 1) << "busy flag up: nothing taken";
    q.busy = 0;
    {
        std::lock_guard lock(q.mutex); // the entry holds the ring
        t.eventTick();
        EXPECT_EQ(q.count(), 1) << "ring locked: the pump does not wait";
    }
    t.eventTick();
    EXPECT_EQ(t.binding.pendingEvents(), 0);
}

TEST(CtiEventPump, OneEventPerTick) {
    TestLine t;
    for (char d : {'1', '2', '3'})
        t.line->sendDtmf(d);
    t.line->waitIdle();
    ASSERT_EQ(t.binding.pendingEvents(), 3);
    t.eventTick();
    EXPECT_EQ(t.binding.pendingEvents(), 2);
    EXPECT_EQ(t.cti().event.dtmfDigit, '1');
}

TEST(CtiEventEntry, AFullRingDropsNewEventsLogsThemAndKeepsRoomForTheCallsEnd) {
    TestLine t;
    t.cti().CtiAnswerCall(t.ring());
    t.settle();
    ASSERT_EQ(t.call.CallState, StateIncomingConnected);

    // The main thread stands still while the far end keys 60 digits.
    for (int i = 0; i < 60; ++i)
        t.line->sendDtmf('1');
    t.line->waitIdle();
    const int16_t kept = CtiEventQueue::Slots - CtiBinding::SlotsKeptForCallEnds;
    EXPECT_EQ(t.binding.pendingEvents(), kept);
    EXPECT_EQ(t.logLines(QStringLiteral("error.log")).filter(QStringLiteral("CtiEventQueue full")).size(),
              60 - kept);

    t.line->clearRequests();
    t.line->offerCall("892222222", "5551", true);
    t.line->farEndHangsUp(0x3490, 1);
    t.line->waitIdle();
    EXPECT_EQ(t.line->requests(), QStringList{QStringLiteral("IcaSetAlert 0")});
    EXPECT_EQ(t.binding.pendingEvents(), kept + 1) << "the end of the call found its slot";

    t.settle();
    EXPECT_EQ(t.call.CallState, StateIdle);
    EXPECT_EQ(t.call.finished.size(), 1u);
}

TEST(CtiExit, TakesWhatIsLeftSoTheLastCallIsStillLogged) {
    TestLine t;
    t.cti().CtiAnswerCall(t.ring());
    t.settle();
    ASSERT_EQ(t.call.CallState, StateIncomingConnected);
    t.line->farEndHangsUp();
    t.line->waitIdle();
    ASSERT_EQ(t.binding.pendingEvents(), 1) << "the event timer is off: the end still waits in the ring";
    t.stopLine();
    EXPECT_EQ(t.call.finished.size(), 1u) << "the call's end reached the record";
    EXPECT_EQ(t.call.CallState, StateIdle);
    EXPECT_EQ(t.binding.channel(), nullptr);
    EXPECT_TRUE(t.line->requests().contains(QStringLiteral("Exit")));
}

TEST(LibraryReports, FileAndErrorReportsRunAtOnceOutsideTheQueue) {
    TestLine t;
    CtiEvent fileOut;
    fileOut.setType(CtiEvent::FileOut);
    fileOut.setFileOutValue(0, 7);
    fileOut.setFileOutValue(1, 0);
    t.line->raise(fileOut);
    CtiEvent error;
    error.setType(CtiEvent::LibraryError);
    error.setErrorNumber(12);
    error.setErrorText("controller lost");
    t.line->raise(error);
    t.line->waitIdle();
    EXPECT_EQ(t.binding.pendingEvents(), 0);
    EXPECT_EQ(t.cti().fileOutReport[0], 7);
    const QStringList errors = t.logLines(QStringLiteral("error.log"));
    ASSERT_EQ(errors.size(), 1);
    EXPECT_TRUE(errors[0].endsWith(QStringLiteral("Line library error 12: controller lost")));
}

} // namespace
