#pragma once

// The configuration sets of the program (Konfigurationen), numbered from 1. Set 1 mirrors what the
// telephone and the ISDN adapter hold: it lives in "KonfMorva" in the data folder, always exists and is
// never removed; its MSN table decides which calls ring. Sets from 2 on are the user's stored sets, one
// file each ("Konfig<n>.txt"), listed in section Konfig of the settings file.

#include "config/clsConfig.h"

#include <QString>

#include <memory>
#include <vector>

class Language;
class Logs;
class ProfileStore;
struct Settings;

struct ConfigDependencies {
    const Settings& settings;
    const Language& language;
    Logs& logs;
    ProfileStore& profiles;
    // The folder of the sets' files, and the settings file with section Konfig.
    QString dataFolder;
    QString iniPath;
};

class colConfig {
public:
    // Holds set 1 with the values of a fresh set for the ISDN adapter until Konfig_create reads it.
    explicit colConfig(ConfigDependencies deps);
    colConfig(const colConfig&) = delete;
    colConfig& operator=(const colConfig&) = delete;

    // Builds the sets from the settings file and the sets' files (the start); logged to debug.txt. A set 1
    // whose file does not exist yet is written, so that its file is there to be edited.
    void Konfig_create();
    // Writes every set to its file and the list of sets to section Konfig (the stop).
    void Konfig_destroy();

    // A new set with its name and file name (trimmed), appended; `key` names it for Item when not empty.
    clsConfig& Add(const QString& name, const QString& fileName, const QString& key = {});
    // The set at a position from 1 (std::out_of_range outside), or by key (null when none has it).
    clsConfig& Item(int index);
    const clsConfig& Item(int index) const;
    clsConfig* Item(const QString& key);
    int Count() const { return 1 + int(m_sets.size()); }
    // Takes a set out; its file stays on disk. Set 1 is never removed: false for it and for an index of
    // no set.
    bool Remove(int index);
    void Remove(const QString& key);
    // "Konfig<n>.txt" with the lowest n from 1 that no set's file uses.
    QString GetNewFileName() const;

    // The copies go through the destination's assignment rule, so each value that differs raises its
    // `ch` flag; the value's exists flag is copied after it. Nothing happens if either set is missing.
    // The exists flags of entries 1 to 5, of targets 1 to 20 and of the general fields but exContrast.
    static void CopyExFromKonfToKonf(const clsConfig* source, clsConfig* destination);
    // One MSN entry: number, name, melody, volume, ring mode, announcement, ring file, with their flags.
    static void CopyMSNfromKonfToKonf(const clsConfig* source, clsConfig* destination, int sourceIndex,
                                      int destIndex);
    static void CopyZielfromKonfToKonf(const clsConfig* source, clsConfig* destination, int sourceIndex,
                                       int destIndex);
    // The telephone's whole configuration: entries 1 to 5 with the user tables and ring file, targets 0 to
    // 20 and the general fields. Entries 6 to 10 and the PC answering machine stay.
    static void CopyAllFromKonfToKonf(const clsConfig* source, clsConfig* destination);

    // Display text of an own number: a numeric MSN by set 1's table, a letter "A" to "E" by its entry
    // of set 1 (name, else number, else the letter), an empty text as string 5160, anything else as it
    // stands.
    QString trlMSNName(const QString& msn, bool allowWildCard) const;

private:
    // Renames a file in the way of a new set aside, so that a set of an earlier installation is kept.
    void keepAside(const QString& path);
    struct Entry {
        std::unique_ptr<clsConfig> set;
        QString key;
    };
    ConfigDependencies m_deps;
    // Set 1 on its own: the line's thread reads it while sets are added and removed.
    std::unique_ptr<clsConfig> m_one;
    // Sets 2 on.
    std::vector<Entry> m_sets;
};
