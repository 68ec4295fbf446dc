#include "calllog/modEZGDB.h"

#include "config/colConfig.h"
#include "numbers/Num_module.h"
#include "phonebook/colPhonebook.h"
#include "platform/Clock.h"
#include "platform/Windows1252.h"
#include "platform/profile/ProfileStore.h"
#include "shell/base/CallRecord.h"
#include "shell/base/Language.h"
#include "shell/base/ListItems.h"
#include "shell/base/Logs.h"
#include "shell/base/UserDialogs.h"
#include "shell/base/modPathModify.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QLocale>
#include <QtEndian>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace {

const QDate kDayZero(1899, 12, 30);
constexpr double kSecondsPerDay = 86400.0;
constexpr int kExternRecordSize = 88;

// ---- Block fields

void putDouble(EZGRecord::Block& block, EZGBlock::Field field, double value) {
    qToLittleEndian(std::bit_cast<quint64>(value), block.data() + field.offset);
}
double getDouble(const EZGRecord::Block& block, EZGBlock::Field field) {
    return std::bit_cast<double>(qFromLittleEndian<quint64>(block.data() + field.offset));
}
// A text field of the log always ends in a zero byte: it holds one character less than its width.
void putText(EZGRecord::Block& block, EZGBlock::Field field, const QString& value) {
    char* out = block.data() + field.offset;
    PutBlockText(out, field.width - 1, value.trimmed());
    const bool full = std::memchr(out, 0, size_t(field.width - 1)) == nullptr;
    out[field.width - 1] = full ? '\0' : ' ';
}
QString getText(const EZGRecord::Block& block, EZGBlock::Field field) {
    return GetBlockText(block.data() + field.offset, field.width);
}

// ---- Texts of the call record

// "mm:ss" or "hh:mm:ss" in seconds; none for anything else.
std::optional<int> durationSeconds(const QString& text) {
    const QStringList parts = (QStringLiteral("00:") + text.trimmed()).right(8).split(QLatin1Char(':'));
    if (parts.size() != 3)
        return std::nullopt;
    const int limits[3] = {24, 60, 60};
    int seconds = 0;
    for (int i = 0; i < 3; ++i) {
        bool ok = false;
        const int value = parts[i].toInt(&ok);
        if (!ok || parts[i].isEmpty() || parts[i].front() == QLatin1Char('+') ||
            parts[i].front() == QLatin1Char('-') || value >= limits[i])
            return std::nullopt;
        seconds = seconds * 60 + value;
    }
    return seconds;
}

// The number a text begins with, "." as decimal point ("12.34 EUR" gives 12.34, "EUR" 0).
double leadingNumber(const QString& text) {
    const QString trimmed = text.trimmed();
    qsizetype end = 0;
    if (end < trimmed.size() && (trimmed[end] == QLatin1Char('-') || trimmed[end] == QLatin1Char('+')))
        ++end;
    bool point = false;
    while (end < trimmed.size() &&
           (trimmed[end].isDigit() || (trimmed[end] == QLatin1Char('.') && !std::exchange(point, true))))
        ++end;
    return trimmed.left(end).toDouble(); // 0 when no number stands there
}

// "Currency": the amount in the user's locale with its currency sign.
QString currencyText(double amount) {
    return QLocale().toCurrencyString(amount);
}

// The day and the time of day of a date number, to the millisecond.
std::pair<QDate, QTime> dayAndTime(double number) {
    const double day = std::floor(number);
    const auto msecs = std::llround((number - day) * kSecondsPerDay * 1000); // 86400000 at most
    return {kDayZero.addDays(qint64(day) + msecs / 86400000),
            QTime::fromMSecsSinceStartOfDay(int(msecs % 86400000))};
}

// A date number in the "General Date" form of the logs, without a trip through the local time zone
// (which asks the system for its zone on every call).
QString generalDateText(double number) {
    const auto [date, time] = dayAndTime(number);
    return date.toString(QStringLiteral("dd.MM.yyyy")) + QLatin1Char(' ') +
           time.toString(QStringLiteral("hh:mm:ss"));
}

// ---- Varnoth_nw.dat

