#include "platform/cti/CapiMessage.h"

namespace capi {

MessageWriter::MessageWriter(uint16_t applId, uint8_t command, uint8_t subcommand, uint16_t number,
                             uint32_t address) {
    word(0); // length, filled in by finish()
    word(applId);
    byte(command);
    byte(subcommand);
    word(number);
    dword(address);
}

MessageWriter& MessageWriter::byte(uint8_t v) {
    m_bytes.append(char(v));
    return *this;
}

MessageWriter& MessageWriter::word(uint16_t v) {
    return byte(uint8_t(v & 0xff)).byte(uint8_t(v >> 8));
}

MessageWriter& MessageWriter::dword(uint32_t v) {
    return word(uint16_t(v & 0xffff)).word(uint16_t(v >> 16));
}

MessageWriter& MessageWriter::qword(uint64_t v) {
    return dword(uint32_t(v & 0xffffffffu)).dword(uint32_t(v >> 32));
}

MessageWriter& MessageWriter::structure(const Bytes& content) {
    if (content.size() < 0xff) {
        byte(uint8_t(content.size()));
    } else {
        byte(0xff);
        word(uint16_t(content.size()));
    }
    m_bytes.append(content);
    return *this;
}

QByteArray MessageWriter::finish() {
    const auto length = uint16_t(m_bytes.size());
    m_bytes[0] = char(length & 0xff);
    m_bytes[1] = char(length >> 8);
    return m_bytes;
}

namespace {
uint16_t le16(const uint8_t* p) {
    return uint16_t(p[0] | (p[1] << 8));
}
uint32_t le32(const uint8_t* p) {
    return uint32_t(le16(p)) | (uint32_t(le16(p + 2)) << 16);
}
} // namespace

MessageReader::MessageReader(const uint8_t* data, std::size_t size) : m_data(data) {
    if (size < HeaderSize)
        return;
    m_length = le16(data);
    if (m_length < HeaderSize || m_length > size)
        return;
    m_applId = le16(data + 2);
    m_command = data[4];
    m_subcommand = data[5];
    m_number = le16(data + 6);
    m_address = le32(data + 8);
    m_ok = true;
}

bool MessageReader::take(std::size_t n) {
    if (!m_ok || m_pos + n > m_length) {
        m_ok = false;
        return false;
    }
    m_pos += n;
    return true;
}

uint8_t MessageReader::byte() {
    return take(1) ? m_data[m_pos - 1] : 0;
}
uint16_t MessageReader::word() {
    return take(2) ? le16(m_data + m_pos - 2) : 0;
}
uint32_t MessageReader::dword() {
    return take(4) ? le32(m_data + m_pos - 4) : 0;
}

uint64_t MessageReader::qword() {
    const uint64_t low = dword();
    return low | (uint64_t(dword()) << 32);
}

Bytes MessageReader::structure() {
    std::size_t n = byte();
    if (n == 0xff)
        n = word();
    if (!take(n))
        return {};
    return Bytes(reinterpret_cast<const char*>(m_data + m_pos - n), qsizetype(n));
}

uint8_t StructReader::byte() {
    if (m_pos >= m_content.size()) {
        m_ok = false;
        return 0;
    }
    return uint8_t(m_content[m_pos++]);
}

uint16_t StructReader::word() {
    const uint16_t low = byte();
    return uint16_t(low | (byte() << 8));
}

Bytes StructReader::structure() {
    int n = byte();
    if (n == 0xff)
        n = word();
    if (!m_ok || m_pos + n > m_content.size()) {
        m_ok = false;
        return {};
    }
    m_pos += n;
    return m_content.mid(m_pos - n, n);
}

Bytes encodeCalledNumber(const QByteArray& digits, uint8_t typeOctet) {
    return char(typeOctet | 0x80) + digits;
}

QByteArray decodeCalledNumber(const Bytes& content) {
    return content.isEmpty() ? QByteArray() : content.mid(1);
}

Bytes encodeCallingNumber(const PartyNumber& number) {
    Bytes out;
    out.append(char(number.type | 0x01)); // ISDN numbering plan; extension bit clear: presentation follows
    out.append(char(0x80 | number.presentation | 0x03)); // screened by the network
    if (number.presentation == PartyNumber::Allowed)
        out.append(number.digits);
    return out;
}

PartyNumber decodeCallingNumber(const Bytes& content) {
    PartyNumber number;
    if (content.isEmpty())
        return number;
    const auto first = uint8_t(content[0]);
    number.type = first & 0x70;
    int digitsAt = 1;
    if (!(first & 0x80)) {
        if (content.size() < 2)
            return number;
        number.presentation = uint8_t(content[1]) & 0x60;
        digitsAt = 2;
    }
    // A number whose presentation is restricted or not available is not shown, whatever the
    // network sent along.
    if (number.presentation == PartyNumber::Allowed)
        number.digits = content.mid(digitsAt);
    return number;
}

Bytes encodeBProtocol(uint16_t b1, uint16_t b2, uint16_t b3) {
    Bytes out;
    for (uint16_t v : {b1, b2, b3}) {
        out.append(char(v & 0xff));
        out.append(char(v >> 8));
    }
    out.append(3, '\0'); // empty B1, B2 and B3 configurations
    return out;
}

} // namespace capi
