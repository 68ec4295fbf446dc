// What a killed process, a damaged file and a second program do to a table: committed records survive a
// kill at any moment, torn appends are cut off, files that are no table of ours fail with their code and
// stay as they are, and an open table is locked.

#include "tests/platform/pdbstore/PdbTestSupport.h"

#include <QDir>
#include <QFile>

#include <csignal>
#include <cstring>
#include <random>
#include <vector>

#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace pdbtest;

namespace {

Entry numbered(double key) {
    return Named(u"Entry %1"_s.arg(key), u"0%1"_s.arg(key));
}

uint32_t headerCount(const QByteArray& bytes) {
    uint32_t count = 0;
    std::memcpy(&count, bytes.constData() + 4, 4);
    return count;
}

// A table of three entries, closed.
class PdbRepairTest : public TableFixture {
protected:
    void SetUp() override {
        TableFixture::SetUp();
        ASSERT_EQ(createAndOpen(pdb::DiskBook), pdb::Ok);
        for (int i = 1; i <= 3; ++i)
            put(numbered(i));
        close();
        m_clean = ReadFile(m_path);
        ASSERT_EQ(m_clean.size(), kHeaderSize + 3 * kRecordSize + 1);
    }
    QByteArray record(int number) const {
        return m_clean.mid(kHeaderSize + (number - 1) * kRecordSize, kRecordSize);
    }
    QByteArray withByte(int at, char value) const {
        QByteArray bytes = m_clean;
        bytes[at] = value;
        return bytes;
    }
    // A child that appends entries (and rewrites each under its key, so that the name carries it) as fast
    // as it can and reports each committed key on the pipe; it is killed after `reports` reports.
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
            for (;;) {
                Block block = ToBlock(numbered(0));
                if (store.PDB_PutRecordPHB(handle, block.data()) != pdb::Ok)
                    ::_exit(3);
                double key = 0;
                std::memcpy(&key, block.data(), sizeof key);
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
    QByteArray m_clean;
};

TEST_F(PdbRepairTest, EveryReportedRecordSurvivesAKillAtAnyMoment) {
    std::vector<double> committed{1, 2, 3};
    for (int round = 0; round < 27; ++round) {
        SCOPED_TRACE(round);
        const std::vector<double> keys = runAndKill((round * 7) % 45); // kills early and late in a run
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
        ASSERT_EQ(findNumber(numbered(committed.back()).number), numbered(committed.back()).name);
        close();
        const QByteArray repaired = ReadFile(m_path);
        EXPECT_EQ(repaired.size(), kHeaderSize + qsizetype(headerCount(repaired)) * kRecordSize + 1);
        EXPECT_EQ(repaired.back(), '\x1a');
    }
    QString output;
    const QString script =
        u"t = dbfread.DBF(sys.argv[1], load=True)\nprint(len(t.records) + len(t.deleted))"_s;
    if (RunPython(u"dbfread"_s, script, {m_path}, output) == Python::Ran) {
        EXPECT_EQ(output.trimmed().toUInt(), headerCount(ReadFile(m_path))) << "dbfread reads every record";
    }
}

TEST_F(PdbRepairTest, WhatAnInterruptedAppendLeftIsTidiedAtOpen) {
    QByteArray record4 = record(3); // key, name and number of entry 4
    record4[10] = '4';
    record4[1 + 10 + 6] = '4';
    record4[1 + 10 + 50 + 50 + 10 + 50 + 127 + 1] = '4';
    QByteArray four = m_clean.chopped(1) + record4 + '\x1a';
    four[4] = 4;
    // In this order each leaves index files of a table that differs in size from the next case's.
    const std::tuple<const char*, QByteArray, QByteArray> cases[] = {
        {"a whole record behind the count", m_clean.chopped(1) + record4 + '\x1a', four},
        {"a torn record at the end", m_clean.chopped(1) + record(2).left(200), m_clean},
        {"no end marker", m_clean.chopped(1), m_clean},
        {"bytes behind the end marker", m_clean + QByteArray(2 * kRecordSize, 'x'), m_clean}};
    for (const auto& [what, bytes, repaired] : cases) {
        SCOPED_TRACE(what);
        ASSERT_TRUE(WriteFile(m_path, bytes));
        ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
        const int32_t count = int32_t(headerCount(repaired));
        EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), count);
        EXPECT_EQ(findNumber(numbered(count).number), numbered(count).name);
        EXPECT_EQ(findKey(count), numbered(count).name);
        close();
        const QByteArray left = ReadFile(m_path);
        EXPECT_EQ(left.left(1) + left.mid(4), repaired.left(1) + repaired.mid(4))
            << "up to the header's date";
        ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
        EXPECT_EQ(put(numbered(0)), count + 1);
        close();
    }
}

