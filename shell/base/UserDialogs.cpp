#include "shell/base/UserDialogs.h"

#include "shell/base/Logs.h"

UserDialogs::Answer UserDialogs::MsgBox(const QString& text, Buttons buttons, Icon icon) {
    if (m_asker)
        return m_asker(text, buttons, icon);
    m_logs.Log_Write(QStringLiteral("Message: ") + text);
    switch (buttons) {
    case Buttons::Ok:
        return Answer::Ok;
    case Buttons::YesNo:
        return Answer::No;
    case Buttons::YesNoCancel:
        return Answer::Cancel;
    }
    return Answer::Cancel;
}

void UserDialogs::ProgressShow(const QString& caption) {
    if (m_progress.show)
        m_progress.show(caption);
}

void UserDialogs::ProgressReport(int percent) {
    if (m_progress.report)
        m_progress.report(percent);
}

void UserDialogs::ProgressHide() {
    if (m_progress.hide)
        m_progress.hide();
}

void UserDialogs::DoEvents() {
    if (m_pump)
        m_pump();
}

void UserDialogs::Set_load_stat(int percent) {
    if (m_loadStatus)
        m_loadStatus(percent);
}
