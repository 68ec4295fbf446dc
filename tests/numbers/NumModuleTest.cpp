// The forms of a number and the text helpers of the number module.

#include "numbers/Num_module.h"
#include "platform/numbers/NumTrans.h"
#include "shell/Settings.h"

#include <gtest/gtest.h>

namespace {

Settings munich() {
    Settings s;
    s.LandesCode = QStringLiteral("49");
    s.Vorwahl = QStringLiteral("089");
    return s;
}

// FormatCanonic with the status panel's pattern; returns the filled pattern and the two places.
struct Shown {
    QString text, place1, place2;
};
Shown panel(const Settings& s, const NumTrans& numTrans, const QString& number) {
    Shown shown;
    shown.text =
        FormatCanonic(s, numTrans, number, QStringLiteral("0<AREA> <NUMBER>"), shown.place1, shown.place2);
    return shown;
}

} // namespace

TEST(NumAreaCode, OnlyLocalNumbersGetTheOwnAreaCode) {
    Settings s;
    s.Vorwahl = QStringLiteral("089");
    EXPECT_EQ(AddAreaCode(s, QStringLiteral("12345")), QStringLiteral("08912345"));
    EXPECT_EQ(AddAreaCode(s, QStringLiteral(" 12345 ")), QStringLiteral("08912345"));
    EXPECT_EQ(AddAreaCode(s, QStringLiteral("12")), QStringLiteral("12"));
    EXPECT_EQ(AddAreaCode(s, QStringLiteral("0171123")), QStringLiteral("0171123"));
    EXPECT_EQ(AddAreaCode(s, QStringLiteral("Meier")), QStringLiteral("Meier"));
    EXPECT_EQ(AddAreaCode(s, QStringLiteral("unbekannt")), QStringLiteral("unbekannt"));
}

TEST(NumPrefixes, OnlyWithAPrivateBranchExchange) {
    Settings s;
    s.NBSTAKZ = QStringLiteral("0");
    EXPECT_EQ(OutsideLinePrefix(s, QStringLiteral("0891"), 1), QStringLiteral("0891")) << "NBST off";
    EXPECT_EQ(OutsideLinePrefix(s, QStringLiteral("00891"), 0), QStringLiteral("00891")) << "NBST off";
    EXPECT_EQ(OutsideLinePrefix(s, QStringLiteral("0891"), 7), QStringLiteral("0891")) << "NBST off";
    s.NBST = 1;
    EXPECT_EQ(OutsideLinePrefix(s, QStringLiteral("0891"), 1), QStringLiteral("00891"));
    EXPECT_EQ(OutsideLinePrefix(s, QStringLiteral("00891"), 0), QStringLiteral("0891"));
    EXPECT_EQ(OutsideLinePrefix(s, QStringLiteral("12"), 1), QStringLiteral("12"));
    EXPECT_EQ(OutsideLinePrefix(s, QStringLiteral("12"), 0), QStringLiteral("12"));
    EXPECT_EQ(OutsideLinePrefix(s, QStringLiteral(" 1"), 7), QStringLiteral("1")) << "short: only trimmed";
    EXPECT_EQ(OutsideLinePrefix(s, QStringLiteral("0891"), 7), QString());
}

TEST(NumPrefixes, ABranchExchangeWithItsOwnDigits) {
    Settings s;
    s.NBST = 1;
    s.NBSTAKZ = QStringLiteral("9");
    s.NBSTAKZIN = QStringLiteral("0");
    EXPECT_EQ(OutsideLinePrefix(s, QStringLiteral("0891234567"), 1), QStringLiteral("90891234567"));
    EXPECT_EQ(OutsideLinePrefix(s, QStringLiteral("90891234567"), 0), QStringLiteral("0891234567"));
    EXPECT_EQ(OutsideLinePrefix(s, QStringLiteral("0891234567"), 0), QStringLiteral("0891234567"))
        << "without the prefix the number stays";
    EXPECT_EQ(IncomingPrefix(s, QStringLiteral("00891234567"), 0), QStringLiteral("0891234567"));
    EXPECT_EQ(IncomingPrefix(s, QStringLiteral("891234567"), 0), QStringLiteral("891234567"));
    EXPECT_EQ(IncomingPrefix(s, QStringLiteral("0891234567"), 1), QStringLiteral("00891234567"));
    EXPECT_EQ(IncomingPrefix(s, QStringLiteral("0891234567"), -1), QString());

    s.NBSTAKZIN = QStringLiteral("9");
    EXPECT_EQ(IncomingPrefix(s, QStringLiteral("90891"), 0), QStringLiteral("0891"));
    EXPECT_EQ(IncomingPrefix(s, QStringLiteral("0891"), 0), QStringLiteral("0891"));

    s.NBST = 0;
    EXPECT_EQ(IncomingPrefix(s, QStringLiteral("90891"), 0), QStringLiteral("90891")) << "NBST off";
    EXPECT_EQ(OutsideLinePrefix(s, QStringLiteral("0891"), 1), QStringLiteral("0891")) << "NBST off";
}

