#include "phonebook/colPhonebook.h"

#include "numbers/Num_module.h"
#include "platform/FileNames.h"
#include "platform/pdbstore/PdbStore.h"
#include "platform/profile/ProfileStore.h"
#include "shell/base/Language.h"
#include "shell/base/Logs.h"
#include "shell/base/Settings.h"
#include "shell/base/UserDialogs.h"

#include <QDir>

#include <exception>

namespace {

const QString PhoneBookSection = QStringLiteral("PhoneBook");

bool isSpecialKey(const QString& key) {
    return key == QLatin1String("QUICK") || key == QLatin1String("NEW") || key == QLatin1String("MACRO");
}

} // namespace

colPhonebook::colPhonebook(PhonebookDependencies deps, ProfileStore& profiles, const QString& iniPath)
    : Vorwahlen(*this, profiles, iniPath), m_deps(std::move(deps)), m_profiles(profiles), m_iniPath(iniPath) {
}

colPhonebook::~colPhonebook() {
    m_books.clear();
    PhonebookInEurit.reset();
    if (m_storeStarted)
        m_deps.store.PDB_Exit();
}

clsPhonebook& colPhonebook::Add(const QString& name, const QString& fileName, const QString& key) {
    auto book = std::make_unique<clsPhonebook>(m_deps, m_state, this);
    book->Name = name;
    book->FileName = fileName;
    book->Key = key;
    m_books.push_back(std::move(book));
    return *m_books.back();
}

clsPhonebook* colPhonebook::Item(int index) const {
    return index >= 1 && index <= Count() ? m_books[size_t(index - 1)].get() : nullptr;
}

clsPhonebook* colPhonebook::Item(const QString& key) const {
    return findByKey(key);
}

clsPhonebook* colPhonebook::findByKey(const QString& key) const {
    if (key.isEmpty())
        return nullptr;
    for (const auto& book : m_books)
        if (book->Key.compare(key, Qt::CaseInsensitive) == 0)
            return book.get();
    return nullptr;
}

void colPhonebook::Remove(int index) {
    if (index >= 1 && index <= Count())
        m_books.erase(m_books.begin() + (index - 1));
}

void colPhonebook::Remove(const QString& key) {
    for (auto it = m_books.begin(); it != m_books.end(); ++it) {
        if (!key.isEmpty() && (*it)->Key.compare(key, Qt::CaseInsensitive) == 0) {
            m_books.erase(it);
            return;
        }
    }
}

colPhonebook::Hit colPhonebook::firstHit(const QString& number, bool withGreetingsOnly) const {
    for (const auto& book : m_books) {
        if (withGreetingsOnly && isSpecialKey(book->Key))
            continue;
        if (auto entry = book->clsEintragByNumber(number))
            return {book.get(), std::move(entry)};
    }
    return {};
}

uint64_t colPhonebook::CarriersGeneration() const {
    const clsPhonebook* macro = Item(QStringLiteral("MACRO"));
    return macro ? macro->Generation() : 0;
}

std::vector<Carrier> colPhonebook::ReadCarriers() const {
    std::vector<Carrier> carriers;
    if (clsPhonebook* macro = Item(QStringLiteral("MACRO")))
        for (auto entry = macro->clsEintragGetFirst(); entry; entry = macro->clsEintragGetNext())
            carriers.push_back({entry->Number(), entry->Name(), entry->RecordKey});
    return carriers;
}

QString colPhonebook::withoutCarrier(const QString& number) const {
    QString carrier;
    return Vorwahlen.StripCarrierPrefix(number.trimmed(), carrier);
}

void colPhonebook::ShowEditWindowFree(const QString& number) {
    const Hit hit = firstHit(withoutCarrier(number));
    if (hit.book)
        hit.book->ShowEditWindow(hit.entry->RecordKey, -1);
}

QString colPhonebook::TranslateNumber(const QString& number, int addArea, int addToNew, QString& detail,
                                      QString& greeting) {
    const Settings& settings = m_deps.settings;
    const QString received = withoutCarrier(number);
    const QString wanted = addArea == 1 ? AddAreaCode(settings, received) : received;

    if (const Hit hit = firstHit(wanted); hit.book) {
        const clsEintrag& entry = *hit.entry;
        detail = entry.Adresse() + QLatin1Char(' ') + entry.PLZ() + QLatin1Char(' ') + entry.Ort() +
                 QStringLiteral(" - ") + entry.Description();
        greeting = entry.Ansage();
        return entry.Name();
    }
    detail = wanted;

    // Short internal numbers are told by their length as received, before the own area code.
    const bool shortNumber = received.size() <= settings.IgnoreDigits;
    const bool ignored = settings.IgnoreNumbers == 0   ? false
                         : settings.IgnoreNumbers == 1 ? shortNumber
                                                       : true;
    // A withheld number has nothing to remember.
    if (addToNew == 1 && !ignored && !wanted.isEmpty()) {
        if (clsPhonebook* fresh = Item(QStringLiteral("NEW")))
            fresh->EintragAdd(wanted, {}, {}, {}, {}, wanted, {}, {}, {});
        if (IsNumericNumber(wanted) && LookupNumber)
            LookupNumber(wanted);
    }
    return wanted;
}

