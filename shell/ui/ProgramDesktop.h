#pragma once

// The desktop's part in a running program: the desktop the action rules act on (programs, windows, D-Bus)
// and the global hotkeys, whose presses reach the call commands and the main window's number box. It is
// created with the windows, so that a program built without them (tests, benchmarks) never touches the
// desktop.

#include "automation/modHotKey.h"

#include <memory>

class Main;
class Program;
namespace desktop {
class Desktop;
}
namespace hotkeys {
class GlobalHotkeys;
}

class ProgramDesktop : public HotkeyCalls {
public:
    ProgramDesktop(Program& program, Main& main);
    ~ProgramDesktop() override;
    ProgramDesktop(const ProgramDesktop&) = delete;
    ProgramDesktop& operator=(const ProgramDesktop&) = delete;

    // HotkeyCalls
    int16_t callState() const override;
    bool lineOpen() const override;
    void showNumber(const QString& number) override;
    void dial(const QString& number) override;
    void answer() override;
    void takeOver() override;
    void hangUp() override;

private:
    Program& m_program;
    Main& m_main;
    std::unique_ptr<desktop::Desktop> m_desktop;
    std::unique_ptr<hotkeys::GlobalHotkeys> m_keys;
};
