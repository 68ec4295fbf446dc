#pragma once

// The user's call commands: dial, answer, hang up, and take a call over from the answering machine.
// The telephones' serial dialect has no call commands, so these act on the ISDN line (answer and hang
// up on the TAPI line once it exists and is chosen).

#include <QString>

#include <functional>

struct Settings;
struct CallRecord;
class CallDisplay;
class CtiBinding;
class colConfig;
class modVorwahlen;

class CallCommands {
public:
    // `showMessage` shows a failure to the user (a message box in the window).
    CallCommands(const Settings& settings, CallRecord& call, CallDisplay& display, CtiBinding& line,
                 const colConfig& configs, modVorwahlen& carriers,
                 std::function<void(const QString&)> showMessage);

    void Eurit_Dial(const QString& number);
    void Eurit_Answer();
    void Eurit_Hangup();
    void Eurit_TakeOver();

    void setShowMessage(std::function<void(const QString&)> showMessage) {
        m_showMessage = std::move(showMessage);
    }

private:
    void report(const QString& what, int32_t result);

    const Settings& m_settings;
    CallRecord& m_call;
    CallDisplay& m_display;
    CtiBinding& m_line;
    const colConfig& m_configs;
    modVorwahlen& m_carriers;
    std::function<void(const QString&)> m_showMessage;
};
