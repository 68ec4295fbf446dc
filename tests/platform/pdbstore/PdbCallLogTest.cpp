// The call log (type 2): its file as dbfread reads it, its record block byte for byte, the date index
// through writes, reopen, damage and pack, and PDB_GETJulianDays.

#include "tests/platform/pdbstore/PdbTestSupport.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cmath>
#include <cstring>
#include <vector>

using namespace pdbtest;

namespace {

using LogBlock = std::array<char, pdb::CallLogBlockSize>;
using Found = std::vector<int>;

void putDouble(LogBlock& block, int offset, double value) {
    std::memcpy(block.data() + offset, &value, sizeof value);
}

// A call that started at `start` (a date number) with `partner`; not yet seen, outgoing, state 255.
LogBlock callBlock(double start, const QString& partner) {
    LogBlock block{};
    putDouble(block, 8, start);
    const auto day = int32_t(std::floor(start));
    std::memcpy(block.data() + 16, &day, sizeof day);
    PutText(block.data() + 20, 9, u"14:03:59"_s);
    PutText(block.data() + 48, 21, u"01019"_s);
    PutText(block.data() + 69, 36, partner);
    PutText(block.data() + 105, 31, u"4711"_s);
    putDouble(block, 136, 95);
    putDouble(block, 144, 0.12);
    PutText(block.data() + 160, 128, QString());
    putDouble(block, 288, 1);
    putDouble(block, 296, 2);
    putDouble(block, 304, 255);
    return block;
}

class PdbCallLogTest : public TableFixture {
protected:
    void SetUp() override {
        TableFixture::SetUp();
        ASSERT_EQ(createAndOpen(pdb::CallLog, u"MorvaLog.dbf"_s), pdb::Ok);
    }
    LogBlock logBlock() {
        LogBlock block;
        block.fill('x');
        EXPECT_EQ(m_store.PDB_GetRecordEZG(m_handle, block.data()), pdb::Ok);
        return block;
    }
    // Calls on the days 46350, 46348, 46349, 46350, 46347, 46349, 46352, 46348, in this order.
    void addCalls() {
        for (const int day : {46350, 46348, 46349, 46350, 46347, 46349, 46352, 46348})
            ASSERT_EQ(m_store.PDB_PutRecordEZG(m_handle, callBlock(day + 0.25, u"r"_s).data()), pdb::Ok);
    }
    // The record numbers a date search and its walk go through.
    std::vector<int> walk(double from, double to) {
        std::vector<int> found;
        for (int32_t code = m_store.PDB_FindDateEZG(m_handle, from, to); code == pdb::Ok && found.size() < 99;
             code = m_store.PDB_FindNextDateEZG(m_handle, from, to))
            found.push_back(m_store.PDB_GetCurRecNo(m_handle));
        return found;
    }
};

TEST_F(PdbCallLogTest, ABlockComesBackByteForByteAndDbfreadReadsIt) {
    LogBlock expected = callBlock(46349.5860995370, QString(35, u'9'));
    PutText(expected.data() + 48, 21, u"Ä"_s + QString(19, u'P'));
    PutText(expected.data() + 105, 31, u"Müller"_s);
    PutText(expected.data() + 160, 128, u"Grüße/"_s + QString(121, u't'));
    putDouble(expected, 144, 1234.5678);
    LogBlock written = expected;
    std::memset(written.data() + 29, 'x', 3); // bytes of no column
    ASSERT_EQ(m_store.PDB_PutRecordEZG(m_handle, written.data()), pdb::Ok);
    ASSERT_EQ(reopen(pdb::CallLog), pdb::Ok);
    ASSERT_EQ(m_store.PDB_GetFirstRecord(m_handle), pdb::Ok);
    EXPECT_EQ(logBlock(), expected) << "zeros at 29..31, each text a zero byte and blanks";

    PutText(written.data() + 105, 31, QString(31, u'm')); // no zero byte: cut to the column
    PutText(expected.data() + 105, 31, QString(30, u'm'));
    ASSERT_EQ(m_store.PDB_UpdateRecordEZG(m_handle, written.data()), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 1) << "the record stays current";
    EXPECT_EQ(logBlock(), expected);
    putDouble(written, 136, 1e12);
    EXPECT_EQ(m_store.PDB_PutRecordEZG(m_handle, written.data()), pdb::BadValue) << "DAUER holds 10 digits";
    EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 1);
    ASSERT_EQ(m_store.PDB_DeleteRecord(m_handle), pdb::Ok);
    EXPECT_EQ(m_store.PDB_UpdateRecordEZG(m_handle, expected.data()), pdb::RecordDeleted);
    ASSERT_EQ(reopen(pdb::CallLog), pdb::Ok);
    EXPECT_EQ(m_store.PDB_UpdateRecordEZG(m_handle, expected.data()), pdb::NoCurrentRecord);
    close();

