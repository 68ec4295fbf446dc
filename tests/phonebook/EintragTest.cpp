#include "phonebook/RecordSource.h"
#include "phonebook/clsEintrag.h"
#include "shell/base/Settings.h"

#include <QByteArray>

#include <array>
#include <cstring>

#include <gtest/gtest.h>

#include <map>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

// A phonebook file in memory: records by key, a position, and the kind of book. Key 0 adds a record.
class MemoryBook : public RecordSource {
public:
    static constexpr int32_t NotFound = 4;

    int32_t GoToRecord(double key) override {
        position = key;
        return records.count(key) != 0 ? 0 : NotFound;
    }
    int32_t GetRecordPHB(RecordBlock& block) override {
        if (records.count(position) == 0)
            return NotFound;
        block = records[position];
        return 0;
    }
    int32_t PutRecordPHB(const RecordBlock& block) override {
        RecordBlock stored = block;
        if (EintragRecord::GetKey(block) == 0)
            EintragRecord::PutKey(stored, double(records.size() + 1));
        records[EintragRecord::GetKey(stored)] = stored;
        return 0;
    }
    bool KeepsGreetings() const override { return normalDiskBook; }

    std::map<double, RecordBlock> records;
    double position = 0;
    bool normalDiskBook = true;
};

QByteArray bytesAt(const RecordBlock& block, int offset, int size) {
    return QByteArray(block.data() + offset, size);
}

class EintragTest : public ::testing::Test {
protected:
    clsEintrag entry(int16_t inPhone = 0) {
        clsEintrag e(settings, soundFolder);
        e.InPhone = inPhone;
        e.hDB = &book;
        return e;
    }
    // The entry read back from the record with this key.
    clsEintrag readBack(double key, int16_t inPhone = 0) {
        clsEintrag e = entry(inPhone);
        EXPECT_EQ(book.GoToRecord(key), 0);
        EXPECT_EQ(e.GetRecord(), 0);
        return e;
    }

    Settings settings;
    QString soundFolder = S("/data/morva/sound");
    MemoryBook book;
};

// ---- The record block

TEST_F(EintragTest, TheNineItemsGoToTheirOffsetsAndReadBackInOrder) {
    const QStringList items{S("Meier"), S("Weg 1"),         S("12345"),
                            S("Ulm"),   S("Notiz\r\nzwei"), S("0891"),
                            S("0892"),  S("0893"),          S("/data/morva/sound/a.wav")};
    clsEintrag e = entry();
    e.RecordKey = 1.5;
    ASSERT_EQ(e.XColChange(items), 0);
    const RecordBlock& block = book.records[1.5];
    EXPECT_EQ(bytesAt(block, 0, 8), QByteArray("\x00\x00\x00\x00\x00\x00\xF8\x3F", 8))
        << "1.5, little endian";
    // Each text ends with a zero byte, blanks fill the field; the greeting is kept relative.
    int offset = 8;
    for (int i = 0; i < 9; ++i) {
        const int width = std::array{50, 50, 10, 50, 127, 35, 35, 35, 127}[size_t(i)];
        const QByteArray text = (i == 8 ? QByteArray("a.wav") : items[i].toLatin1()) + '\0';
        EXPECT_EQ(bytesAt(block, offset, width), text + QByteArray(width - text.size(), ' ')) << i;
        offset += width;
    }
    EXPECT_EQ(bytesAt(block, 527, 102), QByteArray(100, '\0') + QByteArray("T\0", 2)) << "reserved, changed";

    const clsEintrag back = readBack(1.5);
    EXPECT_EQ(back.RecordKey, 1.5);
    EXPECT_EQ(back.XColGet(), items);
}

TEST_F(EintragTest, TextIsWindows1252AndAFullFieldHasNoZeroByte) {
    clsEintrag e = entry();
    e.setName(S("äöüß€"));
    e.setOrt(S("日本"));
    e.setPLZ(S("1234567890"));
    e.setAdresse(QString(60, QLatin1Char('x')));
    const RecordBlock block = e.ToRecord();
    EXPECT_EQ(bytesAt(block, 8, 7), QByteArray("\xE4\xF6\xFC\xDF\x80\x00 ", 7));
    EXPECT_EQ(bytesAt(block, 118, 3), QByteArray("??\0", 3)) << "characters the code page lacks";
    EXPECT_EQ(bytesAt(block, 58, 60), QByteArray(50, 'x') + "1234567890") << "Adresse and PLZ, full";
    book.records[7] = block;
    const clsEintrag back = readBack(7);
    EXPECT_EQ(back.Name(), S("äöüß€"));
    EXPECT_EQ(back.PLZ(), S("1234567890"));
    EXPECT_EQ(back.Adresse(), QString(50, QLatin1Char('x')));
}

