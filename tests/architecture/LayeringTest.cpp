// The layering of the sources. The table of layers in docs/ARCHITECTURE.md says which library may include
// which; the build says which target holds which file and links which library. Every include of the
// sources is checked against both, and every failure names the file and the line.

#include "tests/support/TestEnvironment.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QHash>
#include <QRegularExpression>
#include <QSet>

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <set>

namespace {

// A target of the build, as the build wrote it down.
struct Target {
    QString name;
    QString dir;         // relative to the sources' root
    QStringList sources; // relative to the sources' root; generated files left out
    QStringList links;   // direct links, as named in the build
};

// A row of the table of layers.
struct Layer {
    int layer = -1;
    QString library;
    QString folder;
    QSet<QString> mayInclude;
    int line = 0;
};

struct Include {
    QString file; // the including file, relative to the root
    int line = 0;
    QString target; // the included file, relative to the root
};

QString where(const QString& file, int line) {
    return file + QLatin1Char(':') + QString::number(line);
}

class Sources {
public:
    Sources() : m_root(SourceRoot()) {
        readTargets();
        readTable();
        for (const auto& [name, target] : m_targets)
            for (const QString& source : target.sources)
                m_owners[source] << name;
        readIncludes();
    }

    const std::map<QString, Target>& targets() const { return m_targets; }
    const std::map<QString, Layer>& table() const { return m_table; }
    const QHash<QString, QStringList>& owners() const { return m_owners; }
    const std::vector<Include>& includes() const { return m_includes; }
    const QStringList& files() const { return m_files; }
    QString tablePath() const { return QStringLiteral("docs/ARCHITECTURE.md"); }

    // The one target that holds a file; empty when none or several do.
    QString ownerOf(const QString& file) const {
        const QStringList owners = m_owners.value(file);
        return owners.size() == 1 ? owners.front() : QString();
    }
    // The libraries a target links, directly and through the libraries it links.
    QSet<QString> linkClosure(const QString& name) const {
        QSet<QString> seen;
        std::function<void(const QString&)> visit = [&](const QString& target) {
            const auto it = m_targets.find(target);
            if (it == m_targets.end())
                return;
            for (const QString& link : it->second.links)
                if (!seen.contains(link)) {
                    seen.insert(link);
                    visit(link);
                }
        };
        visit(name);
        return seen;
    }
    // The libraries of the table that a library may reach through the table's rows.
    QSet<QString> allowedClosure(const QString& library) const {
        QSet<QString> seen;
        std::function<void(const QString&)> visit = [&](const QString& name) {
            const auto it = m_table.find(name);
            if (it == m_table.end())
                return;
            for (const QString& allowed : it->second.mayInclude)
                if (!seen.contains(allowed)) {
                    seen.insert(allowed);
                    visit(allowed);
                }
        };
        visit(library);
        return seen;
    }
    // The row of the table whose folder is `folder`; null when none.
    const Layer* rowOfFolder(const QString& folder) const {
        for (const auto& [name, row] : m_table)
            if (row.folder == folder)
                return &row;
        return nullptr;
    }

private:
    QString relative(const QString& path) const {
        return QDir(m_root).relativeFilePath(QDir::cleanPath(path));
    }

    void readTargets() {
        QFile file(QStringLiteral(MORVA_TARGETS_FILE));
        if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
            ADD_FAILURE() << "the build's list of targets is missing: " << MORVA_TARGETS_FILE;
            return;
        }
        QString binary;
        Target* current = nullptr;
        const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
        for (const QString& line : lines) {
            const QStringList fields = line.split(QLatin1Char('\t'));
            const QString kind = fields.front();
            if (kind == QLatin1String("binary")) {
                binary = relative(fields.value(1));
            } else if (kind == QLatin1String("folder")) {
                m_buildFolders.insert(relative(fields.value(1)));
            } else if (kind == QLatin1String("target")) {
                Target target{fields.value(1), relative(fields.value(2)), {}, {}};
                current = &(m_targets[target.name] = target);
            } else if (kind == QLatin1String("sources") && current) {
                for (const QString& source : fields.mid(1)) {
                    const QString path =
                        relative(QDir::isAbsolutePath(source)
                                     ? source
                                     : m_root + QLatin1Char('/') + current->dir + QLatin1Char('/') + source);
                    // Generated files (moc, resources) live in the build's folder, and objects are no
                    // sources.
                    if (source.isEmpty() || path.startsWith(QLatin1String("..")) ||
                        (!binary.startsWith(QLatin1String("..")) &&
                         path.startsWith(binary + QLatin1Char('/'))) ||
                        !(path.endsWith(QLatin1String(".cpp")) || path.endsWith(QLatin1String(".h"))))
                        continue;
                    current->sources << path;
                }
            } else if (kind == QLatin1String("links") && current) {
                for (const QString& link : fields.mid(1))
                    if (!link.isEmpty())
                        current->links << link;
            }
        }
        m_binary = binary;
    }

