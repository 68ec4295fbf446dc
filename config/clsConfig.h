#pragma once

// A configuration set: what the telephone (Eurit 20, 22, 30) and the ISDN adapter hold. Per MSN (1 to 10)
// the number, its name and ring settings, the Eurit 22's user tables and the PC answering machine; the
// dial targets 0 to 20; the telephone's general switches. Every field of the telephone has an exists flag
// (`ex`: the telephone has the field) and a changed flag (`ch`: its value differs from what the telephone
// was last known to hold). A set lives in a profile file of its own with sections "MSN", "Ziel", "Sonst";
// the `ch` flags live only in memory.

#include <QString>

#include <array>
#include <cstdint>
#include <mutex>

class ListItems;
class ProfileStore;
struct Settings;

class clsConfig {
public:
    static constexpr int MSNCount = 10;
    static constexpr int ZielLast = 20;

    // Every field, in the order of the set's file. The per-MSN fields with flags come first, in the order
    // their group is walked (Changed, Exists, the copies); the general fields last.
    enum class Field : uint8_t {
        // Per MSN, 1 to 10, with flags.
        strMSN,
        strMSNText,
        intMSNMelodA,
        intMSNVol,
        intMSNRufart,
        intMSNAnsage,
        intUSERClir,
        intUSERMSNVol,
        strUSERParkcode,
        intUSERAnklopfen,
        intUSERColp,
        // Per MSN, 1 to 10, without flags: the ISDN adapter and the PC answering machine.
        strMSNRufartFile,
        intCAPIABOn,
        intCAPIABRufanzahl,
        intCAPIABAufnahmezeit,
        intCAPIABMithören,
        strCAPIABFile,
        // One value, no flags: the PIN of the remote inquiry.
        strCAPIPIN,
        // The dial targets, 0 to 20, with flags.
        strZielwahl,
        // The 25 general fields, with flags.
        intUmleitungKeypad,
        intECTHangup,
        intAutoKeypad,
        intContrast,
        strWaehrung,
        intSprache,
        strAmtskennziffer,
        intUseAmtskennzifferIn,
        strParkkennziffer,
        intGebühreneinheit,
        intCOLP,
        intAnklopfen,
        intSCDIV,
        intHeadset,
        intECT,
        intMail,
        intCLIR,
        intBeep,
        strPIN,
        intABOn,
        intABRufanzahl,
        intABAufnahmezeit,
        intMithören,
        intSparfunktion,
        intABSup,
    };
    static constexpr int FieldCount = int(Field::intABSup) + 1;
    static constexpr Field FirstGeneral = Field::intUmleitungKeypad;
    static constexpr Field LastMSNFlagged = Field::intUSERColp;

    enum class Section : uint8_t { MSN, Ziel, Sonst };
    // How a field is kept and stored; Load, Save, the copies and the tests walk this table.
    struct FieldInfo {
        Field field;
        const char16_t* key;  // the key in the file, without index: "strMSN"
        const char16_t* flag; // the exists key without index: "exMSN"; null for a field without flags
        Section section;
        bool text; // a string, else a 16-bit integer
        int first; // the index range; 0 to 0 for a field that is one value
        int last;
        bool numbered; // the key carries the index: "strMSN1"
        // What a missing key reads as.
        int16_t missingNumber;
        const char16_t* missingText;
    };
    static const std::array<FieldInfo, FieldCount>& Fields();
    static const FieldInfo& Info(Field field) { return Fields()[std::size_t(field)]; }

    // `settings` gives the telephone's model (PhoneType), which some rules depend on. With `profiles`
    // the set has a file: FileName in `folder`. A set with a file writes it whenever one of its stored
    // values or exists flags changes (see WriteHold), so a change survives the program being killed.
    explicit clsConfig(const Settings& settings, ProfileStore* profiles = nullptr, QString folder = {});
    clsConfig(const clsConfig&) = delete;
    clsConfig& operator=(const clsConfig&) = delete;

    QString Name;
    QString FileName() const { return m_fileName; }
    // Blanks on both sides are trimmed.
    void setFileName(const QString& fileName) { m_fileName = fileName.trimmed(); }
    // The set's file with its folder, found without regard to case; empty when the set has none.
    QString FilePath() const;

    // A field's value. An index outside the field's range throws std::out_of_range. For the Eurit 20
    // (PhoneType 3) intMSNMelodA and intMSNVol are one value for the telephone: element 1 whatever the
    // index; for a PhoneType outside 0 to 4 they read 0.
    QString Text(Field field, int index = 0) const;
    int16_t Number(Field field, int index = 0) const;
    // Assignment through the field's rule: the value brought into range; stored, with `ch` raised, if it
    // differs; `ex` raised in any case. A field without flags stores the value as given.
    void Assign(Field field, int index, const QString& value);
    void Assign(Field field, int index, int value);
    void Assign(Field field, const QString& value) { Assign(field, 0, value); }
    void Assign(Field field, int value) { Assign(field, 0, value); }

