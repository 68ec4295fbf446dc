#include "lines/capi/CtiEventQueue.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

CtiEvent numbered(int32_t n) {
    CtiEvent e;
    e.setType(CtiEvent::Dtmf);
    e.setCallHandle(n);
    e.setErrorText(QByteArray::number(n)); // far into the record: the whole record travels
    return e;
}

TEST(CtiEventQueue, KeepsOrderAndWholeRecords) {
    auto q = std::make_unique<CtiEventQueue>();
    for (int i = 1; i <= 3; ++i)
        ASSERT_TRUE(q->push(numbered(i)));
    EXPECT_EQ(q->count(), 3);
    CtiEvent out;
    for (int i = 1; i <= 3; ++i) {
        ASSERT_TRUE(q->pop(out));
        EXPECT_EQ(out.callHandle(), i);
        EXPECT_EQ(out.errorText(), QByteArray::number(i));
    }
    EXPECT_FALSE(q->pop(out));
    EXPECT_EQ(q->count(), 0);
}

TEST(CtiEventQueue, IndicesRunFrom0To50AndWrap) {
    auto q = std::make_unique<CtiEventQueue>();
    CtiEvent out;
    for (int i = 0; i < 50; ++i) {
        ASSERT_TRUE(q->push(numbered(i)));
        ASSERT_TRUE(q->pop(out));
    }
    EXPECT_EQ(q->writeIndex(), 50) << "slot 50 is a slot of its own";
    EXPECT_EQ(q->readIndex(), 50);
    ASSERT_TRUE(q->push(numbered(50)));
    EXPECT_EQ(q->writeIndex(), 0) << "the index wraps to 0 after 50";
    ASSERT_TRUE(q->push(numbered(51)));
    ASSERT_TRUE(q->pop(out));
    EXPECT_EQ(out.callHandle(), 50);
    EXPECT_EQ(q->readIndex(), 0);
    ASSERT_TRUE(q->pop(out));
    EXPECT_EQ(out.callHandle(), 51);
}

TEST(CtiEventQueue, AFullRingRefusesTheNewEventAndKeepsTheOld) {
    auto q = std::make_unique<CtiEventQueue>();
    for (int i = 0; i < 51; ++i)
        ASSERT_TRUE(q->push(numbered(i))) << i;
    EXPECT_FALSE(q->push(numbered(99)));
    EXPECT_EQ(q->count(), 51);
    CtiEvent out;
    for (int i = 0; i < 51; ++i) {
        ASSERT_TRUE(q->pop(out));
        EXPECT_EQ(out.callHandle(), i);
    }
    EXPECT_FALSE(q->pop(out));
}

} // namespace
