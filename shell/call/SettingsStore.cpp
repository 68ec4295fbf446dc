#include "shell/call/SettingsStore.h"

#include "automation/ActionRules.h"
#include "numbers/Num_module.h"
#include "platform/profile/ProfileStore.h"
#include "platform/profile/RegistryFile.h"
#include "shell/base/IsdnSection.h"
#include "shell/base/Language.h"
#include "shell/base/Settings.h"

#include <QLocale>

#include <algorithm>

const QString SettingsStore::RegistryKey = QStringLiteral("Software\\Nalda\\Morva");

namespace {
const QString Setup = QStringLiteral("Setup");
const QString Actions = QStringLiteral("Actions");
const QString Nummern = QStringLiteral("Nummern");
const QString Konfig = QStringLiteral("Konfig");
const QString Dial = QStringLiteral("Dial");

QString actionKey(int rule, const char* field) {
    return QStringLiteral("Action%1 %2").arg(rule).arg(QLatin1String(field));
}
} // namespace

SettingsStore::SettingsStore(ProfileStore& profiles, RegistryFile& registry, QString iniPath,
                             Settings& settings, LastNumbers& lastNumbers, ActionRules& actions,
                             Language& language)
    : m_profiles(profiles), m_registry(registry), m_iniPath(std::move(iniPath)), m_settings(settings),
      m_lastNumbers(lastNumbers), m_actions(actions), m_language(language),
      m_desktopLanguages(QLocale::system().uiLanguages()) {}

QString SettingsStore::IniString(const QString& section, const QString& key, const QString& defaultValue,
                                 const QString& file) const {
    return m_profiles.GetPrivateProfileString(section, key, defaultValue, file);
}

int16_t SettingsStore::iniInt(const QString& section, const QString& key, int defaultValue) const {
    return int16_t(m_profiles.GetPrivateProfileInt(section, key, defaultValue, m_iniPath));
}

QString SettingsStore::iniString(const QString& section, const QString& key,
                                 const QString& defaultValue) const {
    return IniString(section, key, defaultValue, m_iniPath);
}

void SettingsStore::Eurit_RegLoad() {
    auto read = [this](const char* value, const QVariant& defaultValue) {
        return m_registry.RegRead(RegRoot::LocalMachine, RegistryKey, QLatin1String(value), defaultValue);
    };
    Settings& s = m_settings;
    s.PhoneType = int16_t(read("PhoneType", 3).toInt());
    s.NBST = int16_t(read("NBST", 0).toInt());
    s.NBSTAKZ = read("NBSTAKZ", QString()).toString();
    s.NBSTAKZIN = read("NBSTAKZIN", QString()).toString();
    s.Vorwahl = read("Vorwahl", QString()).toString();
    // Loading the number selects the language too. A stored number always wins; a first start speaks
    // the desktop's language, and the stop stores it.
    const QVariant language = read("Language", QVariant());
    if (language.isValid())
        m_language.setLanguageId(language.toInt());
    else
        m_language.takeDesktopLanguage(m_desktopLanguages);
}