TEST_F(EintragTest, ReadingCutsAtTheZeroByteTrimsBlanksTakesTheStoredChangeFlagAndMayFail) {
    RecordBlock block{};
    std::memcpy(block.data() + 8, "  Meier  \0rest of an old name", 29);
    std::memcpy(block.data() + 295, " 0891 ", 6); // no zero byte, zeros follow
    for (char flag : {'T', 'N'}) {
        block[627] = flag;
        book.records[9] = block;
        const clsEintrag back = readBack(9);
        EXPECT_EQ(back.Name(), S("Meier"));
        EXPECT_EQ(back.Number(), S("0891"));
        EXPECT_EQ(back.ISChanged(), flag == 'T' ? 1 : 0) << "the set operations while reading do not count";
    }
    // A failed read leaves the entry as it was; an entry without a file reads and writes nothing.
    clsEintrag e = readBack(9);
    book.position = 99;
    EXPECT_EQ(e.GetRecord(), MemoryBook::NotFound);
    EXPECT_EQ(e.Name(), S("Meier"));
    clsEintrag none(settings, soundFolder);
    EXPECT_EQ(none.GetRecord(), RecordSource::NoSource);
    EXPECT_EQ(none.PutRecord(), RecordSource::NoSource);
}

// ---- Limits and reserved characters of the telephone kinds

TEST_F(EintragTest, EachTelephoneKindHasItsLimitsInItsOwnBookOnly) {
    const QString text(60, QLatin1Char('a'));
    const QString digits(60, QLatin1Char('1'));
    // Per kind: name, number, address, postal code, town.
    const int limits[5][5] = {{20, 20, 60, 60, 60},
                              {20, 20, 60, 60, 60},
                              {30, 32, 32, 10, 32},
                              {60, 60, 60, 60, 60},
                              {32, 32, 60, 60, 60}};
    for (int16_t kind = 0; kind < 5; ++kind) {
        settings.PhoneType = kind;
        for (int16_t inPhone : {0, 1}) {
            clsEintrag e = entry(inPhone);
            e.XColChange({text, text, text, text, QString(), digits, digits, digits, QString()});
            QList<qsizetype> sizes;
            for (const QString& item : e.XColGet())
                sizes << item.size();
            const auto limit = [&](int field) {
                return qsizetype(inPhone != 0 ? limits[kind][field] : 60);
            };
            EXPECT_EQ(sizes, (QList<qsizetype>{limit(0), limit(2), limit(3), limit(4), 0, limit(1), limit(1),
                                               limit(1), 0}))
                << kind << " InPhone " << inPhone;
        }
    }
    // Reading into a telephone's book applies them too (the first record: kind 0, a disk book).
    settings.PhoneType = 0;
    EXPECT_EQ(readBack(1, 0).Name().size(), 50);
    EXPECT_EQ(readBack(1, 1).Name().size(), 20);
}

TEST_F(EintragTest, ReservedCharactersGoInEveryBookByTelephoneKind) {
    for (auto [phoneType, expected] : {std::pair<int16_t, const char*>{0, "Meier Hans 100%"},
                                       {2, "Meier Hans, 100%"},
                                       {4, "Meier; Hans, 100"},
                                       {7, "Meier; Hans, 100%"}}) {
        settings.PhoneType = phoneType;
        for (int16_t inPhone : {0, 1}) {
            clsEintrag e = entry(inPhone);
            e.setName(S("  Meier; Hans, 100% "));
            e.setOrt(S("  Meier; Hans, 100% "));
            EXPECT_EQ(e.Name(), S(expected)) << phoneType << " InPhone " << inPhone;
            EXPECT_EQ(e.Ort(), S(expected)) << phoneType << " InPhone " << inPhone;
        }
    }
}

TEST_F(EintragTest, ChangesAreMarked) {
    clsEintrag e = entry();
    e.setName(S("Meier"));
    e.setISChanged(0);
    e.setName(S("Meier"));
    EXPECT_EQ(e.ISChanged(), 0) << "the same value";
    e.setName(S("Meyer"));
    EXPECT_EQ(e.ISChanged(), 1);

    settings.PhoneType = 0;
    e.setNumber(S("0891;"));
    e.setISChanged(0);
    e.setNumber(S("0891,"));
    EXPECT_EQ(e.ISChanged(), 0) << "numbers are compared after cleaning";
    e.setName(S("Meyer;"));
    EXPECT_EQ(e.ISChanged(), 1) << "texts are compared before cleaning";
}

