#pragma once

#include <QString>

#include <cstdint>

// The CAPI reason code that the program reacts to: the far end is busy.
constexpr int32_t ReasonUserBusy = 0x3491;

// The English text of a CAPI info or reason code, shown as the last disconnect reason. A code that
// is not in the table, 0 among them, gives "No additional information".
QString CtiReasonText(int32_t code);
// Rows of the table behind CtiReasonText.
int CtiReasonCount();
