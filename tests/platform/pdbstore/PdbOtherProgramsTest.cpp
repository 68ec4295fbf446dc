// What other dBase programs do to a table while the store holds it open (they do not take its lock): save
// by writing a new file and renaming it over the table, write in place, or shorten the file. The store
// reads and writes the file that is there now, builds its indexes anew, and answers a shortened file with
// error codes instead of dying of SIGBUS, even when the file shrinks while it is being read.

#include "tests/platform/pdbstore/PdbTestSupport.h"

#include <QFile>

#include <cstring>
#include <set>

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace pdbtest;

namespace {

constexpr int kEntries = 300; // 190 KB: more than a page and more than one read of a walk

Entry numbered(int i) {
    return Named(u"Entry %1"_s.arg(i), u"0%1"_s.arg(i));
}

// A disk book of kEntries entries, open; entry i is record i with key i.
class PdbOtherProgramsTest : public TableFixture {
protected:
    void SetUp() override {
        TableFixture::SetUp();
        ASSERT_EQ(createAndOpen(pdb::DiskBook), pdb::Ok);
        for (int i = 1; i <= kEntries; ++i)
            put(numbered(i));
        m_full = ReadFile(m_path);
        ASSERT_EQ(m_full.size(), kHeaderSize + kEntries * kRecordSize + 1);
    }
    // The names of a walk from the first record; the code that ended it in `end`.
    QStringList walk(int32_t* end = nullptr) {
        QStringList names;
        int32_t code = m_store.PDB_GetFirstRecord(m_handle);
        for (; code == pdb::Ok && names.size() <= kEntries + 10; code = m_store.PDB_GetNextRecord(m_handle))
            names << current().name;
        if (end != nullptr)
            *end = code;
        return names;
    }
    // The first `records` records of the table as another program leaves them: with its header's count
    // set to them and an end marker, or cut off as they are.
    QByteArray shortened(int records, bool withCount) const {
        QByteArray bytes = m_full.left(kHeaderSize + records * kRecordSize);
        if (withCount) {
            const auto count = uint32_t(records);
            std::memcpy(bytes.data() + 4, &count, sizeof count);
            bytes.append('\x1a');
        }
        return bytes;
    }
    QByteArray m_full;
};

TEST_F(PdbOtherProgramsTest, ATableReplacedByANewFileIsReadAndWrittenThere) {
    // The file open now, under a second name, to see that nothing is written into it once it is replaced.
    const QString held = path(u"held.dbf"_s);
    ASSERT_EQ(::link(QFile::encodeName(m_path).constData(), QFile::encodeName(held).constData()), 0);
    ASSERT_EQ(m_store.PDB_GetRecord(m_handle, 10), pdb::Ok);

    // The other program writes its copy, then renames it over the table.
    const QString copy = path(u"copy.dbf"_s);
    ASSERT_TRUE(QFile::copy(m_path, copy));
    {
        pdb::PdbStore other;
        int32_t handle = 0;
        ASSERT_EQ(other.PDB_Init(), pdb::Ok);
        ASSERT_EQ(other.PDB_Open(handle, copy, pdb::DiskBook), pdb::Ok);
        Block block = ToBlock(Named(u"Zwei neu"_s, u"0222"_s, {}, {}, 2));
        ASSERT_EQ(other.PDB_PutRecordPHB(handle, block.data()), pdb::Ok);
        ASSERT_EQ(other.PDB_FindIndexPHB(handle, 1), pdb::Ok);
        ASSERT_EQ(other.PDB_DeleteRecord(handle), pdb::Ok);
        block = ToBlock(Named(u"Neu"_s, u"0999999"_s));
        ASSERT_EQ(other.PDB_PutRecordPHB(handle, block.data()), pdb::Ok);
        ASSERT_EQ(other.PDB_Exit(), pdb::Ok);
    }
    const QByteArray replaced = ReadFile(held);
    ASSERT_EQ(::rename(QFile::encodeName(copy).constData(), QFile::encodeName(m_path).constData()), 0);

    EXPECT_EQ(findNumber(u"0999999"_s), u"Neu"_s) << "the new file, its indexes built anew";
    EXPECT_EQ(findNumber(u"0222"_s), u"Zwei neu"_s);
    EXPECT_EQ(findNumber(u"02"_s), QString()) << "the old number of entry 2 is gone";
    EXPECT_EQ(findKey(1), QString()) << "deleted there";
    EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), kEntries);
    const QStringList names = walk();
    ASSERT_EQ(names.size(), kEntries);
    EXPECT_EQ(names.front(), u"Zwei neu"_s);
    EXPECT_EQ(names.back(), u"Neu"_s);

    EXPECT_EQ(put(Named(u"Von hier"_s, u"0555"_s)), kEntries + 2) << "the key after the other program's";
    ASSERT_EQ(m_store.PDB_FindIndexPHB(m_handle, 3), pdb::Ok);
    ASSERT_EQ(m_store.PDB_PutField(m_handle, 1, u"Drei hier"_s), pdb::Ok);
    ASSERT_EQ(m_store.PDB_PutRecord(m_handle, m_store.PDB_GetCurRecNo(m_handle)), pdb::Ok);
    close();
    EXPECT_EQ(ReadFile(held), replaced) << "the replaced file is not written";
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    EXPECT_EQ(findNumber(u"0555"_s), u"Von hier"_s);
    EXPECT_EQ(findKey(3), u"Drei hier"_s);
    EXPECT_EQ(findNumber(u"0999999"_s), u"Neu"_s);
    EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), kEntries + 1);
}

