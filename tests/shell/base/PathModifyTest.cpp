// The path rules shared by sound files and phonebook entries, on Linux paths.

#include "shell/base/modPathModify.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

void touch(const QString& path) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
}

} // namespace

TEST(PathHasDrive, AbsoluteNamesHaveADrive) {
    EXPECT_TRUE(PathHasDrive(S("/home/user/sound/x.wav")));
    EXPECT_TRUE(PathHasDrive(S("/")));
    EXPECT_FALSE(PathHasDrive(S("x.wav")));
    EXPECT_FALSE(PathHasDrive(S("../x.wav")));
    EXPECT_FALSE(PathHasDrive(QString()));
}

TEST(PathResolve, RelativeNamesGoUnderTheBaseAndLeadingStepsClimb) {
    const QString base = S("/data/morva/sound/");
    EXPECT_EQ(PathResolve(S("x.wav"), base), S("/data/morva/sound/x.wav"));
    EXPECT_EQ(PathResolve(S("Ansage/x.wav"), base), S("/data/morva/sound/Ansage/x.wav"));
    EXPECT_EQ(PathResolve(S("x.wav"), S("/data/morva/sound")), S("/data/morva/sound/x.wav"))
        << "a base without its closing slash is the same folder";
    EXPECT_EQ(PathResolve(S("../x.wav"), base), S("/data/morva/x.wav"));
    EXPECT_EQ(PathResolve(S("../../other/x.wav"), base), S("/data/other/x.wav"));
    EXPECT_EQ(PathResolve(S("../../../../../x.wav"), base), S("/x.wav")) << "never above the root";
    EXPECT_EQ(PathResolve(S("sub/../x.wav"), base), S("/data/morva/sound/sub/../x.wav"))
        << "only leading steps climb";
}

TEST(PathResolve, AbsoluteNamesAndRelativeBasesLeaveTheNameAsItIs) {
    EXPECT_EQ(PathResolve(S("/elsewhere/x.wav"), S("/data/sound/")), S("/elsewhere/x.wav"));
    EXPECT_EQ(PathResolve(S("../x.wav"), S("sound/")), S("../x.wav"));
    EXPECT_EQ(PathComplete(S("/elsewhere/x.wav"), S("/data/sound/")), S("/elsewhere/x.wav"));
    EXPECT_EQ(PathComplete(S("../x.wav"), S("/data/sound/")), S("/data/x.wav"));
}

TEST(PathRelative, SharedFoldersGoAndEachRemainingBaseFolderIsOneStepUp) {
    const QString base = S("/data/morva/sound/");
    EXPECT_EQ(PathRelative(S("/data/morva/sound/x.wav"), base), S("x.wav"));
    EXPECT_EQ(PathRelative(S("/data/morva/sound/Ansage/x.wav"), base), S("Ansage/x.wav"));
    EXPECT_EQ(PathRelative(S("/data/morva/x.wav"), base), S("../x.wav"));
    EXPECT_EQ(PathRelative(S("/data/other/x.wav"), S("/data/morva/sound")), S("../../other/x.wav"));
    EXPECT_EQ(PathRelative(S("/media/usb/x.wav"), base), S("../../../media/usb/x.wav"));
    EXPECT_EQ(PathRelative(S("/data/morva/sound/./sub/../x.wav"), base), S("x.wav"));
}

TEST(PathRelative, FolderNamesDifferingInCaseAreDifferentFolders) {
    EXPECT_EQ(PathRelative(S("/data/Sound/x.wav"), S("/data/sound/")), S("../Sound/x.wav"));
}

TEST(PathRelative, OnlyTwoAbsolutePathsAreRelated) {
    EXPECT_EQ(PathRelative(S("x.wav"), S("/data/sound/")), S("x.wav"));
    EXPECT_EQ(PathRelative(S("/data/sound/x.wav"), S("sound/")), S("/data/sound/x.wav"));
}

TEST(PathRelative, ResolvingTheRelativeNameGivesTheNameBack) {
    const QString base = S("/data/morva/sound/");
    for (const char* name : {"/data/morva/sound/x.wav", "/data/morva/sound/a/b/x.wav", "/data/morva/x.wav",
                             "/data/x.wav", "/x.wav", "/opt/greetings/de/x.wav"})
        EXPECT_EQ(PathResolve(PathRelative(S(name), base), base), S(name)) << name;
}

TEST(PathUnique, CountsUpUntilTheNameIsFree) {
    QTemporaryDir dir;
    const QString base = dir.path() + QLatin1Char('/');
    EXPECT_EQ(PathUnique(S("Ansage"), S("wav"), base, false), base + S("Ansage.wav"))
        << "the extension gets its dot";
    touch(base + S("Ansage.wav"));
    EXPECT_EQ(PathUnique(S("Ansage"), S(".wav"), base, false), base + S("Ansage1.wav"));
    touch(base + S("Ansage1.wav"));
    EXPECT_EQ(PathUnique(S("Ansage"), S(".wav"), dir.path(), false), base + S("Ansage2.wav"));
}

TEST(PathUnique, WithTheDateTakesTheTimeAnewAndCountsWhenTaken) {
    QTemporaryDir dir;
    const QString base = dir.path() + QLatin1Char('/');
    int asked = 0;
    const auto now = [&] {
        ++asked;
        return QDateTime(QDate(2026, 1, 5), QTime(14, 30, 7));
    };
    EXPECT_EQ(PathUnique(S("Msg"), S("wav"), base, true, now), base + S("Msg05_01_26 14_30_07.wav"));
    EXPECT_EQ(asked, 1);
    touch(base + S("Msg05_01_26 14_30_07.wav"));
    touch(base + S("Msg05_01_26 14_30_071.wav"));
    asked = 0;
    EXPECT_EQ(PathUnique(S("Msg"), S("wav"), base, true, now), base + S("Msg05_01_26 14_30_072.wav"));
    EXPECT_EQ(asked, 3);
}