TEST_F(EintragTest, TheNoteIsLaidOutForTheTelephonesBookOfItsKind) {
    const QString line30 = S("abcdefghijklmnopqrstuvwxyz1234");
    const QString twoLines = S("Zeile eins\r\nZeile zwei ist viel laenger als zwanzig");
    const struct {
        int16_t phoneType, inPhone;
        QString note, laidOut;
    } rows[] = {
        // Kind 2: short lines are joined with bars; a long line breaks the text every 20 characters, and the
        // old breaks become blanks.
        {2, 1, S("Zeile eins\r\nZeile zwei\r\nZeile drei"), S("Zeile eins|Zeile zwei|Zeile drei")},
        {2, 1, line30, line30.left(20) + S("|") + line30.mid(20)},
        {2, 1, S("kurz\r\n") + line30, S("kurz abcdefghijklmno|pqrstuvwxyz1234")},
        {2, 0, twoLines, twoLines},
        {4, 1, twoLines, S("Zeile eins|Zeile zwei ist viel laenger als zwanzig")},
        // A note typed on Linux ends its lines in LF, an old Mac one in CR: each is a line end as CR LF is.
        {2, 1, S("Zeile eins\nZeile zwei\nZeile drei"), S("Zeile eins|Zeile zwei|Zeile drei")},
        {2, 1, S("eins\r\nzwei\ndrei\rvier"), S("eins|zwei|drei|vier")},
        {4, 1, S("kurz\nlang genug zum Umbruch, aber nicht hier"),
         S("kurz|lang genug zum Umbruch, aber nicht hier")},
        {2, 0, S("eins\nzwei"), S("eins\nzwei")},
    };
    for (const auto& row : rows) {
        settings.PhoneType = row.phoneType;
        clsEintrag e = entry(row.inPhone);
        e.setDescription(row.note);
        EXPECT_EQ(e.Description(), row.laidOut) << row.phoneType << " InPhone " << row.inPhone;
    }
    settings.PhoneType = 2;
    clsEintrag e = entry(1);
    e.setDescription(QString(150, QLatin1Char('x')));
    const QString laidOut = e.Description();
    EXPECT_EQ(laidOut.size(), 104);
    for (int at : {20, 41, 62, 83})
        EXPECT_EQ(laidOut.at(at), QLatin1Char('|')) << at;
    EXPECT_EQ(laidOut.count(QLatin1Char('|')), 4);
}

// ---- Numbers

TEST_F(EintragTest, NumberFormForATelephonesBook) {
    settings.PhoneType = 0;
    clsEintrag phone = entry(1);
    phone.setNumber(S("0171 / 123-456"));
    EXPECT_EQ(phone.Number(), S("0171123456"));
    bool changed = false;
    EXPECT_EQ(phone.FormatNumberforEurit(S("0171 / 123-456"), &changed), S("0171123456"));
    EXPECT_TRUE(changed);
    EXPECT_EQ(phone.FormatNumberforEurit(S("0171123456"), &changed), S("0171123456"));
    EXPECT_FALSE(changed);

    clsEintrag disk = entry(0);
    disk.setNumber(S("0171 / 123-456"));
    EXPECT_EQ(disk.Number(), S("0171 / 123-456"));
}

TEST_F(EintragTest, DialableNumberLosesTheOutsideLinePrefixOnlyInATelephonesBook) {
    settings.NBSTAKZ = S("0");
    for (int16_t nbst : {0, 1}) {
        settings.NBST = nbst;
        for (int16_t inPhone : {0, 1, 2}) {
            clsEintrag e = entry(inPhone);
            e.setNumber(S("00891234"));
            EXPECT_EQ(e.NumberDialable(), nbst == 1 && inPhone == 1 ? S("0891234") : S("00891234"))
                << inPhone;
        }
    }
}

// ---- List rows

