// Records through the file: blocks in and out, keys, the walk, the record buffer, and the codes of the
// store's operations.

#include "PdbTestSupport.h"

#include <QFile>

#include <cstring>

using namespace pdbtest;

namespace {

class PdbRecordTest : public TableFixture {
protected:
    void SetUp() override {
        TableFixture::SetUp();
        ASSERT_EQ(createAndOpen(pdb::DiskBook), pdb::Ok);
    }
    Block currentBlock() {
        Block block{};
        EXPECT_EQ(m_store.PDB_GetRecordPHB(m_handle, block.data()), pdb::Ok);
        return block;
    }
};

Entry named(const QString& name, const QString& number = QString(), double key = 0) {
    Entry entry;
    entry.key = key;
    entry.name = name;
    entry.number = number;
    return entry;
}

TEST_F(PdbRecordTest, ABlockComesBackByteForByteAcrossAReopen) {
    Entry entry{0,
                QStringLiteral("Ärger & Söhne"),
                QStringLiteral("Schloßallee 1"),
                QStringLiteral("A-1010"),
                QStringLiteral("Wien"),
                QStringLiteral("Notiz|zweite Zeile €"),
                QStringLiteral("+43 1 234"),
                QStringLiteral("0664/1234"),
                QStringLiteral("1-2-3"),
                QStringLiteral("greetings/anna.wav"),
                true};
    entry.key = put(entry);
    EXPECT_EQ(entry.key, 1);
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    ASSERT_EQ(m_store.PDB_GetFirstRecord(m_handle), pdb::Ok);
    const Block block = currentBlock();
    EXPECT_EQ(block, ToBlock(entry)) << "the reserved bytes are zero, ISChanged is \"T\" and a zero byte";
}

TEST_F(PdbRecordTest, TextFieldsAtTheEdgesOfTheirWidth) {
    struct Field {
        QString Entry::*member;
        int width;
    };
    const Field fields[] = {{&Entry::name, 50},    {&Entry::adresse, 50},   {&Entry::plz, 10},
                            {&Entry::ort, 50},     {&Entry::descript, 127}, {&Entry::number, 35},
                            {&Entry::number2, 35}, {&Entry::number3, 35},   {&Entry::ansage, 127}};
    for (const Field& field : fields) {
        for (const int size : {field.width - 1, field.width, field.width + 7}) {
            Entry entry;
            entry.*field.member = QString(size, QLatin1Char('x')).replace(0, 1, QStringLiteral("ß"));
            const double key = put(entry);
            ASSERT_EQ(m_store.PDB_FindIndexPHB(m_handle, key), pdb::Ok);
            const Entry back = FromBlock(currentBlock());
            EXPECT_EQ(back.*field.member, (entry.*field.member).left(field.width))
                << field.width << " " << size;
        }
    }
}

TEST_F(PdbRecordTest, BlankEndsAreTrimmedAndMissingCharactersBecomeQuestionMarks) {
    const double key = put(named(QStringLiteral("  Anna  "), QStringLiteral("5 5 ")));
    put(named(QStringLiteral("Ελένη 中")));
    ASSERT_EQ(m_store.PDB_FindIndexPHB(m_handle, key), pdb::Ok);
    Block block = currentBlock();
    EXPECT_EQ(BlockField(block, 8, 50), QByteArray("  Anna"));
    EXPECT_EQ(BlockField(block, 295, 35), QByteArray("5 5"));
    EXPECT_EQ(block[8 + 6], '\0');
    EXPECT_EQ(block[8 + 7], ' ') << "blanks after the zero byte";
    ASSERT_EQ(m_store.PDB_GetNextRecord(m_handle), pdb::Ok);
    EXPECT_EQ(FromBlock(currentBlock()).name, QStringLiteral("????? ?"));
}

TEST_F(PdbRecordTest, KeyZeroTakesTheNextKeyAfterTheHighestEverSeen) {
    EXPECT_EQ(put(named(QStringLiteral("a"))), 1);
    EXPECT_EQ(put(named(QStringLiteral("b"))), 2);
    EXPECT_EQ(put(named(QStringLiteral("c"), {}, 100)), 100) << "a key of its own is appended as it is";
    EXPECT_EQ(put(named(QStringLiteral("d"))), 101);
    EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 4);

