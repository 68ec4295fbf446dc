#pragma once

// The bytes of the CAPI-over-TCP service as libcapi20's "fritzbox" module speaks them.
//
// Every frame is the byte 0x80, a little-endian 16-bit length L and L bytes: a CAPI message, and for a
// DATA_B3 message its payload right behind it. Management requests (register, profile, release) are
// frames whose message has command 0x20, subcommand 0x80, ApplID 0 and a selector at offset 10. The
// module reads a management reply as two bytes [0x80][N] and then one recv() of N bytes, so each reply
// goes out in one write.

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <optional>

namespace exchange {

constexpr uint8_t FrameMark = 0x80;
constexpr uint8_t ManagementCommand = 0x20;
constexpr uint8_t ManagementRequest = 0x80;

enum ManagementSelector : uint8_t { Release = 0x03, GetProfile = 0x05, Register = 0x09 };

// Register request: three words from offset 14 on. Profile request: the controller at offset 14.
constexpr int ManagementParamOffset = 14;
// The reply's payload: ApplID at 2, Info at 16, the profile from 18.
constexpr int ReplyApplIdOffset = 2;
constexpr int ReplyInfoOffset = 16;
constexpr int ReplyProfileOffset = 18;
constexpr int ProfileSize = 64;

// The frame around a message (and a payload behind it).
QByteArray frame(const QByteArray& message, const QByteArray& payload = {});

// Takes the next whole frame off the front of `buffer`. Empty when not all of it has arrived yet;
// `broken` is set when the buffer does not start with the frame mark (the stream is out of step).
std::optional<QByteArray> takeFrame(QByteArray& buffer, bool* broken);

// The reply to a management request.
QByteArray managementReply(uint8_t selector, uint16_t applId, uint16_t info, const QByteArray& extra = {});

// The 64-byte profile of controller 1: one controller, two B channels, transparent B1/B2/B3, and the
// DTMF bit in the global options when the controller offers DTMF.
QByteArray profile(bool dtmf);

// "CONNECT_IND" and the like; hex for what has no name.
QString messageName(uint8_t command, uint8_t subcommand);

// An ApplID that no other exchange on this machine hands out at the same time. libcapi20 keeps the
// ApplIDs of all processes in one shared-memory table of 1..1023 and does not check a server's ApplID
// against it: two servers that hand out the same ApplID make the second client clear the first's entry
// when it releases. A counter in a locked file in /dev/shm, shared by the exchanges of the machine,
// hands out 1..1023 in turn; without the file a base from the process id and a counter stand in.
uint16_t allocateApplId();

} // namespace exchange
