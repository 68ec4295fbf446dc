// A call through the simulated exchange with the sound card of a real sound server: what the far end
// says reaches the loudspeaker (a null sink), and what the microphone hears reaches the far end. The
// microphone hears the loudspeaker, so each direction is checked with a tone of its own.

#include "platform/capilink/CapiLink.h"
#include "platform/fdsnd/PulseSound.h"
#include "tests/support/CapiLineSupport.h"
#include "tests/support/SoundAnalysis.h"
#include "tools/soundserver/PulseServer.h"

#include <QTemporaryDir>
#include <QThread>

#include <gmock/gmock.h>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

TEST(VoiceCall, BothDirectionsOfACallPassTheSoundCard) {
    PulseServer server;
    QString error;
    ASSERT_TRUE(server.start(&error)) << error.toStdString();
    PulseSound sound(S("Morva test"));
    ASSERT_EQ(sound.fdsnd_Init(), 0);
    FdSndConfig config;
    config.device = S(PulseServer::Sink);
    sound.fdsnd_WaveOutInit(config);
    config.device = S(PulseServer::Microphone);
    sound.fdsnd_WaveInInit(config);

    LineHarness h({}, sound.voiceDevice(), true);
    const int call = h.answeredCall();
    ASSERT_EQ(h.line->cti_SndOutStart(h.id), 0);
    ASSERT_EQ(h.line->cti_SndInStart(h.id), 0);

    // The far end speaks (700 Hz): the loudspeaker plays it, and Morva's own recording of the microphone
    // hears it there.
    const QString farEnd = h.dir.filePath(S("far.wav"));
    WriteSine(farEnd, 700, 2, 3);
    ASSERT_TRUE(h.exchange->playFile(call, farEnd, &error)) << error.toStdString();
    QThread::msleep(300);
    const QString heardPath = h.dir.filePath(S("speaker.wav"));
    ASSERT_EQ(sound.fdsnd_WaveInStart(heardPath, 3), 0);
    QThread::msleep(800);
    sound.fdsnd_WaveInStop();
    const std::vector<int16_t> speaker = ReadSamples(heardPath);
    EXPECT_GT(Rms(speaker), 1000.0);
    EXPECT_GT(ToneShare(speaker, 700), 0.8) << "the far end's voice on the loudspeaker";
    ASSERT_TRUE(h.exchange->playFile(call, QString(), &error));

    // Morva's user speaks (1100 Hz into the microphone): the far end hears it.
    const QString farHeard = h.dir.filePath(S("far-heard.wav"));
    QThread::msleep(300); // the far end's tone has left the loop
    ASSERT_TRUE(h.exchange->recordTo(call, farHeard, 3, &error)) << error.toStdString();
    const QString nearEnd = h.dir.filePath(S("near.wav"));
    WriteSine(nearEnd, 1100, 2, 3);
    ASSERT_EQ(sound.fdsnd_WaveOutLoopStart(nearEnd, 1), 0);
    QThread::msleep(1200);
    ASSERT_TRUE(h.exchange->recordTo(call, QString(), 3, &error));
    sound.fdsnd_WaveOutStop();
    const std::vector<int16_t> far = ReadSamples(farHeard);
    ASSERT_GT(far.size(), 4000u);
    const std::vector<int16_t> lastHalf(far.end() - 4000, far.end());
    EXPECT_GT(Rms(lastHalf), 1000.0);
    EXPECT_GT(ToneShare(lastHalf, 1100), 0.8) << "the microphone reaches the far end";

    EXPECT_EQ(h.line->cti_SndOutStop(h.id), 0);
    EXPECT_EQ(h.line->cti_SndInStop(h.id), 0);
    EXPECT_THAT(h.exchange->violations(), ::testing::IsEmpty());
}

} // namespace