TEST(NumPrefixes, AnEmptyPrefixAddsAndTakesNothing) {
    Settings s;
    s.NBST = 1;
    s.NBSTAKZ.clear();
    EXPECT_EQ(OutsideLinePrefix(s, QStringLiteral("0891"), 1), QStringLiteral("0891"));
    EXPECT_EQ(OutsideLinePrefix(s, QStringLiteral("0891"), 0), QStringLiteral("0891"));
}

TEST(NumLastNumbers, NewestOnTopOnceAndAtMostTwenty) {
    LastNumbers list;
    EXPECT_TRUE(list.RememberNumber(QStringLiteral("0891")));
    EXPECT_TRUE(list.RememberNumber(QStringLiteral("0892")));
    EXPECT_FALSE(list.RememberNumber(QStringLiteral("0892"))) << "already on top: unchanged";
    EXPECT_TRUE(list.RememberNumber(QStringLiteral("0891")));
    EXPECT_EQ(list.numbers(), (QStringList{QStringLiteral("0891"), QStringLiteral("0892")}));
    EXPECT_FALSE(list.RememberNumber(QString()));
    EXPECT_FALSE(list.RememberNumber(QStringLiteral("unbekannt")));
    for (int i = 0; i < 30; ++i)
        list.RememberNumber(QString::number(1000 + i));
    EXPECT_EQ(list.numbers().size(), 20);
    EXPECT_EQ(list.numbers().front(), QStringLiteral("1029"));
}

TEST(NumDigitsOnly, KeepsTheDigitsInOrder) {
    EXPECT_EQ(DigitsOnly(QStringLiteral("+49 (89) 123-45/67")), QStringLiteral("49891234567"));
    EXPECT_EQ(DigitsOnly(QStringLiteral("Meier")), QString());
}

TEST(NumCleanForPhone, EachKindLosesItsReservedCharacters) {
    const QString text = QStringLiteral("  089;12,34%5  ");
    EXPECT_EQ(CleanForPhone(text, 0), QStringLiteral("0891234%5"));
    EXPECT_EQ(CleanForPhone(text, 1), QStringLiteral("0891234%5"));
    EXPECT_EQ(CleanForPhone(text, 2), QStringLiteral("08912,34%5"));
    EXPECT_EQ(CleanForPhone(text, 3), QStringLiteral("0891234%5"));
    EXPECT_EQ(CleanForPhone(text, 4), QStringLiteral("089;12,345"));
    EXPECT_EQ(CleanForPhone(QStringLiteral(" ; , "), 0), QStringLiteral(" ")) << "trimmed before, not after";
}

TEST(NumCleanForFile, NoTabsNoSemicolonsAndNoCommasForTheOlderKinds) {
    const QString text = QStringLiteral(" Meier;\tHans, Dr. ");
    EXPECT_EQ(CleanForFile(text, 0), QStringLiteral("MeierHans Dr."));
    EXPECT_EQ(CleanForFile(text, 1), QStringLiteral("MeierHans Dr."));
    EXPECT_EQ(CleanForFile(text, 3), QStringLiteral("MeierHans Dr."));
    EXPECT_EQ(CleanForFile(text, 2), QStringLiteral("MeierHans, Dr."));
    EXPECT_EQ(CleanForFile(text, 4), QStringLiteral("MeierHans, Dr."));
}

