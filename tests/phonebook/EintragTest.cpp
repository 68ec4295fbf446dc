#include "phonebook/RecordSource.h"
#include "phonebook/clsEintrag.h"
#include "shell/Settings.h"

#include <QByteArray>

#include <cstring>

#include <gtest/gtest.h>

#include <map>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

// A phonebook file in memory: records by key, a position, and the kind of book.
class MemoryBook : public RecordSource {
public:
    static constexpr int32_t NotFound = 4;

    int32_t GoToRecord(double key) override {
        if (records.count(key) == 0)
            return NotFound;
        position = key;
        return 0;
    }
    int32_t GetRecordPHB(RecordBlock& block) override {
        const auto found = records.find(position);
        if (found == records.end())
            return NotFound;
        block = found->second;
        return 0;
    }
    int32_t PutRecordPHB(const RecordBlock& block) override {
        double key = EintragRecord::GetKey(block);
        if (key == 0)
            key = nextKey++;
        else if (records.count(key) == 0)
            return NotFound;
        RecordBlock stored = block;
        EintragRecord::PutKey(stored, key);
        records[key] = stored;
        position = key;
        lastWritten = block;
        return 0;
    }
    bool KeepsGreetings() const override { return normalDiskBook; }

    std::map<double, RecordBlock> records;
    double position = 0;
    double nextKey = 1;
    bool normalDiskBook = true;
    RecordBlock lastWritten{};
};

QByteArray bytesAt(const RecordBlock& block, int offset, int size) {
    return QByteArray(block.data() + offset, size);
}

class EintragTest : public ::testing::Test {
protected:
    clsEintrag entry(int16_t inPhone = 0) {
        clsEintrag e(settings, soundFolder);
        e.InPhone = inPhone;
        e.hDB = &book;
        return e;
    }
    // The entry read back from the record with this key.
    clsEintrag readBack(double key, int16_t inPhone = 0) {
        clsEintrag e = entry(inPhone);
        EXPECT_EQ(book.GoToRecord(key), 0);
        EXPECT_EQ(e.GetRecord(), 0);
        return e;
    }

    Settings settings;
    QString soundFolder = S("/data/morva/sound");
    MemoryBook book;
};

// ---- The record block

TEST_F(EintragTest, RecordRoundTripKeepsEveryField) {
    clsEintrag e = entry();
    e.setName(S("Jürgen Müller"));
    e.setAdresse(S("Hauptstraße 12"));
    e.setPLZ(S("80331"));
    e.setOrt(S("München"));
    e.setDescription(S("Rückruf\r\nnach 18 Uhr"));
    e.setNumber(S("089 / 123-4567"));
    e.setNumber2(S("01719876543"));
    e.setNumber3(S("+49 89 1"));
    e.setAnsage(S("/data/morva/sound/Ansage/mueller.wav"));
    ASSERT_EQ(e.PutRecord(), 0);
    ASSERT_EQ(book.records.size(), 1u);

    const clsEintrag back = readBack(1);
    EXPECT_EQ(back.RecordKey, 1.0);
    EXPECT_EQ(back.XColGet(), e.XColGet());
    EXPECT_EQ(back.AnsageStored(), S("Ansage/mueller.wav"));
    EXPECT_EQ(back.ISChanged(), 1);
}

TEST_F(EintragTest, RecordBlockHasTheFieldsAtTheirOffsets) {
    EXPECT_EQ(EintragRecord::ISChanged.offset + EintragRecord::ISChanged.width, RecordBlockSize);
    clsEintrag e = entry();
    e.RecordKey = 1.5;
    e.setName(S("Meier"));
    e.setAdresse(S("Weg 1"));
    e.setPLZ(S("12345"));
    e.setOrt(S("Ulm"));
    e.setDescription(S("Notiz"));
    e.setNumber(S("0891"));
    e.setNumber2(S("0892"));
    e.setNumber3(S("0893"));
    e.setAnsage(S("a.wav"));
    e.setISChanged(0);
    const RecordBlock block = e.ToRecord();

    EXPECT_EQ(bytesAt(block, 0, 8), QByteArray("\x00\x00\x00\x00\x00\x00\xF8\x3F", 8))
        << "1.5, little endian";
    const auto expectText = [&](int offset, int width, const char* text) {
        QByteArray expected(text);
        expected.append('\0');
        expected.append(QByteArray(width - expected.size(), ' '));
        EXPECT_EQ(bytesAt(block, offset, width), expected) << text;
    };
    expectText(8, 50, "Meier");
    expectText(58, 50, "Weg 1");
    expectText(108, 10, "12345");
    expectText(118, 50, "Ulm");
    expectText(168, 127, "Notiz");
    expectText(295, 35, "0891");
    expectText(330, 35, "0892");
    expectText(365, 35, "0893");
    expectText(400, 127, "a.wav");
    EXPECT_EQ(bytesAt(block, 527, 100), QByteArray(100, '\0')) << "reserved block";
    EXPECT_EQ(bytesAt(block, 627, 2), QByteArray("N\0", 2));
    e.setISChanged(1);
    EXPECT_EQ(bytesAt(e.ToRecord(), 627, 2), QByteArray("T\0", 2));
}

