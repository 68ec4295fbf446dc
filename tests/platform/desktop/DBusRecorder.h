#pragma once

// A service of the desktop tests' own session bus: records the calls it gets, from any thread.

#include <QMutex>
#include <QObject>
#include <QStringList>
#include <QThread>

class DBusRecorder : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.morva.Test")
public:
    QStringList calls() const {
        QMutexLocker lock(&m_mutex);
        return m_calls;
    }
public Q_SLOTS:
    void Take(const QString& text) { record(QStringLiteral("Take ") + text); }
    void Ping() { record(QStringLiteral("Ping")); }
    // Answers after six seconds, longer than a caller waits.
    void Stall() { QThread::sleep(6); }

private:
    void record(const QString& call) {
        QMutexLocker lock(&m_mutex);
        m_calls << call;
    }
    mutable QMutex m_mutex;
    QStringList m_calls;
};
