// The main window's tray icon on a desktop that has a tray: an X server (Xvfb) for the window, a session
// bus of the test's own, and on it a status-notifier watcher played by the test, which takes the icons
// as a desktop's panel does. Qt offers a tray only on a real window system, and reads the session bus's
// address once, so this test has a process of its own with its own main: the desktop is set up before
// the application exists. Without Xvfb or dbus-daemon the tests are skipped.

#include "shell/base/Language.h"
#include "shell/ui/Main.h"
#include "shell/ui/MainTray.h"
#include "tests/shell/ui/FakeTrayWatcher.h"
#include "tests/support/TestDesktop.h"
#include "tests/support/TestEnvironment.h"

#include <QApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusVariant>
#include <QDeadlineTimer>
#include <QMainWindow>
#include <QMenu>
#include <QSemaphore>
#include <QSystemTrayIcon>
#include <QTest>
#include <QThread>

#include <gmock/gmock.h>

#include <memory>

namespace {

const QString Tip = QStringLiteral("Morva");

// The X server and the session bus. Sets DISPLAY, the xcb platform and the bus's address for the
// application that comes after it; leaves everything as it was when either does not start.
struct Desktop {
    Spawned x{{"Xvfb", "-displayfd", "1", "-screen", "0", "1024x768x24", "-nolisten", "tcp"}};
    Spawned bus{{"dbus-daemon", "--session", "--nofork", "--print-address=1"}};
    bool ready = false;

    Desktop() {
        if (x.firstLine().isEmpty() || bus.firstLine().isEmpty())
            return;
        qputenv("DISPLAY", (QStringLiteral(":") + x.firstLine()).toLocal8Bit());
        qputenv("QT_QPA_PLATFORM", "xcb");
        qputenv("DBUS_SESSION_BUS_ADDRESS", bus.firstLine().toLocal8Bit());
        ready = true;
    }
};

Desktop* testDesktop = nullptr;

class WatcherThread : public QThread {
public:
    explicit WatcherThread(QString address) : m_address(std::move(address)) {}
    ~WatcherThread() override {
        quit();
        wait();
    }

    // Starts the thread with the watcher on the bus; false when it could not take its name.
    bool begin() {
        start();
        m_ready.acquire();
        return m_appeared;
    }
    FakeWatcher& watcher() { return *m_watcher; }
    bool appear() {
        bool done = false;
        QMetaObject::invokeMethod(
            m_watcher, [&] { done = m_watcher->appear(); }, Qt::BlockingQueuedConnection);
        return done;
    }
    void vanish() {
        QMetaObject::invokeMethod(
            m_watcher, [&] { m_watcher->vanish(); }, Qt::BlockingQueuedConnection);
    }

protected:
    void run() override {
        const QString name = QStringLiteral("fake-watcher");
        {
            FakeWatcher watcher(QDBusConnection::connectToBus(m_address, name));
            m_watcher = &watcher;
            m_appeared = watcher.appear();
            m_ready.release();
            exec();
            watcher.vanish();
        }
        QDBusConnection::disconnectFromBus(name);
    }

private:
    QString m_address;
    QSemaphore m_ready;
    FakeWatcher* m_watcher = nullptr;
    bool m_appeared = false;
};

// Runs the event loop until `done` holds or `milliseconds` have passed; says whether it holds.
template <typename Condition> bool waitFor(Condition done, int milliseconds = 5000) {
    QDeadlineTimer deadline(milliseconds);
    while (!done() && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(5);
    }
    return done();
}

// Runs what the tray queued (its hide waits for the event loop), and what the X server sends back.
void settle() {
    for (int i = 0; i < 10; ++i) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(5);
    }
}

struct TrayDesktop : ::testing::Test {
    std::unique_ptr<WatcherThread> panel;
    QDBusConnection client{QStringLiteral("none")};
    QMainWindow window;
    QMenu menu;
    std::unique_ptr<MainTray> tray;

    void SetUp() override {
        if (!testDesktop || !testDesktop->ready)
            GTEST_SKIP() << "needs Xvfb and dbus-daemon";
        const QString address = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS");
        panel = std::make_unique<WatcherThread>(address);
        ASSERT_TRUE(panel->begin()) << "the watcher could not take its name";
        client = QDBusConnection::connectToBus(address, QStringLiteral("test-client"));
        ASSERT_TRUE(client.isConnected());
        ASSERT_TRUE(QSystemTrayIcon::isSystemTrayAvailable()) << "Qt does not see the watcher's tray";
        window.resize(300, 200);
        window.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
        tray = std::make_unique<MainTray>(window, &menu);
    }
    void TearDown() override {
        tray.reset();
        panel.reset();
        QDBusConnection::disconnectFromBus(QStringLiteral("test-client"));
    }

