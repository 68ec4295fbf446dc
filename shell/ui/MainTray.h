#pragma once

// The tray icon of the main window. Through Qt's QSystemTrayIcon it is a StatusNotifierItem on desktops
// that run a status-notifier watcher on the session bus, else an icon in an XEmbed tray. A left click
// brings the window to the front, a right click opens the menu it was given. With "Monitor im Tray" on
// and an icon actually shown, a minimised window leaves the task bar and lives in the tray until the
// icon brings it back.
//
// The window needs no changes: the tray watches it through an event filter. The owner decides when the
// icon is wanted (TrayAdd, TrayDelete) and tells the setting (setMonitorInTray).
//
// The window is never hidden without an icon to bring it back: without a tray, or with the setting off,
// minimising is the plain minimising of any window; and a tray that goes away while the window is hidden
// gives the window back to the task bar.

#include <QObject>
#include <QPointer>
#include <QString>
#include <QSystemTrayIcon>
#include <QTimer>

#include <memory>

class QMenu;
class QWidget;

class MainTray : public QObject {
    Q_OBJECT
public:
    // `window`: the window the icon stands for, and whose icon it shows (the application's icon if the
    // window has none). `menu`: the menu of a right click on the icon, or null for none.
    MainTray(QWidget& window, QMenu* menu, QObject* parent = nullptr);
    ~MainTray() override;

    // "Monitor im Tray": whether minimising the window puts it into the tray. Turned off while the window
    // is in the tray, the window comes back to the task bar, minimised.
    void setMonitorInTray(bool on);
    bool monitorInTray() const { return m_monitorInTray; }

    // Puts the icon into the tray with `tip` as its tool tip. False when the desktop has no tray now; the
    // icon is still wanted and appears when a tray does.
    bool TrayAdd(const QString& tip);
    // Takes the icon out of the tray; a window that was in the tray comes back to the task bar, minimised.
    void TrayDelete();
    // Whether an icon is in the tray now.
    bool isShown() const;
    // Whether the window was hidden into the tray and not shown since.
    bool isWindowInTray() const { return m_windowInTray; }

    // What a left click on the icon does: the window in its normal size, visible, raised and focused.
    void showWindow();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void trayActivated(QSystemTrayIcon::ActivationReason reason);
    void menuOpening();
    void hideIfStillMinimised();
    void checkTray(bool renew);
    void updatePoll();
    void createIcon();
    QIcon trayIcon() const;
    void giveWindowBack();
    void showMinimisedInTaskBar();

    QWidget& m_window;
    QPointer<QMenu> m_menu;
    std::unique_ptr<QSystemTrayIcon> m_icon;
    QString m_tip;
    bool m_wanted = false;
    bool m_monitorInTray = true;
    bool m_windowInTray = false;
    bool m_hidePending = false;
    bool m_showingMinimised = false;
    QTimer m_poll;
};
