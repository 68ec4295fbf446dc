#include "bench/BenchLine.h"

#include "tools/capiexchange/CapiExchange.h"

#include <sys/resource.h>

uint16_t BenchExchangePort() {
    static const uint16_t port = [] {
        CapiExchange probe;
        QString error;
        probe.start(&error);
        const uint16_t found = probe.port();
        probe.stop();
        return found;
    }();
    return port;
}

double ProcessCpuSeconds() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

AnsweredCall::AnsweredCall(CapiExchange& exchange, CapiLink& line) : m_exchange(exchange), m_line(line) {
    if (m_line.cti_Init() <= 0) {
        m_error = m_line.lastError();
        return;
    }
    EifcConfigBlock block;
    block.encode(EifcFields{});
    m_id = m_line.cti_Register(block, FdWaveConfigBlock{}, [this](const CtiEvent& event) {
        if (event.type() != CtiEvent::CallState)
            return;
        std::lock_guard lock(m_mutex);
        if (event.stateName() == "D_ConnectPending") {
            m_line.cti_IcaSetAlert(m_id, 1);
            m_handle = event.callHandle();
        }
        m_connected = event.stateName() == "Connected";
        m_changed.notify_all();
    });
    m_call = m_exchange.offerCall("891234567", "5551");
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_handle != 0; });
    }
    m_line.cti_AnswerCall(m_id, m_handle);
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_connected; });
    }
    m_line.cti_SndOutStart(m_id);
    m_line.cti_SndInStart(m_id);
}

AnsweredCall::~AnsweredCall() {
    if (m_call != 0)
        m_exchange.hangUp(m_call);
    m_line.cti_Exit();
}
