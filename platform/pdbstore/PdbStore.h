#pragma once

// The phonebook and call log store: dBase III files (".dbf") with index files beside them, and the
// operations PDB_* through which the program reads and writes them.
//
// Files. A table is a standard dBase III file: other dBase programs read and write it. Text columns hold
// Windows-1252 (the header's language byte says so), blank-padded, without zero bytes. Columns are named
// in upper case and numbered as the fields of the kind's record block. A book's run from 0 RECORDKEY to
// 14 ISCHANGED; RECORDKEY is numeric (N, 10 digits, no decimals), ISCHANGED logical ("T" or "N"). The
// call log's (the program keeps it in "MorvaLog.dbf"; the store takes any name) run from 0 RECORDKEY to
// 15 STATUS: its numbers are numeric columns, among them 1 BEGINN, the start as a date number with ten
// decimals, and 2 TAGESNR, its day; each of its texts is one character narrower than its place in the
// block, which keeps a zero byte behind the text.
//
// Index files are our own format (see PdbIndex.h): for a book file "b.dbf", "bi0.ndx" maps RecordKey to
// the record, and for disk books "bi1.nde" (type 4) or "bi1.ndx", "bi2.ndx", "bi3.ndx" (type 3) map the
// numbers to their records. For a call log "l.dbf", "li0.ndx" is the date index: the day and record
// number of each live record, in that order, for PDB_FindDateEZG. An index file carries the size, time and
// record count of the table it was built from; one that is missing, or does not match, is rebuilt when
// the table is opened. While a table is open its indexes live in memory, follow every write, and are
// written back at PDB_Close; the first write of a session removes the files, so that a process killed
// after it leaves none that looks right.
//
// Records. Record numbers are physical and count from 1. A deleted record keeps its place, marked "*",
// until PDB_PackDatabase. Each open table has a current record and a record buffer: the positioning
// operations load the buffer, PDB_PutField and PDB_PutDoubleField change it, PDB_PutRecord writes it.
//
// Crash safety. Every write goes to the file before the operation returns 0 (the record, then the count in
// the header), so a record whose write returned 0 survives the process being killed at any later moment.
// A table left by a killed process opens: whole records behind the header's count are taken in, a torn
// record at the end is cut off, the end marker is put back and the indexes are rebuilt. A file that is no
// dBase table of the expected layout, or holds fewer records than its header counts, fails PDB_Open with a
// code that PDB_TranslateError explains, and is left as it is. An open table is locked (flock): a second
// program that opens it fails with InUse instead of writing over the first.
//
// Other programs. dBase programs and spreadsheets do not take the lock. Before every operation that reads
// or writes a table the store compares the file at the table's path with the one it holds (inode, size,
// modification time): a table that another program has written, shortened or replaced (a new file renamed
// over it) is opened anew as PDB_Open opens it, its indexes read or rebuilt, and the operation reads and
// writes the file that is there now. A walk goes on by record number; a current record that is gone fails
// the operations on it with Shrunk. A file shorter than its header's count fails every operation with
// Truncated (and is left as it is) until it is whole again. Records are read with pread, never through a
// mapping, so a file shortened even in the middle of an operation gives a code, not SIGBUS. A change that
// keeps the size and falls within the same tick of the file system's clock as this program's last write
// goes unnoticed; the handle's record buffer keeps what was read or put into it.
//
// Handles are small positive numbers, 0 is none. Operations on a handle that is not open fail with
// BadHandle; every operation except PDB_Init fails with NotInitialised outside PDB_Init ... PDB_Exit,
// but PDB_GETJulianDays, which reads no table and returns a number, answers at any time.
// One PdbStore belongs to one thread.

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <map>
#include <memory>

