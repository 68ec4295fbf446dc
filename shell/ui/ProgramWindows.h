#pragma once

// The windows of a program and their wiring: the owner of the main window. The window takes plain values
// and emits what the user wants; here its wishes go to the call commands, the call record's panel and the
// line state go to the window, the program's questions and messages become message boxes over it, and the
// window lends itself to the start and the stop (MainHost). Every window of the program is created and
// wired here, so that none of them needs the program.

#include "shell/MainLifecycle.h"
#include "shell/ui/Main.h"
#include "shell/ui/MainTray.h"
#include "shell/ui/PlayRecordSound.h"
#include "shell/ui/ProgramDesktop.h"
#include "shell/ui/SingleInstance.h"
#include "shell/ui/frmABCapi.h"
#include "shell/ui/frmActionSetup.h"

#include <QPointer>

#include <memory>

class LineWaitWindow;
class Program;
class QEventLoop;
class QLineEdit;
class QMessageBox;
class ctlDateiAuswahl;

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

    // What the messages of a line that does not start name: the CAPI server tried (`server`, for the
    // notice of the wait), and what the user can do about it (`advice`, under the reason).
    void setLineFailureHelp(const QString& server, const QString& advice);
    // SIGTERM or SIGINT: the stop, kept until the start has finished. A question or a wait of the start
    // about the line ends as though the user gave up.
    void requestStop();

    // The play and record window, modal over `parent`: on the text box `target` (none: it only plays
    // `file`), names relative to `defaultPath` when that is set, playing at once with `autoPlay`.
    // Returns when the window is closed; a target then holds the name chosen.
    void openPlayRecord(QLineEdit* target, const QString& file, bool autoPlay, const QString& defaultPath,
                        QWidget* parent);
    // The play button of a file-name control opens the play and record window on its box, so that a
    // file chosen or recorded there comes back into the control. The windows that hold the control call it.
    void connectPlayRecord(ctlDateiAuswahl* control);
    // The volume pop-up at the status bar's panel "VOL".
    void openVolumeControl();
    // The answering machine's window over configuration set 1 (mnuEuritKonfig); one at a time: a second
    // call raises it. Every change in it is written at once: the set writes its file, the safer inquiry
    // its key of Morva.ini.
    void openABCapi();
    frmABCapi* abCapiWindow() const { return m_abCapi; }
    // The list of the programmed rules (M_Action); one at a time: a second call raises it. Every change is
    // written into Morva.ini at once; its place and column widths are kept in section Actions as it closes.
    void openActionSetup();
    frmActionSetup* actionSetupWindow() const { return m_actionSetup; }
    // The dial hotkey's number rules (mnuOptHotkey), modal over the main window; OK writes them at once.
    void openHotkeyRules();

    // MainHost
    void showSplash(const QString& versionText) override;
    void closeSplash() override;
    QList<QRect> screenAreas() const override;
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
    bool askLineRetry() override;
    bool waitForLine(int seconds) override;
    void lineWaitOver() override;
    void TrayAdd() override;
    void showLists() override;
    void saveColumnWidths() override;

private:
    void showPanel();
    void showLineState();
    void showStatus();
    // The sound server's presence in the status bar.
    void showSoundState();
    // mnuKontextPlayAnsage: the recording of a LOG row, played in the play window.
    void playRecording(int row);
    // tbsTabStrip_Click: the widths of the tab left kept, the new tab filled and shown.
    void selectTab(MainTab tab);
    void listCommand(ListCommand command, int row);
    void openCarrierList();
    // The entry window of MSN `index` over the answering machine's window; its values go into set 1.
    void editABCapi(int index);
    // The machine's window shows set 1 anew, the row of MSN `index` selected.
    void showABCapi(int index);
    // The entry window of rule `index` (the count + 1: a new rule) over the rules' list.
    void editAction(int index);
    // The rules written into Morva.ini and shown anew in the list, rule `index` selected (0: as it was).
    void rulesChanged(int index);
    // The number into txtNumber, then dialled.
    void numberAndDial(const QString& number);
    std::vector<int> twips(const std::vector<int>& pixels) const;
    std::vector<int> pixels(const std::vector<int>& twips) const;

    Program& m_program;
    // The sound engine as the play and record window and the volume pop-up see it.
    SoundEngineControls m_soundControls;
    Main m_main;
    // After the window: the tray lets go of it first.
    MainTray m_tray;
    SingleInstance m_instance;
    MainLifecycle m_lifecycle;
    QString m_lineServer;
    QString m_lineAdvice;
    // The start's question and notice about the line, while they are up.
    QPointer<QMessageBox> m_lineQuestion;
    QPointer<LineWaitWindow> m_lineWait;
    QPointer<frmABCapi> m_abCapi;
    QPointer<frmActionSetup> m_actionSetup;
    QEventLoop* m_lineWaitLoop = nullptr;
    // Alive as long as the windows: a change of the sound server's presence, reported on the sound
    // library's thread and queued to the main thread, reaches the window only while this lives.
    std::shared_ptr<int> m_alive = std::make_shared<int>(0);
    // The action rules' desktop and the global hotkeys; let go before the windows.
    ProgramDesktop m_desktop;
};
