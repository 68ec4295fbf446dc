#include "platform/desktop/LinuxDesktop.h"

#include <QDBusError>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTimer>

#include <xcb/xcb.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace desktop {

namespace {

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};
template <typename T> using Reply = std::unique_ptr<T, FreeReply>;

// ICCCM: the state a client asks for with WM_CHANGE_STATE.
constexpr uint32_t IconicState = 3;
// EWMH: a close request that a user's pager or task bar sends.
constexpr uint32_t SourceIndicationPager = 2;
// The longest property read, in 32-bit units: a title of up to 64 KiB.
constexpr uint32_t LongestProperty = 16384;

} // namespace

// The X server's top-level windows through an xcb connection of our own.
class XWindows {
public:
    // Null when no X server answers at `display` (empty: $DISPLAY).
    static std::unique_ptr<XWindows> open(const QByteArray& display) {
        xcb_connection_t* connection =
            xcb_connect(display.isEmpty() ? nullptr : display.constData(), nullptr);
        if (xcb_connection_has_error(connection)) {
            xcb_disconnect(connection);
            return nullptr;
        }
        const xcb_setup_t* setup = xcb_get_setup(connection);
        const xcb_screen_iterator_t screen = xcb_setup_roots_iterator(setup);
        if (screen.rem == 0) {
            xcb_disconnect(connection);
            return nullptr;
        }
        return std::unique_ptr<XWindows>(new XWindows(connection, screen.data->root));
    }
    ~XWindows() { xcb_disconnect(m_c); }
    XWindows(const XWindows&) = delete;
    XWindows& operator=(const XWindows&) = delete;

    bool broken() const { return xcb_connection_has_error(m_c) != 0; }

    // We select no events; what comes anyway (the errors of requests without an answer, such as a close
    // request to a window that went in the meantime, and notices sent to every client) is dropped, so
    // that it does not pile up over a long session.
    void dropEvents() {
        while (xcb_generic_event_t* event = xcb_poll_for_event(m_c))
            std::free(event);
    }

    struct TopLevel {
        xcb_window_t window;
        bool managed; // listed or marked by a window manager
    };

    // The desktop's top-level client windows. A window manager that follows EWMH lists them on the root
    // (_NET_CLIENT_LIST). Without one, they are the root's children; a frame of a window manager that
    // does not list them holds the client window, which the manager marks with WM_STATE.
    std::vector<TopLevel> topLevels() {
        std::vector<TopLevel> result;
        if (windowManager() != XCB_WINDOW_NONE) {
            const QByteArray list = property(m_root, m_netClientList, XCB_ATOM_WINDOW);
            if (!list.isNull()) {
                for (const uint32_t window : words(list))
                    result.push_back({window, true});
                return result;
            }
        }
        for (const xcb_window_t child : children(m_root)) {
            if (hasProperty(child, m_wmState)) {
                result.push_back({child, true});
                continue;
            }
            bool framed = false;
            for (const xcb_window_t inner : children(child)) {
                if (hasProperty(inner, m_wmState)) {
                    result.push_back({inner, true});
                    framed = true;
                }
            }
            if (!framed)
                result.push_back({child, false});
        }
        return result;
    }

    // The first top-level window whose title is exactly `title`.
    std::optional<xcb_window_t> findByTitle(const QString& title) {
        const std::vector<TopLevel> windows = topLevels();
        // Every title is asked for before the first answer is read: one round trip for all windows.
        std::vector<std::pair<xcb_get_property_cookie_t, xcb_get_property_cookie_t>> cookies;
        cookies.reserve(windows.size());
        for (const TopLevel& top : windows)
            cookies.emplace_back(askProperty(top.window, m_netWmName, m_utf8String),
                                 askProperty(top.window, XCB_ATOM_WM_NAME, XCB_ATOM_ANY));
        std::optional<xcb_window_t> found;
        for (size_t i = 0; i < windows.size(); ++i) {
            const QByteArray utf8 = answer(cookies[i].first);
            const QByteArray latin1 = answer(cookies[i].second);
            if (found)
                continue; // the rest is read only to free the answers
            const QString name = !utf8.isNull() ? QString::fromUtf8(utf8) : QString::fromLatin1(latin1);
            if ((!utf8.isNull() || !latin1.isNull()) && name == title)
                found = windows[i].window;
        }
        return found;
    }

