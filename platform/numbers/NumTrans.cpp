#include "platform/numbers/NumTrans.h"

#include <phonenumbers/geocoding/phonenumber_offline_geocoder.h>
#include <phonenumbers/phonenumberutil.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <string>

using i18n::phonenumbers::PhoneNumber;
using i18n::phonenumbers::PhoneNumberOfflineGeocoder;
using i18n::phonenumbers::PhoneNumberUtil;

namespace {

// Place texts are German, whatever the language of the window: the tables behind them only know towns by
// their own names, and a German household reads them best so.
const icu::Locale& placeLanguage() {
    static const icu::Locale german("de");
    return german;
}

QString countryName(const std::string& regionCode) {
    icu::UnicodeString name;
    // An empty language, not a null one: a null language gives ICU's default locale, whatever the region.
    icu::Locale("", regionCode.c_str()).getDisplayCountry(placeLanguage(), name);
    std::string utf8;
    name.toUTF8String(utf8);
    return QString::fromStdString(utf8);
}

// The word for a number that belongs to no town; empty for the kinds of the fixed network.
QString serviceWord(PhoneNumberUtil::PhoneNumberType type) {
    switch (type) {
    case PhoneNumberUtil::MOBILE:
        return QStringLiteral("Mobilfunk");
    case PhoneNumberUtil::TOLL_FREE:
        return QStringLiteral("Gebührenfreie Rufnummer");
    case PhoneNumberUtil::PREMIUM_RATE:
        return QStringLiteral("Mehrwertdienst");
    case PhoneNumberUtil::SHARED_COST:
        return QStringLiteral("Servicenummer");
    case PhoneNumberUtil::VOIP:
        return QStringLiteral("Internettelefonie");
    case PhoneNumberUtil::PERSONAL_NUMBER:
        return QStringLiteral("Persönliche Rufnummer");
    case PhoneNumberUtil::PAGER:
        return QStringLiteral("Funkruf");
    case PhoneNumberUtil::UAN:
        return QStringLiteral("Unternehmensrufnummer");
    case PhoneNumberUtil::VOICEMAIL:
        return QStringLiteral("Sprachbox");
    default:
        return QString();
    }
}

// Length of the area part of the national number: the geographic area code where the country has one, else
// the network or service code ("171", "800") for countries that dial a trunk prefix; countries without a
// trunk prefix and without area codes (Denmark) have none.
size_t areaLength(const PhoneNumberUtil& util, const PhoneNumber& number, const std::string& regionCode) {
    const int geographic = util.GetLengthOfGeographicalAreaCode(number);
    if (geographic > 0)
        return size_t(geographic);
    std::string trunkPrefix;
    util.GetNddPrefixForRegion(regionCode, true, &trunkPrefix);
    if (trunkPrefix.empty())
        return 0;
    return size_t(util.GetLengthOfNationalDestinationCode(number));
}

} // namespace

NumTrans::NumTrans() : m_geocoder(std::make_unique<const PhoneNumberOfflineGeocoder>()) {}

NumTrans::~NumTrans() = default;

int NumTrans::NTRANS_GetCanonicEx(QString& canonic, const QString& number, const QString& countryCode,
                                  QString& text1, QString& text2) const {
    canonic.clear();
    text1.clear();
    text2.clear();

    const PhoneNumberUtil& util = *PhoneNumberUtil::GetInstance();
    bool numeric = false;
    const int ownCountry = countryCode.trimmed().toInt(&numeric);
    std::string ownRegion;
    if (numeric)
        util.GetRegionCodeForCountryCode(ownCountry, &ownRegion);
    // "ZZ" is no country at all, "001" the numbers of the world that belong to none.
    if (!numeric || ownRegion == "ZZ" || ownRegion == "001")
        return UnknownCountry;

    PhoneNumber parsed;
    if (util.Parse(number.trimmed().toStdString(), ownRegion, &parsed) != PhoneNumberUtil::NO_PARSING_ERROR)
        return NotANumber;
    if (!util.IsValidNumber(parsed))
        return NotValid;

    std::string region;
    util.GetRegionCodeForNumber(parsed, &region);
    std::string national;
    util.GetNationalSignificantNumber(parsed, &national);
    const size_t area = std::min(areaLength(util, parsed, region), national.size());

    canonic = QStringLiteral("+%1 %2 %3")
                  .arg(parsed.country_code())
                  .arg(QString::fromStdString(national.substr(0, area)),
                       QString::fromStdString(national.substr(area)));

    const QString country = countryName(region);
    const PhoneNumberUtil::PhoneNumberType type = util.GetNumberType(parsed);
    QString town = QString::fromStdString(m_geocoder->GetDescriptionForValidNumber(parsed, placeLanguage()));
    if (town == country)
        town.clear();
    const QString service = serviceWord(type);

    if (parsed.country_code() == ownCountry) {
        if (!town.isEmpty())
            text2 = town;
        else if (!service.isEmpty())
            text2 = service;
        else
            text2 = QStringLiteral("Festnetz");
        text1 = text2 + QStringLiteral(", ") + country;
    } else {
        text2 = country;
        if (town.isEmpty() && !service.isEmpty())
            text2 += QStringLiteral(" (") + service + QLatin1Char(')');
        text1 = town.isEmpty() ? text2 : town + QStringLiteral(", ") + country;
    }
    return Ok;
}
