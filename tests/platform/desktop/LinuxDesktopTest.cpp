// LinuxDesktop against a real desktop of the test's own: an X server (Xvfb) bare and one with a tiny
// window manager (the helper's "wm" mode), and a private session bus (dbus-daemon). The windows are those
// of the helper program, a plain xcb client. Without Xvfb or dbus-daemon those tests are skipped.

#include "platform/desktop/LinuxDesktop.h"
#include "tests/platform/desktop/DBusRecorder.h"
#include "tests/support/TestEnvironment.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QThread>

#include <gmock/gmock.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

extern char** environ;

namespace {

using desktop::LinuxDesktop;
using desktop::WindowSearch;
using ::testing::HasSubstr;
using ::testing::StartsWith;

const QString Helper = QStringLiteral(MORVA_DESKTOP_TEST_HELPER);

// Keeps the event loop running (the desktop's timers) until `done` holds or `ms` have passed.
bool WaitUntil(const std::function<bool()>& done, int ms = 10000) {
    QDeadlineTimer deadline(ms);
    while (!done()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(10);
    }
    return true;
}

// A program the test starts and ends itself, its output read line by line.
class Process {
public:
    explicit Process(const QStringList& argv) {
        int out[2];
        if (pipe(out) != 0)
            return;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], 1);
        posix_spawn_file_actions_addclose(&actions, out[0]);
        std::vector<std::string> strings;
        for (const QString& arg : argv)
            strings.push_back(arg.toStdString());
        std::vector<char*> args;
        for (auto& arg : strings)
            args.push_back(arg.data());
        args.push_back(nullptr);
        if (posix_spawnp(&m_pid, args[0], &actions, nullptr, args.data(), environ) != 0)
            m_pid = -1;
        posix_spawn_file_actions_destroy(&actions);
        close(out[1]);
        m_out = out[0];
        fcntl(m_out, F_SETFL, O_NONBLOCK);
    }
    ~Process() {
        if (m_pid > 0) {
            kill(m_pid, SIGTERM);
            waitpid(m_pid, nullptr, 0);
        }
        if (m_out >= 0)
            close(m_out);
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    // The next line of its output; empty when none came in time.
    QString readLine(int ms = 10000) {
        QString line;
        WaitUntil(
            [&] {
                char buffer[256];
                const ssize_t n = read(m_out, buffer, sizeof buffer);
                if (n > 0)
                    m_buffer.append(buffer, n);
                const qsizetype end = m_buffer.indexOf('\n');
                if (end < 0)
                    return false;
                line = QString::fromUtf8(m_buffer.left(end));
                m_buffer.remove(0, end + 1);
                return true;
            },
            ms);
        return line;
    }

    // Its exit code once it ended; -1 when it runs on after `ms`.
    int waitExit(int ms = 10000) {
        int code = -1;
        WaitUntil(
            [&] {
                int status = 0;
                if (m_pid <= 0 || waitpid(m_pid, &status, WNOHANG) != m_pid)
                    return false;
                m_pid = -1;
                code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
                return true;
            },
            ms);
        return code;
    }

private:
    pid_t m_pid = -1;
    int m_out = -1;
    QByteArray m_buffer;
};

// An X server of the test's own; `display` is empty when Xvfb is missing or did not start.
struct XServer {
    Process xvfb{{QStringLiteral("Xvfb"), QStringLiteral("-displayfd"), QStringLiteral("1"),
                  QStringLiteral("-screen"), QStringLiteral("0"), QStringLiteral("640x480x24"),
                  QStringLiteral("-nolisten"), QStringLiteral("tcp")}};
    QByteArray display;
    XServer() {
        const QString number = xvfb.readLine();
        if (!number.isEmpty())
            display = ":" + number.toLatin1();
    }
};

// A window of the helper, on the X server that $DISPLAY names.
std::unique_ptr<Process> OpenWindow(const QString& title, const QStringList& flags = {}) {
    auto window = std::make_unique<Process>(QStringList{Helper, QStringLiteral("window"), title} + flags);
    EXPECT_EQ(window->readLine(), QStringLiteral("ready")) << title.toStdString();
    return window;
}

// --- A bare X server: no window manager ---