    // Asks the window to close, as a window manager or a task bar would.
    void close(xcb_window_t window) {
        const xcb_window_t manager = windowManager();
        if (manager != XCB_WINDOW_NONE &&
            words(property(m_root, m_netSupported, XCB_ATOM_ATOM)).contains(m_netCloseWindow)) {
            // The window manager closes it its own way (WM_DELETE_WINDOW or, for a window that does not
            // speak the protocol, ending its client).
            sendToRoot(window, m_netCloseWindow, {XCB_CURRENT_TIME, SourceIndicationPager, 0, 0, 0});
        } else if (words(property(window, m_wmProtocols, XCB_ATOM_ATOM)).contains(m_wmDeleteWindow)) {
            xcb_client_message_event_t event{};
            event.response_type = XCB_CLIENT_MESSAGE;
            event.format = 32;
            event.window = window;
            event.type = m_wmProtocols;
            event.data.data32[0] = m_wmDeleteWindow;
            event.data.data32[1] = XCB_CURRENT_TIME;
            xcb_send_event(m_c, 0, window, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&event));
        } else {
            // A window that does not take close requests is destroyed, as a window manager does with it.
            xcb_destroy_window(m_c, window);
        }
        xcb_flush(m_c);
    }

    // The top-level windows that process `pid` put on the screen (by _NET_WM_PID, which toolkits set).
    std::vector<xcb_window_t> shownWindowsOf(uint32_t pid) {
        std::vector<xcb_window_t> result;
        for (const TopLevel& top : topLevels()) {
            const QList<uint32_t> owner = words(property(top.window, m_netWmPid, XCB_ATOM_CARDINAL));
            if (owner.size() != 1 || owner.front() != pid)
                continue;
            if (!top.managed) {
                Reply<xcb_get_window_attributes_reply_t> attributes(xcb_get_window_attributes_reply(
                    m_c, xcb_get_window_attributes(m_c, top.window), nullptr));
                if (!attributes || attributes->map_state != XCB_MAP_STATE_VIEWABLE)
                    continue;
            }
            result.push_back(top.window);
        }
        return result;
    }

    // Asks the window manager to iconify the window (ICCCM's WM_CHANGE_STATE). Only a window manager
    // acts on it: on a bare X server the request reaches nobody and the window stays as it is.
    void iconify(xcb_window_t window) {
        sendToRoot(window, m_wmChangeState, {IconicState, 0, 0, 0, 0});
        xcb_flush(m_c);
    }

