// The call log over the phonebooks of a fresh data folder: records from finished calls, the lists, marking
// read, messages, the external import and a log that cannot be opened.

#include "tests/support/TestCallLog.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <QLocale>
#include <QRandomGenerator>
#include <QtEndian>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

struct Log : TestCallLog {
    Log() {
        settings.Vorwahl = S("089");
        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    }
    ~Log() { QLocale::setDefault(QLocale::c()); }
    modEZGDB& log() { return callLog; }
    QDate today() const { return clock.now().date(); }
    // A finished call as the line leaves it, logged at the clock's time.
    void call(const QString& number, int16_t state, int16_t direction,
              const QString& duration = S("00:00:10"), const QString& charge = QString(),
              const QString& sound = QString(), const QString& msn = S("5551")) {
        log().SEZGED_SaveEZGEintrag({number, state, duration, direction, charge, msn, sound});
    }
    QStringList column(const ListItems& list, int column) const {
        QStringList values;
        for (int row = 0; row < list.Count(); ++row)
            values << (column == 0 ? list.At(row).Text : list.At(row).SubItems.value(column - 1));
        return values;
    }
};

TEST(CallLogRecord, DurationChargeAndCarrierComeFromTheCallRecordsTexts) {
    Log t;
    t.clock.set(QDateTime(QDate(2026, 11, 23), QTime(14, 0, 0)));
    t.Phonebooks.Phonebooks_create();
    t.Phonebooks.Phonebooks_destroy();
    t.Phonebooks.Phonebooks_create(); // the macro book seeded with carriers
    t.Phonebooks.Vorwahlen.LoadCarriers();

    t.call(S("0101912345"), 144, 1, S("02:30"), S("12.34"), S("Msg1.wav"));
    t.call(S("0891234567"), 16, 2, S("01:02:03"), S("0,5"));
    t.call(QString(), 134, 1, S("kaputt"), S("99"));
    const std::vector<EZGRecord> r = t.CallLogRecords();
    ASSERT_EQ(r.size(), 3u);

    EXPECT_EQ(r[0].PartnerRufnummer, S("12345"));
    EXPECT_EQ(r[0].Provider, S("01019"));
    EXPECT_EQ(r[0].Gesprächsdauer, 150);
    EXPECT_EQ(DateFromNumber(r[0].Gesprächsbeginn), QDateTime(QDate(2026, 11, 23), QTime(13, 57, 30)));
    EXPECT_EQ(r[0].Uhrzeit, S("13:57:30"));
    EXPECT_EQ(r[0].Tagesnummer, QDate(1899, 12, 30).daysTo(QDate(2026, 11, 23)));
    EXPECT_DOUBLE_EQ(r[0].Gebühr, 12.34);
    EXPECT_EQ(r[0].Tondatei, S("Msg1.wav"));
    EXPECT_EQ(r[0].MSN, S("5551"));
    EXPECT_EQ(r[0].Neu, 1);
    EXPECT_EQ(r[0].Richtung, 1);
    EXPECT_EQ(r[0].Verbindungsstatus, 144);

    EXPECT_EQ(r[1].Provider, QString());
    EXPECT_EQ(r[1].Gesprächsdauer, 3723);
    EXPECT_EQ(r[1].Gebühr, 0) << "the leading number of \"0,5\" is 0";
    EXPECT_EQ(r[1].Richtung, 2);

    EXPECT_EQ(r[2].PartnerRufnummer, QString()) << "a caller without number";
    EXPECT_EQ(r[2].Gesprächsdauer, 0);
    EXPECT_EQ(DateFromNumber(r[2].Gesprächsbeginn), t.clock.now()) << "no valid duration: the start is now";
    EXPECT_EQ(r[2].Gebühr, 0) << "two characters are no charge";
}

TEST(CallLogRecord, SurvivesTheProgramBeingKilledRightAfterTheCall) {
    Log t;
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        t.call(S("0891234567"), 144, 1);
        ::raise(SIGKILL);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    // The parent's own view of the table is older than the child's write: open it as the next start does.
    t.log().SEZGDBClose();
    t.log().SEZGDBOpen();
    const std::vector<EZGRecord> r = t.CallLogRecords();
    ASSERT_EQ(r.size(), 1u);
    EXPECT_EQ(r[0].PartnerRufnummer, S("0891234567"));
}

