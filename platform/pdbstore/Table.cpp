#include "platform/pdbstore/Table.h"

#include "platform/Windows1252.h"
#include "platform/pdbstore/PdbStore.h"

#include <QFile>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace pdb {
namespace {

// Keys are whole numbers; beyond this a double no longer holds every one of them.
constexpr double kLargestKey = 9007199254740992.0; // 2^53

bool isTrue(char c) {
    return c == 'T' || c == 't' || c == 'Y' || c == 'y';
}
bool isFalse(char c) {
    return c == 'F' || c == 'f' || c == 'N' || c == 'n';
}

// The size of `bytes` without the blanks at its end; eight at a time, as most fields end in many.
size_t trimmedSize(const char* bytes, size_t size) {
    constexpr uint64_t kBlanks = 0x2020202020202020ull;
    while (size >= 8) {
        uint64_t word = 0;
        std::memcpy(&word, bytes + size - 8, sizeof word);
        if (word != kBlanks)
            break;
        size -= 8;
    }
    while (size > 0 && bytes[size - 1] == ' ')
        --size;
    return size;
}

// A numeric field: blanks around digits, as dBase writes them. None for blanks or anything else.
std::optional<double> parseNumber(const char* bytes, size_t size) {
    const char* begin = bytes;
    const char* end = bytes + size;
    while (begin < end && *begin == ' ')
        ++begin;
    while (end > begin && (end[-1] == ' ' || end[-1] == '\0'))
        --end;
    if (begin == end)
        return std::nullopt;
    if (*begin == '+' && ++begin == end)
        return std::nullopt; // a sign alone
    // Whole numbers, the usual content, without the general parser.
    if (end - begin <= 15) {
        const bool negative = *begin == '-';
        int64_t whole = 0;
        const char* p = negative ? begin + 1 : begin;
        bool digits = p < end;
        for (; p < end && digits; ++p) {
            digits = *p >= '0' && *p <= '9';
            whole = whole * 10 + (*p - '0');
        }
        if (digits)
            return double(negative ? -whole : whole);
    }
    double value = 0;
    const auto [stop, error] = std::from_chars(begin, end, value);
    if (error != std::errc() || stop != end || !std::isfinite(value))
        return std::nullopt;
    return value;
}

// A number as dBase writes it into a numeric field: right-aligned, with its decimals. False if it does
// not fit.
bool formatNumber(double value, const Column& column, char* out) {
    if (!std::isfinite(value))
        return false;
    if (value == 0)
        value = 0; // no "-0"
    char text[400];
    const auto [end, error] =
        std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, int(column.decimals));
    if (error != std::errc())
        return false;
    const auto size = size_t(end - text);
    if (size > column.width)
        return false;
    std::memset(out, ' ', column.width - size);
    std::memcpy(out + (column.width - size), text, size);
    return true;
}

// A number cut to a whole number, if a 32-bit integer holds it.
std::optional<int32_t> whole32(double value) {
    if (!std::isfinite(value))
        return std::nullopt;
    const double whole = std::trunc(value);
    if (whole < double(std::numeric_limits<int32_t>::min()) ||
        whole > double(std::numeric_limits<int32_t>::max()))
        return std::nullopt;
    return int32_t(whole);
}

bool wholeKey(double key, int64_t& out) {
    if (!std::isfinite(key) || std::trunc(key) != key || std::fabs(key) > kLargestKey)
        return false;
    out = int64_t(key);
    return true;
}

QString cutAtZero(const QString& text) {
    const qsizetype zero = text.indexOf(QChar(0));
    return zero < 0 ? text : text.left(zero);
}

} // namespace

Table::Table(const QString& path) : m_path(path) {
    for (size_t b = 0; b < m_fold.size(); ++b)
        m_fold[b] = FoldCase1252(static_cast<unsigned char>(b));
}

QString Table::IndexPath(const QString& path, const IndexLayout& layout) {
    const QString suffix = QStringLiteral(".dbf");
    const QString base =
        path.endsWith(suffix, Qt::CaseInsensitive) ? path.left(path.size() - suffix.size()) : path;
    return base + QLatin1String(layout.suffix);
}

int32_t Table::Open(const QString& path, const Schema& schema, std::unique_ptr<Table>& out) {
    return OpenAs(path, &schema, Indexes::OfSchema, out);
}

