#pragma once

// Global keys on Wayland through the desktop portal's global shortcuts
// (org.freedesktop.portal.GlobalShortcuts): one session of the portal, in which the keys of both ids are
// bound together, as "dial" (id 1) and "hangup" (id 2); a change of the keys binds them anew in a new
// session. The desktop may show the user a dialog and bind other keys than the ones asked for; it
// answers later, so a refusal comes as `failed`. Before its first session it names the program to the
// portal ("org.morva.Morva", the name of its desktop file).

#include "platform/hotkeys/GlobalHotkeys.h"

#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QList>
#include <QVariantMap>

#include <map>

class QDBusMessage;

namespace hotkeys {

// One shortcut of a BindShortcuts call: its id and its properties ("description", "preferred_trigger").
struct PortalShortcut {
    QString id;
    QVariantMap properties;
};
using PortalShortcuts = QList<PortalShortcut>;

// Registers the D-Bus type of the shortcut lists (a(sa{sv})); done by PortalHotkeys itself.
void RegisterPortalTypes();

// The portal's text of a key ("CTRL+ALT+F9", "SHIFT+a"); empty for a key code without a key.
QString PortalTrigger(const HotkeyKey& key);
// The portal's shortcut id of a hotkey id: "dial" for 1, "hangup" for 2, "hotkey<n>" otherwise.
QString PortalShortcutId(int id);

class PortalHotkeys : public GlobalHotkeys {
    Q_OBJECT
public:
    explicit PortalHotkeys(const QDBusConnection& bus = QDBusConnection::sessionBus(),
                           QObject* parent = nullptr);

    bool registerKey(int id, const HotkeyKey& key, QString* error) override;
    void unregisterKey(int id) override;
    QString kind() const override { return QStringLiteral("portal"); }

private Q_SLOTS:
    void onResponse(uint response, const QVariantMap& results, const QDBusMessage& message);
    void onActivated(const QDBusMessage& message);

private:
    enum class Pending { None, Session, Bind };

    QString newToken();
    QString requestPath(const QString& token) const;
    void createSession();
    void bindShortcuts();
    void closeSession();
    void failAll(const QString& reason);
    // A call whose answer comes as the Response of the request at `token`'s path.
    void callWithRequest(const QString& method, const QList<QVariant>& arguments, const QString& token,
                         Pending pending);

    QDBusConnection m_bus;
    std::map<int, HotkeyKey> m_keys;
    QString m_session; // the session's object path once it exists
    bool m_sessionAsked = false;
    bool m_registered = false;     // the program's name was given to the portal
    bool m_boundInSession = false; // the session had its bind
    bool m_bindAgain = false;      // keys changed while a bind was under way
    Pending m_pending = Pending::None;
    QString m_pendingRequest; // the request path whose Response is awaited
    int m_tokens = 0;
};

} // namespace hotkeys

Q_DECLARE_METATYPE(hotkeys::PortalShortcut)
