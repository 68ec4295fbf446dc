#include "platform/fdsnd/PulseSound.h"

#include "platform/voice/AudioDevice.h"
#include "platform/voice/WaveFiles.h"

#include <QFile>

#include <pulse/pulseaudio.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace {

constexpr int VoiceRate = 8000;
constexpr int RetryMs = 500;
constexpr int FileBufferMs = 200;

// The loop's lock for one scope; nothing to do on the loop's own thread, which holds it already.
class LoopLock {
public:
    explicit LoopLock(pa_threaded_mainloop* loop)
        : m_loop(loop && !pa_threaded_mainloop_in_thread(loop) ? loop : nullptr) {
        if (m_loop)
            pa_threaded_mainloop_lock(m_loop);
    }
    ~LoopLock() {
        if (m_loop)
            pa_threaded_mainloop_unlock(m_loop);
    }
    LoopLock(const LoopLock&) = delete;
    LoopLock& operator=(const LoopLock&) = delete;

private:
    pa_threaded_mainloop* m_loop;
};

pa_volume_t serverVolume(int32_t value) {
    return pa_sw_volume_from_linear(std::clamp(value, 0, 65535) / 65535.0);
}

void dropOperation(pa_operation* operation) {
    if (operation)
        pa_operation_unref(operation);
}

// Closes a stream without any more of its callbacks.
void closeStream(pa_stream*& stream) {
    if (!stream)
        return;
    pa_stream_set_state_callback(stream, nullptr, nullptr);
    pa_stream_set_write_callback(stream, nullptr, nullptr);
    pa_stream_set_read_callback(stream, nullptr, nullptr);
    if (pa_stream_get_state(stream) == PA_STREAM_READY || pa_stream_get_state(stream) == PA_STREAM_CREATING)
        pa_stream_disconnect(stream);
    pa_stream_unref(stream);
    stream = nullptr;
}

pa_proplist* streamProperties(const char* role) {
    pa_proplist* properties = pa_proplist_new();
    if (role)
        pa_proplist_sets(properties, PA_PROP_MEDIA_ROLE, role);
    return properties;
}

} // namespace

// The sound card's side of the line's voice: a FIFO each way between the line's clock and the card's.
// The line pushes and pops on its own thread; the server's streams pop and push on the loop's thread.
class PulseVoice final : public voice::AudioDevice {
public:
    PulseVoice(std::shared_ptr<PulseSound::Core> core, const PulseVoiceBuffers& buffers)
        : m_core(std::move(core)), m_toSpeaker(size_t(buffers.speakerTarget), size_t(buffers.fifoLimit)),
          m_fromMicrophone(size_t(buffers.microphoneTarget), size_t(buffers.fifoLimit)) {}

    void startPlayback() override;
    void stopPlayback() override;
    void play(const int16_t* samples, size_t count) override { m_toSpeaker.push(samples, count); }
    void startCapture() override;
    void stopCapture() override;
    void capture(int16_t* out, size_t count) override { m_fromMicrophone.pop(out, count); }

    voice::JitterBuffer& toSpeaker() { return m_toSpeaker; }
    voice::JitterBuffer& fromMicrophone() { return m_fromMicrophone; }

private:
    std::shared_ptr<PulseSound::Core> m_core;
    voice::JitterBuffer m_toSpeaker;
    voice::JitterBuffer m_fromMicrophone;
};

struct PulseSound::Core {
    QString applicationName;
    PulseVoiceBuffers buffers;
    pa_threaded_mainloop* loop = nullptr;
    pa_context* context = nullptr;
    pa_time_event* retry = nullptr;
    bool exiting = false;
    bool firstAnswer = false;

    // Read from any thread.
    std::atomic<bool> ready{false};
    std::atomic<int32_t> outVolume{65535};
    std::atomic<int32_t> inVolume{65535};

    // Under `listMutex`: what the server has, for any thread.
    mutable std::mutex listMutex;
    std::vector<FdSndDevice> sinks;
    std::vector<FdSndDevice> sources;
    QString defaultSink;
    QString defaultSource;
    std::function<void(bool)> watcher;