int16_t int16At(const char* record, int offset) {
    return qFromLittleEndian<qint16>(record + offset);
}

// How far the import of Varnoth_nw.dat has come, in "Varnoth_nw.dat.import" beside it: the fingerprint
// of the file (its SHA-256), the number of the record being written and the log's count of records
// without it. It is written in place before each record, one write of a fixed size that a killed
// process cannot leave half done, and removed once the file is renamed. A journal of another file, or
// one that cannot be read, counts as none.
class ImportJournal {
public:
    struct Entry {
        qsizetype record = 0;
        int64_t count = 0;
    };

    explicit ImportJournal(QString path) : m_file(std::move(path)) {}

    QString path() const { return m_file.fileName(); }
    std::optional<Entry> read(const QByteArray& source) {
        QFile in(m_file.fileName());
        if (!in.open(QIODevice::ReadOnly))
            return std::nullopt;
        const QList<QByteArray> fields = in.read(kSize + 1).trimmed().split(' ');
        bool recordOk = false;
        bool countOk = false;
        if (fields.size() != 3 || fields[0] != source)
            return std::nullopt;
        const Entry entry{qsizetype(fields[1].toLongLong(&recordOk)), fields[2].toLongLong(&countOk)};
        if (!recordOk || !countOk || entry.record < 0 || entry.count < 0)
            return std::nullopt;
        return entry;
    }
    bool open() { return m_file.open(QIODevice::ReadWrite | QIODevice::Unbuffered); }
    bool write(const QByteArray& source, Entry entry) {
        const QByteArray line = source + ' ' +
                                QByteArray::number(qlonglong(entry.record)).rightJustified(10, '0') + ' ' +
                                QByteArray::number(qlonglong(entry.count)).rightJustified(12, '0') + '\n';
        return line.size() == kSize && m_file.isOpen() && m_file.seek(0) && m_file.write(line) == kSize;
    }
    void remove() {
        m_file.close();
        QFile::remove(m_file.fileName());
    }

private:
    static constexpr qsizetype kSize = 64 + 1 + 10 + 1 + 12 + 1;
    QFile m_file;
};

QString externText(const char* record, int offset, int width) {
    return GetBlockText(record + offset, width);
}

} // namespace

double DateNumber(const QDateTime& when) {
    const QTime time = when.time();
    return double(kDayZero.daysTo(when.date())) +
           double(time.msecsSinceStartOfDay()) / (kSecondsPerDay * 1000);
}

QDateTime DateFromNumber(double number) {
    const auto [date, time] = dayAndTime(number);
    return QDateTime(date, time);
}

// ---- EZGRecord

EZGRecord EZGRecord::FromBlock(const Block& block) {
    EZGRecord r;
    r.RecordKey = getDouble(block, EZGBlock::RecordKey);
    r.Gesprächsbeginn = getDouble(block, EZGBlock::Gesprächsbeginn);
    r.Tagesnummer = qFromLittleEndian<qint32>(block.data() + EZGBlock::Tagesnummer.offset);
    r.Uhrzeit = getText(block, EZGBlock::Uhrzeit);
    r.Provider = getText(block, EZGBlock::Provider);
    r.PartnerRufnummer = getText(block, EZGBlock::PartnerRufnummer);
    r.MSN = getText(block, EZGBlock::MSN);
    r.Gesprächsdauer = getDouble(block, EZGBlock::Gesprächsdauer);
    r.Gebühr = getDouble(block, EZGBlock::Gebühr);
    r.Reserved = getDouble(block, EZGBlock::Reserved3);
    r.Tondatei = getText(block, EZGBlock::Tondatei);
    r.Neu = getDouble(block, EZGBlock::Neu);
    r.Richtung = getDouble(block, EZGBlock::Richtung);
    r.Verbindungsstatus = getDouble(block, EZGBlock::Verbindungsstatus);
    return r;
}

