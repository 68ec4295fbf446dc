// The set of phonebooks over real dBase tables in a fresh data folder: how the set is built from the
// settings and the folder, whose number is whose, the book NEW, old text phonebooks, the copy between books,
// and the carriers of the macro book.

#include "platform/pdbstore/PdbStore.h"
#include "tests/support/TestBooks.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

struct Books : TestBooks {
    // The set is created at once unless the test first prepares the folder.
    explicit Books(bool create = true) {
        settings.Vorwahl = S("089");
        settings.PhoneType = 2;
        if (create)
            set().Phonebooks_create();
    }
    colPhonebook& set() { return Phonebooks; }
    QString dataFolder() const { return dir.filePath(S("Data")) + QLatin1Char('/'); }
    static void write(const QString& path, const QByteArray& bytes) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
    // Empty dBase tables in the data folder.
    void tables(std::initializer_list<const char*> files, int32_t withIndex) {
        QDir().mkpath(dataFolder());
        pdb::PdbStore maker;
        maker.PDB_Init();
        for (const char* file : files)
            ASSERT_EQ(maker.PDB_Create(dataFolder() + S(file), withIndex, pdb::DiskBook), 0);
        maker.PDB_Exit();
    }
    // Ends the set as the program's stop does and starts it again, as the next start of the program would.
    void restart() {
        set().Phonebooks_destroy();
        set().Phonebooks_create();
    }
    QStringList bookFiles() {
        QStringList files;
        for (const auto& book : set())
            files << book->FileName;
        return files;
    }
    clsPhonebook& book(int index) { return *set().Item(index); }
    clsPhonebook& book(const char* key) { return *set().Item(S(key)); }
    QString name(const QString& number) {
        QString detail;
        return set().NumberToName(number, detail);
    }
    // The numbers in NEW, in file order.
    QStringList fresh() {
        QStringList numbers;
        for (auto e = book("NEW").clsEintragGetFirst(); e; e = book("NEW").clsEintragGetNext())
            numbers << e->Number();
        return numbers;
    }
    static void add(clsPhonebook& book, const QString& name, const QString& number,
                    const QString& number2 = QString()) {
        ASSERT_TRUE(book.EintragAdd(name, {}, {}, {}, {}, number, number2, {}, {}));
    }
};

// ---- The set of books

TEST(PhonebookSet, FirstStartCreatesTheBooksAndTheMacroBookIsSeededWhenEmpty) {
    Books b;
    const QStringList books{S("PhbEurit.dbf"), S("Phb1.dbf"), S("PhbQuick.dbf"), S("PhbNew.dbf"),
                            S("Macros.dbf")};
    EXPECT_EQ(b.bookFiles(), books);
    EXPECT_EQ(b.book(1).InPhone, 1);
    EXPECT_EQ(b.book(1).BookType, clsPhonebook::TelephoneBook);
    for (int i = 1; i <= b.set().Count(); ++i)
        EXPECT_TRUE(b.book(i).hDB != 0 && QFileInfo::exists(b.dataFolder() + b.book(i).FileName)) << i;
    EXPECT_TRUE(QFileInfo::exists(b.dataFolder() + S("Phb1i1.nde")));
    EXPECT_TRUE(QFileInfo::exists(b.dataFolder() + S("PhbEuriti0.ndx")));
    // The first start's macro book is not seeded: it was not loaded from the settings.
    EXPECT_EQ(b.book("MACRO").EintragCount(), 0);

    // The second start loads the set from the settings and seeds the macro book with the eight carriers.
    b.restart();
    EXPECT_EQ(b.bookFiles(), books);
    EXPECT_EQ(b.book("MACRO").IsMacroBook, 1);
    EXPECT_EQ(b.book("MACRO").EintragCount(), 8);
    EXPECT_EQ(b.book("MACRO").clsEintragByNumber(S("01019"))->Name(), S("MobilCom"));
    // One carrier left: nothing is added; all deleted: the carriers are back at the next start.
    for (auto e = b.book("MACRO").clsEintragGetFirst(); e; e = b.book("MACRO").clsEintragGetNext())
        if (e->Number() != S("01033"))
            b.book("MACRO").EintragRemoveByKey(e->RecordKey);
    b.restart();
    EXPECT_EQ(b.book("MACRO").EintragCount(), 1);
    b.book("MACRO").EintragRemoveByName(S("Telekom"));
    b.restart();
    EXPECT_EQ(b.book("MACRO").EintragCount(), 8);
}

