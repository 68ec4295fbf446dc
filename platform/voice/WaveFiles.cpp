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

namespace {

int bytesPerSampleOf(int format) {
    switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
    case SF_FORMAT_ALAW:
    case SF_FORMAT_ULAW:
        return 1;
    case SF_FORMAT_PCM_24:
        return 3;
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_FLOAT:
        return 4;
    case SF_FORMAT_DOUBLE:
        return 8;
    default:
        return 2;
    }
}

int formatNumberOf(const WaveFileInfo& info) {
    for (int number = 1; number <= 17; ++number) {
        WaveFormat format{};
        waveFormat(number, &format);
        const bool alaw = format.subtype == SF_FORMAT_ALAW;
        if (format.rate == info.rate && format.channels == info.channels && alaw == info.alaw &&
            (alaw || bytesPerSampleOf(format.subtype) == info.bytesPerSample))
            return number;
    }
    return 0;
}

FileHandle openForReading(const QString& path, SF_INFO* info, QString* error) {
    *info = SF_INFO{};
    FileHandle file(sf_open(QFile::encodeName(path).constData(), SFM_READ, info));
    if (!file && error)
        *error = fileError(path, QStringLiteral("cannot be read: ") + libraryReason());
    return file;
}

// Copies every frame of `from` to the end of `to`, in chunks.
bool copyFrames(SNDFILE* from, int channels, SNDFILE* to) {
    std::vector<int16_t> chunk(ReadChunk * size_t(channels));
    for (;;) {
        const sf_count_t got = sf_readf_short(from, chunk.data(), sf_count_t(ReadChunk));
        if (got <= 0)
            return true;
        if (sf_writef_short(to, chunk.data(), got) != got)
            return false;
    }
}

} // namespace

QString WaveFileInfo::text() const {
    if (formatNumber != 0)
        return WaveFormatText(formatNumber);
    const QString rateText =
        QString::number(rate / 1000.0, 'f', 3).replace(QLatin1Char('.'), QLatin1Char(','));
    const QString channelText = channels == 1   ? QStringLiteral("Mono")
                                : channels == 2 ? QStringLiteral("Stereo")
                                                : QStringLiteral("%1 Kanäle").arg(channels);
    return QStringLiteral("%1 %2 kHz; %3 Bit; %4")
        .arg(alaw ? QStringLiteral("CCITT A-Law") : QStringLiteral("PCM"), rateText)
        .arg(bytesPerSample * 8)
        .arg(channelText);
}

bool ReadWaveInfo(const QString& path, WaveFileInfo* info, QString* error) {
    SF_INFO sf{};
    const FileHandle file = openForReading(path, &sf, error);
    if (!file)
        return false;
    *info = WaveFileInfo{};
    info->rate = sf.samplerate;
    info->channels = sf.channels;
    info->bytesPerSample = bytesPerSampleOf(sf.format);
    info->alaw = (sf.format & SF_FORMAT_SUBMASK) == SF_FORMAT_ALAW;
    info->frames = sf.frames;
    info->formatNumber = formatNumberOf(*info);
    return true;
}

bool AppendWave(const QString& target, const QString& piece, QString* error) {
    const auto fail = [error](const QString& why) {
        if (error)
            *error = why;
        return false;
    };
    const QString partial = target + QStringLiteral(".part");
    QFile::remove(partial);
    if (!QFileInfo::exists(target)) {
        SF_INFO pieceInfo{};
        if (!openForReading(piece, &pieceInfo, error))
            return false;
        if (!QFile::copy(piece, partial) || !QFile::rename(partial, target)) {
            QFile::remove(partial);
            return fail(fileError(target, QStringLiteral("cannot be written")));
        }
        return true;
    }
    SF_INFO targetInfo{};
    SF_INFO pieceInfo{};
    const FileHandle from = openForReading(target, &targetInfo, error);
    if (!from)
        return false;
    const FileHandle add = openForReading(piece, &pieceInfo, error);
    if (!add)
        return false;
    if (targetInfo.samplerate != pieceInfo.samplerate || targetInfo.channels != pieceInfo.channels)
        return fail(fileError(
            piece, QStringLiteral("has another rate or number of channels than \"%1\"").arg(target)));
    SF_INFO outInfo = targetInfo;
    outInfo.frames = 0;
    bool written = false;
    {
        const FileHandle out(sf_open(QFile::encodeName(partial).constData(), SFM_WRITE, &outInfo));
        if (!out)
            return fail(fileError(target, QStringLiteral("cannot be written: ") + libraryReason()));
        written = copyFrames(from.get(), targetInfo.channels, out.get()) &&
                  copyFrames(add.get(), pieceInfo.channels, out.get());
    }
    if (!written || !QFile::remove(target) || !QFile::rename(partial, target)) {
        QFile::remove(partial);
        return fail(fileError(target, QStringLiteral("cannot be written")));
    }
    return true;
}

