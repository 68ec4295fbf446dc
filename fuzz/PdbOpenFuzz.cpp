// libFuzzer target: any bytes as a table file. Each input is opened as a disk book (index files built,
// then read back), as a telephone book, and packed; every record is walked and read as a block, and
// the searches run with keys taken from the records. The store must answer with codes, never crash or
// read outside its memory.

#include "platform/pdbstore/PdbStore.h"

#include <QFile>
#include <QString>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace {

const char* const kIndexFiles[] = {"fi0.ndx", "fi1.ndx", "fi2.ndx", "fi3.ndx", "fi1.nde"};

// The folder of this process's files: made at the first input, removed with what is in it at exit.
struct WorkFolder {
    std::string path;

    WorkFolder() {
        const char* tmp = std::getenv("TMPDIR");
        path = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/pdbfuzz.XXXXXX";
        if (::mkdtemp(path.data()) == nullptr)
            std::abort();
    }
    ~WorkFolder() {
        for (const char* name : kIndexFiles)
            ::unlink((path + "/" + name).c_str());
        ::unlink((path + "/f.dbf").c_str());
        ::unlink((path + "/f.dbf.pack").c_str());
        ::rmdir(path.c_str());
    }
};

const std::string& workFolder() {
    static const WorkFolder folder;
    return folder.path;
}

void writeInput(const std::string& path, const uint8_t* data, size_t size) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0)
        std::abort();
    while (size > 0) {
        const ssize_t put = ::write(fd, data, size);
        if (put <= 0)
            std::abort();
        data += put;
        size -= size_t(put);
    }
    ::close(fd);
    for (const char* name : kIndexFiles)
        ::unlink((workFolder() + "/" + name).c_str());
}

QString blockText(const char* block, int offset, int width) {
    const void* zero = std::memchr(block + offset, 0, size_t(width));
    const int size = zero != nullptr ? int(static_cast<const char*>(zero) - (block + offset)) : width;
    return QString::fromLatin1(block + offset, size);
}

void exercise(pdb::PdbStore& store, const QString& path, int32_t type, bool write) {
    int32_t handle = 0;
    if (store.PDB_Open(handle, path, type) != pdb::Ok)
        return;
    std::array<char, pdb::PhonebookBlockSize> block{};
    double key = 1;
    QString name = QStringLiteral("Müller");
    QString number = QStringLiteral("0891");
    int walked = 0;
    for (int32_t code = store.PDB_GetFirstRecord(handle); code == pdb::Ok && walked < 100000;
         code = store.PDB_GetNextRecord(handle), ++walked) {
        if (store.PDB_GetRecordPHB(handle, block.data()) != pdb::Ok)
            std::abort(); // a record the walk stands on is readable
        std::memcpy(&key, block.data(), sizeof key);
        name = blockText(block.data(), 8, 50);
        number = blockText(block.data(), 295 + 35 * (walked % 3), 35);
    }
    if (walked != store.PDB_GetNumRecords(handle) && walked < 100000)
        std::abort(); // the count of live records is what a walk sees

    store.PDB_Find(handle, name.leftJustified(50, QLatin1Char(' ')) + QChar(0), 1, 5);
    store.PDB_Find(handle, name.left(3), 0, 8);
    store.PDB_Find(handle, number.left(pdb::NumberKeyWidth), 6, 1 | 2 | 4);
    store.PDB_FindNumberPHB(handle, number);
    store.PDB_FindIndexPHB(handle, key);
    store.PDB_GetLastRecord(handle);
    if (write) {
        store.PDB_GetRecordPHB(handle, block.data());
        std::memset(block.data(), 0, sizeof(double));
        store.PDB_PutRecordPHB(handle, block.data());
        store.PDB_PutField(handle, 6, QStringLiteral("0891"));
        store.PDB_PutRecord(handle, store.PDB_GetCurRecNo(handle));
        if (store.PDB_FindIndexPHB(handle, key) == pdb::Ok)
            store.PDB_DeleteRecord(handle);
        store.PDB_FindNumberPHB(handle, QStringLiteral("0891"));
    }
    store.PDB_Close(handle);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string file = workFolder() + "/f.dbf";
    const QString path = QFile::decodeName(file.c_str());
    pdb::PdbStore store;
    store.PDB_Init();

    writeInput(file, data, size);
    exercise(store, path, pdb::DiskBook, false); // builds the indexes and writes their files
    exercise(store, path, pdb::DiskBook, true);  // reads them back, then writes
    writeInput(file, data, size);
    exercise(store, path, pdb::TelephoneBook, false);
    if (store.PDB_PackDatabase(path) == pdb::Ok)
        exercise(store, path, pdb::OldDiskBook, false);
    store.PDB_Exit();
    return 0;
}
