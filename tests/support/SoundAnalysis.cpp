#include "tests/support/SoundAnalysis.h"

#include "platform/voice/WaveFiles.h"

#include <cmath>
#include <cstdlib>

int64_t WriteSine(const QString& path, double hertz, double seconds, int formatNumber) {
    voice::NativeWaveWriter writer;
    if (!writer.open(path, formatNumber, nullptr))
        return 0;
    const int64_t frames = int64_t(seconds * writer.rate());
    std::vector<int16_t> interleaved(size_t(frames * writer.channels()));
    for (int64_t i = 0; i < frames; ++i)
        for (int c = 0; c < writer.channels(); ++c)
            interleaved[size_t(i * writer.channels() + c)] =
                int16_t(16000 * std::sin(2 * M_PI * hertz * double(i) / writer.rate()));
    writer.write(interleaved.data(), size_t(frames));
    writer.close();
    return frames;
}

std::vector<int16_t> ReadSamples(const QString& path) {
    voice::WaveReader reader;
    std::vector<int16_t> samples;
    if (!reader.open(path, nullptr))
        return samples;
    int16_t chunk[1024];
    while (const size_t got = reader.read(chunk, 1024))
        samples.insert(samples.end(), chunk, chunk + got);
    return samples;
}

double Rms(const std::vector<int16_t>& samples) {
    if (samples.empty())
        return 0;
    double sum = 0;
    for (const int16_t sample : samples)
        sum += double(sample) * sample;
    return std::sqrt(sum / double(samples.size()));
}

double ToneShare(const std::vector<int16_t>& samples, double hertz) {
    // Windows of 20 ms: wide enough in frequency that a tone a percent off its pitch still counts.
    constexpr size_t Window = 160;
    const double coefficient = 2 * std::cos(2 * M_PI * hertz / 8000);
    double atTone = 0;
    double energy = 0;
    for (size_t start = 0; start + Window <= samples.size(); start += Window) {
        double s1 = 0;
        double s2 = 0;
        for (size_t i = start; i < start + Window; ++i) {
            const double s = samples[i] + coefficient * s1 - s2;
            s2 = s1;
            s1 = s;
            energy += double(samples[i]) * samples[i];
        }
        atTone += 2 * (s1 * s1 + s2 * s2 - coefficient * s1 * s2) / double(Window);
    }
    return energy > 0 ? atTone / energy : 0;
}

long FirstLoud(const std::vector<int16_t>& samples, int level, size_t from) {
    for (size_t i = from; i < samples.size(); ++i)
        if (std::abs(int(samples[i])) >= level)
            return long(i);
    return -1;
}
