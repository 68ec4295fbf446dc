#pragma once

// The real line library over the real libcapi20, connected to the simulated exchange on loopback, for
// tests: with a recording callback of its own (LineHarness), or under a program.

#include "platform/capilink/CapiLink.h"
#include "platform/voice/AudioDevice.h"
#include "tests/support/TestEnvironment.h"
#include "tools/capiexchange/CapiExchange.h"

#include <QTemporaryDir>

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

// The line library chooses its CAPI server once per process; every exchange of a test process listens
// on this port.
uint16_t ExchangePort();
CapiServer ExchangeServer();
// The exchange's line runs this many times faster than real time in tests.
constexpr double TestLineSpeed = 4.0;

// An exchange on the process's port, started; fails the test when it cannot start. Its line runs at
// TestLineSpeed unless `realTime` (for a sound card, which plays at its own pace).
std::unique_ptr<CapiExchange> StartExchange(CapiExchange::Options options = {}, bool realTime = false);

// The line has registered a second time and listens again (a LISTEN_CONF after the second REGISTER).
bool ListeningAgain(const CapiExchange& exchange);

// Waits for `pred` while doing `step` (e.g. pumping a program's events), up to `timeoutMs`.
bool WaitUntil(const std::function<bool()>& pred, int timeoutMs = 5000,
               const std::function<void()>& step = {});

// The line library with a callback that records every event and decides offered calls as told.
struct LineHarness {
    explicit LineHarness(CapiExchange::Options options = {}, std::shared_ptr<voice::AudioDevice> audio = {},
                         bool realTime = false);
    ~LineHarness();

    std::vector<CtiEvent> events() const;
    // Call-state events of one state name, in order.
    std::vector<CtiEvent> states(const char* name) const;
    QByteArray digits() const;
    bool waitForState(const char* name, std::size_t count = 1, int timeoutMs = 5000) const;
    // An incoming call offered, alerted and answered, with the voice up; returns the exchange's call id.
    int answeredCall();

    QTemporaryDir dir;
    std::unique_ptr<CapiExchange> exchange;
    std::unique_ptr<CapiLink> line;
    int32_t id = -1;
    int alertDecision = 1;
    // Runs in the callback before the decision on an offered call; and the line's answers to the
    // decisions, in order.
    std::function<void()> beforeAlert;
    std::vector<int32_t> alertResults() const;

private:
    mutable std::mutex m_mutex;
    std::vector<CtiEvent> m_events;
    std::vector<int32_t> m_alertResults;
};

// Samples of a wave file as 8 kHz mono.
std::vector<int16_t> ReadWave(const QString& path);
// Writes a test signal: a sweep of tones with changing loudness, so that any shift, loss or repeat of a
// block shows.
void WriteTestSignal(const QString& path, int samples, int format = 3);
// The samples as the line carries them: through A-law and back.
std::vector<int16_t> ThroughLine(const std::vector<int16_t>& samples);
// Samples of line bytes.
std::vector<int16_t> FromLine(const QByteArray& lineBytes);
// The samples of `got` from its first sound on equal `expected` exactly, and what follows is silence.
void ExpectSameSound(const std::vector<int16_t>& got, const std::vector<int16_t>& expected);
