// The call log (type 2): its file as dbfread reads it, its record block byte for byte, the date index
// through writes, reopen, damage and pack, PDB_GETJulianDays, and the operations of the other kind.

#include "PdbTestSupport.h"

#include "platform/Windows1252.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <cmath>
#include <cstring>
#include <vector>

#include <sys/stat.h>

using namespace pdbtest;

namespace {

using LogBlock = std::array<char, pdb::CallLogBlockSize>;
using Found = std::vector<std::pair<int, QString>>; // day, partner

// Text as the block holds it: the value, a zero byte, blanks; a value of the block width has no zero.
void putText(LogBlock& block, int offset, int width, const QString& value) {
    const QByteArray bytes = ToWindows1252(value).left(width);
    std::memset(block.data() + offset, ' ', size_t(width));
    std::memcpy(block.data() + offset, bytes.constData(), size_t(bytes.size()));
    if (bytes.size() < width)
        block[size_t(offset + bytes.size())] = '\0';
}
void putDouble(LogBlock& block, int offset, double value) {
    std::memcpy(block.data() + offset, &value, sizeof value);
}
// A file written anew (to a temporary file, renamed over it) gets another inode.
ino_t inode(const QString& path) {
    struct stat info {};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_ino : 0;
}

// A call that started at `start` (a date number) with `partner`; not yet seen, outgoing, state 255.
LogBlock callBlock(double start, const QString& partner) {
    LogBlock block{};
    putDouble(block, 8, start);
    const auto day = int32_t(std::floor(start));
    std::memcpy(block.data() + 16, &day, sizeof day);
    putText(block, 20, 9, QStringLiteral("14:03:59"));
    putText(block, 48, 21, QStringLiteral("01019"));
    putText(block, 69, 36, partner);
    putText(block, 105, 31, QStringLiteral("4711"));
    putDouble(block, 136, 95);
    putDouble(block, 144, 0.12);
    putText(block, 160, 128, QString());
    putDouble(block, 288, 1);
    putDouble(block, 296, 2);
    putDouble(block, 304, 255);
    return block;
}

class PdbCallLogTest : public TableFixture {
protected:
    void SetUp() override {
        TableFixture::SetUp();
        ASSERT_EQ(createAndOpen(pdb::CallLog, QStringLiteral("MorvaLog.dbf")), pdb::Ok);
    }
    LogBlock currentBlock() {
        LogBlock block;
        block.fill('x');
        EXPECT_EQ(m_store.PDB_GetRecordEZG(m_handle, block.data()), pdb::Ok);
        return block;
    }
    // Calls on these days in this order; the N-th has partner "rN".
    void addDays(const std::vector<int>& days) {
        for (size_t i = 0; i < days.size(); ++i) {
            const LogBlock block = callBlock(days[i] + 0.25, QStringLiteral("r%1").arg(i + 1));
            ASSERT_EQ(m_store.PDB_PutRecordEZG(m_handle, block.data()), pdb::Ok);
        }
    }
    Found walk(double from, double to) {
        Found found;
        for (int32_t code = m_store.PDB_FindDateEZG(m_handle, from, to); code == pdb::Ok && found.size() < 99;
             code = m_store.PDB_FindNextDateEZG(m_handle, from, to)) {
            const LogBlock block = currentBlock();
            int32_t day = 0;
            std::memcpy(&day, block.data() + 16, sizeof day);
            found.emplace_back(day, QString::fromLatin1(block.data() + 69));
        }
        return found;
    }
    static std::pair<int, QString> at(int day, int n) { return {day, QStringLiteral("r%1").arg(n)}; }
    const std::vector<int> m_days{46350, 46348, 46349, 46350, 46347, 46349, 46352, 46348};
};

TEST_F(PdbCallLogTest, DbfreadReadsTheColumnsAndEveryValue) {
    LogBlock block = callBlock(46349.5860995370, QString(35, QLatin1Char('9')));
    putText(block, 48, 21, QStringLiteral("Ä01"));
    putText(block, 105, 31, QString(30, QLatin1Char('5')));
    putText(block, 160, 128, QStringLiteral("Grüße/ansage.wav"));
    putDouble(block, 144, 1234.5678);
    ASSERT_EQ(m_store.PDB_PutRecordEZG(m_handle, block.data()), pdb::Ok);
    ASSERT_EQ(m_store.PDB_Close(m_handle), pdb::Ok);
    m_handle = 0;

    const QString script = QStringLiteral(R"(
import json, sys, dbfread
t = dbfread.DBF(sys.argv[1], load=True)
print(json.dumps([';'.join('%s %s %d %d' % (f.name, f.type, f.length, f.decimal_count) for f in t.fields),
                  ['|'.join(repr(v).strip("' ") for v in r.values()) for r in t.records], t.encoding]))
)");
    QString output;
    bool missing = false;
    if (!RunPython(QStringLiteral("dbfread"), script, {m_path}, output, missing)) {
        if (missing)
            GTEST_SKIP() << "/usr/bin/python3 has no dbfread";
        FAIL() << output.toStdString();
    }
    const QJsonArray read = QJsonDocument::fromJson(output.toUtf8()).array();
    EXPECT_EQ(read.at(0).toString(),
              QStringLiteral("RECORDKEY N 10 0;BEGINN N 18 10;TAGESNR N 10 0;UHRZEIT C 8 0;RESERVED1 N 15 4;"
                             "RESERVED2 N 15 4;PROVIDER C 20 0;RUFNUMMER C 35 0;MSN C 30 0;DAUER N 10 0;"
                             "GEBUEHR N 12 4;RESERVED3 N 15 4;TONDATEI C 127 0;NEU N 3 0;RICHTUNG N 3 0;"
                             "STATUS N 5 0"));
    // Numbers as Python writes them back (the shortest text of the same double).
    EXPECT_EQ(read.at(1).toArray(),
              QJsonArray{QStringLiteral("0|46349.586099537|46349|14:03:59|0.0|0.0|Ä01|") + QString(35, u'9') +
                         u'|' + QString(30, u'5') +
                         QStringLiteral("|95|1234.5678|0.0|Grüße/ansage.wav|1|2|255")});
    EXPECT_EQ(read.at(2).toString(), QStringLiteral("cp1252"));
}

TEST_F(PdbCallLogTest, ABlockComesBackByteForByteAndUpdatesInPlace) {
    LogBlock expected = callBlock(46349.5860995370, QString(35, QLatin1Char('0')));
    putText(expected, 48, 21, QString(20, QLatin1Char('P')));
    putText(expected, 105, 31, QStringLiteral("Müller"));
    putText(expected, 160, 128, QString(127, QLatin1Char('t')));
    LogBlock written = expected;
    std::memset(written.data() + 29, 'x', 3); // bytes of no column
    ASSERT_EQ(m_store.PDB_PutRecordEZG(m_handle, written.data()), pdb::Ok);
    ASSERT_EQ(reopen(pdb::CallLog), pdb::Ok);
    ASSERT_EQ(m_store.PDB_GetFirstRecord(m_handle), pdb::Ok);
    EXPECT_EQ(currentBlock(), expected) << "zeros at 29..31, each text a zero byte and blanks";

    putText(written, 105, 31, QString(31, QLatin1Char('m'))); // no zero byte: cut to the column
    putText(expected, 105, 31, QString(30, QLatin1Char('m')));
    ASSERT_EQ(m_store.PDB_UpdateRecordEZG(m_handle, written.data()), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 1) << "the record stays current";
    EXPECT_EQ(currentBlock(), expected);

    putDouble(written, 136, 1e12);
    EXPECT_EQ(m_store.PDB_PutRecordEZG(m_handle, written.data()), pdb::BadValue) << "DAUER holds 10 digits";
    EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 1);
    ASSERT_EQ(m_store.PDB_DeleteRecord(m_handle), pdb::Ok);
    EXPECT_EQ(m_store.PDB_UpdateRecordEZG(m_handle, expected.data()), pdb::RecordDeleted);
    ASSERT_EQ(reopen(pdb::CallLog), pdb::Ok);
    EXPECT_EQ(m_store.PDB_UpdateRecordEZG(m_handle, expected.data()), pdb::NoCurrentRecord);
}

