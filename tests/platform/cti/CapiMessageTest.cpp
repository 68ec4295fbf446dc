#include "platform/cti/CapiMessage.h"

#include <gtest/gtest.h>

using namespace capi;

TEST(CapiMessage, AMessageReadsBackAsItWasWritten) {
    const QByteArray longStruct(300, 'x'); // 255 bytes and more take the escaped length
    const QByteArray message = MessageWriter(7, Connect, Ind, 0x1234, 0x101)
                                   .word(CipTelephony)
                                   .structure(encodeCalledNumber("5551"))
                                   .structure(longStruct)
                                   .dword(0xdeadbeef)
                                   .qword(0x0102030405060708ull)
                                   .finish();
    MessageReader r(message);
    ASSERT_TRUE(r.ok());
    EXPECT_EQ(r.length(), message.size());
    EXPECT_EQ(r.applId(), 7);
    EXPECT_EQ(r.command(), Connect);
    EXPECT_EQ(r.subcommand(), Ind);
    EXPECT_EQ(r.number(), 0x1234);
    EXPECT_EQ(r.address(), 0x101u);
    EXPECT_EQ(r.word(), CipTelephony);
    EXPECT_EQ(decodeCalledNumber(r.structure()), "5551");
    EXPECT_EQ(r.structure(), longStruct);
    EXPECT_EQ(r.dword(), 0xdeadbeefu);
    EXPECT_EQ(r.qword(), 0x0102030405060708ull);
    EXPECT_TRUE(r.ok());
    EXPECT_EQ(r.remaining(), 0u);
}

TEST(CapiMessage, ATruncatedOrLyingMessageIsFoundOutNotReadPastItsEnd) {
    const QByteArray whole =
        MessageWriter(1, Facility, Ind, 2, 0x101).word(FacilityDtmf).structure("123").finish();
    for (int cut = 0; cut < whole.size(); ++cut) {
        // The bytes end early, while the length field still names the whole message.
        MessageReader r(reinterpret_cast<const uint8_t*>(whole.constData()), std::size_t(cut));
        EXPECT_FALSE(r.ok()) << cut;
    }
    QByteArray lying = whole;
    lying[HeaderSize + 2] = char(200); // the struct claims more bytes than the message has
    MessageReader r(lying);
    ASSERT_TRUE(r.ok());
    r.word();
    EXPECT_TRUE(r.structure().isEmpty());
    EXPECT_FALSE(r.ok());
    EXPECT_EQ(r.word(), 0) << "reads after a failure give nothing";
}

TEST(CapiMessage, CallingNumbersCarryTypeAndPresentation) {
    const PartyNumber national{"891234567", PartyNumber::National, PartyNumber::Allowed};
    EXPECT_EQ(decodeCallingNumber(encodeCallingNumber(national)), national);
    const PartyNumber withheld{"891234567", PartyNumber::National, PartyNumber::Restricted};
    EXPECT_EQ(decodeCallingNumber(encodeCallingNumber(withheld)).digits, "")
        << "a withheld number is not shown";
    // Without the presentation octet (extension bit set on the first octet) the digits follow at once.
    const PartyNumber shortForm = decodeCallingNumber(QByteArray("\xA1") + "4912345");
    EXPECT_EQ(shortForm.type, PartyNumber::National);
    EXPECT_EQ(shortForm.digits, "4912345");
    EXPECT_EQ(decodeCallingNumber(QByteArray()).digits, "");
    EXPECT_EQ(decodeCallingNumber(QByteArray("\x21", 1)).digits, "") << "a presentation octet missing";
}
