// morva-exchange: the simulated ISDN exchange as a program. `serve` runs it in the foreground and takes
// commands from its standard input and from other terminals through a Unix socket; without `serve` the
// program sends one command to the exchange that serves the port and prints its answer.

#include "tools/capiexchange/CapiExchange.h"
#include "tools/capiexchange/ExchangeCommands.h"

#include <QFileInfo>

#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>

namespace {

constexpr uint16_t DefaultPort = 50310;

std::mutex outputMutex;

void say(FILE* to, const QString& text) {
    std::lock_guard lock(outputMutex);
    std::fputs(text.toLocal8Bit().constData(), to);
    std::fputc('\n', to);
    std::fflush(to);
}

QString usage() {
    return QStringLiteral(
               "usage: morva-exchange serve [--port P] [--speed X] [--no-dtmf-facility]\n"
               "       morva-exchange [--port P] COMMAND [ARGUMENTS...]\n"
               "\n"
               "serve runs a simulated ISDN exchange (controller 1, two B channels) behind a CAPI\n"
               "service on 127.0.0.1:P that libcapi20's 'fritzbox' module connects to. The default\n"
               "port is %1; 0 picks a free one. --speed X runs the line's clock X times faster.\n"
               "It reads commands from its standard input (quit ends it, as do Ctrl-C and\n"
               "SIGTERM) and from other terminals: without serve the program sends COMMAND to the\n"
               "exchange of port P through its socket\n"
               "($XDG_RUNTIME_DIR/morva-exchange-P.sock, else /tmp/morva-exchange-UID-P.sock)\n"
               "and exits with 0 when it was carried out, 1 otherwise.\n"
               "\n"
               "Commands:\n")
               .arg(DefaultPort) +
           exchange::commandHelp();
}

QString socketPath(uint16_t port) {
    const QByteArray runtime = qgetenv("XDG_RUNTIME_DIR");
    QString path;
    if (!runtime.isEmpty())
        path = QStringLiteral("%1/morva-exchange-%2.sock").arg(QString::fromLocal8Bit(runtime)).arg(port);
    if (path.isEmpty() || path.toLocal8Bit().size() >= int(sizeof(sockaddr_un::sun_path)))
        path = QStringLiteral("/tmp/morva-exchange-%1-%2.sock").arg(::getuid()).arg(port);
    return path;
}

sockaddr_un unixAddress(const QString& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray bytes = path.toLocal8Bit();
    std::memcpy(address.sun_path, bytes.constData(), size_t(bytes.size()));
    return address;
}

int connectTo(const QString& path) {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = unixAddress(path);
    if (fd >= 0 && ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return fd;
    const int saved = errno;
    if (fd >= 0)
        ::close(fd);
    errno = saved;
    return -1;
}

// Reads what the peer sends until a newline (`untilNewline`) or its end, for at most `timeoutMs`.
QByteArray readFrom(int fd, bool untilNewline, int timeoutMs) {
    QByteArray data;
    pollfd p{fd, POLLIN, 0};
    while (::poll(&p, 1, timeoutMs) > 0) {
        char buffer[4096];
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n <= 0)
            break;
        data.append(buffer, qsizetype(n));
        if (untilNewline && data.contains('\n'))
            break;
    }
    return data;
}

exchange::CommandResult carryOut(CapiExchange& ex, const QString& line) {
    QString error;
    const QStringList words = exchange::splitCommandLine(line, &error);
    if (!error.isEmpty())
        return {false, error};
    return exchange::runCommand(ex, words);
}

int serve(const CapiExchange::Options& options) {
    // The termination signals arrive through a descriptor; they are blocked before any thread starts so
    // that no thread takes them the default way.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    const int signalFd = ::signalfd(-1, &signals, SFD_CLOEXEC);

    CapiExchange ex(options);
    ex.setEventHandler([](const QString& line) { say(stdout, line); });
    QString error;
    if (!ex.start(&error)) {
        say(stderr, QStringLiteral("morva-exchange: %1").arg(error));
        return 1;
    }
    const QString path = socketPath(ex.port());
    if (const int other = connectTo(path); other >= 0) {
        ::close(other);
        say(stderr, QStringLiteral("morva-exchange: another exchange answers on %1").arg(path));
        return 1;
    }
    ::unlink(path.toLocal8Bit().constData()); // left over by an exchange that did not end in order
    const int commandFd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = unixAddress(path);
    const mode_t mask = ::umask(077); // the socket is for its user only
    const bool bound =
        commandFd >= 0 && ::bind(commandFd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::umask(mask);
    if (!bound || ::listen(commandFd, 8) != 0) {
        say(stderr, QStringLiteral("morva-exchange: cannot open %1: %2")
                        .arg(path, QString::fromLocal8Bit(std::strerror(errno))));
        return 1;
    }
    say(stdout, QStringLiteral("exchange on 127.0.0.1:%1, speed %2%3; commands here or with "
                               "'morva-exchange --port %1 COMMAND' (%4); 'help' lists them")
                    .arg(ex.port())
                    .arg(options.speed)
                    .arg(options.dtmfFacility ? QString() : QStringLiteral(", no DTMF facility"), path));

    QByteArray input;
    bool stdinOpen = true;
    for (bool running = true; running;) {
        pollfd fds[3] = {{signalFd, POLLIN, 0}, {commandFd, POLLIN, 0}, {stdinOpen ? 0 : -1, POLLIN, 0}};
        if (::poll(fds, 3, -1) < 0 && errno != EINTR)
            break;
        if (fds[0].revents & POLLIN)
            break;
        if (fds[1].revents & POLLIN) {
            const int client = ::accept4(commandFd, nullptr, nullptr, SOCK_CLOEXEC);
            if (client >= 0) {
                const QByteArray line = readFrom(client, true, 2000);
                const auto result = carryOut(ex, QString::fromLocal8Bit(line.left(line.indexOf('\n'))));
                const QByteArray reply = (result.ok ? "0\n" : "1\n") + result.text.toLocal8Bit() + '\n';
                [[maybe_unused]] const auto n =
                    ::send(client, reply.constData(), size_t(reply.size()), MSG_NOSIGNAL);
                ::close(client);
            }
        }
        if (fds[2].revents & (POLLIN | POLLHUP)) {
            char buffer[1024];
            const ssize_t n = ::read(0, buffer, sizeof buffer);
            if (n <= 0)
                stdinOpen = false; // the exchange serves on until a signal ends it
            else
                input.append(buffer, qsizetype(n));
            for (qsizetype end; (end = input.indexOf('\n')) >= 0;) {
                const QString line = QString::fromLocal8Bit(input.left(end)).trimmed();
                input.remove(0, end + 1);
                if (line == QLatin1String("quit") || line == QLatin1String("exit")) {
                    running = false;
                    break;
                }
                if (line.isEmpty())
                    continue;
                const auto result = carryOut(ex, line);
                say(result.ok ? stdout : stderr, result.text);
            }
        }
    }
    ::close(commandFd);
    ::unlink(path.toLocal8Bit().constData());
    ex.stop();
    say(stdout, QStringLiteral("exchange stopped"));
    return 0;
}

int sendCommand(uint16_t port, QStringList words) {
    // A file is opened by the exchange, whose working folder may differ from ours.
    if ((words[0] == QLatin1String("play") || words[0] == QLatin1String("record")) && words.size() >= 2 &&
        words.last() != QLatin1String("-"))
        words.last() = QFileInfo(words.last()).absoluteFilePath();
    const QString path = socketPath(port);
    const int fd = connectTo(path);
    if (fd < 0) {
        say(stderr, QStringLiteral("morva-exchange: no exchange serves port %1 (%2: %3)")
                        .arg(port)
                        .arg(path, QString::fromLocal8Bit(std::strerror(errno))));
        return 1;
    }
    QStringList quoted;
    for (const auto& w : words)
        quoted << exchange::quoteWord(w);
    const QByteArray line = quoted.join(QLatin1Char(' ')).toLocal8Bit() + '\n';
    [[maybe_unused]] const auto n = ::send(fd, line.constData(), size_t(line.size()), MSG_NOSIGNAL);
    const QByteArray reply = readFrom(fd, false, 10000);
    ::close(fd);
    if (reply.size() < 2 || (reply[0] != '0' && reply[0] != '1')) {
        say(stderr, QStringLiteral("morva-exchange: no answer from the exchange of port %1").arg(port));
        return 1;
    }
    const bool ok = reply[0] == '0';
    say(ok ? stdout : stderr, QString::fromLocal8Bit(reply.mid(2)).trimmed());
    return ok ? 0 : 1;
}

bool parsePort(const QString& text, uint16_t* port) {
    bool ok = false;
    const uint value = text.toUInt(&ok);
    if (!ok || value > 65535)
        return false;
    *port = uint16_t(value);
    return true;
}

} // namespace

int main(int argc, char** argv) {
    ::signal(SIGPIPE, SIG_IGN);
    QStringList args;
    for (int i = 1; i < argc; ++i)
        args << QString::fromLocal8Bit(argv[i]);
    const auto bad = [](const QString& text) {
        say(stderr, QStringLiteral("morva-exchange: %1 (--help shows the usage)").arg(text));
        return 1;
    };
    if (args.isEmpty())
        return bad(QStringLiteral("no command given"));
    if (args[0] == QLatin1String("--help") || args[0] == QLatin1String("-h")) {
        say(stdout, usage());
        return 0;
    }
    CapiExchange::Options options;
    options.port = DefaultPort;
    bool serving = false;
    QString serveOption;
    QStringList command;
    for (int i = 0; i < args.size(); ++i) {
        const QString& a = args[i];
        const bool hasValue = i + 1 < args.size();
        if (!command.isEmpty()) {
            command << a;
        } else if (a == QLatin1String("--port")) {
            if (!hasValue || !parsePort(args[++i], &options.port))
                return bad(QStringLiteral("--port needs a port number (0..65535)"));
        } else if (a == QLatin1String("--speed")) {
            bool ok = false;
            options.speed = hasValue ? args[++i].toDouble(&ok) : 0;
            if (!ok || options.speed < 0.1 || options.speed > 1000)
                return bad(QStringLiteral("--speed needs a factor between 0.1 and 1000"));
            serveOption = a;
        } else if (a == QLatin1String("--no-dtmf-facility")) {
            options.dtmfFacility = false;
            serveOption = a;
        } else if (a == QLatin1String("serve") && !serving) {
            serving = true;
        } else if (a.startsWith(QLatin1String("--")) || serving) {
            return bad(QStringLiteral("unknown option or argument '%1'").arg(a));
        } else {
            command << a;
        }
    }
    if (serving)
        return serve(options);
    if (!serveOption.isEmpty())
        return bad(QStringLiteral("%1 belongs to serve").arg(serveOption));
    if (command.isEmpty())
        return bad(QStringLiteral("no command given"));
    if (options.port == 0)
        return bad(QStringLiteral("a command needs the port of a running exchange"));
    return sendCommand(options.port, command);
}
