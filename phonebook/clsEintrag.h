#pragma once

// One phonebook entry in memory and its record in a phonebook file. The entry owns the record layout,
// the text limits of the telephone kind when its book mirrors a telephone's memory, and the removal of
// the characters that the telephone's serial dialect reserves.

#include "phonebook/RecordSource.h"
#include "shell/base/ListItems.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <vector>

struct Settings;

// The record block of a phonebook file: offsets and widths of its fields, in record order.
namespace EintragRecord {
struct Field {
    int offset;
    int width;
};
inline constexpr Field RecordKey{0, 8}; // IEEE double, little endian
inline constexpr Field Name{8, 50};
inline constexpr Field Adresse{58, 50};
inline constexpr Field PLZ{108, 10};
inline constexpr Field Ort{118, 50};
inline constexpr Field Description{168, 127};
inline constexpr Field Number{295, 35};
inline constexpr Field Number2{330, 35};
inline constexpr Field Number3{365, 35};
inline constexpr Field Ansage{400, 127};
inline constexpr Field Reserved{527, 100}; // never read, written as zero bytes
inline constexpr Field ISChanged{627, 2};  // "T" or "N", then a zero byte

// Text fields hold Windows-1252. A value shorter than the field is followed by one zero byte and blanks
// up to the width; a longer one is cut at the width and has no zero byte. Characters that Windows-1252
// lacks are written as "?".
void PutText(RecordBlock& block, Field field, const QString& value);
// The field cut at its first zero byte and trimmed of blanks on both sides.
QString GetText(const RecordBlock& block, Field field);
void PutKey(RecordBlock& block, double key);
double GetKey(const RecordBlock& block);
} // namespace EintragRecord

class clsEintrag {
public:
    // `settings` gives the telephone kind (PhoneType) and the outside-line prefix; `soundFolder` is the
    // folder to which the greeting's path is kept relative. Both must outlive the entry.
    clsEintrag(const Settings& settings, const QString& soundFolder);

    int16_t InPhone = 0;         // 1 when the owning book mirrors a telephone's memory
    RecordSource* hDB = nullptr; // the file the entry reads from and writes to; none when null
    double RecordKey = 0;        // record field 1; 0 asks the store to add a new record

    // Reads the record at the file's position. 0 on success, else the store's code, and the entry stays
    // as it was. Texts go through their set operations (limits and cleaning apply), the greeting is
    // taken as it stands, and ISChanged is the stored flag alone.
    int32_t GetRecord();
    // Writes the entry. The greeting is written only for a normal disk book. 0 on success, else the
    // store's code.
    int32_t PutRecord();
    // Fills a record block as PutRecord writes it.
    RecordBlock ToRecord() const;

    // The entry as the nine-item list: Name, Adresse, PLZ, Ort, Description, Number, Number2, Number3,
    // Ansage. XColChange sets the nine through their set operations in that order (a missing item counts
    // as empty), then writes the entry; it gives PutRecord's code.
    QStringList XColGet() const;
    int32_t XColChange(const QStringList& items);

    // Appends a row for the entry to `list`; nothing when the list is absent. `detail` chooses the wide
    // layout of the sub-items.
    void AddEintrag(ListItems* list, bool detail) const;
    // Rewrites the row (text, tag, sub-items in the detail layout) and refreshes its small icon if it
    // has one. False if the list or the row is absent.
    bool AktualizeEntry(ListItems* list, int row) const;
    // The sub-items 1, 2, ... of the entry's row.
    QStringList SubItems(bool detail) const;

    // The number as the telephone dials it: in a telephone's book (InPhone exactly 1) without the
    // outside-line prefix, otherwise unchanged.
    QString NumberDialable() const;
    // The number in the form a telephone's book keeps it: with InPhone, without blanks, "/" and "-" and
    // cut to the number limit of the telephone kind; otherwise unchanged. `changed`, when given, tells
    // whether the form differs from `number`.
    QString FormatNumberforEurit(const QString& number, bool* changed = nullptr) const;

    // Set operations: limits of the telephone kind only with InPhone, reserved characters always;
    // a value that differs from the stored one sets ISChanged to 1.
    QString Number() const { return m_number; }
    void setNumber(const QString& value);
    QString Number2() const { return m_number2; }
    void setNumber2(const QString& value);
    QString Number3() const { return m_number3; }
    void setNumber3(const QString& value);
    // The greeting is kept relative to the sound folder and given back as an absolute path (empty stays
    // empty).
    QString Ansage() const;
    void setAnsage(const QString& value);
    // The greeting as kept: relative to the sound folder where it could be made so.
    QString AnsageStored() const { return m_ansage; }
    int16_t ISChanged() const { return m_isChanged; }
    void setISChanged(int16_t value) { m_isChanged = value; }
    // With InPhone, line ends (CR LF, LF or CR) become "|"; for the Eurit 30 with five MSNs (PhoneType 2) the
    // text is laid out for its five display lines of 20 characters, at most 104 characters.
    QString Description() const { return m_description; }
    void setDescription(const QString& value);
    QString Ort() const { return m_ort; }
    void setOrt(const QString& value);
    QString PLZ() const { return m_plz; }
    void setPLZ(const QString& value);
    QString Adresse() const { return m_adresse; }
    void setAdresse(const QString& value);
    QString Name() const { return m_name; }
    void setName(const QString& value);

private:
    int16_t phoneType() const;
    // Cuts to `limit` characters when InPhone and the limit exists, marks a change, stores cleaned.
    void setText(QString& member, const QString& value, int limit);
    void setPhoneNumber(QString& member, const QString& value);
    ListItems::Item listItem(bool smallIcons, bool detail) const;

    const Settings* m_settings;
    QString m_soundFolder;
    QString m_name;
    QString m_adresse;
    QString m_plz;
    QString m_ort;
    QString m_description;
    QString m_number;
    QString m_number2;
    QString m_number3;
    int16_t m_isChanged = 0;
    QString m_ansage;
};
