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

namespace pdbtest {

using Block = std::array<char, pdb::PhonebookBlockSize>;

// A phonebook entry; text as the block holds it after decoding, without the zero byte and its blanks.
struct Entry {
    double key = 0;
    QString name;
    QString adresse;
    QString plz;
    QString ort;
    QString descript;
    QString number;
    QString number2;
    QString number3;
    QString ansage;
    bool changed = false;
};

// Text fields as the block's layout wants them: value, zero byte, blanks; a value of the full width
// without the zero byte, a longer one cut.
Block ToBlock(const Entry& entry);
// The fields cut at their zero byte (blanks before it kept).
Entry FromBlock(const Block& block);
// The raw text of a block field up to its zero byte (or its width).
QByteArray BlockField(const Block& block, int offset, int width);

// A table in its own temporary folder, with a store that has it open.
class TableFixture : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    QString path(const QString& name = QStringLiteral("book.dbf")) const { return m_dir.filePath(name); }
    // Creates (with index files) and opens a table; fails the test on an error.
    int32_t createAndOpen(int32_t type, const QString& file = QStringLiteral("book.dbf"));
    int32_t reopen(int32_t type);
    // Puts an entry; the key the store gave it.
    double put(Entry entry);
    Entry current();

    QTemporaryDir m_dir;
    pdb::PdbStore m_store;
    int32_t m_handle = 0;
    QString m_path;
};

QByteArray ReadFile(const QString& path);
bool WriteFile(const QString& path, const QByteArray& bytes);

// Runs /usr/bin/python3 on `script` with `args`; false (and the reason in `output`) if it did not end
// well. `module` is imported first: when it is missing, `missing` is set.
bool RunPython(const QString& module, const QString& script, const QStringList& args, QString& output,
               bool& missing);

} // namespace pdbtest
