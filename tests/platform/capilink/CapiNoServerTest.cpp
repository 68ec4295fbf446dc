// No CAPI server at all: the start fails with a reason that names the server that was tried. In a
// process of its own, since libcapi20 chooses its server once per process.

#include "tests/support/TestProgram.h"

#include "platform/capilink/CapiLink.h"

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {
// A loopback port where nobody listens.
int closedPort() {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ::bind(fd, reinterpret_cast<sockaddr*>(&address), length);
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    ::close(fd);
    return ntohs(address.sin_port);
}
} // namespace

TEST(CapiNoServer, TheStartFailsAndSaysWhichServerWasTried) {
    const int port = closedPort();
    ManualClock clock;
    QTemporaryDir dir;
    auto link = std::make_unique<CapiLink>(CapiServer{"fritzbox", "127.0.0.1", port}, nullptr);
    CapiLink& line = *link;
    Program program(clock, std::move(link), dir.path());
    EXPECT_FALSE(program.startLine());
    EXPECT_EQ(program.fatalMessage(), QStringLiteral("CtiInit:Failed Reason: -4105"));
    EXPECT_TRUE(line.lastError().contains(QStringLiteral("127.0.0.1:%1").arg(port)))
        << line.lastError().toStdString();
}