// Books of the settings come first, in their order, then whichever of QUICK, NEW and MACRO is missing, then
// any other table of the folder, from the last to the first; reserved names and files that are no table are
// never books.
TEST(PhonebookSet, BooksOfTheSettingsThenMissingQuickNewMacroThenForeignTablesOfTheFolder) {
    Books b(false);
    b.tables({"Freunde.dbf", "Schnell.dbf"}, 1);
    b.tables({"add.dbf", "Zahnarzt.dbf", "Verein.DBF"}, 0);
    b.write(b.dataFolder() + S("Kaputt.dbf"), "this is no dBase file");
    // The second book has the key QUICK; the third's file is missing.
    b.write(b.iniPath(),
            "[PhoneBook]\nAnzahl=4\nPhoneBook2=Freunde\nPhName2=Freunde.dbf\nPhoneBook3=Schnell\n"
            "PhName3=Schnell.dbf\nPhKey3=QUICK\nPhName4=Weg.dbf\n");
    b.set().Phonebooks_create();
    const QStringList books{S("PhbEurit.dbf"), S("Freunde.dbf"),  S("Schnell.dbf"), S("PhbNew.dbf"),
                            S("Macros.dbf"),   S("Zahnarzt.dbf"), S("Verein.DBF")};
    EXPECT_EQ(b.bookFiles(), books);
    EXPECT_EQ(b.book(2).Name, S("Freunde"));
    EXPECT_EQ(b.book(3).Key, S("QUICK"));
    EXPECT_EQ(b.book(6).Name, b.language.LanguageString(3660));
    EXPECT_TRUE(QFileInfo::exists(b.dataFolder() + S("Kaputt.dbf"))) << "a bad file is never removed";
    // Written to the settings at the end, and loaded from there at the next start.
    b.restart();
    EXPECT_EQ(b.bookFiles(), books);
}

// A settings file and a data folder brought from Windows spell the same file in different cases. Each file
// is found as Windows found it: the books, their index files, the macro book and old text phonebooks.
TEST(PhonebookSet, FilesNamedInAnotherCaseAreFoundWithoutRegardToCase) {
    Books b;
    b.add(b.book(2), S("Anna"), S("0891"));
    b.add(b.book("MACRO"), S("Eigener Anbieter"), S("01099"));
    b.set().Phonebooks_destroy();
    // On disk the tables change their case; the settings spell them in yet another.
    const QDir data(b.dataFolder());
    ASSERT_TRUE(QFile::rename(data.filePath(S("Phb1.dbf")), data.filePath(S("FREUNDE.DBF"))));
    ASSERT_TRUE(QFile::rename(data.filePath(S("Phb1i0.ndx")), data.filePath(S("FREUNDEI0.NDX"))));
    ASSERT_TRUE(QFile::rename(data.filePath(S("Macros.dbf")), data.filePath(S("MACROS.DBF"))));
    const QString ini = b.iniPath();
    b.profiles.WritePrivateProfileString(S("PhoneBook"), S("PhoneBook2"), S("Freunde"), ini);
    b.profiles.WritePrivateProfileString(S("PhoneBook"), S("PhName2"), S("Freunde.dbf"), ini);
    b.profiles.WritePrivateProfileString(S("PhoneBook"), S("PhName5"), S("macros.DBF"), ini);
    b.write(b.dir.filePath(S("PHBEURIT.TXT")), "0711\tTelefon Eins\r\n");
    b.set().state().lastRunFailed = true; // every open deletes the book's index files first

    b.set().Phonebooks_create();
    EXPECT_EQ(b.bookFiles(), (QStringList{S("PhbEurit.dbf"), S("Freunde.dbf"), S("PhbQuick.dbf"),
                                          S("PhbNew.dbf"), S("macros.DBF")}))
        << "no book is lost, none is found twice";
    EXPECT_EQ(b.book(2).Name, S("Freunde")) << "the book keeps its name";
    EXPECT_EQ(b.name(S("0891")), S("Anna"));
    EXPECT_EQ(b.book("MACRO").EintragCount(), 1) << "the macro book keeps its carriers";
    EXPECT_EQ(b.name(S("01099")), S("Eigener Anbieter"));
    EXPECT_EQ(b.name(S("0711")), S("Telefon Eins")) << "the old text phonebook was taken in";
    EXPECT_TRUE(QFileInfo::exists(b.dir.filePath(S("PHBEURIT.TXT.old"))));
    EXPECT_FALSE(QFileInfo::exists(data.filePath(S("FREUNDEI0.NDX")))) << "the book's old index went";
    const QStringList tables = data.entryList({S("*.dbf")}, QDir::Files);
    EXPECT_EQ(tables.filter(S("macros"), Qt::CaseInsensitive), QStringList(S("MACROS.DBF")))
        << "no new macro book beside the old one";

    // The settings keep their own spelling; the next start finds the same.
    b.set().state().lastRunFailed = false;
    b.restart();
    EXPECT_EQ(b.bookFiles().at(1), S("Freunde.dbf"));
    EXPECT_EQ(b.book(2).Name, S("Freunde"));
    EXPECT_EQ(b.book("MACRO").EintragCount(), 1);

    // A new book's file is not one that exists in another case.
    EXPECT_EQ(b.set().GetNewFileName(), S("Phb1.dbf"));
    b.write(data.filePath(S("PHB1.DBF")), "");
    EXPECT_EQ(b.set().GetNewFileName(), S("Phb2.dbf"));
}

