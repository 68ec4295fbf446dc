#pragma once

// The command language of morva-exchange: one line per command, from its standard input or from another
// terminal through its Unix socket.

#include <QString>
#include <QStringList>

class CapiExchange;

namespace exchange {

// Splits a line into words at blanks; double quotes group a word, and inside them a backslash takes the
// next character as it is. `error` gets a sentence for an unclosed quote.
QStringList splitCommandLine(const QString& line, QString* error);
// The word quoted so that splitCommandLine gives it back.
QString quoteWord(const QString& word);

struct CommandResult {
    bool ok = false;
    QString text; // one line or more, without a trailing newline
};

CommandResult runCommand(CapiExchange& exchange, const QStringList& words);

// The commands, one line each.
QString commandHelp();

} // namespace exchange
