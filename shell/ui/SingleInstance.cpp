#include "shell/ui/SingleInstance.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QWidget>

const QString SingleInstance::ServiceName = QStringLiteral("org.morva.Morva");

SingleInstance::SingleInstance(QWidget* window, QDBusConnection bus)
    : m_window(window), m_bus(std::move(bus)) {}

bool SingleInstance::claim() {
    QDBusConnection& bus = m_bus;
    if (!bus.isConnected())
        return true;
    if (bus.registerService(ServiceName)) {
        bus.registerObject(QStringLiteral("/Main"), this, QDBusConnection::ExportScriptableSlots);
        return true;
    }
    // The name is taken: the first instance comes to the front.
    QDBusInterface first(ServiceName, QStringLiteral("/Main"), QStringLiteral("org.morva.Morva.Main"), bus);
    first.call(QDBus::BlockWithGui, QStringLiteral("Raise"));
    return false;
}

void SingleInstance::Raise() {
    m_window->setWindowState((m_window->windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}
