#pragma once

// The file-name control that several windows share: the box txtDateiname for a file or folder name, the
// browse button cmdSelectFile beside it, and the button cmdShowPlayRecord for the play and record window,
// shown only with ShowPlayButton. The window that holds it sets its properties and listens to
// FilePathChanged; the control has no texts of its own beyond the defaults of its properties. Enabled is
// QWidget's own state, which the box and both buttons follow.
//
// Names and DefaultPath:
// - A name is written to the box relative to DefaultPath when it lies below that folder ("Ansage/x.wav"),
//   and in full when it lies elsewhere: on Linux there are no drives, and a name reached by climbing out
//   of the folder ("../../media/usb/x.wav") would tell the user less than the full one. FilePath returns
//   the text of the box, so a name below DefaultPath comes back relative; PathComplete(FilePath(),
//   DefaultPath()) gives it in full again.
// - With ShowRed on, the box's text is red when the name (completed against DefaultPath when that is set)
//   can't be opened for reading. With OnlyFolders on, an existing folder that may be read counts as
//   opened. The check runs when the text changes and when ShowRed, DefaultPath or OnlyFolders are set;
//   a file deleted later turns its name red only then.
//
// The browse button asks a FileAsker for a name; by default that is QFileDialog (an open-file dialog, or
// a folder dialog with OnlyFolders). The title is DialogHeader, the filter is DialogFileSelect converted
// from its "description|patterns|..." form by QtFileFilter. A folder chosen is written in full with a
// closing "/"; a file chosen is written as FilePath writes it. An empty answer (Cancel) changes nothing.
//
// cmdShowPlayRecord emits playRecordRequested. The play and record window works on this control's box
// (txtDateiname): its owner opens the window modally with the box as target, and the name chosen there is
// written back into the box when the window closes (ProgramWindows::connectPlayRecord).

#include <QString>
#include <QWidget>

#include <functional>

class QLineEdit;
class QToolButton;

class ctlDateiAuswahl : public QWidget {
    Q_OBJECT
    Q_PROPERTY(bool ShowPlayButton READ ShowPlayButton WRITE setShowPlayButton)
    Q_PROPERTY(QString FilePath READ FilePath WRITE setFilePath NOTIFY FilePathChanged)
    Q_PROPERTY(QString Text READ Text)
    Q_PROPERTY(QString DialogHeader READ DialogHeader WRITE setDialogHeader)
    Q_PROPERTY(QString DialogFileSelect READ DialogFileSelect WRITE setDialogFileSelect)
    Q_PROPERTY(bool ShowRed READ ShowRed WRITE setShowRed)
    Q_PROPERTY(QString DefaultPath READ DefaultPath WRITE setDefaultPath)
    Q_PROPERTY(bool OnlyFolders READ OnlyFolders WRITE setOnlyFolders)
public:
    // What the browse button asks for.
    struct FileRequest {
        bool folder = false; // a folder (OnlyFolders) rather than a file to open
        QString title;       // DialogHeader
        QString filter;      // DialogFileSelect in Qt's form; empty for a folder
        QString start;       // the name in the box, completed against DefaultPath
    };
    // Returns the name chosen, in full, or an empty string for Cancel. `owner` is the control.
    using FileAsker = std::function<QString(QWidget* owner, const FileRequest& request)>;

    static QString defaultDialogHeader();     // "Datei auswählen..."
    static QString defaultDialogFileSelect(); // "Alle Dateien (*.*)|*.*"

    // A filter of the Windows file dialog ("description|patterns|description|patterns", patterns
    // separated by ";") in Qt's form ("description (patterns);;..."). A pattern list in brackets at the end
    // of a description is dropped, as Qt shows the patterns itself; "*.*" becomes "*", as every file
    // matches it on Windows. A description without patterns stands for every file. Patterns are matched
    // as written, which on Linux tells upper from lower case.
    static QString QtFileFilter(const QString& windowsFilter);

    explicit ctlDateiAuswahl(QWidget* parent = nullptr);

    bool ShowPlayButton() const { return m_showPlayButton; }
    void setShowPlayButton(bool show);

    // Sets the name: written to the box (see above), which raises FilePathChanged when the text changes.
    void setFilePath(const QString& name);
    // The text of the box.
    QString FilePath() const { return Text(); }
    QString Text() const;

    QString DialogHeader() const { return m_dialogHeader; }
    void setDialogHeader(const QString& header);
    QString DialogFileSelect() const { return m_dialogFileSelect; }
    void setDialogFileSelect(const QString& filter) { m_dialogFileSelect = filter; }

    bool ShowRed() const { return m_showRed; }
    void setShowRed(bool showRed);
    QString DefaultPath() const { return m_defaultPath; }
    void setDefaultPath(const QString& folder);
    bool OnlyFolders() const { return m_onlyFolders; }
    void setOnlyFolders(bool onlyFolders);

    // Replaces the dialog of the browse button; an empty function brings QFileDialog back.
    void setFileAsker(FileAsker asker);

    // True while the box shows its text in red.
    bool isShownRed() const { return m_red; }

    // The box itself: the text box that the play and record window reads and writes back.
    QLineEdit* txtDateiname() const { return m_text; }

Q_SIGNALS:
    // The text of the box changed (typed or set), or ShowRed or DefaultPath were set: the text.
    void FilePathChanged(const QString& text);
    // The user pressed cmdShowPlayRecord.
    void playRecordRequested();

public Q_SLOTS:
    void cmdSelectFile_Click();

private:
    void txtDateiname_Change();
    // Colours the box's text by the check of ShowRed.
    void recolour();
    // True when the name in the box can be opened for reading.
    bool canOpen() const;
    // How `name` is written to the box: relative below DefaultPath, else as given.
    QString shownName(const QString& name) const;

    QLineEdit* m_text = nullptr;
    QToolButton* m_select = nullptr;
    QToolButton* m_play = nullptr;
    FileAsker m_asker;
    QString m_dialogHeader;
    QString m_dialogFileSelect;
    QString m_defaultPath;
    bool m_showPlayButton = false;
    bool m_showRed = false;
    bool m_onlyFolders = false;
    bool m_red = false;
};
