#include "shell/MainLifecycle.h"

#include "platform/profile/ProfileStore.h"
#include "shell/Program.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>

#include <algorithm>

namespace {
const char* const Setup = "Setup";
const char* const MainSection = "Main";
} // namespace

MainLifecycle::MainLifecycle(Program& program, MainHost& host, std::function<bool()> claimInstance)
    : m_program(program), m_host(host), m_claimInstance(std::move(claimInstance)) {}

QString MainLifecycle::VersionText() const {
    return QStringLiteral("Version %1.%2.%3")
        .arg(MORVA_VERSION_MAJOR)
        .arg(MORVA_VERSION_MINOR)
        .arg(MORVA_VERSION_PATCH);
}

void MainLifecycle::step(const char* line) {
    m_program.logs().Log_Write(QString::fromLatin1(line));
}

int MainLifecycle::iniInt(const char* section, const char* key, int defaultValue) const {
    return m_program.profiles().GetPrivateProfileInt(QLatin1String(section), QLatin1String(key), defaultValue,
                                                     m_program.iniPath());
}

void MainLifecycle::writeIni(const char* section, const char* key, const QString& value) {
    m_program.profiles().WritePrivateProfileString(QLatin1String(section), QLatin1String(key), value,
                                                   m_program.iniPath());
}

MainLifecycle::StartResult MainLifecycle::Form_Load() {
    // 1, 2: the version, the folders (the data folder is the Program's), the caption (the window's own).
    m_bLoading = true;

    // 3: one instance per user, unless the settings allow more.
    if (iniInt(Setup, "AllowMultipleInstance", 0) == 0 && m_claimInstance && !m_claimInstance()) {
        m_bLoading = false;
        return StartResult::SecondInstance;
    }

    // 4: the run flag: what the last run left, then 1 until an orderly stop.
    m_bLastRunFailed = iniInt(Setup, "IncorrectTerminate", 0) != 0;
    writeIni(Setup, "IncorrectTerminate", QStringLiteral("1"));

    // 5, 6; a settings file found damaged is told now, once the language of the settings is known.
    m_host.showSplash(VersionText());
    m_program.loadSettings();
    m_program.tellSettingsProblems();

    // 7: the version of the last run; a change only writes the new one.
    const int version[3] = {MORVA_VERSION_MAJOR, MORVA_VERSION_MINOR, MORVA_VERSION_PATCH};
    const char* const versionKeys[3] = {"Lastversion1", "Lastversion2", "Lastversion3"};
    bool changed = false;
    for (int i = 0; i < 3; ++i)
        changed |= iniInt(MainSection, versionKeys[i], 0) != version[i];
    if (changed)
        for (int i = 0; i < 3; ++i)
            writeIni(MainSection, versionKeys[i], QString::number(version[i]));

    // 8-10: the tray window, the message port and the shared queue come with the desktop integration.
    step("Main Form_Load:WMport_init");
    step("Main Form_Load:NSM_init");

    // 11: the CAPI test program is offered once: run and waited for if it is there.
    if (iniInt(Setup, "CapiChecked", 0) == 0) {
        const QString capitest = QDir(m_program.dataDir()).filePath(QStringLiteral("capitest"));
        if (QFileInfo(capitest).isExecutable())
            QProcess::execute(capitest, {});
        writeIni(Setup, "CapiChecked", QStringLiteral("1"));
    }

    // 12: there is no TAPI on this system.
    m_program.settings().UseTapi = 0;

    // 13-15
    step("Main Form_Load:ClipboardInit");
    step("Main Form_Load:DINFO_Init");

    // 16: the stores and engines, then the line; the event timer from CtiInit on.
    step("Main Form_Load:Phonebooks_create");
    m_program.Phonebooks().state().lastRunFailed = m_bLastRunFailed;
    m_program.Phonebooks().Phonebooks_create();
    m_program.Konfigurationen().Konfig_create();
    m_program.hotkeys().HotkeyInit();
    m_program.Phonebooks().Vorwahlen.LoadCarriers();
    m_program.callLog().SEZGDBOpen();
    // The sound engine's start; only a sound library that cannot start at all ends the program (a missing
    // sound server does not: sound then stays silent). The tones that ship go into the sound folder where
    // it lacks them.
    if (!m_program.sound().SoundInit(m_program.profiles(), Program::IniPath(m_program.dataDir()),
                                     m_program.logs()))
        return StartResult::SoundFailed;
    QStringList unwritten;
    m_program.sound().InstallShippedSounds(&unwritten);
    for (const QString& file : unwritten)
        m_program.logs().ErrorLog(QStringLiteral("SoundInit: cannot write the tone ") + file);
    // The answering machine: its prompts where missing, and a message of a run that ended during it.
    m_program.machine().ABInit(m_program.language().LanguageCode());
    if (!lineStarts([this] { return m_program.cti().CtiInit(); }))
        return StartResult::LineFailed;
    m_host.setEventTimer(true);

    // 17: the view, the carrier of the last run, and the width of the extended window.
    m_program.view().Load();
    m_widthEx = iniInt(MainSection, "WidthEx", DefaultWidthEx);

    // 18
    step("Main Form_Load:Main Position");
    placeWindow();

    // 19: the line's channel; the first state shown runs the action rules once.
    step("Main Form_Load:Eurit Init");
    if (!lineStarts([this] { return m_program.cti().CtiRegisterChannel(); }))
        return StartResult::LineFailed;
    m_program.call().Eurit_ShowCallState(-1);

    step("Main Form_Load:Monitor Tray");
    if (m_program.settings().MonitorInTray == 1)
        m_host.TrayAdd();
    step("Main Form_Load:Tabstrip_click");
    m_program.lists().RefreshCalls();
    m_host.showLists();
    step("Main Form_Load:Language");
    m_host.applyLanguage();
    step("Main Form_Load:Show");
    m_host.showMain();
    step("Main Form_Load:Unload Start");
    m_host.closeSplash();
    step("Main Form_Load:Init");
    m_program.call().Init();
    // Every book of this start has seen the abnormal end; the next opens keep their indexes.
    m_program.Phonebooks().state().lastRunFailed = false;
    step("Main Form_Load: Finished");
    m_bLastRunFailed = false;
    m_bLoading = false;
    m_started = true;
    // A SIGTERM or SIGINT that came during the start stops the program now.
    if (m_stopRequested)
        m_host.postClose();
    return StartResult::Started;
}