int32_t Table::OpenAs(const QString& path, const Schema* schema, Indexes indexes,
                      std::unique_ptr<Table>& out) {
    out.reset();
    std::unique_ptr<Table> table(new Table(path));
    int32_t code = table->m_file.open(path);
    if (code != Ok)
        return code;
    if (schema == nullptr) {
        for (const Schema* candidate : AllSchemas())
            if (table->m_file.matches(*candidate)) {
                schema = candidate;
                break;
            }
    }
    if (schema == nullptr || !table->m_file.matches(*schema))
        return WrongLayout;
    table->setSchema(*schema);
    code = table->m_file.repair();
    if (code != Ok)
        return code;
    if (indexes == Indexes::OfSchema) {
        table->setIndexes({schema->indexes.begin(), schema->indexes.end()});
    } else {
        std::vector<IndexLayout> keyOnly;
        for (const IndexLayout& layout : schema->indexes)
            if (layout.kind == IndexKind::RecordKey)
                keyOnly.push_back(layout);
        table->setIndexes(std::move(keyOnly));
    }
    code = table->loadOrBuildIndexes();
    if (code != Ok)
        return code;
    out = std::move(table);
    return Ok;
}

void Table::setSchema(const Schema& schema) {
    m_schema = &schema;
    m_offsets.clear();
    m_textColumns.clear();
    int offset = 1;
    for (const Column& column : schema.columns) {
        if (column.form == BlockForm::Text)
            m_textColumns.push_back(int(m_offsets.size()));
        m_offsets.push_back(offset);
        offset += column.width;
    }
    m_buffer.assign(size_t(offset), ' ');
}

void Table::setIndexes(std::vector<IndexLayout> layouts) {
    m_indexes.clear();
    for (const IndexLayout& layout : layouts)
        m_indexes.push_back(
            Index{layout, IndexPath(m_path, layout), HitTable(layout.columnCount), DayIndex()});
}

int32_t Table::loadOrBuildIndexes() {
    TableStamp stamp;
    const bool stamped = m_file.stamp(stamp);
    std::vector<bool> rebuild(m_indexes.size(), true);
    std::optional<uint32_t> live;
    int64_t maxKey = 0;
    bool agree = true;
    for (size_t i = 0; i < m_indexes.size(); ++i) {
        Index& index = m_indexes[i];
        uint32_t fileLive = 0;
        int64_t fileMaxKey = 0;
        const bool read =
            stamped &&
            (index.layout.kind == IndexKind::Days
                 ? ReadIndexFile(index.path, index.layout, stamp, fileLive, fileMaxKey, index.days)
                 : ReadIndexFile(index.path, index.layout, stamp, fileLive, fileMaxKey, index.hits));
        if (!read)
            continue;
        rebuild[i] = false;
        agree = agree && (!live || *live == fileLive);
        live = fileLive;
        maxKey = std::max(maxKey, fileMaxKey);
    }
    if (!agree)
        rebuild.assign(m_indexes.size(), true);
    // The highest key stays through a reload, so that keys this program handed out are not handed out
    // again.
    m_maxKey = std::max(m_maxKey, maxKey);
    if (!live || !agree || std::find(rebuild.begin(), rebuild.end(), true) != rebuild.end())
        return buildIndexes(rebuild);
    m_live = *live;
    return Ok;
}