EZGRecord::Block EZGRecord::ToBlock() const {
    Block block{};
    putDouble(block, EZGBlock::RecordKey, RecordKey);
    putDouble(block, EZGBlock::Gesprächsbeginn, Gesprächsbeginn);
    qToLittleEndian<qint32>(Tagesnummer, block.data() + EZGBlock::Tagesnummer.offset);
    putText(block, EZGBlock::Uhrzeit, Uhrzeit);
    putDouble(block, EZGBlock::Reserved1, 0);
    putDouble(block, EZGBlock::Reserved2, 0);
    putText(block, EZGBlock::Provider, Provider);
    putText(block, EZGBlock::PartnerRufnummer, PartnerRufnummer);
    putText(block, EZGBlock::MSN, MSN);
    putDouble(block, EZGBlock::Gesprächsdauer, Gesprächsdauer);
    putDouble(block, EZGBlock::Gebühr, Gebühr);
    putDouble(block, EZGBlock::Reserved3, Reserved);
    putText(block, EZGBlock::Tondatei, Tondatei);
    putDouble(block, EZGBlock::Neu, Neu);
    putDouble(block, EZGBlock::Richtung, Richtung);
    putDouble(block, EZGBlock::Verbindungsstatus, Verbindungsstatus);
    return block;
}

// ---- modEZGDB

modEZGDB::modEZGDB(CallLogServices services) : m_s(std::move(services)) {}

modEZGDB::~modEZGDB() {
    SEZGDBClose();
}

QString modEZGDB::LogFolder() const {
    return QDir(m_s.programFolder).filePath(QStringLiteral("Log")) + QLatin1Char('/');
}

QString modEZGDB::LogPath() const {
    return LogFolder() + QStringLiteral("MorvaLog.dbf");
}

QString modEZGDB::ExternPath() const {
    return QDir(m_s.programFolder).filePath(QStringLiteral("Varnoth_nw.dat"));
}

void modEZGDB::loadStatusTexts() {
    static constexpr int kStrings[10] = {620, 621, 622, 623, 624, 625, 626, 627, 628, 631};
    for (size_t i = 0; i < m_statusTexts.size(); ++i)
        m_statusTexts[i] = m_s.language.LanguageString(kStrings[i]);
}

QString modEZGDB::SEZGStatusText(int value) const {
    int text = -1;
    switch (value) {
    case 0:
        text = 0;
        break;
    case 4:
    case 132:
        text = 1;
        break;
    case 5:
    case 133:
        text = 2;
        break;
    case 6:
        text = 3;
        break;
    case 16:
    case 144:
        text = 4;
        break;
    case 17:
    case 145:
        text = 5;
        break;
    case 134:
        text = 6;
        break;
    case 18:
    case 146:
        text = 7;
        break;
    case 24:
    case 152:
        text = 8;
        break;
    case 135:
        text = 9;
        break;
    default:
        break;
    }
    if (text < 0)
        return QStringLiteral("nicht def. 0x") + QString::number(value, 16).toUpper();
    return m_statusTexts[size_t(text)];
}

void modEZGDB::SEZGDBOpen() {
    if (hLog != 0)
        return; // open already
    QDir().mkpath(LogFolder());
    loadStatusTexts();
    if (!m_storeStarted)
        m_storeStarted = m_s.store.PDB_Init() == pdb::Ok; // each user of the store starts and stops it
    const QString path = LogPath();
    int32_t code = m_s.store.PDB_Open(hLog, path, pdb::CallLog);
    if (code != pdb::Ok) {
        const auto fail = [&](const QString& message, int32_t failure) {
            QString reason;
            m_s.store.PDB_TranslateError(failure, reason);
            m_s.logs.Log_Write(QStringLiteral("SEZGDBOpen: %1 %2: %3").arg(message, path, reason));
            m_s.dialogs.MsgBox(message + QLatin1Char('\n') + path + QStringLiteral(": ") + reason,
                               UserDialogs::Buttons::Ok, UserDialogs::Icon::Critical);
            hLog = 0;
        };
        // A file that is there but cannot be opened is never created anew over it.
        const bool exists = QFile::exists(path);
        const int32_t created = exists ? code : m_s.store.PDB_Create(path, 1, pdb::CallLog);
        if (created != pdb::Ok)
            return fail(QStringLiteral("Create Database Failed !"), created);
        code = m_s.store.PDB_Open(hLog, path, pdb::CallLog);
        if (code != pdb::Ok)
            return fail(QStringLiteral("Open after Create Database Failed !"), code);
    }
    SEZGImportExtern();
}

