#include "shell/ui/MainTray.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QEvent>
#include <QIcon>
#include <QMenu>
#include <QStyle>
#include <QWidget>
#include <QWindowStateChangeEvent>

namespace {

// The service of the status-notifier watcher, the part of a desktop's panel that takes tray icons over
// D-Bus (KDE Plasma, LXQt, Xfce and GNOME's AppIndicator extension run one).
const QString StatusNotifierWatcher = QStringLiteral("org.kde.StatusNotifierWatcher");

// How often a missing tray, or the tray of a hidden window, is asked again. Each question may open a
// connection to the session bus, so not too often; a hidden window waits at most this long for its way
// back when an XEmbed tray goes.
constexpr int PollInterval = 5000;

} // namespace

MainTray::MainTray(QWidget& window, QMenu* menu, QObject* parent)
    : QObject(parent), m_window(window), m_menu(menu) {
    m_window.installEventFilter(this);
    if (m_menu)
        connect(m_menu, &QMenu::aboutToShow, this, &MainTray::menuOpening);

    // The tray can come and go while the program runs: the panel restarts, or the user changes the
    // desktop. A status-notifier watcher shows itself on the session bus, and is looked at as soon as
    // the event loop runs again (so that no icon is deleted inside a signal of the bus). An XEmbed tray
    // gives no sign that Qt passes on, and a panel may stop showing items while its watcher stays on the
    // bus; so while the window is in the tray, or the icon is wanted but missing on X11, the tray is
    // asked again every few seconds.
    auto* watcher = new QDBusServiceWatcher(StatusNotifierWatcher, QDBusConnection::sessionBus(),
                                            QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(watcher, &QDBusServiceWatcher::serviceOwnerChanged, this, [this] {
        QMetaObject::invokeMethod(
            this, [this] { checkTray(true); }, Qt::QueuedConnection);
    });
    m_poll.setInterval(PollInterval);
    connect(&m_poll, &QTimer::timeout, this, [this] { checkTray(false); });
}

// A filter that is deleted leaves the window's filters by itself; the window may already be gone.
MainTray::~MainTray() = default;

void MainTray::setMonitorInTray(bool on) {
    m_monitorInTray = on;
    if (!on)
        giveWindowBack();
}

bool MainTray::TrayAdd(const QString& tip) {
    m_tip = tip;
    m_wanted = true;
    if (m_icon)
        m_icon->setToolTip(tip);
    else if (QSystemTrayIcon::isSystemTrayAvailable())
        createIcon();
    updatePoll();
    return isShown();
}

void MainTray::TrayDelete() {
    m_wanted = false;
    m_icon.reset();
    giveWindowBack();
    updatePoll();
}

bool MainTray::isShown() const {
    return m_icon && m_icon->isVisible();
}

void MainTray::showWindow() {
    m_windowInTray = false;
    updatePoll();
    m_window.showNormal();
    m_window.raise();
    m_window.activateWindow();
}

bool MainTray::eventFilter(QObject* watched, QEvent* event) {
    if (watched != &m_window)
        return false;
    switch (event->type()) {
    case QEvent::WindowStateChange: {
        // Only the step into the minimised state puts the window into the tray: a window that is shown
        // minimised again (for the menu, or when the tray went away) stays in the task bar. The hide
        // waits for the event loop: this event comes in the middle of the minimising, and some window
        // managers handle a window that is unmapped at that moment badly.
        const auto* change = static_cast<QWindowStateChangeEvent*>(event);
        const bool minimisedNow = m_window.windowState() & Qt::WindowMinimized;
        const bool minimisedBefore = change->oldState() & Qt::WindowMinimized;
        if (minimisedNow && !minimisedBefore && !m_showingMinimised && m_monitorInTray && isShown() &&
            !m_hidePending) {
            m_hidePending = true;
            QMetaObject::invokeMethod(this, &MainTray::hideIfStillMinimised, Qt::QueuedConnection);
        }
        break;
    }
    case QEvent::Show:
        // Shown by anyone (the icon, the single-instance raise, the action rules): out of the tray.
        m_windowInTray = false;
        updatePoll();
        break;
    case QEvent::WindowIconChange:
        if (m_icon)
            m_icon->setIcon(trayIcon());
        break;
    default:
        break;
    }
    return false;
}

void MainTray::trayActivated(QSystemTrayIcon::ActivationReason reason) {
    switch (reason) {
    case QSystemTrayIcon::Trigger:
    case QSystemTrayIcon::DoubleClick:
        showWindow();
        break;
    case QSystemTrayIcon::Context:
        menuOpening();
        break;
    default:
        break;
    }
}

void MainTray::menuOpening() {
    // The menu's commands open windows of their own and expect the main window to be there: a window in
    // the tray comes back to the task bar, minimised, before the menu shows.
    if (!m_window.isVisible())
        showMinimisedInTaskBar();
}

void MainTray::hideIfStillMinimised() {
    m_hidePending = false;
    // Everything is asked again: the user may have restored the window, turned the setting off, or the
    // tray may have gone in the meantime.
    if (!m_window.isMinimized() || !m_window.isVisible() || !m_monitorInTray || !isShown() ||
        !QSystemTrayIcon::isSystemTrayAvailable())
        return;
    m_windowInTray = true;
    updatePoll();
    m_window.hide();
}

void MainTray::checkTray(bool renew) {
    const bool available = QSystemTrayIcon::isSystemTrayAvailable();
    // `renew`: a new icon after a change of the status-notifier watcher. Qt chooses between a
    // status-notifier item and an XEmbed icon when an icon is made; an icon made before the change may be
    // one for a tray that is gone while the desktop offers the other kind now. (A watcher that restarts
    // would take the old item again, Qt registers it anew; a new icon costs nothing there either.)
    if (m_icon && (renew || !available))
        m_icon.reset();
    if (!m_icon && m_wanted && available)
        createIcon();
    // A window in the tray is never left without an icon to bring it back. It returns minimised rather
    // than to the front: the user put it away, and only the tray under it went.
    if (!isShown())
        giveWindowBack();
    updatePoll();
}

void MainTray::updatePoll() {
    // A missing tray that appears is seen on the bus, but an XEmbed tray only by asking, and only the xcb
    // platform has one.
    const bool xcb = QGuiApplication::platformName() == QLatin1String("xcb");
    const bool needed = m_windowInTray || (m_wanted && !m_icon && xcb);
    if (needed && !m_poll.isActive())
        m_poll.start();
    else if (!needed)
        m_poll.stop();
}

void MainTray::createIcon() {
    m_icon = std::make_unique<QSystemTrayIcon>();
    m_icon->setIcon(trayIcon());
    m_icon->setToolTip(m_tip);
    if (m_menu)
        m_icon->setContextMenu(m_menu);
    connect(m_icon.get(), &QSystemTrayIcon::activated, this, &MainTray::trayActivated);
    m_icon->show();
}

QIcon MainTray::trayIcon() const {
    // QWidget::windowIcon() falls back to the application's icon; a program without either still gets an
    // icon that can be clicked.
    QIcon icon = m_window.windowIcon();
    if (icon.isNull())
        icon = QApplication::windowIcon();
    if (icon.isNull())
        icon = m_window.style()->standardIcon(QStyle::SP_ComputerIcon);
    return icon;
}

void MainTray::giveWindowBack() {
    if (m_windowInTray)
        showMinimisedInTaskBar();
}

void MainTray::showMinimisedInTaskBar() {
    m_windowInTray = false;
    updatePoll();
    m_showingMinimised = true;
    m_window.showMinimized();
    m_showingMinimised = false;
}
