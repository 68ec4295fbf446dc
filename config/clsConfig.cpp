#include "config/clsConfig.h"

#include "numbers/Num_module.h"
#include "shell/base/Language.h"

clsConfig::clsConfig() {
    SetDefaultCAPI();
}

QString clsConfig::strMSN(int index) const {
    std::lock_guard lock(m_msnMutex);
    return m_msn.at(slot(index));
}

void clsConfig::setStrMSN(int index, const QString& msn) {
    std::lock_guard lock(m_msnMutex);
    m_msn.at(slot(index)) = msn.left(20);
}

void clsConfig::SetDefaultCAPI() {
    for (int i = 1; i <= MSNCount; ++i) {
        setStrMSN(i, QString());
        m_msnText.at(slot(i)).clear();
        m_rufartFile.at(slot(i)) = QStringLiteral("ring.wav");
    }
    setStrMSN(1, QStringLiteral("*"));
}

int clsConfig::GetMatchMSNNummer(const QString& number, bool wildCardAllowed) const {
    std::lock_guard lock(m_msnMutex);
    for (int i = 1; i <= MSNCount; ++i)
        if (m_msn[slot(i)] == number)
            return i;
    if (!wildCardAllowed)
        return 0;
    for (int i = 1; i <= MSNCount; ++i) {
        const QString& msn = m_msn[slot(i)];
        const qsizetype star = msn.indexOf(QLatin1Char('*'));
        if (star >= 0 && number.startsWith(QStringView(msn).left(star)))
            return i;
    }
    return 0;
}

QString clsConfig::trlMSNNummerToName(const QString& number, bool allowWildCard) const {
    const int index = GetMatchMSNNummer(number, allowWildCard);
    return index != 0 ? strMSNText(index) : number;
}

colConfig::colConfig(const Language& language) : m_language(language) {
    m_sets.push_back(std::make_unique<clsConfig>());
}

QString colConfig::trlMSNName(const QString& msn, bool allowWildCard) const {
    const QString trimmed = msn.trimmed();
    if (IsNumericNumber(trimmed))
        return Item(1).trlMSNNummerToName(trimmed, allowWildCard);
    static const QString letters = QStringLiteral("ABCDE");
    const qsizetype letter = trimmed.size() == 1 ? letters.indexOf(trimmed) : -1;
    if (letter >= 0) {
        const int index = int(letter) + 1;
        if (!Item(1).strMSNText(index).isEmpty())
            return Item(1).strMSNText(index);
        if (!Item(1).strMSN(index).isEmpty())
            return Item(1).strMSN(index);
        return trimmed;
    }
    return trimmed.isEmpty() ? m_language.LanguageString(5160) : trimmed;
}
