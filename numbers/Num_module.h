#pragma once

// The forms of a telephone number and the small text helpers that every part uses on numbers and on
// texts bound for the telephone or a file.
//
// Forms: stored (national with "0" and area code, or a short internal number), exchange (the stored form
// with the outside-line prefix of a private branch exchange), received (as the line delivered it),
// canonical ("+49 89 1234567") and display (a pattern filled from the canonical form: "089 1234567").

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstdint>

struct Settings;
class NumTrans;

// The carrier codes that may stand in front of a number (the carrier module on the macro book gives
// them).
class CarrierCodes {
public:
    virtual ~CarrierCodes() = default;
    // The number without the first known carrier code at its head; `text` gets that carrier's display
    // text, or is emptied when no code matches. While carriers are not active the number stays and `text`
    // is untouched.
    virtual QString StripCarrierPrefix(const QString& number, QString& text) const = 0;
};

// Only the characters "0" to "9".
QString DigitsOnly(const QString& text);
// True for a non-empty text of digits, with at most a leading "+".
bool IsNumericNumber(const QString& text);

// `number` with the own area code in front when it is numeric, longer than 2 characters and begins with
// "1" to "9"; any other number is only trimmed.
QString AddAreaCode(const Settings& settings, const QString& number);
// With a private branch exchange (NBST 1), mode 1 puts the outside-line prefix NBSTAKZ on and mode 0 takes
// it off when the number begins with it; any other mode gives an empty text. Without the exchange the
// number is unchanged; a number of at most 2 characters is only trimmed.
QString OutsideLinePrefix(const Settings& settings, const QString& number, int mode);
// The same with NBSTAKZIN, the prefix that the exchange puts on incoming numbers.
QString IncomingPrefix(const Settings& settings, const QString& number, int mode);

// Fills `pattern` ("<COUNTRY>", "<AREA>", "<NUMBER>") from the parts of the number and names the place of
// its area code: `place2` the short text for the status panel ("München"), `place1` the longer one for
// its tool tip ("München, Deutschland"). The order: a number of at most 2 characters, or settings without
// a country or an own area code, stay as they are; a carrier code is cut off and a local number gets the
// own area code; then the number library splits it. A number that the library cannot split is the result
// as it stands, with both places empty.
QString FormatCanonic(const Settings& settings, const NumTrans& numTrans, const QString& number,
                      const QString& pattern, QString& place1, QString& place2,
                      const CarrierCodes* carriers = nullptr);
// The parts of a number as the number library splits it: country code ("49"), area code without its
// trunk prefix ("89"), subscriber; an empty part where the number has none.
struct NumberParts {
    QString country;
    QString area;
    QString subscriber;
};
// Splits a number in the order of FormatCanonic; false, with the parts empty, where it cannot.
bool SplitNumber(const Settings& settings, const NumTrans& numTrans, const QString& number,
                 NumberParts& parts, QString& place1, QString& place2,
                 const CarrierCodes* carriers = nullptr);

// The split form "00<COUNTRY>" separator "<AREA>" separator "<NUMBER>" ("0049-89-1234567"), or the number
// as given when it cannot be split.
QString FormatNumberPattern(const Settings& settings, const NumTrans& numTrans, const QString& number,
                            const QString& separator);

// A number for the telephone's book: trimmed, without the characters that the telephone kind reserves
// (kinds 0, 1 and 3: ";" and ","; kind 2: ";"; kind 4: "%").
QString CleanForPhone(const QString& text, int16_t phoneType);
// A field for a delimited file: trimmed, without tabs and ";", and at telephone kinds 0, 1 and 3 without
// ",".
QString CleanForFile(const QString& text, int16_t phoneType);

// Every occurrence of `find` replaced, case-sensitive; the search starts again from the beginning after
// each replacement, so that a replacement that forms a new occurrence is replaced too. An empty `find`
// changes nothing; a `replace` that contains `find` is replaced in one pass, as the search would not end.
QString StringReplace(const QString& text, const QString& find, const QString& replace);
// The index-th field (from 1) of `text` split at `separator`; empty when there are fewer fields.
QString GetToken(const QString& text, int index, const QString& separator);
// `text` up to its first zero character.
QString CutAtNul(const QString& text);

// Texts of the telephone's book and display, which the Eurit telephones keep in code page 850 (kind 4,
// the Eurit 22, in the Windows character set: its bytes pass unchanged, as Latin-1). Both directions cut
// at the first zero character; a character that code page 850 lacks becomes "?".
QString OemConvert(const QByteArray& oemText, int16_t phoneType);
QByteArray OemConvert(const QString& text, int16_t phoneType);

// The last-used numbers, newest first, at most 20.
class LastNumbers {
public:
    static constexpr int MaxCount = 20;
    // Puts the number on top; one already in the list moves there. Empty or non-numeric text is ignored.
    // Returns true when the list changed.
    bool RememberNumber(const QString& number);
    // Takes the number out of the list; false when it was not in it.
    bool Remove(const QString& number) { return m_numbers.removeOne(number); }
    const QStringList& numbers() const { return m_numbers; }
    void clear() { m_numbers.clear(); }

private:
    QStringList m_numbers;
};
