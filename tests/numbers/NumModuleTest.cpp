// The forms of a number and the text helpers of the number module.

#include "numbers/Num_module.h"
#include "platform/numbers/NumTrans.h"
#include "shell/base/Settings.h"

#include <gtest/gtest.h>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

struct Shown {
    QString text, place1, place2;
};

} // namespace

TEST(NumAreaCode, OnlyLocalNumbersGetTheOwnAreaCode) {
    Settings s;
    s.Vorwahl = S("089");
    const char* const rows[][2] = {{"12345", "08912345"},
                                   {" 12345 ", "08912345"},
                                   {"12", "12"},
                                   {"0171123", "0171123"},
                                   {"Meier", "Meier"}};
    for (auto [number, expected] : rows)
        EXPECT_EQ(AddAreaCode(s, S(number)), S(expected)) << number;
}

TEST(NumPrefixes, AddedAndTakenOnlyWithABranchExchange) {
    // The outside-line prefix, or with `incoming` the incoming one, of an exchange that is on or off.
    const auto prefix = [](int16_t nbst, const char* digits, bool incoming, const char* number, int mode) {
        Settings s;
        s.NBST = nbst;
        (incoming ? s.NBSTAKZIN : s.NBSTAKZ) = S(digits);
        return (incoming ? IncomingPrefix : OutsideLinePrefix)(s, S(number), mode);
    };
    EXPECT_EQ(prefix(0, "0", false, "0891", 1), S("0891"));
    EXPECT_EQ(prefix(0, "0", false, "00891", 0), S("00891"));
    EXPECT_EQ(prefix(0, "0", false, "0891", 7), S("0891"));
    EXPECT_EQ(prefix(0, "9", true, "90891", 0), S("90891"));
    EXPECT_EQ(prefix(1, "0", false, "0891", 1), S("00891"));
    EXPECT_EQ(prefix(1, "0", false, "00891", 0), S("0891"));
    EXPECT_EQ(prefix(1, "0", false, "0891", 7), QString());
    EXPECT_EQ(prefix(1, "0", false, "12", 1), S("12")) << "short: only trimmed";
    EXPECT_EQ(prefix(1, "0", false, " 1", 7), S("1")) << "short: only trimmed";
    EXPECT_EQ(prefix(1, "9", false, "0891234567", 1), S("90891234567"));
    EXPECT_EQ(prefix(1, "9", false, "90891234567", 0), S("0891234567"));
    EXPECT_EQ(prefix(1, "9", false, "0891234567", 0), S("0891234567")) << "without the prefix it stays";
    EXPECT_EQ(prefix(1, "0", true, "00891234567", 0), S("0891234567"));
    EXPECT_EQ(prefix(1, "0", true, "891234567", 0), S("891234567"));
    EXPECT_EQ(prefix(1, "0", true, "0891234567", 1), S("00891234567"));
    EXPECT_EQ(prefix(1, "0", true, "0891234567", -1), QString());
    EXPECT_EQ(prefix(1, "9", true, "90891", 0), S("0891"));
    EXPECT_EQ(prefix(1, "", false, "0891", 1), S("0891")) << "an empty prefix adds nothing";
    EXPECT_EQ(prefix(1, "", false, "0891", 0), S("0891")) << "and takes nothing";
}

TEST(NumLastNumbers, NewestOnTopOnceAndAtMostTwenty) {
    LastNumbers list;
    EXPECT_TRUE(list.RememberNumber(S("0891")));
    EXPECT_TRUE(list.RememberNumber(S("0892")));
    EXPECT_FALSE(list.RememberNumber(S("0892"))) << "already on top: unchanged";
    EXPECT_TRUE(list.RememberNumber(S("0891")));
    EXPECT_EQ(list.numbers(), (QStringList{S("0891"), S("0892")}));
    EXPECT_FALSE(list.RememberNumber(QString()));
    EXPECT_FALSE(list.RememberNumber(S("unbekannt")));
    for (int i = 0; i < 30; ++i)
        list.RememberNumber(QString::number(1000 + i));
    EXPECT_EQ(list.numbers().size(), 20);
    EXPECT_EQ(list.numbers().front(), S("1029"));
}

TEST(NumClean, EachKindLosesItsReservedCharacters) {
    // Kinds 0 to 4, and an unknown kind.
    const char* phone[] = {"0891234%5", "0891234%5", "08912,34%5", "0891234%5", "089;12,345", "089;12,34%5"};
    const char* file[] = {"MeierHans Dr.", "MeierHans Dr.",  "MeierHans, Dr.",
                          "MeierHans Dr.", "MeierHans, Dr.", "MeierHans, Dr."};
    for (int16_t kind = 0; kind <= 5; ++kind) {
        EXPECT_EQ(CleanForPhone(S("  089;12,34%5  "), kind), S(phone[kind])) << kind;
        EXPECT_EQ(CleanForFile(S(" Meier;\tHans, Dr. "), kind), S(file[kind])) << kind;
    }
    EXPECT_EQ(CleanForPhone(S(" ; , "), 0), S(" ")) << "trimmed before, not after";
}

