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
// The byte with its letter in upper case (ä to Ä, š to Š, ÿ to Ÿ); others as they are. The store's
// comparisons without regard to case go through it.
unsigned char FoldCase1252(unsigned char byte);
// A text file as the Windows program or a Linux editor may have written it: UTF-16 with its byte order
// mark, UTF-8 (a leading byte order mark skipped), or else Windows-1252.
QString DecodeTextFile(const QByteArray& bytes);
