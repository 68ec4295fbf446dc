#include "lines/capi/CtiEventQueue.h"

#include <cstring>

bool CtiEventQueue::push(const CtiEvent& event, uint8_t alert) {
    if (full())
        return false;
    auto& slot = m_slots[std::size_t(m_write)];
    std::memcpy(slot.data(), event.bytes.data(), CtiEvent::Size);
    slot[CtiEvent::Size] = alert;
    m_write = next(m_write);
    ++m_count;
    return true;
}

bool CtiEventQueue::pop(CtiEvent& event, uint8_t* alert) {
    if (m_count == 0)
        return false;
    const auto& slot = m_slots[std::size_t(m_read)];
    std::memcpy(event.bytes.data(), slot.data(), CtiEvent::Size);
    if (alert)
        *alert = slot[CtiEvent::Size];
    m_read = next(m_read);
    --m_count;
    return true;
}

void CtiEventQueue::clear() {
    m_write = 0;
    m_read = 0;
    m_count = 0;
}