TEST(CallLogLists, RangesIncludeBothEndsAndTheFlagsFiltersAndTotalsApply) {
    Log t;
    t.Phonebooks.Phonebooks_create();
    ASSERT_TRUE(
        t.Phonebooks.Item(2)->EintragAdd(S("Anna Berger"), {}, {}, {}, {}, S("0891234567"), {}, {}, {}));
    const QDateTime now(QDate(2026, 11, 23), QTime(10, 0, 0));
    for (int day = 3; day >= 0; --day) { // an incoming and an outgoing call on each of four days
        t.clock.set(now.addDays(-day));
        t.call(S("1234567"), 144, 1, S("01:00"), S("1.50"));
        t.call(S("030999"), 16, 2, S("00:30"), S("0.25"));
    }
    ListItems list;
    EZGFilter filter;
    t.log().SEZGDisplayInList(t.today(), t.today(), ShowIncoming | ShowOutgoing, filter, list);
    ASSERT_EQ(list.Count(), 2) << "today to today is today";
    EXPECT_EQ(list.Selected(), 0);
    EXPECT_EQ(list.At(0).Text, S("23.11.2026 09:59:00"));
    EXPECT_EQ(list.At(0).SmallIcon, S("NSIN"));
    EXPECT_EQ(list.At(1).SmallIcon, S("NSOUT"));
    EXPECT_EQ(list.At(0).SubItems, QStringList({S("5551"), QString(), S("1234567"), S("00:01:00"),
                                                QLocale().toCurrencyString(1.5), S("Connected")}));
    EXPECT_DOUBLE_EQ(filter.TotalDuration * 86400, 90);
    EXPECT_DOUBLE_EQ(filter.TotalCharge, 1.75);

    t.log().SEZGDisplayInList(t.today().addDays(-2), t.today().addDays(-1), ShowIncoming, filter, list);
    EXPECT_EQ(t.column(list, 0), QStringList({S("21.11.2026 09:59:00"), S("22.11.2026 09:59:00")}));
    t.log().SEZGDisplayInList(t.today().addDays(-9), t.today(), 0, filter, list);
    EXPECT_EQ(list.Count(), 0) << "neither direction";

    // Names from the books, and the filter on the name's head without regard to case.
    t.log().SEZGDisplayInList(t.today().addDays(-9), t.today(),
                              ShowIncoming | ShowOutgoing | ShowNames | UseFilter,
                              (filter = {S("anna"), QString()}), list);
    EXPECT_EQ(t.column(list, 3), QStringList(4, S("Anna Berger")));
    EXPECT_DOUBLE_EQ(filter.TotalCharge, 6);
    filter = {S("089"), S("55")};
    t.log().SEZGDisplayInList(t.today().addDays(-9), t.today(), ShowIncoming | ShowNames | UseFilter, filter,
                              list);
    EXPECT_EQ(list.Count(), 0) << "the filter reads the name, not the number";
}

TEST(CallLogLists, NewCallsMarkingReadAndMessages) {
    Log t;
    QDir().mkpath(t.dir.filePath(S("sounds")));
    t.soundFolder = t.dir.filePath(S("sounds"));
    QFile message(t.dir.filePath(S("sounds/Msg1.wav")));
    ASSERT_TRUE(message.open(QIODevice::WriteOnly));
    message.close();
    t.call(S("1234567"), 135, 1, S("00:20"), {}, S("Msg1.wav")); // a message
    t.call(S("0301111"), 134, 1);                                // rang, not answered
    t.call(QString(), 134, 1);                                   // rang, without number
    t.call(S("0301111"), 144, 1);                                // answered: not new
    t.call(S("0302222"), 6, 2);                                  // outgoing

    ListItems& calls = t.lvListAnrufe;
    t.log().ShowRecentNewCalls(calls);
    EXPECT_EQ(t.column(calls, 1), QStringList({S("0891234567"), S("0301111"), S("extern")}));
    EXPECT_EQ(calls.At(0).SmallIcon, S("S10"));
    EXPECT_EQ(calls.At(1).SmallIcon, S("S00"));
    EXPECT_EQ(calls.Selected(), 0);
    EXPECT_EQ(t.log().SEZGGetNewRecordings(t.today().addDays(-7), t.today()), std::vector<int32_t>{1});

    QString number, msn;
    ASSERT_TRUE(t.log().SEZGGetNumberAndMSN(3, number, msn));
    EXPECT_EQ(number, S("extern"));
    EXPECT_EQ(msn, S("5551"));

    // The local number, as the line gives it, marks its records read; the list is filled anew.
    EXPECT_TRUE(t.log().SEZGMarkNumberSeen(S("1234567"), calls));
    EXPECT_EQ(t.column(calls, 1), QStringList({S("0301111"), S("extern")}));
    EXPECT_FALSE(t.log().SEZGMarkNumberSeen(S("1234567"), calls));
    EXPECT_TRUE(t.log().SEZGGetNewRecordings(t.today(), t.today()).empty());

    // Deleting the message: the file goes, the record stays without it.
    EXPECT_EQ(t.log().SEZGGetSoundFile(1), S("Msg1.wav"));
    t.log().SEZGDeleteSound(1);
    EXPECT_FALSE(message.exists());
    EXPECT_EQ(t.log().SEZGGetSoundFile(1), QString());
    EXPECT_EQ(t.CallLogRecords().size(), 5u);
    // Deleting records.
    t.log().SEZGDeleteRecord(2);
    t.log().SEZGDeleteRecord(2); // gone already: nothing happens
    t.log().ShowRecentNewCalls(calls);
    EXPECT_EQ(t.column(calls, 1), QStringList({S("extern")}));
}

