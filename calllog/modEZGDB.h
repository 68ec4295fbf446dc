#pragma once

// The call log: one dBase table, "MorvaLog.dbf" in the folder "Log" of the program's folder, with a record
// for every finished call (its start, partner, carrier, own number, duration, charge, final state and
// the file of a recorded message), and the operations that write it and read it into lists. At start the
// call records that an earlier installation left in "Varnoth_nw.dat" are taken over.
//
// hLog 0 means that the log is not available (it could not be opened or created): then every operation
// does nothing, reads give nothing and writes are dropped. Every write is in the file when it returns,
// so a record survives the program being killed right after the call.
//
// Walks over a range of days use the table's current record: two walks must not interleave. All callers
// run on the main thread and finish a walk before they return.

#include "platform/pdbstore/PdbStore.h"

#include <QDate>
#include <QDateTime>
#include <QString>

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

class Clock;
class Language;
class ListItems;
class Logs;
class ProfileStore;
class UserDialogs;
class colConfig;
class colPhonebook;
struct Settings;

// Date numbers: days since 30 December 1899, the time of day as fraction (0.5 is noon). Local time.
double DateNumber(const QDateTime& when);
QDateTime DateFromNumber(double number);

// One record of the log, as its block of 312 bytes holds it. Texts are cut to the widths of the block
// (one less than the block width: the zero byte) when written.
struct EZGRecord {
    double RecordKey = 0;         // always 0
    double Gesprächsbeginn = 0;   // the start as a date number
    int32_t Tagesnummer = 0;      // its whole part; the date search works on this
    QString Uhrzeit;              // the start time, hh:mm:ss
    QString Provider;             // the carrier code dialled in front of the number
    QString PartnerRufnummer;     // the number without the carrier code; empty for a caller without number
    QString MSN;                  // own number of the call
    double Gesprächsdauer = 0;    // seconds
    double Gebühr = 0;            // charge in money
    double Reserved = 0;          // column 11, summed up by the log list but never shown
    QString Tondatei;             // the recorded message, as the sound folder keeps it relative
    double Neu = 0;               // 1 for a call the user has not seen
    double Richtung = 0;          // 1 incoming, 2 outgoing
    double Verbindungsstatus = 0; // the call state when the call ended

    using Block = std::array<char, pdb::CallLogBlockSize>;
    static EZGRecord FromBlock(const Block& block);
    Block ToBlock() const;
};

// The record block's layout.
namespace EZGBlock {
struct Field {
    int offset;
    int width;
};
inline constexpr Field RecordKey{0, 8};
inline constexpr Field Gesprächsbeginn{8, 8};
inline constexpr Field Tagesnummer{16, 4};
inline constexpr Field Uhrzeit{20, 9};
inline constexpr Field Reserved1{32, 8};
inline constexpr Field Reserved2{40, 8};
inline constexpr Field Provider{48, 21};
inline constexpr Field PartnerRufnummer{69, 36};
inline constexpr Field MSN{105, 31};
inline constexpr Field Gesprächsdauer{136, 8};
inline constexpr Field Gebühr{144, 8};
inline constexpr Field Reserved3{152, 8};
inline constexpr Field Tondatei{160, 128};
inline constexpr Field Neu{288, 8};
inline constexpr Field Richtung{296, 8};
inline constexpr Field Verbindungsstatus{304, 8};
// The column of Neu, which marking a call seen writes by number.
inline constexpr int NeuColumn = 13;
} // namespace EZGBlock

// The call record's fields as a finished call leaves them for its log record.
struct FinishedCall {
    QString CallNumber;
    int16_t CallState = 0;
    QString CallDuration; // mm:ss or hh:mm:ss
    int16_t CallDirection = 0;
    QString CallCharge; // "12.34", or empty
    QString CallMSN;
    QString CallSoundFile;
};

// SEZGDisplayInList: the filter texts, and the totals of the records shown.
struct EZGFilter {
    QString Partner;
    QString MSN;
    double TotalDuration = 0; // a date number: days
    double TotalCharge = 0;
    double TotalReserved = 0;
};

// SEZGDisplayInList flags, added up.
enum EZGListFlag : int {
    ShowIncoming = 2,
    ShowOutgoing = 4,
    ShowNames = 8,  // partner numbers become the names of the phonebooks
    UseFilter = 16, // the filter texts apply
};

