#include "tests/platform/pdbstore/PdbTestSupport.h"

#include "platform/Windows1252.h"

#include <QFile>
#include <QProcess>

#include <cstring>

#include <sys/stat.h>

namespace pdbtest {

const TextField kTextFields[9] = {{&Entry::name, 8, 50, "NAME"},
                                  {&Entry::adresse, 58, 50, "ADRESSE"},
                                  {&Entry::plz, 108, 10, "PLZ"},
                                  {&Entry::ort, 118, 50, "ORT"},
                                  {&Entry::descript, 168, 127, "DESCRIPT"},
                                  {&Entry::number, 295, 35, "NUMBER"},
                                  {&Entry::number2, 330, 35, "NUMBER2"},
                                  {&Entry::number3, 365, 35, "NUMBER3"},
                                  {&Entry::ansage, 400, 127, "ANSAGE"}};

Entry Named(const QString& name, const QString& number, const QString& number2, const QString& number3,
            double key) {
    return Entry{.key = key, .name = name, .number = number, .number2 = number2, .number3 = number3};
}

Entry Full(const QStringList& texts, bool changed) {
    Entry entry{.changed = changed};
    for (size_t i = 0; i < std::size(kTextFields); ++i)
        entry.*kTextFields[i].member = texts.value(qsizetype(i));
    return entry;
}

void PutText(char* at, int width, const QString& value) {
    const QByteArray bytes = ToWindows1252(value).left(width);
    std::memset(at, ' ', size_t(width));
    std::memcpy(at, bytes.constData(), size_t(bytes.size()));
    if (bytes.size() < width)
        at[bytes.size()] = '\0';
}

Block ToBlock(const Entry& entry) {
    Block block{};
    std::memcpy(block.data(), &entry.key, sizeof entry.key);
    for (const TextField& field : kTextFields)
        PutText(block.data() + field.offset, field.width, entry.*field.member);
    block[627] = entry.changed ? 'T' : 'N';
    return block;
}

namespace {
// The raw text of a block field up to its zero byte (or its width).
QByteArray blockField(const char* block, int offset, int width) {
    const char* in = block + offset;
    const void* zero = std::memchr(in, 0, size_t(width));
    return QByteArray(in, zero != nullptr ? static_cast<const char*>(zero) - in : width);
}
} // namespace

Entry FromBlock(const Block& block) {
    Entry entry;
    std::memcpy(&entry.key, block.data(), sizeof entry.key);
    for (const TextField& field : kTextFields)
        entry.*field.member = FromWindows1252(blockField(block.data(), field.offset, field.width));
    entry.changed = block[627] == 'T';
    return entry;
}

void TableFixture::SetUp() {
    ASSERT_TRUE(m_dir.isValid());
    ASSERT_EQ(m_store.PDB_Init(), pdb::Ok);
}

void TableFixture::TearDown() {
    if (m_handle != 0)
        close();
    m_store.PDB_Exit();
}

int32_t TableFixture::createAndOpen(int32_t type, const QString& file) {
    m_path = path(file);
    const int32_t created = m_store.PDB_Create(m_path, 1, type);
    return created != pdb::Ok ? created : m_store.PDB_Open(m_handle, m_path, type);
}

int32_t TableFixture::reopen(int32_t type) {
    if (m_handle != 0)
        close();
    return m_store.PDB_Open(m_handle, m_path, type);
}

void TableFixture::close() {
    EXPECT_EQ(m_store.PDB_Close(m_handle), pdb::Ok);
    m_handle = 0;
}

double TableFixture::put(Entry entry) {
    Block block = ToBlock(entry);
    EXPECT_EQ(m_store.PDB_PutRecordPHB(m_handle, block.data()), pdb::Ok) << entry.name.toStdString();
    double key = 0;
    std::memcpy(&key, block.data(), sizeof key);
    return key;
}

Block TableFixture::currentBlock() {
    Block block{};
    EXPECT_EQ(m_store.PDB_GetRecordPHB(m_handle, block.data()), pdb::Ok);
    return block;
}

void TableFixture::deleteAt(int32_t number) {
    ASSERT_EQ(m_store.PDB_GetRecord(m_handle, number), pdb::Ok) << number;
    ASSERT_EQ(m_store.PDB_DeleteRecord(m_handle), pdb::Ok) << number;
}

QString IndexFiles(const QString& table) {
    QStringList found;
    for (const QString& suffix : {u"i0.ndx"_s, u"i1.ndx"_s, u"i2.ndx"_s, u"i3.ndx"_s, u"i1.nde"_s})
        if (QFile::exists(table.chopped(4) + suffix))
            found << suffix;
    return found.join(u' ');
}

std::pair<uint64_t, int64_t> FileIdentity(const QString& path) {
    struct stat info {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return {0, 0};
    return {uint64_t(info.st_ino), int64_t(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec};
}

QByteArray ReadFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool WriteFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}

Python RunPython(const QString& module, const QString& script, const QStringList& args, QString& output) {
    const QString guarded =
        u"import sys\ntry:\n    import %1\nexcept ImportError:\n    sys.exit(77)\n"_s.arg(module);
    QProcess python;
    python.start(u"/usr/bin/python3"_s, QStringList{u"-c"_s, guarded + script} + args);
    const bool ended = python.waitForFinished(60000) && python.exitStatus() == QProcess::NormalExit;
    output = QString::fromUtf8(python.readAllStandardOutput());
    if (ended && python.exitCode() == 0)
        return Python::Ran;
    if (python.error() == QProcess::FailedToStart || (ended && python.exitCode() == 77))
        return Python::Missing;
    ADD_FAILURE() << output.toStdString() << QString::fromUtf8(python.readAllStandardError()).toStdString();
    return Python::Failed;
}

} // namespace pdbtest
