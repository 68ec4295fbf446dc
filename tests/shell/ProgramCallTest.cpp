// Calls through the whole program on the stand-in line: the user's commands, the line binding, the call
// record's panel, the phonebooks and the call log together, as the user sees them.

#include "tests/support/TestProgram.h"

#include <QDir>

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

QString S(const char* text) {
    return QString::fromUtf8(text);
}

TEST(ProgramCall, AnIncomingCallIsShownAnsweredTimedAndLogged) {
    TestProgram t;
    Eurit30& call = t.call();
    t.ring("891234567", "5551", true);
    EXPECT_EQ(call.panel().lblStatus, S("Ringing (incoming)"));
    EXPECT_EQ(call.panel().lblName, S("0891234567"));
    EXPECT_TRUE(call.panel().buttons.answerVisible);

    t.program->commands().Eurit_Answer();
    t.settle();
    EXPECT_EQ(call.panel().lblStatus, S("Connected (incoming)"));
    t.clock.advance(75s);
    t.program->clockTick();
    EXPECT_EQ(call.panel().lblDauer, S("00:01:15"));

    t.line->farEndHangsUp(0x3490);
    t.settle();
    const std::vector<EZGRecord> log = CallLogRecords(*t.program);
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].PartnerRufnummer, S("0891234567"));
    EXPECT_EQ(log[0].Verbindungsstatus, StateIncomingConnected);
    EXPECT_EQ(log[0].Richtung, 1);
    EXPECT_EQ(log[0].Gesprächsdauer, 75);
    EXPECT_EQ(log[0].MSN, S("5551"));
    EXPECT_EQ(call.panel().lblStatus, S("Normal call clearing")) << "idle shows the reason";

    t.ring("", "5551", true);
    EXPECT_EQ(call.panel().lblName, S("unbekannt")) << "a withheld number";
}

TEST(ProgramCall, AnOutgoingCallIsDialledAnsweredHungUpAndLogged) {
    TestProgram t;
    Eurit30& call = t.call();
    t.program->commands().Eurit_Dial(S("089/1234567"));
    t.settle();
    EXPECT_EQ(call.panel().lblStatus, S("Ringing (outgoing)"));
    EXPECT_EQ(t.program->lastNumbers().numbers().front(), S("0891234567"));
    t.line->farEndAnswers();
    t.settle();
    EXPECT_EQ(call.panel().lblStatus, S("Connected (outgoing)"));
    t.clock.advance(10s);
    t.program->commands().Eurit_Hangup();
    t.settle();
    const std::vector<EZGRecord> log = CallLogRecords(*t.program);
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].Gesprächsdauer, 10);
    EXPECT_EQ(log[0].Richtung, 2);
    EXPECT_EQ(log[0].Verbindungsstatus, StateOutgoingConnected);
}

TEST(ProgramCall, ATakeOverFromTheMachineLogsBothPartsAndASecondCallNone) {
    TestProgram t;
    const int32_t first = t.ring("891234567", "5551", true);
    t.cti().lngABState = 1;
    t.cti().eifc.AnswerMode = 1;
    t.cti().CtiAnswerCall(first);
    t.settle();
    EXPECT_TRUE(t.call().panel().buttons.answerABVisible);
    EXPECT_EQ(t.call().panel().lblStatus, S("Answering machine (incoming)"));

    t.clock.advance(20s);
    t.cti().strRecordFile = t.program->sound().SoundFullPath(S("Msg20260105.wav"));
    t.cti().intRecording = 1;
    t.program->commands().Eurit_TakeOver();
    EXPECT_EQ(t.call().panel().lblStatus, S("Connected (incoming)"));

    // A second caller while the talk goes on is not offered, and leaves no entry.
    const int32_t second = t.ring("892222222", "5551", true);
    t.line->farEndHangsUp(0x3490, second);
    t.settle();
    t.clock.advance(30s);
    t.line->farEndHangsUp(0x3490, first);
    t.settle();
    const std::vector<EZGRecord> log = CallLogRecords(*t.program);
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0].Gesprächsdauer, 20);
    EXPECT_EQ(log[0].Tondatei, S("Msg20260105.wav"));
    EXPECT_EQ(log[1].Gesprächsdauer, 30);
    EXPECT_TRUE(log[1].Tondatei.isEmpty());
    EXPECT_EQ(log[1].PartnerRufnummer, S("0891234567"));
}

TEST(ProgramCall, ACallShowsTheNameFromTheBooksAndAnUnknownNumberGoesIntoNew) {
    TestProgram t(false);
    Program& p = *t.program;
    p.Phonebooks().Phonebooks_create();
    ASSERT_TRUE(p.startLine());
    ASSERT_TRUE(p.Phonebooks().Item(2)->EintragAdd(S("Anna Berger"), S("Hauptstr. 1"), S("80331"),
                                                   S("München"), S("Kollegin"), S("0891234567"), {}, {}, {}));
    t.ring("891234567", "5551");
    EXPECT_EQ(p.call().panel().lblName, S("Anna Berger"));
    EXPECT_EQ(p.call().panel().lblNameToolTip, S("Hauptstr. 1 80331 München - Kollegin"));
    t.line->farEndHangsUp();
    t.settle();
    t.ring("301111", "5551");
    EXPECT_EQ(p.call().panel().lblName, S("0301111"));
    EXPECT_EQ(p.Phonebooks().Item(S("NEW"))->clsEintragGetFirst()->Number(), S("0301111"));
}

TEST(ProgramCall, ADebugLogThatCannotBeWrittenDisturbsNothing) {
    TestProgram t(false);
    t.program->settings().ErrorLogOn = 1;
    // A folder where debug.txt should be: no write can succeed, whoever runs the test.
    ASSERT_TRUE(QDir(t.dir.path()).mkdir(S("debug.txt")));
    EXPECT_TRUE(t.program->startLine()) << "the program runs as usual";
    t.ring("891234567", "5551");
    EXPECT_EQ(t.call().CallState, StateIncomingRinging);
}

} // namespace
