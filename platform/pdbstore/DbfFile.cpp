#include "platform/pdbstore/DbfFile.h"

#include "platform/pdbstore/PdbStore.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace pdb {
namespace {

constexpr int kPrefixSize = 32;
constexpr int kDescriptorSize = 32;
constexpr unsigned char kHeaderEnd = 0x0D;
constexpr unsigned char kLanguageWindowsAnsi = 0x03;
// More records than this are refused: record numbers times index columns must stay within 32 bits.
constexpr uint32_t kMaxRecords = 0x3FFFFFFF;

uint32_t le32(const unsigned char* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}
uint16_t le16(const unsigned char* p) {
    return uint16_t(p[0] | p[1] << 8);
}
void putLe32(unsigned char* p, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<unsigned char>(v >> (8 * i));
}
void putLe16(unsigned char* p, uint16_t v) {
    p[0] = static_cast<unsigned char>(v);
    p[1] = static_cast<unsigned char>(v >> 8);
}

// A walk reads this much at a time.
constexpr size_t kWindowBytes = 128 * 1024;

// Reads `size` bytes at `offset`: Ok, Shrunk when the file ends before them, ReadFailed on an error.
int32_t readFully(int fd, char* to, size_t size, uint64_t offset) {
    while (size > 0) {
        const ssize_t got = ::pread(fd, to, size, off_t(offset));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return ReadFailed;
        if (got == 0)
            return Shrunk;
        to += got;
        size -= size_t(got);
        offset += uint64_t(got);
    }
    return Ok;
}

void identityOf(const struct stat& info, TableStamp& out) {
    out.size = uint64_t(info.st_size);
    out.mtimeNs = int64_t(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec;
    out.inode = uint64_t(info.st_ino);
    out.device = uint64_t(info.st_dev);
}

} // namespace

DbfFile::~DbfFile() {
    close();
}

int32_t DbfFile::open(const QString& path) {
    close();
    const QByteArray native = QFile::encodeName(path);
    const int fd = ::open(native.constData(), O_RDWR | O_CLOEXEC);
    if (fd < 0)
        return errno == ENOENT || errno == ENOTDIR ? FileNotFound : CannotOpen;
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        const int error = errno;
        ::close(fd);
        return error == EWOULDBLOCK ? InUse : CannotOpen;
    }
    m_fd = fd;
    m_path = native;
    return readHeader();
}

int32_t DbfFile::adopt(int fd, const QString& path) {
    close();
    m_fd = fd;
    m_path = QFile::encodeName(path);
    return readHeader();
}

int32_t DbfFile::readHeader() {
    struct stat info {};
    if (::fstat(m_fd, &info) != 0)
        return ReadFailed;
    if (!S_ISREG(info.st_mode))
        return NotDbase;
    identityOf(info, m_left);
    m_size = uint64_t(info.st_size);
    if (m_size < uint64_t(kPrefixSize))
        return NotDbase;
    unsigned char prefix[kPrefixSize];
    if (!ReadAt(m_fd, prefix, sizeof prefix, 0))
        return ReadFailed;
    if (prefix[0] != 0x03 && prefix[0] != 0x83)
        return NotDbase;
    const uint32_t count = le32(prefix + 4);
    const int headerSize = le16(prefix + 8);
    const int recordSize = le16(prefix + 10);
    if (count > kMaxRecords || headerSize < kPrefixSize + kDescriptorSize + 1 ||
        uint64_t(headerSize) > m_size || recordSize < 2)
        return NotDbase;

    std::vector<unsigned char> header(size_t(headerSize), 0);
    if (!ReadAt(m_fd, header.data(), header.size(), 0))
        return ReadFailed;
    std::vector<Field> fields;
    int at = kPrefixSize;
    int width = 1;
    while (at < headerSize && header[size_t(at)] != kHeaderEnd) {
        if (at + kDescriptorSize > headerSize)
            return NotDbase;
        const unsigned char* d = header.data() + at;
        Field field;
        for (int i = 0; i < 11 && d[i] != 0; ++i)
            field.name[i] = static_cast<char>(d[i]);
        field.type = static_cast<char>(d[11]);
        field.width = d[16];
        field.decimals = d[17];
        if (field.width == 0)
            return NotDbase;
        width += field.width;
        fields.push_back(field);
        at += kDescriptorSize;
    }
    if (at >= headerSize || fields.empty() || width != recordSize)
        return NotDbase;

    m_fields = std::move(fields);
    m_headerSize = headerSize;
    m_recordSize = recordSize;
    m_count = count;
    return Ok;
}

