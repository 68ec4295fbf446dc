#pragma once

// What the play and record window and the volume pop-up need of the sound card, as narrow interfaces:
// the windows never hold the sound engine, and their tests hand them a fake. SoundEngineControls gives
// both over the program's SoundEngine; the owner of the windows (ProgramWindows) keeps one.

#include "lines/sound/SoundEngine.h"

#include <QString>

#include <cstdint>

// Playing and recording one file, its format and length, and the progress of what runs.
class PlayRecordSound {
public:
    virtual ~PlayRecordSound() = default;
    // Plays `file` `count` times, 0 without end.
    virtual int32_t SoundPlayLoop(const QString& file, int count) = 0;
    virtual void SoundPlayStop() = 0;
    virtual int32_t SoundRecord(const QString& file) = 0;
    virtual void SoundRecordStop() = 0;
    virtual bool SoundFileExists(const QString& file) const = 0;
    // The file's wave format as text, and its length in seconds: empty and 0 when it can't be read.
    virtual QString SoundFileFormatText(const QString& file) const = 0;
    virtual double SoundFileSeconds(const QString& file) const = 0;
    virtual SoundProgressView SoundProgress() const = 0;
};

// The volume of the program's own playing and the recording level, 0 to 65535.
class VolumeSound {
public:
    virtual ~VolumeSound() = default;
    virtual int32_t SoundGetVolume() const = 0;
    virtual void SoundSetVolume(int32_t value) = 0;
    virtual int32_t GetInVolume() const = 0;
    virtual void SetInVolume(int32_t value) = 0;
};

// Both interfaces over a SoundEngine, which must outlive it.
class SoundEngineControls final : public PlayRecordSound, public VolumeSound {
public:
    explicit SoundEngineControls(SoundEngine& engine) : m_engine(engine) {}

    int32_t SoundPlayLoop(const QString& file, int count) override {
        return m_engine.SoundPlayLoop(file, count);
    }
    void SoundPlayStop() override { m_engine.SoundPlayStop(); }
    int32_t SoundRecord(const QString& file) override { return m_engine.SoundRecord(file); }
    void SoundRecordStop() override { m_engine.SoundRecordStop(); }
    bool SoundFileExists(const QString& file) const override { return m_engine.SoundFileExists(file); }
    QString SoundFileFormatText(const QString& file) const override {
        return m_engine.SoundFileFormatText(file);
    }
    double SoundFileSeconds(const QString& file) const override { return m_engine.SoundFileSeconds(file); }
    SoundProgressView SoundProgress() const override { return m_engine.SoundProgress(); }

    int32_t SoundGetVolume() const override { return m_engine.SoundGetVolume(); }
    void SoundSetVolume(int32_t value) override { m_engine.SoundSetVolume(value); }
    int32_t GetInVolume() const override { return m_engine.GetInVolume(); }
    void SetInVolume(int32_t value) override { m_engine.SetInVolume(value); }

private:
    SoundEngine& m_engine;
};
