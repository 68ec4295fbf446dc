#pragma once

// The help window: the help pages built into the program (platform/help) in a text browser, with
// back, forward and contents. One window serves every request; a new request shows its page in it.

#include <QUrl>
#include <QWidget>

class Language;
class QTextBrowser;
class QToolButton;

class HelpWindow : public QWidget {
    Q_OBJECT
public:
    explicit HelpWindow(QWidget* parent = nullptr);

    // The help window that is open, or null.
    static HelpWindow* instance();
    // The open help window, or a new one (a window of its own over `parent`'s window when given).
    static HelpWindow* obtain(QWidget* parent);

    // Labels the buttons in the language of code `code` ("de"), in English for a code without words.
    void setLanguageCode(const QString& code);
    // Shows the page `url` ("qrc:/help/de/2.html"); `contentsUrl` is where the contents button leads.
    void showPage(const QUrl& url, const QUrl& contentsUrl);

    QTextBrowser* browser() const { return m_helpBrowser; }

public Q_SLOTS:
    void cmdBack_Click();
    void cmdForward_Click();
    void cmdContents_Click();

private:
    void pageChanged();

    QTextBrowser* m_helpBrowser = nullptr;
    QToolButton* m_cmdBack = nullptr;
    QToolButton* m_cmdForward = nullptr;
    QToolButton* m_cmdContents = nullptr;
    QUrl m_contentsUrl;
};

// Opens the page of help context `contextId` in the current language, or in English where the language
// has no page of it; 0 opens the contents. Returns the help window.
HelpWindow* HelpShow(QWidget* parent, const Language& language, int contextId);
// Opens the page named `name` ("actions") in the current language, or in English where the language has
// no such page.
HelpWindow* HelpShowPage(QWidget* parent, const Language& language, const QString& name);
// Opens the contents of the help in the current language.
HelpWindow* HelpContents(QWidget* parent, const Language& language);
