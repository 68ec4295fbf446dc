#include "automation/modHotKey.h"

#include "platform/hotkeys/GlobalHotkeys.h"
#include "shell/base/CallRecord.h"
#include "shell/base/Language.h"
#include "shell/base/Logs.h"
#include "shell/base/UserDialogs.h"

QString HotkeyPickNumber(const QString& text, const HotkeyRules& rules) {
    QString marked = text.trimmed();
    marked.remove(QLatin1Char(' '));
    while (!marked.isEmpty() && !marked.back().isDigit())
        marked.chop(1);

    QString number;
    QChar sign;
    int separators = 0;
    for (qsizetype i = marked.size() - 1; i >= 0; --i) {
        const QChar c = marked[i];
        if (c >= QLatin1Char('0') && c <= QLatin1Char('9')) {
            number.prepend(c);
            separators = 0;
            continue;
        }
        if (++separators == 2)
            break;
        sign = c;
    }
    if (number.isEmpty())
        return number;

    if (!rules.prefix.isEmpty() && number.startsWith(rules.prefix))
        number = rules.replace + number.mid(rules.prefix.size());
    else if (rules.replacePlus == 1 && sign == QLatin1Char('+'))
        number.prepend(rules.plusString);
    number.remove(QLatin1Char(' '));
    return number;
}

modHotKey::modHotKey(Settings& settings, const Language& language, Logs& logs, UserDialogs& dialogs)
    : m_settings(settings), m_language(language), m_logs(logs), m_dialogs(dialogs) {
    markedText = [] {
        return hotkeys::MarkedText();
    };
}

void modHotKey::setKeys(hotkeys::GlobalHotkeys* keys) {
    if (m_keys)
        QObject::disconnect(m_keys, nullptr, this, nullptr);
    m_keys = keys;
    if (!m_keys)
        return;
    QObject::connect(m_keys, &hotkeys::GlobalHotkeys::activated, this, &modHotKey::HotkeyPressed);
    QObject::connect(m_keys, &hotkeys::GlobalHotkeys::failed, this,
                     [this](int number, const QString& reason) { refuse(number, reason); });
}

void modHotKey::HotkeyInit() {
    HotkeyRegister(1, m_settings.Hotkey1);
    HotkeyRegister(2, m_settings.Hotkey2);
}

void modHotKey::HotkeyExit() {
    HotkeyUnregister(1);
    HotkeyUnregister(2);
}

bool modHotKey::HotkeyRegister(int number, const HotkeyRecord& key) {
    if (key.vkey == 0)
        return true;
    if (!m_keys)
        return false;
    const hotkeys::HotkeyKey wanted{quint32(key.vkey), key.useCtrl == 1, key.useAlt == 1, key.useShift == 1};
    QString error;
    if (m_keys->registerKey(number, wanted, &error))
        return true;
    refuse(number, error);
    return false;
}

bool modHotKey::HotkeyUnregister(int number) {
    if (!m_keys)
        return false;
    m_keys->unregisterKey(number);
    return true;
}

void modHotKey::refuse(int number, const QString& reason) {
    const HotkeyRecord& key = record(number);
    m_logs.ErrorLog(QStringLiteral("Hotkey %1 (key code %2, %3): %4")
                        .arg(number)
                        .arg(key.vkey)
                        .arg(m_keys ? m_keys->kind() : QStringLiteral("none"), reason));
    // The key is off until the user sets it again.
    record(number).vkey = 0;
    m_dialogs.MsgBox(m_language.LanguageString(3236), UserDialogs::Buttons::Ok, UserDialogs::Icon::Warning);
}

void modHotKey::HotkeyPressed(int number) {
    if (!m_calls || (number != 1 && number != 2) || m_busy[number - 1])
        return;
    m_busy[number - 1] = true;
    if (number == 2) {
        m_calls->hangUp();
    } else {
        switch (m_calls->callState()) {
        case StateIdle: {
            const QString dialled = HotkeyGrabNumber();
            if (!dialled.isEmpty()) {
                m_calls->showNumber(dialled);
                if (m_calls->lineOpen())
                    m_calls->dial(dialled);
            }
            break;
        }
        case StateIncomingRinging:
            m_calls->answer();
            break;
        case StateIncomingMachine:
            m_calls->takeOver();
            break;
        default:
            break;
        }
    }
    m_busy[number - 1] = false;
}

QString modHotKey::HotkeyGrabNumber() {
    return markedText ? HotkeyPickNumber(markedText(), m_settings.HotkeyDial) : QString();
}