TEST_F(PdbRepairTest, EachKindOfDamageHasItsCodeAndLeavesTheFileAsItIs) {
    const auto expectRefused = [&](const QByteArray& bytes, int32_t code, const char* what) {
        SCOPED_TRACE(what);
        ASSERT_TRUE(WriteFile(m_path, bytes));
        for (const int32_t type : {pdb::TelephoneBook, pdb::DiskBook}) {
            int32_t handle = 5;
            EXPECT_EQ(m_store.PDB_Open(handle, m_path, type), code);
            EXPECT_EQ(handle, 0);
        }
        EXPECT_EQ(ReadFile(m_path), bytes);
    };
    expectRefused(QByteArray(), pdb::NotDbase, "empty");
    expectRefused(QByteArray("\x03\x7c\x01\x01\x00\x00\x00\x00\x01\x02", 10), pdb::NotDbase, "10 bytes");
    expectRefused(m_clean.left(31), pdb::NotDbase, "header cut");
    expectRefused(m_clean.left(kHeaderSize - 1), pdb::NotDbase, "descriptors cut");
    expectRefused(withByte(0, 0x30), pdb::NotDbase, "Visual FoxPro");
    expectRefused(withByte(10, 0x12), pdb::NotDbase, "record size not the sum of the widths");
    expectRefused(withByte(9, 0x7f), pdb::NotDbase, "header beyond the file");
    expectRefused(withByte(32 + 16, 11), pdb::NotDbase, "a width that the record size does not have");
    expectRefused(withByte(32 + 32 + 11, 'M'), pdb::WrongLayout, "NAME a memo");
    expectRefused(withByte(32 + 32 + 1, 'O'), pdb::WrongLayout, "NOME");
    expectRefused(withByte(32 + 17, 2), pdb::WrongLayout, "RECORDKEY with decimals");
    expectRefused(m_clean.left(m_clean.size() - 1 - kRecordSize), pdb::Truncated, "one record missing");
    expectRefused(m_clean.chopped(2), pdb::Truncated, "the last record one byte short");
    std::mt19937 random(7);
    for (int round = 0; round < 30; ++round) {
        QByteArray garbage(int(random() % 4000), '\0');
        for (char& c : garbage)
            c = char(random());
        if (round % 2 == 0 && garbage.size() > 0)
            garbage[0] = 0x03;
        expectRefused(garbage, pdb::NotDbase, "random bytes");
    }

    ASSERT_TRUE(WriteFile(m_path, m_clean));
    ASSERT_TRUE(QFile::setPermissions(m_path, QFileDevice::ReadOwner));
    if (::access(QFile::encodeName(m_path).constData(), W_OK) != 0) { // not so for root
        int32_t handle = 0;
        EXPECT_EQ(m_store.PDB_Open(handle, m_path, pdb::DiskBook), pdb::CannotOpen);
    }

    QString output;
    m_path = path(u"other.dbf"_s);
    const QString script = u"t = dbf.Table(sys.argv[1], 'NAME C(50); CITY C(20)', dbf_type='db3')\n"
                           "t.open(dbf.READ_WRITE)\nt.append(('x', 'y'))\nt.close()\n"_s;
    if (RunPython(u"dbf"_s, script, {m_path}, output) == Python::Ran)
        expectRefused(ReadFile(m_path), pdb::WrongLayout, "a dBase table of two other columns");
}

TEST_F(PdbRepairTest, AProcessKilledWhileItCreatesATableLeavesNothingInTheWay) {
    // The child dies at its first byte written (the file size limit's signal), that is between the making
    // of the file and the writing of its header.
    for (const int32_t type : {pdb::DiskBook, pdb::CallLog}) {
        SCOPED_TRACE(type);
        const QString table = path(u"new%1.dbf"_s.arg(type));
        const pid_t child = ::fork();
        if (child == 0) {
            const rlimit none{0, 0};
            ::signal(SIGXFSZ, SIG_DFL);
            pdb::PdbStore store;
            if (::setrlimit(RLIMIT_CORE, &none) != 0 || ::setrlimit(RLIMIT_FSIZE, &none) != 0 ||
                store.PDB_Init() != pdb::Ok)
                ::_exit(2);
            store.PDB_Create(table, 1, type);
            ::_exit(3);
        }
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGXFSZ) << "status " << status;

        // The next start: the open finds nothing, the create and the open succeed.
        int32_t handle = 0;
        EXPECT_EQ(m_store.PDB_Open(handle, table, type), pdb::FileNotFound);
        ASSERT_EQ(m_store.PDB_Create(table, 1, type), pdb::Ok);
        ASSERT_EQ(m_store.PDB_Open(handle, table, type), pdb::Ok);
        EXPECT_EQ(m_store.PDB_GetNumRecords(handle), 0);
        EXPECT_EQ(m_store.PDB_Close(handle), pdb::Ok);
        const QStringList left = QDir(m_dir.path()).entryList({u"new%1*"_s.arg(type)}, QDir::Files);
        EXPECT_EQ(left.join(u' '),
                  type == pdb::CallLog ? u"new2.dbf new2i0.ndx"_s : u"new4.dbf new4i0.ndx new4i1.nde"_s);
    }
}

TEST_F(PdbRepairTest, AnOpenTableIsLockedAgainstOtherPrograms) {
    ASSERT_EQ(reopen(pdb::DiskBook), pdb::Ok);
    const pid_t child = ::fork();
    if (child == 0) {
        pdb::PdbStore other;
        int32_t handle = 0;
        ::_exit(other.PDB_Init() == pdb::Ok && other.PDB_Open(handle, m_path, pdb::DiskBook) == pdb::InUse
                    ? 0
                    : 1);
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
