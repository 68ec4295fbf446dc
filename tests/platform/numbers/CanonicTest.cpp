// The number library alone: the canonical text and its failures.

#include "platform/numbers/NumTrans.h"

#include <gtest/gtest.h>

namespace {
struct Canonic {
    int result;
    QString canonic, text1, text2;
};
Canonic canonic(const NumTrans& numTrans, const char* number, const char* country = "49") {
    Canonic c;
    c.result = numTrans.NTRANS_GetCanonicEx(c.canonic, QString::fromUtf8(number), QString::fromUtf8(country),
                                            c.text1, c.text2);
    return c;
}
} // namespace

TEST(CanonicText, SignCountryAreaSubscriberAlikeFromEveryLibrary) {
    const NumTrans numTrans;
    EXPECT_EQ(canonic(numTrans, "+49 89 1234567").canonic, QStringLiteral("+49 89 1234567"));
    EXPECT_EQ(canonic(numTrans, "0043 664 1234567").canonic, QStringLiteral("+43 664 1234567"));
    EXPECT_EQ(canonic(numTrans, "004520123456").canonic, QStringLiteral("+45  20123456")) << "no area codes";
    const Canonic a = canonic(numTrans, "0622112345");
    const Canonic b = canonic(NumTrans(), "0622112345");
    EXPECT_EQ(a.result, NumTrans::Ok);
    EXPECT_EQ(a.text2, QStringLiteral("Heidelberg"));
    EXPECT_EQ(std::tie(a.canonic, a.text1, a.text2), std::tie(b.canonic, b.text1, b.text2));
}

TEST(CanonicText, FailuresLeaveEverythingEmpty) {
    const NumTrans numTrans;
    const struct {
        const char* number;
        const char* country;
        int result;
    } rows[] = {
        {"unbekannt", "49", NumTrans::NotANumber},
        {"", "49", NumTrans::NotANumber},
        {"0891", "49", NumTrans::NotValid},
        {"1234567", "49", NumTrans::NotValid},
        {"0891234567", "", NumTrans::UnknownCountry},
        {"0891234567", "999", NumTrans::UnknownCountry},
        {"0891234567", "x", NumTrans::UnknownCountry},
    };
    for (const auto& row : rows) {
        const Canonic c = canonic(numTrans, row.number, row.country);
        EXPECT_EQ(c.result, row.result) << row.number << " in " << row.country;
        EXPECT_TRUE(c.canonic.isEmpty() && c.text1.isEmpty() && c.text2.isEmpty()) << row.number;
    }
}