QString colPhonebook::GetAnsage(const QString& number, int addArea) {
    // No carrier code is cut off here: the greeting belongs to the number as the call brought it.
    const QString trimmed = number.trimmed();
    const Hit hit = firstHit(addArea == 1 ? AddAreaCode(m_deps.settings, trimmed) : trimmed, true);
    return hit.book ? hit.entry->Ansage() : QString();
}

bool colPhonebook::NumberExists(const QString& number, int addArea) {
    const QString received = withoutCarrier(number);
    return firstHit(addArea == 1 ? AddAreaCode(m_deps.settings, received) : received).book != nullptr;
}

bool colPhonebook::ChangeEntry(const QString& number, const QString& name, const QString& address,
                               const QString& postalCode, const QString& town, int force) {
    const QString wanted = number.trimmed();
    bool changed = false;
    const auto update = [&](clsPhonebook& book, const QString& searched) {
        auto entry = book.clsEintragByNumber(searched);
        if (!entry || (force != 1 && entry->Name() != searched))
            return;
        if (!name.isEmpty())
            entry->setName(name);
        if (!address.isEmpty())
            entry->setAdresse(address);
        if (!postalCode.isEmpty())
            entry->setPLZ(postalCode);
        if (!town.isEmpty())
            entry->setOrt(town);
        changed |= entry->PutRecord() == 0;
    };
    // Book 1 mirrors the telephone, whose numbers carry the outside-line prefix.
    if (clsPhonebook* first = Item(1))
        update(*first, OutsideLinePrefix(m_deps.settings, wanted, 1));
    for (int i = 2; i <= Count(); ++i)
        update(*Item(i), wanted);
    return changed;
}

QString colPhonebook::GetNewFileName() const {
    for (int n = 1;; ++n) {
        const QString name = QStringLiteral("Phb%1.dbf").arg(n);
        if (FileNameInFolder(m_deps.dataFolder, name).isEmpty())
            return name;
    }
}

void colPhonebook::ReIndexAndRepair() {
    for (const auto& book : m_books) {
        book->DBClose();
        book->DeleteDBFiles(true);
        book->PackDatabase();
        book->DBOpen(true);
    }
}

bool colPhonebook::IsNormalHardDiskBook(int32_t handle) const {
    if (handle == 0)
        return false;
    for (const auto& book : m_books)
        if (book->hDB == handle)
            return book->IsNormalHardDiskBook();
    return false;
}

QString colPhonebook::NumberToName(const QString& number, QString& detail) {
    QString greeting;
    return TranslateNumber(number, 1, 0, detail, greeting);
}

QString colPhonebook::NumberToNameAddNew(const QString& number, QString& detail) {
    QString greeting;
    return TranslateNumber(number, 1, 1, detail, greeting);
}

void colPhonebook::openDiskBook(clsPhonebook& book, bool createIndex) {
    book.BookType = clsPhonebook::DiskBook;
    book.DBOpen(createIndex);
}

