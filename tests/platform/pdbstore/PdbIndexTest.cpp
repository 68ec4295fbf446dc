// The indexes: the hash index itself, index files that are missing, stale or damaged, indexes kept
// current by every write, and the pack.

#include "PdbTestSupport.h"

#include "platform/pdbstore/PdbIndex.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>

#include <map>
#include <random>
#include <set>

#include <sys/stat.h>

using namespace pdbtest;

namespace {

Entry entry(const QString& name, const QString& number, const QString& number3 = QString()) {
    Entry e;
    e.name = name;
    e.number = number;
    e.number3 = number3;
    return e;
}

// The inode and modification time of a file: equal when nobody wrote it in between.
std::pair<uint64_t, int64_t> identity(const QString& path) {
    struct stat info {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return {0, 0};
    return {uint64_t(info.st_ino), int64_t(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec};
}

// ---- The hash index against a plain map

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
        if (hits.empty()) {
            EXPECT_FALSE(first) << key;
            continue;
        }
        ++keys;
        ASSERT_TRUE(first) << key;
        EXPECT_EQ(std::make_pair(first->column, first->record), *hits.begin()) << key;
        const auto second = table.first(key, [&](uint32_t r) { return r != hits.begin()->second; });
        const auto expected = std::find_if(hits.begin(), hits.end(),
                                           [&](const auto& h) { return h.second != hits.begin()->second; });
        EXPECT_EQ(second.has_value(), expected != hits.end());
        if (second && expected != hits.end()) {
            EXPECT_EQ(std::make_pair(second->column, second->record), *expected);
        }
    }
    EXPECT_EQ(table.keyCount(), keys);
    EXPECT_FALSE(table.remove("k1", {records + 1, 0})) << "outside the records";
    EXPECT_FALSE(table.insert(std::string(256, 'x'), {1, 0})) << "too long";
    EXPECT_FALSE(table.insert({}, {1, 0})) << "empty";
}

TEST(PdbHitTable, AFileRoundTripAndAStaleOrDamagedFile) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("x.nde"));
    const pdb::IndexLayout layout{"i1.nde", pdb::IndexKind::Numbers, 3, {6, 7, 8}};
    pdb::HitTable table(3);
    table.setRecords(100);
    for (uint32_t r = 1; r <= 100; ++r)
        table.insert(std::to_string(r % 17), {r, r % 3});
    pdb::TableStamp stamp{1234, 5678, 9, 10, 100};
    ASSERT_TRUE(pdb::WriteIndexFile(path, layout, stamp, 99, 4711, table));

    pdb::HitTable loaded(3);
    uint32_t live = 0;
    int64_t maxKey = 0;
    ASSERT_TRUE(pdb::ReadIndexFile(path, layout, stamp, live, maxKey, loaded));
    EXPECT_EQ(live, 99u);
    EXPECT_EQ(maxKey, 4711);
    for (int k = 0; k < 17; ++k) {
        const auto a = table.first(std::to_string(k), [](uint32_t) { return true; });
        const auto b = loaded.first(std::to_string(k), [](uint32_t) { return true; });
        ASSERT_TRUE(a && b);
        EXPECT_EQ(a->record, b->record);
    }
    pdb::TableStamp other = stamp;
    other.mtimeNs += 1;
    EXPECT_FALSE(pdb::ReadIndexFile(path, layout, other, live, maxKey, loaded)) << "stale";
    EXPECT_EQ(loaded.keyCount(), 0u);

    QByteArray bytes = ReadFile(path);
    for (const qsizetype at : {qsizetype(0), qsizetype(120), bytes.size() / 2, bytes.size() - 1}) {
        QByteArray damaged = bytes;
        damaged[at] = char(damaged[at] ^ 0x5a);
        ASSERT_TRUE(WriteFile(path, damaged));
        EXPECT_FALSE(pdb::ReadIndexFile(path, layout, stamp, live, maxKey, loaded)) << at;
    }
    ASSERT_TRUE(WriteFile(path, bytes.left(bytes.size() - 8)));
    EXPECT_FALSE(pdb::ReadIndexFile(path, layout, stamp, live, maxKey, loaded)) << "cut short";
}

