// A call through the simulated exchange with the sound card of a real sound server: what the far end
// says reaches the loudspeaker (a null sink), and what the microphone hears reaches the far end. The
// microphone hears the loudspeaker, so each direction is checked with a tone of its own.

#include "platform/Clock.h"
#include "platform/capilink/CapiLink.h"
#include "platform/fdsnd/PulseSound.h"
#include "shell/Program.h"
#include "shell/call/Eurit30.h"
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

// The whole program on the line and the sound server: the ring, the ringback and the busy tone are
// heard on the loudspeaker, and each stops when the call's state changes.
struct SoundProgram {
    SoundProgram() {
        QString error;
        EXPECT_TRUE(server.start(&error)) << error.toStdString();
        exchange = StartExchange({}, true);
        sound = std::make_shared<PulseSound>(S("Morva test"));
        auto link = std::make_unique<CapiLink>(ExchangeServer(), sound->voiceDevice());
        program = std::make_unique<Program>(clock, std::move(link), dir.path(), sound);
        EXPECT_TRUE(
            program->sound().SoundInit(program->profiles(), Program::IniPath(dir.path()), program->logs()));
        program->sound().InstallShippedSounds();
        program->callLog().SEZGDBOpen();
        program->Konfigurationen().Item(1).setStrMSN(1, S("5551"));
        EXPECT_TRUE(program->startLine()) << program->fatalMessage().toStdString();
    }
    ~SoundProgram() {
        program.reset();
        exchange->stop();
    }
    bool pumpUntil(const std::function<bool()>& pred, int timeoutMs = 5000) {
        return WaitUntil(pred, timeoutMs, [this] {
            while (program->cti().pendingEvents() > 0)
                program->eventTick();
        });
    }
    // What the loudspeaker plays for the next `ms`, heard through the microphone.
    std::vector<int16_t> listen(int ms) {
        const QString path = dir.filePath(QStringLiteral("heard%1.wav").arg(++heard));
        EXPECT_EQ(sound->fdsnd_WaveInStart(path, 3), 0);
        pumpUntil([] { return false; }, ms);
        sound->fdsnd_WaveInStop();
        return ReadSamples(path);
    }

    PulseServer server;
    ManualClock clock;
    QTemporaryDir dir;
    std::unique_ptr<CapiExchange> exchange;
    std::shared_ptr<PulseSound> sound;
    std::unique_ptr<Program> program;
    int heard = 0;
};

TEST(VoiceCall, TheMsnsRingSoundsUntilTheCallIsAnsweredAndTheTonesOfADialAreHeard) {
    SoundProgram t;
    ASSERT_TRUE(t.sound->serverAvailable());
    const int call = t.exchange->offerCall("891234567", "5551");
    ASSERT_TRUE(t.pumpUntil([&] { return t.program->call().CallState == StateIncomingRinging; }));
    const std::vector<int16_t> ring = t.listen(600);
    EXPECT_TRUE(t.sound->playing());
    // The shipped ring warbles between 1000 and 1250 Hz every 25 ms; the switching spreads a part of its
    // energy beside the two.
    EXPECT_GT(Rms(ring), 1000.0);
    EXPECT_GT(ToneShare(ring, 1000) + ToneShare(ring, 1250), 0.4);
    EXPECT_LT(ToneShare(ring, 425), 0.05);
    t.program->commands().Eurit_Answer();
    ASSERT_TRUE(t.pumpUntil([&] { return t.program->call().CallState == StateIncomingConnected; }));
    EXPECT_FALSE(t.sound->playing()) << "answering stops the ring";
    t.exchange->hangUp(call);
    ASSERT_TRUE(t.pumpUntil([&] { return t.program->call().CallState == StateIdle; }));

    // A dial hears the ringback tone until the far end answers.
    t.exchange->setOutgoing(CapiExchange::Outgoing::Ring);
    t.program->commands().Eurit_Dial(S("0891234"));
    ASSERT_TRUE(t.pumpUntil([&] { return t.program->call().CallState == StateOutgoingWaiting; }));
    EXPECT_GT(ToneShare(t.listen(600), 425), 0.8) << "the first second of the ringback sounds";
    EXPECT_TRUE(t.sound->playing());
    ASSERT_TRUE(t.exchange->answer(t.exchange->lastCallId()));
    ASSERT_TRUE(t.pumpUntil([&] { return t.program->call().CallState == StateOutgoingConnected; }));
    EXPECT_FALSE(t.sound->playing()) << "the answer stops the ringback";
    t.program->commands().Eurit_Hangup();
    ASSERT_TRUE(t.pumpUntil([&] { return t.program->call().CallState == StateIdle; }));

    // A busy far end: the busy tone.
    t.exchange->setOutgoing(CapiExchange::Outgoing::Busy);
    t.program->commands().Eurit_Dial(S("0891234"));
    ASSERT_TRUE(t.pumpUntil([&] { return t.program->call().IdleStatusText == S("User busy"); }));
    EXPECT_GT(ToneShare(t.listen(400), 425), 0.8);
}

} // namespace