class BareX : public ::testing::Test {
protected:
    static void SetUpTestSuite() { server = new XServer; }
    static void TearDownTestSuite() {
        delete server;
        server = nullptr;
    }
    void SetUp() override {
        if (server->display.isEmpty())
            GTEST_SKIP() << "Xvfb is not available";
        qputenv("DISPLAY", server->display);
    }
    static XServer* server;
    QDBusConnection noBus{QStringLiteral("none")};
};
XServer* BareX::server = nullptr;

TEST_F(BareX, FindsAWindowByItsExactTitleOnly) {
    const auto window = OpenWindow(QStringLiteral("Morva Test Window"));
    LinuxDesktop desktop(noBus);
    EXPECT_EQ(desktop.findWindow(QStringLiteral("Morva Test Window")), WindowSearch::Found);
    EXPECT_EQ(desktop.findWindow(QStringLiteral("Morva Test")), WindowSearch::NotFound);
    EXPECT_EQ(desktop.findWindow(QStringLiteral("Morva Test Window ")), WindowSearch::NotFound);
    EXPECT_EQ(desktop.findWindow(QStringLiteral("morva test window")), WindowSearch::NotFound);
    EXPECT_EQ(desktop.findWindow(QStringLiteral("Nobody's window")), WindowSearch::NotFound);
    EXPECT_EQ(desktop.closeWindow(QStringLiteral("Nobody's window")), WindowSearch::NotFound);
    EXPECT_EQ(window->waitExit(300), -1) << "a window of another title was closed";
}

TEST_F(BareX, ReadsTitlesInUtf8AndLatin1) {
    // The dash is beyond Latin-1: only _NET_WM_NAME holds the title as it is.
    const QString utf8Title = QStringLiteral("Anrufbeantworter \u2013 M\u00fcller");
    const QString latin1Title = QStringLiteral("Gr\u00fc\u00dfe aus K\u00f6ln");
    const auto utf8 = OpenWindow(utf8Title);
    const auto latin1 = OpenWindow(latin1Title, {QStringLiteral("--latin1-only")});
    LinuxDesktop desktop(noBus);
    EXPECT_EQ(desktop.findWindow(utf8Title), WindowSearch::Found);
    EXPECT_EQ(desktop.findWindow(QStringLiteral("Anrufbeantworter ? M\u00fcller")), WindowSearch::NotFound);
    EXPECT_EQ(desktop.findWindow(QStringLiteral("Anrufbeantworter \u2013 Muller")), WindowSearch::NotFound);
    EXPECT_EQ(desktop.findWindow(latin1Title), WindowSearch::Found);
}

TEST_F(BareX, ClosesAWindowThatTakesCloseRequests) {
    const auto window = OpenWindow(QStringLiteral("Close me"));
    const auto other = OpenWindow(QStringLiteral("Close me not"));
    LinuxDesktop desktop(noBus);
    EXPECT_EQ(desktop.closeWindow(QStringLiteral("Close me")), WindowSearch::Found);
    EXPECT_EQ(window->readLine(), QStringLiteral("deleted"));
    EXPECT_EQ(window->waitExit(), 0);
    EXPECT_EQ(desktop.findWindow(QStringLiteral("Close me")), WindowSearch::NotFound);
    EXPECT_EQ(desktop.findWindow(QStringLiteral("Close me not")), WindowSearch::Found);
    EXPECT_EQ(other->waitExit(300), -1);
}

TEST_F(BareX, DestroysAWindowThatDoesNotTakeCloseRequests) {
    const auto window = OpenWindow(QStringLiteral("Deaf window"), {QStringLiteral("--no-delete")});
    LinuxDesktop desktop(noBus);
    EXPECT_EQ(desktop.closeWindow(QStringLiteral("Deaf window")), WindowSearch::Found);
    EXPECT_EQ(window->readLine(), QStringLiteral("destroyed"));
    EXPECT_EQ(window->waitExit(), 0);
    EXPECT_EQ(desktop.findWindow(QStringLiteral("Deaf window")), WindowSearch::NotFound);
}

TEST_F(BareX, StartsAProgramMinimisedWhoseWindowStaysWithoutAWindowManager) {
    LinuxDesktop desktop(noBus);
    const QString title = QStringLiteral("Started on a bare server");
    ASSERT_EQ(desktop.startProgram({Helper, QStringLiteral("window"), title}, true), QString());
    EXPECT_TRUE(WaitUntil([&] { return desktop.findWindow(title) == WindowSearch::Found; }));
    // The iconify request reaches nobody; the window is still there and can be closed.
    WaitUntil([] { return false; }, 500);
    EXPECT_EQ(desktop.closeWindow(title), WindowSearch::Found);
    EXPECT_TRUE(WaitUntil([&] { return desktop.findWindow(title) == WindowSearch::NotFound; }));
}