void modEZGDB::SEZGDBClose() {
    if (hLog != 0)
        m_s.store.PDB_Close(hLog);
    hLog = 0;
    if (m_storeStarted)
        m_s.store.PDB_Exit();
    m_storeStarted = false;
}

void modEZGDB::SEZGImportExtern() {
    const QString path = ExternPath();
    ImportJournal journal(path + QStringLiteral(".import"));
    if (hLog == 0)
        return;
    if (!QFile::exists(path)) {
        journal.remove(); // left by a start killed after the rename
        return;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        m_s.logs.Log_Write(QStringLiteral("SEZGImportExtern: cannot open ") + path);
        return;
    }
    const QByteArray bytes = file.readAll();
    file.close();
    const qsizetype records = bytes.size() / kExternRecordSize;

    // Where an earlier start of this import left off, and the log's count of records then.
    const QByteArray source = QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex();
    int64_t count = m_s.store.PDB_GetNumRecords(hLog);
    qsizetype first = 1; // the first record is no call
    if (const std::optional<ImportJournal::Entry> last = journal.read(source)) {
        first = std::clamp<qsizetype>(last->record, 1, std::max<qsizetype>(records, 1));
        if (count > last->count)
            ++first; // the record it was writing is in the log
    }
    if (!journal.open()) {
        // Without the journal a killed import would write its records again at the next start.
        m_s.logs.ErrorLog(QStringLiteral("SEZGImportExtern: cannot write ") + journal.path());
        return;
    }

    int taken = 0;
    int passed = 0;
    for (qsizetype n = first; n < records; ++n) {
        const char* in = bytes.constData() + n * kExternRecordSize;
        if (in[87] != 0) {
            ++passed;
            continue;
        }
        const int hour = int16At(in, 14);
        const int minute = int16At(in, 16);
        const int second = int16At(in, 18);
        const QString day = QStringLiteral("%1%2%3")
                                .arg(int16At(in, 8) + 1990, 4, 10, QLatin1Char('0'))
                                .arg(int16At(in, 10), 2, 10, QLatin1Char('0'))
                                .arg(int16At(in, 12), 2, 10, QLatin1Char('0'));
        const int32_t dayNumber = m_s.store.PDB_GETJulianDays(hLog, day);
        if (dayNumber <= 100 || !QTime::isValid(hour, minute, second)) {
            ++passed;
            continue;
        }
        EZGRecord record;
        QString carrier;
        const QString partner = externText(in, 46, 30);
        record.PartnerRufnummer = m_s.phonebooks.Vorwahlen.StripCarrierPrefix(partner, carrier);
        record.Provider = partner.left(partner.size() - record.PartnerRufnummer.size());
        record.Gesprächsdauer = int16At(in, 20);
        record.Gebühr = qFromLittleEndian<qint32>(in + 4) / 100.0;
        record.Richtung = int16At(in, 26);
        record.Verbindungsstatus = int16At(in, 24);
        record.MSN = externText(in, 30, 16);
        const double date = dayNumber + (second + 60 * minute + 3600 * hour) / kSecondsPerDay;
        // First the journal: the record about to be written and the log's count without it. A start after
        // a kill finds the record in the log if the count has grown, and goes on after it.
        if (!journal.write(source, {n, count})) {
            m_s.logs.ErrorLog(QStringLiteral("SEZGImportExtern: cannot write ") + journal.path());
            return;
        }
        const int32_t code = SEZGDBSave_EZG_Eintrag(date, record);
        if (code == pdb::BadValue) {
            // A value wider than its column: this record can never be written.
            ++passed;
            m_s.logs.ErrorLog(
                QStringLiteral("SEZGImportExtern: record %1 of %2 passed over, a value does not fit the log "
                               "(direction %3, state %4, charge %5)")
                    .arg(n + 1)
                    .arg(path)
                    .arg(record.Richtung)
                    .arg(record.Verbindungsstatus)
                    .arg(record.Gebühr, 0, 'f', 2));
            continue;
        }
        if (code != pdb::Ok) {
            // A full disk, say: the file and the journal stay, and the next start goes on from here.
            m_s.logs.ErrorLog(QStringLiteral("SEZGImportExtern: record %1 of %2 not written (%3); the rest "
                                             "is taken over at the next start")
                                  .arg(n + 1)
                                  .arg(path)
                                  .arg(code));
            return;
        }
        ++count;
        ++taken;
    }
    // All written: should the rename fail, the next start finds nothing left to write.
    if (records > 1 && !journal.write(source, {records, count}))
        return;
    m_s.logs.Log_Write(QStringLiteral("SEZGImportExtern: %1 records taken over, %2 passed over from %3, "
                                      "from record %4 on")
                           .arg(taken)
                           .arg(passed + (bytes.size() % kExternRecordSize != 0 ? 1 : 0))
                           .arg(path)
                           .arg(first + 1));
    const QString old = path + QStringLiteral(".old");
    QFile::remove(old);
    if (!QFile::rename(path, old)) {
        m_s.logs.ErrorLog(QStringLiteral("SEZGImportExtern: cannot rename ") + path);
        return;
    }
    journal.remove();
}

