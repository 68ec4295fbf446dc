#include "numbers/Num_module.h"
#include "shell/Settings.h"

#include <gtest/gtest.h>

TEST(AddAreaCode, OnlyLocalNumbersGetTheOwnAreaCode) {
    Settings s;
    s.Vorwahl = QStringLiteral("089");
    EXPECT_EQ(AddAreaCode(s, QStringLiteral("12345")), QStringLiteral("08912345"));
    EXPECT_EQ(AddAreaCode(s, QStringLiteral(" 12345 ")), QStringLiteral("08912345"));
    EXPECT_EQ(AddAreaCode(s, QStringLiteral("12")), QStringLiteral("12"));
    EXPECT_EQ(AddAreaCode(s, QStringLiteral("0171123")), QStringLiteral("0171123"));
    EXPECT_EQ(AddAreaCode(s, QStringLiteral("Meier")), QStringLiteral("Meier"));
    EXPECT_EQ(AddAreaCode(s, QStringLiteral("unbekannt")), QStringLiteral("unbekannt"));
}

TEST(Prefixes, OnlyWithAPrivateBranchExchange) {
    Settings s;
    s.NBSTAKZ = QStringLiteral("0");
    EXPECT_EQ(OutsideLinePrefix(s, QStringLiteral("0891"), 1), QStringLiteral("0891")) << "NBST off";
    s.NBST = 1;
    EXPECT_EQ(OutsideLinePrefix(s, QStringLiteral("0891"), 1), QStringLiteral("00891"));
    EXPECT_EQ(OutsideLinePrefix(s, QStringLiteral("00891"), 0), QStringLiteral("0891"));
    EXPECT_EQ(OutsideLinePrefix(s, QStringLiteral("12"), 1), QStringLiteral("12"));
    EXPECT_EQ(OutsideLinePrefix(s, QStringLiteral("12"), 0), QStringLiteral("12"));
    EXPECT_EQ(OutsideLinePrefix(s, QStringLiteral("0891"), 7), QString());
    s.NBSTAKZIN = QStringLiteral("9");
    EXPECT_EQ(IncomingPrefix(s, QStringLiteral("90891"), 0), QStringLiteral("0891"));
    EXPECT_EQ(IncomingPrefix(s, QStringLiteral("0891"), 0), QStringLiteral("0891"));
}

TEST(LastNumbers, NewestOnTopOnceAndAtMostTwenty) {
    LastNumbers list;
    EXPECT_TRUE(list.RememberNumber(QStringLiteral("0891")));
    EXPECT_TRUE(list.RememberNumber(QStringLiteral("0892")));
    EXPECT_FALSE(list.RememberNumber(QStringLiteral("0892"))) << "already on top: unchanged";
    EXPECT_TRUE(list.RememberNumber(QStringLiteral("0891")));
    EXPECT_EQ(list.numbers(), (QStringList{QStringLiteral("0891"), QStringLiteral("0892")}));
    EXPECT_FALSE(list.RememberNumber(QString()));
    EXPECT_FALSE(list.RememberNumber(QStringLiteral("unbekannt")));
    for (int i = 0; i < 30; ++i)
        list.RememberNumber(QString::number(1000 + i));
    EXPECT_EQ(list.numbers().size(), 20);
    EXPECT_EQ(list.numbers().front(), QStringLiteral("1029"));
}
