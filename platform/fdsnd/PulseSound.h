#pragma once

// The sound library on the desktop's sound server, through PulseAudio's API (which PipeWire serves as
// well). One thread of PulseAudio's threaded main loop runs everything that talks to the server; the
// program's calls take that loop's lock for the moment they need.
//
// The library does not depend on the server: without one it starts, plays and records nothing (the calls
// fail, as for a missing file), and tries to reach a server every half second. When a server appears or
// comes back, the line's voice streams that are wanted are opened again, so a call gets its sound back
// within a second of the server's return. A named device the server does not have is replaced by the
// server's default device for that stream.

#include "platform/fdsnd/FdSndLibrary.h"

#include <memory>

// Sizes of the line's voice path: the FIFOs in samples at 8 kHz, the server's buffers in ms. Each direction
// has a FIFO between the line's clock and the sound card's; its target is the reserve it keeps after each
// take, against the jitter of the side that fills it: the line's blocks of 20 ms, which a network may bunch,
// towards the loudspeaker, and the server's fragments of 10 ms from the microphone.
struct PulseVoiceBuffers {
    int speakerTarget = 240;    // 30 ms
    int microphoneTarget = 120; // 15 ms
    int fifoLimit = 800;        // 100 ms
    int speakerMs = 20;         // the playback stream's target length in the server
    int requestMs = 5;          // its requests: the device keeps (20 - 2 x 5) / 2 = 5 ms
    int microphoneMs = 10;      // the capture stream's fragments
};

class PulseSound final : public FdSndLibrary {
public:
    // `applicationName` is what the server's mixer shows for the program's streams.
    explicit PulseSound(const QString& applicationName = QStringLiteral("Morva"),
                        PulseVoiceBuffers buffers = {});
    ~PulseSound() override;
    PulseSound(const PulseSound&) = delete;
    PulseSound& operator=(const PulseSound&) = delete;

    // Starts the library's thread and the search for a server; waits at most a second for the first
    // answer, so that the devices are known to the start when a server runs. Negative only when the
    // thread cannot run.
    int32_t fdsnd_Init() override;
    int32_t fdsnd_Exit() override;
    int32_t fdsnd_WaveOutInit(const FdSndConfig& config) override;
    int32_t fdsnd_WaveInInit(const FdSndConfig& config) override;
    int32_t fdsnd_WaveOutExit() override;
    int32_t fdsnd_WaveInExit() override;
    int32_t fdsnd_WaveOutLoopStart(const QString& path, int32_t count) override;
    int32_t fdsnd_WaveOutStop() override;
    int32_t fdsnd_WaveInStart(const QString& path, int32_t formatNumber) override;
    int32_t fdsnd_WaveInStop() override;
    int32_t fdsnd_GetOutVolume() const override;
    int32_t fdsnd_SetOutVolume(int32_t value) override;
    int32_t fdsnd_GetInVolume() const override;
    int32_t fdsnd_SetInVolume(int32_t value) override;
    bool serverAvailable() const override;
    void setServerWatcher(std::function<void(bool available)> watcher) override;
    std::vector<FdSndDevice> outDevices() const override;
    std::vector<FdSndDevice> inDevices() const override;
    QString defaultOutDescription() const override;
    QString defaultInDescription() const override;
    std::shared_ptr<voice::AudioDevice> voiceDevice() override;

    // Whether a file plays or a recording runs now.
    bool playing() const;
    bool recording() const;
    // The server's own latency of the voice streams now, in microseconds (playback, capture); -1 where a
    // stream is not running. For measurements.
    std::pair<int64_t, int64_t> voiceServerLatency() const;
    // The device the line's voice plays on now; empty while it does not play.
    QString voiceSpeakerDevice() const;
    // The samples in the voice FIFOs now (towards the loudspeaker, from the microphone). For measurements.
    std::pair<size_t, size_t> voiceFifoDepths() const;

    struct Core;

private:
    std::shared_ptr<Core> m_core;
};
