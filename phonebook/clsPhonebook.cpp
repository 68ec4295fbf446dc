#include "phonebook/clsPhonebook.h"

#include "numbers/Num_module.h"
#include "phonebook/colPhonebook.h"
#include "platform/FileNames.h"
#include "platform/Windows1252.h"
#include "platform/pdbstore/PdbStore.h"
#include "shell/base/Language.h"
#include "shell/base/Logs.h"
#include "shell/base/Settings.h"
#include "shell/base/UserDialogs.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

// Keys of the searches: the text padded with blanks to the column's width and closed with a zero
// character, so that only the whole field matches.
QString paddedKey(const QString& text, int width) {
    return text.leftJustified(width, QLatin1Char(' ')) + QChar(0);
}
constexpr int NameWidth = 50;

// Columns of a book table.
constexpr int32_t ColumnNumber = 6;
constexpr int32_t ColumnNumber2 = 7;
constexpr int32_t ColumnNumber3 = 8;
constexpr int32_t ColumnISChanged = 14;

// The items of a text file by the list-input rule of the old phonebooks: an item ends at an unquoted
// comma or at the line's end; double quotes around it are dropped, and blanks around an unquoted item.
// `consumed` gets, for each item, the characters it took up in the file.
QStringList listItems(const QString& text, std::vector<qsizetype>& consumed) {
    QStringList items;
    qsizetype i = 0;
    const qsizetype n = text.size();
    auto isBreak = [](QChar c) {
        return c == QLatin1Char('\r') || c == QLatin1Char('\n');
    };
    while (i < n) {
        const qsizetype start = i;
        while (i < n && (text.at(i) == QLatin1Char(' ') || text.at(i) == QLatin1Char('\t')))
            ++i;
        QString item;
        if (i < n && text.at(i) == QLatin1Char('"')) {
            const qsizetype close = text.indexOf(QLatin1Char('"'), i + 1);
            const qsizetype stop = close < 0 ? n : close;
            item = text.mid(i + 1, stop - i - 1);
            i = close < 0 ? n : close + 1;
            // Whatever follows the closing quote up to the separator is passed over.
            while (i < n && text.at(i) != QLatin1Char(',') && !isBreak(text.at(i)))
                ++i;
        } else {
            const qsizetype begin = i;
            while (i < n && text.at(i) != QLatin1Char(',') && !isBreak(text.at(i)))
                ++i;
            item = text.mid(begin, i - begin).trimmed();
        }
        if (i < n && text.at(i) == QLatin1Char(','))
            ++i;
        else
            while (i < n && isBreak(text.at(i)))
                ++i;
        // A blank line is no item.
        if (!(item.isEmpty() && text.mid(start, i - start).trimmed().isEmpty())) {
            items << item;
            consumed.push_back(i - start);
        }
    }
    return items;
}

} // namespace

clsPhonebook::clsPhonebook(const PhonebookDependencies& deps, PhonebookRunState& state,
                           const colPhonebook* set)
    : m_deps(deps), m_state(state), m_set(set) {}

clsPhonebook::~clsPhonebook() {
    DBClose();
}

QString clsPhonebook::path() const {
    return PathInFolder(m_deps.dataFolder, FileName);
}

QString clsPhonebook::stem(const QString& fileName) {
    return fileName.endsWith(QLatin1String(".dbf"), Qt::CaseInsensitive) ? fileName.chopped(4) : QString();
}

void clsPhonebook::touch() {
    m_generation = ++m_state.changes;
}

void clsPhonebook::log(const QString& text) const {
    m_deps.logs.Log_Write(text);
}

QString clsPhonebook::ErrorText(int32_t code) const {
    QString text;
    m_deps.store.PDB_TranslateError(code, text);
    return CutAtNul(text);
}

clsEintrag clsPhonebook::NewEintrag() {
    clsEintrag entry(m_deps.settings, m_deps.soundFolder ? m_deps.soundFolder() : QString());
    entry.InPhone = InPhone;
    entry.hDB = this;
    return entry;
}

int32_t clsPhonebook::DBCreate(bool deleteFirst) {
    log(QStringLiteral("clsPhonebook DBCreate:") + FileName + QStringLiteral(" Begin"));
    if (deleteFirst)
        DeleteDBFiles(false);
    const int32_t code = m_deps.store.PDB_Create(path(), 1, BookType);
    if (code != 0)
        m_deps.dialogs.MsgBox(QStringLiteral("Create Database :") + FileName + QStringLiteral(" failed!"));
    touch();
    return code;
}

