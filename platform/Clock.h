#pragma once

#include <QDateTime>

#include <chrono>
#include <mutex>

// The one source of "now" for the program. Production code asks the clock it was given; tests hand in a
// ManualClock and move time by hand, so rings, call clocks and waits run in microseconds.
class Clock {
public:
    virtual ~Clock() = default;
    // Wall-clock time, for what the user sees and what is stored (call start, log lines).
    virtual QDateTime now() const = 0;
    // Monotonic time, for durations of waits.
    virtual std::chrono::steady_clock::time_point monotonic() const = 0;
};

class SystemClock final : public Clock {
public:
    QDateTime now() const override { return QDateTime::currentDateTime(); }
    std::chrono::steady_clock::time_point monotonic() const override {
        return std::chrono::steady_clock::now();
    }
};

// A clock that moves only when told to. Safe to read from several threads.
class ManualClock final : public Clock {
public:
    explicit ManualClock(QDateTime start = QDateTime(QDate(2026, 1, 5), QTime(9, 0, 0)));
    QDateTime now() const override;
    std::chrono::steady_clock::time_point monotonic() const override;
    void advance(std::chrono::milliseconds by);
    void set(const QDateTime& to);

private:
    mutable std::mutex m_mutex;
    QDateTime m_now;
    std::chrono::steady_clock::time_point m_mono;
};
