#include "platform/FileNames.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

QString FileNameInFolder(const QString& folder, const QString& name) {
    if (name.isEmpty())
        return {};
    const QDir dir(folder);
    if (QFileInfo(dir.filePath(name)).isFile())
        return name;
    const QStringList files = dir.entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name);
    for (const QString& file : files) {
        if (file.compare(name, Qt::CaseInsensitive) == 0 && QFileInfo(dir.filePath(file)).isFile())
            return file;
    }
    return {};
}

QString PathInFolder(const QString& folder, const QString& name) {
    const QString found = FileNameInFolder(folder, name);
    return QDir(folder).filePath(found.isEmpty() ? name : found);
}

bool InstallFile(const QString& from, const QString& to) {
    const QString partial = to + QStringLiteral(".part");
    QFile::remove(partial);
    if (QFile::copy(from, partial) &&
        QFile::setPermissions(partial,
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther) &&
        QFile::rename(partial, to))
        return true;
    QFile::remove(partial);
    return false;
}
