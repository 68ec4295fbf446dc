#include "shell/ui/ProgramWindows.h"

#include "config/ABCapiEntry.h"
#include "config/clsConfig.h"
#include "config/colConfig.h"
#include "shell/Program.h"
#include "shell/WindowPlace.h"
#include "shell/ui/LineWaitWindow.h"
#include "shell/ui/ctlDateiAuswahl.h"
#include "shell/ui/frmABCapi.h"
#include "shell/ui/frmActionSetup.h"
#include "shell/ui/frmEintragABCapi.h"
#include "shell/ui/frmEintragAction.h"
#include "shell/ui/frmOptHotkey.h"
#include "shell/ui/frmPlayRecord.h"
#include "shell/ui/frmProviders.h"
#include "shell/ui/frmVolumeControl.h"

#include <QApplication>
#include <QEventLoop>
#include <QGuiApplication>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QTimer>

ProgramWindows::ProgramWindows(Program& program)
    : m_program(program), m_soundControls(program.sound()), m_main(program.language()),
      m_tray(m_main, m_main.M_Eurit()), m_instance(&m_main),
      m_lifecycle(program, *this, [this] { return m_instance.claim(); }), m_desktop(program, m_main) {
    // What the user wants of the call.
    CallCommands& commands = m_program.commands();
    QObject::connect(&m_main, &Main::dialRequested, &m_main,
                     [&commands](const QString& number) { commands.Eurit_Dial(number); });
    QObject::connect(&m_main, &Main::answerRequested, &m_main, [&commands] { commands.Eurit_Answer(); });
    QObject::connect(&m_main, &Main::takeOverRequested, &m_main, [&commands] { commands.Eurit_TakeOver(); });
    QObject::connect(&m_main, &Main::hangupRequested, &m_main, [&commands] { commands.Eurit_Hangup(); });
    Eurit30& call = m_program.call();
    QObject::connect(&m_main, &Main::numberEdited, &call, &Eurit30::setTxtNumber);

    // The lists, the view, the own number and the carrier.
    MainLists& lists = m_program.lists();
    m_main.setLists(&lists.lvListView(), &lists.lvListAnrufe(),
                    [&lists](int row) { return lists.RowNumber(lists.selected(), row); });
    QObject::connect(&m_main, &Main::tabSelected, &m_main, [this](MainTab tab) { selectTab(tab); });
    QObject::connect(&m_main, &Main::listCommand, &m_main,
                     [this](ListCommand command, int row) { listCommand(command, row); });
    QObject::connect(&m_main, &Main::refreshRequested, &m_main,
                     [this] { selectTab(m_program.lists().selected()); });
    MainView& view = m_program.view();
    QObject::connect(&m_main, &Main::extendedViewToggled, &m_main,
                     [this, &view] { m_main.applyView(view.mnuViewExtended_Click()); });
    QObject::connect(&m_main, &Main::msnBarToggled, &m_main,
                     [this, &view] { m_main.applyView(view.mnuViewMSNSelect_Click()); });
    QObject::connect(&m_main, &Main::carrierLineToggled, &m_main,
                     [this, &view] { m_main.applyView(view.mnuViewProvider_Click()); });
    QObject::connect(&m_main, &Main::dialMSNChosen, &m_main, [this, &view](int index) {
        if (view.mnuEuritUseMSNA_Click(index))
            m_main.applyView(view.state());
    });
    modVorwahlen& carriers = m_program.Phonebooks().Vorwahlen;
    carriers.cmdProviderChanged = [this, &carriers] {
        m_main.showCarrier(carriers.cmdProvider.Caption, carriers.cmdProvider.Tag);
    };
    QObject::connect(&m_main, &Main::carrierListRequested, &m_main, [this] { openCarrierList(); });
    QObject::connect(&m_main, &Main::selectCarrierRequested, &m_main, [this, &view] {
        m_main.applyView(view.ShowCarrierLine());
        openCarrierList();
    });
    QObject::connect(&m_main, &Main::listenInToggled, &m_main, [this] {
        m_program.toggleABMithören();
        showStatus();
    });
    QObject::connect(&m_main, &Main::volumeRequested, &m_main, [this] { openVolumeControl(); });
    QObject::connect(&m_main, &Main::configurationRequested, &m_main, [this] { openABCapi(); });
    QObject::connect(&m_main, &Main::actionSetupRequested, &m_main, [this] { openActionSetup(); });
    QObject::connect(&m_main, &Main::hotkeyRulesRequested, &m_main, [this] { openHotkeyRules(); });
    m_main.setPlayAvailable(true);
    // The sound library reports on its own thread: the change is queued to the main thread, where the
    // application object lives, and shown only while the windows do.
    m_program.sound().setAvailabilityWatcher([this, alive = std::weak_ptr<int>(m_alive)](bool available) {
        QCoreApplication* application = QCoreApplication::instance();
        if (!application)
            return;
        QMetaObject::invokeMethod(
            application,
            [this, alive, available] {
                if (alive.lock())
                    m_main.setSoundAvailable(available);
            },
            Qt::QueuedConnection);
    });
    // Dial_current_Number
    QObject::connect(&m_main, &Main::dialShownNumberRequested, &m_main,
                     [this] { numberAndDial(m_program.call().ShownNumber); });
    QObject::connect(&m_main, &Main::editShownEntryRequested, &m_main,
                     [this] { m_program.Phonebooks().ShowEditWindowFree(m_program.call().ShownNumber); });

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
    m_program.sound().setAvailabilityWatcher(nullptr);
    m_alive.reset();
    delete m_lineWait;
    m_program.Phonebooks().Vorwahlen.cmdProviderChanged = nullptr;
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

QList<QRect> ProgramWindows::screenAreas() const {
    QList<QRect> areas;
    const QScreen* primary = QGuiApplication::primaryScreen();
    if (primary)
        areas << primary->availableGeometry();
    for (const QScreen* screen : QGuiApplication::screens())
        if (screen != primary)
            areas << screen->availableGeometry();
    return areas;
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
    if (m_abCapi)
        m_abCapi->Me_Set_Language();
    if (m_actionSetup)
        m_actionSetup->Me_Set_Language();
    showLineState();
    showStatus();
    showSoundState();
}

void ProgramWindows::showSoundState() {
    m_main.setSoundAvailable(m_program.sound().soundAvailable());
}

void ProgramWindows::showStatus() {
    m_main.Me_Set_Status(m_lifecycle.VersionText(), m_program.ABMithören());
}

std::vector<int> ProgramWindows::twips(const std::vector<int>& pixels) const {
    std::vector<int> result;
    for (int width : pixels)
        result.push_back(width * m_main.twipsPerPixel());
    return result;
}

std::vector<int> ProgramWindows::pixels(const std::vector<int>& twips) const {
    std::vector<int> result;
    for (int width : twips)
        result.push_back(width / m_main.twipsPerPixel());
    return result;
}

void ProgramWindows::TrayAdd() {
    m_tray.setMonitorInTray(m_program.settings().MonitorInTray != 0);
    m_tray.TrayAdd(QStringLiteral("Morva"));
}

void ProgramWindows::showLists() {
    MainLists& lists = m_program.lists();
    // The calls list keeps its own widths; the tab shown first is the first tab.
    m_main.showTab(MainTab::Log, pixels(lists.ColumnWidths(MainTab::Log)));
    lists.tbsTabStrip_Click(MainTab::Quick);
    m_main.showTab(MainTab::Quick, pixels(lists.ColumnWidths(MainTab::Quick)));
    const CarrierButton& carrier = m_program.Phonebooks().Vorwahlen.cmdProvider;
    m_main.showCarrier(carrier.Caption, carrier.Tag);
    m_main.applyView(m_program.view().Me_ApplyView());
}

void ProgramWindows::saveColumnWidths() {
    MainLists& lists = m_program.lists();
    lists.SaveColumnWidths(MainTab::Log, twips(m_main.columnWidths(MainTab::Log)));
    if (lists.selected() != MainTab::Log)
        lists.SaveColumnWidths(lists.selected(), twips(m_main.columnWidths(lists.selected())));
}

void ProgramWindows::selectTab(MainTab tab) {
    MainLists& lists = m_program.lists();
    setWaitCursor(true);
    const MainTab old = lists.selected();
    lists.SaveColumnWidths(old, twips(m_main.columnWidths(old)));
    lists.tbsTabStrip_Click(tab);
    m_main.showTab(tab, pixels(lists.ColumnWidths(tab)));
    setWaitCursor(false);
}

void ProgramWindows::numberAndDial(const QString& number) {
    m_main.setTxtNumber(number);
    m_program.call().setTxtNumber(number);
    m_program.commands().Eurit_Dial(number);
}

void ProgramWindows::openCarrierList() {
    // The window is filled anew at each opening, so that a carrier added to the book is there.
    modVorwahlen& carriers = m_program.Phonebooks().Vorwahlen;
    auto* window = new frmProviders(carriers.FillCarrierWindow(), &m_main);
    QObject::connect(window, &frmProviders::carrierChosen, &m_main, [&carriers](const QString& text) {
        carriers.RememberCarrier(text);
        carriers.ShowCarrier(text);
    });
    window->popupUnder(m_main.cmdProvider());
}

void ProgramWindows::listCommand(ListCommand command, int row) {
    MainLists& lists = m_program.lists();
    const MainTab tab = lists.selected();
    switch (command) {
    case ListCommand::Dial:
        // No row, or a caller without number: nothing to dial.
        if (const QString number = lists.RowNumber(tab, row); !number.isEmpty())
            numberAndDial(number);
        return;
    case ListCommand::ToPhonebook:
        // The phonebook window opens on the digits of the number once it exists.
        return;
    case ListCommand::Delete:
        lists.DeleteNumber(tab, row);
        return;
    case ListCommand::MarkRead:
        lists.MarkRead(tab, row);
        return;
    case ListCommand::MarkAllRead:
        lists.MarkAllRead(tab);
        return;
    case ListCommand::DeleteSound:
        lists.DeleteSound(tab, row);
        return;
    case ListCommand::DeleteSoundAll:
        lists.DeleteSoundAll(tab);
        return;
    case ListCommand::MarkAndDeleteAll:
        lists.MarkAndDeleteAll(tab);
        return;
    case ListCommand::Play:
        playRecording(row);
        return;
    case ListCommand::Stop:
        m_program.sound().SoundPlayStop();
        return;
    }
}

void ProgramWindows::playRecording(int row) {
    const QString recording = m_program.lists().Recording(m_program.lists().selected(), row);
    if (recording.isEmpty())
        return;
    openPlayRecord(nullptr, m_program.sound().SoundFullPath(recording), true, QString(), &m_main);
}

void ProgramWindows::openPlayRecord(QLineEdit* target, const QString& file, bool autoPlay,
                                    const QString& defaultPath, QWidget* parent) {
    frmPlayRecord window(m_program.language(), m_soundControls, parent);
    window.setDefaultPath(defaultPath);
    window.mctlPathTextControl = target;
    window.mstrFile = file;
    window.mintAutoPlay = autoPlay;
    window.exec();
}

void ProgramWindows::connectPlayRecord(ctlDateiAuswahl* control) {
    QObject::connect(control, &ctlDateiAuswahl::playRecordRequested, control, [this, control] {
        openPlayRecord(control->txtDateiname(), QString(), false, control->DefaultPath(), control->window());
    });
}

void ProgramWindows::openVolumeControl() {
    // A new pop-up at each opening, so that it shows the volumes as they are now.
    auto* window = new frmVolumeControl(m_program.language(), m_soundControls, &m_main);
    window->popupAt(m_main.volumePanel());
}

void ProgramWindows::openABCapi() {
    // A window closed a moment ago waits for its deletion hidden: a new one takes its place.
    if (m_abCapi && m_abCapi->isVisible()) {
        m_abCapi->raise();
        m_abCapi->activateWindow();
        return;
    }
    clsConfig& set = m_program.Konfigurationen().Item(1);
    auto* window = new frmABCapi(m_program.language(), &m_main);
    window->setAttribute(Qt::WA_DeleteOnClose);
    m_abCapi = window;
    window->Set_Values(set.Text(clsConfig::Field::strCAPIPIN), m_program.settings().ABSafeInquiry != 0,
                       ABAnyMachineOn(set));
    showABCapi(0);
    QObject::connect(window, &frmABCapi::editRequested, window, [this](int index) { editABCapi(index); });
    QObject::connect(window, &frmABCapi::pinChanged, window,
                     [&set](const QString& pin) { set.Assign(clsConfig::Field::strCAPIPIN, pin); });
    QObject::connect(window, &frmABCapi::safeInquiryChanged, window, [this](bool on) {
        m_program.settings().ABSafeInquiry = on ? 1 : 0;
        m_program.settingsStore().saveABSafeInquiry();
    });
    window->show();
}

void ProgramWindows::showABCapi(int index) {
    if (!m_abCapi)
        return;
    const clsConfig& set = m_program.Konfigurationen().Item(1);
    set.ABCAPI_DisplayInList(m_abCapi->listItems());
    m_abCapi->selectIndex(index);
    m_abCapi->setAnyMachineOn(ABAnyMachineOn(set));
}

void ProgramWindows::editABCapi(int index) {
    if (!m_abCapi || index < 1 || index > clsConfig::MSNCount)
        return;
    clsConfig& set = m_program.Konfigurationen().Item(1);
    frmEintragABCapi entry(m_program.language(), m_abCapi);
    entry.Set_Values(index, set.strMSN(index), ABCapiEntry::Read(set, index),
                     m_program.sound().soundFolder());
    connectPlayRecord(entry.ctlAnsage());
    QObject::connect(&entry, &frmEintragABCapi::valuesChosen, &entry,
                     [&set](int msn, const ABCapiEntry& values) { values.Write(set, msn); });
    entry.exec();
    showABCapi(index);
}

void ProgramWindows::openActionSetup() {
    // A window closed a moment ago waits for its deletion hidden: a new one takes its place.
    if (m_actionSetup && m_actionSetup->isVisible()) {
        m_actionSetup->raise();
        m_actionSetup->activateWindow();
        return;
    }
    auto* window = new frmActionSetup(m_program.language(), &m_main);
    window->setAttribute(Qt::WA_DeleteOnClose);
    m_actionSetup = window;
    window->Set_Values(m_program.actions().rules);
    const int twips = m_main.twipsPerPixel();
    WindowPlace place(m_program.profiles(), m_program.iniPath(), QStringLiteral("Actions"));
    window->setGeometry(place.Frame(twips, screenAreas(), window->size()));
    window->setColumnWidths(place.ColumnWidths(5, twips));
    QObject::connect(window, &frmActionSetup::editRequested, window,
                     [this](int index) { editAction(index); });
    QObject::connect(window, &frmActionSetup::deleteRequested, window, [this](int index) {
        ActionDelete(m_program.actions().rules, index);
        rulesChanged(0);
    });
    QObject::connect(
        window, &frmActionSetup::pasteRequested, window, [this](const ActionRule& rule, int before) {
            ActionTable& rules = m_program.actions().rules;
            ActionPaste(rules, rule, before);
            rulesChanged(before >= 1 && before < ActionCount(rules) ? before : ActionCount(rules));
        });
    QObject::connect(window, &frmActionSetup::closing, window, [this, window] {
        const int perPixel = m_main.twipsPerPixel();
        WindowPlace kept(m_program.profiles(), m_program.iniPath(), QStringLiteral("Actions"));
        if (!(window->windowState() & (Qt::WindowMinimized | Qt::WindowMaximized)))
            kept.SaveFrame(window->geometry(), perPixel);
        kept.SaveColumnWidths(window->columnWidths(), perPixel);
    });
    window->show();
}

void ProgramWindows::rulesChanged(int index) {
    m_program.settingsStore().saveActions();
    if (!m_actionSetup)
        return;
    m_actionSetup->Set_Values(m_program.actions().rules);
    if (index > 0)
        m_actionSetup->selectIndex(index);
}

void ProgramWindows::editAction(int index) {
    if (!m_actionSetup)
        return;
    ActionRules& actions = m_program.actions();
    frmEintragAction entry(m_program.language(), actions.rules, m_actionSetup);
    entry.setRunner(
        [&actions](int rule, const QString& number) { return actions.ActionRun(0, rule, number); });
    entry.SetValues(index);
    Settings& settings = m_program.settings();
    entry.setTestNumber(settings.ActionTestNumber);
    QObject::connect(&entry, &frmEintragAction::saved, &entry, [this](int rule) { rulesChanged(rule); });
    entry.exec();
    // The test number is kept for the next test, whatever the window was left with.
    if (entry.testNumber() != settings.ActionTestNumber) {
        settings.ActionTestNumber = entry.testNumber();
        m_program.settingsStore().saveActions();
    }
}

void ProgramWindows::openHotkeyRules() {
    frmOptHotkey window(m_program.language(), &m_main);
    window.SetValues(m_program.settings().HotkeyDial);
    QObject::connect(&window, &frmOptHotkey::valuesChosen, &window, [this](const HotkeyRules& rules) {
        m_program.settings().HotkeyDial = rules;
        m_program.settingsStore().saveHotkeys();
    });
    window.exec();
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

void ProgramWindows::setLineFailureHelp(const QString& server, const QString& advice) {
    m_lineServer = server;
    m_lineAdvice = advice;
}

void ProgramWindows::requestStop() {
    m_lifecycle.requestStop();
    if (m_lifecycle.stopRequested()) {
        if (m_lineQuestion)
            m_lineQuestion->reject();
        if (m_lineWaitLoop)
            m_lineWaitLoop->exit(0);
    }
}

bool ProgramWindows::askLineRetry() {
    const Language& lang = m_program.language();
    QString text = lang.LanguageString(3205) + QStringLiteral("\n\n") + m_program.fatalMessage();
    const QString detail = m_program.line().lastError();
    if (!detail.isEmpty())
        text += QStringLiteral("\n") + detail;
    if (!m_lineAdvice.isEmpty())
        text += QStringLiteral("\n\n") + m_lineAdvice;
    text += QStringLiteral("\n\n") + lang.LanguageString(3208);
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Morva"), text, QMessageBox::NoButton,
                    m_main.isVisible() ? &m_main : nullptr);
    box.setObjectName(QStringLiteral("LineRetryQuestion"));
    QPushButton* retry = box.addButton(lang.LanguageString(3207), QMessageBox::AcceptRole);
    retry->setObjectName(QStringLiteral("cmdRetry"));
    QPushButton* close = box.addButton(lang.LanguageString(3104), QMessageBox::RejectRole);
    close->setObjectName(QStringLiteral("cmdClose"));
    box.setDefaultButton(retry);
    box.setEscapeButton(close);
    m_lineQuestion = &box;
    box.exec();
    m_lineQuestion = nullptr;
    return box.clickedButton() == retry;
}

bool ProgramWindows::waitForLine(int seconds) {
    if (!m_lineWait) {
        const Language& lang = m_program.language();
        QString text = lang.LanguageString(3209);
        text.replace(QStringLiteral("%s"), m_lineServer);
        m_lineWait = new LineWaitWindow(text, lang.LanguageString(50));
        // Where the main window will come, also on a desktop whose window manager places nothing.
        m_lineWait->adjustSize();
        QRect place = m_lineWait->frameGeometry();
        const QList<QRect> screens = screenAreas();
        if (!screens.isEmpty())
            place.moveCenter(screens.first().center());
        m_lineWait->move(place.topLeft());
        m_lineWait->show();
    }
    QEventLoop loop;
    QTimer::singleShot(seconds * 1000, &loop, [&loop] { loop.exit(1); });
    QObject::connect(m_lineWait, &LineWaitWindow::gaveUp, &loop, [&loop] { loop.exit(0); });
    m_lineWaitLoop = &loop;
    const bool again = loop.exec() == 1;
    m_lineWaitLoop = nullptr;
    return again;
}

void ProgramWindows::lineWaitOver() {
    delete m_lineWait;
}
