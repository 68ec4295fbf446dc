#pragma once

// One phonebook over one dBase table of the data folder: opening and creating it, repairing it, finding
// entries by name, number, key or free text, adding, removing, copying and bulk-editing them, and showing
// them in a list. Older text phonebooks are taken over on the first open; an empty macro book loaded from
// the settings is seeded with carriers.

#include "phonebook/RecordSource.h"
#include "phonebook/clsEintrag.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>
#include <optional>

namespace pdb {
class PdbStore;
}
class Language;
class Logs;
class UserDialogs;
struct Settings;
class colPhonebook;

// What every book of a program depends on: the store, the settings, the logs, the texts, the dialogs and
// the folders. Fixed for the books' whole run; built with named fields.
struct PhonebookDependencies {
    pdb::PdbStore& store;
    const Settings& settings;
    Logs& logs;
    const Language& language;
    UserDialogs& dialogs;
    // The folder of the book files, with a trailing "/".
    QString dataFolder;
    // The folder where older text phonebooks are looked for (the program's working folder).
    QString programFolder;
    // The sound folder, to which an entry's greeting is kept relative.
    std::function<QString()> soundFolder;
};

// What changes while the books run; colPhonebook owns it and every book of the set shares it.
struct PhonebookRunState {
    // True when the last run ended abnormally: every open rebuilds its indexes. Set by the start.
    bool lastRunFailed = false;
    // Counts the changes of all books (see clsPhonebook::Generation).
    uint64_t changes = 0;
    // The entry window (a later window), set by its owner: opened on the entry with a key, or for a new
    // entry.
    std::function<void(class clsPhonebook& book, double key, int row)> showEditWindow;
    std::function<void(class clsPhonebook& book, ListItems* list)> showNewWindow;
};

class clsPhonebook : public RecordSource {
public:
    // The kinds of table (BookType).
    static constexpr int32_t TelephoneBook = 1;
    static constexpr int32_t OldDiskBook = 3;
    static constexpr int32_t DiskBook = 4;

    // `set` is the collection the book belongs to, or null for a book outside it.
    clsPhonebook(const PhonebookDependencies& deps, PhonebookRunState& state, const colPhonebook* set);
    ~clsPhonebook() override;
    clsPhonebook(const clsPhonebook&) = delete;
    clsPhonebook& operator=(const clsPhonebook&) = delete;

    int32_t hDB = 0;         // handle of the open table; 0 when closed
    int16_t InPhone = 0;     // 1 for a book that mirrors a telephone's memory
    int16_t IsMacroBook = 0; // 1 for the macro book loaded from the settings: seeded when empty
    int32_t BookType = TelephoneBook;
    QString Key;      // QUICK, NEW, MACRO or empty
    QString Name;     // display name
    QString FileName; // within the data folder, ending in ".dbf"; spelt as the settings spell it
    int16_t Changed = 0;

    int32_t DBCreate(bool deleteFirst);
    void PackDatabase();
    void DeleteDBFiles(bool indexOnly);
    // 0 when open; else the code, and hDB is 0.
    int32_t DBOpen(bool createIndex);
    void DBClose();

    std::optional<clsEintrag> clsEintragByName(const QString& name);
    std::optional<clsEintrag> clsEintragByNumber(const QString& number);
    std::optional<clsEintrag> clsEintragByRecordNr(int32_t recordNumber);
    std::optional<clsEintrag> clsEintragGetFirst();
    std::optional<clsEintrag> clsEintragGetNext();
    std::optional<clsEintrag> clsEintragByIndexKey(double key);
    // The key of the last record, 0 if none.
    double NewKey();
    std::optional<clsEintrag> clsEintragByString(const QString& text, int32_t column, bool allColumns,
                                                 bool option);

    bool EintragAdd(const QString& name, const QString& adresse, const QString& plz, const QString& ort,
                    const QString& description, const QString& number, const QString& number2,
                    const QString& number3, const QString& ansage);
    int32_t EintragCount() const;
    int32_t EintragRemoveByRecNo(int32_t recordNumber);
    int32_t EintragRemoveByName(const QString& name);
    int32_t EintragRemoveByKey(double key);
    int32_t EintragRemoveAll();
    bool XColAdd(const QStringList& items);

    void DisplayInList(ListItems* list, bool detail);
    void Delete(const QList<double>& keys, bool noQuestion);

    // CopyToBook flags.
    enum CopyFlag : int32_t {
        CopyAnswerYes = 1, // replace on a conflict without asking
        CopyAddAll = 2,    // add every entry, without looking for a conflict
        CopyByName = 4,    // look for a conflict by name instead of by number
    };
    void CopyToBook(clsPhonebook* target, const QList<double>* keys, int32_t& flags);
    int Präfix(const QString& prefix, const QList<double>& keys, int mode);
    void MarkAllChanged(int16_t flag);

    void ShowEditWindow(double key, int row);
    void ShowNewWindow(ListItems* list);
    bool IsNormalHardDiskBook() const;

    // Stamps every change of the book's table through this book (writes, removals, opening, closing) with
    // a number unique among all books, so that what is read from it can be kept until the next change.
    uint64_t Generation() const { return m_generation; }

    // The text of a store code.
    QString ErrorText(int32_t code) const;
    // A new entry bound to this book.
    clsEintrag NewEintrag();
    // The full path of the table: FileName found in the data folder without regard to case, as Windows
    // finds it (an exact match wins), or as given when there is no such file yet.
    QString path() const;

    // RecordSource, for the entries of this book.
    int32_t GoToRecord(double key) override;
    int32_t GetRecordPHB(RecordBlock& block) override;
    int32_t PutRecordPHB(const RecordBlock& block) override;
    bool KeepsGreetings() const override;

private:
    void LoadOldTxtFile(const QString& file);
    void SeedCarriers();
    std::optional<clsEintrag> entryAtPosition(int32_t code);
    void touch();
    void log(const QString& text) const;
    // The name without its ".dbf" ending (in any case); empty for a name without it.
    static QString stem(const QString& fileName);
    void deleteFile(const QString& file, const QString& failureText) const;

    const PhonebookDependencies& m_deps;
    PhonebookRunState& m_state;
    const colPhonebook* m_set;
    uint64_t m_generation = 0;
};
