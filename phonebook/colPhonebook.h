#pragma once

#include <QString>

// The set of phonebooks and the number-to-name lookup. Until the books exist, a number has no name:
// the lookup gives the number itself and no detail.
class colPhonebook {
public:
    // The name of the party behind `number`; `detail` gets the text for the name's tool tip.
    QString NumberToNameAddNew(const QString& number, QString& detail) const;
};