int32_t Table::buildIndexes(const std::vector<bool>& rebuild) {
    // One read of the records. The hits of a key are kept in order of column, then record: the first
    // column's hits go in as the records come, those of the further columns of an index wait here (the
    // record and its key, in record order) and go in after the read, each then at the end of its key's list.
    struct Waiting {
        size_t index;
        int ordinal;
        std::vector<char> keys; // each a length byte and the key's bytes
        std::vector<uint32_t> records;
    };
    std::vector<Waiting> waiting;
    std::vector<std::vector<DayIndex::Entry>> days(m_indexes.size());
    const uint32_t count = m_file.recordCount();
    for (size_t i = 0; i < m_indexes.size(); ++i) {
        if (!rebuild[i])
            continue;
        m_indexesDirty = true;
        Index& index = m_indexes[i];
        if (index.layout.kind == IndexKind::Days)
            continue;
        index.hits.clear();
        index.hits.setRecords(count);
        index.hits.reserveKeys(size_t(count) * index.layout.columnCount);
        for (int ordinal = 1; ordinal < index.layout.columnCount; ++ordinal)
            waiting.push_back({i, ordinal, {}, {}});
    }

    m_live = 0;
    Key key;
    for (uint32_t r = 1; r <= count; ++r) {
        const char* record = m_file.record(r, DbfFile::Reading::Forward);
        if (record == nullptr)
            return m_file.readError();
        if (const std::optional<int64_t> held = recordKey(record))
            m_maxKey = std::max(m_maxKey, *held);
        if (record[0] == DbfFile::Deleted)
            continue;
        ++m_live;
        for (size_t i = 0; i < m_indexes.size(); ++i) {
            if (!rebuild[i])
                continue;
            Index& index = m_indexes[i];
            if (index.layout.kind == IndexKind::Days) {
                if (const std::optional<int32_t> day = dayOf(index, record))
                    days[i].push_back({*day, r});
            } else if (keyOf(index, 0, record, key)) {
                index.hits.insert(key.view(), {r, 0});
            }
        }
        for (Waiting& later : waiting) {
            if (!keyOf(m_indexes[later.index], later.ordinal, record, key))
                continue;
            later.keys.push_back(static_cast<char>(key.size));
            later.keys.insert(later.keys.end(), key.bytes.begin(), key.bytes.begin() + ptrdiff_t(key.size));
            later.records.push_back(r);
        }
    }
    for (size_t i = 0; i < m_indexes.size(); ++i)
        if (rebuild[i] && m_indexes[i].layout.kind == IndexKind::Days)
            m_indexes[i].days.assign(std::move(days[i]));
    for (const Waiting& later : waiting) {
        HitTable& hits = m_indexes[later.index].hits;
        size_t at = 0;
        for (const uint32_t r : later.records) {
            const auto size = static_cast<unsigned char>(later.keys[at]);
            hits.insert(std::string_view(later.keys.data() + at + 1, size), {r, uint32_t(later.ordinal)});
            at += 1 + size;
        }
    }
    return Ok;
}

std::optional<int64_t> Table::recordKey(const char* record) const {
    if (m_schema->keyColumn < 0)
        return std::nullopt;
    const Column& column = m_schema->columns[size_t(m_schema->keyColumn)];
    const std::optional<double> value = parseNumber(field(record, m_schema->keyColumn), column.width);
    int64_t key = 0;
    if (!value || !wholeKey(*value, key))
        return std::nullopt;
    return key;
}

void Table::foldInto(const char* bytes, size_t size, Key& key) const {
    key.size = std::min(size, key.bytes.size());
    for (size_t i = 0; i < key.size; ++i)
        key.bytes[i] = static_cast<char>(m_fold[static_cast<unsigned char>(bytes[i])]);
}

std::optional<int32_t> Table::dayOf(const Index& index, const char* record) const {
    const int column = index.layout.columns[0];
    const std::optional<double> value =
        parseNumber(field(record, column), m_schema->columns[size_t(column)].width);
    return value ? whole32(*value) : std::nullopt;
}

bool Table::keyOf(const Index& index, int ordinal, const char* record, Key& key) const {
    if (index.layout.kind == IndexKind::RecordKey) {
        const std::optional<int64_t> value = recordKey(record);
        if (!value)
            return false;
        std::memcpy(key.bytes.data(), &*value, sizeof *value);
        key.size = sizeof *value;
        return true;
    }
    const int column = index.layout.columns[ordinal];
    const char* bytes = field(record, column);
    const size_t width = m_schema->columns[size_t(column)].width;
    const auto* zero = static_cast<const char*>(std::memchr(bytes, 0, width));
    foldInto(bytes, trimmedSize(bytes, zero != nullptr ? size_t(zero - bytes) : width), key);
    return key.size > 0;
}

int32_t Table::close(bool writeIndexes) {
    int32_t code = Ok;
    // Indexes of a file that another program has changed since this program last read it do not describe
    // it: they are not written, and the next open builds them.
    if (writeIndexes && m_indexesDirty && m_file.isOpen() && m_file.unchanged()) {
        TableStamp stamp;
        if (!m_file.stamp(stamp)) {
            code = IndexWriteFailed;
        } else {
            for (Index& index : m_indexes) {
                const bool written =
                    index.layout.kind == IndexKind::Days
                        ? WriteIndexFile(index.path, index.layout, stamp, m_live, m_maxKey, index.days)
                        : WriteIndexFile(index.path, index.layout, stamp, m_live, m_maxKey, index.hits);
                if (!written)
                    code = IndexWriteFailed;
            }
        }
    }
    m_file.close(); // unlocks only now, after the index files
    m_current = 0;
    m_currentGone = false;
    m_dateAt.reset();
    return code;
}

uint32_t Table::liveCount() {
    return refresh() == Ok ? m_live : 0;
}

int32_t Table::refresh() {
    return m_file.unchanged() ? int32_t(Ok) : reload();
}

