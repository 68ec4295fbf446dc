#include "platform/profile/ProfileStore.h"

#include "platform/Windows1252.h"

#include <QFile>
#include <QHash>
#include <QSaveFile>

#include <sys/stat.h>

#include <cstdio>

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

// Why the text cannot be a profile file, or nothing when it can be one.
const char* garbledReason(const QString& text) {
    if (text.contains(QChar(u'\0')))
        return "contains NUL characters";
    bool sawText = false;
    bool sawProfileLine = false;
    for (qsizetype start = 0; start < text.size();) {
        qsizetype end = text.indexOf(u'\n', start);
        if (end < 0)
            end = text.size();
        if (end - start > kMaxLineLength)
            return "has a line longer than 64 KiB";
        if (start < kProbeLength) {
            const QString line = text.mid(start, end - start);
            sawText = sawText || !line.trimmed().isEmpty();
            sawProfileLine =
                sawProfileLine || classify(line).kind != LineInfo::Other || line.trimmed().startsWith(u';');
        }
        start = end + 1;
    }
    return sawText && !sawProfileLine ? "has no section, key or comment line at its start" : nullptr;
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
    if (name.isEmpty() || name.contains(u'\n') || name.contains(u'\r') || name.contains(QChar(u'\0')))
        return false;
    if (isKey)
        return !name.contains(u'=') && !name.startsWith(u'[') && !name.startsWith(u';');
    return !name.contains(u']');
}

} // namespace

struct ProfileStore::ParsedFile {
    enum class State { Missing, Ok, Garbled, Unreadable };
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

    void load(const QString& path, const FileStamp& now, QStringList& reports) {
        stamp = now;
        if (!now.exists)
            return;
        const auto unusable = [&](const QString& why) {
            state = now.regular ? State::Garbled : State::Unreadable; // a folder or device is never replaced
            reports << QStringLiteral("%1 %2; its settings are read as empty").arg(path, why);
        };
        if (!now.regular)
            return unusable(QStringLiteral("is not a regular file"));
        if (now.size > kMaxFileSize)
            return unusable(QStringLiteral("is larger than 16 MiB"));
        QFile in(path);
        if (!in.open(QIODevice::ReadOnly)) {
            state = State::Unreadable;
            reports << QStringLiteral("%1 cannot be read (%2); its settings are read as empty")
                           .arg(path, in.errorString());
            return;
        }
        const QString text = DecodeTextFile(in.readAll());
        if (const char* why = garbledReason(text))
            return unusable(QLatin1String(why));
        const qsizetype firstBreak = text.indexOf(u'\n');
        crlf = firstBreak > 0 && text[firstBreak - 1] == u'\r';
        lines = text.split(u'\n');
        for (QString& line : lines) {
            if (line.endsWith(u'\r'))
                line.chop(1);
        }
        if (!lines.isEmpty() && lines.last().isEmpty())
            lines.removeLast(); // the break that ends the last line
        state = State::Ok;
        index();
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

ProfileStore::ProfileStore() = default;
ProfileStore::~ProfileStore() = default;

ProfileStore::ParsedFile& ProfileStore::current(const QString& file, QStringList& reports) {
    const FileStamp now = stampOf(file);
    std::unique_ptr<ParsedFile>& slot = m_files[file];
    if (!slot || !(slot->stamp == now)) {
        slot = std::make_unique<ParsedFile>();
        slot->load(file, now, reports);
    }
    return *slot;
}

void ProfileStore::deliver(const QStringList& reports) const {
    // Called without the lock held, so that the receiver may use the store.
    if (problemReport) {
        for (const QString& line : reports)
            problemReport(line);
    }
}

std::optional<QString> ProfileStore::rawValue(const QString& section, const QString& key,
                                              const QString& file) {
    QStringList reports;
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
    QStringList reports;
    QStringList keys;
    {
        std::lock_guard lock(m_mutex);
        if (const ParsedFile::Section* found = current(file, reports).find(section))
            keys = found->keyOrder;
    }
    deliver(reports);
    return keys;
}

bool ProfileStore::WritePrivateProfileString(const QString& section, const QString& key, const QString& value,
                                             const QString& file) {
    const QString sectionName = section.trimmed();
    const QString keyName = key.trimmed();
    if (!writableName(sectionName, false) || !writableName(keyName, true))
        return false;
    // A value ends at a NUL, as the C string it was; a line break would split the line.
    QString text = value.left(value.indexOf(QChar(u'\0')));
    text.replace(u'\r', u' ').replace(u'\n', u' ');
    const QString folded = fold(keyName);

    return modify(file, [&](ParsedFile& f) {
        const ParsedFile::Section* found = f.find(sectionName);
        if (value.isNull()) {
            for (int i = found ? found->end - 1 : -1; found && i > found->header; --i) {
                const LineInfo info = classify(f.lines[i]);
                if (info.kind == LineInfo::Key && fold(info.name) == folded)
                    f.lines.removeAt(i);
            }
            return;
        }
        if (!found) {
            f.lines << QLatin1Char('[') + sectionName + QLatin1Char(']') << keyName + QLatin1Char('=') + text;
            return;
        }
        if (const int line = found->keys.value(folded, -1); line >= 0) {
            const LineInfo info = classify(f.lines[line]);
            if (info.value != text) // an unchanged value keeps its line as the user formatted it
                f.lines[line] = info.name.toString() + QLatin1Char('=') + text;
            return;
        }
        int at = found->end;
        while (at > found->header + 1 && f.lines[at - 1].trimmed().isEmpty())
            --at;
        f.lines.insert(at, keyName + QLatin1Char('=') + text);
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
    QStringList reports;
    bool written = false;
    {
        std::lock_guard lock(m_mutex);
        ParsedFile& old = current(file, reports);
        if (old.state != ParsedFile::State::Unreadable) {
            ParsedFile next;
            next.lines = old.lines; // empty for a missing or garbled file
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

bool ProfileStore::replace(const QString& file, ParsedFile& old, ParsedFile next, QStringList& reports) {
    QSaveFile out(file);
    // Flushed here because commit() lets a short write (a full disk) pass unnoticed.
    const QByteArray bytes = next.bytes();
    const bool ready = out.open(QIODevice::WriteOnly) && out.write(bytes) == bytes.size() && out.flush();
    bool keptAside = false;
    if (ready && old.state == ParsedFile::State::Garbled) {
        // The user's file is kept beside the new one rather than overwritten.
        const QString aside = file + QStringLiteral(".bad");
        keptAside =
            std::rename(QFile::encodeName(file).constData(), QFile::encodeName(aside).constData()) == 0;
        if (keptAside)
            reports << QStringLiteral("%1 was not a profile file; kept as %2, a new file is started")
                           .arg(file, aside);
    }
    if (!ready || (!keptAside && old.state == ParsedFile::State::Garbled) || !out.commit())
        return false;
    next.state = ParsedFile::State::Ok;
    next.index();
    next.stamp = stampOf(file);
    old = std::move(next);
    return true;
}

void ProfileStore::beginBatch(const QString& file) {
    std::lock_guard lock(m_mutex);
    ++m_batched[file];
}

bool ProfileStore::endBatch(const QString& file) {
    QStringList reports;
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