TEST_F(PdbCallLogTest, ARangeGivesItsDaysInOrderOfDayThenRecord) {
    addDays(m_days);
    EXPECT_EQ(walk(46348, 46350), (Found{at(46348, 2), at(46348, 8), at(46349, 3), at(46349, 6)}));
    EXPECT_EQ(m_store.PDB_FindDateEZG(m_handle, 46351, 46352), pdb::NotFound);
    EXPECT_EQ(m_store.PDB_FindNextDateEZG(m_handle, 46340, 46360), pdb::NotFound) << "nothing to go on from";
    EXPECT_EQ(walk(46347, 46352), (Found{at(46347, 5), at(46348, 2), at(46348, 8), at(46349, 3), at(46349, 6),
                                         at(46350, 1), at(46350, 4)}))
        << "from is in the range, to is not";
    EXPECT_EQ(walk(46352, 99999), Found{at(46352, 7)});
    EXPECT_EQ(m_store.PDB_FindDateEZG(m_handle, 46350, 46350), pdb::NotFound);
    EXPECT_EQ(m_store.PDB_FindDateEZG(m_handle, 46353, 46340), pdb::NotFound);
}

TEST_F(PdbCallLogTest, AWalkGoesOnAcrossWritesAndDeletes) {
    addDays(m_days);
    ASSERT_EQ(m_store.PDB_FindDateEZG(m_handle, 46348, 46351), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 2);
    ASSERT_EQ(m_store.PDB_PutDoubleField(m_handle, 13, 0), pdb::Ok); // seen
    ASSERT_EQ(m_store.PDB_PutRecord(m_handle, 2), pdb::Ok);
    ASSERT_EQ(m_store.PDB_GetRecord(m_handle, 3), pdb::Ok); // the next of the walk
    ASSERT_EQ(m_store.PDB_DeleteRecord(m_handle), pdb::Ok);
    ASSERT_EQ(m_store.PDB_GetRecord(m_handle, 5), pdb::Ok); // moves into the range
    ASSERT_EQ(m_store.PDB_UpdateRecordEZG(m_handle, callBlock(46349.5, QStringLiteral("r5")).data()),
              pdb::Ok);
    ASSERT_EQ(m_store.PDB_GetRecord(m_handle, 4), pdb::Ok); // moves out of it
    ASSERT_EQ(m_store.PDB_PutDoubleField(m_handle, 2, 46360), pdb::Ok);
    ASSERT_EQ(m_store.PDB_PutRecord(m_handle, 4), pdb::Ok);
    std::vector<int> rest;
    while (rest.size() < 99 && m_store.PDB_FindNextDateEZG(m_handle, 46348, 46351) == pdb::Ok)
        rest.push_back(m_store.PDB_GetCurRecNo(m_handle));
    EXPECT_EQ(rest, (std::vector{8, 5, 6, 1}));
    EXPECT_EQ(walk(46360, 46361), Found{at(46360, 4)});
    ASSERT_EQ(m_store.PDB_GetRecord(m_handle, 2), pdb::Ok);
    double neu = 1;
    std::memcpy(&neu, currentBlock().data() + 288, sizeof neu);
    EXPECT_EQ(neu, 0);
}

