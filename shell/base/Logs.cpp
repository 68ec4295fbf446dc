#include "shell/base/Logs.h"

#include "platform/Clock.h"
#include "shell/base/Settings.h"

#include <QDir>
#include <QFile>
#include <QTime>

QString GeneralDate(const QDateTime& when) {
    return when.toString(QStringLiteral("dd.MM.yyyy hh:mm:ss"));
}

QString FormatLongTime(qint64 seconds) {
    if (seconds < 0)
        seconds = 0;
    return QTime(0, 0).addSecs(int(seconds % 86400)).toString(QStringLiteral("hh:mm:ss"));
}

Logs::Logs(const Clock& clock, const Settings& settings, const QString& workDir)
    : m_clock(clock), m_settings(settings), m_workDir(workDir) {}

QString Logs::debugPath() const {
    return QDir(m_workDir).filePath(QStringLiteral("debug.txt"));
}
QString Logs::errorPath() const {
    return QDir(m_workDir).filePath(QStringLiteral("error.log"));
}

void Logs::Log_Write(const QString& text) {
    Log_Write(debugPath(), text);
}

void Logs::Log_Write(const QString& file, const QString& text) {
    if (m_settings.ErrorLogOn == 0)
        return;
    append(file, GeneralDate(m_clock.now()) + QLatin1Char('\t') + text);
}

void Logs::ErrorLog(const QString& text) {
    append(errorPath(), GeneralDate(m_clock.now()) + QLatin1Char(' ') + text);
}

void Logs::append(const QString& path, const QString& line) {
    std::lock_guard lock(m_mutex);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text))
        return;
    file.write((line + QLatin1Char('\n')).toUtf8());
}
