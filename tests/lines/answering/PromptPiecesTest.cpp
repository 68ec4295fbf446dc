// The pieces that ship: every language of the program has its set, each piece a readable 8 kHz mono
// A-law file of speech that starts at once, ends in silence and is about as loud as the others.

#include "lines/answering/PromptSet.h"
#include "platform/voice/WaveFiles.h"
#include "tests/support/SoundAnalysis.h"
#include "tests/support/TestEnvironment.h"

#include <QDir>
#include <QSet>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

namespace {

constexpr int Rate = 8000;

QSet<QString> SetOf(const QStringList& names) {
    return QSet<QString>(names.begin(), names.end());
}

int Peak(const std::vector<int16_t>& samples, size_t from = 0, size_t to = SIZE_MAX) {
    int peak = 0;
    for (size_t i = from; i < std::min(to, samples.size()); ++i)
        peak = std::max(peak, std::abs(int(samples[i])));
    return peak;
}

} // namespace

TEST(PromptPieces, EveryLanguageOfTheProgramHasASet) {
    // The languages are those of the catalogs lang/lang_<code>.txt.
    QStringList catalogs;
    for (const QString& file :
         QDir(SourceRoot() + QStringLiteral("/lang")).entryList({QStringLiteral("lang_*.txt")}))
        catalogs << file.mid(5, file.size() - 9);
    ASSERT_EQ(catalogs.size(), 7);
    EXPECT_EQ(SetOf(PromptSet::Languages()), SetOf(catalogs));
    for (const QString& code : PromptSet::Languages()) {
        const QStringList shipped = QDir(QStringLiteral(":/prompts/") + code).entryList(QDir::Files);
        EXPECT_EQ(SetOf(shipped), SetOf(PromptSet::PieceNames(code))) << qPrintable(code);
        EXPECT_TRUE(shipped.contains(PromptSet::GreetingFileName())) << qPrintable(code);
    }
}

TEST(PromptPieces, TheSetsHoldTheMachinesPieces) {
    for (const QString& code : PromptSet::Languages()) {
        const QStringList names = PromptSet::PieceNames(code);
        for (const char* piece : {"help.wav",       "willkommen.wav",  "Siehaben.wav",
                                  "neueNt.wav",     "neueNn.wav",      "04help.wav",
                                  "noanrufe.wav",   "nachrichtnr.wav", "fMSN.wav",
                                  "von.wav",        "allelöschen.wav", "oklöschen1.wav",
                                  "oklöschen2.wav", "AnrufNummer.wav", "deleted.wav",
                                  "empty.wav",      "anrgelöscht.wav", "standardansage.wav",
                                  "1e.wav",         "1c.wav",          "hundert.wav",
                                  "100.wav",        "0.wav",           "19.wav",
                                  "90.wav"})
            EXPECT_TRUE(names.contains(QString::fromUtf8(piece))) << qPrintable(code) << ": " << piece;
        EXPECT_EQ(names.size(), SetOf(names).size()) << qPrintable(code) << " names a piece twice";
    }
    EXPECT_EQ(PromptSet::PieceNames(QStringLiteral("xx")), PromptSet::PieceNames(QStringLiteral("uk")));
}

// Each piece, read as the machine reads it, from the prompt folder it was installed into.
TEST(PromptPieces, EveryPieceIsShortClearSpeechThatEndsInSilence) {
    QTemporaryDir dir;
    for (const QString& code : PromptSet::Languages()) {
        const QString folder = dir.filePath(code);
        QStringList failed;
        ASSERT_EQ(PromptSet::InstallPrompts(code, folder, &failed).size(),
                  PromptSet::PieceNames(code).size());
        ASSERT_TRUE(failed.isEmpty()) << qPrintable(failed.join(QLatin1Char(' ')));
        for (const QString& name : PromptSet::PieceNames(code)) {
            const QString path = QDir(folder).filePath(name);
            const std::string what = (code + QLatin1Char('/') + name).toStdString();
            voice::WaveFileInfo info;
            QString error;
            ASSERT_TRUE(voice::ReadWaveInfo(path, &info, &error)) << what << ": " << qPrintable(error);
            EXPECT_EQ(info.formatNumber, 17) << what;
            EXPECT_TRUE(info.alaw) << what;
            EXPECT_EQ(info.rate, Rate) << what;
            EXPECT_EQ(info.channels, 1) << what;
            const double seconds = double(info.frames) / Rate;
            // The help, the longest piece, lists seven keys; nothing else comes near.
            EXPECT_GE(seconds, 0.2) << what;
            EXPECT_LE(seconds, name == QLatin1String("help.wav") ? 25.0 : 12.0) << what;

            const std::vector<int16_t> samples = ReadSamples(path);
            ASSERT_EQ(int64_t(samples.size()), info.frames) << what;
            // Brought to about -3 dBFS (23 200), the same for every piece.
            const int peak = Peak(samples);
            EXPECT_GT(peak, 20000) << what;
            EXPECT_LT(peak, 26000) << what;
            EXPECT_GT(Rms(samples), 1000.0) << what;
            // The speech starts within the first tenth of a second.
            const long first = FirstLoud(samples, peak / 50);
            EXPECT_GE(first, 0) << what;
            EXPECT_LT(first, Rate / 10) << what;
            // The last 40 ms are silent, so pieces in a row stay apart.
            EXPECT_LT(Peak(samples, samples.size() - Rate * 40 / 1000), 100) << what;
        }
    }
}

TEST(PromptPieces, TheNumbersAreShortAndTheGreetingEndsInItsBeep) {
    QTemporaryDir dir;
    for (const QString& code : PromptSet::Languages()) {
        ASSERT_FALSE(PromptSet::InstallPrompts(code, dir.filePath(code)).isEmpty());
        const QDir folder(dir.filePath(code));
        for (int n : {0, 1, 7, 13, 19, 20, 90, 100})
            EXPECT_LT(ReadSamples(folder.filePath(QString::number(n) + QStringLiteral(".wav"))).size(),
                      size_t(2 * Rate))
                << qPrintable(code) << " " << n;

        const std::vector<int16_t> greeting = ReadSamples(folder.filePath(PromptSet::GreetingFileName()));
        ASSERT_GT(greeting.size(), size_t(3 * Rate)) << qPrintable(code);
        // The beep is the last half second before the closing silence: 1000 Hz and nothing else; the
        // speech before it is no tone.
        const size_t beepEnd = greeting.size() - Rate * 50 / 1000;
        const size_t beepStart = beepEnd - Rate / 2;
        const std::vector<int16_t> beep(greeting.begin() + long(beepStart), greeting.begin() + long(beepEnd));
        EXPECT_GT(ToneShare(beep, 1000), 0.9) << qPrintable(code);
        EXPECT_GT(Rms(beep), 3000.0) << qPrintable(code);
        const std::vector<int16_t> speech(greeting.begin(),
                                          greeting.begin() + long(beepStart - Rate * 300 / 1000));
        EXPECT_LT(ToneShare(speech, 1000), 0.3) << qPrintable(code);
        // 300 ms of quiet before the beep.
        EXPECT_LT(Peak(greeting, beepStart - Rate * 250 / 1000, beepStart - Rate * 20 / 1000), 100)
            << qPrintable(code);
    }
}
