#include "tools/capiexchange/ExchangeWire.h"

#include "platform/cti/CapiMessage.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <sys/file.h>
#include <unistd.h>

namespace exchange {

namespace {

void putWord(QByteArray& bytes, int at, uint16_t v) {
    bytes[at] = char(v & 0xff);
    bytes[at + 1] = char(v >> 8);
}

void putDword(QByteArray& bytes, int at, uint32_t v) {
    putWord(bytes, at, uint16_t(v & 0xffff));
    putWord(bytes, at + 2, uint16_t(v >> 16));
}

constexpr int MaxApplId = 1023;

} // namespace

QByteArray frame(const QByteArray& message, const QByteArray& payload) {
    const auto length = message.size() + payload.size();
    QByteArray out(3, '\0');
    out[0] = char(FrameMark);
    putWord(out, 1, uint16_t(length));
    out.reserve(3 + length);
    out.append(message);
    out.append(payload);
    return out;
}

std::optional<QByteArray> takeFrame(QByteArray& buffer, bool* broken) {
    *broken = false;
    if (buffer.isEmpty())
        return std::nullopt;
    if (uint8_t(buffer[0]) != FrameMark) {
        *broken = true;
        return std::nullopt;
    }
    if (buffer.size() < 3)
        return std::nullopt;
    const int length = uint8_t(buffer[1]) | (uint8_t(buffer[2]) << 8);
    if (buffer.size() < 3 + length)
        return std::nullopt;
    QByteArray message = buffer.mid(3, length);
    buffer.remove(0, 3 + length);
    return message;
}

QByteArray managementReply(uint8_t selector, uint16_t applId, uint16_t info, const QByteArray& extra) {
    QByteArray payload(ReplyProfileOffset, '\0');
    putWord(payload, 0, uint16_t(ReplyProfileOffset + extra.size()));
    putWord(payload, ReplyApplIdOffset, applId);
    payload[4] = char(ManagementCommand);
    payload[5] = char(capi::Conf);
    payload[10] = char(selector);
    putWord(payload, ReplyInfoOffset, info);
    payload.append(extra);
    QByteArray out(2, '\0');
    out[0] = char(FrameMark);
    out[1] = char(payload.size());
    return out + payload;
}

QByteArray profile(bool dtmf) {
    QByteArray p(ProfileSize, '\0');
    putWord(p, 0, 1);                         // controllers
    putWord(p, 2, 2);                         // B channels
    putDword(p, 4, 0x01 | (dtmf ? 0x08 : 0)); // internal controller; DTMF
    putDword(p, 8, 0x03);                     // B1: HDLC, 64 kbit/s transparent
    putDword(p, 12, 0x03);                    // B2: X.75, transparent
    putDword(p, 16, 0x01);                    // B3: transparent
    return p;
}

QString messageName(uint8_t command, uint8_t subcommand) {
    static const std::map<uint8_t, const char*> commands{{capi::Alert, "ALERT"},
                                                         {capi::Connect, "CONNECT"},
                                                         {capi::ConnectActive, "CONNECT_ACTIVE"},
                                                         {capi::Disconnect, "DISCONNECT"},
                                                         {capi::Listen, "LISTEN"},
                                                         {capi::Info, "INFO"},
                                                         {capi::SelectBProtocol, "SELECT_B_PROTOCOL"},
                                                         {capi::Facility, "FACILITY"},
                                                         {capi::ConnectB3, "CONNECT_B3"},
                                                         {capi::ConnectB3Active, "CONNECT_B3_ACTIVE"},
                                                         {capi::DisconnectB3, "DISCONNECT_B3"},
                                                         {capi::DataB3, "DATA_B3"},
                                                         {capi::ResetB3, "RESET_B3"},
                                                         {capi::ConnectB3T90Active, "CONNECT_B3_T90_ACTIVE"},
                                                         {capi::Manufacturer, "MANUFACTURER"}};
    static const std::map<uint8_t, const char*> subcommands{
        {capi::Req, "REQ"}, {capi::Conf, "CONF"}, {capi::Ind, "IND"}, {capi::Resp, "RESP"}};
    const auto name = [](const std::map<uint8_t, const char*>& names, uint8_t v) {
        const auto it = names.find(v);
        return it != names.end() ? QString::fromLatin1(it->second)
                                 : QStringLiteral("0x%1").arg(v, 2, 16, QLatin1Char('0'));
    };
    return name(commands, command) + QLatin1Char('_') + name(subcommands, subcommand);
}

uint16_t allocateApplId() {
    static std::atomic<unsigned> counter{0};
    const int fd = ::open("/dev/shm/morva-exchange-applids", O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (fd >= 0 && ::flock(fd, LOCK_EX) == 0) {
        char text[16] = {};
        const ssize_t n = ::pread(fd, text, sizeof text - 1, 0);
        const long last = n > 0 ? std::strtol(text, nullptr, 10) : long(::getpid() % MaxApplId);
        const int next = int((last < 0 ? 0 : last) % MaxApplId) + 1;
        char out[16];
        const int length = std::snprintf(out, sizeof out, "%d\n", next);
        const bool written = ::ftruncate(fd, 0) == 0 && ::pwrite(fd, out, size_t(length), 0) == length;
        ::flock(fd, LOCK_UN);
        ::close(fd);
        if (written)
            return uint16_t(next);
    } else if (fd >= 0) {
        ::close(fd);
    }
    return uint16_t(1 + (unsigned(::getpid()) + counter++) % MaxApplId);
}

} // namespace exchange