TEST(NumStringReplace, ScansAgainFromTheStart) {
    EXPECT_EQ(
        StringReplace(QStringLiteral("0<AREA> <NUMBER>"), QStringLiteral("<AREA>"), QStringLiteral("89")),
        QStringLiteral("089 <NUMBER>"));
    EXPECT_EQ(StringReplace(QStringLiteral("aab"), QStringLiteral("ab"), QStringLiteral("b")),
              QStringLiteral("b"))
        << "a replacement that forms a new occurrence is replaced too";
    EXPECT_EQ(StringReplace(QStringLiteral("Ab ab"), QStringLiteral("ab"), QStringLiteral("x")),
              QStringLiteral("Ab x"))
        << "case-sensitive";
    EXPECT_EQ(StringReplace(QStringLiteral("a-b"), QStringLiteral("-"), QStringLiteral("--")),
              QStringLiteral("a--b"))
        << "a replacement that holds the search text ends";
    EXPECT_EQ(StringReplace(QStringLiteral("abc"), QString(), QStringLiteral("x")), QStringLiteral("abc"));
}

TEST(NumGetToken, FieldsFromOne) {
    const QString text = QStringLiteral("49 89 1234567");
    const QString blank = QStringLiteral(" ");
    EXPECT_EQ(GetToken(text, 1, blank), QStringLiteral("49"));
    EXPECT_EQ(GetToken(text, 2, blank), QStringLiteral("89"));
    EXPECT_EQ(GetToken(text, 3, blank), QStringLiteral("1234567"));
    EXPECT_EQ(GetToken(text, 4, blank), QString());
    EXPECT_EQ(GetToken(text, 0, blank), QString());
    EXPECT_EQ(GetToken(QStringLiteral("45  20123456"), 2, blank), QString()) << "an empty field counts";
    EXPECT_EQ(GetToken(QStringLiteral("45  20123456"), 3, blank), QStringLiteral("20123456"));
    EXPECT_EQ(GetToken(QStringLiteral("a;;b"), 3, QStringLiteral(";")), QStringLiteral("b"));
}

TEST(NumCutAtNul, UpToTheFirstZero) {
    EXPECT_EQ(CutAtNul(QStringLiteral("abc")), QStringLiteral("abc"));
    EXPECT_EQ(CutAtNul(QString::fromUtf16(u"ab\0cd", 5)), QStringLiteral("ab"));
    EXPECT_EQ(CutAtNul(QString::fromUtf16(u"\0ab", 3)), QString());
}

TEST(NumOemConvert, UmlautsRoundTripThroughCodePage850) {
    const QString text = QStringLiteral("Müller, Öztürk & Söhne: Äpfel, Straße ß");
    const QByteArray oem = OemConvert(text, 3);
    EXPECT_EQ(oem, QByteArray("M\x81ller, \x99zt\x81rk & S\x94hne: \x8E"
                              "pfel, Stra\xE1"
                              "e \xE1"));
    EXPECT_EQ(OemConvert(oem, 3), text);
    for (int16_t kind : {0, 1, 2})
        EXPECT_EQ(OemConvert(OemConvert(text, kind), kind), text) << "kind " << kind;
}

TEST(NumOemConvert, EveryByteOfTheCodePageRoundTrips) {
    QByteArray all;
    for (int byte = 1; byte < 256; ++byte)
        all += char(byte);
    EXPECT_EQ(OemConvert(OemConvert(all, 0), 0), all);
    EXPECT_EQ(OemConvert(QByteArray("\x84\x94\x81\x8E\x99\x9A\xE1"), 0), QStringLiteral("äöüÄÖÜß"));
    EXPECT_EQ(OemConvert(QByteArray("\xB0\xC4\xDB"), 0), QStringLiteral("░─█")) << "box drawing";
}

TEST(NumOemConvert, TheEurit22KeepsItsBytes) {
    const QString text = QStringLiteral("Müller");
    EXPECT_EQ(OemConvert(text, 4), QByteArray("M\xFCller"));
    EXPECT_EQ(OemConvert(QByteArray("M\xFCller"), 4), text);
}

TEST(NumOemConvert, CutsAtNulAndMarksWhatTheCodePageLacks) {
    EXPECT_EQ(OemConvert(QByteArray("ab\0cd", 5), 0), QStringLiteral("ab"));
    EXPECT_EQ(OemConvert(QString::fromUtf16(u"ab\0cd", 5), 0), QByteArray("ab"));
    EXPECT_EQ(OemConvert(QStringLiteral("5 €"), 0), QByteArray("5 ?"));
}

// FormatCanonic over the number library. One library for the whole suite: its tables load once.
class NumFormatCanonic : public testing::Test {
protected:
    static void SetUpTestSuite() { numTrans = new NumTrans; }
    static void TearDownTestSuite() {
        delete numTrans;
        numTrans = nullptr;
    }
    static NumTrans* numTrans;
    Settings s = munich();
};
NumTrans* NumFormatCanonic::numTrans = nullptr;

