#include "platform/profile/RegistryFile.h"

namespace {

const QString kDwordPrefix = QStringLiteral("dword:");

} // namespace

RegistryFile::RegistryFile(ProfileStore& store, QString path) : m_store(store), m_path(std::move(path)) {}

QString RegistryFile::sectionOf(RegRoot root, const QString& key) {
    QString path = key.trimmed();
    path.replace(u'/', u'\\');
    while (path.startsWith(u'\\'))
        path.remove(0, 1);
    while (path.endsWith(u'\\'))
        path.chop(1);
    const QString prefix = root == RegRoot::LocalMachine ? QStringLiteral("HKLM") : QStringLiteral("HKCU");
    return path.isEmpty() ? prefix : prefix + u'\\' + path;
}

QVariant RegistryFile::RegRead(RegRoot root, const QString& key, const QString& value,
                               const QVariant& defaultValue) {
    const std::optional<QString> stored = m_store.rawValue(sectionOf(root, key), value, m_path);
    if (!stored)
        return defaultValue;
    if (stored->startsWith(kDwordPrefix, Qt::CaseInsensitive)) {
        bool ok = false;
        const uint32_t number = QStringView(*stored).mid(kDwordPrefix.size()).trimmed().toUInt(&ok, 16);
        return ok ? QVariant::fromValue(static_cast<int32_t>(number)) : defaultValue;
    }
    QString text = *stored;
    if (text.size() >= 2 && text.front() == u'"' && text.back() == u'"')
        text = text.mid(1, text.size() - 2);
    return text.left(text.indexOf(QChar(u'\0')));
}

bool RegistryFile::RegWrite(RegRoot root, const QString& key, const QString& value, int32_t type,
                            const QVariant& data) {
    QString line;
    if (type == REG_SZ && data.canConvert<QString>()) {
        const QString text = data.toString();
        line = u'"' + text.left(text.indexOf(QChar(u'\0'))) + u'"';
    } else if (type == REG_DWORD) {
        bool ok = false;
        const qlonglong number = data.toLongLong(&ok);
        if (!ok)
            return false;
        line =
            kDwordPrefix + QStringLiteral("%1").arg(static_cast<uint32_t>(number), 8, 16, QLatin1Char('0'));
    } else {
        return false;
    }
    // Writing the value creates its section in the same replacement of the file, so the key exists
    // first without a write of its own.
    return m_store.WritePrivateProfileString(sectionOf(root, key), value, line, m_path);
}

bool RegistryFile::RegCreateKey(RegRoot root, const QString& key) {
    return m_store.createSection(sectionOf(root, key), m_path);
}
