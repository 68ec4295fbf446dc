// The language module over the catalogs: the product name, the choice of language by the library table,
// the language list and the help folder of the language.

#include "shell/base/Language.h"
#include "platform/lang/LanguageCatalogs.h"

#include <QDir>
#include <QFile>
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

void writeFile(const QString& path, const QByteArray& contents) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(contents);
}

// The index (from 1) of a library in the language list.
int listIndexOf(const QString& library) {
    return int(allLibraries().indexOf(library)) + 1;
}
} // namespace

TEST(Language, ProductNameWhereverAndAsOftenAsItStands) {
    QTemporaryDir dir;
    writeFile(dir.filePath(QStringLiteral("lang_uk.txt")),
              "90\tEnglish\n1\t%p\n2\t%p starts, %p%p ends %p\n3\t100%\n");
    Language language(dir.path());
    const int one = 1, two = 2, three = 3;
    EXPECT_EQ(language.LanguageString(one), QStringLiteral("Morva"));
    EXPECT_EQ(language.LanguageString(two), QStringLiteral("Morva starts, MorvaMorva ends Morva"));
    EXPECT_EQ(language.LanguageString(three), QStringLiteral("100%"));

    Language builtIn;
    for (const QString& library : allLibraries()) {
        LanguageCatalogs catalogs;
        ASSERT_GE(catalogs.SetLanguageDLL(library), 0);
        QStringList names;
        builtIn.LanguageFillList(&names);
        builtIn.LanguageApply(listIndexOf(library));
        ASSERT_EQ(builtIn.LanguageLibrary(), library);
        for (int number : catalogs.Numbers()) {
            const QString raw = catalogs.GetResString(number);
            const QString text = builtIn.LanguageString(number);
            EXPECT_FALSE(text.contains(QStringLiteral("%p"))) << library.toStdString() << " " << number;
            EXPECT_EQ(text.count(QStringLiteral("Morva")),
                      raw.count(QStringLiteral("%p")) + raw.count(QStringLiteral("Morva")));
        }
    }
}

TEST(Language, CutAt255Characters) {
    QTemporaryDir dir;
    writeFile(dir.filePath(QStringLiteral("lang_uk.txt")), "90\tEnglish\n1\t" + QByteArray(300, 'x') + "\n");
    Language language(dir.path());
    const int number = 1;
    EXPECT_EQ(language.LanguageString(number), QString(255, QLatin1Char('x')));
}

TEST(Language, EnglishByDefaultWithItsKnownTexts) {
    Language language;
    EXPECT_EQ(language.LanguageId(), 9);
    EXPECT_EQ(language.LanguageLibrary(), QStringLiteral("lang_uk.dll"));
    EXPECT_EQ(language.LanguageString(619), QStringLiteral("Idle"));
    EXPECT_EQ(language.LanguageString(620), QStringLiteral("Unknown call state"));
    EXPECT_EQ(language.LanguageString(624), QStringLiteral("Connected"));
    EXPECT_EQ(language.LanguageString(626), QStringLiteral("Ringing"));
    EXPECT_EQ(language.LanguageString(629), QStringLiteral("(outgoing)"));
    EXPECT_EQ(language.LanguageString(630), QStringLiteral("(incoming)"));
    EXPECT_EQ(language.LanguageString(631), QStringLiteral("Answering machine"));
    EXPECT_EQ(language.LanguageString(3200), QStringLiteral("Number:"));
    EXPECT_EQ(language.LanguageString(3201), QStringLiteral("Current call"));
    EXPECT_EQ(language.LanguageString(3202), QStringLiteral("State:"));
    EXPECT_EQ(language.LanguageString(3203), QStringLiteral("Charges:"));
    EXPECT_EQ(language.LanguageString(3204), QStringLiteral("Duration:"));
    EXPECT_EQ(language.LanguageString(3223), QStringLiteral("MSN:"));
    EXPECT_EQ(language.LanguageString(3224), QStringLiteral("Place:"));
    EXPECT_EQ(language.LanguageString(5160), QStringLiteral("no MSN"));
    const int unknown = 4242;
    EXPECT_EQ(language.LanguageString(unknown), QString());
}