bool DbfFile::matches(const Schema& schema) const {
    if (m_fields.size() != schema.columns.size())
        return false;
    for (size_t i = 0; i < m_fields.size(); ++i) {
        const Field& field = m_fields[i];
        const Column& column = schema.columns[i];
        const size_t length = std::strlen(column.name);
        if (std::strlen(field.name) != length)
            return false;
        for (size_t c = 0; c < length; ++c) {
            const char ours =
                field.name[c] >= 'a' && field.name[c] <= 'z' ? char(field.name[c] - 0x20) : field.name[c];
            if (ours != column.name[c])
                return false;
        }
        const char type = field.type >= 'a' && field.type <= 'z' ? char(field.type - 0x20) : field.type;
        if (type != column.type || field.width != column.width)
            return false;
        if (column.type == 'N' && field.decimals != column.decimals)
            return false;
    }
    return true;
}

int32_t DbfFile::repair() {
    const auto recordSize = uint64_t(m_recordSize);
    const auto start = uint64_t(m_headerSize);
    const uint64_t whole = (m_size - start) / recordSize;
    if (whole < m_count)
        return Truncated;

    // An append writes the record before the count: whole records behind the count with a proper flag
    // were written by an append that did not finish.
    uint32_t count = m_count;
    while (count < whole && count < kMaxRecords) {
        char flag = 0;
        if (!ReadAt(m_fd, &flag, 1, start + uint64_t(count) * recordSize))
            return ReadFailed;
        if (flag != Live && flag != Deleted)
            break;
        ++count;
    }
    const uint64_t end = start + uint64_t(count) * recordSize;
    char last = 0;
    if (m_size != end + 1 || !ReadAt(m_fd, &last, 1, end) || last != EndMarker) {
        // The marker first: should this process die before the cut, the next open stops at it again.
        const char marker = EndMarker;
        const bool ok =
            WriteAt(m_fd, &marker, 1, end) && (m_size <= end + 1 || ::ftruncate(m_fd, off_t(end + 1)) == 0);
        takeIdentity();
        if (!ok)
            return WriteFailed;
        m_size = end + 1;
    }
    if (count != m_count) {
        const int32_t code = writeCount(count);
        if (code != Ok)
            return code;
    }
    m_count = count;
    return Ok;
}

void DbfFile::close() {
    if (m_fd >= 0)
        ::close(m_fd); // releases the lock
    m_fd = -1;
    m_path.clear();
    m_fields.clear();
    m_count = 0;
    m_size = 0;
    m_left = {};
    m_windowCount = 0;
    m_readError = Ok;
}

bool DbfFile::unchanged() const {
    struct stat info {};
    if (m_fd < 0 || m_left.inode == 0 || ::stat(m_path.constData(), &info) != 0)
        return false;
    TableStamp now;
    identityOf(info, now);
    return now.inode == m_left.inode && now.device == m_left.device && now.size == m_left.size &&
           now.mtimeNs == m_left.mtimeNs;
}

void DbfFile::takeIdentity() {
    struct stat info {};
    if (::fstat(m_fd, &info) != 0)
        m_left = {}; // opened anew at the next check
    else
        identityOf(info, m_left);
}

void DbfFile::wrote(uint64_t offset, const char* bytes, size_t size, bool ok) {
    if (m_windowCount > 0) {
        const uint64_t begin = offsetOf(m_windowFirst);
        const uint64_t end = begin + uint64_t(m_windowCount) * uint64_t(m_recordSize);
        if (!ok) {
            m_windowCount = 0; // what the file holds there is not known
        } else if (offset < end && offset + size > begin) {
            const uint64_t from = std::max(offset, begin);
            const uint64_t to = std::min(offset + size, end);
            std::memcpy(m_window.data() + (from - begin), bytes + (from - offset), size_t(to - from));
        }
    }
    takeIdentity();
}

const char* DbfFile::record(uint32_t number, Reading reading) {
    if (number < 1 || number > m_count) {
        m_readError = BadRecordNumber;
        return nullptr;
    }
    if (number >= m_windowFirst && number - m_windowFirst < m_windowCount)
        return m_window.data() + size_t(number - m_windowFirst) * size_t(m_recordSize);
    uint32_t first = number;
    uint32_t count = 1;
    const auto stretch = uint32_t(std::max<size_t>(1, kWindowBytes / size_t(m_recordSize)));
    if (reading == Reading::Forward) {
        count = std::min(stretch, m_count - number + 1);
    } else if (reading == Reading::Backward) {
        first = number > stretch ? number - stretch + 1 : 1;
        count = number - first + 1;
    }
    const size_t bytes = size_t(count) * size_t(m_recordSize);
    if (m_window.size() < bytes)
        m_window.resize(bytes);
    m_windowCount = 0;
    m_readError = readFully(m_fd, m_window.data(), bytes, offsetOf(first));
    if (m_readError != Ok)
        return nullptr;
    m_windowFirst = first;
    m_windowCount = count;
    return m_window.data() + size_t(number - first) * size_t(m_recordSize);
}

