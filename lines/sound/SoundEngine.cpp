#include "lines/sound/SoundEngine.h"
#include "shell/base/modPathModify.h"

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

namespace {

// The sound folder as an absolute folder name, so that the path rules apply even when the program was
// given a relative data folder.
QString absoluteFolder(const QString& folder) {
    return QDir(folder).absolutePath() + QLatin1Char('/');
}

} // namespace

QString SoundEngine::SoundFullPath(const QString& name) const {
    if (name.isEmpty())
        return name;
    return PathComplete(name, absoluteFolder(DefaultSoundPath));
}

QString SoundEngine::SoundRelativePath(const QString& name) const {
    if (name.isEmpty())
        return name;
    return PathRelative(SoundFullPath(name), absoluteFolder(DefaultSoundPath));
}
