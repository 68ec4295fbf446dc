#pragma once

// A configuration set: the MSN table of the telephone and the ISDN adapter. Until sets load from their
// files, the program has set 1 with the values of a fresh set for the ISDN adapter, whose first entry
// "*" matches every number.

#include <QString>

#include <array>
#include <memory>
#include <mutex>
#include <vector>

class Language;

class clsConfig {
public:
    static constexpr int MSNCount = 10;

    clsConfig();

    // Entries 1 to 10. The MSN table is read by the line library's thread (the alert decision), so its
    // numbers are read and written under a lock.
    QString strMSN(int index) const;
    void setStrMSN(int index, const QString& msn);
    QString strMSNText(int index) const { return m_msnText.at(slot(index)); }
    void setStrMSNText(int index, const QString& text) { m_msnText.at(slot(index)) = text; }
    QString strMSNRufartFile(int index) const { return m_rufartFile.at(slot(index)); }
    void setStrMSNRufartFile(int index, const QString& file) { m_rufartFile.at(slot(index)) = file; }

    // A fresh set for the ISDN adapter: empty MSNs, "*" in the first, "ring.wav" as ring file.
    void SetDefaultCAPI();

    // The entry (1 to 10) that a called number belongs to, 0 if none: first an exact match, then, with
    // wildcards allowed, the first entry whose text before its "*" begins the number.
    int GetMatchMSNNummer(const QString& number, bool wildCardAllowed) const;
    // The name of the MSN a number belongs to: the entry's text, even if empty; the number if none.
    QString trlMSNNummerToName(const QString& number, bool allowWildCard) const;

private:
    static std::size_t slot(int index) { return std::size_t(index - 1); }

    mutable std::mutex m_msnMutex;
    std::array<QString, MSNCount> m_msn;
    std::array<QString, MSNCount> m_msnText;
    std::array<QString, MSNCount> m_rufartFile;
};

// The collection of configuration sets, numbered from 1; set 1 mirrors the devices and always exists.
class colConfig {
public:
    explicit colConfig(const Language& language);
    clsConfig& Item(int index) { return *m_sets.at(std::size_t(index - 1)); }
    const clsConfig& Item(int index) const { return *m_sets.at(std::size_t(index - 1)); }
    int Count() const { return int(m_sets.size()); }

    // Display text of an own number: a numeric MSN by set 1's table, a letter "A" to "E" by its entry
    // of set 1, an empty text as string 5160, anything else as it stands.
    QString trlMSNName(const QString& msn, bool allowWildCard) const;

private:
    const Language& m_language;
    std::vector<std::unique_ptr<clsConfig>> m_sets;
};
