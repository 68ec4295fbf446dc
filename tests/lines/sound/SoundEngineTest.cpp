// The sound engine: its folder and the names resolved against it, section Sound, the files' formats,
// the devices, and the progress of playing.

#include "lines/sound/SoundEngine.h"
#include "platform/Clock.h"
#include "platform/fdsnd/PulseSound.h"
#include "platform/fdsnd/SilentSound.h"
#include "platform/profile/ProfileStore.h"
#include "shell/base/Logs.h"
#include "shell/base/Settings.h"
#include "tests/support/SoundAnalysis.h"
#include "tests/support/TestEnvironment.h"
#include "tools/soundserver/PulseServer.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

} // namespace

TEST(SoundPaths, NamesAreResolvedAgainstAndMadeRelativeToTheSoundFolder) {
    QTemporaryDir dir;
    SilentSound library;
    const SoundEngine sound(dir.path(), library);
    const QString folder = dir.path() + S("/sound/");
    EXPECT_EQ(sound.SoundFullPath(S("ring.wav")), folder + S("ring.wav"));
    EXPECT_EQ(sound.SoundFullPath(S("../ring.wav")), dir.path() + S("/ring.wav"));
    EXPECT_EQ(sound.SoundFullPath(S("/usr/share/sounds/ring.wav")), S("/usr/share/sounds/ring.wav"));
    EXPECT_EQ(sound.SoundFullPath(QString()), QString());
    EXPECT_EQ(sound.SoundRelativePath(folder + S("Msg1.wav")), S("Msg1.wav"));
    EXPECT_EQ(sound.SoundRelativePath(S("Msg1.wav")), S("Msg1.wav"));
    EXPECT_EQ(sound.SoundRelativePath(dir.path() + S("/Ansage/a.wav")), S("../Ansage/a.wav"));
}

TEST(ShippedSounds, MissingTonesGoIntoTheSoundFolderAndAUsersFileStays) {
    QTemporaryDir dir;
    SilentSound library;
    const SoundEngine sound(dir.path(), library);
    const QString folder = dir.path() + S("/sound/");
    // The user's own ringback, already there.
    QDir().mkpath(folder);
    QFile own(folder + S("frei.wav"));
    ASSERT_TRUE(own.open(QIODevice::WriteOnly));
    own.write("mine");
    own.close();

    QStringList failed;
    EXPECT_EQ(sound.InstallShippedSounds(&failed), (QStringList{S("besetzt.wav"), S("ring.wav")}));
    EXPECT_TRUE(failed.isEmpty());
    QFile mine(folder + S("frei.wav"));
    ASSERT_TRUE(mine.open(QIODevice::ReadOnly));
    EXPECT_EQ(mine.readAll(), QByteArray("mine"));
    for (const char* name : {"besetzt.wav", "ring.wav"}) {
        QFile shipped(S(":/sounds/") + S(name)), put(folder + S(name));
        ASSERT_TRUE(shipped.open(QIODevice::ReadOnly) && put.open(QIODevice::ReadOnly)) << name;
        EXPECT_EQ(put.readAll(), shipped.readAll()) << name;
        EXPECT_TRUE(put.permissions() & QFile::WriteOwner) << "the user may replace it";
    }
    EXPECT_FALSE(QFile::exists(folder + S("ring.wav.part")));
    // Nothing more to do the next time.
    EXPECT_TRUE(sound.InstallShippedSounds().isEmpty());

    // A sound folder that cannot be made: each tone is named as failed.
    QFile blocker(dir.path() + S("/blocked"));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    SoundEngine blocked(dir.path(), library);
    blocked.DefaultSoundPath = dir.path() + S("/blocked/sound/");
    failed.clear();
    EXPECT_TRUE(blocked.InstallShippedSounds(&failed).isEmpty());
    EXPECT_EQ(failed.size(), 3);
}

namespace {

// A sound engine with its settings file, logs and a data folder of its own.
struct EngineFixture {
    explicit EngineFixture(FdSndLibrary& library) : sound(dir.path(), library) { settings.ErrorLogOn = 1; }
    QString ini() const { return dir.filePath(S("Morva.ini")); }
    QString iniText() const {
        QFile file(ini());
        file.open(QIODevice::ReadOnly);
        return QString::fromUtf8(file.readAll());
    }