    // A call to the registered icon, as the panel makes it on a click; the answer is awaited with the
    // event loop running, since the icon answers from this thread.
    QDBusMessage callItem(const QString& interface, const QString& method, const QVariantList& arguments) {
        const QStringList items = panel->watcher().items();
        if (items.isEmpty())
            return {};
        QDBusMessage call = QDBusMessage::createMethodCall(
            items.last(), QStringLiteral("/StatusNotifierItem"), interface, method);
        call.setArguments(arguments);
        QDBusPendingCall pending = client.asyncCall(call);
        waitFor([&] { return pending.isFinished(); });
        return pending.reply();
    }
    QDBusMessage click(const QString& method) {
        return callItem(QStringLiteral("org.kde.StatusNotifierItem"), method, {0, 0});
    }
    void putIntoTray() {
        ASSERT_TRUE(tray->TrayAdd(Tip));
        window.showMinimized();
        ASSERT_TRUE(waitFor([&] { return !window.isVisible(); })) << "the window did not go into the tray";
    }
};

// The title of the icon's tool tip, read over the bus as the panel reads it.
QString toolTipTitle(const QDBusMessage& reply) {
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return {};
    const QDBusArgument tip = reply.arguments().at(0).value<QDBusVariant>().variant().value<QDBusArgument>();
    QString iconName, title, text;
    tip.beginStructure();
    tip >> iconName;
    tip.beginArray();
    while (!tip.atEnd()) {
        int width = 0, height = 0;
        QByteArray pixels;
        tip.beginStructure();
        tip >> width >> height >> pixels;
        tip.endStructure();
    }
    tip.endArray();
    tip >> title >> text;
    tip.endStructure();
    return title;
}

} // namespace

TEST_F(TrayDesktop, TheIconRegistersAtTheWatcherWithTheProgramsTitleAsToolTip) {
    EXPECT_TRUE(tray->TrayAdd(Tip));
    EXPECT_TRUE(tray->isShown());
    ASSERT_TRUE(waitFor([&] { return !panel->watcher().items().isEmpty(); })) << "no item at the watcher";

    const QDBusMessage reply =
        callItem(QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"),
                 {QStringLiteral("org.kde.StatusNotifierItem"), QStringLiteral("ToolTip")});
    EXPECT_EQ(toolTipTitle(reply), Tip) << reply.errorMessage().toStdString();
}

TEST_F(TrayDesktop, MinimisingPutsTheWindowIntoTheTrayAndAClickBringsItBackNormal) {
    ASSERT_TRUE(tray->TrayAdd(Tip));
    ASSERT_TRUE(waitFor([&] { return !panel->watcher().items().isEmpty(); }));

    window.showMinimized();
    ASSERT_TRUE(waitFor([&] { return !window.isVisible(); })) << "the window stayed in the task bar";
    EXPECT_TRUE(tray->isWindowInTray());

    const QDBusMessage reply = click(QStringLiteral("Activate"));
    EXPECT_EQ(reply.type(), QDBusMessage::ReplyMessage) << reply.errorMessage().toStdString();
    ASSERT_TRUE(waitFor([&] { return window.isVisible(); })) << "the click did not bring the window back";
    EXPECT_FALSE(window.isMinimized());
    EXPECT_FALSE(tray->isWindowInTray());

    // Back in the task bar, and into the tray again at the next minimising.
    window.showMinimized();
    EXPECT_TRUE(waitFor([&] { return !window.isVisible(); }));
}

TEST_F(TrayDesktop, WithTheSettingOffMinimisingLeavesTheWindowInTheTaskBar) {
    tray->setMonitorInTray(false);
    ASSERT_TRUE(tray->TrayAdd(Tip));

    window.showMinimized();
    settle();
    EXPECT_TRUE(window.isVisible());
    EXPECT_TRUE(window.isMinimized());
    EXPECT_FALSE(tray->isWindowInTray());
}

TEST_F(TrayDesktop, TurningTheSettingOffGivesAWindowInTheTrayBackToTheTaskBar) {
    putIntoTray();
    tray->setMonitorInTray(false);
    EXPECT_TRUE(window.isVisible());
    EXPECT_TRUE(window.isMinimized()) << "it comes back as the user left it";
}

TEST_F(TrayDesktop, TakingTheIconOutGivesAWindowInTheTrayBack) {
    putIntoTray();
    tray->TrayDelete();
    EXPECT_FALSE(tray->isShown());
    EXPECT_TRUE(window.isVisible());
    EXPECT_TRUE(window.isMinimized());
}