void colPhonebook::Phonebooks_create() {
    Logs& logs = m_deps.logs;
    const Language& language = m_deps.language;
    QDir().mkpath(m_deps.dataFolder);
    logs.Log_Write(QStringLiteral("Phonebooks_create Begin"));
    try {
        if (!m_storeStarted)
            m_storeStarted = m_deps.store.PDB_Init() == pdb::Ok;
        PhonebookInEurit = std::make_unique<clsPhonebook>(m_deps, m_state, nullptr);
        PhonebookInEurit->Name = QStringLiteral("InEurit");
        PhonebookInEurit->FileName = QStringLiteral("PhbInEurit.dbf");
        PhonebookInEurit->InPhone = 1;

        const int count =
            m_profiles.GetPrivateProfileInt(PhoneBookSection, QStringLiteral("Anzahl"), 0, m_iniPath);
        int step = 0;
        const auto advance = [&] {
            m_deps.dialogs.Set_load_stat(++step * 100 / (count + 1));
        };

        clsPhonebook& telephone =
            Add(language.LanguageString(3935), QStringLiteral("PhbEurit.dbf"), QString());
        telephone.InPhone = 1;
        telephone.DBOpen(true);
        advance();

        for (int i = 2; i <= count; ++i) {
            const QString number = QString::number(i);
            const QString name =
                m_profiles.GetPrivateProfileString(PhoneBookSection, QStringLiteral("PhoneBook") + number,
                                                   QStringLiteral("PhoneBook") + number, m_iniPath);
            QString file = m_profiles.GetPrivateProfileString(
                PhoneBookSection, QStringLiteral("PhName") + number, {}, m_iniPath);
            if (file.trimmed().isEmpty())
                continue;
            const bool oldText = file.endsWith(QLatin1String(".txt"), Qt::CaseInsensitive);
            // Found as Windows finds it: a settings file from Windows may spell the name in another case.
            if (FileNameInFolder(m_deps.dataFolder, file).isEmpty() && !oldText)
                continue;
            if (oldText)
                file = file.left(file.size() - 4) + QStringLiteral(".dbf");
            const QString key = m_profiles.GetPrivateProfileString(
                PhoneBookSection, QStringLiteral("PhKey") + number, {}, m_iniPath);
            clsPhonebook& book = Add(name, file, key);
            if (key == QLatin1String("MACRO"))
                book.IsMacroBook = 1;
            openDiskBook(book, true);
            advance();
        }

        if (count < 2)
            openDiskBook(Add(language.LanguageString(3660), GetNewFileName(), QString()), true);

        const struct {
            const char* key;
            QString name;
            const char* file;
        } specials[] = {{"QUICK", QStringLiteral("Quickdial"), "PhbQuick.dbf"},
                        {"NEW", language.LanguageString(3661), "PhbNew.dbf"},
                        {"MACRO", QStringLiteral("Macros"), "Macros.dbf"}};
        for (const auto& special : specials)
            if (!Item(QLatin1String(special.key)))
                openDiskBook(Add(special.name, QLatin1String(special.file), QLatin1String(special.key)),
                             true);

        // Any other table of the data folder becomes a book of its own.
        static const QStringList reserved = {QStringLiteral("add.dbf"),       QStringLiteral("delete.dbf"),
                                             QStringLiteral("macros.dbf"),    QStringLiteral("phbnew.dbf"),
                                             QStringLiteral("phbquick.dbf"),  QStringLiteral("phbeurit.dbf"),
                                             QStringLiteral("phbineurit.dbf")};
        QDir folder(m_deps.dataFolder);
        folder.setNameFilters({QStringLiteral("*.dbf")});
        folder.setFilter(QDir::Files);
        folder.setSorting(QDir::Name | QDir::IgnoreCase);
        QStringList found;
        for (const QString& file : folder.entryList()) {
            if (reserved.contains(file, Qt::CaseInsensitive))
                continue;
            bool used = false;
            for (const auto& book : m_books)
                used |= book->FileName.compare(file, Qt::CaseInsensitive) == 0;
            if (!used)
                found << file;
        }
        for (auto it = found.crbegin(); it != found.crend(); ++it) {
            clsPhonebook& book = Add(language.LanguageString(3660), *it, QString());
            book.BookType = clsPhonebook::DiskBook;
            book.DeleteDBFiles(true);
            if (book.DBOpen(false) != 0)
                Remove(Count());
        }
        logs.Log_Write(QStringLiteral("Phonebooks_create End"));
    } catch (const std::exception& error) {
        logs.Log_Write(QStringLiteral("Phonebooks_create Error:") + QString::fromLocal8Bit(error.what()));
    }
}

void colPhonebook::Phonebooks_save() {
    ProfileBatch batch(m_profiles, m_iniPath);
    m_profiles.WritePrivateProfileString(PhoneBookSection, QStringLiteral("Anzahl"), QString::number(Count()),
                                         m_iniPath);
    for (int i = 2; i <= Count(); ++i) {
        const clsPhonebook& book = *Item(i);
        const QString number = QString::number(i);
        m_profiles.WritePrivateProfileString(PhoneBookSection, QStringLiteral("PhoneBook") + number,
                                             book.Name, m_iniPath);
        m_profiles.WritePrivateProfileString(PhoneBookSection, QStringLiteral("PhName") + number,
                                             book.FileName, m_iniPath);
        m_profiles.WritePrivateProfileString(PhoneBookSection, QStringLiteral("PhKey") + number, book.Key,
                                             m_iniPath);
    }
    batch.commit();
}

void colPhonebook::Phonebooks_close() {
    Phonebooks_save();
    for (int i = 2; i <= Count(); ++i)
        Item(i)->DBClose();
}

void colPhonebook::Phonebooks_destroy() {
    Phonebooks_close();
    m_books.clear();
    PhonebookInEurit.reset();
    if (m_storeStarted)
        m_deps.store.PDB_Exit();
    m_storeStarted = false;
}
