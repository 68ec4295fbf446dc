#include "lines/capi/CtiEventQueue.h"

#include <cstring>

bool CtiEventQueue::push(const CtiEvent& event) {
    if (m_count >= Slots)
        return false;
    std::memcpy(m_slots[std::size_t(m_write)].data(), event.bytes.data(), CtiEvent::Size);
    m_write = next(m_write);
    ++m_count;
    return true;
}

bool CtiEventQueue::pop(CtiEvent& event) {
    if (m_count == 0)
        return false;
    std::memcpy(event.bytes.data(), m_slots[std::size_t(m_read)].data(), CtiEvent::Size);
    m_read = next(m_read);
    --m_count;
    return true;
}

void CtiEventQueue::clear() {
    m_write = 0;
    m_read = 0;
    m_count = 0;
}
