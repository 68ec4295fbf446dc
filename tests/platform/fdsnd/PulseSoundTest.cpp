// The sound library on a real PulseAudio server of the test's own, whose loudspeaker is a null sink and
// whose microphone hears that sink: what the library plays, the library's own recording hears.

#include "platform/fdsnd/PulseSound.h"
#include "platform/voice/AudioDevice.h"
#include "platform/voice/WaveFiles.h"
#include "tests/support/SoundAnalysis.h"
#include "tests/support/TestEnvironment.h"
#include "tools/soundserver/PulseServer.h"

#include <QDeadlineTimer>
#include <QTemporaryDir>
#include <QThread>

#include <gmock/gmock.h>

#include <atomic>
#include <cmath>
#include <mutex>
#include <thread>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

bool waitFor(const std::function<bool()>& condition, int ms = 5000) {
    QDeadlineTimer deadline(ms);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QThread::msleep(10);
    }
    return true;
}

class PulseSoundTest : public ::testing::Test {
protected:
    void SetUp() override {
        QString error;
        ASSERT_TRUE(server.start(&error)) << error.toStdString();
    }

    // The library on the test server's devices, with its progress reports kept.
    void startLibrary(const QString& out = S(PulseServer::Sink),
                      const QString& in = S(PulseServer::Microphone)) {
        ASSERT_EQ(sound.fdsnd_Init(), 0);
        ASSERT_TRUE(sound.serverAvailable());
        FdSndConfig config;
        config.callback = [this](const FdSndEvent& event) {
            const std::lock_guard lock(mutex);
            events.push_back(event);
        };
        config.device = out;
        sound.fdsnd_WaveOutInit(config);
        config.device = in;
        sound.fdsnd_WaveInInit(config);
    }

    // Records the microphone for `ms` into a file of the format and gives its samples as 8 kHz mono.
    std::vector<int16_t> record(int ms, int format = 3) {
        const QString path = dir.filePath(QStringLiteral("heard%1.wav").arg(++recordings));
        EXPECT_EQ(sound.fdsnd_WaveInStart(path, format), 0);
        QThread::msleep(ms);
        sound.fdsnd_WaveInStop();
        return ReadSamples(path);
    }

    std::vector<FdSndEvent> reported(FdSndEvent::Type type) {
        const std::lock_guard lock(mutex);
        std::vector<FdSndEvent> found;
        for (const FdSndEvent& event : events)
            if (event.type == type)
                found.push_back(event);
        return found;
    }

    QTemporaryDir dir;
    PulseServer server;
    PulseSound sound{S("Morva test")};
    std::mutex mutex;
    std::vector<FdSndEvent> events;
    int recordings = 0;
};

TEST_F(PulseSoundTest, TheLinesVoiceGoesBackToItsChosenDeviceWhenTheServerReturns) {
    startLibrary(S(PulseServer::Headset));
    std::shared_ptr<voice::AudioDevice> voice = sound.voiceDevice();
    voice->startPlayback();
    EXPECT_TRUE(waitFor([&] { return sound.voiceSpeakerDevice() == S(PulseServer::Headset); }, 2000));
    server.kill();
    EXPECT_TRUE(waitFor([&] { return sound.voiceSpeakerDevice().isEmpty(); }, 2000));
    QString error;
    ASSERT_TRUE(server.start(&error)) << error.toStdString();
    EXPECT_TRUE(waitFor([&] { return sound.voiceSpeakerDevice() == S(PulseServer::Headset); }, 2000))
        << "not the default device: the devices are known before the stream opens";
    voice->stopPlayback();
}

TEST_F(PulseSoundTest, ListsTheServersDevicesByStableNameWithoutMonitors) {
    startLibrary();
    ASSERT_TRUE(waitFor([&] { return !sound.outDevices().empty() && !sound.inDevices().empty(); }));
    const auto names = [](const std::vector<FdSndDevice>& devices) {
        QStringList list;
        for (const FdSndDevice& device : devices)
            list << device.name;
        return list;
    };
    EXPECT_EQ(names(sound.outDevices()), (QStringList{S(PulseServer::Sink), S(PulseServer::Headset)}));
    EXPECT_EQ(names(sound.inDevices()), QStringList{S(PulseServer::Microphone)})
        << "the sink's monitor is left out";
    EXPECT_FALSE(sound.defaultOutDescription().isEmpty());
    EXPECT_FALSE(sound.outDevices()[0].description.isEmpty());
}

