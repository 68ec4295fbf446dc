#include "config/clsConfig.h"
#include "platform/profile/ProfileStore.h"
#include "shell/base/ListItems.h"
#include "shell/base/Settings.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <variant>

using Field = clsConfig::Field;

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

struct SetFiles {
    QTemporaryDir dir;
    Settings settings;
    ProfileStore profiles;

    std::unique_ptr<clsConfig> set(const QString& fileName = QStringLiteral("Konfig1.txt")) {
        auto s = std::make_unique<clsConfig>(settings, &profiles, dir.path());
        s->setFileName(fileName);
        return s;
    }
    void writeFile(const QString& name, const QByteArray& bytes) const {
        QFile file(QDir(dir.path()).filePath(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
    QByteArray readFile(const QString& name) const {
        QFile file(QDir(dir.path()).filePath(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
};

// A value for every field and index that no missing key reads as, and that differs between neighbours.
void FillEveryField(clsConfig& set) {
    for (const clsConfig::FieldInfo& info : clsConfig::Fields()) {
        for (int i = info.first; i <= info.last; ++i) {
            const int seed = int(info.field) * 3 + i;
            if (info.text)
                set.Assign(info.field, i, QString::number(10 + seed % 90));
            else {
                set.Assign(info.field, i, 1 + seed % 2);
                if (set.Number(info.field, i) == info.missingNumber)
                    set.Assign(info.field, i, 1); // the switches take 0 and 1 only
            }
            // Half of the exists flags cleared again; exMSN1 stays, or the set would read as fresh.
            if (info.flag && seed % 2 == 0 && !(info.field == Field::strMSN && i == 1))
                set.setEx(info.field, i, false);
        }
    }
    set.Assign(Field::strMSNText, 2, S("Büro"));
}

} // namespace

// Every field of the table is written by Save and read by Load: a field forgotten in either, or written
// under another field's key, loses its value here.
TEST(ConfigSetFile, EveryFieldAndExistsFlagSurvivesSaveAndLoad) {
    SetFiles files;
    files.settings.PhoneType = 2;
    auto original = files.set();
    FillEveryField(*original);
    ASSERT_TRUE(original->Save());

    auto loaded = files.set();
    ASSERT_TRUE(loaded->Load());
    int compared = 0;
    for (const clsConfig::FieldInfo& info : clsConfig::Fields()) {
        const QString key = QString::fromUtf16(info.key);
        for (int i = info.first; i <= info.last; ++i) {
            if (info.text) {
                ASSERT_NE(original->Text(info.field, i), QString::fromUtf16(info.missingText))
                    << qPrintable(key);
                EXPECT_EQ(loaded->Text(info.field, i), original->Text(info.field, i)) << qPrintable(key) << i;
            } else {
                ASSERT_NE(original->Number(info.field, i), info.missingNumber) << qPrintable(key);
                EXPECT_EQ(loaded->Number(info.field, i), original->Number(info.field, i))
                    << qPrintable(key) << i;
            }
            if (info.flag) {
                EXPECT_EQ(loaded->ex(info.field, i), original->ex(info.field, i)) << qPrintable(key) << i;
                EXPECT_FALSE(loaded->ch(info.field, i)) << "a load raises no changed flag";
            }
            ++compared;
        }
    }
    EXPECT_EQ(compared, 17 * 10 + 1 + 21 + 25);
    for (const QString& line : QString::fromUtf8(files.readFile(QStringLiteral("Konfig1.txt"))).split(u'\n'))
        EXPECT_FALSE(line.startsWith(QStringLiteral("ch"))) << "changed flags are not stored";
}

TEST(ConfigSetFile, KeysStandInTheirOrderWithPlainIndexesAndFlagsAsMinusOne) {
    SetFiles files;
    auto set = files.set();
    set->SetDefaultCAPI();
    set->Assign(Field::strZielwahl, 0, QStringLiteral("0891"));
    ASSERT_TRUE(set->Save());
    const QStringList lines = QString::fromUtf8(files.readFile(QStringLiteral("Konfig1.txt"))).split(u'\n');
    auto at = [&](const char* line) {
        return lines.indexOf(QString::fromUtf8(line));
    };
    EXPECT_EQ(at("[MSN]"), 0);
    EXPECT_EQ(at("strMSN1=*"), 1);
    EXPECT_EQ(at("exMSN1=-1"), 2);
    EXPECT_EQ(at("strMSNText1="), 3);
    EXPECT_EQ(at("strCAPIABFile1="), 28);
    EXPECT_EQ(at("strMSN2="), 29);
    EXPECT_EQ(at("strCAPIPIN="), 1 + 28 * 10);
    EXPECT_EQ(at("[Ziel]"), 2 + 28 * 10);
    EXPECT_EQ(at("strZielwahl0=0891"), 3 + 28 * 10);
    EXPECT_EQ(at("exZielwahl0=-1"), 4 + 28 * 10);
    EXPECT_EQ(at("[Sonst]"), 3 + 28 * 10 + 42);
    EXPECT_EQ(at("intUmleitungKeypad=0"), 4 + 28 * 10 + 42);
    EXPECT_EQ(at("exGebühreneinheit=-1"), at("intGebühreneinheit=0") + 1);
    EXPECT_EQ(at("exABSup=-1"), 3 + 28 * 10 + 42 + 50);
}

// Files written by the Windows program spell the umlauts of their keys in Windows-1252; ours in UTF-8.
TEST(ConfigSetFile, UmlautKeysLoadFromWindows1252AndFromUtf8) {
    const QString text =
        S("[MSN]\r\nstrMSN1=5551\r\nexMSN1=-1\r\nstrMSNText1=Büro\r\nintCAPIABMithören3=1\r\n"
          "[Sonst]\r\nintGebühreneinheit=42\r\nexGebühreneinheit=-1\r\nintMithören=1\r\n"
          "exMithören=7\r\n");
    const struct {
        const char* encoding;
        QByteArray bytes;
        QString onDisk;
    } files[] = {{"Windows-1252", text.toLatin1(), QStringLiteral("KONFIG1.TXT")},
                 {"UTF-8", text.toUtf8(), QStringLiteral("Konfig1.txt")}};
    for (const auto& file : files) {
        SCOPED_TRACE(file.encoding);
        SetFiles f;
        f.writeFile(file.onDisk, file.bytes); // a Windows folder spells the name as it likes
        auto set = f.set();
        ASSERT_TRUE(set->Load());
        EXPECT_EQ(set->strMSN(1), QStringLiteral("5551"));
        EXPECT_EQ(set->strMSNText(1), S("Büro"));
        EXPECT_EQ(set->Number(Field::intCAPIABMithören, 3), 1);
        EXPECT_EQ(set->Number(Field::intGebühreneinheit), 42);
        EXPECT_TRUE(set->ex(Field::intGebühreneinheit));
        EXPECT_EQ(set->Number(Field::intMithören), 1);
        EXPECT_TRUE(set->ex(Field::intMithören)) << "any value but 0 is True";
        EXPECT_EQ(set->strMSNRufartFile(1), QStringLiteral("ring.wav")) << "missing keys take their defaults";
        EXPECT_EQ(set->Number(Field::intCAPIABRufanzahl, 1), 5);
        EXPECT_EQ(set->Number(Field::intCAPIABAufnahmezeit, 1), 100);
        EXPECT_EQ(set->Number(Field::intMSNVol, 1), 0) << "a file with an MSN table is taken as it is";
    }
}

TEST(ConfigSetFile, LoadWithoutNameChangesNothingAndAMissingFileGivesAFreshSet) {
    SetFiles files;
    auto set = files.set(QStringLiteral("  "));
    EXPECT_EQ(set->FileName(), QString()) << "the file name is trimmed";
    set->Assign(Field::strMSN, 1, QStringLiteral("5551"));
    EXPECT_FALSE(set->Load());
    EXPECT_FALSE(set->Save());
    EXPECT_EQ(set->strMSN(1), QStringLiteral("5551"));

    auto fresh = files.set(QStringLiteral("Missing.txt"));
    ASSERT_TRUE(fresh->Load());
    EXPECT_EQ(fresh->strMSN(1), QStringLiteral("*"));
    EXPECT_EQ(fresh->Number(Field::intMSNVol, 10), 6);
    EXPECT_TRUE(fresh->ex(Field::strMSNText, 10));
    EXPECT_FALSE(fresh->ex(Field::intMSNRufart, 1));
    EXPECT_TRUE(fresh->ex(Field::strZielwahl, 20));
    EXPECT_FALSE(fresh->ex(Field::strZielwahl, 0));
    EXPECT_FALSE(fresh->ex(Field::intSCDIV));
    EXPECT_TRUE(fresh->ex(Field::intGebühreneinheit));
    EXPECT_EQ(fresh->Number(Field::intGebühreneinheit), 0) << "stored directly, not through the rule";
    EXPECT_FALSE(fresh->Changed());
    EXPECT_FALSE(QFile::exists(QDir(files.dir.path()).filePath(QStringLiteral("Missing.txt"))))
        << "reading a set writes nothing";
}

// The rule of each kind of field, on a fresh set (all empty or 0, no flags).
TEST(ConfigSetRules, EachFieldIsBroughtIntoRangeAndRaisesItsFlags) {
    using Value = std::variant<int, const char*>;
    const struct Row {
        int phoneType;
        Field field;
        int index;
        Value given;
        Value stored;
    } rows[] = {
        {2, Field::intGebühreneinheit, 0, 100, 12},
        {2, Field::intGebühreneinheit, 0, -1, 12},
        {2, Field::intGebühreneinheit, 0, 99, 99},
        {2, Field::intABRufanzahl, 0, 2, 5},
        {2, Field::intABRufanzahl, 0, 9, 9},
        {2, Field::intABAufnahmezeit, 0, 90, 255},
        {2, Field::intABAufnahmezeit, 0, 180, 180},
        {2, Field::intMSNAnsage, 1, 4, 255},
        {2, Field::intMSNAnsage, 1, 255, 255},
        {2, Field::intMSNAnsage, 1, 3, 3},
        {2, Field::intMSNRufart, 1, 5, 0},
        {2, Field::intCLIR, 0, 2, 0},
        {2, Field::intCLIR, 0, 1, 1},
        {2, Field::intUSERColp, 3, -1, 0},
        {2, Field::intUSERMSNVol, 3, 8, 0},
        {2, Field::intContrast, 0, 7, 0},
        {2, Field::intSprache, 0, 3, 3},
        {2, Field::intSprache, 0, 4, 0},
        {0, Field::intMSNMelodA, 2, 7, 0},
        {4, Field::intMSNMelodA, 2, 0, 1},
        {4, Field::intMSNMelodA, 2, 6, 6},
        {0, Field::intMSNVol, 2, 7, 0},
        {4, Field::intMSNVol, 2, 7, 7},
        {4, Field::intMSNVol, 2, 8, 0},
        {2, Field::intCAPIABRufanzahl, 4, 999, 999},
        {2, Field::strAmtskennziffer, 0, " 0-1 2-34 5", "0123"},
        {2, Field::strPIN, 0, "12a345", "1234"},
        {2, Field::strParkkennziffer, 0, "x987", "98"},
        {2, Field::strUSERParkcode, 3, "a1b2c3", "12"},
        {2, Field::strWaehrung, 0, "EURO2", "EURO"},
        {2, Field::strMSN, 10, "123456789012345678901234", "12345678901234567890"},
        {0, Field::strMSNText, 1, "Geschäftsanschluss", "Geschäftsanschl"},
        {3, Field::strMSNText, 1, "Geschäftsanschluss", "Geschäftsanschl"},
        {2, Field::strMSNText, 1, "Geschäftsanschluss Süd", "Geschäftsanschluss S"},
        {7, Field::strMSNText, 1, "Geschäftsanschluss Süd", "Geschäftsanschluss Süd"},
        {2, Field::strZielwahl, 0, "0123456789012345678901234567890123456789",
         "01234567890123456789012345678901"},
        {2, Field::strCAPIABFile, 10, "  Ansage mit Blanks.wav", "  Ansage mit Blanks.wav"},
    };
    for (const Row& row : rows) {
        Settings settings;
        settings.PhoneType = int16_t(row.phoneType);
        clsConfig set(settings);
        const clsConfig::FieldInfo& info = clsConfig::Info(row.field);
        SCOPED_TRACE(QString::fromUtf16(info.key).toStdString() + " PhoneType " +
                     std::to_string(row.phoneType));
        bool changed = false;
        if (const int* given = std::get_if<int>(&row.given)) {
            set.Assign(row.field, row.index, *given);
            EXPECT_EQ(set.Number(row.field, row.index), std::get<int>(row.stored));
            changed = std::get<int>(row.stored) != 0;
        } else {
            set.Assign(row.field, row.index, S(std::get<const char*>(row.given)));
            EXPECT_EQ(set.Text(row.field, row.index), S(std::get<const char*>(row.stored)));
            changed = true;
        }
        if (info.flag) {
            EXPECT_EQ(set.ch(row.field, row.index), changed) << "changed exactly when the value changed";
            EXPECT_TRUE(set.ex(row.field, row.index)) << "exists in any case";
        }
    }
}

TEST(ConfigSetRules, TheEurit20HasOneMelodyAndVolumeAndOtherModelsNone) {
    Settings settings;
    settings.PhoneType = 3;
    clsConfig set(settings);
    set.Assign(Field::intMSNVol, 3, 4);
    EXPECT_EQ(set.Number(Field::intMSNVol, 1), 4);
    EXPECT_EQ(set.Number(Field::intMSNVol, 2), 4) << "every index reads element 1";
    EXPECT_TRUE(set.ch(Field::intMSNVol, 1));
    EXPECT_FALSE(set.ch(Field::intMSNVol, 3));
    EXPECT_TRUE(set.ex(Field::intMSNVol, 3));
    EXPECT_FALSE(set.ex(Field::intMSNVol, 1));
    set.Assign(Field::intMSNVol, 2, 9);
    EXPECT_EQ(set.Number(Field::intMSNVol, 1), 0) << "the volume keeps its range";
    set.Assign(Field::intMSNMelodA, 2, 42);
    EXPECT_EQ(set.Number(Field::intMSNMelodA, 1), 42) << "the melody is stored as given";

    settings.PhoneType = 5;
    EXPECT_EQ(set.Number(Field::intMSNMelodA, 1), 0);
    set.Assign(Field::intMSNMelodA, 4, 3);
    settings.PhoneType = 2;
    EXPECT_EQ(set.Number(Field::intMSNMelodA, 4), 0) << "nothing stored for an unknown model";
    EXPECT_FALSE(set.ex(Field::intMSNMelodA, 4));
}

TEST(ConfigSetRules, TheSameValueAgainRaisesExistsButNotChanged) {
    Settings settings;
    clsConfig set(settings);
    set.Assign(Field::strMSN, 2, QString());
    set.Assign(Field::intHeadset, 0);
    EXPECT_FALSE(set.ch(Field::strMSN, 2));
    EXPECT_TRUE(set.ex(Field::strMSN, 2));
    EXPECT_FALSE(set.Changed());
    EXPECT_TRUE(set.Exists());
    EXPECT_THROW(set.Assign(Field::strMSN, 11, QString()), std::out_of_range);
    EXPECT_THROW(set.Assign(Field::strMSN, 0, QString()), std::out_of_range);
}

TEST(ConfigSetGroup, ChangedAndExistsSpeakForEntriesOneToFiveTheTargetsAndTheGeneralFields) {
    Settings settings;
    clsConfig set(settings);
    set.Assign(Field::strMSN, 6, QStringLiteral("5556"));
    set.Assign(Field::intCAPIABOn, 1, 1);
    set.Assign(Field::strZielwahl, 0, QStringLiteral("0"));
    EXPECT_FALSE(set.Changed()) << "entries 6 to 10, the PC machine and target 0 are not read";
    EXPECT_FALSE(set.Exists());
    set.setChanged(true);
    EXPECT_TRUE(set.ch(Field::strZielwahl, 0)) << "target 0 is assigned";
    EXPECT_TRUE(set.ch(Field::intUSERColp, 5));
    EXPECT_FALSE(set.ch(Field::intUSERColp, 6));
    EXPECT_TRUE(set.ch(Field::intABSup));
    set.setChanged(false);
    EXPECT_FALSE(set.Changed());
    set.Assign(Field::intContrast, 1);
    EXPECT_TRUE(set.Changed());
    EXPECT_TRUE(set.Exists());
}

TEST(ConfigSetDefaults, SetDefaultClearsWhatATelephoneReadFillsAndLeavesTheRest) {
    Settings settings;
    settings.PhoneType = 2;
    clsConfig set(settings);
    set.Assign(Field::strMSN, 5, QStringLiteral("5555"));
    set.Assign(Field::strMSN, 6, QStringLiteral("5556"));
    set.Assign(Field::intUSERClir, 1, 1);
    set.Assign(Field::intContrast, 4);
    set.Assign(Field::intABRufanzahl, 7);
    set.Assign(Field::strZielwahl, 0, QStringLiteral("0"));
    set.SetDefault();
    EXPECT_EQ(set.strMSN(5), QString());
    EXPECT_FALSE(set.ex(Field::strMSN, 5));
    EXPECT_EQ(set.strMSN(6), QStringLiteral("5556"));
    EXPECT_EQ(set.Number(Field::intUSERClir, 1), 1);
    EXPECT_EQ(set.Number(Field::intContrast), 4);
    EXPECT_EQ(set.Number(Field::intABRufanzahl), 0);
    EXPECT_FALSE(set.ex(Field::intABRufanzahl));
    EXPECT_FALSE(set.ex(Field::strZielwahl, 0));
    EXPECT_TRUE(set.ch(Field::intABRufanzahl)) << "flags of the earlier assignment stay";
}

TEST(GetMatchMSNNummer, ExactBeforeWildcardFirstMatchWins) {
    const struct {
        const char* number;
        bool wildcards;
        int entry;
    } rows[] = {
        {"5559", true, 4}, {"5559", false, 4}, {"5553", true, 2},  {"5553", false, 0},
        {"6661", true, 3}, {"7777", true, 0},  {"555*", false, 2}, {"", true, 6},
    };
    Settings settings;
    clsConfig set(settings);
    set.setStrMSN(1, QStringLiteral("4444"));
    set.setStrMSN(2, QStringLiteral("555*"));
    set.setStrMSN(3, QStringLiteral("66*"));
    set.setStrMSN(4, QStringLiteral("5559"));
    set.setStrMSN(5, QStringLiteral("5*"));
    // Entries 6 to 10 are empty: an empty number matches the first of them exactly.
    for (const auto& row : rows)
        EXPECT_EQ(set.GetMatchMSNNummer(S(row.number), row.wildcards), row.entry)
            << row.number << " wildcards " << row.wildcards;
    set.setStrMSN(10, QStringLiteral("*"));
    EXPECT_EQ(set.GetMatchMSNNummer(QStringLiteral("7777"), true), 10) << "a lone '*' matches every number";
    EXPECT_EQ(set.trlMSNNummerToName(QStringLiteral("7777"), false), QStringLiteral("7777"));
    EXPECT_EQ(set.trlMSNNummerToName(QStringLiteral("7777"), true), QString()) << "an empty name is the name";
    set.setStrMSNText(4, QStringLiteral("Fax"));
    EXPECT_EQ(set.trlMSNNummerToName(QStringLiteral("5559"), false), QStringLiteral("Fax"));
}

TEST(ConfigSetLists, TheListsShowTheEntriesThatExist) {
    Settings settings;
    settings.PhoneType = 4;
    clsConfig set(settings);
    set.SetDefaultCAPI();
    set.setEx(Field::strMSN, 3, false);
    set.setStrMSNText(2, QStringLiteral("Fax"));
    set.Assign(Field::intMSNAnsage, 2, 255);
    set.Assign(Field::intMSNRufart, 2, 3);
    set.Assign(Field::intCAPIABOn, 2, 1);
    set.Assign(Field::strZielwahl, 10, QStringLiteral("0891"));
    set.setStrMSN(2, QStringLiteral("5552"));

    ListItems msn;
    set.MSN_DisplayInList(msn);
    ASSERT_EQ(msn.Count(), 9);
    EXPECT_EQ(msn.At(0).Text, QStringLiteral(" 1"));
    EXPECT_EQ(msn.At(1).SubItems,
              (QStringList{QStringLiteral("5552"), QStringLiteral("Fax"), QStringLiteral("ring.wav"),
                           QStringLiteral("6"), QStringLiteral("MSN+Name"), QStringLiteral("---")}));
    EXPECT_EQ(msn.At(1).SmallIcon, QStringLiteral("S1"));
    EXPECT_EQ(msn.At(2).Tag, 4.0) << "entry 3 does not exist";
    EXPECT_EQ(msn.At(2).SmallIcon, QStringLiteral("S0"));
    EXPECT_EQ(msn.At(2).SubItems.at(4), QString()) << "no ring mode in a fresh set";

    ListItems ab;
    set.ABCAPI_DisplayInList(ab);
    ASSERT_EQ(ab.Count(), 9);
    EXPECT_EQ(ab.At(1).Text, QStringLiteral("2:  5552"));
    EXPECT_EQ(ab.At(1).SmallIcon, QStringLiteral("S1"));

    ListItems ziel;
    set.Ziel_DisplayInList(ziel);
    ASSERT_EQ(ziel.Count(), 20) << "target 0 has no item on the Eurit 22";
    EXPECT_EQ(ziel.At(9).Text, QStringLiteral("*"));
    EXPECT_EQ(ziel.At(9).SubItems, QStringList{QStringLiteral("0891")});
    EXPECT_EQ(ziel.At(10).Text, QStringLiteral("#"));
    EXPECT_EQ(ziel.At(12).Text, QStringLiteral("13"));
}
