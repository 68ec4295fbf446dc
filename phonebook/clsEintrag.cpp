#include "phonebook/clsEintrag.h"

#include "numbers/Num_module.h"
#include "platform/Windows1252.h"
#include "shell/base/Settings.h"
#include "shell/base/modPathModify.h"

#include <QDir>
#include <QtEndian>

#include <algorithm>
#include <bit>
#include <cstring>

namespace {

// Text limits of the telephone kinds, in characters; -1 is no limit.
struct PhoneLimits {
    int Name = -1;
    int Number = -1;
    int Adresse = -1;
    int PLZ = -1;
    int Ort = -1;
    int Description = -1;
};

PhoneLimits limitsFor(int16_t phoneType) {
    switch (phoneType) {
    case 0:
    case 1:
        return {20, 20, -1, -1, -1, -1};
    case 2:
        return {30, 32, 32, 10, 32, 104};
    case 4:
        return {32, 32, -1, -1, -1, -1};
    default:
        return {};
    }
}

QString cut(const QString& text, int limit) {
    return limit >= 0 ? text.left(limit) : text;
}

// The note laid out for the five display lines of 20 characters of the Eurit 30 with five MSNs: a text
// whose first five lines fit stays; otherwise it is re-broken every 20 characters. At most 104.
QString layoutForFiveLines(QString text) {
    constexpr int lineWidth = 20;
    const QStringList lines = text.split(QLatin1Char('|'));
    const bool fits = std::all_of(lines.begin(), lines.begin() + std::min<qsizetype>(lines.size(), 5),
                                  [](const QString& line) { return line.size() <= lineWidth; });
    if (!fits) {
        text.replace(QLatin1Char('|'), QLatin1Char(' '));
        const qsizetype before = text.size();
        for (qsizetype at = lineWidth; at <= before; at += lineWidth + 1)
            text.insert(at, QLatin1Char('|'));
    }
    return text.left(104);
}

} // namespace

namespace EintragRecord {

void PutText(RecordBlock& block, Field field, const QString& value) {
    PutBlockText(block.data() + field.offset, field.width, value);
}

QString GetText(const RecordBlock& block, Field field) {
    return GetBlockText(block.data() + field.offset, field.width);
}

void PutKey(RecordBlock& block, double key) {
    qToLittleEndian(std::bit_cast<quint64>(key), block.data() + RecordKey.offset);
}

double GetKey(const RecordBlock& block) {
    return std::bit_cast<double>(qFromLittleEndian<quint64>(block.data() + RecordKey.offset));
}

} // namespace EintragRecord

// ---- clsEintrag

clsEintrag::clsEintrag(const Settings& settings, const QString& soundFolder)
    : m_settings(&settings), m_soundFolder(QDir(soundFolder).absolutePath() + QLatin1Char('/')) {}

int16_t clsEintrag::phoneType() const {
    return m_settings->PhoneType;
}

int32_t clsEintrag::GetRecord() {
    if (hDB == nullptr)
        return RecordSource::NoSource;
    RecordBlock block{};
    const int32_t code = hDB->GetRecordPHB(block);
    if (code != 0)
        return code;
    namespace R = EintragRecord;
    RecordKey = R::GetKey(block);
    setName(R::GetText(block, R::Name));
    setAdresse(R::GetText(block, R::Adresse));
    setPLZ(R::GetText(block, R::PLZ));
    setOrt(R::GetText(block, R::Ort));
    setDescription(R::GetText(block, R::Description));
    setNumber(R::GetText(block, R::Number));
    setNumber2(R::GetText(block, R::Number2));
    setNumber3(R::GetText(block, R::Number3));
    m_ansage = R::GetText(block, R::Ansage);
    m_isChanged = R::GetText(block, R::ISChanged) == QLatin1String("T") ? 1 : 0;
    return 0;
}

RecordBlock clsEintrag::ToRecord() const {
    namespace R = EintragRecord;
    RecordBlock block{};
    R::PutKey(block, RecordKey);
    R::PutText(block, R::Name, m_name);
    R::PutText(block, R::Adresse, m_adresse);
    R::PutText(block, R::PLZ, m_plz);
    R::PutText(block, R::Ort, m_ort);
    R::PutText(block, R::Description, m_description);
    R::PutText(block, R::Number, m_number);
    R::PutText(block, R::Number2, m_number2);
    R::PutText(block, R::Number3, m_number3);
    // The greeting is kept in its relative form, so that the book follows a moved sound folder.
    R::PutText(block, R::Ansage, hDB != nullptr && hDB->KeepsGreetings() ? m_ansage : QString());
    block[std::size_t(R::ISChanged.offset)] = m_isChanged != 0 ? 'T' : 'N';
    block[std::size_t(R::ISChanged.offset + 1)] = '\0';
    return block;
}

int32_t clsEintrag::PutRecord() {
    if (hDB == nullptr)
        return RecordSource::NoSource;
    return hDB->PutRecordPHB(ToRecord());
}

