#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

// The profile files of the program (Morva.ini and the others), with the behaviour programs expect of
// Windows profile calls. One object, owned by the application object; no global state.
//
// Files are read as UTF-8 (a byte order mark is skipped), as UTF-16 when they begin with its byte order
// mark, and otherwise as Windows-1252, the encoding the Windows program wrote. They are always written as
// UTF-8 without a byte order mark, keeping the line ending the file had (CRLF or LF; LF for new files).
//
// Each file is parsed once and kept; it is read again only when its size, modification time or inode
// changed, so the ~150 reads at start cost one parse. Writes go to a temporary file in the same folder
// that replaces the old file only once it is complete on disk. All calls are serialised by one mutex.
//
// A file that is not a profile file (NUL characters, a line longer than 64 KiB, larger than 16 MiB, or no
// section, key or comment line among its first 4 KiB) reads as empty, and problemReport says so once. The
// first write that changes something moves it aside to "<name>.bad" and starts a fresh file.
class ProfileStore {
public:
    ProfileStore();
    ~ProfileStore();
    ProfileStore(const ProfileStore&) = delete;
    ProfileStore& operator=(const ProfileStore&) = delete;

    // Whole-number read: the leading signed decimal number of the value ("  -12abc" -> -12, "abc" -> 0
    // as Windows does: a value with no leading digits gives 0; a missing key or file, or an empty value,
    // gives `defaultValue`). A number too large wraps at 32 bits, as it does on Windows.
    int32_t GetPrivateProfileInt(const QString& section, const QString& key, int32_t defaultValue,
                                 const QString& file);
    // String read: the value cut at 255 characters; surrounding blanks removed, and one pair of
    // surrounding double quotes removed as Windows does; `defaultValue` (without trailing blanks, cut the
    // same way) when the key or file is missing.
    QString GetPrivateProfileString(const QString& section, const QString& key, const QString& defaultValue,
                                    const QString& file);
    // Writes one key (creating section and file as needed); a null QString value removes the key.
    // Returns false when the file cannot be written (the old file stays intact). A write that changes
    // nothing does not touch the file and succeeds.
    bool WritePrivateProfileString(const QString& section, const QString& key, const QString& value,
                                   const QString& file);
    // Removes a whole section.
    bool DeleteSection(const QString& section, const QString& file);
    // Every key of a section in file order (for sections with numbered keys); a key that repeats is
    // listed once, as only its first occurrence is ever read.
    QStringList SectionKeys(const QString& section, const QString& file);
    // Called with one line of text whenever a file turns out garbled (binary, not a profile file) and
    // is read as empty; the program writes it to debug.txt. May be empty.
    std::function<void(const QString&)> problemReport;

    // Writes to `file` between these two are kept in memory (reads see them) and written at the end as
    // one replacement of the file; batches nest, and the outermost writes. endBatch is false when that
    // write fails; the file is then read anew.
    void beginBatch(const QString& file);
    bool endBatch(const QString& file);

private:
    friend class RegistryFile;
    struct ParsedFile;

    // The value as written in the file, blanks around it removed, without the cuts of a string read.
    std::optional<QString> rawValue(const QString& section, const QString& key, const QString& file);
    // Adds an empty section unless one of that name exists.
    bool createSection(const QString& section, const QString& file);
    // Loads the file unless the kept copy is still current. Called with m_mutex held.
    ParsedFile& current(const QString& file, QStringList& reports);
    // Applies `change` to the lines of the file and writes the result if they changed.
    bool modify(const QString& file, const std::function<void(ParsedFile&)>& change);
    // Writes `next` over the file `old` was read from; on success `old` becomes `next`.
    bool replace(const QString& file, ParsedFile& old, ParsedFile next, QStringList& reports);
    void deliver(const QStringList& reports) const;

    std::mutex m_mutex;
    std::map<QString, std::unique_ptr<ParsedFile>> m_files;
    std::map<QString, int> m_batched; // open batches per file
};

// A batch of writes to one file for as long as the object lives: the stop writes some forty keys into
// Morva.ini, and each write on its own would replace and flush the whole file.
class ProfileBatch {
public:
    ProfileBatch(ProfileStore& store, QString file);
    ~ProfileBatch(); // ends the batch if commit() was not called
    ProfileBatch(const ProfileBatch&) = delete;
    ProfileBatch& operator=(const ProfileBatch&) = delete;
    // Writes what the batch gathered; false when the file could not be written.
    bool commit();

private:
    ProfileStore& m_store;
    QString m_file;
    bool m_done = false;
};
