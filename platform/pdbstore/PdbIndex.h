#pragma once

// The indexes of a table: in memory while the table is open, in index files beside it in between. Two
// kinds: the hash index of keys and numbers (HitTable) and the call log's date index (DayIndex).
//
// An index file holds the index's arrays as they are in memory, after a header with a magic, a version,
// the index's kind and columns, the stamp of the table it was built from (size, modification time,
// inode, record count), the table's count of live records and its highest record key, the lengths of
// the arrays, and a checksum. Loading one is a few reads and a check of its arrays; a file that does not
// belong to the table as it is now, or does not check out, is not used and the index is built from the
// table instead. Both kinds share the header, the checksum and the atomic write; only the arrays differ.
// The files hold native little-endian numbers.

#include "platform/pdbstore/PdbSchema.h"

#include <QString>

#include <algorithm>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>
#include <vector>

namespace pdb {

// Whole reads and writes at a file offset, through EINTR and short transfers; false on any failure. A write
// that has returned is in the page cache, so the process being killed cannot tear it; nothing calls
// fsync, because the store protects against a killed process, not against losing power.
bool ReadAt(int fd, void* to, size_t size, uint64_t offset);
bool WriteAt(int fd, const void* from, size_t size, uint64_t offset);

// What identifies a state of a table's file: an index built from another state is stale.
struct TableStamp {
    uint64_t size = 0;
    int64_t mtimeNs = 0;
    uint64_t inode = 0;
    uint64_t device = 0;
    uint32_t records = 0;

    bool operator==(const TableStamp&) const = default;
};

// A hash index from keys (byte strings of 1 to 255 bytes) to the records that hold them. A record can
// hold a key in each of several columns of the index; a hit is a record and the column (0 for the
// index's first). The hits of a key are kept in order of column, then record number, so the first is
// the best.
//
// Layout: an open-addressing table of slots (linear probing, deletion by moving the followers back)
// whose keys sit in one byte arena, and one list node per record and column, so that a hit needs no
// allocation of its own and is unlinked without a search. All of it is plain arrays, which an index
// file holds as they are.
class HitTable {
public:
    struct Hit {
        uint32_t record = 0;
        uint32_t column = 0;
    };
    struct Slot {
        uint32_t hash = 0;
        uint32_t key = 0;  // offset of the key in the arena: its length byte, then its bytes
        uint32_t head = 0; // first node of the hits; 0 for an empty slot
        uint32_t tail = 0;
    };
    struct Node {
        uint32_t prev = Detached;
        uint32_t next = 0;
    };
    static constexpr uint32_t Detached = std::numeric_limits<uint32_t>::max();
    static constexpr size_t MaxKey = 255;

    explicit HitTable(uint32_t columns = 1);

    uint32_t columns() const { return m_columns; }
    size_t keyCount() const { return m_used; }
    void clear();
    // Room for the hits of the records 1 to `records`.
    void setRecords(uint32_t records);
    void reserveKeys(size_t keys);

    // False (and nothing changes) for an empty or too long key, a hit outside the records, a hit that
    // is in the index already, or one the key does not have.
    bool insert(std::string_view key, Hit hit);
    bool remove(std::string_view key, Hit hit);

    // The first hit of the key whose record `accept` takes.
    template <typename Accept> std::optional<Hit> first(std::string_view key, Accept accept) const {
        const size_t slot = find(key);
        if (slot == NoSlot)
            return std::nullopt;
        uint32_t id = m_slots[slot].head;
        for (size_t steps = 0; id != 0 && id < m_nodes.size() && steps < m_nodes.size(); ++steps) {
            const Hit hit = hitOf(id);
            if (accept(hit.record))
                return hit;
            id = m_nodes[id].next;
        }
        return std::nullopt;
    }

    static uint64_t Hash(std::string_view key);

private:
    friend bool WriteIndexFile(const QString&, const IndexLayout&, const TableStamp&, uint32_t, int64_t,
                               HitTable&);
    friend bool ReadIndexFile(const QString&, const IndexLayout&, const TableStamp&, uint32_t&, int64_t&,
                              HitTable&);
    static constexpr size_t NoSlot = std::numeric_limits<size_t>::max();