void modEZGDB::SEZGED_SaveEZGEintrag(const FinishedCall& call) {
    m_s.logs.Log_Write(QStringLiteral("SEZGED_SaveEZGEintrag: Begin"));
    EZGRecord record;
    QString carrier;
    record.PartnerRufnummer = m_s.phonebooks.Vorwahlen.StripCarrierPrefix(call.CallNumber, carrier);
    record.Provider = call.CallNumber.left(call.CallNumber.size() - record.PartnerRufnummer.size());
    record.Verbindungsstatus = call.CallState;
    record.Richtung = call.CallDirection;
    QDateTime start = m_s.clock.now();
    if (const std::optional<int> seconds = durationSeconds(call.CallDuration)) {
        record.Gesprächsdauer = *seconds;
        start = start.addSecs(-*seconds);
    }
    record.Gebühr = call.CallCharge.size() > 2 ? leadingNumber(call.CallCharge) : 0.0;
    record.MSN = call.CallMSN;
    record.Tondatei = call.CallSoundFile;
    record.Neu = 1;
    SEZGDBSave_EZG_Eintrag(DateNumber(start), record);
}

int32_t modEZGDB::SEZGDBSave_EZG_Eintrag(double date, EZGRecord& record) {
    m_s.logs.Log_Write(QStringLiteral("SEZGDBSave_EZG_Eintrag: Begin"));
    if (hLog == 0)
        return -1;
    record.Gesprächsbeginn = date;
    record.Tagesnummer = int32_t(std::floor(date));
    record.Uhrzeit = dayAndTime(date).second.toString(QStringLiteral("hh:mm:ss"));
    const EZGRecord::Block block = record.ToBlock();
    const int32_t code = m_s.store.PDB_PutRecordEZG(hLog, block.data());
    if (code != pdb::Ok)
        m_s.logs.ErrorLog(QStringLiteral("SEZGDBSave_EZG_Eintrag: the call of %1 was not logged (%2)")
                              .arg(generalDateText(date))
                              .arg(code));
    return code;
}

std::optional<EZGRecord> modEZGDB::readRecord(int32_t recordNumber) {
    EZGRecord::Block block{};
    if (hLog == 0 || m_s.store.PDB_GetRecord(hLog, recordNumber) != pdb::Ok ||
        m_s.store.PDB_GetRecordEZG(hLog, block.data()) != pdb::Ok)
        return std::nullopt;
    return EZGRecord::FromBlock(block);
}

void modEZGDB::SEZGDeleteRecord(int32_t recordNumber) {
    if (hLog != 0 && m_s.store.PDB_GetRecord(hLog, recordNumber) == pdb::Ok)
        m_s.store.PDB_DeleteRecord(hLog);
}

void modEZGDB::SEZGMarkSeen(int32_t recordNumber) {
    if (hLog == 0 || m_s.store.PDB_GetRecord(hLog, recordNumber) != pdb::Ok)
        return;
    m_s.store.PDB_PutDoubleField(hLog, EZGBlock::NeuColumn, 0.0);
    m_s.store.PDB_PutRecord(hLog, m_s.store.PDB_GetCurRecNo(hLog));
}

