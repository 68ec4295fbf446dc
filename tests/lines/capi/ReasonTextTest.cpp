#include "lines/capi/modCtiDef.h"

#include <gtest/gtest.h>

TEST(ReasonText, EveryClassOfCodeHasItsText) {
    EXPECT_EQ(CtiReasonText(0x0003), QStringLiteral("Alert already sent by another application"));
    EXPECT_EQ(CtiReasonText(0x1002),
              QStringLiteral("Logical block size to small, must be at least 128 Bytes"));
    EXPECT_EQ(CtiReasonText(0x1104), QStringLiteral("Queue is empty"));
    EXPECT_EQ(CtiReasonText(0x2001), QStringLiteral("Message not supported in current state"));
    EXPECT_EQ(CtiReasonText(0x300B), QStringLiteral("Facility not supported"));
    EXPECT_EQ(CtiReasonText(0x3304), QStringLiteral("Another application got that call"));
    EXPECT_EQ(CtiReasonText(0x3490), QStringLiteral("Normal call clearing"));
    EXPECT_EQ(CtiReasonText(ReasonUserBusy), QStringLiteral("User busy"));
    EXPECT_EQ(CtiReasonText(0x34FF), QStringLiteral("Interworking, unspecified"));
    EXPECT_EQ(CtiReasonCount(), 110);
}

TEST(ReasonText, CodesOutsideTheTableHaveNoText) {
    const QString none = QStringLiteral("No additional information");
    for (int32_t code : {0, 0x0004, 0x1000, 0x3484, 0x34FE, 0x3500, -1, 0x13491})
        EXPECT_EQ(CtiReasonText(code), none) << std::hex << code;
}

TEST(ReasonText, EveryRowIsFoundByItsCode) {
    int found = 0;
    for (int32_t code = 0; code <= 0xFFFF; ++code)
        found += CtiReasonText(code) != QStringLiteral("No additional information");
    EXPECT_EQ(found, CtiReasonCount());
}
