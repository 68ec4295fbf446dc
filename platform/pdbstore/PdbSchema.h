#pragma once

// The layouts of the store's tables: their columns, how each column maps to the record block that
// crosses the store's interface, and the indexes a table keeps. A kind of table is a row of data here;
// the table code reads these descriptions and knows no column by name.

#include <cstdint>
#include <span>

namespace pdb {

// How a column's value sits in the record block.
enum class BlockForm : uint8_t {
    Text,   // the value, one zero byte and blanks up to the width; a value of the full width has no zero
    Double, // an IEEE double, little endian; the column is numeric
    Int32,  // a 32-bit integer, little endian; the column is numeric, cut to a whole number
    Flag,   // "T" or "N", then a zero byte; the column is logical
    Zeros,  // zero bytes in the block; the column holds blanks
};

struct Column {
    const char* name; // upper case, at most 10 characters
    char type;        // 'C' text, 'N' numeric, 'L' logical
    uint8_t width;
    uint8_t decimals;
    uint16_t blockOffset;
    uint16_t blockWidth;
    BlockForm form;
};

enum class IndexKind : uint8_t {
    RecordKey, // the integer value of one numeric column
    Numbers,   // text columns, trimmed of blanks at the end and compared without regard to case
    Days,      // the whole number of one numeric column, kept in order: the call log's date search
};

inline constexpr int MaxIndexColumns = 3;

struct IndexLayout {
    const char* suffix; // appended to the table's file name without ".dbf": "i0.ndx"
    IndexKind kind;
    uint8_t columnCount;
    uint8_t columns[MaxIndexColumns]; // the table columns it covers; an earlier one wins a tie
};

struct Schema {
    int32_t type; // the BookType
    std::span<const Column> columns;
    uint16_t blockSize;
    int keyColumn; // the RecordKey column, -1 when the table has none
    std::span<const IndexLayout> indexes;

    // 1 for the deletion flag, then the columns' widths.
    int recordSize() const;
};

// The layout of a kind of table; null for a kind the store does not know.
const Schema* SchemaForType(int32_t type);
// The kinds of table, for finding the ones whose columns match a file.
std::span<const Schema* const> AllSchemas();
// Whether two schemas have the same columns (names, types, widths, decimals).
bool SameColumns(const Schema& a, const Schema& b);

} // namespace pdb