// What the log uses of the program.
struct CallLogServices {
    pdb::PdbStore& store;
    const Clock& clock;
    const Settings& settings;
    Logs& logs;
    const Language& language;
    UserDialogs& dialogs;
    colPhonebook& phonebooks;
    const colConfig& configs;
    ProfileStore& profiles;
    QString iniPath;       // the settings file with section EZG
    QString programFolder; // holds the folder "Log" and Varnoth_nw.dat
    std::function<QString()> soundFolder;
};

class modEZGDB {
public:
    explicit modEZGDB(CallLogServices services);
    ~modEZGDB();
    modEZGDB(const modEZGDB&) = delete;
    modEZGDB& operator=(const modEZGDB&) = delete;

    int32_t hLog = 0;

    QString LogFolder() const;
    QString LogPath() const;
    QString ExternPath() const;

    // Opens the log, or creates it; a log that can be neither leaves hLog 0 after a message, and the
    // program goes on without a log. Then the external records are taken over.
    void SEZGDBOpen();
    void SEZGDBClose();
    // Takes over the records of Varnoth_nw.dat, if it is there, and renames it to Varnoth_nw.dat.old.
    // Records with an invalid date or time, or the skip flag, are passed over, and so is a torn last
    // record; a record with a value that does not fit its column of the log (a direction of 1000, a state
    // of -10000, a charge of 10,000,000) is passed over with a line in "error.log". An import that stops
    // (a write that fails, the program killed) leaves the file, and the next start goes on where it
    // stopped: "Varnoth_nw.dat.import" beside it names the record being written and the log's count
    // without it, so that no record is written twice.
    void SEZGImportExtern();

    // Writes the finished call as a new record: the carrier code split off the number, the start as now
    // minus the duration, the charge from its text, new.
    void SEZGED_SaveEZGEintrag(const FinishedCall& call);
    // Fills the date columns from `date` and appends the record: 0, a store code, or -1 without log.
    int32_t SEZGDBSave_EZG_Eintrag(double date, EZGRecord& record);

    void SEZGDeleteRecord(int32_t recordNumber);
    // Sets Neu of the record to 0.
    void SEZGMarkSeen(int32_t recordNumber);
    // The log list of the days from `from` to `to` (both included), by the flags; the totals of the
    // records shown go into `filter`.
    void SEZGDisplayInList(QDate from, QDate to, int flags, EZGFilter& filter, ListItems& list);
    // The main window's list of new calls: incoming, not seen, with a message or not answered.
    void SEZGShowNewCalls(QDate from, QDate to, ListItems& list);
    // Marks every call of the list from this number as seen; then, if any was, fills the list anew for
    // the recent days (ShowRecentNewCalls). True when any was marked.
    bool SEZGMarkNumberSeen(const QString& number, ListItems& list);
    // The record numbers of the new incoming calls with a message in the days `from` to `to`, in the
    // order of the walk.
    std::vector<int32_t> SEZGGetNewRecordings(QDate from, QDate to);
    // Files the message of a call that never reached the log (the program ended during it) as an incoming
    // call taken by the answering machine, with its start and length; not when a record of the days
    // around already holds the file. True when it was filed.
    bool SEZGFileOrphanRecording(const QDateTime& start, int seconds, const QString& number,
                                 const QString& msn, const QString& soundFile);
    QString SEZGGetSoundFile(int32_t recordNumber);
    // Deletes the record's message file and empties its Tondatei; the record stays.
    void SEZGDeleteSound(int32_t recordNumber);
    // The partner number ("extern" when there is none) with the own area code, and the own number.
    // False when the record cannot be read.
    bool SEZGGetNumberAndMSN(int32_t recordNumber, QString& number, QString& msn);
    // The seven columns of the log list, on a list that has none yet.
    void SEZGSetColumns(ListItems& list);
    QString SEZGStatusText(int value) const;

    // The new calls of the main window's list: from seven days before today to today.
    void ShowRecentNewCalls(ListItems& list);

private:
    void loadStatusTexts();
    // Visits every record of the days `from` to `to`, both included, with its record number.
    void walk(QDate from, QDate to, const std::function<void(int32_t, const EZGRecord&)>& visit);
    std::optional<EZGRecord> readRecord(int32_t recordNumber);

    CallLogServices m_s;
    bool m_storeStarted = false;
    std::array<QString, 10> m_statusTexts;
};