int32_t Table::reload() {
    m_file.close();
    int32_t code = m_file.open(m_path);
    if (code == Ok && !m_file.matches(*m_schema))
        code = WrongLayout;
    if (code == Ok)
        code = m_file.repair();
    if (code == Ok)
        code = loadOrBuildIndexes();
    if (code != Ok) {
        m_file.close();
        return code;
    }
    // The next write of the session removes the index files and dates the header again. A walk goes on
    // by record number; the buffer keeps what the program put into it.
    m_writing = false;
    m_currentGone = m_current > m_file.recordCount();
    return Ok;
}

bool Table::candidate(uint32_t number, DbfFile::Reading reading) {
    if (number > m_file.recordCount())
        return false;
    const char* record = m_file.record(number, reading);
    return record == nullptr || record[0] != DbfFile::Deleted;
}

// ---- Positioning

int32_t Table::position(uint32_t number) {
    const char* record = m_file.record(number);
    if (record == nullptr)
        return m_file.readError();
    m_current = number;
    m_currentGone = false;
    std::memcpy(m_buffer.data(), record, m_buffer.size());
    return Ok;
}

int32_t Table::first() {
    if (const int32_t code = refresh(); code != Ok)
        return code;
    const uint32_t count = m_file.recordCount();
    for (uint32_t r = 1; r <= count; ++r) {
        const char* record = m_file.record(r, DbfFile::Reading::Forward);
        if (record == nullptr)
            return m_file.readError();
        if (record[0] != DbfFile::Deleted)
            return position(r);
    }
    return EndOfFile;
}

int32_t Table::next() {
    if (const int32_t code = refresh(); code != Ok)
        return code;
    const uint32_t count = m_file.recordCount();
    for (uint32_t r = m_current + 1; r <= count; ++r) {
        const char* record = m_file.record(r, DbfFile::Reading::Forward);
        if (record == nullptr)
            return m_file.readError();
        if (record[0] != DbfFile::Deleted)
            return position(r);
    }
    return EndOfFile;
}

int32_t Table::last() {
    if (const int32_t code = refresh(); code != Ok)
        return code;
    for (uint32_t r = m_file.recordCount(); r >= 1; --r) {
        const char* record = m_file.record(r, DbfFile::Reading::Backward);
        if (record == nullptr)
            return m_file.readError();
        if (record[0] != DbfFile::Deleted)
            return position(r);
    }
    return EndOfFile;
}

int32_t Table::go(int64_t number) {
    if (const int32_t code = refresh(); code != Ok)
        return code;
    if (number < 1 || number > int64_t(m_file.recordCount()))
        return BadRecordNumber;
    const char* record = m_file.record(uint32_t(number));
    if (record == nullptr)
        return m_file.readError();
    if (record[0] == DbfFile::Deleted)
        return RecordDeleted;
    return position(uint32_t(number));
}

// ---- Writing

int32_t Table::beginWrite() {
    if (m_writing)
        return Ok;
    for (const Index& index : m_indexes)
        ::unlink(QFile::encodeName(index.path).constData());
    m_indexesDirty = true;
    const int32_t code = m_file.writeDate();
    if (code != Ok)
        return code;
    m_writing = true;
    return Ok;
}

void Table::reindex(uint32_t number, const char* before) {
    const char* after = m_file.record(number);
    if (after == nullptr) {
        // What the file holds there is not known: the table is opened anew, indexes and all, at the next
        // operation.
        m_file.forget();
        return;
    }
    const bool wasLive = before != nullptr && before[0] != DbfFile::Deleted;
    const bool isLive = after[0] != DbfFile::Deleted;
    m_live = m_live - (wasLive ? 1 : 0) + (isLive ? 1 : 0);
    if (const std::optional<int64_t> key = recordKey(after))
        m_maxKey = std::max(m_maxKey, *key);
    Key old;
    Key now;
    for (Index& index : m_indexes) {
        if (index.layout.kind == IndexKind::Days) {
            const std::optional<int32_t> had = wasLive ? dayOf(index, before) : std::nullopt;
            const std::optional<int32_t> has = isLive ? dayOf(index, after) : std::nullopt;
            if (had == has)
                continue;
            if (had)
                index.days.remove({*had, number});
            if (has)
                index.days.insert({*has, number});
            continue;
        }
        index.hits.setRecords(m_file.recordCount());
        for (int ordinal = 0; ordinal < index.layout.columnCount; ++ordinal) {
            const bool hadKey = wasLive && keyOf(index, ordinal, before, old);
            const bool hasKey = isLive && keyOf(index, ordinal, after, now);
            if (hadKey && hasKey && old.view() == now.view())
                continue;
            const HitTable::Hit hit{number, uint32_t(ordinal)};
            if (hadKey)
                index.hits.remove(old.view(), hit);
            if (hasKey)
                index.hits.insert(now.view(), hit);
        }
    }
}

