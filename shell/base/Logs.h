#pragma once

#include <QDateTime>
#include <QString>

#include <mutex>

class Clock;
struct Settings;

// "General Date": how every log line of the program stamps its date and time.
QString GeneralDate(const QDateTime& when);
// A duration in whole seconds in the "Long Time" form, hh:mm:ss; a day or more wraps round.
QString FormatLongTime(qint64 seconds);

// The program's diagnostic text logs. Every line opens its file, appends and closes it, so that what
// was written survives a crash; a file that cannot be written is skipped without a word. Lines may be
// written from any thread.
class Logs {
public:
    // "ErrorLog" of the settings switches debug.txt.
    Logs(const Clock& clock, const Settings& settings, const QString& workDir);

    // "debug.txt" in the working folder: date and time, a tab, the text. Only while "ErrorLog" is on.
    // Written from the main thread only.
    void Log_Write(const QString& text);
    // The same line into another file of the same kind ("log.txt" of the telephone link).
    void Log_Write(const QString& file, const QString& text);
    // "error.log" in the working folder: date and time, a blank, the text. Always written.
    void ErrorLog(const QString& text);

    QString debugPath() const;
    QString errorPath() const;

private:
    void append(const QString& path, const QString& line);

    const Clock& m_clock;
    const Settings& m_settings;
    QString m_workDir;
    std::mutex m_mutex;
};
