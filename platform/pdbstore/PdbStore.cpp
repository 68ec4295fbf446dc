#include "platform/pdbstore/PdbStore.h"

#include "platform/pdbstore/PdbSchema.h"
#include "platform/pdbstore/Table.h"

#include <QDate>
#include <QFile>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace pdb {
namespace {

const char* errorText(int32_t code) {
    switch (code) {
    case Ok:
        return "No error.";
    case NotInitialised:
        return "The phonebook store has not been initialised.";
    case BadHandle:
        return "No table is open under this handle.";
    case BadType:
        return "This kind of table is not known.";
    case FileExists:
        return "The file exists already.";
    case CannotCreate:
        return "The file could not be created.";
    case FileNotFound:
        return "The file does not exist.";
    case CannotOpen:
        return "The file could not be opened for reading and writing.";
    case InUse:
        return "The table is in use by another program.";
    case NotDbase:
        return "The file is not a dBase table.";
    case WrongLayout:
        return "The table does not have the columns of this kind of table.";
    case Truncated:
        return "The file is shorter than its header says: records are missing.";
    case ReadFailed:
        return "The table could not be read.";
    case WriteFailed:
        return "The table could not be written.";
    case EndOfFile:
        return "There is no further record.";
    case NotFound:
        return "No record was found.";
    case NoCurrentRecord:
        return "There is no current record.";
    case RecordDeleted:
        return "The record is deleted.";
    case BadRecordNumber:
        return "There is no record with this number.";
    case BadColumn:
        return "There is no column with this number, or it is not of the right type.";
    case BadValue:
        return "The column cannot hold this value.";
    case NotIndexed:
        return "The table has no index of its numbers.";
    case IndexWriteFailed:
        return "The table was closed, but an index file could not be written; it is rebuilt at the next "
               "open.";
    case Shrunk:
        return "Records are gone: another program has shortened the table.";
    default:
        return nullptr;
    }
}

// The operation on the table of a handle; NotInitialised or BadHandle without one.
template <typename Operation> int32_t withTable(bool initialised, Table* table, Operation operation) {
    if (!initialised)
        return NotInitialised;
    return table == nullptr ? int32_t(BadHandle) : operation(*table);
}

// The same for the operations of books only (`log` false) or of the call log only (`log` true): on a
// table of the other kind they fail with BadType. Their blocks differ in size, so neither may touch
// the other's.
template <typename Operation>
int32_t withTableOf(bool log, bool initialised, Table* table, Operation operation) {
    return withTable(initialised, table, [&](Table& t) {
        return (t.type() == CallLog) != log ? int32_t(BadType) : operation(t);
    });
}

// Makes the file of an empty table of `schema`. The table is written under a temporary name beside it and
// then takes its name in one step that replaces nothing, so a process killed on the way leaves either no
// table or a whole one: never a file without header that fails every later open and blocks the create.
// A temporary file left by a killed process is written over by the next create.
int32_t createFile(const QByteArray& native, const Schema& schema) {
    if (::access(native.constData(), F_OK) == 0)
        return FileExists;
    const QByteArray temporary = native + ".create";
    const int fd = ::open(temporary.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0)
        return CannotCreate;
    QByteArray bytes = DbfFile::makeHeader(schema, 0);
    bytes.append(DbfFile::EndMarker);
    bool ok = WriteAt(fd, bytes.constData(), size_t(bytes.size()), 0);
    ok = ::close(fd) == 0 && ok;
    if (ok &&
        ::renameat2(AT_FDCWD, temporary.constData(), AT_FDCWD, native.constData(), RENAME_NOREPLACE) == 0)
        return Ok;
    int error = ok ? errno : EIO;
    if (error == EINVAL || error == ENOSYS) {
        // A file system without the no-replace rename: a hard link fails on a name that exists as well.
        error = ::link(temporary.constData(), native.constData()) == 0 ? 0 : errno;
        if (error == EPERM || error == EOPNOTSUPP) // nor hard links (FAT): the check above must do
            error = ::access(native.constData(), F_OK) == 0                    ? EEXIST
                    : ::rename(temporary.constData(), native.constData()) == 0 ? 0
                                                                               : errno;
    }
    ::unlink(temporary.constData()); // gone already after a rename
    if (error == 0)
        return Ok;
    return error == EEXIST ? FileExists : CannotCreate;
}

} // namespace

