#include "tests/support/TestCallRecord.h"

TestCallRecord::TestCallRecord() {
    actions.setCallRecord(&call);
    actions.markNumberSeen = [this](const QString& number) {
        callLog.SEZGMarkNumberSeen(number, lvListAnrufe);
    };
    QObject::connect(&call, &Eurit30::callsListRefreshRequested, &call,
                     [this] { callLog.ShowRecentNewCalls(lvListAnrufe); });
}
