#pragma once

// The ordered set of all open phonebooks, and the answer to the question that every call asks: whose
// number is this? The order of the books is the order of every search: the first book that knows a
// number decides. The set is built at start from section PhoneBook of the settings and the data
// folder, and written back at the end. PhonebookInEurit, the last state read from the telephone, is a
// book outside the set.

#include "numbers/modVorwahlen.h"
#include "phonebook/clsPhonebook.h"

#include <QString>

#include <functional>
#include <memory>
#include <vector>

class ProfileStore;

class colPhonebook : public CarrierSource {
public:
    // `iniPath` is the settings file that holds section PhoneBook and section Provider.
    colPhonebook(PhonebookDependencies deps, ProfileStore& profiles, const QString& iniPath);
    ~colPhonebook() override;
    colPhonebook(const colPhonebook&) = delete;
    colPhonebook& operator=(const colPhonebook&) = delete;

    PhonebookRunState& state() { return m_state; }

    // Appends a book; an empty key adds it without key.
    clsPhonebook& Add(const QString& name, const QString& fileName, const QString& key);
    // The book at a position from 1, or with a key; null when there is none.
    clsPhonebook* Item(int index) const;
    clsPhonebook* Item(const QString& key) const;
    int Count() const { return int(m_books.size()); }
    void Remove(int index);
    void Remove(const QString& key);
    auto begin() const { return m_books.begin(); }
    auto end() const { return m_books.end(); }

    void ShowEditWindowFree(const QString& number);
    // The name of the party behind a number; `detail` gets the address line, `greeting` the entry's
    // greeting (untouched when no book knows the number). An unknown number gives itself, and with
    // `addToNew` goes into the book NEW unless the ignore rules keep it out.
    QString TranslateNumber(const QString& number, int addArea, int addToNew, QString& detail,
                            QString& greeting);
    // The greeting for a caller: that of the first book that knows the number, QUICK, NEW and MACRO
    // passed over, even when it is empty; empty when no book knows the number.
    QString GetAnsage(const QString& number, int addArea);
    bool NumberExists(const QString& number, int addArea);
    bool ChangeEntry(const QString& number, const QString& name, const QString& address,
                     const QString& postalCode, const QString& town, int force);
    QString GetNewFileName() const;
    void ReIndexAndRepair();
    // Whether the book with this table handle is a normal disk book of the set.
    bool IsNormalHardDiskBook(int32_t handle) const;

    // Number to name, as most callers want it: with the own area code, without (NumberToName) or with
    // (NumberToNameAddNew) the entry into NEW.
    QString NumberToName(const QString& number, QString& detail);
    QString NumberToNameAddNew(const QString& number, QString& detail);

    // The module's start and end: the set from the settings and the data folder; the book list written
    // back; the books closed; everything dropped and the store ended.
    void Phonebooks_create();
    void Phonebooks_save();
    void Phonebooks_close();
    void Phonebooks_destroy();

    // The book of the telephone's last read state; null outside Phonebooks_create ... Phonebooks_destroy.
    std::unique_ptr<clsPhonebook> PhonebookInEurit;
    // The carriers of the macro book.
    modVorwahlen Vorwahlen;
    // CarrierSource: the entries of the macro book, stamped by its generation.
    uint64_t CarriersGeneration() const override;
    std::vector<Carrier> ReadCarriers() const override;
    // Starts a directory lookup of a number that no book knows (a later part); none by default.
    std::function<void(const QString& number)> LookupNumber;

private:
    // The first book, in order, that knows a number, and its entry; none when no book knows it.
    // `withGreetingsOnly` passes over QUICK, NEW and MACRO.
    struct Hit {
        clsPhonebook* book = nullptr;
        std::optional<clsEintrag> entry;
    };
    Hit firstHit(const QString& number, bool withGreetingsOnly = false) const;
    QString withoutCarrier(const QString& number) const;
    clsPhonebook* findByKey(const QString& key) const;
    void openDiskBook(clsPhonebook& book, bool createIndex);

    PhonebookDependencies m_deps;
    PhonebookRunState m_state;
    ProfileStore& m_profiles;
    QString m_iniPath;
    std::vector<std::unique_ptr<clsPhonebook>> m_books;
    bool m_storeStarted = false;
};
