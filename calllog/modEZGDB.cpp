#include "calllog/modEZGDB.h"

bool CallLogStore::SEZGMarkNumberSeen(const QString& number) {
    bool changed = false;
    for (CallLogEntry& entry : m_entries) {
        if (entry.Number == number && !entry.Seen) {
            entry.Seen = true;
            changed = true;
        }
    }
    return changed;
}