TEST_F(NumFormatCanonic, GermanNumbersOfEveryAreaLength) {
    struct Row {
        const char* number;
        const char* shown;
        const char* town;
    };
    const Row rows[] = {
        {"0891234567", "089 1234567", "München"}, {"03012345678", "030 12345678", "Berlin"},
        {"022112345", "0221 12345", "Köln"},      {"0622112345", "06221 12345", "Heidelberg"},
        {"0215112345", "02151 12345", "Krefeld"}, {"03988112345", "039881 12345", "Ringenwalde bei Templin"},
        {"0351123", "0351 123", "Dresden"},       {"089123", "089 123", "München"},
    };
    for (const Row& row : rows) {
        const Shown shown = panel(s, *numTrans, QString::fromUtf8(row.number));
        EXPECT_EQ(shown.text, QString::fromUtf8(row.shown)) << row.number;
        EXPECT_EQ(shown.place2, QString::fromUtf8(row.town)) << row.number;
        EXPECT_EQ(shown.place1, QString::fromUtf8(row.town) + QStringLiteral(", Deutschland")) << row.number;
    }
}

TEST_F(NumFormatCanonic, ALocalNumberGetsTheOwnAreaCodeFirst) {
    Shown shown = panel(s, *numTrans, QStringLiteral("1234567"));
    EXPECT_EQ(shown.text, QStringLiteral("089 1234567"));
    EXPECT_EQ(shown.place2, QStringLiteral("München"));

    s.Vorwahl = QStringLiteral("030");
    shown = panel(s, *numTrans, QStringLiteral("1234567"));
    EXPECT_EQ(shown.text, QStringLiteral("030 1234567"));
    EXPECT_EQ(shown.place2, QStringLiteral("Berlin"));
}

TEST_F(NumFormatCanonic, ShortExtensionsAndMissingSettingsStayAsTheyAre) {
    for (const char* number : {"1", "12", " 7"}) {
        const Shown shown = panel(s, *numTrans, QString::fromUtf8(number));
        EXPECT_EQ(shown.text, QString::fromUtf8(number));
        EXPECT_TRUE(shown.place1.isEmpty() && shown.place2.isEmpty()) << number;
    }
    const Shown extension = panel(s, *numTrans, QStringLiteral("0891"));
    EXPECT_EQ(extension.text, QStringLiteral("0891")) << "no German plan allows it";
    EXPECT_TRUE(extension.place2.isEmpty());

    Settings noArea = s;
    noArea.Vorwahl.clear();
    EXPECT_EQ(panel(noArea, *numTrans, QStringLiteral("0891234567")).text, QStringLiteral("0891234567"));
    Settings noCountry = s;
    noCountry.LandesCode.clear();
    EXPECT_TRUE(panel(noCountry, *numTrans, QStringLiteral("0891234567")).place2.isEmpty());
}

TEST_F(NumFormatCanonic, BlanksSlashesAndDashes) {
    for (const char* number :
         {"089 1234567", "089/1234567", "089 / 123 45 67", "089-123 45-67", "(089) 1234567"}) {
        const Shown shown = panel(s, *numTrans, QString::fromUtf8(number));
        EXPECT_EQ(shown.text, QStringLiteral("089 1234567")) << number;
        EXPECT_EQ(shown.place2, QStringLiteral("München")) << number;
    }
    EXPECT_EQ(panel(s, *numTrans, QStringLiteral("123 45 67")).text, QStringLiteral("089 1234567"))
        << "a local number written with blanks";
}

TEST_F(NumFormatCanonic, ForeignNumbersNameTheirCountry) {
    struct Row {
        const char* number;
        const char* canonic;
        const char* place2;
        const char* place1;
    };
    const Row rows[] = {
        {"0043 1 9876543", "0043-1-9876543", "Österreich", "Wien, Österreich"},
        {"+4319876543", "0043-1-9876543", "Österreich", "Wien, Österreich"},
        {"0041446681800", "0041-44-6681800", "Schweiz", "Zürich, Schweiz"},
        {"00442079460958", "0044-20-79460958", "Vereinigtes Königreich", "London, Vereinigtes Königreich"},
        {"0012127365000", "001-212-7365000", "Vereinigte Staaten", "New York, NY, Vereinigte Staaten"},
        {"004520123456", "0045--20123456", "Dänemark", "Dänemark"},
    };
    for (const Row& row : rows) {
        QString place1, place2;
        const QString number = QString::fromUtf8(row.number);
        EXPECT_EQ(FormatNumberPattern(s, *numTrans, number, QStringLiteral("-")),
                  QString::fromUtf8(row.canonic))
            << row.number;
        FormatCanonic(s, *numTrans, number, QStringLiteral("<NUMBER>"), place1, place2);
        EXPECT_EQ(place2, QString::fromUtf8(row.place2)) << row.number;
        EXPECT_EQ(place1, QString::fromUtf8(row.place1)) << row.number;
    }
}

