#pragma once

// The answering machine's values of one own number (MSN) of a configuration set, as the machine's windows
// show and edit them, and the rules those windows apply: the greeting that must exist, the PIN of the
// remote inquiry, and when the user is warned about an empty PIN.

#include <QString>

class clsConfig;

struct ABCapiEntry {
    // The limits the windows offer and Write keeps.
    static constexpr int MaxRings = 20;
    static constexpr int MaxRecordingSeconds = 5000;
    // One ring of the line, in seconds: what the rings before the answer come to.
    static constexpr double RingSeconds = 1.728;
    // The longest recording counts in units of 1/100000 day, as the machine always has.
    static constexpr double RecordingUnitSeconds = 0.864;

    bool on = false;          // intCAPIABOn: the machine answers this number
    int rings = 0;            // intCAPIABRufanzahl: rings before the answer
    int recordingSeconds = 0; // intCAPIABAufnahmezeit: longest recording; below 1 no recording
    bool listenIn = false;    // intCAPIABMithören: the loudspeaker plays the start of the call
    QString greeting;         // strCAPIABFile: relative to the sound folder, or absolute; empty: the default

    // The values of MSN `index` (1 to 10) of `set`.
    static ABCapiEntry Read(const clsConfig& set, int index);
    // Writes the values into MSN `index` of `set`, the numbers within the limits and the greeting trimmed,
    // in one write of the set's file.
    void Write(clsConfig& set, int index) const;
    // The values as OK takes them: a greeting that names a file that does not exist (completed against
    // `soundFolder`) turns the machine off for this number, so that it never answers with silence.
    ABCapiEntry Confirmed(const QString& soundFolder) const;

    bool operator==(const ABCapiEntry&) const = default;
};

// True when the machine can play `greeting`: an empty name stands for the shipped default greeting, any
// other must name a file, completed against `soundFolder` when it is relative.
bool ABGreetingExists(const QString& greeting, const QString& soundFolder);

// True when the remote inquiry can take `pin` (blanks on both sides aside): digits 0 to 9 only, since "*"
// and "#" are the inquiry's own keys. An empty PIN is valid.
bool ABPinValid(const QString& pin);

// True when the machine answers at least one number of `set` (of those the set lists, exMSN).
bool ABAnyMachineOn(const clsConfig& set);

// What the user must be told about an empty PIN.
enum class ABPinWarning {
    None,   // a PIN is set, or the machine answers no number
    Open,   // anyone who calls can hear the messages by pressing "#"
    Refused // the safer remote inquiry refuses every inquiry
};
ABPinWarning ABPinWarningFor(bool anyMachineOn, const QString& pin, bool safeInquiry);
