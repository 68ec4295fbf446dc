#include "platform/voice/AudioDevice.h"

#include <algorithm>
#include <cmath>

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

// The steering. All times are in samples at the line's rate (8000 a second).
//
// The loop that turns the depth error into the ratio is a proportional and integral one with the natural
// time constant `loop`, critically damped (the filter aside): 2 / loop per sample of error, plus the
// integral of the error over loop^2. It starts fast (LoopStart), so that a drift d present from the start
// lets the depth stray by only about 0.37 * d * LoopStart (some 60 samples at 0.5 %), and slows down to
// LoopEnd as the call goes on (the time constant being half the time played so far), so that once the
// drift is known the ratio hardly moves any more.
constexpr double LoopStart = 8000 * 4;
constexpr double LoopEnd = 8000 * 64;
// The depth is low-pass filtered over a quarter of the loop's time constant (1 s at the start, 16 s at
// the end), so that the sawtooth of 20 ms blocks and chunks, bursts of blocks, and chunks of changing
// size move the ratio by some tens of parts per million. The step of one block each time the line's and
// the card's blocks slip past each other is no noise but a true change of the depth; when such steps come
// minutes apart (clocks within 0.01 %), the ratio follows each by a few hundred parts per million.
constexpr double FilterShare = 0.25;
// The card's chunk size is averaged over 30 s (from the start on, over all chunks so far).
constexpr double ChunkTime = 8000 * 30;
// What the FIFO holds beyond (or below) the target when pop() starts giving samples is drained on its
// own, over a time constant of 8 s, instead of being taken by the loop for a drift.
constexpr double GlideTime = 8000 * 8;
constexpr double MaxCorrection = 0.01;

// Cubic (Catmull-Rom) interpolation at `t` (0..1) between x0 and x1, with their outer neighbours. At
// t = 0 it gives x0 exactly.
inline double interpolate(double xm1, double x0, double x1, double x2, double t) {
    return x0 + 0.5 * t * (x1 - xm1 + t * (2 * xm1 - 5 * x0 + 4 * x1 - x2 + t * (3 * (x0 - x1) + x2 - xm1)));
}

inline int16_t toSample(double v) {
    const double c = std::clamp(v, -32768.0, 32767.0);
    return int16_t(c < 0 ? c - 0.5 : c + 0.5);
}
} // namespace

JitterBuffer::JitterBuffer(size_t target, size_t limit)
    : limit_(std::max<size_t>(limit, 1)), target_(std::min(target, limit_)), ring_(limit_) {}

int16_t JitterBuffer::at(size_t offset) const {
    size_t i = head_ + offset;
    if (i >= limit_)
        i -= limit_;
    return ring_[i];
}

void JitterBuffer::push(const int16_t* samples, size_t count) {
    const std::lock_guard lock(mutex_);
    const bool overflow = size_ + count > limit_;
    if (overflow) {
        // Down to what the next pop needs to leave the target behind.
        const size_t keep = std::min(limit_, target_ + size_t(std::lround(chunk_)));
        const size_t drop = size_ + count - keep;
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
    if (overflow)
        rebase();
}

void JitterBuffer::pop(int16_t* out, size_t count) {
    if (count == 0)
        return;
    const std::lock_guard lock(mutex_);
    size_t done = 0;
    // (Re)start once this pop leaves `target` behind.
    if (filling_ && size_ > 0 && size_ >= std::min(target_ + count, limit_)) {
        filling_ = false;
        phase_ = 0;
        before_ = at(0);
        if (played_ == 0)
            chunk_ = double(count);
        rebase();
    }
    if (!filling_) {
        const double ratio = ratio_;
        const double before = double(size_) - phase_;
        // Locals, so that the loop keeps its state in registers.
        const int16_t* ring = ring_.data();
        const size_t limit = limit_;
        size_t head = head_;
        size_t size = size_;
        double phase = phase_;
        double previous = before_;
        const auto next = [limit](size_t i) {
            return i + 1 == limit ? 0 : i + 1;
        };
        while (done < count && size > 0) {
            const size_t i1 = next(head);
            const size_t i2 = next(i1);
            const double x0 = ring[head];
            const double x1 = size > 1 ? ring[i1] : x0;
            const double x2 = size > 2 ? ring[i2] : x1;
            out[done++] = toSample(interpolate(previous, x0, x1, x2, phase));
            phase += ratio;
            while (phase >= 1 && size > 0) {
                phase -= 1;
                previous = ring[head];
                head = next(head);
                --size;
            }
        }
        head_ = head;
        size_ = size;
        phase_ = phase;
        before_ = int16_t(previous);
        if (done > 0) {
            lastSample_ = out[done - 1];
            fadePos_ = 0;
        }
        if (done < count) {
            filling_ = true;
            ++underruns_;
        } else {
            steer(before, count);
        }
    }
    fillSilence(out + done, count - done);
}

// `before` is the depth this pop found (less the part of the oldest sample already read), `popped` the
// samples it gave. The depth that matters is the one left after a pop: it is what the next pop has, less
// what the line brings in between. It is taken as the filtered depth before a pop less the card's average
// chunk, so that chunks of changing size do not shake the measure.
void JitterBuffer::steer(double before, size_t popped) {
    const double n = double(popped);
    played_ += n;
    const double loop = std::clamp(played_ / 2, LoopStart, LoopEnd);
    chunk_ += (n - chunk_) * std::min(1.0, n / std::min(ChunkTime, played_));
    level_ += (before - double(target_) - level_) * std::min(1.0, n / (loop * FilterShare));

    const double drain = surplus_ * std::min(1.0, n / GlideTime);
    surplus_ -= drain;

    const double error = level_ - chunk_ - surplus_;
    const double proportional = 2 * error / loop;
    const double step = error * n / (loop * loop);
    const double wanted = proportional + integral_;
    // While the correction is at its bound, the integral grows no further in that direction.
    if (std::abs(wanted) < MaxCorrection || (wanted > 0) != (step > 0))
        integral_ = std::clamp(integral_ + step, -MaxCorrection, MaxCorrection);
    ratio_ = 1 + std::clamp(proportional + integral_ + drain / n, -MaxCorrection, MaxCorrection);
}

// Sets the steering up for a FIFO that has just (re)started or overflowed: what it holds beyond the
// target and the card's chunk is surplus, to be drained on its own.
void JitterBuffer::rebase() {
    level_ = double(size_) - double(target_);
    surplus_ = level_ - chunk_;
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

double JitterBuffer::ratio() const {
    const std::lock_guard lock(mutex_);
    return ratio_;
}

} // namespace voice
