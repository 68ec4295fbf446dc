#pragma once

// CAPI 2.0 messages as bytes: a writer that builds a message parameter by parameter, a reader that
// takes one apart with every length checked, and the party-number information elements. The line
// library and the simulated exchange both speak through these, so the two sides agree by
// construction and a malformed message is found by the reader, never by a crash.

#include <QByteArray>

#include <cstdint>
#include <optional>
#include <vector>

namespace capi {

// Commands (byte 4 of a message).
enum Command : uint8_t {
    Alert = 0x01,
    Connect = 0x02,
    ConnectActive = 0x03,
    Disconnect = 0x04,
    Listen = 0x05,
    Info = 0x08,
    SelectBProtocol = 0x41,
    Facility = 0x80,
    ConnectB3 = 0x82,
    ConnectB3Active = 0x83,
    DisconnectB3 = 0x84,
    DataB3 = 0x86,
    ResetB3 = 0x87,
    ConnectB3T90Active = 0x88,
    Manufacturer = 0xff,
};

// Subcommands (byte 5).
enum Subcommand : uint8_t { Req = 0x80, Conf = 0x81, Ind = 0x82, Resp = 0x83 };

constexpr uint16_t HeaderSize = 12; // length, ApplID, command, subcommand, number, address
// A DATA_B3_REQ on a 64-bit machine: the header, Data32, length, handle, flags and Data64.
constexpr uint16_t DataB3ReqSize = 30;
// The payload of a DATA_B3_IND or DATA_B3_REQ is at the offset of Data32 when the message carries it
// inline, and its length at offset 16.
constexpr uint16_t DataLengthOffset = 16;
constexpr uint16_t DataHandleOffset = 18;

// CAPI info and reason values that the line and the exchange use by name.
enum InfoValue : uint16_t {
    NoError = 0x0000,
    IllegalApplication = 0x1101,
    IllegalCommand = 0x1102,
    QueueFull = 0x1103,
    QueueEmpty = 0x1104,
    WrongState = 0x2001,
    IllegalIdentifier = 0x2002,
    FacilityNotSupported = 0x300B,
    NormalClearing = 0x3490,
    UserBusy = 0x3491,
    NoUserResponding = 0x3492,
    NoAnswer = 0x3493,
    CallRejected = 0x3495,
    Unallocated = 0x3481,
    NonSelectedUser = 0x349A,
};

// Facility selector of DTMF.
constexpr uint16_t FacilityDtmf = 1;

// CIP values and the mask bit of each.
constexpr uint16_t CipSpeech = 1;
constexpr uint16_t CipAudio31 = 4;
constexpr uint16_t CipTelephony = 16;
constexpr uint32_t cipBit(uint16_t cip) {
    return uint32_t(1) << cip;
}

// A byte string that is a CAPI "struct" parameter (without its length byte).
using Bytes = QByteArray;

class MessageWriter {
public:
    MessageWriter(uint16_t applId, uint8_t command, uint8_t subcommand, uint16_t number, uint32_t address);

    MessageWriter& byte(uint8_t v);
    MessageWriter& word(uint16_t v);
    MessageWriter& dword(uint32_t v);
    MessageWriter& qword(uint64_t v);
    // A struct parameter: its length (one byte, or 0xFF and a word from 255 bytes on), then the bytes.
    MessageWriter& structure(const Bytes& content);
    // The message, its length field filled in.
    QByteArray finish();

private:
    QByteArray m_bytes;
};

class MessageReader {
public:
    // Reads the header of a whole message. `ok()` is false when the bytes are shorter than a header or
    // than the length the header gives.
    MessageReader(const uint8_t* data, std::size_t size);
    explicit MessageReader(const QByteArray& message)
        : MessageReader(reinterpret_cast<const uint8_t*>(message.constData()), std::size_t(message.size())) {}

    bool ok() const { return m_ok; }
    uint16_t length() const { return m_length; }
    uint16_t applId() const { return m_applId; }
    uint8_t command() const { return m_command; }
    uint8_t subcommand() const { return m_subcommand; }
    uint16_t number() const { return m_number; }
    uint32_t address() const { return m_address; }

    // The parameters after the header, in order. A read past the message's length returns 0 or an
    // empty struct and makes `ok()` false, so a caller checks once after its reads.
    uint8_t byte();
    uint16_t word();
    uint32_t dword();
    uint64_t qword();
    Bytes structure();
    // Bytes left after the parameters read so far.
    std::size_t remaining() const { return m_ok ? m_length - m_pos : 0; }

private:
    bool take(std::size_t n);

    const uint8_t* m_data;
    uint16_t m_length = 0;
    std::size_t m_pos = HeaderSize;
    bool m_ok = false;
    uint16_t m_applId = 0;
    uint8_t m_command = 0;
    uint8_t m_subcommand = 0;
    uint16_t m_number = 0;
    uint32_t m_address = 0;
};

// Reads a struct parameter's content on its own (for the structs inside a struct, as B protocol).
class StructReader {
public:
    explicit StructReader(const Bytes& content) : m_content(content) {}
    bool ok() const { return m_ok; }
    uint8_t byte();
    uint16_t word();
    Bytes structure();

private:
    const Bytes m_content;
    int m_pos = 0;
    bool m_ok = true;
};

// A party number as the D channel carries it.
struct PartyNumber {
    enum Type : uint8_t { Unknown = 0x00, International = 0x10, National = 0x20, Subscriber = 0x40 };
    enum Presentation : uint8_t { Allowed = 0x00, Restricted = 0x20, NotAvailable = 0x40 };
    QByteArray digits;
    uint8_t type = Unknown;
    uint8_t presentation = Allowed;
    bool operator==(const PartyNumber&) const = default;
};

// Called party number: the type and plan octet (with its extension bit), then the digits.
Bytes encodeCalledNumber(const QByteArray& digits, uint8_t typeOctet = 0x80);
QByteArray decodeCalledNumber(const Bytes& content);
// Calling party number: the type and plan octet, the presentation and screening octet when the first
// octet's extension bit is clear, then the digits.
Bytes encodeCallingNumber(const PartyNumber& number);
PartyNumber decodeCallingNumber(const Bytes& content);

// B protocol struct: B1, B2, B3 and three empty configurations.
Bytes encodeBProtocol(uint16_t b1, uint16_t b2, uint16_t b3);

} // namespace capi
