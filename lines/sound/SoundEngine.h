#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>

// The program's front to the sound card: ring and tone files played locally, the sound folder and its
// path rules. Until the sound engine exists, playing is only recorded (what plays, how often), so the
// call path can be followed and tested; nothing reaches a sound card.
class SoundEngine {
public:
    explicit SoundEngine(const QString& programDir);

    // Settings of section Sound.
    QString DefaultSoundPath;
    QString FreizeichenPath = QStringLiteral("frei.wav");
    QString BesetztPath = QStringLiteral("besetzt.wav");
    int16_t FormatRecording = 3;
    int32_t InDevice = -1;
    int32_t OutDevice = -1;

    void SoundPlayOnce(const QString& file) { SoundPlayLoop(file, 1); }
    void SoundPlayLoop(const QString& file, int count);
    void SoundPlayStop();
    void SoundRecordStop();

    // The tones that ship (ring, ringback, busy) into the sound folder, each only where the folder has no
    // file of that name: a file the user put there is never replaced. The folder is made when missing.
    // Gives the names put there; a tone that cannot be written is named in `failed`.
    QStringList InstallShippedSounds(QStringList* failed = nullptr) const;

    // A name that is not absolute, resolved against the sound folder (PathComplete); "../" steps up.
    QString SoundFullPath(const QString& name) const;
    // The name relative to the sound folder (PathRelative): a file outside it gets "../" steps.
    QString SoundRelativePath(const QString& name) const;

    // What plays now: the full path and the loop count; empty when nothing plays.
    QString playingFile() const { return m_playingFile; }
    int playingLoops() const { return m_playingLoops; }

    // Called after each operation with its name ("play", "stop", "record stop") and file.
    std::function<void(const QString& operation, const QString& file)> observer;

private:
    QString m_playingFile;
    int m_playingLoops = 0;
};