void clsPhonebook::PackDatabase() {
    const int32_t code = m_deps.store.PDB_PackDatabase(path());
    if (code != 0)
        log(FileName + QStringLiteral("RepairDB failed") + QLatin1Char(' ') + ErrorText(code));
    touch();
}

void clsPhonebook::deleteFile(const QString& file, const QString& failureText) const {
    if (QFileInfo::exists(file) && !QFile::remove(file))
        log(FileName + failureText);
}

void clsPhonebook::DeleteDBFiles(bool indexOnly) {
    const QString failed = QStringLiteral("Delete Phonebook failed");
    const QString table = path();
    if (!indexOnly)
        deleteFile(table, failed);
    // The store names the index files after the table as it stands on disk; a copy from Windows may spell
    // them in another case.
    const QString base = stem(QFileInfo(table).fileName());
    if (base.isEmpty())
        return;
    const auto index = [&](const char* suffix) {
        return PathInFolder(m_deps.dataFolder, base + QLatin1String(suffix));
    };
    deleteFile(index("i0.ndx"), failed + QStringLiteral("i0.ndx"));
    if (BookType == OldDiskBook) {
        for (const char* suffix : {"i1.ndx", "i2.ndx", "i3.ndx"})
            deleteFile(index(suffix), failed + QLatin1String(suffix));
    } else if (BookType == DiskBook) {
        deleteFile(index("i1.nde"), failed + QStringLiteral("i1.ndx"));
    }
}

int32_t clsPhonebook::DBOpen(bool createIndex) {
    log(QStringLiteral("clsPhonebook DBOpen:") + FileName + QStringLiteral(" Begin"));
    if (FileName.trimmed().isEmpty())
        return -1;
    touch();
    pdb::PdbStore& store = m_deps.store;
    const auto fail = [this](int32_t code) {
        hDB = 0;
        log(QStringLiteral("clsPhonebook DBOpen:") + FileName + QStringLiteral(" End Failed"));
        return code;
    };

    if (m_state.lastRunFailed)
        DeleteDBFiles(true);
    if (m_deps.settings.PhoneType == 3 && InPhone != 0)
        DeleteDBFiles(false);

    int32_t code = store.PDB_Open(hDB, path(), BookType);
    if (code != 0) {
        const int32_t openCode = code;
        code = store.PDB_Create(path(), createIndex ? 1 : 0, BookType);
        if (code != 0) {
            // A file that is there but cannot be opened is never overwritten; the user learns why.
            if (createIndex)
                m_deps.dialogs.MsgBox(QStringLiteral("Create Database :") + FileName +
                                          QStringLiteral(" failed!") + QStringLiteral("\n") +
                                          ErrorText(code == pdb::FileExists ? openCode : code),
                                      UserDialogs::Buttons::Ok, UserDialogs::Icon::Critical);
            return fail(code == pdb::FileExists ? openCode : code);
        }
        code = store.PDB_Open(hDB, path(), BookType);
        if (code != 0)
            return fail(code);
    }

    if (IsMacroBook != 1) {
        // An old text phonebook of the same name, "<name>.txt" or "<name>" alone, in any case.
        const QString name = stem(FileName);
        const QDir program(m_deps.programFolder);
        for (const QString& old : {name + QStringLiteral(".txt"), name}) {
            const QString found = name.isEmpty() ? QString() : FileNameInFolder(program.path(), old);
            if (!found.isEmpty())
                LoadOldTxtFile(program.filePath(found));
        }
    } else if (EintragCount() == 0) {
        SeedCarriers();
    }
    log(QStringLiteral("clsPhonebook DBOpen:") + FileName + QStringLiteral(" End"));
    return 0;
}

void clsPhonebook::DBClose() {
    if (hDB != 0) {
        m_deps.store.PDB_Close(hDB);
        touch();
    }
    hDB = 0;
}

void clsPhonebook::SeedCarriers() {
    static constexpr const char* carriers[8][2] = {
        {"01010", "TELEGLOBE"}, {"01011", "o.tel.o"}, {"01019", "MobilCom"},    {"01033", "Telekom"},
        {"01070", "Arcor"},     {"01018", "Debitel"}, {"01080", "Telegate AG"}, {"01090", "Viag Intercom"}};
    for (const auto& carrier : carriers)
        EintragAdd(QString::fromLatin1(carrier[1]), {}, {}, {}, {}, QString::fromLatin1(carrier[0]), {}, {},
                   {});
}