void modEZGDB::walk(QDate from, QDate to, const std::function<void(int32_t, const EZGRecord&)>& visit) {
    if (hLog == 0)
        return;
    const double first = double(kDayZero.daysTo(from));
    const double end = double(kDayZero.daysTo(to)) + 1; // the last day included
    EZGRecord::Block block{};
    for (int32_t code = m_s.store.PDB_FindDateEZG(hLog, first, end); code == pdb::Ok;
         code = m_s.store.PDB_FindNextDateEZG(hLog, first, end)) {
        if (m_s.store.PDB_GetRecordEZG(hLog, block.data()) == pdb::Ok)
            visit(m_s.store.PDB_GetCurRecNo(hLog), EZGRecord::FromBlock(block));
    }
}

void modEZGDB::SEZGDisplayInList(QDate from, QDate to, int flags, EZGFilter& filter, ListItems& list) {
    m_s.logs.Log_Write(QStringLiteral("SEZGDisplayInList: Begin"));
    m_s.logs.Log_Write(QStringLiteral("Datum_von:") + from.toString(QStringLiteral("dd.MM.yyyy")));
    m_s.logs.Log_Write(QStringLiteral("Datum_bis:") + to.toString(QStringLiteral("dd.MM.yyyy")));
    m_s.logs.Log_Write(QStringLiteral("XListView:") + list.objectName());
    loadStatusTexts();
    list.Clear();
    filter.TotalDuration = filter.TotalCharge = filter.TotalReserved = 0;
    walk(from, to, [&](int32_t recordNumber, const EZGRecord& r) {
        const bool incoming = r.Richtung == 1;
        if (!(incoming && (flags & ShowIncoming) != 0) && !(r.Richtung == 2 && (flags & ShowOutgoing) != 0))
            return;
        QString partner = r.PartnerRufnummer;
        if ((flags & ShowNames) != 0) {
            QString detail;
            partner = m_s.phonebooks.NumberToName(partner, detail);
        }
        const QString own = m_s.configs.trlMSNName(r.MSN, false);
        if ((flags & UseFilter) != 0 && (!partner.startsWith(filter.Partner, Qt::CaseInsensitive) ||
                                         !own.startsWith(filter.MSN, Qt::CaseInsensitive)))
            return;
        const QString icon = QString::fromLatin1(r.Tondatei.isEmpty() ? "NS" : "S") +
                             QString::fromLatin1(incoming ? "IN" : "OUT");
        list.Append({generalDateText(r.Gesprächsbeginn),
                     double(recordNumber),
                     icon,
                     {own, r.Provider, partner, FormatLongTime(std::llround(r.Gesprächsdauer)),
                      currencyText(r.Gebühr), SEZGStatusText(int(r.Verbindungsstatus))}});
        filter.TotalDuration += r.Gesprächsdauer / kSecondsPerDay;
        filter.TotalCharge += r.Gebühr;
        filter.TotalReserved += r.Reserved;
    });
    m_s.logs.Log_Write(QStringLiteral("SEZGDisplayInList: End"));
    if (list.Count() > 0)
        list.Select(0);
}

void modEZGDB::SEZGShowNewCalls(QDate from, QDate to, ListItems& list) {
    list.Clear();
    walk(from, to, [&](int32_t recordNumber, const EZGRecord& r) {
        if (r.Neu != 1 || r.Richtung != 1 || (r.Tondatei.isEmpty() && r.Verbindungsstatus != 134))
            return;
        const QString number = r.PartnerRufnummer.isEmpty() ? QStringLiteral("extern")
                                                            : AddAreaCode(m_s.settings, r.PartnerRufnummer);
        QString detail;
        const QString name = m_s.phonebooks.NumberToName(number, detail);
        const QString icon = QStringLiteral("S") + QLatin1Char(r.Tondatei.isEmpty() ? '0' : '1') +
                             QLatin1Char(r.Neu == 0 ? '1' : '0');
        list.Append({generalDateText(r.Gesprächsbeginn),
                     double(recordNumber),
                     icon,
                     {number, name, m_s.configs.trlMSNName(r.MSN, false)}});
    });
    if (list.Count() > 0)
        list.Select(0);
}

