// The help pages built into the program: valid pages with their links, a page for every context, and
// the choice of a context's page with its fall-back to English.

#include "platform/help/HelpPages.h"
#include "tests/support/TestEnvironment.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QStringDecoder>
#include <QUrl>

#include <gtest/gtest.h>

namespace {

const QStringList Codes{QStringLiteral("de"), QStringLiteral("fi"), QStringLiteral("fr"),
                        QStringLiteral("it"), QStringLiteral("nl"), QStringLiteral("no"),
                        QStringLiteral("uk")};

// Every page built into the program, as resource paths (":/help/de/2.html").
QStringList allPages() {
    QStringList pages;
    QDirIterator it(QStringLiteral(":/help"), {QStringLiteral("*.html")}, QDir::Files,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        pages << it.next();
    return pages;
}

QByteArray readResource(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
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
    return QLatin1Char(':') + QUrl(QStringLiteral("qrc") + page).resolved(QUrl(link)).path();
}

// The context numbers that the sources outside the tests pass to HelpShow as a literal number.
QSet<int> contextsInCode() {
    static const QRegularExpression call(QStringLiteral(R"(HelpShow\([^;()]*,\s*(\d+)\s*\))"));
    const QDir root(SourceRoot());
    QSet<int> numbers;
    QDirIterator it(root.path(), {QStringLiteral("*.cpp"), QStringLiteral("*.h")}, QDir::Files,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString relative = root.relativeFilePath(it.next());
        if (relative.startsWith(QStringLiteral("build")) || relative.startsWith(QLatin1Char('.')) ||
            relative.startsWith(QStringLiteral("tests/")))
            continue;
        const QString text = pageText(root.filePath(relative));
        for (auto match = call.globalMatch(text); match.hasNext();)
            numbers.insert(match.next().captured(1).toInt());
    }
    return numbers;
}

} // namespace

TEST(HelpPages, ValidUtf8WithTitleAndLanguageAndNoScriptsOrDeadLinks) {
    int links = 0;
    for (const QString& page : allPages()) {
        SCOPED_TRACE(page.toStdString());
        QStringDecoder decoder(QStringDecoder::Utf8);
        const QString html = decoder.decode(readResource(page));
        EXPECT_FALSE(decoder.hasError()) << "not valid UTF-8";
        EXPECT_TRUE(html.startsWith(QStringLiteral("<!DOCTYPE html>")));
        EXPECT_TRUE(html.contains(QStringLiteral("<meta charset=\"utf-8\">")));
        EXPECT_FALSE(titleOf(html).isEmpty()) << "no title";
        const QString code = page.section(QLatin1Char('/'), 2, 2);
        const QString lang = code == QLatin1String("uk")   ? QStringLiteral("en")
                             : code == QLatin1String("no") ? QStringLiteral("nb")
                                                           : code;
        EXPECT_TRUE(html.contains(QStringLiteral("<html lang=\"%1\">").arg(lang)));
        EXPECT_FALSE(html.contains(QStringLiteral("<script"), Qt::CaseInsensitive));
        EXPECT_FALSE(html.contains(QStringLiteral("src="), Qt::CaseInsensitive)) << "no external files";
        EXPECT_TRUE(html.trimmed().endsWith(QStringLiteral("</html>")));
        for (const QString& link : linksOf(html)) {
            SCOPED_TRACE(link.toStdString());
            const QUrl url(link);
            EXPECT_TRUE(url.isRelative() && !link.startsWith(QLatin1Char('/')))
                << "links stay inside the help";
            const QString target = targetOf(page, link);
            EXPECT_TRUE(target.startsWith(QStringLiteral(":/help/")) && QFile::exists(target));
            const QString anchor = url.fragment();
            if (!anchor.isEmpty()) {
                EXPECT_TRUE(pageText(target).contains(QStringLiteral("id=\"%1\"").arg(anchor)) ||
                            pageText(target).contains(QStringLiteral("name=\"%1\"").arg(anchor)));
            }
            ++links;
        }
    }
    EXPECT_GT(links, 100);
}

// Every context has an English and a German page, every language its contents and main window pages, and
// the contents link every page of their folder and every other English page.
TEST(HelpPages, EveryContextHasItsPagesAndTheContentsLinkEveryPage) {
    QSet<int> contexts(HelpContext::All.begin(), HelpContext::All.end());
    // The contexts that the menus, the options dialog and the telephone link's messages open.
    for (int named : {2, 3, 40, 41, 42, 43, 44, 46, 51, 100})
        EXPECT_TRUE(contexts.contains(named)) << named;
    const QStringList english = QDir(QStringLiteral(":/help/uk")).entryList(QDir::Files);
    for (int context : contexts.unite(contextsInCode()))
        EXPECT_TRUE(english.contains(QString::number(context) + QStringLiteral(".html"))) << context;
    EXPECT_EQ(QDir(QStringLiteral(":/help/de")).entryList(QDir::Files), english);
    EXPECT_EQ(QDir(QStringLiteral(":/help")).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name), Codes);

