#pragma once

// Files named as the Windows program named them: its settings and data spell a file's name in any case
// ("FREUNDE.DBF" for "Freunde.dbf"), and Windows found it all the same. These find a file of a folder
// without regard to case.

#include <QString>

// The name, as it stands on disk, of the file `name` in `folder`, found without regard to case. A file of
// exactly that name wins; of several that differ from it only in case, the first in name order. Empty when
// the folder holds no such file (folders and other entries that are no regular file do not count).
QString FileNameInFolder(const QString& folder, const QString& name);

// The path of `name` in `folder`: the file found as FileNameInFolder finds it, else `name` as given (for a
// file still to be made).
QString PathInFolder(const QString& folder, const QString& name);

// Copies `from` (a file or a built-in resource) to `to` as a file readable by all and writable by its
// owner. It is written beside its place and renamed, so a program that dies halfway leaves no half file
// there. False, leaving nothing behind, when it cannot be written.
bool InstallFile(const QString& from, const QString& to);