TEST_F(PdbCallLogTest, TheIndexFileIsReadRebuiltWhenDamagedAndWrittenByAPack) {
    const QString index = path(QStringLiteral("MorvaLogi0.ndx"));
    EXPECT_TRUE(QFile::exists(index)) << "made with the table";
    addDays(m_days);
    EXPECT_FALSE(QFile::exists(index)) << "removed at the first write";
    ASSERT_EQ(m_store.PDB_GetRecord(m_handle, 3), pdb::Ok);
    ASSERT_EQ(m_store.PDB_DeleteRecord(m_handle), pdb::Ok);
    const Found expected{at(46347, 5), at(46348, 2), at(46348, 8), at(46349, 6),
                         at(46350, 1), at(46350, 4), at(46352, 7)};
    ASSERT_EQ(walk(0, 50000), expected);

    ASSERT_EQ(reopen(pdb::CallLog), pdb::Ok);
    const QByteArray written = ReadFile(index);
    const ino_t first = inode(index);
    EXPECT_EQ(written.size(), 112 + 7 * 8) << "a header and the pairs of the live records";
    EXPECT_EQ(walk(0, 50000), expected) << "read from the file";
    ASSERT_EQ(m_store.PDB_Close(m_handle), pdb::Ok);
    m_handle = 0;
    EXPECT_EQ(inode(index), first) << "a session without writes leaves the file alone";

    for (const qsizetype at : {qsizetype(112), written.size() - 5}) { // a day of the first and last pair
        QByteArray damaged = written;
        damaged[at] = char(damaged[at] ^ 0x40);
        ASSERT_TRUE(WriteFile(index, damaged));
        ASSERT_EQ(reopen(pdb::CallLog), pdb::Ok);
        EXPECT_EQ(walk(0, 50000), expected) << "rebuilt after damage at " << at;
        EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 7);
        ASSERT_EQ(m_store.PDB_Close(m_handle), pdb::Ok);
        m_handle = 0;
        EXPECT_EQ(ReadFile(index), written) << "written anew at close";
    }

    ASSERT_EQ(m_store.PDB_PackDatabase(m_path), pdb::Ok);
    EXPECT_NE(ReadFile(index), written) << "the pack wrote the index of the packed table";
    ASSERT_EQ(reopen(pdb::CallLog), pdb::Ok);
    EXPECT_EQ(walk(0, 50000), expected);
    ASSERT_EQ(m_store.PDB_FindDateEZG(m_handle, 46352, 46353), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 6) << "record numbers closed up";
}

