#include "tools/soundserver/PulseServer.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

extern char** environ;

namespace {

// True when a server takes connections on the Unix socket `path`.
bool takesConnections(const QByteArray& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (size_t(path.size()) >= sizeof address.sun_path)
        return false;
    std::copy(path.begin(), path.end(), address.sun_path);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return false;
    const bool connected = connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(fd);
    return connected;
}

// Starts a program with its output into a file (thrown away unless told); -1 when it cannot start.
pid_t spawnQuiet(std::vector<std::string> argv, const char* output = "/dev/null") {
    std::vector<char*> args;
    for (std::string& arg : argv)
        args.push_back(arg.data());
    args.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, output, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    pid_t pid = -1;
    const int spawned = posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return spawned == 0 ? pid : -1;
}

void endProcess(pid_t& pid, int signal) {
    if (pid <= 0)
        return;
    ::kill(pid, signal);
    waitpid(pid, nullptr, 0);
    pid = -1;
}

} // namespace

PulseServer::~PulseServer() {
    stop();
}

bool PulseServer::start(QString* error) {
    stop();
    const QByteArray runtime = qgetenv("XDG_RUNTIME_DIR");
    if (runtime.isEmpty()) {
        *error = QStringLiteral("no XDG_RUNTIME_DIR for the sound server");
        return false;
    }
    // The protocol last: a server that takes connections has its devices.
    m_pid = spawnQuiet(
        {"pulseaudio", "-n", "--daemonize=no", "--exit-idle-time=-1", "-L",
         std::string("module-null-sink sink_name=") + Sink +
             " rate=8000 channels=1 sink_properties=device.description=Loudspeaker",
         "-L",
         std::string("module-null-sink sink_name=") + Headset +
             " rate=8000 channels=1 sink_properties=device.description=Headset",
         "-L", std::string("module-remap-source master=") + Sink + ".monitor source_name=" + Microphone, "-L",
         "module-native-protocol-unix"});
    if (m_pid <= 0) {
        *error = QStringLiteral("pulseaudio cannot be started (is the package installed?)");
        return false;
    }
    // Ready when its socket takes a connection.
    const QByteArray socket = runtime + "/pulse/native";
    QDeadlineTimer deadline(10000);
    while (!deadline.hasExpired()) {
        if (takesConnections(socket)) {
            // A null sink renders as far ahead as its listeners allow, two seconds while nobody asks for
            // less, and sleeps until that block is due even when a listener comes that wants less. A
            // listener of its own that wants 10 ms, once its first sound arrived, keeps the sink in small
            // steps from then on, as a sound card plays.
            const QByteArray heard = runtime + "/pacer.raw";
            m_pacer = spawnQuiet({"pacat", "--record", "--raw", "--latency-msec=10", "--rate=8000",
                                  "--channels=1", "-d", std::string(Sink) + ".monitor"},
                                 heard.constData());
            while (!deadline.hasExpired()) {
                if (QFileInfo(QFile::decodeName(heard)).size() > 64)
                    return true;
                QThread::msleep(20);
            }
            *error = QStringLiteral("the sink's listener (pacat) did not attach");
            stop();
            return false;
        }
        if (waitpid(m_pid, nullptr, WNOHANG) == m_pid) {
            m_pid = -1;
            *error = QStringLiteral("pulseaudio ended at its start");
            return false;
        }
        QThread::msleep(20);
    }
    stop();
    *error = QStringLiteral("pulseaudio took no connection within ten seconds");
    return false;
}

void PulseServer::stop() {
    end(SIGTERM);
}

void PulseServer::kill() {
    end(SIGKILL);
}

void PulseServer::end(int signal) {
    endProcess(m_pid, signal);
    endProcess(m_pacer, SIGTERM);
}
