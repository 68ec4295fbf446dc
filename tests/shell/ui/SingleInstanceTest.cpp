// The single-instance test on a private D-Bus daemon: two programs, as two connections to one bus.

#include "shell/ui/SingleInstance.h"

#include <QDBusConnection>
#include <QProcess>
#include <QWidget>

#include <gtest/gtest.h>

namespace {

// A session bus of the test's own, ended with the test.
struct PrivateBus {
    QProcess daemon;
    QString address;
    PrivateBus() {
        daemon.start(QStringLiteral("dbus-daemon"), {QStringLiteral("--session"), QStringLiteral("--nofork"),
                                                     QStringLiteral("--print-address")});
        if (daemon.waitForStarted(5000) && daemon.waitForReadyRead(5000))
            address = QString::fromUtf8(daemon.readLine()).trimmed();
    }
    ~PrivateBus() {
        daemon.kill();
        daemon.waitForFinished();
    }
};

} // namespace

TEST(SingleInstance, ASecondStartBringsTheFirstToTheFrontAndEnds) {
    PrivateBus bus;
    ASSERT_FALSE(bus.address.isEmpty()) << "dbus-daemon did not start";
    QWidget firstWindow;
    SingleInstance first(&firstWindow, QDBusConnection::connectToBus(bus.address, QStringLiteral("first")));
    ASSERT_TRUE(first.claim());
    EXPECT_FALSE(firstWindow.isVisible());

    QWidget secondWindow;
    SingleInstance second(&secondWindow,
                          QDBusConnection::connectToBus(bus.address, QStringLiteral("second")));
    // The call waits with the event loop running, so the first instance can answer from this thread.
    EXPECT_FALSE(second.claim());
    EXPECT_TRUE(firstWindow.isVisible()) << "the first window came to the front";
    EXPECT_FALSE(secondWindow.isVisible());
    QDBusConnection::disconnectFromBus(QStringLiteral("first"));
    QDBusConnection::disconnectFromBus(QStringLiteral("second"));
}

TEST(SingleInstance, WithoutABusTheStartGoesOn) {
    QWidget window;
    SingleInstance instance(&window, QDBusConnection(QStringLiteral("none")));
    EXPECT_TRUE(instance.claim());
}
