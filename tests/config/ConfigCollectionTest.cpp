#include "config/colConfig.h"
#include "platform/Clock.h"
#include "platform/profile/ProfileStore.h"
#include "shell/base/Language.h"
#include "shell/base/Logs.h"
#include "shell/base/Settings.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

using Field = clsConfig::Field;

namespace {

// A data folder with its settings file and the configuration sets as the program builds them.
struct Sets {
    Sets() { settings.ErrorLogOn = 1; }

    QString path(const QString& name) const { return QDir(dir.path()).filePath(name); }
    QString ini() const { return path(QStringLiteral("Morva.ini")); }
    void writeIni(const QString& key, const QString& value) {
        profiles.WritePrivateProfileString(QStringLiteral("Konfig"), key, value, ini());
    }
    QString readIni(const QString& key) {
        return profiles.GetPrivateProfileString(QStringLiteral("Konfig"), key, QStringLiteral("(none)"),
                                                ini());
    }
    QStringList debugLines() const {
        QFile file(path(QStringLiteral("debug.txt")));
        return file.open(QIODevice::ReadOnly)
                   ? QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts)
                   : QStringList();
    }

    QTemporaryDir dir;
    ManualClock clock;
    Settings settings;
    Language language;
    Logs logs{clock, settings, dir.path()};
    ProfileStore profiles{&clock};
    colConfig configs{ConfigDependencies{.settings = settings,
                                         .language = language,
                                         .logs = logs,
                                         .profiles = profiles,
                                         .dataFolder = dir.path(),
                                         .iniPath = ini()}};
};

} // namespace

TEST(Konfig_create, AFirstStartWritesSetOneAndANewSecondSet) {
    Sets t;
    t.configs.Konfig_create();
    ASSERT_EQ(t.configs.Count(), 2);
    EXPECT_EQ(t.configs.Item(1).FileName(), QStringLiteral("KonfMorva"));
    EXPECT_EQ(t.configs.Item(1).Name, t.language.LanguageString(5200));
    EXPECT_EQ(t.configs.Item(2).FileName(), QStringLiteral("Konfig1.txt"));
    EXPECT_EQ(t.configs.Item(2).Name, t.language.LanguageString(5201));
    EXPECT_TRUE(QFile::exists(t.path(QStringLiteral("Konfig1.txt"))));
    EXPECT_TRUE(QFile::exists(t.path(QStringLiteral("KonfMorva")))) << "there to be edited";
    EXPECT_EQ(t.configs.Item(1).strMSN(1), QStringLiteral("*"));
    EXPECT_EQ(t.readIni(QStringLiteral("Anzahl")), QStringLiteral("(none)"))
        << "the count waits for the stop";
    const QStringList log = t.debugLines();
    ASSERT_EQ(log.size(), 2);
    EXPECT_TRUE(log[0].endsWith(QStringLiteral("Konfiguration Konfig_create Begin")));
    EXPECT_TRUE(log[1].endsWith(QStringLiteral("Konfiguration Konfig_create End")));
}