TEST_F(PdbOtherProgramsTest, ATableAnotherDbaseProgramWroteInPlaceIsReadAnew) {
    ASSERT_EQ(findNumber(u"05"_s), u"Entry 5"_s);
    const QString script = uR"(
t = dbf.Table(sys.argv[1], codepage='cp1252')
t.open(dbf.READ_WRITE)
with t[4] as r:
    r.name = 'Fünf'
    r.number = '0505'
t.append({'recordkey': 500, 'name': 'Python', 'number': '0777', 'ischanged': True})
t.close()
)"_s;
    QString output;
    const Python ran = RunPython(u"dbf"_s, script, {m_path}, output);
    if (ran == Python::Missing)
        GTEST_SKIP() << "/usr/bin/python3 has no dbf";
    ASSERT_EQ(ran, Python::Ran);

    EXPECT_EQ(findNumber(u"05"_s), QString()) << "the number that entry 5 no longer has";
    EXPECT_EQ(findNumber(u"0505"_s), u"Fünf"_s);
    EXPECT_EQ(findNumber(u"0777"_s), u"Python"_s);
    EXPECT_EQ(findKey(500), u"Python"_s);
    EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), kEntries + 1);
    EXPECT_EQ(put(numbered(0)), 501);
    close();
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    EXPECT_EQ(walk().size(), kEntries + 2);
    EXPECT_EQ(findNumber(u"0505"_s), u"Fünf"_s);
}

