// The status panel names the place of the number of the call.

#include "tests/support/TestCallRecord.h"

#include <gtest/gtest.h>

TEST(EuritPanelPlace, ThePlaceOfTheNumberInTheOwnArea) {
    struct Row {
        const char *area, *number, *place, *toolTip;
    };
    const Row rows[] = {
        {"089", "0891234567", "München", "München, Deutschland"},
        {"089", "0043 1 9876543", "Österreich", "Wien, Österreich"},
        {"089", "unbekannt", "", ""},
        {"", "0891234567", "", ""}, // without an own area code no place is shown
    };
    TestCallRecord t;
    Eurit30& call = t.call;
    call.CallState = StateIncomingRinging;
    for (const Row& row : rows) {
        t.settings.Vorwahl = QString::fromUtf8(row.area);
        call.CallNumber = QString::fromUtf8(row.number);
        call.Eurit_ShowCallFields(MaskNumber);
        EXPECT_EQ(call.panel().lblOrt, QString::fromUtf8(row.place)) << row.number;
        EXPECT_EQ(call.panel().lblOrtToolTip, QString::fromUtf8(row.toolTip)) << row.number;
        EXPECT_EQ(call.panel().txtNumber, call.CallNumber) << "the number field stays diallable";
    }
}
