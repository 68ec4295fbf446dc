#include "tests/support/CapiLineSupport.h"

#include "platform/voice/LineAudio.h"
#include "platform/voice/WaveFiles.h"

#include <QDir>

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <thread>

uint16_t ExchangePort() {
    static const uint16_t port = [] {
        const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        ::bind(fd, reinterpret_cast<sockaddr*>(&address), length);
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
        ::close(fd);
        return ntohs(address.sin_port);
    }();
    return port;
}

CapiServer ExchangeServer() {
    return {"fritzbox", "127.0.0.1", ExchangePort()};
}

std::unique_ptr<CapiExchange> StartExchange(CapiExchange::Options options, bool realTime) {
    options.port = ExchangePort();
    if (options.speed == 1.0 && !realTime)
        options.speed = TestLineSpeed;
    auto exchange = std::make_unique<CapiExchange>(options);
    QString error;
    EXPECT_TRUE(exchange->start(&error)) << error.toStdString();
    return exchange;
}

bool ListeningAgain(const CapiExchange& exchange) {
    int registrations = 0;
    for (const QString& line : exchange.messageLog()) {
        registrations += line.contains(QLatin1String("REGISTER connections"));
        if (registrations == 2 && line.contains(QLatin1String("LISTEN_CONF")))
            return true;
    }
    return false;
}

bool WaitUntil(const std::function<bool()>& pred, int timeoutMs, const std::function<void()>& step) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (std::chrono::steady_clock::now() < end) {
        if (step)
            step();
        if (pred())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return pred();
}

// ----- LineHarness

LineHarness::LineHarness(CapiExchange::Options options, std::shared_ptr<voice::AudioDevice> audio,
                         bool realTime)
    : exchange(StartExchange(options, realTime)),
      line(std::make_unique<CapiLink>(ExchangeServer(), std::move(audio))) {
    EXPECT_GT(line->cti_Init(), 0) << line->lastError().toStdString();
    EifcFields fields;
    fields.LogFile = QDir(dir.path()).filePath(QStringLiteral("Ctilog.txt")).toLocal8Bit();
    EifcConfigBlock block;
    block.encode(fields);
    id = line->cti_Register(block, FdWaveConfigBlock{}, [this](const CtiEvent& event) {
        {
            std::lock_guard lock(m_mutex);
            m_events.push_back(event);
        }
        // The program decides on an offered call from within the callback.
        if (event.type() == CtiEvent::CallState && event.direction() == 1 &&
            event.stateName() == "D_ConnectPending") {
            if (beforeAlert)
                beforeAlert();
            const int32_t result = line->cti_IcaSetAlert(id, alertDecision);
            std::lock_guard lock(m_mutex);
            m_alertResults.push_back(result);
        }
    });
    EXPECT_EQ(id, CapiLink::ChannelId) << line->lastError().toStdString();
}

LineHarness::~LineHarness() {
    line->cti_Exit();
    exchange->stop();
}

std::vector<CtiEvent> LineHarness::events() const {
    std::lock_guard lock(m_mutex);
    return m_events;
}

std::vector<int32_t> LineHarness::alertResults() const {
    std::lock_guard lock(m_mutex);
    return m_alertResults;
}

std::vector<CtiEvent> LineHarness::states(const char* name) const {
    std::vector<CtiEvent> out;
    for (const CtiEvent& e : events())
        if (e.type() == CtiEvent::CallState && e.stateName() == name)
            out.push_back(e);
    return out;
}

QByteArray LineHarness::digits() const {
    QByteArray out;
    for (const CtiEvent& e : events())
        if (e.type() == CtiEvent::Dtmf)
            out.append(e.dtmfDigit());
    return out;
}

bool LineHarness::waitForState(const char* name, std::size_t count, int timeoutMs) const {
    return WaitUntil([&] { return states(name).size() >= count; }, timeoutMs);
}

int LineHarness::answeredCall() {
    const int call = exchange->offerCall("891234567", "5551");
    EXPECT_TRUE(waitForState("D_ConnectPending"));
    const auto offered = states("D_ConnectPending");
    if (offered.empty())
        return call;
    EXPECT_EQ(line->cti_AnswerCall(id, offered.back().callHandle()), 0);
    EXPECT_TRUE(waitForState("Connected"));
    EXPECT_TRUE(exchange->waitFor(
        [call](const CapiExchange& x) { return x.call(call) && x.call(call)->state == ExchangeCall::Active; },
        5000));
    return call;
}

// ----- samples

std::vector<int16_t> ReadWave(const QString& path) {
    voice::WaveReader reader;
    QString error;
    EXPECT_TRUE(reader.open(path, &error)) << error.toStdString();
    std::vector<int16_t> samples;
    int16_t block[512];
    while (const size_t got = reader.read(block, 512))
        samples.insert(samples.end(), block, block + got);
    return samples;
}

void WriteTestSignal(const QString& path, int samples, int format) {
    std::vector<int16_t> signal(std::size_t(samples), 0);
    for (int i = 0; i < samples; ++i) {
        const double frequency = 300.0 + 2500.0 * i / samples;
        const double loudness = 2000.0 + 12000.0 * (0.5 + 0.5 * std::sin(i / 400.0));
        signal[std::size_t(i)] = int16_t(loudness * std::sin(2 * M_PI * frequency * i / 8000.0));
    }
    voice::WaveWriter writer;
    QString error;
    ASSERT_TRUE(writer.open(path, format, &error)) << error.toStdString();
    writer.write(signal.data(), signal.size());
    writer.close();
}

std::vector<int16_t> ThroughLine(const std::vector<int16_t>& samples) {
    std::vector<int16_t> out(samples.size());
    for (std::size_t i = 0; i < samples.size(); ++i)
        out[i] = voice::linearFromLine(voice::lineFromLinear(samples[i]));
    return out;
}

std::vector<int16_t> FromLine(const QByteArray& lineBytes) {
    std::vector<int16_t> out(std::size_t(lineBytes.size()));
    voice::linearFromLine(reinterpret_cast<const uint8_t*>(lineBytes.constData()), out.data(), out.size());
    return out;
}

namespace {
// Index of the first sample that is not (near) silence, or -1.
long FirstSound(const std::vector<int16_t>& samples) {
    for (std::size_t i = 0; i < samples.size(); ++i)
        if (std::abs(samples[i]) > 64)
            return long(i);
    return -1;
}
} // namespace

// The samples of `got` from its first sound on equal `expected` exactly, and what follows is silence.
void ExpectSameSound(const std::vector<int16_t>& got, const std::vector<int16_t>& expected) {
    const long start = FirstSound(got) - FirstSound(expected);
    ASSERT_GE(FirstSound(got), 0) << "nothing but silence";
    ASSERT_GE(start, 0);
    ASSERT_GE(got.size() - std::size_t(start), expected.size()) << "sound cut short";
    long differing = 0;
    for (std::size_t i = 0; i < expected.size(); ++i)
        differing += got[std::size_t(start) + i] != expected[i];
    EXPECT_EQ(differing, 0) << "of " << expected.size() << " samples";
    for (std::size_t i = std::size_t(start) + expected.size(); i < got.size(); ++i)
        ASSERT_LE(std::abs(got[i]), 8) << "sound after the end, at " << i;
}