TEST(NumTextHelpers, DigitsTokensNulAndReplace) {
    EXPECT_EQ(DigitsOnly(S("+49 (89) 123-45/67")), S("49891234567"));
    EXPECT_EQ(DigitsOnly(S("Meier")), QString());

    // Fields count from one, and an empty field counts.
    const QString blank = S(" ");
    EXPECT_EQ(GetToken(S("49 89 1234567"), 1, blank), S("49"));
    EXPECT_EQ(GetToken(S("49 89 1234567"), 3, blank), S("1234567"));
    EXPECT_EQ(GetToken(S("49 89 1234567"), 4, blank), QString());
    EXPECT_EQ(GetToken(S("49 89 1234567"), 0, blank), QString());
    EXPECT_EQ(GetToken(S("45  20123456"), 2, blank), QString());
    EXPECT_EQ(GetToken(S("45  20123456"), 3, blank), S("20123456"));
    EXPECT_EQ(GetToken(S("a;;b"), 3, S(";")), S("b"));

    EXPECT_EQ(CutAtNul(S("abc")), S("abc"));
    EXPECT_EQ(CutAtNul(QString::fromUtf16(u"ab\0cd", 5)), S("ab"));
    EXPECT_EQ(CutAtNul(QString::fromUtf16(u"\0ab", 3)), QString());

    // The text is scanned again from the start after each replacement, unless the replacement holds what
    // is searched for; the search is case-sensitive.
    EXPECT_EQ(StringReplace(S("0<AREA> <NUMBER>"), S("<AREA>"), S("89")), S("089 <NUMBER>"));
    EXPECT_EQ(StringReplace(S("aab"), S("ab"), S("b")), S("b"));
    EXPECT_EQ(StringReplace(S("Ab ab"), S("ab"), S("x")), S("Ab x"));
    EXPECT_EQ(StringReplace(S("a-b"), S("-"), S("--")), S("a--b"));
    EXPECT_EQ(StringReplace(S("abc"), QString(), S("x")), S("abc"));
}

TEST(NumOemConvert, CodePage850RoundTripsAndTheEurit22KeepsItsBytes) {
    const QString text = S("Müller, Öztürk & Söhne: Äpfel, Straße ß");
    EXPECT_EQ(OemConvert(text, 3), QByteArray("M\x81ller, \x99zt\x81rk & S\x94hne: \x8E"
                                              "pfel, Stra\xE1"
                                              "e \xE1"));
    QByteArray all;
    for (int byte = 1; byte < 256; ++byte)
        all += char(byte);
    for (int16_t kind : {0, 1, 2, 3}) {
        EXPECT_EQ(OemConvert(OemConvert(text, kind), kind), text) << "kind " << kind;
        EXPECT_EQ(OemConvert(OemConvert(all, kind), kind), all) << "kind " << kind;
    }
    EXPECT_EQ(OemConvert(QByteArray("\x84\x94\x81\x8E\x99\x9A\xE1\xB0\xC4\xDB"), 0), S("äöüÄÖÜß░─█"));
    EXPECT_EQ(OemConvert(S("Müller"), 4), QByteArray("M\xFCller"));
    EXPECT_EQ(OemConvert(QByteArray("M\xFCller"), 4), S("Müller"));
    // Cut at the first zero; what the code page lacks becomes a question mark.
    EXPECT_EQ(OemConvert(QByteArray("ab\0cd", 5), 0), S("ab"));
    EXPECT_EQ(OemConvert(QString::fromUtf16(u"ab\0cd", 5), 0), QByteArray("ab"));
    EXPECT_EQ(OemConvert(S("5 €"), 0), QByteArray("5 ?"));
}

// FormatCanonic over the number library, in Munich. One library for the whole suite: its tables load once.
class NumFormatCanonic : public testing::Test {
protected:
    static const NumTrans& library() {
        static const NumTrans numTrans;
        return numTrans;
    }
    // With the status panel's pattern: the filled pattern and the two places.
    Shown panel(const QString& number) const {
        Shown shown;
        shown.text = FormatCanonic(s, library(), number, QStringLiteral("0<AREA> <NUMBER>"), shown.place1,
                                   shown.place2);
        return shown;
    }
    QString split(const QString& number, const QString& separator) const {
        return FormatNumberPattern(s, library(), number, separator);
    }
    NumFormatCanonic() {
        s.LandesCode = S("49");
        s.Vorwahl = S("089");
    }
    Settings s;
};

