#include "shell/call/SettingsStore.h"
#include "automation/ActionRules.h"
#include "numbers/Num_module.h"
#include "platform/Clock.h"
#include "platform/numbers/NumTrans.h"
#include "platform/profile/ProfileStore.h"
#include "platform/profile/RegistryFile.h"
#include "shell/base/Language.h"
#include "shell/base/Logs.h"
#include "shell/base/Settings.h"
#include "shell/base/UserDialogs.h"
#include "tests/support/TestEnvironment.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

// A settings store over a fresh data folder, with the files as the test writes them.
struct Store {
    QTemporaryDir dir;
    ProfileStore profiles;
    RegistryFile registry{profiles, dir.filePath(S("Registry.ini"))};
    Settings settings;
    LastNumbers lastNumbers;
    Language language;
    NumTrans numTrans;
    ManualClock clock;
    Logs logs{clock, settings, dir.path()};
    UserDialogs dialogs{logs};
    ActionRules actions{settings, language, numTrans, clock, dialogs, dir.path()};
    SettingsStore store{profiles, registry, dir.filePath(S("Morva.ini")), settings, lastNumbers,
                        actions,  language};
    // An English desktop unless a test says otherwise, whatever the machine's locale.
    Store() { store.setDesktopLanguages({S("en-GB")}); }

    void ini(const char* text) {
        QFile file(store.iniPath());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
    }
    void reg(const char* value, const QVariant& data) {
        registry.RegWrite(RegRoot::LocalMachine, SettingsStore::RegistryKey, QLatin1String(value),
                          data.typeId() == QMetaType::QString ? REG_SZ : REG_DWORD, data);
    }
};

} // namespace

TEST(SettingsLoad, AFirstStartRunsOnTheDefaults) {
    Store s;
    s.store.Eurit_Cfg_load();
    EXPECT_EQ(s.settings.PhoneType, 3);
    EXPECT_EQ(s.settings.NBSTAKZ, S("0"));
    EXPECT_EQ(s.settings.NBSTAKZIN, S("0"));
    EXPECT_EQ(s.settings.LandesCode, S("49"));
    EXPECT_EQ(s.settings.UseTapi, 1) << "the start sets it to 0 later";
    EXPECT_EQ(s.settings.MSNCount, 3);
    EXPECT_EQ(s.settings.ErrorLogOn, 0);
    EXPECT_EQ(s.settings.LogEnable, 1);
    EXPECT_EQ(s.settings.ABSafeInquiry, 0);
    EXPECT_EQ(s.actions.rules.size(), 1u) << "entry 0 only, which no rule uses";
    EXPECT_EQ(s.language.LanguageId(), 9);
    EXPECT_FALSE(QFile::exists(s.store.iniPath())) << "loading writes nothing";
}

// With no "Language" stored, the start speaks the desktop's language (the first of its languages that
// Morva has), and the stop stores it; a stored number always wins.
TEST(SettingsLoad, AFirstStartSpeaksTheDesktopsLanguageAndAStoredOneWins) {
    struct Case {
        QStringList desktop;
        int stored; // 0: none
        int languageId;
        const char* code;
    };
    for (const Case& c :
         {Case{{S("de-DE"), S("de")}, 0, 7, "de"}, Case{{S("fr-CH")}, 0, 12, "fr"},
          Case{{S("it-IT")}, 0, 16, "it"}, Case{{S("nl-BE")}, 0, 19, "nl"},
          Case{{S("sv-SE"), S("nb-NO")}, 0, 20, "no"}, Case{{S("nn-NO")}, 0, 20, "no"},
          Case{{S("fi-FI")}, 0, 11, "fi"}, Case{{S("sv-SE")}, 0, 9, "uk"}, Case{{}, 0, 9, "uk"},
          Case{{S("de-DE")}, 9, 9, "uk"}, Case{{S("en-US")}, 16, 16, "it"}}) {
        SCOPED_TRACE(c.desktop.join(S(",")).toStdString() + " stored " + std::to_string(c.stored));
        Store s;
        s.store.setDesktopLanguages(c.desktop);
        if (c.stored)
            s.reg("Language", c.stored);
        s.store.Eurit_Cfg_load();
        EXPECT_EQ(s.language.LanguageId(), c.languageId);
        EXPECT_EQ(s.language.LanguageCode(), QLatin1String(c.code));
        ASSERT_TRUE(s.store.Eurit_Cfg_save(S("/usr/bin/morva"), S("0.1.0")));
        EXPECT_EQ(s.registry.RegRead(RegRoot::LocalMachine, SettingsStore::RegistryKey, S("Language"), {}),
                  QVariant::fromValue(int32_t(c.languageId)));
    }
}

