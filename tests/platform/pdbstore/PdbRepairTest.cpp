// What a killed process, a damaged file and a second program do to a table: committed records survive a
// kill at any moment, torn appends are cut off, files that are no table of ours fail with their code and
// stay as they are, and an open table is locked.

#include "PdbTestSupport.h"

#include <QFile>

#include <cstring>
#include <random>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace pdbtest;

namespace {

constexpr int kHeaderSize = 32 + 15 * 32 + 1;
constexpr int kRecordSize = 631;

Entry numbered(double key) {
    Entry e;
    e.name = QStringLiteral("Entry %1").arg(key);
    e.number = QStringLiteral("0%1").arg(key);
    return e;
}

uint32_t headerCount(const QByteArray& bytes) {
    uint32_t count = 0;
    std::memcpy(&count, bytes.constData() + 4, 4);
    return count;
}

// A file that is a sound table: the header's count matches the records, the end marker follows them.
void expectConsistent(const QByteArray& bytes) {
    ASSERT_GE(bytes.size(), kHeaderSize + 1);
    EXPECT_EQ(bytes.size(), kHeaderSize + qsizetype(headerCount(bytes)) * kRecordSize + 1);
    EXPECT_EQ(bytes.back(), '\x1a');
}

// The record count dbfread sees (deleted ones included), or -1 when it is not installed.
int dbfreadCount(const QString& path) {
    QString output;
    bool missing = false;
    const QString script = QStringLiteral("import sys, dbfread\nt = dbfread.DBF(sys.argv[1], "
                                          "load=True)\nprint(len(t.records) + len(t.deleted))");
    if (!RunPython(QStringLiteral("dbfread"), script, {path}, output, missing)) {
        if (!missing)
            ADD_FAILURE() << output.toStdString();
        return -1;
    }
    return output.trimmed().toInt();
}

// ---- A process killed while it writes

class PdbCrashTest : public TableFixture {
protected:
    // A child that appends entries (and now and then rewrites one) as fast as it can and reports each
    // committed key on the pipe; the test kills it after `reports` reports.
    std::vector<double> runAndKill(int reports) {
        int pipeFds[2];
        EXPECT_EQ(::pipe(pipeFds), 0);
        const pid_t child = ::fork();
        if (child == 0) {
            ::close(pipeFds[0]);
            pdb::PdbStore store;
            int32_t handle = 0;
            if (store.PDB_Init() != pdb::Ok || store.PDB_Open(handle, m_path, pdb::DiskBook) != pdb::Ok)
                ::_exit(2);
            for (int i = 0;; ++i) {
                Block block = ToBlock(numbered(0));
                if (store.PDB_PutRecordPHB(handle, block.data()) != pdb::Ok)
                    ::_exit(3);
                double key = 0;
                std::memcpy(&key, block.data(), sizeof key);
                // The name must carry the key: rewrite the record under its key.
                block = ToBlock(numbered(key));
                std::memcpy(block.data(), &key, sizeof key);
                if (store.PDB_PutRecordPHB(handle, block.data()) != pdb::Ok)
                    ::_exit(4);
                if (::write(pipeFds[1], &key, sizeof key) != sizeof key)
                    ::_exit(5);
            }
        }
        ::close(pipeFds[1]);
        std::vector<double> keys;
        double key = 0;
        while (int(keys.size()) < reports && ::read(pipeFds[0], &key, sizeof key) == sizeof key)
            keys.push_back(key);
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status)) << "exit " << WEXITSTATUS(status);
        // What the child reported before it died was committed as well.
        while (::read(pipeFds[0], &key, sizeof key) == sizeof key)
            keys.push_back(key);
        ::close(pipeFds[0]);
        return keys;
    }
};

