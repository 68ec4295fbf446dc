#pragma once

// Carriers chosen per call by a code in front of the number ("01019"). The carriers are the entries of
// the macro book: Number is the code, Name the carrier; "code  name" is a carrier's display text and
// what is compared. The current choice is the button cmdProvider of the main window (caption and tag);
// the last four carriers chosen are kept in section Provider of the settings.

#include "numbers/Num_module.h"

#include <QString>
#include <QStringList>

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

class ProfileStore;
class colPhonebook;

// The current carrier as the main window's button shows it.
struct CarrierButton {
    QString Caption = QStringLiteral("---"); // display text of the carrier, "---" for none
    double Tag = 0;                          // its RecordKey in the macro book, 0 for none
};

class modVorwahlen : public CarrierCodes {
public:
    modVorwahlen(colPhonebook& books, ProfileStore& profiles, const QString& iniPath);

    CarrierButton cmdProvider;
    // Called when cmdProvider changed.
    std::function<void()> cmdProviderChanged;
    int16_t UseCarrier = 0;
    // Last1 to Last5 of section Provider; slots 1 to 4 are in use, the newest in slot 4.
    std::array<QString, 5> CarrierTable;
    bool CarriersActive = false;

    void LoadCarriers();
    void SaveCarriers();
    QString StripCarrierPrefix(const QString& number, QString& text) const override;
    // The number to dial: the current carrier's code in front of a long-distance number.
    QString ApplyCarrier(const QString& number);
    void ShowCarrier(const QString& text);
    void RememberCarrier(const QString& text);
    // A carrier of the macro book: its code (Number), its name, its key, and "code  name", the text that
    // is shown and compared.
    struct Carrier {
        QString Code;
        QString Name;
        double Key = 0;
        QString Text() const { return Code + QStringLiteral("  ") + Name; }
    };
    // The carriers in file order (the carrier window's list).
    std::vector<Carrier> Carriers() const;

private:
    const std::vector<Carrier>& carriers() const;

    colPhonebook& m_books;
    ProfileStore& m_profiles;
    QString m_iniPath;
    mutable std::vector<Carrier> m_cache;
    mutable const class clsPhonebook* m_cachedBook = nullptr;
    mutable uint64_t m_cachedGeneration = 0;
};
