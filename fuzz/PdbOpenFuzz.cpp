// libFuzzer target: any bytes as a table file. Each input is opened as a disk book (index files built,
// then read back), as a telephone book, and packed; every record is walked and read as a block, and
// the searches run with keys taken from the records. It is also opened as a call log, twice (the date
// index built, then read back), walked by days and written to. The store must answer with codes, never
// crash or read outside its memory.

#include "platform/pdbstore/PdbStore.h"

#include <QFile>
#include <QString>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace {

const char* const kIndexFiles[] = {"fi0.ndx", "fi1.ndx", "fi2.ndx", "fi3.ndx", "fi1.nde", "fi0.ndx.tmp"};

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

// The input as a call log: a walk over all days, with the block of each record, then writes.
void exerciseLog(pdb::PdbStore& store, const QString& path) {
    int32_t handle = 0;
    if (store.PDB_Open(handle, path, pdb::CallLog) != pdb::Ok)
        return;
    std::array<char, pdb::CallLogBlockSize> block{};
    int32_t lastDay = std::numeric_limits<int32_t>::min();
    int walked = 0;
    for (int32_t code = store.PDB_FindDateEZG(handle, -1e10, 1e10); code == pdb::Ok && walked < 100000;
         code = store.PDB_FindNextDateEZG(handle, -1e10, 1e10), ++walked) {
        if (store.PDB_GetRecordEZG(handle, block.data()) != pdb::Ok)
            std::abort(); // a record the walk stands on is readable
        int32_t day = 0;
        std::memcpy(&day, block.data() + 16, sizeof day);
        if (day < lastDay)
            std::abort(); // the walk goes by day
        lastDay = day;
    }
    if (walked > store.PDB_GetNumRecords(handle))
        std::abort(); // the index holds live records only
    if (store.PDB_GetFirstRecord(handle) == pdb::Ok &&
        store.PDB_GetRecordEZG(handle, block.data()) == pdb::Ok) {
        store.PDB_PutDoubleField(handle, 13, 0.0);
        store.PDB_PutRecord(handle, store.PDB_GetCurRecNo(handle));
        store.PDB_UpdateRecordEZG(handle, block.data());
        store.PDB_PutRecordEZG(handle, block.data());
        store.PDB_DeleteRecord(handle);
    }
    store.PDB_FindDateEZG(handle, 46000, 46001);
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
    writeInput(file, data, size);
    exerciseLog(store, path); // builds the date index and writes its file
    exerciseLog(store, path); // reads it back
    store.PDB_Exit();
    return 0;
}