TEST_F(PdbCrashTest, EveryReportedRecordSurvivesAKillAtAnyMoment) {
    ASSERT_EQ(createAndOpen(pdb::DiskBook), pdb::Ok);
    put(numbered(1));
    ASSERT_EQ(m_store.PDB_Close(m_handle), pdb::Ok);
    m_handle = 0;
    std::vector<double> committed{1};
    for (int round = 0; round < 27; ++round) {
        const int reports = (round * 7) % 45; // kills early and late in a child's run
        SCOPED_TRACE(round);
        const std::vector<double> keys = runAndKill(reports);
        committed.insert(committed.end(), keys.begin(), keys.end());
        const QByteArray left = ReadFile(m_path);
        EXPECT_GE(left.size(), kHeaderSize + qsizetype(headerCount(left)) * kRecordSize + 1)
            << "the count never runs ahead of the records";

        ASSERT_EQ(m_store.PDB_Open(m_handle, m_path, pdb::DiskBook), pdb::Ok);
        EXPECT_GE(m_store.PDB_GetNumRecords(m_handle), int(committed.size()));
        for (const double key : committed) {
            ASSERT_EQ(m_store.PDB_FindIndexPHB(m_handle, key), pdb::Ok) << key;
            const Entry e = current();
            if (e.key != key || e.name != numbered(key).name)
                ADD_FAILURE() << key << " " << e.name.toStdString();
        }
        ASSERT_EQ(m_store.PDB_FindNumberPHB(m_handle, numbered(committed.back()).number), pdb::Ok);
        ASSERT_EQ(m_store.PDB_Close(m_handle), pdb::Ok);
        m_handle = 0;
        expectConsistent(ReadFile(m_path));
    }
    const int seen = dbfreadCount(m_path);
    if (seen >= 0) {
        EXPECT_EQ(seen, int(headerCount(ReadFile(m_path))));
    }
}

// ---- Repairs at open

class PdbRepairTest : public TableFixture {
protected:
    void SetUp() override {
        TableFixture::SetUp();
        ASSERT_EQ(createAndOpen(pdb::DiskBook), pdb::Ok);
        for (int i = 1; i <= 3; ++i)
            put(numbered(i));
        ASSERT_EQ(m_store.PDB_Close(m_handle), pdb::Ok);
        m_handle = 0;
        m_clean = ReadFile(m_path);
        ASSERT_EQ(m_clean.size(), kHeaderSize + 3 * kRecordSize + 1);
    }
    QByteArray record(int number) const {
        return m_clean.mid(kHeaderSize + (number - 1) * kRecordSize, kRecordSize);
    }
    QByteArray m_clean;
};

TEST_F(PdbRepairTest, ATornRecordAtTheEndIsCutOff) {
    QByteArray torn = m_clean.left(m_clean.size() - 1) + record(2).left(200);
    ASSERT_TRUE(WriteFile(m_path, torn));
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 3);
    EXPECT_EQ(ReadFile(m_path), m_clean.left(1) + ReadFile(m_path).mid(1, 3) + m_clean.mid(4))
        << "the file as it was, up to the date of the header";
    EXPECT_EQ(put(numbered(0)), 4);
}

TEST_F(PdbRepairTest, WholeRecordsBehindTheCountAreTakenIn) {
    QByteArray record4 = record(3);
    record4.replace(1, 10, "         4");
    QByteArray bytes = m_clean.left(m_clean.size() - 1) + record4 + '\x1a';
    ASSERT_TRUE(WriteFile(m_path, bytes)); // the count still says 3
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 4);
    EXPECT_EQ(m_store.PDB_FindIndexPHB(m_handle, 4), pdb::Ok);
    ASSERT_EQ(m_store.PDB_Close(m_handle), pdb::Ok);
    m_handle = 0;
    const QByteArray repaired = ReadFile(m_path);
    EXPECT_EQ(headerCount(repaired), 4u);
    expectConsistent(repaired);
}

TEST_F(PdbRepairTest, AMissingEndMarkerAndBytesAfterItAreTidied) {
    ASSERT_TRUE(WriteFile(m_path, m_clean.left(m_clean.size() - 1)));
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 3);
    ASSERT_EQ(m_store.PDB_Close(m_handle), pdb::Ok);
    m_handle = 0;
    expectConsistent(ReadFile(m_path));
    ASSERT_TRUE(WriteFile(m_path, m_clean + QByteArray(631 * 2, 'x')));
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 3) << "no record starts with 0x1a";
    ASSERT_EQ(m_store.PDB_Close(m_handle), pdb::Ok);
    m_handle = 0;
    expectConsistent(ReadFile(m_path));
}

// ---- Files that are no table of ours

