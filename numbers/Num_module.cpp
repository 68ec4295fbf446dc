#include "numbers/Num_module.h"

#include "shell/Settings.h"

QString DigitsOnly(const QString& text) {
    QString digits;
    for (QChar c : text)
        if (c >= QLatin1Char('0') && c <= QLatin1Char('9'))
            digits += c;
    return digits;
}

bool IsNumericNumber(const QString& text) {
    const QString body = text.startsWith(QLatin1Char('+')) ? text.mid(1) : text;
    return !body.isEmpty() && DigitsOnly(body).size() == body.size();
}

QString AddAreaCode(const Settings& settings, const QString& number) {
    const QString trimmed = number.trimmed();
    if (trimmed.size() > 2 && IsNumericNumber(trimmed) && trimmed[0] >= QLatin1Char('1') &&
        trimmed[0] <= QLatin1Char('9'))
        return settings.Vorwahl + trimmed;
    return trimmed;
}

namespace {
QString applyPrefix(const Settings& settings, const QString& prefix, const QString& number, int mode) {
    if (number.size() <= 2)
        return number.trimmed();
    if (settings.NBST == 0)
        return number;
    if (mode == 1)
        return prefix + number;
    if (mode == 0)
        return (!prefix.isEmpty() && number.startsWith(prefix)) ? number.mid(prefix.size()) : number;
    return QString();
}
} // namespace

QString OutsideLinePrefix(const Settings& settings, const QString& number, int mode) {
    return applyPrefix(settings, settings.NBSTAKZ, number, mode);
}

QString IncomingPrefix(const Settings& settings, const QString& number, int mode) {
    return applyPrefix(settings, settings.NBSTAKZIN, number, mode);
}

QString FormatCanonic(const Settings& /*settings*/, const QString& number, const QString& /*pattern*/,
                      QString& place1, QString& place2) {
    place1.clear();
    place2.clear();
    return number;
}

QString StripCarrierPrefix(const QString& number) {
    return number;
}
QString ApplyCarrier(const QString& number) {
    return number;
}

bool LastNumbers::RememberNumber(const QString& number) {
    if (!IsNumericNumber(number))
        return false;
    const qsizetype at = m_numbers.indexOf(number);
    if (at == 0)
        return false;
    if (at > 0)
        m_numbers.removeAt(at);
    m_numbers.prepend(number);
    while (m_numbers.size() > MaxCount)
        m_numbers.removeLast();
    return true;
}
