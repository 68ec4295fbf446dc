#pragma once

// The number library: splits a telephone number into country, area and subscriber and names the place
// of its area code, in German. It knows numbers as they are dialled from a country; the own area code and
// carrier codes are its callers' business.

#include <QString>

#include <memory>

namespace i18n::phonenumbers {
class PhoneNumberOfflineGeocoder;
}

class NumTrans {
public:
    // Results of NTRANS_GetCanonicEx.
    enum Result : int {
        Ok = 0,
        NotANumber = -1,     // the text cannot be read as a telephone number
        UnknownCountry = -2, // the country code names no country
        NotValid = -3,       // a number that no plan of its country allows
    };

    // Loads the tables of the places lazily: the first number of a country costs more than the next.
    NumTrans();
    ~NumTrans();
    NumTrans(const NumTrans&) = delete;
    NumTrans& operator=(const NumTrans&) = delete;

    // `number` as dialled from the country `countryCode` (digits, without leading zeros: "49"): national
    // with its trunk "0" ("089 1234567"), international with "00" or "+", blanks, slashes, dashes and
    // letters of the keypad allowed.
    //
    // On success `canonic` is "+", country, area and subscriber separated by single blanks
    // ("+49 89 1234567"); a number without an area code (a country without them) leaves the area field
    // empty between two blanks. `text2` is the short place for the status panel and `text1` the longer
    // one for its tool tip:
    //   - a number of the own country: the town of its area ("München"), or for a number without a town
    //     the kind of service ("Mobilfunk", "Gebührenfreie Rufnummer", ...); `text1` adds the country;
    //   - a foreign number: the country ("Österreich"), with the kind of service in brackets for numbers
    //     without a town; `text1` is the town and the country when the town is known ("Wien, Österreich").
    // On failure all three out texts are empty.
    int NTRANS_GetCanonicEx(QString& canonic, const QString& number, const QString& countryCode,
                            QString& text1, QString& text2) const;

private:
    std::unique_ptr<const i18n::phonenumbers::PhoneNumberOfflineGeocoder> m_geocoder;
};
