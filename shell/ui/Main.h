#pragma once

// The main window: the status panel of the current call, the call buttons, the carrier line, the bar of
// own numbers, and the tabs with the quick-dial book, the recent calls and the last-used numbers; the
// menus and the status bar. It knows nothing of the program behind it: it shows the panel, the lists, the
// view and the line state it is given, speaks the language it is given, and emits what the user wants
// (dial, answer, a command on a list row, a view toggled ...). It owns the timers of the line events and
// the call clock and emits their ticks. Its owner (ProgramWindows) wires it to the program and lends it
// to the start and the stop; the action rules raise and minimise it (WindowReactions).

#include "automation/ActionRules.h"
#include "shell/MainLists.h"
#include "shell/MainView.h"
#include "shell/base/UserDialogs.h"

#include <QMainWindow>
#include <QPointer>

#include <array>
#include <functional>
#include <vector>

class Language;
class ListItems;
struct StatusPanel;
class QAction;
class QGroupBox;
class QLabel;
class QLineEdit;
class QMenu;
class QProgressBar;
class QPushButton;
class QStackedWidget;
class QTabBar;
class QTimer;
class QToolBar;
class QTreeView;
class RowDragModel;

// The drag and clipboard format of one phone number, beside plain text.
inline constexpr char PhoneNumberMimeType[] = "application/x-naldaphonenumber";

// The commands on a row of the lists (the context menu, the list toolbar and the keys).
enum class ListCommand {
    Dial,             // mnuKontextwählen, key d; double click on QUICK and LASTUSED
    ToPhonebook,      // mnuKontextTophonebook, "GOTOBOOK", key p
    Delete,           // mnuKontextDelete, "DELETE", Del
    MarkRead,         // mnuKontextGelesen, "MARKREAD", key m
    MarkAllRead,      // mnuKontextGelesenAll, "MARKALLREAD"
    Play,             // mnuKontextPlayAnsage, "PLAY"; double click on LOG
    Stop,             // "STOP"
    DeleteSound,      // mnuKontextDeleteSound
    DeleteSoundAll,   // mnuKontextDeleteSoundAll
    MarkAndDeleteAll, // mnuKontextMarkandDeleteAll
};

class Main : public QMainWindow, public WindowReactions {
    Q_OBJECT
public:
    // `language` gives every text of the window.
    explicit Main(const Language& language, QWidget* parent = nullptr);
    ~Main() override;

    // Asked when the window is to close (its close button, SIGTERM, SIGINT): true lets it close. Without
    // it the window closes at once.
    void setCloseQuery(std::function<bool()> mayClose) { m_mayClose = std::move(mayClose); }

    // The texts of the panel and the state of the buttons.
    void Me_ShowPanel(const StatusPanel& panel);
    // The state of the line in the status bar; a line that is not ready is marked.
    void Me_ShowStatusBar(const QString& lineState, bool ready);
    // Every text of the window anew, from the current language.
    void Me_Set_Language();
    // The timers of the line events (timerEifcCallback) and of the call clock (timerZeitsteuerung).
    void setEventTimer(bool on);
    void setClockTimer(bool on);
    // The splash of the start (Start_form) with the version and the start's progress in percent; the
    // progress does nothing while no splash is shown.
    void showSplash(const QString& versionText);
    void closeSplash();
    void setLoadProgress(int percent);
    // Twips per pixel of the window's screen, and whether the window is neither minimised nor maximised.
    int twipsPerPixel() const;
    bool normalState() const;
    // A failure, and a question or message of the program's logic, as a message box. The splash of the
    // start, if it is up, goes first.
    void showMessage(const QString& text);
    UserDialogs::Answer askUser(const QString& text, UserDialogs::Buttons buttons, UserDialogs::Icon icon);

    // WindowReactions
    void showNormalAndFocus() override;
    void minimize() override;

