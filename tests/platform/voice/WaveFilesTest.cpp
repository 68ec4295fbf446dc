#include "platform/voice/WaveFiles.h"
#include "platform/voice/AudioDevice.h"

#include <QFile>
#include <QTemporaryDir>

#include <sndfile.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

using namespace voice;

namespace {

std::vector<int16_t> sine(double frequency, size_t count, double amplitude = 10000) {
    std::vector<int16_t> s(count);
    for (size_t i = 0; i < count; ++i)
        s[i] =
            int16_t(std::lround(amplitude * std::sin(2 * std::numbers::pi * frequency * double(i) / 8000)));
    return s;
}

std::vector<int16_t> readAll(const QString& path) {
    WaveReader reader;
    QString error;
    EXPECT_TRUE(reader.open(path, &error)) << error.toStdString();
    std::vector<int16_t> all;
    std::vector<int16_t> block(333);
    while (const size_t n = reader.read(block.data(), block.size()))
        all.insert(all.end(), block.begin(), block.begin() + std::ptrdiff_t(n));
    return all;
}

int zeroCrossings(const std::vector<int16_t>& s, size_t from, size_t to) {
    int n = 0;
    for (size_t i = from + 1; i < to; ++i)
        n += (s[i - 1] < 0) != (s[i] < 0);
    return n;
}

void writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

} // namespace

TEST(WaveFiles, EveryFormatNumberIsWrittenAsNamedAndReadsBack) {
    QTemporaryDir dir;
    const auto original = sine(440, 8000);
    for (int number = 1; number <= 17; ++number) {
        SCOPED_TRACE(WaveFormatText(number).toStdString());
        const QString path = dir.filePath(QStringLiteral("f%1.wav").arg(number));
        {
            WaveWriter writer;
            QString error;
            ASSERT_TRUE(writer.open(path, number, &error)) << error.toStdString();
            for (size_t i = 0; i < original.size(); i += 160)
                writer.write(original.data() + i, 160);
        }

        SF_INFO info{};
        SNDFILE* file = sf_open(QFile::encodeName(path).constData(), SFM_READ, &info);
        ASSERT_NE(file, nullptr);
        sf_close(file);
        constexpr int Rates[] = {8000, 11025, 22050, 44100};
        const int group = (number - 1) / 4, inGroup = (number - 1) % 4;
        EXPECT_EQ(info.format & SF_FORMAT_TYPEMASK, SF_FORMAT_WAV);
        if (number == 17) {
            EXPECT_EQ(info.format & SF_FORMAT_SUBMASK, SF_FORMAT_ALAW);
            EXPECT_EQ(info.samplerate, 8000);
            EXPECT_EQ(info.channels, 1);
        } else {
            EXPECT_EQ(info.format & SF_FORMAT_SUBMASK, inGroup < 2 ? SF_FORMAT_PCM_U8 : SF_FORMAT_PCM_16);
            EXPECT_EQ(info.samplerate, Rates[group]);
            EXPECT_EQ(info.channels, inGroup % 2 + 1);
            EXPECT_NEAR(double(info.frames), 8000.0 * info.samplerate / 8000, info.samplerate / 100.0);
        }

        const auto back = readAll(path);
        ASSERT_NEAR(double(back.size()), 8000.0, 80.0);
        // 8-bit samples and A-law at this level are within a step of 256; 16 bit is exact at 8 kHz;
        // resampling there and back adds a little error.
        const bool coarse = number == 17 || inGroup < 2;
        const int tolerance = (coarse ? 256 : 0) + (group > 0 ? 40 : 0);
        int worst = 0;
        for (size_t i = 100; i + 100 < std::min(back.size(), original.size()); ++i)
            worst = std::max(worst, std::abs(back[i] - original[i]));
        EXPECT_LE(worst, tolerance);
    }
}

TEST(WaveFiles, FormatNumbersHaveTheirListTexts) {
    EXPECT_EQ(WaveFormatText(1), QStringLiteral("PCM 8,000 kHz; 8 Bit; Mono"));
    EXPECT_EQ(WaveFormatText(2), QStringLiteral("PCM 8,000 kHz; 8 Bit; Stereo"));
    EXPECT_EQ(WaveFormatText(3), QStringLiteral("PCM 8,000 kHz; 16 Bit; Mono"));
    EXPECT_EQ(WaveFormatText(4), QStringLiteral("PCM 8,000 kHz; 16 Bit; Stereo"));
    EXPECT_EQ(WaveFormatText(6), QStringLiteral("PCM 11,025 kHz; 8 Bit; Stereo"));
    EXPECT_EQ(WaveFormatText(11), QStringLiteral("PCM 22,050 kHz; 16 Bit; Mono"));
    EXPECT_EQ(WaveFormatText(16), QStringLiteral("PCM 44,100 kHz; 16 Bit; Stereo"));
    EXPECT_EQ(WaveFormatText(17), QStringLiteral("CCITT A-Law 8,000 kHz; 8 Bit; Mono"));
    EXPECT_EQ(WaveFormatText(0), QStringLiteral("unbekanntes Soundformat"));
    EXPECT_EQ(WaveFormatText(18), QStringLiteral("unbekanntes Soundformat"));
}