void clsPhonebook::LoadOldTxtFile(const QString& file) {
    log(QStringLiteral("clsPhonebook LoadOldTxtFile:") + file + QStringLiteral(" Begin"));
    if (file.isEmpty())
        return;
    QFile source(file);
    if (!source.open(QIODevice::ReadOnly)) {
        // A file that is gone is no news; any other failure is shown, and the file stays for the next try.
        if (source.exists())
            m_deps.dialogs.MsgBox(m_deps.language.LanguageString(600) + QStringLiteral("\r\n") +
                                      m_deps.programFolder + QFileInfo(file).fileName(),
                                  UserDialogs::Buttons::Ok, UserDialogs::Icon::Critical);
        log(QStringLiteral("clsPhonebook Load:") + file + QStringLiteral(" End Failed"));
        return;
    }
    const QByteArray bytes = source.readAll();
    const double length = bytes.isEmpty() ? 1.0 : double(bytes.size());
    log(QStringLiteral("clsPhonebook Load:") + file + QStringLiteral(" open"));

    std::vector<qsizetype> consumed;
    const QStringList items = listItems(DecodeTextFile(bytes), consumed);
    qsizetype total = 0;
    for (qsizetype i = 0; i < items.size(); ++i) {
        total += consumed[size_t(i)];
        m_deps.dialogs.Set_load_stat(int(double(total) / length * 100.0));
        const QStringList t = items.at(i).split(QLatin1Char('\t'));
        const auto token = [&t](int n) {
            return n <= t.size() ? t.at(n - 1) : QString();
        };
        if (token(1).isEmpty())
            continue;
        EintragAdd(token(2), token(3), token(4), token(5), token(6), token(1), token(7), token(8), token(9));
    }
    log(QStringLiteral("clsPhonebook Load:") + file + QStringLiteral(" Close"));
    source.close();
    log(QStringLiteral("clsPhonebook Load:") + file + QStringLiteral(" End"));
    const QString old = file + QStringLiteral(".old");
    QFile::remove(old);
    QFile::rename(file, old);
}

std::optional<clsEintrag> clsPhonebook::entryAtPosition(int32_t code) {
    if (code != 0)
        return std::nullopt;
    clsEintrag entry = NewEintrag();
    if (entry.GetRecord() != 0)
        return std::nullopt;
    return entry;
}

std::optional<clsEintrag> clsPhonebook::clsEintragByName(const QString& name) {
    return entryAtPosition(m_deps.store.PDB_Find(hDB, paddedKey(name, NameWidth), 1, 5));
}

std::optional<clsEintrag> clsPhonebook::clsEintragByNumber(const QString& number) {
    const QString head = number.left(pdb::NumberKeyWidth);
    if (head.trimmed().isEmpty())
        return std::nullopt;
    const QString key = paddedKey(head, pdb::NumberKeyWidth);
    pdb::PdbStore& store = m_deps.store;
    if (BookType == OldDiskBook || BookType == DiskBook)
        return entryAtPosition(store.PDB_FindNumberPHB(hDB, key));
    for (int32_t column : {ColumnNumber, ColumnNumber2, ColumnNumber3})
        if (store.PDB_Find(hDB, key, column, 5) == 0)
            return entryAtPosition(0);
    return std::nullopt;
}

std::optional<clsEintrag> clsPhonebook::clsEintragByRecordNr(int32_t recordNumber) {
    return entryAtPosition(m_deps.store.PDB_GetRecord(hDB, recordNumber));
}

std::optional<clsEintrag> clsPhonebook::clsEintragGetFirst() {
    return entryAtPosition(m_deps.store.PDB_GetFirstRecord(hDB));
}

std::optional<clsEintrag> clsPhonebook::clsEintragGetNext() {
    return entryAtPosition(m_deps.store.PDB_GetNextRecord(hDB));
}

std::optional<clsEintrag> clsPhonebook::clsEintragByIndexKey(double key) {
    return entryAtPosition(m_deps.store.PDB_FindIndexPHB(hDB, key));
}

double clsPhonebook::NewKey() {
    const auto last = entryAtPosition(m_deps.store.PDB_GetLastRecord(hDB));
    return last ? last->RecordKey : 0;
}

