#pragma once

// The help pages built into the program: one folder of HTML pages per language, ":/help/<code>/", with
// the code of the language library's name ("uk" English, "de", "fr", "it", "nl", "no", "fi"). Each
// folder holds its contents, "index.html", and one page "<context>.html" per help context. English has
// every page; a page missing in another language is shown in English.

#include <QString>

#include <array>

// The help contexts that windows open with HelpShow.
namespace HelpContext {
constexpr int Contents = 0;              // the contents of the help, index.html
constexpr int Display = 2;               // main window, Help menu: the display (status panel, buttons)
constexpr int Operation = 3;             // main window, Help menu: operation (start, calls)
constexpr int OptionsBasic = 40;         // options dialog, tab "General": language, telephone link
constexpr int OptionsOther = 41;         // options dialog, tab "Other": logs, window behaviour
constexpr int OptionsPhonebook = 42;     // options dialog, tab "Phonebook": codes and prefixes
constexpr int OptionsConfiguration = 43; // options dialog, configuration page (no tab of its own)
constexpr int OptionsHotkey = 44;        // options dialog, tab "Hotkey"
constexpr int OptionsDirectory = 46;     // options dialog, tab "Directory"
constexpr int TelephoneLink = 51;        // messages of the telephone link on the serial port
constexpr int TelephoneLinkTapi = 100;   // messages of the telephone link through TAPI

// Every context above except the contents: each has a page in English and in German.
constexpr std::array<int, 10> All{
    Display,       Operation,        OptionsBasic,  OptionsOther,     OptionsPhonebook, OptionsConfiguration,
    OptionsHotkey, OptionsDirectory, TelephoneLink, TelephoneLinkTapi};
} // namespace HelpContext

// The language whose pages every other language falls back to.
inline constexpr char HelpFallbackCode[] = "uk";

// The resource folder of a language's pages, ":/help/<code>/"; English's (":/help/uk/") when the
// program has no pages in that language.
QString HelpFolder(const QString& languageCode);

// The resource path of a context's page: ":/help/<code>/<context>.html" if that page exists, else the
// English page of the context, else the English contents. Context 0 is the contents (index.html) of the
// language, or of English when the language has no folder.
QString HelpPagePath(const QString& languageCode, int context);

// HelpPagePath as a URL for a text browser: "qrc:/help/<code>/<context>.html".
QString HelpPageUrl(const QString& languageCode, int context);

// The resource path of a page by its name ("actions" for ":/help/<code>/actions.html"), with the same
// fall-back: the English page, else the English contents. A name is letters only.
QString HelpNamedPagePath(const QString& languageCode, const QString& name);
QString HelpNamedPageUrl(const QString& languageCode, const QString& name);
