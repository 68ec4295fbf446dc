#include "platform/voice/WaveFiles.h"

#include "platform/voice/LineAudio.h"

#include <QFile>
#include <QFileInfo>

#include <samplerate.h>
#include <sndfile.h>

#include <algorithm>
#include <vector>

namespace voice {

namespace {

struct FileCloser {
    void operator()(SNDFILE* file) const { sf_close(file); }
};
using FileHandle = std::unique_ptr<SNDFILE, FileCloser>;

struct ResamplerDeleter {
    void operator()(SRC_STATE* state) const { src_delete(state); }
};

// Converts a mono stream between two rates. Sinc "fastest" is far above what telephone speech needs.
class Resampler {
public:
    explicit Resampler(double ratio) : ratio_(ratio) {
        int error = 0;
        state_.reset(src_new(SRC_SINC_FASTEST, 1, &error));
    }
    bool valid() const { return state_ != nullptr; }

    // Converts `count` samples and appends the result to `out`; `last` also flushes what is held back.
    void process(const float* in, size_t count, bool last, std::vector<float>& out) {
        size_t used = 0;
        for (;;) {
            const size_t before = out.size();
            const size_t room = size_t(double(count - used) * ratio_) + 256;
            out.resize(before + room);
            SRC_DATA data{};
            data.data_in = count > used ? in + used : nullptr;
            data.input_frames = long(count - used);
            data.data_out = out.data() + before;
            data.output_frames = long(room);
            data.end_of_input = last ? 1 : 0;
            data.src_ratio = ratio_;
            if (src_process(state_.get(), &data) != 0) {
                out.resize(before);
                return;
            }
            out.resize(before + size_t(data.output_frames_gen));
            used += size_t(data.input_frames_used);
            if (used >= count && data.output_frames_gen == 0)
                return;
        }
    }

private:
    double ratio_;
    std::unique_ptr<SRC_STATE, ResamplerDeleter> state_;
};

QString fileError(const QString& path, const QString& why) {
    return QStringLiteral("The wave file \"%1\" %2.").arg(path, why);
}

// libsndfile's text for the last failed open, without its "System error : " lead-in and full stop.
QString libraryReason() {
    QString text = QString::fromLocal8Bit(sf_strerror(nullptr)).trimmed();
    const QString lead = QStringLiteral("System error : ");
    if (text.startsWith(lead))
        text.remove(0, lead.size());
    while (text.endsWith(QLatin1Char('.')))
        text.chop(1);
    return text;
}

struct WaveFormat {
    int rate;
    int channels;
    int subtype;
};

bool waveFormat(int number, WaveFormat* format) {
    static constexpr int Rates[] = {8000, 11025, 22050, 44100};
    if (number == 17) {
        *format = {8000, 1, SF_FORMAT_ALAW};
        return true;
    }
    if (number < 1 || number > 16)
        return false;
    const int inGroup = (number - 1) % 4;
    *format = {Rates[(number - 1) / 4], inGroup % 2 + 1, inGroup < 2 ? SF_FORMAT_PCM_U8 : SF_FORMAT_PCM_16};
    return true;
}

constexpr size_t ReadChunk = 2048;

} // namespace

// ---- WaveReader ----

struct WaveReader::State {
    FileHandle file;
    int channels = 1;
    std::unique_ptr<Resampler> resampler;
    std::vector<float> frames;  // one chunk as read, interleaved
    std::vector<float> mono;    // that chunk mixed down
    std::vector<float> pending; // 8 kHz samples not yet delivered
    size_t pendingPos = 0;
    bool endOfFile = false;

    // Reads the next chunk into `pending`.
    void refill() {
        pending.clear();
        pendingPos = 0;
        frames.resize(ReadChunk * size_t(channels));
        const auto got =
            size_t(std::max<sf_count_t>(0, sf_readf_float(file.get(), frames.data(), ReadChunk)));
        endOfFile = got < ReadChunk;
        mono.resize(got);
        for (size_t i = 0; i < got; ++i) {
            float sum = 0;
            for (int c = 0; c < channels; ++c)
                sum += frames[i * size_t(channels) + size_t(c)];
            mono[i] = sum / float(channels);
        }
        if (resampler)
            resampler->process(mono.data(), got, endOfFile, pending);
        else
            pending.swap(mono);
    }
};

WaveReader::WaveReader() = default;
WaveReader::~WaveReader() = default;
WaveReader::WaveReader(WaveReader&&) noexcept = default;
WaveReader& WaveReader::operator=(WaveReader&&) noexcept = default;

bool WaveReader::open(const QString& path, QString* error) {
    close();
    auto fail = [&](const QString& why) {
        if (error)
            *error = fileError(path, why);
        return false;
    };
    if (QFileInfo(path).isDir())
        return fail(QStringLiteral("is a folder"));
    SF_INFO info{};
    FileHandle file(sf_open(QFile::encodeName(path).constData(), SFM_READ, &info));
    if (!file)
        return fail(QStringLiteral("cannot be read: ") + libraryReason());
    if (info.channels < 1 || info.samplerate < 1)
        return fail(QStringLiteral("has no usable sound data"));
    const double ratio = double(LineRate) / info.samplerate;
    if (ratio < 1.0 / 256 || ratio > 256)
        return fail(
            QStringLiteral("has a sample rate of %1 Hz, which cannot be converted").arg(info.samplerate));

    auto state = std::make_unique<State>();
    state->file = std::move(file);
    state->channels = info.channels;
    if (info.samplerate != LineRate) {
        state->resampler = std::make_unique<Resampler>(ratio);
        if (!state->resampler->valid())
            return fail(QStringLiteral("cannot be resampled"));
    }
    state_ = std::move(state);
    return true;
}

size_t WaveReader::read(int16_t* out, size_t count) {
    if (!state_)
        return 0;
    State& s = *state_;
    size_t done = 0;
    while (done < count) {
        if (s.pendingPos < s.pending.size()) {
            const size_t n = std::min(count - done, s.pending.size() - s.pendingPos);
            src_float_to_short_array(s.pending.data() + s.pendingPos, out + done, int(n));
            s.pendingPos += n;
            done += n;
        } else if (s.endOfFile) {
            break;
        } else {
            s.refill();
        }
    }
    return done;
}

bool WaveReader::isOpen() const {
    return state_ != nullptr;
}

void WaveReader::close() {
    state_.reset();
}

// ---- WaveWriter ----

struct WaveWriter::State {
    FileHandle file;
    int channels = 1;
    std::unique_ptr<Resampler> resampler;
    std::vector<float> in, out;
    std::vector<int16_t> samples, frames;

