#include "config/clsConfig.h"

#include "platform/FileNames.h"
#include "platform/profile/ProfileStore.h"
#include "shell/base/ListItems.h"
#include "shell/base/Settings.h"

#include <QDir>

#include <stdexcept>

using Field = clsConfig::Field;
using Section = clsConfig::Section;

namespace {

constexpr int M = clsConfig::MSNCount;
constexpr int Z = clsConfig::ZielLast;

// One row per field: key, exists key, section, string or number, index range, numbered key, what a
// missing key reads as.
constexpr clsConfig::FieldInfo msnFlagged(Field f, const char16_t* key, const char16_t* flag, bool text) {
    return {f, key, flag, Section::MSN, text, 1, M, true, 0, u""};
}
constexpr clsConfig::FieldInfo msnPlain(Field f, const char16_t* key, bool text, int16_t missing = 0,
                                        const char16_t* missingText = u"") {
    return {f, key, nullptr, Section::MSN, text, 1, M, true, missing, missingText};
}
constexpr clsConfig::FieldInfo general(Field f, const char16_t* key, const char16_t* flag, bool text) {
    return {f, key, flag, Section::Sonst, text, 0, 0, false, 0, u""};
}

constexpr std::array<clsConfig::FieldInfo, clsConfig::FieldCount> fieldTable = {{
    msnFlagged(Field::strMSN, u"strMSN", u"exMSN", true),
    msnFlagged(Field::strMSNText, u"strMSNText", u"exMSNText", true),
    msnFlagged(Field::intMSNMelodA, u"intMSNMelodA", u"exMSNMelodA", false),
    msnFlagged(Field::intMSNVol, u"intMSNVol", u"exMSNVol", false),
    msnFlagged(Field::intMSNRufart, u"intMSNRufart", u"exMSNRufart", false),
    msnFlagged(Field::intMSNAnsage, u"intMSNAnsage", u"exMSNAnsage", false),
    msnFlagged(Field::intUSERClir, u"intUSERClir", u"exUSERClir", false),
    msnFlagged(Field::intUSERMSNVol, u"intUSERMSNVol", u"exUSERMSNVol", false),
    msnFlagged(Field::strUSERParkcode, u"strUSERParkcode", u"exUSERParkcode", true),
    msnFlagged(Field::intUSERAnklopfen, u"intUSERAnklopfen", u"exUSERAnklopfen", false),
    msnFlagged(Field::intUSERColp, u"intUSERColp", u"exUSERColp", false),
    msnPlain(Field::strMSNRufartFile, u"strMSNRufartFile", true, 0, u"ring.wav"),
    msnPlain(Field::intCAPIABOn, u"intCAPIABOn", false),
    msnPlain(Field::intCAPIABRufanzahl, u"intCAPIABRufanzahl", false, 5),
    msnPlain(Field::intCAPIABAufnahmezeit, u"intCAPIABAufnahmezeit", false, 100),
    msnPlain(Field::intCAPIABMithören, u"intCAPIABMithören", false),
    msnPlain(Field::strCAPIABFile, u"strCAPIABFile", true),
    {Field::strCAPIPIN, u"strCAPIPIN", nullptr, Section::MSN, true, 0, 0, false, 0, u""},
    {Field::strZielwahl, u"strZielwahl", u"exZielwahl", Section::Ziel, true, 0, Z, true, 0, u""},
    general(Field::intUmleitungKeypad, u"intUmleitungKeypad", u"exUmleitungKeypad", false),
    general(Field::intECTHangup, u"intECTHangup", u"exECTHangup", false),
    general(Field::intAutoKeypad, u"intAutoKeypad", u"exAutoKeypad", false),
    general(Field::intContrast, u"intContrast", u"exContrast", false),
    general(Field::strWaehrung, u"strWaehrung", u"exWaehrung", true),
    general(Field::intSprache, u"intSprache", u"exSprache", false),
    general(Field::strAmtskennziffer, u"strAmtskennziffer", u"exAmtskennziffer", true),
    general(Field::intUseAmtskennzifferIn, u"intUseAmtskennzifferIn", u"exUseAmtskennzifferIn", false),
    general(Field::strParkkennziffer, u"strParkkennziffer", u"exParkkennziffer", true),
    general(Field::intGebühreneinheit, u"intGebühreneinheit", u"exGebühreneinheit", false),
    general(Field::intCOLP, u"intCOLP", u"exCOLP", false),
    general(Field::intAnklopfen, u"intAnklopfen", u"exAnklopfen", false),
    general(Field::intSCDIV, u"intSCDIV", u"exSCDIV", false),
    general(Field::intHeadset, u"intHeadset", u"exHeadset", false),
    general(Field::intECT, u"intECT", u"exECT", false),
    general(Field::intMail, u"intMail", u"exMail", false),
    general(Field::intCLIR, u"intCLIR", u"exCLIR", false),
    general(Field::intBeep, u"intBeep", u"exBeep", false),
    general(Field::strPIN, u"strPIN", u"exPIN", true),
    general(Field::intABOn, u"intABOn", u"exABOn", false),
    general(Field::intABRufanzahl, u"intABRufanzahl", u"exABRufanzahl", false),
    general(Field::intABAufnahmezeit, u"intABAufnahmezeit", u"exABAufnahmezeit", false),
    general(Field::intMithören, u"intMithören", u"exMithören", false),
    general(Field::intSparfunktion, u"intSparfunktion", u"exSparfunktion", false),
    general(Field::intABSup, u"intABSup", u"exABSup", false),
}};

// Each row stands at its field's place, so Info() finds it and no field is left out.
constexpr bool rowsInFieldOrder() {
    for (std::size_t i = 0; i < fieldTable.size(); ++i)
        if (std::size_t(fieldTable[i].field) != i)
            return false;
    return true;
}
static_assert(rowsInFieldOrder());

const QString sectionNames[] = {QStringLiteral("MSN"), QStringLiteral("Ziel"), QStringLiteral("Sonst")};

QString keyOf(const char16_t* name, const clsConfig::FieldInfo& info, int index) {
    QString key = QString::fromUtf16(name);
    if (info.numbered)
        key += QString::number(index);
    return key;
}

QString digitsOnly(const QString& text) {
    QString digits;
    for (QChar c : text)
        if (c >= u'0' && c <= u'9')
            digits += c;
    return digits;
}

bool between(int value, int low, int high) {
    return value >= low && value <= high;
}
int inRange(int value, int low, int high, int otherwise) {
    return between(value, low, high) ? value : otherwise;
}

// The assignment rules of the strings.
QString ruleText(Field field, const QString& value, int phoneType) {
    switch (field) {
    case Field::strMSN:
        return value.left(20);
    case Field::strMSNText:
        if (phoneType == 0 || phoneType == 1 || phoneType == 3)
            return value.left(15);
        if (phoneType == 2 || phoneType == 4)
            return value.left(20);
        return value;
    case Field::strUSERParkcode:
    case Field::strParkkennziffer:
        return digitsOnly(value).left(2);
    case Field::strZielwahl:
        return value.left(32);
    case Field::strWaehrung:
        return value.left(4);
    case Field::strAmtskennziffer:
    case Field::strPIN:
        return digitsOnly(value).left(4);
    default:
        return value;
    }
}

// The assignment rules of the numbers. The Eurit 20's melody is stored as given.
int ruleNumber(Field field, int value, int phoneType) {
    switch (field) {
    case Field::intMSNMelodA:
        if (phoneType == 3)
            return value;
        return phoneType == 4 ? inRange(value, 1, 6, 1) : inRange(value, 0, 6, 0);
    case Field::intMSNVol:
        return phoneType == 4 ? inRange(value, 0, 7, 0) : inRange(value, 0, 6, 0);
    case Field::intMSNRufart:
        return inRange(value, 0, 4, 0);
    case Field::intMSNAnsage:
        return between(value, 0, 3) ? value : 255;
    case Field::intUSERMSNVol:
        return inRange(value, 0, 7, 0);
    case Field::intContrast:
        return inRange(value, 0, 6, 0);
    case Field::intSprache:
        return inRange(value, 0, 3, 0);
    case Field::intGebühreneinheit:
        return inRange(value, 0, 99, 12);
    case Field::intABRufanzahl:
        return inRange(value, 3, 9, 5);
    case Field::intABAufnahmezeit:
        return (value == 30 || value == 60 || value == 120 || value == 180) ? value : 255;
    case Field::intUSERClir:
    case Field::intUSERColp:
    case Field::intUSERAnklopfen:
    case Field::intUmleitungKeypad:
    case Field::intECTHangup:
    case Field::intAutoKeypad:
    case Field::intUseAmtskennzifferIn:
    case Field::intCOLP:
    case Field::intAnklopfen:
    case Field::intSCDIV:
    case Field::intHeadset:
    case Field::intECT:
    case Field::intMail:
    case Field::intCLIR:
    case Field::intBeep:
    case Field::intABOn:
    case Field::intMithören:
    case Field::intSparfunktion:
    case Field::intABSup:
        return inRange(value, 0, 1, 0);
    default:
        return value;
    }
}

// The telephone's fields of the group that Changed and Exists speak for: the flagged per-MSN fields of
// entries 1 to 5, the targets from `firstZiel` to 20, the general fields.
template <typename Visit> void forGroup(int firstZiel, Visit visit) {
    for (int i = 1; i <= 5; ++i)
        for (int f = int(Field::strMSN); f <= int(clsConfig::LastMSNFlagged); ++f)
            visit(Field(f), i);
    for (int i = firstZiel; i <= Z; ++i)
        visit(Field::strZielwahl, i);
    for (int f = int(clsConfig::FirstGeneral); f < clsConfig::FieldCount; ++f)
        visit(Field(f), 0);
}

} // namespace

