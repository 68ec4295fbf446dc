// The file format as other dBase programs see it: tables the store writes read with dbfread and with
// the dbf module (Debian's python3-dbfread and python3-dbf), and a table that dbf writes read by the
// store.

#include "PdbTestSupport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace pdbtest;

namespace {

const char* const kColumnNames[] = {"RECORDKEY", "NAME",      "ADRESSE",   "PLZ",       "ORT",
                                    "DESCRIPT",  "NUMBER",    "NUMBER2",   "NUMBER3",   "ANSAGE",
                                    "RESERVED1", "RESERVED2", "RESERVED3", "RESERVED4", "ISCHANGED"};
const int kWidths[] = {10, 50, 50, 10, 50, 127, 35, 35, 35, 127, 25, 25, 25, 25, 1};

// Prints the table as JSON: the encoding, the fields, and each record (deleted ones included) with
// text right-trimmed of blanks.
const QString kDbfreadScript = QStringLiteral(R"(
import json, sys, dbfread
t = dbfread.DBF(sys.argv[1], load=True)
def rec(r, deleted):
    d = {k: (v.rstrip(' ') if isinstance(v, str) else v) for k, v in r.items()}
    d['_deleted'] = deleted
    return d
print(json.dumps({'encoding': t.encoding,
                  'fields': [[f.name, f.type, f.length, f.decimal_count] for f in t.fields],
                  'records': [rec(r, False) for r in t.records] + [rec(r, True) for r in t.deleted]}))
)");

const QString kDbfScript = QStringLiteral(R"(
import json, sys, dbf
t = dbf.Table(sys.argv[1])
t.open(dbf.READ_ONLY)
out = {'codepage': t.codepage.name, 'fields': [], 'records': []}
for name in t.field_names:
    info = t.field_info(name)
    out['fields'].append([name.upper(), chr(info.field_type), info.length, info.decimal])
for r in t:
    d = {}
    for name in t.field_names:
        v = r[name]
        if isinstance(v, str):
            v = v.rstrip(' ')
        elif isinstance(v, bool) or v is None:
            pass
        else:
            v = int(v) if float(v).is_integer() else float(v)
        d[name.upper()] = v
    d['_deleted'] = dbf.is_deleted(r)
    out['records'].append(d)
t.close()
print(json.dumps(out))
)");

QJsonObject runReader(const QString& module, const QString& script, const QString& path, bool& skipped) {
    QString output;
    bool missing = false;
    skipped = false;
    if (!RunPython(module, script, {path}, output, missing)) {
        skipped = missing;
        if (!missing)
            ADD_FAILURE() << output.toStdString();
        return {};
    }
    return QJsonDocument::fromJson(output.toUtf8()).object();
}

QString cut(const QString& text, int width) {
    return text.left(width);
}

class PdbFormatTest : public TableFixture {
protected:
    void SetUp() override {
        TableFixture::SetUp();
        ASSERT_EQ(createAndOpen(pdb::DiskBook), pdb::Ok);
        m_entries = {
            Entry{0, QStringLiteral("Müller"), QStringLiteral("Hauptstraße 5"), QStringLiteral("80331"),
                  QStringLiteral("München"), QStringLiteral("Preis 5 € – Œuvre"), QStringLiteral("089 1234"),
                  QString(35, QLatin1Char('7')), QString(), QString(127, QLatin1Char('a')), true},
            Entry{0, QString(50, QLatin1Char('N')), QString(49, QLatin1Char('b')),
                  QString(10, QLatin1Char('9')), QStringLiteral("Ærø"), QString(),
                  QString(34, QLatin1Char('1')), QString(), QStringLiteral("+49"), QString(), false},
            Entry{0, QStringLiteral("Weg damit"), {}, {}, {}, {}, QStringLiteral("555"), {}, {}, {}, false},
            Entry{0,
                  QString(80, QLatin1Char('L')),
                  {},
                  {},
                  QStringLiteral("Šibenik"),
                  {},
                  {},
                  {},
                  {},
                  {},
                  false},
        };
        for (Entry& entry : m_entries)
            entry.key = put(entry);
        ASSERT_EQ(m_store.PDB_FindIndexPHB(m_handle, m_entries[2].key), pdb::Ok);
        ASSERT_EQ(m_store.PDB_DeleteRecord(m_handle), pdb::Ok);
        ASSERT_EQ(m_store.PDB_Close(m_handle), pdb::Ok);
        m_handle = 0;
    }