QStringList clsEintrag::XColGet() const {
    return {m_name, m_adresse, m_plz, m_ort, m_description, m_number, m_number2, m_number3, Ansage()};
}

int32_t clsEintrag::XColChange(const QStringList& items) {
    setName(items.value(0));
    setAdresse(items.value(1));
    setPLZ(items.value(2));
    setOrt(items.value(3));
    setDescription(items.value(4));
    setNumber(items.value(5));
    setNumber2(items.value(6));
    setNumber3(items.value(7));
    setAnsage(items.value(8));
    return PutRecord();
}

QStringList clsEintrag::SubItems(bool detail) const {
    if (InPhone != 0 && phoneType() != 2)
        return {m_number};
    if (InPhone != 0) {
        if (detail)
            return {m_number, QString(), QString(), m_adresse, m_plz, m_ort, m_description};
        return {m_number, m_adresse, m_plz, m_ort, m_description};
    }
    if (detail)
        return {m_number, m_number2, m_number3, m_adresse, m_plz, m_ort, m_description};
    return {m_number, m_adresse, m_plz, m_ort, m_description};
}

ListItems::Item clsEintrag::listItem(bool smallIcons, bool detail) const {
    ListItems::Item item;
    item.Text = m_name;
    item.Tag = RecordKey;
    if (smallIcons)
        item.SmallIcon = m_ansage.isEmpty() ? QStringLiteral("NOS") : QStringLiteral("S");
    item.SubItems = SubItems(detail);
    return item;
}

void clsEintrag::AddEintrag(ListItems* list, bool detail) const {
    if (list == nullptr)
        return;
    list->Append(listItem(list->HasSmallIcons(), detail));
}

bool clsEintrag::AktualizeEntry(ListItems* list, int row) const {
    if (list == nullptr || row < 0 || row >= list->Count())
        return false;
    // The row gets the entry's values in the detail layout; its small icon follows the greeting only
    // when the row shows one.
    return list->Replace(row, listItem(!list->At(row).SmallIcon.isEmpty(), true));
}

QString clsEintrag::NumberDialable() const {
    return InPhone == 1 ? OutsideLinePrefix(*m_settings, m_number, 0) : m_number;
}

QString clsEintrag::FormatNumberforEurit(const QString& number, bool* changed) const {
    QString formatted = number;
    if (InPhone != 0) {
        formatted.remove(QLatin1Char(' ')).remove(QLatin1Char('/')).remove(QLatin1Char('-'));
        formatted = cut(formatted, limitsFor(phoneType()).Number);
    }
    if (changed != nullptr)
        *changed = formatted != number;
    return formatted;
}

void clsEintrag::setText(QString& member, const QString& value, int limit) {
    const QString text = InPhone != 0 ? cut(value, limit) : value;
    if (text != member)
        m_isChanged = 1;
    member = CleanForPhone(text, phoneType());
}

void clsEintrag::setPhoneNumber(QString& member, const QString& value) {
    const QString number = CleanForPhone(FormatNumberforEurit(value), phoneType());
    if (number != member)
        m_isChanged = 1;
    member = number;
}

void clsEintrag::setNumber(const QString& value) {
    setPhoneNumber(m_number, value);
}

void clsEintrag::setNumber2(const QString& value) {
    setPhoneNumber(m_number2, value);
}

void clsEintrag::setNumber3(const QString& value) {
    setPhoneNumber(m_number3, value);
}

QString clsEintrag::Ansage() const {
    return m_ansage.isEmpty() ? QString() : PathComplete(m_ansage, m_soundFolder);
}

void clsEintrag::setAnsage(const QString& value) {
    // Compared in the kept form, so that giving back what Ansage() gave is no change.
    const QString relative = PathRelative(value, m_soundFolder);
    if (relative != m_ansage)
        m_isChanged = 1;
    m_ansage = relative;
}

void clsEintrag::setDescription(const QString& value) {
    QString text = value;
    if (InPhone != 0) {
        // A line ends in CR LF (Windows), LF (Linux) or CR alone; each end becomes the telephone's "|".
        text.replace(QStringLiteral("\r\n"), QStringLiteral("|"));
        text.replace(QLatin1Char('\r'), QLatin1Char('|')).replace(QLatin1Char('\n'), QLatin1Char('|'));
        if (phoneType() == 2)
            text = layoutForFiveLines(text);
    }
    setText(m_description, text, -1);
}

void clsEintrag::setOrt(const QString& value) {
    setText(m_ort, value, limitsFor(phoneType()).Ort);
}

void clsEintrag::setPLZ(const QString& value) {
    setText(m_plz, value, limitsFor(phoneType()).PLZ);
}

void clsEintrag::setAdresse(const QString& value) {
    setText(m_adresse, value, limitsFor(phoneType()).Adresse);
}

void clsEintrag::setName(const QString& value) {
    setText(m_name, value, limitsFor(phoneType()).Name);
}