TEST_F(NumFormatCanonic, GermanNumbersShowTheirAreaAndPlace) {
    struct Row {
        const char *number, *shown, *place;
    };
    // Every length of area code; local numbers; blanks, slashes, dashes and brackets; mobile and service
    // numbers; letters as keypad digits. Short extensions, numbers no German plan allows, and no number at
    // all stay as they are.
    const Row rows[] = {{"0891234567", "089 1234567", "München"},
                        {"022112345", "0221 12345", "Köln"},
                        {"0622112345", "06221 12345", "Heidelberg"},
                        {"03988112345", "039881 12345", "Ringenwalde bei Templin"},
                        {"0351123", "0351 123", "Dresden"},
                        {"1234567", "089 1234567", "München"},
                        {"089 / 123 45 67", "089 1234567", "München"},
                        {"089-123 45-67", "089 1234567", "München"},
                        {"(089) 1234567", "089 1234567", "München"},
                        {"123 45 67", "089 1234567", "München"},
                        {"01711234567", "0171 1234567", "Mobilfunk"},
                        {"018012345", "0180 12345", "Servicenummer"},
                        {"09001234567", "0900 1234567", "Mehrwertdienst"},
                        {"070012345678", "0700 12345678", "Persönliche Rufnummer"},
                        {"0800 FLOWERS", "0800 3569377", "Gebührenfreie Rufnummer"},
                        {"12", "12", ""},
                        {" 7", " 7", ""},
                        {"0891", "0891", ""},
                        {"unbekannt", "unbekannt", ""}};
    for (const Row& row : rows) {
        const Shown shown = panel(S(row.number));
        EXPECT_EQ(shown.text, S(row.shown)) << row.number;
        EXPECT_EQ(shown.place2, S(row.place)) << row.number;
        EXPECT_EQ(shown.place1, *row.place ? S(row.place) + S(", Deutschland") : QString()) << row.number;
    }
}

TEST_F(NumFormatCanonic, TheOwnAreaAndCountryDecide) {
    s.Vorwahl = S("030");
    EXPECT_EQ(panel(S("1234567")).text, S("030 1234567"));
    EXPECT_EQ(panel(S("1234567")).place2, S("Berlin"));

    s.Vorwahl.clear();
    EXPECT_EQ(panel(S("0891234567")).text, S("0891234567")) << "no own area code";
    s.Vorwahl = S("089");
    s.LandesCode.clear();
    EXPECT_TRUE(panel(S("0891234567")).place2.isEmpty()) << "no own country";

    s.LandesCode = S("43");
    s.Vorwahl = S("01");
    Shown shown = panel(S("9876543"));
    EXPECT_EQ(shown.text, S("01 9876543"));
    EXPECT_EQ(shown.place2, S("Wien"));
    EXPECT_EQ(shown.place1, S("Wien, Österreich"));
    shown = panel(S("0049891234567"));
    EXPECT_EQ(shown.place2, S("Deutschland"));
    EXPECT_EQ(shown.place1, S("München, Deutschland"));
}

TEST_F(NumFormatCanonic, TheSplitFormAndTheCountriesOfForeignNumbers) {
    struct Row {
        const char *number, *split, *place2, *place1;
    };
    const Row rows[] = {
        {"0891234567", "0049-89-1234567", "München", "München, Deutschland"},
        {"1234567", "0049-89-1234567", "München", "München, Deutschland"},
        {"unbekannt", "unbekannt", "", ""},
        {"0043 1 9876543", "0043-1-9876543", "Österreich", "Wien, Österreich"},
        {"+4319876543", "0043-1-9876543", "Österreich", "Wien, Österreich"},
        {"0041446681800", "0041-44-6681800", "Schweiz", "Zürich, Schweiz"},
        {"00442079460958", "0044-20-79460958", "Vereinigtes Königreich", "London, Vereinigtes Königreich"},
        {"0012127365000", "001-212-7365000", "Vereinigte Staaten", "New York, NY, Vereinigte Staaten"},
        {"004520123456", "0045--20123456", "Dänemark", "Dänemark"},
        {"00436641234567", "0043-664-1234567", "Österreich (Mobilfunk)", "Österreich (Mobilfunk)"}};
    for (const Row& row : rows) {
        EXPECT_EQ(split(S(row.number), S("-")), S(row.split)) << row.number;
        const Shown shown = panel(S(row.number));
        EXPECT_EQ(shown.place2, S(row.place2)) << row.number;
        EXPECT_EQ(shown.place1, S(row.place1)) << row.number;
    }
    EXPECT_EQ(split(S("0891234567"), S("/")), S("0049/89/1234567"));
}
