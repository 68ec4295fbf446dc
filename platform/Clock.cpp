#include "platform/Clock.h"

ManualClock::ManualClock(QDateTime start) : m_now(std::move(start)) {}

QDateTime ManualClock::now() const {
    std::lock_guard lock(m_mutex);
    return m_now;
}

std::chrono::steady_clock::time_point ManualClock::monotonic() const {
    std::lock_guard lock(m_mutex);
    return m_mono;
}

void ManualClock::advance(std::chrono::milliseconds by) {
    std::lock_guard lock(m_mutex);
    m_now = m_now.addMSecs(by.count());
    m_mono += by;
}

void ManualClock::set(const QDateTime& to) {
    std::lock_guard lock(m_mutex);
    // Wall time may be set back (a test of midnight, a clock change); monotonic time never goes back.
    const qint64 forward = m_now.msecsTo(to);
    if (forward > 0)
        m_mono += std::chrono::milliseconds(forward);
    m_now = to;
}