const std::array<clsConfig::FieldInfo, clsConfig::FieldCount>& clsConfig::Fields() {
    return fieldTable;
}

clsConfig::clsConfig(const Settings& settings, ProfileStore* profiles, QString folder)
    : m_settings(settings), m_profiles(profiles), m_folder(std::move(folder)) {}

QString clsConfig::FilePath() const {
    if (m_fileName.isEmpty())
        return {};
    if (m_folder.isEmpty() || m_fileName.contains(QLatin1Char('/')))
        return QDir(m_folder).filePath(m_fileName);
    // A set brought from Windows may spell its file's name in another case than the settings do.
    return PathInFolder(m_folder, m_fileName);
}

int clsConfig::element(Field field, int index) const {
    const FieldInfo& info = Info(field);
    if (index < info.first || index > info.last)
        throw std::out_of_range("clsConfig: index " + std::to_string(index) + " out of range");
    if (field == Field::intMSNMelodA || field == Field::intMSNVol) {
        const int phoneType = m_settings.PhoneType;
        if (phoneType == 3)
            return 1;
        if (phoneType < 0 || phoneType > 4)
            return -1;
    }
    return index;
}

QString clsConfig::Text(Field field, int index) const {
    const int e = element(field, index);
    if (!Info(field).text)
        throw std::logic_error("clsConfig: not a string field");
    std::lock_guard lock(m_mutex);
    return at(field).text[std::size_t(e)];
}