TEST_F(EintragTest, ListRowsShowTheFieldsOfTheirBookAndAreRewrittenInTheDetailLayout) {
    clsEintrag e = entry(0);
    e.RecordKey = 17;
    e.XColChange({S("Meier"), S("A"), S("P"), S("O"), S("D"), S("1"), S("2"), S("3"), QString()});
    ListItems list;
    ListItems plain(false);
    e.AddEintrag(&list, true);
    e.AddEintrag(&list, false);
    e.AddEintrag(&plain, false);
    e.AddEintrag(nullptr, false);
    ASSERT_EQ(list.Count(), 2);
    EXPECT_EQ(list.At(0).Text, S("Meier"));
    EXPECT_EQ(list.At(0).SubItems, (QStringList{S("1"), S("2"), S("3"), S("A"), S("P"), S("O"), S("D")}));
    EXPECT_EQ(list.At(1).SubItems, (QStringList{S("1"), S("A"), S("P"), S("O"), S("D")}));
    EXPECT_EQ(list.columnCount(), 8);
    EXPECT_EQ(list.data(list.index(0, 4)).toString(), S("A"));
    EXPECT_EQ(list.data(list.index(1, 6)).toString(), QString());
    EXPECT_EQ(list.data(list.index(0, 0), ListItems::TagRole).toDouble(), 17.0);
    EXPECT_EQ(list.data(list.index(0, 0), ListItems::SmallIconRole).toString(), S("NOS"));
    EXPECT_FALSE(plain.data(plain.index(0, 0), ListItems::SmallIconRole).isValid())
        << "icons only in a list of them";

    // A row is rewritten in the detail layout; its icon follows the greeting only where the row shows one.
    e.setName(S("Meyer"));
    e.setNumber2(QString());
    e.setAnsage(S("gruss.wav"));
    ASSERT_TRUE(e.AktualizeEntry(&list, 1));
    EXPECT_EQ(list.At(1).Text, S("Meyer"));
    EXPECT_EQ(list.At(1).SmallIcon, S("S"));
    EXPECT_EQ(list.At(1).SubItems, (QStringList{S("1"), QString(), S("3"), S("A"), S("P"), S("O"), S("D")}));
    EXPECT_FALSE(e.AktualizeEntry(&list, 2));
    EXPECT_FALSE(e.AktualizeEntry(nullptr, 0));
    ASSERT_TRUE(e.AktualizeEntry(&plain, 0));
    EXPECT_EQ(plain.At(0).SmallIcon, QString());

    // A telephone's book of kind 2 has no second and third number; other kinds show the number only.
    e.InPhone = 1;
    settings.PhoneType = 2;
    EXPECT_EQ(e.SubItems(true), (QStringList{S("1"), QString(), QString(), S("A"), S("P"), S("O"), S("D")}));
    EXPECT_EQ(e.SubItems(false), (QStringList{S("1"), S("A"), S("P"), S("O"), S("D")}));
    settings.PhoneType = 0;
    EXPECT_EQ(e.SubItems(true), QStringList{S("1")});
    EXPECT_EQ(e.SubItems(false), QStringList{S("1")});
}

// ---- The greeting

TEST_F(EintragTest, GreetingIsKeptRelativeToTheSoundFolderInANormalDiskBookOnly) {
    clsEintrag e = entry();
    for (auto [given, stored, full] :
         {std::tuple{"/data/morva/sound/Ansage/meier.wav", "Ansage/meier.wav",
                     "/data/morva/sound/Ansage/meier.wav"},
          {"/data/greetings/meier.wav", "../../greetings/meier.wav", "/data/greetings/meier.wav"},
          {"meier.wav", "meier.wav", "/data/morva/sound/meier.wav"},
          {"", "", ""}}) {
        e.setAnsage(S(given));
        EXPECT_EQ(e.AnsageStored(), S(stored)) << given;
        EXPECT_EQ(e.Ansage(), S(full)) << given;
    }
    e.setAnsage(S("meier.wav"));
    e.setISChanged(0);
    e.setAnsage(S("/data/morva/sound/meier.wav"));
    EXPECT_EQ(e.ISChanged(), 0) << "the same file given as a full path is no change";

    ASSERT_EQ(e.PutRecord(), 0);
    EXPECT_EQ(EintragRecord::GetText(book.records[1], EintragRecord::Ansage), S("meier.wav"));
    book.normalDiskBook = false; // the book NEW, QUICK, MACRO or a telephone's book
    ASSERT_EQ(e.PutRecord(), 0);
    EXPECT_EQ(EintragRecord::GetText(book.records[2], EintragRecord::Ansage), QString());

    // What the record holds is read as it stands.
    EintragRecord::PutText(book.records[2], EintragRecord::Ansage, S("/opt/greetings/meier.wav"));
    const clsEintrag back = readBack(2);
    EXPECT_EQ(back.AnsageStored(), S("/opt/greetings/meier.wav")) << "no path handling on reading";
    EXPECT_EQ(back.Ansage(), S("/opt/greetings/meier.wav"));
}

} // namespace
