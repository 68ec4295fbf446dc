// The hand-over between the line library's thread and the main thread, under load. Built and run under
// the thread sanitizer as well.

#include "tests/support/TestLine.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

// What the main thread saw while it pumped until the library thread was done and the ring empty.
struct Pumped {
    int taken = 0;     // events taken
    int lost = 0;      // sequence numbers skipped
    int backwards = 0; // sequence numbers that went back
};

Pumped pumpUntilDone(TestLine& t, const std::atomic<bool>& done) {
    CtiBinding& binding = t.binding;
    Pumped result;
    int32_t last = 0;
    while (!done || binding.pendingEvents() > 0) {
        binding.CtiEventPump();
        const int32_t seen = t.cti().event.reason;
        if (seen != last) {
            result.lost += seen > last + 1;
            result.backwards += seen < last;
            last = seen;
            ++result.taken;
        }
        std::this_thread::yield();
    }
    return result;
}

// The n-th event of the call in progress, numbered in its reason field. Its state is one the program
// does not act on: only its fields are taken.
CtiEvent sequenced(int32_t n, int32_t channel, int32_t call) {
    CtiEvent e;
    e.setType(CtiEvent::CallState);
    e.setXcId(channel);
    e.setCallHandle(call);
    e.setReason(n);
    e.setStateName("Progress");
    return e;
}

TEST(Handover, EveryEventArrivesOnceAndInOrderWhileBothThreadsRun) {
    TestLine t;
    CtiBinding& binding = t.binding;
    const int32_t channel = t.cti().lngCtiId;
    const int32_t call = t.ring();
    constexpr int Events = 20000;
    std::atomic<bool> done = false;
    std::thread library([&] {
        for (int n = 1; n <= Events; ++n) {
            while (binding.pendingEvents() >= CtiEventQueue::Slots - CtiBinding::SlotsKeptForCallEnds)
                std::this_thread::yield();
            binding.CtiEventEntry(sequenced(n, channel, call));
        }
        done = true;
    });
    const Pumped pumped = pumpUntilDone(t, done);
    library.join();
    EXPECT_EQ(pumped.lost, 0);
    EXPECT_EQ(pumped.backwards, 0);
    EXPECT_EQ(pumped.taken, Events);
    EXPECT_TRUE(t.logLines(QStringLiteral("error.log")).isEmpty());
}

TEST(Handover, AnOverrunDropsNewEventsButNeverCorruptsOrReordersOld) {
    TestLine t;
    CtiBinding& binding = t.binding;
    const int32_t channel = t.cti().lngCtiId;
    const int32_t call = t.ring();
    constexpr int Events = 5000;
    std::atomic<bool> done = false;
    std::thread library([&] {
        for (int n = 1; n <= Events; ++n)
            binding.CtiEventEntry(sequenced(n, channel, call));
        done = true;
    });
    const Pumped pumped = pumpUntilDone(t, done);
    library.join();
    EXPECT_EQ(pumped.backwards, 0);
    const int dropped =
        int(t.logLines(QStringLiteral("error.log")).filter(QStringLiteral("CtiEventQueue full")).size());
    EXPECT_EQ(pumped.taken + dropped, Events);
}

TEST(Handover, CallsRungFromTheLineThreadWhileThePumpRuns) {
    TestLine t;
    std::atomic<bool> stop = false;
    std::thread pump([&] {
        // Stands in for the 100 ms timer, run flat out.
        while (!stop)
            t.eventTick();
    });
    for (int i = 0; i < 200; ++i) {
        t.line->offerCall("891234567", "5551", true);
        t.line->farEndHangsUp();
    }
    t.line->waitIdle();
    while (t.binding.pendingEvents() > 0)
        std::this_thread::yield();
    stop = true;
    pump.join();
    EXPECT_EQ(t.call.CallState, StateIdle);
    // Each call that was let ring reached its end in the record once; one that came while the last was
    // still up was ignored and left no trace.
    const auto alerted = t.line->requests().count(QStringLiteral("IcaSetAlert 1"));
    EXPECT_GT(alerted, 0);
    // The flood overruns the ring: offers and the ends of ignored calls are dropped, but an alerted
    // call always finds room for its end.
    EXPECT_EQ(t.call.finished.size(), std::size_t(alerted));
}

} // namespace