void SettingsStore::Eurit_Cfg_load() {
    Eurit_RegLoad();
    Settings& s = m_settings;
    s.ComPort = iniInt(Setup, QStringLiteral("Com Port"), 1);
    s.UseTapi = iniInt(Setup, QStringLiteral("USETAPI"), 1);
    s.ErrorLogOn = iniInt(Setup, QStringLiteral("ErrorLog"), 0);
    s.LogEnable = iniInt(Setup, QStringLiteral("Log enable"), 1);
    s.MonitorInTray = iniInt(Setup, QStringLiteral("Monitor im Tray"), 1);
    s.MSNCount = iniInt(Setup, QStringLiteral("MSNAnzahl"), 3);
    s.SelFirmware = iniInt(Setup, QStringLiteral("SelFirmware"), 1);
    // The telephone kind fixes how many own numbers it has; kinds 1 and 4 keep the file's count.
    if (s.PhoneType == 0 || s.PhoneType == 3)
        s.MSNCount = 3;
    else if (s.PhoneType == 2)
        s.MSNCount = 5;
    // The file's prefixes replace the registry's: the later read wins.
    s.NBSTAKZ = iniString(Setup, QStringLiteral("Prefix"), QStringLiteral("0"));
    s.NBSTAKZIN = iniString(Setup, QStringLiteral("PrefixIncoming"), QStringLiteral("0"));
    QString country = iniString(Setup, QStringLiteral("LandesCode"), QStringLiteral("49"));
    while (country.startsWith(QLatin1Char('0')))
        country.remove(0, 1);
    s.LandesCode = country;
    if (s.LandesCode == QLatin1String("49") && !s.Vorwahl.isEmpty() &&
        !s.Vorwahl.startsWith(QLatin1Char('0')))
        s.Vorwahl.prepend(QLatin1Char('0'));
    s.ReadBookAtStart = iniInt(Setup, QStringLiteral("ReadBookAtStart"), 0);
    s.TransAuto = iniInt(Setup, QStringLiteral("TransAuto"), 0);
    s.UseDInfo = iniInt(Setup, QStringLiteral("UseDInfo"), 0);
    s.DInfoPrefix = iniString(Setup, QStringLiteral("DInfoPrefix"));
    s.DInfoPath = iniString(Setup, QStringLiteral("DInfoPath"));
    s.UseTwixTel = iniInt(Setup, QStringLiteral("UseTwixTel"), 0);
    s.TwixTelPrefix = iniString(Setup, QStringLiteral("TwixTelPrefix"));
    s.TwixTelDrive = iniString(Setup, QStringLiteral("TwixTelDrive"));
    s.IgnoreDigits = iniInt(Setup, QStringLiteral("IgnoreDigits"), 1);
    s.IgnoreNumbers = iniInt(Setup, QStringLiteral("IgnoreNumbers"), 1);
    s.ABSafeInquiry = iniInt(Setup, QStringLiteral("ABSafeInquiry"), 0);
    loadHotkeys();

    s.ActionTestNumber = iniString(Actions, QStringLiteral("TestNumber"));
    s.Showonring = iniInt(Actions, QStringLiteral("Showonring"), 0);
    s.MinimizeOnSilence = iniInt(Actions, QStringLiteral("MinimizeOnSilence"), 0);
    const int ruleCount = std::max<int>(0, iniInt(Actions, QStringLiteral("Anzahl"), 0));
    m_actions.rules.assign(std::size_t(ruleCount) + 1, ActionRule{});
    for (int n = 1; n <= ruleCount; ++n) {
        ActionRule& rule = m_actions.rules[std::size_t(n)];
        rule.Nbst = iniInt(Actions, actionKey(n, "Nbst"), 1);
        rule.Status = iniInt(Actions, actionKey(n, "Status"), 8);
        rule.Typ = iniInt(Actions, actionKey(n, "Typ"), 8);
        rule.Command = iniString(Actions, actionKey(n, "Command"));
        rule.Command2 = iniString(Actions, actionKey(n, "Command2"));
        rule.Command3 = iniString(Actions, actionKey(n, "Command3"));
    }

    // The last numbers go in from the oldest, so that entry 1 ends on top.
    m_lastNumbers.clear();
    for (int n = iniInt(Nummern, QStringLiteral("LastNumAnz"), 0); n >= 1; --n)
        m_lastNumbers.RememberNumber(iniString(Nummern, QStringLiteral("Nummer%1").arg(n)));

    s.LoadKonfigAtStart = iniInt(Konfig, QStringLiteral("LoadKonfigAtStart"), 0);
    s.DialMSN = iniInt(Dial, QStringLiteral("DialMSN"), 1);
    s.UseDialMSN = iniInt(Dial, QStringLiteral("UseDialMSN"), 0);
    LoadIsdnSection(m_profiles, s, m_iniPath);
}

void SettingsStore::writeInt(const QString& section, const QString& key, int value) {
    m_profiles.WritePrivateProfileString(section, key, QString::number(value), m_iniPath);
}

void SettingsStore::writeString(const QString& section, const QString& key, const QString& value) {
    // A null string would remove the key: an empty value is written as such.
    m_profiles.WritePrivateProfileString(section, key, value.isNull() ? QStringLiteral("") : value,
                                         m_iniPath);
}

