#pragma once

// The main window: the status panel of the current call and the call buttons. It owns the timers that
// drive the line events and the call clock, and shows what the Program's call record holds.

#include "automation/ActionRules.h"
#include "shell/MainLifecycle.h"
#include "shell/UserDialogs.h"

#include <QMainWindow>

#include <memory>

class Program;
class QAction;
class QGroupBox;
class QLabel;
class QLineEdit;
class QTimer;
class QToolBar;

class Main : public QMainWindow, public WindowReactions, public MainHost {
    Q_OBJECT
public:
    explicit Main(Program& program, QWidget* parent = nullptr);
    ~Main() override;

    // The start, step by step: settings, line, window place, first state; shows the window.
    MainLifecycle::StartResult Form_Load();
    MainLifecycle& lifecycle() { return *m_lifecycle; }

    // WindowReactions
    void showNormalAndFocus() override;
    void minimize() override;

    // The texts of the panel and the buttons, from the call record's panel model.
    void Me_ShowPanel();
    void Me_ShowStatusBar();
    // Every text of the window anew, from the current language.
    void Me_Set_Language();

public Q_SLOTS:
    void tbrBigButtons_ButtonClick(QAction* button);
    void timerEifcCallback_Timer();
    void timerZeitsteuerung_Timer();

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
    // A question or message of the program's logic as a message box.
    UserDialogs::Answer askUser(const QString& text, UserDialogs::Buttons buttons, UserDialogs::Icon icon);

protected:
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QLabel* addField(class QGridLayout* grid, int row, const char* captionName, const char* fieldName);
    QAction* addButton(const char* key, const QIcon& icon);

    Program& m_program;
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
    QTimer* m_timerEifcCallback = nullptr;
    QTimer* m_timerZeitsteuerung = nullptr;
    QWidget* m_Start_form = nullptr;
    class SingleInstance* m_instance = nullptr;
    std::unique_ptr<MainLifecycle> m_lifecycle;
};