int16_t clsConfig::Number(Field field, int index) const {
    const int e = element(field, index);
    if (Info(field).text)
        throw std::logic_error("clsConfig: not a number field");
    if (e < 0)
        return 0;
    std::lock_guard lock(m_mutex);
    return at(field).number[std::size_t(e)];
}

void clsConfig::Assign(Field field, int index, const QString& value) {
    const int e = element(field, index);
    const FieldInfo& info = Info(field);
    if (!info.text)
        throw std::logic_error("clsConfig: not a string field");
    const QString next = info.flag ? ruleText(field, value, m_settings.PhoneType) : value;
    bool dirty = false;
    {
        std::lock_guard lock(m_mutex);
        Values& v = at(field);
        if (v.text[std::size_t(e)] != next) {
            v.text[std::size_t(e)] = next;
            v.ch[std::size_t(e)] = info.flag != nullptr;
            dirty = true;
        }
        if (info.flag && !v.ex[std::size_t(index)]) {
            v.ex[std::size_t(index)] = true;
            dirty = true;
        }
    }
    if (dirty)
        noteChange();
}

void clsConfig::Assign(Field field, int index, int value) {
    const int e = element(field, index);
    const FieldInfo& info = Info(field);
    if (info.text)
        throw std::logic_error("clsConfig: not a number field");
    if (e < 0)
        return; // a model that keeps no melody or volume
    const auto next = int16_t(info.flag ? ruleNumber(field, value, m_settings.PhoneType) : value);
    bool dirty = false;
    {
        std::lock_guard lock(m_mutex);
        Values& v = at(field);
        if (v.number[std::size_t(e)] != next) {
            v.number[std::size_t(e)] = next;
            if (info.flag)
                v.ch[std::size_t(e)] = true;
            dirty = true;
        }
        if (info.flag && !v.ex[std::size_t(index)]) {
            v.ex[std::size_t(index)] = true;
            dirty = true;
        }
    }
    if (dirty)
        noteChange();
}