// --- An X server with a window manager: one that follows EWMH, and one of the older kind that puts each
// client into a frame and marks it with WM_STATE ---

struct Ewmh {
    static QStringList flags() { return {}; }
};
struct Frames {
    static QStringList flags() { return {QStringLiteral("--frames")}; }
};

template <typename Kind> class ManagedServer : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        server = new XServer;
        if (server->display.isEmpty())
            return;
        qputenv("DISPLAY", server->display);
        manager = new Process(QStringList{Helper, QStringLiteral("wm")} + Kind::flags());
        if (manager->readLine() != QLatin1String("ready")) {
            delete manager;
            manager = nullptr;
        }
    }
    static void TearDownTestSuite() {
        delete manager;
        manager = nullptr;
        delete server;
        server = nullptr;
    }
    void SetUp() override {
        if (server->display.isEmpty())
            GTEST_SKIP() << "Xvfb is not available";
        ASSERT_NE(manager, nullptr) << "the window manager did not start";
        qputenv("DISPLAY", server->display);
    }
    static inline XServer* server = nullptr;
    static inline Process* manager = nullptr;
    QDBusConnection noBus{QStringLiteral("none")};
};
using ManagedX = ManagedServer<Ewmh>;
using FramingX = ManagedServer<Frames>;

TEST_F(ManagedX, FindsClientsInTheManagersListAndClosesThroughIt) {
    const auto window = OpenWindow(QStringLiteral("Managed window"));
    LinuxDesktop desktop(noBus);
    EXPECT_TRUE(WaitUntil(
        [&] { return desktop.findWindow(QStringLiteral("Managed window")) == WindowSearch::Found; }));
    EXPECT_EQ(desktop.findWindow(QStringLiteral("Managed")), WindowSearch::NotFound);
    EXPECT_EQ(desktop.closeWindow(QStringLiteral("Managed window")), WindowSearch::Found);
    EXPECT_EQ(manager->readLine(), QStringLiteral("close Managed window"));
    EXPECT_EQ(window->readLine(), QStringLiteral("deleted"));
    EXPECT_EQ(window->waitExit(), 0);
}

TEST_F(ManagedX, AsksTheManagerToIconifyTheWindowOfAProgramStartedMinimised) {
    LinuxDesktop desktop(noBus);
    ASSERT_EQ(desktop.startProgram({Helper, QStringLiteral("window"), QStringLiteral("Plain start")}, false),
              QString());
    ASSERT_EQ(
        desktop.startProgram({Helper, QStringLiteral("window"), QStringLiteral("Minimised start")}, true),
        QString());
    EXPECT_EQ(manager->readLine(), QStringLiteral("iconify Minimised start"));
    // Both windows exist; the manager was asked about the minimised one only.
    EXPECT_TRUE(
        WaitUntil([&] { return desktop.findWindow(QStringLiteral("Plain start")) == WindowSearch::Found; }));
    EXPECT_EQ(desktop.findWindow(QStringLiteral("Minimised start")), WindowSearch::Found);
    EXPECT_EQ(manager->readLine(1000), QString());
    EXPECT_EQ(desktop.closeWindow(QStringLiteral("Plain start")), WindowSearch::Found);
    EXPECT_EQ(manager->readLine(), QStringLiteral("close Plain start"));
    EXPECT_EQ(desktop.closeWindow(QStringLiteral("Minimised start")), WindowSearch::Found);
    EXPECT_EQ(manager->readLine(), QStringLiteral("close Minimised start"));
}

