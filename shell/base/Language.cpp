#include "shell/base/Language.h"

#include "platform/help/HelpPages.h"

#include <QLocale>

#include <array>

namespace {
struct LibraryEntry {
    int number; // the primary language id
    const char* library;
};

constexpr std::array<LibraryEntry, 7> Libraries{{
    {7, "lang_de.dll"},
    {9, "lang_uk.dll"},
    {12, "lang_fr.dll"},
    {16, "lang_it.dll"},
    {19, "lang_nl.dll"},
    {20, "lang_no.dll"},
    {11, "lang_fi.dll"},
}};

// The library of a language number by the table alone, Finnish included.
QString TableLibrary(int number) {
    for (const LibraryEntry& entry : Libraries)
        if (entry.number == number)
            return QString::fromLatin1(entry.library);
    return {};
}

// The old text buffer held 255 characters: longer texts were cut there.
constexpr qsizetype TextLimit = 255;
// The language list holds at most this many catalogs.
constexpr qsizetype MaxLanguages = 20;
} // namespace

Language::Language(QString catalogFolder) : m_catalogs(std::move(catalogFolder)) {
    LanguageSet(m_languageId);
}

QString Language::LibraryOfNumber(int number) {
    // Finnish has a catalog but no way back from its number: 11 gives English like any unknown number.
    if (number != 11) {
        for (const LibraryEntry& entry : Libraries) {
            if (entry.number == number)
                return QString::fromLatin1(entry.library);
        }
    }
    return QStringLiteral("lang_uk.dll");
}

int Language::NumberOfLibrary(const QString& libraryName) {
    for (const LibraryEntry& entry : Libraries) {
        if (libraryName.compare(QLatin1String(entry.library), Qt::CaseInsensitive) == 0)
            return entry.number;
    }
    return 0;
}

QString Language::LanguageString(int number) const {
    QString text = m_catalogs.GetResString(number);
    const qsizetype nul = text.indexOf(QChar(0));
    if (nul >= 0)
        text.truncate(nul);
    text.truncate(TextLimit);
    text.replace(QStringLiteral("%p"), QStringLiteral("Morva"));
    return text;
}

bool Language::useLibrary(const QString& library) {
    if (m_catalogs.SetLanguageDLL(library) < 0)
        return false;
    m_library = library;
    return true;
}

void Language::LanguageSet(int number) {
    useLibrary(LibraryOfNumber(number));
}

void Language::setLanguageId(int number) {
    m_languageId = number;
    LanguageSet(number);
}

int Language::DesktopLanguage(const QStringList& uiLanguages) {
    for (const QString& name : uiLanguages) {
        switch (QLocale(name).language()) {
        case QLocale::German:
            return 7;
        case QLocale::English:
            return 9;
        case QLocale::French:
            return 12;
        case QLocale::Italian:
            return 16;
        case QLocale::Dutch:
            return 19;
        case QLocale::NorwegianBokmal:
        case QLocale::NorwegianNynorsk:
            return 20;
        case QLocale::Finnish:
            return 11;
        default:
            break;
        }
    }
    return DefaultLanguage;
}

void Language::takeDesktopLanguage(const QStringList& uiLanguages) {
    const int number = DesktopLanguage(uiLanguages);
    setLanguageId(number);
    const QString library = TableLibrary(number);
    if (!library.isEmpty() && m_library.compare(library, Qt::CaseInsensitive) != 0)
        useLibrary(library);
}

int Language::LanguageFillList(QStringList* list) {
    QString joined;
    m_catalogs.GetLanguages(joined);
    m_names = joined.split(QLatin1Char('\\'), Qt::SkipEmptyParts);
    if (m_names.size() > MaxLanguages)
        m_names.resize(MaxLanguages);
    if (list) {
        list->clear();
        // A catalog that can't be read is left out of the list.
        for (const QString& name : std::as_const(m_names)) {
            if (m_catalogs.SetLanguageDLL(name) >= 0)
                list->append(m_catalogs.GetResString(90));
        }
    }
    // The catalog in use before is set again. It is taken by its name, not by the language number:
    // a Finnish catalog chosen in this run stays, although its number would give English.
    if (m_library.isEmpty() || m_catalogs.SetLanguageDLL(m_library) < 0)
        LanguageSet(m_languageId);
    return int(m_names.size());
}

void Language::LanguageApply(int listIndex) {
    if (listIndex < 1 || listIndex > m_names.size())
        return;
    const QString& name = m_names.at(listIndex - 1);
    const int number = NumberOfLibrary(name);
    // A name outside the table gives no number, so nothing becomes current.
    if (number == 0)
        return;
    m_languageId = number;
    LanguageSet(number);
    // The number selects the library as at every start, where 11 gives English. The entry chosen in the
    // list is applied by its name, so that Finnish takes effect for this run; the stored number 11 then
    // brings English back at the next start.
    if (m_library.compare(name, Qt::CaseInsensitive) != 0)
        useLibrary(name);
}

int Language::LanguageSelect() const {
    for (qsizetype i = 0; i < m_names.size(); ++i) {
        if (NumberOfLibrary(m_names.at(i)) == m_languageId)
            return int(i + 1);
    }
    return 0;
}

QString Language::LanguageCode() const {
    const qsizetype underscore = m_library.indexOf(QLatin1Char('_'));
    if (underscore >= 0) {
        const QString behind = m_library.mid(underscore + 1).section(QLatin1Char('.'), 0, 0).toLower();
        if (!behind.isEmpty())
            return behind;
    }
    return QLatin1String(HelpFallbackCode);
}

QString Language::HelpFileName() const {
    return HelpFolder(LanguageCode());
}
