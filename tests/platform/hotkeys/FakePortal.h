#pragma once

// The desktop portal's global shortcuts (org.freedesktop.portal.GlobalShortcuts) played by a test on a
// bus of its own: sessions and binds are answered through the Response signal of their request objects,
// as the portal does, and the test sends the Activated signal of a pressed shortcut.

#include "platform/hotkeys/PortalHotkeys.h"

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QList>
#include <QObject>
#include <QVariantMap>

class FakePortal : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.GlobalShortcuts")
public:
    explicit FakePortal(QDBusConnection bus);

    // What a bind asked for.
    struct Bind {
        QString session;
        QList<hotkeys::PortalShortcut> shortcuts;
    };
    const QList<Bind>& binds() const { return m_binds; }
    const QStringList& sessions() const { return m_sessions; }
    // The calls in the order they came: "Register <app id>", "CreateSession", "BindShortcuts", "Close"
    // (of a session).
    const QStringList& calls() const { return m_calls; }
    void registered(const QString& appId) { m_calls << QStringLiteral("Register ") + appId; }
    void closed(const QString& session);
    // The sessions that were closed.
    const QStringList& closedSessions() const { return m_closed; }
    // The answers given to the coming calls: 0 yes, 1 cancelled by the user, 2 other.
    void setSessionAnswer(uint answer) { m_sessionAnswer = answer; }
    void setBindAnswer(uint answer) { m_bindAnswer = answer; }
    // Binds are answered `ms` after the call, as when the desktop asks the user first.
    void setBindDelay(int ms) { m_bindDelay = ms; }
    // The shortcut was pressed, in `session` (the last one made when empty).
    void activate(const QString& shortcutId, const QString& session = {});

public Q_SLOTS:
    QDBusObjectPath CreateSession(const QVariantMap& options, const QDBusMessage& message);
    QDBusObjectPath BindShortcuts(const QDBusObjectPath& session,
                                  const QList<hotkeys::PortalShortcut>& shortcuts,
                                  const QString& parentWindow, const QVariantMap& options,
                                  const QDBusMessage& message);

private:
    QString pathFor(const QString& kind, const QDBusMessage& message, const QString& token) const;
    void respond(const QString& request, uint answer, const QVariantMap& results, int delay = 0);

    QDBusConnection m_bus;
    QList<Bind> m_binds;
    QStringList m_sessions;
    QStringList m_calls;
    QStringList m_closed;
    uint m_sessionAnswer = 0;
    uint m_bindAnswer = 0;
    int m_bindDelay = 0;
};

// The portal's registry of programs outside a sandbox, at the portal's path beside the shortcuts.
class FakeRegistry : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.host.portal.Registry")
public:
    explicit FakeRegistry(FakePortal* portal) : QDBusAbstractAdaptor(portal), m_portal(portal) {}

public Q_SLOTS:
    void Register(const QString& appId, const QVariantMap&) { m_portal->registered(appId); }

private:
    FakePortal* m_portal;
};

// A session of the portal, at its own path.
class FakeSession : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Session")
public:
    FakeSession(FakePortal* portal, QString path)
        : QObject(portal), m_portal(portal), m_path(std::move(path)) {}

public Q_SLOTS:
    void Close() { m_portal->closed(m_path); }

private:
    FakePortal* m_portal;
    QString m_path;
};