TEST_F(FramingX, FindsClientsInsideFramesAndAsksThemToCloseThemselves) {
    const auto window = OpenWindow(QStringLiteral("Framed window"));
    LinuxDesktop desktop(noBus);
    EXPECT_TRUE(WaitUntil(
        [&] { return desktop.findWindow(QStringLiteral("Framed window")) == WindowSearch::Found; }));
    EXPECT_EQ(desktop.findWindow(QStringLiteral("Framed")), WindowSearch::NotFound);
    // Without _NET_CLOSE_WINDOW announced the request goes to the window itself.
    EXPECT_EQ(desktop.closeWindow(QStringLiteral("Framed window")), WindowSearch::Found);
    EXPECT_EQ(window->readLine(), QStringLiteral("deleted"));
    EXPECT_EQ(window->waitExit(), 0);
    EXPECT_EQ(manager->readLine(300), QString());
    EXPECT_TRUE(WaitUntil(
        [&] { return desktop.findWindow(QStringLiteral("Framed window")) == WindowSearch::NotFound; }));
}

TEST_F(FramingX, AsksTheManagerToIconifyAFramedWindow) {
    LinuxDesktop desktop(noBus);
    ASSERT_EQ(
        desktop.startProgram({Helper, QStringLiteral("window"), QStringLiteral("Framed minimised")}, true),
        QString());
    EXPECT_EQ(manager->readLine(), QStringLiteral("iconify Framed minimised"));
    // Iconified (unmapped in its frame), it is still a window of the desktop, and can be closed.
    EXPECT_EQ(desktop.closeWindow(QStringLiteral("Framed minimised")), WindowSearch::Found);
    EXPECT_TRUE(WaitUntil(
        [&] { return desktop.findWindow(QStringLiteral("Framed minimised")) == WindowSearch::NotFound; }));
}

// --- No X server ---

TEST(NoX, WithoutAnXServerThereIsNoWindowList) {
    QDBusConnection noBus(QStringLiteral("none"));
    int unused = 900;
    while (QFileInfo::exists(QStringLiteral("/tmp/.X11-unix/X%1").arg(unused)))
        ++unused;
    QElapsedTimer clock;
    clock.start();
    LinuxDesktop unserved(noBus, ":" + QByteArray::number(unused));
    EXPECT_EQ(unserved.findWindow(QStringLiteral("Any")), WindowSearch::NoWindowList);
    EXPECT_EQ(unserved.closeWindow(QStringLiteral("Any")), WindowSearch::NoWindowList);

    const QByteArray display = qgetenv("DISPLAY");
    qunsetenv("DISPLAY");
    LinuxDesktop unset(noBus);
    EXPECT_EQ(unset.findWindow(QStringLiteral("Any")), WindowSearch::NoWindowList);
    EXPECT_EQ(unset.closeWindow(QStringLiteral("Any")), WindowSearch::NoWindowList);
    if (!display.isNull())
        qputenv("DISPLAY", display);
    EXPECT_LT(clock.elapsed(), 2000);
}

// --- Starting programs ---

class StartProgram : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(folder.isValid());
        previous = QDir::currentPath();
        // A shell would create its files here, where the started program runs.
        QDir::setCurrent(folder.path());
    }
    void TearDown() override { QDir::setCurrent(previous); }

    // What the helper wrote: its parent's pid, then its arguments.
    QList<QByteArray> written(const QString& file) {
        WaitUntil([&] { return QFile::exists(file); });
        QFile in(file);
        if (!in.open(QIODevice::ReadOnly))
            return {};
        QByteArray bytes = in.readAll();
        if (bytes.endsWith('\0'))
            bytes.chop(1);
        return bytes.split('\0');
    }

    QTemporaryDir folder;
    QString previous;
    QDBusConnection noBus{QStringLiteral("none")};
};

TEST_F(StartProgram, PassesArgumentsAsTheyAreWithoutAShell) {
    LinuxDesktop desktop(noBus);
    const QString file = folder.filePath(QStringLiteral("arguments"));
    const QStringList arguments{QStringLiteral("0301;touch w"),
                                QStringLiteral("$(touch x)"),
                                QStringLiteral("`touch y`"),
                                QStringLiteral("a b"),
                                QStringLiteral("*"),
                                QString(),
                                QStringLiteral("M\u00fcller & S\u00f6hne > z")};
    ASSERT_EQ(desktop.startProgram(QStringList{Helper, QStringLiteral("arguments"), file} + arguments, false),
              QString());
    const QList<QByteArray> got = written(file);
    ASSERT_EQ(got.size(), arguments.size() + 1);
    for (qsizetype i = 0; i < arguments.size(); ++i)
        EXPECT_EQ(QString::fromUtf8(got[i + 1]), arguments[i]);
    // Detached: the program is not our child.
    EXPECT_NE(got[0].toLongLong(), qint64(getpid()));
    EXPECT_FALSE(QFile::exists(folder.filePath(QStringLiteral("w"))));
    EXPECT_FALSE(QFile::exists(folder.filePath(QStringLiteral("x"))));
    EXPECT_FALSE(QFile::exists(folder.filePath(QStringLiteral("y"))));
    EXPECT_FALSE(QFile::exists(folder.filePath(QStringLiteral("z"))));
}