QByteArray DbfFile::headerBytes() const {
    QByteArray bytes(m_headerSize, Qt::Uninitialized);
    if (!ReadAt(m_fd, bytes.data(), size_t(bytes.size()), 0))
        return {};
    return bytes;
}

int32_t DbfFile::writeRecord(uint32_t number, const char* bytes) {
    if (number < 1 || number > m_count)
        return BadRecordNumber;
    const uint64_t at = offsetOf(number);
    const bool ok = WriteAt(m_fd, bytes, size_t(m_recordSize), at);
    wrote(at, bytes, size_t(m_recordSize), ok);
    return ok ? Ok : WriteFailed;
}

int32_t DbfFile::writeFlag(uint32_t number, char flag) {
    if (number < 1 || number > m_count)
        return BadRecordNumber;
    const uint64_t at = offsetOf(number);
    const bool ok = WriteAt(m_fd, &flag, 1, at);
    wrote(at, &flag, 1, ok);
    return ok ? Ok : WriteFailed;
}

int32_t DbfFile::append(const char* bytes) {
    if (m_count >= kMaxRecords)
        return WriteFailed;
    const uint64_t at = offsetOf(m_count + 1);
    const uint64_t end = at + uint64_t(m_recordSize) + 1;
    std::vector<char> bytesAndMarker(bytes, bytes + m_recordSize);
    bytesAndMarker.push_back(EndMarker);
    // The new record lies behind the window: nothing there to bring up to date.
    const auto undo = [&] {
        // Undo what of it went through; should even that fail, the next open cuts it off.
        const char marker = EndMarker;
        if (WriteAt(m_fd, &marker, 1, at) && ::ftruncate(m_fd, off_t(at + 1)) == 0)
            m_size = at + 1;
        takeIdentity();
        return WriteFailed;
    };
    if (!WriteAt(m_fd, bytesAndMarker.data(), bytesAndMarker.size(), at))
        return undo();
    m_size = std::max(m_size, end);
    if (writeCount(m_count + 1) != Ok)
        return undo();
    ++m_count;
    return Ok;
}

int32_t DbfFile::writeDate() {
    unsigned char date[3];
    today(date);
    const bool ok = WriteAt(m_fd, date, sizeof date, 1);
    takeIdentity();
    return ok ? Ok : WriteFailed;
}

int32_t DbfFile::writeCount(uint32_t count) {
    unsigned char dateAndCount[7];
    today(dateAndCount);
    putLe32(dateAndCount + 3, count);
    const bool ok = WriteAt(m_fd, dateAndCount, sizeof dateAndCount, 1);
    takeIdentity();
    return ok ? Ok : WriteFailed;
}

bool DbfFile::stamp(TableStamp& out) const {
    struct stat info {};
    if (m_fd < 0 || ::fstat(m_fd, &info) != 0)
        return false;
    identityOf(info, out);
    out.records = m_count;
    return true;
}

QByteArray DbfFile::makeHeader(const Schema& schema, uint32_t count) {
    const int headerSize = kPrefixSize + kDescriptorSize * int(schema.columns.size()) + 1;
    QByteArray header(headerSize, '\0');
    auto* h = reinterpret_cast<unsigned char*>(header.data());
    h[0] = 0x03;
    today(h + 1);
    putLe32(h + 4, count);
    putLe16(h + 8, uint16_t(headerSize));
    putLe16(h + 10, uint16_t(schema.recordSize()));
    h[29] = kLanguageWindowsAnsi;
    unsigned char* d = h + kPrefixSize;
    for (const Column& column : schema.columns) {
        std::memcpy(d, column.name, std::min<size_t>(std::strlen(column.name), 10));
        d[11] = static_cast<unsigned char>(column.type);
        d[16] = column.width;
        d[17] = column.decimals;
        d += kDescriptorSize;
    }
    *d = kHeaderEnd;
    return header;
}

void DbfFile::today(unsigned char out[3]) {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    out[0] = static_cast<unsigned char>(std::clamp(local.tm_year, 0, 255));
    out[1] = static_cast<unsigned char>(local.tm_mon + 1);
    out[2] = static_cast<unsigned char>(local.tm_mday);
}

} // namespace pdb