TEST_F(TrayDesktop, TheMenuOfTheIconShowsAWindowInTheTrayMinimisedAndLeavesItThere) {
    putIntoTray();

    const QDBusMessage reply = click(QStringLiteral("ContextMenu"));
    EXPECT_EQ(reply.type(), QDBusMessage::ReplyMessage) << reply.errorMessage().toStdString();
    ASSERT_TRUE(waitFor([&] { return window.isVisible(); }));
    EXPECT_TRUE(window.isMinimized());
    settle();
    EXPECT_TRUE(window.isVisible()) << "the window went back into the tray while the menu was open";
}

TEST_F(TrayDesktop, ATrayThatGoesAwayGivesTheWindowBackAndATrayThatComesTakesTheIconAgain) {
    putIntoTray();

    panel->vanish();
    ASSERT_TRUE(waitFor([&] { return window.isVisible(); })) << "the window was lost with the tray";
    EXPECT_TRUE(window.isMinimized());
    EXPECT_FALSE(tray->isShown());

    // Without a tray, minimising is plain minimising.
    window.showNormal();
    window.showMinimized();
    settle();
    EXPECT_TRUE(window.isVisible());

    ASSERT_TRUE(panel->appear());
    EXPECT_TRUE(waitFor([&] { return tray->isShown(); })) << "the icon did not come back with the tray";
    EXPECT_TRUE(waitFor([&] { return !panel->watcher().items().isEmpty(); }));
}

TEST_F(TrayDesktop, ATrayThatEndsWithoutASignGivesTheWindowBackAtTheNextLook) {
    putIntoTray();

    // No service goes from the bus: only asking the tray again finds that it is gone (as with an XEmbed
    // tray, which gives no sign either). The tray is asked every five seconds.
    panel->watcher().setHostRegistered(false);
    ASSERT_FALSE(QSystemTrayIcon::isSystemTrayAvailable());
    ASSERT_TRUE(waitFor([&] { return window.isVisible(); }, 15000)) << "the window was lost with the tray";
    EXPECT_TRUE(window.isMinimized());
    EXPECT_FALSE(tray->isShown());
}

TEST_F(TrayDesktop, TheMenuOfTheIconShowsAWindowThatWasNeverShownMinimisedAndLeavesItThere) {
    window.hide();
    ASSERT_FALSE(window.isMinimized());
    ASSERT_TRUE(tray->TrayAdd(Tip));
    ASSERT_TRUE(waitFor([&] { return !panel->watcher().items().isEmpty(); }));

    click(QStringLiteral("ContextMenu"));
    ASSERT_TRUE(waitFor([&] { return window.isVisible(); }));
    EXPECT_TRUE(window.isMinimized());
    settle();
    EXPECT_TRUE(window.isVisible()) << "showing it minimised for the menu is no minimising into the tray";
}

TEST_F(TrayDesktop, AnIconWantedBeforeTheTrayExistedAppearsWithIt) {
    panel->vanish();
    ASSERT_TRUE(waitFor([&] { return !QSystemTrayIcon::isSystemTrayAvailable(); }));
    EXPECT_FALSE(tray->TrayAdd(Tip));

    ASSERT_TRUE(panel->appear());
    EXPECT_TRUE(waitFor([&] { return tray->isShown(); }));
    EXPECT_TRUE(waitFor([&] { return !panel->watcher().items().isEmpty(); }));
}

// The program's main window, with the tray as its owner wires it: the window needs no part of it.
TEST_F(TrayDesktop, TheMainWindowGoesIntoTheTrayAndComesBack) {
    Language language;
    Main main(language);
    main.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&main));
    QMenu mainMenu;
    MainTray mainTray(main, &mainMenu);
    mainTray.setMonitorInTray(true);
    ASSERT_TRUE(mainTray.TrayAdd(Tip));
    ASSERT_TRUE(waitFor([&] { return !panel->watcher().items().isEmpty(); }));

    main.showMinimized();
    ASSERT_TRUE(waitFor([&] { return !main.isVisible(); })) << "the main window stayed in the task bar";
    click(QStringLiteral("Activate"));
    ASSERT_TRUE(waitFor([&] { return main.isVisible(); }));
    EXPECT_FALSE(main.isMinimized());
}

int main(int argc, char** argv) {
    TestEnvironment environment;
    bool listing = false;
    for (int i = 1; i < argc; ++i)
        listing = listing || QByteArray(argv[i]).startsWith("--gtest_list_tests");
    // Listing the tests needs no desktop.
    std::unique_ptr<Desktop> theDesktop = listing ? nullptr : std::make_unique<Desktop>();
    testDesktop = theDesktop ? theDesktop.get() : nullptr;
    QApplication app(argc, argv);
    ::testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