TEST(PdbCallLogCodes, JulianDaysOfEightDigits) {
    pdb::PdbStore store; // answers before PDB_Init too
    EXPECT_EQ(store.PDB_GETJulianDays(0, QStringLiteral("19000101")), 2);
    EXPECT_EQ(store.PDB_GETJulianDays(0, QStringLiteral("20261123")), 46349);
    EXPECT_EQ(store.PDB_GETJulianDays(7, QStringLiteral("20240229")), 45351);
    EXPECT_EQ(store.PDB_GETJulianDays(0, QStringLiteral("20261123") + QChar(0) + QStringLiteral("99")),
              46349);
    for (const char* bad : {"20230230", "20231301", "20230100", "00000101", "2026112", "202611230",
                            "2026-1-1", " 2026112", "2026112x", "", "２0261123"})
        EXPECT_EQ(store.PDB_GETJulianDays(0, QString::fromUtf8(bad)), 0) << bad;
}

TEST(PdbCallLogCodes, EachKindRefusesTheOthersOperations) {
    QTemporaryDir dir;
    pdb::PdbStore store;
    ASSERT_EQ(store.PDB_Init(), pdb::Ok);
    const QString log = dir.filePath(QStringLiteral("l.dbf"));
    const QString book = dir.filePath(QStringLiteral("b.dbf"));
    ASSERT_EQ(store.PDB_Create(log, 1, pdb::CallLog), pdb::Ok);
    ASSERT_EQ(store.PDB_Create(book, 1, pdb::DiskBook), pdb::Ok);
    int32_t l = 0;
    int32_t b = 0;
    EXPECT_EQ(store.PDB_Open(l, log, pdb::DiskBook), pdb::WrongLayout);
    EXPECT_EQ(store.PDB_Open(b, book, pdb::CallLog), pdb::WrongLayout);
    ASSERT_EQ(store.PDB_Open(l, log, pdb::CallLog), pdb::Ok);
    ASSERT_EQ(store.PDB_Open(b, book, pdb::DiskBook), pdb::Ok);
    EXPECT_EQ(store.PDB_FieldCount(l), 16);

    LogBlock logBlock = callBlock(46349.5, QStringLiteral("1"));
    Block bookBlock = ToBlock(Entry{});
    EXPECT_EQ(store.PDB_PutRecordEZG(b, logBlock.data()), pdb::BadType);
    EXPECT_EQ(store.PDB_PutRecordPHB(l, bookBlock.data()), pdb::BadType);
    ASSERT_EQ(store.PDB_PutRecordEZG(l, logBlock.data()), pdb::Ok);
    ASSERT_EQ(store.PDB_PutRecordPHB(b, bookBlock.data()), pdb::Ok);
    EXPECT_EQ(store.PDB_GetRecordEZG(b, logBlock.data()), pdb::BadType);
    EXPECT_EQ(store.PDB_UpdateRecordEZG(b, logBlock.data()), pdb::BadType);
    EXPECT_EQ(store.PDB_FindDateEZG(b, 0, 1e6), pdb::BadType);
    EXPECT_EQ(store.PDB_FindNextDateEZG(b, 0, 1e6), pdb::BadType);
    EXPECT_EQ(store.PDB_GetRecordPHB(l, bookBlock.data()), pdb::BadType);
    EXPECT_EQ(store.PDB_FindIndexPHB(l, 0), pdb::BadType);
    EXPECT_EQ(store.PDB_FindNumberPHB(l, QStringLiteral("1")), pdb::BadType);
    EXPECT_EQ(store.PDB_FindDateEZG(l, 0, 1e6), pdb::Ok);
    EXPECT_EQ(store.PDB_Exit(), pdb::Ok);
}

} // namespace
