#pragma once

// The sound card as the line sees it.

#include "platform/voice/WaveFiles.h"

#include <QString>

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

namespace voice {

// Voice between the line and the sound card. The line calls these on its own thread at the line's pace
// (8000 samples a second, in blocks).
class AudioDevice {
public:
    virtual ~AudioDevice() = default;
    virtual void startPlayback() = 0; // line -> loudspeaker
    virtual void stopPlayback() = 0;
    virtual void play(const int16_t* samples, size_t count) = 0;
    virtual void startCapture() = 0; // microphone -> line
    virtual void stopCapture() = 0;
    // Fills exactly `count` samples (silence where the device has none).
    virtual void capture(int16_t* out, size_t count) = 0;
};

// A sound card made of two wave files. startPlayback() creates the playback file anew (wave format 3)
// and stopPlayback() finishes it, so it can be read once playback has stopped. startCapture() reads the
// capture file from its beginning; after its end, and while capture is stopped, capture() gives silence.
// An empty path makes that direction silent / discarded. A file that cannot be opened does the same and
// leaves its reason in lastError(). All calls take one lock, so the line and another thread may share it.
class WaveFileAudioDevice : public AudioDevice {
public:
    WaveFileAudioDevice(QString playbackFile, QString captureFile);

    void startPlayback() override;
    void stopPlayback() override;
    void play(const int16_t* samples, size_t count) override;
    void startCapture() override;
    void stopCapture() override;
    void capture(int16_t* out, size_t count) override;

    QString lastError() const;

private:
    mutable std::mutex mutex_;
    const QString playbackFile_;
    const QString captureFile_;
    WaveWriter writer_;
    WaveReader reader_;
    QString lastError_;
};

// A FIFO of samples between two clocks: the line's, which pushes 8000 samples a second in blocks, and a
// sound card's, which pops chunks of its own size at its own pace. The two clocks differ slightly (up to
// some tenths of a percent), so one side gives a little more than the other takes.
//
// pop() absorbs that difference: it reads the FIFO at a ratio slightly off 1 (samples read per sample
// given), interpolating between the samples (cubic), and steers the ratio so that the depth left after
// a pop stays near `target` on average. The ratio comes from a proportional and integral loop on the
// depth, low-pass filtered so that the sawtooth of blocks and chunks, bursts of blocks and chunks of
// changing size hardly move it. The loop learns a drift within seconds at the start of a call and then
// slows down to a time constant of about a minute, after which the ratio wanders by some tens of parts
// per million (a few hundred when the clocks are so close that their blocks slip past each other only
// every few minutes). The ratio stays within 1 +- 1 %; a drift of up to +-0.5 % is absorbed without a
// sample dropped or missing. What the FIFO holds beyond the target when it (re)starts is drained over
// some seconds on its own.
//
// Beyond that, two safety behaviours remain:
//  - when push() would take the depth past `limit`, the oldest samples are dropped down to `target` plus
//    the card's average chunk (counted in dropped());
//  - pop() gives nothing from the FIFO until it can leave `target` samples behind, at the start and again
//    after it ran dry. Whatever pop() cannot fill from the FIFO it fills with the last sample given faded
//    out over 10 ms, then silence. One stretch of running dry counts as one underrun (the first fill at
//    the start is none).
// One pusher thread and one popper thread may use it at once; a call holds the lock only for its own
// samples.
class JitterBuffer {
public:
    JitterBuffer(size_t target, size_t limit); // limit is at least 1, target at most limit
    void push(const int16_t* samples, size_t count);
    void pop(int16_t* out, size_t count);
    size_t depth() const;
    uint64_t dropped() const;
    uint64_t underruns() const;
    // Input samples the next pop() reads per sample it gives: above 1 when the line's clock runs faster
    // than the card's or the FIFO is deeper than it should be, below 1 in the opposite cases.
    double ratio() const;

private:
    int16_t at(size_t offset) const; // the sample `offset` places after the oldest
    void fillSilence(int16_t* out, size_t count);
    void steer(double before, size_t popped);
    void rebase();

    mutable std::mutex mutex_;
    const size_t limit_;
    const size_t target_;
    std::vector<int16_t> ring_;
    size_t head_ = 0; // index of the oldest sample
    size_t size_ = 0;
    bool filling_ = true;
    int16_t lastSample_ = 0;
    int fadePos_ = 0;
    uint64_t dropped_ = 0;
    uint64_t underruns_ = 0;

    // The resampler: the read position lies `phase_` of the way from the oldest sample to the next one;
    // `before_` is the sample just consumed, the first of the four the interpolation uses.
    double phase_ = 0;
    int16_t before_ = 0;
    // The steering: samples played since the start, the card's average chunk, the filtered depth before
    // a pop less the target, the surplus still to be drained, the integral part of the correction, and
    // the ratio the next pop uses.
    double played_ = 0;
    double chunk_ = 0;
    double level_ = 0;
    double surplus_ = 0;
    double integral_ = 0;
    double ratio_ = 1;
};

} // namespace voice
