#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

class Clock;

// What the store found wrong with a profile file; reported once per state of the file on disk.
struct ProfileProblem {
    enum class Kind {
        // Damaged: what could be read is in effect, the rest is left out (see ProfileStore). The file stays
        // as it is until KeepDamaged or the first write that changes something.
        Damaged,
        // The damaged file now lies under `keptAs`, and what was read from it was written in its place.
        KeptAside,
        // The damaged file could not be kept aside, so it is not written over: writes to it fail.
        NotKept,
        // The file cannot be read at all (no rights, a folder): it reads as empty and is never written.
        Unreadable,
    };
    Kind kind = Kind::Damaged;
    QString file;
    // Damaged: the lines read from the file, and how many of them were left out.
    int lines = 0;
    int droppedLines = 0;
    QString keptAs;
    // What happened, in one line for the error log.
    QString text;
};

// The profile files of the program (Morva.ini and the others), with the behaviour programs expect of
// Windows profile calls. One object, owned by the application object; no global state.
//
// Files are read as UTF-8 (a byte order mark is skipped), as UTF-16 when they begin with its byte order
// mark, and otherwise as Windows-1252, the encoding the Windows program wrote: a file that is not valid
// UTF-8 as a whole is decoded line by line, a line that is valid UTF-8 as UTF-8 and any other as
// Windows-1252, so that a damaged line does not turn the good ones into Windows-1252. Files are always
// written as UTF-8 without a byte order mark, keeping the line ending the file had (CRLF or LF; LF for new
// files).
//
// Each file is parsed once and kept; it is read again only when its size, modification time or inode
// changed, so the ~150 reads at start cost one parse. Writes go to a temporary file in the same folder
// that replaces the old file only once it is complete on disk. All calls are serialised by one mutex.
//
// A damaged file, one that holds a NUL or another control character (none but tab ever stands in a
// profile file, and the store writes none), a line longer than 64 KiB, is larger than 16 MiB, or has no
// section, key or comment line among its first 4 KiB, is read for what it still holds, and problemReport
// says so once (Damaged). Of a file larger than 16 MiB the first 16 MiB are read. A line is broken when it
// holds such a character or is longer than 64 KiB.
//   Kept: whole section headers; whole key lines below a kept header; comments; blank lines.
//   Left out: broken lines; other text; key lines before the first header; and, after a broken line that
//   may have held a section header, the key lines up to the next whole header. A broken line is only a
//   key line of its section, and leaves the lines after it alone, when its key name and "=" stand whole
//   before its first broken character and no "[" or "]" follows that character.
// KeepDamaged, or else the first write that changes something, keeps the damaged file under a name of its
// own, "<name>.<yyyyMMdd-hhmmss>.bad" by the store's clock ("-2", "-3" ... when that name is taken; an
// earlier copy is never written over), and writes the lines that were kept in its place.
class ProfileStore {
public:
    // `clock` stamps the names of kept damaged files; without one, the system's time does.
    explicit ProfileStore(const Clock* clock = nullptr);
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
    // Writes many keys in one replacement of the file, each as WritePrivateProfileString would (a null
    // value removes its key): a key that exists keeps its line, new keys go to the end of their section in
    // the order given, new sections to the end of the file. Costs one pass over the file, where as many
    // single writes would each copy and index the whole file. False as a single write would be.
    struct KeyValue {
        QString section;
        QString key;
        QString value;
    };
    bool WritePrivateProfileStrings(const std::vector<KeyValue>& values, const QString& file);
    // Removes a whole section.
    bool DeleteSection(const QString& section, const QString& file);
    // Every key of a section in file order (for sections with numbered keys); a key that repeats is
    // listed once, as only its first occurrence is ever read.
    QStringList SectionKeys(const QString& section, const QString& file);
    // Called for each problem with a file as it is found (never with the store's lock held). May be empty.
    std::function<void(const ProfileProblem&)> problemReport;
    // Keeps a damaged file aside now and writes what was read from it in its place (see above), so that
    // the copy exists before the user is told and the next read finds a sound file. Returns the name the
    // damaged file is kept under; empty when the file is not damaged or could not be kept.
    QString KeepDamaged(const QString& file);

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
    using Reports = std::vector<ProfileProblem>;
    // Loads the file unless the kept copy is still current. Called with m_mutex held.
    ParsedFile& current(const QString& file, Reports& reports);
    // Applies `change` to the lines of the file and writes the result if they changed.
    bool modify(const QString& file, const std::function<void(ParsedFile&)>& change);
    // Writes `next` over the file `old` was read from; on success `old` becomes `next`. A damaged `old` is
    // kept aside first, and nothing is written when that fails.
    bool replace(const QString& file, ParsedFile& old, ParsedFile next, Reports& reports);
    // A second name for the damaged `file`, stamped with the clock's time; empty when none could be made.
    QString keepAside(const QString& file) const;
    void deliver(const Reports& reports) const;

    const Clock* m_clock;
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