int32_t Table::replace(uint32_t number, const char* bytes) {
    int32_t code = beginWrite();
    if (code != Ok)
        return code;
    const char* was = m_file.record(number);
    if (was == nullptr)
        return m_file.readError();
    const std::vector<char> before(was, was + m_file.recordSize());
    code = m_file.writeRecord(number, bytes);
    // Even a failed write may have changed the record: the indexes follow what the file holds.
    reindex(number, before.data());
    return code;
}

int32_t Table::append(const char* bytes) {
    int32_t code = beginWrite();
    if (code != Ok)
        return code;
    code = m_file.append(bytes);
    if (code != Ok)
        return code;
    reindex(m_file.recordCount(), nullptr);
    return Ok;
}

int32_t Table::putRecord(int64_t number) {
    if (const int32_t code = refresh(); code != Ok)
        return code;
    if (number < 1 || number > int64_t(m_file.recordCount()))
        return BadRecordNumber;
    const auto n = uint32_t(number);
    const char* record = m_file.record(n);
    if (record == nullptr)
        return m_file.readError();
    if (record[0] == DbfFile::Deleted)
        return RecordDeleted;
    m_buffer[0] = DbfFile::Live;
    const int32_t code = replace(n, m_buffer.data());
    return code == Ok ? position(n) : code;
}

int32_t Table::deleteCurrent() {
    if (int32_t code = refresh(); code != Ok)
        return code;
    if (m_currentGone)
        return Shrunk;
    if (m_current == 0)
        return NoCurrentRecord;
    const char* record = m_file.record(m_current);
    if (record == nullptr)
        return m_file.readError();
    if (record[0] == DbfFile::Deleted)
        return RecordDeleted;
    const std::vector<char> before(record, record + m_file.recordSize());
    int32_t code = beginWrite();
    if (code != Ok)
        return code;
    code = m_file.writeFlag(m_current, DbfFile::Deleted);
    reindex(m_current, before.data());
    if (const char* now = m_file.record(m_current))
        m_buffer[0] = now[0];
    return code;
}

// ---- Record blocks

int32_t Table::getBlock(char* block) const {
    if (m_current == 0)
        return NoCurrentRecord;
    if (m_buffer[0] == DbfFile::Deleted)
        return RecordDeleted;
    std::memset(block, 0, m_schema->blockSize);
    for (size_t c = 0; c < m_schema->columns.size(); ++c) {
        const Column& column = m_schema->columns[c];
        const char* in = field(m_buffer.data(), int(c));
        char* out = block + column.blockOffset;
        switch (column.form) {
        case BlockForm::Text: {
            const size_t size = std::min<size_t>(trimmedSize(in, column.width), column.blockWidth);
            std::memcpy(out, in, size);
            if (size < column.blockWidth) {
                out[size] = '\0';
                std::memset(out + size + 1, ' ', column.blockWidth - size - 1);
            }
            break;
        }
        case BlockForm::Double: {
            const double value = parseNumber(in, column.width).value_or(0.0);
            std::memcpy(out, &value, sizeof value);
            break;
        }
        case BlockForm::Int32: {
            const std::optional<double> number = parseNumber(in, column.width);
            const int32_t value = number ? whole32(*number).value_or(0) : 0;
            std::memcpy(out, &value, sizeof value);
            break;
        }
        case BlockForm::Flag:
            out[0] = isTrue(in[0]) ? 'T' : 'N';
            break;
        case BlockForm::Zeros:
            break;
        }
    }
    return Ok;
}

int32_t Table::recordFromBlock(const char* block, std::vector<char>& record) const {
    record.assign(m_buffer.size(), ' ');
    record[0] = DbfFile::Live;
    for (size_t c = 0; c < m_schema->columns.size(); ++c) {
        const Column& column = m_schema->columns[c];
        const char* in = block + column.blockOffset;
        char* out = record.data() + m_offsets[c];
        switch (column.form) {
        case BlockForm::Text: {
            const auto* zero = static_cast<const char*>(std::memchr(in, 0, column.blockWidth));
            const size_t size = zero != nullptr ? size_t(zero - in) : column.blockWidth;
            std::memcpy(out, in, std::min<size_t>(size, column.width));
            break;
        }
        case BlockForm::Double: {
            double value = 0;
            std::memcpy(&value, in, sizeof value);
            if (int(c) == m_schema->keyColumn)
                break; // putBlock gives the key
            if (!formatNumber(value, column, out))
                return BadValue;
            break;
        }
        case BlockForm::Int32: {
            int32_t value = 0;
            std::memcpy(&value, in, sizeof value);
            if (!formatNumber(double(value), column, out))
                return BadValue;
            break;
        }
        case BlockForm::Flag:
            out[0] = isTrue(in[0]) ? 'T' : 'N';
            break;
        case BlockForm::Zeros:
            break;
        }
    }
    return Ok;
}