TEST(WaveFiles, A44kStereoFileIsMixedAndResampledTo8k) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("cd.wav"));
    constexpr int Rate = 44100, Seconds = 2;
    SF_INFO info{};
    info.samplerate = Rate;
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* file = sf_open(QFile::encodeName(path).constData(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr);
    std::vector<int16_t> frames(size_t(Rate * Seconds) * 2);
    for (size_t i = 0; i < frames.size() / 2; ++i) {
        const double v = 12000 * std::sin(2 * std::numbers::pi * 1000 * double(i) / Rate);
        frames[2 * i] = int16_t(std::lround(v));         // left: the tone
        frames[2 * i + 1] = int16_t(std::lround(v / 2)); // right: the tone, softer
    }
    sf_writef_short(file, frames.data(), Rate * Seconds);
    sf_close(file);

    const auto back = readAll(path);
    EXPECT_NEAR(double(back.size()), 8000.0 * Seconds, 8000.0 * Seconds / 100);
    // 1 kHz: two zero crossings a millisecond.
    EXPECT_NEAR(zeroCrossings(back, 0, back.size()), 2000 * Seconds, 2000 * Seconds / 100);
    const int16_t peak = *std::max_element(back.begin() + 400, back.end() - 400);
    EXPECT_NEAR(peak, 9000, 400); // the mean of both channels
}

TEST(WaveFiles, BadFilesGiveAnErrorNamingTheFile) {
    QTemporaryDir dir;
    const QString garbage = dir.filePath(QStringLiteral("garbage.wav"));
    writeFile(garbage, QByteArray(5000, 'x'));
    const QString empty = dir.filePath(QStringLiteral("empty.wav"));
    writeFile(empty, QByteArray());

    // A good file cut short in its header.
    const QString good = dir.filePath(QStringLiteral("good.wav"));
    {
        WaveWriter writer;
        ASSERT_TRUE(writer.open(good, 3, nullptr));
        const auto s = sine(440, 8000);
        writer.write(s.data(), s.size());
    }
    QFile goodFile(good);
    ASSERT_TRUE(goodFile.open(QIODevice::ReadOnly));
    const QByteArray goodBytes = goodFile.readAll();
    const QString cutHeader = dir.filePath(QStringLiteral("cut-header.wav"));
    writeFile(cutHeader, goodBytes.left(30));

    for (const QString& path :
         {garbage, empty, cutHeader, dir.filePath(QStringLiteral("missing.wav")), dir.path()}) {
        WaveReader reader;
        QString error;
        EXPECT_FALSE(reader.open(path, &error)) << path.toStdString();
        EXPECT_TRUE(error.contains(path)) << error.toStdString();
        EXPECT_FALSE(reader.isOpen());
        int16_t sample = 0;
        EXPECT_EQ(reader.read(&sample, 1), 0u);
    }

    // Cut short in its data: what is there is read.
    const QString cutData = dir.filePath(QStringLiteral("cut-data.wav"));
    writeFile(cutData, goodBytes.left(goodBytes.size() / 2));
    const auto back = readAll(cutData);
    EXPECT_GT(back.size(), 3000u);
    EXPECT_LT(back.size(), 5000u);

    WaveWriter writer;
    QString error;
    const QString unknown = dir.filePath(QStringLiteral("unknown.wav"));
    for (int number : {0, 18, -1}) {
        EXPECT_FALSE(writer.open(unknown, number, &error));
        EXPECT_TRUE(error.contains(unknown)) << error.toStdString();
    }
    EXPECT_FALSE(QFile::exists(unknown));
    const QString nowhere = dir.filePath(QStringLiteral("no/such/dir.wav"));
    EXPECT_FALSE(writer.open(nowhere, 3, &error));
    EXPECT_TRUE(error.contains(nowhere)) << error.toStdString();
    EXPECT_FALSE(writer.isOpen());
}

TEST(WaveFiles, HeadersTellFormatAndLengthAlsoOutsideTheTable) {
    QTemporaryDir dir;
    const QString alaw = dir.filePath(QStringLiteral("alaw.wav"));
    WaveWriter writer;
    ASSERT_TRUE(writer.open(alaw, 17, nullptr));
    writer.write(sine(440, 4000).data(), 4000);
    writer.close();
    WaveFileInfo info;
    ASSERT_TRUE(ReadWaveInfo(alaw, &info, nullptr));
    EXPECT_EQ(info.formatNumber, 17);
    EXPECT_EQ(info.dataBytes(), 4000);
    EXPECT_EQ(info.text(), QStringLiteral("CCITT A-Law 8,000 kHz; 8 Bit; Mono"));

    // 48 kHz 24-bit stereo is no format of the table: its text is made in the table's words.
    const QString wide = dir.filePath(QStringLiteral("wide.wav"));
    SF_INFO sf{};
    sf.samplerate = 48000;
    sf.channels = 2;
    sf.format = SF_FORMAT_WAV | SF_FORMAT_PCM_24;
    SNDFILE* file = sf_open(QFile::encodeName(wide).constData(), SFM_WRITE, &sf);
    ASSERT_NE(file, nullptr);
    const std::vector<int16_t> frames(2 * 480, 1000);
    sf_writef_short(file, frames.data(), 480);
    sf_close(file);
    ASSERT_TRUE(ReadWaveInfo(wide, &info, nullptr));
    EXPECT_EQ(info.formatNumber, 0);
    EXPECT_EQ(info.text(), QStringLiteral("PCM 48,000 kHz; 24 Bit; Stereo"));
    EXPECT_EQ(info.dataBytes(), 480 * 6);
    QString error;
    EXPECT_FALSE(ReadWaveInfo(dir.filePath(QStringLiteral("none.wav")), &info, &error));
    EXPECT_TRUE(error.contains(QStringLiteral("none.wav")));
}

