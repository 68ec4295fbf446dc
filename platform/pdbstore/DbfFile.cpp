#include "platform/pdbstore/DbfFile.h"

#include "platform/pdbstore/PdbStore.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
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

uint64_t roundUpToPage(uint64_t size) {
    const auto page = uint64_t(::sysconf(_SC_PAGESIZE));
    return (size + page - 1) / page * page;
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
    return readHeader();
}

int32_t DbfFile::adopt(int fd) {
    close();
    m_fd = fd;
    return readHeader();
}

int32_t DbfFile::readHeader() {
    struct stat info {};
    if (::fstat(m_fd, &info) != 0)
        return ReadFailed;
    if (!S_ISREG(info.st_mode))
        return NotDbase;
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

int32_t DbfFile::repairAndMap() {
    const auto recordSize = uint64_t(m_recordSize);
    const auto start = uint64_t(m_headerSize);
    const uint64_t whole = (m_size - start) / recordSize;
    if (whole < m_count)
        return Truncated;
    if (!mapAtLeast(m_size))
        return ReadFailed;

    // An append writes the record before the count: whole records behind the count with a proper flag
    // were written by an append that did not finish.
    uint32_t count = m_count;
    while (count < whole && count < kMaxRecords) {
        const char flag = m_map[start + uint64_t(count) * recordSize];
        if (flag != Live && flag != Deleted)
            break;
        ++count;
    }
    const uint64_t end = start + uint64_t(count) * recordSize;
    if (m_size != end + 1 || m_map[end] != EndMarker) {
        // The marker first: should this process die before the cut, the next open stops at it again.
        const char marker = EndMarker;
        if (!WriteAt(m_fd, &marker, 1, end))
            return WriteFailed;
        if (m_size > end + 1 && ::ftruncate(m_fd, off_t(end + 1)) != 0)
            return WriteFailed;
        m_size = end + 1;
        if (!mapAtLeast(m_size))
            return ReadFailed;
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
    unmap();
    if (m_fd >= 0)
        ::close(m_fd); // releases the lock
    m_fd = -1;
    m_fields.clear();
    m_count = 0;
    m_size = 0;
}

QByteArray DbfFile::headerBytes() const {
    if (m_map != nullptr && m_size >= uint64_t(m_headerSize))
        return QByteArray(m_map, m_headerSize);
    QByteArray bytes(m_headerSize, Qt::Uninitialized);
    if (!ReadAt(m_fd, bytes.data(), size_t(bytes.size()), 0))
        return {};
    return bytes;
}

int32_t DbfFile::writeRecord(uint32_t number, const char* bytes) {
    if (number < 1 || number > m_count)
        return BadRecordNumber;
    const uint64_t at = uint64_t(m_headerSize) + uint64_t(number - 1) * uint64_t(m_recordSize);
    return WriteAt(m_fd, bytes, size_t(m_recordSize), at) ? Ok : WriteFailed;
}

int32_t DbfFile::writeFlag(uint32_t number, char flag) {
    if (number < 1 || number > m_count)
        return BadRecordNumber;
    const uint64_t at = uint64_t(m_headerSize) + uint64_t(number - 1) * uint64_t(m_recordSize);
    return WriteAt(m_fd, &flag, 1, at) ? Ok : WriteFailed;
}

int32_t DbfFile::append(const char* bytes) {
    if (m_count >= kMaxRecords)
        return WriteFailed;
    const uint64_t at = uint64_t(m_headerSize) + uint64_t(m_count) * uint64_t(m_recordSize);
    const uint64_t end = at + uint64_t(m_recordSize) + 1;
    if (!mapAtLeast(end))
        return WriteFailed;
    std::vector<char> bytesAndMarker(bytes, bytes + m_recordSize);
    bytesAndMarker.push_back(EndMarker);
    if (!WriteAt(m_fd, bytesAndMarker.data(), bytesAndMarker.size(), at)) {
        // Undo what of it went through; should even that fail, the next open cuts it off.
        const char marker = EndMarker;
        if (WriteAt(m_fd, &marker, 1, at) && ::ftruncate(m_fd, off_t(at + 1)) == 0)
            m_size = at + 1;
        return WriteFailed;
    }
    m_size = std::max(m_size, end);
    if (writeCount(m_count + 1) != Ok) {
        const char marker = EndMarker;
        if (WriteAt(m_fd, &marker, 1, at) && ::ftruncate(m_fd, off_t(at + 1)) == 0)
            m_size = at + 1;
        return WriteFailed;
    }
    ++m_count;
    return Ok;
}

int32_t DbfFile::writeDate() {
    unsigned char date[3];
    today(date);
    return WriteAt(m_fd, date, sizeof date, 1) ? Ok : WriteFailed;
}

int32_t DbfFile::writeCount(uint32_t count) {
    unsigned char dateAndCount[7];
    today(dateAndCount);
    putLe32(dateAndCount + 3, count);
    return WriteAt(m_fd, dateAndCount, sizeof dateAndCount, 1) ? Ok : WriteFailed;
}

bool DbfFile::stamp(TableStamp& out) const {
    struct stat info {};
    if (m_fd < 0 || ::fstat(m_fd, &info) != 0)
        return false;
    out.size = uint64_t(info.st_size);
    out.mtimeNs = int64_t(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec;
    out.inode = uint64_t(info.st_ino);
    out.device = uint64_t(info.st_dev);
    out.records = m_count;
    return true;
}

bool DbfFile::mapAtLeast(uint64_t size) {
    if (m_map != nullptr && size <= m_mapLength)
        return true;
    // Room for as much again, so that a growing table is mapped anew only now and then.
    const uint64_t length = roundUpToPage(size * 2 + (uint64_t(1) << 20));
    void* map = ::mmap(nullptr, size_t(length), PROT_READ, MAP_SHARED, m_fd, 0);
    if (map == MAP_FAILED)
        return false;
    unmap();
    m_map = static_cast<char*>(map);
    m_mapLength = length;
    return true;
}

void DbfFile::prefault() {
    if (m_prefaulted || m_map == nullptr)
        return;
    m_prefaulted = true;
    // Pages wholly beyond the end of the file must stay out; a kernel without this advice faults them
    // in as they are read.
    ::madvise(m_map, size_t(std::min(roundUpToPage(m_size), m_mapLength)), MADV_POPULATE_READ);
}

void DbfFile::unmap() {
    if (m_map != nullptr)
        ::munmap(m_map, size_t(m_mapLength));
    m_map = nullptr;
    m_mapLength = 0;
    m_prefaulted = false;
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
