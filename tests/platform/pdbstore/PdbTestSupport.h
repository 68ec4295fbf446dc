#pragma once

// Shared pieces of the store's tests: phonebook entries as record blocks, a table in a temporary
// folder, the file's bytes, and the third-party dBase readers run through the system's Python.

#include "platform/pdbstore/PdbStore.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <tuple>
#include <utility>

namespace pdbtest {

using namespace Qt::Literals::StringLiterals;
using Block = std::array<char, pdb::PhonebookBlockSize>;

// A phonebook table in the file: its header and its records.
inline constexpr int kHeaderSize = 32 + 15 * 32 + 1;
inline constexpr int kRecordSize = 631;

// A phonebook entry; text as the block holds it after decoding, without the zero byte and its blanks.
struct Entry {
    double key = 0;
    QString name{}, adresse{}, plz{}, ort{}, descript{}, number{}, number2{}, number3{}, ansage{};
    bool changed = false;
};
Entry Named(const QString& name, const QString& number = {}, const QString& number2 = {},
            const QString& number3 = {}, double key = 0);
// An entry with its nine texts in the order of the block.
Entry Full(const QStringList& texts, bool changed = false);

// The text fields of a phonebook block, with their column; block and column have the same width.
struct TextField {
    QString Entry::*member;
    int offset;
    int width;
    const char* column;
};
extern const TextField kTextFields[9];

// Text as a block holds it: value, zero byte, blanks; a value of the full width without the zero byte,
// a longer one cut.
void PutText(char* at, int width, const QString& value);
Block ToBlock(const Entry& entry);
Entry FromBlock(const Block& block);

// A table in its own temporary folder, with a store that has it open.
class TableFixture : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    QString path(const QString& name = u"book.dbf"_s) const { return m_dir.filePath(name); }
    // Creates (with index files) and opens a table.
    int32_t createAndOpen(int32_t type, const QString& file = u"book.dbf"_s);
    int32_t reopen(int32_t type);
    void close();
    // Puts an entry; the key the store gave it.
    double put(Entry entry);
    Block currentBlock();
    Entry current() { return FromBlock(currentBlock()); }
    void deleteAt(int32_t recordNumber);
    // The name of the record a search positioned on; empty when it found none.
    QString named(int32_t code) { return code == pdb::Ok ? current().name : QString(); }
    QString findNumber(const QString& key) { return named(m_store.PDB_FindNumberPHB(m_handle, key)); }
    QString findKey(double key) { return named(m_store.PDB_FindIndexPHB(m_handle, key)); }

    QTemporaryDir m_dir;
    pdb::PdbStore m_store;
    int32_t m_handle = 0;
    QString m_path;
};

// The index files beside a table that exist, by their suffix: "i0.ndx i1.nde".
QString IndexFiles(const QString& table);
// The inode and modification time of a file: equal when nobody wrote it in between.
std::pair<uint64_t, int64_t> FileIdentity(const QString& path);
QByteArray ReadFile(const QString& path);
bool WriteFile(const QString& path, const QByteArray& bytes);

// Runs /usr/bin/python3 -c `script` `args`: Missing when `module` cannot be imported; Failed, with a
// test failure that shows the script's output, when it does not end well.
enum class Python { Ran, Missing, Failed };
Python RunPython(const QString& module, const QString& script, const QStringList& args, QString& output);

} // namespace pdbtest