    // The lists the tabs show: lvListView for QUICK and LASTUSED, lvListAnrufe for LOG. `numberOfRow`
    // gives the number of a row of the shown tab (copied, dragged).
    void setLists(ListItems* lvListView, ListItems* lvListAnrufe,
                  std::function<QString(int row)> numberOfRow);
    // tbsTabStrip_Click's part of the window: the tab selected, its list shown with the column widths in
    // pixels (0: fitted to the content), its commands in the toolbar and the context menu.
    void showTab(MainTab tab, const std::vector<int>& widths);
    MainTab currentTab() const;
    // The column widths of the list that shows `tab`, in pixels, in the order of its columns.
    std::vector<int> columnWidths(MainTab tab) const;
    // The row the user works on in the shown list, -1 for none.
    int currentRow() const;
    // Me_ApplyView's part of the window.
    void applyView(const MainViewState& view);
    // The carrier button: the display text of the carrier, "---" for none, and its key in the macro book
    // (the button's property "tag", 0 for none).
    void showCarrier(const QString& caption, double tag);
    QPushButton* cmdProvider() const { return m_cmdProvider; }
    QMenu* M_Eurit() const { return m_M_Eurit; }
    // The status bar: the version in its first panel and the listening-in picture.
    void Me_Set_Status(const QString& versionText, bool listenIn);
    // A transfer with the telephone runs (`transferKind` not 0): the call commands and the number are off
    // until it ends. `otherWindowOpen` says whether a window that keeps the focus is open.
    void Me_EnableDisableDial(int transferKind);
    void setOtherWindowOpen(std::function<bool()> open) { m_otherWindowOpen = std::move(open); }
    // Whether a recording can be played (the play window); off, the play commands stay disabled.
    void setPlayAvailable(bool available);
    // Whether a sound server is reached: without one the status bar says there is no sound, with a tool
    // tip that tells why.
    void setSoundAvailable(bool available);
    bool soundAvailable() const { return m_soundAvailable; }
    // The status bar's panel "VOL", under which the volume pop-up opens.
    QWidget* volumePanel() const;
    void setTxtNumber(const QString& number);

Q_SIGNALS:
    void dialRequested(const QString& number);
    void answerRequested();
    void takeOverRequested();
    void hangupRequested();
    // The user edited txtNumber.
    void numberEdited(const QString& text);
    // The user chose a tab; the window shows it once showTab comes.
    void tabSelected(MainTab tab);
    // A command on a row of the shown list (-1: no row selected).
    void listCommand(ListCommand command, int row);
    void refreshRequested();
    void extendedViewToggled();
    void msnBarToggled();
    void carrierLineToggled();
    // The own number for outgoing calls, 1 to 5.
    void dialMSNChosen(int index);
    // cmdProvider pressed; mnuEuritSelProvider.
    void carrierListRequested();
    // mnuEuritKonfig: the configuration of the line's own numbers.
    void configurationRequested();
    // M_Action: the list of the programmed rules.
    void actionSetupRequested();
    // mnuOptHotkey: the dial hotkey's number rules.
    void hotkeyRulesRequested();
    void selectCarrierRequested();
    // The status bar's "AB" and "VOL" panels.
    void listenInToggled();
    void volumeRequested();
    // The name of the call panel: edit its entry (double click, mnuMainEditEntry); dial its number
    // (M_DialCurrentNumber).
    void editShownEntryRequested();
    void dialShownNumberRequested();
    // timerEifcCallback (100 ms) and timerZeitsteuerung (1000 ms).
    void eventTimerTicked();
    void clockTimerTicked();

public Q_SLOTS:
    void tbrBigButtons_ButtonClick(QAction* button);

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QLabel* addField(class QGridLayout* grid, int row, const char* captionName, const char* fieldName);
    QAction* addButton(const char* key, const QIcon& icon);
    QAction* addAction(QMenu* menu, const char* name, int string = 0);
    void buildMenus();
    void buildLists(QWidget* parent);
    void buildStatusBar();
    QTreeView* shownList() const;
    void fitColumns(QTreeView* list);
    bool listKey(QTreeView* list, class QKeyEvent* key);
    bool numberDrop(QEvent* event);
    void showContextMenu(const QPoint& at);
    void updatePlayCommands();
    void showSoundState();
    void M_Wählen_Click();
    QAction* action(const char* name) const;

    const Language& m_language;
    std::function<bool()> m_mayClose;
    std::function<bool()> m_otherWindowOpen;
    QMenu* m_M_Eurit = nullptr;
    QMenu* m_mnuKontext = nullptr;
    QMenu* m_Menu_frm = nullptr;
    QToolBar* m_tbMSNSelect = nullptr;
    // The own numbers 1 to 5: the buttons of tbMSNSelect and the items of mnuEuritUseMSN.
    std::array<QAction*, 5> m_msnButtons{};
    std::array<QAction*, 5> m_msnItems{};
    QToolBar* m_tbToolBar = nullptr;
    QWidget* m_listArea = nullptr;
    QTabBar* m_tbsTabStrip = nullptr;
    QStackedWidget* m_listStack = nullptr;
    QTreeView* m_lvListView = nullptr;
    QTreeView* m_lvListAnrufe = nullptr;
    RowDragModel* m_viewModel = nullptr;
    RowDragModel* m_callsModel = nullptr;
    ListItems* m_viewItems = nullptr;
    ListItems* m_callsItems = nullptr;
    std::function<QString(int)> m_numberOfRow;
    QLabel* m_lblProvider = nullptr;
    QPushButton* m_cmdProvider = nullptr;
    QLabel* m_ZIEL = nullptr;
    QLabel* m_VOLTEXT = nullptr;
    QLabel* m_VOL = nullptr;
    QLabel* m_AB = nullptr;
    QString m_versionText;
    bool m_playAvailable = false;
    bool m_soundAvailable = true;
    int m_lastTransferKind = 0;
    bool m_focusNumberLater = false;
    int m_listsHeight = 0;
    // Per tab: whether the user chose the column widths (else they follow the content).
    std::array<bool, 3> m_widthsChosen{};
    // Per list (lvListView, lvListAnrufe): the step after a fill is queued.
    std::array<bool, 2> m_afterFillPending{};
    bool m_headerPressed = false;
    QToolBar* m_tbrBigButtons = nullptr;
    QGroupBox* m_Frame1 = nullptr;
    QLabel* m_lblName = nullptr;
    QLabel* m_lblOrt = nullptr;
    QLabel* m_lblMSN = nullptr;
    QLabel* m_lblStatus = nullptr;
    QLabel* m_lblDauer = nullptr;
    QLabel* m_lblGebühren = nullptr;
    QLineEdit* m_txtNumber = nullptr;
    QLineEdit* m_DDENummer = nullptr;
    QLabel* m_lineStatus = nullptr;
    QLabel* m_lineWarning = nullptr;
    QTimer* m_timerEifcCallback = nullptr;
    QTimer* m_timerZeitsteuerung = nullptr;
    QPointer<QWidget> m_Start_form;
    QPointer<QProgressBar> m_Load_stat;
};
