// Records through the file: blocks in and out, keys, the walk, the record buffer, the searches, and the
// codes of the store's operations. Deleted records are never found.

#include "tests/platform/pdbstore/PdbTestSupport.h"

#include <cmath>

using namespace pdbtest;

namespace {

class PdbRecordTest : public TableFixture {
protected:
    void SetUp() override {
        TableFixture::SetUp();
        ASSERT_EQ(createAndOpen(pdb::DiskBook), pdb::Ok);
    }
};

TEST_F(PdbRecordTest, TextFieldsComeBackAsTheBlockHadThem) {
    Entry entry =
        Full({u"Ärger & Söhne"_s, u"Schloßallee 1"_s, u"A-1010"_s, u"Wien"_s, u"Notiz|zweite Zeile €"_s,
              u"+43 1 234"_s, u"0664/1234"_s, u"1-2-3"_s, u"greetings/anna.wav"_s},
             true);
    entry.key = put(entry);
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    ASSERT_EQ(m_store.PDB_GetFirstRecord(m_handle), pdb::Ok);
    EXPECT_EQ(currentBlock(), ToBlock(entry))
        << "the reserved bytes are zero, ISChanged is \"T\" and a zero byte";

    for (const int extra : {-1, 0, 7}) {
        Entry edge;
        for (const TextField& field : kTextFields)
            edge.*field.member = QString(field.width + extra, u'x').replace(0, 1, u"ß"_s);
        edge.key = put(edge);
        ASSERT_EQ(m_store.PDB_FindIndexPHB(m_handle, edge.key), pdb::Ok);
        EXPECT_EQ(currentBlock(), ToBlock(edge)) << "texts of their column's width " << extra;
    }

    const double key = put(Named(u"  Anna  "_s, u"5 5 "_s));
    put(Named(u"Ελένη 中"_s));
    ASSERT_EQ(m_store.PDB_FindIndexPHB(m_handle, key), pdb::Ok);
    EXPECT_EQ(current().name, u"  Anna"_s) << "blank ends trimmed";
    EXPECT_EQ(current().number, u"5 5"_s);
    ASSERT_EQ(m_store.PDB_GetNextRecord(m_handle), pdb::Ok);
    EXPECT_EQ(current().name, u"????? ?"_s) << "characters without a place in Windows-1252";
}

TEST_F(PdbRecordTest, KeyZeroTakesTheNextKeyAfterTheHighestEverSeenAndAKeyThatExistsReplaces) {
    for (const double bad : {1.5, 1e10, -1e9, std::nan("")}) {
        Block block = ToBlock(Named(u"x"_s, {}, {}, {}, bad));
        EXPECT_EQ(m_store.PDB_PutRecordPHB(m_handle, block.data()), pdb::BadValue) << bad;
    }
    EXPECT_EQ(put(Named(u"a"_s)), 1);
    EXPECT_EQ(put(Named(u"b"_s)), 2);
    EXPECT_EQ(put(Named(u"c"_s, {}, {}, {}, 100)), 100) << "a key of its own is appended as it is";
    EXPECT_EQ(put(Named(u"d"_s)), 101);
    deleteAt(4);
    EXPECT_EQ(findKey(101), QString()) << "deleted keys are not found";
    EXPECT_EQ(put(Named(u"e"_s)), 102) << "a deleted key is not handed out again";
    deleteAt(5);
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    EXPECT_EQ(put(Named(u"f"_s)), 103);

    const qsizetype size = ReadFile(m_path).size();
    ASSERT_EQ(put(Named(u"B neu"_s, {}, {}, {}, 2)), 2);
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 2) << "the written record becomes the current one";
    EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 4);
    EXPECT_EQ(ReadFile(m_path).size(), size) << "replaced in place";
    EXPECT_EQ(findKey(2), u"B neu"_s);

    EXPECT_EQ(put(Named(u"highest"_s, {}, {}, {}, 9999999999.0)), 9999999999.0);
    Block block = ToBlock(Named(u"no key left"_s));
    EXPECT_EQ(m_store.PDB_PutRecordPHB(m_handle, block.data()), pdb::BadValue);
    EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 5);
}