    size_t find(std::string_view key) const;
    std::string_view keyAt(uint32_t offset) const;
    uint32_t nodeId(Hit hit) const;
    Hit hitOf(uint32_t id) const { return {(id - 1) / m_columns + 1, (id - 1) % m_columns}; }
    uint64_t order(uint32_t id) const {
        const Hit hit = hitOf(id);
        return uint64_t(hit.column) << 32 | hit.record;
    }
    void rehash(size_t capacity);
    void eraseSlot(size_t slot);
    void compactKeys();
    // Whether the arrays form a sound index for `records` records (after a load).
    bool valid(uint32_t records) const;

    uint32_t m_columns;
    std::vector<Slot> m_slots; // a power of two of them, or none
    size_t m_used = 0;
    std::vector<char> m_keys;
    size_t m_garbage = 0;      // bytes of the arena whose keys are gone
    std::vector<Node> m_nodes; // node 0 is none; record r, column c is node (r - 1) * columns + c + 1
};

// The date index of the call log: a pair of day and record number for each live record that holds a
// day, in ascending order of day, then record. Calls are logged in the order of time, so nearly every
// insert goes to the end in constant time; one that does not goes to its place by binary search. A
// search costs a binary search and then one step per pair it passes.
class DayIndex {
public:
    struct Entry {
        int32_t day = 0;
        uint32_t record = 0;
        auto operator<=>(const Entry&) const = default;
    };

    size_t size() const { return m_entries.size(); }
    void clear() { m_entries.clear(); }
    // Takes pairs in any order.
    void assign(std::vector<Entry> entries);
    // False (and nothing changes) for a pair that is in the index already, or one that is not.
    bool insert(Entry entry);
    bool remove(Entry entry);

    // The first pair whose day lies from `from` up to before `to`, after `after` if given, whose record
    // `accept` takes.
    template <typename Accept>
    std::optional<Entry> next(double from, double to, std::optional<Entry> after, Accept accept) const {
        if (!(from < to)) // an empty range, or not a number
            return std::nullopt;
        auto at = std::partition_point(m_entries.begin(), m_entries.end(),
                                       [&](const Entry& e) { return double(e.day) < from; });
        if (after)
            at = std::max(at, std::upper_bound(m_entries.begin(), m_entries.end(), *after));
        for (; at != m_entries.end() && double(at->day) < to; ++at)
            if (accept(at->record))
                return *at;
        return std::nullopt;
    }

private:
    friend bool WriteIndexFile(const QString&, const IndexLayout&, const TableStamp&, uint32_t, int64_t,
                               const DayIndex&);
    friend bool ReadIndexFile(const QString&, const IndexLayout&, const TableStamp&, uint32_t&, int64_t&,
                              DayIndex&);
    // Whether the pairs are in strict order and name records from 1 to `records` (after a load).
    bool valid(uint32_t records) const;

    std::vector<Entry> m_entries;
};

// Writes an index file atomically (a temporary file renamed over it). False if it could not be written.
bool WriteIndexFile(const QString& path, const IndexLayout& layout, const TableStamp& stamp,
                    uint32_t liveRecords, int64_t maxKey, HitTable& table);
bool WriteIndexFile(const QString& path, const IndexLayout& layout, const TableStamp& stamp,
                    uint32_t liveRecords, int64_t maxKey, const DayIndex& days);
// Loads an index file that was built from the table as `stamp` describes. False, and the index empty,
// when the file is missing, stale or damaged.
bool ReadIndexFile(const QString& path, const IndexLayout& layout, const TableStamp& stamp,
                   uint32_t& liveRecords, int64_t& maxKey, HitTable& table);
bool ReadIndexFile(const QString& path, const IndexLayout& layout, const TableStamp& stamp,
                   uint32_t& liveRecords, int64_t& maxKey, DayIndex& days);

} // namespace pdb
