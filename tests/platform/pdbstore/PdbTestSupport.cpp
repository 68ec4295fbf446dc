#include "PdbTestSupport.h"

#include "platform/Windows1252.h"

#include <QFile>
#include <QProcess>

#include <cstring>

namespace pdbtest {
namespace {

struct Place {
    int offset;
    int width;
};
constexpr Place kName{8, 50}, kAdresse{58, 50}, kPlz{108, 10}, kOrt{118, 50}, kDescript{168, 127},
    kNumber{295, 35}, kNumber2{330, 35}, kNumber3{365, 35}, kAnsage{400, 127};

void putText(Block& block, Place place, const QString& value) {
    const QByteArray bytes = ToWindows1252(value);
    char* out = block.data() + place.offset;
    if (bytes.size() >= place.width) {
        std::memcpy(out, bytes.constData(), size_t(place.width));
        return;
    }
    std::memcpy(out, bytes.constData(), size_t(bytes.size()));
    out[bytes.size()] = '\0';
    std::memset(out + bytes.size() + 1, ' ', size_t(place.width - bytes.size() - 1));
}

QString getText(const Block& block, Place place) {
    return FromWindows1252(BlockField(block, place.offset, place.width));
}

} // namespace

Block ToBlock(const Entry& entry) {
    Block block{};
    std::memcpy(block.data(), &entry.key, sizeof entry.key);
    putText(block, kName, entry.name);
    putText(block, kAdresse, entry.adresse);
    putText(block, kPlz, entry.plz);
    putText(block, kOrt, entry.ort);
    putText(block, kDescript, entry.descript);
    putText(block, kNumber, entry.number);
    putText(block, kNumber2, entry.number2);
    putText(block, kNumber3, entry.number3);
    putText(block, kAnsage, entry.ansage);
    block[627] = entry.changed ? 'T' : 'N';
    block[628] = '\0';
    return block;
}

QByteArray BlockField(const Block& block, int offset, int width) {
    const char* in = block.data() + offset;
    const void* zero = std::memchr(in, 0, size_t(width));
    return QByteArray(in, zero != nullptr ? static_cast<const char*>(zero) - in : width);
}

Entry FromBlock(const Block& block) {
    Entry entry;
    std::memcpy(&entry.key, block.data(), sizeof entry.key);
    entry.name = getText(block, kName);
    entry.adresse = getText(block, kAdresse);
    entry.plz = getText(block, kPlz);
    entry.ort = getText(block, kOrt);
    entry.descript = getText(block, kDescript);
    entry.number = getText(block, kNumber);
    entry.number2 = getText(block, kNumber2);
    entry.number3 = getText(block, kNumber3);
    entry.ansage = getText(block, kAnsage);
    entry.changed = block[627] == 'T';
    return entry;
}

void TableFixture::SetUp() {
    ASSERT_TRUE(m_dir.isValid());
    ASSERT_EQ(m_store.PDB_Init(), pdb::Ok);
}

void TableFixture::TearDown() {
    if (m_handle != 0) {
        EXPECT_EQ(m_store.PDB_Close(m_handle), pdb::Ok);
    }
    m_handle = 0;
    m_store.PDB_Exit();
}

int32_t TableFixture::createAndOpen(int32_t type, const QString& file) {
    m_path = path(file);
    const int32_t created = m_store.PDB_Create(m_path, 1, type);
    if (created != pdb::Ok)
        return created;
    return m_store.PDB_Open(m_handle, m_path, type);
}

int32_t TableFixture::reopen(int32_t type) {
    if (m_handle != 0) {
        const int32_t closed = m_store.PDB_Close(m_handle);
        m_handle = 0;
        if (closed != pdb::Ok)
            return closed;
    }
    return m_store.PDB_Open(m_handle, m_path, type);
}

double TableFixture::put(Entry entry) {
    Block block = ToBlock(entry);
    EXPECT_EQ(m_store.PDB_PutRecordPHB(m_handle, block.data()), pdb::Ok) << entry.name.toStdString();
    double key = 0;
    std::memcpy(&key, block.data(), sizeof key);
    return key;
}

Entry TableFixture::current() {
    Block block{};
    EXPECT_EQ(m_store.PDB_GetRecordPHB(m_handle, block.data()), pdb::Ok);
    return FromBlock(block);
}

QByteArray ReadFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool WriteFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}

bool RunPython(const QString& module, const QString& script, const QStringList& args, QString& output,
               bool& missing) {
    missing = false;
    QProcess probe;
    probe.start(QStringLiteral("/usr/bin/python3"),
                {QStringLiteral("-c"), QStringLiteral("import ") + module});
    if (!probe.waitForFinished(30000) || probe.exitStatus() != QProcess::NormalExit ||
        probe.exitCode() != 0) {
        missing = true;
        output = QString::fromUtf8(probe.readAllStandardError());
        return false;
    }
    QProcess python;
    python.start(QStringLiteral("/usr/bin/python3"), QStringList{QStringLiteral("-c"), script} + args);
    const bool finished = python.waitForFinished(60000);
    output = QString::fromUtf8(python.readAllStandardOutput());
    if (!finished || python.exitStatus() != QProcess::NormalExit || python.exitCode() != 0) {
        output += QString::fromUtf8(python.readAllStandardError());
        return false;
    }
    return true;
}

} // namespace pdbtest
