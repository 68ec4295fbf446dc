#include "platform/voice/AudioDevice.h"

#include <algorithm>

namespace voice {

// ---- WaveFileAudioDevice ----

WaveFileAudioDevice::WaveFileAudioDevice(QString playbackFile, QString captureFile)
    : playbackFile_(std::move(playbackFile)), captureFile_(std::move(captureFile)) {}

void WaveFileAudioDevice::startPlayback() {
    const std::lock_guard lock(mutex_);
    if (!playbackFile_.isEmpty())
        writer_.open(playbackFile_, 3, &lastError_);
}

void WaveFileAudioDevice::stopPlayback() {
    const std::lock_guard lock(mutex_);
    writer_.close();
}

void WaveFileAudioDevice::play(const int16_t* samples, size_t count) {
    const std::lock_guard lock(mutex_);
    writer_.write(samples, count);
}

void WaveFileAudioDevice::startCapture() {
    const std::lock_guard lock(mutex_);
    if (!captureFile_.isEmpty())
        reader_.open(captureFile_, &lastError_);
}

void WaveFileAudioDevice::stopCapture() {
    const std::lock_guard lock(mutex_);
    reader_.close();
}

void WaveFileAudioDevice::capture(int16_t* out, size_t count) {
    const std::lock_guard lock(mutex_);
    const size_t got = reader_.read(out, count);
    std::fill(out + got, out + count, int16_t(0));
}

QString WaveFileAudioDevice::lastError() const {
    const std::lock_guard lock(mutex_);
    return lastError_;
}

// ---- JitterBuffer ----

namespace {
constexpr int FadeLength = 80; // 10 ms at the line's rate
}

JitterBuffer::JitterBuffer(size_t target, size_t limit)
    : limit_(std::max<size_t>(limit, 1)), target_(std::min(target, limit_)), ring_(limit_) {}

void JitterBuffer::push(const int16_t* samples, size_t count) {
    const std::lock_guard lock(mutex_);
    if (size_ + count > limit_) {
        const size_t drop = size_ + count - target_;
        const size_t dropOld = std::min(drop, size_);
        head_ = (head_ + dropOld) % limit_;
        size_ -= dropOld;
        samples += drop - dropOld;
        count -= drop - dropOld;
        dropped_ += drop;
    }
    for (size_t done = 0; done < count;) {
        const size_t tail = (head_ + size_) % limit_;
        const size_t n = std::min(count - done, limit_ - tail);
        std::copy_n(samples + done, n, ring_.begin() + std::ptrdiff_t(tail));
        size_ += n;
        done += n;
    }
}

void JitterBuffer::pop(int16_t* out, size_t count) {
    const std::lock_guard lock(mutex_);
    size_t done = 0;
    if (filling_ && size_ > 0 && size_ >= target_)
        filling_ = false;
    if (!filling_) {
        const size_t take = std::min(count, size_);
        while (done < take) {
            const size_t n = std::min(take - done, limit_ - head_);
            std::copy_n(ring_.begin() + std::ptrdiff_t(head_), n, out + done);
            head_ = (head_ + n) % limit_;
            size_ -= n;
            done += n;
        }
        if (done > 0) {
            lastSample_ = out[done - 1];
            fadePos_ = 0;
        }
        if (done < count) {
            filling_ = true;
            ++underruns_;
        }
    }
    fillSilence(out + done, count - done);
}

void JitterBuffer::fillSilence(int16_t* out, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        if (fadePos_ < FadeLength)
            ++fadePos_;
        out[i] = int16_t(lastSample_ * (FadeLength - fadePos_) / FadeLength);
    }
}

size_t JitterBuffer::depth() const {
    const std::lock_guard lock(mutex_);
    return size_;
}

uint64_t JitterBuffer::dropped() const {
    const std::lock_guard lock(mutex_);
    return dropped_;
}

uint64_t JitterBuffer::underruns() const {
    const std::lock_guard lock(mutex_);
    return underruns_;
}

} // namespace voice
