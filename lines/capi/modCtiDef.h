#pragma once

#include <QString>

#include <cstdint>

// The CAPI reason code that the program reacts to: the far end is busy.
constexpr int32_t ReasonUserBusy = 0x3491;

// The text of a CAPI info or reason code, shown as the last disconnect reason. Until the table of
// texts exists, a code other than 0 is shown by its number.
QString CtiReasonText(int32_t code);
