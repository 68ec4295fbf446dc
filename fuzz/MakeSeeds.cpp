// Writes the fuzzer's first inputs into the folder given: small tables made by the store itself, one
// empty, one with entries (a deleted one among them), one as a killed append leaves it, and a call log
// with records of several days.

#include "platform/pdbstore/PdbStore.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <array>
#include <cstdio>
#include <cstring>

namespace {

using Block = std::array<char, pdb::PhonebookBlockSize>;

void putText(Block& block, int offset, int width, const QByteArray& value) {
    const int size = std::min<int>(int(value.size()), width);
    std::memcpy(block.data() + offset, value.constData(), size_t(size));
    if (size < width) {
        block[size_t(offset + size)] = '\0';
        std::memset(block.data() + offset + size + 1, ' ', size_t(width - size - 1));
    }
}

Block entry(const QByteArray& name, const QByteArray& number, const QByteArray& number3) {
    Block block{};
    putText(block, 8, 50, name);
    putText(block, 118, 50,
            QByteArray("M\xfc"
                       "nchen"));
    putText(block, 295, 35, number);
    putText(block, 330, 35, QByteArray());
    putText(block, 365, 35, number3);
    block[627] = 'N';
    return block;
}

bool copy(const QString& from, const QString& to) {
    QFile::remove(to);
    return QFile::copy(from, to);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s CORPUS_FOLDER\n", argv[0]);
        return 2;
    }
    const QString corpus = QFile::decodeName(argv[1]);
    QDir().mkpath(corpus);
    QTemporaryDir work;
    pdb::PdbStore store;
    store.PDB_Init();

    const QString empty = work.filePath(QStringLiteral("empty.dbf"));
    const QString book = work.filePath(QStringLiteral("book.dbf"));
    if (store.PDB_Create(empty, 0, pdb::DiskBook) != pdb::Ok ||
        store.PDB_Create(book, 0, pdb::DiskBook) != pdb::Ok)
        return 1;
    int32_t handle = 0;
    if (store.PDB_Open(handle, book, pdb::DiskBook) != pdb::Ok)
        return 1;
    const Block entries[] = {entry("M\xfcller", "0891", "+49 30 1"), entry("Anna", "0892", "0891"),
                             entry("Weg", "555", ""), entry(QByteArray(50, 'N'), QByteArray(35, '7'), "1")};
    for (Block block : entries)
        if (store.PDB_PutRecordPHB(handle, block.data()) != pdb::Ok)
            return 1;
    store.PDB_FindIndexPHB(handle, 3);
    store.PDB_DeleteRecord(handle);
    store.PDB_Close(handle);
    store.PDB_Exit();

    bool ok = copy(empty, corpus + QStringLiteral("/seed-empty.dbf")) &&
              copy(book, corpus + QStringLiteral("/seed-book.dbf"));
    // A killed append: one whole record behind the header's count, and a torn one after it.
    QFile file(book);
    if (ok && file.open(QIODevice::ReadOnly)) {
        QByteArray bytes = file.readAll();
        const int recordSize = 631;
        const QByteArray last = bytes.mid(bytes.size() - 1 - recordSize, recordSize);
        bytes.chop(1);
        bytes += last + last.left(100);
        QFile torn(corpus + QStringLiteral("/seed-killed.dbf"));
        ok = torn.open(QIODevice::WriteOnly | QIODevice::Truncate) && torn.write(bytes) == bytes.size();
    }
    // A call log: records of three days, out of order.
    const QString log = work.filePath(QStringLiteral("log.dbf"));
    ok = ok && store.PDB_Init() == pdb::Ok && store.PDB_Create(log, 0, pdb::CallLog) == pdb::Ok &&
         store.PDB_Open(handle, log, pdb::CallLog) == pdb::Ok;
    for (int32_t day : {46000, 46002, 46001, 46002}) {
        std::array<char, pdb::CallLogBlockSize> record{};
        const double start = day + 0.5;
        std::memcpy(record.data() + 8, &start, sizeof start);
        std::memcpy(record.data() + 16, &day, sizeof day);
        std::memcpy(record.data() + 69, "0891234567", 11);
        ok = ok && store.PDB_PutRecordEZG(handle, record.data()) == pdb::Ok;
    }
    store.PDB_Exit();
    return ok && copy(log, corpus + QStringLiteral("/seed-log.dbf")) ? 0 : 1;
}
