#include "platform/Clock.h"

#include <gtest/gtest.h>

TEST(ManualClock, MovesOnlyWhenToldAndMonotonicNeverGoesBack) {
    ManualClock clock(QDateTime(QDate(2026, 3, 1), QTime(12, 0)));
    const auto mono = clock.monotonic();
    EXPECT_EQ(clock.now(), QDateTime(QDate(2026, 3, 1), QTime(12, 0)));
    clock.advance(std::chrono::milliseconds(1500));
    EXPECT_EQ(clock.now(), QDateTime(QDate(2026, 3, 1), QTime(12, 0, 1, 500)));
    EXPECT_EQ(clock.monotonic() - mono, std::chrono::milliseconds(1500));
    clock.set(QDateTime(QDate(2026, 3, 1), QTime(11, 0)));
    EXPECT_EQ(clock.now().time(), QTime(11, 0));
    EXPECT_EQ(clock.monotonic() - mono, std::chrono::milliseconds(1500));
}
