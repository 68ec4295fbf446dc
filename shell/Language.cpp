#include "shell/Language.h"

#include <QHash>

namespace {
const QHash<int, QString>& englishTexts() {
    static const QHash<int, QString> texts{
        {619, QStringLiteral("Idle")},
        {620, QStringLiteral("Unknown call state")},
        {624, QStringLiteral("Connected")},
        {626, QStringLiteral("Ringing")},
        {629, QStringLiteral("(outgoing)")},
        {630, QStringLiteral("(incoming)")},
        {631, QStringLiteral("Answering machine")},
        {3200, QStringLiteral("Number:")},
        {3201, QStringLiteral("Current call")},
        {3202, QStringLiteral("State:")},
        {3203, QStringLiteral("Charges:")},
        {3204, QStringLiteral("Duration:")},
        {3223, QStringLiteral("MSN:")},
        {3224, QStringLiteral("Place:")},
        {5160, QStringLiteral("no MSN")},
    };
    return texts;
}
} // namespace

QString Language::LanguageString(int number) const {
    QString text = englishTexts().value(number);
    text.replace(QStringLiteral("%p"), QStringLiteral("Morva"));
    return text;
}
