#pragma once

// The spoken pieces that the answering machine joins into its prompts ("Sie haben", "drei", "neue
// Nachrichten."), one set per language of the program, made at build time and built in as resources
// ":/prompts/<code>/<piece>.wav" (8 kHz mono A-law). The start puts the pieces of the language in use
// into the prompt folder where they are missing; a piece that is there, recorded by the user, stays.

#include <QString>
#include <QStringList>

namespace PromptSet {

// The language codes that have a set: de, uk, fr, it, nl, no, fi.
QStringList Languages();

// The file names ("help.wav", "Siehaben.wav", "21" is no piece but "20.wav" is) of the set of a language;
// an unknown code gives the English set. The pieces of numbers are "0.wav" to "19.wav", "1e.wav" (one
// before a noun), "1c.wav" (one at the start of a compound), the tens "20.wav" to "90.wav", "100.wav"
// (one hundred), "hundert.wav" (the hundreds after a multiplier) and, in the languages that join the
// parts of a number with a word, "und.wav".
QStringList PieceNames(const QString& code);

// The default greeting with its beep, played for an own number without a greeting of its own.
QString GreetingFileName();

// Puts each piece of the set of `code` (English for an unknown code) that is missing in `folder` into it,
// making the folder if needed. A file of the piece's name in any case counts as there and is never
// replaced. Each piece is written beside its place and renamed, so a start that dies halfway leaves no
// half file. Gives the names installed; the paths that could not be written go to `failed` (may be null).
QStringList InstallPrompts(const QString& code, const QString& folder, QStringList* failed = nullptr);

// The pieces that say `n` in the language of `code` (English for an unknown code), in that language's
// word order. `final` is the form before a noun: a count of one says "eine neue Nachricht", not "eins".
// Numbers below zero are said as 0; from 1000 on, the digits are said one by one.
QStringList NumberPieces(int n, bool final, const QString& code);

} // namespace PromptSet
