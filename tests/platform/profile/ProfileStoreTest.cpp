#include "platform/profile/ProfileStore.h"

#include "platform/Clock.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <thread>
#include <vector>

namespace {

// The bytes of a string literal, NULs included.
template <size_t N> QByteArray raw(const char (&text)[N]) {
    return QByteArray(text, qsizetype(N - 1));
}

class ProfileStoreTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_dir.isValid());
        m_store.problemReport = [this](const ProfileProblem& problem) {
            m_reports << problem.text;
            m_problems.push_back(problem);
        };
    }
    QString path(const QString& name = QStringLiteral("Morva.ini")) const { return m_dir.filePath(name); }
    void put(const QByteArray& bytes, const QString& name = QStringLiteral("Morva.ini")) const {
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(bytes);
    }
    QByteArray contents(const QString& name = QStringLiteral("Morva.ini")) const {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    QString str(const QString& section, const QString& key, const QString& def = QStringLiteral("none")) {
        return m_store.GetPrivateProfileString(section, key, def, path());
    }
    int32_t num(const QString& key, int32_t def = -99) {
        return m_store.GetPrivateProfileInt(QStringLiteral("Setup"), key, def, path());
    }
    bool write(const QString& section, const QString& key, const QString& value) {
        return m_store.WritePrivateProfileString(section, key, value, path());
    }

    QTemporaryDir m_dir;
    ManualClock m_clock{QDateTime(QDate(2026, 2, 3), QTime(14, 5, 6))};
    ProfileStore m_store{&m_clock};
    QStringList m_reports;
    std::vector<ProfileProblem> m_problems;
};

const QString kSetup = QStringLiteral("Setup");

TEST_F(ProfileStoreTest, SectionsAndKeysAreFoundWithoutRegardToCaseAndFirstKeyWins) {
    put("[SETUP]\nCom Port = 4\ncom port=5\n  Fenster Left  =  120  \n[Größe]\nÄnderung=ja\n");
    EXPECT_EQ(num(QStringLiteral("com PORT")), 4);
    EXPECT_EQ(num(QStringLiteral("Fenster Left")), 120);
    EXPECT_EQ(str(QStringLiteral("GRÖßE"), QStringLiteral("änderung")), QStringLiteral("ja"));
    EXPECT_EQ(str(QStringLiteral("GRÖSSE"), QStringLiteral("änderung")), QStringLiteral("none"))
        << "ß and SS are different names, as on Windows";
    EXPECT_EQ(m_store.SectionKeys(QStringLiteral("setup"), path()),
              QStringList({QStringLiteral("Com Port"), QStringLiteral("Fenster Left")}));
    EXPECT_TRUE(write(QStringLiteral("setup"), QStringLiteral("COM PORT"), QStringLiteral("7")));
    EXPECT_EQ(contents(),
              "[SETUP]\nCom Port=7\ncom port=5\n  Fenster Left  =  120  \n[Größe]\nÄnderung=ja\n");
}

TEST_F(ProfileStoreTest, MissingFileSectionOrKeyGivesTheDefault) {
    EXPECT_EQ(num(QStringLiteral("MSNAnzahl"), 3), 3);
    EXPECT_EQ(str(kSetup, QStringLiteral("LandesCode"), QStringLiteral("49")), QStringLiteral("49"));
    EXPECT_EQ(str(kSetup, QStringLiteral("X"), QStringLiteral("ab  ")), QStringLiteral("ab"));
    EXPECT_TRUE(m_store.SectionKeys(kSetup, path()).isEmpty());
    EXPECT_FALSE(QFile::exists(path())) << "reading never creates the file";
    put("[Setup]\nMSNAnzahl=5\nEmpty=\n");
    EXPECT_EQ(num(QStringLiteral("Missing"), 3), 3);
    EXPECT_EQ(str(QStringLiteral("Main"), QStringLiteral("MSNAnzahl")), QStringLiteral("none"));
    EXPECT_EQ(num(QStringLiteral("Empty"), 8), 8) << "an empty value reads as the default number";
    EXPECT_EQ(str(kSetup, QStringLiteral("Empty")), QString());
    EXPECT_TRUE(m_reports.isEmpty());
}