    QTemporaryDir dir;
    ManualClock clock;
    Settings settings;
    Logs logs{clock, settings, dir.path()};
    ProfileStore profiles{&clock};
    SoundEngine sound;
};

} // namespace

TEST(SoundSettings, TheStartReadsSectionSoundAndTheStopWritesItBackInItsOrder) {
    SilentSound library;
    EngineFixture t(library);
    QFile file(t.ini());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("[Sound]\nFormatRecording=17\nBesetztPath=busy.wav\nOutVolume=32768\nInVolume=70000\n");
    file.close();
    ASSERT_TRUE(t.sound.SoundInit(t.profiles, t.ini(), t.logs));
    EXPECT_EQ(t.sound.FormatRecording, 17);
    EXPECT_EQ(t.sound.BesetztPath, S("busy.wav"));
    EXPECT_EQ(t.sound.FreizeichenPath, S("frei.wav"));
    EXPECT_EQ(t.sound.SoundGetVolume(), 0x8000) << "both halves of 0x8000 without overflow";
    EXPECT_EQ(t.sound.GetInVolume(), 65535) << "a level above the scale is its top";
    EXPECT_TRUE(QFileInfo(t.dir.filePath(S("sound"))).isDir());
    EXPECT_TRUE(QFileInfo(t.dir.filePath(S("Ansage"))).isDir());
    EXPECT_EQ(t.sound.PromptFullPath(S("welcome.wav")), t.dir.filePath(S("Ansage/welcome.wav")));
    EXPECT_FALSE(ReadLines(t.logs.debugPath()).join(S("\n")).contains(S("ERROR!!")));

    t.sound.SoundSetVolume(0x1234);
    t.sound.SoundExit(t.profiles, t.ini(), t.logs);
    const QString text = t.iniText();
    QStringList keys;
    for (const QString& line : text.split(QLatin1Char('\n')))
        if (line.contains(QLatin1Char('=')))
            keys << line.section(QLatin1Char('='), 0, 0);
    EXPECT_EQ(keys, (QStringList{S("FormatRecording"), S("BesetztPath"), S("OutVolume"), S("InVolume"),
                                 S("DefaultSoundPath"), S("FreizeichenPath"), S("InDevice"), S("OutDevice")}))
        << "keys already there keep their place; the new ones follow in the stop's order; no device name, no "
           "key";
    EXPECT_TRUE(text.contains(S("OutVolume=4660")));

    // A second start finds both folders there, which the debug log notes.
    ASSERT_TRUE(t.sound.SoundInit(t.profiles, t.ini(), t.logs));
    EXPECT_EQ(ReadLines(t.logs.debugPath()).filter(S(" ERROR!! ")).size(), 2);
}

TEST(SoundFiles, FormatTextLengthAndTheNamesOfNewRecordings) {
    SilentSound library;
    EngineFixture t(library);
    EXPECT_EQ(SoundEngine::SoundFormatText(3), S("PCM 8,000 kHz; 16 Bit; Mono"));
    EXPECT_EQ(SoundEngine::SoundFormatText(17), S("CCITT A-Law 8,000 kHz; 8 Bit; Mono"));
    EXPECT_EQ(SoundEngine::SoundFormatText(0), S("unbekanntes Soundformat"));
    EXPECT_EQ(SoundEngine::SoundFormatText(18), S("unbekanntes Soundformat"));
    const std::vector<SoundListEntry> formats = SoundEngine::SoundFillFormats();
    ASSERT_EQ(formats.size(), 2u);
    EXPECT_EQ(formats[0].data, 3);
    EXPECT_EQ(formats[1].data, 17);

    QDir().mkpath(t.sound.DefaultSoundPath);
    WriteSine(t.sound.SoundFullPath(S("stereo.wav")), 440, 2.5, 12); // 22050 Hz, 16 bit, stereo
    EXPECT_EQ(t.sound.SoundFileFormatText(S("stereo.wav")), S("PCM 22,050 kHz; 16 Bit; Stereo"));
    EXPECT_NEAR(t.sound.SoundFileSeconds(S("stereo.wav")), 2.5, 0.001);
    EXPECT_TRUE(t.sound.SoundFileExists(S("stereo.wav")));
    QFile broken(t.sound.SoundFullPath(S("broken.wav")));
    ASSERT_TRUE(broken.open(QIODevice::WriteOnly));
    broken.write("RIFF....WAVEnot really");
    broken.close();
    EXPECT_EQ(t.sound.SoundFileFormatText(S("broken.wav")), QString());
    EXPECT_EQ(t.sound.SoundFileSeconds(S("broken.wav")), 0.0);
    EXPECT_FALSE(t.sound.SoundFileExists(S("missing.wav")));
    EXPECT_FALSE(t.sound.SoundFileExists(QString()));

    t.sound.now = [] {
        return QDateTime(QDate(2026, 11, 25), QTime(8, 5, 9));
    };
    const QString first = t.sound.SoundUniqueName(S("Msg"), true);
    EXPECT_EQ(first, t.sound.SoundFullPath(S("Msg25_11_26 08_05_09.wav")));
    QFile(first).open(QIODevice::WriteOnly);
    EXPECT_EQ(t.sound.SoundUniqueName(S("Msg"), true), t.sound.SoundFullPath(S("Msg25_11_26 08_05_091.wav")));
    EXPECT_EQ(t.sound.SoundUniqueName(S("Greeting"), false), t.sound.SoundFullPath(S("Greeting.wav")));
}

