#pragma once

// A status-notifier watcher played by a test: the part of a desktop's panel that takes tray icons over
// D-Bus, as much of it as Qt uses (the watcher's properties and the registration of items).

#include <QDBusConnection>
#include <QMutex>
#include <QMutexLocker>
#include <QObject>
#include <QStringList>

#include <atomic>

inline const QString WatcherService = QStringLiteral("org.kde.StatusNotifierWatcher");
inline const QString WatcherPath = QStringLiteral("/StatusNotifierWatcher");

// The test runs it on a thread of its own with its own connection, so that it answers while the test's
// thread waits in a call of Qt's (Qt asks the watcher with blocking calls).
class FakeWatcher : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ isStatusNotifierHostRegistered)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)
public:
    explicit FakeWatcher(QDBusConnection bus) : m_bus(std::move(bus)) {}

    bool isStatusNotifierHostRegistered() const { return m_hostRegistered; }
    // The panel that shows the items ends, while the watcher stays on the bus (the watcher and the
    // panel are different programs on some desktops).
    void setHostRegistered(bool registered) { m_hostRegistered = registered; }
    int protocolVersion() const { return 0; }
    QStringList items() const {
        QMutexLocker lock(&m_mutex);
        return m_items;
    }

    // The panel starts: the watcher's name on the bus. False when the bus refused it.
    bool appear() {
        return m_bus.registerObject(WatcherPath, this,
                                    QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllProperties |
                                        QDBusConnection::ExportAllSignals) &&
               m_bus.registerService(WatcherService);
    }
    // The panel ends: its name goes from the bus, and with it the items it knew.
    void vanish() {
        m_bus.unregisterService(WatcherService);
        m_bus.unregisterObject(WatcherPath);
        QMutexLocker lock(&m_mutex);
        m_items.clear();
    }

public Q_SLOTS:
    void RegisterStatusNotifierItem(const QString& service) {
        {
            QMutexLocker lock(&m_mutex);
            m_items << service;
        }
        Q_EMIT StatusNotifierItemRegistered(service);
    }
    void RegisterStatusNotifierHost(const QString&) {}

Q_SIGNALS:
    void StatusNotifierItemRegistered(const QString& service);

private:
    QDBusConnection m_bus;
    std::atomic<bool> m_hostRegistered{true};
    mutable QMutex m_mutex;
    QStringList m_items;
};
