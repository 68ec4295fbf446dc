#include "tests/support/TestDesktop.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QProcess>
#include <QStandardPaths>
#include <QStringList>
#include <QTimer>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>

extern char** environ;

namespace {

QString readLine(int fd) {
    QByteArray line;
    QDeadlineTimer deadline(10000);
    while (!deadline.hasExpired()) {
        pollfd p{fd, POLLIN, 0};
        if (poll(&p, 1, static_cast<int>(deadline.remainingTime())) <= 0)
            break;
        char c;
        if (read(fd, &c, 1) != 1)
            break;
        if (c == '\n')
            return QString::fromUtf8(line).trimmed();
        line.append(c);
    }
    return {};
}

} // namespace

Spawned::Spawned(std::vector<std::string> argv) {
    int out[2];
    if (pipe(out) != 0)
        return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    std::vector<char*> args;
    for (auto& arg : argv)
        args.push_back(arg.data());
    args.push_back(nullptr);
    if (posix_spawnp(&m_pid, args[0], &actions, nullptr, args.data(), environ) != 0)
        m_pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    if (m_pid > 0)
        m_firstLine = readLine(out[0]);
    close(out[0]);
}

bool Spawned::exited() {
    if (m_pid > 0 && waitpid(m_pid, nullptr, WNOHANG) == m_pid)
        m_pid = -1;
    return m_pid <= 0;
}

Spawned::~Spawned() {
    if (m_pid > 0) {
        kill(m_pid, SIGTERM);
        waitpid(m_pid, nullptr, 0);
    }
}

QString TestDisplay() {
    static const std::unique_ptr<Spawned> server = std::make_unique<Spawned>(std::vector<std::string>{
        "Xvfb", "-displayfd", "1", "-screen", "0", "640x480x24", "-nolisten", "tcp", "-noreset"});
    if (server->firstLine().isEmpty())
        return {};
    const QString display = QStringLiteral(":") + server->firstLine();
    qputenv("DISPLAY", display.toLocal8Bit());
    return display;
}

bool WaitUntil(const std::function<bool()>& done, int timeoutMs) {
    QDeadlineTimer deadline(timeoutMs);
    QEventLoop loop;
    QTimer tick;
    QObject::connect(&tick, &QTimer::timeout, &loop, &QEventLoop::quit);
    tick.start(5);
    while (!done()) {
        if (deadline.hasExpired())
            return done();
        loop.exec();
    }
    return true;
}

void RunEvents(int ms) {
    WaitUntil([] { return false; }, ms);
}

bool HaveXdotool() {
    return !QStandardPaths::findExecutable(QStringLiteral("xdotool")).isEmpty();
}

bool Xdotool(const QStringList& arguments) {
    QProcess process;
    process.start(QStringLiteral("xdotool"), arguments);
    // The keys' events reach us while xdotool runs; the loop stays alive meanwhile.
    const bool finished = WaitUntil([&process] { return process.state() == QProcess::NotRunning; }, 10000);
    return finished && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}
