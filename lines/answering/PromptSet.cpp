#include "lines/answering/PromptSet.h"

#include "platform/FileNames.h"

#include <QDir>
#include <QFileInfo>

namespace PromptSet {

namespace {

// How a language builds a number from its pieces.
enum class Order {
    TensUnit,    // twenty one; Italian venti uno; Finnish kaksikymmentä yksi
    UnitAndTens, // German ein und zwanzig, Dutch een en twintig
    French,      // vingt et un, soixante-dix, quatre-vingt-onze
};

struct LanguageRules {
    const char* code;
    Order order;
    bool andAfterHundreds; // "one hundred and twenty": British English, Norwegian
    bool hasAnd;           // the set holds "und"
};

constexpr LanguageRules Rules[] = {
    {"de", Order::UnitAndTens, false, true}, {"uk", Order::TensUnit, true, true},
    {"fr", Order::French, false, true},      {"it", Order::TensUnit, false, false},
    {"nl", Order::UnitAndTens, false, true}, {"no", Order::TensUnit, true, true},
    {"fi", Order::TensUnit, false, false},
};

const LanguageRules& RulesOf(const QString& code) {
    const QString wanted = code.trimmed().toLower();
    for (const LanguageRules& rules : Rules)
        if (wanted == QLatin1String(rules.code))
            return rules;
    return Rules[1]; // English
}

QString Piece(const QString& name) {
    return name + QStringLiteral(".wav");
}

QString Piece(int number) {
    return Piece(QString::number(number));
}

// 1 to 99 inside or at the end of a number. A one at the end is said as a number ("hunderteins",
// "centouno", "twenty one"), never in the count form: after 21 or 101 the machine says the plural "neue
// Nachrichten", and the count form "eine" agrees with the singular only.
void SayBelow100(int n, const LanguageRules& rules, QStringList* out) {
    if (n < 20) {
        *out << Piece(n);
        return;
    }
    const int tens = n / 10 * 10;
    const int unit = n % 10;
    switch (rules.order) {
    case Order::TensUnit:
        *out << Piece(tens);
        if (unit)
            *out << Piece(unit);
        return;
    case Order::UnitAndTens:
        if (unit)
            *out << (unit == 1 ? Piece(QStringLiteral("1c")) : Piece(unit)) << Piece(QStringLiteral("und"));
        *out << Piece(tens);
        return;
    case Order::French:
        if (n < 70) {
            *out << Piece(tens);
            if (unit == 1)
                *out << Piece(QStringLiteral("und"));
            if (unit)
                *out << Piece(unit);
        } else if (n < 80) {
            // soixante-dix ... soixante-dix-neuf, with "et" in soixante et onze
            *out << Piece(60);
            if (n == 71)
                *out << Piece(QStringLiteral("und"));
            *out << Piece(n - 60);
        } else {
            // quatre-vingts, quatre-vingt-un (no "et"), quatre-vingt-dix ... quatre-vingt-dix-neuf
            *out << Piece(80);
            if (n >= 90)
                *out << Piece(n - 80);
            else if (unit)
                *out << Piece(unit);
        }
        return;
    }
}

} // namespace

QStringList Languages() {
    QStringList codes;
    for (const LanguageRules& rules : Rules)
        codes << QLatin1String(rules.code);
    return codes;
}

QStringList PieceNames(const QString& code) {
    QStringList names{QStringLiteral("standardansage"),
                      QStringLiteral("willkommen"),
                      QStringLiteral("Siehaben"),
                      QStringLiteral("neueNt"),
                      QStringLiteral("neueNn"),
                      QStringLiteral("04help"),
                      QStringLiteral("noanrufe"),
                      QStringLiteral("help"),
                      QStringLiteral("nachrichtnr"),
                      QStringLiteral("fMSN"),
                      QStringLiteral("von"),
                      QStringLiteral("allelöschen"),
                      QStringLiteral("oklöschen1"),
                      QStringLiteral("oklöschen2"),
                      QStringLiteral("AnrufNummer"),
                      QStringLiteral("deleted"),
                      QStringLiteral("empty"),
                      QStringLiteral("anrgelöscht"),
                      QStringLiteral("1e"),
                      QStringLiteral("1c"),
                      QStringLiteral("hundert")};
    for (int n = 0; n < 20; ++n)
        names << QString::number(n);
    for (int n = 20; n <= 100; n += 10)
        names << QString::number(n);
    if (RulesOf(code).hasAnd)
        names << QStringLiteral("und");
    for (QString& name : names)
        name = Piece(name);
    return names;
}

QString GreetingFileName() {
    return QStringLiteral("standardansage.wav");
}

QStringList InstallPrompts(const QString& code, const QString& folder, QStringList* failed) {
    QStringList installed;
    const QDir target(folder);
    QDir().mkpath(target.path());
    const QDir shipped(QStringLiteral(":/prompts/") + QLatin1String(RulesOf(code).code));
    for (const QString& name : PieceNames(code)) {
        if (!FileNameInFolder(target.path(), name).isEmpty())
            continue; // there already, perhaps recorded by the user
        const QString path = target.filePath(name);
        if (InstallFile(shipped.filePath(name), path))
            installed << name;
        else if (failed)
            *failed << path;
    }
    return installed;
}

QStringList NumberPieces(int n, bool final, const QString& code) {
    const LanguageRules& rules = RulesOf(code);
    if (n <= 0)
        return {Piece(0)};
    if (n == 1)
        return {Piece(final ? QStringLiteral("1e") : QStringLiteral("1"))};
    QStringList out;
    if (n >= 1000) {
        for (const QChar digit : QString::number(n))
            out << Piece(QString(digit));
        return out;
    }
    const int hundreds = n / 100;
    const int rest = n % 100;
    if (hundreds == 1)
        out << Piece(100); // einhundert, one hundred, cent, cento, honderd, hundre, sata
    else if (hundreds > 1)
        out << Piece(hundreds) << Piece(QStringLiteral("hundert")); // zwei hundert, deux cents, kaksi sataa
    if (hundreds && rest && rules.andAfterHundreds)
        out << Piece(QStringLiteral("und"));
    if (rest)
        SayBelow100(rest, rules, &out);
    return out;
}

} // namespace PromptSet
