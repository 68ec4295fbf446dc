#include "platform/pdbstore/PdbIndex.h"

#include <QFile>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <optional>
#include <type_traits>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace pdb {

static_assert(std::endian::native == std::endian::little, "index files hold little-endian numbers");

namespace {

constexpr uint64_t kMix1 = 0x9E3779B185EBCA87ull;
constexpr uint64_t kMix2 = 0xC2B2AE3D27D4EB4Full;
constexpr uint64_t kMix3 = 0xFF51AFD7ED558CCDull;

uint64_t load64(const char* p) {
    uint64_t word;
    std::memcpy(&word, p, sizeof word);
    return word;
}

uint64_t finish(uint64_t h) {
    h ^= h >> 33;
    h *= kMix3;
    h ^= h >> 33;
    h *= 0xC4CEB9FE1A85EC53ull;
    h ^= h >> 33;
    return h;
}

uint64_t round64(uint64_t acc, uint64_t input) {
    return std::rotl(acc + input * kMix2, 31) * kMix1;
}

// A checksum of a stretch of bytes: four independent lanes, so that megabytes take a millisecond or so.
uint64_t checksum(const void* data, size_t size, uint64_t seed) {
    const auto* p = static_cast<const char*>(data);
    uint64_t lanes[4] = {seed + kMix1 + kMix2, seed + kMix2, seed, seed - kMix1};
    size_t n = size;
    while (n >= 32) {
        for (int i = 0; i < 4; ++i)
            lanes[i] = round64(lanes[i], load64(p + 8 * i));
        p += 32;
        n -= 32;
    }
    uint64_t h = std::rotl(lanes[0], 1) + std::rotl(lanes[1], 7) + std::rotl(lanes[2], 12) +
                 std::rotl(lanes[3], 18) + size;
    while (n >= 8) {
        h = round64(h, load64(p));
        p += 8;
        n -= 8;
    }
    while (n > 0) {
        h = round64(h, static_cast<unsigned char>(*p));
        ++p;
        --n;
    }
    return finish(h);
}

constexpr char kMagic[8] = {'M', 'R', 'V', 'I', 'N', 'D', 'E', 'X'};
constexpr uint32_t kVersion = 1;

struct FileHeader {
    char magic[8];
    uint32_t version;
    uint32_t kind;
    uint32_t columnCount;
    uint8_t columns[4];
    uint64_t tableSize;
    int64_t tableMtimeNs;
    uint64_t tableInode;
    uint64_t tableDevice;
    uint32_t tableRecords;
    uint32_t liveRecords;
    int64_t maxKey;
    // The lengths of the arrays. A hash index: slots, used slots, key bytes, nodes. A date index: pairs.
    uint64_t counts[4];
    uint64_t checksum; // of the header with this field 0, then of the arrays
};
static_assert(std::is_trivially_copyable_v<FileHeader> && sizeof(FileHeader) == 112);
static_assert(sizeof(HitTable::Slot) == 16 && sizeof(HitTable::Node) == 8);
static_assert(std::is_trivially_copyable_v<DayIndex::Entry> && sizeof(DayIndex::Entry) == 8);

// The header an index file of `layout` built from the table as `stamp` describes must have.
FileHeader makeHeader(const IndexLayout& layout, const TableStamp& stamp) {
    FileHeader header{};
    std::memcpy(header.magic, kMagic, sizeof kMagic);
    header.version = kVersion;
    header.kind = uint32_t(layout.kind);
    header.columnCount = layout.columnCount;
    for (int i = 0; i < MaxIndexColumns; ++i)
        header.columns[i] = layout.columns[i];
    header.tableSize = stamp.size;
    header.tableMtimeNs = stamp.mtimeNs;
    header.tableInode = stamp.inode;
    header.tableDevice = stamp.device;
    header.tableRecords = stamp.records;
    return header;
}

// An array of an index, as the file holds it behind the header: to be written, and to be read into.
struct Stretch {
    const void* data;
    size_t size;
};
struct Room {
    void* data;
    size_t size;
};

template <typename Arrays> uint64_t fileChecksum(FileHeader header, const Arrays& arrays) {
    header.checksum = 0;
    uint64_t sum = checksum(&header, sizeof header, 0);
    for (const auto& array : arrays)
        sum = checksum(array.data, array.size, sum);
    return sum;
}

// Writes the header, with its checksum, and the arrays to a temporary file that is then renamed over
// the index file.
bool writeIndex(const QString& path, FileHeader header, std::initializer_list<Stretch> arrays) {
    header.checksum = fileChecksum(header, arrays);
    const QByteArray native = QFile::encodeName(path);
    const QByteArray temporary = native + ".tmp";
    const int fd = ::open(temporary.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0)
        return false;
    bool ok = WriteAt(fd, &header, sizeof header, 0);
    uint64_t at = sizeof header;
    for (const Stretch& array : arrays) {
        ok = ok && WriteAt(fd, array.data, array.size, at);
        at += array.size;
    }
    ok = ::close(fd) == 0 && ok;
    // The rename replaces the old file in one step: a reader sees the old index or the new one.
    if (!ok || ::rename(temporary.constData(), native.constData()) != 0) {
        ::unlink(temporary.constData());
        return false;
    }
    return true;
}

// Reads an index file whose header matches `layout` and `stamp`. `prepare` checks the header's counts
// against the bytes behind the header and makes room for the arrays (none: the file is refused); the
// arrays are then read into that room and the checksum is checked. False when any of it fails.
template <typename Prepare>
bool readIndex(const QString& path, const IndexLayout& layout, const TableStamp& stamp, FileHeader& header,
               Prepare prepare) {
    const QByteArray native = QFile::encodeName(path);
    const int fd = ::open(native.constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    struct stat info {};
    const FileHeader expected = makeHeader(layout, stamp);
    bool ok = ::fstat(fd, &info) == 0 && uint64_t(info.st_size) >= sizeof header &&
              ReadAt(fd, &header, sizeof header, 0);
    ok = ok && std::memcmp(header.magic, kMagic, sizeof kMagic) == 0 && header.version == kVersion &&
         header.kind == expected.kind && header.columnCount == expected.columnCount &&
         std::memcmp(header.columns, expected.columns, sizeof header.columns) == 0 &&
         header.tableSize == expected.tableSize && header.tableMtimeNs == expected.tableMtimeNs &&
         header.tableInode == expected.tableInode && header.tableDevice == expected.tableDevice &&
         header.tableRecords == expected.tableRecords && header.liveRecords <= stamp.records;
    if (ok) {
        const std::optional<std::vector<Room>> arrays =
            prepare(header, uint64_t(info.st_size) - sizeof header);
        ok = arrays.has_value();
        uint64_t at = sizeof header;
        for (size_t i = 0; ok && i < arrays->size(); ++i) {
            const Room& array = (*arrays)[i];
            ok = ReadAt(fd, array.data, array.size, at);
            at += array.size;
        }
        ok = ok && fileChecksum(header, *arrays) == header.checksum;
    }
    ::close(fd);
    return ok;
}

} // namespace

bool ReadAt(int fd, void* to, size_t size, uint64_t offset) {
    auto* out = static_cast<char*>(to);
    while (size > 0) {
        const ssize_t got = ::pread(fd, out, size, off_t(offset));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return false;
        out += got;
        size -= size_t(got);
        offset += uint64_t(got);
    }
    return true;
}

bool WriteAt(int fd, const void* from, size_t size, uint64_t offset) {
    const auto* in = static_cast<const char*>(from);
    while (size > 0) {
        const ssize_t put = ::pwrite(fd, in, size, off_t(offset));
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            return false;
        in += put;
        size -= size_t(put);
        offset += uint64_t(put);
    }
    return true;
}

// ---- HitTable

HitTable::HitTable(uint32_t columns) : m_columns(std::max<uint32_t>(columns, 1)) {
    m_nodes.resize(1);
}

void HitTable::clear() {
    m_slots.clear();
    m_used = 0;
    m_keys.clear();
    m_garbage = 0;
    m_nodes.assign(1, Node{});
}

void HitTable::setRecords(uint32_t records) {
    const size_t nodes = size_t(records) * m_columns + 1;
    if (nodes > m_nodes.size())
        m_nodes.resize(nodes);
}

void HitTable::reserveKeys(size_t keys) {
    const size_t wanted = std::bit_ceil(keys * 4 / 3 + 2);
    if (wanted > m_slots.size())
        rehash(wanted);
}

uint64_t HitTable::Hash(std::string_view key) {
    const char* p = key.data();
    size_t n = key.size();
    uint64_t h = kMix1 ^ (uint64_t(n) * kMix2);
    while (n >= 8) {
        h = (h ^ load64(p)) * kMix3;
        h ^= h >> 32;
        p += 8;
        n -= 8;
    }
    if (n > 0) {
        uint64_t word = 0;
        std::memcpy(&word, p, n);
        h = (h ^ word) * kMix3;
        h ^= h >> 32;
    }
    return finish(h);
}

std::string_view HitTable::keyAt(uint32_t offset) const {
    if (offset >= m_keys.size())
        return {};
    const size_t length = static_cast<unsigned char>(m_keys[offset]);
    if (offset + 1 + length > m_keys.size())
        return {};
    return {m_keys.data() + offset + 1, length};
}

size_t HitTable::find(std::string_view key) const {
    if (m_slots.empty() || key.empty())
        return NoSlot;
    const size_t mask = m_slots.size() - 1;
    const auto hash = uint32_t(Hash(key));
    for (size_t i = hash & mask, probes = 0; probes < m_slots.size(); i = (i + 1) & mask, ++probes) {
        const Slot& slot = m_slots[i];
        if (slot.head == 0)
            return NoSlot;
        if (slot.hash == hash && keyAt(slot.key) == key)
            return i;
    }
    return NoSlot;
}

uint32_t HitTable::nodeId(Hit hit) const {
    if (hit.record == 0 || hit.column >= m_columns)
        return 0;
    const uint64_t id = uint64_t(hit.record - 1) * m_columns + hit.column + 1;
    return id < m_nodes.size() ? uint32_t(id) : 0;
}

void HitTable::rehash(size_t capacity) {
    std::vector<Slot> old = std::move(m_slots);
    m_slots.assign(capacity, Slot{});
    const size_t mask = capacity - 1;
    for (const Slot& slot : old) {
        if (slot.head == 0)
            continue;
        size_t i = slot.hash & mask;
        while (m_slots[i].head != 0)
            i = (i + 1) & mask;
        m_slots[i] = slot;
    }
}

bool HitTable::insert(std::string_view key, Hit hit) {
    const uint32_t id = nodeId(hit);
    if (id == 0 || key.empty() || key.size() > MaxKey || m_nodes[id].prev != Detached)
        return false;
    if ((m_used + 1) * 4 > m_slots.size() * 3)
        rehash(std::max<size_t>(16, m_slots.size() * 2));
    const size_t mask = m_slots.size() - 1;
    const auto hash = uint32_t(Hash(key));
    size_t i = hash & mask;
    while (m_slots[i].head != 0 && !(m_slots[i].hash == hash && keyAt(m_slots[i].key) == key))
        i = (i + 1) & mask;
    Slot& slot = m_slots[i];
    Node& node = m_nodes[id];
    if (slot.head == 0) {
        if (m_keys.size() + 1 + key.size() > std::numeric_limits<uint32_t>::max())
            return false;
        slot.hash = hash;
        slot.key = uint32_t(m_keys.size());
        m_keys.push_back(static_cast<char>(key.size()));
        m_keys.insert(m_keys.end(), key.begin(), key.end());
        slot.head = slot.tail = id;
        node = Node{0, 0};
        ++m_used;
        return true;
    }
    // Hits mostly come in ascending order: look for the place from the tail.
    const uint64_t wanted = order(id);
    uint32_t after = slot.tail;
    for (size_t steps = 0;
         after != 0 && after < m_nodes.size() && order(after) > wanted && steps < m_nodes.size(); ++steps)
        after = m_nodes[after].prev;
    if (after >= m_nodes.size())
        return false; // a damaged list; left as it is
    if (after == 0) {
        node = Node{0, slot.head};
        m_nodes[slot.head].prev = id;
        slot.head = id;
    } else {
        const uint32_t next = m_nodes[after].next;
        node = Node{after, next};
        m_nodes[after].next = id;
        if (next != 0)
            m_nodes[next].prev = id;
        else
            slot.tail = id;
    }
    return true;
}

bool HitTable::remove(std::string_view key, Hit hit) {
    const uint32_t id = nodeId(hit);
    const size_t i = find(key);
    if (id == 0 || i == NoSlot)
        return false;
    Slot& slot = m_slots[i];
    const Node node = m_nodes[id];
    if (node.prev == Detached)
        return false;
    // The node must sit in this key's list, with its neighbours pointing at it.
    if (node.prev == 0 ? slot.head != id : m_nodes[node.prev].next != id)
        return false;
    if (node.next == 0 ? slot.tail != id : m_nodes[node.next].prev != id)
        return false;
    if (node.prev != 0)
        m_nodes[node.prev].next = node.next;
    else
        slot.head = node.next;
    if (node.next != 0)
        m_nodes[node.next].prev = node.prev;
    else
        slot.tail = node.prev;
    m_nodes[id] = Node{};
    if (slot.head == 0)
        eraseSlot(i);
    return true;
}

void HitTable::eraseSlot(size_t slot) {
    m_garbage += 1 + keyAt(m_slots[slot].key).size();
    const size_t mask = m_slots.size() - 1;
    size_t hole = slot;
    for (size_t j = (hole + 1) & mask; m_slots[j].head != 0; j = (j + 1) & mask) {
        // The follower moves into the hole unless its home lies cyclically after the hole, up to itself.
        const size_t home = m_slots[j].hash & mask;
        const bool staysPut = hole <= j ? (hole < home && home <= j) : (hole < home || home <= j);
        if (!staysPut) {
            m_slots[hole] = m_slots[j];
            hole = j;
        }
    }
    m_slots[hole] = Slot{};
    --m_used;
    if (m_garbage > 65536 && m_garbage * 2 > m_keys.size())
        compactKeys();
}

void HitTable::compactKeys() {
    std::vector<char> keys;
    keys.reserve(m_keys.size() - m_garbage);
    for (Slot& slot : m_slots) {
        if (slot.head == 0)
            continue;
        const std::string_view key = keyAt(slot.key);
        slot.key = uint32_t(keys.size());
        keys.push_back(static_cast<char>(key.size()));
        keys.insert(keys.end(), key.begin(), key.end());
    }
    m_keys = std::move(keys);
    m_garbage = 0;
}

bool HitTable::valid(uint32_t records) const {
    // One pass in order over each array, so that a large index checks in a few milliseconds. It proves
    // what the operations rely on to stay within the arrays: every node number in range, and the lists
    // linked both ways (which makes them free of cycles), in ascending order, through nodes that are in
    // a list. Key offsets need no check: keyAt bounds them on every use.
    if (m_nodes.size() != size_t(records) * m_columns + 1)
        return false;
    if (!m_slots.empty() && (!std::has_single_bit(m_slots.size()) || m_used >= m_slots.size()))
        return false;
    if (m_slots.empty() && m_used != 0)
        return false;
    const size_t nodes = m_nodes.size();
    size_t used = 0;
    for (const Slot& slot : m_slots) {
        if (slot.head == 0)
            continue;
        ++used;
        if (slot.head >= nodes || slot.tail == 0 || slot.tail >= nodes)
            return false;
    }
    size_t heads = 0;
    for (size_t id = 1; id < nodes; ++id) {
        const Node& node = m_nodes[id];
        if (node.prev == Detached)
            continue;
        // A neighbour must be in a list itself: walks never step onto a detached node.
        if (node.prev >= nodes || node.next >= nodes ||
            (node.prev != 0 && m_nodes[node.prev].prev == Detached) ||
            (node.next != 0 && m_nodes[node.next].prev == Detached))
            return false;
        if (node.prev == 0)
            ++heads;
        else if (m_nodes[node.prev].next != id)
            return false;
        if (node.next != 0 && (m_nodes[node.next].prev != id || order(uint32_t(id)) >= order(node.next)))
            return false;
    }
    return used == m_used && heads == m_used;
}

// ---- DayIndex

void DayIndex::assign(std::vector<Entry> entries) {
    m_entries = std::move(entries);
    std::sort(m_entries.begin(), m_entries.end());
    m_entries.erase(std::unique(m_entries.begin(), m_entries.end()), m_entries.end());
}

bool DayIndex::insert(Entry entry) {
    if (m_entries.empty() || m_entries.back() < entry) {
        m_entries.push_back(entry);
        return true;
    }
    const auto at = std::lower_bound(m_entries.begin(), m_entries.end(), entry);
    if (*at == entry)
        return false;
    m_entries.insert(at, entry);
    return true;
}

bool DayIndex::remove(Entry entry) {
    const auto at = std::lower_bound(m_entries.begin(), m_entries.end(), entry);
    if (at == m_entries.end() || *at != entry)
        return false;
    m_entries.erase(at);
    return true;
}

bool DayIndex::valid(uint32_t records) const {
    for (size_t i = 0; i < m_entries.size(); ++i) {
        const Entry& entry = m_entries[i];
        if (entry.record == 0 || entry.record > records || (i > 0 && !(m_entries[i - 1] < entry)))
            return false;
    }
    return true;
}

// ---- Index files

bool WriteIndexFile(const QString& path, const IndexLayout& layout, const TableStamp& stamp,
                    uint32_t liveRecords, int64_t maxKey, HitTable& table) {
    if (table.m_garbage > 0)
        table.compactKeys();
    FileHeader header = makeHeader(layout, stamp);
    header.liveRecords = liveRecords;
    header.maxKey = maxKey;
    header.counts[0] = table.m_slots.size();
    header.counts[1] = table.m_used;
    header.counts[2] = table.m_keys.size();
    header.counts[3] = table.m_nodes.size();
    return writeIndex(path, header,
                      {{table.m_slots.data(), table.m_slots.size() * sizeof(HitTable::Slot)},
                       {table.m_keys.data(), table.m_keys.size()},
                       {table.m_nodes.data(), table.m_nodes.size() * sizeof(HitTable::Node)}});
}

bool WriteIndexFile(const QString& path, const IndexLayout& layout, const TableStamp& stamp,
                    uint32_t liveRecords, int64_t maxKey, const DayIndex& days) {
    FileHeader header = makeHeader(layout, stamp);
    header.liveRecords = liveRecords;
    header.maxKey = maxKey;
    header.counts[0] = days.m_entries.size();
    return writeIndex(path, header,
                      {{days.m_entries.data(), days.m_entries.size() * sizeof(DayIndex::Entry)}});
}

bool ReadIndexFile(const QString& path, const IndexLayout& layout, const TableStamp& stamp,
                   uint32_t& liveRecords, int64_t& maxKey, HitTable& table) {
    table.clear();
    FileHeader header{};
    const auto prepare = [&](const FileHeader& h, uint64_t bytes) -> std::optional<std::vector<Room>> {
        const uint64_t slots = h.counts[0];
        const uint64_t keyBytes = h.counts[2];
        const uint64_t nodes = h.counts[3];
        // Sizes within reason before anything is allocated for them.
        if (h.columnCount != table.m_columns || slots > (uint64_t(1) << 31) ||
            keyBytes > (uint64_t(1) << 32) || nodes != uint64_t(stamp.records) * table.m_columns + 1 ||
            bytes != slots * sizeof(HitTable::Slot) + keyBytes + nodes * sizeof(HitTable::Node))
            return std::nullopt;
        table.m_slots.resize(slots);
        table.m_keys.resize(keyBytes);
        table.m_nodes.resize(nodes);
        table.m_used = h.counts[1];
        return std::vector<Room>{{table.m_slots.data(), table.m_slots.size() * sizeof(HitTable::Slot)},
                                 {table.m_keys.data(), table.m_keys.size()},
                                 {table.m_nodes.data(), table.m_nodes.size() * sizeof(HitTable::Node)}};
    };
    if (!readIndex(path, layout, stamp, header, prepare) || !table.valid(stamp.records)) {
        table.clear();
        return false;
    }
    table.m_garbage = 0;
    liveRecords = header.liveRecords;
    maxKey = header.maxKey;
    return true;
}

bool ReadIndexFile(const QString& path, const IndexLayout& layout, const TableStamp& stamp,
                   uint32_t& liveRecords, int64_t& maxKey, DayIndex& days) {
    days.clear();
    FileHeader header{};
    const auto prepare = [&](const FileHeader& h, uint64_t bytes) -> std::optional<std::vector<Room>> {
        const uint64_t count = h.counts[0];
        if (count > h.liveRecords || bytes != count * sizeof(DayIndex::Entry))
            return std::nullopt;
        days.m_entries.resize(count);
        return std::vector<Room>{{days.m_entries.data(), size_t(bytes)}};
    };
    if (!readIndex(path, layout, stamp, header, prepare) || !days.valid(stamp.records)) {
        days.clear();
        return false;
    }
    liveRecords = header.liveRecords;
    maxKey = header.maxKey;
    return true;
}

} // namespace pdb