TEST(SettingsLoad, TheFilesPrefixesReplaceTheRegistrysEvenWhenMissing) {
    Store s;
    s.reg("NBSTAKZ", S("9"));
    s.reg("NBSTAKZIN", S("8"));
    s.ini("[Setup]\nPrefixIncoming=\n");
    s.store.Eurit_Cfg_load();
    EXPECT_EQ(s.settings.NBSTAKZ, S("0")) << "missing from the file: the file's default wins";
    EXPECT_EQ(s.settings.NBSTAKZIN, S(""));
}

TEST(SettingsLoad, CountryCodeAreaCodeAndMsnCountFollowTheirRules) {
    struct Case {
        const char* country;
        const char* area;
        int phoneType;
        int fileMsnCount;
        const char* wantCountry;
        const char* wantArea;
        int wantMsnCount;
    };
    for (const Case& c : {Case{"0049", "89", 3, 5, "49", "089", 3}, Case{"43", "89", 2, 3, "43", "89", 5},
                          Case{"49", "089", 1, 4, "49", "089", 4}, Case{"49", "", 0, 9, "49", "", 3},
                          Case{"000", "89", 4, 2, "", "89", 2}}) {
        SCOPED_TRACE(c.country);
        Store s;
        s.reg("Vorwahl", QString::fromLatin1(c.area));
        s.reg("PhoneType", c.phoneType);
        s.ini(S("[Setup]\nLandesCode=%1\nMSNAnzahl=%2\n")
                  .arg(QLatin1String(c.country))
                  .arg(c.fileMsnCount)
                  .toLatin1()
                  .constData());
        s.store.Eurit_Cfg_load();
        EXPECT_EQ(s.settings.LandesCode, QLatin1String(c.wantCountry));
        EXPECT_EQ(s.settings.Vorwahl, QLatin1String(c.wantArea));
        EXPECT_EQ(s.settings.MSNCount, c.wantMsnCount);
    }
}

TEST(SettingsLoad, RulesAndLastNumbersKeepTheirOrder) {
    Store s;
    s.ini("[Actions]\nAnzahl=2\nAction1 Command=notify-send ring\nAction2 Status=3\n"
          "[Nummern]\nLastNumAnz=3\nNummer1=0891111\nNummer2=0302222\nNummer3=0403333\n");
    s.store.Eurit_Cfg_load();
    ASSERT_EQ(s.actions.rules.size(), 3u);
    EXPECT_EQ(s.actions.rules[1].Command, S("notify-send ring"));
    EXPECT_EQ(s.actions.rules[1].Status, 8) << "a missing field has its default";
    EXPECT_EQ(s.actions.rules[2].Status, 3);
    EXPECT_EQ(s.lastNumbers.numbers(), QStringList({S("0891111"), S("0302222"), S("0403333")}));
}

TEST(SettingsSave, WhatIsSavedLoadsBackAndTheRegistryGetsPathAndVersion) {
    Store s;
    s.store.Eurit_Cfg_load();
    s.settings.ErrorLogOn = 1;
    s.settings.LandesCode = S("43");
    s.settings.NBST = 1;
    s.settings.NBSTAKZ = S("9");
    s.settings.PhoneType = 2; // lasts for the run only
    s.settings.ABSafeInquiry = 1;
    s.lastNumbers.RememberNumber(S("0301"));
    s.lastNumbers.RememberNumber(S("0892"));
    ASSERT_TRUE(s.store.Eurit_Cfg_save(S("/opt/morva/morva"), S("0.1.0")));

    Store again;
    QFile::remove(again.store.iniPath());
    QFile::copy(s.store.iniPath(), again.store.iniPath());
    QFile::copy(s.dir.filePath(S("Registry.ini")), again.dir.filePath(S("Registry.ini")));
    again.store.Eurit_Cfg_load();
    EXPECT_EQ(again.settings.ErrorLogOn, 1);
    EXPECT_EQ(again.settings.LandesCode, S("43"));
    EXPECT_EQ(again.settings.NBST, 1);
    EXPECT_EQ(again.settings.NBSTAKZ, S("0")) << "the file's \"Prefix\" is never written";
    EXPECT_EQ(again.settings.PhoneType, 3);
    EXPECT_EQ(again.settings.ABSafeInquiry, 1);
    EXPECT_EQ(again.lastNumbers.numbers(), s.lastNumbers.numbers());
    for (auto [value, expected] :
         {std::pair{"NBSTAKZ", "9"}, {"Version", "0.1.0"}, {"Path", "/opt/morva/morva"}})
        EXPECT_EQ(again.registry
                      .RegRead(RegRoot::LocalMachine, SettingsStore::RegistryKey, QLatin1String(value), {})
                      .toString(),
                  QLatin1String(expected))
            << value;
}