int32_t Table::appendBlock(const char* block) {
    if (const int32_t code = refresh(); code != Ok)
        return code;
    std::vector<char> record;
    int32_t code = recordFromBlock(block, record);
    if (code == Ok)
        code = append(record.data());
    return code == Ok ? position(m_file.recordCount()) : code;
}

int32_t Table::updateBlock(const char* block) {
    if (const int32_t code = refresh(); code != Ok)
        return code;
    if (m_currentGone)
        return Shrunk;
    if (m_current == 0)
        return NoCurrentRecord;
    const char* current = m_file.record(m_current);
    if (current == nullptr)
        return m_file.readError();
    if (current[0] == DbfFile::Deleted)
        return RecordDeleted;
    std::vector<char> record;
    int32_t code = recordFromBlock(block, record);
    if (code == Ok)
        code = replace(m_current, record.data());
    return code == Ok ? position(m_current) : code;
}

int32_t Table::putBlock(char* block) {
    if (m_schema->keyColumn < 0)
        return appendBlock(block);
    if (const int32_t code = refresh(); code != Ok)
        return code;
    std::vector<char> record;
    const int32_t converted = recordFromBlock(block, record);
    if (converted != Ok)
        return converted;

    const Column& keyColumn = m_schema->columns[size_t(m_schema->keyColumn)];
    double value = 0;
    std::memcpy(&value, block + keyColumn.blockOffset, sizeof value);
    const bool newKey = value == 0;
    if (newKey)
        value = double(m_maxKey + 1);
    int64_t key = 0;
    if (!wholeKey(value, key) ||
        !formatNumber(value, keyColumn, record.data() + m_offsets[size_t(m_schema->keyColumn)]))
        return BadValue;
    const std::optional<uint32_t> existing = newKey ? std::nullopt : findByKey(key);
    const int32_t code = existing ? replace(*existing, record.data()) : append(record.data());
    if (code != Ok)
        return code;
    if (newKey)
        std::memcpy(block + keyColumn.blockOffset, &value, sizeof value);
    return position(existing ? *existing : m_file.recordCount());
}

// ---- Searches

std::optional<uint32_t> Table::findByKey(int64_t key) {
    for (const Index& index : m_indexes) {
        if (index.layout.kind != IndexKind::RecordKey)
            continue;
        const std::string_view bytes(reinterpret_cast<const char*>(&key), sizeof key);
        const std::optional<HitTable::Hit> hit =
            index.hits.first(bytes, [&](uint32_t r) { return candidate(r); });
        if (hit)
            return hit->record;
        return std::nullopt;
    }
    // A table without key index: a walk. A record that cannot be read ends it: positioning on it says why.
    const uint32_t count = m_file.recordCount();
    for (uint32_t r = 1; r <= count; ++r) {
        const char* record = m_file.record(r, DbfFile::Reading::Forward);
        if (record == nullptr || (record[0] != DbfFile::Deleted && recordKey(record) == key))
            return r;
    }
    return std::nullopt;
}

int32_t Table::findKey(double value) {
    if (const int32_t code = refresh(); code != Ok)
        return code;
    int64_t key = 0;
    if (!wholeKey(value, key))
        return NotFound;
    const std::optional<uint32_t> record = findByKey(key);
    if (!record)
        return NotFound;
    return position(*record);
}

int32_t Table::findNumber(const QString& text) {
    if (const int32_t code = refresh(); code != Ok)
        return code;
    const QByteArray bytes = ToWindows1252(cutAtZero(text));
    qsizetype size = bytes.size();
    while (size > 0 && bytes[size - 1] == ' ')
        --size;
    if (size > qsizetype(HitTable::MaxKey))
        return NotFound;
    Key key;
    foldInto(bytes.constData(), size_t(size), key);

    bool indexed = false;
    std::optional<std::pair<int, uint32_t>> best; // column, record
    for (const Index& index : m_indexes) {
        if (index.layout.kind != IndexKind::Numbers)
            continue;
        indexed = true;
        if (key.size == 0)
            continue;
        const std::optional<HitTable::Hit> hit =
            index.hits.first(key.view(), [&](uint32_t r) { return candidate(r); });
        if (!hit)
            continue;
        const std::pair<int, uint32_t> found{index.layout.columns[hit->column], hit->record};
        if (!best || found < *best)
            best = found;
    }
    if (!indexed)
        return NotIndexed;
    if (!best)
        return NotFound;
    return position(best->second);
}