PdbStore::PdbStore() = default;

PdbStore::~PdbStore() {
    for (auto& [handle, table] : m_tables)
        table->close();
}

Table* PdbStore::table(int32_t handle) const {
    if (!m_initialised)
        return nullptr;
    const auto found = m_tables.find(handle);
    return found == m_tables.end() ? nullptr : found->second.get();
}

int32_t PdbStore::PDB_Init() {
    m_initialised = true;
    ++m_users;
    return Ok;
}

int32_t PdbStore::PDB_Exit() {
    if (!m_initialised)
        return NotInitialised;
    if (--m_users > 0)
        return Ok;
    int32_t code = Ok;
    for (auto& [handle, table] : m_tables) {
        const int32_t closed = table->close();
        if (code == Ok)
            code = closed;
    }
    m_tables.clear();
    m_initialised = false;
    return code;
}

int32_t PdbStore::PDB_Create(const QString& path, int32_t withIndex, int32_t type) {
    if (!m_initialised)
        return NotInitialised;
    const Schema* schema = SchemaForType(type);
    if (schema == nullptr)
        return BadType;
    const int32_t created = createFile(QFile::encodeName(path), *schema);
    if (created != Ok)
        return created;
    if (withIndex == 0)
        return Ok;
    // Empty indexes that belong to the new table: opening it then reads instead of building them.
    std::unique_ptr<Table> opened;
    const int32_t code = Table::Open(path, *schema, opened);
    if (code != Ok)
        return code;
    return opened->close(true) == Ok ? Ok : IndexWriteFailed;
}

int32_t PdbStore::PDB_Open(int32_t& handle, const QString& path, int32_t type) {
    handle = 0;
    if (!m_initialised)
        return NotInitialised;
    const Schema* schema = SchemaForType(type);
    if (schema == nullptr)
        return BadType;
    std::unique_ptr<Table> opened;
    const int32_t code = Table::Open(path, *schema, opened);
    if (code != Ok)
        return code;
    int32_t free = 1;
    while (m_tables.count(free) != 0)
        ++free;
    m_tables.emplace(free, std::move(opened));
    handle = free;
    return Ok;
}

int32_t PdbStore::PDB_Close(int32_t handle) {
    if (!m_initialised)
        return NotInitialised;
    const auto found = m_tables.find(handle);
    if (found == m_tables.end())
        return BadHandle;
    const int32_t code = found->second->close();
    m_tables.erase(found);
    return code;
}

int32_t PdbStore::PDB_PackDatabase(const QString& path) {
    if (!m_initialised)
        return NotInitialised;
    return Table::Pack(path);
}

int32_t PdbStore::PDB_GetNumRecords(int32_t handle, int32_t) {
    Table* t = table(handle);
    return t == nullptr ? 0 : int32_t(t->liveCount());
}

int32_t PdbStore::PDB_GetFirstRecord(int32_t handle) {
    return withTable(m_initialised, table(handle), [](Table& t) { return t.first(); });
}

int32_t PdbStore::PDB_GetNextRecord(int32_t handle) {
    return withTable(m_initialised, table(handle), [](Table& t) { return t.next(); });
}

int32_t PdbStore::PDB_GetLastRecord(int32_t handle) {
    return withTable(m_initialised, table(handle), [](Table& t) { return t.last(); });
}

int32_t PdbStore::PDB_GetRecord(int32_t handle, int32_t recordNumber) {
    return withTable(m_initialised, table(handle), [&](Table& t) { return t.go(recordNumber); });
}

int32_t PdbStore::PDB_GetCurRecNo(int32_t handle) const {
    const Table* t = table(handle);
    return t == nullptr ? 0 : int32_t(t->current());
}

int32_t PdbStore::PDB_PutRecord(int32_t handle, int32_t recordNumber) {
    return withTable(m_initialised, table(handle), [&](Table& t) { return t.putRecord(recordNumber); });
}

