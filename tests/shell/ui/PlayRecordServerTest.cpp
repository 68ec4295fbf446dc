// A greeting recorded in the play and record window and played back, on a sound server of the test's own:
// someone speaks (a tone another client plays into the loudspeaker, which the microphone hears), the
// window records it into the file of a file-name control, and plays it back.

#include "platform/fdsnd/PulseSound.h"
#include "platform/voice/WaveFiles.h"
#include "shell/ui/ProgramWindows.h"
#include "shell/ui/ctlDateiAuswahl.h"
#include "shell/ui/frmPlayRecord.h"
#include "tests/support/SoundAnalysis.h"
#include "tests/support/TestProgram.h"
#include "tools/soundserver/PulseServer.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

#include <gtest/gtest.h>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

} // namespace

TEST(PlayRecordServer, AGreetingIsRecordedFromTheMicrophoneAndPlayedBack) {
    PulseServer server;
    QString error;
    ASSERT_TRUE(server.start(&error)) << error.toStdString();
    auto sound = std::make_shared<PulseSound>(S("Morva test"));
    TestProgram t(false, sound);
    ProgramWindows windows(*t.program);
    ASSERT_EQ(windows.Form_Load(), MainLifecycle::StartResult::Started);
    ASSERT_TRUE(t.program->sound().soundAvailable());
    const QString folder = QDir(t.program->sound().DefaultSoundPath).absolutePath();

    QWidget host;
    auto* control = new ctlDateiAuswahl(&host);
    (new QVBoxLayout(&host))->addWidget(control);
    control->setShowPlayButton(true);
    control->setDefaultPath(folder);
    control->setFilePath(folder + S("/greeting.wav"));
    host.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&host));
    windows.connectPlayRecord(control);

    // The speaker: another program on the same desktop.
    PulseSound speaker(S("speaker"));
    ASSERT_EQ(speaker.fdsnd_Init(), 0);
    const QString voice = QDir(folder).filePath(S("../voice.wav"));
    WriteSine(voice, 600, 10, 3);

    bool came = false;
    QString format;
    QString size;
    QString position;
    int bar = -1;
    QTimer poll;
    poll.setInterval(20);
    QObject::connect(&poll, &QTimer::timeout, [&] {
        auto* window = qobject_cast<frmPlayRecord*>(QApplication::activeModalWidget());
        if (!window || !window->isVisible() || came)
            return;
        came = true;
        poll.stop();
        speaker.fdsnd_WaveOutLoopStart(voice, 1);
        QTest::qWait(300);
        QTest::mouseClick(window->findChild<QPushButton*>(S("cmdRecord")), Qt::LeftButton);
        QTest::qWait(1200);
        QTest::mouseClick(window->findChild<QPushButton*>(S("cmdStop")), Qt::LeftButton);
        speaker.fdsnd_WaveOutStop();
        format = window->findChild<QLabel*>(S("lblDateiinfo"))->text();
        QTest::qWait(100);
        QTest::mouseClick(window->findChild<QPushButton*>(S("cmdPlay")), Qt::LeftButton);
        auto* progress = window->findChild<QProgressBar*>(S("prgProgress"));
        QDeadlineTimer deadline(4000);
        while (progress->value() < 100 && !deadline.hasExpired())
            QTest::qWait(20);
        bar = progress->value();
        size = window->findChild<QLabel*>(S("lblDateigröße"))->text();
        position = window->findChild<QLabel*>(S("lblDateiPosition"))->text();
        window->close();
    });
    poll.start();
    QTest::mouseClick(control->findChild<QToolButton*>(S("cmdShowPlayRecord")), Qt::LeftButton);
    ASSERT_TRUE(came);

    const QString greeting = QDir(folder).filePath(S("greeting.wav"));
    voice::WaveFileInfo info;
    ASSERT_TRUE(voice::ReadWaveInfo(greeting, &info, nullptr));
    EXPECT_EQ(info.formatNumber, 3) << "the program's recording format";
    EXPECT_NEAR(double(info.frames) / info.rate, 1.2, 0.25);
    const std::vector<int16_t> recorded = ReadSamples(greeting);
    EXPECT_GT(Rms(recorded), 2000.0);
    EXPECT_GT(ToneShare(recorded, 600), 0.8) << "what the microphone heard";
    EXPECT_EQ(bar, 100) << "played back to its end";
    EXPECT_EQ(position, size);
    EXPECT_EQ(size, QString::number(info.dataBytes()));
    EXPECT_EQ(control->FilePath(), S("greeting.wav"));
    EXPECT_EQ(format, S("PCM 8,000 kHz; 16 Bit; Mono")) << "the new recording's format, shown after the stop";
}