    ASSERT_EQ(m_store.PDB_FindIndexPHB(m_handle, 101), pdb::Ok);
    ASSERT_EQ(m_store.PDB_DeleteRecord(m_handle), pdb::Ok);
    EXPECT_EQ(m_store.PDB_FindIndexPHB(m_handle, 101), pdb::NotFound) << "deleted keys are not found";
    EXPECT_EQ(put(named(QStringLiteral("e"))), 102) << "a deleted key is not handed out again";
    ASSERT_EQ(m_store.PDB_FindIndexPHB(m_handle, 102), pdb::Ok);
    ASSERT_EQ(m_store.PDB_DeleteRecord(m_handle), pdb::Ok);
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    EXPECT_EQ(put(named(QStringLiteral("f"))), 103);
}

TEST_F(PdbRecordTest, AKeyThatExistsReplacesItsRecordInPlace) {
    put(named(QStringLiteral("a"), QStringLiteral("111")));
    const double key = put(named(QStringLiteral("b"), QStringLiteral("222")));
    put(named(QStringLiteral("c")));
    const QByteArray before = ReadFile(m_path);
    ASSERT_EQ(put(named(QStringLiteral("B neu"), QStringLiteral("333"), key)), key);
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 2) << "the written record becomes the current one";
    EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 3);
    EXPECT_EQ(ReadFile(m_path).size(), before.size());
    ASSERT_EQ(m_store.PDB_FindIndexPHB(m_handle, key), pdb::Ok);
    EXPECT_EQ(FromBlock(currentBlock()).name, QStringLiteral("B neu"));
    EXPECT_EQ(m_store.PDB_FindNumberPHB(m_handle, QStringLiteral("222")), pdb::NotFound);
    EXPECT_EQ(m_store.PDB_FindNumberPHB(m_handle, QStringLiteral("333")), pdb::Ok);
}

TEST_F(PdbRecordTest, KeysThatAColumnCannotHoldAreRefused) {
    for (const double key : {1.5, 1e10, -1e9, std::numeric_limits<double>::quiet_NaN()}) {
        Block block = ToBlock(named(QStringLiteral("x"), {}, key));
        EXPECT_EQ(m_store.PDB_PutRecordPHB(m_handle, block.data()), pdb::BadValue) << key;
    }
    EXPECT_EQ(put(named(QStringLiteral("highest"), {}, 9999999999.0)), 9999999999.0);
    Block block = ToBlock(named(QStringLiteral("no key left")));
    EXPECT_EQ(m_store.PDB_PutRecordPHB(m_handle, block.data()), pdb::BadValue);
    EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 1);
}

TEST_F(PdbRecordTest, TheLastRecordGivesTheHighestKeyForANewOne) {
    for (int i = 0; i < 5; ++i)
        put(named(QStringLiteral("n%1").arg(i)));
    ASSERT_EQ(m_store.PDB_GetLastRecord(m_handle), pdb::Ok);
    EXPECT_EQ(FromBlock(currentBlock()).key, 5);
    ASSERT_EQ(m_store.PDB_DeleteRecord(m_handle), pdb::Ok);
    ASSERT_EQ(m_store.PDB_GetLastRecord(m_handle), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 4) << "the last record not deleted";
}

TEST_F(PdbRecordTest, TheWalkSkipsDeletedRecords) {
    EXPECT_EQ(m_store.PDB_GetFirstRecord(m_handle), pdb::EndOfFile);
    EXPECT_EQ(m_store.PDB_GetLastRecord(m_handle), pdb::EndOfFile);
    Block block{};
    EXPECT_EQ(m_store.PDB_GetRecordPHB(m_handle, block.data()), pdb::NoCurrentRecord);
    EXPECT_EQ(m_store.PDB_DeleteRecord(m_handle), pdb::NoCurrentRecord);
    for (int i = 1; i <= 6; ++i)
        put(named(QStringLiteral("n%1").arg(i)));
    for (const int r : {1, 3, 4, 6}) {
        ASSERT_EQ(m_store.PDB_GetRecord(m_handle, r), pdb::Ok);
        ASSERT_EQ(m_store.PDB_DeleteRecord(m_handle), pdb::Ok);
        EXPECT_EQ(m_store.PDB_GetRecordPHB(m_handle, block.data()), pdb::RecordDeleted);
        EXPECT_EQ(m_store.PDB_DeleteRecord(m_handle), pdb::RecordDeleted);
    }
    EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 2);
    QStringList seen;
    for (int32_t code = m_store.PDB_GetFirstRecord(m_handle); code == pdb::Ok;
         code = m_store.PDB_GetNextRecord(m_handle))
        seen << FromBlock(currentBlock()).name;
    EXPECT_EQ(seen, (QStringList{QStringLiteral("n2"), QStringLiteral("n5")}));
    EXPECT_EQ(m_store.PDB_GetNextRecord(m_handle), pdb::EndOfFile);
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 5) << "the end of a walk keeps the current record";
    EXPECT_EQ(m_store.PDB_GetRecord(m_handle, 3), pdb::RecordDeleted);
    EXPECT_EQ(m_store.PDB_GetRecord(m_handle, 0), pdb::BadRecordNumber);
    EXPECT_EQ(m_store.PDB_GetRecord(m_handle, 7), pdb::BadRecordNumber);
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 2);
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 0);
}

