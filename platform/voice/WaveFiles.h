#pragma once

// Wave files in and out of the line's voice format (8 kHz mono 16-bit samples).

#include <QString>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace voice {

// Reads a wave file of any format libsndfile reads (PCM 8/16 bit, mono/stereo, any common rate, A-law,
// ...) and delivers it as 8 kHz mono 16-bit samples: more channels are mixed down, other rates are
// resampled.
class WaveReader {
public:
    WaveReader();
    ~WaveReader();
    WaveReader(WaveReader&&) noexcept;
    WaveReader& operator=(WaveReader&&) noexcept;

    // Opens `path` (closing any file open before). On failure `error` (may be null) gets a sentence
    // naming the file and the reason.
    bool open(const QString& path, QString* error);
    // Fills up to `count` samples; returns how many, 0 at the end of the file.
    size_t read(int16_t* out, size_t count);
    bool isOpen() const;
    void close();

private:
    struct State;
    std::unique_ptr<State> state_;
};

// Writes 8 kHz mono samples into a wave file of a wave format number:
//  1 PCM 8 kHz 8 bit mono, 2 PCM 8 kHz 8 bit stereo, 3 PCM 8 kHz 16 bit mono, 4 PCM 8 kHz 16 bit stereo,
//  5..8 the same four at 11025 Hz, 9..12 at 22050 Hz, 13..16 at 44100 Hz, 17 CCITT A-law 8 kHz mono.
// The writer resamples and duplicates channels as the format needs.
class WaveWriter {
public:
    WaveWriter();
    ~WaveWriter(); // closes the file
    WaveWriter(WaveWriter&&) noexcept;
    WaveWriter& operator=(WaveWriter&&) noexcept;

    // Creates `path` (closing any file open before). Fails for an unknown format number, too.
    bool open(const QString& path, int formatNumber, QString* error);
    void write(const int16_t* samples, size_t count);
    // Writes what the resampler still holds and finishes the header.
    void close();
    bool isOpen() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

// Text of a wave format number for the program's lists, e.g. "PCM 8,000 kHz; 8 Bit; Mono";
// "unbekanntes Soundformat" for a number that is none.
QString WaveFormatText(int formatNumber);

// A wave file's format and length, as its header tells them.
struct WaveFileInfo {
    int rate = 0;
    int channels = 0;
    int bytesPerSample = 0; // of one channel: 1 for 8-bit PCM and A-law, 2 for 16-bit PCM, ...
    bool alaw = false;
    int64_t frames = 0;
    int formatNumber = 0; // the wave format number, 0 for a format outside the table
    int bytesPerBlock() const { return bytesPerSample * channels; }
    int64_t dataBytes() const { return frames * bytesPerBlock(); }
    // The format in the program's words: the table's text, or the same words for a format outside it.
    QString text() const;
};

// Reads the header of `path`. False with `error` (may be null) when it is no sound file libsndfile reads.
bool ReadWaveInfo(const QString& path, WaveFileInfo* info, QString* error);

// Appends the sound of `piece` to `target`, in the target's encoding; a missing target becomes a copy of
// the piece. The two must have the same rate and channels. The target is changed through a copy that
// replaces it, so a failure leaves it as it was.
bool AppendWave(const QString& target, const QString& piece, QString* error);

// A wave file read as it is stored: interleaved 16-bit frames at the file's own rate and channels, for a
// sound server that converts what it plays.
class NativeWaveReader {
public:
    NativeWaveReader();
    ~NativeWaveReader();
    bool open(const QString& path, QString* error);
    int rate() const;
    int channels() const;
    int64_t frames() const;
    // Fills up to `frames` frames; returns how many, 0 at the end.
    size_t read(int16_t* interleaved, size_t frames);
    void rewind();
    bool isOpen() const;
    void close();

private:
    struct State;
    std::unique_ptr<State> state_;
};

// A wave file of a wave format number written from interleaved 16-bit frames at that format's own rate
// and channels (libsndfile encodes 8-bit PCM and A-law).
class NativeWaveWriter {
public:
    NativeWaveWriter();
    ~NativeWaveWriter();
    bool open(const QString& path, int formatNumber, QString* error);
    int rate() const;
    int channels() const;
    void write(const int16_t* interleaved, size_t frames);
    // Bytes of sound written so far, in the file's encoding.
    int64_t dataBytes() const;
    void close();
    bool isOpen() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace voice
