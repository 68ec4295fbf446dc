// The set of phonebooks over real dBase tables in a program's data folder: how the set is built from the
// settings and the folder, whose number is whose, the book NEW, old text phonebooks, the copy between
// books, and the carriers of the macro book.

#include "platform/pdbstore/PdbStore.h"
#include "tests/support/TestProgram.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

struct Books : TestProgram {
    Books() : TestProgram(false) {
        program->settings.Vorwahl = S("089");
        program->settings.PhoneType = 2;
    }
    colPhonebook& set() { return program->Phonebooks; }
    QString dataFolder() const { return dir.filePath(S("Data")) + QLatin1Char('/'); }
    void writeIni(const QString& section, const QString& key, const QString& value) {
        program->profiles.WritePrivateProfileString(section, key, value, program->iniPath());
    }
    void create() { set().Phonebooks_create(); }
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
    QString name(const QString& number) {
        QString detail;
        return set().NumberToName(number, detail);
    }
    // The numbers in NEW, in file order.
    QStringList fresh() {
        QStringList numbers;
        clsPhonebook* book = set().Item(S("NEW"));
        for (auto e = book->clsEintragGetFirst(); e; e = book->clsEintragGetNext())
            numbers << e->Number();
        return numbers;
    }
    static void add(clsPhonebook& book, const QString& name, const QString& number,
                    const QString& number2 = QString()) {
        ASSERT_TRUE(book.EintragAdd(name, {}, {}, {}, {}, number, number2, {}, {}));
    }
};

// ---- The set of books

TEST(PhonebookSet, FirstStartCreatesTheBooksOfTheTableInTheirOrder) {
    Books b;
    b.create();
    EXPECT_EQ(b.bookFiles(), (QStringList{S("PhbEurit.dbf"), S("Phb1.dbf"), S("PhbQuick.dbf"),
                                          S("PhbNew.dbf"), S("Macros.dbf")}));
    EXPECT_EQ(b.book(1).InPhone, 1);
    EXPECT_EQ(b.book(1).BookType, clsPhonebook::TelephoneBook);
    for (int i = 1; i <= b.set().Count(); ++i) {
        EXPECT_NE(b.book(i).hDB, 0) << b.book(i).FileName.toStdString();
        EXPECT_TRUE(QFileInfo::exists(b.dataFolder() + b.book(i).FileName));
    }
    EXPECT_TRUE(QFileInfo::exists(b.dataFolder() + S("Phb1i1.nde")));
    EXPECT_TRUE(QFileInfo::exists(b.dataFolder() + S("PhbEuriti0.ndx")));
    // The first start's macro book is not seeded: it was not loaded from the settings.
    EXPECT_EQ(b.set().Item(S("MACRO"))->EintragCount(), 0);

    b.set().Phonebooks_destroy();
    const auto ini = [&](const char* key) {
        return b.program->profiles.GetPrivateProfileString(S("PhoneBook"), S(key), QString(),
                                                           b.program->iniPath());
    };
    EXPECT_EQ(ini("Anzahl"), S("5"));
    EXPECT_EQ(ini("PhName2"), S("Phb1.dbf"));
    EXPECT_EQ(ini("PhKey3"), S("QUICK"));
    EXPECT_EQ(ini("PhName5"), S("Macros.dbf"));

    // The second start loads the macro book from the settings and seeds it with the eight carriers.
    b.set().Phonebooks_create();
    EXPECT_EQ(b.bookFiles(), (QStringList{S("PhbEurit.dbf"), S("Phb1.dbf"), S("PhbQuick.dbf"),
                                          S("PhbNew.dbf"), S("Macros.dbf")}));
    clsPhonebook& macro = *b.set().Item(S("MACRO"));
    EXPECT_EQ(macro.IsMacroBook, 1);
    EXPECT_EQ(macro.EintragCount(), 8);
    EXPECT_EQ(macro.clsEintragByNumber(S("01019"))->Name(), S("MobilCom"));
}