private:
    XWindows(xcb_connection_t* connection, xcb_window_t root) : m_c(connection), m_root(root) {
        const char* names[] = {"_NET_CLIENT_LIST",  "_NET_SUPPORTED", "_NET_SUPPORTING_WM_CHECK",
                               "_NET_CLOSE_WINDOW", "_NET_WM_NAME",   "UTF8_STRING",
                               "_NET_WM_PID",       "WM_STATE",       "WM_PROTOCOLS",
                               "WM_DELETE_WINDOW",  "WM_CHANGE_STATE"};
        xcb_atom_t* atoms[] = {&m_netClientList,  &m_netSupported, &m_netSupportingWmCheck,
                               &m_netCloseWindow, &m_netWmName,    &m_utf8String,
                               &m_netWmPid,       &m_wmState,      &m_wmProtocols,
                               &m_wmDeleteWindow, &m_wmChangeState};
        xcb_intern_atom_cookie_t cookies[std::size(names)];
        for (size_t i = 0; i < std::size(names); ++i)
            cookies[i] = xcb_intern_atom(m_c, 0, static_cast<uint16_t>(std::strlen(names[i])), names[i]);
        for (size_t i = 0; i < std::size(names); ++i) {
            Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(m_c, cookies[i], nullptr));
            *atoms[i] = reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
        }
    }

    // The window of a running EWMH window manager: the root names it in _NET_SUPPORTING_WM_CHECK and it
    // names itself, so that a property left behind by a manager that has gone does not count.
    xcb_window_t windowManager() {
        const QList<uint32_t> check = words(property(m_root, m_netSupportingWmCheck, XCB_ATOM_WINDOW));
        if (check.size() != 1)
            return XCB_WINDOW_NONE;
        const QList<uint32_t> self = words(property(check.front(), m_netSupportingWmCheck, XCB_ATOM_WINDOW));
        return self.size() == 1 && self.front() == check.front() ? check.front()
                                                                 : xcb_window_t{XCB_WINDOW_NONE};
    }

    std::vector<xcb_window_t> children(xcb_window_t window) {
        Reply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(m_c, xcb_query_tree(m_c, window), nullptr));
        if (!tree)
            return {};
        const xcb_window_t* first = xcb_query_tree_children(tree.get());
        return {first, first + xcb_query_tree_children_length(tree.get())};
    }

    xcb_get_property_cookie_t askProperty(xcb_window_t window, xcb_atom_t name, xcb_atom_t type) {
        return xcb_get_property(m_c, 0, window, name, type, 0, LongestProperty);
    }

    // The property's bytes; null when the window has no such property of that type (or is gone).
    QByteArray answer(xcb_get_property_cookie_t cookie) {
        Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(m_c, cookie, nullptr));
        if (!reply || reply->type == XCB_ATOM_NONE)
            return {};
        const int length = xcb_get_property_value_length(reply.get());
        if (length == 0)
            return QByteArray(""); // present but empty
        return QByteArray(static_cast<const char*>(xcb_get_property_value(reply.get())), length);
    }

    QByteArray property(xcb_window_t window, xcb_atom_t name, xcb_atom_t type) {
        return answer(askProperty(window, name, type));
    }

    bool hasProperty(xcb_window_t window, xcb_atom_t name) {
        Reply<xcb_get_property_reply_t> reply(
            xcb_get_property_reply(m_c, xcb_get_property(m_c, 0, window, name, XCB_ATOM_ANY, 0, 0), nullptr));
        return reply && reply->type != XCB_ATOM_NONE;
    }

    // A property of format 32 as its values.
    static QList<uint32_t> words(const QByteArray& bytes) {
        QList<uint32_t> values(bytes.size() / qsizetype(sizeof(uint32_t)));
        if (values.isEmpty())
            return values;
        std::memcpy(values.data(), bytes.constData(), size_t(values.size()) * sizeof(uint32_t));
        return values;
    }

    // A client message about `window` to the root, where the window manager takes it.
    void sendToRoot(xcb_window_t window, xcb_atom_t type, std::array<uint32_t, 5> data) {
        xcb_client_message_event_t event{};
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = 32;
        event.window = window;
        event.type = type;
        std::copy(data.begin(), data.end(), event.data.data32);
        xcb_send_event(m_c, 0, m_root,
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&event));
    }

    xcb_connection_t* m_c;
    xcb_window_t m_root;
    xcb_atom_t m_netClientList = XCB_ATOM_NONE;
    xcb_atom_t m_netSupported = XCB_ATOM_NONE;
    xcb_atom_t m_netSupportingWmCheck = XCB_ATOM_NONE;
    xcb_atom_t m_netCloseWindow = XCB_ATOM_NONE;
    xcb_atom_t m_netWmName = XCB_ATOM_NONE;
    xcb_atom_t m_utf8String = XCB_ATOM_NONE;
    xcb_atom_t m_netWmPid = XCB_ATOM_NONE;
    xcb_atom_t m_wmState = XCB_ATOM_NONE;
    xcb_atom_t m_wmProtocols = XCB_ATOM_NONE;
    xcb_atom_t m_wmDeleteWindow = XCB_ATOM_NONE;
    xcb_atom_t m_wmChangeState = XCB_ATOM_NONE;
};

namespace {

// D-Bus names as the bus checks them, so that a wrong one is reported plainly before any call.
bool IsNameElement(QStringView element, bool hyphen, bool leadingDigit) {
    if (element.isEmpty() || (!leadingDigit && element.front().isDigit()))
        return false;
    for (const QChar c : element) {
        const bool ok = (c >= QLatin1Char('a') && c <= QLatin1Char('z')) ||
                        (c >= QLatin1Char('A') && c <= QLatin1Char('Z')) ||
                        (c >= QLatin1Char('0') && c <= QLatin1Char('9')) || c == QLatin1Char('_') ||
                        (hyphen && c == QLatin1Char('-'));
        if (!ok)
            return false;
    }
    return true;
}

bool IsDottedName(QStringView name, bool hyphen, bool leadingDigit) {
    if (name.size() > 255)
        return false;
    const QList<QStringView> elements = name.split(QLatin1Char('.'));
    if (elements.size() < 2)
        return false;
    for (const QStringView element : elements) {
        if (!IsNameElement(element, hyphen, leadingDigit))
            return false;
    }
    return true;
}

bool IsServiceName(const QString& name) {
    if (name.startsWith(QLatin1Char(':')))
        return IsDottedName(QStringView(name).mid(1), true, true);
    return IsDottedName(name, true, false);
}

bool IsObjectPath(const QString& path) {
    if (path == QLatin1String("/"))
        return true;
    if (!path.startsWith(QLatin1Char('/')))
        return false;
    for (const QStringView element : QStringView(path).mid(1).split(QLatin1Char('/'))) {
        if (!IsNameElement(element, false, true))
            return false;
    }
    return true;
}

QString Quoted(const QString& text) {
    return QLatin1Char('"') + text + QLatin1Char('"');
}

} // namespace

