#pragma once

// One open table of the store: its file, its indexes in memory, the current record and the record
// buffer. The PDB_* operations of PdbStore come down to the members here; the layout comes from the
// table's Schema.

#include "platform/pdbstore/DbfFile.h"
#include "platform/pdbstore/PdbIndex.h"
#include "platform/pdbstore/PdbSchema.h"

#include <QString>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace pdb {

class Table {
public:
    ~Table() = default;
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;

    // Opens a table of the kind `schema` describes, with its indexes.
    static int32_t Open(const QString& path, const Schema& schema, std::unique_ptr<Table>& out);
    // Rewrites a closed table without its deleted records, and its index files.
    static int32_t Pack(const QString& path);
    // The index file of `layout` beside the table at `path`.
    static QString IndexPath(const QString& path, const IndexLayout& layout);

    // Writes the indexes to their files when they differ from them, and closes the file. With
    // `writeIndexes` false the index files are left as they are.
    int32_t close(bool writeIndexes = true);

    int32_t type() const { return m_schema->type; }
    // The count of live records; 0 when the table cannot be read.
    uint32_t liveCount();
    int fieldCount() const { return int(m_schema->columns.size()); }
    uint32_t current() const { return m_current; }

    int32_t first();
    int32_t next();
    int32_t last();
    int32_t go(int64_t number);
    int32_t putRecord(int64_t number);
    int32_t deleteCurrent();

    int32_t getBlock(char* block) const;
    // A block with a record key (a book's): the key decides between replace and append.
    int32_t putBlock(char* block);
    // A block without key (the call log's): appended, or written over the current record.
    int32_t appendBlock(const char* block);
    int32_t updateBlock(const char* block);
    int32_t findKey(double key);
    int32_t findNumber(const QString& key);
    int32_t find(const QString& text, int column, int flags);
    // The date index: the first record of the days from `from` up to before `to`, and the next one
    // after the pair the last of these searches positioned on.
    int32_t findDate(double from, double to);
    int32_t findNextDate(double from, double to);

    int32_t putField(int column, const QString& text);
    int32_t putDouble(int column, double value);

private:
    enum class Indexes { OfSchema, KeyOnly };
    struct Index {
        IndexLayout layout;
        QString path;
        HitTable hits; // a key or number index
        DayIndex days; // a date index
    };
    // A key of an index, ready for the hash table.
    struct Key {
        std::array<char, HitTable::MaxKey> bytes;
        size_t size = 0;
        std::string_view view() const { return {bytes.data(), size}; }
    };

    explicit Table(const QString& path);
    static int32_t OpenAs(const QString& path, const Schema* schema, Indexes indexes,
                          std::unique_ptr<Table>& out);
    void setSchema(const Schema& schema);
    void setIndexes(std::vector<IndexLayout> layouts);
    int32_t loadOrBuildIndexes();
    // Builds the indexes marked in `rebuild` from the records, and the count of live records and the
    // highest key.
    int32_t buildIndexes(const std::vector<bool>& rebuild);
    // Before every operation that reads or writes the file: a table that another program has written,
    // shortened or replaced since this program last touched it is opened anew (reload), with its indexes
    // read or rebuilt. A reload that fails leaves the table closed and fails the operation with its code;
    // the next operation tries again.
    int32_t refresh();
    int32_t reload();
    // Whether a search may stop at record `number`: it is live, or it cannot be read, and positioning on
    // it then says why. A walk by an index reads ahead, a lookup only the record.
    bool candidate(uint32_t number, DbfFile::Reading reading = DbfFile::Reading::One);

    const char* field(const char* record, int column) const { return record + m_offsets[size_t(column)]; }
    std::optional<int64_t> recordKey(const char* record) const;
    // The key a record holds for column `ordinal` of an index; none when the field is empty.
    bool keyOf(const Index& index, int ordinal, const char* record, Key& key) const;
    void foldInto(const char* bytes, size_t size, Key& key) const;
    // The day a record holds for a date index; none when its field holds no number of 32 bits.
    std::optional<int32_t> dayOf(const Index& index, const char* record) const;
    // A record of the table from a block; BadValue when a number does not fit its column.
    int32_t recordFromBlock(const char* block, std::vector<char>& record) const;
    int32_t positionOnDay(std::optional<DayIndex::Entry> after, double from, double to);

    // Makes the record the current one and reads it into the buffer.
    int32_t position(uint32_t number);
    // Removes the index files and dates the header, before the first write of a session: a process that
    // is killed from here on leaves no index file that looks right.
    int32_t beginWrite();
    int32_t replace(uint32_t number, const char* bytes);
    int32_t append(const char* bytes);
    // Brings the indexes, the live count and the highest key from the record as it was (`before`, null
    // for a new one) to the record as it is in the file now.
    void reindex(uint32_t number, const char* before);
    std::optional<uint32_t> findByKey(int64_t key);

    QString m_path;
    DbfFile m_file;
    const Schema* m_schema = nullptr;
    std::vector<int> m_offsets; // of the columns in a record, after the flag byte
    // The columns that hold text of the record block: what a search of every column reads. A book's
    // nine entry fields; not its key, its flag or its reserved columns, which hold digits, "T" or "N"
    // and blanks that every record has.
    std::vector<int> m_textColumns;
    std::vector<Index> m_indexes;
    std::array<unsigned char, 256> m_fold{};

    uint32_t m_current = 0;
    // The current record is gone from a table that another program shortened: operations on it fail with
    // Shrunk, and a walk ends.
    bool m_currentGone = false;
    std::vector<char> m_buffer;
    uint32_t m_live = 0;
    int64_t m_maxKey = 0;                    // the highest record key this table has held
    std::optional<DayIndex::Entry> m_dateAt; // where the last date search positioned
    bool m_indexesDirty = false;
    bool m_writing = false;
};

} // namespace pdb