TEST(Language, NumberToLibraryTable) {
    EXPECT_EQ(Language::LibraryOfNumber(7), QStringLiteral("lang_de.dll"));
    EXPECT_EQ(Language::LibraryOfNumber(9), QStringLiteral("lang_uk.dll"));
    EXPECT_EQ(Language::LibraryOfNumber(12), QStringLiteral("lang_fr.dll"));
    EXPECT_EQ(Language::LibraryOfNumber(16), QStringLiteral("lang_it.dll"));
    EXPECT_EQ(Language::LibraryOfNumber(19), QStringLiteral("lang_nl.dll"));
    EXPECT_EQ(Language::LibraryOfNumber(20), QStringLiteral("lang_no.dll"));
    EXPECT_EQ(Language::LibraryOfNumber(11), QStringLiteral("lang_uk.dll")) << "Finnish has no way back";
    EXPECT_EQ(Language::LibraryOfNumber(0), QStringLiteral("lang_uk.dll"));
    EXPECT_EQ(Language::LibraryOfNumber(10), QStringLiteral("lang_uk.dll"));
    EXPECT_EQ(Language::NumberOfLibrary(QStringLiteral("LANG_FI.DLL")), 11);
    EXPECT_EQ(Language::NumberOfLibrary(QStringLiteral("lang_No.dll")), 20);
    EXPECT_EQ(Language::NumberOfLibrary(QStringLiteral("lang_xx.dll")), 0);

    Language language;
    language.LanguageSet(7);
    EXPECT_EQ(language.LanguageString(90), QStringLiteral("Deutsch"));
    EXPECT_EQ(language.LanguageId(), 9) << "LanguageSet doesn't change the current number";
    language.LanguageSet(11);
    EXPECT_EQ(language.LanguageString(90), QStringLiteral("English"));
    language.LanguageSet(55);
    EXPECT_EQ(language.LanguageString(90), QStringLiteral("English"));
    language.setLanguageId(20);
    EXPECT_EQ(language.LanguageId(), 20);
    EXPECT_EQ(language.LanguageString(90), QStringLiteral("Norsk"));
}

TEST(Language, FinnishOnlyThroughTheList) {
    Language language;
    QStringList names;
    ASSERT_EQ(language.LanguageFillList(&names), 7);
    const int finnish = listIndexOf(QStringLiteral("lang_fi.dll"));
    language.LanguageApply(finnish);
    EXPECT_EQ(language.LanguageId(), 11);
    EXPECT_EQ(language.LanguageLibrary(), QStringLiteral("lang_fi.dll"));
    EXPECT_EQ(language.LanguageString(90), QStringLiteral("Suomi"));
    EXPECT_EQ(language.LanguageSelect(), finnish);

    // Filling the list again keeps Finnish for this run.
    language.LanguageFillList(&names);
    EXPECT_EQ(language.LanguageString(90), QStringLiteral("Suomi"));

    // At the next start the stored number 11 gives English.
    Language nextStart;
    nextStart.setLanguageId(language.LanguageId());
    EXPECT_EQ(nextStart.LanguageString(90), QStringLiteral("English"));
    nextStart.LanguageFillList(nullptr);
    EXPECT_EQ(nextStart.LanguageSelect(), finnish) << "the list still shows the stored language";
}

TEST(Language, ListShowsEachLanguageInItsOwnAndKeepsTheCurrent) {
    Language language;
    language.setLanguageId(7);
    QStringList names{QStringLiteral("stale")};
    EXPECT_EQ(language.LanguageFillList(&names), 7);
    EXPECT_EQ(names,
              (QStringList{QStringLiteral("Deutsch"), QStringLiteral("Suomi"), QStringLiteral("Français"),
                           QStringLiteral("Italiano"), QStringLiteral("Nederlands"), QStringLiteral("Norsk"),
                           QStringLiteral("English")}));
    EXPECT_EQ(language.LanguageLibrary(), QStringLiteral("lang_de.dll"));
    EXPECT_EQ(language.LanguageString(90), QStringLiteral("Deutsch"));
    EXPECT_EQ(language.LanguageSelect(), 1);

    language.LanguageApply(4);
    EXPECT_EQ(language.LanguageId(), 16);
    EXPECT_EQ(language.LanguageString(90), QStringLiteral("Italiano"));
    EXPECT_EQ(language.LanguageSelect(), 4);
    language.LanguageApply(0);
    language.LanguageApply(8);
    EXPECT_EQ(language.LanguageId(), 16) << "indexes outside the list change nothing";

    language.setLanguageId(33);
    EXPECT_EQ(language.LanguageSelect(), 0);
}

