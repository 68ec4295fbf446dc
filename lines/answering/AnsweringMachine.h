#pragma once

// modAB: the answering machine on the CAPI line. After the rings of an own number that has the machine
// on, it answers, plays the greeting (the caller's personal one from the phonebooks, else the number's,
// else the shipped default), records the caller and files the recording with the call in the log. A
// caller who keys the PIN and "#" instead hears and deletes the new messages by DTMF (the inquiry).
//
// Threads: everything runs on the main thread except ABOnFileEnd, which the line library calls on its
// own thread when a file played into the line has ended. What both touch (the play list, the recording
// fields of clsCti, the count of files out) is guarded by clsCti::machineMutex; the flags the library's
// thread only reads are atomic.

#include "lines/answering/modSTTS.h"
#include "lines/capi/AnsweringSteps.h"

#include <QDateTime>
#include <QHash>
#include <QString>
#include <QStringList>

#include <atomic>
#include <cstdint>
#include <vector>

class Clock;
struct Settings;
class Logs;
class colConfig;
class colPhonebook;
class modEZGDB;
class ProfileStore;
class SoundEngine;

struct AnsweringDependencies {
    const Clock& clock;
    const Settings& settings;
    Logs& logs;
    colConfig& configs;
    colPhonebook& phonebooks;
    modEZGDB& callLog;
    SoundEngine& sound;
    ProfileStore& profiles;
    QString dataDir; // the recording of a call in progress is noted here, for a start after a kill
};

class AnsweringMachine final : public AnsweringSteps {
public:
    // The safer inquiry: wrong PINs a call may key before it is ended, and how long its caller is then
    // refused.
    static constexpr int WrongPinsAllowed = 3;
    static constexpr int LockoutMinutes = 15;
    // The file that notes the recording of a call in progress, in the data folder.
    static constexpr char JournalFile[] = "ABRecording.ini";

    explicit AnsweringMachine(AnsweringDependencies deps);

    // The start: the prompt set of `languageCode` into the prompt folder where pieces are missing (a
    // piece the user recorded stays), and the recording of a run that ended during a message filed in
    // the log. Needs the call log open and the sound engine started.
    void ABInit(const QString& languageCode);
    // The stop, before the line ends: nothing more is played on.
    void ABExit(clsCti& cti);

    // The second step of each 100 ms tick, behind the line's event pump: answers a ringing call after
    // its rings, ends a recording at its limit, and notes the recording in progress.
    void ABTick(clsCti& cti);

    void ABOnConnected(clsCti& cti) override;
    void ABOnDisconnected(clsCti& cti) override;
    void ABOnDigit(clsCti& cti, char digit) override;
    void ABOnFileEnd(clsCti& cti) override;

    // The inquiry's state, as the steps leave it (read by tests and the main window).
    bool ABLoggedIn() const { return m_loggedIn; }
    const std::vector<int32_t>& ABMessages() const { return m_messages; }
    const QString& ABDigits() const { return m_digits; }

private:
    void ABMenuDigit(clsCti& cti, char digit);
    void ABConfirmDigit(clsCti& cti, char digit);
    void ABPlayMessage(clsCti& cti);
    void ABMessagesRefresh(clsCti& cti, bool stop, bool welcome);
    void login(clsCti& cti);
    // The safer inquiry's answer to "#": false when this login is refused (and the call may be ended).
    bool loginAllowed(clsCti& cti, bool pinRight);

    // Playing into the line for the machine, all under clsCti::machineMutex.
    void stopPlaying(clsCti& cti);
    void playOn(clsCti& cti, const QString& file);
    // The tail of an answer to a key: the answer plays, then the count of the messages left.
    void playAnswer(clsCti& cti);
    void clearPlayList(clsCti& cti);
    int lastIndex() const { return int(m_messages.size()); }

    // The recording of a call in progress, noted in the data folder until its log entry is written.
    void noteRecording(clsCti& cti);
    void fileOrphanRecording();
    QString journalPath() const;

    QString greetingFor(const clsCti& cti, int msnIndex) const;

    AnsweringDependencies m_d;
    modSTTS m_stts;

    // Under clsCti::machineMutex.
    QStringList m_playList;
    int m_filesOut = 0;     // files started into the line whose end the library has not reported yet
    QString m_recordFolder; // the sound folder, for the name of the recording
    int m_recordLimit = 0;  // the longest recording of the call's MSN
    QString m_journaled;    // the recording noted in the journal; empty when none

    std::atomic<bool> m_loggedIn = false;
    int32_t m_confirm = 0;
    int32_t m_messageIndex = 0;
    std::vector<int32_t> m_messages;
    QString m_digits;
    // The call the machine answers: its caller and MSN, and wrong PINs keyed in it.
    QString m_caller;
    QString m_callerLogged; // the caller as the log keeps it
    QString m_msn;
    int m_wrongPins = 0;
    QHash<QString, QDateTime> m_lockedOut; // caller -> refused until
};
