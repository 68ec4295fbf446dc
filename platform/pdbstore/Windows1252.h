#pragma once

// Windows-1252, the 8-bit text of the dBase files and of the record blocks that cross the store's
// interface.

#include <QByteArray>
#include <QString>

namespace pdb {

// Characters that Windows-1252 lacks become "?"; a character outside the basic plane is one "?".
QByteArray ToWindows1252(const QString& text);
QString FromWindows1252(const char* bytes, qsizetype size);
inline QString FromWindows1252(const QByteArray& bytes) {
    return FromWindows1252(bytes.constData(), bytes.size());
}
// The byte with its letter in upper case (ä to Ä, š to Š, ÿ to Ÿ); others as they are. The store's
// comparisons without regard to case go through it.
unsigned char FoldCase1252(unsigned char byte);

} // namespace pdb
