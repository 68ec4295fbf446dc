#include "tests/platform/hotkeys/FakePortal.h"

#include <QDateTime>
#include <QTimer>

FakePortal::FakePortal(QDBusConnection bus) : m_bus(std::move(bus)) {
    hotkeys::RegisterPortalTypes();
    new FakeRegistry(this);
}

QString FakePortal::pathFor(const QString& kind, const QDBusMessage& message, const QString& token) const {
    QString sender = message.service().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    return QStringLiteral("/org/freedesktop/portal/desktop/%1/%2/%3").arg(kind, sender, token);
}

void FakePortal::respond(const QString& request, uint answer, const QVariantMap& results, int delay) {
    // After the call's reply, as the portal answers.
    QTimer::singleShot(delay, this, [this, request, answer, results] {
        QDBusMessage response = QDBusMessage::createSignal(
            request, QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"));
        response << answer << results;
        m_bus.send(response);
    });
}

QDBusObjectPath FakePortal::CreateSession(const QVariantMap& options, const QDBusMessage& message) {
    m_calls << QStringLiteral("CreateSession");
    const QString request =
        pathFor(QStringLiteral("request"), message, options.value(QStringLiteral("handle_token")).toString());
    const QString session = pathFor(QStringLiteral("session"), message,
                                    options.value(QStringLiteral("session_handle_token")).toString());
    QVariantMap results;
    if (m_sessionAnswer == 0) {
        m_sessions << session;
        m_bus.registerObject(session, new FakeSession(this, session), QDBusConnection::ExportAllSlots);
        results.insert(QStringLiteral("session_handle"), session);
    }
    respond(request, m_sessionAnswer, results);
    return QDBusObjectPath(request);
}

QDBusObjectPath FakePortal::BindShortcuts(const QDBusObjectPath& session,
                                          const QList<hotkeys::PortalShortcut>& shortcuts, const QString&,
                                          const QVariantMap& options, const QDBusMessage& message) {
    m_calls << QStringLiteral("BindShortcuts");
    m_binds.append({session.path(), shortcuts});
    const QString request =
        pathFor(QStringLiteral("request"), message, options.value(QStringLiteral("handle_token")).toString());
    QVariantMap results;
    if (m_bindAnswer == 0)
        results.insert(QStringLiteral("shortcuts"), QVariant::fromValue(shortcuts));
    respond(request, m_bindAnswer, results, m_bindDelay);
    return QDBusObjectPath(request);
}

void FakePortal::activate(const QString& shortcutId, const QString& session) {
    QDBusMessage signal = QDBusMessage::createSignal(QStringLiteral("/org/freedesktop/portal/desktop"),
                                                     QStringLiteral("org.freedesktop.portal.GlobalShortcuts"),
                                                     QStringLiteral("Activated"));
    signal << QVariant::fromValue(
                  QDBusObjectPath(session.isEmpty() ? m_sessions.value(m_sessions.size() - 1) : session))
           << shortcutId << qulonglong(QDateTime::currentMSecsSinceEpoch()) << QVariantMap();
    m_bus.send(signal);
}

void FakePortal::closed(const QString& session) {
    m_calls << QStringLiteral("Close");
    m_closed << session;
    m_bus.unregisterObject(session);
}