TEST_F(EintragTest, TextIsWindows1252) {
    clsEintrag e = entry();
    e.setName(S("äöüß€"));
    e.setOrt(S("日本"));
    const RecordBlock block = e.ToRecord();
    EXPECT_EQ(bytesAt(block, 8, 7), QByteArray("\xE4\xF6\xFC\xDF\x80\x00 ", 7));
    EXPECT_EQ(bytesAt(block, 118, 3), QByteArray("??\0", 3)) << "characters the code page lacks";
    book.records[7] = block;
    EXPECT_EQ(readBack(7).Name(), S("äöüß€"));
}

TEST_F(EintragTest, AValueOfTheFieldWidthOrMoreHasNoZeroByte) {
    clsEintrag e = entry();
    e.setPLZ(S("1234567890"));
    e.setName(QString(60, QLatin1Char('x')));
    const RecordBlock block = e.ToRecord();
    EXPECT_EQ(bytesAt(block, 108, 10), QByteArray("1234567890"));
    EXPECT_EQ(bytesAt(block, 8, 50), QByteArray(50, 'x'));
    EXPECT_EQ(block[58], '\0') << "Adresse begins right after, empty";
    book.records[3] = block;
    const clsEintrag back = readBack(3);
    EXPECT_EQ(back.PLZ(), S("1234567890"));
    EXPECT_EQ(back.Name(), QString(50, QLatin1Char('x')));
}

TEST_F(EintragTest, ReadingCutsAtTheZeroByteAndTrimsBlanks) {
    RecordBlock block{};
    EintragRecord::PutKey(block, 9);
    std::memcpy(block.data() + 8, "  Meier  \0rest of an old name", 29);
    std::memcpy(block.data() + 295, " 0891 ", 6); // no zero byte, zeros follow
    block[627] = 'T';
    book.records[9] = block;
    const clsEintrag back = readBack(9);
    EXPECT_EQ(back.Name(), S("Meier"));
    EXPECT_EQ(back.Number(), S("0891"));
    EXPECT_EQ(back.RecordKey, 9.0);
    EXPECT_EQ(back.ISChanged(), 1);
}

TEST_F(EintragTest, ReadingTakesOnlyTheStoredChangeFlag) {
    clsEintrag e = entry();
    e.setName(S("Meier"));
    e.setNumber(S("0891"));
    e.setISChanged(0);
    ASSERT_EQ(e.PutRecord(), 0);
    const clsEintrag back = readBack(1);
    EXPECT_EQ(back.Name(), S("Meier"));
    EXPECT_EQ(back.ISChanged(), 0) << "the set operations while reading do not count";
}

TEST_F(EintragTest, AFailedReadLeavesTheEntryAsItWas) {
    clsEintrag e = entry();
    e.setName(S("Meier"));
    book.position = 99;
    EXPECT_EQ(e.GetRecord(), MemoryBook::NotFound);
    EXPECT_EQ(e.Name(), S("Meier"));
    clsEintrag none(settings, soundFolder);
    EXPECT_EQ(none.GetRecord(), RecordSource::NoSource);
    EXPECT_EQ(none.PutRecord(), RecordSource::NoSource);
}

TEST_F(EintragTest, KeyZeroAddsAndAnExistingKeyReplaces) {
    clsEintrag e = entry();
    e.setName(S("Erster"));
    ASSERT_EQ(e.PutRecord(), 0);
    e.setName(S("Zweiter"));
    ASSERT_EQ(e.PutRecord(), 0);
    EXPECT_EQ(book.records.size(), 2u);
    clsEintrag third = readBack(2);
    third.setName(S("Dritter"));
    ASSERT_EQ(third.PutRecord(), 0);
    EXPECT_EQ(book.records.size(), 2u);
    EXPECT_EQ(readBack(2).Name(), S("Dritter"));
}

