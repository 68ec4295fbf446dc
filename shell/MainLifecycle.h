#pragma once

// The start and the stop of the program, step by step in their fixed order, each step's line written
// to debug.txt before it runs so that a start that dies can be placed. The main window runs them and
// lends what only a window has (MainHost); a test runs them with a fake window.

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
    // The screen's free area and the window's frame, in pixels; twips per pixel of the screen.
    virtual QRect screenArea() const = 0;
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
};

class MainLifecycle {
public:
    enum class StartResult { Started, SecondInstance, LineFailed };

    // `claimInstance` runs the single-instance test: true when this is the only instance (or the test
    // could not run), false when another one runs and was brought to the front.
    MainLifecycle(Program& program, MainHost& host, std::function<bool()> claimInstance);

    // Form_Load: the 26 steps of the start.
    StartResult Form_Load();
    // Form_QueryUnload: true when the window may close now. The first pass posts a close and refuses;
    // the second stops everything.
    bool Form_QueryUnload();

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
    void placeWindow();
    void saveWindowPosition();

    Program& m_program;
    MainHost& m_host;
    std::function<bool()> m_claimInstance;
    bool m_bLoading = false;
    bool m_bLastRunFailed = false;
    int m_iExitPass = 0;
    bool m_stopped = false;
    int m_widthEx = DefaultWidthEx;
    bool m_bShowQuick = false;
    bool m_bShowMSNSelect = false;
    bool m_bShowProviderSelect = false;
};
