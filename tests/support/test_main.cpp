// Test main: headless Qt, and a private HOME and XDG_RUNTIME_DIR so that nothing of the machine's
// user is read or written, and no session bus.

#include <QApplication>
#include <QTemporaryDir>

#include <gmock/gmock.h>

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QTemporaryDir home;
    QTemporaryDir runtime;
    QFile::setPermissions(runtime.path(),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    qputenv("HOME", home.path().toLocal8Bit());
    qputenv("XDG_RUNTIME_DIR", runtime.path().toLocal8Bit());
    // No session bus: the single-instance test stays out of the way of the tests' many windows.
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    QApplication app(argc, argv);
    ::testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