TEST_F(ProfileStoreTest, NumbersAreTheLeadingSignedDecimal) {
    put("[Setup]\na=-5\nb=+7\nc= 12 \nd=3abc\ne=abc\nf=  -12abc\ng=4294967297\nh=2147483648\n"
        "i=\"42\"\nj=0x10\nk=--3\n");
    EXPECT_EQ(num(QStringLiteral("a")), -5);
    EXPECT_EQ(num(QStringLiteral("b")), 7);
    EXPECT_EQ(num(QStringLiteral("c")), 12);
    EXPECT_EQ(num(QStringLiteral("d")), 3);
    EXPECT_EQ(num(QStringLiteral("e")), 0);
    EXPECT_EQ(num(QStringLiteral("f")), -12);
    EXPECT_EQ(num(QStringLiteral("g")), 1) << "wraps at 32 bits";
    EXPECT_EQ(num(QStringLiteral("h")), INT32_MIN);
    EXPECT_EQ(num(QStringLiteral("i")), 42);
    EXPECT_EQ(num(QStringLiteral("j")), 0);
    EXPECT_EQ(num(QStringLiteral("k")), 0);
}

TEST_F(ProfileStoreTest, StringsAreTrimmedUnquotedOnceAndCutAt255) {
    const QByteArray longValue(300, 'x');
    put("[Setup]\nq=  \"  spaced  \"  \nqq=\"\"twice\"\"\nhalf=\"open\nlong=" + longValue + "\nquoted=\"" +
        longValue + "\"\n");
    EXPECT_EQ(str(kSetup, QStringLiteral("q")), QStringLiteral("  spaced  "));
    EXPECT_EQ(str(kSetup, QStringLiteral("qq")), QStringLiteral("\"twice\""));
    EXPECT_EQ(str(kSetup, QStringLiteral("half")), QStringLiteral("\"open"));
    EXPECT_EQ(str(kSetup, QStringLiteral("long")), QString(255, u'x'));
    EXPECT_EQ(str(kSetup, QStringLiteral("quoted")), QString(255, u'x'));
    EXPECT_EQ(str(kSetup, QStringLiteral("none"), QString(300, u'y')).size(), 255);
}

TEST_F(ProfileStoreTest, WritesKeepOrderCommentsUnknownKeysAndLineEndings) {
    put("; Morva settings\r\n\r\n[Setup]\r\nCom Port=1\r\nUnknown=kept\r\n\r\n[Main]\r\n; window\r\n"
        "WidthEx=8240\r\n");
    EXPECT_TRUE(write(kSetup, QStringLiteral("USETAPI"), QStringLiteral("0")));
    EXPECT_TRUE(write(QStringLiteral("main"), QStringLiteral("WidthEx"), QStringLiteral("9000")));
    EXPECT_TRUE(write(QStringLiteral("Nummern"), QStringLiteral("Nummer1"), QStringLiteral("089 123")));
    EXPECT_EQ(contents(), "; Morva settings\r\n\r\n[Setup]\r\nCom Port=1\r\nUnknown=kept\r\nUSETAPI=0\r\n\r\n"
                          "[Main]\r\n; window\r\nWidthEx=9000\r\n[Nummern]\r\nNummer1=089 123\r\n");
    EXPECT_EQ(str(QStringLiteral("NUMMERN"), QStringLiteral("nummer1")), QStringLiteral("089 123"));

    EXPECT_TRUE(QFile::remove(path()));
    EXPECT_TRUE(write(kSetup, QStringLiteral("Prefix"), QStringLiteral("line\nbreak")));
    EXPECT_EQ(contents(), "[Setup]\nPrefix=line break\n") << "a new file gets LF";
    EXPECT_FALSE(write(kSetup, QStringLiteral("a=b"), QStringLiteral("1")));
    EXPECT_FALSE(write(QStringLiteral("x]y"), QStringLiteral("a"), QStringLiteral("1")));
}

