// The status panel names the place of the number of the call.

#include "tests/support/TestProgram.h"

#include <gtest/gtest.h>

TEST(EuritPanelPlace, AMunichNumberShowsMuenchen) {
    TestProgram t(false);
    t.program->settings.Vorwahl = QStringLiteral("089");
    Eurit30& call = t.call();
    call.CallState = StateIncomingRinging;
    call.CallNumber = QStringLiteral("0891234567");
    call.Eurit_ShowCallFields(MaskNumber);
    EXPECT_EQ(call.panel().lblOrt, QStringLiteral("München"));
    EXPECT_EQ(call.panel().lblOrtToolTip, QStringLiteral("München, Deutschland"));
    EXPECT_EQ(call.panel().txtNumber, QStringLiteral("0891234567")) << "the number field stays diallable";
}

TEST(EuritPanelPlace, ALocalNumberIsPlacedInTheOwnArea) {
    TestProgram t(false);
    t.program->settings.Vorwahl = QStringLiteral("030");
    t.call().CallNumber = QStringLiteral("1234567");
    t.call().Eurit_ShowCallFields(MaskNumber);
    EXPECT_EQ(t.call().panel().lblOrt, QStringLiteral("Berlin"));
}

TEST(EuritPanelPlace, MobileForeignAndUnknown) {
    TestProgram t(false);
    t.program->settings.Vorwahl = QStringLiteral("089");
    Eurit30& call = t.call();
    call.CallNumber = QStringLiteral("01711234567");
    call.Eurit_ShowCallFields(MaskNumber);
    EXPECT_EQ(call.panel().lblOrt, QStringLiteral("Mobilfunk"));
    call.CallNumber = QStringLiteral("0043 1 9876543");
    call.Eurit_ShowCallFields(MaskNumber);
    EXPECT_EQ(call.panel().lblOrt, QStringLiteral("Österreich"));
    EXPECT_EQ(call.panel().lblOrtToolTip, QStringLiteral("Wien, Österreich"));
    call.CallNumber = QStringLiteral("unbekannt");
    call.Eurit_ShowCallFields(MaskNumber);
    EXPECT_TRUE(call.panel().lblOrt.isEmpty());
    EXPECT_TRUE(call.panel().lblOrtToolTip.isEmpty());
}

TEST(EuritPanelPlace, WithoutAnOwnAreaCodeNoPlaceIsShown) {
    TestProgram t(false);
    t.call().CallNumber = QStringLiteral("0891234567");
    t.call().Eurit_ShowCallFields(MaskNumber);
    EXPECT_TRUE(t.call().panel().lblOrt.isEmpty());
}
