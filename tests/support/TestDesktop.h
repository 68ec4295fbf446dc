#pragma once

// What the tests on a desktop of their own share: programs of the test's desktop (an X server, the
// programs that play other applications) ended with the test, xdotool, and waiting for Qt's events.

#include <QString>

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

// A program started by the test and ended (SIGTERM) when this goes. Its first line of output says that
// it is ready and where to reach it.
class Spawned {
public:
    explicit Spawned(std::vector<std::string> argv);
    ~Spawned();
    Spawned(const Spawned&) = delete;
    Spawned& operator=(const Spawned&) = delete;

    // Empty when the program did not start or said nothing within ten seconds.
    QString firstLine() const { return m_firstLine; }
    // Whether the program has ended (it is reaped then).
    bool exited();

private:
    pid_t m_pid = -1;
    QString m_firstLine;
};

// An X server of the test's own (Xvfb, no window manager), started at the first call and ended with the
// process; sets DISPLAY for the process and the programs it starts. Empty when Xvfb is missing.
QString TestDisplay();

// Runs the event loop until `done` holds or `timeoutMs` passed; gives what `done` says at the end.
bool WaitUntil(const std::function<bool()>& done, int timeoutMs);
// Runs the event loop for `ms`.
void RunEvents(int ms);

// Runs xdotool with `arguments` on the test's display; false when it is missing or fails.
bool Xdotool(const QStringList& arguments);
bool HaveXdotool();
