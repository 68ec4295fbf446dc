#include "numbers/Num_module.h"

#include "platform/numbers/NumTrans.h"
#include "shell/base/Settings.h"

#include <array>

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

// The number without the marks that people write into numbers: blanks, slashes, dashes and brackets.
QString withoutMarks(const QString& number) {
    QString bare = number;
    for (QChar mark :
         {QLatin1Char(' '), QLatin1Char('/'), QLatin1Char('-'), QLatin1Char('('), QLatin1Char(')')})
        bare.remove(mark);
    return bare;
}
} // namespace

QString OutsideLinePrefix(const Settings& settings, const QString& number, int mode) {
    return applyPrefix(settings, settings.NBSTAKZ, number, mode);
}

QString IncomingPrefix(const Settings& settings, const QString& number, int mode) {
    return applyPrefix(settings, settings.NBSTAKZIN, number, mode);
}

bool SplitNumber(const Settings& settings, const NumTrans& numTrans, const QString& number,
                 NumberParts& parts, QString& place1, QString& place2, const CarrierCodes* carriers) {
    parts = NumberParts();
    place1.clear();
    place2.clear();
    if (number.size() <= 2 || settings.LandesCode.isEmpty() || settings.Vorwahl.isEmpty())
        return false;

    // The library reads numbers as dialled from the own country: it knows neither carrier codes nor
    // the own area code. A local number written with blanks or slashes is local all the same.
    QString dialled = number.trimmed();
    if (carriers) {
        QString carrier;
        dialled = carriers->StripCarrierPrefix(dialled, carrier);
    }
    const QString bare = withoutMarks(dialled);
    if (IsNumericNumber(bare))
        dialled = AddAreaCode(settings, bare);

    QString canonic;
    if (numTrans.NTRANS_GetCanonicEx(canonic, dialled, settings.LandesCode, place1, place2) != NumTrans::Ok)
        return false;

    const QString tokens = CutAtNul(canonic).mid(1);
    const QString blank = QStringLiteral(" ");
    parts.country = GetToken(tokens, 1, blank);
    parts.area = GetToken(tokens, 2, blank);
    parts.subscriber = GetToken(tokens, 3, blank);
    return true;
}

QString FormatCanonic(const Settings& settings, const NumTrans& numTrans, const QString& number,
                      const QString& pattern, QString& place1, QString& place2,
                      const CarrierCodes* carriers) {
    NumberParts parts;
    if (!SplitNumber(settings, numTrans, number, parts, place1, place2, carriers))
        return number;
    QString result = StringReplace(pattern, QStringLiteral("<COUNTRY>"), parts.country);
    result = StringReplace(result, QStringLiteral("<AREA>"), parts.area);
    return StringReplace(result, QStringLiteral("<NUMBER>"), parts.subscriber);
}

QString FormatNumberPattern(const Settings& settings, const NumTrans& numTrans, const QString& number,
                            const QString& separator) {
    const QString pattern = QStringLiteral("00<COUNTRY>") + separator + QStringLiteral("<AREA>") + separator +
                            QStringLiteral("<NUMBER>");
    QString place1, place2;
    return FormatCanonic(settings, numTrans, number, pattern, place1, place2);
}

namespace {
QString removeAll(QString text, QLatin1String characters) {
    for (char c : characters)
        text.remove(QLatin1Char(c));
    return text;
}
} // namespace

QString CleanForPhone(const QString& text, int16_t phoneType) {
    switch (phoneType) {
    case 0:
    case 1:
    case 3:
        return removeAll(text.trimmed(), QLatin1String(";,"));
    case 2:
        return removeAll(text.trimmed(), QLatin1String(";"));
    case 4:
        return removeAll(text.trimmed(), QLatin1String("%"));
    default:
        return text.trimmed();
    }
}

QString CleanForFile(const QString& text, int16_t phoneType) {
    const bool noComma = phoneType == 0 || phoneType == 1 || phoneType == 3;
    return removeAll(text.trimmed(), noComma ? QLatin1String("\t;,") : QLatin1String("\t;"));
}

QString StringReplace(const QString& text, const QString& find, const QString& replace) {
    if (find.isEmpty())
        return text;
    if (replace.contains(find))
        return QString(text).replace(find, replace);
    QString result = text;
    for (qsizetype at = result.indexOf(find); at >= 0; at = result.indexOf(find))
        result.replace(at, find.size(), replace);
    return result;
}