TEST(Konfig_create, AFirstStartKeepsASetFileOfAnEarlierInstallation) {
    Sets t;
    const QByteArray earlier = "[Sonst]\nintContrast=3\n";
    for (const QString& name : {QStringLiteral("Konfig1.txt"), QStringLiteral("Konfig1.txt.old")}) {
        QFile file(t.path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(earlier);
    }
    t.configs.Konfig_create();
    ASSERT_EQ(t.configs.Count(), 2);
    EXPECT_EQ(t.configs.Item(2).FileName(), QStringLiteral("Konfig1.txt"));
    QFile kept(t.path(QStringLiteral("Konfig1.txt.old2")));
    ASSERT_TRUE(kept.open(QIODevice::ReadOnly)) << "the earlier set is kept beside the new one";
    EXPECT_EQ(kept.readAll(), earlier);
}

TEST(Konfig_create, ReadsTheListedSetsAndTheStopWritesThemBack) {
    Sets t;
    t.writeIni(QStringLiteral("Anzahl"), QStringLiteral("4"));
    t.writeIni(QStringLiteral("Konfig2"), QStringLiteral("Urlaub"));
    t.writeIni(QStringLiteral("KonfigName2"), QStringLiteral("  Urlaub.txt "));
    t.writeIni(QStringLiteral("KonfigName4"), QStringLiteral("Konfig1.txt"));
    QFile hand(t.path(QStringLiteral("KonfMorva")));
    ASSERT_TRUE(hand.open(QIODevice::WriteOnly));
    hand.write("[MSN]\nstrMSN1=5551\nexMSN1=-1\nstrMSNText1=B\xc3\xbcro\nexMSNText1=-1\n");
    hand.close();

    t.configs.Konfig_create();
    ASSERT_EQ(t.configs.Count(), 4);
    EXPECT_EQ(t.configs.Item(1).strMSN(1), QStringLiteral("5551"));
    EXPECT_EQ(t.configs.Item(1).strMSN(2), QString()) << "no fresh set over a file's MSN table";
    EXPECT_EQ(t.configs.Item(2).Name, QStringLiteral("Urlaub"));
    EXPECT_EQ(t.configs.Item(2).FileName(), QStringLiteral("Urlaub.txt"));
    EXPECT_EQ(t.configs.Item(3).Name, QStringLiteral("Konfig3"));
    EXPECT_EQ(t.configs.Item(3).FileName(), QStringLiteral("Konfig1.txt")) << "the first free name";
    EXPECT_EQ(t.configs.Item(4).FileName(), QStringLiteral("Konfig1.txt")) << "as the settings file says";
    EXPECT_EQ(t.configs.trlMSNName(QStringLiteral("5551"), false), QString::fromUtf8("Büro"));

    t.configs.Remove(3);
    t.configs.Konfig_destroy();
    EXPECT_EQ(t.readIni(QStringLiteral("Anzahl")), QStringLiteral("3"));
    EXPECT_EQ(t.readIni(QStringLiteral("Konfig2")), QStringLiteral("Urlaub"));
    EXPECT_EQ(t.readIni(QStringLiteral("Konfig3")), QStringLiteral("Konfig4"));
    EXPECT_EQ(t.readIni(QStringLiteral("KonfigName3")), QStringLiteral("Konfig1.txt"));
    EXPECT_EQ(t.readIni(QStringLiteral("KonfigName4")), QStringLiteral("Konfig1.txt"))
        << "left beyond the count";
    EXPECT_TRUE(QFile::exists(t.path(QStringLiteral("Urlaub.txt"))));
}

TEST(Konfig_create, ACountOfOneGivesSetOneAlone) {
    Sets t;
    t.writeIni(QStringLiteral("Anzahl"), QStringLiteral("1"));
    t.configs.Konfig_create();
    EXPECT_EQ(t.configs.Count(), 1);
    const int count = t.configs.Count();
    EXPECT_FALSE(t.configs.Remove(1)) << "set 1 is never removed";
    EXPECT_FALSE(t.configs.Remove(count + 1));
    EXPECT_EQ(t.configs.Count(), count);
}

TEST(colConfig, GetNewFileNameTakesTheLowestFreeNumber) {
    Sets t;
    t.configs.Add(QStringLiteral("a"), QStringLiteral("Konfig1.txt"));
    EXPECT_EQ(t.configs.GetNewFileName(), QStringLiteral("Konfig2.txt"));
    t.configs.Add(QStringLiteral("b"), QStringLiteral("Konfig3.txt"), QStringLiteral("b"));
    EXPECT_EQ(t.configs.GetNewFileName(), QStringLiteral("Konfig2.txt")) << "the gap";
    t.configs.Add(QStringLiteral("c"), QStringLiteral("Konfig2.txt"));
    EXPECT_EQ(t.configs.GetNewFileName(), QStringLiteral("Konfig4.txt"));
    ASSERT_NE(t.configs.Item(QStringLiteral("b")), nullptr);
    t.configs.Remove(QStringLiteral("b"));
    EXPECT_EQ(t.configs.Item(QStringLiteral("b")), nullptr);
    EXPECT_EQ(t.configs.GetNewFileName(), QStringLiteral("Konfig3.txt")) << "a freed name is used again";
}

// Copying a set onto set 1 raises a changed flag exactly where the two differ, and leaves entries 6 to
// 10 and the PC answering machine as they were.
TEST(colConfig, CopyAllRaisesChangedExactlyWhereTheSetsDiffer) {
    Sets t;
    t.settings.PhoneType = 2;
    clsConfig& one = t.configs.Item(1);
    clsConfig& stored = t.configs.Add(QStringLiteral("a"), QString());
    // Both brought through the rules first: a fresh set holds values the rules would not give.
    colConfig::CopyAllFromKonfToKonf(&one, &stored);
    colConfig::CopyAllFromKonfToKonf(&stored, &one);
    one.setChanged(false);
    stored.Assign(Field::strMSNText, 2, QStringLiteral("Fax"));
    stored.Assign(Field::intMSNVol, 5, 2);
    stored.Assign(Field::strZielwahl, 0, QStringLiteral("0891"));
    stored.Assign(Field::intGebühreneinheit, 23);
    stored.setEx(Field::intCOLP, true);
    stored.Assign(Field::strMSN, 7, QStringLiteral("5557"));
    stored.Assign(Field::intCAPIABOn, 1, 1);

    colConfig::CopyAllFromKonfToKonf(&stored, &one);
    std::vector<std::string> raised;
    for (const clsConfig::FieldInfo& info : clsConfig::Fields())
        if (info.flag)
            for (int i = info.first; i <= info.last; ++i)
                if (one.ch(info.field, i))
                    raised.push_back(QString::fromUtf16(info.key).toStdString() + std::to_string(i));
    EXPECT_EQ(raised,
              (std::vector<std::string>{"strMSNText2", "intMSNVol5", "strZielwahl0", "intGebühreneinheit0"}));
    EXPECT_TRUE(one.ex(Field::intCOLP)) << "the flag is copied";
    EXPECT_EQ(one.strMSN(7), QString()) << "entries 6 to 10 stay";
    EXPECT_EQ(one.Number(Field::intCAPIABOn, 1), 0) << "the PC answering machine stays";

    colConfig::CopyAllFromKonfToKonf(nullptr, &one);
    colConfig::CopyMSNfromKonfToKonf(&stored, nullptr, 1, 1);
}

TEST(colConfig, CopiesOfFlagsOneEntryAndOneTarget) {
    Sets t;
    t.settings.PhoneType = 2;
    clsConfig& one = t.configs.Item(1);
    clsConfig& stored = t.configs.Add(QStringLiteral("a"), QString());
    one.setEx(Field::intContrast, true);
    one.setEx(Field::intECT, true);
    colConfig::CopyExFromKonfToKonf(&stored, &one);
    EXPECT_TRUE(one.ex(Field::intContrast)) << "exContrast stays as it was";
    EXPECT_FALSE(one.ex(Field::intECT));
    EXPECT_FALSE(one.ex(Field::strMSN, 1));
    EXPECT_TRUE(one.ex(Field::strMSN, 6)) << "entries 1 to 5 only";
    EXPECT_EQ(one.strMSN(1), QStringLiteral("*")) << "values stay";

    stored.Assign(Field::strMSN, 3, QStringLiteral("5553"));
    stored.Assign(Field::intMSNRufart, 3, 2);
    stored.setStrMSNRufartFile(3, QStringLiteral("bell.wav"));
    stored.Assign(Field::intUSERClir, 3, 1);
    colConfig::CopyMSNfromKonfToKonf(&stored, &one, 3, 2);
    EXPECT_EQ(one.strMSN(2), QStringLiteral("5553"));
    EXPECT_TRUE(one.ch(Field::strMSN, 2));
    EXPECT_TRUE(one.ex(Field::intMSNRufart, 2));
    EXPECT_FALSE(one.ex(Field::strMSNText, 2)) << "the source's flag, not the assignment's";
    EXPECT_EQ(one.strMSNRufartFile(2), QStringLiteral("bell.wav"));
    EXPECT_EQ(one.Number(Field::intUSERClir, 2), 0) << "the user table does not go with it";

    stored.Assign(Field::strZielwahl, 4, QStringLiteral("0891"));
    colConfig::CopyZielfromKonfToKonf(&stored, &one, 4, 0);
    EXPECT_EQ(one.Text(Field::strZielwahl, 0), QStringLiteral("0891"));
    EXPECT_TRUE(one.ex(Field::strZielwahl, 0));
}

TEST(colConfig, MSNNamesByNumberLetterOrText) {
    Sets t;
    clsConfig& one = t.configs.Item(1);
    one.setStrMSN(2, QStringLiteral("5552"));
    const struct {
        const char* msn;
        bool wildcards;
        QString name;
    } rows[] = {
        {"B", false, QStringLiteral("5552")},    {"C", false, QStringLiteral("C")},
        {"X", false, QStringLiteral("X")},       {" ", false, t.language.LanguageString(5160)},
        {"7777", false, QStringLiteral("7777")}, {"7777", true, QString()},
    };
    for (const auto& row : rows)
        EXPECT_EQ(t.configs.trlMSNName(QString::fromUtf8(row.msn), row.wildcards), row.name) << row.msn;
    one.setStrMSNText(2, QStringLiteral("Fax"));
    EXPECT_EQ(t.configs.trlMSNName(QStringLiteral("B"), false), QStringLiteral("Fax"));
    EXPECT_EQ(t.configs.trlMSNName(QStringLiteral(" 5552 "), false), QStringLiteral("Fax"));
}

// A change through the program is in the set's file at once: a killed program loses none.
TEST(ConfigSetFile, AChangeSurvivesTheProgramBeingKilledRightAfterIt) {
    Sets t;
    t.configs.Konfig_create();
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        t.configs.Item(1).setStrMSN(1, QStringLiteral("5551"));
        t.configs.Item(2).Assign(Field::intContrast, 4);
        ::raise(SIGKILL);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));

    Sets next;
    next.writeIni(QStringLiteral("Anzahl"), QStringLiteral("2"));
    next.writeIni(QStringLiteral("KonfigName2"), QStringLiteral("Konfig1.txt"));
    ASSERT_TRUE(QFile::copy(t.path(QStringLiteral("KonfMorva")), next.path(QStringLiteral("KonfMorva"))));
    ASSERT_TRUE(QFile::copy(t.path(QStringLiteral("Konfig1.txt")), next.path(QStringLiteral("Konfig1.txt"))));
    next.configs.Konfig_create();
    EXPECT_EQ(next.configs.Item(1).strMSN(1), QStringLiteral("5551"));
    EXPECT_EQ(next.configs.Item(1).strMSN(2), QString());
    EXPECT_EQ(next.configs.Item(2).Number(Field::intContrast), 4);
}
