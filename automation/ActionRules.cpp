#include "automation/ActionRules.h"

#include "shell/base/Settings.h"

int ActionTrigger(int16_t callState) {
    switch (callState) {
    case 0:
        return 0;
    case 6:
        return 1;
    case 16:
        return 2;
    case 134:
        return 3;
    case 144:
        return 4;
    default:
        return 5;
    }
}

ActionRules::ActionRules(const Settings& settings) : m_settings(settings) {}

QString ActionRules::ActionRun(int16_t state, int /*testIndex*/, const QString& /*testNumber*/,
                               const QString& callNumber) {
    const int trigger = ActionTrigger(state);
    if (trigger == 3 && m_settings.Showonring == 1 && m_window)
        m_window->showNormalAndFocus();
    if (trigger == 0 && m_settings.MinimizeOnSilence == 1 && m_window)
        m_window->minimize();
    if ((trigger == 2 || trigger == 4) && markNumberSeen)
        markNumberSeen(callNumber);
    return QString();
}