std::optional<clsEintrag> clsPhonebook::clsEintragByString(const QString& text, int32_t column,
                                                           bool allColumns, bool option) {
    int32_t flags = 0;
    if (option)
        flags += 1;
    if (allColumns) {
        flags += 8;
        column = 0;
    }
    return entryAtPosition(m_deps.store.PDB_Find(hDB, text, column, flags));
}

bool clsPhonebook::EintragAdd(const QString& name, const QString& adresse, const QString& plz,
                              const QString& ort, const QString& description, const QString& number,
                              const QString& number2, const QString& number3, const QString& ansage) {
    clsEintrag entry = NewEintrag();
    entry.setName(name);
    entry.setAdresse(adresse);
    entry.setPLZ(plz);
    entry.setOrt(ort);
    entry.setDescription(description);
    entry.setNumber(number);
    entry.setNumber2(number2);
    entry.setNumber3(number3);
    entry.setAnsage(ansage);
    entry.RecordKey = 0;
    const bool written = entry.PutRecord() == 0;
    Changed = 1;
    return written;
}

int32_t clsPhonebook::EintragCount() const {
    return m_deps.store.PDB_GetNumRecords(hDB, 0);
}

int32_t clsPhonebook::EintragRemoveByRecNo(int32_t recordNumber) {
    if (m_deps.store.PDB_GetRecord(hDB, recordNumber) != 0)
        return -1;
    touch();
    return m_deps.store.PDB_DeleteRecord(hDB);
}

int32_t clsPhonebook::EintragRemoveByName(const QString& name) {
    if (m_deps.store.PDB_Find(hDB, paddedKey(name, NameWidth), 1, 3) != 0)
        return -1;
    touch();
    return m_deps.store.PDB_DeleteRecord(hDB) == 0 ? 0 : -2;
}

int32_t clsPhonebook::EintragRemoveByKey(double key) {
    if (m_deps.store.PDB_FindIndexPHB(hDB, key) != 0)
        return -1;
    touch();
    return m_deps.store.PDB_DeleteRecord(hDB);
}

int32_t clsPhonebook::EintragRemoveAll() {
    DBClose();
    DeleteDBFiles(false);
    const int32_t code = DBOpen(true);
    if (code != 0)
        m_deps.dialogs.MsgBox(ErrorText(code), UserDialogs::Buttons::Ok, UserDialogs::Icon::Critical);
    return code;
}

bool clsPhonebook::XColAdd(const QStringList& items) {
    clsEintrag entry = NewEintrag();
    entry.RecordKey = 0;
    const bool written = entry.XColChange(items) == 0;
    Changed = 1;
    return written;
}

void clsPhonebook::DisplayInList(ListItems* list, bool detail) {
    if (!list)
        return;
    const int remembered = list->Selected() < 0 ? 0 : list->Selected();
    list->Clear();
    pdb::PdbStore& store = m_deps.store;
    for (int32_t code = store.PDB_GetFirstRecord(hDB); code == 0; code = store.PDB_GetNextRecord(hDB)) {
        clsEintrag entry = NewEintrag();
        if (entry.GetRecord() == 0)
            entry.AddEintrag(list, detail);
    }
    if (list->Count() > 0)
        list->Select(remembered < list->Count() ? remembered : 0);
}

void clsPhonebook::Delete(const QList<double>& keys, bool noQuestion) {
    if (!noQuestion) {
        const Language& language = m_deps.language;
        const QString question = language.LanguageString(1183) + QLatin1Char(' ') +
                                 QString::number(keys.size()) + QLatin1Char(' ') +
                                 language.LanguageString(1184);
        if (m_deps.dialogs.MsgBox(question, UserDialogs::Buttons::YesNo, UserDialogs::Icon::Question) !=
            UserDialogs::Answer::Yes)
            return;
    }
    for (double key : keys)
        EintragRemoveByKey(key);
}