TEST_F(PdbOtherProgramsTest, AShortenedTableGivesCodesWhereRecordsVanished) {
    ASSERT_EQ(m_store.PDB_GetRecord(m_handle, 250), pdb::Ok);

    // Cut behind record 100, its header still counting 300: the store refuses it as it refuses to open it.
    ASSERT_TRUE(WriteFile(m_path, shortened(100, false)));
    EXPECT_EQ(findNumber(u"0250"_s), QString());
    EXPECT_EQ(m_store.PDB_FindNumberPHB(m_handle, u"0250"_s), pdb::Truncated);
    EXPECT_EQ(m_store.PDB_GetRecord(m_handle, 250), pdb::Truncated);
    EXPECT_EQ(m_store.PDB_GetFirstRecord(m_handle), pdb::Truncated);
    EXPECT_EQ(m_store.PDB_Find(m_handle, u"Entry 9"_s, 1, 5), pdb::Truncated);
    Block block = ToBlock(numbered(0));
    EXPECT_EQ(m_store.PDB_PutRecordPHB(m_handle, block.data()), pdb::Truncated);
    EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 0);
    EXPECT_EQ(ReadFile(m_path), shortened(100, false)) << "and leaves it as it is";

    // Whole again: everything is there.
    ASSERT_TRUE(WriteFile(m_path, m_full));
    EXPECT_EQ(findNumber(u"0250"_s), u"Entry 250"_s);
    EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), kEntries);

    // The first 100 records with their count, as a program that dropped the rest leaves them.
    ASSERT_TRUE(WriteFile(m_path, shortened(100, true)));
    EXPECT_EQ(m_store.PDB_DeleteRecord(m_handle), pdb::Shrunk) << "the current record 250 is gone";
    EXPECT_EQ(m_store.PDB_PutRecord(m_handle, 250), pdb::BadRecordNumber);
    EXPECT_EQ(m_store.PDB_GetNextRecord(m_handle), pdb::EndOfFile) << "the walk ends";
    EXPECT_EQ(m_store.PDB_GetRecord(m_handle, 250), pdb::BadRecordNumber);
    EXPECT_EQ(findNumber(u"0250"_s), QString());
    EXPECT_EQ(findNumber(u"050"_s), u"Entry 50"_s);
    EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 100);
    EXPECT_EQ(put(Named(u"Neu"_s, u"0888"_s)), kEntries + 1) << "keys once handed out stay used";
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 101);
    close();
    EXPECT_EQ(ReadFile(m_path).size(), kHeaderSize + 101 * kRecordSize + 1);
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    EXPECT_EQ(findNumber(u"0888"_s), u"Neu"_s);
    EXPECT_EQ(walk().size(), 101);
}

TEST_F(PdbOtherProgramsTest, AFileThatShrinksWhileItIsReadNeverCrashesTheReader) {
    // The other program cuts the file and writes it back whole, over and over, while the store walks and
    // searches it: some reads find it cut after the store looked at its size.
    const pid_t child = ::fork();
    if (child == 0) {
        ::close_range(3, ~0U, 0); // a program of its own: without the store's descriptor and its lock
        ::prctl(PR_SET_PDEATHSIG, SIGKILL); // and gone with the test, should the test die
        const int fd = ::open(QFile::encodeName(m_path).constData(), O_RDWR);
        const QByteArray cut = shortened(20, false);
        for (;;) {
            if (fd < 0 || ::ftruncate(fd, cut.size()) != 0 ||
                ::pwrite(fd, m_full.constData(), size_t(m_full.size()), 0) != m_full.size())
                ::_exit(2);
            ::usleep(200); // whole for a while, so that reads start on a whole file
        }
    }
    ASSERT_GT(child, 0);
    const std::set<int32_t> expected{pdb::Ok, pdb::EndOfFile, pdb::NotFound, pdb::Truncated, pdb::Shrunk};
    std::set<int32_t> seen;
    for (int round = 0; round < 300; ++round) {
        int32_t end = 0;
        walk(&end);
        seen.insert(end);
        seen.insert(m_store.PDB_FindNumberPHB(m_handle, u"0%1"_s.arg(1 + round % kEntries)));
        seen.insert(m_store.PDB_Find(m_handle, u"Entry 29"_s, 1, 5));
        seen.insert(m_store.PDB_GetRecord(m_handle, 1 + (round * 7) % kEntries));
    }
    ::kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status)) << "the other program ran all along";
    for (const int32_t code : seen)
        EXPECT_TRUE(expected.count(code) == 1) << code;

    ASSERT_TRUE(WriteFile(m_path, m_full));
    int32_t end = 0;
    EXPECT_EQ(walk(&end).size(), kEntries);
    EXPECT_EQ(end, pdb::EndOfFile);
    EXPECT_EQ(findNumber(u"0299"_s), u"Entry 299"_s);
}

} // namespace
