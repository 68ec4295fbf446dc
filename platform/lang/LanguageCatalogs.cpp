#include "platform/lang/LanguageCatalogs.h"

#include <QDir>
#include <QFile>

#include <algorithm>

namespace {
// Texts are addressed by 16-bit numbers.
constexpr int MaxNumber = 65535;

const QString& libraryPrefix() {
    static const QString prefix = QStringLiteral("lang_");
    return prefix;
}

// "lang_de.dll" from "lang_de.txt".
QString libraryNameOfFile(const QString& fileName) {
    return fileName.left(fileName.size() - 4) + QStringLiteral(".dll");
}

// The text of a line with its escapes resolved; false for an escape that the format doesn't know.
bool unescape(QStringView raw, QString& text) {
    text.clear();
    text.reserve(raw.size());
    for (qsizetype i = 0; i < raw.size(); ++i) {
        const QChar c = raw[i];
        if (c != QLatin1Char('\\')) {
            text.append(c);
            continue;
        }
        if (++i == raw.size())
            return false;
        switch (raw[i].unicode()) {
        case 'n':
            text.append(QLatin1Char('\n'));
            break;
        case 't':
            text.append(QLatin1Char('\t'));
            break;
        case '\\':
            text.append(QLatin1Char('\\'));
            break;
        default:
            return false;
        }
    }
    return true;
}
} // namespace

LanguageCatalogs::LanguageCatalogs(QString folder)
    : m_folder(folder.isEmpty() ? QStringLiteral(":/lang") : std::move(folder)) {}

int LanguageCatalogs::GetLanguages(QString& names) const {
    const QStringList files = QDir(m_folder).entryList({libraryPrefix() + QStringLiteral("*.txt")},
                                                       QDir::Files | QDir::Readable, QDir::Name);
    QStringList libraries;
    for (const QString& file : files)
        libraries.append(libraryNameOfFile(file));
    names = libraries.join(QLatin1Char('\\'));
    return int(libraries.size());
}

QString LanguageCatalogs::catalogFile(const QString& libraryName) const {
    // The name may come as the old libraries took it, with a closing NUL.
    QString name = libraryName;
    const qsizetype nul = name.indexOf(QChar(0));
    if (nul >= 0)
        name.truncate(nul);
    name = name.trimmed().toLower();
    if (!name.startsWith(libraryPrefix()) || !name.endsWith(QStringLiteral(".dll")) ||
        name.contains(QLatin1Char('/')) || name.contains(QLatin1Char('\\')))
        return {};
    return name.left(name.size() - 4) + QStringLiteral(".txt");
}

int LanguageCatalogs::SetLanguageDLL(const QString& libraryName) {
    const QString file = catalogFile(libraryName);
    if (file.isEmpty())
        return -1;
    Catalog catalog = m_cache.value(file);
    if (!catalog) {
        QFile source(QDir(m_folder).filePath(file));
        if (!source.open(QIODevice::ReadOnly))
            return -2;
        catalog = std::make_shared<const QHash<int, QString>>(Parse(source.readAll()));
        m_cache.insert(file, catalog);
    }
    m_current = std::move(catalog);
    return 0;
}

QString LanguageCatalogs::GetResString(int number) const {
    return m_current ? m_current->value(number) : QString();
}

QList<int> LanguageCatalogs::Numbers() const {
    QList<int> numbers = m_current ? m_current->keys() : QList<int>();
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

QHash<int, QString> LanguageCatalogs::Parse(const QByteArray& contents) {
    QHash<int, QString> texts;
    QString all = QString::fromUtf8(contents);
    if (all.startsWith(QChar(0xFEFF)))
        all.remove(0, 1);
    const QList<QStringView> lines = QStringView(all).split(QLatin1Char('\n'));
    QString text;
    for (QStringView line : lines) {
        if (line.endsWith(QLatin1Char('\r')))
            line.chop(1);
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        const qsizetype tab = line.indexOf(QLatin1Char('\t'));
        if (tab < 1 || tab > 5)
            continue;
        const QStringView digits = line.left(tab);
        if (!std::all_of(digits.begin(), digits.end(),
                         [](QChar c) { return c.isDigit() && c.unicode() < 128; }))
            continue;
        const int number = digits.toInt();
        if (number > MaxNumber || texts.contains(number))
            continue;
        // The text runs to the end of the line: blanks at either end belong to it.
        if (!unescape(line.mid(tab + 1), text))
            continue;
        texts.insert(number, text);
    }
    return texts;
}
