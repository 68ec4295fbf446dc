#pragma once

#include <QDateTime>
#include <QString>

#include <cstdint>
#include <vector>

// One finished call as the call log keeps it.
struct CallLogEntry {
    QString Number;
    int16_t State = 0;
    QString Duration;
    int16_t Direction = 0;
    QString Charge;
    QString MSN;
    QString SoundFile;
    QDateTime Start;
    bool Seen = false;
};

// The call log store. Until the log has its dBase file, entries are kept in memory for the run.
class CallLogStore {
public:
    void SEZGED_SaveEZGEintrag(const CallLogEntry& entry) { m_entries.push_back(entry); }
    // Marks every entry with this number as seen; true when any entry changed.
    bool SEZGMarkNumberSeen(const QString& number);
    const std::vector<CallLogEntry>& entries() const { return m_entries; }

private:
    std::vector<CallLogEntry> m_entries;
};
