#include "lines/capi/modCtiDef.h"

QString CtiReasonText(int32_t code) {
    if (code == 0)
        return QStringLiteral("No additional information");
    return QStringLiteral("CAPI reason 0x") +
           QString::number(uint32_t(code), 16).toUpper().rightJustified(4, QLatin1Char('0'));
}
