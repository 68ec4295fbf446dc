// The file format as other dBase programs see it: tables the store writes read with dbfread and with
// the dbf module (Debian's python3-dbfread and python3-dbf), and a table that dbf writes read by the
// store.

#include "tests/platform/pdbstore/PdbTestSupport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <vector>

using namespace pdbtest;

namespace {

// Each reader prints the encoding, the fields, and each record (deleted ones included) with text
// right-trimmed of blanks.
const QString kDbfread = uR"(
import json, dbfread
t = dbfread.DBF(sys.argv[1], load=True)
rows = [dict(r, _deleted=d) for d, rs in ((False, t.records), (True, t.deleted)) for r in rs]
print(json.dumps({'encoding': t.encoding,
    'fields': ';'.join('%s %s %d %d' % (f.name, f.type, f.length, f.decimal_count) for f in t.fields),
    'records': [{k: v.rstrip(' ') if isinstance(v, str) else v for k, v in r.items()} for r in rows]}))
)"_s;
const QString kDbf = uR"(
import json, dbf
t = dbf.Table(sys.argv[1])
t.open(dbf.READ_ONLY)
def value(v):
    return v.rstrip(' ') if isinstance(v, str) else v if isinstance(v, bool) or v is None else float(v)
info = [(n, t.field_info(n)) for n in t.field_names]
print(json.dumps({'encoding': t.codepage.name,
    'fields': ';'.join('%s %s %d %d' % (n.upper(), chr(i.field_type), i.length, i.decimal) for n, i in info),
    'records': [dict({n.upper(): value(r[n]) for n in t.field_names}, _deleted=dbf.is_deleted(r)) for r in t]}))
)"_s;

class PdbFormatTest : public TableFixture {
protected:
    void SetUp() override {
        TableFixture::SetUp();
        ASSERT_EQ(createAndOpen(pdb::DiskBook), pdb::Ok);
        m_entries = {Full({u"Müller"_s, u"Hauptstraße 5"_s, u"80331"_s, u"München"_s, u"Preis 5 € – Œuvre"_s,
                           u"089 1234"_s, QString(35, u'7'), QString(), QString(127, u'a')},
                          true),
                     Full({QString(50, u'N'), QString(49, u'b'), QString(10, u'9'), u"Ærø"_s, QString(),
                           QString(34, u'1'), QString(), u"+49"_s}),
                     Named(u"Weg damit"_s, u"555"_s),
                     Full({QString(80, u'L'), QString(), QString(), u"Šibenik"_s})};
        for (Entry& entry : m_entries)
            entry.key = put(entry);
        deleteAt(3);
        close();
    }
    std::vector<Entry> m_entries;
};

TEST_F(PdbFormatTest, DbfreadAndTheDbfModuleReadEveryValueAndTheLayout) {
    const QByteArray bytes = ReadFile(m_path);
    ASSERT_EQ(bytes.size(), kHeaderSize + 4 * kRecordSize + 1) << "deleted records stay until a pack";
    EXPECT_EQ(bytes[0], '\x03') << "dBase III";
    EXPECT_EQ(bytes[kHeaderSize + 2 * kRecordSize], '*');
    EXPECT_FALSE(bytes.mid(kHeaderSize, 4 * kRecordSize).contains('\0')) << "text columns hold no zero byte";

    QStringList missing;
    for (const auto& [module, script] : {std::pair{u"dbfread"_s, kDbfread}, std::pair{u"dbf"_s, kDbf}}) {
        SCOPED_TRACE(module.toStdString());
        QString output;
        const Python ran = RunPython(module, script, {m_path}, output);
        if (ran == Python::Missing)
            missing << module;
        if (ran != Python::Ran)
            continue;
        const QJsonObject table = QJsonDocument::fromJson(output.toUtf8()).object();
        EXPECT_EQ(table.value("encoding"_L1).toString(), u"cp1252"_s)
            << "the language byte says Windows ANSI";
        EXPECT_EQ(table.value("fields"_L1).toString(),
                  u"RECORDKEY N 10 0;NAME C 50 0;ADRESSE C 50 0;PLZ C 10 0;ORT C 50 0;DESCRIPT C 127 0;"
                  "NUMBER C 35 0;NUMBER2 C 35 0;NUMBER3 C 35 0;ANSAGE C 127 0;RESERVED1 C 25 0;"
                  "RESERVED2 C 25 0;RESERVED3 C 25 0;RESERVED4 C 25 0;ISCHANGED L 1 0"_s);
        const QJsonArray records = table.value("records"_L1).toArray();
        ASSERT_EQ(records.size(), qsizetype(m_entries.size()));
        for (const QJsonValue& value : records) {
            const QJsonObject record = value.toObject();
            const Entry& e = m_entries.at(size_t(record.value("RECORDKEY"_L1).toInt()) - 1);
            EXPECT_EQ(record.value("_deleted"_L1).toBool(), e.key == 3);
            for (const TextField& field : kTextFields)
                EXPECT_EQ(record.value(QLatin1String(field.column)).toString(),
                          (e.*field.member).left(field.width))
                    << field.column;
            EXPECT_EQ(record.value("RESERVED1"_L1).toString(), QString());
            EXPECT_EQ(record.value("ISCHANGED"_L1).toBool(), e.changed);
        }
    }
    if (!missing.isEmpty())
        GTEST_SKIP() << "/usr/bin/python3 has no " << missing.join(u' ').toStdString();
}

using PdbForeignTable = TableFixture;

TEST_F(PdbForeignTable, ATableTheDbfModuleWroteOpensAndReads) {
    m_path = path(u"foreign.dbf"_s);
    const QString script = uR"(
t = dbf.Table(sys.argv[1], 'RECORDKEY N(10,0); NAME C(50); ADRESSE C(50); PLZ C(10); ORT C(50); '
              'DESCRIPT C(127); NUMBER C(35); NUMBER2 C(35); NUMBER3 C(35); ANSAGE C(127); RESERVED1 C(25); '
              'RESERVED2 C(25); RESERVED3 C(25); RESERVED4 C(25); ISCHANGED L', codepage='cp1252', dbf_type='db3')
t.open(dbf.READ_WRITE)
t.append((7, 'Jörg Größer', 'Gasse 1', '1010', 'Wien', 'Büro €', '01 555', '', '0664 9', '', '', '', '', '', True))
t.append((9, 'Zoë', '', '', 'Zürich', '', '044 1', '', '', '', '', '', '', '', False))
t.close()
)"_s;
    QString output;
    const Python ran = RunPython(u"dbf"_s, script, {m_path}, output);
    if (ran == Python::Missing)
        GTEST_SKIP() << "/usr/bin/python3 has no dbf";
    ASSERT_EQ(ran, Python::Ran);
    ASSERT_EQ(m_store.PDB_Open(m_handle, m_path, pdb::DiskBook), pdb::Ok);
    EXPECT_EQ(m_store.PDB_GetNumRecords(m_handle), 2);
    EXPECT_EQ(findNumber(u"0664 9"_s), u"Jörg Größer"_s);
    const Entry e = current();
    EXPECT_EQ(e.key, 7);
    EXPECT_EQ(e.descript, u"Büro €"_s);
    EXPECT_TRUE(e.changed);
    EXPECT_EQ(findKey(9), u"Zoë"_s);
    EXPECT_FALSE(current().changed);
    EXPECT_EQ(put(Named(u"Neu"_s)), 10) << "the key after the highest";
}

} // namespace
