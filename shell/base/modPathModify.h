#pragma once

// Path rules shared by the sound engine, the phonebook entries and the file-name controls: names kept
// relative to a base folder, completed against it again, and free names for new files.
//
// A name "has a drive" when it is absolute ("/..."); the separator is "/". Relative names step up from
// the base with leading "../". Base folders may be given with or without a closing "/".

#include <QDateTime>
#include <QString>

#include <functional>

// True for an absolute name.
bool PathHasDrive(const QString& name);

// A relative name against an absolute base: each leading "../" of the name takes one folder off the end
// of the base (never above "/"), then the rest of the name is put after the base. Any other pair gives
// the name unchanged.
QString PathResolve(const QString& name, const QString& base);

// The name itself when it is absolute, else PathResolve(name, base).
QString PathComplete(const QString& name, const QString& base);

// An absolute name relative to an absolute base: the folders both share from the root are dropped, one
// "../" stands for each folder of the base that remains, then the rest of the name follows. Folder names
// are compared exactly, as Linux file systems tell upper from lower case. A name or base that is not
// absolute gives the name unchanged. "." and ".." inside either path are resolved first.
QString PathRelative(const QString& name, const QString& base);

// The first free file name in `base`, completed with it. `extension` gets a leading "." if it has none.
// Without `useDate`: prefix + extension, then prefix + "1" + extension, prefix + "2" + extension, ...
// With `useDate`: prefix, the date "dd_MM_yy", a blank, the time "hh_mm_ss", extension; when that file
// exists the date and time are taken anew from `now` and a counter 1, 2, ... goes between the time and
// the extension until the name is free. `now` defaults to the system's local time.
QString PathUnique(const QString& prefix, const QString& extension, const QString& base, bool useDate,
                   const std::function<QDateTime()>& now = {});
