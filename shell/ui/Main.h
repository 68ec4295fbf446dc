#pragma once

// The main window: the status panel of the current call and the call buttons. It knows nothing of the
// program behind it: it shows the panel and the line state it is given, speaks the language it is given,
// and emits what the user wants (dial, answer, take over, hang up, an edited number). It owns the timers
// of the line events and the call clock and emits their ticks. Its owner (ProgramWindows) wires it to the
// program and lends it to the start and the stop; the action rules raise and minimise it
// (WindowReactions).

#include "automation/ActionRules.h"
#include "shell/base/UserDialogs.h"

#include <QMainWindow>
#include <QPointer>

#include <functional>

class Language;
struct StatusPanel;
class QAction;
class QGroupBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QTimer;
class QToolBar;

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

Q_SIGNALS:
    void dialRequested(const QString& number);
    void answerRequested();
    void takeOverRequested();
    void hangupRequested();
    // The user edited txtNumber.
    void numberEdited(const QString& text);
    // timerEifcCallback (100 ms) and timerZeitsteuerung (1000 ms).
    void eventTimerTicked();
    void clockTimerTicked();

public Q_SLOTS:
    void tbrBigButtons_ButtonClick(QAction* button);

protected:
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QLabel* addField(class QGridLayout* grid, int row, const char* captionName, const char* fieldName);
    QAction* addButton(const char* key, const QIcon& icon);

    const Language& m_language;
    std::function<bool()> m_mayClose;
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
