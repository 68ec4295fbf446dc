#include "platform/pdbstore/PdbSchema.h"

#include "platform/pdbstore/PdbStore.h"

#include <cstring>

namespace pdb {
namespace {

// A phonebook entry: the 629-byte block of clsEintrag (EintragRecord) and a column for each of its
// fields. The block's 100 reserved bytes are four text columns of 25 that hold blanks.
constexpr Column kPhonebookColumns[] = {
    {"RECORDKEY", 'N', 10, 0, 0, 8, BlockForm::Double},
    {"NAME", 'C', 50, 0, 8, 50, BlockForm::Text},
    {"ADRESSE", 'C', 50, 0, 58, 50, BlockForm::Text},
    {"PLZ", 'C', 10, 0, 108, 10, BlockForm::Text},
    {"ORT", 'C', 50, 0, 118, 50, BlockForm::Text},
    {"DESCRIPT", 'C', 127, 0, 168, 127, BlockForm::Text},
    {"NUMBER", 'C', 35, 0, 295, 35, BlockForm::Text},
    {"NUMBER2", 'C', 35, 0, 330, 35, BlockForm::Text},
    {"NUMBER3", 'C', 35, 0, 365, 35, BlockForm::Text},
    {"ANSAGE", 'C', 127, 0, 400, 127, BlockForm::Text},
    {"RESERVED1", 'C', 25, 0, 527, 25, BlockForm::Zeros},
    {"RESERVED2", 'C', 25, 0, 552, 25, BlockForm::Zeros},
    {"RESERVED3", 'C', 25, 0, 577, 25, BlockForm::Zeros},
    {"RESERVED4", 'C', 25, 0, 602, 25, BlockForm::Zeros},
    {"ISCHANGED", 'L', 1, 0, 627, 2, BlockForm::Flag},
};

constexpr IndexLayout kKeyIndex{"i0.ndx", IndexKind::RecordKey, 1, {0, 0, 0}};

constexpr IndexLayout kTelephoneBookIndexes[] = {kKeyIndex};
constexpr IndexLayout kOldDiskBookIndexes[] = {
    kKeyIndex,
    {"i1.ndx", IndexKind::Numbers, 1, {6, 0, 0}},
    {"i2.ndx", IndexKind::Numbers, 1, {7, 0, 0}},
    {"i3.ndx", IndexKind::Numbers, 1, {8, 0, 0}},
};
constexpr IndexLayout kDiskBookIndexes[] = {
    kKeyIndex,
    {"i1.nde", IndexKind::Numbers, 3, {6, 7, 8}},
};

constexpr Schema kTelephoneBook{TelephoneBook, kPhonebookColumns, PhonebookBlockSize, 0,
                                kTelephoneBookIndexes};
constexpr Schema kOldDiskBook{OldDiskBook, kPhonebookColumns, PhonebookBlockSize, 0, kOldDiskBookIndexes};
constexpr Schema kDiskBook{DiskBook, kPhonebookColumns, PhonebookBlockSize, 0, kDiskBookIndexes};

// A call log record: the 312-byte block of EZGRecord. Its texts keep a zero byte in the block, so each
// text column is one narrower than its place there. Bytes 29 to 31 of the block belong to no column.
// RecordKey is always 0: the log has no keys and no key index.
constexpr Column kCallLogColumns[] = {
    {"RECORDKEY", 'N', 10, 0, 0, 8, BlockForm::Double},
    {"BEGINN", 'N', 18, 10, 8, 8, BlockForm::Double},
    {"TAGESNR", 'N', 10, 0, 16, 4, BlockForm::Int32},
    {"UHRZEIT", 'C', 8, 0, 20, 9, BlockForm::Text},
    {"RESERVED1", 'N', 15, 4, 32, 8, BlockForm::Double},
    {"RESERVED2", 'N', 15, 4, 40, 8, BlockForm::Double},
    {"PROVIDER", 'C', 20, 0, 48, 21, BlockForm::Text},
    {"RUFNUMMER", 'C', 35, 0, 69, 36, BlockForm::Text},
    {"MSN", 'C', 30, 0, 105, 31, BlockForm::Text},
    {"DAUER", 'N', 10, 0, 136, 8, BlockForm::Double},
    {"GEBUEHR", 'N', 12, 4, 144, 8, BlockForm::Double},
    {"RESERVED3", 'N', 15, 4, 152, 8, BlockForm::Double},
    {"TONDATEI", 'C', 127, 0, 160, 128, BlockForm::Text},
    {"NEU", 'N', 3, 0, 288, 8, BlockForm::Double},
    {"RICHTUNG", 'N', 3, 0, 296, 8, BlockForm::Double},
    {"STATUS", 'N', 5, 0, 304, 8, BlockForm::Double},
};

constexpr IndexLayout kCallLogIndexes[] = {{"i0.ndx", IndexKind::Days, 1, {2, 0, 0}}};

constexpr Schema kCallLog{CallLog, kCallLogColumns, CallLogBlockSize, -1, kCallLogIndexes};

constexpr const Schema* kSchemas[] = {&kTelephoneBook, &kCallLog, &kOldDiskBook, &kDiskBook};

} // namespace

int Schema::recordSize() const {
    int size = 1;
    for (const Column& column : columns)
        size += column.width;
    return size;
}

const Schema* SchemaForType(int32_t type) {
    for (const Schema* schema : kSchemas)
        if (schema->type == type)
            return schema;
    return nullptr;
}

std::span<const Schema* const> AllSchemas() {
    return kSchemas;
}

bool SameColumns(const Schema& a, const Schema& b) {
    if (a.columns.size() != b.columns.size())
        return false;
    for (size_t i = 0; i < a.columns.size(); ++i) {
        const Column& x = a.columns[i];
        const Column& y = b.columns[i];
        if (std::strcmp(x.name, y.name) != 0 || x.type != y.type || x.width != y.width ||
            x.decimals != y.decimals)
            return false;
    }
    return true;
}

} // namespace pdb
