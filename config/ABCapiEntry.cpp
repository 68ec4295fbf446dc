#include "config/ABCapiEntry.h"

#include "config/clsConfig.h"
#include "shell/base/modPathModify.h"

#include <QFileInfo>

#include <algorithm>

using Field = clsConfig::Field;

ABCapiEntry ABCapiEntry::Read(const clsConfig& set, int index) {
    ABCapiEntry entry;
    entry.on = set.Number(Field::intCAPIABOn, index) != 0;
    entry.rings = set.Number(Field::intCAPIABRufanzahl, index);
    entry.recordingSeconds = set.Number(Field::intCAPIABAufnahmezeit, index);
    entry.listenIn = set.Number(Field::intCAPIABMithören, index) != 0;
    entry.greeting = set.Text(Field::strCAPIABFile, index);
    return entry;
}

void ABCapiEntry::Write(clsConfig& set, int index) const {
    const clsConfig::WriteHold once(&set);
    set.Assign(Field::intCAPIABOn, index, on ? 1 : 0);
    set.Assign(Field::intCAPIABRufanzahl, index, std::clamp(rings, 0, MaxRings));
    set.Assign(Field::intCAPIABAufnahmezeit, index, std::clamp(recordingSeconds, 0, MaxRecordingSeconds));
    set.Assign(Field::intCAPIABMithören, index, listenIn ? 1 : 0);
    set.Assign(Field::strCAPIABFile, index, greeting.trimmed());
}

ABCapiEntry ABCapiEntry::Confirmed(const QString& soundFolder) const {
    ABCapiEntry entry = *this;
    entry.greeting = greeting.trimmed();
    if (!ABGreetingExists(entry.greeting, soundFolder))
        entry.on = false;
    return entry;
}

bool ABGreetingExists(const QString& greeting, const QString& soundFolder) {
    const QString name = greeting.trimmed();
    if (name.isEmpty())
        return true;
    return QFileInfo(soundFolder.isEmpty() ? name : PathComplete(name, soundFolder)).isFile();
}

bool ABPinValid(const QString& pin) {
    const QString digits = pin.trimmed();
    return std::all_of(digits.begin(), digits.end(), [](QChar c) { return c >= u'0' && c <= u'9'; });
}

bool ABAnyMachineOn(const clsConfig& set) {
    for (int i = 1; i <= clsConfig::MSNCount; ++i)
        if (set.ex(Field::strMSN, i) && set.Number(Field::intCAPIABOn, i) != 0)
            return true;
    return false;
}

ABPinWarning ABPinWarningFor(bool anyMachineOn, const QString& pin, bool safeInquiry) {
    if (!anyMachineOn || !pin.trimmed().isEmpty())
        return ABPinWarning::None;
    return safeInquiry ? ABPinWarning::Refused : ABPinWarning::Open;
}
