#pragma once

// The desktop of a Linux session: programs started without a shell and detached, top-level windows found
// and closed by title on X11 through an xcb connection of our own (so it works whatever Qt platform plugin
// the program runs on), and method calls on a D-Bus connection, the session bus unless told otherwise.

#include "platform/desktop/Desktop.h"

#include <QByteArray>
#include <QDBusConnection>
#include <QObject>

#include <memory>

namespace desktop {

class XWindows;

class LinuxDesktop : public Desktop {
public:
    // `display` names the X display to use; empty: $DISPLAY. The X connection is opened at its first use
    // and kept; one that broke is opened anew at the next use.
    explicit LinuxDesktop(QDBusConnection bus = QDBusConnection::sessionBus(), QByteArray display = {});
    ~LinuxDesktop() override;
    LinuxDesktop(const LinuxDesktop&) = delete;
    LinuxDesktop& operator=(const LinuxDesktop&) = delete;

    QString startProgram(const QStringList& argv, bool minimised) override;
    WindowSearch findWindow(const QString& title) override;
    WindowSearch closeWindow(const QString& title) override;
    QString callDBus(const QString& service, const QString& path, const QString& interface,
                     const QString& method, const std::optional<QString>& argument) override;

    // How long a program started minimised is watched for its first window, and how often.
    static constexpr int MinimiseWatchMs = 10000;
    static constexpr int MinimisePollMs = 100;

private:
    // The X connection, opened when needed; null without an X server.
    XWindows* windows();
    void watchToMinimise(qint64 pid);

    QDBusConnection m_bus;
    QByteArray m_display;
    std::unique_ptr<XWindows> m_windows;
    QObject m_watches; // parent of the timers that watch for windows to iconify
};

} // namespace desktop