void clsConfig::checkFlagged(Field field, int index) const {
    element(field, index);
    if (!Info(field).flag)
        throw std::logic_error("clsConfig: field without flags");
}

bool clsConfig::ex(Field field, int index) const {
    checkFlagged(field, index);
    std::lock_guard lock(m_mutex);
    return at(field).ex[std::size_t(index)];
}

void clsConfig::setEx(Field field, int index, bool value) {
    checkFlagged(field, index);
    {
        std::lock_guard lock(m_mutex);
        bool& flag = at(field).ex[std::size_t(index)];
        if (flag == value)
            return;
        flag = value;
    }
    noteChange();
}

bool clsConfig::ch(Field field, int index) const {
    checkFlagged(field, index);
    std::lock_guard lock(m_mutex);
    return at(field).ch[std::size_t(index)];
}

void clsConfig::setCh(Field field, int index, bool value) {
    checkFlagged(field, index);
    std::lock_guard lock(m_mutex);
    at(field).ch[std::size_t(index)] = value; // in memory only: no write
}

void clsConfig::store(Field field, int index, const QString& value, bool exists) {
    Values& v = at(field);
    v.text[std::size_t(index)] = value;
    if (Info(field).flag)
        v.ex[std::size_t(index)] = exists;
}

void clsConfig::store(Field field, int index, int16_t value, bool exists) {
    Values& v = at(field);
    v.number[std::size_t(index)] = value;
    if (Info(field).flag)
        v.ex[std::size_t(index)] = exists;
}

bool clsConfig::Load() {
    if (m_fileName.isEmpty() || !m_profiles)
        return false;
    const QString path = FilePath();
    // Read everything first, then take it in at once: the line's thread never sees half a set.
    AllValues read{};
    for (const FieldInfo& info : fieldTable) {
        const QString& section = sectionNames[int(info.section)];
        Values& v = read[std::size_t(info.field)];
        for (int i = info.first; i <= info.last; ++i) {
            const QString key = keyOf(info.key, info, i);
            if (info.text)
                v.text[std::size_t(i)] = m_profiles->GetPrivateProfileString(
                    section, key, QString::fromUtf16(info.missingText), path);
            else
                v.number[std::size_t(i)] =
                    int16_t(m_profiles->GetPrivateProfileInt(section, key, info.missingNumber, path));
            if (info.flag)
                v.ex[std::size_t(i)] =
                    m_profiles->GetPrivateProfileInt(section, keyOf(info.flag, info, i), 0, path) != 0;
        }
    }
    WriteHold hold(this);
    {
        std::lock_guard lock(m_mutex);
        for (std::size_t f = 0; f < read.size(); ++f) {
            read[f].ch = m_values[f].ch; // the changed flags are the memory's own
            m_values[f] = std::move(read[f]);
        }
    }
    if (!ex(Field::strMSN, 1))
        SetDefaultCAPI();
    m_dirty = false; // what the file holds, or a fresh set that needs no file until it changes
    return true;
}

