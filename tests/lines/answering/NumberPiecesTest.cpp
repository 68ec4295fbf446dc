// The words of numbers: the pieces that say a number in each language's word order, and that every piece
// they name is in the language's set.

#include "lines/answering/PromptSet.h"
#include "tests/support/TestEnvironment.h"

#include <QSet>

#include <gtest/gtest.h>

namespace {

struct NumberCase {
    const char* code;
    int n;
    bool final;
    const char* pieces; // the piece names without ".wav", separated by spaces
};

QStringList Expected(const char* pieces) {
    QStringList names = QString::fromUtf8(pieces).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    for (QString& name : names)
        name += QStringLiteral(".wav");
    return names;
}

// The same numbers in every language, where the languages part ways: one as a count and as a number, the
// teens, the first compound tens, the French seventies and nineties, the hundreds, the digits from 1000 on.
const NumberCase Cases[] = {
    // German: the unit before the tens, joined with "und"; "ein" at the start of a compound.
    {"de", 0, true, "0"},
    {"de", 1, true, "1e"},
    {"de", 1, false, "1"},
    {"de", 7, true, "7"},
    {"de", 13, false, "13"},
    {"de", 20, true, "20"},
    {"de", 21, true, "1c und 20"},
    {"de", 35, false, "5 und 30"},
    {"de", 70, true, "70"},
    {"de", 71, false, "1c und 70"},
    {"de", 80, true, "80"},
    {"de", 91, true, "1c und 90"},
    {"de", 99, false, "9 und 90"},
    {"de", 100, true, "100"},
    {"de", 101, true, "100 1"},
    {"de", 121, false, "100 1c und 20"},
    {"de", 200, true, "2 hundert"},
    {"de", 999, true, "9 hundert 9 und 90"},
    {"de", 1234, true, "1 2 3 4"},
    {"de", -5, true, "0"},
    // English: tens then unit; "and" after the hundreds.
    {"uk", 0, false, "0"},
    {"uk", 1, true, "1e"},
    {"uk", 1, false, "1"},
    {"uk", 7, true, "7"},
    {"uk", 13, true, "13"},
    {"uk", 20, true, "20"},
    {"uk", 21, true, "20 1"},
    {"uk", 35, true, "30 5"},
    {"uk", 70, true, "70"},
    {"uk", 71, true, "70 1"},
    {"uk", 80, true, "80"},
    {"uk", 91, true, "90 1"},
    {"uk", 99, true, "90 9"},
    {"uk", 100, true, "100"},
    {"uk", 101, true, "100 und 1"},
    {"uk", 121, true, "100 und 20 1"},
    {"uk", 200, true, "2 hundert"},
    {"uk", 310, false, "3 hundert und 10"},
    {"uk", 999, true, "9 hundert und 90 9"},
    {"uk", 1234, false, "1 2 3 4"},
    {"uk", 1000, true, "1 0 0 0"},
    // French: "et" in 21 to 61 and 71, 70 to 79 and 90 to 99 built on 60 and 80 with 10 to 19.
    {"fr", 0, true, "0"},
    {"fr", 1, true, "1e"},
    {"fr", 1, false, "1"},
    {"fr", 7, true, "7"},
    {"fr", 13, true, "13"},
    {"fr", 20, true, "20"},
    {"fr", 21, true, "20 und 1"},
    {"fr", 35, true, "30 5"},
    {"fr", 61, true, "60 und 1"},
    {"fr", 70, true, "60 10"},
    {"fr", 71, true, "60 und 11"},
    {"fr", 77, true, "60 17"},
    {"fr", 80, true, "80"},
    {"fr", 81, true, "80 1"},
    {"fr", 91, true, "80 11"},
    {"fr", 99, true, "80 19"},
    {"fr", 100, true, "100"},
    {"fr", 101, true, "100 1"},
    {"fr", 121, true, "100 20 und 1"},
    {"fr", 200, true, "2 hundert"},
    {"fr", 271, true, "2 hundert 60 und 11"},
    {"fr", 999, true, "9 hundert 80 19"},
    {"fr", 1234, true, "1 2 3 4"},
    // Italian: tens then unit, "cento" alone and after a multiplier, no joining word.
    {"it", 1, true, "1e"},
    {"it", 1, false, "1"},
    {"it", 21, true, "20 1"},
    {"it", 35, true, "30 5"},
    {"it", 71, true, "70 1"},
    {"it", 91, true, "90 1"},
    {"it", 100, true, "100"},
    {"it", 101, true, "100 1"},
    {"it", 121, true, "100 20 1"},
    {"it", 200, true, "2 hundert"},
    {"it", 999, true, "9 hundert 90 9"},
    {"it", 1234, true, "1 2 3 4"},
    // Dutch: as German, "een en twintig".
    {"nl", 1, true, "1e"},
    {"nl", 1, false, "1"},
    {"nl", 21, true, "1c und 20"},
    {"nl", 35, true, "5 und 30"},
    {"nl", 80, true, "80"},
    {"nl", 100, true, "100"},
    {"nl", 101, true, "100 1"},
    {"nl", 121, true, "100 1c und 20"},
    {"nl", 200, true, "2 hundert"},
    {"nl", 999, true, "9 hundert 9 und 90"},
    // Norwegian: tens then unit, "og" after the hundreds.
    {"no", 1, true, "1e"},
    {"no", 1, false, "1"},
    {"no", 21, true, "20 1"},
    {"no", 100, true, "100"},
    {"no", 101, true, "100 und 1"},
    {"no", 121, true, "100 und 20 1"},
    {"no", 200, true, "2 hundert"},
    {"no", 999, true, "9 hundert und 90 9"},
    // Finnish: tens then unit, "sata" alone, "sataa" after a multiplier.
    {"fi", 0, true, "0"},
    {"fi", 1, true, "1e"},
    {"fi", 1, false, "1"},
    {"fi", 13, true, "13"},
    {"fi", 21, true, "20 1"},
    {"fi", 100, true, "100"},
    {"fi", 101, true, "100 1"},
    {"fi", 121, true, "100 20 1"},
    {"fi", 200, true, "2 hundert"},
    {"fi", 999, true, "9 hundert 90 9"},
    {"fi", 1234, true, "1 2 3 4"},
};

} // namespace