TEST_F(PdbRecordTest, TheWalkSkipsDeletedRecords) {
    EXPECT_EQ(m_store.PDB_GetFirstRecord(m_handle), pdb::EndOfFile);
    EXPECT_EQ(m_store.PDB_GetLastRecord(m_handle), pdb::EndOfFile);
    Block block{};
    EXPECT_EQ(m_store.PDB_GetRecordPHB(m_handle, block.data()), pdb::NoCurrentRecord);
    EXPECT_EQ(m_store.PDB_DeleteRecord(m_handle), pdb::NoCurrentRecord);
    for (int i = 1; i <= 6; ++i)
        put(Named(u"n%1"_s.arg(i)));
    for (const int r : {1, 3, 4, 6})
        deleteAt(r);
    EXPECT_EQ(m_store.PDB_GetRecordPHB(m_handle, block.data()), pdb::RecordDeleted);
    EXPECT_EQ(m_store.PDB_DeleteRecord(m_handle), pdb::RecordDeleted);
    EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 2);
    QStringList seen;
    for (int32_t code = m_store.PDB_GetFirstRecord(m_handle); code == pdb::Ok;
         code = m_store.PDB_GetNextRecord(m_handle))
        seen << current().name;
    EXPECT_EQ(seen, (QStringList{u"n2"_s, u"n5"_s}));
    EXPECT_EQ(m_store.PDB_GetNextRecord(m_handle), pdb::EndOfFile);
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 5) << "the end of a walk keeps the current record";
    ASSERT_EQ(m_store.PDB_GetFirstRecord(m_handle), pdb::Ok);
    ASSERT_EQ(m_store.PDB_GetLastRecord(m_handle), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 5) << "the last record not deleted";
    EXPECT_EQ(m_store.PDB_GetRecord(m_handle, 3), pdb::RecordDeleted);
    EXPECT_EQ(m_store.PDB_GetRecord(m_handle, 0), pdb::BadRecordNumber);
    EXPECT_EQ(m_store.PDB_GetRecord(m_handle, 7), pdb::BadRecordNumber);
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 0);
}

TEST_F(PdbRecordTest, FieldsChangeTheBufferAndPutRecordWritesIt) {
    put(Named(u"Alt"_s));
    put(Named(u"Zwei"_s));
    ASSERT_EQ(m_store.PDB_GetRecord(m_handle, 1), pdb::Ok);
    EXPECT_EQ(m_store.PDB_FieldCount(m_handle), 15);
    const std::tuple<int, QString, int32_t> fields[] = {
        {1, u"Neu\0Rest"_s, pdb::Ok},         {14, u"yes"_s, pdb::Ok},        {14, u"?"_s, pdb::BadValue},
        {14, QString(), pdb::BadValue},       {0, u"zwölf"_s, pdb::BadValue}, {0, u" 40 "_s, pdb::Ok},
        {0, u"12345678901"_s, pdb::BadValue}, {15, u"x"_s, pdb::BadColumn},   {-1, u"x"_s, pdb::BadColumn}};
    for (const auto& [column, text, code] : fields)
        EXPECT_EQ(m_store.PDB_PutField(m_handle, column, text), code) << column << " " << text.toStdString();
    EXPECT_EQ(m_store.PDB_PutDoubleField(m_handle, 1, 3), pdb::BadColumn);
    EXPECT_EQ(m_store.PDB_PutDoubleField(m_handle, 0, 1e12), pdb::BadValue);
    EXPECT_EQ(m_store.PDB_PutDoubleField(m_handle, 0, 41), pdb::Ok);
    EXPECT_EQ(m_store.PDB_PutRecord(m_handle, 3), pdb::BadRecordNumber);
    ASSERT_EQ(m_store.PDB_PutRecord(m_handle, 1), pdb::Ok);
    EXPECT_EQ(findKey(1), QString());
    EXPECT_EQ(findKey(41), u"Neu"_s);
    EXPECT_TRUE(current().changed);
    EXPECT_EQ(put(Named(u"Drei"_s)), 42) << "a key set through a field counts as seen";
    deleteAt(2);
    EXPECT_EQ(m_store.PDB_PutRecord(m_handle, 2), pdb::RecordDeleted);
}