// ---- Index files of a table

class PdbIndexTest : public TableFixture {
protected:
    void SetUp() override {
        TableFixture::SetUp();
        ASSERT_EQ(createAndOpen(pdb::DiskBook), pdb::Ok);
        for (int i = 1; i <= 50; ++i)
            put(entry(QStringLiteral("n%1").arg(i), QStringLiteral("0%1").arg(i),
                      QStringLiteral("9%1").arg(i)));
    }
    QString index(const char* suffix) const { return path(QStringLiteral("book") + QLatin1String(suffix)); }
    QString findNumber(const QString& number) {
        return m_store.PDB_FindNumberPHB(m_handle, number) == pdb::Ok ? current().name : QString();
    }
    QString findKey(double key) {
        return m_store.PDB_FindIndexPHB(m_handle, key) == pdb::Ok ? current().name : QString();
    }
    void expectAllFound() {
        EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 50);
        for (int i = 1; i <= 50; ++i) {
            EXPECT_EQ(findNumber(QStringLiteral("0%1").arg(i)), QStringLiteral("n%1").arg(i));
            EXPECT_EQ(findNumber(QStringLiteral("9%1").arg(i)), QStringLiteral("n%1").arg(i));
            EXPECT_EQ(findKey(i), QStringLiteral("n%1").arg(i));
        }
    }
};

TEST_F(PdbIndexTest, IndexFilesThatAreCurrentAreReadNotRebuilt) {
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    const auto key = identity(index("i0.ndx"));
    const auto numbers = identity(index("i1.nde"));
    ASSERT_NE(key.first, 0u);
    expectAllFound();
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    EXPECT_EQ(identity(index("i0.ndx")), key) << "a session without writes leaves the files alone";
    EXPECT_EQ(identity(index("i1.nde")), numbers);
}

TEST_F(PdbIndexTest, MissingIndexFilesAreRebuilt) {
    ASSERT_EQ(m_store.PDB_Close(m_handle), pdb::Ok);
    m_handle = 0;
    ASSERT_TRUE(QFile::remove(index("i0.ndx")));
    ASSERT_TRUE(QFile::remove(index("i1.nde")));
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    expectAllFound();
    EXPECT_EQ(put(entry(QStringLiteral("next"), {})), 51);
    ASSERT_EQ(m_store.PDB_Close(m_handle), pdb::Ok);
    m_handle = 0;
    EXPECT_TRUE(QFile::exists(index("i0.ndx")));
    EXPECT_TRUE(QFile::exists(index("i1.nde")));
}

TEST_F(PdbIndexTest, AnIndexOfAnotherStateOfTheTableIsRebuilt) {
    ASSERT_EQ(m_store.PDB_Close(m_handle), pdb::Ok);
    m_handle = 0;
    // Another program changes record 7's number in place, in a byte that keeps the size and the count.
    QByteArray bytes = ReadFile(m_path);
    const qsizetype number = 32 + 15 * 32 + 1 + 6 * 631 + 1 + 297;
    ASSERT_EQ(bytes.mid(number, 3), QByteArray("07 "));
    bytes[number + 1] = 'X';
    {
        QFile file(m_path);
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        ASSERT_TRUE(file.seek(number));
        ASSERT_EQ(file.write("0X"), 2);
        file.close();
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        ASSERT_TRUE(
            file.setFileTime(QDateTime::currentDateTime().addSecs(-3600), QFileDevice::FileModificationTime));
    }
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    EXPECT_EQ(findNumber(QStringLiteral("0x")), QStringLiteral("n7"));
    EXPECT_EQ(findNumber(QStringLiteral("07")), QString());
}

