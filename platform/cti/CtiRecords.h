#pragma once

// The byte records that pass between the program and the line library: the connection block
// m_eifc_Config, the voice-path block m_FdWave_Config, and the event record CtiEvent. They keep the
// packed little-endian layout the line library was built for, so a record can be logged, compared
// and replayed byte for byte.

#include <QByteArray>

#include <array>
#include <cstddef>
#include <cstdint>

namespace cti {

// Little-endian access to a packed block. Out-of-range offsets are programming errors.
int32_t readLe32(const uint8_t* block, std::size_t offset);
void writeLe32(uint8_t* block, std::size_t offset, int32_t value);
// Reads a NUL-terminated string from a field of `width` bytes; stops at the first NUL or the end.
QByteArray readString(const uint8_t* block, std::size_t offset, std::size_t width);
// Copies at most `limit` bytes of text and a NUL into a field (the field has limit + 1 bytes or more).
// A multi-byte UTF-8 character that would be cut in two is left out whole.
void writeString(uint8_t* block, std::size_t offset, const QByteArray& text, std::size_t limit);

} // namespace cti

// The values behind m_eifc_Config, as clsCti keeps them.
struct EifcFields {
    int32_t MaxLogicalConnections = 1;
    int32_t MaxBDataBlocks = 7;
    int32_t MaxBDataLen = 256;
    int32_t MessageBufferSize = 0x800;
    int32_t Listen = 1;
    int32_t CipMask = 0x10010;
    int32_t CipMask2 = 0;
    QByteArray LogFile;
    QByteArray CalledNumber;
    int32_t B1Protocol = 1;
    int32_t B2Protocol = 1;
    int32_t B3Protocol = 0;
    QByteArray CallingNumber;
    int32_t CipOut = 0x10010;
    int32_t AnswerMode = 0;
    uint8_t CalledNumberType = 0x80;
    uint8_t CallingNumberType = 0;
    uint8_t CallingPresentation = 0x80;
    int32_t DebugEnable = 0;

    bool operator==(const EifcFields&) const = default;
};

// m_eifc_Config: the connection configuration handed to cti_Register and cti_IcaSetConfig.
struct EifcConfigBlock {
    static constexpr std::size_t Size = 872;
    enum Offset : std::size_t {
        MaxLogicalConnections = 0,
        MaxBDataBlocks = 4,
        MaxBDataLen = 8,
        MessageBufferSize = 12,
        Listen = 16,
        CipMask = 20,
        CipMask2 = 24,
        LogFile = 28,
        CalledNumber = 283,
        B1Protocol = 304,
        B2Protocol = 308,
        B3Protocol = 312,
        CallingNumber = 316,
        CipOut = 336,
        // The line library once took the address of the event entry here. An address does not fit in
        // 32 bits on a 64-bit machine, so the callback is handed to cti_Register beside the block and
        // this field stays 0.
        Callback = 340,
        Reserved1 = 344,
        Reserved2 = 599,
        AnswerMode = 856,
        Reserved3 = 860,
        CalledNumberType = 864,
        CallingNumberType = 865,
        CallingPresentation = 866,
        DebugEnable = 868,
    };
    static constexpr std::size_t PathLimit = 254;  // 255-byte text fields
    static constexpr std::size_t NumberLimit = 19; // 20-byte number fields

    std::array<uint8_t, Size> bytes{};

    void encode(const EifcFields& fields);
    EifcFields decode() const;
};

// m_FdWave_Config: six 32-bit values of the voice-path buffers.
struct FdWaveConfigBlock {
    static constexpr std::size_t Size = 24;
    std::array<uint8_t, Size> bytes{};

    int32_t value(int index) const { return cti::readLe32(bytes.data(), std::size_t(index) * 4); }
    void setValue(int index, int32_t v) { cti::writeLe32(bytes.data(), std::size_t(index) * 4, v); }
};

