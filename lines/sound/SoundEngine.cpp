#include "lines/sound/SoundEngine.h"
#include "shell/base/modPathModify.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

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

QStringList SoundEngine::InstallShippedSounds(QStringList* failed) const {
    QStringList installed;
    const QDir folder(absoluteFolder(DefaultSoundPath));
    QDir().mkpath(folder.path());
    const QDir shipped(QStringLiteral(":/sounds"));
    for (const QString& name : shipped.entryList(QDir::Files, QDir::Name)) {
        const QString target = folder.filePath(name);
        if (QFileInfo::exists(target))
            continue;
        // Written beside it and renamed, so a start that dies halfway leaves no half file in its place.
        const QString partial = target + QStringLiteral(".part");
        QFile::remove(partial);
        if (QFile::copy(shipped.filePath(name), partial) &&
            QFile::setPermissions(partial, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup |
                                               QFile::ReadOther) &&
            QFile::rename(partial, target)) {
            installed << name;
        } else {
            QFile::remove(partial);
            if (failed)
                *failed << target;
        }
    }
    return installed;
}

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
