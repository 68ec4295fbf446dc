// The tones that ship, as a listener would check them: the cadence (how long each tone sounds and
// rests), the frequency that sounds, and a loop without a click where the file starts again.

#include "platform/voice/Tones.h"
#include "platform/voice/WaveFiles.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

using namespace voice;

namespace {

constexpr int Rate = 8000;

// The power of one frequency in a stretch of samples (Goertzel), relative to the stretch's power.
double share(const std::vector<int16_t>& s, size_t from, size_t count, double hertz) {
    const double k = 2 * std::cos(2 * std::numbers::pi * hertz / Rate);
    double a = 0, b = 0, total = 0;
    for (size_t i = from; i < from + count; ++i) {
        const double c = s[i] + k * a - b;
        b = a;
        a = c;
        total += double(s[i]) * s[i];
    }
    const double power = a * a + b * b - k * a * b;
    return total > 0 ? 2 * power / (double(count) * total) : 0;
}

double rms(const std::vector<int16_t>& s, size_t from, size_t count) {
    double sum = 0;
    for (size_t i = from; i < from + count; ++i)
        sum += double(s[i]) * s[i];
    return std::sqrt(sum / double(count));
}

const ToneDefinition& tone(const char* name) {
    static const std::vector<ToneDefinition> tones = ShippedTones();
    for (const ToneDefinition& t : tones)
        if (t.fileName == QString::fromLatin1(name))
            return t;
    throw std::runtime_error(name);
}

} // namespace

TEST(ShippedTones, EachSoundsAndRestsForItsCadenceAtItsFrequency) {
    struct Expected {
        const char* file;
        int onMs, offMs;
        std::vector<double> hertz; // what sounds during the first stretch
        int periods;
    };
    const Expected table[] = {
        {"frei.wav", 1000, 4000, {425}, 1},
        {"besetzt.wav", 480, 480, {425}, 5},
        {"ring.wav", 1000, 4000, {1000, 1250}, 1},
    };
    for (const Expected& e : table) {
        SCOPED_TRACE(e.file);
        const std::vector<int16_t> all = SynthesizeTone(tone(e.file));
        const size_t period = size_t((e.onMs + e.offMs) * Rate / 1000);
        ASSERT_EQ(all.size(), period * size_t(e.periods));
        // Every period is the first one again.
        for (int p = 1; p < e.periods; ++p)
            EXPECT_TRUE(std::equal(all.begin(), all.begin() + long(period), all.begin() + long(period) * p))
                << p;
        const std::vector<int16_t> s(all.begin(), all.begin() + long(period));
        const size_t on = size_t(e.onMs * Rate / 1000);
        // Sounding (away from the fades), at about -10 dBFS, then silent to the end.
        EXPECT_NEAR(rms(s, 80, on - 160), 0.32 * 32767 / std::sqrt(2.0), 600);
        EXPECT_EQ(rms(s, on, s.size() - on), 0);
        // The frequency: most of the power in the wanted one (tones that take turns share the time), little
        // 50 Hz beside it.
        for (double hertz : e.hertz)
            EXPECT_GT(share(s, 80, on - 160, hertz), 0.8 / double(e.hertz.size() * e.hertz.size())) << hertz;
        EXPECT_LT(share(s, 80, on - 160, e.hertz[0] + 50), 0.1);
        // The loop starts and ends at rest: no click where it starts again.
        EXPECT_LT(std::abs(s.front()) + std::abs(s[on - 1]), 200);
    }
    // The ring's two tones take turns every 25 ms rather than sounding together.
    const std::vector<int16_t> ring = SynthesizeTone(tone("ring.wav"));
    EXPECT_GT(share(ring, 40, 120, 1000), 0.7);
    EXPECT_GT(share(ring, 240, 120, 1250), 0.7);
}

TEST(ShippedTones, WrittenFilesReadBackAsSynthesized) {
    QTemporaryDir dir;
    for (const ToneDefinition& t : ShippedTones()) {
        const QString path = QDir(dir.path()).filePath(t.fileName);
        QString error;
        ASSERT_TRUE(WriteTone(t, path, &error)) << error.toStdString();
        WaveReader reader;
        ASSERT_TRUE(reader.open(path, &error)) << error.toStdString();
        std::vector<int16_t> back(50000);
        back.resize(reader.read(back.data(), back.size()));
        EXPECT_EQ(back, SynthesizeTone(t)) << t.fileName.toStdString();
    }
    QString error;
    EXPECT_FALSE(
        WriteTone(ShippedTones().front(), dir.filePath(QStringLiteral("no/such/folder/x.wav")), &error));
    EXPECT_FALSE(error.isEmpty());
}
