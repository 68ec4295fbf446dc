#include "numbers/modVorwahlen.h"

#include "platform/profile/ProfileStore.h"

namespace {
const QString ProviderSection = QStringLiteral("Provider");

QString lastKey(size_t slot) {
    return QStringLiteral("Last%1").arg(slot + 1);
}
} // namespace

modVorwahlen::modVorwahlen(const CarrierSource& source, ProfileStore& profiles, const QString& iniPath)
    : m_source(source), m_profiles(profiles), m_iniPath(iniPath) {}

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

const std::vector<Carrier>& modVorwahlen::carriers() const {
    // Every lookup of a number asks for the carriers: they are read from their source once per change.
    const uint64_t generation = m_source.CarriersGeneration();
    if (m_cachedGeneration != generation) {
        m_cache = m_source.ReadCarriers();
        m_cachedGeneration = generation;
    }
    return m_cache;
}

std::vector<Carrier> modVorwahlen::Carriers() const {
    return carriers();
}

CarrierWindowContent modVorwahlen::FillCarrierWindow() const {
    CarrierWindowContent content;
    // Slot 4 holds the newest carrier; the window lists it first.
    for (size_t i = 0; i < content.recent.size(); ++i)
        content.recent[i] = CarrierTable[content.recent.size() - 1 - i];
    content.all = carriers();
    return content;
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
        for (const Carrier& carrier : carriers())
            if (carrier.Key == cmdProvider.Tag) {
                code = carrier.Code;
                break;
            }
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
