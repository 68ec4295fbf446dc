#include "shell/call/SettingsStore.h"
#include "automation/ActionRules.h"
#include "numbers/Num_module.h"
#include "platform/profile/ProfileStore.h"
#include "platform/profile/RegistryFile.h"
#include "shell/base/Language.h"
#include "shell/base/Settings.h"
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
    ActionRules actions{settings};
    Language language;
    SettingsStore store{profiles, registry, dir.filePath(S("Morva.ini")), settings, lastNumbers,
                        actions,  language};

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
    EXPECT_EQ(s.actions.rules.size(), 1u) << "entry 0 only, which no rule uses";
    EXPECT_EQ(s.language.LanguageId(), 9);
    EXPECT_FALSE(QFile::exists(s.store.iniPath())) << "loading writes nothing";
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
    EXPECT_EQ(again.lastNumbers.numbers(), s.lastNumbers.numbers());
    for (auto [value, expected] :
         {std::pair{"NBSTAKZ", "9"}, {"Version", "0.1.0"}, {"Path", "/opt/morva/morva"}})
        EXPECT_EQ(again.registry
                      .RegRead(RegRoot::LocalMachine, SettingsStore::RegistryKey, QLatin1String(value), {})
                      .toString(),
                  QLatin1String(expected))
            << value;
}