// On a sound server of the test's own: the device lists, a stored device found again by its name, a
// vanished one replaced by the default with a line in error.log, and the progress of playing.
TEST(SoundDevices, AStoredDeviceIsFoundByNameAndAVanishedOneGivesWayToTheDefault) {
    PulseServer server;
    QString error;
    ASSERT_TRUE(server.start(&error)) << error.toStdString();
    PulseSound library(S("Morva test"));
    EngineFixture t(library);
    QFile file(t.ini());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("[Sound]\nOutDevice=4\nOutDeviceName=ci_sink\nInDevice=2\nInDeviceName=usb-headset-gone\n");
    file.close();
    ASSERT_TRUE(t.sound.SoundInit(t.profiles, t.ini(), t.logs));
    EXPECT_EQ(t.sound.OutDevice, 0) << "the number follows the name";
    EXPECT_EQ(t.sound.InDevice, -1);
    EXPECT_EQ(t.sound.InDeviceName, S("usb-headset-gone")) << "kept for when it is plugged in again";
    const QStringList errors = ReadLines(t.logs.errorPath());
    ASSERT_EQ(errors.size(), 1);
    EXPECT_TRUE(errors[0].contains(S("\"usb-headset-gone\" is not there"))) << errors[0].toStdString();

    const std::vector<SoundListEntry> outs = t.sound.SoundFillOutDevices();
    ASSERT_EQ(outs.size(), 3u);
    EXPECT_EQ(outs[0].data, -1);
    EXPECT_EQ(outs[0].text, S("Loudspeaker")) << "the default device, by its description";
    EXPECT_EQ(outs[1].text, S("Loudspeaker"));
    EXPECT_EQ(outs[1].data, 0);
    EXPECT_EQ(outs[2].text, S("Headset"));
    EXPECT_EQ(outs[2].data, 1);
    const std::vector<SoundListEntry> ins = t.sound.SoundFillInDevices();
    ASSERT_EQ(ins.size(), 2u);

    // Progress while playing a file once: the bar reaches 100 with the file's size.
    QDir().mkpath(t.sound.DefaultSoundPath);
    const int64_t frames = WriteSine(t.sound.SoundFullPath(S("tone.wav")), 500, 0.5, 3);
    EXPECT_EQ(t.sound.SoundProgress().bar, 0);
    ASSERT_EQ(t.sound.SoundPlayLoop(S("tone.wav"), 0), 0);
    QDeadlineTimer deadline(3000);
    while (library.playing() && !deadline.hasExpired())
        QThread::msleep(10);
    const SoundProgressView done = t.sound.SoundProgress();
    EXPECT_EQ(done.bar, 100);
    EXPECT_EQ(done.size, QString::number(frames * 2));
    EXPECT_EQ(done.position, done.size);
    t.sound.SoundExit(t.profiles, t.ini(), t.logs);
    EXPECT_TRUE(t.iniText().contains(S("InDeviceName=usb-headset-gone")));
    EXPECT_TRUE(t.iniText().contains(S("InDevice=-1")));
}