int32_t Table::find(const QString& text, int column, int flags) {
    if (const int32_t code = refresh(); code != Ok)
        return code;
    const bool allColumns = (flags & AllColumns) != 0;
    if (!allColumns && (column < 0 || column >= fieldCount()))
        return BadColumn;
    QByteArray needle = ToWindows1252(cutAtZero(text));
    const bool fold = (flags & CaseSensitive) == 0;
    if (fold)
        for (char& c : needle)
            c = static_cast<char>(m_fold[static_cast<unsigned char>(c)]);
    const bool atHead = (flags & AtHead) != 0;
    const auto size = size_t(needle.size());
    const char* wanted = needle.constData();

    const auto equalAt = [&](const char* at) {
        if (!fold)
            return std::memcmp(at, wanted, size) == 0;
        for (size_t i = 0; i < size; ++i)
            if (static_cast<char>(m_fold[static_cast<unsigned char>(at[i])]) != wanted[i])
                return false;
        return true;
    };
    const auto matches = [&](const char* record, int c) {
        const size_t width = m_schema->columns[size_t(c)].width;
        if (size > width)
            return false;
        const char* bytes = field(record, c);
        if (atHead)
            return equalAt(bytes);
        for (size_t at = 0; at + size <= width; ++at)
            if (equalAt(bytes + at))
                return true;
        return false;
    };

    const uint32_t count = m_file.recordCount();
    for (uint32_t r = (flags & FromFirst) != 0 ? 1 : m_current + 1; r <= count; ++r) {
        const char* record = m_file.record(r, DbfFile::Reading::Forward);
        if (record == nullptr)
            return m_file.readError();
        if (record[0] == DbfFile::Deleted)
            continue;
        bool found = false;
        if (allColumns) {
            for (size_t i = 0; i < m_textColumns.size() && !found; ++i)
                found = matches(record, m_textColumns[i]);
        } else {
            found = matches(record, column);
        }
        if (found)
            return position(r);
    }
    return NotFound;
}

int32_t Table::findDate(double from, double to) {
    if (const int32_t code = refresh(); code != Ok)
        return code;
    m_dateAt.reset();
    return positionOnDay(std::nullopt, from, to);
}

int32_t Table::findNextDate(double from, double to) {
    if (const int32_t code = refresh(); code != Ok)
        return code;
    if (!m_dateAt)
        return NotFound;
    return positionOnDay(m_dateAt, from, to);
}

int32_t Table::positionOnDay(std::optional<DayIndex::Entry> after, double from, double to) {
    for (const Index& index : m_indexes) {
        if (index.layout.kind != IndexKind::Days)
            continue;
        // The pairs come from the index alone; only the record found is read.
        const std::optional<DayIndex::Entry> found = index.days.next(
            from, to, after, [&](uint32_t r) { return candidate(r, DbfFile::Reading::Forward); });
        if (!found)
            return NotFound;
        m_dateAt = *found;
        return position(found->record);
    }
    return NotIndexed;
}

// ---- The record buffer

int32_t Table::putField(int column, const QString& text) {
    if (column < 0 || column >= fieldCount())
        return BadColumn;
    const Column& info = m_schema->columns[size_t(column)];
    char* out = m_buffer.data() + m_offsets[size_t(column)];
    const QString value = cutAtZero(text);
    switch (info.type) {
    case 'C': {
        const QByteArray bytes = ToWindows1252(value);
        const auto size = std::min<size_t>(size_t(bytes.size()), info.width);
        std::memcpy(out, bytes.constData(), size);
        std::memset(out + size, ' ', info.width - size);
        return Ok;
    }
    case 'N': {
        const QByteArray bytes = value.trimmed().toLatin1();
        const std::optional<double> number = parseNumber(bytes.constData(), size_t(bytes.size()));
        if (!number || !formatNumber(*number, info, out))
            return BadValue;
        return Ok;
    }
    case 'L': {
        const char first = value.isEmpty() ? '\0' : value.at(0).toLatin1();
        if (!isTrue(first) && !isFalse(first))
            return BadValue;
        out[0] = isTrue(first) ? 'T' : 'N';
        return Ok;
    }
    default:
        return BadColumn;
    }
}

