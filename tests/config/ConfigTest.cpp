#include "config/clsConfig.h"
#include "shell/base/Language.h"

#include <gtest/gtest.h>

TEST(GetMatchMSNNummer, ExactFirstThenWildcards) {
    clsConfig set;
    EXPECT_EQ(set.GetMatchMSNNummer(QStringLiteral("5551"), true), 1)
        << "a fresh set's '*' matches everything";
    EXPECT_EQ(set.GetMatchMSNNummer(QStringLiteral("5551"), false), 0);
    set.setStrMSN(1, QStringLiteral("555*"));
    set.setStrMSN(2, QStringLiteral("5559"));
    EXPECT_EQ(set.GetMatchMSNNummer(QStringLiteral("5559"), true), 2)
        << "an exact match wins over a wildcard";
    EXPECT_EQ(set.GetMatchMSNNummer(QStringLiteral("5553"), true), 1);
    EXPECT_EQ(set.GetMatchMSNNummer(QStringLiteral("6663"), true), 0);
    EXPECT_EQ(set.trlMSNNummerToName(QStringLiteral("6663"), true), QStringLiteral("6663"));
    set.setStrMSNText(2, QStringLiteral("Office"));
    EXPECT_EQ(set.trlMSNNummerToName(QStringLiteral("5559"), false), QStringLiteral("Office"));
}

TEST(colConfig, MSNNamesByNumberLetterOrText) {
    Language language;
    colConfig configs(language);
    configs.Item(1).setStrMSN(2, QStringLiteral("5552"));
    EXPECT_EQ(configs.trlMSNName(QStringLiteral("B"), false), QStringLiteral("5552"));
    configs.Item(1).setStrMSNText(2, QStringLiteral("Fax"));
    EXPECT_EQ(configs.trlMSNName(QStringLiteral("B"), false), QStringLiteral("Fax"));
    EXPECT_EQ(configs.trlMSNName(QStringLiteral("C"), false), QStringLiteral("C"));
    EXPECT_EQ(configs.trlMSNName(QStringLiteral("X"), false), QStringLiteral("X"));
    EXPECT_EQ(configs.trlMSNName(QString(), false), language.LanguageString(5160));
    EXPECT_EQ(configs.trlMSNName(QStringLiteral("5552"), false), QStringLiteral("Fax"));
    EXPECT_EQ(configs.trlMSNName(QStringLiteral("7777"), false), QStringLiteral("7777"));
}
