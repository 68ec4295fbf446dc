#pragma once

// The sound library as the program sees it: wave files played and looped on the loudspeaker, recordings
// from the microphone, a wave file's format, files joined, the volume of the program's own streams and the
// recording level, the sound devices, and the sound card's side of the line's voice path. Results are
// 0 or more for success and negative for a failure, as the program's sound engine expects them.
//
// Devices are named by the sound server's stable names (a PulseAudio sink or source name), which survive
// a reboot or a replug; an empty name is the desktop's default device.

#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace voice {
class AudioDevice;
}

// What the library reports while it plays or records, on its own thread.
struct FdSndEvent {
    enum Type : int32_t { Playing = 0, Recording = 1, Message = 2 };
    int32_t type = Playing;
    int32_t bytesBefore = 0; // Playing: bytes of the file still ahead of the position in this round
    int32_t position = 0;    // Playing: bytes played in this round
    int32_t size = 0;        // Recording: bytes of sound recorded so far
    QString text;            // Message
};

using FdSndCallback = std::function<void(const FdSndEvent&)>;

// The block given to fdsnd_WaveOutInit and fdsnd_WaveInInit.
struct FdSndConfig {
    int32_t buffers = 10;
    int32_t bufferBytes = 2048;
    FdSndCallback callback;
    QString device; // the stable name of the device; empty: the desktop's default
};

// A wave file's header, as fdsnd_GetWaveFormat reads it.
struct FdSndWaveInfo {
    int32_t samplesPerSecond = 0;
    int32_t bytesPerBlock = 0; // bytes of one sample of all channels
    QString formatText;        // e.g. "PCM 8,000 kHz; 16 Bit; Mono"
    int32_t dataLength = 0;    // bytes of sound data
};

struct FdSndDevice {
    QString name;        // stable name
    QString description; // what the user is shown
};

class FdSndLibrary {
public:
    virtual ~FdSndLibrary() = default;

    virtual int32_t fdsnd_Init() = 0;
    virtual int32_t fdsnd_Exit() = 0;
    virtual int32_t fdsnd_WaveOutInit(const FdSndConfig& config) = 0;
    virtual int32_t fdsnd_WaveInInit(const FdSndConfig& config) = 0;
    virtual int32_t fdsnd_WaveOutExit() = 0;
    virtual int32_t fdsnd_WaveInExit() = 0;

    int32_t fdsnd_WaveOutStart(const QString& path) { return fdsnd_WaveOutLoopStart(path, 1); }
    // Plays the file `count` times; 0 plays it once.
    virtual int32_t fdsnd_WaveOutLoopStart(const QString& path, int32_t count) = 0;
    virtual int32_t fdsnd_WaveOutStop() = 0;
    // Records the microphone into a new file of a wave format number.
    virtual int32_t fdsnd_WaveInStart(const QString& path, int32_t formatNumber) = 0;
    virtual int32_t fdsnd_WaveInStop() = 0;

    // File operations; they need no sound server.
    static int32_t fdsnd_GetWaveFormat(FdSndWaveInfo& info, const QString& path);
    // Appends the sound of `piece` to `target`; a missing target becomes a copy of the piece. Both must
    // have the same rate and channels.
    static int32_t fdsnd_AddToFile(const QString& target, const QString& piece);

    // Volumes 0 to 65535: the program's own playing streams, and the level of its recordings.
    virtual int32_t fdsnd_GetOutVolume() const = 0;
    virtual int32_t fdsnd_SetOutVolume(int32_t value) = 0;
    virtual int32_t fdsnd_GetInVolume() const = 0;
    virtual int32_t fdsnd_SetInVolume(int32_t value) = 0;

    // Whether a sound server is reached now, and a function called (on any thread) when that changes.
    virtual bool serverAvailable() const = 0;
    virtual void setServerWatcher(std::function<void(bool available)> watcher) = 0;

    // The devices the server has now; the default device's description (empty without a server).
    virtual std::vector<FdSndDevice> outDevices() const = 0;
    virtual std::vector<FdSndDevice> inDevices() const = 0;
    virtual QString defaultOutDescription() const = 0;
    virtual QString defaultInDescription() const = 0;

    // The sound card's side of the line's voice path, on the devices of fdsnd_WaveOutInit and
    // fdsnd_WaveInInit; null when the library has no sound card at all.
    virtual std::shared_ptr<voice::AudioDevice> voiceDevice() = 0;
};