TEST_F(ProfileStoreTest, ManyKeysInOneWriteActAsSingleWritesInOrder) {
    put("[MSN]\r\nstrMSN1=1\r\n; mine\r\nOld=x\r\n\r\n[Sonst]\r\nintCLIR=0\r\n");
    const std::vector<ProfileStore::KeyValue> keys = {
        {QStringLiteral("MSN"), QStringLiteral("strMSN1"), QStringLiteral("5551")},
        {QStringLiteral("MSN"), QStringLiteral("exMSN1"), QStringLiteral("-1")},
        {QStringLiteral("Ziel"), QStringLiteral("strZielwahl0"), QString::fromUtf8("Büro")},
        {QStringLiteral("msn"), QStringLiteral("OLD"), QString()},
        {QStringLiteral("Sonst"), QStringLiteral("INTclir"), QStringLiteral("1")},
        {QStringLiteral("MSN"), QStringLiteral("strMSN2"), QStringLiteral("")},
        {QStringLiteral("Ziel"), QStringLiteral("exZielwahl0"), QStringLiteral("0")},
    };
    EXPECT_TRUE(m_store.WritePrivateProfileStrings(keys, path()));
    EXPECT_EQ(contents(),
              "[MSN]\r\nstrMSN1=5551\r\n; mine\r\nexMSN1=-1\r\nstrMSN2=\r\n\r\n[Sonst]\r\nintCLIR=1\r\n"
              "[Ziel]\r\nstrZielwahl0=B\xc3\xbcro\r\nexZielwahl0=0\r\n");
    EXPECT_EQ(str(QStringLiteral("MSN"), QStringLiteral("strMSN2")), QString())
        << "an empty value is a value";
    EXPECT_FALSE(
        m_store.WritePrivateProfileStrings({{kSetup, QStringLiteral("a=b"), QStringLiteral("1")}}, path()));
}

TEST_F(ProfileStoreTest, RemovingAKeyAndASection) {
    put("[Actions]\nAnzahl=2\nAction1 Nbst=1\nanzahl=9\n\n[Main]\nS00=700\n[actions]\nAction2 Typ=8\n");
    EXPECT_TRUE(write(QStringLiteral("Actions"), QStringLiteral("ANZAHL"), QString()));
    EXPECT_EQ(m_store.GetPrivateProfileInt(QStringLiteral("Actions"), QStringLiteral("Anzahl"), 0, path()),
              0);
    EXPECT_TRUE(write(QStringLiteral("Actions"), QStringLiteral("NotThere"), QString()));
    EXPECT_TRUE(write(QStringLiteral("Nowhere"), QStringLiteral("NotThere"), QString()));
    EXPECT_EQ(contents(), "[Actions]\nAction1 Nbst=1\n\n[Main]\nS00=700\n[actions]\nAction2 Typ=8\n");
    EXPECT_TRUE(m_store.DeleteSection(QStringLiteral("ACTIONS"), path()));
    EXPECT_EQ(contents(), "[Main]\nS00=700\n");
    EXPECT_TRUE(m_store.SectionKeys(QStringLiteral("Actions"), path()).isEmpty());
    EXPECT_TRUE(m_store.DeleteSection(QStringLiteral("Gone"), path()));
}

TEST_F(ProfileStoreTest, AFailedWriteLeavesTheOldFileIntact) {
    put("[Setup]\nCom Port=2\n");
    const QByteArray before = contents();
    // Files may not grow beyond 64 bytes, so the new content cannot be completed on disk.
    rlimit old{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit small = old;
    small.rlim_cur = 64;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const bool written = write(kSetup, QStringLiteral("Big"), QString(200, u'z'));
    setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, oldHandler);
    EXPECT_FALSE(written);
    EXPECT_EQ(contents(), before);
    EXPECT_EQ(QDir(m_dir.path()).entryList(QDir::Files), QStringList(QStringLiteral("Morva.ini")));
    EXPECT_EQ(num(QStringLiteral("Big"), 5), 5);
    EXPECT_EQ(num(QStringLiteral("Com Port")), 2);

    ASSERT_TRUE(QDir(m_dir.path()).mkdir(QStringLiteral("Dir.ini")));
    EXPECT_FALSE(m_store.WritePrivateProfileString(kSetup, QStringLiteral("a"), QStringLiteral("1"),
                                                   path(QStringLiteral("Dir.ini"))));
    EXPECT_FALSE(m_store.WritePrivateProfileString(kSetup, QStringLiteral("a"), QStringLiteral("1"),
                                                   path(QStringLiteral("no/such/Morva.ini"))));
}

