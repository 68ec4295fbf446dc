#pragma once

#include "platform/cti/CtiRecords.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>

// The ring that carries events from the line library's thread to the main thread: 51 slots (indices
// 0 to 50), a write index, a read index, a count and a busy flag.
//
// The library's thread (CtiEventEntry) holds `mutex` for the whole of its work and raises `busy` while
// it does; the main thread's pump never waits for it: it skips its tick when `busy` is up or the lock
// is taken. The indices and the count are only touched under the lock.
class CtiEventQueue {
public:
    static constexpr int16_t Slots = 51;
    static constexpr std::size_t SlotSize = 2468;

    std::mutex mutex;
    std::atomic<int16_t> busy = 0;

    // Both need the lock held.
    // Copies a record into the slot at the write index. A slot is one byte longer than the record: that
    // byte carries `alert`, the alert decision the entry made for this very event. A full ring takes
    // nothing and returns false: an older event is never overwritten.
    bool push(const CtiEvent& event, uint8_t alert = 0);
    // Copies the record at the read index out, and its alert byte; false when the ring is empty.
    bool pop(CtiEvent& event, uint8_t* alert = nullptr);
    bool full() const { return m_count >= Slots; }
    int16_t freeSlots() const { return int16_t(Slots - m_count); }

    int16_t writeIndex() const { return m_write; }
    int16_t readIndex() const { return m_read; }
    int16_t count() const { return m_count; }
    void clear();

private:
    static int16_t next(int16_t index) { return index == Slots - 1 ? 0 : int16_t(index + 1); }

    std::array<std::array<uint8_t, SlotSize>, Slots> m_slots{};
    int16_t m_write = 0;
    int16_t m_read = 0;
    int16_t m_count = 0;
};
