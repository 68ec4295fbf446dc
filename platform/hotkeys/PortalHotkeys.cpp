#include "platform/hotkeys/PortalHotkeys.h"

#include "platform/hotkeys/VirtualKeys.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace hotkeys {
namespace {

const QString PortalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString PortalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString ShortcutsInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");
const QString RequestInterface = QStringLiteral("org.freedesktop.portal.Request");
const QString PortalAppId = QStringLiteral("org.morva.Morva");
const char* const ResponseSlot = SLOT(onResponse(uint, QVariantMap, QDBusMessage));

QString responseText(uint response) {
    return response == 1 ? QStringLiteral("the user cancelled it")
                         : QStringLiteral("answer %1").arg(response);
}

} // namespace

QDBusArgument& operator<<(QDBusArgument& argument, const PortalShortcut& shortcut) {
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, PortalShortcut& shortcut) {
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

void RegisterPortalTypes() {
    qDBusRegisterMetaType<PortalShortcut>();
    qDBusRegisterMetaType<PortalShortcuts>();
}

QString PortalTrigger(const HotkeyKey& key) {
    const QString name = KeysymNameOfVirtualKey(static_cast<int>(key.vkey));
    if (name.isEmpty())
        return {};
    QString trigger;
    if (key.ctrl)
        trigger += QStringLiteral("CTRL+");
    if (key.alt)
        trigger += QStringLiteral("ALT+");
    if (key.shift)
        trigger += QStringLiteral("SHIFT+");
    return trigger + name;
}

QString PortalShortcutId(int id) {
    if (id == 1)
        return QStringLiteral("dial");
    if (id == 2)
        return QStringLiteral("hangup");
    return QStringLiteral("hotkey%1").arg(id);
}

namespace {
int idOfShortcut(const QString& shortcutId) {
    if (shortcutId == QLatin1String("dial"))
        return 1;
    if (shortcutId == QLatin1String("hangup"))
        return 2;
    if (shortcutId.startsWith(QLatin1String("hotkey"))) {
        bool ok = false;
        const int id = shortcutId.mid(6).toInt(&ok);
        return ok ? id : 0;
    }
    return 0;
}
} // namespace

PortalHotkeys::PortalHotkeys(const QDBusConnection& bus, QObject* parent) : m_bus(bus) {
    setParent(parent);
    RegisterPortalTypes();
    if (m_bus.isConnected()) {
        m_bus.connect(PortalService, PortalPath, ShortcutsInterface, QStringLiteral("Activated"), this,
                      SLOT(onActivated(QDBusMessage)));
    }
}

bool PortalHotkeys::registerKey(int id, const HotkeyKey& key, QString* error) {
    auto refuse = [this, id, error](const QString& reason) {
        unregisterKey(id);
        if (error)
            *error = reason;
        return false;
    };
    if (key.vkey == 0) {
        unregisterKey(id);
        return true;
    }
    const QString trigger = PortalTrigger(key);
    if (trigger.isEmpty())
        return refuse(QStringLiteral("the key code %1 names no key").arg(key.vkey));
    if (!m_bus.isConnected())
        return refuse(QStringLiteral("no session bus, so no desktop portal for global keys"));
    QDBusConnectionInterface* daemon = m_bus.interface();
    const bool running = daemon && daemon->isServiceRegistered(PortalService).value();
    if (!running) {
        // A portal that is not running yet may be started by the bus when it is called.
        const QDBusMessage activatable = m_bus.call(QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("ListActivatableNames")));
        if (activatable.type() != QDBusMessage::ReplyMessage || activatable.arguments().isEmpty() ||
            !activatable.arguments().first().toStringList().contains(PortalService))
            return refuse(QStringLiteral("no desktop portal (%1) on the session bus").arg(PortalService));
    }
    const auto known = m_keys.find(id);
    if (known != m_keys.end() && PortalTrigger(known->second) == trigger && !m_session.isEmpty())
        return true;
    m_keys[id] = key;
    if (m_session.isEmpty()) {
        if (!m_sessionAsked)
            createSession();
    } else {
        bindShortcuts();
    }
    return true;
}

void PortalHotkeys::unregisterKey(int id) {
    if (m_keys.erase(id) == 0)
        return;
    if (!m_session.isEmpty())
        bindShortcuts();
}

QString PortalHotkeys::newToken() {
    return QStringLiteral("morva%1_%2").arg(reinterpret_cast<quintptr>(this), 0, 16).arg(++m_tokens);
}

QString PortalHotkeys::requestPath(const QString& token) const {
    QString sender = m_bus.baseService().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    return QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2").arg(sender, token);
}

void PortalHotkeys::createSession() {
    m_sessionAsked = true;
    if (!m_registered) {
        // A program outside a sandbox names itself to the portal by its desktop file, so that the desktop
        // shows and keeps its shortcuts under that name. Only the first call of a connection may do so;
        // a portal without the registry, or one that was called already, answers with an error that
        // changes nothing here. Calls on one connection arrive in order, so this comes first.
        m_registered = true;
        QDBusMessage registration = QDBusMessage::createMethodCall(
            PortalService, PortalPath, QStringLiteral("org.freedesktop.host.portal.Registry"),
            QStringLiteral("Register"));
        registration << PortalAppId << QVariantMap();
        m_bus.asyncCall(registration);
    }
    const QString token = newToken();
    QVariantMap options;
    options.insert(QStringLiteral("handle_token"), token);
    options.insert(QStringLiteral("session_handle_token"), newToken());
    callWithRequest(QStringLiteral("CreateSession"), {options}, token, Pending::Session);
}