bool clsConfig::Save() {
    if (m_fileName.isEmpty() || !m_profiles)
        return false;
    AllValues values;
    {
        std::lock_guard lock(m_mutex);
        values = m_values;
    }
    std::vector<ProfileStore::KeyValue> keys;
    keys.reserve(420);
    auto write = [&](const FieldInfo& info, int i) {
        const QString& section = sectionNames[int(info.section)];
        const Values& v = values[std::size_t(info.field)];
        QString value = info.text ? v.text[std::size_t(i)] : QString::number(v.number[std::size_t(i)]);
        if (value.isNull())
            value = QStringLiteral(""); // a null value would remove the key
        keys.push_back({section, keyOf(info.key, info, i), value});
        if (info.flag)
            keys.push_back({section, keyOf(info.flag, info, i),
                            v.ex[std::size_t(i)] ? QStringLiteral("-1") : QStringLiteral("0")});
    };
    // Per section: the numbered fields index by index, then the fields that are one value.
    for (const Section section : {Section::MSN, Section::Ziel, Section::Sonst}) {
        int first = 1;
        int last = 0;
        for (const FieldInfo& info : fieldTable)
            if (info.section == section && info.numbered) {
                first = info.first;
                last = info.last;
            }
        for (int i = first; i <= last; ++i)
            for (const FieldInfo& info : fieldTable)
                if (info.section == section && info.numbered)
                    write(info, i);
        for (const FieldInfo& info : fieldTable)
            if (info.section == section && !info.numbered)
                write(info, 0);
    }
    const bool ok = m_profiles->WritePrivateProfileStrings(keys, FilePath());
    if (ok)
        m_dirty = false;
    return ok;
}

void clsConfig::SetDefault() {
    WriteHold hold(this);
    {
        std::lock_guard lock(m_mutex);
        for (int i = 1; i <= 5; ++i) {
            store(Field::strMSN, i, QString(), false);
            store(Field::strMSNText, i, QString(), false);
            for (Field f : {Field::intMSNMelodA, Field::intMSNVol, Field::intMSNRufart, Field::intMSNAnsage})
                store(f, i, int16_t(0), false);
        }
        for (int i = 0; i <= Z; ++i)
            store(Field::strZielwahl, i, QString(), false);
        for (int f = int(Field::intSprache); f < FieldCount; ++f) {
            if (Info(Field(f)).text)
                store(Field(f), 0, QString(), false);
            else
                store(Field(f), 0, int16_t(0), false);
        }
    }
    noteChange();
}

void clsConfig::SetDefaultCAPI() {
    WriteHold hold(this);
    {
        std::lock_guard lock(m_mutex);
        for (int i = 1; i <= M; ++i) {
            store(Field::strMSN, i, QString(), true);
            store(Field::strMSNText, i, QString(), true);
            store(Field::intMSNMelodA, i, int16_t(0), true);
            store(Field::intMSNVol, i, int16_t(6), true);
            store(Field::intMSNRufart, i, int16_t(0), false);
            store(Field::intMSNAnsage, i, int16_t(0), false);
            store(Field::strMSNRufartFile, i, QStringLiteral("ring.wav"), false);
        }
        store(Field::strMSN, 1, QStringLiteral("*"), true);
        for (int i = 1; i <= Z; ++i)
            at(Field::strZielwahl).ex[std::size_t(i)] = true;
        // intSprache to intSCDIV have no exists flag in a fresh set, intGebühreneinheit and the rest do.
        for (int f = int(Field::intSprache); f < FieldCount; ++f) {
            const bool exists = f >= int(Field::intGebühreneinheit) && Field(f) != Field::intCOLP &&
                                Field(f) != Field::intAnklopfen && Field(f) != Field::intSCDIV;
            if (Info(Field(f)).text)
                store(Field(f), 0, QString(), exists);
            else
                store(Field(f), 0, int16_t(0), exists);
        }
    }
    noteChange();
}

void clsConfig::setChanged(bool value) {
    std::lock_guard lock(m_mutex);
    forGroup(0, [&](Field f, int i) { at(f).ch[std::size_t(i)] = value; });
}

bool clsConfig::Changed() const {
    std::lock_guard lock(m_mutex);
    bool any = false;
    forGroup(1, [&](Field f, int i) { any |= at(f).ch[std::size_t(i)]; });
    return any;
}

