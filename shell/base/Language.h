#pragma once

#include "platform/lang/LanguageCatalogs.h"

#include <QString>
#include <QStringList>

// The numbered texts of the user interface in the current language, over the language catalogs; and the
// choice of language with the options dialog's language list. No windows: the list is a QStringList.
class Language {
public:
    // The program's current language number when nothing is stored: English.
    static constexpr int DefaultLanguage = 9;

    // `catalogFolder`: where the catalogs lie; empty: the catalogs built into the program. Starts with
    // the catalog of the default language.
    explicit Language(QString catalogFolder = {});

    // The text of string `number`, every "%p" replaced by the product name; empty for an unknown number.
    QString LanguageString(int number) const;

    // Selects the catalog of language number `number`; any number without a catalog of its own gives
    // the English one.
    void LanguageSet(int number);
    // Fills `list` (when given) with the name of each language in that language, and keeps the
    // catalogs' names for LanguageApply and LanguageSelect. Returns the count of catalogs found.
    int LanguageFillList(QStringList* list);
    // Makes the language of entry `listIndex` (from 1) of the names current.
    void LanguageApply(int listIndex);
    // The index (from 1) of the first name whose language is the current one; 0 if there is none.
    int LanguageSelect() const;

    // The current language number: the value "Language" of the settings.
    int LanguageId() const { return m_languageId; }
    // Takes the stored language number and selects its catalog.
    void setLanguageId(int number);
    // The language number for the desktop's languages (QLocale's uiLanguages, the most wanted first):
    // the first of them that has a catalog; English when none has.
    static int DesktopLanguage(const QStringList& uiLanguages);
    // A start with no language stored takes the desktop's. Finnish takes its catalog by name, as a choice
    // in the language list does (its number would give English).
    void takeDesktopLanguage(const QStringList& uiLanguages);

    // The library name of the catalog in use ("lang_uk.dll").
    QString LanguageLibrary() const { return m_library; }
    // The two-letter code of the catalog in use, from its library name ("uk" of "lang_uk.dll"); "uk"
    // when no catalog is in use.
    QString LanguageCode() const;
    // The help folder of the current language among the help pages built into the program,
    // ":/help/<code>/", or the English one, ":/help/uk/", when there are no pages in that language.
    QString HelpFileName() const;

    // The library of a language number, and the number of a library name ("lang_fi.dll" gives 11);
    // 0 for a name that isn't one of the language libraries.
    static QString LibraryOfNumber(int number);
    static int NumberOfLibrary(const QString& libraryName);

private:
    // Switches the catalogs to `library` and remembers it when that works.
    bool useLibrary(const QString& library);

    LanguageCatalogs m_catalogs;
    int m_languageId = DefaultLanguage;
    QString m_library;
    QStringList m_names; // the catalogs' library names, as LanguageFillList found them
};