void modEZGDB::ShowRecentNewCalls(ListItems& list) {
    const QDate today = m_s.clock.now().date();
    SEZGShowNewCalls(today.addDays(-7), today, list);
}

bool modEZGDB::SEZGMarkNumberSeen(const QString& number, ListItems& list) {
    // Both with the own area code, so that a local number matches its records.
    const QString wanted = AddAreaCode(m_s.settings, number);
    bool marked = false;
    for (int row = 0; row < list.Count(); ++row) {
        const auto recordNumber = int32_t(list.At(row).Tag);
        QString partner, own;
        if (SEZGGetNumberAndMSN(recordNumber, partner, own) && partner == wanted) {
            SEZGMarkSeen(recordNumber);
            marked = true;
        }
    }
    if (marked)
        ShowRecentNewCalls(list);
    return marked;
}

std::vector<int32_t> modEZGDB::SEZGGetNewRecordings(QDate from, QDate to) {
    std::vector<int32_t> found;
    walk(from, to, [&](int32_t recordNumber, const EZGRecord& r) {
        if (r.Neu == 1 && r.Richtung == 1 && !r.Tondatei.isEmpty())
            found.push_back(recordNumber);
    });
    return found;
}

bool modEZGDB::SEZGFileOrphanRecording(const QDateTime& start, int seconds, const QString& number,
                                       const QString& msn, const QString& soundFile) {
    if (hLog == 0 || soundFile.isEmpty())
        return false;
    bool known = false;
    walk(start.date().addDays(-1), start.date().addDays(1),
         [&](int32_t, const EZGRecord& r) { known = known || r.Tondatei == soundFile; });
    if (known)
        return false;
    EZGRecord record;
    record.PartnerRufnummer = number;
    record.MSN = msn;
    record.Gesprächsdauer = seconds;
    record.Tondatei = soundFile;
    record.Neu = 1;
    record.Richtung = 1;
    record.Verbindungsstatus = StateIncomingMachine;
    return SEZGDBSave_EZG_Eintrag(DateNumber(start), record) == pdb::Ok;
}

QString modEZGDB::SEZGGetSoundFile(int32_t recordNumber) {
    const std::optional<EZGRecord> record = readRecord(recordNumber);
    return record ? record->Tondatei : QString();
}

void modEZGDB::SEZGDeleteSound(int32_t recordNumber) {
    std::optional<EZGRecord> record = readRecord(recordNumber);
    if (!record || record->Tondatei.isEmpty())
        return;
    const QString file = PathComplete(record->Tondatei, m_s.soundFolder());
    if (QFile::exists(file) && !QFile::remove(file))
        m_s.logs.ErrorLog(QStringLiteral("SEZGDeleteSound: cannot delete ") + file);
    record->Tondatei.clear();
    m_s.store.PDB_UpdateRecordEZG(hLog, record->ToBlock().data()); // the record read is the current one
}

bool modEZGDB::SEZGGetNumberAndMSN(int32_t recordNumber, QString& number, QString& msn) {
    const std::optional<EZGRecord> record = readRecord(recordNumber);
    if (!record)
        return false;
    number = record->PartnerRufnummer.isEmpty() ? QStringLiteral("extern") : record->PartnerRufnummer;
    number = AddAreaCode(m_s.settings, number);
    msn = record->MSN;
    return true;
}

void modEZGDB::SEZGSetColumns(ListItems& list) {
    if (!list.Columns().empty())
        return;
    struct Default {
        int string; // 0: the title "Provider"
        int width;
    };
    static constexpr Default kColumns[7] = {{500, 800}, {502, 900}, {0, 900},  {504, 900},
                                            {505, 900}, {506, 400}, {507, 900}};
    for (int i = 0; i < 7; ++i) {
        const QString key = QStringLiteral("S_%1").arg(i + 1);
        const QString title = kColumns[i].string == 0 ? QStringLiteral("Provider")
                                                      : m_s.language.LanguageString(kColumns[i].string);
        list.AddColumn(
            {title, key,
             m_s.profiles.GetPrivateProfileInt(QStringLiteral("EZG"), key, kColumns[i].width, m_s.iniPath)});
    }
}
