// The help window: one window that shows a context's page in the program's language, or in English, with
// its history, over its parent and gone with it.

#include "shell/ui/HelpWindow.h"
#include "platform/help/HelpPages.h"
#include "shell/base/Language.h"

#include <QApplication>
#include <QFile>
#include <QRegularExpression>
#include <QTextBrowser>
#include <QToolButton>
#include <QUrl>

#include <gtest/gtest.h>

namespace {

QString pageText(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QString titleOf(const QString& html) {
    static const QRegularExpression title(QStringLiteral("<title>([^<]*)</title>"));
    return title.match(html).captured(1).trimmed();
}

struct HelpWindowTest : ::testing::Test {
    ~HelpWindowTest() override {
        while (HelpWindow* window = HelpWindow::instance())
            delete window;
    }
    static QUrl shown(HelpWindow* window) { return window->browser()->source(); }
};

} // namespace

TEST_F(HelpWindowTest, OneWindowShowsThePageOfTheContextInTheLanguageOrInEnglishWithItsHistory) {
    Language language;
    language.LanguageSet(7);
    HelpWindow* window = HelpShow(nullptr, language, HelpContext::OptionsBasic);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->objectName(), QStringLiteral("HelpWindow"));
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(shown(window), QUrl(QStringLiteral("qrc:/help/de/40.html")));
    EXPECT_EQ(window->windowTitle(), titleOf(pageText(QStringLiteral(":/help/de/40.html"))));
    EXPECT_TRUE(window->browser()->toPlainText().contains(QStringLiteral("Optionen: Allgemein")));
    auto* back = window->findChild<QToolButton*>(QStringLiteral("cmdBack"));
    auto* forward = window->findChild<QToolButton*>(QStringLiteral("cmdForward"));
    auto* contents = window->findChild<QToolButton*>(QStringLiteral("cmdContents"));
    ASSERT_TRUE(back && forward && contents);
    EXPECT_FALSE(back->isEnabled());
    EXPECT_FALSE(forward->isEnabled());
    EXPECT_EQ(contents->text(), QStringLiteral("Inhalt"));

    language.LanguageSet(9);
    EXPECT_EQ(HelpShow(nullptr, language, HelpContext::Display), window);
    EXPECT_EQ(shown(window), QUrl(QStringLiteral("qrc:/help/uk/2.html")));
    EXPECT_EQ(window->windowTitle(), titleOf(pageText(QStringLiteral(":/help/uk/2.html"))));
    EXPECT_EQ(contents->text(), QStringLiteral("Contents"));
    int windows = 0;
    for (QWidget* widget : QApplication::topLevelWidgets())
        windows += widget->objectName() == QLatin1String("HelpWindow") ? 1 : 0;
    EXPECT_EQ(windows, 1);

    // Finnish, chosen from the language list: it has no way back from its number.
    QStringList names;
    language.LanguageFillList(&names);
    for (int i = 1; i <= names.size() && language.LanguageLibrary() != QLatin1String("lang_fi.dll"); ++i)
        language.LanguageApply(i);
    ASSERT_EQ(language.LanguageLibrary(), QStringLiteral("lang_fi.dll"));
    HelpShow(nullptr, language, HelpContext::TelephoneLink);
    EXPECT_EQ(shown(window), QUrl(QStringLiteral("qrc:/help/uk/51.html")));
    HelpShow(nullptr, language, HelpContext::Operation);
    EXPECT_EQ(shown(window), QUrl(QStringLiteral("qrc:/help/fi/3.html")));
    HelpShow(nullptr, language, 12345);
    EXPECT_EQ(shown(window), QUrl(QStringLiteral("qrc:/help/uk/index.html")));
    contents->click();
    EXPECT_EQ(shown(window), QUrl(QStringLiteral("qrc:/help/fi/index.html")))
        << "the contents of the language";

    back->click();
    EXPECT_EQ(shown(window), QUrl(QStringLiteral("qrc:/help/uk/index.html")));
    EXPECT_EQ(window->windowTitle(), titleOf(pageText(QStringLiteral(":/help/uk/index.html"))));
    forward->click();
    EXPECT_EQ(shown(window), QUrl(QStringLiteral("qrc:/help/fi/index.html")));
}

TEST_F(HelpWindowTest, OverItsParentAndGoneWithIt) {
    auto parent = std::make_unique<QWidget>();
    Language language;
    HelpWindow* window = HelpContents(parent.get(), language);
    EXPECT_EQ(shown(window), QUrl(QStringLiteral("qrc:/help/uk/index.html")));
    EXPECT_TRUE(window->isWindow());
    EXPECT_EQ(window->parentWidget(), parent.get());
    EXPECT_FALSE(window->testAttribute(Qt::WA_QuitOnClose));
    parent.reset();
    EXPECT_EQ(HelpWindow::instance(), nullptr);
}