void PortalHotkeys::bindShortcuts() {
    // One bind at a time: some desktops answer a bind only after the user closed its dialog, and take
    // the dialogs' answers only in the order they were opened.
    if (m_pending != Pending::None) {
        m_bindAgain = true;
        return;
    }
    m_bindAgain = false;
    if (m_keys.empty()) {
        closeSession();
        return;
    }
    if (m_boundInSession) {
        // Some desktops bind the shortcuts of a session only once: new keys go into a new session.
        closeSession();
        createSession();
        return;
    }
    m_boundInSession = true;
    PortalShortcuts shortcuts;
    for (const auto& [id, key] : m_keys) {
        PortalShortcut shortcut;
        shortcut.id = PortalShortcutId(id);
        shortcut.properties.insert(QStringLiteral("description"),
                                   id == 1   ? QStringLiteral("Dial the marked number")
                                   : id == 2 ? QStringLiteral("Hang up")
                                             : shortcut.id);
        shortcut.properties.insert(QStringLiteral("preferred_trigger"), PortalTrigger(key));
        shortcuts.append(shortcut);
    }
    const QString token = newToken();
    QVariantMap options;
    options.insert(QStringLiteral("handle_token"), token);
    callWithRequest(
        QStringLiteral("BindShortcuts"),
        {QVariant::fromValue(QDBusObjectPath(m_session)), QVariant::fromValue(shortcuts), QString(), options},
        token, Pending::Bind);
}

void PortalHotkeys::closeSession() {
    if (!m_session.isEmpty()) {
        m_bus.asyncCall(QDBusMessage::createMethodCall(PortalService, m_session,
                                                       QStringLiteral("org.freedesktop.portal.Session"),
                                                       QStringLiteral("Close")));
    }
    m_session.clear();
    m_sessionAsked = false;
    m_boundInSession = false;
}

void PortalHotkeys::callWithRequest(const QString& method, const QList<QVariant>& arguments,
                                    const QString& token, Pending pending) {
    // The answer may come before the call returns the request's path: listen at the path the portal
    // makes of our name and the token first.
    m_pending = pending;
    m_pendingRequest = requestPath(token);
    m_bus.connect(PortalService, m_pendingRequest, RequestInterface, QStringLiteral("Response"), this,
                  ResponseSlot);
    QDBusMessage call = QDBusMessage::createMethodCall(PortalService, PortalPath, ShortcutsInterface, method);
    call.setArguments(arguments);
    auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, pending, method] {
        watcher->deleteLater();
        const QDBusPendingReply<QDBusObjectPath> reply = *watcher;
        if (m_pending != pending)
            return;
        if (reply.isError()) {
            m_bus.disconnect(PortalService, m_pendingRequest, RequestInterface, QStringLiteral("Response"),
                             this, ResponseSlot);
            m_pending = Pending::None;
            m_pendingRequest.clear();
            if (pending == Pending::Session)
                m_sessionAsked = false;
            failAll(QStringLiteral("the desktop portal offers no global keys (%1: %2)")
                        .arg(method, reply.error().message()));
            return;
        }
        const QString path = reply.value().path();
        if (path != m_pendingRequest) {
            // A portal that names its requests otherwise.
            m_bus.disconnect(PortalService, m_pendingRequest, RequestInterface, QStringLiteral("Response"),
                             this, ResponseSlot);
            m_pendingRequest = path;
            m_bus.connect(PortalService, path, RequestInterface, QStringLiteral("Response"), this,
                          ResponseSlot);
        }
    });
}

void PortalHotkeys::onResponse(uint response, const QVariantMap& results, const QDBusMessage& message) {
    if (message.path() != m_pendingRequest || m_pending == Pending::None)
        return;
    m_bus.disconnect(PortalService, m_pendingRequest, RequestInterface, QStringLiteral("Response"), this,
                     ResponseSlot);
    const Pending pending = m_pending;
    m_pending = Pending::None;
    m_pendingRequest.clear();
    if (pending == Pending::Session) {
        const QVariant handle = results.value(QStringLiteral("session_handle"));
        m_session = handle.metaType() == QMetaType::fromType<QDBusObjectPath>()
                        ? handle.value<QDBusObjectPath>().path()
                        : handle.toString();
        if (response != 0 || m_session.isEmpty()) {
            m_session.clear();
            m_sessionAsked = false;
            failAll(QStringLiteral("the desktop gave no session for global keys (%1)")
                        .arg(responseText(response)));
            return;
        }
        bindShortcuts();
        return;
    }
    if (response != 0) {
        failAll(QStringLiteral("the desktop did not bind the keys (%1)").arg(responseText(response)));
        return;
    }
    if (m_bindAgain)
        bindShortcuts();
}

void PortalHotkeys::onActivated(const QDBusMessage& message) {
    // Activated(o session_handle, s shortcut_id, t timestamp, a{sv} options)
    const QList<QVariant> arguments = message.arguments();
    if (m_session.isEmpty() || arguments.size() < 2)
        return;
    const QVariant session = arguments.at(0);
    const QString sessionPath = session.metaType() == QMetaType::fromType<QDBusObjectPath>()
                                    ? session.value<QDBusObjectPath>().path()
                                    : session.toString();
    if (sessionPath != m_session)
        return;
    const int id = idOfShortcut(arguments.at(1).toString());
    if (m_keys.count(id) > 0)
        Q_EMIT activated(id);
}

void PortalHotkeys::failAll(const QString& reason) {
    for (const auto& [id, key] : m_keys)
        Q_EMIT failed(id, reason);
}

} // namespace hotkeys