int32_t PdbStore::PDB_DeleteRecord(int32_t handle) {
    return withTable(m_initialised, table(handle), [](Table& t) { return t.deleteCurrent(); });
}

int32_t PdbStore::PDB_GetRecordPHB(int32_t handle, char* block) {
    return withTableOf(false, m_initialised, table(handle),
                       [&](Table& t) { return block == nullptr ? int32_t(BadValue) : t.getBlock(block); });
}

int32_t PdbStore::PDB_PutRecordPHB(int32_t handle, char* block) {
    return withTableOf(false, m_initialised, table(handle),
                       [&](Table& t) { return block == nullptr ? int32_t(BadValue) : t.putBlock(block); });
}

int32_t PdbStore::PDB_FindIndexPHB(int32_t handle, double key) {
    return withTableOf(false, m_initialised, table(handle), [&](Table& t) { return t.findKey(key); });
}

int32_t PdbStore::PDB_FindNumberPHB(int32_t handle, const QString& key) {
    return withTableOf(false, m_initialised, table(handle), [&](Table& t) { return t.findNumber(key); });
}

int32_t PdbStore::PDB_Find(int32_t handle, const QString& text, int32_t column, int32_t flags) {
    return withTable(m_initialised, table(handle), [&](Table& t) { return t.find(text, column, flags); });
}

int32_t PdbStore::PDB_PutRecordEZG(int32_t handle, const char* block) {
    return withTableOf(true, m_initialised, table(handle),
                       [&](Table& t) { return block == nullptr ? int32_t(BadValue) : t.appendBlock(block); });
}

int32_t PdbStore::PDB_GetRecordEZG(int32_t handle, char* block) {
    return withTableOf(true, m_initialised, table(handle),
                       [&](Table& t) { return block == nullptr ? int32_t(BadValue) : t.getBlock(block); });
}

int32_t PdbStore::PDB_UpdateRecordEZG(int32_t handle, const char* block) {
    return withTableOf(true, m_initialised, table(handle),
                       [&](Table& t) { return block == nullptr ? int32_t(BadValue) : t.updateBlock(block); });
}

int32_t PdbStore::PDB_FindDateEZG(int32_t handle, double from, double to) {
    return withTableOf(true, m_initialised, table(handle), [&](Table& t) { return t.findDate(from, to); });
}

int32_t PdbStore::PDB_FindNextDateEZG(int32_t handle, double from, double to) {
    return withTableOf(true, m_initialised, table(handle),
                       [&](Table& t) { return t.findNextDate(from, to); });
}

int32_t PdbStore::PDB_GETJulianDays(int32_t, const QString& text) const {
    const qsizetype zero = text.indexOf(QChar(0));
    const QString day = zero < 0 ? text : text.left(zero);
    if (day.size() != 8 || !std::all_of(day.begin(), day.end(), [](QChar c) {
            return c >= QLatin1Char('0') && c <= QLatin1Char('9');
        }))
        return 0;
    const QDate date(day.left(4).toInt(), day.mid(4, 2).toInt(), day.right(2).toInt());
    return date.isValid() ? int32_t(QDate(1899, 12, 30).daysTo(date)) : 0;
}

int32_t PdbStore::PDB_FieldCount(int32_t handle) const {
    const Table* t = table(handle);
    return t == nullptr ? 0 : t->fieldCount();
}

int32_t PdbStore::PDB_PutField(int32_t handle, int32_t column, const QString& text) {
    return withTable(m_initialised, table(handle), [&](Table& t) { return t.putField(column, text); });
}

int32_t PdbStore::PDB_PutDoubleField(int32_t handle, int32_t column, double value) {
    return withTable(m_initialised, table(handle), [&](Table& t) { return t.putDouble(column, value); });
}

int32_t PdbStore::PDB_TranslateError(int32_t code, QString& text) const {
    const char* known = errorText(code);
    text = known != nullptr ? QString::fromLatin1(known) : QStringLiteral("Unknown error %1.").arg(code);
    return m_initialised ? Ok : NotInitialised;
}

} // namespace pdb