int32_t Table::putDouble(int column, double value) {
    if (column < 0 || column >= fieldCount())
        return BadColumn;
    const Column& info = m_schema->columns[size_t(column)];
    if (info.type != 'N')
        return BadColumn;
    return formatNumber(value, info, m_buffer.data() + m_offsets[size_t(column)]) ? Ok : BadValue;
}

// ---- Pack

int32_t Table::Pack(const QString& path) {
    std::unique_ptr<Table> old;
    int32_t code = OpenAs(path, nullptr, Indexes::KeyOnly, old);
    if (code != Ok)
        return code;

    // The index files to write: the key or date index, which every table of its kind has, and the number
    // indexes of the kinds of table with these columns whose files are there.
    std::vector<IndexLayout> layouts;
    for (const Schema* schema : AllSchemas()) {
        if (!SameColumns(*schema, *old->m_schema))
            continue;
        for (const IndexLayout& layout : schema->indexes) {
            const bool known = std::any_of(layouts.begin(), layouts.end(), [&](const IndexLayout& s) {
                return std::strcmp(s.suffix, layout.suffix) == 0;
            });
            if (!known && (layout.kind != IndexKind::Numbers || QFile::exists(IndexPath(path, layout))))
                layouts.push_back(layout);
        }
    }

    // The new file under a temporary name, locked from the start; it replaces the old one by a rename.
    const QByteArray native = QFile::encodeName(path);
    const QByteArray temporary = native + ".pack";
    struct stat info {};
    const mode_t mode = ::fstat(old->m_file.fd(), &info) == 0 ? (info.st_mode & 07777) : 0644;
    const int fd = ::open(temporary.constData(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, mode);
    if (fd < 0) {
        old->close(false);
        return WriteFailed;
    }
    const auto fail = [&](int32_t failure) {
        ::close(fd);
        ::unlink(temporary.constData());
        old->close(false);
        return failure;
    };
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0 || ::fchmod(fd, mode) != 0)
        return fail(WriteFailed);

    QByteArray header = old->m_file.headerBytes();
    if (header.size() < 8)
        return fail(ReadFailed);
    unsigned char date[3];
    DbfFile::today(date);
    std::memcpy(header.data() + 1, date, sizeof date);
    const uint32_t live = old->m_live;
    for (int i = 0; i < 4; ++i)
        header[4 + i] = static_cast<char>(live >> (8 * i));

    QByteArray chunk = header;
    uint64_t offset = 0;
    bool ok = true;
    const auto flush = [&] {
        const char* data = chunk.constData();
        qsizetype left = chunk.size();
        while (ok && left > 0) {
            const ssize_t put = ::pwrite(fd, data, size_t(left), off_t(offset));
            if (put < 0 && errno == EINTR)
                continue;
            ok = put > 0;
            if (ok) {
                data += put;
                left -= put;
                offset += uint64_t(put);
            }
        }
        chunk.clear();
    };
    const uint32_t count = old->m_file.recordCount();
    for (uint32_t r = 1; r <= count && ok; ++r) {
        const char* record = old->m_file.record(r, DbfFile::Reading::Forward);
        if (record == nullptr)
            return fail(old->m_file.readError());
        if (record[0] == DbfFile::Deleted)
            continue;
        chunk.append(record, old->m_file.recordSize());
        if (chunk.size() >= (1 << 20))
            flush();
    }
    chunk.append(DbfFile::EndMarker);
    flush();
    if (!ok)
        return fail(WriteFailed);
    if (::rename(temporary.constData(), native.constData()) != 0)
        return fail(WriteFailed);

    // The new table, with its indexes built anew; the highest key stays, so that keys of records that
    // are gone are not handed out again.
    std::unique_ptr<Table> fresh(new Table(path));
    code = fresh->m_file.adopt(fd, path);
    if (code == Ok)
        code = fresh->m_file.matches(*old->m_schema) ? Ok : WrongLayout;
    if (code == Ok) {
        fresh->setSchema(*old->m_schema);
        code = fresh->m_file.repair();
    }
    if (code != Ok) {
        fresh->m_file.close();
        old->close(false);
        return code;
    }
    fresh->setIndexes(std::move(layouts));
    fresh->m_maxKey = old->m_maxKey;
    code = fresh->buildIndexes(std::vector<bool>(fresh->m_indexes.size(), true));
    if (code != Ok) {
        fresh->close(false);
        old->close(false);
        return code;
    }
    code = fresh->close();
    old->close(false);
    return code;
}

} // namespace pdb
