#include "platform/voice/Tones.h"

#include "platform/voice/WaveFiles.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace voice {

namespace {

constexpr int Rate = 8000;
constexpr double Level = 0.32 * 32767; // about -10 dBFS
constexpr int FadeSamples = Rate * 5 / 1000;

} // namespace

std::vector<ToneDefinition> ShippedTones() {
    return {
        // An electronic ring: two tones warbling 1 s, then 4 s of quiet, the cadence of the German ringing.
        {QStringLiteral("ring.wav"), {{{1000, 1250}, 1000, 25}, {{}, 4000, 0}}},
        {QStringLiteral("frei.wav"), {{{425}, 1000, 0}, {{}, 4000, 0}}},
        {QStringLiteral("besetzt.wav"), {{{425}, 480, 0}, {{}, 480, 0}}, 5},
    };
}

std::vector<int16_t> SynthesizeTone(const ToneDefinition& tone) {
    std::vector<int16_t> samples;
    for (const ToneStretch& stretch : tone.cadence) {
        const int count = stretch.ms * Rate / 1000;
        const size_t start = samples.size();
        samples.resize(start + size_t(count), 0);
        if (stretch.hertz.empty())
            continue;
        const int warble = stretch.warbleMs * Rate / 1000;
        for (int i = 0; i < count; ++i) {
            double value = 0;
            if (warble > 0) {
                const double hertz = stretch.hertz[size_t(i / warble) % stretch.hertz.size()];
                value = std::sin(2 * std::numbers::pi * hertz * i / Rate);
            } else {
                for (double hertz : stretch.hertz)
                    value += std::sin(2 * std::numbers::pi * hertz * i / Rate);
                value /= double(stretch.hertz.size());
            }
            const double fade = std::min({1.0, double(i) / FadeSamples, double(count - 1 - i) / FadeSamples});
            samples[start + size_t(i)] = int16_t(std::lround(value * fade * Level));
        }
    }
    const size_t period = samples.size();
    for (int repeat = 1; repeat < tone.periods; ++repeat)
        samples.insert(samples.end(), samples.begin(), samples.begin() + std::ptrdiff_t(period));
    return samples;
}

bool WriteTone(const ToneDefinition& tone, const QString& path, QString* error) {
    WaveWriter writer;
    if (!writer.open(path, 3, error))
        return false;
    const std::vector<int16_t> samples = SynthesizeTone(tone);
    writer.write(samples.data(), samples.size());
    writer.close();
    return true;
}

} // namespace voice
