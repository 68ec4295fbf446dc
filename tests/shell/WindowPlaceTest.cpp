// The place and column widths of a window in a section of Morva.ini: in twips in the file, in pixels for
// the window; a window without a place kept is centred, one whose screen is gone comes back onto the
// primary screen.

#include "shell/WindowPlace.h"
#include "platform/profile/ProfileStore.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

struct Place {
    QTemporaryDir dir;
    ProfileStore profiles;
    QString ini = QDir(dir.path()).filePath(S("Morva.ini"));
    WindowPlace place{profiles, ini, S("Actions")};
    QString stored(const char* key) {
        return profiles.GetPrivateProfileString(S("Actions"), S(key), S("-"), ini);
    }
};

const QList<QRect> OneScreen{QRect(0, 0, 1280, 900)};

} // namespace

TEST(WindowPlace, WithoutAPlaceKeptTheWindowIsCentredInItsDefaultSize) {
    Place p;
    EXPECT_EQ(p.place.Frame(15, OneScreen, QSize(600, 300)), QRect(340, 300, 600, 300));
    EXPECT_EQ(p.place.ColumnWidths(5, 15), std::vector<int>({0, 0, 0, 0, 0}));
}

TEST(WindowPlace, ThePlaceAndTheWidthsAreKeptInTwipsAndComeBackInPixels) {
    Place p;
    p.place.SaveFrame(QRect(100, 50, 700, 320), 15);
    EXPECT_EQ(p.stored("Fenster Left"), S("1500"));
    EXPECT_EQ(p.stored("Fenster Top"), S("750"));
    EXPECT_EQ(p.stored("Fenster Width"), S("10500"));
    EXPECT_EQ(p.stored("Fenster Height"), S("4800"));
    p.place.SaveColumnWidths({120, 80, 200}, 15);
    EXPECT_EQ(p.stored("S_1"), S("1800"));
    EXPECT_EQ(p.stored("S_3"), S("3000"));

    // Another reader of the file, on a screen of other twips per pixel.
    ProfileStore again;
    WindowPlace other(again, p.ini, S("Actions"));
    EXPECT_EQ(other.Frame(15, OneScreen, QSize(600, 300)), QRect(100, 50, 700, 320));
    EXPECT_EQ(other.Frame(10, {QRect(0, 0, 2560, 1440)}, QSize(600, 300)), QRect(150, 75, 1050, 480));
    EXPECT_EQ(other.ColumnWidths(4, 15), std::vector<int>({120, 80, 200, 0}));
}

TEST(WindowPlace, AWindowOnAScreenThatIsGoneComesBackOntoThePrimaryScreen) {
    Place p;
    p.place.SaveFrame(QRect(3000, 200, 700, 320), 15);
    const QRect frame = p.place.Frame(15, OneScreen, QSize(600, 300));
    EXPECT_EQ(frame.size(), QSize(700, 320));
    EXPECT_TRUE(OneScreen.front().contains(frame)) << frame.x() << "," << frame.y();
}