TEST_F(PdbRecordTest, TheFieldSearchByItsFlags) {
    const QString longNumber = u"12345678901234567890123456789012345"_s;
    Entry first = Named(u"Anna Berg"_s, u"111"_s);
    first.ort = u"Bergheim"_s;
    for (const Entry& entry : {first, Named(u"Bert"_s, u"222"_s, {}, longNumber), Named(u"anna"_s, u"333"_s),
                               Named(u"Weg"_s, u"999"_s), Named(u"Bleibt"_s, u"444"_s, u"999"_s),
                               Named(u"Müllerin"_s), Named(u"Müller"_s), Named(u"MÜLLER"_s)})
        put(entry);
    deleteAt(4);
    // As the program searches for a name or a number: padded to the width, then a zero.
    const auto pad = [](const QString& text, int width) {
        return text.leftJustified(width, u' ', true) + QChar(0);
    };
    const QString lower = pad(u"müller"_s, 50), upper = pad(u"Müller"_s, 50), long34 = pad(longNumber, 34);
    const QString prefix = pad(u"22"_s, 34), exact = pad(u"111"_s, 34);
    // Flags: 1 from the first, 2 case-sensitive, 4 at the head, 8 every column. The position after a
    // search: a failed one keeps it. The key column holds its digits right-aligned.
    const std::tuple<QString, int, int32_t, int32_t, int32_t> searches[] = {
        {u"berg"_s, 1, 1, pdb::Ok, 1},      {u"berg"_s, 1, 5, pdb::NotFound, 1},
        {u"ber"_s, 1, 5, pdb::Ok, 2},       {u"anna"_s, 1, 7, pdb::Ok, 3},
        {u"ANNA"_s, 1, 5, pdb::Ok, 1},      {u"ANNA"_s, 1, 4, pdb::Ok, 3},
        {u"bergh"_s, 0, 9, pdb::Ok, 1},     {u"3"_s, 0, 5, pdb::NotFound, 1},
        {u"3"_s, 0, 1, pdb::Ok, 3},         {u"bert\0garbage"_s, 1, 5, pdb::Ok, 2},
        {u"333"_s, 0, 13, pdb::Ok, 3},      {u"x"_s, 15, 1, pdb::BadColumn, 3},
        {u"Weg"_s, 1, 1, pdb::NotFound, 3}, {u"Weg"_s, 0, 9, pdb::NotFound, 3},
        {lower, 1, 5, pdb::Ok, 7},          {lower, 1, 4, pdb::Ok, 8},
        {lower, 1, 4, pdb::NotFound, 8},    {lower, 1, 7, pdb::NotFound, 8},
        {upper, 1, 7, pdb::Ok, 7},          {long34, 8, 5, pdb::Ok, 2},
        {prefix, 6, 5, pdb::NotFound, 2},   {exact, 6, 5, pdb::Ok, 1}};
    for (const auto& [text, column, flags, code, current] : searches) {
        EXPECT_EQ(m_store.PDB_Find(m_handle, text, column, flags), code) << text.toStdString() << flags;
        EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), current) << text.toStdString() << flags;
    }
    EXPECT_EQ(findKey(4), QString());
    EXPECT_EQ(findNumber(u"999"_s), u"Bleibt"_s) << "the number of a deleted record no longer counts";
}

TEST_F(PdbRecordTest, TheAllColumnsSearchReadsTheNineFieldsOfAnEntryOnly) {
    // The key ("1", "4711"), the flag ("N" or "T") and the reserved blanks hold nothing to find.
    put(Named(u"Rolf"_s, u"222"_s));
    put(Named(u"Uwe"_s, u"333"_s, {}, {}, 4711));
    Entry changed = Named(u"Ida"_s);
    changed.changed = true;
    put(changed);
    for (const QString& text : {u"n"_s, u"T"_s, u"4711"_s, u"1"_s})
        EXPECT_EQ(m_store.PDB_Find(m_handle, text, 0, 9), pdb::NotFound) << text.toStdString();

    // Each of the nine fields is searched, anywhere in it and at its head.
    for (const TextField& field : kTextFields) {
        Entry entry;
        entry.*field.member = u"n-%1"_s.arg(QLatin1String(field.column));
        const double key = put(entry);
        ASSERT_EQ(m_store.PDB_Find(m_handle, u"N-"_s + QLatin1String(field.column), 0, 9), pdb::Ok)
            << field.column;
        EXPECT_EQ(current().key, key) << field.column;
        ASSERT_EQ(m_store.PDB_Find(m_handle, u"n-"_s, 0, 15), pdb::Ok) << field.column;
        EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 4) << "the first entry with a text of its own";
    }
}

class PdbNumberSearchTest : public TableFixture, public ::testing::WithParamInterface<int32_t> {};