// ---- Limits of the telephone kinds

TEST_F(EintragTest, NameLimitAppliesOnlyInATelephonesBook) {
    settings.PhoneType = 0;
    const QString name21 = S("Abcdefghijklmnopqrstu");
    clsEintrag phone = entry(1);
    phone.setName(name21);
    EXPECT_EQ(phone.Name(), name21.left(20));
    phone.setName(name21.left(20));
    EXPECT_EQ(phone.Name(), name21.left(20)) << "exactly 20 stays";
    clsEintrag disk = entry(0);
    disk.setName(name21);
    EXPECT_EQ(disk.Name(), name21);
}

TEST_F(EintragTest, EachTelephoneKindHasItsLimits) {
    const QString text(60, QLatin1Char('a'));
    const QString digits(60, QLatin1Char('1'));
    struct Expected {
        int16_t phoneType;
        int name, number, adresse, plz, ort;
    };
    for (const Expected& x :
         {Expected{0, 20, 20, 60, 60, 60}, Expected{1, 20, 20, 60, 60, 60}, Expected{2, 30, 32, 32, 10, 32},
          Expected{3, 60, 60, 60, 60, 60}, Expected{4, 32, 32, 60, 60, 60}}) {
        settings.PhoneType = x.phoneType;
        clsEintrag e = entry(1);
        e.setName(text);
        e.setNumber(digits);
        e.setNumber2(digits);
        e.setNumber3(digits);
        e.setAdresse(text);
        e.setPLZ(text);
        e.setOrt(text);
        EXPECT_EQ(e.Name().size(), x.name) << x.phoneType;
        EXPECT_EQ(e.Number().size(), x.number) << x.phoneType;
        EXPECT_EQ(e.Number2().size(), x.number) << x.phoneType;
        EXPECT_EQ(e.Number3().size(), x.number) << x.phoneType;
        EXPECT_EQ(e.Adresse().size(), x.adresse) << x.phoneType;
        EXPECT_EQ(e.PLZ().size(), x.plz) << x.phoneType;
        EXPECT_EQ(e.Ort().size(), x.ort) << x.phoneType;
    }
}

TEST_F(EintragTest, LimitsApplyWhenReadingIntoATelephonesBook) {
    settings.PhoneType = 0;
    clsEintrag disk = entry(0);
    disk.setName(QString(40, QLatin1Char('n')));
    ASSERT_EQ(disk.PutRecord(), 0);
    EXPECT_EQ(readBack(1, 0).Name().size(), 40);
    EXPECT_EQ(readBack(1, 1).Name().size(), 20);
}

// ---- Reserved characters

TEST_F(EintragTest, ReservedCharactersGoInEveryBookByTelephoneKind) {
    const QString raw = S("  Meier; Hans, 100% ");
    struct Expected {
        int16_t phoneType;
        const char* name;
    };
    for (const Expected& x : {Expected{0, "Meier Hans 100%"}, Expected{1, "Meier Hans 100%"},
                              Expected{2, "Meier Hans, 100%"}, Expected{3, "Meier Hans 100%"},
                              Expected{4, "Meier; Hans, 100"}, Expected{7, "Meier; Hans, 100%"}}) {
        settings.PhoneType = x.phoneType;
        for (int16_t inPhone : {0, 1}) {
            clsEintrag e = entry(inPhone);
            e.setName(raw);
            e.setOrt(raw);
            EXPECT_EQ(e.Name(), S(x.name)) << x.phoneType << " InPhone " << inPhone;
            EXPECT_EQ(e.Ort(), S(x.name)) << x.phoneType << " InPhone " << inPhone;
        }
    }
}

TEST_F(EintragTest, ChangesAreMarked) {
    clsEintrag e = entry();
    e.setName(S("Meier"));
    e.setISChanged(0);
    e.setName(S("Meier"));
    EXPECT_EQ(e.ISChanged(), 0) << "the same value";
    e.setName(S("Meyer"));
    EXPECT_EQ(e.ISChanged(), 1);

    settings.PhoneType = 0;
    e.setNumber(S("0891;"));
    e.setISChanged(0);
    e.setNumber(S("0891,"));
    EXPECT_EQ(e.ISChanged(), 0) << "numbers are compared after cleaning";
    e.setName(S("Meyer;"));
    EXPECT_EQ(e.ISChanged(), 1) << "texts are compared before cleaning";
}

