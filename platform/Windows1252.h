#pragma once

// Windows-1252, the 8-bit text of the files the Windows program wrote (settings, text phonebooks) and of
// the dBase files and record blocks of the phonebook store.

#include <QByteArray>
#include <QString>

// Characters that Windows-1252 lacks become "?"; a character outside the basic plane is one "?".
QByteArray ToWindows1252(const QString& text);
QString FromWindows1252(const char* bytes, qsizetype size);
inline QString FromWindows1252(const QByteArray& bytes) {
    return FromWindows1252(bytes.constData(), bytes.size());
}
// A text field of a record block: the value, one zero byte and blanks up to the width; a value of the full
// width or longer is cut at the width and has no zero byte.
void PutBlockText(char* field, qsizetype width, const QString& value);
// A text field cut at its first zero byte and trimmed of blanks on both sides (only blanks: a note may end
// in a line break that belongs to it).
QString GetBlockText(const char* field, qsizetype width);
// The byte with its letter in upper case (ä to Ä, š to Š, ÿ to Ÿ); others as they are. The store's
// comparisons without regard to case go through it.
unsigned char FoldCase1252(unsigned char byte);
// A text file as the Windows program or a Linux editor may have written it: UTF-16 with its byte order
// mark, UTF-8 (a leading byte order mark skipped), or else Windows-1252.
QString DecodeTextFile(const QByteArray& bytes);