// The record that the line library raises for every event.
struct CtiEvent {
    static constexpr std::size_t Size = 2467;
    enum Type : int32_t { CallState = 0, FileIn = 3, FileOut = 4, Dtmf = 5, LibraryError = 6 };
    enum Offset : std::size_t {
        TypeField = 0,
        XcId = 20,
        CallHandle = 28,
        CalledNumber = 36,
        CallingNumber = 56,
        CallingFlags = 78,
        Direction = 80,
        StateName = 84,
        Reason = 116,
        DtmfDigit = 2180,
        FileInReport = 2184,
        FileOutReport = 2196,
        ErrorNumber = 2208,
        ErrorText = 2212,
    };
    static constexpr std::size_t NumberLimit = 19;
    static constexpr std::size_t StateNameLimit = 29;
    static constexpr std::size_t ErrorTextLimit = 254;
    static constexpr uint8_t CallingNational = 0x01; // bit 0 of CallingFlags

    std::array<uint8_t, Size> bytes{};

    int32_t type() const { return cti::readLe32(bytes.data(), TypeField); }
    void setType(int32_t t) { cti::writeLe32(bytes.data(), TypeField, t); }
    int32_t xcId() const { return cti::readLe32(bytes.data(), XcId); }
    void setXcId(int32_t id) { cti::writeLe32(bytes.data(), XcId, id); }
    int32_t callHandle() const { return cti::readLe32(bytes.data(), CallHandle); }
    void setCallHandle(int32_t h) { cti::writeLe32(bytes.data(), CallHandle, h); }
    QByteArray calledNumber() const { return cti::readString(bytes.data(), CalledNumber, 20); }
    void setCalledNumber(const QByteArray& n) {
        cti::writeString(bytes.data(), CalledNumber, n, NumberLimit);
    }
    QByteArray callingNumberRaw() const { return cti::readString(bytes.data(), CallingNumber, 20); }
    void setCallingNumber(const QByteArray& n) {
        cti::writeString(bytes.data(), CallingNumber, n, NumberLimit);
    }
    uint8_t callingFlags() const { return bytes[CallingFlags]; }
    void setCallingFlags(uint8_t f) { bytes[CallingFlags] = f; }
    int32_t direction() const { return cti::readLe32(bytes.data(), Direction); }
    void setDirection(int32_t d) { cti::writeLe32(bytes.data(), Direction, d); }
    QByteArray stateName() const { return cti::readString(bytes.data(), StateName, 32); }
    void setStateName(const QByteArray& s) { cti::writeString(bytes.data(), StateName, s, StateNameLimit); }
    int32_t reason() const { return cti::readLe32(bytes.data(), Reason); }
    void setReason(int32_t r) { cti::writeLe32(bytes.data(), Reason, r); }
    char dtmfDigit() const { return char(bytes[DtmfDigit]); }
    void setDtmfDigit(char c) { cti::writeLe32(bytes.data(), DtmfDigit, uint8_t(c)); }
    int32_t fileInValue(int i) const {
        return cti::readLe32(bytes.data(), FileInReport + std::size_t(i) * 4);
    }
    int32_t fileOutValue(int i) const {
        return cti::readLe32(bytes.data(), FileOutReport + std::size_t(i) * 4);
    }
    void setFileOutValue(int i, int32_t v) {
        cti::writeLe32(bytes.data(), FileOutReport + std::size_t(i) * 4, v);
    }
    int32_t errorNumber() const { return cti::readLe32(bytes.data(), ErrorNumber); }
    void setErrorNumber(int32_t n) { cti::writeLe32(bytes.data(), ErrorNumber, n); }
    QByteArray errorText() const { return cti::readString(bytes.data(), ErrorText, 255); }
    void setErrorText(const QByteArray& t) { cti::writeString(bytes.data(), ErrorText, t, ErrorTextLimit); }

    // The calling number as the program keeps it: "0" ahead of a national number, "unbekannt" when the
    // line gave none.
    QByteArray callingNumber() const;
};
