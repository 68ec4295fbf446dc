// Searches: the field search with its flags, the number search through the number index, and the key
// search. Deleted records are never found.

#include "PdbTestSupport.h"

using namespace pdbtest;

namespace {

Entry entry(const QString& name, const QString& number, const QString& number2 = QString(),
            const QString& number3 = QString()) {
    Entry e;
    e.name = name;
    e.number = number;
    e.number2 = number2;
    e.number3 = number3;
    return e;
}

// As the program calls the field search for a name: padded to the column's width, then a zero.
QString paddedName(const QString& name) {
    return name.leftJustified(50, QLatin1Char(' ')) + QChar(0);
}
QString paddedNumber(const QString& number) {
    return number.leftJustified(pdb::NumberKeyWidth, QLatin1Char(' '), true) + QChar(0);
}

using PdbSearchTest = TableFixture;

TEST_F(PdbSearchTest, ANamePaddedToItsWidthMatchesTheWholeFieldWithoutRegardToCase) {
    ASSERT_EQ(createAndOpen(pdb::DiskBook), pdb::Ok);
    put(entry(QStringLiteral("Müllerin"), {}));
    put(entry(QStringLiteral("Müller"), {}));
    put(entry(QStringLiteral("MÜLLER"), {}));
    ASSERT_EQ(m_store.PDB_Find(m_handle, paddedName(QStringLiteral("müller")), 1, 5), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 2);
    ASSERT_EQ(m_store.PDB_Find(m_handle, paddedName(QStringLiteral("müller")), 1, 4), pdb::Ok)
        << "from after";
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 3);
    EXPECT_EQ(m_store.PDB_Find(m_handle, paddedName(QStringLiteral("müller")), 1, 4), pdb::NotFound);
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 3) << "a failed search keeps the position";
    EXPECT_EQ(m_store.PDB_Find(m_handle, paddedName(QStringLiteral("müller")), 1, 7), pdb::NotFound)
        << "case-sensitive: only \"Müller\" would do, and the search starts from the first";
    ASSERT_EQ(m_store.PDB_Find(m_handle, paddedName(QStringLiteral("Müller")), 1, 7), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 2);
}

TEST_F(PdbSearchTest, ANumberPaddedToThirtyFourFindsItsColumnInATelephoneBook) {
    ASSERT_EQ(createAndOpen(pdb::TelephoneBook), pdb::Ok);
    const QString longNumber = QStringLiteral("12345678901234567890123456789012345");
    put(entry(QStringLiteral("a"), QStringLiteral("0891")));
    put(entry(QStringLiteral("b"), QStringLiteral("555"), QStringLiteral("0892")));
    put(entry(QStringLiteral("c"), {}, {}, longNumber));
    const auto findNumber = [&](const QString& number) {
        for (const int column : {6, 7, 8})
            if (m_store.PDB_Find(m_handle, paddedNumber(number), column, 5) == pdb::Ok)
                return current().name;
        return QString();
    };
    EXPECT_EQ(findNumber(QStringLiteral("0891")), QStringLiteral("a"));
    EXPECT_EQ(findNumber(QStringLiteral("0892")), QStringLiteral("b"));
    EXPECT_EQ(findNumber(QStringLiteral("089")), QString()) << "the padding makes it the whole number";
    EXPECT_EQ(findNumber(longNumber), QStringLiteral("c")) << "35 characters are found by their first 34";
    EXPECT_EQ(m_store.PDB_FindNumberPHB(m_handle, QStringLiteral("0891")), pdb::NotIndexed);
}

TEST_F(PdbSearchTest, FlagsChooseStartCaseHeadAndColumns) {
    ASSERT_EQ(createAndOpen(pdb::DiskBook), pdb::Ok);
    Entry first = entry(QStringLiteral("Anna Berg"), QStringLiteral("111"));
    first.ort = QStringLiteral("Bergheim");
    put(first);
    put(entry(QStringLiteral("Bert"), QStringLiteral("222")));
    put(entry(QStringLiteral("anna"), QStringLiteral("333")));

    EXPECT_EQ(m_store.PDB_Find(m_handle, QStringLiteral("berg"), 1, 1), pdb::Ok) << "anywhere in the field";
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 1);
    EXPECT_EQ(m_store.PDB_Find(m_handle, QStringLiteral("berg"), 1, 1 | 4), pdb::NotFound) << "at the head";
    EXPECT_EQ(m_store.PDB_Find(m_handle, QStringLiteral("ber"), 1, 1 | 4), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 2);
    EXPECT_EQ(m_store.PDB_Find(m_handle, QStringLiteral("anna"), 1, 1 | 2 | 4), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 3) << "case-sensitive";
    EXPECT_EQ(m_store.PDB_Find(m_handle, QStringLiteral("ANNA"), 1, 1 | 4), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 1);
    EXPECT_EQ(m_store.PDB_Find(m_handle, QStringLiteral("ANNA"), 1, 4), pdb::Ok) << "from after the current";
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 3);
    EXPECT_EQ(m_store.PDB_Find(m_handle, QStringLiteral("bergh"), 0, 1 | 8), pdb::Ok) << "every column";
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 1);
    EXPECT_EQ(m_store.PDB_Find(m_handle, QStringLiteral("333"), 0, 1 | 8 | 4), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 3);
    EXPECT_EQ(m_store.PDB_Find(m_handle, QStringLiteral("3"), 0, 1 | 4), pdb::NotFound)
        << "the key column holds its digits right-aligned: blanks first";
    EXPECT_EQ(m_store.PDB_Find(m_handle, QStringLiteral("3"), 0, 1), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 3);
    EXPECT_EQ(m_store.PDB_Find(m_handle, QStringLiteral("x"), 15, 1), pdb::BadColumn);
    EXPECT_EQ(m_store.PDB_Find(m_handle, QStringLiteral("bert\0garbage"), 1, 1 | 4), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetCurRecNo(m_handle), 2) << "the text ends at a zero character";
}

