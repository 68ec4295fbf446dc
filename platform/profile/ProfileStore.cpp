#include "platform/profile/ProfileStore.h"

#include "platform/Clock.h"
#include "platform/Windows1252.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSaveFile>
#include <QSet>
#include <QStringDecoder>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace {

constexpr qsizetype kMaxValueLength = 255; // what the program's 256-character read buffers hold
constexpr qsizetype kMaxLineLength = 64 * 1024;
constexpr qsizetype kMaxFileSize = 16 * 1024 * 1024;
constexpr qsizetype kProbeLength = 4096; // the start of a file that must show at least one profile line

// What identifies one state of a file on disk: a rewrite changes the size or the modification time, and a
// replacement by rename (ours or an editor's) changes the inode.
struct FileStamp {
    bool exists = false;
    bool regular = false;
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    int64_t mtimeSec = 0;
    int64_t mtimeNsec = 0;
    bool operator==(const FileStamp&) const = default;
};

FileStamp stampOf(const QString& path) {
    struct stat st {};
    if (::stat(QFile::encodeName(path).constData(), &st) != 0)
        return {};
    return {true,       S_ISREG(st.st_mode), st.st_dev,         st.st_ino,
            st.st_size, st.st_mtim.tv_sec,   st.st_mtim.tv_nsec};
}

QString fold(QStringView name) {
    return name.toString().toCaseFolded();
}

// One line of a profile file. Lines that are neither a section header nor a key (comments, blank lines,
// stray text, keys before the first section) are kept as they are and never read.
struct LineInfo {
    enum Kind { Other, Header, Key } kind = Other;
    QStringView name;
    QStringView value;
};

LineInfo classify(const QString& line) {
    const QStringView text = QStringView(line).trimmed();
    if (text.startsWith(u'[')) {
        const qsizetype close = text.lastIndexOf(u']');
        if (close > 0)
            return {LineInfo::Header, text.mid(1, close - 1).trimmed(), {}};
    }
    if (text.startsWith(u';'))
        return {};
    const qsizetype equals = text.indexOf(u'=');
    if (equals > 0)
        return {LineInfo::Key, text.left(equals).trimmed(), text.mid(equals + 1).trimmed()};
    return {};
}

// A character that never stands in a profile file, so that in a file it is damage: the C0 controls but tab
// (a CR only ends a line), DEL, and the C1 controls, which the five bytes that Windows-1252 leaves
// unassigned decode to. The store writes none of them.
bool isBroken(QChar c) {
    const char16_t u = c.unicode();
    return (u < 0x20 && u != u'\t' && u != u'\r') || (u >= 0x7F && u <= 0x9F);
}

qsizetype firstBroken(QStringView line) {
    for (qsizetype i = 0; i < line.size(); ++i) {
        if (isBroken(line[i]))
            return i;
    }
    return -1;
}

bool isBrokenLine(QStringView line) {
    return line.size() > kMaxLineLength || firstBroken(line) >= 0;
}

bool isComment(QStringView line) {
    return line.trimmed().startsWith(u';');
}