    // The rest under the loop's lock.
    QString outDevice;
    QString inDevice;
    FdSndCallback outCallback;
    FdSndCallback inCallback;
    // The lists being asked for; a newer question makes the answers to an older one count for nothing.
    // The records the answers find the core by live as long as the connection that may still answer.
    struct ListAnswer {
        Core* core;
        uint64_t question;
    };
    uint64_t listQuestion = 0;
    int listsPending = 0;
    bool devicesKnown = false; // both lists have come since the connection
    std::deque<ListAnswer> listAnswers;
    // One device of a list the server gives, or the list's end.
    template <class Info, std::vector<FdSndDevice> Core::*Pending, std::vector<FdSndDevice> Core::*Kept>
    static void takeDevice(pa_context*, const Info* info, int eol, void* data);
    std::vector<FdSndDevice> pendingSinks;
    std::vector<FdSndDevice> pendingSources;

    // A file played on the loudspeaker.
    pa_stream* player = nullptr;
    voice::NativeWaveReader reader;
    int roundsLeft = 0;
    int64_t roundBytes = 0;
    int64_t fileBytes = 0;
    bool draining = false;
    std::vector<int16_t> playBuffer;

    // A recording from the microphone.
    pa_stream* recorder = nullptr;
    voice::NativeWaveWriter writer;

    // The line's voice.
    std::weak_ptr<PulseVoice> voice;
    bool speakerWanted = false;
    bool microphoneWanted = false;
    pa_stream* speaker = nullptr;
    pa_stream* microphone = nullptr;
    std::vector<int16_t> voiceBuffer;

    // --- the server connection
    void connect();
    void scheduleRetry();
    void onContextState();
    void onReady();
    void onLost();
    void onDevicesKnown();
    void refreshDevices();
    void notify(bool available);

    // --- devices
    // The name to open for a device of the list (under `listMutex`); empty, the default device, for a name
    // the server does not have.
    QByteArray knownDevice(const std::vector<FdSndDevice>& devices, const QString& name) const;

    // --- streams
    void stopPlayer();
    void fillPlayer(size_t bytes);
    void stopRecorder();
    void takeRecording();
    void openSpeaker();
    void openMicrophone();
    void fillSpeaker(size_t bytes);
    void takeMicrophone();
    // The program's volume for its own stream: the output volume for playing, the level for recording.
    void applyVolume(pa_stream* stream) const;
    void applyVolumeWhenReady(pa_stream* stream);
    void report(const FdSndCallback& callback, const FdSndEvent& event) const {
        if (callback)
            callback(event);
    }
};

// --- the server connection ---------------------------------------------------------------------------