TEST_P(PdbNumberSearchTest, TheFirstColumnWinsThenTheLowerRecord) {
    ASSERT_EQ(createAndOpen(GetParam()), pdb::Ok);
    put(Named(u"r1"_s, u"1"_s, u"089 55"_s, u"7"_s));
    put(Named(u"r2"_s, u"2"_s, u"7"_s, u"089 55"_s));
    put(Named(u"r3"_s, u"089 55"_s, u"3"_s));
    put(Named(u"r4"_s, u"089 55"_s));
    put(Named(u"r5"_s, u"Abc"_s, u"x"_s));
    EXPECT_EQ(findNumber(u"089 55"_s), u"r3"_s);
    EXPECT_EQ(findNumber(u"7"_s), u"r2"_s) << "the second column before the third";
    EXPECT_EQ(findNumber(u"aBC   "_s), u"r5"_s) << "trailing blanks and case do not count";
    EXPECT_EQ(findNumber(u"abc\0def"_s), u"r5"_s) << "the key ends at a zero character";
    EXPECT_EQ(findNumber(u" abc"_s), QString()) << "leading blanks count";
    EXPECT_EQ(findNumber(u"089"_s), QString()) << "whole numbers only";
    EXPECT_EQ(findNumber(u"   "_s), QString()) << "an empty key finds nothing";
    deleteAt(3);
    EXPECT_EQ(findNumber(u"089 55"_s), u"r4"_s);
    deleteAt(4);
    EXPECT_EQ(findNumber(u"089 55"_s), u"r1"_s);
    // Many records with the same number: long lists in the index and its file.
    for (int i = 6; i <= 300; ++i)
        put(Named(u"r%1"_s.arg(i), i % 3 == 0 ? u"0800"_s : u"5%1"_s.arg(i), u"0800"_s));
    EXPECT_EQ(findNumber(u"0800"_s), u"r6"_s);
    for (int i = 6; i <= 300; i += 3)
        deleteAt(i);
    EXPECT_EQ(findNumber(u"0800"_s), u"r7"_s) << "then the second column";
    ASSERT_EQ(reopen(GetParam()), pdb::Ok);
    EXPECT_EQ(findNumber(u"089 55"_s), u"r1"_s) << "the same from the index files";
    EXPECT_EQ(findNumber(u"7"_s), u"r2"_s);
    EXPECT_EQ(findNumber(u"0800"_s), u"r7"_s);
    EXPECT_EQ(findNumber(u"5298"_s), u"r298"_s);
}

INSTANTIATE_TEST_SUITE_P(DiskBooks, PdbNumberSearchTest, ::testing::Values(pdb::OldDiskBook, pdb::DiskBook));