TEST(PhonebookSet, AMacroBookIsSeededOnlyWhenEmpty) {
    Books b;
    b.create();
    b.restart();
    clsPhonebook* macro = b.set().Item(S("MACRO"));
    ASSERT_EQ(macro->EintragCount(), 8);
    // One carrier left: nothing is added.
    for (auto e = macro->clsEintragGetFirst(); e; e = macro->clsEintragGetNext())
        if (e->Number() != S("01033"))
            macro->EintragRemoveByKey(e->RecordKey);
    b.restart();
    macro = b.set().Item(S("MACRO"));
    EXPECT_EQ(macro->EintragCount(), 1);
    // All deleted: the carriers are back at the next start.
    macro->EintragRemoveByName(S("Telekom"));
    b.restart();
    EXPECT_EQ(b.set().Item(S("MACRO"))->EintragCount(), 8);
}

TEST(PhonebookSet, BooksOfTheSettingsComeFirstAndMissingSpecialsFollow) {
    Books b;
    QDir().mkpath(b.dataFolder());
    // Two disk books in the settings, in this order; the second has the key QUICK. The folder holds the
    // files of both, and a third book whose file is missing is dropped.
    pdb::PdbStore maker;
    maker.PDB_Init();
    for (const char* file : {"Freunde.dbf", "Schnell.dbf"})
        ASSERT_EQ(maker.PDB_Create(b.dataFolder() + S(file), 1, pdb::DiskBook), 0);
    maker.PDB_Exit();
    b.writeIni(S("PhoneBook"), S("Anzahl"), S("4"));
    b.writeIni(S("PhoneBook"), S("PhoneBook2"), S("Freunde"));
    b.writeIni(S("PhoneBook"), S("PhName2"), S("Freunde.dbf"));
    b.writeIni(S("PhoneBook"), S("PhoneBook3"), S("Schnell"));
    b.writeIni(S("PhoneBook"), S("PhName3"), S("Schnell.dbf"));
    b.writeIni(S("PhoneBook"), S("PhKey3"), S("QUICK"));
    b.writeIni(S("PhoneBook"), S("PhName4"), S("Weg.dbf"));
    b.create();
    EXPECT_EQ(b.bookFiles(), (QStringList{S("PhbEurit.dbf"), S("Freunde.dbf"), S("Schnell.dbf"),
                                          S("PhbNew.dbf"), S("Macros.dbf")}));
    EXPECT_EQ(b.book(2).Name, S("Freunde"));
    EXPECT_EQ(b.book(3).Key, S("QUICK"));
}

TEST(PhonebookSet, FolderScanTakesForeignTablesButNeverReservedNames) {
    Books b;
    QDir().mkpath(b.dataFolder());
    pdb::PdbStore maker;
    maker.PDB_Init();
    for (const char* file : {"add.dbf", "Zahnarzt.dbf", "Verein.DBF"})
        ASSERT_EQ(maker.PDB_Create(b.dataFolder() + S(file), 0, pdb::DiskBook), 0);
    maker.PDB_Exit();
    // Not a table at all: it fails to open and is no book.
    QFile junk(b.dataFolder() + S("Kaputt.dbf"));
    ASSERT_TRUE(junk.open(QIODevice::WriteOnly));
    junk.write("this is no dBase file");
    junk.close();

    b.create();
    // Found ones are added from the last to the first.
    EXPECT_EQ(b.bookFiles(),
              (QStringList{S("PhbEurit.dbf"), S("Phb1.dbf"), S("PhbQuick.dbf"), S("PhbNew.dbf"),
                           S("Macros.dbf"), S("Zahnarzt.dbf"), S("Verein.DBF")}));
    EXPECT_EQ(b.book(6).Name, b.program->language.LanguageString(3660));
    EXPECT_TRUE(QFileInfo::exists(b.dataFolder() + S("Kaputt.dbf"))) << "a bad file is never removed";

    // Written to the settings at the end, and loaded from there at the next start.
    b.restart();
    EXPECT_EQ(b.set().Count(), 7);
    EXPECT_EQ(b.book(6).FileName, S("Zahnarzt.dbf"));
}

// ---- Whose number is this

TEST(PhonebookLookup, TheFirstBookThatKnowsTheNumberDecides) {
    Books b;
    b.create();
    b.add(*b.set().Item(S("QUICK")), S("Schnellwahl Anna"), S("0891234567"));
    b.add(b.book(2), S("Anna Berger"), S("0301111"), S("0891234567"));
    // Book 2 comes before QUICK; its second number counts as much as a first.
    EXPECT_EQ(b.name(S("0891234567")), S("Anna Berger"));
    // A local number is searched with the own area code.
    EXPECT_EQ(b.name(S("1234567")), S("Anna Berger"));
    QString detail, greeting = S("unchanged");
    EXPECT_EQ(b.set().TranslateNumber(S("0301111"), 1, 0, detail, greeting), S("Anna Berger"));
    EXPECT_EQ(detail, S("   - "));
    EXPECT_EQ(greeting, QString());
}

