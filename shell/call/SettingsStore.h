#pragma once

// Loading and saving the common settings: Morva.ini through the profile layer, and the values the
// program once kept in the registry through the registry file beside it. Everything else in the
// program reads the variables of Settings, never the files.

#include <QString>
#include <QStringList>

class ActionRules;
class Language;
class LastNumbers;
class ProfileStore;
class RegistryFile;
struct Settings;

class SettingsStore {
public:
    // The registry key of the program's values.
    static const QString RegistryKey;

    SettingsStore(ProfileStore& profiles, RegistryFile& registry, QString iniPath, Settings& settings,
                  LastNumbers& lastNumbers, ActionRules& actions, Language& language);

    // Reads all common settings: the registry values first, then Morva.ini, whose prefixes replace the
    // registry's.
    void Eurit_Cfg_load();
    // Reads the registry values; loading "Language" selects the language. With no "Language" stored
    // (a first start), the desktop's language is taken.
    void Eurit_RegLoad();
    // Writes back what Eurit_Cfg_load reads (not "Prefix" and "PrefixIncoming"), the action rules as they
    // stand, then the registry values with "Path" and "Version". False when the registry key cannot be
    // created: the caller shows "Kann Registry Key nicht anlegen!".
    bool Eurit_Cfg_save(const QString& programPath, const QString& version);
    // Writes "ABSafeInquiry" of section Setup alone, as the answering machine's window changes it, so that
    // the change outlives a program that is killed before its stop.
    void saveABSafeInquiry();
    // Writes the rule table and the rule window's test number (section Actions) at once, as the rule
    // windows change them, so that no rule is lost to a program that is killed before its stop.
    void saveActions();
    // Writes the hotkeys and their number rules (section Setup) at once.
    void saveHotkeys();
    // The desktop's languages, the most wanted first: QLocale::system()'s unless set here.
    void setDesktopLanguages(const QStringList& uiLanguages) { m_desktopLanguages = uiLanguages; }
    // A string of a profile file, cut at 255 characters.
    QString IniString(const QString& section, const QString& key, const QString& defaultValue,
                      const QString& file) const;

    const QString& iniPath() const { return m_iniPath; }

private:
    int16_t iniInt(const QString& section, const QString& key, int defaultValue) const;
    QString iniString(const QString& section, const QString& key, const QString& defaultValue = {}) const;
    void writeInt(const QString& section, const QString& key, int value);
    void writeString(const QString& section, const QString& key, const QString& value);
    void loadHotkeys();
    void writeHotkeys();
    void writeActions();

    ProfileStore& m_profiles;
    RegistryFile& m_registry;
    QString m_iniPath;
    Settings& m_settings;
    LastNumbers& m_lastNumbers;
    ActionRules& m_actions;
    Language& m_language;
    QStringList m_desktopLanguages;
};