void SettingsStore::loadHotkeys() {
    Settings& s = m_settings;
    const auto record = [this](HotkeyRecord& key, const QString& suffix) {
        key.vkey = iniInt(Setup, QStringLiteral("HotkeyVkey") + suffix, 0);
        key.useCtrl = iniInt(Setup, QStringLiteral("HotkeyUseCtrl") + suffix, 0);
        key.useAlt = iniInt(Setup, QStringLiteral("HotkeyUseAlt") + suffix, 0);
        key.useShift = iniInt(Setup, QStringLiteral("HotkeyUseShift") + suffix, 0);
    };
    record(s.Hotkey1, QString());
    record(s.Hotkey2, QStringLiteral("2"));
    s.HotkeyDial.prefix = iniString(Setup, QStringLiteral("HotkeyPrefix"), QStringLiteral("49"));
    s.HotkeyDial.replace = iniString(Setup, QStringLiteral("HotkeyReplace"), QStringLiteral("0"));
    s.HotkeyDial.replacePlus = iniInt(Setup, QStringLiteral("HotkeyReplacePlus"), 1);
    s.HotkeyDial.plusString =
        iniString(Setup, QStringLiteral("HotkeyReplacePlusString"), QStringLiteral("00"));
    s.HotWaitTime = iniInt(Setup, QStringLiteral("HotWaitTime"), 15);
}

void SettingsStore::writeHotkeys() {
    const Settings& s = m_settings;
    const auto record = [this](const HotkeyRecord& key, const QString& suffix) {
        writeInt(Setup, QStringLiteral("HotkeyVkey") + suffix, key.vkey);
        writeInt(Setup, QStringLiteral("HotkeyUseCtrl") + suffix, key.useCtrl);
        writeInt(Setup, QStringLiteral("HotkeyUseAlt") + suffix, key.useAlt);
        writeInt(Setup, QStringLiteral("HotkeyUseShift") + suffix, key.useShift);
    };
    record(s.Hotkey1, QString());
    writeString(Setup, QStringLiteral("HotkeyPrefix"), s.HotkeyDial.prefix);
    writeString(Setup, QStringLiteral("HotkeyReplace"), s.HotkeyDial.replace);
    writeInt(Setup, QStringLiteral("HotkeyReplacePlus"), s.HotkeyDial.replacePlus);
    writeString(Setup, QStringLiteral("HotkeyReplacePlusString"), s.HotkeyDial.plusString);
    record(s.Hotkey2, QStringLiteral("2"));
    writeInt(Setup, QStringLiteral("HotWaitTime"), s.HotWaitTime);
}

void SettingsStore::writeActions() {
    writeString(Actions, QStringLiteral("TestNumber"), m_settings.ActionTestNumber);
    // The rules, every field as Eurit_Cfg_load reads it; entry 0 of the table is no rule.
    const int ruleCount = ActionCount(m_actions.rules);
    writeInt(Actions, QStringLiteral("Anzahl"), ruleCount);
    for (int n = 1; n <= ruleCount; ++n) {
        const ActionRule& rule = m_actions.rules[std::size_t(n)];
        writeInt(Actions, actionKey(n, "Nbst"), rule.Nbst);
        writeInt(Actions, actionKey(n, "Status"), rule.Status);
        writeInt(Actions, actionKey(n, "Typ"), rule.Typ);
        writeString(Actions, actionKey(n, "Command"), rule.Command);
        writeString(Actions, actionKey(n, "Command2"), rule.Command2);
        writeString(Actions, actionKey(n, "Command3"), rule.Command3);
    }
}

void SettingsStore::saveActions() {
    ProfileBatch ini(m_profiles, m_iniPath);
    writeActions();
}

void SettingsStore::saveHotkeys() {
    ProfileBatch ini(m_profiles, m_iniPath);
    writeHotkeys();
}

void SettingsStore::saveABSafeInquiry() {
    writeInt(Setup, QStringLiteral("ABSafeInquiry"), m_settings.ABSafeInquiry);
}

