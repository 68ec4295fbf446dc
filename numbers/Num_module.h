#pragma once

// The forms of a telephone number: prefixes of a private branch exchange, the own area code, and the
// display form of the status panel.

#include <QString>
#include <QStringList>

struct Settings;

// Only the characters "0" to "9".
QString DigitsOnly(const QString& text);
// True for a non-empty text of digits, with at most a leading "+".
bool IsNumericNumber(const QString& text);

// `number` with the own area code in front when it is numeric, longer than 2 characters and begins with
// "1" to "9"; any other number is only trimmed.
QString AddAreaCode(const Settings& settings, const QString& number);
// Mode 1 puts the outside-line prefix on, mode 0 takes it off; only with a private branch exchange.
QString OutsideLinePrefix(const Settings& settings, const QString& number, int mode);
// The same with the prefix that the exchange puts on incoming numbers.
QString IncomingPrefix(const Settings& settings, const QString& number, int mode);

// Fills `pattern` ("<COUNTRY>", "<AREA>", "<NUMBER>") from the parts of the number and names the
// place of its area code. Until the number library exists the parts are not known, so the result is
// the number itself and both places are empty.
QString FormatCanonic(const Settings& settings, const QString& number, const QString& pattern,
                      QString& place1, QString& place2);

// Carrier codes in front of a number. Until carriers exist, no number carries one: both leave the
// number as it is.
QString StripCarrierPrefix(const QString& number);
QString ApplyCarrier(const QString& number);

// The last-used numbers, newest first, at most 20.
class LastNumbers {
public:
    static constexpr int MaxCount = 20;
    // Puts the number on top; one already in the list moves there. Empty or non-numeric text is ignored.
    // Returns true when the list changed.
    bool RememberNumber(const QString& number);
    const QStringList& numbers() const { return m_numbers; }
    void clear() { m_numbers.clear(); }

private:
    QStringList m_numbers;
};