TEST(CallLogTexts, StatusTextsAndColumns) {
    Log t;
    const std::pair<int, const char*> known[] = {
        {0, "Unknown call state"}, {132, "Not reached"},      {5, "Busy"},
        {6, "Not connected"},      {144, "Connected"},        {134, "Ringing"},
        {152, "Call forwarded"},   {135, "Answering machine"}};
    for (const auto& [value, text] : known)
        EXPECT_EQ(t.log().SEZGStatusText(value), S(text)) << value;
    EXPECT_EQ(t.log().SEZGStatusText(255), S("nicht def. 0xFF"));
    EXPECT_EQ(t.log().SEZGStatusText(7), S("nicht def. 0x7"));

    t.profiles.WritePrivateProfileString(S("EZG"), S("S_6"), S("1234"), t.iniPath());
    ListItems list;
    t.log().SEZGSetColumns(list);
    t.log().SEZGSetColumns(list); // only once
    ASSERT_EQ(list.Columns().size(), 7u);
    EXPECT_EQ(list.Columns()[2].Title, S("Provider"));
    EXPECT_EQ(list.Columns()[5].Width, 1234);
    EXPECT_EQ(list.Columns()[6].Width, 900);
    EXPECT_EQ(list.columnCount(), 7);
}

// ---- The external records

QByteArray externRecord(int year, int month, int day, int hour, int minute, const char* partner,
                        int charge = 0, char skip = 0, int16_t state = 144, int16_t direction = 1) {
    QByteArray r(88, '\0');
    char* p = r.data();
    qToLittleEndian<qint32>(charge, p + 4);
    const int16_t fields[] = {int16_t(year - 1990), int16_t(month), int16_t(day), int16_t(hour),
                              int16_t(minute),      int16_t(7),     int16_t(95)};
    for (int i = 0; i < 7; ++i)
        qToLittleEndian<qint16>(fields[i], p + 8 + 2 * i);
    qToLittleEndian<qint16>(state, p + 24);
    qToLittleEndian<qint16>(direction, p + 26);
    std::memcpy(p + 30, "5551", 4);
    std::memcpy(p + 46, partner, std::strlen(partner));
    p[87] = skip;
    return r;
}