TEST_F(ProfileStoreTest, ABatchWritesOnceWhatReadsAlreadySee) {
    put("[Setup]\nCom Port=2\n");
    const QByteArray before = contents();
    {
        ProfileBatch outer(m_store, path());
        {
            ProfileBatch inner(m_store, path()); // batches nest: the outermost writes
            EXPECT_TRUE(write(kSetup, QStringLiteral("Com Port"), QStringLiteral("3")));
            EXPECT_TRUE(write(QStringLiteral("Main"), QStringLiteral("WidthEx"), QStringLiteral("8240")));
        }
        EXPECT_EQ(contents(), before) << "nothing on disk before the batch ends";
        EXPECT_EQ(num(QStringLiteral("Com Port")), 3) << "reads see the batch";
        EXPECT_TRUE(outer.commit());
    }
    EXPECT_EQ(contents(), QByteArray("[Setup]\nCom Port=3\n[Main]\nWidthEx=8240\n"));

    // A batch whose file cannot be written fails at its end and leaves what is on disk to be read.
    ASSERT_TRUE(QDir(m_dir.path()).mkdir(QStringLiteral("sub")));
    const QString gone = path(QStringLiteral("sub/Morva.ini"));
    ProfileBatch batch(m_store, gone);
    EXPECT_TRUE(m_store.WritePrivateProfileString(kSetup, QStringLiteral("a"), QStringLiteral("1"), gone));
    ASSERT_TRUE(QDir(path(QStringLiteral("sub"))).removeRecursively());
    EXPECT_FALSE(batch.commit());
    EXPECT_EQ(m_store.GetPrivateProfileInt(kSetup, QStringLiteral("a"), 7, gone), 7);
}