TEST_F(PdbRecordTest, FieldsChangeTheBufferAndPutRecordWritesIt) {
    put(named(QStringLiteral("Alt"), QStringLiteral("123")));
    put(named(QStringLiteral("Zwei")));
    ASSERT_EQ(m_store.PDB_GetRecord(m_handle, 1), pdb::Ok);
    EXPECT_EQ(m_store.PDB_FieldCount(m_handle), 15);
    EXPECT_EQ(m_store.PDB_PutField(m_handle, 1, QStringLiteral("Neu\0Rest")), pdb::Ok);
    EXPECT_EQ(m_store.PDB_PutField(m_handle, 6, QStringLiteral("456")), pdb::Ok);
    EXPECT_EQ(m_store.PDB_PutField(m_handle, 14, QStringLiteral("yes")), pdb::Ok);
    EXPECT_EQ(m_store.PDB_PutField(m_handle, 14, QStringLiteral("?")), pdb::BadValue);
    EXPECT_EQ(m_store.PDB_PutField(m_handle, 14, QString()), pdb::BadValue);
    EXPECT_EQ(m_store.PDB_PutField(m_handle, 0, QStringLiteral("zwölf")), pdb::BadValue);
    EXPECT_EQ(m_store.PDB_PutField(m_handle, 0, QStringLiteral("12345678901")), pdb::BadValue);
    EXPECT_EQ(m_store.PDB_PutField(m_handle, 0, QStringLiteral(" 40 ")), pdb::Ok);
    EXPECT_EQ(m_store.PDB_PutDoubleField(m_handle, 1, 3), pdb::BadColumn);
    EXPECT_EQ(m_store.PDB_PutField(m_handle, 15, QStringLiteral("x")), pdb::BadColumn);
    EXPECT_EQ(m_store.PDB_PutField(m_handle, -1, QStringLiteral("x")), pdb::BadColumn);
    EXPECT_EQ(m_store.PDB_PutDoubleField(m_handle, 0, 1e12), pdb::BadValue);
    EXPECT_EQ(m_store.PDB_PutDoubleField(m_handle, 0, 41), pdb::Ok);
    EXPECT_EQ(m_store.PDB_PutRecord(m_handle, 3), pdb::BadRecordNumber);
    ASSERT_EQ(m_store.PDB_PutRecord(m_handle, 1), pdb::Ok);

    EXPECT_EQ(m_store.PDB_FindIndexPHB(m_handle, 1), pdb::NotFound);
    ASSERT_EQ(m_store.PDB_FindIndexPHB(m_handle, 41), pdb::Ok);
    const Entry back = FromBlock(currentBlock());
    EXPECT_EQ(back.name, QStringLiteral("Neu"));
    EXPECT_TRUE(back.changed);
    EXPECT_EQ(m_store.PDB_FindNumberPHB(m_handle, QStringLiteral("123")), pdb::NotFound);
    EXPECT_EQ(m_store.PDB_FindNumberPHB(m_handle, QStringLiteral("456")), pdb::Ok);
    EXPECT_EQ(put(named(QStringLiteral("Drei"))), 42) << "a key set through a field counts as seen";

    ASSERT_EQ(m_store.PDB_GetRecord(m_handle, 2), pdb::Ok);
    ASSERT_EQ(m_store.PDB_DeleteRecord(m_handle), pdb::Ok);
    EXPECT_EQ(m_store.PDB_PutRecord(m_handle, 2), pdb::RecordDeleted);
}

