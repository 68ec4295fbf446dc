#pragma once

// The start and the stop of the program, step by step in their fixed order, each step's line written
// to debug.txt before it runs so that a start that dies can be placed. The main window runs them and
// lends what only a window has (MainHost); a test runs them with a fake window.

#include <QList>
#include <QRect>
#include <QString>

#include <cstdint>
#include <functional>

class Program;

// What the start and the stop ask of the main window.
class MainHost {
public:
    virtual ~MainHost() = default;
    virtual void showSplash(const QString& versionText) = 0; // Start_form, modeless
    virtual void closeSplash() = 0;
    // The free areas of the screens present, the primary screen's first, and the window's frame, in
    // pixels; twips per pixel of the screen.
    virtual QList<QRect> screenAreas() const = 0;
    virtual int twipsPerPixel() const = 0;
    virtual QRect frame() const = 0;
    virtual void setFrame(const QRect& frame) = 0;
    // Neither minimised nor maximised.
    virtual bool normalState() const = 0;
    virtual void setEventTimer(bool on) = 0; // timerEifcCallback
    virtual void applyLanguage() = 0;        // Me_Set_Language, Me_Set_Status
    virtual void showMain() = 0;
    // The first close pass posts a close to the window itself.
    virtual void postClose() = 0;
    virtual void setWaitCursor(bool on) = 0;
    virtual void showMessage(const QString& text) = 0;
    // The line did not start. Asks the user whether to try again (true) or to end (false).
    virtual bool askLineRetry() = 0;
    // The line did not start, and the start waits for it: shows that it waits, for `seconds`. True to
    // try again, false when the user gave up waiting.
    virtual bool waitForLine(int seconds) = 0;
    // The line started, or the start gave up: the notice of the wait goes.
    virtual void lineWaitOver() = 0;
    // The tray icon, when the settings want it ("Monitor im Tray").
    virtual void TrayAdd() {}
    // The lists: the selected tab filled, the columns and their widths, the view applied.
    virtual void showLists() {}
    // The column widths of the calls list and of the selected tab into the settings.
    virtual void saveColumnWidths() {}
};

// Where the main window goes: its place from the settings, `wanted`, when it lies on one of the screens
// present (`screens`, their free areas, the primary screen's first): its top edge and at least
// `WindowGrip` pixels of its width on that screen, so that it can be grabbed. A window on no present
// screen (one gone since) is moved onto the primary screen, as far as it takes to lie wholly on it.
constexpr int WindowGrip = 32;
QRect PlaceOnScreens(const QRect& wanted, const QList<QRect>& screens);

class MainLifecycle {
public:
    enum class StartResult { Started, SecondInstance, LineFailed, SoundFailed };

    // `claimInstance` runs the single-instance test: true when this is the only instance (or the test
    // could not run), false when another one runs and was brought to the front.
    MainLifecycle(Program& program, MainHost& host, std::function<bool()> claimInstance);

    // Form_Load: the 26 steps of the start.
    StartResult Form_Load();
    // Form_QueryUnload: true when the window may close now. The first pass posts a close and refuses;
    // the second stops everything.
    bool Form_QueryUnload();
    // SIGTERM or SIGINT. Before the start has finished the request is kept, and the window is asked to
    // close (the stop's two passes) as soon as it has; a start that waits for the line gives up. After the
    // start the window is asked at once.
    void requestStop();
    bool stopRequested() const { return m_stopRequested; }

    // When the line does not start: false (the default) asks the user whether to try again; true waits
    // for the line, trying again every LineRetrySeconds, until it starts or the user gives up.
    void setWaitForLine(bool wait) { m_waitForLine = wait; }
    static constexpr int LineRetrySeconds = 5;

    QString VersionText() const;
    bool bLoading() const { return m_bLoading; }
    bool bLastRunFailed() const { return m_bLastRunFailed; }
    int iExitPass() const { return m_iExitPass; }
    bool stopped() const { return m_stopped; }

    // The window's place when the file has none: centred on the screen, in twips.
    static constexpr int DefaultWidthEx = 8240;
    static constexpr int DefaultHeight = 4500;

private:
    void step(const char* line);
    int iniInt(const char* section, const char* key, int defaultValue) const;
    void writeIni(const char* section, const char* key, const QString& value);
    // Runs `attempt` (a step of the line's start) until it succeeds, trying again as the user wants or,
    // waiting for the line, every few seconds. False when the start gives up.
    bool lineStarts(const std::function<bool()>& attempt);
    void placeWindow();
    void saveWindowPosition();

    Program& m_program;
    MainHost& m_host;
    std::function<bool()> m_claimInstance;
    bool m_bLoading = false;
    bool m_bLastRunFailed = false;
    int m_iExitPass = 0;
    bool m_stopped = false;
    bool m_started = false;
    bool m_stopRequested = false;
    bool m_waitForLine = false;
    int m_widthEx = DefaultWidthEx;
};
