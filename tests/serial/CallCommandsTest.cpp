#include "tests/support/TestProgram.h"

#include <gtest/gtest.h>

namespace {

struct Commands : TestProgram {
    QStringList messages;
    Commands() {
        program->commands.setShowMessage([this](const QString& text) { messages << text; });
    }
    QString lastConnect() const {
        const QStringList connects = line->requests().filter(QStringLiteral("Connect "));
        return connects.isEmpty() ? QString() : connects.last();
    }
};

TEST(EuritDial, CleansTheTypedNumber) {
    Commands t;
    t.program->commands.Eurit_Dial(QStringLiteral("  089/123-456 "));
    EXPECT_EQ(t.lastConnect(), QStringLiteral("Connect 089123456 from *"));
    EXPECT_EQ(t.call().CallNumber, QStringLiteral("089123456"));
    EXPECT_EQ(t.call().panel().lblName, QStringLiteral("089123456")) << "the panel shows the number at once";
    EXPECT_EQ(t.call().CallState, StateIdle) << "the state waits for the line";
    t.settle();
    t.program->commands.Eurit_Hangup();
    t.settle();

    t.program->commands.Eurit_Dial(QStringLiteral("0800abc"));
    EXPECT_EQ(t.call().CallNumber, QStringLiteral("0800ABC")) << "letters stay, in upper case";
    EXPECT_TRUE(t.messages.isEmpty());
}

TEST(EuritDial, TheLineGetsTheOutsidePrefixTheRecordAndListDoNot) {
    Commands t;
    t.program->settings.NBST = 1;
    t.program->settings.NBSTAKZ = QStringLiteral("0");
    t.program->commands.Eurit_Dial(QStringLiteral("0891234"));
    EXPECT_EQ(t.lastConnect(), QStringLiteral("Connect 00891234 from *"));
    EXPECT_EQ(t.call().CallNumber, QStringLiteral("0891234"));
    EXPECT_EQ(t.program->lastNumbers.numbers().front(), QStringLiteral("0891234"));
    t.settle();
    EXPECT_EQ(t.call().CallNumber, QStringLiteral("0891234")) << "the line's echo loses the prefix again";
}

TEST(EuritDial, ShowsTheChosenMSN) {
    Commands t;
    t.program->Konfigurationen.Item(1).setStrMSN(2, QStringLiteral("5552"));
    t.program->settings.DialMSN = 2;
    t.program->commands.Eurit_Dial(QStringLiteral("0891234"));
    EXPECT_EQ(t.lastConnect(), QStringLiteral("Connect 0891234 from 5552"));
}

TEST(EuritDial, AnEmptyNumberStillGoesOut) {
    Commands t;
    t.program->commands.Eurit_Dial(QString());
    EXPECT_EQ(t.lastConnect(), QStringLiteral("Connect  from *"));
}

TEST(CallCommands, FailuresAreOneMessageEachAndLeaveTheRecord) {
    Commands t;
    t.program->commands.Eurit_Dial(QStringLiteral("0891234"));
    t.settle();
    t.program->commands.Eurit_Dial(QStringLiteral("0897777"));
    ASSERT_EQ(t.messages.size(), 1);
    EXPECT_EQ(t.messages[0], QStringLiteral("Err: CtiConnect %1").arg(StandInLine::WrongState));
    EXPECT_EQ(t.call().CallNumber, QStringLiteral("0897777"));

    t.program->commands.Eurit_Answer();
    EXPECT_EQ(t.messages.last(), QStringLiteral("Err: CtiAnswerCall %1").arg(StandInLine::WrongState));
    t.program->commands.Eurit_Hangup();
    t.settle();
    t.program->commands.Eurit_Hangup();
    EXPECT_EQ(t.messages.last(), QStringLiteral("Err: CtiDisconnect %1").arg(StandInLine::WrongState));
}

TEST(CallCommands, WithoutARegisteredChannelTheMessagesReadMinusOne) {
    TestProgram t(false);
    QStringList messages;
    t.program->commands.setShowMessage([&](const QString& text) { messages << text; });
    t.program->commands.Eurit_Dial(QStringLiteral("0891234"));
    t.program->commands.Eurit_Answer();
    t.program->commands.Eurit_Hangup();
    t.program->commands.Eurit_TakeOver();
    EXPECT_EQ(
        messages,
        (QStringList{QStringLiteral("Err: CtiConnect -1"), QStringLiteral("Err: CtiAnswerCall -1"),
                     QStringLiteral("Err: CtiDisconnect -1"), QStringLiteral("Err: CtiAnswerCallAB -1")}));
    EXPECT_EQ(t.call().CallNumber, QStringLiteral("0891234"));
    EXPECT_EQ(t.call().CallState, StateIdle);
}

} // namespace
