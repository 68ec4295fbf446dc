#include "platform/help/HelpPages.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>

namespace {
QString folderOf(const QString& code) {
    return QStringLiteral(":/help/") + code + QLatin1Char('/');
}

QString pageName(int context) {
    return context == HelpContext::Contents ? QStringLiteral("index.html")
                                            : QString::number(context) + QStringLiteral(".html");
}

bool isPlainCode(const QString& code) {
    // A code is a short name of letters: nothing that could step out of the help folder.
    if (code.isEmpty() || code.size() > 8)
        return false;
    for (QChar c : code) {
        if (!c.isLetter())
            return false;
    }
    return true;
}
} // namespace

QString HelpFolder(const QString& languageCode) {
    const QString code = languageCode.toLower();
    if (isPlainCode(code) && QFileInfo(folderOf(code)).isDir())
        return folderOf(code);
    return folderOf(QLatin1String(HelpFallbackCode));
}

QString HelpPagePath(const QString& languageCode, int context) {
    const QString page = pageName(context);
    const QString own = HelpFolder(languageCode) + page;
    if (QFile::exists(own))
        return own;
    const QString english = folderOf(QLatin1String(HelpFallbackCode));
    if (QFile::exists(english + page))
        return english + page;
    return english + pageName(HelpContext::Contents);
}

QString HelpPageUrl(const QString& languageCode, int context) {
    // ":/help/..." becomes "qrc:/help/...".
    return QStringLiteral("qrc") + HelpPagePath(languageCode, context);
}

QString HelpNamedPagePath(const QString& languageCode, const QString& name) {
    const QString english = folderOf(QLatin1String(HelpFallbackCode));
    // Letters only: nothing that could step out of the help folder.
    const bool plain = !name.isEmpty() && name.size() <= 32 &&
                       std::all_of(name.begin(), name.end(), [](QChar c) { return c.isLetter(); });
    if (!plain)
        return english + pageName(HelpContext::Contents);
    const QString page = name + QStringLiteral(".html");
    const QString own = HelpFolder(languageCode) + page;
    if (QFile::exists(own))
        return own;
    if (QFile::exists(english + page))
        return english + page;
    return english + pageName(HelpContext::Contents);
}

QString HelpNamedPageUrl(const QString& languageCode, const QString& name) {
    return QStringLiteral("qrc") + HelpNamedPagePath(languageCode, name);
}
