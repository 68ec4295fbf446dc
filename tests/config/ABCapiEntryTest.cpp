// The answering machine's values of one own number: read from and written into a configuration set, the
// greeting that must exist for the machine to stay on, the PIN of the remote inquiry and the warning
// about an empty one.

#include "config/ABCapiEntry.h"
#include "config/clsConfig.h"
#include "platform/profile/ProfileStore.h"
#include "shell/base/Settings.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using Field = clsConfig::Field;

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

struct ABSet {
    QTemporaryDir dir;
    Settings settings;
    ProfileStore profiles;
    clsConfig set{settings, &profiles, dir.path()};

    ABSet() {
        set.setFileName(S("KonfMorva"));
        set.SetDefaultCAPI();
    }
    QString path(const char* name) const { return QDir(dir.path()).filePath(S(name)); }
    void touch(const char* name) const {
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("RIFF");
    }
};

} // namespace

TEST(ABCapiEntry, WhatIsWrittenIsReadBackAndReachesTheSetsFileAtOnce) {
    ABSet s;
    ABCapiEntry entry;
    entry.on = true;
    entry.rings = 7;
    entry.recordingSeconds = 240;
    entry.listenIn = true;
    entry.greeting = S("  Ansage/büro.wav ");
    entry.Write(s.set, 3);

    ABCapiEntry expected = entry;
    expected.greeting = S("Ansage/büro.wav");
    EXPECT_EQ(ABCapiEntry::Read(s.set, 3), expected) << "the greeting is trimmed";
    EXPECT_EQ(ABCapiEntry::Read(s.set, 2).greeting, QString()) << "other numbers untouched";

    // Another set reading the file sees the same values: nothing waits for the stop.
    clsConfig again(s.settings, &s.profiles, s.dir.path());
    again.setFileName(S("KonfMorva"));
    ASSERT_TRUE(again.Load());
    EXPECT_EQ(ABCapiEntry::Read(again, 3), expected);
}

TEST(ABCapiEntry, WriteKeepsRingsAndRecordingTimeWithinTheirLimits) {
    ABSet s;
    ABCapiEntry entry;
    entry.rings = 25;
    entry.recordingSeconds = 9000;
    entry.Write(s.set, 1);
    EXPECT_EQ(s.set.Number(Field::intCAPIABRufanzahl, 1), ABCapiEntry::MaxRings);
    EXPECT_EQ(s.set.Number(Field::intCAPIABAufnahmezeit, 1), ABCapiEntry::MaxRecordingSeconds);
    entry.rings = -3;
    entry.recordingSeconds = -1;
    entry.Write(s.set, 1);
    EXPECT_EQ(s.set.Number(Field::intCAPIABRufanzahl, 1), 0);
    EXPECT_EQ(s.set.Number(Field::intCAPIABAufnahmezeit, 1), 0);
}

TEST(ABCapiEntry, AGreetingThatDoesNotExistTurnsTheMachineOffAndAnEmptyOneIsTheDefault) {
    ABSet s;
    s.touch("gruss.wav");
    ABCapiEntry entry;
    entry.on = true;
    entry.rings = 4;

    entry.greeting = S("gruss.wav");
    EXPECT_TRUE(ABGreetingExists(entry.greeting, s.dir.path()));
    EXPECT_TRUE(entry.Confirmed(s.dir.path()).on) << "relative to the sound folder";
    entry.greeting = s.path("gruss.wav");
    EXPECT_TRUE(entry.Confirmed(S("/nowhere")).on) << "absolute, whatever the folder";

    entry.greeting = S("fehlt.wav");
    const ABCapiEntry confirmed = entry.Confirmed(s.dir.path());
    EXPECT_FALSE(confirmed.on);
    EXPECT_EQ(confirmed.rings, 4) << "only the switch changes";
    EXPECT_EQ(confirmed.greeting, S("fehlt.wav")) << "the name stays for the user to fix";

    entry.greeting = S("   ");
    EXPECT_TRUE(ABGreetingExists(entry.greeting, s.dir.path()));
    EXPECT_TRUE(entry.Confirmed(s.dir.path()).on) << "an empty greeting plays the default";
    EXPECT_EQ(entry.Confirmed(s.dir.path()).greeting, QString());

    QDir(s.dir.path()).mkdir(S("Ordner"));
    entry.greeting = S("Ordner");
    EXPECT_FALSE(entry.Confirmed(s.dir.path()).on) << "a folder is no greeting";
}

TEST(ABCapiEntry, APinTakesDigitsOnly) {
    for (const char* pin : {"", "0", "4711", " 1234 ", "00000000"})
        EXPECT_TRUE(ABPinValid(S(pin))) << pin;
    for (const char* pin : {"12#4", "*1", "#", "12 34", "abc", "１２", "1-2"})
        EXPECT_FALSE(ABPinValid(S(pin))) << pin;
}

TEST(ABCapiEntry, AnEmptyPinIsWarnedAboutOnlyWhileTheMachineAnswersANumber) {
    ABSet s;
    EXPECT_FALSE(ABAnyMachineOn(s.set)) << "a fresh set";
    s.set.setEx(Field::strMSN, 4, false);
    s.set.Assign(Field::intCAPIABOn, 4, 1);
    EXPECT_FALSE(ABAnyMachineOn(s.set)) << "MSN 4 is not listed";
    s.set.setEx(Field::strMSN, 4, true);
    EXPECT_TRUE(ABAnyMachineOn(s.set));

    EXPECT_EQ(ABPinWarningFor(true, QString(), false), ABPinWarning::Open);
    EXPECT_EQ(ABPinWarningFor(true, S("  "), true), ABPinWarning::Refused);
    EXPECT_EQ(ABPinWarningFor(true, S("12"), false), ABPinWarning::None);
    EXPECT_EQ(ABPinWarningFor(false, QString(), false), ABPinWarning::None);
    EXPECT_EQ(ABPinWarningFor(false, QString(), true), ABPinWarning::None);
}