bool SettingsStore::Eurit_Cfg_save(const QString& programPath, const QString& version) {
    // Each file is replaced once, with all of its keys.
    ProfileBatch ini(m_profiles, m_iniPath);
    ProfileBatch registry(m_profiles, m_registry.path());
    const Settings& s = m_settings;
    writeInt(Setup, QStringLiteral("Com Port"), s.ComPort);
    writeInt(Setup, QStringLiteral("USETAPI"), s.UseTapi);
    writeInt(Setup, QStringLiteral("ErrorLog"), s.ErrorLogOn);
    writeInt(Setup, QStringLiteral("Log enable"), s.LogEnable);
    writeInt(Setup, QStringLiteral("Monitor im Tray"), s.MonitorInTray);
    writeInt(Setup, QStringLiteral("MSNAnzahl"), s.MSNCount);
    writeInt(Setup, QStringLiteral("SelFirmware"), s.SelFirmware);
    writeString(Setup, QStringLiteral("LandesCode"), s.LandesCode);
    writeInt(Setup, QStringLiteral("ReadBookAtStart"), s.ReadBookAtStart);
    writeInt(Setup, QStringLiteral("TransAuto"), s.TransAuto);
    writeInt(Setup, QStringLiteral("UseDInfo"), s.UseDInfo);
    writeString(Setup, QStringLiteral("DInfoPrefix"), s.DInfoPrefix);
    writeString(Setup, QStringLiteral("DInfoPath"), s.DInfoPath);
    writeInt(Setup, QStringLiteral("UseTwixTel"), s.UseTwixTel);
    writeString(Setup, QStringLiteral("TwixTelPrefix"), s.TwixTelPrefix);
    writeString(Setup, QStringLiteral("TwixTelDrive"), s.TwixTelDrive);
    writeInt(Setup, QStringLiteral("IgnoreDigits"), s.IgnoreDigits);
    writeInt(Setup, QStringLiteral("IgnoreNumbers"), s.IgnoreNumbers);
    writeInt(Setup, QStringLiteral("ABSafeInquiry"), s.ABSafeInquiry);
    writeHotkeys();
    writeInt(Actions, QStringLiteral("Showonring"), s.Showonring);
    writeInt(Actions, QStringLiteral("MinimizeOnSilence"), s.MinimizeOnSilence);
    writeActions();
    const QStringList& numbers = m_lastNumbers.numbers();
    writeInt(Nummern, QStringLiteral("LastNumAnz"), int(numbers.size()));
    for (int n = 1; n <= numbers.size(); ++n)
        writeString(Nummern, QStringLiteral("Nummer%1").arg(n), numbers[n - 1]);
    writeInt(Konfig, QStringLiteral("LoadKonfigAtStart"), s.LoadKonfigAtStart);
    writeInt(Dial, QStringLiteral("DialMSN"), s.DialMSN);
    writeInt(Dial, QStringLiteral("UseDialMSN"), s.UseDialMSN);
    const QString isdn = QStringLiteral("ISDN");
    writeInt(isdn, QStringLiteral("BlockSize"), s.BlockSize);
    writeString(isdn, QStringLiteral("Driver"), s.CapiDriver);
    writeString(isdn, QStringLiteral("Host"), s.CapiHost);
    writeString(isdn, QStringLiteral("Port"), s.CapiPort > 0 ? QString::number(s.CapiPort) : QString());

    // The registry values; "PhoneType" is never written: a change lasts until the end of the run.
    const auto local = RegRoot::LocalMachine;
    m_registry.RegWrite(local, RegistryKey, QStringLiteral("NBST"), REG_DWORD, int(s.NBST));
    m_registry.RegWrite(local, RegistryKey, QStringLiteral("NBSTAKZ"), REG_SZ, s.NBSTAKZ);
    m_registry.RegWrite(local, RegistryKey, QStringLiteral("NBSTAKZIN"), REG_SZ, s.NBSTAKZIN);
    m_registry.RegWrite(local, RegistryKey, QStringLiteral("Vorwahl"), REG_SZ, s.Vorwahl);
    m_registry.RegWrite(local, RegistryKey, QStringLiteral("Language"), REG_DWORD, m_language.LanguageId());
    if (!m_registry.RegCreateKey(RegRoot::CurrentUser, RegistryKey))
        return false;
    m_registry.RegWrite(local, RegistryKey, QStringLiteral("Path"), REG_SZ, programPath);
    m_registry.RegWrite(local, RegistryKey, QStringLiteral("Version"), REG_SZ, version);
    return registry.commit();
}
