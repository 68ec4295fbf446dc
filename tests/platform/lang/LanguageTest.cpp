// The language catalogs built into the program agree with each other and with the code.

#include "platform/lang/LanguageCatalogs.h"
#include "tests/support/TestEnvironment.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {
const QStringList& allLibraries() {
    static const QStringList libraries{QStringLiteral("lang_de.dll"), QStringLiteral("lang_fi.dll"),
                                       QStringLiteral("lang_fr.dll"), QStringLiteral("lang_it.dll"),
                                       QStringLiteral("lang_nl.dll"), QStringLiteral("lang_no.dll"),
                                       QStringLiteral("lang_uk.dll")};
    return libraries;
}

// The numbers that the code asks for with a literal number as the argument of LanguageString.
QSet<int> numbersUsedInCode() {
    static const QRegularExpression call(QStringLiteral(R"(LanguageString\(\s*(\d+)\s*\))"));
    const QString root = SourceRoot();
    QSet<int> numbers;
    QDirIterator it(root, {QStringLiteral("*.cpp"), QStringLiteral("*.h")}, QDir::Files,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QString relative = QDir(root).relativeFilePath(path);
        if (relative.startsWith(QStringLiteral("build")) || relative.startsWith(QLatin1Char('.')))
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

} // namespace

TEST(LanguageCatalogs, AllHoldTheSameNumbersWithTexts) {
    LanguageCatalogs catalogs;
    ASSERT_GE(catalogs.SetLanguageDLL(QStringLiteral("lang_uk.dll")), 0);
    const QList<int> english = catalogs.Numbers();
    ASSERT_GT(english.size(), 200);
    for (const QString& library : allLibraries()) {
        ASSERT_GE(catalogs.SetLanguageDLL(library), 0) << library.toStdString();
        EXPECT_EQ(catalogs.Numbers(), english) << library.toStdString();
        for (int number : english) {
            EXPECT_FALSE(catalogs.GetResString(number).trimmed().isEmpty())
                << library.toStdString() << " " << number;
            // The language module cuts a text at 255 characters, as the old text buffer did.
            EXPECT_LE(catalogs.GetResString(number).size(), 255) << library.toStdString() << " " << number;
        }
    }
}

TEST(LanguageCatalogs, HoldEveryNumberTheCodeAsksFor) {
    const QSet<int> used = numbersUsedInCode();
    ASSERT_TRUE(used.contains(5160)) << "the source scan found " << used.size() << " numbers";
    LanguageCatalogs catalogs;
    for (const QString& library : allLibraries()) {
        ASSERT_GE(catalogs.SetLanguageDLL(library), 0);
        for (int number : used)
            EXPECT_FALSE(catalogs.GetResString(number).isEmpty()) << library.toStdString() << " " << number;
    }
}

TEST(LanguageCatalogs, EachLanguageNamesItselfDifferently) {
    const QStringList own{QStringLiteral("Deutsch"),    QStringLiteral("Suomi"),
                          QStringLiteral("Français"),   QStringLiteral("Italiano"),
                          QStringLiteral("Nederlands"), QStringLiteral("Norsk"),
                          QStringLiteral("English")};
    LanguageCatalogs catalogs;
    for (qsizetype i = 0; i < allLibraries().size(); ++i) {
        ASSERT_GE(catalogs.SetLanguageDLL(allLibraries().at(i)), 0);
        EXPECT_EQ(catalogs.GetResString(90), own.at(i));
    }
}

TEST(LanguageCatalogs, UnknownNumbersAndLibraries) {
    LanguageCatalogs catalogs;
    const int unknown = 4242;
    EXPECT_EQ(catalogs.GetResString(90), QString()) << "no catalog set yet";
    EXPECT_LT(catalogs.SetLanguageDLL(QStringLiteral("lang_xx.dll")), 0);
    EXPECT_LT(catalogs.SetLanguageDLL(QStringLiteral("capilink.dll")), 0);
    ASSERT_GE(catalogs.SetLanguageDLL(QStringLiteral("LANG_DE.DLL")), 0) << "names are compared without case";
    EXPECT_EQ(catalogs.GetResString(unknown), QString());
    EXPECT_LT(catalogs.SetLanguageDLL(QStringLiteral("lang_xx.dll")), 0);
    EXPECT_EQ(catalogs.GetResString(90), QStringLiteral("Deutsch")) << "a failed switch keeps the catalog";
    ASSERT_GE(catalogs.SetLanguageDLL(QString(QStringLiteral("lang_uk.dll")) + QChar(0)), 0)
        << "a name with its closing NUL";
    EXPECT_EQ(catalogs.GetResString(90), QStringLiteral("English"));
}

TEST(LanguageCatalogs, MalformedLinesArePassedOver) {
    const QByteArray contents = "# a comment\n"
                                "\n"
                                "90\tTest\r\n"
                                "abc\tnot a number\n"
                                "100 no tab\n"
                                "\t101 no number\n"
                                "999999\ttoo big\n"
                                "102\tunknown \\q escape\n"
                                "103\tends in a backslash\\\n"
                                "104\tline\\none\\ttab \\\\ back \n"
                                "105\tfirst\n"
                                "105\tsecond\n"
                                "106\t\xc3\xa4\xc3\xb6\xc3\xbc\n"
                                "-7\tnegative\n"
                                "107";
    const QHash<int, QString> texts = LanguageCatalogs::Parse(contents);
    EXPECT_EQ(texts.size(), 4);
    EXPECT_EQ(texts.value(90), QStringLiteral("Test"));
    EXPECT_EQ(texts.value(104), QStringLiteral("line\none\ttab \\ back "));
    EXPECT_EQ(texts.value(105), QStringLiteral("first"));
    EXPECT_EQ(texts.value(106), QStringLiteral("äöü"));
}
