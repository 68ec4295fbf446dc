// The sound engine's folder: names of sound files resolved against it and kept relative to it.

#include "lines/sound/SoundEngine.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

} // namespace

TEST(SoundPaths, NamesAreResolvedAgainstAndMadeRelativeToTheSoundFolder) {
    QTemporaryDir dir;
    const SoundEngine sound(dir.path());
    const QString folder = dir.path() + S("/sound/");
    EXPECT_EQ(sound.SoundFullPath(S("ring.wav")), folder + S("ring.wav"));
    EXPECT_EQ(sound.SoundFullPath(S("../ring.wav")), dir.path() + S("/ring.wav"));
    EXPECT_EQ(sound.SoundFullPath(S("/usr/share/sounds/ring.wav")), S("/usr/share/sounds/ring.wav"));
    EXPECT_EQ(sound.SoundFullPath(QString()), QString());
    EXPECT_EQ(sound.SoundRelativePath(folder + S("Msg1.wav")), S("Msg1.wav"));
    EXPECT_EQ(sound.SoundRelativePath(S("Msg1.wav")), S("Msg1.wav"));
    EXPECT_EQ(sound.SoundRelativePath(dir.path() + S("/Ansage/a.wav")), S("../Ansage/a.wav"));
}