// The answering machine's window writes the safer remote inquiry at once, alone, beside what the file holds.
TEST(SettingsSave, TheSaferRemoteInquiryIsWrittenAloneAndLoadsBack) {
    Store s;
    s.ini("[Setup]\nErrorLog=1\nABSafeInquiry=1\n");
    s.store.Eurit_Cfg_load();
    EXPECT_EQ(s.settings.ABSafeInquiry, 1);
    s.settings.ABSafeInquiry = 0;
    s.settings.ErrorLogOn = 0; // not written by the single write
    s.store.saveABSafeInquiry();
    EXPECT_EQ(s.profiles.GetPrivateProfileInt(S("Setup"), S("ABSafeInquiry"), -1, s.store.iniPath()), 0);
    EXPECT_EQ(s.profiles.GetPrivateProfileInt(S("Setup"), S("ErrorLog"), -1, s.store.iniPath()), 1);

    s.settings.ABSafeInquiry = 1;
    s.store.saveABSafeInquiry();
    Store again;
    QFile::remove(again.store.iniPath());
    QFile::copy(s.store.iniPath(), again.store.iniPath());
    again.store.Eurit_Cfg_load();
    EXPECT_EQ(again.settings.ABSafeInquiry, 1);
    EXPECT_EQ(again.settings.ErrorLogOn, 1);
}

// The rules go back with the other settings, every field as it was read, so that a rule changed, added
// or removed in a run is what the next start reads.
TEST(SettingsSave, TheActionRulesGoBackAsTheyWereRead) {
    Store s;
    s.ini("[Actions]\nAnzahl=3\nAction1 Nbst=0\nAction1 Status=3\nAction1 Typ=0\n"
          "Action1 Command=notify-send \"Anruf von %N\"\nAction2 Typ=2\nAction2 Command=Rechner\n"
          "Action3 Status=4\nAction3 Typ=3\nAction3 Command=topic\nAction3 Command2=item\n"
          "Action3 Command3=data  with  blanks\n");
    s.store.Eurit_Cfg_load();
    ASSERT_EQ(s.actions.rules.size(), 4u);
    s.actions.rules.erase(s.actions.rules.begin() + 2); // the second rule deleted in this run
    s.actions.rules[2].Command2 = S("a second parameter");
    s.actions.rules.push_back(ActionRule{2, 0, 1, S("xterm -e echo %U1"), S("Morva Window"), QString()});
    ASSERT_TRUE(s.store.Eurit_Cfg_save(S("/usr/bin/morva"), S("0.1.0")));

    Store again;
    QFile::copy(s.store.iniPath(), again.store.iniPath());
    again.store.Eurit_Cfg_load();
    ASSERT_EQ(again.actions.rules.size(), s.actions.rules.size());
    for (std::size_t n = 1; n < s.actions.rules.size(); ++n) {
        SCOPED_TRACE(n);
        const ActionRule& want = s.actions.rules[n];
        const ActionRule& got = again.actions.rules[n];
        EXPECT_EQ(got.Nbst, want.Nbst);
        EXPECT_EQ(got.Status, want.Status);
        EXPECT_EQ(got.Typ, want.Typ);
        EXPECT_EQ(got.Command, want.Command);
        EXPECT_EQ(got.Command2, want.Command2);
        EXPECT_EQ(got.Command3, want.Command3);
    }
    EXPECT_EQ(again.actions.rules[1].Nbst, 0) << "stored although nothing reads it";
    EXPECT_EQ(again.actions.rules[2].Command3, S("data  with  blanks"));
}
