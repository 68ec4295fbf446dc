#include "shell/MainView.h"

#include "config/colConfig.h"
#include "numbers/modVorwahlen.h"
#include "platform/profile/ProfileStore.h"
#include "shell/base/Language.h"
#include "shell/base/Settings.h"

namespace {
const QString MainSection = QStringLiteral("Main");
const QString ProviderSection = QStringLiteral("Provider");
} // namespace

MainView::MainView(Settings& settings, const colConfig& configs, modVorwahlen& carriers,
                   const Language& language, ProfileStore& profiles, QString iniPath)
    : m_settings(settings), m_configs(configs), m_carriers(carriers), m_language(language),
      m_profiles(profiles), m_iniPath(std::move(iniPath)) {}

void MainView::Load() {
    const auto flag = [this](const char* key) {
        return int16_t(m_profiles.GetPrivateProfileInt(MainSection, QString::fromLatin1(key), 0, m_iniPath) !=
                       0);
    };
    bShowQuick = flag("ShowQuick");
    bShowMSNSelect = flag("ShowMSNSelect");
    bShowProviderSelect = flag("ShowProviderSelect");
    m_carriers.ShowCarrier(m_profiles.GetPrivateProfileString(ProviderSection, QStringLiteral("LastProvider"),
                                                              QString(), m_iniPath));
}

void MainView::Save() {
    ProfileBatch batch(m_profiles, m_iniPath);
    const auto flag = [this](const char* key, int16_t value) {
        m_profiles.WritePrivateProfileString(MainSection, QString::fromLatin1(key),
                                             QString::number(int(value != 0)), m_iniPath);
    };
    flag("ShowQuick", bShowQuick);
    flag("ShowMSNSelect", bShowMSNSelect);
    flag("ShowProviderSelect", bShowProviderSelect);
    m_profiles.WritePrivateProfileString(ProviderSection, QStringLiteral("LastProvider"),
                                         m_carriers.cmdProvider.Caption, m_iniPath);
    batch.commit();
}

MainViewState MainView::state() const {
    MainViewState view;
    view.carrierLine = bShowProviderSelect != 0;
    view.lists = bShowQuick != 0;
    view.msnBar = bShowMSNSelect != 0;
    view.msnButtons = m_settings.MSNCount >= 5 ? 5 : 3;
    view.dialMSN = m_settings.DialMSN;
    const clsConfig& set1 = m_configs.Item(1);
    for (int index = 1; index <= 5; ++index) {
        const auto at = std::size_t(index - 1);
        const QString msn = set1.strMSN(index);
        const QString text = set1.strMSNText(index);
        view.msnToolTips[at] =
            m_language.LanguageString(3118) + QStringLiteral(": ") + msn + QStringLiteral("   ") + text;
        view.msnCaptions[at] =
            (QLatin1Char(char('A' + index - 1)) + QStringLiteral("  ") + msn + QStringLiteral("  ") + text)
                .trimmed();
    }
    return view;
}

MainViewState MainView::Me_ApplyView() {
    m_carriers.UseCarrier = bShowProviderSelect != 0 ? 1 : 0;
    m_settings.UseDialMSN = bShowMSNSelect != 0 ? 1 : 0;
    // The own number stays as chosen: the state checks its item and presses its button.
    return state();
}

bool MainView::mnuEuritUseMSNA_Click(int index) {
    if (index < 1 || index > 5)
        return false;
    m_settings.DialMSN = int16_t(index);
    return true;
}

MainViewState MainView::toggle(int16_t& member) {
    member = member != 0 ? 0 : 1;
    return Me_ApplyView();
}

MainViewState MainView::ShowCarrierLine() {
    bShowProviderSelect = 1;
    return Me_ApplyView();
}