    for (const QString& code : Codes) {
        const QString folder = QStringLiteral(":/help/") + code + QLatin1Char('/');
        const QStringList own = QDir(folder).entryList(QDir::Files);
        for (const char* name : {"index.html", "2.html", "3.html"})
            EXPECT_TRUE(own.contains(QLatin1String(name))) << code.toStdString() << " " << name;
        QSet<QString> linked;
        for (const QString& link : linksOf(pageText(folder + QStringLiteral("index.html"))))
            linked.insert(targetOf(folder + QStringLiteral("index.html"), link));
        for (const QString& name : own + english)
            EXPECT_TRUE(name == QLatin1String("index.html") || linked.contains(folder + name) ||
                        (!own.contains(name) && linked.contains(QStringLiteral(":/help/uk/") + name)))
                << code.toStdString() << " " << name.toStdString();
    }
}

TEST(HelpPages, PageOfAContextFallsBackToEnglish) {
    ASSERT_FALSE(QFile::exists(QStringLiteral(":/help/fr/40.html")));
    // A page the language doesn't have, a context without a page, a language without pages: English.
    // Context 0 is the contents of the language.
    const struct {
        const char* code;
        int context;
        const char* url;
    } rows[] = {{"de", 40, "de/40"},   {"uk", 2, "uk/2"},     {"fr", 2, "fr/2"},       {"fi", 3, "fi/3"},
                {"fr", 40, "uk/40"},   {"no", 100, "uk/100"}, {"de", 999, "uk/index"}, {"uk", -1, "uk/index"},
                {"it", 0, "it/index"}, {"xx", 0, "uk/index"}, {"xx", 2, "uk/2"},       {"", 3, "uk/3"},
                {"../uk", 3, "uk/3"},  {"DE", 2, "de/2"}};
    for (const auto& row : rows)
        EXPECT_EQ(HelpPageUrl(QString::fromLatin1(row.code), row.context),
                  QStringLiteral("qrc:/help/%1.html").arg(QLatin1String(row.url)))
            << row.code << " " << row.context;
}

TEST(HelpPages, ANamedPageFallsBackToEnglishAndAStrangeNameToTheContents) {
    const struct {
        const char* code;
        const char* name;
        const char* url;
    } rows[] = {{"de", "actions", "de/actions"},     {"uk", "actions", "uk/actions"},
                {"fr", "actions", "uk/actions"},     {"de", "nosuchpage", "uk/index"},
                {"de", "../uk/actions", "uk/index"}, {"de", "", "uk/index"},
                {"xx", "answering", "uk/answering"}};
    for (const auto& row : rows)
        EXPECT_EQ(HelpNamedPageUrl(QString::fromLatin1(row.code), QString::fromLatin1(row.name)),
                  QStringLiteral("qrc:/help/%1.html").arg(QLatin1String(row.url)))
            << row.code << " " << row.name;
}
