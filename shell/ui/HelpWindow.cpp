#include "shell/ui/HelpWindow.h"

#include "platform/help/HelpPages.h"
#include "shell/base/Language.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QStyle>
#include <QTextBrowser>
#include <QToolButton>
#include <QVBoxLayout>

namespace {
// The buttons' words in the language of the help pages shown.
struct ButtonWords {
    const char* code;
    const char* back;
    const char* forward;
    const char* contents;
};

constexpr ButtonWords Words[] = {
    {"uk", "Back", "Forward", "Contents"},       {"de", "Zurück", "Vorwärts", "Inhalt"},
    {"fr", "Précédent", "Suivant", "Sommaire"},  {"it", "Indietro", "Avanti", "Sommario"},
    {"nl", "Terug", "Vooruit", "Inhoud"},        {"no", "Tilbake", "Frem", "Innhold"},
    {"fi", "Takaisin", "Eteenpäin", "Sisällys"},
};

const ButtonWords& wordsOf(const QString& code) {
    for (const ButtonWords& words : Words) {
        if (code == QLatin1String(words.code))
            return words;
    }
    return Words[0];
}

QToolButton* addButton(QWidget* parent, QHBoxLayout* row, const char* name, const QIcon& icon) {
    auto* button = new QToolButton(parent);
    button->setObjectName(QString::fromLatin1(name));
    button->setIcon(icon);
    button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    button->setAutoRaise(true);
    row->addWidget(button);
    return button;
}
} // namespace

HelpWindow::HelpWindow(QWidget* parent) : QWidget(parent, Qt::Window) {
    setObjectName(QStringLiteral("HelpWindow"));
    // Closing the help frees it; it never keeps the program running once the main window is gone.
    setAttribute(Qt::WA_DeleteOnClose);
    setAttribute(Qt::WA_QuitOnClose, false);
    setWindowTitle(QStringLiteral("Morva"));

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    auto* row = new QHBoxLayout;
    QStyle* st = style();
    m_cmdBack =
        addButton(this, row, "cmdBack",
                  QIcon::fromTheme(QStringLiteral("go-previous"), st->standardIcon(QStyle::SP_ArrowBack)));
    m_cmdForward =
        addButton(this, row, "cmdForward",
                  QIcon::fromTheme(QStringLiteral("go-next"), st->standardIcon(QStyle::SP_ArrowForward)));
    m_cmdContents =
        addButton(this, row, "cmdContents",
                  QIcon::fromTheme(QStringLiteral("go-home"), st->standardIcon(QStyle::SP_DirHomeIcon)));
    setLanguageCode(QLatin1String(HelpFallbackCode));
    row->addStretch(1);
    layout->addLayout(row);

    m_helpBrowser = new QTextBrowser(this);
    m_helpBrowser->setObjectName(QStringLiteral("helpBrowser"));
    m_helpBrowser->setOpenLinks(true);
    m_helpBrowser->setOpenExternalLinks(false);
    layout->addWidget(m_helpBrowser, 1);

    m_cmdBack->setEnabled(false);
    m_cmdForward->setEnabled(false);
    m_cmdBack->setShortcut(QKeySequence::Back);
    m_cmdForward->setShortcut(QKeySequence::Forward);
    connect(m_cmdBack, &QToolButton::clicked, this, &HelpWindow::cmdBack_Click);
    connect(m_cmdForward, &QToolButton::clicked, this, &HelpWindow::cmdForward_Click);
    connect(m_cmdContents, &QToolButton::clicked, this, &HelpWindow::cmdContents_Click);
    connect(m_helpBrowser, &QTextBrowser::backwardAvailable, m_cmdBack, &QWidget::setEnabled);
    connect(m_helpBrowser, &QTextBrowser::forwardAvailable, m_cmdForward, &QWidget::setEnabled);
    connect(m_helpBrowser, &QTextBrowser::sourceChanged, this, &HelpWindow::pageChanged);
    resize(620, 560);
}

HelpWindow* HelpWindow::instance() {
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget* window : windows) {
        if (auto* help = qobject_cast<HelpWindow*>(window))
            return help;
    }
    return nullptr;
}

HelpWindow* HelpWindow::obtain(QWidget* parent) {
    if (HelpWindow* open = instance())
        return open;
    return new HelpWindow(parent ? parent->window() : nullptr);
}

void HelpWindow::setLanguageCode(const QString& code) {
    const ButtonWords& words = wordsOf(code);
    const std::pair<QToolButton*, const char*> buttons[] = {
        {m_cmdBack, words.back}, {m_cmdForward, words.forward}, {m_cmdContents, words.contents}};
    for (const auto& [button, word] : buttons) {
        button->setText(QString::fromUtf8(word));
        button->setToolTip(QString::fromUtf8(word));
    }
}

void HelpWindow::showPage(const QUrl& url, const QUrl& contentsUrl) {
    m_contentsUrl = contentsUrl;
    if (m_helpBrowser->source() == url)
        pageChanged();
    else
        m_helpBrowser->setSource(url);
    show();
    raise();
    activateWindow();
}

void HelpWindow::cmdBack_Click() {
    m_helpBrowser->backward();
}

void HelpWindow::cmdForward_Click() {
    m_helpBrowser->forward();
}

void HelpWindow::cmdContents_Click() {
    if (m_contentsUrl.isValid())
        m_helpBrowser->setSource(m_contentsUrl);
}

void HelpWindow::pageChanged() {
    const QString title = m_helpBrowser->documentTitle();
    setWindowTitle(title.isEmpty() ? QStringLiteral("Morva") : title);
}

HelpWindow* HelpShow(QWidget* parent, const Language& language, int contextId) {
    const QString code = language.LanguageCode();
    HelpWindow* window = HelpWindow::obtain(parent);
    window->setLanguageCode(code);
    window->showPage(QUrl(HelpPageUrl(code, contextId)), QUrl(HelpPageUrl(code, HelpContext::Contents)));
    return window;
}

HelpWindow* HelpShowPage(QWidget* parent, const Language& language, const QString& name) {
    const QString code = language.LanguageCode();
    HelpWindow* window = HelpWindow::obtain(parent);
    window->setLanguageCode(code);
    window->showPage(QUrl(HelpNamedPageUrl(code, name)), QUrl(HelpPageUrl(code, HelpContext::Contents)));
    return window;
}

HelpWindow* HelpContents(QWidget* parent, const Language& language) {
    return HelpShow(parent, language, HelpContext::Contents);
}