namespace pdb {

// The kinds of table, as PDB_Create and PDB_Open take them.
enum BookType : int32_t {
    TelephoneBook = 1, // a book that mirrors a telephone's memory: key index only
    CallLog = 2,       // the call log
    OldDiskBook = 3,   // older disk books: key index and one number index per number column
    DiskBook = 4,      // disk books: key index and one number index over the three number columns
};

// Result codes. 0 is success; PDB_TranslateError gives a text for each.
enum Code : int32_t {
    Ok = 0,
    NotInitialised = 1001, // PDB_Init was not called, or PDB_Exit was
    BadHandle,             // no open table has this handle
    BadType,               // no such kind of table
    FileExists,            // PDB_Create on a file that exists
    CannotCreate,          // the file could not be created
    FileNotFound,          // PDB_Open or PDB_PackDatabase on a file that does not exist
    CannotOpen,            // the file exists but cannot be opened for reading and writing
    InUse,                 // another program has the table open
    NotDbase,              // the file is no dBase table
    WrongLayout,           // a dBase table, but not with the columns of this kind of table
    Truncated,             // the file holds fewer records than its header counts
    ReadFailed,
    WriteFailed,
    EndOfFile,        // no (further) record: the end of a walk, or an empty table
    NotFound,         // a search found nothing
    NoCurrentRecord,  // a record operation before any positioning
    RecordDeleted,    // the record is marked deleted
    BadRecordNumber,  // no record with this number
    BadColumn,        // no column with this number, or not of the right type
    BadValue,         // a value the column cannot hold
    NotIndexed,       // a number search on a table without number index (type 1)
    IndexWriteFailed, // the table is closed, but an index file could not be written; it is rebuilt
                      // at the next open
    Shrunk,           // records are gone: another program has shortened the table while it was open
};

// Size of the record block of a phonebook entry (PDB_GetRecordPHB, PDB_PutRecordPHB).
inline constexpr int PhonebookBlockSize = 629;
// Size of the record block of a call log record (PDB_PutRecordEZG, PDB_GetRecordEZG, PDB_UpdateRecordEZG).
inline constexpr int CallLogBlockSize = 312;
// Width of a number search key: the number, padded with blanks.
inline constexpr int NumberKeyWidth = 34;

// PDB_Find flags, added up.
enum FindFlag : int32_t {
    FromFirst = 1,     // else from the record after the current one
    CaseSensitive = 2, // else without regard to case (Windows-1252 letters)
    AtHead = 4,        // the text stands at the head of the column, else anywhere in it
    AllColumns = 8,    // every text column of the record block (a book's nine entry fields, a call log's
                       // five texts; never a key, number, flag or reserved column); the column argument
                       // is then 0
};

class Table;

class PdbStore {
public:
    PdbStore();
    ~PdbStore(); // closes what is still open
    PdbStore(const PdbStore&) = delete;
    PdbStore& operator=(const PdbStore&) = delete;

    // Each part of the program that uses the store starts it and stops it; the stop that matches the
    // first start closes every table that is still open.
    int32_t PDB_Init();
    int32_t PDB_Exit();

    // Makes an empty table of the kind's layout, and its index files when `withIndex` is 1. Overwrites
    // nothing: a file that exists fails with FileExists. The table is written as "<path>.create" and then
    // renamed, so a process killed during the create leaves no table at the path.
    int32_t PDB_Create(const QString& path, int32_t withIndex, int32_t type);
    // Opens a table, repairing what a killed process left and rebuilding missing or stale index files.
    // `handle` gets the new handle, or 0 on failure.
    int32_t PDB_Open(int32_t& handle, const QString& path, int32_t type);
    // Writes the indexes back and closes the table.
    int32_t PDB_Close(int32_t handle);
    // Rewrites a closed table without its deleted records (a new file that replaces the old one), and
    // its index files. Record keys stay as they are.
    int32_t PDB_PackDatabase(const QString& path);

    // The count of records not deleted, itself (0 for a handle that is not open, or a table that cannot be
    // read any more).
    int32_t PDB_GetNumRecords(int32_t handle, int32_t reserved = 0);
    // Positioning on the first, next or last record not deleted; EndOfFile when there is none.
    int32_t PDB_GetFirstRecord(int32_t handle);
    int32_t PDB_GetNextRecord(int32_t handle);
    int32_t PDB_GetLastRecord(int32_t handle);
    // Positioning by physical record number (from 1); a deleted record fails with RecordDeleted.
    int32_t PDB_GetRecord(int32_t handle, int32_t recordNumber);
    // The current record number itself, 0 when there is none.
    int32_t PDB_GetCurRecNo(int32_t handle) const;
    // Writes the record buffer to the record `recordNumber`, which must exist.
    int32_t PDB_PutRecord(int32_t handle, int32_t recordNumber);
    // Marks the current record deleted.
    int32_t PDB_DeleteRecord(int32_t handle);

