#include "shell/ui/ProgramDesktop.h"

#include "platform/desktop/Desktop.h"
#include "platform/hotkeys/GlobalHotkeys.h"
#include "shell/Program.h"
#include "shell/ui/Main.h"

ProgramDesktop::ProgramDesktop(Program& program, Main& main)
    : m_program(program), m_main(main), m_desktop(desktop::CreateLinuxDesktop()),
      m_keys(hotkeys::CreateGlobalHotkeys()) {
    m_program.actions().setDesktop(m_desktop.get());
    m_program.hotkeys().setKeys(m_keys.get());
    m_program.hotkeys().setCalls(this);
    m_program.logs().Log_Write(QStringLiteral("Hotkeys: ") + m_keys->kind());
}

ProgramDesktop::~ProgramDesktop() {
    m_program.hotkeys().setCalls(nullptr);
    m_program.hotkeys().setKeys(nullptr);
    m_program.actions().setDesktop(nullptr);
}

int16_t ProgramDesktop::callState() const {
    return m_program.call().CallState;
}

bool ProgramDesktop::lineOpen() const {
    return m_program.cti().channel() != nullptr;
}

void ProgramDesktop::showNumber(const QString& number) {
    m_main.setTxtNumber(number);
    m_program.call().setTxtNumber(number);
}

void ProgramDesktop::dial(const QString& number) {
    m_program.commands().Eurit_Dial(number);
}

void ProgramDesktop::answer() {
    m_program.commands().Eurit_Answer();
}

void ProgramDesktop::takeOver() {
    m_program.commands().Eurit_TakeOver();
}

void ProgramDesktop::hangUp() {
    m_program.commands().Eurit_Hangup();
}