    const QString script = uR"(
import json
t = dbfread.DBF(sys.argv[1], load=True)
print(json.dumps([';'.join('%s %s %d %d' % (f.name, f.type, f.length, f.decimal_count) for f in t.fields),
                  ['|'.join(repr(v).strip("' ") for v in r.values()) for r in t.deleted], t.encoding]))
)"_s;
    QString output;
    const Python ran = RunPython(u"dbfread"_s, script, {m_path}, output);
    if (ran == Python::Missing)
        GTEST_SKIP() << "/usr/bin/python3 has no dbfread";
    ASSERT_EQ(ran, Python::Ran);
    const QJsonArray read = QJsonDocument::fromJson(output.toUtf8()).array();
    EXPECT_EQ(read.at(0).toString(), u"RECORDKEY N 10 0;BEGINN N 18 10;TAGESNR N 10 0;UHRZEIT C 8 0;"
                                     "RESERVED1 N 15 4;RESERVED2 N 15 4;PROVIDER C 20 0;RUFNUMMER C 35 0;"
                                     "MSN C 30 0;DAUER N 10 0;GEBUEHR N 12 4;RESERVED3 N 15 4;"
                                     "TONDATEI C 127 0;NEU N 3 0;RICHTUNG N 3 0;STATUS N 5 0"_s);
    // Numbers as Python writes them back (the shortest text of the same double).
    EXPECT_EQ(read.at(1).toArray(),
              QJsonArray{u"0|46349.586099537|46349|14:03:59|0.0|0.0|Ä"_s + QString(19, u'P') + u'|' +
                         QString(35, u'9') + u'|' + QString(30, u'm') + u"|95|1234.5678|0.0|Grüße/"_s +
                         QString(121, u't') + u"|1|2|255"_s});
    EXPECT_EQ(read.at(2).toString(), u"cp1252"_s);
}

TEST_F(PdbCallLogTest, ANumericFieldOfASignAloneReadsAsZero) {
    ASSERT_EQ(m_store.PDB_PutRecordEZG(m_handle, callBlock(46349.5, u"1"_s).data()), pdb::Ok);
    close();
    QByteArray bytes = ReadFile(m_path);
    bytes.replace(bytes.size() - 6, 5, "    +"); // STATUS, the record's last column, before the end marker
    ASSERT_TRUE(WriteFile(m_path, bytes));
    ASSERT_EQ(reopen(pdb::CallLog), pdb::Ok);
    ASSERT_EQ(m_store.PDB_GetFirstRecord(m_handle), pdb::Ok);
    LogBlock expected = callBlock(46349.5, u"1"_s);
    putDouble(expected, 304, 0);
    EXPECT_EQ(logBlock(), expected);
}

TEST_F(PdbCallLogTest, TheAllColumnsSearchReadsTheTextColumns) {
    ASSERT_EQ(m_store.PDB_PutRecordEZG(m_handle, callBlock(46349.5, u"0891234567"_s).data()), pdb::Ok);
    for (const QString& text : {u"01019"_s, u"1234"_s, u"4711"_s, u"14:03"_s})
        EXPECT_EQ(m_store.PDB_Find(m_handle, text, 0, 9), pdb::Ok) << text.toStdString();
    // Numbers are no text: the day, the duration 95, the state 255.
    for (const QString& text : {u"46349"_s, u"95"_s, u"255"_s})
        EXPECT_EQ(m_store.PDB_Find(m_handle, text, 0, 9), pdb::NotFound) << text.toStdString();
}

TEST_F(PdbCallLogTest, AWalkGoesOnAcrossWritesAndDeletes) {
    addCalls();
    ASSERT_EQ(m_store.PDB_FindDateEZG(m_handle, 46348, 46351), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 2);
    ASSERT_EQ(m_store.PDB_PutDoubleField(m_handle, 13, 0), pdb::Ok); // seen
    ASSERT_EQ(m_store.PDB_PutRecord(m_handle, 2), pdb::Ok);
    deleteAt(3);                                            // the next of the walk
    ASSERT_EQ(m_store.PDB_GetRecord(m_handle, 5), pdb::Ok); // moves into the range
    ASSERT_EQ(m_store.PDB_UpdateRecordEZG(m_handle, callBlock(46349.5, u"r5"_s).data()), pdb::Ok);
    ASSERT_EQ(m_store.PDB_GetRecord(m_handle, 4), pdb::Ok); // moves out of it
    ASSERT_EQ(m_store.PDB_PutDoubleField(m_handle, 2, 46360), pdb::Ok);
    ASSERT_EQ(m_store.PDB_PutRecord(m_handle, 4), pdb::Ok);
    Found rest;
    while (rest.size() < 99 && m_store.PDB_FindNextDateEZG(m_handle, 46348, 46351) == pdb::Ok)
        rest.push_back(m_store.PDB_GetCurRecNo(m_handle));
    EXPECT_EQ(rest, (Found{8, 5, 6, 1}));
    EXPECT_EQ(walk(46360, 46361), Found{4});
    ASSERT_EQ(m_store.PDB_GetRecord(m_handle, 2), pdb::Ok);
    double neu = 1;
    std::memcpy(&neu, logBlock().data() + 288, sizeof neu);
    EXPECT_EQ(neu, 0);
}

