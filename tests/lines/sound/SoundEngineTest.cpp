// The sound engine's folder: names of sound files resolved against it and kept relative to it.

#include "lines/sound/SoundEngine.h"
#include "platform/fdsnd/SilentSound.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

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