// ---- Whose number is this

TEST(PhonebookLookup, TheFirstBookThatKnowsTheNumberDecidesAndGreetingsComeFromNormalBooks) {
    Books b;
    b.add(b.book("QUICK"), S("Schnellwahl Anna"), S("0891234567"));
    b.add(b.book(2), S("Anna Berger"), S("0301111"), S("0891234567"));
    // Book 2 comes before QUICK; its second number counts as much as a first.
    EXPECT_EQ(b.name(S("0891234567")), S("Anna Berger"));
    // A local number is searched with the own area code.
    EXPECT_EQ(b.name(S("1234567")), S("Anna Berger"));
    QString detail, greeting = S("unchanged");
    EXPECT_EQ(b.set().TranslateNumber(S("0301111"), 1, 0, detail, greeting), S("Anna Berger"));
    EXPECT_EQ(detail, S("   - "));
    EXPECT_EQ(greeting, QString());

    // Greetings come from normal books only.
    b.soundFolder = b.dir.filePath(S("sound")) + QLatin1Char('/');
    const QString anna = b.dir.filePath(S("sound/anna.wav"));
    ASSERT_TRUE(b.book(2).EintragAdd(S("Anna"), {}, {}, {}, {}, S("0891"), {}, {}, anna));
    ASSERT_TRUE(b.book("QUICK").EintragAdd(S("Bert"), {}, {}, {}, {}, S("0892"), {}, {}, anna));
    EXPECT_EQ(b.set().GetAnsage(S("0891"), 0), anna);
    EXPECT_EQ(b.set().GetAnsage(S("0892"), 0), QString());
    EXPECT_EQ(b.book(2).clsEintragByNumber(S("0891"))->AnsageStored(), S("anna.wav"));
}

