#pragma once

// What the main window shows around the call panel: the lists (extended view), the bar of own numbers
// for outgoing calls (tbMSNSelect) and the carrier line (cmdProvider). The three view members are kept in
// section Main of the settings, the chosen carrier in section Provider. Me_ApplyView turns them into the
// window's state and into the settings the dial reads (UseDialMSN, UseCarrier, DialMSN).

#include <QString>

#include <array>
#include <cstdint>

class Language;
class ProfileStore;
class colConfig;
class modVorwahlen;
struct Settings;

// The window's part of the view, as Me_ApplyView leaves it.
struct MainViewState {
    bool lists = false;       // the tabs with their lists; the check of mnuViewExtended
    bool msnBar = false;      // tbMSNSelect shown, mnuEuritUseMSN enabled; the check of mnuViewMSNSelect
    bool carrierLine = false; // cmdProvider and lblProvider; the check of mnuViewProvider
    int msnButtons = 3;       // buttons and menu items 1 to this are visible: 3 or 5
    int dialMSN = 1;          // the checked menu item and the pressed button, 1 to 5
    std::array<QString, 5> msnToolTips; // "Dial with MSN: 12345   Office"
    std::array<QString, 5> msnCaptions; // the menu items: "A  12345  Office"
    bool operator==(const MainViewState&) const = default;
};

class MainView {
public:
    MainView(Settings& settings, const colConfig& configs, modVorwahlen& carriers, const Language& language,
             ProfileStore& profiles, QString iniPath);

    int16_t bShowQuick = 0;
    int16_t bShowMSNSelect = 0;
    int16_t bShowProviderSelect = 0;

    // The view members ("ShowQuick", "ShowMSNSelect", "ShowProviderSelect") and the carrier of the last
    // run ("LastProvider"), which becomes the current one.
    void Load();
    void Save();

    // The view members into the settings and the window's state. The carrier line and the use of the
    // carrier go together: a carrier shown on the button is put in front of the number, a hidden one is
    // not.
    MainViewState Me_ApplyView();
    // The own number of outgoing calls, 1 to 5; any other index changes nothing and gives false.
    bool mnuEuritUseMSNA_Click(int index);
    MainViewState state() const;

    // Each inverts its member and applies the view.
    MainViewState mnuViewExtended_Click() { return toggle(bShowQuick); }
    MainViewState mnuViewMSNSelect_Click() { return toggle(bShowMSNSelect); }
    MainViewState mnuViewProvider_Click() { return toggle(bShowProviderSelect); }
    // mnuEuritSelProvider: the carrier line is shown and used (before the carrier list opens).
    MainViewState ShowCarrierLine();

private:
    MainViewState toggle(int16_t& member);

    Settings& m_settings;
    const colConfig& m_configs;
    modVorwahlen& m_carriers;
    const Language& m_language;
    ProfileStore& m_profiles;
    QString m_iniPath;
};
