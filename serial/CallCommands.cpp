#include "serial/CallCommands.h"

#include "config/colConfig.h"
#include "lines/capi/CtiBinding.h"
#include "numbers/Num_module.h"
#include "numbers/modVorwahlen.h"
#include "shell/base/CallRecord.h"
#include "shell/base/Settings.h"

CallCommands::CallCommands(const Settings& settings, CallRecord& call, CallDisplay& display, CtiBinding& line,
                           const colConfig& configs, modVorwahlen& carriers,
                           std::function<void(const QString&)> showMessage)
    : m_settings(settings), m_call(call), m_display(display), m_line(line), m_configs(configs),
      m_carriers(carriers), m_showMessage(std::move(showMessage)) {}

void CallCommands::report(const QString& what, int32_t result) {
    if (result < 0 && m_showMessage)
        m_showMessage(QStringLiteral("Err: %1 %2").arg(what).arg(result));
}

void CallCommands::Eurit_Dial(const QString& typed) {
    QString number = typed.trimmed().toUpper();
    number.remove(QLatin1Char('-'));
    number.remove(QLatin1Char('/'));
    m_display.RememberNumber(number);
    number = m_carriers.ApplyCarrier(number);

    m_display.Eurit_ResetCall();
    m_call.CallNumber = number.trimmed();
    const QString lineNumber = OutsideLinePrefix(m_settings, m_call.CallNumber, 1);

    int32_t result = -1;
    if (clsCti* cti = m_line.channel()) {
        cti->eifc.CalledNumber = lineNumber.toLatin1();
        const int msn = m_settings.DialMSN >= 1 && m_settings.DialMSN <= 5 ? m_settings.DialMSN : 1;
        cti->eifc.CallingNumber = m_configs.Item(1).strMSN(msn).toLatin1();
        cti->CtiIcaSetConfig();
        result = m_line.CtiDial();
    }
    report(QStringLiteral("CtiConnect"), result);
    m_display.Eurit_ShowCallFields(MaskAll);
}

void CallCommands::Eurit_Answer() {
    clsCti* cti = m_line.channel();
    report(QStringLiteral("CtiAnswerCall"), cti ? cti->CtiAnswerCall(cti->event.callHandle) : -1);
}

void CallCommands::Eurit_Hangup() {
    clsCti* cti = m_line.channel();
    report(QStringLiteral("CtiDisconnect"), cti ? cti->CtiDisconnect() : -1);
}

void CallCommands::Eurit_TakeOver() {
    clsCti* cti = m_line.channel();
    report(QStringLiteral("CtiAnswerCallAB"), cti ? cti->CtiABÜbernahme() : -1);
}
