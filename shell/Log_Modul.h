#pragma once

#include <QDateTime>
#include <QString>

#include <atomic>
#include <mutex>

class Clock;

// "General Date": how every log line of the program stamps its date and time.
QString GeneralDate(const QDateTime& when);

// The program's diagnostic text logs. Every line opens its file, appends and closes it, so that what
// was written survives a crash; a file that cannot be written is skipped without a word. Lines may be
// written from any thread.
class Logs {
public:
    Logs(const Clock& clock, const QString& workDir);

    void setErrorLogOn(bool on) { m_errorLogOn = on; }
    bool errorLogOn() const { return m_errorLogOn; }

    // "debug.txt" in the working folder: date and time, a tab, the text. Only while "ErrorLog" is on.
    void Log_Write(const QString& text);
    // "error.log" in the working folder: date and time, a blank, the text. Always written.
    void ErrorLog(const QString& text);

    QString debugPath() const;
    QString errorPath() const;

private:
    void append(const QString& path, const QString& line);

    const Clock& m_clock;
    QString m_workDir;
    std::atomic<bool> m_errorLogOn = false;
    std::mutex m_mutex;
};
