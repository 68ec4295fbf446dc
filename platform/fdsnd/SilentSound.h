#pragma once

// A sound library without a sound card: nothing plays or records, the volumes are kept, and the file
// operations work. For a program that runs where sound is not wanted, and for tests.

#include "platform/fdsnd/FdSndLibrary.h"

class SilentSound : public FdSndLibrary {
public:
    int32_t fdsnd_Init() override { return 0; }
    int32_t fdsnd_Exit() override { return 0; }
    int32_t fdsnd_WaveOutInit(const FdSndConfig&) override { return 0; }
    int32_t fdsnd_WaveInInit(const FdSndConfig&) override { return 0; }
    int32_t fdsnd_WaveOutExit() override { return 0; }
    int32_t fdsnd_WaveInExit() override { return 0; }
    int32_t fdsnd_WaveOutLoopStart(const QString&, int32_t) override { return -1; }
    int32_t fdsnd_WaveOutStop() override { return 0; }
    int32_t fdsnd_WaveInStart(const QString&, int32_t) override { return -1; }
    int32_t fdsnd_WaveInStop() override { return 0; }
    int32_t fdsnd_GetOutVolume() const override { return m_outVolume; }
    int32_t fdsnd_SetOutVolume(int32_t value) override {
        m_outVolume = value;
        return 0;
    }
    int32_t fdsnd_GetInVolume() const override { return m_inVolume; }
    int32_t fdsnd_SetInVolume(int32_t value) override {
        m_inVolume = value;
        return 0;
    }
    bool serverAvailable() const override { return false; }
    void setServerWatcher(std::function<void(bool)>) override {}
    std::vector<FdSndDevice> outDevices() const override { return {}; }
    std::vector<FdSndDevice> inDevices() const override { return {}; }
    QString defaultOutDescription() const override { return {}; }
    QString defaultInDescription() const override { return {}; }
    std::shared_ptr<voice::AudioDevice> voiceDevice() override { return nullptr; }

private:
    int32_t m_outVolume = 65535;
    int32_t m_inVolume = 65535;
};
