#include "shell/ui/ProgramWindows.h"

#include "shell/Program.h"

#include <QApplication>
#include <QGuiApplication>
#include <QScreen>

ProgramWindows::ProgramWindows(Program& program)
    : m_program(program), m_main(program.language()), m_instance(&m_main),
      m_lifecycle(program, *this, [this] { return m_instance.claim(); }) {
    // What the user wants of the call.
    CallCommands& commands = m_program.commands();
    QObject::connect(&m_main, &Main::dialRequested, &m_main,
                     [&commands](const QString& number) { commands.Eurit_Dial(number); });
    QObject::connect(&m_main, &Main::answerRequested, &m_main, [&commands] { commands.Eurit_Answer(); });
    QObject::connect(&m_main, &Main::takeOverRequested, &m_main, [&commands] { commands.Eurit_TakeOver(); });
    QObject::connect(&m_main, &Main::hangupRequested, &m_main, [&commands] { commands.Eurit_Hangup(); });
    Eurit30& call = m_program.call();
    QObject::connect(&m_main, &Main::numberEdited, &call, &Eurit30::setTxtNumber);

    // The timers drive the line events and the call clock.
    QObject::connect(&m_main, &Main::eventTimerTicked, &m_main, [this] { m_program.eventTick(); });
    QObject::connect(&m_main, &Main::clockTimerTicked, &m_main, [this] {
        m_program.clockTick();
        showLineState();
    });

    // What the window shows.
    QObject::connect(&call, &Eurit30::panelChanged, &m_main, [this] { showPanel(); });
    QObject::connect(&call, &Eurit30::statusBarChanged, &m_main, [this] { showLineState(); });

    // The program's reactions, failures, questions and progress reach the user through the window.
    m_program.actions().setWindow(&m_main);
    // A command that failed while the line is away says why.
    commands.setShowMessage([this](const QString& text) {
        const Program::LineStatus line = m_program.lineStatus();
        m_main.showMessage(line.ready ? text : text + QStringLiteral("\n\n") + line.text);
    });
    UserDialogs& dialogs = m_program.dialogs();
    dialogs.setAsker([this](const QString& text, UserDialogs::Buttons buttons, UserDialogs::Icon icon) {
        return m_main.askUser(text, buttons, icon);
    });
    dialogs.setEventPump([] { QCoreApplication::processEvents(); });
    dialogs.setLoadStatus([this](int percent) { m_main.setLoadProgress(percent); });

    // SIGTERM, SIGINT and the window's close all ask the stop: two passes, the second stops everything.
    m_main.setCloseQuery([this] { return m_lifecycle.Form_QueryUnload(); });
}

ProgramWindows::~ProgramWindows() {
    m_main.setCloseQuery(nullptr);
    m_program.actions().setWindow(nullptr);
    m_program.commands().setShowMessage(nullptr);
    UserDialogs& dialogs = m_program.dialogs();
    dialogs.setAsker(nullptr);
    dialogs.setEventPump(nullptr);
    dialogs.setLoadStatus(nullptr);
    QObject::disconnect(&m_program.call(), nullptr, &m_main, nullptr);
}

MainLifecycle::StartResult ProgramWindows::Form_Load() {
    // The call clock runs from the start on; a tick before the call record is shown changes nothing.
    m_main.setClockTimer(true);
    return m_lifecycle.Form_Load();
}

void ProgramWindows::showPanel() {
    m_main.Me_ShowPanel(m_program.call().panel());
}

void ProgramWindows::showLineState() {
    const Program::LineStatus status = m_program.lineStatus();
    m_main.Me_ShowStatusBar(status.text, status.ready);
}

void ProgramWindows::showSplash(const QString& versionText) {
    m_main.showSplash(versionText);
}

void ProgramWindows::closeSplash() {
    m_main.closeSplash();
}

QRect ProgramWindows::screenArea() const {
    const QScreen* screen = QGuiApplication::primaryScreen();
    return screen ? screen->availableGeometry() : QRect(0, 0, 1024, 768);
}

int ProgramWindows::twipsPerPixel() const {
    return m_main.twipsPerPixel();
}

QRect ProgramWindows::frame() const {
    return m_main.geometry();
}

void ProgramWindows::setFrame(const QRect& frame) {
    m_main.setGeometry(frame);
}

bool ProgramWindows::normalState() const {
    return m_main.normalState();
}

void ProgramWindows::setEventTimer(bool on) {
    m_main.setEventTimer(on);
}

void ProgramWindows::applyLanguage() {
    m_main.Me_Set_Language();
    showLineState();
}

void ProgramWindows::showMain() {
    m_main.show();
}

void ProgramWindows::postClose() {
    QMetaObject::invokeMethod(&m_main, &QWidget::close, Qt::QueuedConnection);
}

void ProgramWindows::setWaitCursor(bool on) {
    if (on)
        QApplication::setOverrideCursor(Qt::WaitCursor);
    else
        QApplication::restoreOverrideCursor();
}

void ProgramWindows::showMessage(const QString& text) {
    m_main.showMessage(text);
}