TEST(CallLogImport, GoodRecordsAreTakenOverAndTheRestPassedOver) {
    Log t;
    const QString path = t.log().ExternPath();
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(externRecord(2001, 2, 3, 4, 5, "header, never a call"));
    file.write(externRecord(2001, 2, 3, 4, 5, "0891234567", 1234));
    file.write(externRecord(2001, 2, 3, 4, 5, "0301111", 0, 1)); // flagged: passed over
    file.write(externRecord(2001, 2, 30, 4, 5, "0302222"));      // no such day
    file.write(externRecord(2001, 2, 3, 25, 5, "0303333"));      // no such hour
    file.write(externRecord(1989, 12, 31, 0, 0, "0304444"));     // before 1990: year -1
    file.write(externRecord(2002, 12, 31, 23, 59, "0305555"));
    file.write(QByteArray(40, 'x')); // a torn last record
    file.close();
    t.log().SEZGImportExtern();

    const std::vector<EZGRecord> r = t.CallLogRecords();
    ASSERT_EQ(r.size(), 3u);
    EXPECT_EQ(r[0].PartnerRufnummer, S("0891234567"));
    EXPECT_EQ(DateFromNumber(r[0].Gesprächsbeginn), QDateTime(QDate(2001, 2, 3), QTime(4, 5, 7)));
    EXPECT_DOUBLE_EQ(r[0].Gebühr, 12.34);
    EXPECT_EQ(r[0].Gesprächsdauer, 95);
    EXPECT_EQ(r[0].MSN, S("5551"));
    EXPECT_EQ(r[0].Neu, 0);
    EXPECT_EQ(r[0].Verbindungsstatus, 144);
    EXPECT_EQ(r[1].PartnerRufnummer, S("0304444"));
    EXPECT_EQ(r[2].PartnerRufnummer, S("0305555"));
    EXPECT_FALSE(QFile::exists(path));
    EXPECT_TRUE(QFile::exists(path + S(".old")));

    // Garbage: whatever it holds is imported with a valid date, or passed over.
    QByteArray garbage(88 * 500, '\0');
    QRandomGenerator random(7);
    random.fillRange(reinterpret_cast<quint32*>(garbage.data()), garbage.size() / 4);
    for (int i = 0; i < 500; i += 3) // some with small numbers where the date stands, so that dates hit
        garbage.replace(88 * i, 88, externRecord(1990 + i % 60, i % 14, i % 33, i % 26, i % 61, "0"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(garbage);
    file.close();
    t.log().SEZGImportExtern();
    const std::vector<EZGRecord> after = t.CallLogRecords();
    EXPECT_GT(after.size(), 3u + 20u);
    for (size_t i = 3; i < after.size(); ++i) {
        const QDateTime start = DateFromNumber(after[i].Gesprächsbeginn);
        EXPECT_TRUE(start.isValid() && start.date().year() >= 1990) << i;
    }
    EXPECT_FALSE(QFile::exists(path)) << "the earlier .old is replaced";
}

QStringList partners(Log& t) {
    QStringList numbers;
    for (const EZGRecord& record : t.CallLogRecords())
        numbers << record.PartnerRufnummer;
    return numbers;
}

TEST(CallLogImport, ARecordThatFitsNoColumnIsPassedOverAndTheImportFinishes) {
    Log t;
    const QString path = t.log().ExternPath();
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(externRecord(2001, 2, 3, 4, 5, "header, never a call"));
    file.write(externRecord(2001, 2, 3, 4, 5, "0301"));
    file.write(externRecord(2001, 2, 3, 4, 6, "0302", 0, 0, 144, 1000)); // RICHTUNG has 3 digits
    file.write(externRecord(2001, 2, 3, 4, 7, "0303"));
    file.write(externRecord(2001, 2, 3, 4, 8, "0304", 0, 0, -10000));              // STATUS has 5 places
    file.write(externRecord(2001, 2, 3, 4, 9, "0305", 1000000000));                // 10,000,000.00
    file.write(externRecord(2001, 2, 3, 4, 10, "0306", 999999999, 0, -9999, 999)); // the most that fits
    file.close();
    t.log().SEZGImportExtern();

    const QStringList taken{S("0301"), S("0303"), S("0306")};
    EXPECT_EQ(partners(t), taken);
    EXPECT_FALSE(QFile::exists(path));
    EXPECT_TRUE(QFile::exists(path + S(".old")));
    const QStringList errors = t.logLines(S("error.log"));
    for (const int record : {3, 5, 6})
        EXPECT_EQ(errors.filter(S("record %1 of").arg(record)).filter(S("passed over")).size(), 1)
            << record << " " << errors.join(u'\n').toStdString();

    // The next start finds nothing to take over.
    t.log().SEZGDBClose();
    t.log().SEZGDBOpen();
    EXPECT_EQ(partners(t), taken);
}

// A file of external records: a first record that is no call, then `calls` calls, each from a number of
// its own.
QByteArray externCalls(int calls) {
    QByteArray bytes = externRecord(2001, 2, 3, 4, 5, "header, never a call");
    for (int i = 0; i < calls; ++i)
        bytes += externRecord(2001 + i / 5000, 1 + i % 12, 1 + i % 28, i % 24, i % 60,
                              QByteArray::number(3000000 + i).constData(), i);
    return bytes;
}

// Every call of externCalls(calls) is in the log exactly once.
void expectEachCallOnce(Log& t, int calls) {
    QHash<QString, int> seen;
    for (const QString& number : partners(t))
        ++seen[number];
    EXPECT_EQ(seen.size(), calls);
    int twice = 0;
    for (int i = 0; i < calls; ++i) {
        const int times = seen.value(QString::number(3000000 + i));
        twice += times > 1 ? 1 : 0;
        if (times != 1 && twice < 5)
            ADD_FAILURE() << "call " << i << " is in the log " << times << " times";
    }
    EXPECT_EQ(twice, 0);
}

qint64 fileSize(const QString& path) {
    struct stat info {};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? qint64(info.st_size) : 0;
}

// The record size and the record count of the log's header.
qint64 logRecordSize(const QString& log) {
    QFile file(log);
    const QByteArray header = file.open(QIODevice::ReadOnly) ? file.read(12) : QByteArray();
    return header.size() == 12 ? qFromLittleEndian<quint16>(header.constData() + 10) : 0;
}
qint64 logRecordCount(const QString& log) {
    QFile file(log);
    const QByteArray header = file.open(QIODevice::ReadOnly) ? file.read(8) : QByteArray();
    return header.size() == 8 ? qFromLittleEndian<quint32>(header.constData() + 4) : -1;
}

// Puts `calls` records of the old Windows program beside the log of `t` and closes the log; returns the
// size of one log record, 0 when the log is not there.
qint64 prepareImport(Log& t, int calls) {
    QFile file(t.log().ExternPath());
    if (!file.open(QIODevice::WriteOnly))
        return 0;
    file.write(externCalls(calls));
    file.close();
    const qint64 recordSize = logRecordSize(t.log().LogPath());
    t.log().SEZGDBClose();
    return recordSize;
}

TEST(CallLogImport, AnImportKilledAtAnyMomentTakesEachRecordOnceAtTheNextStarts) {
    constexpr int kCalls = 3000;
    Log t;
    const QString path = t.log().ExternPath();
    const QString log = t.log().LogPath();
    const qint64 recordSize = prepareImport(t, kCalls);
    ASSERT_GT(recordSize, 0);

    // Each start is a child that is killed once the log has grown by a few records more, until one
    // finishes.
    int kills = 0;
    for (int start = 0; start < 200 && QFile::exists(path); ++start) {
        const qint64 target = fileSize(log) + (1 + (start * 89) % 400) * recordSize;
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            t.log().SEZGDBOpen();
            ::_exit(0);
        }
        int status = 0;
        while (::waitpid(child, &status, WNOHANG) == 0) {
            if (fileSize(log) >= target) {
                ::kill(child, SIGKILL);
                ASSERT_EQ(::waitpid(child, &status, 0), child);
                break;
            }
        }
        if (WIFSIGNALED(status))
            ++kills;
        else
            ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    }
    EXPECT_GE(kills, 3) << "the import was cut off in the middle, more than once";
    EXPECT_FALSE(QFile::exists(path)) << "one start finished the import";
    t.log().SEZGDBOpen();
    expectEachCallOnce(t, kCalls);
}

TEST(CallLogImport, AnImportStoppedByAFullDiskGoesOnWhereItStoppedAtTheNextStart) {
    constexpr int kCalls = 400;
    Log t;
    const QString path = t.log().ExternPath();
    const QString log = t.log().LogPath();
    const qint64 recordSize = prepareImport(t, kCalls);
    ASSERT_GT(recordSize, 0);

    // A start whose log cannot grow by more than 150 records: the file size limit of the process, with its
    // signal ignored, fails the writes as a full disk does.
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const rlim_t limit = rlim_t(fileSize(log) + 150 * recordSize + recordSize / 2);
        const rlimit full{limit, limit};
        ::signal(SIGXFSZ, SIG_IGN);
        if (::setrlimit(RLIMIT_FSIZE, &full) != 0)
            ::_exit(2);
        t.log().SEZGDBOpen();
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_TRUE(QFile::exists(path)) << "kept for the next start";
    EXPECT_EQ(logRecordCount(log), 150) << "the log as far as it could grow";

    t.log().SEZGDBOpen();
    expectEachCallOnce(t, kCalls);
    EXPECT_FALSE(QFile::exists(path));
}

TEST(CallLogOpen, ALogThatCannotBeOpenedLeavesTheProgramWithoutLog) {
    Log t;
    t.log().SEZGDBClose();
    const QString path = t.log().LogPath();
    QFile::remove(path);
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("no dBase table");
    file.close();
    QStringList messages;
    t.dialogs.setAsker([&](const QString& text, UserDialogs::Buttons, UserDialogs::Icon) {
        messages << text;
        return UserDialogs::Answer::Ok;
    });
    t.log().SEZGDBOpen();
    EXPECT_EQ(t.log().hLog, 0);
    ASSERT_EQ(messages.size(), 1);
    EXPECT_TRUE(messages[0].startsWith(S("Create Database Failed !\n"))) << messages[0].toStdString();
    EZGRecord record;
    EXPECT_EQ(t.log().SEZGDBSave_EZG_Eintrag(46000, record), -1);
    t.call(S("0891234567"), 144, 1);
    ListItems list;
    t.log().ShowRecentNewCalls(list);
    EXPECT_EQ(list.Count(), 0);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), QByteArray("no dBase table")) << "the file is left as it is";
}

} // namespace
