// The main window's tray icon on a desktop without a tray (the offscreen platform has none): the window
// must behave as any window and never disappear. The tray itself is tested on a desktop of its own, in
// MainTrayDesktopTest.cpp.

#include "shell/ui/MainTray.h"

#include <QCoreApplication>
#include <QMainWindow>
#include <QMenu>
#include <QSystemTrayIcon>
#include <QTest>

#include <gtest/gtest.h>

namespace {

const QString Tip = QStringLiteral("Morva");

// Runs what the tray queued (its hide waits for the event loop).
void settle() {
    for (int i = 0; i < 5; ++i)
        QCoreApplication::processEvents();
}

struct WindowWithTray : ::testing::Test {
    QMainWindow window;
    QMenu menu;
    MainTray tray{window, &menu};

    void SetUp() override {
        ASSERT_FALSE(QSystemTrayIcon::isSystemTrayAvailable()) << "these tests need a desktop without a tray";
        window.resize(300, 200);
    }
    void showWindow() {
        window.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    }
};

} // namespace

TEST_F(WindowWithTray, WithoutATrayTheIconIsNotShown) {
    EXPECT_FALSE(tray.TrayAdd(Tip));
    EXPECT_FALSE(tray.isShown());
}

TEST_F(WindowWithTray, WithoutATrayMinimisingLeavesTheWindowInTheTaskBar) {
    tray.setMonitorInTray(true);
    tray.TrayAdd(Tip);
    showWindow();

    window.showMinimized();
    settle();
    EXPECT_TRUE(window.isVisible()) << "no tray to bring it back: the window must not be hidden";
    EXPECT_TRUE(window.isMinimized());
    EXPECT_FALSE(tray.isWindowInTray());
}

TEST_F(WindowWithTray, AfterTheIconIsTakenOutMinimisingStillLeavesTheWindowVisible) {
    tray.setMonitorInTray(true);
    tray.TrayAdd(Tip);
    tray.TrayDelete();
    showWindow();

    window.showMinimized();
    settle();
    EXPECT_TRUE(window.isVisible());
    EXPECT_TRUE(window.isMinimized());
}

TEST_F(WindowWithTray, TheIconsClickShowsTheWindowNormalRaisedAndFocused) {
    showWindow();
    window.showMinimized();
    settle();
    ASSERT_TRUE(window.isMinimized());

    tray.showWindow();
    EXPECT_TRUE(window.isVisible());
    EXPECT_FALSE(window.isMinimized());
    EXPECT_EQ(window.windowState() & (Qt::WindowMaximized | Qt::WindowFullScreen), Qt::WindowNoState);
    EXPECT_TRUE(QTest::qWaitForWindowActive(&window)) << "the window takes the focus";
}

TEST_F(WindowWithTray, TheIconsClickShowsAWindowThatWasNeverShown) {
    tray.showWindow();
    EXPECT_TRUE(window.isVisible());
    EXPECT_FALSE(window.isMinimized());
}

TEST_F(WindowWithTray, OpeningTheMenuWhileTheWindowIsHiddenShowsItMinimised) {
    ASSERT_FALSE(window.isVisible());
    Q_EMIT menu.aboutToShow();
    settle();
    EXPECT_TRUE(window.isVisible()) << "the menu's commands find the main window in the task bar";
    EXPECT_TRUE(window.isMinimized());
}

TEST_F(WindowWithTray, OpeningTheMenuLeavesAVisibleWindowAsItIs) {
    showWindow();
    Q_EMIT menu.aboutToShow();
    settle();
    EXPECT_TRUE(window.isVisible());
    EXPECT_FALSE(window.isMinimized());
}
