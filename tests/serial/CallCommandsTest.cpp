// The user's call commands on the line binding: the dial's number as typed, with carrier and outside-line
// prefix, the MSN it shows, and one message per failure.

#include "serial/CallCommands.h"
#include "numbers/modVorwahlen.h"
#include "platform/profile/ProfileStore.h"
#include "tests/support/TestLine.h"

#include <gtest/gtest.h>

namespace {

// The carriers of the macro book, as a list.
struct CarrierList : CarrierSource {
    std::vector<Carrier> carriers;
    uint64_t generation = 1;
    uint64_t CarriersGeneration() const override { return generation; }
    std::vector<Carrier> ReadCarriers() const override { return carriers; }
};

struct Commands : TestLine {
    CarrierList carrierList;
    ProfileStore profiles;
    modVorwahlen carriers{carrierList, profiles, dir.filePath(QStringLiteral("Morva.ini"))};
    QStringList messages;
    CallCommands commands{
        settings, call, call, binding, Konfigurationen, carriers, [this](const QString& text) {
            messages << text;
        }};

    explicit Commands(bool start = true) : TestLine(start) {}
    QString lastConnect() const {
        const QStringList connects = line->requests().filter(QStringLiteral("Connect "));
        return connects.isEmpty() ? QString() : connects.last();
    }
};

TEST(EuritDial, CleansTheTypedNumber) {
    Commands t;
    t.commands.Eurit_Dial(QStringLiteral("  089/123-456 "));
    EXPECT_EQ(t.lastConnect(), QStringLiteral("Connect 089123456 from *"));
    EXPECT_EQ(t.call.CallNumber, QStringLiteral("089123456"));
    EXPECT_EQ(t.call.fieldsShown, 1) << "the panel shows the number at once";
    EXPECT_EQ(t.call.CallState, StateIdle) << "the state waits for the line";
    t.settle();
    t.commands.Eurit_Hangup();
    t.settle();

    t.commands.Eurit_Dial(QStringLiteral("0800abc"));
    EXPECT_EQ(t.call.CallNumber, QStringLiteral("0800ABC")) << "letters stay, in upper case";
    EXPECT_TRUE(t.messages.isEmpty());
}

TEST(EuritDial, TheLineGetsCarrierAndOutsidePrefixTheLastNumbersNeither) {
    Commands t;
    t.settings.NBST = 1;
    t.settings.NBSTAKZ = QStringLiteral("0");
    t.commands.Eurit_Dial(QStringLiteral("0891234"));
    EXPECT_EQ(t.lastConnect(), QStringLiteral("Connect 00891234 from *"));
    EXPECT_EQ(t.call.CallNumber, QStringLiteral("0891234"));
    EXPECT_EQ(t.call.remembered, QStringList{QStringLiteral("0891234")});
    t.settle();
    EXPECT_EQ(t.call.CallNumber, QStringLiteral("0891234")) << "the line's echo loses the prefix again";
    t.commands.Eurit_Hangup();
    t.settle();

    // A chosen carrier goes in front of a long-distance number, after the number was remembered.
    t.carrierList.carriers = {{QStringLiteral("01019"), QStringLiteral("Tele2"), 7}};
    t.carriers.LoadCarriers();
    t.carriers.UseCarrier = 1;
    t.carriers.cmdProvider.Tag = 7;
    t.commands.Eurit_Dial(QStringLiteral("0301234"));
    EXPECT_EQ(t.lastConnect(), QStringLiteral("Connect 0010190301234 from *"));
    EXPECT_EQ(t.call.CallNumber, QStringLiteral("010190301234"));
    EXPECT_EQ(t.call.remembered.last(), QStringLiteral("0301234"));
}

TEST(EuritDial, ShowsTheChosenMSN) {
    Commands t;
    t.Konfigurationen.Item(1).setStrMSN(2, QStringLiteral("5552"));
    t.settings.DialMSN = 2;
    t.commands.Eurit_Dial(QStringLiteral("0891234"));
    EXPECT_EQ(t.lastConnect(), QStringLiteral("Connect 0891234 from 5552"));
}

TEST(EuritDial, AnEmptyNumberStillGoesOut) {
    Commands t;
    t.commands.Eurit_Dial(QString());
    EXPECT_EQ(t.lastConnect(), QStringLiteral("Connect  from *"));
}

TEST(CallCommands, FailuresAreOneMessageEachAndLeaveTheRecord) {
    Commands t;
    t.commands.Eurit_Dial(QStringLiteral("0891234"));
    t.settle();
    t.commands.Eurit_Dial(QStringLiteral("0897777"));
    ASSERT_EQ(t.messages.size(), 1);
    EXPECT_EQ(t.messages[0], QStringLiteral("Err: CtiConnect %1").arg(StandInLine::WrongState));
    EXPECT_EQ(t.call.CallNumber, QStringLiteral("0897777"));

    t.commands.Eurit_Answer();
    EXPECT_EQ(t.messages.last(), QStringLiteral("Err: CtiAnswerCall %1").arg(StandInLine::WrongState));
    t.commands.Eurit_Hangup();
    t.settle();
    t.commands.Eurit_Hangup();
    EXPECT_EQ(t.messages.last(), QStringLiteral("Err: CtiDisconnect %1").arg(StandInLine::WrongState));
}

TEST(CallCommands, WithoutARegisteredChannelTheMessagesReadMinusOne) {
    Commands t(false);
    t.commands.Eurit_Dial(QStringLiteral("0891234"));
    t.commands.Eurit_Answer();
    t.commands.Eurit_Hangup();
    t.commands.Eurit_TakeOver();
    EXPECT_EQ(
        t.messages,
        (QStringList{QStringLiteral("Err: CtiConnect -1"), QStringLiteral("Err: CtiAnswerCall -1"),
                     QStringLiteral("Err: CtiDisconnect -1"), QStringLiteral("Err: CtiAnswerCallAB -1")}));
    EXPECT_EQ(t.call.CallNumber, QStringLiteral("0891234"));
    EXPECT_EQ(t.call.CallState, StateIdle);
}

} // namespace