// The answering machine asks for the caller's greeting: the first book that knows the number answers, the
// telephone's book 1 as well as the disk books, and an empty greeting there is the answer.
TEST(PhonebookLookup, TheGreetingComesFromTheFirstBookThatKnowsTheNumberEvenWhenItIsEmpty) {
    Books b;
    b.soundFolder = b.dir.filePath(S("sound")) + QLatin1Char('/');
    const QString anna = b.dir.filePath(S("sound/anna.wav"));
    const QString other = b.dir.filePath(S("sound/other.wav"));
    ASSERT_TRUE(b.book(1).EintragAdd(S("Anna"), {}, {}, {}, {}, S("0891234"), {}, {}, anna));
    ASSERT_TRUE(b.book(2).EintragAdd(S("Anna B"), {}, {}, {}, {}, S("0891234"), {}, {}, other));
    EXPECT_EQ(b.book(1).clsEintragByNumber(S("0891234"))->AnsageStored(), S("anna.wav"));
    EXPECT_EQ(b.set().GetAnsage(S("0891234"), 0), anna);
    EXPECT_EQ(b.set().GetAnsage(S(" 1234 "), 1), anna) << "trimmed, with the own area code";
    QString detail, greeting;
    b.set().TranslateNumber(S("0891234"), 0, 0, detail, greeting);
    EXPECT_EQ(greeting, anna);

    // Book 1 knows the number without a greeting: the search ends there, book 2's greeting is not used.
    ASSERT_TRUE(b.book(1).EintragAdd(S("Bert"), {}, {}, {}, {}, S("0892"), {}, {}, {}));
    ASSERT_TRUE(b.book(2).EintragAdd(S("Bert B"), {}, {}, {}, {}, S("0892"), {}, {}, other));
    EXPECT_EQ(b.set().GetAnsage(S("0892"), 0), QString());
    EXPECT_EQ(b.set().GetAnsage(S("0899"), 0), QString()) << "no book knows it";

    // The book of the telephone's last read state is outside the set and keeps no greeting.
    clsPhonebook& inEurit = *b.set().PhonebookInEurit;
    ASSERT_EQ(inEurit.DBOpen(true), 0);
    ASSERT_TRUE(inEurit.EintragAdd(S("Carl"), {}, {}, {}, {}, S("0893"), {}, {}, anna));
    EXPECT_EQ(inEurit.clsEintragByNumber(S("0893"))->AnsageStored(), QString());
}

TEST(PhonebookLookup, SearchKeysArePaddedToTheWholeField) {
    Books b;
    clsPhonebook& disk = b.book(2);
    const QString fifty = QString(50, QLatin1Char('N'));
    b.add(disk, fifty, S("0891"));
    b.add(disk, S("Meier"), S("08912"));
    b.add(disk, S("Meierhofer"), S("089123"));
    ASSERT_TRUE(disk.clsEintragByName(fifty));
    EXPECT_EQ(disk.clsEintragByName(S("Meier"))->Number(), S("08912"));
    EXPECT_EQ(disk.clsEintragByName(S("meier"))->Number(), S("08912")) << "names compare without case";
    EXPECT_FALSE(disk.clsEintragByName(S("Meie")));
    // Numbers match only whole: not by their head, and not a longer one.
    EXPECT_FALSE(disk.clsEintragByNumber(S("089")));
    EXPECT_FALSE(disk.clsEintragByNumber(S("   ")));

    // A number of 35 characters is searched by its first 34: it finds the entry whose number has those.
    const QString longNumber = S("0891234567890123456789012345678901");
    b.add(disk, S("Lang"), longNumber);
    EXPECT_EQ(disk.clsEintragByNumber(longNumber + S("5"))->Name(), S("Lang"));

    // The telephone's book has no number index: its three field searches find the same.
    clsPhonebook& telephone = b.book(1);
    b.add(telephone, S("Tel Eins"), S("0711"), S("0712"));
    EXPECT_EQ(telephone.clsEintragByNumber(S("0712"))->Name(), S("Tel Eins"));
    EXPECT_FALSE(telephone.clsEintragByNumber(S("071")));
}

TEST(PhonebookLookup, UnknownNumbersGoIntoNewOnceAndByTheIgnoreRules) {
    Books b;
    Settings& s = b.settings;
    s.IgnoreNumbers = 1;
    s.IgnoreDigits = 3;
    QString detail;
    EXPECT_EQ(b.set().NumberToNameAddNew(S("123"), detail), S("089123")) << "named with the own area code";
    EXPECT_EQ(b.set().NumberToNameAddNew(S("0301234"), detail), S("0301234"));
    EXPECT_EQ(detail, S("0301234"));
    EXPECT_EQ(b.set().NumberToNameAddNew(S("0301234"), detail), S("0301234")) << "found in NEW now";
    b.set().NumberToNameAddNew(S("1234"), detail); // local: with the own area code
    EXPECT_EQ(b.fresh(), (QStringList{S("0301234"), S("0891234")}));
    // NumberToName never adds.
    EXPECT_EQ(b.name(S("0401111")), S("0401111"));
    s.IgnoreNumbers = 0;
    b.set().NumberToNameAddNew(S("12"), detail);
    s.IgnoreNumbers = 2;
    b.set().NumberToNameAddNew(S("0409999999"), detail);
    b.set().NumberToNameAddNew(QString(), detail);
    EXPECT_EQ(b.fresh(), (QStringList{S("0301234"), S("0891234"), S("12")}));
}