    // The flags, plainly. A field without flags has none (std::logic_error).
    bool ex(Field field, int index = 0) const;
    void setEx(Field field, int index, bool value);
    void setEx(Field field, bool value) { setEx(field, 0, value); }
    bool ch(Field field, int index = 0) const;
    void setCh(Field field, int index, bool value);

    // The fields the line and the call commands read, by their names.
    QString strMSN(int index) const { return Text(Field::strMSN, index); }
    void setStrMSN(int index, const QString& msn) { Assign(Field::strMSN, index, msn); }
    QString strMSNText(int index) const { return Text(Field::strMSNText, index); }
    void setStrMSNText(int index, const QString& text) { Assign(Field::strMSNText, index, text); }
    QString strMSNRufartFile(int index) const { return Text(Field::strMSNRufartFile, index); }
    void setStrMSNRufartFile(int index, const QString& file) { Assign(Field::strMSNRufartFile, index, file); }

    // Reads the set from its file: false, changing nothing, without a file name. Values and flags go in as
    // the file has them (no rule, no `ch`); missing keys read as empty or 0 ("ring.wav", 5 and 100 for the
    // ring file, rings and recording time of the PC answering machine). A file without an MSN table
    // (exMSN1 not set) gives the set the values of SetDefaultCAPI.
    bool Load();
    // Writes the set to its file, every key in the file's order, atomically; false without a file name
    // or when the file cannot be written.
    bool Save();
    // Clears what a read from the telephone fills (MSNs 1 to 5, the targets, the telephone's switches).
    void SetDefault();
    // The values of a fresh set for the ISDN adapter: ten empty MSNs ringing "ring.wav", the first "*".
    void SetDefaultCAPI();
    // The group of the telephone's fields: the flagged per-MSN fields of entries 1 to 5, the targets
    // (1 to 20 read, 0 to 20 assigned) and the 25 general fields.
    void setChanged(bool value);
    bool Changed() const;
    bool Exists() const;

    // The entry (1 to 10) a called number belongs to, 0 if none: first an exact match, then, with
    // wildcards allowed, the first entry whose text before its "*" begins the number. Safe to call from
    // the line library's thread.
    int GetMatchMSNNummer(const QString& number, bool wildCardAllowed) const;
    // The name of the MSN a number belongs to: the entry's text, even if empty; the number if none.
    QString trlMSNNummerToName(const QString& number, bool allowWildCard) const;

    // The three lists of the configuration window; each empties the list first.
    void Ziel_DisplayInList(ListItems& list) const;
    void MSN_DisplayInList(ListItems& list) const;
    void ABCAPI_DisplayInList(ListItems& list) const;

    // While a hold lives, changes are gathered and the set's file is written once, when the last hold
    // ends: a copy of many fields costs one write.
    class WriteHold {
    public:
        explicit WriteHold(clsConfig* set);
        ~WriteHold();
        WriteHold(const WriteHold&) = delete;
        WriteHold& operator=(const WriteHold&) = delete;

    private:
        clsConfig* m_set;
    };

private:
    struct Values {
        std::array<QString, ZielLast + 1> text{};
        std::array<int16_t, ZielLast + 1> number{};
        std::array<bool, ZielLast + 1> ex{};
        std::array<bool, ZielLast + 1> ch{};
    };
    using AllValues = std::array<Values, FieldCount>;

    // The element a read or write of `field` at `index` goes to, after the range check and the Eurit 20's
    // one melody and volume; -1 when the model keeps none.
    int element(Field field, int index) const;
    // The checks of element, and that the field has ex and ch flags.
    void checkFlagged(Field field, int index) const;
    Values& at(Field field) { return m_values[std::size_t(field)]; }
    const Values& at(Field field) const { return m_values[std::size_t(field)]; }
    // Plain stores, no rule; the caller holds m_mutex.
    void store(Field field, int index, const QString& value, bool exists);
    void store(Field field, int index, int16_t value, bool exists);
    void noteChange();
    void flush();

    const Settings& m_settings;
    ProfileStore* m_profiles;
    QString m_folder;
    QString m_fileName;
    // Guards the values and flags: the MSN table is read on the line library's thread.
    mutable std::mutex m_mutex;
    AllValues m_values{};
    int m_holds = 0;
    bool m_dirty = false;
};
