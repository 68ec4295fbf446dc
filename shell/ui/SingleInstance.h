#pragma once

// One Morva per user session: the first instance holds a name on the D-Bus session bus; a second start
// asks it to come to the front and ends.

#include <QDBusConnection>
#include <QObject>

class QWidget;

class SingleInstance : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.morva.Morva.Main")
public:
    static const QString ServiceName;

    // `bus`: the session bus, or another bus for tests.
    explicit SingleInstance(QWidget* window, QDBusConnection bus = QDBusConnection::sessionBus());

    // True when this is the only instance, or when there is no session bus to ask (the test cannot run
    // and the start goes on). False when another instance holds the name: it was asked to come to the
    // front.
    bool claim();

public Q_SLOTS:
    // Called over D-Bus by a second start.
    Q_SCRIPTABLE void Raise();

private:
    QWidget* m_window;
    QDBusConnection m_bus;
};