struct NativeWaveReader::State {
    FileHandle file;
    SF_INFO info{};
};

NativeWaveReader::NativeWaveReader() = default;
NativeWaveReader::~NativeWaveReader() = default;

bool NativeWaveReader::open(const QString& path, QString* error) {
    close();
    auto state = std::make_unique<State>();
    state->file = openForReading(path, &state->info, error);
    if (!state->file)
        return false;
    state_ = std::move(state);
    return true;
}

int NativeWaveReader::rate() const {
    return state_ ? state_->info.samplerate : 0;
}

int NativeWaveReader::channels() const {
    return state_ ? state_->info.channels : 0;
}

int64_t NativeWaveReader::frames() const {
    return state_ ? state_->info.frames : 0;
}

size_t NativeWaveReader::read(int16_t* interleaved, size_t frames) {
    if (!state_)
        return 0;
    const sf_count_t got = sf_readf_short(state_->file.get(), interleaved, sf_count_t(frames));
    return got > 0 ? size_t(got) : 0;
}

void NativeWaveReader::rewind() {
    if (state_)
        sf_seek(state_->file.get(), 0, SEEK_SET);
}

bool NativeWaveReader::isOpen() const {
    return state_ != nullptr;
}

void NativeWaveReader::close() {
    state_.reset();
}

struct NativeWaveWriter::State {
    FileHandle file;
    WaveFormat format{};
    int64_t frames = 0;
};

NativeWaveWriter::NativeWaveWriter() = default;
NativeWaveWriter::~NativeWaveWriter() = default;

bool NativeWaveWriter::open(const QString& path, int formatNumber, QString* error) {
    close();
    auto state = std::make_unique<State>();
    if (!waveFormat(formatNumber, &state->format)) {
        if (error)
            *error = fileError(
                path, QStringLiteral("cannot be written in the unknown sound format %1").arg(formatNumber));
        return false;
    }
    SF_INFO info{};
    info.samplerate = state->format.rate;
    info.channels = state->format.channels;
    info.format = SF_FORMAT_WAV | state->format.subtype;
    state->file.reset(sf_open(QFile::encodeName(path).constData(), SFM_WRITE, &info));
    if (!state->file) {
        if (error)
            *error = fileError(path, QStringLiteral("cannot be written: ") + libraryReason());
        return false;
    }
    state_ = std::move(state);
    return true;
}

int NativeWaveWriter::rate() const {
    return state_ ? state_->format.rate : 0;
}

int NativeWaveWriter::channels() const {
    return state_ ? state_->format.channels : 0;
}

void NativeWaveWriter::write(const int16_t* interleaved, size_t frames) {
    if (!state_)
        return;
    const sf_count_t done = sf_writef_short(state_->file.get(), interleaved, sf_count_t(frames));
    if (done > 0)
        state_->frames += done;
}

int64_t NativeWaveWriter::dataBytes() const {
    return state_ ? state_->frames * state_->format.channels * bytesPerSampleOf(state_->format.subtype) : 0;
}

void NativeWaveWriter::close() {
    state_.reset();
}

bool NativeWaveWriter::isOpen() const {
    return state_ != nullptr;
}

} // namespace voice
