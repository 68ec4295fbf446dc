#include "tests/support/TestEnvironment.h"

#include <QFile>
#include <QTextStream>

TestEnvironment::TestEnvironment() {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QFile::setPermissions(m_runtime.path(),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    qputenv("HOME", m_home.path().toLocal8Bit());
    qputenv("XDG_RUNTIME_DIR", m_runtime.path().toLocal8Bit());
    // No session bus: the single-instance test stays out of the way of the tests' many windows.
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
}

QString SourceRoot() {
    return QStringLiteral(MORVA_SOURCE_DIR);
}

QStringList ReadLines(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    QStringList lines;
    QTextStream in(&file);
    while (!in.atEnd())
        lines << in.readLine();
    return lines;
}