TEST_F(StartProgram, FindsAProgramWithoutAFolderOnThePath) {
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", QFileInfo(Helper).absolutePath().toLocal8Bit() + ":" + path);
    LinuxDesktop desktop(noBus);
    const QString file = folder.filePath(QStringLiteral("by-name"));
    const QString error = desktop.startProgram(
        {QFileInfo(Helper).fileName(), QStringLiteral("arguments"), file, QStringLiteral("found")}, false);
    qputenv("PATH", path);
    ASSERT_EQ(error, QString());
    const QList<QByteArray> got = written(file);
    ASSERT_EQ(got.size(), 2);
    EXPECT_EQ(got[1], QByteArray("found"));
}

TEST_F(StartProgram, SaysWhyAProgramDidNotStart) {
    LinuxDesktop desktop(noBus);
    EXPECT_EQ(desktop.startProgram({QStringLiteral("morva-no-such-program")}, false),
              QStringLiteral("program not found on PATH: morva-no-such-program"));
    EXPECT_EQ(desktop.startProgram({QStringLiteral("/nonexistent/program"), QStringLiteral("a")}, false),
              QStringLiteral("program not found: /nonexistent/program"));
    EXPECT_EQ(desktop.startProgram({folder.path()}, false),
              QStringLiteral("not an executable program: ") + folder.path());
    EXPECT_EQ(desktop.startProgram({}, false), QStringLiteral("no program given"));
    EXPECT_EQ(desktop.startProgram({QString()}, true), QStringLiteral("no program given"));
}

// --- D-Bus ---

// The service runs on a thread of its own, as another program would: the desktop's call blocks.
class ServiceThread : public QThread {
public:
    explicit ServiceThread(QString address) : m_address(std::move(address)) {}
    ~ServiceThread() override {
        quit();
        wait();
    }
    bool begin() {
        start();
        m_ready.acquire();
        return m_registered;
    }
    QStringList calls() const { return m_recorder ? m_recorder->calls() : QStringList(); }

protected:
    void run() override {
        {
            QDBusConnection bus = QDBusConnection::connectToBus(m_address, QStringLiteral("service"));
            DBusRecorder recorder;
            m_recorder = &recorder;
            m_registered = bus.isConnected() &&
                           bus.registerObject(QStringLiteral("/org/morva/Test"), &recorder,
                                              QDBusConnection::ExportAllSlots) &&
                           bus.registerService(QStringLiteral("org.morva.TestService"));
            m_ready.release();
            exec();
            bus.unregisterObject(QStringLiteral("/org/morva/Test"));
        }
        QDBusConnection::disconnectFromBus(QStringLiteral("service"));
    }

private:
    QString m_address;
    QSemaphore m_ready;
    bool m_registered = false;
    DBusRecorder* m_recorder = nullptr;
};

class DBus : public ::testing::Test {
protected:
    void SetUp() override {
        address = daemon.readLine();
        if (address.isEmpty())
            GTEST_SKIP() << "dbus-daemon is not available";
        service = std::make_unique<ServiceThread>(address);
        ASSERT_TRUE(service->begin());
    }
    void TearDown() override {
        service.reset();
        QDBusConnection::disconnectFromBus(QStringLiteral("caller"));
    }
    QDBusConnection caller() { return QDBusConnection::connectToBus(address, QStringLiteral("caller")); }

    Process daemon{{QStringLiteral("dbus-daemon"), QStringLiteral("--session"), QStringLiteral("--nofork"),
                    QStringLiteral("--print-address=1")}};
    QString address;
    std::unique_ptr<ServiceThread> service;
    const QString name = QStringLiteral("org.morva.TestService");
    const QString path = QStringLiteral("/org/morva/Test");
    const QString interface = QStringLiteral("org.morva.Test");
};

