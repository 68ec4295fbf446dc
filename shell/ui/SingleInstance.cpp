#include "shell/ui/SingleInstance.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QWidget>

const QString SingleInstance::ServiceName = QStringLiteral("org.morva.Morva");

SingleInstance::SingleInstance(QWidget* window) : QObject(window), m_window(window) {}

bool SingleInstance::claim() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return true;
    if (bus.registerService(ServiceName)) {
        bus.registerObject(QStringLiteral("/Main"), this, QDBusConnection::ExportScriptableSlots);
        return true;
    }
    // The name is taken: the first instance comes to the front.
    QDBusInterface first(ServiceName, QStringLiteral("/Main"), QStringLiteral("org.morva.Morva.Main"), bus);
    first.call(QStringLiteral("Raise"));
    return false;
}

void SingleInstance::Raise() {
    m_window->setWindowState((m_window->windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}