    void writeFrames(const int16_t* data, size_t count) {
        if (channels == 1) {
            sf_writef_short(file.get(), data, sf_count_t(count));
            return;
        }
        frames.resize(count * 2);
        for (size_t i = 0; i < count; ++i)
            frames[2 * i] = frames[2 * i + 1] = data[i];
        sf_writef_short(file.get(), frames.data(), sf_count_t(count));
    }

    void writeResampled(const int16_t* data, size_t count, bool last) {
        in.resize(count);
        src_short_to_float_array(data, in.data(), int(count));
        out.clear();
        resampler->process(in.data(), count, last, out);
        samples.resize(out.size());
        src_float_to_short_array(out.data(), samples.data(), int(out.size()));
        writeFrames(samples.data(), samples.size());
    }
};

WaveWriter::WaveWriter() = default;
WaveWriter::~WaveWriter() {
    close();
}
WaveWriter::WaveWriter(WaveWriter&&) noexcept = default;
WaveWriter& WaveWriter::operator=(WaveWriter&& other) noexcept {
    if (this != &other) {
        close();
        state_ = std::move(other.state_);
    }
    return *this;
}

bool WaveWriter::open(const QString& path, int formatNumber, QString* error) {
    close();
    auto fail = [&](const QString& why) {
        if (error)
            *error = fileError(path, why);
        return false;
    };
    WaveFormat format{};
    if (!waveFormat(formatNumber, &format))
        return fail(QStringLiteral("cannot be written in the unknown sound format %1").arg(formatNumber));
    SF_INFO info{};
    info.samplerate = format.rate;
    info.channels = format.channels;
    info.format = SF_FORMAT_WAV | format.subtype;
    FileHandle file(sf_open(QFile::encodeName(path).constData(), SFM_WRITE, &info));
    if (!file)
        return fail(QStringLiteral("cannot be written: ") + libraryReason());

    auto state = std::make_unique<State>();
    state->file = std::move(file);
    state->channels = format.channels;
    if (format.rate != LineRate) {
        state->resampler = std::make_unique<Resampler>(double(format.rate) / LineRate);
        if (!state->resampler->valid())
            return fail(QStringLiteral("cannot be resampled"));
    }
    state_ = std::move(state);
    return true;
}

void WaveWriter::write(const int16_t* samples, size_t count) {
    if (!state_ || count == 0)
        return;
    if (state_->resampler)
        state_->writeResampled(samples, count, false);
    else
        state_->writeFrames(samples, count);
}

void WaveWriter::close() {
    if (state_ && state_->resampler)
        state_->writeResampled(nullptr, 0, true);
    state_.reset();
}

bool WaveWriter::isOpen() const {
    return state_ != nullptr;
}

QString WaveFormatText(int formatNumber) {
    WaveFormat format{};
    if (!waveFormat(formatNumber, &format))
        return QStringLiteral("unbekanntes Soundformat");
    if (format.subtype == SF_FORMAT_ALAW)
        return QStringLiteral("CCITT A-Law 8,000 kHz; 8 Bit; Mono");
    static constexpr const char* RateTexts[] = {"8,000", "11,025", "22,050", "44,100"};
    const int group = (formatNumber - 1) / 4;
    return QStringLiteral("PCM %1 kHz; %2 Bit; %3")
        .arg(QLatin1String(RateTexts[group]),
             format.subtype == SF_FORMAT_PCM_U8 ? QStringLiteral("8") : QStringLiteral("16"),
             format.channels == 1 ? QStringLiteral("Mono") : QStringLiteral("Stereo"));
}

} // namespace voice