TEST(NumberPieces, SayNumbersInEachLanguagesWordOrder) {
    for (const NumberCase& c : Cases)
        EXPECT_EQ(PromptSet::NumberPieces(c.n, c.final, QString::fromUtf8(c.code)), Expected(c.pieces))
            << c.code << " " << c.n << (c.final ? " before a noun" : " as a number");
}

TEST(NumberPieces, AnUnknownLanguageIsSaidInEnglish) {
    for (int n : {0, 1, 21, 101, 999, 4711})
        for (bool final : {true, false})
            EXPECT_EQ(PromptSet::NumberPieces(n, final, QStringLiteral("xx")),
                      PromptSet::NumberPieces(n, final, QStringLiteral("uk")))
                << n;
    // The code is taken without regard to case and surrounding blanks.
    EXPECT_EQ(PromptSet::NumberPieces(21, true, QStringLiteral(" DE ")), Expected("1c und 20"));
}

TEST(NumberPieces, EveryPieceOfEveryNumberIsInTheLanguagesSet) {
    for (const QString& code : PromptSet::Languages()) {
        const QStringList names = PromptSet::PieceNames(code);
        const QSet<QString> set(names.begin(), names.end());
        for (int n = -1; n < 1100; ++n)
            for (bool final : {true, false})
                for (const QString& piece : PromptSet::NumberPieces(n, final, code))
                    EXPECT_TRUE(set.contains(piece))
                        << qPrintable(code) << " " << n << ": " << qPrintable(piece);
    }
}

TEST(NumberPieces, OnlyTheLanguagesWithAJoiningWordHaveOne) {
    for (const QString& code : PromptSet::Languages()) {
        const bool joins = PromptSet::PieceNames(code).contains(QStringLiteral("und.wav"));
        bool used = false;
        for (int n = 0; n < 1000; ++n)
            used = used || PromptSet::NumberPieces(n, false, code).contains(QStringLiteral("und.wav"));
        EXPECT_EQ(joins, used) << qPrintable(code);
    }
}
