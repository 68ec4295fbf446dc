#include "platform/cti/CtiRecords.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

int32_t le32(const uint8_t* block, std::size_t offset) {
    return cti::readLe32(block, offset);
}

TEST(EifcConfigBlock, FieldsStandAtTheirOffsetsLittleEndian) {
    EifcFields f;
    f.MaxBDataLen = 512;
    f.Listen = 0;
    f.LogFile = "/data/Ctilog.txt";
    f.CalledNumber = "0891234567";
    f.CallingNumber = "5551";
    f.AnswerMode = 1;
    f.DebugEnable = -1;
    EifcConfigBlock block;
    block.bytes.fill(0xEE);
    block.encode(f);
    const uint8_t* b = block.bytes.data();

    EXPECT_EQ(block.bytes.size(), 872u);
    EXPECT_EQ(le32(b, 0), 1);
    EXPECT_EQ(le32(b, 4), 7);
    EXPECT_EQ(le32(b, 8), 512);
    EXPECT_EQ(le32(b, 12), 0x800);
    EXPECT_EQ(le32(b, 16), 0);
    // 0x10010 little endian.
    EXPECT_EQ(b[20], 0x10);
    EXPECT_EQ(b[21], 0x00);
    EXPECT_EQ(b[22], 0x01);
    EXPECT_EQ(b[23], 0x00);
    EXPECT_EQ(le32(b, 24), 0);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(b + 28)), "/data/Ctilog.txt");
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(b + 283)), "0891234567");
    EXPECT_EQ(le32(b, 304), 1);
    EXPECT_EQ(le32(b, 308), 1);
    EXPECT_EQ(le32(b, 312), 0);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(b + 316)), "5551");
    EXPECT_EQ(le32(b, 336), 0x10010);
    EXPECT_EQ(b[344], 0) << "Reserved1 is an empty string";
    EXPECT_EQ(b[599], 0) << "Reserved2 is an empty string";
    EXPECT_EQ(le32(b, 856), 1);
    EXPECT_EQ(le32(b, 860), 0);
    EXPECT_EQ(b[864], 0x80);
    EXPECT_EQ(b[865], 0x00);
    EXPECT_EQ(b[866], 0x80);
    EXPECT_EQ(le32(b, 868), -1);
    // The callback field is not the block's to fill: the callback travels beside it.
    EXPECT_EQ(le32(b, 340), int32_t(0xEEEEEEEE));

    EXPECT_EQ(block.decode(), f);
}

TEST(EifcConfigBlock, StringsAreCutAtTheirLimitWithANulAndLeaveTheNextFieldAlone) {
    EifcFields f;
    f.CalledNumber = QByteArray(25, '7');
    f.CallingNumber = QByteArray(19, '5');
    f.LogFile = QByteArray(300, 'x');
    EifcConfigBlock block;
    block.bytes.fill(0xEE);
    block.encode(f);
    const uint8_t* b = block.bytes.data();

    // 19 characters and a NUL; the 20-byte field ends there, the gap byte before B1Protocol is untouched.
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(b + 283)), std::string(19, '7'));
    EXPECT_EQ(b[283 + 19], 0);
    EXPECT_EQ(b[303], 0xEE);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(b + 316)), std::string(19, '5'));
    // 254 characters and a NUL in the 255-byte field, right before CalledNumber.
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(b + 28)).size(), 254u);
    EXPECT_EQ(b[28 + 254], 0);

    const EifcFields back = block.decode();
    EXPECT_EQ(back.CalledNumber, QByteArray(19, '7'));
    EXPECT_EQ(back.LogFile.size(), 254);
}

TEST(EifcConfigBlock, ACutNeverSplitsAUtf8Character) {
    // 253 ASCII bytes, then "ü" (two bytes): the limit of 254 would cut it in two.
    QByteArray path(253, 'a');
    path += "\xC3\xBC";
    uint8_t field[300] = {};
    cti::writeString(field, 0, path, 254);
    EXPECT_EQ(cti::readString(field, 0, 255), QByteArray(253, 'a'));
}

TEST(FdWaveConfigBlock, SixValuesInOrder) {
    FdWaveConfigBlock block;
    const int32_t values[] = {100, 512, 10, 512, -1, -1};
    for (int i = 0; i < 6; ++i)
        block.setValue(i, values[i]);
    EXPECT_EQ(block.bytes.size(), 24u);
    EXPECT_EQ(le32(block.bytes.data(), 4), 512);
    EXPECT_EQ(le32(block.bytes.data(), 20), -1);
}

TEST(CtiEvent, FieldsStandAtTheirOffsets) {
    CtiEvent e;
    EXPECT_EQ(e.bytes.size(), 2467u);
    e.setType(CtiEvent::CallState);
    e.setXcId(7);
    e.setCallHandle(0x01020304);
    e.setCalledNumber("5551");
    e.setCallingNumber("891234567");
    e.setCallingFlags(CtiEvent::CallingNational);
    e.setDirection(1);
    e.setStateName("D_ConnectPending");
    e.setReason(0x3491);
    e.setDtmfDigit('#');
    e.setFileOutValue(1, 0);
    e.setErrorNumber(42);
    e.setErrorText("broken");
    const uint8_t* b = e.bytes.data();
    EXPECT_EQ(le32(b, 20), 7);
    EXPECT_EQ(b[28], 0x04);
    EXPECT_EQ(b[31], 0x01);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(b + 36)), "5551");
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(b + 56)), "891234567");
    EXPECT_EQ(b[78], 1);
    EXPECT_EQ(le32(b, 80), 1);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(b + 84)), "D_ConnectPending");
    EXPECT_EQ(le32(b, 116), 0x3491);
    EXPECT_EQ(b[2180], '#');
    EXPECT_EQ(le32(b, 2208), 42);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(b + 2212)), "broken");

    CtiEvent longName;
    longName.setStateName(QByteArray(40, 'S'));
    EXPECT_EQ(longName.stateName().size(), 29);
}

TEST(CtiEvent, CallingNumberRules) {
    CtiEvent e;
    e.setCallingNumber("891234567");
    EXPECT_EQ(e.callingNumber(), "891234567") << "not national: as the line gave it";
    e.setCallingFlags(CtiEvent::CallingNational);
    EXPECT_EQ(e.callingNumber(), "0891234567") << "national: a 0 ahead";
    e.setCallingFlags(0x03);
    EXPECT_EQ(e.callingNumber(), "0891234567") << "only bit 0 counts";
    e.setCallingNumber("");
    EXPECT_EQ(e.callingNumber(), "unbekannt") << "empty gives unbekannt, with no 0 ahead";
    e.setCallingFlags(0);
    EXPECT_EQ(e.callingNumber(), "unbekannt");
}

} // namespace