// ---- The note

TEST_F(EintragTest, ShortNoteLinesAreJoinedWithBarsAndNotRewrapped) {
    settings.PhoneType = 2;
    clsEintrag e = entry(1);
    e.setDescription(S("Zeile eins\r\nZeile zwei\r\nZeile drei"));
    EXPECT_EQ(e.Description(), S("Zeile eins|Zeile zwei|Zeile drei"));
}

TEST_F(EintragTest, ALongNoteLineIsBrokenEveryTwentyCharacters) {
    settings.PhoneType = 2;
    clsEintrag e = entry(1);
    const QString line30 = S("abcdefghijklmnopqrstuvwxyz1234");
    e.setDescription(line30);
    EXPECT_EQ(e.Description(), line30.left(20) + S("|") + line30.mid(20));

    e.setDescription(S("kurz\r\n") + line30);
    EXPECT_EQ(e.Description(), S("kurz abcdefghijklmno|pqrstuvwxyz1234")) << "old breaks become blanks";

    const QString long150(150, QLatin1Char('x'));
    e.setDescription(long150);
    const QString laidOut = e.Description();
    EXPECT_EQ(laidOut.size(), 104);
    for (int at : {20, 41, 62, 83})
        EXPECT_EQ(laidOut.at(at), QLatin1Char('|')) << at;
    EXPECT_EQ(laidOut.count(QLatin1Char('|')), 4);
}

TEST_F(EintragTest, NoteLayoutBelongsToTheTelephonesBookOfItsKind) {
    const QString note = S("Zeile eins\r\nZeile zwei ist viel laenger als zwanzig");
    settings.PhoneType = 2;
    clsEintrag disk = entry(0);
    disk.setDescription(note);
    EXPECT_EQ(disk.Description(), note);
    settings.PhoneType = 4;
    clsEintrag other = entry(1);
    other.setDescription(note);
    EXPECT_EQ(other.Description(), S("Zeile eins|Zeile zwei ist viel laenger als zwanzig"));
}

// ---- The nine-item list

TEST_F(EintragTest, NineItemListOrder) {
    clsEintrag e = entry();
    e.setName(S("N"));
    e.setAdresse(S("A"));
    e.setPLZ(S("P"));
    e.setOrt(S("O"));
    e.setDescription(S("D"));
    e.setNumber(S("1"));
    e.setNumber2(S("2"));
    e.setNumber3(S("3"));
    e.setAnsage(S("x.wav"));
    EXPECT_EQ(e.XColGet(), (QStringList{S("N"), S("A"), S("P"), S("O"), S("D"), S("1"), S("2"), S("3"),
                                        S("/data/morva/sound/x.wav")}));
}

TEST_F(EintragTest, XColChangeSetsTheNineAndWrites) {
    settings.PhoneType = 0;
    clsEintrag e = entry(1);
    const QStringList items{S("Meier; Hans"), S("Weg 1"), S("12345"),
                            S("Ulm"),         S("Notiz"), S("0731 / 12-34"),
                            S("0171"),        S(""),      S("/data/morva/sound/m.wav")};
    ASSERT_EQ(e.XColChange(items), 0);
    EXPECT_EQ(e.XColGet(), (QStringList{S("Meier Hans"), S("Weg 1"), S("12345"), S("Ulm"), S("Notiz"),
                                        S("07311234"), S("0171"), QString(), S("/data/morva/sound/m.wav")}));
    ASSERT_EQ(book.records.size(), 1u);
    EXPECT_EQ(EintragRecord::GetText(book.records.begin()->second, EintragRecord::Name), S("Meier Hans"));
    EXPECT_EQ(e.ISChanged(), 1);
}

// ---- Numbers