TEST(PhonebookLookup, DirectoryResultsChangeOnlyUntouchedEntries) {
    Books b;
    b.settings.NBST = 1;
    b.settings.NBSTAKZ = S("0");
    b.add(b.book(1), S("00891234"), S("00891234")); // the telephone's book keeps the outside-line prefix
    b.add(b.book(2), S("0891234"), S("0891234"));
    b.add(b.book("NEW"), S("Edited By User"), S("0891234"));
    EXPECT_TRUE(
        b.set().ChangeEntry(S("0891234"), S("Musterfirma"), S("Hauptstr. 1"), QString(), S("München"), 0));
    EXPECT_EQ(b.book(1).clsEintragByNumber(S("00891234"))->Name(), S("Musterfirma"));
    EXPECT_EQ(b.book(2).clsEintragByNumber(S("0891234"))->Name(), S("Musterfirma"));
    EXPECT_EQ(b.book(2).clsEintragByNumber(S("0891234"))->Ort(), S("München"));
    EXPECT_EQ(b.book("NEW").clsEintragByNumber(S("0891234"))->Name(), S("Edited By User"));
    EXPECT_TRUE(b.set().ChangeEntry(S("0891234"), S("Zwang"), {}, {}, {}, 1));
    EXPECT_EQ(b.book("NEW").clsEintragByNumber(S("0891234"))->Name(), S("Zwang"));
}

// ---- Old text phonebooks

TEST(PhonebookOldText, ATextBookIsTakenOverOnceAndRenamed) {
    Books b(false);
    // Windows-1252, one record per line in quotes; the number comes first. A record without a number adds
    // nothing, and an unquoted comma splits a line into two items.
    b.write(b.dir.filePath(S("PhbEurit.txt")),
            "\"0891234567\tM\xfcller\tHauptstr. 1\t80331\tM\xfcnchen\tNotiz\t0171\t\t\"\r\n"
            "\"\tOhne Nummer\"\r\n"
            "0301111\tBerlin Eins,0302222\tBerlin Zwei\r\n");
    b.set().Phonebooks_create();
    clsPhonebook& telephone = b.book(1);
    EXPECT_EQ(telephone.EintragCount(), 3);
    const auto muller = telephone.clsEintragByNumber(S("0891234567"));
    ASSERT_TRUE(muller);
    EXPECT_EQ(muller->Name(), S("Müller"));
    EXPECT_EQ(muller->Ort(), S("München"));
    EXPECT_EQ(muller->Number2(), S("0171"));
    EXPECT_EQ(telephone.clsEintragByNumber(S("0302222"))->Name(), S("Berlin Zwei"));
    EXPECT_FALSE(QFileInfo::exists(b.dir.filePath(S("PhbEurit.txt"))));
    EXPECT_TRUE(QFileInfo::exists(b.dir.filePath(S("PhbEurit.txt.old"))));
    b.restart();
    EXPECT_EQ(b.book(1).EintragCount(), 3);
}

// ---- Copy between books and edits

TEST(PhonebookCopy, TheFirstAnswerToAConflictHoldsForTheWholeRun) {
    for (const auto answer : {UserDialogs::Answer::Yes, UserDialogs::Answer::No}) {
        Books b;
        int asked = 0;
        b.dialogs.setAsker([&](const QString&, UserDialogs::Buttons, UserDialogs::Icon) {
            ++asked;
            return answer;
        });
        clsPhonebook& source = b.book(2);
        clsPhonebook& target = b.book("QUICK");
        QList<double> keys;
        for (int i = 0; i < 3; ++i) {
            b.add(source, S("Neu %1").arg(i), S("0891%1").arg(i));
            keys << source.NewKey();
            b.add(target, S("Alt %1").arg(i), S("0891%1").arg(i));
        }
        b.add(source, S("Frei"), S("0899"));
        keys << source.NewKey();
        int32_t flags = 0;
        source.CopyToBook(&target, &keys, flags);
        EXPECT_EQ(asked, 1);
        const bool replace = answer == UserDialogs::Answer::Yes;
        EXPECT_EQ(target.EintragCount(), replace ? 4 : 7);
        EXPECT_EQ(target.clsEintragByNumber(S("08912"))->Name(), replace ? S("Neu 2") : S("Alt 2"));
        EXPECT_TRUE(target.clsEintragByName(S("Neu 2")));
    }
}

