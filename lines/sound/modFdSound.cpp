#include "lines/sound/modFdSound.h"

#include <QDir>

SoundEngine::SoundEngine(const QString& programDir)
    : DefaultSoundPath(QDir(programDir).filePath(QStringLiteral("sound")) + QLatin1Char('/')) {}

void SoundEngine::SoundPlayLoop(const QString& file, int count) {
    SoundPlayStop();
    m_playingFile = SoundFullPath(file);
    m_playingLoops = count;
    if (observer)
        observer(QStringLiteral("play"), m_playingFile);
}

void SoundEngine::SoundPlayStop() {
    if (m_playingFile.isEmpty())
        return;
    const QString was = m_playingFile;
    m_playingFile.clear();
    m_playingLoops = 0;
    if (observer)
        observer(QStringLiteral("stop"), was);
}

void SoundEngine::SoundRecordStop() {
    if (observer)
        observer(QStringLiteral("record stop"), QString());
}

QString SoundEngine::SoundFullPath(const QString& name) const {
    if (name.isEmpty() || QDir::isAbsolutePath(name))
        return name;
    return QDir::cleanPath(QDir(DefaultSoundPath).filePath(name));
}

QString SoundEngine::SoundRelativePath(const QString& name) const {
    const QString full = SoundFullPath(name);
    const QString relative = QDir(DefaultSoundPath).relativeFilePath(full);
    return relative.startsWith(QStringLiteral("..")) ? full : relative;
}
