#pragma once

// The windows of a program and their wiring: the owner of the main window. The window takes plain values
// and emits what the user wants; here its wishes go to the call commands, the call record's panel and the
// line state go to the window, the program's questions and messages become message boxes over it, and the
// window lends itself to the start and the stop (MainHost). Every window of the program is created and
// wired here, so that none of them needs the program.

#include "shell/MainLifecycle.h"
#include "shell/ui/Main.h"
#include "shell/ui/SingleInstance.h"

class Program;

class ProgramWindows : public MainHost {
public:
    explicit ProgramWindows(Program& program);
    ~ProgramWindows() override;
    ProgramWindows(const ProgramWindows&) = delete;
    ProgramWindows& operator=(const ProgramWindows&) = delete;

    // The start, step by step: settings, line, window place, first state; shows the main window.
    MainLifecycle::StartResult Form_Load();

    Main& main() { return m_main; }
    MainLifecycle& lifecycle() { return m_lifecycle; }

    // MainHost
    void showSplash(const QString& versionText) override;
    void closeSplash() override;
    QRect screenArea() const override;
    int twipsPerPixel() const override;
    QRect frame() const override;
    void setFrame(const QRect& frame) override;
    bool normalState() const override;
    void setEventTimer(bool on) override;
    void applyLanguage() override;
    void showMain() override;
    void postClose() override;
    void setWaitCursor(bool on) override;
    void showMessage(const QString& text) override;

private:
    void showPanel();
    void showLineState();

    Program& m_program;
    Main m_main;
    SingleInstance m_instance;
    MainLifecycle m_lifecycle;
};
