#pragma once

// What the action rules ask of the desktop: start a program, find and close a top-level window by its
// exact title, and call another program over D-Bus. `LinuxDesktop` does it on X11 (through its own xcb
// connection) and the session bus; tests of the rules give a fake.

#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

namespace desktop {

enum class WindowSearch {
    Found,        // a top-level window has exactly this title (closeWindow: and was asked to close)
    NotFound,     // none has
    NoWindowList, // the desktop offers no list of windows (Wayland without X11)
};

class Desktop {
public:
    virtual ~Desktop() = default;

    // Starts argv[0] with the rest of argv as its arguments: directly, never through a shell, and detached
    // from Morva, so that it outlives it. `minimised`: its first window is iconified as far as the desktop
    // allows. Empty when it started; otherwise the reason, for the log.
    virtual QString startProgram(const QStringList& argv, bool minimised) = 0;

    // Whether a top-level window with exactly this title exists.
    virtual WindowSearch findWindow(const QString& title) = 0;
    // Sends the desktop's close request to the top-level window with exactly this title (the first found).
    virtual WindowSearch closeWindow(const QString& title) = 0;

    // Calls `method` of `interface` on object `path` of `service` on the session bus and waits for the
    // answer, with `argument` as its one string argument when given. Empty on success; otherwise the
    // D-Bus error's name and message.
    virtual QString callDBus(const QString& service, const QString& path, const QString& interface,
                             const QString& method, const std::optional<QString>& argument) = 0;
};

// The desktop of this session: X11 where $DISPLAY reaches a server, else without a window list.
std::unique_ptr<Desktop> CreateLinuxDesktop();

} // namespace desktop