TEST_F(PdbIndexTest, RecordsAppendedBehindTheStoresBackAreIndexed) {
    ASSERT_EQ(m_store.PDB_Close(m_handle), pdb::Ok);
    m_handle = 0;
    // A copy of the last record with a new key and number, appended the way another writer would.
    QByteArray bytes = ReadFile(m_path);
    QByteArray record = bytes.mid(bytes.size() - 1 - 631, 631);
    record.replace(1, 10, "      4711");
    record.replace(1 + 10 + 50 + 50 + 10 + 50 + 127, 35, QByteArray("0777").leftJustified(35, ' '));
    bytes.chop(1);
    bytes += record + '\x1a';
    bytes[4] = char(51);
    ASSERT_TRUE(WriteFile(m_path, bytes));
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    EXPECT_EQ(findNumber(QStringLiteral("0777")), QStringLiteral("n50"));
    EXPECT_EQ(findKey(4711), QStringLiteral("n50"));
    EXPECT_EQ(put(entry(QStringLiteral("after"), {})), 4712);
}

TEST_F(PdbIndexTest, ADamagedIndexFileIsRebuilt) {
    ASSERT_EQ(m_store.PDB_Close(m_handle), pdb::Ok);
    m_handle = 0;
    QByteArray bytes = ReadFile(index("i1.nde"));
    bytes[bytes.size() / 2] = char(bytes[bytes.size() / 2] ^ 1);
    ASSERT_TRUE(WriteFile(index("i1.nde"), bytes));
    ASSERT_TRUE(WriteFile(index("i0.ndx"), QByteArray("not an index")));
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    expectAllFound();
}

TEST_F(PdbIndexTest, EveryWriteKeepsTheIndexesCurrent) {
    put(entry(QStringLiteral("n7 neu"), QStringLiteral("0777"))); // a new record, key 51
    Entry replaced = entry(QStringLiteral("n8 neu"), QStringLiteral("0888"));
    replaced.key = 8;
    put(replaced);
    ASSERT_EQ(m_store.PDB_FindIndexPHB(m_handle, 9), pdb::Ok);
    ASSERT_EQ(m_store.PDB_PutField(m_handle, 8, QStringLiteral("0999")), pdb::Ok);
    ASSERT_EQ(m_store.PDB_PutRecord(m_handle, m_store.PDB_GetCurRecNo(m_handle)), pdb::Ok);
    ASSERT_EQ(m_store.PDB_FindIndexPHB(m_handle, 10), pdb::Ok);
    ASSERT_EQ(m_store.PDB_DeleteRecord(m_handle), pdb::Ok);

    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round == 0 ? "in memory" : "from the index files");
        EXPECT_EQ(findNumber(QStringLiteral("0777")), QStringLiteral("n7 neu"));
        EXPECT_EQ(findNumber(QStringLiteral("08")), QString());
        EXPECT_EQ(findNumber(QStringLiteral("0888")), QStringLiteral("n8 neu"));
        EXPECT_EQ(findNumber(QStringLiteral("0999")), QStringLiteral("n9"));
        EXPECT_EQ(findNumber(QStringLiteral("99")), QString());
        EXPECT_EQ(findNumber(QStringLiteral("010")), QString());
        EXPECT_EQ(findKey(10), QString());
        EXPECT_EQ(findKey(51), QStringLiteral("n7 neu"));
        EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 50);
        ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    }
}