QString GetToken(const QString& text, int index, const QString& separator) {
    if (index < 1)
        return QString();
    const QStringList fields = separator.isEmpty() ? QStringList{text} : text.split(separator);
    return index <= fields.size() ? fields.at(index - 1) : QString();
}

QString CutAtNul(const QString& text) {
    const qsizetype nul = text.indexOf(QChar(u'\0'));
    return nul < 0 ? text : text.left(nul);
}

namespace {
// Code page 850 from 0x80 on; below it is ASCII.
constexpr std::array<char16_t, 128> Cp850High = {
    0x00C7, 0x00FC, 0x00E9, 0x00E2, 0x00E4, 0x00E0, 0x00E5, 0x00E7, 0x00EA, 0x00EB, 0x00E8, 0x00EF, 0x00EE,
    0x00EC, 0x00C4, 0x00C5, 0x00C9, 0x00E6, 0x00C6, 0x00F4, 0x00F6, 0x00F2, 0x00FB, 0x00F9, 0x00FF, 0x00D6,
    0x00DC, 0x00F8, 0x00A3, 0x00D8, 0x00D7, 0x0192, 0x00E1, 0x00ED, 0x00F3, 0x00FA, 0x00F1, 0x00D1, 0x00AA,
    0x00BA, 0x00BF, 0x00AE, 0x00AC, 0x00BD, 0x00BC, 0x00A1, 0x00AB, 0x00BB, 0x2591, 0x2592, 0x2593, 0x2502,
    0x2524, 0x00C1, 0x00C2, 0x00C0, 0x00A9, 0x2563, 0x2551, 0x2557, 0x255D, 0x00A2, 0x00A5, 0x2510, 0x2514,
    0x2534, 0x252C, 0x251C, 0x2500, 0x253C, 0x00E3, 0x00C3, 0x255A, 0x2554, 0x2569, 0x2566, 0x2560, 0x2550,
    0x256C, 0x00A4, 0x00F0, 0x00D0, 0x00CA, 0x00CB, 0x00C8, 0x0131, 0x00CD, 0x00CE, 0x00CF, 0x2518, 0x250C,
    0x2588, 0x2584, 0x00A6, 0x00CC, 0x2580, 0x00D3, 0x00DF, 0x00D4, 0x00D2, 0x00F5, 0x00D5, 0x00B5, 0x00FE,
    0x00DE, 0x00DA, 0x00DB, 0x00D9, 0x00FD, 0x00DD, 0x00AF, 0x00B4, 0x00AD, 0x00B1, 0x2017, 0x00BE, 0x00B6,
    0x00A7, 0x00F7, 0x00B8, 0x00B0, 0x00A8, 0x00B7, 0x00B9, 0x00B3, 0x00B2, 0x25A0, 0x00A0,
};

constexpr int16_t PhoneTypeEurit22 = 4;
} // namespace

QString OemConvert(const QByteArray& oemText, int16_t phoneType) {
    const qsizetype nul = oemText.indexOf('\0');
    const QByteArray bytes = nul < 0 ? oemText : oemText.left(nul);
    if (phoneType == PhoneTypeEurit22)
        return QString::fromLatin1(bytes);
    QString text;
    text.reserve(bytes.size());
    for (char byte : bytes) {
        const auto code = static_cast<unsigned char>(byte);
        text += code < 0x80 ? QChar(char16_t(code)) : QChar(Cp850High[code - 0x80]);
    }
    return text;
}

QByteArray OemConvert(const QString& text, int16_t phoneType) {
    const QString cut = CutAtNul(text);
    if (phoneType == PhoneTypeEurit22)
        return cut.toLatin1();
    QByteArray bytes;
    bytes.reserve(cut.size());
    for (QChar c : cut) {
        const char16_t unicode = c.unicode();
        char byte = '?';
        if (unicode < 0x80) {
            byte = static_cast<char>(unicode);
        } else {
            for (size_t i = 0; i < Cp850High.size(); ++i)
                if (Cp850High[i] == unicode) {
                    byte = static_cast<char>(0x80 + i);
                    break;
                }
        }
        bytes += byte;
    }
    return bytes;
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
