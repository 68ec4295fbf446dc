#pragma once

#include <QString>

// The numbered texts of the user interface. Until the language catalogs exist, this holds the English
// texts of the strings that the status panel and the call states use.
class Language {
public:
    // The text of string `number`, "%p" replaced by the product name; empty for an unknown number.
    QString LanguageString(int number) const;
};
