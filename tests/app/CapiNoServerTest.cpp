// No CAPI server at all: the start fails with a reason that names the server that was tried. In a
// process of its own, since libcapi20 chooses its server once per process.

#include "tests/support/CapiLineSupport.h"
#include "tests/support/TestProgram.h"

#include "platform/Clock.h"
#include "platform/capilink/CapiLink.h"

#include <gtest/gtest.h>

TEST(CapiNoServer, TheStartFailsAndSaysWhichServerWasTried) {
    const int port = ExchangePort(); // no exchange is started on it
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

// A router that is still starting: the first start finds no server; once the server answers, the start
// tried again on the same line succeeds and the line takes calls.
TEST(CapiNoServer, AStartTriedAgainOnceTheServerAnswersSucceeds) {
    ManualClock clock;
    QTemporaryDir dir;
    auto link = std::make_unique<CapiLink>(ExchangeServer(), nullptr);
    CapiLink& line = *link;
    Program program(clock, std::move(link), dir.path());
    ASSERT_FALSE(program.startLine()) << "no server yet";
    EXPECT_FALSE(program.startLine()) << "still none";
    auto exchange = StartExchange();
    EXPECT_TRUE(program.startLine()) << program.fatalMessage().toStdString() << " "
                                     << line.lastError().toStdString();
    EXPECT_TRUE(program.lineStatus().ready);
    program.stopLine();
    exchange->stop();
}