TEST_F(EintragTest, NumberFormForATelephonesBook) {
    settings.PhoneType = 0;
    clsEintrag phone = entry(1);
    phone.setNumber(S("0171 / 123-456"));
    EXPECT_EQ(phone.Number(), S("0171123456"));
    bool changed = false;
    EXPECT_EQ(phone.FormatNumberforEurit(S("0171 / 123-456"), &changed), S("0171123456"));
    EXPECT_TRUE(changed);
    EXPECT_EQ(phone.FormatNumberforEurit(S("0171123456"), &changed), S("0171123456"));
    EXPECT_FALSE(changed);
    EXPECT_EQ(phone.FormatNumberforEurit(S("0123 456 789 012 345 678 99")), S("01234567890123456789"))
        << "21 digits cut to 20";

    clsEintrag disk = entry(0);
    disk.setNumber(S("0171 / 123-456"));
    EXPECT_EQ(disk.Number(), S("0171 / 123-456"));
    EXPECT_EQ(disk.FormatNumberforEurit(S("0171 / 123-456")), S("0171 / 123-456"));
}

TEST_F(EintragTest, DialableNumberLosesTheOutsideLinePrefixOnlyInATelephonesBook) {
    settings.NBST = 1;
    settings.NBSTAKZ = S("0");
    for (int16_t inPhone : {0, 1, 2}) {
        clsEintrag e = entry(inPhone);
        e.setNumber(S("00891234"));
        EXPECT_EQ(e.NumberDialable(), inPhone == 1 ? S("0891234") : S("00891234")) << inPhone;
    }
    settings.NBST = 0;
    clsEintrag e = entry(1);
    e.setNumber(S("00891234"));
    EXPECT_EQ(e.NumberDialable(), S("00891234")) << "no exchange, no prefix";
}

// ---- List rows

TEST_F(EintragTest, RowsOfADiskBook) {
    clsEintrag e = entry(0);
    e.RecordKey = 17;
    for (auto [set, value] : {std::pair{&clsEintrag::setName, "Meier"},
                              {&clsEintrag::setNumber, "1"},
                              {&clsEintrag::setNumber2, "2"},
                              {&clsEintrag::setNumber3, "3"},
                              {&clsEintrag::setAdresse, "A"},
                              {&clsEintrag::setPLZ, "P"},
                              {&clsEintrag::setOrt, "O"},
                              {&clsEintrag::setDescription, "D"}})
        (e.*set)(S(value));
    ListItems list;
    e.AddEintrag(&list, true);
    e.AddEintrag(&list, false);
    ASSERT_EQ(list.Count(), 2);
    EXPECT_EQ(list.At(0).Text, S("Meier"));
    EXPECT_EQ(list.At(0).Tag, 17.0);
    EXPECT_EQ(list.At(0).SmallIcon, S("NOS"));
    EXPECT_EQ(list.At(0).SubItems, (QStringList{S("1"), S("2"), S("3"), S("A"), S("P"), S("O"), S("D")}));
    EXPECT_EQ(list.At(1).SubItems, (QStringList{S("1"), S("A"), S("P"), S("O"), S("D")}));

    EXPECT_EQ(list.rowCount(), 2);
    EXPECT_EQ(list.columnCount(), 8);
    EXPECT_EQ(list.data(list.index(0, 0)).toString(), S("Meier"));
    EXPECT_EQ(list.data(list.index(0, 4)).toString(), S("A"));
    EXPECT_EQ(list.data(list.index(1, 6)).toString(), QString());
    EXPECT_EQ(list.data(list.index(0, 0), ListItems::TagRole).toDouble(), 17.0);
    EXPECT_EQ(list.data(list.index(0, 0), ListItems::SmallIconRole).toString(), S("NOS"));
}

TEST_F(EintragTest, RowsOfATelephonesBook) {
    settings.PhoneType = 2;
    clsEintrag e = entry(1);
    e.setName(S("Meier"));
    e.setNumber(S("1"));
    e.setNumber2(S("2"));
    e.setAdresse(S("A"));
    e.setPLZ(S("P"));
    e.setOrt(S("O"));
    e.setDescription(S("D"));
    EXPECT_EQ(e.SubItems(true), (QStringList{S("1"), QString(), QString(), S("A"), S("P"), S("O"), S("D")}));
    EXPECT_EQ(e.SubItems(false), (QStringList{S("1"), S("A"), S("P"), S("O"), S("D")}));
    settings.PhoneType = 0;
    EXPECT_EQ(e.SubItems(true), QStringList{S("1")});
    EXPECT_EQ(e.SubItems(false), QStringList{S("1")});
}