LinuxDesktop::LinuxDesktop(QDBusConnection bus, QByteArray display)
    : m_bus(std::move(bus)), m_display(std::move(display)) {}

LinuxDesktop::~LinuxDesktop() = default;

XWindows* LinuxDesktop::windows() {
    if (m_windows && m_windows->broken())
        m_windows.reset();
    if (!m_windows)
        m_windows = XWindows::open(m_display);
    if (m_windows)
        m_windows->dropEvents();
    return m_windows.get();
}

QString LinuxDesktop::startProgram(const QStringList& argv, bool minimised) {
    if (argv.isEmpty() || argv.front().isEmpty())
        return QStringLiteral("no program given");
    const QString& program = argv.front();
    QString path;
    if (program.contains(QLatin1Char('/'))) {
        const QFileInfo file(program);
        if (!file.exists())
            return QStringLiteral("program not found: ") + program;
        if (!file.isFile() || !file.isExecutable())
            return QStringLiteral("not an executable program: ") + program;
        path = file.absoluteFilePath();
    } else {
        path = QStandardPaths::findExecutable(program);
        if (path.isEmpty())
            return QStringLiteral("program not found on PATH: ") + program;
    }
    qint64 pid = 0;
    // Started directly with its arguments as they are (no shell reads them), and detached: it is not our
    // child and lives on after Morva.
    if (!QProcess::startDetached(path, argv.mid(1), QString(), &pid))
        return QStringLiteral("could not start: ") + path;
    if (minimised && pid > 0)
        watchToMinimise(pid);
    return QString();
}

// Iconifies the first window that the started program shows. The program's window comes some time after
// its start, so the windows are looked at every 100 ms for ten seconds, on the event loop. A program that
// hands its window to another process (a launcher) is not followed; without X11 nothing can be done.
void LinuxDesktop::watchToMinimise(qint64 pid) {
    if (!windows())
        return;
    auto* timer = new QTimer(&m_watches);
    auto* since = new QElapsedTimer;
    since->start();
    QObject::connect(timer, &QTimer::destroyed, [since] { delete since; });
    QObject::connect(timer, &QTimer::timeout, timer, [this, timer, since, pid] {
        XWindows* x = windows();
        const std::vector<xcb_window_t> shown =
            x ? x->shownWindowsOf(static_cast<uint32_t>(pid)) : std::vector<xcb_window_t>();
        for (const xcb_window_t window : shown)
            x->iconify(window);
        if (!x || !shown.empty() || since->hasExpired(MinimiseWatchMs))
            timer->deleteLater();
    });
    timer->start(MinimisePollMs);
}

WindowSearch LinuxDesktop::findWindow(const QString& title) {
    XWindows* x = windows();
    if (!x)
        return WindowSearch::NoWindowList;
    return x->findByTitle(title) ? WindowSearch::Found : WindowSearch::NotFound;
}

WindowSearch LinuxDesktop::closeWindow(const QString& title) {
    XWindows* x = windows();
    if (!x)
        return WindowSearch::NoWindowList;
    const std::optional<xcb_window_t> window = x->findByTitle(title);
    if (!window)
        return WindowSearch::NotFound;
    x->close(*window);
    return WindowSearch::Found;
}

QString LinuxDesktop::callDBus(const QString& service, const QString& path, const QString& interface,
                               const QString& method, const std::optional<QString>& argument) {
    if (!IsServiceName(service))
        return QStringLiteral("invalid D-Bus service name: ") + Quoted(service);
    if (!IsObjectPath(path))
        return QStringLiteral("invalid D-Bus object path: ") + Quoted(path);
    if (!interface.isEmpty() && !IsDottedName(interface, false, false))
        return QStringLiteral("invalid D-Bus interface name: ") + Quoted(interface);
    if (method.size() > 255 || !IsNameElement(method, false, false))
        return QStringLiteral("invalid D-Bus method name: ") + Quoted(method);
    if (!m_bus.isConnected())
        return QStringLiteral("no D-Bus session bus: ") + m_bus.lastError().message();
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, interface, method);
    if (argument)
        call << *argument;
    const QDBusMessage reply = m_bus.call(call, QDBus::Block, 5000);
    if (reply.type() == QDBusMessage::ErrorMessage)
        return reply.errorName() + QStringLiteral(": ") + reply.errorMessage();
    if (reply.type() != QDBusMessage::ReplyMessage)
        return QStringLiteral("no answer from ") + service;
    return QString();
}

std::unique_ptr<Desktop> CreateLinuxDesktop() {
    return std::make_unique<LinuxDesktop>();
}

} // namespace desktop
