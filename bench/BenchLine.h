#pragma once

// What the benchmarks of the real line share: the exchange's port, a call answered on the line with its
// voice both ways, and the process's CPU time.

#include "platform/capilink/CapiLink.h"

#include <QString>

#include <condition_variable>
#include <cstdint>
#include <mutex>

class CapiExchange;

// The line library chooses its CAPI server once per process: every exchange of a benchmark process
// listens on this port, the first free one found.
uint16_t BenchExchangePort();

// The CPU time the process has used, user and system, in seconds.
double ProcessCpuSeconds();

// The line registered on the exchange, with an incoming call answered and the voice on both ways (to the
// line's sound card and from it). The call ends with the object.
class AnsweredCall {
public:
    AnsweredCall(CapiExchange& exchange, CapiLink& line);
    ~AnsweredCall();
    AnsweredCall(const AnsweredCall&) = delete;
    AnsweredCall& operator=(const AnsweredCall&) = delete;

    // Empty when the call is up; else why it is not.
    QString error() const { return m_error; }
    int callId() const { return m_call; }

private:
    CapiExchange& m_exchange;
    CapiLink& m_line;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int32_t m_id = 0;
    int32_t m_handle = 0;
    bool m_connected = false;
    int m_call = 0;
    QString m_error;
};