void MainLifecycle::requestStop() {
    if (!m_started) {
        m_stopRequested = true;
        return;
    }
    m_host.postClose();
}

bool MainLifecycle::lineStarts(const std::function<bool()>& attempt) {
    while (!attempt()) {
        // The splash stays on top of every window: it goes before the user is asked or told anything.
        m_host.closeSplash();
        const bool again = !m_stopRequested &&
                           (m_waitForLine ? m_host.waitForLine(LineRetrySeconds) : m_host.askLineRetry());
        if (!again || m_stopRequested) {
            m_host.lineWaitOver();
            return false;
        }
        step("Main Form_Load: Line again");
    }
    m_host.lineWaitOver();
    return true;
}

QRect PlaceOnScreens(const QRect& wanted, const QList<QRect>& screens) {
    if (screens.isEmpty())
        return wanted;
    const QRect grip(wanted.topLeft(), QSize(wanted.width(), std::min(WindowGrip, wanted.height())));
    for (const QRect& screen : screens) {
        const QRect on = screen.intersected(grip);
        if (!on.isEmpty() && on.height() == grip.height() &&
            on.width() >= std::min(WindowGrip, wanted.width()))
            return wanted;
    }
    const QRect& primary = screens.front();
    const int left = std::clamp(wanted.left(), primary.left(),
                                std::max(primary.left(), primary.right() + 1 - wanted.width()));
    const int top = std::clamp(wanted.top(), primary.top(),
                               std::max(primary.top(), primary.bottom() + 1 - wanted.height()));
    return QRect(QPoint(left, top), wanted.size());
}