    // Every record of a reader's output against what was put.
    void compare(const QJsonArray& records) {
        ASSERT_EQ(records.size(), qsizetype(m_entries.size()));
        for (const QJsonValue& value : records) {
            const QJsonObject record = value.toObject();
            const double key = record.value(QStringLiteral("RECORDKEY")).toDouble();
            const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                            [&](const Entry& e) { return e.key == key; });
            ASSERT_NE(found, m_entries.end()) << key;
            const Entry& e = *found;
            EXPECT_EQ(record.value(QStringLiteral("_deleted")).toBool(), &e == &m_entries[2]);
            EXPECT_EQ(record.value(QStringLiteral("NAME")).toString(), cut(e.name, 50));
            EXPECT_EQ(record.value(QStringLiteral("ADRESSE")).toString(), e.adresse);
            EXPECT_EQ(record.value(QStringLiteral("PLZ")).toString(), e.plz);
            EXPECT_EQ(record.value(QStringLiteral("ORT")).toString(), e.ort);
            EXPECT_EQ(record.value(QStringLiteral("DESCRIPT")).toString(), e.descript);
            EXPECT_EQ(record.value(QStringLiteral("NUMBER")).toString(), e.number);
            EXPECT_EQ(record.value(QStringLiteral("NUMBER2")).toString(), e.number2);
            EXPECT_EQ(record.value(QStringLiteral("NUMBER3")).toString(), e.number3);
            EXPECT_EQ(record.value(QStringLiteral("ANSAGE")).toString(), e.ansage);
            EXPECT_EQ(record.value(QStringLiteral("RESERVED1")).toString(), QString());
            EXPECT_EQ(record.value(QStringLiteral("ISCHANGED")).toBool(), e.changed);
        }
    }

    void compareFields(const QJsonArray& fields) {
        ASSERT_EQ(fields.size(), 15);
        for (int i = 0; i < 15; ++i) {
            const QJsonArray field = fields.at(i).toArray();
            EXPECT_EQ(field.at(0).toString(), QLatin1String(kColumnNames[i]));
            EXPECT_EQ(field.at(1).toString(), i == 0    ? QStringLiteral("N")
                                              : i == 14 ? QStringLiteral("L")
                                                        : QStringLiteral("C"));
            EXPECT_EQ(field.at(2).toInt(), kWidths[i]) << kColumnNames[i];
            EXPECT_EQ(field.at(3).toInt(), 0);
        }
    }

    std::vector<Entry> m_entries;
};

TEST_F(PdbFormatTest, DbfreadReadsEveryValueAndTheLayout) {
    bool skipped = false;
    const QJsonObject table = runReader(QStringLiteral("dbfread"), kDbfreadScript, m_path, skipped);
    if (skipped)
        GTEST_SKIP() << "/usr/bin/python3 has no dbfread";
    EXPECT_EQ(table.value(QStringLiteral("encoding")).toString(), QStringLiteral("cp1252"))
        << "the language byte says Windows ANSI";
    compareFields(table.value(QStringLiteral("fields")).toArray());
    compare(table.value(QStringLiteral("records")).toArray());
}

TEST_F(PdbFormatTest, TheDbfModuleReadsEveryValueAndTheLayout) {
    bool skipped = false;
    const QJsonObject table = runReader(QStringLiteral("dbf"), kDbfScript, m_path, skipped);
    if (skipped)
        GTEST_SKIP() << "/usr/bin/python3 has no dbf";
    EXPECT_EQ(table.value(QStringLiteral("codepage")).toString(), QStringLiteral("cp1252"));
    compareFields(table.value(QStringLiteral("fields")).toArray());
    compare(table.value(QStringLiteral("records")).toArray());
}

