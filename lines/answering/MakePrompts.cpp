// Speaks the answering machine's prompt pieces of one language into a folder, as the build does:
//   morva-make-prompts TEXTS FOLDER [PIECE...]
// TEXTS holds one piece per line, `name = text`, with `#` comments and the settings `@voice = <espeak
// voice>`, `@rate = <words per minute>` and `@tone = <piece>` (the piece ends in the beep of a greeting).
// Each piece becomes FOLDER/<name>.wav, 8 kHz mono A-law. With PIECE names given, the texts must hold
// exactly those pieces, so that a language cannot ship with one missing.
//
// espeak-ng speaks at its own rate (22050 Hz); the sound is resampled to 8 kHz, its leading and trailing
// quiet is cut, its peak is brought to about -3 dBFS, and 50 ms of silence close it so that pieces
// played one after the other stay apart.

#include "platform/voice/Tones.h"
#include "platform/voice/WaveFiles.h"

#include <QDir>
#include <QFile>
#include <QSet>
#include <QStringList>

#include <espeak-ng/speak_lib.h>
#include <samplerate.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

constexpr int Rate = 8000;
constexpr double PeakLevel = 0.708 * 32767; // -3 dBFS
constexpr int TailMs = 50;
constexpr int LeadMs = 5; // kept before the first loud sample, so the onset is not cut

struct Piece {
    QString name;
    QString text;
    int line = 0;
};

struct Texts {
    QString voice;
    int rate = 150;
    QSet<QString> toneAfter;
    std::vector<Piece> pieces;
};

[[noreturn]] void Fail(const QString& message) {
    std::fprintf(stderr, "morva-make-prompts: %s\n", qPrintable(message));
    std::exit(1);
}

Texts ReadTexts(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        Fail(QStringLiteral("cannot read %1").arg(path));
    Texts texts;
    QSet<QString> seen;
    int number = 0;
    for (const QString& raw : QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'))) {
        ++number;
        const QString line = raw.trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        const qsizetype equals = line.indexOf(QLatin1Char('='));
        if (equals <= 0)
            Fail(QStringLiteral("%1:%2: expected `name = text`").arg(path).arg(number));
        const QString key = line.left(equals).trimmed();
        const QString value = line.mid(equals + 1).trimmed();
        if (key == QLatin1String("@voice")) {
            texts.voice = value;
        } else if (key == QLatin1String("@rate")) {
            bool ok = false;
            texts.rate = value.toInt(&ok);
            if (!ok || texts.rate < 80 || texts.rate > 400)
                Fail(QStringLiteral("%1:%2: a rate of 80 to 400 words per minute").arg(path).arg(number));
        } else if (key == QLatin1String("@tone")) {
            texts.toneAfter.insert(value);
        } else if (key.startsWith(QLatin1Char('@'))) {
            Fail(QStringLiteral("%1:%2: unknown setting %3").arg(path).arg(number).arg(key));
        } else {
            if (value.isEmpty())
                Fail(QStringLiteral("%1:%2: piece %3 has no text").arg(path).arg(number).arg(key));
            if (seen.contains(key))
                Fail(QStringLiteral("%1:%2: piece %3 twice").arg(path).arg(number).arg(key));
            seen.insert(key);
            texts.pieces.push_back({key, value, number});
        }
    }
    if (texts.voice.isEmpty())
        Fail(QStringLiteral("%1: no @voice").arg(path));
    return texts;
}

// What espeak-ng speaks in one call, gathered by its callback.
int Collect(short* samples, int count, espeak_EVENT* events) {
    auto* sink = static_cast<std::vector<float>*>(events->user_data);
    if (samples && sink)
        for (int i = 0; i < count; ++i)
            sink->push_back(float(samples[i]) / 32768.0f);
    return 0; // go on
}

std::vector<float> Resample(const std::vector<float>& in, int fromRate) {
    if (in.empty())
        return {};
    const double ratio = double(Rate) / fromRate;
    std::vector<float> out(size_t(std::ceil(double(in.size()) * ratio)) + 64);
    SRC_DATA data{};
    data.data_in = in.data();
    data.input_frames = long(in.size());
    data.data_out = out.data();
    data.output_frames = long(out.size());
    data.src_ratio = ratio;
    if (const int error = src_simple(&data, SRC_SINC_MEDIUM_QUALITY, 1))
        Fail(QStringLiteral("resampling: %1").arg(QString::fromUtf8(src_strerror(error))));
    out.resize(size_t(data.output_frames_gen));
    return out;
}

