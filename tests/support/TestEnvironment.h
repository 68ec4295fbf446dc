#pragma once

// What every test process shares: a private HOME and XDG_RUNTIME_DIR, headless Qt, the sources' root,
// and Qt strings printed as text in failures.

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <ostream>

// Prepares the process before its Qt application exists: a private HOME and XDG_RUNTIME_DIR (so that
// nothing of the machine's user is read or written), the offscreen platform, and no session bus.
class TestEnvironment {
public:
    TestEnvironment();

private:
    QTemporaryDir m_home;
    QTemporaryDir m_runtime;
};

// The root of the sources the tests were built from.
QString SourceRoot();

// The lines of a text file; empty when it does not exist.
QStringList ReadLines(const QString& path);

// Test failures show Qt strings as text.
inline void PrintTo(const QString& text, std::ostream* os) {
    *os << '"' << text.toStdString() << '"';
}