class PdbCorruptionTest : public PdbRepairTest {
protected:
    void expectRefused(const QByteArray& bytes, int32_t code, const char* what) {
        SCOPED_TRACE(what);
        ASSERT_TRUE(WriteFile(m_path, bytes));
        for (const int32_t type : {pdb::TelephoneBook, pdb::DiskBook}) {
            int32_t handle = 5;
            EXPECT_EQ(m_store.PDB_Open(handle, m_path, type), code);
            EXPECT_EQ(handle, 0);
        }
        EXPECT_EQ(ReadFile(m_path), bytes) << "left as it is";
    }
    QByteArray withHeaderByte(int at, char value) const {
        QByteArray bytes = m_clean;
        bytes[at] = value;
        return bytes;
    }
};

TEST_F(PdbCorruptionTest, EachKindOfDamageHasItsCode) {
    expectRefused(QByteArray(), pdb::NotDbase, "empty");
    expectRefused(QByteArray("\x03\x7c\x01\x01\x00\x00\x00\x00\x01\x02", 10), pdb::NotDbase, "10 bytes");
    expectRefused(m_clean.left(31), pdb::NotDbase, "header cut");
    expectRefused(m_clean.left(kHeaderSize - 1), pdb::NotDbase, "descriptors cut");
    expectRefused(withHeaderByte(0, 0x30), pdb::NotDbase, "Visual FoxPro");
    expectRefused(withHeaderByte(10, 0x12), pdb::NotDbase, "record size not the sum of the widths");
    expectRefused(withHeaderByte(9, 0x7f), pdb::NotDbase, "header beyond the file");
    expectRefused(withHeaderByte(32 + 16, 11), pdb::NotDbase, "a width that the record size does not have");
    expectRefused(withHeaderByte(32 + 32 + 11, 'M'), pdb::WrongLayout, "NAME a memo");
    expectRefused(withHeaderByte(32 + 32 + 1, 'O'), pdb::WrongLayout, "NOME");
    expectRefused(m_clean.left(m_clean.size() - 1 - kRecordSize), pdb::Truncated, "one record missing");
    expectRefused(m_clean.left(m_clean.size() - 2), pdb::Truncated, "the last record one byte short");
    std::mt19937 random(7);
    for (int round = 0; round < 30; ++round) {
        QByteArray garbage(int(random() % 4000), '\0');
        for (char& c : garbage)
            c = char(random());
        if (round % 2 == 0 && garbage.size() > 0)
            garbage[0] = 0x03;
        expectRefused(garbage, pdb::NotDbase, "random bytes");
    }
}

TEST_F(PdbCorruptionTest, AValidTableOfOtherColumnsIsTheWrongLayout) {
    QString output;
    bool missing = false;
    const QString other = path(QStringLiteral("other.dbf"));
    const QString script = QStringLiteral("import sys, dbf\nt = dbf.Table(sys.argv[1], 'NAME C(50); CITY "
                                          "C(20)', dbf_type='db3')\nt.open(dbf.READ_WRITE)\n"
                                          "t.append(('x', 'y'))\nt.close()\n");
    if (!RunPython(QStringLiteral("dbf"), script, {other}, output, missing)) {
        if (missing)
            GTEST_SKIP() << "/usr/bin/python3 has no dbf";
        FAIL() << output.toStdString();
    }
    m_path = other;
    expectRefused(ReadFile(other), pdb::WrongLayout, "two columns");
}

TEST_F(PdbCorruptionTest, AFileThatCannotBeOpenedForWriting) {
    ASSERT_TRUE(QFile::setPermissions(m_path, QFileDevice::ReadOwner));
    if (::access(QFile::encodeName(m_path).constData(), W_OK) == 0)
        GTEST_SKIP() << "running as root";
    int32_t handle = 0;
    EXPECT_EQ(m_store.PDB_Open(handle, m_path, pdb::DiskBook), pdb::CannotOpen);
}

// ---- The lock

TEST_F(PdbRepairTest, AnOpenTableIsLockedAgainstOtherPrograms) {
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    const pid_t child = ::fork();
    if (child == 0) {
        pdb::PdbStore other;
        int32_t handle = 0;
        const bool refused =
            other.PDB_Init() == pdb::Ok && other.PDB_Open(handle, m_path, pdb::DiskBook) == pdb::InUse;
        ::_exit(refused ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the other program got InUse";

    int32_t second = 0;
    EXPECT_EQ(m_store.PDB_Open(second, m_path, pdb::DiskBook), pdb::InUse) << "once at a time, here too";
    EXPECT_EQ(second, 0);
    EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 3);
}

} // namespace