void PulseSound::Core::connect() {
    if (exiting)
        return;
    if (context) {
        pa_context_set_state_callback(context, nullptr, nullptr);
        pa_context_set_subscribe_callback(context, nullptr, nullptr);
        pa_context_disconnect(context);
        pa_context_unref(context);
        context = nullptr;
    }
    listAnswers.clear();
    pa_proplist* properties = pa_proplist_new();
    pa_proplist_sets(properties, PA_PROP_APPLICATION_NAME, applicationName.toUtf8().constData());
    pa_proplist_sets(properties, PA_PROP_APPLICATION_ICON_NAME, "morva");
    context = pa_context_new_with_proplist(pa_threaded_mainloop_get_api(loop), nullptr, properties);
    pa_proplist_free(properties);
    if (!context) {
        scheduleRetry();
        return;
    }
    pa_context_set_state_callback(
        context, [](pa_context*, void* self) { static_cast<Core*>(self)->onContextState(); }, this);
    if (pa_context_connect(context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
        onContextState();
}

void PulseSound::Core::scheduleRetry() {
    if (exiting || retry)
        return;
    timeval when{};
    pa_gettimeofday(&when);
    pa_timeval_add(&when, pa_usec_t(RetryMs) * PA_USEC_PER_MSEC);
    pa_mainloop_api* api = pa_threaded_mainloop_get_api(loop);
    retry = api->time_new(
        api, &when,
        [](pa_mainloop_api* a, pa_time_event* event, const timeval*, void* self) {
            auto* core = static_cast<Core*>(self);
            a->time_free(event);
            core->retry = nullptr;
            core->connect();
        },
        this);
}

void PulseSound::Core::onContextState() {
    switch (pa_context_get_state(context)) {
    case PA_CONTEXT_READY:
        onReady();
        break;
    case PA_CONTEXT_FAILED:
    case PA_CONTEXT_TERMINATED:
        onLost();
        break;
    default:
        return;
    }
    firstAnswer = true;
    pa_threaded_mainloop_signal(loop, 0);
}

void PulseSound::Core::onReady() {
    pa_context_set_subscribe_callback(
        context,
        [](pa_context*, pa_subscription_event_type_t, uint32_t, void* self) {
            static_cast<Core*>(self)->refreshDevices();
        },
        this);
    dropOperation(
        pa_context_subscribe(context,
                             pa_subscription_mask_t(PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SOURCE |
                                                    PA_SUBSCRIPTION_MASK_SERVER),
                             nullptr, nullptr));
    refreshDevices();
    ready = true;
    notify(true);
}

// The streams the line wants are opened once the devices are known, so that they go to the chosen ones.
void PulseSound::Core::onDevicesKnown() {
    if (!devicesKnown) {
        devicesKnown = true;
        if (speakerWanted)
            openSpeaker();
        if (microphoneWanted)
            openMicrophone();
    }
    pa_threaded_mainloop_signal(loop, 0);
}

void PulseSound::Core::onLost() {
    const bool was = ready.exchange(false);
    devicesKnown = false;
    // What played or recorded ends with the server; the recording keeps what it had.
    stopPlayer();
    stopRecorder();
    closeStream(speaker);
    closeStream(microphone);
    {
        const std::lock_guard lock(listMutex);
        sinks.clear();
        sources.clear();
        defaultSink.clear();
        defaultSource.clear();
    }
    if (was)
        notify(false);
    scheduleRetry();
}

void PulseSound::Core::notify(bool available) {
    std::function<void(bool)> call;
    {
        const std::lock_guard lock(listMutex);
        call = watcher;
    }
    if (call)
        call(available);
}

namespace {

bool isDevice(const pa_sink_info*) {
    return true;
}

// A sink's monitor is no microphone.
bool isDevice(const pa_source_info* info) {
    return info->monitor_of_sink == PA_INVALID_INDEX;
}

} // namespace

template <class Info, std::vector<FdSndDevice> PulseSound::Core::*Pending,
          std::vector<FdSndDevice> PulseSound::Core::*Kept>
void PulseSound::Core::takeDevice(pa_context*, const Info* info, int eol, void* data) {
    auto* answer = static_cast<ListAnswer*>(data);
    Core* core = answer->core;
    if (answer->question != core->listQuestion)
        return;
    if (eol > 0) {
        {
            const std::lock_guard lock(core->listMutex);
            core->*Kept = core->*Pending;
        }
        if (--core->listsPending == 0)
            core->onDevicesKnown();
    } else if (eol == 0 && info && isDevice(info)) {
        (core->*Pending).push_back({QString::fromUtf8(info->name), QString::fromUtf8(info->description)});
    }
}

// The server's devices, asked anew on every change: the lists are short and change seldom.
void PulseSound::Core::refreshDevices() {
    if (!context || pa_context_get_state(context) != PA_CONTEXT_READY)
        return;
    ++listQuestion;
    listsPending = 2;
    pendingSinks.clear();
    pendingSources.clear();
    ListAnswer* question = &listAnswers.emplace_back(ListAnswer{this, listQuestion});
    dropOperation(pa_context_get_sink_info_list(
        context, &Core::takeDevice<pa_sink_info, &Core::pendingSinks, &Core::sinks>, question));
    dropOperation(pa_context_get_source_info_list(
        context, &Core::takeDevice<pa_source_info, &Core::pendingSources, &Core::sources>, question));
    dropOperation(pa_context_get_server_info(
        context,
        [](pa_context*, const pa_server_info* info, void* self) {
            auto* core = static_cast<Core*>(self);
            if (!info)
                return;
            const std::lock_guard lock(core->listMutex);
            core->defaultSink = QString::fromUtf8(info->default_sink_name);
            core->defaultSource = QString::fromUtf8(info->default_source_name);
        },
        this));
}

QByteArray PulseSound::Core::knownDevice(const std::vector<FdSndDevice>& devices, const QString& name) const {
    const std::lock_guard lock(listMutex);
    const bool known =
        std::any_of(devices.begin(), devices.end(), [&](const FdSndDevice& d) { return d.name == name; });
    return known ? name.toUtf8() : QByteArray();
}

void PulseSound::Core::applyVolume(pa_stream* stream) const {
    if (!stream || pa_stream_get_state(stream) != PA_STREAM_READY)
        return;
    const bool recording = stream == recorder || stream == microphone;
    pa_cvolume volume;
    pa_cvolume_set(&volume, pa_stream_get_sample_spec(stream)->channels,
                   serverVolume(recording ? inVolume : outVolume));
    const uint32_t index = pa_stream_get_index(stream);
    dropOperation(recording ? pa_context_set_source_output_volume(context, index, &volume, nullptr, nullptr)
                            : pa_context_set_sink_input_volume(context, index, &volume, nullptr, nullptr));
}

void PulseSound::Core::applyVolumeWhenReady(pa_stream* stream) {
    pa_stream_set_state_callback(
        stream,
        [](pa_stream* ready, void* self) {
            if (pa_stream_get_state(ready) == PA_STREAM_READY)
                static_cast<Core*>(self)->applyVolume(ready);
        },
        this);
}

// --- a file on the loudspeaker ---------------------------------------------------------------------------

void PulseSound::Core::stopPlayer() {
    closeStream(player);
    reader.close();
    draining = false;
}

void PulseSound::Core::fillPlayer(size_t bytes) {
    if (draining || !reader.isOpen())
        return;
    const size_t frameBytes = sizeof(int16_t) * size_t(reader.channels());
    const size_t frames = bytes / frameBytes;
    playBuffer.resize(frames * size_t(reader.channels()));
    size_t done = 0;
    while (done < frames) {
        const size_t got = reader.read(playBuffer.data() + done * size_t(reader.channels()), frames - done);
        done += got;
        roundBytes += int64_t(got * frameBytes);
        if (got > 0)
            continue;
        // The end of one round: the next from the start, or the end of playing.
        if (--roundsLeft > 0) {
            reader.rewind();
            roundBytes = 0;
            continue;
        }
        break;
    }
    if (done > 0)
        pa_stream_write(player, playBuffer.data(), done * frameBytes, nullptr, 0, PA_SEEK_RELATIVE);
    FdSndEvent event;
    event.type = FdSndEvent::Playing;
    event.position = int32_t(std::min<int64_t>(roundBytes, fileBytes));
    event.bytesBefore = int32_t(fileBytes - event.position);
    report(outCallback, event);
    if (done < frames) {
        draining = true;
        dropOperation(pa_stream_drain(
            player,
            [](pa_stream* stream, int, void* self) {
                auto* core = static_cast<Core*>(self);
                if (stream == core->player)
                    core->stopPlayer();
            },
            this));
    }
}

// --- a recording from the microphone ---------------------------------------------------------------------

void PulseSound::Core::stopRecorder() {
    closeStream(recorder);
    writer.close();
}

void PulseSound::Core::takeRecording() {
    const void* data = nullptr;
    size_t bytes = 0;
    while (recorder && pa_stream_readable_size(recorder) > 0 &&
           pa_stream_peek(recorder, &data, &bytes) == 0 && bytes > 0) {
        const size_t frameBytes = sizeof(int16_t) * size_t(writer.channels());
        if (data) {
            writer.write(static_cast<const int16_t*>(data), bytes / frameBytes);
        } else {
            // A hole in the stream (the server lost samples): silence of its length.
            const std::vector<int16_t> silence(bytes / sizeof(int16_t), 0);
            writer.write(silence.data(), bytes / frameBytes);
        }
        pa_stream_drop(recorder);
    }
    FdSndEvent event;
    event.type = FdSndEvent::Recording;
    event.size = int32_t(std::min<int64_t>(writer.dataBytes(), INT32_MAX));
    report(inCallback, event);
}

// --- the line's voice ------------------------------------------------------------------------------------

void PulseSound::Core::openSpeaker() {
    closeStream(speaker);
    if (!context || pa_context_get_state(context) != PA_CONTEXT_READY)
        return;
    const pa_sample_spec spec{PA_SAMPLE_S16LE, VoiceRate, 1};
    pa_proplist* properties = streamProperties("phone");
    speaker = pa_stream_new_with_proplist(context, "Call", &spec, nullptr, properties);
    pa_proplist_free(properties);
    if (!speaker)
        return;
    pa_stream_set_write_callback(
        speaker, [](pa_stream*, size_t bytes, void* self) { static_cast<Core*>(self)->fillSpeaker(bytes); },
        this);
    applyVolumeWhenReady(speaker);
    // With the latency adjusted to the stream, the server gives the device what the target length leaves
    // beyond two requests: a request of half the length would leave it nothing, and the device would run
    // at its smallest latency, waking every half millisecond.
    const uint32_t serverBytes = uint32_t(buffers.speakerMs * VoiceRate / 1000) * sizeof(int16_t);
    pa_buffer_attr attributes{};
    attributes.maxlength = uint32_t(-1);
    attributes.tlength = serverBytes;
    attributes.prebuf = uint32_t(-1);
    attributes.minreq = uint32_t(buffers.requestMs * VoiceRate / 1000) * sizeof(int16_t);
    attributes.fragsize = uint32_t(-1);
    pa_cvolume volume;
    pa_cvolume_set(&volume, 1, serverVolume(outVolume));
    const QByteArray device = knownDevice(sinks, outDevice);
    pa_stream_connect_playback(speaker, device.isEmpty() ? nullptr : device.constData(), &attributes,
                               PA_STREAM_ADJUST_LATENCY, &volume, nullptr);
}

void PulseSound::Core::fillSpeaker(size_t bytes) {
    const std::shared_ptr<PulseVoice> line = voice.lock();
    voiceBuffer.resize(bytes / sizeof(int16_t));
    if (line)
        line->toSpeaker().pop(voiceBuffer.data(), voiceBuffer.size());
    else
        std::fill(voiceBuffer.begin(), voiceBuffer.end(), int16_t(0));
    pa_stream_write(speaker, voiceBuffer.data(), voiceBuffer.size() * sizeof(int16_t), nullptr, 0,
                    PA_SEEK_RELATIVE);
}

void PulseSound::Core::openMicrophone() {
    closeStream(microphone);
    if (!context || pa_context_get_state(context) != PA_CONTEXT_READY)
        return;
    const pa_sample_spec spec{PA_SAMPLE_S16LE, VoiceRate, 1};
    pa_proplist* properties = streamProperties("phone");
    microphone = pa_stream_new_with_proplist(context, "Call", &spec, nullptr, properties);
    pa_proplist_free(properties);
    if (!microphone)
        return;
    pa_stream_set_read_callback(
        microphone, [](pa_stream*, size_t, void* self) { static_cast<Core*>(self)->takeMicrophone(); }, this);
    applyVolumeWhenReady(microphone);
    pa_buffer_attr attributes{};
    attributes.maxlength = uint32_t(-1);
    attributes.fragsize = uint32_t(buffers.microphoneMs * VoiceRate / 1000) * sizeof(int16_t);
    const QByteArray device = knownDevice(sources, inDevice);
    pa_stream_connect_record(microphone, device.isEmpty() ? nullptr : device.constData(), &attributes,
                             PA_STREAM_ADJUST_LATENCY);
}

void PulseSound::Core::takeMicrophone() {
    const std::shared_ptr<PulseVoice> line = voice.lock();
    const void* data = nullptr;
    size_t bytes = 0;
    while (microphone && pa_stream_readable_size(microphone) > 0 &&
           pa_stream_peek(microphone, &data, &bytes) == 0 && bytes > 0) {
        const size_t count = bytes / sizeof(int16_t);
        if (line) {
            if (data) {
                line->fromMicrophone().push(static_cast<const int16_t*>(data), count);
            } else {
                voiceBuffer.assign(count, 0);
                line->fromMicrophone().push(voiceBuffer.data(), count);
            }
        }
        pa_stream_drop(microphone);
    }
}

void PulseVoice::startPlayback() {
    // What an earlier call left in the FIFO is not this call's voice.
    std::vector<int16_t> stale(m_toSpeaker.depth());
    m_toSpeaker.pop(stale.data(), stale.size());
    const LoopLock lock(m_core->loop);
    if (!m_core->loop || m_core->exiting)
        return;
    m_core->speakerWanted = true;
    m_core->openSpeaker();
}

void PulseVoice::stopPlayback() {
    const LoopLock lock(m_core->loop);
    m_core->speakerWanted = false;
    closeStream(m_core->speaker);
}

void PulseVoice::startCapture() {
    std::vector<int16_t> stale(m_fromMicrophone.depth());
    m_fromMicrophone.pop(stale.data(), stale.size());
    const LoopLock lock(m_core->loop);
    if (!m_core->loop || m_core->exiting)
        return;
    m_core->microphoneWanted = true;
    m_core->openMicrophone();
}

void PulseVoice::stopCapture() {
    const LoopLock lock(m_core->loop);
    m_core->microphoneWanted = false;
    closeStream(m_core->microphone);
}

// --- the library -----------------------------------------------------------------------------------------

PulseSound::PulseSound(const QString& applicationName, PulseVoiceBuffers buffers)
    : m_core(std::make_shared<Core>()) {
    m_core->applicationName = applicationName;
    m_core->buffers = buffers;
}

PulseSound::~PulseSound() {
    fdsnd_Exit();
}

int32_t PulseSound::fdsnd_Init() {
    Core& c = *m_core;
    if (c.loop)
        return 0;
    c.exiting = false;
    c.firstAnswer = false;
    c.loop = pa_threaded_mainloop_new();
    if (!c.loop)
        return -1;
    pa_threaded_mainloop_set_name(c.loop, "morva-sound");
    if (pa_threaded_mainloop_start(c.loop) < 0) {
        pa_threaded_mainloop_free(c.loop);
        c.loop = nullptr;
        return -2;
    }
    pa_threaded_mainloop_lock(c.loop);
    c.connect();
    // The first answer of the server (or of its absence), and with a server its devices, come within
    // milliseconds; a server that hangs does not hold the start for long.
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    while (!(c.firstAnswer && (!c.ready || c.devicesKnown)) && !c.retry &&
           std::chrono::steady_clock::now() < until) {
        pa_threaded_mainloop_unlock(c.loop);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        pa_threaded_mainloop_lock(c.loop);
    }
    pa_threaded_mainloop_unlock(c.loop);
    return 0;
}

int32_t PulseSound::fdsnd_Exit() {
    Core& c = *m_core;
    if (!c.loop)
        return 0;
    pa_threaded_mainloop_lock(c.loop);
    c.exiting = true;
    c.stopPlayer();
    c.stopRecorder();
    closeStream(c.speaker);
    closeStream(c.microphone);
    if (c.retry) {
        pa_threaded_mainloop_get_api(c.loop)->time_free(c.retry);
        c.retry = nullptr;
    }
    if (c.context) {
        pa_context_set_state_callback(c.context, nullptr, nullptr);
        pa_context_set_subscribe_callback(c.context, nullptr, nullptr);
        pa_context_disconnect(c.context);
        pa_context_unref(c.context);
        c.context = nullptr;
    }
    c.ready = false;
    pa_threaded_mainloop_unlock(c.loop);
    pa_threaded_mainloop_stop(c.loop);
    pa_threaded_mainloop_free(c.loop);
    c.loop = nullptr;
    return 0;
}

int32_t PulseSound::fdsnd_WaveOutInit(const FdSndConfig& config) {
    const LoopLock lock(m_core->loop);
    m_core->outDevice = config.device;
    m_core->outCallback = config.callback;
    return 0;
}

int32_t PulseSound::fdsnd_WaveInInit(const FdSndConfig& config) {
    const LoopLock lock(m_core->loop);
    m_core->inDevice = config.device;
    m_core->inCallback = config.callback;
    return 0;
}

int32_t PulseSound::fdsnd_WaveOutExit() {
    fdsnd_WaveOutStop();
    const LoopLock lock(m_core->loop);
    m_core->outCallback = nullptr;
    return 0;
}

int32_t PulseSound::fdsnd_WaveInExit() {
    fdsnd_WaveInStop();
    const LoopLock lock(m_core->loop);
    m_core->inCallback = nullptr;
    return 0;
}

int32_t PulseSound::fdsnd_WaveOutLoopStart(const QString& path, int32_t count) {
    Core& c = *m_core;
    const LoopLock lock(c.loop);
    c.stopPlayer();
    if (!c.loop || !c.ready)
        return -1;
    if (!c.reader.open(path, nullptr))
        return -2;
    const pa_sample_spec spec{PA_SAMPLE_S16LE, uint32_t(c.reader.rate()), uint8_t(c.reader.channels())};
    if (!pa_sample_spec_valid(&spec)) {
        c.reader.close();
        return -3;
    }
    c.roundsLeft = std::max(count, 1);
    c.roundBytes = 0;
    c.fileBytes = c.reader.frames() * int64_t(pa_frame_size(&spec));
    pa_proplist* properties = streamProperties(nullptr);
    pa_proplist_sets(properties, PA_PROP_MEDIA_FILENAME, QFile::encodeName(path).constData());
    c.player = pa_stream_new_with_proplist(c.context, "Sound", &spec, nullptr, properties);
    pa_proplist_free(properties);
    if (!c.player) {
        c.reader.close();
        return -4;
    }
    pa_stream_set_write_callback(
        c.player, [](pa_stream*, size_t bytes, void* self) { static_cast<Core*>(self)->fillPlayer(bytes); },
        &c);
    pa_buffer_attr attributes{};
    attributes.maxlength = uint32_t(-1);
    attributes.tlength = uint32_t(pa_usec_to_bytes(pa_usec_t(FileBufferMs) * PA_USEC_PER_MSEC, &spec));
    attributes.prebuf = uint32_t(-1);
    attributes.minreq = uint32_t(-1);
    attributes.fragsize = uint32_t(-1);
    pa_cvolume volume;
    pa_cvolume_set(&volume, spec.channels, serverVolume(c.outVolume));
    const QByteArray device = c.knownDevice(c.sinks, c.outDevice);
    if (pa_stream_connect_playback(c.player, device.isEmpty() ? nullptr : device.constData(), &attributes,
                                   PA_STREAM_ADJUST_LATENCY, &volume, nullptr) < 0) {
        c.stopPlayer();
        return -5;
    }
    return 0;
}

int32_t PulseSound::fdsnd_WaveOutStop() {
    const LoopLock lock(m_core->loop);
    m_core->stopPlayer();
    return 0;
}

int32_t PulseSound::fdsnd_WaveInStart(const QString& path, int32_t formatNumber) {
    Core& c = *m_core;
    const LoopLock lock(c.loop);
    c.stopRecorder();
    if (!c.loop || !c.ready)
        return -1;
    if (!c.writer.open(path, formatNumber, nullptr))
        return -2;
    const pa_sample_spec spec{PA_SAMPLE_S16LE, uint32_t(c.writer.rate()), uint8_t(c.writer.channels())};
    pa_proplist* properties = streamProperties("production");
    c.recorder = pa_stream_new_with_proplist(c.context, "Recording", &spec, nullptr, properties);
    pa_proplist_free(properties);
    if (!c.recorder) {
        c.writer.close();
        return -4;
    }
    pa_stream_set_read_callback(
        c.recorder, [](pa_stream*, size_t, void* self) { static_cast<Core*>(self)->takeRecording(); }, &c);
    c.applyVolumeWhenReady(c.recorder);
    pa_buffer_attr attributes{};
    attributes.maxlength = uint32_t(-1);
    attributes.fragsize = uint32_t(pa_usec_to_bytes(50 * PA_USEC_PER_MSEC, &spec));
    const QByteArray device = c.knownDevice(c.sources, c.inDevice);
    if (pa_stream_connect_record(c.recorder, device.isEmpty() ? nullptr : device.constData(), &attributes,
                                 PA_STREAM_ADJUST_LATENCY) < 0) {
        c.stopRecorder();
        return -5;
    }
    return 0;
}

int32_t PulseSound::fdsnd_WaveInStop() {
    const LoopLock lock(m_core->loop);
    m_core->stopRecorder();
    return 0;
}

int32_t PulseSound::fdsnd_GetOutVolume() const {
    return m_core->outVolume;
}

int32_t PulseSound::fdsnd_SetOutVolume(int32_t value) {
    Core& c = *m_core;
    c.outVolume = std::clamp(value, 0, 65535);
    const LoopLock lock(c.loop);
    if (c.ready) {
        c.applyVolume(c.player);
        c.applyVolume(c.speaker);
    }
    return 0;
}

int32_t PulseSound::fdsnd_GetInVolume() const {
    return m_core->inVolume;
}

int32_t PulseSound::fdsnd_SetInVolume(int32_t value) {
    Core& c = *m_core;
    c.inVolume = std::clamp(value, 0, 65535);
    const LoopLock lock(c.loop);
    if (c.ready) {
        c.applyVolume(c.recorder);
        c.applyVolume(c.microphone);
    }
    return 0;
}

bool PulseSound::serverAvailable() const {
    return m_core->ready;
}

void PulseSound::setServerWatcher(std::function<void(bool)> watcher) {
    const std::lock_guard lock(m_core->listMutex);
    m_core->watcher = std::move(watcher);
}

std::vector<FdSndDevice> PulseSound::outDevices() const {
    const std::lock_guard lock(m_core->listMutex);
    return m_core->sinks;
}

std::vector<FdSndDevice> PulseSound::inDevices() const {
    const std::lock_guard lock(m_core->listMutex);
    return m_core->sources;
}

namespace {

QString descriptionOf(const std::vector<FdSndDevice>& devices, const QString& name) {
    const auto found = std::find_if(devices.begin(), devices.end(),
                                    [&](const FdSndDevice& device) { return device.name == name; });
    return found == devices.end() ? QString() : found->description;
}

} // namespace

QString PulseSound::defaultOutDescription() const {
    const std::lock_guard lock(m_core->listMutex);
    return descriptionOf(m_core->sinks, m_core->defaultSink);
}

QString PulseSound::defaultInDescription() const {
    const std::lock_guard lock(m_core->listMutex);
    return descriptionOf(m_core->sources, m_core->defaultSource);
}

std::shared_ptr<voice::AudioDevice> PulseSound::voiceDevice() {
    const LoopLock lock(m_core->loop);
    std::shared_ptr<PulseVoice> device = m_core->voice.lock();
    if (!device) {
        device = std::make_shared<PulseVoice>(m_core, m_core->buffers);
        m_core->voice = device;
    }
    return device;
}

bool PulseSound::playing() const {
    const LoopLock lock(m_core->loop);
    return m_core->player != nullptr;
}

bool PulseSound::recording() const {
    const LoopLock lock(m_core->loop);
    return m_core->recorder != nullptr;
}

std::pair<int64_t, int64_t> PulseSound::voiceServerLatency() const {
    Core& c = *m_core;
    if (!c.loop)
        return {-1, -1};
    const LoopLock lock(c.loop);
    // The streams keep no running timing (it would wake the library's thread ten times a second more):
    // ask the server now and wait for its answer.
    const auto latency = [&c](pa_stream* stream) -> int64_t {
        if (!stream || pa_stream_get_state(stream) != PA_STREAM_READY)
            return -1;
        pa_operation* update = pa_stream_update_timing_info(
            stream,
            [](pa_stream*, int, void* loop) {
                pa_threaded_mainloop_signal(static_cast<pa_threaded_mainloop*>(loop), 0);
            },
            c.loop);
        while (update && pa_operation_get_state(update) == PA_OPERATION_RUNNING)
            pa_threaded_mainloop_wait(c.loop);
        dropOperation(update);
        pa_usec_t usec = 0;
        int negative = 0;
        if (pa_stream_get_latency(stream, &usec, &negative) < 0)
            return -1;
        return negative ? -int64_t(usec) : int64_t(usec);
    };
    return {latency(c.speaker), latency(c.microphone)};
}

std::pair<size_t, size_t> PulseSound::voiceFifoDepths() const {
    const std::shared_ptr<PulseVoice> voice = m_core->voice.lock();
    if (!voice)
        return {0, 0};
    return {voice->toSpeaker().depth(), voice->fromMicrophone().depth()};
}

QString PulseSound::voiceSpeakerDevice() const {
    const LoopLock lock(m_core->loop);
    pa_stream* speaker = m_core->speaker;
    if (!speaker || pa_stream_get_state(speaker) != PA_STREAM_READY)
        return QString();
    return QString::fromUtf8(pa_stream_get_device_name(speaker));
}