TEST(PhonebookLookup, SearchKeysArePaddedToTheWholeField) {
    Books b;
    b.create();
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
    b.create();
    Settings& s = b.program->settings;
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

TEST(PhonebookLookup, GreetingsComeFromNormalBooksOnly) {
    Books b;
    b.create();
    b.program->sound.DefaultSoundPath = b.dir.filePath(S("sound")) + QLatin1Char('/');
    const QString greeting = b.dir.filePath(S("sound/anna.wav"));
    ASSERT_TRUE(b.book(2).EintragAdd(S("Anna"), {}, {}, {}, {}, S("0891"), {}, {}, greeting));
    ASSERT_TRUE(b.set().Item(S("QUICK"))->EintragAdd(S("Bert"), {}, {}, {}, {}, S("0892"), {}, {}, greeting));
    EXPECT_EQ(b.set().GetAnsage(S("0891"), 0), greeting);
    EXPECT_EQ(b.set().GetAnsage(S("0892"), 0), QString());
    EXPECT_EQ(b.book(2).clsEintragByNumber(S("0891"))->AnsageStored(), S("anna.wav"));
}

TEST(PhonebookLookup, DirectoryResultsChangeOnlyUntouchedEntries) {
    Books b;
    b.program->settings.NBST = 1;
    b.program->settings.NBSTAKZ = S("0");
    b.create();
    b.add(b.book(1), S("00891234"), S("00891234")); // the telephone's book keeps the outside-line prefix
    b.add(b.book(2), S("0891234"), S("0891234"));
    b.add(*b.set().Item(S("NEW")), S("Edited By User"), S("0891234"));
    EXPECT_TRUE(
        b.set().ChangeEntry(S("0891234"), S("Musterfirma"), S("Hauptstr. 1"), QString(), S("München"), 0));
    EXPECT_EQ(b.book(1).clsEintragByNumber(S("00891234"))->Name(), S("Musterfirma"));
    const auto disk = b.book(2).clsEintragByNumber(S("0891234"));
    EXPECT_EQ(disk->Name(), S("Musterfirma"));
    EXPECT_EQ(disk->Ort(), S("München"));
    EXPECT_EQ(b.set().Item(S("NEW"))->clsEintragByNumber(S("0891234"))->Name(), S("Edited By User"));
    EXPECT_TRUE(b.set().ChangeEntry(S("0891234"), S("Zwang"), {}, {}, {}, 1));
    EXPECT_EQ(b.set().Item(S("NEW"))->clsEintragByNumber(S("0891234"))->Name(), S("Zwang"));
}

// ---- Old text phonebooks

TEST(PhonebookOldText, ATextBookIsTakenOverOnceAndRenamed) {
    Books b;
    QFile text(b.dir.filePath(S("PhbEurit.txt")));
    ASSERT_TRUE(text.open(QIODevice::WriteOnly));
    // Windows-1252, one record per line in quotes; the number comes first. A record without a number adds
    // nothing, and an unquoted comma splits a line into two items.
    text.write("\"0891234567\tM\xfcller\tHauptstr. 1\t80331\tM\xfcnchen\tNotiz\t0171\t\t\"\r\n"
               "\"\tOhne Nummer\"\r\n"
               "0301111\tBerlin Eins,0302222\tBerlin Zwei\r\n");
    text.close();
    b.create();
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

// ---- Copy between books

TEST(PhonebookCopy, TheFirstAnswerToAConflictHoldsForTheWholeRun) {
    for (const auto answer : {UserDialogs::Answer::Yes, UserDialogs::Answer::No}) {
        Books b;
        b.create();
        int asked = 0;
        b.program->dialogs.setAsker([&](const QString&, UserDialogs::Buttons, UserDialogs::Icon) {
            ++asked;
            return answer;
        });
        clsPhonebook& source = b.book(2);
        clsPhonebook& target = *b.set().Item(S("QUICK"));
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
        if (answer == UserDialogs::Answer::Yes) {
            EXPECT_EQ(target.EintragCount(), 4);
            EXPECT_EQ(target.clsEintragByNumber(S("08912"))->Name(), S("Neu 2"));
        } else {
            EXPECT_EQ(target.EintragCount(), 7);
            EXPECT_EQ(target.clsEintragByNumber(S("08912"))->Name(), S("Alt 2"));
            EXPECT_TRUE(target.clsEintragByName(S("Neu 2")));
        }
    }
}

TEST(PhonebookCopy, IntoTheTelephonesBookByNameWithThePrefix) {
    Books b;
    b.program->settings.NBST = 1;
    b.program->settings.NBSTAKZ = S("0");
    b.create();
    b.program->dialogs.setAsker(
        [](const QString&, UserDialogs::Buttons, UserDialogs::Icon) { return UserDialogs::Answer::No; });
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
    b.create();
    clsPhonebook& disk = b.book(2);
    b.add(disk, S("Anna"), S("0891"));
    b.add(disk, S("Bert"), S("0892"));
    b.add(disk, S("Carl"), QString());
    QString question;
    b.program->dialogs.setAsker([&](const QString& text, UserDialogs::Buttons, UserDialogs::Icon) {
        question = text;
        return UserDialogs::Answer::No;
    });
    disk.Delete({1, 2}, false);
    EXPECT_EQ(question,
              b.program->language.LanguageString(1183) + S(" 2 ") + b.program->language.LanguageString(1184));
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

TEST(Carriers, ChosenCarrierGoesInFrontOfLongDistanceNumbersOnly) {
    Books b;
    b.create();
    b.restart(); // seeded
    modVorwahlen& carriers = b.set().Vorwahlen;
    carriers.LoadCarriers();
    carriers.ShowCarrier(S("01019  MobilCom"));
    EXPECT_EQ(carriers.cmdProvider.Caption, S("01019  MobilCom"));
    EXPECT_NE(carriers.cmdProvider.Tag, 0);
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
    b.add(*b.set().Item(S("MACRO")), S("Neu"), S("01077"));
    EXPECT_EQ(carriers.StripCarrierPrefix(S("010770891234"), text), S("0891234"));
}

TEST(Carriers, TheLastFourChosenAreKeptNewestLast) {
    Books b;
    b.create();
    modVorwahlen& carriers = b.set().Vorwahlen;
    carriers.LoadCarriers();
    for (const char* text : {"A", "B", "C", "D", "B", "---", "E"})
        carriers.RememberCarrier(S(text));
    EXPECT_EQ(carriers.CarrierTable[0], S("B"));
    EXPECT_EQ(carriers.CarrierTable[3], S("E"));
    carriers.SaveCarriers();
    EXPECT_FALSE(carriers.CarriersActive);
    EXPECT_EQ(
        b.program->profiles.GetPrivateProfileString(S("Provider"), S("Last4"), {}, b.program->iniPath()),
        S("E"));
}

// ---- The program

TEST(PhonebookProgram, ACallShowsTheNameFromTheBooksAndAnUnknownNumberGoesIntoNew) {
    TestProgram t(false);
    Program& p = *t.program;
    p.Phonebooks.Phonebooks_create();
    ASSERT_TRUE(p.startLine());
    ASSERT_TRUE(p.Phonebooks.Item(2)->EintragAdd(S("Anna Berger"), S("Hauptstr. 1"), S("80331"), S("München"),
                                                 S("Kollegin"), S("0891234567"), {}, {}, {}));
    t.ring("891234567", "5551");
    EXPECT_EQ(p.call.panel().lblName, S("Anna Berger"));
    EXPECT_EQ(p.call.panel().lblNameToolTip, S("Hauptstr. 1 80331 München - Kollegin"));
    t.line->farEndHangsUp();
    t.settle();

    t.ring("301111", "5551");
    EXPECT_EQ(p.call.panel().lblName, S("0301111"));
    t.line->farEndHangsUp();
    t.settle();
    t.ring("301111", "5551");
    clsPhonebook* fresh = p.Phonebooks.Item(S("NEW"));
    EXPECT_EQ(fresh->EintragCount(), 1);
    EXPECT_EQ(fresh->clsEintragGetFirst()->Number(), S("0301111"));
}

} // namespace
