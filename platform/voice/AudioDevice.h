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

// A FIFO of samples between two clocks (the line's and a sound card's). It holds its depth between
// `target` and `limit`:
//  - pop() gives nothing from the FIFO until `target` samples are there, at the start and again after it
//    ran dry, so that a slower producer leads to a few longer gaps instead of many clicks;
//  - when push() would take the depth past `limit`, the oldest samples are dropped down to `target`.
// Whatever pop() cannot fill from the FIFO it fills with the last sample given faded out over 10 ms, then
// silence. One stretch of running dry counts as one underrun (the first fill at the start is none).
// One pusher thread and one popper thread may use it at once.
class JitterBuffer {
public:
    JitterBuffer(size_t target, size_t limit); // limit is at least 1, target at most limit
    void push(const int16_t* samples, size_t count);
    void pop(int16_t* out, size_t count);
    size_t depth() const;
    uint64_t dropped() const;
    uint64_t underruns() const;

private:
    void fillSilence(int16_t* out, size_t count);

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
};

} // namespace voice