// Joining: the prompts of the remote inquiry are put together from pieces this way.
TEST(WaveFiles, APieceIsAppendedInTheTargetsEncodingAndAMismatchLeavesTheTarget) {
    QTemporaryDir dir;
    const auto write = [&](const char* name, int format, const std::vector<int16_t>& samples) {
        const QString path = dir.filePath(QString::fromLatin1(name));
        WaveWriter writer;
        EXPECT_TRUE(writer.open(path, format, nullptr));
        writer.write(samples.data(), samples.size());
        writer.close();
        return path;
    };
    const std::vector<int16_t> first = sine(500, 1600);
    const std::vector<int16_t> second = sine(1000, 800);
    const QString target = dir.filePath(QStringLiteral("joined.wav"));
    const QString piece1 = write("one.wav", 3, first);
    const QString piece2 = write("two.wav", 17, second); // A-law, joined into 16-bit PCM

    ASSERT_TRUE(AppendWave(target, piece1, nullptr)) << "a missing target becomes the piece";
    ASSERT_TRUE(AppendWave(target, piece2, nullptr));
    const std::vector<int16_t> joined = readAll(target);
    ASSERT_EQ(joined.size(), first.size() + second.size());
    EXPECT_TRUE(std::equal(first.begin(), first.end(), joined.begin()));
    // The A-law piece comes back within A-law's step size.
    for (size_t i = 0; i < second.size(); ++i)
        ASSERT_NEAR(joined[first.size() + i], second[i], 16 + std::abs(second[i]) / 16) << i;
    WaveFileInfo info;
    ASSERT_TRUE(ReadWaveInfo(target, &info, nullptr));
    EXPECT_EQ(info.formatNumber, 3);

    // Another rate is refused, and the target stays as it was.
    const QString other = write("fast.wav", 7, sine(500, 800)); // 11025 Hz
    QString error;
    EXPECT_FALSE(AppendWave(target, other, &error));
    EXPECT_TRUE(error.contains(QStringLiteral("fast.wav")));
    EXPECT_EQ(readAll(target), joined);
    EXPECT_FALSE(QFile::exists(target + QStringLiteral(".part")));
    EXPECT_FALSE(AppendWave(target, dir.filePath(QStringLiteral("missing.wav")), nullptr));
    EXPECT_EQ(readAll(target), joined);
}

TEST(WaveFileAudioDevice, PlaysIntoOneFileAndCapturesFromTheOtherThenSilence) {
    QTemporaryDir dir;
    const QString playback = dir.filePath(QStringLiteral("played.wav"));
    const QString source = dir.filePath(QStringLiteral("mic.wav"));
    const auto mic = sine(300, 1000);
    {
        WaveWriter writer;
        ASSERT_TRUE(writer.open(source, 3, nullptr));
        writer.write(mic.data(), mic.size());
    }

    WaveFileAudioDevice device(playback, source);
    std::vector<int16_t> captured(1600, 55);
    device.capture(captured.data(), 160); // not started: silence
    EXPECT_TRUE(std::all_of(captured.begin(), captured.begin() + 160, [](int16_t s) { return s == 0; }));
    device.startCapture();
    device.startPlayback();
    for (size_t i = 0; i < captured.size(); i += 160) {
        device.capture(captured.data() + i, 160);
        device.play(captured.data() + i, 160);
    }
    device.stopPlayback();
    device.stopCapture();
    EXPECT_TRUE(device.lastError().isEmpty());
    EXPECT_EQ(std::vector<int16_t>(captured.begin(), captured.begin() + 1000), mic);
    EXPECT_TRUE(std::all_of(captured.begin() + 1000, captured.end(), [](int16_t s) { return s == 0; }));
    EXPECT_EQ(readAll(playback), captured);

    WaveFileAudioDevice quiet{QString(), QString()};
    quiet.startPlayback();
    quiet.startCapture();
    quiet.play(mic.data(), mic.size());
    std::vector<int16_t> out(100, 55);
    quiet.capture(out.data(), out.size());
    EXPECT_EQ(out, std::vector<int16_t>(100, 0));
}