    // The phonebook entry operations (PHB) fail with BadType on a call log.
    //
    // The current record as a phonebook entry's block of 629 bytes.
    int32_t PDB_GetRecordPHB(int32_t handle, char* block);
    // Writes a phonebook entry's block: RecordKey 0 appends a record with the next free key (the highest
    // key so far + 1) and writes that key back into the block; a key that exists replaces its record; any
    // other key is appended as it is. The written record becomes the current one.
    int32_t PDB_PutRecordPHB(int32_t handle, char* block);
    // Positions on the record with this RecordKey.
    int32_t PDB_FindIndexPHB(int32_t handle, double key);
    // Positions on a record one of whose three numbers equals the key (cut at a zero character and
    // trimmed of blanks at its end; compared without regard to case). Of several, the first number column
    // wins over the second and the second over the third, then the lower record number. Types 3 and 4.
    int32_t PDB_FindNumberPHB(int32_t handle, const QString& key);
    // A field search from the first record or from the one after the current (flags above); `text` is cut
    // at a zero character. Positions on the match.
    int32_t PDB_Find(int32_t handle, const QString& text, int32_t column, int32_t flags);

    // The call log (type 2). Its block: RecordKey (double, always 0), the start as a date number (double:
    // days since 30 December 1899, the time as fraction), the day (32-bit integer), the time text, two
    // reserved doubles, carrier, partner and own number (texts), duration, charge, a reserved double, the
    // message file (text), new, direction and final state (doubles); texts end in a zero byte and blanks.
    // These operations fail with BadType on a table of another type (the date searches too).
    //
    // Appends a record; it becomes the current one. Texts are cut at their zero byte and to the width of
    // their column, numbers must fit theirs (else BadValue); RecordKey is written as the block has it.
    int32_t PDB_PutRecordEZG(int32_t handle, const char* block);
    // The current record as a call log block; the bytes that belong to no column are zero.
    int32_t PDB_GetRecordEZG(int32_t handle, char* block);
    // Replaces the current record (NoCurrentRecord, RecordDeleted); it stays the current one.
    int32_t PDB_UpdateRecordEZG(int32_t handle, const char* block);
    // Positions on the first record whose day lies from `from` up to before `to`, by the date index: in
    // order of day, then of record number. NotFound when there is none.
    int32_t PDB_FindDateEZG(int32_t handle, double from, double to);
    // The next record of that range after the one the last date search positioned on; NotFound ends the
    // walk, and is all there is after a PDB_FindDateEZG that found nothing. Records written or deleted
    // during a walk are seen or passed over as the index has them then.
    int32_t PDB_FindNextDateEZG(int32_t handle, double from, double to);
    // The date number of a day given as eight digits, year, month and day ("20261123"; cut at a zero
    // character), itself; 0 for text that is no valid day. The handle is not used.
    int32_t PDB_GETJulianDays(int32_t handle, const QString& text) const;

    // The column count itself (0 for a handle that is not open).
    int32_t PDB_FieldCount(int32_t handle) const;
    // Changes one column of the record buffer: text (cut at a zero character and at the column's width;
    // for a logical column its first character) or a number.
    int32_t PDB_PutField(int32_t handle, int32_t column, const QString& text);
    int32_t PDB_PutDoubleField(int32_t handle, int32_t column, double value);

    // The text of a code, at most 200 characters.
    int32_t PDB_TranslateError(int32_t code, QString& text) const;

private:
    Table* table(int32_t handle) const;

    bool m_initialised = false;
    int m_users = 0; // PDB_Init calls not yet matched by a PDB_Exit
    std::map<int32_t, std::unique_ptr<Table>> m_tables;
};

} // namespace pdb
