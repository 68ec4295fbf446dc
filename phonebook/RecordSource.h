#pragma once

// What a phonebook entry needs from the file that holds it: one record block read from the position of
// the file, one block written, and the kind of book. The dBase store implements it; tests use a table
// in memory.

#include <array>
#include <cstdint>

// One record of a phonebook file as the store hands it over: 629 bytes, text in Windows-1252. The
// layout is clsEintrag's (see EintragRecord).
inline constexpr int RecordBlockSize = 629;
using RecordBlock = std::array<char, RecordBlockSize>;

class RecordSource {
public:
    // The code of an entry that has no file to read from or write to.
    static constexpr int32_t NoSource = -1;

    virtual ~RecordSource() = default;

    // Puts the file's position on the record with this key (record field 1). 0 on success, else the
    // store's code.
    virtual int32_t GoToRecord(double key) = 0;
    // Reads the record at the position into `block`. 0 on success, else the store's code; `block` then
    // holds nothing of use.
    virtual int32_t GetRecordPHB(RecordBlock& block) = 0;
    // Writes a record: key 0 in the block adds a new record, a key that exists replaces that record.
    // 0 on success, else the store's code.
    virtual int32_t PutRecordPHB(const RecordBlock& block) = 0;
    // True for a normal book of the set of books: any but QUICK, NEW and MACRO, the telephone's book 1
    // included. Only such a book keeps an entry's greeting.
    virtual bool KeepsGreetings() const = 0;
};
