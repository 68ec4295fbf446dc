// The indexes: the hash index itself, index files that are missing, stale or damaged, indexes kept
// current by every write, and the pack.

#include "tests/platform/pdbstore/PdbTestSupport.h"

#include "platform/pdbstore/PdbIndex.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>

#include <map>
#include <random>
#include <set>

using namespace pdbtest;

namespace {

TEST(PdbHitTable, FollowsAReferenceThroughInsertsAndRemovals) {
    pdb::HitTable table(3);
    const uint32_t records = 2000;
    table.setRecords(records);
    std::map<std::string, std::set<std::pair<uint32_t, uint32_t>>> reference; // key -> (column, record)
    std::map<std::pair<uint32_t, uint32_t>, std::string> keyOf;
    std::mt19937 random(42);
    for (int step = 0; step < 40000; ++step) {
        const uint32_t record = random() % records + 1;
        const uint32_t column = random() % 3;
        const auto hit = std::make_pair(column, record);
        const auto present = keyOf.find(hit);
        if (present != keyOf.end()) {
            ASSERT_TRUE(table.remove(present->second, {record, column}));
            reference[present->second].erase(hit);
            keyOf.erase(present);
        } else {
            // Few keys, so that lists grow long and slots move back when emptied.
            const std::string key = "k" + std::to_string(random() % 300);
            ASSERT_TRUE(table.insert(key, {record, column}));
            EXPECT_FALSE(table.insert(key, {record, column})) << "a hit is in at most once";
            reference[key].insert(hit);
            keyOf[hit] = key;
        }
    }
    size_t keys = 0;
    for (const auto& [key, hits] : reference) {
        const auto first = table.first(key, [](uint32_t) { return true; });
        ASSERT_EQ(first.has_value(), !hits.empty()) << key;
        if (hits.empty())
            continue;
        ++keys;
        EXPECT_EQ(std::make_pair(first->column, first->record), *hits.begin()) << key;
        const auto second = table.first(key, [&](uint32_t r) { return r != hits.begin()->second; });
        const auto expected = std::find_if(hits.begin(), hits.end(),
                                           [&](const auto& h) { return h.second != hits.begin()->second; });
        ASSERT_EQ(second.has_value(), expected != hits.end());
        if (!second)
            continue;
        EXPECT_EQ(std::make_pair(second->column, second->record), *expected);
    }
    EXPECT_EQ(table.keyCount(), keys);
    EXPECT_FALSE(table.remove("k1", {records + 1, 0})) << "outside the records";
    EXPECT_FALSE(table.insert(std::string(256, 'x'), {1, 0})) << "too long";
    EXPECT_FALSE(table.insert({}, {1, 0})) << "empty";
}

// ---- Index files of a table

class PdbIndexTest : public TableFixture {
protected:
    void SetUp() override {
        TableFixture::SetUp();
        ASSERT_EQ(createAndOpen(pdb::DiskBook), pdb::Ok);
        for (int i = 1; i <= 50; ++i)
            put(Named(u"n%1"_s.arg(i), u"0%1"_s.arg(i), {}, u"9%1"_s.arg(i)));
    }
    QString index(const char* suffix) const { return path(u"book"_s + QLatin1String(suffix)); }
    void expectAllFound() {
        EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 50);
        for (int i = 1; i <= 50; ++i) {
            EXPECT_EQ(findNumber(u"0%1"_s.arg(i)), u"n%1"_s.arg(i));
            EXPECT_EQ(findNumber(u"9%1"_s.arg(i)), u"n%1"_s.arg(i));
            EXPECT_EQ(findKey(i), u"n%1"_s.arg(i));
        }
    }
};

