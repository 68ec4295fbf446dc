#include "config/colConfig.h"

#include "numbers/Num_module.h"
#include "platform/profile/ProfileStore.h"
#include "shell/base/Language.h"
#include "shell/base/Logs.h"

#include <QFile>
#include <QFileInfo>

#include <exception>

using Field = clsConfig::Field;

namespace {

const QString KonfigSection = QStringLiteral("Konfig");
const QString SetOneFile = QStringLiteral("KonfMorva");

// Copies one value through the destination's rule, then its exists flag.
void copyField(const clsConfig& source, clsConfig& destination, Field field, int from, int to) {
    const clsConfig::FieldInfo& info = clsConfig::Info(field);
    if (info.text)
        destination.Assign(field, to, source.Text(field, from));
    else
        destination.Assign(field, to, int(source.Number(field, from)));
    if (info.flag)
        destination.setEx(field, to, source.ex(field, from));
}

} // namespace

colConfig::colConfig(ConfigDependencies deps)
    : m_deps(std::move(deps)),
      m_one(std::make_unique<clsConfig>(m_deps.settings, &m_deps.profiles, m_deps.dataFolder)) {
    // Given its file only after the values: nothing is written before Konfig_create has read the file.
    m_one->SetDefaultCAPI();
    m_one->setFileName(SetOneFile);
}

clsConfig& colConfig::Item(int index) {
    if (index == 1)
        return *m_one;
    return *m_sets.at(std::size_t(index - 2)).set;
}

const clsConfig& colConfig::Item(int index) const {
    if (index == 1)
        return *m_one;
    return *m_sets.at(std::size_t(index - 2)).set;
}

void colConfig::Konfig_create() {
    m_deps.logs.Log_Write(QStringLiteral("Konfiguration Konfig_create Begin"));
    try {
        m_sets.clear();
        clsConfig& one = Item(1);
        one.Name = m_deps.language.LanguageString(5200);
        one.setFileName(SetOneFile);
        {
            clsConfig::WriteHold hold(&one);
            one.SetDefaultCAPI();
            one.Load();
        }
        if (!QFileInfo::exists(one.FilePath()))
            one.Save();
        const int anzahl =
            m_deps.profiles.GetPrivateProfileInt(KonfigSection, QStringLiteral("Anzahl"), 0, m_deps.iniPath);
        if (anzahl < 1) {
            clsConfig& added = Add(m_deps.language.LanguageString(5201), GetNewFileName());
            keepAside(added.FilePath());
            added.Save();
        } else {
            for (int n = 2; n <= anzahl; ++n) {
                const QString name = m_deps.profiles.GetPrivateProfileString(
                    KonfigSection, QStringLiteral("Konfig%1").arg(n), QStringLiteral("Konfig%1").arg(n),
                    m_deps.iniPath);
                const QString file = m_deps.profiles.GetPrivateProfileString(
                    KonfigSection, QStringLiteral("KonfigName%1").arg(n), GetNewFileName(), m_deps.iniPath);
                Add(name, file).Load();
            }
        }
    } catch (const std::exception& error) {
        m_deps.logs.Log_Write(QStringLiteral("Konfiguration Konfig_create Error:") +
                              QString::fromLocal8Bit(error.what()));
        return;
    }
    m_deps.logs.Log_Write(QStringLiteral("Konfiguration Konfig_create End"));
}

void colConfig::keepAside(const QString& path) {
    // A set of an earlier installation (its settings file gone, its set files still there) is never
    // written over: it is kept as "<name>.old", or "<name>.old2" ... when that is taken too.
    if (path.isEmpty() || !QFileInfo::exists(path))
        return;
    QString kept = path + QStringLiteral(".old");
    for (int n = 2; QFileInfo::exists(kept); ++n)
        kept = path + QStringLiteral(".old%1").arg(n);
    if (QFile::rename(path, kept))
        m_deps.logs.ErrorLog(QStringLiteral("%1 belongs to no set of Morva.ini: kept as %2").arg(path, kept));
    else
        m_deps.logs.ErrorLog(
            QStringLiteral("%1 could not be kept aside before a new set took its name").arg(path));
}

void colConfig::Konfig_destroy() {
    Item(1).Save();
    ProfileBatch batch(m_deps.profiles, m_deps.iniPath);
    m_deps.profiles.WritePrivateProfileString(KonfigSection, QStringLiteral("Anzahl"),
                                              QString::number(Count()), m_deps.iniPath);
    for (int n = 2; n <= Count(); ++n) {
        clsConfig& set = Item(n);
        m_deps.profiles.WritePrivateProfileString(KonfigSection, QStringLiteral("Konfig%1").arg(n), set.Name,
                                                  m_deps.iniPath);
        m_deps.profiles.WritePrivateProfileString(KonfigSection, QStringLiteral("KonfigName%1").arg(n),
                                                  set.FileName(), m_deps.iniPath);
        set.Save();
    }
    batch.commit();
    // The sets stay in memory: the parts that read them live until the program object goes.
}