TEST(Language, ListLeavesOutCatalogsThatCannotBeRead) {
    QTemporaryDir dir;
    writeFile(dir.filePath(QStringLiteral("lang_uk.txt")), "90\tEnglish\n");
    writeFile(dir.filePath(QStringLiteral("lang_de.txt")), "90\tDeutsch\n");
    writeFile(dir.filePath(QStringLiteral("lang_xx.txt")), "90\tUnknown\n");
    writeFile(dir.filePath(QStringLiteral("readme.txt")), "90\tnot a catalog\n");
    QFile::setPermissions(dir.filePath(QStringLiteral("lang_de.txt")), QFileDevice::WriteOwner);
    const bool unreadable = !QFile(dir.filePath(QStringLiteral("lang_de.txt"))).open(QIODevice::ReadOnly);
    Language language(dir.path());
    QStringList names;
    language.LanguageFillList(&names);
    if (unreadable) {
        EXPECT_EQ(names, (QStringList{QStringLiteral("English"), QStringLiteral("Unknown")}));
    }
    EXPECT_TRUE(names.contains(QStringLiteral("Unknown"))) << "a catalog outside the table is still listed";
    EXPECT_EQ(language.LanguageString(90), QStringLiteral("English"));
    const int before = language.LanguageId();
    language.LanguageApply(int(names.size()));
    EXPECT_EQ(language.LanguageId(), before) << "a name outside the table gives no number";
}

TEST(Language, HelpFolderOfTheLanguageOrEnglish) {
    Language language;
    EXPECT_EQ(language.LanguageCode(), QStringLiteral("uk"));
    EXPECT_EQ(language.HelpFileName(), QStringLiteral(":/help/uk/"));
    EXPECT_TRUE(QFile::exists(language.HelpFileName() + QStringLiteral("index.html")));
    language.LanguageSet(7);
    EXPECT_EQ(language.HelpFileName(), QStringLiteral(":/help/de/"));
    language.LanguageSet(12);
    EXPECT_EQ(language.HelpFileName(), QStringLiteral(":/help/fr/"));

    // Each language of the list has its own help folder; Finnish only through the list.
    QStringList names;
    language.LanguageFillList(&names);
    for (const QString& library : allLibraries()) {
        language.LanguageApply(listIndexOf(library));
        const QString code = library.mid(5, 2);
        EXPECT_EQ(language.LanguageCode(), code);
        EXPECT_EQ(language.HelpFileName(), QStringLiteral(":/help/") + code + QLatin1Char('/'));
        EXPECT_TRUE(QFile::exists(language.HelpFileName() + QStringLiteral("index.html")))
            << code.toStdString();
    }
}

TEST(Language, HelpFolderInEnglishWithoutACatalog) {
    QTemporaryDir empty;
    Language language(empty.path());
    EXPECT_EQ(language.LanguageLibrary(), QString());
    EXPECT_EQ(language.LanguageCode(), QStringLiteral("uk"));
    EXPECT_EQ(language.HelpFileName(), QStringLiteral(":/help/uk/"));

    // Catalogs read from a folder of their own take their help from the pages built into the program.
    QTemporaryDir dir;
    writeFile(dir.filePath(QStringLiteral("lang_uk.txt")), "90\tEnglish\n");
    writeFile(dir.filePath(QStringLiteral("lang_de.txt")), "90\tDeutsch\n");
    Language german(dir.path());
    german.LanguageSet(7);
    EXPECT_EQ(german.HelpFileName(), QStringLiteral(":/help/de/"));
}
