#include "platform/TerminationSignals.h"

#include <QSocketNotifier>

#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {
// The write end of the socket pair, for the signal handler; the handler may only write to it.
volatile std::sig_atomic_t g_writeFd = -1;

void onSignal(int number) {
    const unsigned char byte = static_cast<unsigned char>(number);
    if (g_writeFd >= 0)
        (void)!::write(g_writeFd, &byte, 1);
}
} // namespace

TerminationSignals::TerminationSignals(QObject* parent) : QObject(parent) {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, m_fds) != 0)
        return;
    g_writeFd = m_fds[0];
    m_notifier = new QSocketNotifier(m_fds[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, [this] {
        unsigned char byte = 0;
        while (::read(m_fds[1], &byte, 1) == 1)
            Q_EMIT terminationRequested(byte);
    });
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGINT, &action, nullptr);
}

TerminationSignals::~TerminationSignals() {
    ::signal(SIGTERM, SIG_DFL);
    ::signal(SIGINT, SIG_DFL);
    g_writeFd = -1;
    for (int fd : m_fds)
        if (fd >= 0)
            ::close(fd);
}