clsConfig& colConfig::Add(const QString& name, const QString& fileName, const QString& key) {
    auto set = std::make_unique<clsConfig>(m_deps.settings, &m_deps.profiles, m_deps.dataFolder);
    set->Name = name;
    set->setFileName(fileName);
    m_sets.push_back({std::move(set), key});
    return *m_sets.back().set;
}

clsConfig* colConfig::Item(const QString& key) {
    for (Entry& entry : m_sets)
        if (!key.isEmpty() && entry.key == key)
            return entry.set.get();
    return nullptr;
}

bool colConfig::Remove(int index) {
    // Set 1 mirrors the devices and is never removed.
    if (index <= 1 || index > Count())
        return false;
    m_sets.erase(m_sets.begin() + (index - 2));
    return true;
}

void colConfig::Remove(const QString& key) {
    for (int i = 2; i <= Count(); ++i)
        if (!key.isEmpty() && m_sets[std::size_t(i - 2)].key == key) {
            Remove(i);
            return;
        }
}

QString colConfig::GetNewFileName() const {
    for (int n = 1; n <= Count() + 1; ++n) {
        const QString name = QStringLiteral("Konfig%1.txt").arg(n);
        bool used = false;
        for (int i = 1; i <= Count(); ++i)
            used |= Item(i).FileName() == name;
        if (!used)
            return name;
    }
    return {}; // not reached: Count() + 1 names for Count() sets
}

void colConfig::CopyExFromKonfToKonf(const clsConfig* source, clsConfig* destination) {
    if (!source || !destination)
        return;
    clsConfig::WriteHold hold(destination);
    for (int i = 1; i <= 5; ++i)
        for (int f = int(Field::strMSN); f <= int(clsConfig::LastMSNFlagged); ++f)
            destination->setEx(Field(f), i, source->ex(Field(f), i));
    for (int i = 1; i <= clsConfig::ZielLast; ++i)
        destination->setEx(Field::strZielwahl, i, source->ex(Field::strZielwahl, i));
    for (int f = int(clsConfig::FirstGeneral); f < clsConfig::FieldCount; ++f)
        if (Field(f) != Field::intContrast)
            destination->setEx(Field(f), source->ex(Field(f)));
}

void colConfig::CopyMSNfromKonfToKonf(const clsConfig* source, clsConfig* destination, int sourceIndex,
                                      int destIndex) {
    if (!source || !destination)
        return;
    clsConfig::WriteHold hold(destination);
    for (Field f : {Field::strMSN, Field::strMSNText, Field::intMSNMelodA, Field::intMSNVol,
                    Field::intMSNRufart, Field::intMSNAnsage, Field::strMSNRufartFile})
        copyField(*source, *destination, f, sourceIndex, destIndex);
}

void colConfig::CopyZielfromKonfToKonf(const clsConfig* source, clsConfig* destination, int sourceIndex,
                                       int destIndex) {
    if (!source || !destination)
        return;
    copyField(*source, *destination, Field::strZielwahl, sourceIndex, destIndex);
}

void colConfig::CopyAllFromKonfToKonf(const clsConfig* source, clsConfig* destination) {
    if (!source || !destination)
        return;
    clsConfig::WriteHold hold(destination);
    for (int i = 1; i <= 5; ++i) {
        for (int f = int(Field::strMSN); f <= int(clsConfig::LastMSNFlagged); ++f)
            copyField(*source, *destination, Field(f), i, i);
        copyField(*source, *destination, Field::strMSNRufartFile, i, i);
    }
    for (int i = 0; i <= clsConfig::ZielLast; ++i)
        copyField(*source, *destination, Field::strZielwahl, i, i);
    for (int f = int(clsConfig::FirstGeneral); f < clsConfig::FieldCount; ++f)
        copyField(*source, *destination, Field(f), 0, 0);
}

QString colConfig::trlMSNName(const QString& msn, bool allowWildCard) const {
    const QString trimmed = msn.trimmed();
    if (Count() > 0) {
        if (IsNumericNumber(trimmed))
            return Item(1).trlMSNNummerToName(trimmed, allowWildCard);
        const QString letters = QStringLiteral("ABCDE");
        const qsizetype letter = trimmed.size() == 1 ? letters.indexOf(trimmed) : -1;
        if (letter >= 0) {
            const int index = int(letter) + 1;
            if (!Item(1).strMSNText(index).isEmpty())
                return Item(1).strMSNText(index);
            if (!Item(1).strMSN(index).isEmpty())
                return Item(1).strMSN(index);
            return trimmed;
        }
    }
    return trimmed.isEmpty() ? m_deps.language.LanguageString(5160) : trimmed;
}