TEST_F(EintragTest, IconsOnlyInAListWithSmallIcons) {
    clsEintrag e = entry(0);
    e.setName(S("Meier"));
    e.setAnsage(S("gruss.wav"));
    ListItems icons;
    ListItems plain(false);
    e.AddEintrag(&icons, false);
    e.AddEintrag(&plain, false);
    e.AddEintrag(nullptr, false);
    EXPECT_EQ(icons.At(0).SmallIcon, S("S"));
    EXPECT_EQ(plain.At(0).SmallIcon, QString());
    EXPECT_FALSE(plain.data(plain.index(0, 0), ListItems::SmallIconRole).isValid());
}

TEST_F(EintragTest, AktualizeEntryRewritesARowWithTheDetailLayout) {
    clsEintrag e = entry(0);
    e.setName(S("Meier"));
    e.setNumber(S("1"));
    e.setAdresse(S("A"));
    ListItems list;
    e.AddEintrag(&list, false);
    e.setName(S("Meyer"));
    e.setNumber2(S("2"));
    e.setAnsage(S("gruss.wav"));
    ASSERT_TRUE(e.AktualizeEntry(&list, 0));
    EXPECT_EQ(list.At(0).Text, S("Meyer"));
    EXPECT_EQ(list.At(0).SmallIcon, S("S"));
    EXPECT_EQ(list.At(0).SubItems,
              (QStringList{S("1"), S("2"), QString(), S("A"), QString(), QString(), QString()}));
    EXPECT_FALSE(e.AktualizeEntry(&list, 1));
    EXPECT_FALSE(e.AktualizeEntry(nullptr, 0));

    ListItems plain(false);
    e.AddEintrag(&plain, true);
    ASSERT_TRUE(e.AktualizeEntry(&plain, 0));
    EXPECT_EQ(plain.At(0).SmallIcon, QString()) << "a row without an icon gets none";
}

// ---- The greeting

TEST_F(EintragTest, GreetingIsKeptRelativeToTheSoundFolder) {
    clsEintrag e = entry();
    e.setAnsage(S("/data/morva/sound/Ansage/meier.wav"));
    EXPECT_EQ(e.AnsageStored(), S("Ansage/meier.wav"));
    EXPECT_EQ(e.Ansage(), S("/data/morva/sound/Ansage/meier.wav"));
    e.setAnsage(S("/data/greetings/meier.wav"));
    EXPECT_EQ(e.AnsageStored(), S("../../greetings/meier.wav"));
    EXPECT_EQ(e.Ansage(), S("/data/greetings/meier.wav"));
    e.setAnsage(S("meier.wav"));
    EXPECT_EQ(e.AnsageStored(), S("meier.wav"));
    EXPECT_EQ(e.Ansage(), S("/data/morva/sound/meier.wav"));
    e.setAnsage(QString());
    EXPECT_EQ(e.Ansage(), QString());

    e.setAnsage(S("meier.wav"));
    e.setISChanged(0);
    e.setAnsage(S("/data/morva/sound/meier.wav"));
    EXPECT_EQ(e.ISChanged(), 0) << "the same file given as a full path is no change";
}

TEST_F(EintragTest, GreetingIsReadAsItStandsInTheRecord) {
    RecordBlock block{};
    EintragRecord::PutKey(block, 5);
    EintragRecord::PutText(block, EintragRecord::Ansage, S("/opt/greetings/meier.wav"));
    block[627] = 'N';
    book.records[5] = block;
    const clsEintrag back = readBack(5);
    EXPECT_EQ(back.AnsageStored(), S("/opt/greetings/meier.wav")) << "no path handling on reading";
    EXPECT_EQ(back.Ansage(), S("/opt/greetings/meier.wav"));
}

TEST_F(EintragTest, OnlyANormalDiskBookKeepsTheGreeting) {
    clsEintrag e = entry();
    e.setName(S("Meier"));
    e.setAnsage(S("/data/morva/sound/meier.wav"));
    ASSERT_EQ(e.PutRecord(), 0);
    EXPECT_EQ(EintragRecord::GetText(book.lastWritten, EintragRecord::Ansage), S("meier.wav"));
    EXPECT_EQ(readBack(1).Ansage(), S("/data/morva/sound/meier.wav"));

    book.normalDiskBook = false; // the book NEW, QUICK, MACRO or a telephone's book
    ASSERT_EQ(e.PutRecord(), 0);
    EXPECT_EQ(EintragRecord::GetText(book.lastWritten, EintragRecord::Ansage), QString());
    EXPECT_EQ(readBack(2).Ansage(), QString());
}

} // namespace