TEST(PhonebookCopy, IntoTheTelephonesBookByNameWithThePrefix) {
    Books b;
    b.settings.NBST = 1;
    b.settings.NBSTAKZ = S("0");
    b.dialogs.setAsker([](const QString&, auto, auto) { return UserDialogs::Answer::No; });
    clsPhonebook& disk = b.book(2);
    b.add(disk, S("Anna"), S("0891"));
    b.add(disk, S("Bert"), S("0892"));
    const QList<double> keys{1, 2};
    b.add(b.book(1), S("Anna"), S("00777"));
    int32_t flags = 0;
    disk.CopyToBook(&b.book(1), &keys, flags);
    EXPECT_TRUE(flags & clsPhonebook::CopyByName);
    // Anna is in conflict by name and kept; Bert comes in with the outside-line prefix.
    EXPECT_EQ(b.book(1).EintragCount(), 2);
    EXPECT_EQ(b.book(1).clsEintragByName(S("Anna"))->Number(), S("00777"));
    EXPECT_EQ(b.book(1).clsEintragByName(S("Bert"))->Number(), S("00892"));
}

TEST(PhonebookEdit, DeleteAsksPrefixChangesAndMarkAllChanged) {
    Books b;
    clsPhonebook& disk = b.book(2);
    b.add(disk, S("Anna"), S("0891"));
    b.add(disk, S("Bert"), S("0892"));
    b.add(disk, S("Carl"), QString());
    QString question;
    b.dialogs.setAsker([&](const QString& text, UserDialogs::Buttons, UserDialogs::Icon) {
        question = text;
        return UserDialogs::Answer::No;
    });
    disk.Delete({1, 2}, false);
    EXPECT_EQ(question, b.language.LanguageString(1183) + S(" 2 ") + b.language.LanguageString(1184));
    EXPECT_EQ(disk.EintragCount(), 3);

    EXPECT_EQ(disk.Präfix(S("0"), {1, 2, 3}, 1), 2) << "an entry without number gets no prefix";
    EXPECT_EQ(disk.clsEintragByIndexKey(1)->Number(), S("00891"));
    EXPECT_EQ(disk.Präfix(S("0"), {1, 2, 3}, 0), 2);
    EXPECT_EQ(disk.clsEintragByIndexKey(2)->Number(), S("0892"));

    disk.MarkAllChanged(0);
    EXPECT_EQ(disk.clsEintragByIndexKey(3)->ISChanged(), 0);
    disk.MarkAllChanged(1);
    EXPECT_EQ(disk.clsEintragByIndexKey(3)->ISChanged(), 1);
    EXPECT_EQ(disk.Changed, 1);

    disk.Delete({1, 3}, true);
    ListItems list;
    list.Select(5);
    disk.DisplayInList(&list, true);
    ASSERT_EQ(list.Count(), 1);
    EXPECT_EQ(list.At(0).Text, S("Bert"));
    EXPECT_EQ(list.Selected(), 0) << "a remembered row that is gone selects the first";
}

// ---- Carriers