// The lines of a file: each break is LF, with a CR before it taken off; the break that ends the last line
// makes no line of its own. `crlf` tells whether the first break is CR LF.
QStringList splitLines(const QString& text, bool& crlf) {
    const qsizetype firstBreak = text.indexOf(u'\n');
    crlf = firstBreak > 0 && text[firstBreak - 1] == u'\r';
    QStringList lines = text.split(u'\n');
    for (QString& line : lines) {
        if (line.endsWith(u'\r'))
            line.chop(1);
    }
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

// The lines of a file's bytes (see ProfileStore for the encodings).
QStringList decodeLines(const QByteArray& bytes, bool& crlf) {
    if (bytes.startsWith("\xFF\xFE") || bytes.startsWith("\xFE\xFF"))
        return splitLines(DecodeTextFile(bytes), crlf);
    QStringDecoder utf8(QStringConverter::Utf8); // skips a leading byte order mark
    const QString whole = utf8(bytes);
    if (!utf8.hasError())
        return splitLines(whole, crlf);
    const QByteArray text = bytes.startsWith("\xEF\xBB\xBF") ? bytes.mid(3) : bytes;
    QStringList lines;
    for (QByteArray line : text.split('\n')) {
        if (line.endsWith('\r'))
            line.chop(1);
        QStringDecoder lineDecoder(QStringConverter::Utf8, QStringConverter::Flag::Stateless);
        const QString decoded = lineDecoder(line);
        lines << (lineDecoder.hasError() ? FromWindows1252(line) : decoded);
    }
    const qsizetype firstBreak = text.indexOf('\n');
    crlf = firstBreak > 0 && text[firstBreak - 1] == '\r';
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

// Why the lines cannot all be read as a profile file, or nothing when they can.
const char* damageOf(const QStringList& lines) {
    bool sawText = false;
    bool sawProfileLine = false;
    qsizetype offset = 0;
    for (const QString& line : lines) {
        if (line.contains(QChar(u'\0')))
            return "contains NUL characters";
        if (firstBroken(line) >= 0)
            return "contains control characters";
        if (line.size() > kMaxLineLength)
            return "has a line longer than 64 KiB";
        if (offset < kProbeLength) {
            sawText = sawText || !line.trimmed().isEmpty();
            sawProfileLine = sawProfileLine || classify(line).kind != LineInfo::Other || isComment(line);
        }
        offset += line.size() + 1;
    }
    return sawText && !sawProfileLine ? "has no section, key or comment line at its start" : nullptr;
}

// Whether a broken line was a key line of the section it stands in, so that it alone is lost: its key name
// and "=" stand whole before the damage, and nothing after the damage may be part of a section header.
bool isBrokenKeyLine(QStringView line) {
    const qsizetype broken = firstBroken(line);
    const qsizetype end = broken >= 0 ? broken : line.size();
    const QString head = line.left(end).toString();
    if (QStringView(head).trimmed().startsWith(u'[') || classify(head).kind != LineInfo::Key)
        return false;
    const QStringView rest = line.mid(end);
    return !rest.contains(u'[') && !rest.contains(u']');
}

// Keeps the lines of a damaged file that can be trusted (see ProfileStore); returns how many it left out.
int recover(QStringList& lines) {
    QStringList kept;
    bool sectionKnown = false; // key lines here belong to the last kept header
    for (const QString& line : lines) {
        if (isBrokenLine(line)) {
            sectionKnown = sectionKnown && isBrokenKeyLine(line);
            continue;
        }
        const LineInfo info = classify(line);
        if (info.kind == LineInfo::Header)
            sectionKnown = true;
        const bool keep = info.kind == LineInfo::Header || (info.kind == LineInfo::Key && sectionKnown) ||
                          line.trimmed().isEmpty() || isComment(line);
        if (keep)
            kept << line;
    }
    const int dropped = int(lines.size() - kept.size());
    lines = std::move(kept);
    return dropped;
}

ProfileProblem problemOf(ProfileProblem::Kind kind, const QString& file, QString text) {
    ProfileProblem problem;
    problem.kind = kind;
    problem.file = file;
    problem.text = std::move(text);
    return problem;
}

// What a string read gives for a value found in the file (already without surrounding blanks).
QString stringRead(QString value) {
    if (value.size() >= 2 && value.front() == u'"' && value.back() == u'"')
        value = value.mid(1, value.size() - 2);
    return value.left(kMaxValueLength);
}

// The leading signed decimal number, accumulated in 32 bits without overflow checks as Windows does.
int32_t leadingNumber(QStringView text) {
    qsizetype i = 0;
    while (i < text.size() && text[i].unicode() <= u' ')
        ++i;
    const bool negative = i < text.size() && text[i] == u'-';
    if (i < text.size() && (text[i] == u'-' || text[i] == u'+'))
        ++i;
    uint32_t number = 0;
    for (; i < text.size() && text[i] >= u'0' && text[i] <= u'9'; ++i)
        number = number * 10u + (text[i].unicode() - u'0');
    return static_cast<int32_t>(negative ? 0u - number : number);
}

// A section or key name that can be written so that it reads back as itself.
bool writableName(const QString& name, bool isKey) {
    if (name.isEmpty() || name.contains(u'\r') || firstBroken(name) >= 0)
        return false;
    if (isKey)
        return !name.contains(u'=') && !name.startsWith(u'[') && !name.startsWith(u';');
    return !name.contains(u']');
}

} // namespace

struct ProfileStore::ParsedFile {
    enum class State { Missing, Ok, Damaged, Unreadable };
    struct Section {
        QString folded;
        int header = 0;
        int end = 0; // one past its last line
        QStringList keyOrder;
        QHash<QString, int> keys; // folded key -> line of its first occurrence
    };

    State state = State::Missing;
    FileStamp stamp;
    QStringList lines;
    bool pending = false; // changed by a batch, not yet on disk
    bool crlf = false;
    QList<Section> sections;
    QHash<QString, int> sectionIndex; // folded name -> first section of that name

    void load(const QString& path, const FileStamp& now, std::vector<ProfileProblem>& reports) {
        stamp = now;
        if (!now.exists)
            return;
        const auto unreadable = [&](const QString& why) {
            state = State::Unreadable; // never replaced: what is there is not ours to overwrite
            reports.push_back(
                problemOf(ProfileProblem::Kind::Unreadable, path,
                          QStringLiteral("%1 %2; its settings are read as empty").arg(path, why)));
        };
        if (!now.regular)
            return unreadable(QStringLiteral("is not a regular file"));
        QFile in(path);
        if (!in.open(QIODevice::ReadOnly))
            return unreadable(QStringLiteral("cannot be read (%1)").arg(in.errorString()));
        const bool tooLarge = now.size > kMaxFileSize;
        lines = decodeLines(in.read(kMaxFileSize), crlf);
        int dropped = 0;
        if (tooLarge && !lines.isEmpty()) {
            lines.removeLast(); // cut at the limit
            ++dropped;
        }
        const char* why = tooLarge ? "is larger than 16 MiB" : damageOf(lines);
        if (why == nullptr) {
            state = State::Ok;
            index();
            return;
        }
        const int read = int(lines.size()) + dropped;
        dropped += recover(lines);
        state = State::Damaged;
        index();
        ProfileProblem damaged = problemOf(
            ProfileProblem::Kind::Damaged, path,
            QStringLiteral("%1 is damaged (%2): %3 of its %4 lines are left out, the settings of the others "
                           "are read")
                .arg(path, QLatin1String(why), QString::number(dropped), QString::number(read)));
        damaged.lines = read;
        damaged.droppedLines = dropped;
        reports.push_back(std::move(damaged));
    }

    void index() {
        sections.clear();
        sectionIndex.clear();
        for (int i = 0; i < lines.size(); ++i) {
            const LineInfo info = classify(lines[i]);
            if (info.kind == LineInfo::Header) {
                if (!sections.isEmpty())
                    sections.last().end = i;
                sections.append({fold(info.name), i, int(lines.size()), {}, {}});
                if (!sectionIndex.contains(sections.last().folded))
                    sectionIndex.insert(sections.last().folded, int(sections.size()) - 1);
            } else if (info.kind == LineInfo::Key && !sections.isEmpty()) {
                Section& section = sections.last();
                const QString key = fold(info.name);
                if (!section.keys.contains(key)) {
                    section.keys.insert(key, i);
                    section.keyOrder.append(info.name.toString());
                }
            }
        }
    }

    const Section* find(const QString& section) const {
        const int at = sectionIndex.value(fold(section), -1);
        return at < 0 ? nullptr : &sections[at];
    }

    std::optional<QString> value(const QString& section, const QString& key) const {
        const Section* found = find(section);
        const int line = found ? found->keys.value(fold(key), -1) : -1;
        if (line < 0)
            return std::nullopt;
        return classify(lines[line]).value.toString();
    }

    QByteArray bytes() const {
        const QString eol = crlf ? QStringLiteral("\r\n") : QStringLiteral("\n");
        return lines.isEmpty() ? QByteArray() : (lines.join(eol) + eol).toUtf8();
    }
};

ProfileStore::ProfileStore(const Clock* clock) : m_clock(clock) {}
ProfileStore::~ProfileStore() = default;

ProfileStore::ParsedFile& ProfileStore::current(const QString& file, Reports& reports) {
    const FileStamp now = stampOf(file);
    std::unique_ptr<ParsedFile>& slot = m_files[file];
    if (!slot || !(slot->stamp == now)) {
        slot = std::make_unique<ParsedFile>();
        slot->load(file, now, reports);
    }
    return *slot;
}

void ProfileStore::deliver(const Reports& reports) const {
    // Called without the lock held, so that the receiver may use the store.
    if (problemReport) {
        for (const ProfileProblem& problem : reports)
            problemReport(problem);
    }
}

std::optional<QString> ProfileStore::rawValue(const QString& section, const QString& key,
                                              const QString& file) {
    Reports reports;
    std::optional<QString> value;
    {
        std::lock_guard lock(m_mutex);
        value = current(file, reports).value(section, key);
    }
    deliver(reports);
    return value;
}

int32_t ProfileStore::GetPrivateProfileInt(const QString& section, const QString& key, int32_t defaultValue,
                                           const QString& file) {
    const std::optional<QString> value = rawValue(section, key, file);
    if (!value)
        return defaultValue;
    const QString text = stringRead(*value);
    return text.isEmpty() ? defaultValue : leadingNumber(text);
}

QString ProfileStore::GetPrivateProfileString(const QString& section, const QString& key,
                                              const QString& defaultValue, const QString& file) {
    if (const std::optional<QString> value = rawValue(section, key, file))
        return stringRead(*value);
    QString fallback = defaultValue.left(kMaxValueLength);
    while (fallback.endsWith(u' '))
        fallback.chop(1);
    return fallback;
}

QStringList ProfileStore::SectionKeys(const QString& section, const QString& file) {
    Reports reports;
    QStringList keys;
    {
        std::lock_guard lock(m_mutex);
        if (const ParsedFile::Section* found = current(file, reports).find(section))
            keys = found->keyOrder;
    }
    deliver(reports);
    return keys;
}

namespace {

// A value ends at a NUL, as the C string it was; a line break would split the line, and another control
// character would make the file read as damaged.
QString writableValue(const QString& value) {
    QString text = value.left(value.indexOf(QChar(u'\0')));
    for (QChar& c : text) {
        if (c == u'\r' || isBroken(c))
            c = u' ';
    }
    return text;
}

} // namespace

bool ProfileStore::WritePrivateProfileString(const QString& section, const QString& key, const QString& value,
                                             const QString& file) {
    return WritePrivateProfileStrings({{section, key, value}}, file);
}

bool ProfileStore::WritePrivateProfileStrings(const std::vector<KeyValue>& values, const QString& file) {
    for (const KeyValue& v : values)
        if (!writableName(v.section.trimmed(), false) || !writableName(v.key.trimmed(), true))
            return false;

    return modify(file, [&](ParsedFile& f) {
        // Keys that exist are changed in place, which moves no line; removals and new keys are gathered
        // per section and applied after, one section at a time.
        struct Pending {
            QString section;
            QStringList added;         // new key lines in the order given
            QSet<QString> addedKeys;   // their folded names, so a key given twice is added once
            QSet<QString> removedKeys; // folded names of keys to remove
        };
        QList<Pending> pending;
        const auto pendingOf = [&](const QString& section) -> Pending& {
            const QString folded = fold(section);
            for (Pending& p : pending)
                if (fold(p.section) == folded)
                    return p;
            pending.append({section, {}, {}, {}});
            return pending.last();
        };
        for (const KeyValue& v : values) {
            const QString sectionName = v.section.trimmed();
            const QString keyName = v.key.trimmed();
            const QString folded = fold(keyName);
            const ParsedFile::Section* found = f.find(sectionName);
            const int line = found ? found->keys.value(folded, -1) : -1;
            if (v.value.isNull()) {
                if (found)
                    pendingOf(sectionName).removedKeys.insert(folded);
                continue;
            }
            const QString text = writableValue(v.value);
            if (line >= 0) {
                const LineInfo info = classify(f.lines[line]);
                if (info.value != text) // an unchanged value keeps its line as the user formatted it
                    f.lines[line] = info.name.toString() + QLatin1Char('=') + text;
                continue;
            }
            Pending& p = pendingOf(sectionName);
            if (!p.addedKeys.contains(folded)) {
                p.addedKeys.insert(folded);
                p.added << keyName + QLatin1Char('=') + text;
            } else {
                // The same new key again: the last value given wins, as with single writes.
                for (QString& added : p.added)
                    if (fold(classify(added).name) == folded)
                        added = keyName + QLatin1Char('=') + text;
            }
        }
        for (const Pending& p : pending) {
            f.index();
            const ParsedFile::Section* found = f.find(p.section);
            if (!found) {
                if (!p.added.isEmpty())
                    f.lines << QLatin1Char('[') + p.section + QLatin1Char(']') << p.added;
                continue;
            }
            const int header = found->header;
            int end = found->end;
            for (int i = end - 1; i > header && !p.removedKeys.isEmpty(); --i) {
                const LineInfo info = classify(f.lines[i]);
                if (info.kind == LineInfo::Key && p.removedKeys.contains(fold(info.name))) {
                    f.lines.removeAt(i);
                    --end;
                }
            }
            int at = end;
            while (at > header + 1 && f.lines[at - 1].trimmed().isEmpty())
                --at;
            for (int i = 0; i < p.added.size(); ++i)
                f.lines.insert(at + i, p.added[i]);
        }
    });
}

bool ProfileStore::DeleteSection(const QString& section, const QString& file) {
    const QString folded = fold(section.trimmed());
    return modify(file, [&](ParsedFile& f) {
        for (int i = int(f.sections.size()) - 1; i >= 0; --i) {
            if (f.sections[i].folded == folded)
                f.lines.remove(f.sections[i].header, f.sections[i].end - f.sections[i].header);
        }
    });
}

bool ProfileStore::createSection(const QString& section, const QString& file) {
    const QString name = section.trimmed();
    if (!writableName(name, false))
        return false;
    return modify(file, [&](ParsedFile& f) {
        if (!f.find(name))
            f.lines << QLatin1Char('[') + name + QLatin1Char(']');
    });
}

bool ProfileStore::modify(const QString& file, const std::function<void(ParsedFile&)>& change) {
    Reports reports;
    bool written = false;
    {
        std::lock_guard lock(m_mutex);
        ParsedFile& old = current(file, reports);
        if (old.state != ParsedFile::State::Unreadable) {
            ParsedFile next;
            next.lines = old.lines; // empty for a missing file; what was read of a damaged one
            next.crlf = old.crlf;
            next.index();
            change(next);
            if (next.lines == old.lines) {
                written = true; // nothing to change leaves the file alone
            } else if (m_batched.count(file)) {
                // Kept in memory until the batch ends; the file's stamp is unchanged, so reads see it.
                old.lines = std::move(next.lines);
                old.index();
                old.pending = true;
                written = true;
            } else {
                written = replace(file, old, std::move(next), reports);
            }
        }
    }
    deliver(reports);
    return written;
}

bool ProfileStore::replace(const QString& file, ParsedFile& old, ParsedFile next, Reports& reports) {
    QSaveFile out(file);
    // Flushed here because commit() lets a short write (a full disk) pass unnoticed.
    const QByteArray bytes = next.bytes();
    if (!out.open(QIODevice::WriteOnly) || out.write(bytes) != bytes.size() || !out.flush())
        return false;
    if (old.state == ParsedFile::State::Damaged) {
        // The user's damaged file is kept under a name of its own before the new one takes its place.
        const QString aside = keepAside(file);
        if (aside.isEmpty()) {
            reports.push_back(problemOf(ProfileProblem::Kind::NotKept, file,
                                        QStringLiteral("%1 is damaged and cannot be kept aside; it is left "
                                                       "as it is and nothing is written to it")
                                            .arg(file)));
            return false;
        }
        ProfileProblem kept = problemOf(ProfileProblem::Kind::KeptAside, file,
                                        QStringLiteral("%1: the damaged file is kept as %2; what was read "
                                                       "from it is written in its place")
                                            .arg(file, aside));
        kept.keptAs = aside;
        reports.push_back(std::move(kept));
    }
    if (!out.commit())
        return false;
    next.state = ParsedFile::State::Ok;
    next.index();
    next.stamp = stampOf(file);
    old = std::move(next);
    return true;
}

QString ProfileStore::keepAside(const QString& file) const {
    const QDateTime when = m_clock ? m_clock->now() : QDateTime::currentDateTime();
    const QString stamped = file + u'.' + when.toString(QStringLiteral("yyyyMMdd-hhmmss"));
    const QByteArray from = QFile::encodeName(file);
    for (int n = 1; n <= 1000; ++n) {
        const QString aside =
            stamped + (n == 1 ? QString() : QStringLiteral("-%1").arg(n)) + QStringLiteral(".bad");
        // A second name for the file: link() never replaces an existing name, and the replacement of the
        // file that follows leaves this one alone.
        if (::link(from.constData(), QFile::encodeName(aside).constData()) == 0)
            return aside;
        if (errno == EEXIST)
            continue;
        // A file system without hard links gets a copy, which QFile never makes over an existing file.
        if (QFile::copy(file, aside))
            return aside;
        if (!QFileInfo::exists(aside))
            return {};
    }
    return {};
}

QString ProfileStore::KeepDamaged(const QString& file) {
    Reports reports;
    QString kept;
    {
        std::lock_guard lock(m_mutex);
        ParsedFile& old = current(file, reports);
        if (old.state == ParsedFile::State::Damaged) {
            ParsedFile next;
            next.lines = old.lines;
            next.crlf = old.crlf;
            if (replace(file, old, std::move(next), reports)) {
                for (const ProfileProblem& problem : reports) {
                    if (problem.kind == ProfileProblem::Kind::KeptAside)
                        kept = problem.keptAs;
                }
            }
        }
    }
    deliver(reports);
    return kept;
}

void ProfileStore::beginBatch(const QString& file) {
    std::lock_guard lock(m_mutex);
    ++m_batched[file];
}

bool ProfileStore::endBatch(const QString& file) {
    Reports reports;
    bool written = true;
    {
        std::lock_guard lock(m_mutex);
        const auto open = m_batched.find(file);
        if (open == m_batched.end())
            return true;
        if (--open->second > 0)
            return true; // an enclosing batch writes
        m_batched.erase(open);
        const auto it = m_files.find(file);
        if (it != m_files.end() && it->second->pending) {
            ParsedFile& old = *it->second;
            old.pending = false;
            ParsedFile next;
            next.lines = old.lines;
            next.crlf = old.crlf;
            written = replace(file, old, std::move(next), reports);
            if (!written)
                m_files.erase(it); // what is on disk is read again
        }
    }
    deliver(reports);
    return written;
}

ProfileBatch::ProfileBatch(ProfileStore& store, QString file) : m_store(store), m_file(std::move(file)) {
    m_store.beginBatch(m_file);
}

ProfileBatch::~ProfileBatch() {
    if (!m_done)
        m_store.endBatch(m_file);
}

bool ProfileBatch::commit() {
    m_done = true;
    return m_store.endBatch(m_file);
}