void MainLifecycle::placeWindow() {
    const int twips = std::max(1, m_host.twipsPerPixel());
    const QList<QRect> screens = m_host.screenAreas();
    const QRect primary = screens.isEmpty() ? QRect(0, 0, 1024, 768) : screens.front();
    const int width = m_widthEx / twips;
    const int height = iniInt(MainSection, "Fenster Height", DefaultHeight) / twips;
    const int centredLeft = (primary.left() + (primary.width() - width) / 2) * twips;
    const int centredTop = (primary.top() + (primary.height() - height) / 2) * twips;
    const int left = iniInt(MainSection, "Fenster Left", centredLeft) / twips;
    const int top = iniInt(MainSection, "Fenster Top", centredTop) / twips;
    m_host.setFrame(PlaceOnScreens(QRect(left, top, width, height), screens));
}

void MainLifecycle::saveWindowPosition() {
    const int twips = std::max(1, m_host.twipsPerPixel());
    const QRect frame = m_host.frame();
    writeIni(MainSection, "Fenster Width", QString::number(frame.width() * twips));
    writeIni(MainSection, "Fenster Height", QString::number(frame.height() * twips));
    writeIni(MainSection, "Fenster Left", QString::number(frame.left() * twips));
    writeIni(MainSection, "Fenster Top", QString::number(frame.top() * twips));
    m_widthEx = frame.width() * twips;
    writeIni(MainSection, "WidthEx", QString::number(m_widthEx));
}

bool MainLifecycle::Form_QueryUnload() {
    if (m_bLoading)
        return false; // the program cannot be closed while it starts
    if (m_stopped)
        return true;
    step("Main Form_QueryUnload: Begin");
    if (m_iExitPass == 0) {
        // The first pass closes the windows that may ask to save, and comes back.
        ++m_iExitPass;
        m_host.postClose();
        return false;
    }
    m_host.setWaitCursor(true);
    // What the stop writes into Morva.ini reaches the disk in one piece, with the run flag at 0.
    ProfileBatch batch(m_program.profiles(), m_program.iniPath());
    if (m_host.normalState()) {
        step("Main Form_QueryUnload: Save WindowPos");
        saveWindowPosition();
    }
    step("Main Form_QueryUnload: Save Mainstate, Provider, coloumns");
    m_program.view().Save();
    m_host.saveColumnWidths();
    step("Main Form_QueryUnload: Wmport exit");
    step("Main Form_QueryUnload: UnloadfrmPhone");
    step("Main Form_QueryUnload: Unload frmEZG");
    m_host.setEventTimer(false);
    step("Main Form_QueryUnload: ABExit");
    if (clsCti* channel = m_program.cti().channel())
        m_program.machine().ABExit(*channel);
    step("Main Form_QueryUnload: CTIExit");
    m_program.stopLine();
    step("Main Form_QueryUnload: FDSNDExit");
    m_program.sound().SoundExit(m_program.profiles(), Program::IniPath(m_program.dataDir()),
                                m_program.logs());
    step("Main Form_QueryUnload: DINFO_Exit");
    step("Main Form_QueryUnload: NSM Exit");
    step("Main Form_QueryUnload: Eurit_Cfg_save");
    if (!m_program.saveSettings())
        m_host.showMessage(QStringLiteral("Kann Registry Key nicht anlegen!"));
    step("Main Form_QueryUnload: HotKey Exit");
    m_program.hotkeys().HotkeyExit();
    step("Main Form_QueryUnload: Vorwahl Exit");
    m_program.Phonebooks().Vorwahlen.SaveCarriers();
    step("Main Form_QueryUnload: Twix Exit");
    step("Main Form_QueryUnload: Phonebooks_destroy");
    m_program.Phonebooks().Phonebooks_destroy();
    step("Main Form_QueryUnload: Konfig_destroy");
    m_program.Konfigurationen().Konfig_destroy();
    step("Main Form_QueryUnload: SEZGDB_Exit");
    m_program.callLog().SEZGDBClose();
    step("Main Form_QueryUnload: Zeitsteuerung_Destroy");
    step("Main Form_QueryUnload: DeleteIcon");
    step("Main Form_QueryUnload: End .");
    writeIni(Setup, "IncorrectTerminate", QStringLiteral("0"));
    batch.commit();
    m_host.setWaitCursor(false);
    m_stopped = true;
    return true;
}
