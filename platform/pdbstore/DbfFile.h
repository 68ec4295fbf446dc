#pragma once

// One dBase III file as the store uses it: open for reading and writing, locked, its header checked, a
// table left by a killed process repaired, the records mapped into memory for reading and written in
// place with pwrite.
//
// Why a read-only shared mapping and pwrite: walks and searches read the records straight from the
// page cache, without a copy and without a system call per record, and a table of 100,000 records opens
// without reading it. Linux keeps one page cache for a file, so the bytes that pwrite puts there are
// what the mapping shows at once. The mapping reaches beyond the end of the file to leave room for
// appends; it is made anew only when the file outgrows it. Only bytes below the file's size are ever
// read (pages past the end of a file must not be touched). The lock keeps cooperating programs from
// shrinking the file under the mapping.

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

    // Opens and locks the file and reads its header: FileNotFound, CannotOpen, InUse, NotDbase. Nothing
    // is written.
    int32_t open(const QString& path);
    // The same for a file that is open and locked already; takes over the descriptor.
    int32_t adopt(int fd);
    // Whether the header's fields are the columns of `schema`.
    bool matches(const Schema& schema) const;
    // Checks the records against the header's count and repairs what an interrupted append left: whole
    // records behind the count are taken in, a torn one is cut off, the end marker is put back. Then maps
    // the file. Truncated when records are missing (the file is left as it is).
    int32_t repairAndMap();
    // Unmaps, closes, and so unlocks.
    void close();

    int fd() const { return m_fd; }
    const std::vector<Field>& fields() const { return m_fields; }
    uint32_t recordCount() const { return m_count; }
    int recordSize() const { return m_recordSize; }
    int headerSize() const { return m_headerSize; }
    // The header as it is in the file.
    QByteArray headerBytes() const;

    // A record's bytes, flag first; `number` from 1 to recordCount().
    const char* record(uint32_t number) const {
        return m_map + m_headerSize + uint64_t(number - 1) * uint64_t(m_recordSize);
    }
    bool isDeleted(uint32_t number) const { return record(number)[0] == Deleted; }
    // Maps all of the file's pages at once, before an operation that reads every record. Faulting them
    // in one by one costs about twice as much; an open for a few lookups does not pay either.
    void prefault();

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
    bool mapAtLeast(uint64_t size);
    void unmap();

    int m_fd = -1;
    std::vector<Field> m_fields;
    int m_headerSize = 0;
    int m_recordSize = 0;
    uint32_t m_count = 0;
    uint64_t m_size = 0;   // the file's size as this program left it
    char* m_map = nullptr; // read-only: written through pwrite
    uint64_t m_mapLength = 0;
    bool m_prefaulted = false;
};

} // namespace pdb