TEST_F(PulseSoundTest, PlaysAFileOnTheLoudspeakerAndRecordsItInBothFormats) {
    startLibrary();
    const QString tone = dir.filePath(S("tone.wav"));
    const int64_t frames = WriteSine(tone, 1000, 1.5, 8); // 11025 Hz stereo: the server converts
    ASSERT_EQ(sound.fdsnd_WaveOutLoopStart(tone, 1), 0);
    const std::vector<int16_t> pcm = record(600, 3);
    const std::vector<int16_t> alaw = record(600, 17);
    ASSERT_TRUE(waitFor([&] { return !sound.playing(); }, 4000)) << "one round of 1.5 s ends";

    for (const auto* heard : {&pcm, &alaw}) {
        ASSERT_GT(heard->size(), 3000u);
        EXPECT_GT(Rms(*heard), 2000.0);
        EXPECT_GT(ToneShare(*heard, 1000), 0.8) << "the microphone hears the tone that was played";
    }
    voice::WaveFileInfo info;
    ASSERT_TRUE(voice::ReadWaveInfo(dir.filePath(S("heard2.wav")), &info, nullptr));
    EXPECT_TRUE(info.alaw);
    EXPECT_EQ(info.formatNumber, 17);
    ASSERT_TRUE(voice::ReadWaveInfo(dir.filePath(S("heard1.wav")), &info, nullptr));
    EXPECT_EQ(info.formatNumber, 3);

    // Progress: playing ends with the whole file played; the recording's size grows.
    const std::vector<FdSndEvent> playing = reported(FdSndEvent::Playing);
    ASSERT_FALSE(playing.empty());
    EXPECT_EQ(playing.back().position, frames * 4) << "every byte of 16-bit stereo frames";
    EXPECT_EQ(playing.back().bytesBefore, 0);
    const std::vector<FdSndEvent> recording = reported(FdSndEvent::Recording);
    ASSERT_GE(recording.size(), 2u);
    EXPECT_GT(recording.back().size, recording.front().size);
}

TEST_F(PulseSoundTest, ALoopOfAHundredRoundsPlaysOnUntilStopped) {
    startLibrary();
    const QString tone = dir.filePath(S("short.wav"));
    WriteSine(tone, 400, 0.1, 3); // a round of 100 ms, 40 whole waves
    ASSERT_EQ(sound.fdsnd_WaveOutLoopStart(tone, 100), 0);
    const std::vector<int16_t> during = record(500);
    EXPECT_TRUE(sound.playing()) << "five rounds of a hundred are over";
    EXPECT_GT(ToneShare(during, 400), 0.8);
    sound.fdsnd_WaveOutStop();
    EXPECT_FALSE(sound.playing());
    QThread::msleep(100);
    EXPECT_LT(Rms(record(300)), 50.0) << "silence after the stop";
}

TEST_F(PulseSoundTest, TheVolumeOfItsOwnStreamsScalesWhatIsHeard) {
    startLibrary();
    const QString tone = dir.filePath(S("tone.wav"));
    WriteSine(tone, 800, 2, 3);
    ASSERT_EQ(sound.fdsnd_WaveOutLoopStart(tone, 10), 0);
    QThread::msleep(200);
    const double full = Rms(record(400));
    sound.fdsnd_SetOutVolume(0x8000);
    EXPECT_EQ(sound.fdsnd_GetOutVolume(), 0x8000);
    QThread::msleep(250);
    const double half = Rms(record(400));
    EXPECT_NEAR(half / full, 0.5, 0.08) << "a linear scale of the amplitude";
    sound.fdsnd_SetInVolume(0);
    EXPECT_EQ(sound.fdsnd_GetInVolume(), 0);
    QThread::msleep(250);
    EXPECT_LT(Rms(record(400)), 50.0) << "the recording level mutes the recording";
}