TEST(PdbStoreCodes, TheCodesOfTheOperationsAndTheIndexFilesOfEachKind) {
    QTemporaryDir dir;
    const QString path = dir.filePath(u"b.dbf"_s);
    pdb::PdbStore store;
    int32_t handle = 7;
    EXPECT_EQ(store.PDB_Open(handle, path, pdb::DiskBook), pdb::NotInitialised);
    EXPECT_EQ(handle, 0);
    EXPECT_EQ(store.PDB_Create(path, 1, pdb::DiskBook), pdb::NotInitialised);
    EXPECT_EQ(store.PDB_GetFirstRecord(1), pdb::NotInitialised);
    EXPECT_EQ(store.PDB_Exit(), pdb::NotInitialised);
    ASSERT_EQ(store.PDB_Init(), pdb::Ok);
    EXPECT_EQ(store.PDB_GetFirstRecord(1), pdb::BadHandle);
    EXPECT_EQ(store.PDB_Close(1), pdb::BadHandle);
    EXPECT_EQ(store.PDB_GetNumRecords(1), 0);
    EXPECT_EQ(store.PDB_FieldCount(1), 0);
    EXPECT_EQ(store.PDB_Create(path, 1, 0), pdb::BadType);
    EXPECT_EQ(store.PDB_Create(path, 1, 99), pdb::BadType);
    EXPECT_EQ(store.PDB_Open(handle, path, pdb::DiskBook), pdb::FileNotFound);
    EXPECT_EQ(store.PDB_PackDatabase(path), pdb::FileNotFound);
    EXPECT_EQ(store.PDB_Create(dir.filePath(u"no/such/dir.dbf"_s), 0, 1), pdb::CannotCreate);

    // A pack writes the key or date index, and the number indexes that were there.
    const std::tuple<int32_t, int32_t, QString, QString> kinds[] = {
        {pdb::TelephoneBook, 1, u"i0.ndx"_s, u"i0.ndx"_s},
        {pdb::OldDiskBook, 1, u"i0.ndx i1.ndx i2.ndx i3.ndx"_s, u"i0.ndx i1.ndx i2.ndx i3.ndx"_s},
        {pdb::DiskBook, 1, u"i0.ndx i1.nde"_s, u"i0.ndx i1.nde"_s},
        {pdb::CallLog, 1, u"i0.ndx"_s, u"i0.ndx"_s},
        {pdb::DiskBook, 0, QString(), u"i0.ndx"_s}};
    for (const auto& [type, withIndex, files, packed] : kinds) {
        const QString table = dir.filePath(u"t%1%2.dbf"_s.arg(type).arg(withIndex));
        ASSERT_EQ(store.PDB_Create(table, withIndex, type), pdb::Ok);
        EXPECT_EQ(IndexFiles(table), files) << type;
        ASSERT_EQ(store.PDB_PackDatabase(table), pdb::Ok);
        EXPECT_EQ(IndexFiles(table), packed) << type;
    }
    const QString book = dir.filePath(u"t11.dbf"_s);
    EXPECT_EQ(store.PDB_Create(book, 1, pdb::TelephoneBook), pdb::FileExists);
    EXPECT_EQ(store.PDB_Open(handle, book, 5), pdb::BadType);
    ASSERT_EQ(store.PDB_Open(handle, book, pdb::TelephoneBook), pdb::Ok);
    EXPECT_EQ(handle, 1) << "handles are small";
    int32_t book2 = 0;
    int32_t log = 0;
    ASSERT_EQ(store.PDB_Open(book2, dir.filePath(u"t40.dbf"_s), pdb::DiskBook), pdb::Ok);
    EXPECT_EQ(book2, 2);
    EXPECT_EQ(store.PDB_FindNumberPHB(handle, u"1"_s), pdb::NotIndexed);
    EXPECT_EQ(store.PDB_Open(log, dir.filePath(u"t31.dbf"_s), pdb::CallLog), pdb::WrongLayout);
    EXPECT_EQ(store.PDB_Open(log, dir.filePath(u"t21.dbf"_s), pdb::DiskBook), pdb::WrongLayout);
    ASSERT_EQ(store.PDB_Open(log, dir.filePath(u"t21.dbf"_s), pdb::CallLog), pdb::Ok);
    EXPECT_EQ(store.PDB_FieldCount(log), 16);
    // Each kind refuses the record operations of the other.
    std::array<char, pdb::CallLogBlockSize> logBlock{};
    Block bookBlock{};
    const int32_t refused[] = {store.PDB_PutRecordEZG(book2, logBlock.data()),
                               store.PDB_GetRecordEZG(book2, logBlock.data()),
                               store.PDB_UpdateRecordEZG(book2, logBlock.data()),
                               store.PDB_FindDateEZG(book2, 0, 1e6),
                               store.PDB_FindNextDateEZG(book2, 0, 1e6),
                               store.PDB_PutRecordPHB(log, bookBlock.data()),
                               store.PDB_GetRecordPHB(log, bookBlock.data()),
                               store.PDB_FindIndexPHB(log, 0),
                               store.PDB_FindNumberPHB(log, u"1"_s)};
    for (size_t i = 0; i < std::size(refused); ++i)
        EXPECT_EQ(refused[i], pdb::BadType) << i;
    ASSERT_EQ(store.PDB_Init(), pdb::Ok);
    EXPECT_EQ(store.PDB_Exit(), pdb::Ok);
    EXPECT_EQ(store.PDB_GetFirstRecord(handle), pdb::EndOfFile) << "still open";
    EXPECT_EQ(store.PDB_Exit(), pdb::Ok) << "the stop that matches the first start closes them all";
    ASSERT_EQ(store.PDB_Init(), pdb::Ok);
    EXPECT_EQ(store.PDB_Close(1), pdb::BadHandle);
    ASSERT_EQ(store.PDB_Open(handle, book, pdb::TelephoneBook), pdb::Ok) << "the lock went with the close";

    QString text;
    QStringList texts;
    for (int32_t code = pdb::NotInitialised; code <= pdb::Shrunk; ++code) {
        EXPECT_EQ(store.PDB_TranslateError(code, text), pdb::Ok);
        EXPECT_TRUE(!text.startsWith(u"Unknown"_s) && text.size() <= 200 && !texts.contains(text)) << code;
        texts << text;
    }
}

} // namespace