TEST_F(ProfileStoreTest, AReadOnlyFolderRefusesTheWrite) {
    if (geteuid() == 0)
        GTEST_SKIP() << "root writes into read-only folders";
    put("[Setup]\nCom Port=2\n");
    QFile::setPermissions(m_dir.path(), QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    EXPECT_FALSE(write(kSetup, QStringLiteral("Com Port"), QStringLiteral("3")));
    QFile::setPermissions(m_dir.path(),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    EXPECT_EQ(contents(), "[Setup]\nCom Port=2\n");
}

TEST_F(ProfileStoreTest, FilesThatAreNotUtf8AreReadAsWindows1252AndWrittenAsUtf8) {
    put("[Setup]\r\nName=\xE4\xFC\r\nSign=\x80 \x9F\r\n");
    EXPECT_EQ(str(kSetup, QStringLiteral("Name")), QStringLiteral("äü"));
    EXPECT_EQ(str(kSetup, QStringLiteral("Sign")), QStringLiteral("€ Ÿ"));
    EXPECT_TRUE(write(kSetup, QStringLiteral("Ort"), QStringLiteral("Köln")));
    EXPECT_EQ(contents(),
              "[Setup]\r\nName=\xC3\xA4\xC3\xBC\r\nSign=\xE2\x82\xAC \xC5\xB8\r\nOrt=K\xC3\xB6ln\r\n");

    put("\xEF\xBB\xBF[Setup]\nName=\xC3\xA4\n");
    EXPECT_EQ(str(kSetup, QStringLiteral("Name")), QStringLiteral("ä")) << "a byte order mark is skipped";
    EXPECT_TRUE(write(kSetup, QStringLiteral("Name"), QStringLiteral("ö")));
    EXPECT_EQ(contents(), "[Setup]\nName=\xC3\xB6\n") << "and not written";
    EXPECT_TRUE(m_reports.isEmpty());
}

// A damaged file is read for what it still holds. Each row: the file, what is kept of it (as KeepDamaged
// writes it back), and how many of its lines are left out.
TEST_F(ProfileStoreTest, ADamagedFileKeepsTheLinesThatCanBeTrustedWithTheirSections) {
    const struct {
        const char* what;
        QByteArray file;
        QByteArray kept;
        int lines, dropped;
    } rows[] = {
        {"a NUL in a value loses that key only",
         raw("[Setup]\nCom Port=4\nErrorLog=\0"
             "1\nMSNAnzahl=5\n[Main]\nWidthEx=9000\n"),
         "[Setup]\nCom Port=4\nMSNAnzahl=5\n[Main]\nWidthEx=9000\n", 6, 1},
        {"a broken header loses its keys up to the next whole header; comments and blank lines stay",
         raw("[Setup]\nA=1\n[Ma\0in]\nWidthEx=9000\nS00=700\n; note\n\n[Provider]\nLastProvider=x\n"),
         "[Setup]\nA=1\n; note\n\n[Provider]\nLastProvider=x\n", 9, 3},
        {"a header swallowed into a broken key line: its keys are not taken for the section above",
         raw("[Setup]\nA=1\0\0[PhoneBook]\nAnzahl=3\n[Main]\nB=2\n"), "[Setup]\n[Main]\nB=2\n", 5, 2},
        {"garbage before a key name; UTF-8 lines around it stay UTF-8",
         raw("[Setup]\nOrt=K\xC3\xB6ln\n\xFF\xFE\x01\x02garbage\nName=M\xC3\xBCller\n[Main]\nB=2\n"),
         "[Setup]\nOrt=K\xC3\xB6ln\n[Main]\nB=2\n", 6, 2},
        {"stray text and keys before the first header go", raw("stray words\nX=1\n[Setup]\nA=1\n\x07\n"),
         "[Setup]\nA=1\n", 5, 3},
        {"a key line longer than 64 KiB loses that key only",
         "[Setup]\nlong=" + QByteArray(70000, 'x') + "\nA=1\n", "[Setup]\nA=1\n", 3, 1},
        {"a letter, not settings",
         "This is a letter, not settings.\nDear user,\n" + QByteArray(100, 'a') + "\n", "", 3, 3},
        {"a Windows-1252 file with CR LF keeps both", raw("[Setup]\r\nName=M\xFCller\r\nX=\0\r\n"),
         "[Setup]\r\nName=M\xC3\xBCller\r\n", 3, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        put(row.file);
        m_problems.clear();
        str(kSetup, QStringLiteral("A")); // reads the file
        ASSERT_EQ(m_problems.size(), 1u);
        EXPECT_EQ(m_problems[0].kind, ProfileProblem::Kind::Damaged);
        EXPECT_EQ(m_problems[0].lines, row.lines);
        EXPECT_EQ(m_problems[0].droppedLines, row.dropped);
        EXPECT_TRUE(m_problems[0].text.contains(path()));
        const QString kept = m_store.KeepDamaged(path());
        ASSERT_FALSE(kept.isEmpty());
        EXPECT_EQ(contents(), row.kept);
        EXPECT_EQ(contents(QFileInfo(kept).fileName()), row.file) << "the damaged file is kept whole";
    }
    // What was kept reads as it did in the damaged file: the Windows-1252 line of the last row.
    EXPECT_EQ(str(kSetup, QStringLiteral("Name")), QStringLiteral("Müller"));
    EXPECT_TRUE(m_store.KeepDamaged(path()).isEmpty()) << "a sound file is not damaged";
}

TEST_F(ProfileStoreTest, ADamagedFileIsReadAsRecoveredAndKeptAsideUnderItsOwnNameAtTheFirstWrite) {
    const QByteArray damaged = raw("[Setup]\nCom Port=9\nMSNAnzahl=\0\0\n[Main]\nWidthEx=9000\n");
    put(damaged);
    EXPECT_EQ(num(QStringLiteral("Com Port"), 1), 9);
    EXPECT_EQ(num(QStringLiteral("MSNAnzahl"), 3), 3) << "the broken key reads as missing";
    EXPECT_EQ(str(QStringLiteral("Main"), QStringLiteral("WidthEx")), QStringLiteral("9000"));
    ASSERT_EQ(m_problems.size(), 1u) << "reported once while the file is unchanged";

    EXPECT_TRUE(write(kSetup, QStringLiteral("Gone"), QString())) << "nothing to change: left alone";
    EXPECT_EQ(contents(), damaged);
    EXPECT_TRUE(write(kSetup, QStringLiteral("Com Port"), QStringLiteral("2")));
    EXPECT_EQ(contents(), "[Setup]\nCom Port=2\n[Main]\nWidthEx=9000\n");
    const QString first = QStringLiteral("Morva.ini.20260203-140506.bad");
    EXPECT_EQ(contents(first), damaged);
    ASSERT_EQ(m_problems.size(), 2u);
    EXPECT_EQ(m_problems[1].kind, ProfileProblem::Kind::KeptAside);
    EXPECT_EQ(m_problems[1].keptAs, path(first));
    EXPECT_TRUE(m_problems[1].text.contains(path(first)));

    // Damaged again within the same second, and a minute later: each copy gets a name of its own.
    const QByteArray second = raw("[Setup]\n\0\n");
    put(second);
    EXPECT_TRUE(write(kSetup, QStringLiteral("Com Port"), QStringLiteral("3")));
    EXPECT_EQ(contents(QStringLiteral("Morva.ini.20260203-140506-2.bad")), second);
    EXPECT_EQ(contents(first), damaged) << "an earlier copy is never written over";
    m_clock.advance(std::chrono::minutes(1));
    put(second + "x");
    EXPECT_FALSE(m_store.KeepDamaged(path()).isEmpty());
    EXPECT_EQ(contents(QStringLiteral("Morva.ini.20260203-140606.bad")), second + "x");

    m_problems.clear();
    put("\n  \n");
    EXPECT_EQ(num(QStringLiteral("Com Port"), 1), 1);
    EXPECT_TRUE(m_problems.empty()) << "blank is empty, not damaged";
}

TEST_F(ProfileStoreTest, ADamagedFileThatCannotBeKeptIsNotWrittenOver) {
    // Every name a kept copy could take this second is taken.
    for (int n = 1; n <= 1000; ++n)
        put("taken", n == 1 ? QStringLiteral("Morva.ini.20260203-140506.bad")
                            : QStringLiteral("Morva.ini.20260203-140506-%1.bad").arg(n));
    const QByteArray damaged = raw("[Setup]\nA=\0\nB=2\n");
    put(damaged);
    EXPECT_EQ(num(QStringLiteral("B")), 2);
    EXPECT_TRUE(m_store.KeepDamaged(path()).isEmpty());
    EXPECT_FALSE(write(kSetup, QStringLiteral("B"), QStringLiteral("3")));
    EXPECT_EQ(contents(), damaged);
    EXPECT_EQ(contents(QStringLiteral("Morva.ini.20260203-140506-7.bad")), "taken");
    ASSERT_FALSE(m_problems.empty());
    EXPECT_EQ(m_problems.back().kind, ProfileProblem::Kind::NotKept);
}

TEST_F(ProfileStoreTest, ControlCharactersAreNeverWritten) {
    EXPECT_TRUE(write(kSetup, QStringLiteral("Note"),
                      QStringLiteral("a\tb\x1b"
                                     "c\rd\ne")));
    EXPECT_FALSE(write(kSetup, QStringLiteral("Bad\x07Key"), QStringLiteral("1")));
    EXPECT_EQ(contents(), "[Setup]\nNote=a\tb c d e\n");
    EXPECT_TRUE(m_problems.empty()) << "what the store writes it reads as sound";
}

TEST_F(ProfileStoreTest, TheKeptCopySeesChangesMadeOutside) {
    put("[Setup]\nCom Port=1\n");
    EXPECT_EQ(num(QStringLiteral("Com Port")), 1);
    put("[Setup]\nCom Port=12\n"); // other size
    EXPECT_EQ(num(QStringLiteral("Com Port")), 12);
    {
        QFile file(path()); // same size, same content length: the modification time tells
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        file.write("[Setup]\nCom Port=34\n");
        ASSERT_TRUE(
            file.setFileTime(QDateTime::currentDateTime().addSecs(5), QFileDevice::FileModificationTime));
    }
    EXPECT_EQ(num(QStringLiteral("Com Port")), 34);
    EXPECT_TRUE(write(kSetup, QStringLiteral("Com Port"), QStringLiteral("5")));
    {
        QFile file(path()); // right after our own write, same size and inode
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        file.write("[Setup]\nCom Port=6\n");
        ASSERT_TRUE(
            file.setFileTime(QDateTime::currentDateTime().addSecs(10), QFileDevice::FileModificationTime));
    }
    EXPECT_EQ(num(QStringLiteral("Com Port")), 6);
    QFile::remove(path());
    EXPECT_EQ(num(QStringLiteral("Com Port")), -99);
}

TEST_F(ProfileStoreTest, ConcurrentWritersAreSerialised) {
    std::vector<std::thread> writers;
    for (int t = 0; t < 4; ++t) {
        writers.emplace_back([this, t] {
            for (int i = 0; i < 20; ++i)
                write(kSetup, QStringLiteral("T%1_%2").arg(t).arg(i), QString::number(i));
        });
    }
    for (std::thread& writer : writers)
        writer.join();
    EXPECT_EQ(m_store.SectionKeys(kSetup, path()).size(), 80);
}

} // namespace
