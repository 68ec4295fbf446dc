#pragma once

// One dBase III file as the store uses it: open for reading and writing, locked, its header checked, a
// table left by a killed process repaired, the records read with pread and written in place with pwrite.
//
// Why pread and no mapping: other dBase programs may write a table while this program holds it (the lock
// keeps only cooperating programs out), and one that shortens the file would turn every read of a mapped page
// past the new end into SIGBUS, even a read right after a check of the size. A pread past the end just
// comes back short, which is an error code. Reads go through a window: one record for a lookup, a stretch
// of 128 KiB for a walk, so that a walk or search over a table costs a system call per stretch, not per
// record; this program's writes are copied into the window. Only this program's writes are: a change by
// another program shows in unchanged(), and the table is then opened anew.

#include "platform/pdbstore/PdbIndex.h"
#include "platform/pdbstore/PdbSchema.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <vector>

namespace pdb {

class DbfFile {
public:
    // A field descriptor of the header.
    struct Field {
        char name[12] = {}; // as stored, up to its first zero byte
        char type = 0;
        uint8_t width = 0;
        uint8_t decimals = 0;
    };

    static constexpr char EndMarker = 0x1A;
    static constexpr char Live = ' ';
    static constexpr char Deleted = '*';

    DbfFile() = default;
    ~DbfFile();
    DbfFile(const DbfFile&) = delete;
    DbfFile& operator=(const DbfFile&) = delete;

    // How many records a read fetches: the one asked for, or a stretch ahead of it or behind it for a
    // walk that goes on in that direction.
    enum class Reading { One, Forward, Backward };

    // Opens and locks the file and reads its header: FileNotFound, CannotOpen, InUse, NotDbase. Nothing
    // is written.
    int32_t open(const QString& path);
    // The same for the file at `path` that is open and locked already; takes over the descriptor.
    int32_t adopt(int fd, const QString& path);
    // Whether the header's fields are the columns of `schema`.
    bool matches(const Schema& schema) const;
    // Checks the records against the header's count and repairs what an interrupted append left: whole
    // records behind the count are taken in, a torn one is cut off, the end marker is put back.
    // Truncated when records are missing (the file is left as it is).
    int32_t repair();
    // Closes, and so unlocks.
    void close();
    bool isOpen() const { return m_fd >= 0; }
    // Whether the file at the path is the one open here, as this program left it: the same inode, size and
    // modification time. False once another program has written it, shortened it, replaced it (a new file
    // renamed over it) or removed it, and after forget().
    bool unchanged() const;
    // Makes unchanged() false until the file is opened anew: for a state this program cannot vouch for.
    void forget() { m_left = {}; }

    int fd() const { return m_fd; }
    const std::vector<Field>& fields() const { return m_fields; }
    uint32_t recordCount() const { return m_count; }
    int recordSize() const { return m_recordSize; }
    int headerSize() const { return m_headerSize; }
    // The header as it is in the file; empty when it cannot be read.
    QByteArray headerBytes() const;

    // A record's bytes, flag first, `number` from 1 to recordCount(): a copy that stays valid until the
    // next read, write or close. Null when the file does not hold the record: readError() then says why
    // (Shrunk: the file has become shorter than its count; ReadFailed).
    const char* record(uint32_t number, Reading reading = Reading::One);
    int32_t readError() const { return m_readError; }

    // Writes a whole record in place.
    int32_t writeRecord(uint32_t number, const char* bytes);
    // Writes a record's flag.
    int32_t writeFlag(uint32_t number, char flag);
    // Appends a record: first its bytes and the end marker behind them, then the count in the header.
    int32_t append(const char* bytes);
    // Writes today's date into the header.
    int32_t writeDate();

    // The stamp of the file as it is now; false if it cannot be read.
    bool stamp(TableStamp& out) const;

    // The header of a new table of `schema` with `count` records.
    static QByteArray makeHeader(const Schema& schema, uint32_t count);
    // Today's date as the header keeps it: years since 1900, month, day.
    static void today(unsigned char out[3]);

private:
    int32_t readHeader();
    int32_t writeCount(uint32_t count);
    uint64_t offsetOf(uint32_t number) const {
        return uint64_t(m_headerSize) + uint64_t(number - 1) * uint64_t(m_recordSize);
    }
    // After a write of this program at `offset`: the window takes the bytes (or is dropped when the write
    // failed), and the file's identity is taken as this program now leaves it.
    void wrote(uint64_t offset, const char* bytes, size_t size, bool ok);
    void takeIdentity();

    int m_fd = -1;
    QByteArray m_path; // native
    std::vector<Field> m_fields;
    int m_headerSize = 0;
    int m_recordSize = 0;
    uint32_t m_count = 0;
    uint64_t m_size = 0; // the file's size as this program left it
    TableStamp m_left;   // inode, size and time as this program left the file; records unused
    std::vector<char> m_window;
    uint32_t m_windowFirst = 0; // the first record in the window
    uint32_t m_windowCount = 0;
    int32_t m_readError = 0;
};

} // namespace pdb