void clsPhonebook::CopyToBook(clsPhonebook* target, const QList<double>* keys, int32_t& flags) {
    if (!target || !keys)
        return;
    UserDialogs& dialogs = m_deps.dialogs;
    dialogs.ClearCancel();
    enum Choice { Ask, Replace, Keep } choice = Ask;
    clsEintrag work = NewEintrag();
    const Settings& settings = m_deps.settings;

    for (qsizetype i = 0; i < keys->size(); ++i) {
        if (m_deps.store.PDB_FindIndexPHB(hDB, keys->at(i)) != 0) {
            dialogs.MsgBox(QStringLiteral("CopyToBook :Not found!"));
            continue;
        }
        work.GetRecord();
        QString number = work.Number();
        if (InPhone == 1 && target->InPhone == 0)
            number = OutsideLinePrefix(settings, number, 0);
        else if (InPhone == 0 && target->InPhone == 1)
            number = OutsideLinePrefix(settings, number, 1);
        if (target->InPhone == 1)
            flags |= CopyByName;

        if ((i + 1) % 100 == 0) {
            dialogs.DoEvents();
            dialogs.ProgressReport(int((i + 1) * 100 / keys->size()));
            if (dialogs.Cancelled())
                return;
        }

        const auto addCopy = [&] {
            QStringList items = work.XColGet();
            items[5] = number;
            target->XColAdd(items);
        };
        if (flags & CopyAddAll) {
            addCopy();
            continue;
        }
        auto found =
            (flags & CopyByName) ? target->clsEintragByName(work.Name()) : target->clsEintragByNumber(number);
        if (!found) {
            addCopy();
            continue;
        }
        if (choice == Ask) {
            if (flags & CopyAnswerYes) {
                choice = Replace;
            } else {
                const QString question = m_deps.language.LanguageString((flags & CopyByName) ? 1195 : 1193);
                switch (dialogs.MsgBox(question, UserDialogs::Buttons::YesNoCancel,
                                       UserDialogs::Icon::Question)) {
                case UserDialogs::Answer::Yes:
                    choice = Replace;
                    break;
                case UserDialogs::Answer::No:
                    choice = Keep;
                    break;
                default:
                    return;
                }
            }
        }
        if (choice == Replace) {
            QStringList items = work.XColGet();
            items[5] = number;
            found->XColChange(items);
        } else if (!(flags & CopyByName)) {
            addCopy();
        }
    }
}

int clsPhonebook::Präfix(const QString& prefix, const QList<double>& keys, int mode) {
    int changed = 0;
    for (double key : keys) {
        auto entry = clsEintragByIndexKey(key);
        if (!entry)
            continue;
        const QString number = entry->Number();
        QString updated = number;
        if (mode == 0) {
            if (number.startsWith(prefix))
                updated = number.mid(prefix.size());
        } else if (!number.isEmpty()) {
            updated = prefix + number;
        }
        if (updated != number) {
            QStringList items = entry->XColGet();
            items[5] = updated;
            entry->XColChange(items);
            ++changed;
        } else {
            entry->PutRecord();
        }
    }
    return changed;
}

void clsPhonebook::MarkAllChanged(int16_t flag) {
    pdb::PdbStore& store = m_deps.store;
    const QString text = (flag != 0 ? QStringLiteral("T") : QStringLiteral("N")) + QChar(0);
    touch();
    for (int32_t code = store.PDB_GetFirstRecord(hDB); code == 0; code = store.PDB_GetNextRecord(hDB)) {
        if (store.PDB_PutField(hDB, ColumnISChanged, text) != 0)
            break;
        store.PDB_PutRecord(hDB, store.PDB_GetCurRecNo(hDB));
    }
    Changed = flag;
}

void clsPhonebook::ShowEditWindow(double key, int row) {
    if (m_state.showEditWindow)
        m_state.showEditWindow(*this, key, row);
}

void clsPhonebook::ShowNewWindow(ListItems* list) {
    if (m_state.showNewWindow)
        m_state.showNewWindow(*this, list);
}

bool clsPhonebook::IsNormalHardDiskBook() const {
    return Key != QLatin1String("QUICK") && Key != QLatin1String("NEW") && Key != QLatin1String("MACRO");
}

int32_t clsPhonebook::GoToRecord(double key) {
    return m_deps.store.PDB_FindIndexPHB(hDB, key);
}

int32_t clsPhonebook::GetRecordPHB(RecordBlock& block) {
    return m_deps.store.PDB_GetRecordPHB(hDB, block.data());
}

int32_t clsPhonebook::PutRecordPHB(const RecordBlock& block) {
    RecordBlock written = block;
    touch();
    return m_deps.store.PDB_PutRecordPHB(hDB, written.data());
}

bool clsPhonebook::KeepsGreetings() const {
    // The greeting is the answering machine's, kept on disk only: the telephone's book 1 keeps it as any
    // other book of the set does, though the telephone never sees it. QUICK, NEW and MACRO keep none, nor
    // does the book of the telephone's last read state, which is outside the set.
    return m_set != nullptr && m_set->IsNormalHardDiskBook(hDB);
}
