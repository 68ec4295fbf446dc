#include "shell/base/modPathModify.h"

#include <QDir>
#include <QFileInfo>
#include <QStringList>

namespace {

const QString kUp = QStringLiteral("../");

// The base with exactly one closing "/".
QString asFolder(const QString& base) {
    return base.endsWith(QLatin1Char('/')) ? base : base + QLatin1Char('/');
}

// The folder names of an absolute path, root first; empty parts ("//") are skipped.
QStringList folders(const QString& path) {
    return QDir::cleanPath(path).split(QLatin1Char('/'), Qt::SkipEmptyParts);
}

} // namespace

bool PathHasDrive(const QString& name) {
    return name.startsWith(QLatin1Char('/'));
}

QString PathResolve(const QString& name, const QString& base) {
    if (PathHasDrive(name) || !PathHasDrive(base))
        return name;
    QString rest = name;
    QString folder = asFolder(base);
    while (rest.startsWith(kUp)) {
        rest.remove(0, kUp.size());
        if (folder.size() > 1) {
            // "/a/b/" -> "/a/": drop the closing "/", then everything after the one before it.
            folder.truncate(folder.lastIndexOf(QLatin1Char('/'), folder.size() - 2) + 1);
        }
    }
    return folder + rest;
}

QString PathComplete(const QString& name, const QString& base) {
    return PathHasDrive(name) ? name : PathResolve(name, base);
}

QString PathRelative(const QString& name, const QString& base) {
    if (!PathHasDrive(name) || !PathHasDrive(base))
        return name;
    const QStringList nameParts = folders(name);
    const QStringList baseParts = folders(base);
    // The last part of the name is the file itself and never counts as a shared folder.
    qsizetype common = 0;
    while (common < baseParts.size() && common + 1 < nameParts.size() &&
           nameParts[common] == baseParts[common])
        ++common;
    QString relative = kUp.repeated(baseParts.size() - common);
    relative += nameParts.mid(common).join(QLatin1Char('/'));
    return relative;
}

QString PathUnique(const QString& prefix, const QString& extension, const QString& base, bool useDate,
                   const std::function<QDateTime()>& now) {
    const QString ext = extension.isEmpty() || extension.startsWith(QLatin1Char('.'))
                            ? extension
                            : QLatin1Char('.') + extension;
    const auto exists = [&](const QString& candidate) {
        return QFileInfo::exists(PathComplete(candidate, base));
    };
    if (!useDate) {
        QString candidate = prefix + ext;
        for (int counter = 1; exists(candidate); ++counter)
            candidate = prefix + QString::number(counter) + ext;
        return PathComplete(candidate, base);
    }
    const auto stamp = [&] {
        const QDateTime at = now ? now() : QDateTime::currentDateTime();
        return prefix + at.toString(QStringLiteral("dd_MM_yy hh_mm_ss"));
    };
    QString candidate = stamp() + ext;
    for (int counter = 1; exists(candidate); ++counter)
        candidate = stamp() + QString::number(counter) + ext;
    return PathComplete(candidate, base);
}