TEST_F(NumFormatCanonic, MobileAndServiceNumbersSayWhatTheyAre) {
    struct Row {
        const char* number;
        const char* shown;
        const char* place2;
    };
    const Row rows[] = {
        {"01711234567", "0171 1234567", "Mobilfunk"},
        {"0176 1234 5678", "0176 12345678", "Mobilfunk"},
        {"08001234567", "0800 1234567", "Gebührenfreie Rufnummer"},
        {"018012345", "0180 12345", "Servicenummer"},
        {"09001234567", "0900 1234567", "Mehrwertdienst"},
        {"070012345678", "0700 12345678", "Persönliche Rufnummer"},
    };
    for (const Row& row : rows) {
        const Shown shown = panel(s, *numTrans, QString::fromUtf8(row.number));
        EXPECT_EQ(shown.text, QString::fromUtf8(row.shown)) << row.number;
        EXPECT_EQ(shown.place2, QString::fromUtf8(row.place2)) << row.number;
        EXPECT_EQ(shown.place1, QString::fromUtf8(row.place2) + QStringLiteral(", Deutschland"))
            << row.number;
    }
    QString place1, place2;
    FormatCanonic(s, *numTrans, QStringLiteral("00436641234567"), QStringLiteral("<NUMBER>"), place1, place2);
    EXPECT_EQ(place2, QStringLiteral("Österreich (Mobilfunk)")) << "a foreign mobile keeps its country";
}

TEST_F(NumFormatCanonic, LettersAreKeypadDigitsOrNoNumberAtAll) {
    const Shown vanity = panel(s, *numTrans, QStringLiteral("0800 FLOWERS"));
    EXPECT_EQ(vanity.text, QStringLiteral("0800 3569377"));
    EXPECT_EQ(vanity.place2, QStringLiteral("Gebührenfreie Rufnummer"));
    for (const char* text : {"unbekannt", "Meier", "Anonym"}) {
        const Shown shown = panel(s, *numTrans, QString::fromUtf8(text));
        EXPECT_EQ(shown.text, QString::fromUtf8(text));
        EXPECT_TRUE(shown.place1.isEmpty() && shown.place2.isEmpty()) << text;
    }
}

TEST_F(NumFormatCanonic, AnotherOwnCountry) {
    s.LandesCode = QStringLiteral("43");
    s.Vorwahl = QStringLiteral("01");
    Shown shown = panel(s, *numTrans, QStringLiteral("9876543"));
    EXPECT_EQ(shown.text, QStringLiteral("01 9876543"));
    EXPECT_EQ(shown.place2, QStringLiteral("Wien"));
    EXPECT_EQ(shown.place1, QStringLiteral("Wien, Österreich"));
    shown = panel(s, *numTrans, QStringLiteral("0049891234567"));
    EXPECT_EQ(shown.place2, QStringLiteral("Deutschland"));
    EXPECT_EQ(shown.place1, QStringLiteral("München, Deutschland"));
}

TEST_F(NumFormatCanonic, TheSplitFormForActions) {
    EXPECT_EQ(FormatNumberPattern(s, *numTrans, QStringLiteral("0891234567"), QStringLiteral("/")),
              QStringLiteral("0049/89/1234567"));
    EXPECT_EQ(FormatNumberPattern(s, *numTrans, QStringLiteral("1234567"), QStringLiteral("-")),
              QStringLiteral("0049-89-1234567"));
    EXPECT_EQ(FormatNumberPattern(s, *numTrans, QStringLiteral("12"), QStringLiteral("-")),
              QStringLiteral("12"));
    EXPECT_EQ(FormatNumberPattern(s, *numTrans, QStringLiteral("unbekannt"), QStringLiteral("-")),
              QStringLiteral("unbekannt"));
}
