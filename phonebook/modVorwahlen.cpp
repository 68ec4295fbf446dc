#include "phonebook/modVorwahlen.h"

#include "phonebook/colPhonebook.h"
#include "platform/profile/ProfileStore.h"

namespace {
const QString ProviderSection = QStringLiteral("Provider");

QString lastKey(size_t slot) {
    return QStringLiteral("Last%1").arg(slot + 1);
}
} // namespace

modVorwahlen::modVorwahlen(colPhonebook& books, ProfileStore& profiles, const QString& iniPath)
    : m_books(books), m_profiles(profiles), m_iniPath(iniPath) {}

void modVorwahlen::LoadCarriers() {
    for (size_t i = 0; i < CarrierTable.size(); ++i)
        CarrierTable[i] =
            m_profiles.GetPrivateProfileString(ProviderSection, lastKey(i), QString(), m_iniPath);
    CarriersActive = true;
}

void modVorwahlen::SaveCarriers() {
    CarriersActive = false;
    ProfileBatch batch(m_profiles, m_iniPath);
    for (size_t i = 0; i < CarrierTable.size(); ++i)
        m_profiles.WritePrivateProfileString(ProviderSection, lastKey(i), CarrierTable[i], m_iniPath);
    batch.commit();
}

const std::vector<modVorwahlen::Carrier>& modVorwahlen::carriers() const {
    clsPhonebook* macro = m_books.Item(QStringLiteral("MACRO"));
    // Every lookup of a number asks for the carriers: they are read from the macro book once per change.
    if (macro != m_cachedBook || (macro && macro->Generation() != m_cachedGeneration)) {
        m_cache.clear();
        m_cachedBook = macro;
        if (macro) {
            for (auto entry = macro->clsEintragGetFirst(); entry; entry = macro->clsEintragGetNext())
                m_cache.push_back({entry->Number(), entry->Name(), entry->RecordKey});
            m_cachedGeneration = macro->Generation();
        }
    }
    return m_cache;
}

std::vector<modVorwahlen::Carrier> modVorwahlen::Carriers() const {
    return carriers();
}

QString modVorwahlen::StripCarrierPrefix(const QString& number, QString& text) const {
    if (!CarriersActive)
        return number;
    text.clear();
    for (const Carrier& carrier : carriers()) {
        // An entry without a code is no carrier: it would match every number.
        if (!carrier.Code.isEmpty() && number.startsWith(carrier.Code)) {
            text = carrier.Text();
            return number.mid(carrier.Code.size());
        }
    }
    return number;
}

QString modVorwahlen::ApplyCarrier(const QString& number) {
    QString code;
    if (cmdProvider.Tag != 0) {
        if (clsPhonebook* macro = m_books.Item(QStringLiteral("MACRO")))
            if (auto entry = macro->clsEintragByIndexKey(cmdProvider.Tag))
                code = entry->Number();
    }
    if (!IsNumericNumber(code) || code.startsWith(QLatin1Char('+')))
        code.clear();
    if (UseCarrier == 0)
        return number;
    QString text;
    if (StripCarrierPrefix(number, text) != number) {
        ShowCarrier(text);
        return number;
    }
    return number.startsWith(QLatin1Char('0')) ? code + number : number;
}

void modVorwahlen::ShowCarrier(const QString& text) {
    CarrierButton shown;
    if (!text.trimmed().isEmpty()) {
        for (const Carrier& carrier : carriers()) {
            if (carrier.Text() == text) {
                shown.Caption = text;
                shown.Tag = carrier.Key;
                break;
            }
        }
    }
    cmdProvider = shown;
    if (cmdProviderChanged)
        cmdProviderChanged();
}

void modVorwahlen::RememberCarrier(const QString& text) {
    if (text.startsWith(QLatin1String("---")))
        return;
    for (size_t i = 0; i < 4; ++i)
        if (CarrierTable[i] == text)
            return;
    CarrierTable[0] = CarrierTable[1];
    CarrierTable[1] = CarrierTable[2];
    CarrierTable[2] = CarrierTable[3];
    CarrierTable[3] = text;
}