TEST_F(PdbCallLogTest, ARangeInOrderOfDayThenRecordFromTheIndexInMemoryAndInItsFile) {
    const QString index = path(u"MorvaLogi0.ndx"_s);
    EXPECT_EQ(IndexFiles(m_path), u"i0.ndx"_s) << "made with the table";
    addCalls();
    EXPECT_EQ(IndexFiles(m_path), QString()) << "removed at the first write";
    EXPECT_EQ(walk(46348, 46350), (Found{2, 8, 3, 6})) << "in order of day, then of record";
    EXPECT_EQ(m_store.PDB_FindDateEZG(m_handle, 46351, 46352), pdb::NotFound);
    EXPECT_EQ(m_store.PDB_FindNextDateEZG(m_handle, 46340, 46360), pdb::NotFound) << "nothing to go on from";
    EXPECT_EQ(walk(46347, 46352), (Found{5, 2, 8, 3, 6, 1, 4})) << "from is in the range, to is not";
    EXPECT_EQ(walk(46352, 99999), Found{7});
    EXPECT_EQ(m_store.PDB_FindDateEZG(m_handle, 46350, 46350), pdb::NotFound);
    EXPECT_EQ(m_store.PDB_FindDateEZG(m_handle, 46353, 46340), pdb::NotFound);
    deleteAt(3);
    const Found expected{5, 2, 8, 6, 1, 4, 7};
    ASSERT_EQ(walk(0, 50000), expected);

    ASSERT_EQ(reopen(pdb::CallLog), pdb::Ok);
    const QByteArray written = ReadFile(index);
    const auto identity = FileIdentity(index);
    EXPECT_EQ(written.size(), 112 + 7 * 8) << "a header and the pairs of the live records";
    EXPECT_EQ(walk(0, 50000), expected) << "read from the file";
    close();
    EXPECT_EQ(FileIdentity(index), identity) << "a session without writes leaves the file alone";

    for (const qsizetype at : {qsizetype(112), written.size() - 5}) { // a day of the first and last pair
        QByteArray damaged = written;
        damaged[at] = char(damaged[at] ^ 0x40);
        ASSERT_TRUE(WriteFile(index, damaged));
        ASSERT_EQ(reopen(pdb::CallLog), pdb::Ok);
        EXPECT_EQ(walk(0, 50000), expected) << "rebuilt after damage at " << at;
        EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 7);
        close();
        EXPECT_EQ(ReadFile(index), written) << "written anew at close";
    }

    ASSERT_EQ(m_store.PDB_PackDatabase(m_path), pdb::Ok);
    EXPECT_NE(ReadFile(index), written) << "the pack wrote the index of the packed table";
    ASSERT_EQ(reopen(pdb::CallLog), pdb::Ok);
    EXPECT_EQ(walk(0, 50000), (Found{4, 2, 7, 5, 1, 3, 6})) << "record numbers closed up";
}

TEST(PdbCallLogCodes, JulianDaysOfEightDigits) {
    pdb::PdbStore store; // answers before PDB_Init too
    EXPECT_EQ(store.PDB_GETJulianDays(0, u"19000101"_s), 2);
    EXPECT_EQ(store.PDB_GETJulianDays(0, u"20261123"_s), 46349);
    EXPECT_EQ(store.PDB_GETJulianDays(7, u"20240229"_s), 45351);
    EXPECT_EQ(store.PDB_GETJulianDays(0, u"20261123"_s + QChar(0) + u"99"_s), 46349);
    for (const char* bad : {"20230230", "20231301", "20230100", "00000101", "2026112", "202611230",
                            "2026-1-1", " 2026112", "2026112x", "", "２0261123"})
        EXPECT_EQ(store.PDB_GETJulianDays(0, QString::fromUtf8(bad)), 0) << bad;
}

} // namespace
