#pragma once

// The play and record window: a wave file chosen in the file field (ctlDateiAuswahl1) is played in a loop
// (cmdPlay), recorded anew (cmdRecord) or stopped (cmdStop); the tool bar Toolbar1 has the same three
// commands under the keys "play", "record" and "stop". Below the field the file's wave format
// (lblDateiinfo) and length (lblDateilänge), and while something plays or records its progress on the
// bar prgProgress with the size (lblDateigröße) and position (lblDateiPosition) as the sound engine
// counts them, read every 50 ms by timerProgress. The object names keep their umlauts, as Main's
// lblGebühren does.
//
// The opener sets the members below, then shows the window (modally). At the first show (Form_Load) the
// window labels its buttons, and:
// - with a target text box (mctlPathTextControl) the field shows the box's text, and closing the window
//   hands the field's name back to the box;
// - without one the field shows mstrFile and is disabled, and recording is hidden: the window only plays.
// With mintAutoPlay it starts playing at once.
//
// Closing the window (its close button, Escape, done) stops both playing and recording. Recording over an
// existing file asks first (yes or no, through an asker a test can replace); "No" changes nothing.

#include <QDialog>
#include <QPointer>
#include <QString>

#include <functional>

class Language;
class PlayRecordSound;
class QAction;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QTimer;
class QToolBar;
class ctlDateiAuswahl;

// A length in seconds as the window shows it: at least two digits before a decimal comma, three after,
// then " sec" ("03,250 sec").
QString PlayRecordSecondsText(double seconds);

class frmPlayRecord : public QDialog {
    Q_OBJECT
public:
    // What the window is doing: nothing yet, playing, recording. Stopping keeps the mode of what stopped.
    enum Mode { Idle = 0, Playing = 1, Recording = 2 };

    // Asks a yes-or-no question over `owner`; true for yes.
    using YesNoAsker = std::function<bool(QWidget* owner, const QString& text)>;

    // `language` gives the captions and the question, `sound` plays and records; both outlive the window.
    frmPlayRecord(const Language& language, PlayRecordSound& sound, QWidget* parent = nullptr);
    ~frmPlayRecord() override;

    // Set by the opener before the window is shown.
    // The text box that gives the first name and receives the name chosen; none: the window only plays.
    QPointer<QLineEdit> mctlPathTextControl;
    // The file shown when there is no text box.
    QString mstrFile;
    // Start playing as soon as the window is shown.
    bool mintAutoPlay = false;
    // The folder against which the field writes names relative and completes them (ctlDateiAuswahl's
    // DefaultPath); the names given to the sound engine are full when it is set.
    void setDefaultPath(const QString& folder);

    // Replaces the question before a file is recorded over; an empty function brings the message box back.
    void setAsker(YesNoAsker asker);

    Mode mode() const { return m_mode; }
    // The file of the field, completed against the default folder when that is set.
    QString fileName() const;

public Q_SLOTS:
    void cmdPlay_Click();
    void cmdRecord_Click();
    void cmdStop_Click();
    void Toolbar1_ButtonClick(QAction* button);
    void timerProgress_Timer();

protected:
    void showEvent(QShowEvent* event) override;

public:
    // Closing by any way (close button, Escape, accept, reject) comes here: Form_QueryUnload, then the close.
    void done(int result) override;

private:
    void Form_Load();
    void Form_QueryUnload();
    void ctlDateiAuswahl1_FilePathChanged();

    const Language& m_language;
    PlayRecordSound& m_sound;
    YesNoAsker m_asker;
    Mode m_mode = Idle;
    bool m_loaded = false;
    bool m_unloaded = false;

    ctlDateiAuswahl* m_ctlDateiAuswahl1 = nullptr;
    QToolBar* m_Toolbar1 = nullptr;
    QPushButton* m_cmdPlay = nullptr;
    QPushButton* m_cmdRecord = nullptr;
    QPushButton* m_cmdStop = nullptr;
    QTimer* m_timerProgress = nullptr;
    QProgressBar* m_prgProgress = nullptr;
    QLabel* m_lblDateiinfo = nullptr;
    QLabel* m_lblDateilänge = nullptr;
    QLabel* m_lblDateigröße = nullptr;
    QLabel* m_lblDateiPosition = nullptr;
};