TEST_F(PulseSoundTest, ADeviceTheServerDoesNotHaveGivesWayToTheDefault) {
    startLibrary(S("alsa_output.usb-Headset-00.analog-stereo"), S("alsa_input.usb-Headset-00.mono-fallback"));
    const QString tone = dir.filePath(S("tone.wav"));
    WriteSine(tone, 600, 1, 3);
    ASSERT_EQ(sound.fdsnd_WaveOutLoopStart(tone, 5), 0);
    EXPECT_GT(ToneShare(record(400), 600), 0.8);
}

TEST_F(PulseSoundTest, WithoutAServerItStartsSilentAndFindsTheServerWhenItComes) {
    server.stop();
    std::atomic<int> appeared{0};
    sound.setServerWatcher([&](bool available) { appeared += available ? 1 : 0; });
    ASSERT_EQ(sound.fdsnd_Init(), 0) << "the library's start does not need a server";
    EXPECT_FALSE(sound.serverAvailable());
    const QString tone = dir.filePath(S("tone.wav"));
    WriteSine(tone, 600, 0.1, 3);
    EXPECT_LT(sound.fdsnd_WaveOutLoopStart(tone, 1), 0);
    EXPECT_LT(sound.fdsnd_WaveInStart(dir.filePath(S("none.wav")), 3), 0);
    EXPECT_TRUE(sound.outDevices().empty());

    QString error;
    ASSERT_TRUE(server.start(&error)) << error.toStdString();
    EXPECT_TRUE(waitFor([&] { return sound.serverAvailable(); }, 2000)) << "found within two seconds";
    EXPECT_EQ(appeared, 1);
    EXPECT_TRUE(waitFor([&] { return !sound.outDevices().empty(); }));
}

// The line's side: samples pushed at the line's pace are heard by the microphone, which the line hears
// back; a server killed during the call gives the sound back once it runs again.
TEST_F(PulseSoundTest, TheVoiceOfACallComesBackAfterTheServerRestarted) {
    startLibrary();
    std::shared_ptr<voice::AudioDevice> voice = sound.voiceDevice();
    voice->startPlayback();
    voice->startCapture();

    std::atomic<bool> running{true};
    std::mutex heardMutex;
    std::vector<int16_t> heard;
    // The line: 160 samples each 20 ms each way.
    std::thread line([&] {
        std::vector<int16_t> block(160);
        std::vector<int16_t> in(160);
        long n = 0;
        auto next = std::chrono::steady_clock::now();
        while (running) {
            for (int16_t& sample : block)
                sample = int16_t(8000 * std::sin(2 * M_PI * 500 * double(n++) / 8000));
            voice->play(block.data(), block.size());
            voice->capture(in.data(), in.size());
            {
                const std::lock_guard lock(heardMutex);
                heard.insert(heard.end(), in.begin(), in.end());
            }
            next += std::chrono::milliseconds(20);
            std::this_thread::sleep_until(next);
        }
    });
    const auto heardSince = [&](size_t from) {
        const std::lock_guard lock(heardMutex);
        return std::vector<int16_t>(heard.begin() + std::ptrdiff_t(std::min(from, heard.size())),
                                    heard.end());
    };
    const auto heardCount = [&] {
        const std::lock_guard lock(heardMutex);
        return heard.size();
    };

    QThread::msleep(600);
    EXPECT_GT(ToneShare(heardSince(heardCount() - 1600), 500), 0.8)
        << "the line hears itself through the sink";

    server.kill();
    QThread::msleep(300);
    EXPECT_LT(Rms(heardSince(heardCount() - 800)), 50.0) << "no server, no sound";
    QString error;
    ASSERT_TRUE(server.start(&error)) << error.toStdString();
    const size_t restarted = heardCount();
    QThread::msleep(2000);
    const std::vector<int16_t> after = heardSince(restarted);
    running = false;
    line.join();
    voice->stopPlayback();
    voice->stopCapture();
    // Within two seconds of the server's return, the last 200 ms carry the tone again.
    ASSERT_GT(after.size(), 1600u);
    EXPECT_GT(ToneShare(std::vector<int16_t>(after.end() - 1600, after.end()), 500), 0.8);
}

} // namespace
