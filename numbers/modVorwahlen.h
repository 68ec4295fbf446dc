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
#include <optional>
#include <vector>

class ProfileStore;

// The current carrier as the main window's button shows it.
struct CarrierButton {
    QString Caption = QStringLiteral("---"); // display text of the carrier, "---" for none
    double Tag = 0;                          // its RecordKey in the macro book, 0 for none
};

// A carrier of the macro book: its code (Number), its name, its key, and "code  name", the text that is
// shown and compared.
struct Carrier {
    QString Code;
    QString Name;
    double Key = 0;
    QString Text() const { return Code + QStringLiteral("  ") + Name; }
};

// Where the carriers are kept: the entries of the macro book, which the phonebooks hold.
class CarrierSource {
public:
    virtual ~CarrierSource() = default;
    // A number that differs whenever the carriers may have changed, so that they are read once per change.
    virtual uint64_t CarriersGeneration() const = 0;
    // The carriers in file order.
    virtual std::vector<Carrier> ReadCarriers() const = 0;
};

// What the carrier window shows when it opens: the last four carriers chosen, the newest first (an empty
// text for a slot not yet used), and every carrier of the macro book in file order.
struct CarrierWindowContent {
    std::array<QString, 4> recent;
    std::vector<Carrier> all;
};

class modVorwahlen : public CarrierCodes {
public:
    modVorwahlen(const CarrierSource& source, ProfileStore& profiles, const QString& iniPath);

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
    // The carriers in file order (the carrier window's list).
    std::vector<Carrier> Carriers() const;
    // The carrier window's content as it stands now; the window is filled anew at each opening, so a
    // carrier added to the macro book meanwhile is in it.
    CarrierWindowContent FillCarrierWindow() const;

private:
    const std::vector<Carrier>& carriers() const;

    const CarrierSource& m_source;
    ProfileStore& m_profiles;
    QString m_iniPath;
    mutable std::vector<Carrier> m_cache;
    mutable std::optional<uint64_t> m_cachedGeneration;
};