TEST_F(DBus, CallsAMethodWithAndWithoutItsArgument) {
    LinuxDesktop desktop(caller());
    EXPECT_EQ(
        desktop.callDBus(name, path, interface, QStringLiteral("Take"), QStringLiteral("0301 M\u00fcller")),
        QString());
    EXPECT_EQ(desktop.callDBus(name, path, interface, QStringLiteral("Ping"), std::nullopt), QString());
    EXPECT_EQ(service->calls(),
              (QStringList{QStringLiteral("Take 0301 M\u00fcller"), QStringLiteral("Ping")}));
}

TEST_F(DBus, NamesTheErrorOfACallThatFailed) {
    LinuxDesktop desktop(caller());
    EXPECT_THAT(desktop
                    .callDBus(QStringLiteral("org.morva.Nobody"), path, interface, QStringLiteral("Ping"),
                              std::nullopt)
                    .toStdString(),
                StartsWith("org.freedesktop.DBus.Error.ServiceUnknown: "));
    EXPECT_THAT(
        desktop.callDBus(name, path, interface, QStringLiteral("Missing"), std::nullopt).toStdString(),
        StartsWith("org.freedesktop.DBus.Error.UnknownMethod: "));
    // Take without its argument is another method.
    EXPECT_THAT(desktop.callDBus(name, path, interface, QStringLiteral("Take"), std::nullopt).toStdString(),
                StartsWith("org.freedesktop.DBus.Error.UnknownMethod: "));
    EXPECT_EQ(service->calls(), QStringList());
}

TEST_F(DBus, GivesUpOnAServiceThatDoesNotAnswerInFiveSeconds) {
    LinuxDesktop desktop(caller());
    QElapsedTimer clock;
    clock.start();
    EXPECT_THAT(desktop.callDBus(name, path, interface, QStringLiteral("Stall"), std::nullopt).toStdString(),
                StartsWith("org.freedesktop.DBus.Error.NoReply: "));
    // libdbus's timeout was seen to end up to a quarter of a second early.
    EXPECT_GE(clock.elapsed(), 4500);
    EXPECT_LT(clock.elapsed(), 6000);
}

TEST_F(DBus, RefusesInvalidNamesPlainly) {
    LinuxDesktop desktop(caller());
    const auto call = [&](const QString& s, const QString& p, const QString& i, const QString& m) {
        return desktop.callDBus(s, p, i, m, QStringLiteral("x")).toStdString();
    };
    EXPECT_EQ(call(QStringLiteral("not a name"), path, interface, QStringLiteral("Take")),
              "invalid D-Bus service name: \"not a name\"");
    EXPECT_THAT(call(QString(), path, interface, QStringLiteral("Take")),
                StartsWith("invalid D-Bus service name"));
    EXPECT_THAT(call(QStringLiteral("org..morva"), path, interface, QStringLiteral("Take")),
                StartsWith("invalid D-Bus service name"));
    EXPECT_THAT(call(name, QStringLiteral("org/morva"), interface, QStringLiteral("Take")),
                StartsWith("invalid D-Bus object path"));
    EXPECT_THAT(call(name, QStringLiteral("/org/morva/"), interface, QStringLiteral("Take")),
                StartsWith("invalid D-Bus object path"));
    EXPECT_THAT(call(name, path, QStringLiteral("nodot"), QStringLiteral("Take")),
                StartsWith("invalid D-Bus interface name"));
    EXPECT_THAT(call(name, path, interface, QStringLiteral("1Take")),
                StartsWith("invalid D-Bus method name"));
    EXPECT_THAT(call(name, path, interface, QStringLiteral("Ta-ke")),
                StartsWith("invalid D-Bus method name"));
    EXPECT_EQ(service->calls(), QStringList());
    // A unique connection name is a valid service: this one names nobody.
    EXPECT_THAT(call(QStringLiteral(":1.9999"), path, interface, QStringLiteral("Take")),
                StartsWith("org.freedesktop.DBus.Error.ServiceUnknown: "));
}

TEST(DBusNone, WithoutABusTheCallSaysSo) {
    LinuxDesktop desktop(QDBusConnection(QStringLiteral("none")));
    EXPECT_THAT(desktop
                    .callDBus(QStringLiteral("org.morva.TestService"), QStringLiteral("/"),
                              QStringLiteral("org.morva.Test"), QStringLiteral("Ping"), std::nullopt)
                    .toStdString(),
                StartsWith("no D-Bus session bus"));
}

} // namespace