TEST_F(PdbIndexTest, APackDropsDeletedRecordsAndKeepsKeys) {
    for (const double key : {2.0, 3.0, 50.0}) {
        ASSERT_EQ(m_store.PDB_FindIndexPHB(m_handle, key), pdb::Ok);
        ASSERT_EQ(m_store.PDB_DeleteRecord(m_handle), pdb::Ok);
    }
    EXPECT_EQ(m_store.PDB_PackDatabase(m_path), pdb::InUse) << "an open table is not packed";
    ASSERT_EQ(m_store.PDB_Close(m_handle), pdb::Ok);
    m_handle = 0;
    const qint64 before = QFileInfo(m_path).size();
    ASSERT_EQ(m_store.PDB_PackDatabase(m_path), pdb::Ok);
    EXPECT_EQ(QFileInfo(m_path).size(), before - 3 * 631);
    EXPECT_FALSE(QFile::exists(m_path + QStringLiteral(".pack")));
    const auto key = identity(index("i0.ndx"));
    const auto numbers = identity(index("i1.nde"));
    EXPECT_FALSE(QFile::exists(index("i1.ndx"))) << "only the index files the table had";

    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 47);
    for (int i = 1; i <= 50; ++i) {
        const bool gone = i == 2 || i == 3 || i == 50;
        EXPECT_EQ(findKey(i), gone ? QString() : QStringLiteral("n%1").arg(i));
        EXPECT_EQ(findNumber(QStringLiteral("9%1").arg(i)), gone ? QString() : QStringLiteral("n%1").arg(i));
    }
    ASSERT_EQ(m_store.PDB_FindIndexPHB(m_handle, 4), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 2) << "record numbers close up";
    EXPECT_EQ(put(entry(QStringLiteral("new"), {})), 51) << "the key of a packed-away record stays used";
    ASSERT_EQ(m_store.PDB_Close(m_handle), pdb::Ok);
    m_handle = 0;
    EXPECT_NE(identity(index("i0.ndx")), key);

    // The pack wrote index files that fit: a session without writes reads them and leaves them.
    ASSERT_EQ(m_store.PDB_PackDatabase(m_path), pdb::Ok);
    const auto packed = identity(index("i1.nde"));
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    EXPECT_EQ(findNumber(QStringLiteral("949")), QStringLiteral("n49"));
    ASSERT_EQ(m_store.PDB_Close(m_handle), pdb::Ok);
    m_handle = 0;
    EXPECT_EQ(identity(index("i1.nde")), packed);
    EXPECT_NE(packed, numbers);
}

TEST(PdbPack, AnOldDiskBookKeepsItsThreeNumberIndexes) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("old.dbf"));
    pdb::PdbStore store;
    ASSERT_EQ(store.PDB_Init(), pdb::Ok);
    ASSERT_EQ(store.PDB_Create(path, 1, pdb::OldDiskBook), pdb::Ok);
    int32_t handle = 0;
    ASSERT_EQ(store.PDB_Open(handle, path, pdb::OldDiskBook), pdb::Ok);
    for (int i = 0; i < 3; ++i) {
        Block block = ToBlock(entry(QStringLiteral("e%1").arg(i), QStringLiteral("%1").arg(i)));
        ASSERT_EQ(store.PDB_PutRecordPHB(handle, block.data()), pdb::Ok);
    }
    ASSERT_EQ(store.PDB_DeleteRecord(handle), pdb::Ok);
    ASSERT_EQ(store.PDB_Close(handle), pdb::Ok);
    ASSERT_EQ(store.PDB_PackDatabase(path), pdb::Ok);
    for (const char* name : {"oldi0.ndx", "oldi1.ndx", "oldi2.ndx", "oldi3.ndx"})
        EXPECT_TRUE(QFile::exists(dir.filePath(QLatin1String(name)))) << name;
    EXPECT_FALSE(QFile::exists(dir.filePath(QStringLiteral("oldi1.nde"))));
    ASSERT_EQ(store.PDB_Open(handle, path, pdb::OldDiskBook), pdb::Ok);
    EXPECT_EQ(store.PDB_GetNumRecords(handle), 2);
    EXPECT_EQ(store.PDB_FindNumberPHB(handle, QStringLiteral("1")), pdb::Ok);
    EXPECT_EQ(store.PDB_FindNumberPHB(handle, QStringLiteral("2")), pdb::NotFound);
    EXPECT_EQ(store.PDB_Exit(), pdb::Ok);
}

} // namespace