    // The table whose header names the columns "Layer", "Library", "Folder" and "May include".
    void readTable() {
        QFile file(m_root + QLatin1Char('/') + tablePath());
        if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
            ADD_FAILURE() << "cannot read " << tablePath().toStdString();
            return;
        }
        static const QRegularExpression quoted(QStringLiteral("`([^`]+)`"));
        const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
        int layerColumn = -1, libraryColumn = -1, folderColumn = -1, includeColumn = -1;
        bool inTable = false;
        for (int i = 0; i < lines.size(); ++i) {
            const QString line = lines[i].trimmed();
            if (!line.startsWith(QLatin1Char('|'))) {
                inTable = false;
                continue;
            }
            QStringList cells = line.mid(1, line.size() - 2).split(QLatin1Char('|'));
            for (QString& cell : cells)
                cell = cell.trimmed();
            if (!inTable) {
                inTable = true;
                layerColumn = int(cells.indexOf(QStringLiteral("Layer")));
                libraryColumn = int(cells.indexOf(QStringLiteral("Library")));
                folderColumn = int(cells.indexOf(QStringLiteral("Folder")));
                includeColumn = int(cells.indexOf(QStringLiteral("May include")));
                if (layerColumn < 0 || libraryColumn < 0 || folderColumn < 0 || includeColumn < 0)
                    inTable = false;
                continue;
            }
            if (cells.value(0).startsWith(QLatin1String("---")))
                continue;
            Layer row;
            row.line = i + 1;
            bool ok = false;
            row.layer = cells.value(layerColumn).section(QLatin1Char(' '), 0, 0).toInt(&ok);
            row.library = quoted.match(cells.value(libraryColumn)).captured(1);
            row.folder = quoted.match(cells.value(folderColumn)).captured(1);
            if (row.folder.endsWith(QLatin1Char('/')))
                row.folder.chop(1);
            for (auto match = quoted.globalMatch(cells.value(includeColumn)); match.hasNext();)
                row.mayInclude.insert(match.next().captured(1));
            if (!ok || row.library.isEmpty() || row.folder.isEmpty()) {
                ADD_FAILURE() << where(tablePath(), row.line).toStdString()
                              << ": a row of the layers needs a layer number, a library and a folder";
                continue;
            }
            if (m_table.count(row.library))
                ADD_FAILURE() << where(tablePath(), row.line).toStdString() << ": "
                              << row.library.toStdString() << " has a row already";
            m_table[row.library] = row;
        }
        if (m_table.empty())
            ADD_FAILURE() << tablePath().toStdString() << " has no table of layers";
    }

    // Every header and source of the folders this build made (the benchmarks are left out of a sanitizer
    // build, the fuzz project builds on its own), and their quoted includes.
    void readIncludes() {
        static const QRegularExpression include(QStringLiteral(R"re(^\s*#\s*include\s*"([^"]+)")re"));
        QDirIterator it(m_root, {QStringLiteral("*.cpp"), QStringLiteral("*.h")}, QDir::Files,
                        QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = relative(it.next());
            const QString top = path.section(QLatin1Char('/'), 0, 0);
            if (!m_buildFolders.contains(top) ||
                (!m_binary.startsWith(QLatin1String("..")) && path.startsWith(m_binary + QLatin1Char('/'))))
                continue;
            m_files << path;
            QFile file(m_root + QLatin1Char('/') + path);
            if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
                continue;
            const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
            for (int i = 0; i < lines.size(); ++i) {
                const QRegularExpressionMatch match = include.match(lines[i]);
                if (match.hasMatch())
                    m_includes.push_back({path, i + 1, match.captured(1)});
            }
        }
        m_files.sort();
    }

    QString m_root;
    QString m_binary;
    QSet<QString> m_buildFolders;
    std::map<QString, Target> m_targets;
    std::map<QString, Layer> m_table;
    QHash<QString, QStringList> m_owners;
    std::vector<Include> m_includes;
    QStringList m_files;
};

const Sources& sources() {
    static const Sources all;
    return all;
}

QString folderOf(const QString& file) {
    const int slash = int(file.lastIndexOf(QLatin1Char('/')));
    return slash < 0 ? QString() : file.left(slash);
}

TEST(Layering, TheTableOfLayersHasEveryLibraryOnceAndPointsOnlyDownward) {
    const Sources& s = sources();
    for (const auto& [name, row] : s.table()) {
        const std::string at = where(s.tablePath(), row.line).toStdString();
        const auto target = s.targets().find(name);
        if (target == s.targets().end()) {
            ADD_FAILURE() << at << ": the build has no target " << name.toStdString();
            continue;
        }
        EXPECT_EQ(target->second.dir, row.folder)
            << at << ": " << name.toStdString() << " is built in its folder";
        for (const QString& allowed : row.mayInclude) {
            const auto other = s.table().find(allowed);
            if (other == s.table().end())
                ADD_FAILURE() << at << ": " << allowed.toStdString() << " has no row";
            else if (other->second.layer > row.layer)
                ADD_FAILURE() << at << ": " << name.toStdString() << " (layer " << row.layer
                              << ") may not include " << allowed.toStdString() << " of the higher layer "
                              << other->second.layer;
        }
        // A library links nothing of ours that the table does not let it include.
        for (const QString& link : target->second.links)
            if (s.table().count(link) && !row.mayInclude.contains(link))
                ADD_FAILURE() << at << ": " << name.toStdString() << " links " << link.toStdString()
                              << ", which its row does not allow";
    }
    // Every library of the program's folders has its row.
    for (const auto& [name, target] : s.targets()) {
        const QString top = target.dir.section(QLatin1Char('/'), 0, 0);
        if (top == QLatin1String("tests") || top == QLatin1String("bench") || target.sources.isEmpty())
            continue;
        const bool inTable = s.table().count(name) > 0;
        const bool ownFolder = s.rowOfFolder(target.dir) != nullptr;
        EXPECT_TRUE(inTable || ownFolder) << target.dir.toStdString() << ": " << name.toStdString()
                                          << " has no row in " << s.tablePath().toStdString();
    }
}

TEST(Layering, EveryHeaderAndSourceBelongsToOneTarget) {
    const Sources& s = sources();
    ASSERT_GT(s.files().size(), 100);
    for (const QString& file : s.files()) {
        const QStringList owners = s.owners().value(file);
        EXPECT_EQ(owners.size(), 1) << file.toStdString() << ": held by "
                                    << (owners.isEmpty() ? std::string("no target")
                                                         : owners.join(QStringLiteral(", ")).toStdString());
    }
}

TEST(Layering, EveryIncludeIsOfALinkedLibraryThatTheTableAllows) {
    const Sources& s = sources();
    int checked = 0;
    for (const Include& include : s.includes()) {
        const QString from = s.ownerOf(include.file);
        const QString to = s.ownerOf(include.target);
        const std::string at = where(include.file, include.line).toStdString();
        if (!QFile::exists(SourceRoot() + QLatin1Char('/') + include.target)) {
            ADD_FAILURE() << at << ": \"" << include.target.toStdString()
                          << "\" is no file of the sources (includes name the path from the root)";
            continue;
        }
        if (from.isEmpty() || to.isEmpty() || from == to)
            continue; // a file of no target or of several is reported by the test above
        ++checked;
        const Target& target = s.targets().at(from);
        if (!target.links.contains(to))
            ADD_FAILURE() << at << ": " << from.toStdString() << " includes " << include.target.toStdString()
                          << " of " << to.toStdString() << " without linking it";
        const auto row = s.table().find(from);
        if (row != s.table().end() && s.table().count(to) && !row->second.mayInclude.contains(to))
            ADD_FAILURE() << at << ": " << from.toStdString() << " may not include "
                          << include.target.toStdString() << " (" << to.toStdString()
                          << "): see the layers in " << s.tablePath().toStdString();
    }
    EXPECT_GT(checked, 100);
}

TEST(Layering, NoFolderOfTheProgramIsPartOfACycle) {
    const Sources& s = sources();
    // The folders of the libraries in the table, and their includes of one another.
    QSet<QString> folders;
    for (const auto& [name, row] : s.table())
        folders.insert(row.folder);
    std::map<QString, std::map<QString, QString>> edges; // folder -> folder -> the first include seen
    for (const Include& include : s.includes()) {
        const QString from = folderOf(include.file), to = folderOf(include.target);
        if (from != to && folders.contains(from) && folders.contains(to) && !edges[from].count(to))
            edges[from][to] = where(include.file, include.line);
    }
    ASSERT_FALSE(edges.empty());
    // A depth-first walk; a folder met again while it is still open closes a cycle.
    std::map<QString, int> state; // 1 open, 2 done
    QStringList path;
    std::set<QString> reported;
    std::function<void(const QString&)> visit = [&](const QString& folder) {
        state[folder] = 1;
        path << folder;
        for (const auto& [next, at] : edges[folder]) {
            if (state[next] == 1) {
                QStringList cycle = path.mid(path.indexOf(next));
                cycle << next;
                const QString text = cycle.join(QStringLiteral(" -> "));
                if (reported.insert(text).second)
                    ADD_FAILURE() << "the folders form a cycle: " << text.toStdString() << " (closed at "
                                  << at.toStdString() << ")";
            } else if (state[next] == 0) {
                visit(next);
            }
        }
        path.removeLast();
        state[folder] = 2;
    };
    for (const QString& folder : folders)
        if (state[folder] == 0)
            visit(folder);
}

// A test sits in the folder under tests/ that mirrors the folder of the code it tests, and links nothing
// that code may not include: no higher layer and no windows for logic. The stand-ins of tools/ and the
// test support may come along.
TEST(Layering, TestsMirrorTheirFoldersAndLinkOnlyWhatTheirCodeMayReach) {
    const Sources& s = sources();
    int tests = 0;
    for (const auto& [name, target] : s.targets()) {
        if (!target.dir.startsWith(QLatin1String("tests")) || target.sources.isEmpty())
            continue;
        QSet<QString> mirrored;
        for (const QString& source : target.sources) {
            const QString folder = folderOf(source).mid(int(qstrlen("tests/")));
            if (folder == QLatin1String("support") || folder == QLatin1String("architecture"))
                continue;
            if (const Layer* row = s.rowOfFolder(folder))
                mirrored.insert(row->library);
            else
                ADD_FAILURE() << source.toStdString() << ": tests/" << folder.toStdString()
                              << " mirrors no folder of the layers";
        }
        if (mirrored.isEmpty())
            continue;
        ++tests;
        QSet<QString> allowed;
        QSet<QString> external;
        for (const QString& library : mirrored) {
            allowed.insert(library);
            allowed.unite(s.allowedClosure(library));
            external.unite(s.linkClosure(library));
        }
        for (const QString& link : s.linkClosure(name)) {
            const auto row = s.table().find(link);
            const bool standIn =
                row != s.table().end() && row->second.folder.startsWith(QLatin1String("tools/"));
            if (row != s.table().end() && !standIn && !allowed.contains(link))
                ADD_FAILURE() << name.toStdString() << " (" << target.dir.toStdString() << ") links "
                              << link.toStdString() << ", which the code it tests may not include";
            if (link == QLatin1String("Qt6::Widgets") && !external.contains(link))
                ADD_FAILURE() << name.toStdString()
                              << " links Qt Widgets, which the code it tests does not use";
        }
    }
    EXPECT_GT(tests, 10);
}

} // namespace
