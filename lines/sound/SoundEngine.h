#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <atomic>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

class FdSndLibrary;
class Logs;
class ProfileStore;

// One entry of a list the configuration window fills: the text shown and the number kept.
struct SoundListEntry {
    QString text;
    int32_t data = 0;
};

// What the progress of playing or recording shows: the bar (0 to 100), the size and the position.
struct SoundProgressView {
    int bar = 0;
    QString size;
    QString position;
};

// The program's front to the sound card and its sound files: the settings of section Sound, the table of
// wave formats, the path rules of the sound and prompt folders, local playing and recording through the
// sound library, volumes and device lists.
class SoundEngine {
public:
    SoundEngine(const QString& programDir, FdSndLibrary& library);

    // Settings of section Sound.
    QString DefaultSoundPath;
    QString FreizeichenPath = QStringLiteral("frei.wav");
    QString BesetztPath = QStringLiteral("besetzt.wav");
    int16_t FormatRecording = 3;
    int32_t InDevice = -1;
    int32_t OutDevice = -1;
    // Beside each device number the device's stable name, so that it is found again when the numbering
    // of the devices changed (a replug, a reboot); empty for the default device.
    QString InDeviceName;
    QString OutDeviceName;

    // The start: reads section Sound, makes the sound and prompt folders, starts the library on the
    // chosen devices (a stored device that is gone falls back to the default, with a line in error.log).
    // False only when the library itself cannot start; the reason is in debug.txt.
    bool SoundInit(ProfileStore& profiles, const QString& iniPath, Logs& logs);
    // The stop: the library ends and section Sound is written.
    void SoundExit(ProfileStore& profiles, const QString& iniPath, Logs& logs);

    int32_t SoundPlayOnce(const QString& file);
    int32_t SoundPlayLoop(const QString& file, int count);
    void SoundPlayStop();
    int32_t SoundRecord(const QString& file);
    void SoundRecordStop();

    static QString SoundFormatText(int number);
    QString SoundFileFormatText(const QString& file) const;
    double SoundFileSeconds(const QString& file) const;

    QString SoundFullPath(const QString& name) const;
    QString PromptFullPath(const QString& name) const;
    QString SoundRelativePath(const QString& name) const;
    bool SoundFileExists(const QString& name) const;
    QString SoundUniqueName(const QString& prefix, bool useDate) const;
    QString promptPath() const { return m_promptPath; }
    // The sound folder in full, with a closing "/": the folder sound names are relative to.
    QString soundFolder() const;

    // The volume of the program's own playing, and the recording level; 0 to 65535.
    int32_t SoundGetVolume() const;
    void SoundSetVolume(int32_t value);
    int32_t GetInVolume() const;
    void SetInVolume(int32_t value);

    // The lists of the configuration window: the two recording formats, and the devices with the
    // default device (-1) first.
    static std::vector<SoundListEntry> SoundFillFormats();
    std::vector<SoundListEntry> SoundFillOutDevices() const;
    std::vector<SoundListEntry> SoundFillInDevices() const;

    // The progress of what plays or records now, as the play window shows it.
    SoundProgressView SoundProgress() const;

    // Whether sound reaches a sound server now, and a function called on the main thread's behalf when
    // that changes (it may be called on the library's thread: the receiver queues it).
    bool soundAvailable() const;
    void setAvailabilityWatcher(std::function<void(bool)> watcher);

    // The tones that ship (ring, ringback, busy) into the sound folder, each only where the folder has no
    // file of that name: a file the user put there is never replaced. The folder is made when missing.
    // Gives the names put there; a tone that cannot be written is named in `failed`.
    QStringList InstallShippedSounds(QStringList* failed = nullptr) const;

    // What plays now: the full path and the loop count; empty when nothing plays.
    QString playingFile() const { return m_playingFile; }
    int playingLoops() const { return m_playingLoops; }

    // Called after each operation with its name ("play", "stop", "record", "record stop") and file.
    std::function<void(const QString& operation, const QString& file)> observer;

    // The clock of recording names; the system's local time unless a test sets it.
    std::function<QDateTime()> now;

private:
    FdSndLibrary& m_library;
    QString m_promptPath;
    QString m_playingFile;
    int m_playingLoops = 0;
    // Written by the library's thread, read by the main thread's timer.
    std::atomic<int32_t> m_progressPosition{0};
    std::atomic<int32_t> m_progressTotal{0};
};
