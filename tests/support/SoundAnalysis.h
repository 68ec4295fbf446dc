#pragma once

// Sound for tests that listen: tones written into wave files, and what a recording holds.

#include <QString>

#include <cstdint>
#include <vector>

// A sine of `hertz` at about half of full scale, `seconds` long, into a wave file of a wave format number
// (its own rate and channels). Gives the frames written.
int64_t WriteSine(const QString& path, double hertz, double seconds, int formatNumber);
// The samples of a wave file as 8 kHz mono; empty when it cannot be read.
std::vector<int16_t> ReadSamples(const QString& path);
double Rms(const std::vector<int16_t>& samples);
// The share of the samples' energy that lies within about 25 Hz of `hertz` (8 kHz samples, in windows of
// 20 ms): near 1 for a clean tone of that
// frequency however long the silence around it, near 0 for another tone or noise.
double ToneShare(const std::vector<int16_t>& samples, double hertz);
// The index of the first sample whose magnitude reaches `level`, or -1.
long FirstLoud(const std::vector<int16_t>& samples, int level, size_t from = 0);