TEST_F(PdbIndexTest, IndexFilesAreReadWhenCurrentAndRebuiltWhenDamagedMissingOrStale) {
    close();
    const QString key = index("i0.ndx");
    const QString numbers = index("i1.nde");
    const auto identity = FileIdentity(numbers);
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    expectAllFound();
    close();
    EXPECT_EQ(FileIdentity(numbers), identity) << "a session without writes leaves the files alone";

    const QByteArray good = ReadFile(numbers);
    const auto flipped = [&](qsizetype at) {
        QByteArray bytes = good;
        bytes[at] = char(bytes[at] ^ 0x5a);
        return bytes;
    };
    const std::pair<QString, QByteArray> damages[] = {{numbers, flipped(0)},
                                                      {numbers, flipped(120)},
                                                      {numbers, flipped(good.size() / 2)},
                                                      {numbers, flipped(good.size() - 1)},
                                                      {numbers, good.chopped(8)},
                                                      {key, QByteArray("not an index")}};
    for (const auto& [file, damaged] : damages) {
        ASSERT_TRUE(WriteFile(file, damaged));
        ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
        expectAllFound();
        close();
        EXPECT_NE(ReadFile(file), damaged) << "rebuilt and written anew";
    }

    ASSERT_TRUE(QFile::remove(key));
    ASSERT_TRUE(QFile::remove(numbers));
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    expectAllFound();
    close();
    EXPECT_EQ(IndexFiles(m_path), u"i0.ndx i1.nde"_s);

    // Another program changes record 7's number in place, in a byte that keeps the size and the count.
    QByteArray bytes = ReadFile(m_path);
    const qsizetype number = kHeaderSize + 6 * kRecordSize + 1 + 297;
    ASSERT_EQ(bytes.mid(number, 3), QByteArray("07 "));
    bytes[number + 1] = 'X';
    ASSERT_TRUE(WriteFile(m_path, bytes));
    QFile file(m_path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    ASSERT_TRUE(
        file.setFileTime(QDateTime::currentDateTime().addSecs(-3600), QFileDevice::FileModificationTime));
    file.close();
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    EXPECT_EQ(findNumber(u"0x"_s), u"n7"_s);
    EXPECT_EQ(findNumber(u"07"_s), QString());
    EXPECT_EQ(put(Named(u"next"_s)), 51);
}

TEST_F(PdbIndexTest, EveryWriteKeepsTheIndexesCurrent) {
    put(Named(u"n7 neu"_s, u"0777"_s)); // a new record, key 51
    put(Named(u"n8 neu"_s, u"0888"_s, {}, {}, 8));
    ASSERT_EQ(m_store.PDB_FindIndexPHB(m_handle, 9), pdb::Ok);
    ASSERT_EQ(m_store.PDB_PutField(m_handle, 8, u"0999"_s), pdb::Ok);
    ASSERT_EQ(m_store.PDB_PutRecord(m_handle, m_store.PDB_GetCurRecNo(m_handle)), pdb::Ok);
    deleteAt(10);

    for (const char* round : {"in memory", "from the index files"}) {
        SCOPED_TRACE(round);
        EXPECT_EQ(findNumber(u"0777"_s), u"n7 neu"_s);
        EXPECT_EQ(findNumber(u"08"_s), QString());
        EXPECT_EQ(findNumber(u"0888"_s), u"n8 neu"_s);
        EXPECT_EQ(findNumber(u"0999"_s), u"n9"_s);
        EXPECT_EQ(findNumber(u"99"_s), QString());
        EXPECT_EQ(findNumber(u"010"_s), QString());
        EXPECT_EQ(findKey(10), QString());
        EXPECT_EQ(findKey(51), u"n7 neu"_s);
        EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 50);
        ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    }
}

TEST_F(PdbIndexTest, APackDropsDeletedRecordsAndKeepsKeys) {
    for (const int32_t number : {2, 3, 50})
        deleteAt(number);
    EXPECT_EQ(m_store.PDB_PackDatabase(m_path), pdb::InUse) << "an open table is not packed";
    close();
    const qint64 before = QFileInfo(m_path).size();
    ASSERT_EQ(m_store.PDB_PackDatabase(m_path), pdb::Ok);
    EXPECT_EQ(QFileInfo(m_path).size(), before - 3 * kRecordSize);
    EXPECT_FALSE(QFile::exists(m_path + u".pack"_s));
    EXPECT_EQ(IndexFiles(m_path), u"i0.ndx i1.nde"_s) << "only the index files the table had";
    const auto packed = FileIdentity(index("i1.nde"));

    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 47);
    for (int i = 1; i <= 50; ++i) {
        const QString name = i == 2 || i == 3 || i == 50 ? QString() : u"n%1"_s.arg(i);
        EXPECT_EQ(findKey(i), name);
        EXPECT_EQ(findNumber(u"9%1"_s.arg(i)), name);
    }
    close();
    EXPECT_EQ(FileIdentity(index("i1.nde")), packed) << "the pack wrote index files that fit";
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    ASSERT_EQ(m_store.PDB_FindIndexPHB(m_handle, 4), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 2) << "record numbers close up";
    EXPECT_EQ(put(Named(u"new"_s)), 51) << "the key of a packed-away record stays used";
}

} // namespace