TEST_F(PdbFormatTest, HeaderAndRecordBytesAreDbaseThree) {
    const QByteArray bytes = ReadFile(m_path);
    ASSERT_GE(bytes.size(), 32 + 15 * 32 + 1);
    EXPECT_EQ(uint8_t(bytes[0]), 0x03);
    EXPECT_EQ(uint8_t(bytes[29]), 0x03);
    const auto le16 = [&](int at) {
        return uint8_t(bytes[at]) | uint8_t(bytes[at + 1]) << 8;
    };
    EXPECT_EQ(uint8_t(bytes[4]), 4) << "deleted records are counted until a pack";
    EXPECT_EQ(le16(8), 32 + 15 * 32 + 1);
    EXPECT_EQ(le16(10), 631);
    EXPECT_EQ(bytes[32 + 15 * 32], '\x0d');
    EXPECT_EQ(bytes.size(), 32 + 15 * 32 + 1 + 4 * 631 + 1);
    EXPECT_EQ(bytes.back(), '\x1a');
    const qsizetype third = 32 + 15 * 32 + 1 + 2 * 631;
    EXPECT_EQ(bytes[third], '*');
    EXPECT_EQ(bytes.mid(third + 1, 10), QByteArray("         3")) << "a key right-aligned";
    EXPECT_FALSE(bytes.mid(32 + 15 * 32 + 1, 4 * 631).contains('\0')) << "text columns hold no zero byte";
}

TEST(PdbForeignTable, ATableTheDbfModuleWroteOpensAndReads) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("foreign.dbf"));
    const QString script = QStringLiteral(R"(
import sys, dbf
t = dbf.Table(sys.argv[1], 'RECORDKEY N(10,0); NAME C(50); ADRESSE C(50); PLZ C(10); ORT C(50); '
              'DESCRIPT C(127); NUMBER C(35); NUMBER2 C(35); NUMBER3 C(35); ANSAGE C(127); RESERVED1 C(25); '
              'RESERVED2 C(25); RESERVED3 C(25); RESERVED4 C(25); ISCHANGED L', codepage='cp1252', dbf_type='db3')
t.open(dbf.READ_WRITE)
t.append((7, 'Jörg Größer', 'Gasse 1', '1010', 'Wien', 'Büro €', '01 555', '', '0664 9', '', '', '', '', '', True))
t.append((9, 'Zoë', '', '', 'Zürich', '', '044 1', '', '', '', '', '', '', '', False))
t.close()
)");
    QString output;
    bool missing = false;
    if (!RunPython(QStringLiteral("dbf"), script, {path}, output, missing)) {
        if (missing)
            GTEST_SKIP() << "/usr/bin/python3 has no dbf";
        FAIL() << output.toStdString();
    }

    pdb::PdbStore store;
    ASSERT_EQ(store.PDB_Init(), pdb::Ok);
    int32_t handle = 0;
    ASSERT_EQ(store.PDB_Open(handle, path, pdb::DiskBook), pdb::Ok);
    EXPECT_EQ(store.PDB_GetNumRecords(handle), 2);
    Block block{};
    ASSERT_EQ(store.PDB_FindNumberPHB(handle, QStringLiteral("0664 9")), pdb::Ok);
    ASSERT_EQ(store.PDB_GetRecordPHB(handle, block.data()), pdb::Ok);
    Entry e = FromBlock(block);
    EXPECT_EQ(e.key, 7);
    EXPECT_EQ(e.name, QStringLiteral("Jörg Größer"));
    EXPECT_EQ(e.descript, QStringLiteral("Büro €"));
    EXPECT_EQ(e.ort, QStringLiteral("Wien"));
    EXPECT_TRUE(e.changed);
    ASSERT_EQ(store.PDB_FindIndexPHB(handle, 9), pdb::Ok);
    ASSERT_EQ(store.PDB_GetRecordPHB(handle, block.data()), pdb::Ok);
    e = FromBlock(block);
    EXPECT_EQ(e.name, QStringLiteral("Zoë"));
    EXPECT_FALSE(e.changed);
    // It takes writes too: a new entry gets the key after the highest.
    Block added = ToBlock(Entry{0, QStringLiteral("Neu"), {}, {}, {}, {}, {}, {}, {}, {}, false});
    ASSERT_EQ(store.PDB_PutRecordPHB(handle, added.data()), pdb::Ok);
    EXPECT_EQ(FromBlock(added).key, 10);
    EXPECT_EQ(store.PDB_Exit(), pdb::Ok);
}

} // namespace
