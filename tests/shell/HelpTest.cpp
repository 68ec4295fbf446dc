// The help: the pages built into the program, their links, the choice of a context's page with its
// fall-back to English, and the help window that shows them.

#include "platform/help/HelpPages.h"
#include "shell/Language.h"
#include "shell/ui/HelpWindow.h"

#include <QApplication>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>
#include <QStringDecoder>
#include <QTextBrowser>
#include <QToolButton>
#include <QUrl>

#include <gtest/gtest.h>

namespace {

const QStringList& allCodes() {
    static const QStringList codes{QStringLiteral("uk"), QStringLiteral("de"), QStringLiteral("fr"),
                                   QStringLiteral("it"), QStringLiteral("nl"), QStringLiteral("no"),
                                   QStringLiteral("fi")};
    return codes;
}

// Every page built into the program, as resource paths (":/help/de/2.html").
QStringList allPages() {
    QStringList pages;
    QDirIterator it(QStringLiteral(":/help"), {QStringLiteral("*.html")}, QDir::Files,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        pages << it.next();
    pages.sort();
    return pages;
}

QByteArray readResource(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

QString pageText(const QString& path) {
    return QString::fromUtf8(readResource(path));
}

QString titleOf(const QString& html) {
    static const QRegularExpression title(QStringLiteral("<title>([^<]*)</title>"));
    return title.match(html).captured(1).trimmed();
}

// The links of a page: the values of its href attributes.
QStringList linksOf(const QString& html) {
    static const QRegularExpression href(QStringLiteral(R"re(href\s*=\s*"([^"]*)")re"),
                                         QRegularExpression::CaseInsensitiveOption);
    QStringList links;
    for (auto match = href.globalMatch(html); match.hasNext();)
        links << match.next().captured(1);
    return links;
}

// The resource path a link of the page `page` leads to.
QString targetOf(const QString& page, const QString& link) {
    const QUrl base(QStringLiteral("qrc") + page);
    return QLatin1Char(':') + base.resolved(QUrl(link)).path();
}

// The repository's root, from the place of this file: tests/shell/HelpTest.cpp.
QString sourceRoot() {
    QDir dir = QFileInfo(QString::fromUtf8(__FILE__)).absoluteDir();
    dir.cdUp();
    dir.cdUp();
    return dir.absolutePath();
}

// The context numbers that the sources pass to HelpShow as a literal number.
QSet<int> contextsInCode() {
    static const QRegularExpression call(QStringLiteral(R"(HelpShow\([^;()]*,\s*(\d+)\s*\))"));
    const QString root = sourceRoot();
    QSet<int> numbers;
    QDirIterator it(root, {QStringLiteral("*.cpp"), QStringLiteral("*.h")}, QDir::Files,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QString relative = QDir(root).relativeFilePath(path);
        if (relative.startsWith(QStringLiteral("build")) || relative.startsWith(QLatin1Char('.')) ||
            relative.startsWith(QStringLiteral("tests/")))
            continue;
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            continue;
        const QString text = QString::fromUtf8(file.readAll());
        for (auto match = call.globalMatch(text); match.hasNext();)
            numbers.insert(match.next().captured(1).toInt());
    }
    return numbers;
}

// A language with the catalog of `library` ("lang_fr.dll") current, through the language list.
void choose(Language& language, const QString& library) {
    QStringList names;
    language.LanguageFillList(&names);
    for (int i = 1; i <= names.size(); ++i) {
        language.LanguageApply(i);
        if (language.LanguageLibrary() == library)
            return;
    }
    FAIL() << "no catalog " << library.toStdString();
}

struct HelpWindowTest : ::testing::Test {
    ~HelpWindowTest() override {
        while (HelpWindow* window = HelpWindow::instance())
            delete window;
    }
};

} // namespace

TEST(HelpPages, EveryContextHasAnEnglishAndAGermanPage) {
    QSet<int> contexts(HelpContext::All.begin(), HelpContext::All.end());
    // The contexts that the menus, the options dialog and the telephone link's messages open.
    for (int named : {2, 3, 40, 41, 42, 43, 44, 46, 51, 100})
        EXPECT_TRUE(contexts.contains(named)) << named;
    contexts.unite(contextsInCode());
    for (int context : std::as_const(contexts)) {
        for (const char* code : {"uk", "de"}) {
            const QString page = QStringLiteral(":/help/%1/%2.html").arg(QLatin1String(code)).arg(context);
            EXPECT_TRUE(QFile::exists(page)) << page.toStdString();
        }
    }
}

TEST(HelpPages, GermanHasEveryEnglishPage) {
    const QStringList english = QDir(QStringLiteral(":/help/uk")).entryList(QDir::Files);
    const QStringList german = QDir(QStringLiteral(":/help/de")).entryList(QDir::Files);
    EXPECT_EQ(german, english);
}

TEST(HelpPages, EveryLanguageHasItsContentsAndTheMainWindowPages) {
    for (const QString& code : allCodes()) {
        for (const char* name : {"index.html", "2.html", "3.html"}) {
            const QString page = QStringLiteral(":/help/") + code + QLatin1Char('/') + QLatin1String(name);
            EXPECT_TRUE(QFile::exists(page)) << page.toStdString();
        }
    }
    // No folder besides the seven languages.
    QStringList folders = QDir(QStringLiteral(":/help")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    QStringList expected = allCodes();
    folders.sort();
    expected.sort();
    EXPECT_EQ(folders, expected);
}

TEST(HelpPages, ValidUtf8WithTitleLanguageAndNoScripts) {
    const QHash<QString, QString> htmlLanguage{
        {QStringLiteral("uk"), QStringLiteral("en")}, {QStringLiteral("de"), QStringLiteral("de")},
        {QStringLiteral("fr"), QStringLiteral("fr")}, {QStringLiteral("it"), QStringLiteral("it")},
        {QStringLiteral("nl"), QStringLiteral("nl")}, {QStringLiteral("no"), QStringLiteral("nb")},
        {QStringLiteral("fi"), QStringLiteral("fi")}};
    for (const QString& page : allPages()) {
        SCOPED_TRACE(page.toStdString());
        const QByteArray bytes = readResource(page);
        QStringDecoder decoder(QStringDecoder::Utf8);
        const QString html = decoder.decode(bytes);
        EXPECT_FALSE(decoder.hasError()) << "not valid UTF-8";
        EXPECT_TRUE(html.startsWith(QStringLiteral("<!DOCTYPE html>")));
        EXPECT_TRUE(html.contains(QStringLiteral("<meta charset=\"utf-8\">")));
        EXPECT_FALSE(titleOf(html).isEmpty()) << "no title";
        const QString code = page.section(QLatin1Char('/'), 2, 2);
        EXPECT_TRUE(html.contains(QStringLiteral("<html lang=\"%1\">").arg(htmlLanguage.value(code))));
        EXPECT_FALSE(html.contains(QStringLiteral("<script"), Qt::CaseInsensitive));
        EXPECT_FALSE(html.contains(QStringLiteral("src="), Qt::CaseInsensitive)) << "no external files";
        EXPECT_TRUE(html.trimmed().endsWith(QStringLiteral("</html>")));
    }
}

TEST(HelpPages, NoDeadLinks) {
    int checked = 0;
    for (const QString& page : allPages()) {
        for (const QString& link : linksOf(pageText(page))) {
            SCOPED_TRACE(page.toStdString() + " -> " + link.toStdString());
            const QUrl url(link);
            EXPECT_TRUE(url.isRelative()) << "links stay inside the help";
            EXPECT_FALSE(link.startsWith(QLatin1Char('/')));
            const QString target = targetOf(page, link);
            EXPECT_TRUE(target.startsWith(QStringLiteral(":/help/")));
            EXPECT_TRUE(QFile::exists(target)) << target.toStdString();
            if (url.hasFragment()) {
                const QString anchor = url.fragment();
                const QString html = pageText(target);
                EXPECT_TRUE(html.contains(QStringLiteral("id=\"%1\"").arg(anchor)) ||
                            html.contains(QStringLiteral("name=\"%1\"").arg(anchor)));
            }
            ++checked;
        }
    }
    EXPECT_GT(checked, 100);
}

TEST(HelpPages, ContentsLinkToEveryPageOfTheirFolder) {
    for (const QString& code : allCodes()) {
        const QString folder = QStringLiteral(":/help/") + code + QLatin1Char('/');
        const QString index = folder + QStringLiteral("index.html");
        QSet<QString> linked;
        for (const QString& link : linksOf(pageText(index)))
            linked.insert(targetOf(index, link));
        for (const QString& name : QDir(folder).entryList(QDir::Files)) {
            if (name != QLatin1String("index.html")) {
                EXPECT_TRUE(linked.contains(folder + name)) << (folder + name).toStdString();
            }
        }
        // The contents reach every context, in the language or in English.
        for (int context : HelpContext::All) {
            const QString page = HelpPagePath(code, context);
            EXPECT_TRUE(linked.contains(page)) << code.toStdString() << " " << context;
        }
        if (code != QLatin1String("uk")) {
            // Every other English page too.
            for (const QString& name : QDir(QStringLiteral(":/help/uk")).entryList(QDir::Files)) {
                if (name == QLatin1String("index.html"))
                    continue;
                EXPECT_TRUE(linked.contains(folder + name) ||
                            linked.contains(QStringLiteral(":/help/uk/") + name))
                    << code.toStdString() << " " << name.toStdString();
            }
        }
    }
}

TEST(HelpPages, PageOfAContextFallsBackToEnglish) {
    EXPECT_EQ(HelpPageUrl(QStringLiteral("de"), 40), QStringLiteral("qrc:/help/de/40.html"));
    EXPECT_EQ(HelpPageUrl(QStringLiteral("uk"), 2), QStringLiteral("qrc:/help/uk/2.html"));
    EXPECT_EQ(HelpPageUrl(QStringLiteral("fr"), 2), QStringLiteral("qrc:/help/fr/2.html"));
    EXPECT_EQ(HelpPageUrl(QStringLiteral("fi"), 3), QStringLiteral("qrc:/help/fi/3.html"));
    // A page the language doesn't have: the English one.
    ASSERT_FALSE(QFile::exists(QStringLiteral(":/help/fr/40.html")));
    EXPECT_EQ(HelpPageUrl(QStringLiteral("fr"), 40), QStringLiteral("qrc:/help/uk/40.html"));
    EXPECT_EQ(HelpPageUrl(QStringLiteral("no"), 100), QStringLiteral("qrc:/help/uk/100.html"));
    // A context without a page: the English contents.
    EXPECT_EQ(HelpPageUrl(QStringLiteral("de"), 999), QStringLiteral("qrc:/help/uk/index.html"));
    EXPECT_EQ(HelpPageUrl(QStringLiteral("uk"), -1), QStringLiteral("qrc:/help/uk/index.html"));
    // Context 0: the contents of the language.
    EXPECT_EQ(HelpPageUrl(QStringLiteral("it"), 0), QStringLiteral("qrc:/help/it/index.html"));
    // A language without pages: English throughout.
    EXPECT_EQ(HelpPageUrl(QStringLiteral("xx"), 0), QStringLiteral("qrc:/help/uk/index.html"));
    EXPECT_EQ(HelpPageUrl(QStringLiteral("xx"), 2), QStringLiteral("qrc:/help/uk/2.html"));
    EXPECT_EQ(HelpPageUrl(QString(), 3), QStringLiteral("qrc:/help/uk/3.html"));
    EXPECT_EQ(HelpPageUrl(QStringLiteral("../uk"), 3), QStringLiteral("qrc:/help/uk/3.html"));
    EXPECT_EQ(HelpPageUrl(QStringLiteral("DE"), 2), QStringLiteral("qrc:/help/de/2.html"));
    // Every context and language leads to a page that exists.
    for (const QString& code : allCodes()) {
        for (int context : HelpContext::All)
            EXPECT_TRUE(QFile::exists(HelpPagePath(code, context))) << code.toStdString() << " " << context;
    }
}

TEST_F(HelpWindowTest, HelpShowOpensThePageOfTheContextInTheLanguage) {
    Language language;
    language.LanguageSet(7);
    HelpWindow* window = HelpShow(nullptr, language, HelpContext::OptionsBasic);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->objectName(), QStringLiteral("HelpWindow"));
    EXPECT_TRUE(window->isVisible());
    auto* browser = window->findChild<QTextBrowser*>(QStringLiteral("helpBrowser"));
    ASSERT_NE(browser, nullptr);
    EXPECT_EQ(browser->source(), QUrl(QStringLiteral("qrc:/help/de/40.html")));
    EXPECT_EQ(window->windowTitle(), titleOf(pageText(QStringLiteral(":/help/de/40.html"))));
    EXPECT_TRUE(browser->toPlainText().contains(QStringLiteral("Optionen: Allgemein")));
    EXPECT_EQ(window->findChild<QToolButton*>(QStringLiteral("cmdContents"))->text(),
              QStringLiteral("Inhalt"));

    // The same window serves the next request.
    language.LanguageSet(9);
    EXPECT_EQ(HelpShow(nullptr, language, HelpContext::Display), window);
    EXPECT_EQ(browser->source(), QUrl(QStringLiteral("qrc:/help/uk/2.html")));
    EXPECT_EQ(window->windowTitle(), titleOf(pageText(QStringLiteral(":/help/uk/2.html"))));
    EXPECT_EQ(window->findChild<QToolButton*>(QStringLiteral("cmdContents"))->text(),
              QStringLiteral("Contents"));
    int windows = 0;
    for (QWidget* widget : QApplication::topLevelWidgets())
        windows += widget->objectName() == QLatin1String("HelpWindow") ? 1 : 0;
    EXPECT_EQ(windows, 1);
}

TEST_F(HelpWindowTest, EnglishWhereTheLanguageHasNoPage) {
    Language language;
    choose(language, QStringLiteral("lang_fi.dll"));
    HelpWindow* window = HelpShow(nullptr, language, HelpContext::TelephoneLink);
    EXPECT_EQ(window->browser()->source(), QUrl(QStringLiteral("qrc:/help/uk/51.html")));
    HelpShow(nullptr, language, HelpContext::Operation);
    EXPECT_EQ(window->browser()->source(), QUrl(QStringLiteral("qrc:/help/fi/3.html")));
    HelpShow(nullptr, language, 12345);
    EXPECT_EQ(window->browser()->source(), QUrl(QStringLiteral("qrc:/help/uk/index.html")));
    // The contents button leads to the contents of the language.
    window->findChild<QToolButton*>(QStringLiteral("cmdContents"))->click();
    EXPECT_EQ(window->browser()->source(), QUrl(QStringLiteral("qrc:/help/fi/index.html")));
}

TEST_F(HelpWindowTest, ContentsBackAndForward) {
    Language language;
    language.LanguageSet(12);
    HelpWindow* window = HelpContents(nullptr, language);
    QTextBrowser* browser = window->browser();
    EXPECT_EQ(browser->source(), QUrl(QStringLiteral("qrc:/help/fr/index.html")));
    auto* back = window->findChild<QToolButton*>(QStringLiteral("cmdBack"));
    auto* forward = window->findChild<QToolButton*>(QStringLiteral("cmdForward"));
    ASSERT_NE(back, nullptr);
    ASSERT_NE(forward, nullptr);
    EXPECT_FALSE(back->isEnabled());
    EXPECT_FALSE(forward->isEnabled());

    // A link of the page, as a click on it follows it.
    browser->setSource(QUrl(QStringLiteral("qrc:/help/fr/2.html")));
    EXPECT_EQ(window->windowTitle(), titleOf(pageText(QStringLiteral(":/help/fr/2.html"))));
    EXPECT_TRUE(back->isEnabled());
    back->click();
    EXPECT_EQ(browser->source(), QUrl(QStringLiteral("qrc:/help/fr/index.html")));
    EXPECT_EQ(window->windowTitle(), titleOf(pageText(QStringLiteral(":/help/fr/index.html"))));
    EXPECT_TRUE(forward->isEnabled());
    forward->click();
    EXPECT_EQ(browser->source(), QUrl(QStringLiteral("qrc:/help/fr/2.html")));

    // A relative link into the English pages resolves inside the resources.
    browser->setSource(QUrl(QStringLiteral("qrc:/help/fr/index.html")));
    browser->setSource(browser->source().resolved(QUrl(QStringLiteral("../uk/line.html"))));
    EXPECT_EQ(browser->source(), QUrl(QStringLiteral("qrc:/help/uk/line.html")));
    EXPECT_FALSE(browser->toPlainText().isEmpty());
    window->findChild<QToolButton*>(QStringLiteral("cmdContents"))->click();
    EXPECT_EQ(browser->source(), QUrl(QStringLiteral("qrc:/help/fr/index.html")));
}

TEST_F(HelpWindowTest, OverItsParentAndGoneWithIt) {
    auto parent = std::make_unique<QWidget>();
    Language language;
    HelpWindow* window = HelpShow(parent.get(), language, HelpContext::Display);
    EXPECT_TRUE(window->isWindow());
    EXPECT_EQ(window->parentWidget(), parent.get());
    EXPECT_FALSE(window->testAttribute(Qt::WA_QuitOnClose));
    parent.reset();
    EXPECT_EQ(HelpWindow::instance(), nullptr);
}