TEST(PdbStoreCodes, OperationsOutsideInitAndOnUnknownHandles) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("b.dbf"));
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
    ASSERT_EQ(store.PDB_Create(path, 1, pdb::TelephoneBook), pdb::Ok);
    EXPECT_EQ(store.PDB_Create(path, 1, pdb::TelephoneBook), pdb::FileExists);
    EXPECT_EQ(store.PDB_Create(dir.filePath(QStringLiteral("no/such/dir.dbf")), 0, 1), pdb::CannotCreate);
    EXPECT_EQ(store.PDB_Open(handle, path, 5), pdb::BadType);
    EXPECT_EQ(store.PDB_Open(handle, path, pdb::CallLog), pdb::WrongLayout);
    ASSERT_EQ(store.PDB_Open(handle, path, pdb::TelephoneBook), pdb::Ok);
    EXPECT_EQ(handle, 1) << "handles are small";
    int32_t second = 0;
    const QString other = dir.filePath(QStringLiteral("c.dbf"));
    ASSERT_EQ(store.PDB_Create(other, 0, pdb::DiskBook), pdb::Ok);
    ASSERT_EQ(store.PDB_Open(second, other, pdb::DiskBook), pdb::Ok);
    EXPECT_EQ(second, 2);
    EXPECT_EQ(store.PDB_FindNumberPHB(handle, QStringLiteral("1")), pdb::NotIndexed);
    // Each user of the store starts it and stops it; the last stop closes what is open.
    ASSERT_EQ(store.PDB_Init(), pdb::Ok);
    EXPECT_EQ(store.PDB_Exit(), pdb::Ok);
    EXPECT_EQ(store.PDB_GetFirstRecord(handle), pdb::EndOfFile) << "still open";
    EXPECT_EQ(store.PDB_Exit(), pdb::Ok) << "closes both";
    ASSERT_EQ(store.PDB_Init(), pdb::Ok);
    EXPECT_EQ(store.PDB_Close(1), pdb::BadHandle);
    ASSERT_EQ(store.PDB_Open(handle, path, pdb::TelephoneBook), pdb::Ok) << "the lock went with the close";
}

TEST(PdbStoreCodes, EveryCodeHasAShortText) {
    pdb::PdbStore store;
    ASSERT_EQ(store.PDB_Init(), pdb::Ok);
    QString text;
    QStringList texts;
    for (int32_t code = pdb::NotInitialised; code <= pdb::IndexWriteFailed; ++code) {
        EXPECT_EQ(store.PDB_TranslateError(code, text), pdb::Ok);
        EXPECT_FALSE(text.startsWith(QStringLiteral("Unknown"))) << code;
        EXPECT_LE(text.size(), 200);
        EXPECT_FALSE(texts.contains(text)) << text.toStdString();
        texts << text;
    }
    store.PDB_TranslateError(pdb::NotDbase, text);
    EXPECT_EQ(text, QStringLiteral("The file is not a dBase table."));
    store.PDB_TranslateError(pdb::Truncated, text);
    EXPECT_EQ(text, QStringLiteral("The file is shorter than its header says: records are missing."));
    store.PDB_TranslateError(4711, text);
    EXPECT_EQ(text, QStringLiteral("Unknown error 4711."));
}

TEST(PdbStoreCodes, CreateWritesTheIndexFilesOfTheKind) {
    QTemporaryDir dir;
    pdb::PdbStore store;
    ASSERT_EQ(store.PDB_Init(), pdb::Ok);
    const auto exists = [&](const char* name) {
        return QFile::exists(dir.filePath(QLatin1String(name)));
    };
    ASSERT_EQ(store.PDB_Create(dir.filePath(QStringLiteral("t.dbf")), 1, pdb::TelephoneBook), pdb::Ok);
    EXPECT_TRUE(exists("ti0.ndx"));
    EXPECT_FALSE(exists("ti1.ndx"));
    ASSERT_EQ(store.PDB_Create(dir.filePath(QStringLiteral("o.dbf")), 1, pdb::OldDiskBook), pdb::Ok);
    for (const char* name : {"oi0.ndx", "oi1.ndx", "oi2.ndx", "oi3.ndx"})
        EXPECT_TRUE(exists(name)) << name;
    ASSERT_EQ(store.PDB_Create(dir.filePath(QStringLiteral("d.dbf")), 1, pdb::DiskBook), pdb::Ok);
    EXPECT_TRUE(exists("di0.ndx"));
    EXPECT_TRUE(exists("di1.nde"));
    ASSERT_EQ(store.PDB_Create(dir.filePath(QStringLiteral("n.dbf")), 0, pdb::DiskBook), pdb::Ok);
    EXPECT_FALSE(exists("ni0.ndx"));
    EXPECT_FALSE(exists("ni1.nde"));
}

} // namespace