TEST_F(PdbSearchTest, DeletedRecordsAreNeverFound) {
    ASSERT_EQ(createAndOpen(pdb::DiskBook), pdb::Ok);
    const double gone = put(entry(QStringLiteral("Weg"), QStringLiteral("999")));
    put(entry(QStringLiteral("Bleibt"), QStringLiteral("111"), QStringLiteral("999")));
    ASSERT_EQ(m_store.PDB_FindIndexPHB(m_handle, gone), pdb::Ok);
    ASSERT_EQ(m_store.PDB_DeleteRecord(m_handle), pdb::Ok);
    EXPECT_EQ(m_store.PDB_Find(m_handle, QStringLiteral("Weg"), 1, 1), pdb::NotFound);
    EXPECT_EQ(m_store.PDB_Find(m_handle, QStringLiteral("Weg"), 0, 1 | 8), pdb::NotFound);
    EXPECT_EQ(m_store.PDB_FindIndexPHB(m_handle, gone), pdb::NotFound);
    ASSERT_EQ(m_store.PDB_FindNumberPHB(m_handle, QStringLiteral("999")), pdb::Ok);
    EXPECT_EQ(current().name, QStringLiteral("Bleibt")) << "the number of a deleted record no longer counts";
}

class PdbNumberSearchTest : public TableFixture, public ::testing::WithParamInterface<int32_t> {};

TEST_P(PdbNumberSearchTest, TheFirstColumnWinsThenTheLowerRecord) {
    ASSERT_EQ(createAndOpen(GetParam()), pdb::Ok);
    put(entry(QStringLiteral("r1"), QStringLiteral("1"), QStringLiteral("089 55"), QStringLiteral("7")));
    put(entry(QStringLiteral("r2"), QStringLiteral("2"), QStringLiteral("7"), QStringLiteral("089 55")));
    put(entry(QStringLiteral("r3"), QStringLiteral("089 55"), QStringLiteral("3")));
    put(entry(QStringLiteral("r4"), QStringLiteral("089 55")));
    put(entry(QStringLiteral("r5"), QStringLiteral("Abc"), QStringLiteral("x")));
    const auto find = [&](const QString& key) {
        return m_store.PDB_FindNumberPHB(m_handle, key) == pdb::Ok ? current().name : QString();
    };
    EXPECT_EQ(find(QStringLiteral("089 55")), QStringLiteral("r3"));
    EXPECT_EQ(find(QStringLiteral("7")), QStringLiteral("r2")) << "the second column before the third";
    EXPECT_EQ(find(QStringLiteral("aBC   ")), QStringLiteral("r5"))
        << "trailing blanks and case do not count";
    EXPECT_EQ(find(QStringLiteral("abc\0def")), QStringLiteral("r5")) << "the key ends at a zero character";
    EXPECT_EQ(find(QStringLiteral(" abc")), QString()) << "leading blanks count";
    EXPECT_EQ(find(QStringLiteral("089")), QString()) << "whole numbers only";
    EXPECT_EQ(find(QString()), QString());
    EXPECT_EQ(find(QStringLiteral("   ")), QString()) << "an empty key finds nothing";

    ASSERT_EQ(m_store.PDB_GetRecord(m_handle, 3), pdb::Ok);
    ASSERT_EQ(m_store.PDB_DeleteRecord(m_handle), pdb::Ok);
    EXPECT_EQ(find(QStringLiteral("089 55")), QStringLiteral("r4"));
    ASSERT_EQ(m_store.PDB_GetRecord(m_handle, 4), pdb::Ok);
    ASSERT_EQ(m_store.PDB_DeleteRecord(m_handle), pdb::Ok);
    EXPECT_EQ(find(QStringLiteral("089 55")), QStringLiteral("r1"));
    ASSERT_EQ(reopen(GetParam()), pdb::Ok);
    EXPECT_EQ(find(QStringLiteral("089 55")), QStringLiteral("r1")) << "the same from the index files";
    EXPECT_EQ(find(QStringLiteral("7")), QStringLiteral("r2"));
}

TEST_P(PdbNumberSearchTest, ManyRecordsWithTheSameNumber) {
    ASSERT_EQ(createAndOpen(GetParam()), pdb::Ok);
    for (int i = 1; i <= 300; ++i)
        put(entry(QStringLiteral("r%1").arg(i),
                  i % 3 == 0 ? QStringLiteral("0800") : QStringLiteral("%1").arg(i), QStringLiteral("0800")));
    const auto find = [&](const QString& key) {
        return m_store.PDB_FindNumberPHB(m_handle, key) == pdb::Ok ? current().name : QString();
    };
    EXPECT_EQ(find(QStringLiteral("0800")), QStringLiteral("r3"));
    for (int i = 3; i <= 300; i += 3) {
        ASSERT_EQ(m_store.PDB_GetRecord(m_handle, i), pdb::Ok);
        ASSERT_EQ(m_store.PDB_DeleteRecord(m_handle), pdb::Ok);
    }
    EXPECT_EQ(find(QStringLiteral("0800")), QStringLiteral("r1")) << "then the second column";
    ASSERT_EQ(reopen(GetParam()), pdb::Ok);
    EXPECT_EQ(find(QStringLiteral("0800")), QStringLiteral("r1"));
    EXPECT_EQ(find(QStringLiteral("298")), QStringLiteral("r298"));
}

INSTANTIATE_TEST_SUITE_P(DiskBooks, PdbNumberSearchTest, ::testing::Values(pdb::OldDiskBook, pdb::DiskBook));

} // namespace