bool clsConfig::Exists() const {
    std::lock_guard lock(m_mutex);
    bool any = false;
    forGroup(1, [&](Field f, int i) { any |= at(f).ex[std::size_t(i)]; });
    return any;
}

int clsConfig::GetMatchMSNNummer(const QString& number, bool wildCardAllowed) const {
    std::lock_guard lock(m_mutex);
    const auto& msn = at(Field::strMSN).text;
    for (int i = 1; i <= M; ++i)
        if (msn[std::size_t(i)] == number)
            return i;
    if (!wildCardAllowed)
        return 0;
    for (int i = 1; i <= M; ++i) {
        const QString& entry = msn[std::size_t(i)];
        const qsizetype star = entry.indexOf(QLatin1Char('*'));
        if (star >= 0 && number.startsWith(QStringView(entry).left(star)))
            return i;
    }
    return 0;
}

QString clsConfig::trlMSNNummerToName(const QString& number, bool allowWildCard) const {
    const int index = GetMatchMSNNummer(number, allowWildCard);
    return index != 0 ? strMSNText(index) : number;
}

void clsConfig::Ziel_DisplayInList(ListItems& list) const {
    list.Clear();
    const bool eurit22 = m_settings.PhoneType == 4;
    for (int i = 0; i <= Z; ++i) {
        if (!ex(Field::strZielwahl, i) || (eurit22 && i == 0))
            continue;
        QString text = QString::number(i);
        if (eurit22 && i == 10)
            text = QStringLiteral("*");
        else if (eurit22 && i == 11)
            text = QStringLiteral("#");
        list.Append({text, double(i), QString(), {Text(Field::strZielwahl, i)}});
    }
}

void clsConfig::MSN_DisplayInList(ListItems& list) const {
    static const QString rufart[] = {QStringLiteral("Melodie"), QStringLiteral("Melodie+MSN"),
                                     QStringLiteral("Melodie+Name"), QStringLiteral("MSN+Name"),
                                     QStringLiteral("MSN")};
    list.Clear();
    for (int i = 1; i <= M; ++i) {
        if (!ex(Field::strMSN, i))
            continue;
        const QString msn = strMSN(i);
        QStringList sub{msn};
        sub << (ex(Field::strMSNText, i) ? strMSNText(i) : QString());
        sub << (ex(Field::intMSNMelodA, i) ? strMSNRufartFile(i) : QString());
        sub << (ex(Field::intMSNVol, i) ? QString::number(Number(Field::intMSNVol, i)) : QString());
        const int mode = Number(Field::intMSNRufart, i);
        sub << (ex(Field::intMSNRufart, i) && between(mode, 0, 4) ? rufart[mode] : QString());
        const int ansage = Number(Field::intMSNAnsage, i);
        sub << (ex(Field::intMSNAnsage, i) ? (ansage == 255 ? QStringLiteral("---") : QString::number(ansage))
                                           : QString());
        list.Append({QLatin1Char(' ') + QString::number(i), double(i),
                     msn.isEmpty() ? QStringLiteral("S0") : QStringLiteral("S1"), sub});
    }
}

void clsConfig::ABCAPI_DisplayInList(ListItems& list) const {
    list.Clear();
    for (int i = 1; i <= M; ++i) {
        if (!ex(Field::strMSN, i))
            continue;
        list.Append({QString::number(i) + QStringLiteral(":  ") + strMSN(i),
                     double(i),
                     Number(Field::intCAPIABOn, i) != 0 ? QStringLiteral("S1") : QStringLiteral("S0"),
                     {Text(Field::strCAPIABFile, i), QString::number(Number(Field::intCAPIABRufanzahl, i)),
                      QString::number(Number(Field::intCAPIABAufnahmezeit, i))}});
    }
}

void clsConfig::noteChange() {
    m_dirty = true;
    flush();
}

void clsConfig::flush() {
    if (m_holds == 0 && m_dirty && m_profiles && !m_fileName.isEmpty())
        Save();
}

clsConfig::WriteHold::WriteHold(clsConfig* set) : m_set(set) {
    if (m_set)
        ++m_set->m_holds;
}

clsConfig::WriteHold::~WriteHold() {
    if (m_set) {
        --m_set->m_holds;
        m_set->flush();
    }
}
