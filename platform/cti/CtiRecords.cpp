#include "platform/cti/CtiRecords.h"

#include <cassert>
#include <cstring>

namespace cti {

int32_t readLe32(const uint8_t* block, std::size_t offset) {
    const uint32_t v = uint32_t(block[offset]) | uint32_t(block[offset + 1]) << 8 |
                       uint32_t(block[offset + 2]) << 16 | uint32_t(block[offset + 3]) << 24;
    return int32_t(v);
}

void writeLe32(uint8_t* block, std::size_t offset, int32_t value) {
    const auto v = uint32_t(value);
    block[offset] = uint8_t(v);
    block[offset + 1] = uint8_t(v >> 8);
    block[offset + 2] = uint8_t(v >> 16);
    block[offset + 3] = uint8_t(v >> 24);
}

QByteArray readString(const uint8_t* block, std::size_t offset, std::size_t width) {
    const auto* begin = reinterpret_cast<const char*>(block + offset);
    const void* nul = std::memchr(begin, 0, width);
    const std::size_t length = nul ? std::size_t(static_cast<const char*>(nul) - begin) : width;
    return QByteArray(begin, qsizetype(length));
}

void writeString(uint8_t* block, std::size_t offset, const QByteArray& text, std::size_t limit) {
    std::size_t n = std::min<std::size_t>(std::size_t(text.size()), limit);
    // Step back over the continuation bytes of a UTF-8 character that the limit would split.
    if (n < std::size_t(text.size())) {
        while (n > 0 && (uint8_t(text[qsizetype(n)]) & 0xC0) == 0x80)
            --n;
    }
    std::memcpy(block + offset, text.constData(), n);
    block[offset + n] = 0;
}

} // namespace cti

using namespace cti;

void EifcConfigBlock::encode(const EifcFields& f) {
    uint8_t* b = bytes.data();
    writeLe32(b, MaxLogicalConnections, f.MaxLogicalConnections);
    writeLe32(b, MaxBDataBlocks, f.MaxBDataBlocks);
    writeLe32(b, MaxBDataLen, f.MaxBDataLen);
    writeLe32(b, MessageBufferSize, f.MessageBufferSize);
    writeLe32(b, Listen, f.Listen);
    writeLe32(b, CipMask, f.CipMask);
    writeLe32(b, CipMask2, f.CipMask2);
    writeString(b, LogFile, f.LogFile, PathLimit);
    writeString(b, CalledNumber, f.CalledNumber, NumberLimit);
    writeLe32(b, B1Protocol, f.B1Protocol);
    writeLe32(b, B2Protocol, f.B2Protocol);
    writeLe32(b, B3Protocol, f.B3Protocol);
    writeString(b, CallingNumber, f.CallingNumber, NumberLimit);
    writeLe32(b, CipOut, f.CipOut);
    writeString(b, Reserved1, QByteArray(), PathLimit);
    writeString(b, Reserved2, QByteArray(), PathLimit);
    writeLe32(b, AnswerMode, f.AnswerMode);
    writeLe32(b, Reserved3, 0);
    b[CalledNumberType] = f.CalledNumberType;
    b[CallingNumberType] = f.CallingNumberType;
    b[CallingPresentation] = f.CallingPresentation;
    writeLe32(b, DebugEnable, f.DebugEnable);
}

EifcFields EifcConfigBlock::decode() const {
    const uint8_t* b = bytes.data();
    EifcFields f;
    f.MaxLogicalConnections = readLe32(b, MaxLogicalConnections);
    f.MaxBDataBlocks = readLe32(b, MaxBDataBlocks);
    f.MaxBDataLen = readLe32(b, MaxBDataLen);
    f.MessageBufferSize = readLe32(b, MessageBufferSize);
    f.Listen = readLe32(b, Listen);
    f.CipMask = readLe32(b, CipMask);
    f.CipMask2 = readLe32(b, CipMask2);
    f.LogFile = readString(b, LogFile, 255);
    f.CalledNumber = readString(b, CalledNumber, 20);
    f.B1Protocol = readLe32(b, B1Protocol);
    f.B2Protocol = readLe32(b, B2Protocol);
    f.B3Protocol = readLe32(b, B3Protocol);
    f.CallingNumber = readString(b, CallingNumber, 20);
    f.CipOut = readLe32(b, CipOut);
    f.AnswerMode = readLe32(b, AnswerMode);
    f.CalledNumberType = b[CalledNumberType];
    f.CallingNumberType = b[CallingNumberType];
    f.CallingPresentation = b[CallingPresentation];
    f.DebugEnable = readLe32(b, DebugEnable);
    return f;
}

QByteArray CtiEvent::callingNumber() const {
    const QByteArray raw = callingNumberRaw();
    if (raw.isEmpty())
        return QByteArrayLiteral("unbekannt");
    return (callingFlags() & CallingNational) ? '0' + raw : raw;
}