// Cuts the quiet before and after the speech, brings the peak to PeakLevel and adds the closing silence.
std::vector<int16_t> Shape(const std::vector<float>& sound, const QString& name) {
    float peak = 0;
    for (float value : sound)
        peak = std::max(peak, std::fabs(value));
    if (peak < 1e-3f)
        Fail(QStringLiteral("piece %1 came out silent").arg(name));
    // Quiet is what stays below 2 % of the peak: breath and the synthesiser's own pauses, not speech.
    const float threshold = peak * 0.02f;
    auto loud = [&](float value) {
        return std::fabs(value) >= threshold;
    };
    const auto first = std::find_if(sound.begin(), sound.end(), loud);
    const auto last = std::find_if(sound.rbegin(), sound.rend(), loud).base();
    const size_t begin = size_t(std::max<std::ptrdiff_t>(0, (first - sound.begin()) - Rate * LeadMs / 1000));
    const size_t end = std::min(sound.size(), size_t(last - sound.begin()) + size_t(Rate * 10 / 1000));
    const double gain = PeakLevel / double(peak); // the float samples run from -1 to 1
    std::vector<int16_t> out;
    out.reserve(end - begin + size_t(Rate * TailMs / 1000));
    for (size_t i = begin; i < end; ++i) {
        // A short fade at both ends, so the cut does not click.
        const double fade = std::min({1.0, double(i - begin) / 16.0, double(end - 1 - i) / 16.0});
        out.push_back(int16_t(std::lround(std::clamp(double(sound[i]) * gain * fade, -32767.0, 32767.0))));
    }
    out.resize(out.size() + size_t(Rate * TailMs / 1000), 0);
    return out;
}

// The beep after a greeting: 300 ms of quiet, then 1000 Hz for half a second at about -10 dBFS.
std::vector<int16_t> Beep() {
    voice::ToneDefinition beep;
    beep.cadence = {{{}, 300, 0}, {{1000}, 500, 0}};
    return voice::SynthesizeTone(beep);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: morva-make-prompts TEXTS FOLDER [PIECE...]\n");
        return 2;
    }
    const Texts texts = ReadTexts(QString::fromLocal8Bit(argv[1]));
    const QDir folder(QString::fromLocal8Bit(argv[2]));
    if (!QDir().mkpath(folder.path()))
        Fail(QStringLiteral("cannot create %1").arg(folder.path()));
    if (argc > 3) {
        QSet<QString> wanted;
        for (int i = 3; i < argc; ++i)
            wanted.insert(QString::fromUtf8(argv[i]));
        QSet<QString> have;
        for (const Piece& piece : texts.pieces)
            have.insert(piece.name);
        for (const QString& name : wanted - have)
            Fail(QStringLiteral("%1 lacks piece %2").arg(QString::fromLocal8Bit(argv[1]), name));
        for (const QString& name : have - wanted)
            Fail(QStringLiteral("%1 has piece %2, which is none of the set")
                     .arg(QString::fromLocal8Bit(argv[1]), name));
    }

    const int espeakRate =
        espeak_Initialize(AUDIO_OUTPUT_SYNCHRONOUS, 0, nullptr, espeakINITIALIZE_DONT_EXIT);
    if (espeakRate <= 0)
        Fail(QStringLiteral("espeak-ng does not start"));
    espeak_SetSynthCallback(Collect);
    // A voice by its file's name ("de", "nb"), else by a language ("en-gb", "fr-fr").
    const QByteArray voiceName = texts.voice.toUtf8();
    espeak_VOICE byLanguage{};
    byLanguage.languages = voiceName.constData();
    if (espeak_SetVoiceByName(voiceName.constData()) != EE_OK &&
        espeak_SetVoiceByProperties(&byLanguage) != EE_OK)
        Fail(QStringLiteral("espeak-ng has no voice %1").arg(texts.voice));
    espeak_SetParameter(espeakRATE, texts.rate, 0);

    for (const Piece& piece : texts.pieces) {
        std::vector<float> spoken;
        const QByteArray text = piece.text.toUtf8();
        if (espeak_Synth(text.constData(), size_t(text.size()) + 1, 0, POS_CHARACTER, 0, espeakCHARS_UTF8,
                         nullptr, &spoken) != EE_OK)
            Fail(QStringLiteral("espeak-ng cannot speak piece %1").arg(piece.name));
        std::vector<int16_t> samples = Shape(Resample(spoken, espeakRate), piece.name);
        if (texts.toneAfter.contains(piece.name)) {
            const std::vector<int16_t> beep = Beep();
            samples.insert(samples.end(), beep.begin(), beep.end());
            samples.resize(samples.size() + size_t(Rate * TailMs / 1000), 0);
        }
        QString error;
        voice::WaveWriter writer;
        if (!writer.open(folder.filePath(piece.name + QStringLiteral(".wav")), 17, &error))
            Fail(error);
        writer.write(samples.data(), samples.size());
        writer.close();
    }
    espeak_Terminate();
    return 0;
}