TEST(Carriers, ChosenCarrierGoesInFrontOfLongDistanceNumbersOnlyAndTheLastFourAreKept) {
    Books b;
    b.restart(); // seeded
    modVorwahlen& carriers = b.set().Vorwahlen;
    carriers.LoadCarriers();
    carriers.ShowCarrier(S("01019  MobilCom"));
    EXPECT_EQ(carriers.cmdProvider.Caption, S("01019  MobilCom"));
    EXPECT_EQ(carriers.ApplyCarrier(S("08912345")), S("08912345")) << "UseCarrier is off";
    carriers.UseCarrier = 1;
    EXPECT_EQ(carriers.ApplyCarrier(S("08912345")), S("0101908912345"));
    EXPECT_EQ(carriers.ApplyCarrier(S("12345")), S("12345"));
    // A number that carries a known code goes out as typed, and the button follows it.
    carriers.ShowCarrier(S("01070  Arcor"));
    EXPECT_EQ(carriers.ApplyCarrier(S("0101908912345")), S("0101908912345"));
    EXPECT_EQ(carriers.cmdProvider.Caption, S("01019  MobilCom"));
    carriers.ShowCarrier(S("09999  Unbekannt"));
    EXPECT_EQ(carriers.cmdProvider.Caption, S("---"));
    EXPECT_EQ(carriers.cmdProvider.Tag, 0);

    QString text = S("old");
    EXPECT_EQ(carriers.StripCarrierPrefix(S("0891234"), text), S("0891234"));
    EXPECT_EQ(text, QString());
    EXPECT_EQ(carriers.StripCarrierPrefix(S("010330891234"), text), S("0891234"));
    EXPECT_EQ(text, S("01033  Telekom"));
    // Incoming numbers are recognised without the code.
    b.add(b.book(2), S("Anna"), S("0891234"));
    EXPECT_EQ(b.name(S("010330891234")), S("Anna"));
    // A carrier added to the macro book is known at once.
    b.add(b.book("MACRO"), S("Neu"), S("01077"));
    EXPECT_EQ(carriers.StripCarrierPrefix(S("010770891234"), text), S("0891234"));

    for (const char* chosen : {"A", "B", "C", "D", "B", "---", "E"})
        carriers.RememberCarrier(S(chosen));
    EXPECT_EQ(carriers.CarrierTable[0], S("B"));
    EXPECT_EQ(carriers.CarrierTable[3], S("E"));
    carriers.SaveCarriers();
    EXPECT_FALSE(carriers.CarriersActive);
    EXPECT_EQ(b.profiles.GetPrivateProfileString(S("Provider"), S("Last4"), {}, b.iniPath()), S("E"));
}

TEST(Carriers, TheWindowShowsTheNewestCarrierFirstAndTheMacroBookInFileOrderAsItIsAtEachOpening) {
    Books b;
    b.restart(); // seeded
    for (const char* slot : {"1", "2", "3"})
        b.profiles.WritePrivateProfileString(S("Provider"), S("Last") + S(slot), S("slot ") + S(slot),
                                             b.iniPath());
    modVorwahlen& carriers = b.set().Vorwahlen;
    carriers.LoadCarriers();
    CarrierWindowContent content = carriers.FillCarrierWindow();
    const auto recent = [](const CarrierWindowContent& c) {
        return QStringList(c.recent.begin(), c.recent.end());
    };
    EXPECT_EQ(recent(content), (QStringList{QString(), S("slot 3"), S("slot 2"), S("slot 1")}))
        << "slot 4, the newest, is still empty";

    // The seed's order, which is neither that of the codes nor that of the names.
    const QStringList seeded{S("01010  TELEGLOBE"),   S("01011  o.tel.o"),      S("01019  MobilCom"),
                             S("01033  Telekom"),     S("01070  Arcor"),        S("01018  Debitel"),
                             S("01080  Telegate AG"), S("01090  Viag Intercom")};
    const auto texts = [](const CarrierWindowContent& c) {
        QStringList list;
        for (const Carrier& carrier : c.all)
            list << carrier.Text();
        return list;
    };
    EXPECT_EQ(texts(content), seeded);
    // Each carrier comes with the key that makes it the current one.
    for (const Carrier& carrier : content.all) {
        carriers.ShowCarrier(carrier.Text());
        EXPECT_NE(carrier.Key, 0) << carrier.Text().toStdString();
        EXPECT_EQ(carriers.cmdProvider.Tag, carrier.Key) << carrier.Text().toStdString();
    }

    for (const char* chosen : {"01019  MobilCom", "01033  Telekom", "---", "01019  MobilCom"})
        carriers.RememberCarrier(S(chosen));
    // Each new choice moves the slots down by one, the empty slot 4 too; a known one or "---" moves nothing.
    EXPECT_EQ(recent(carriers.FillCarrierWindow()),
              (QStringList{S("01033  Telekom"), S("01019  MobilCom"), QString(), S("slot 3")}));

    // A carrier added to the macro book is in the window at its next opening, the last in the file.
    b.add(b.book("MACRO"), S("Neu"), S("01077"));
    EXPECT_EQ(texts(content), seeded) << "a window already filled keeps its content";
    content = carriers.FillCarrierWindow();
    EXPECT_EQ(texts(content), QStringList(seeded) << S("01077  Neu"));
    carriers.ShowCarrier(S("01077  Neu"));
    EXPECT_NE(content.all.back().Key, 0);
    EXPECT_EQ(content.all.back().Key, carriers.cmdProvider.Tag);
}

} // namespace
