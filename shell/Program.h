#pragma once

// The application object: it owns the program's whole state, from the settings to the ISDN line, and
// wires the parts together. The windows' owner (ProgramWindows) shows it and drives its timers; a test
// builds a fresh Program in-process, with a stand-in line and a manual clock, as often as it likes.

#include "automation/ActionRules.h"
#include "automation/modHotKey.h"
#include "calllog/modEZGDB.h"
#include "config/colConfig.h"
#include "lines/answering/AnsweringMachine.h"
#include "lines/capi/CtiBinding.h"
#include "lines/sound/SoundEngine.h"
#include "numbers/Num_module.h"
#include "phonebook/colPhonebook.h"
#include "platform/numbers/NumTrans.h"
#include "platform/pdbstore/PdbStore.h"
#include "platform/profile/ProfileStore.h"
#include "platform/profile/RegistryFile.h"
#include "serial/CallCommands.h"
#include "shell/MainLists.h"
#include "shell/MainView.h"
#include "shell/base/Language.h"
#include "shell/base/Logs.h"
#include "shell/base/Settings.h"
#include "shell/base/UserDialogs.h"
#include "shell/call/Eurit30.h"
#include "shell/call/SettingsStore.h"

#include <QDateTime>
#include <QString>

#include <memory>
#include <vector>

class Clock;
class CtiLibrary;
class FdSndLibrary;

class Program {
public:
    // `dataDir` is the folder of the data files and the logs (the phonebooks in its folder "Data");
    // `line` the ISDN line library; `sound` the sound library (none: a silent one, for tests and tools).
    Program(const Clock& clock, std::unique_ptr<CtiLibrary> line, const QString& dataDir,
            std::shared_ptr<FdSndLibrary> sound = nullptr);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    // Starts the ISDN line: CtiInit, then the registration of channel 0. False when the line cannot
    // start; `fatalMessage` says why, and the program must end.
    bool startLine();
    // Stops the line: what is left in the event queue is taken, then the library ends.
    void stopLine();
    QString fatalMessage() const { return m_cti.fatalMessage(); }
    // The line's state for the status bar, in the program's language: ready, the server lost and when
    // the next attempt comes, ready again and since when, or not available. Asked every second.
    struct LineStatus {
        QString text;
        bool ready = false;
    };
    LineStatus lineStatus();
    // The data folder when none is given: "Morva" in the user's data folder ($XDG_DATA_HOME, by default
    // ~/.local/share), so that every start finds the same books and log wherever it is started from.
    static QString DefaultDataDir();
    // The program's settings file in a data folder, and the file of the values once kept in the registry.
    static QString IniPath(const QString& dataDir);
    static QString RegistryPath(const QString& dataDir);
    QString iniPath() const { return m_settingsStore.iniPath(); }
    const QString& dataDir() const { return m_dataDir; }

    // Reads the settings (Eurit_Cfg_load). Of a damaged file what can be read is in effect (ProfileStore);
    // every problem with a settings file has its line in error.log as it is found.
    void loadSettings();
    // Tells the user in one message of the settings files found damaged or unreadable since the last
    // call, and of each only once. A damaged file is first kept aside and replaced by what was read from
    // it, so that the message names the kept copy and the next start finds a sound file.
    void tellSettingsProblems();
    // Writes them back (Eurit_Cfg_save); false when the registry file cannot be written.
    bool saveSettings();

    // One tick of the 100 ms event timer: one line event, then the answering machine's tick.
    void eventTick();
    // One tick of the 1000 ms timer: the call clock.
    void clockTick();
    // Listening in on the answering machine (the main window's "AB" panel); off without a channel.
    bool ABMithören();
    void toggleABMithören();

    // The parts, for the start and the stop, the windows' owner and tests.
    ProfileStore& profiles() { return m_profiles; }
    Settings& settings() { return m_settings; }
    SettingsStore& settingsStore() { return m_settingsStore; }
    const Language& language() const { return m_language; }
    Language& language() { return m_language; }
    Logs& logs() { return m_logs; }
    UserDialogs& dialogs() { return m_dialogs; }
    pdb::PdbStore& store() { return m_store; }
    colConfig& Konfigurationen() { return m_Konfigurationen; }
    colPhonebook& Phonebooks() { return m_Phonebooks; }
    modEZGDB& callLog() { return m_callLog; }
    // The main window's lists and its view: the calls of its tab "LOG" are rows of the call log, tagged by
    // record number.
    MainLists& lists() { return m_lists; }
    ListItems& lvListAnrufe() { return m_lists.lvListAnrufe(); }
    MainView& view() { return m_view; }
    LastNumbers& lastNumbers() { return m_lastNumbers; }
    ActionRules& actions() { return m_actions; }
    modHotKey& hotkeys() { return m_hotkeys; }
    SoundEngine& sound() { return m_sound; }
    AnsweringMachine& machine() { return m_machine; }
    Eurit30& call() { return m_call; }
    CtiLibrary& line() { return *m_line; }
    CtiBinding& cti() { return m_cti; }
    CallCommands& commands() { return m_commands; }

private:
    // A settings file found damaged or unreadable, not yet told; `keptAs` once the damaged file is kept.
    struct SettingsProblem {
        ProfileProblem found;
        QString keptAs;
    };
    void noteSettingsProblem(const ProfileProblem& problem);

    const Clock& m_clock;
    const QString m_dataDir;
    // When the line came back after its server was lost, and how many losses that counts; a loss and
    // return between two looks still count.
    QDateTime m_lineBackSince;
    int m_lineLosses = 0;
    ProfileStore m_profiles;
    RegistryFile m_registry;
    Settings m_settings;
    Language m_language;
    Logs m_logs;
    UserDialogs m_dialogs;
    pdb::PdbStore m_store;
    colConfig m_Konfigurationen;
    colPhonebook m_Phonebooks;
    modEZGDB m_callLog;
    LastNumbers m_lastNumbers;
    MainLists m_lists;
    NumTrans m_numTrans;
    ActionRules m_actions;
    modHotKey m_hotkeys;
    SettingsStore m_settingsStore;
    std::shared_ptr<FdSndLibrary> m_soundLibrary;
    SoundEngine m_sound;
    AnsweringMachine m_machine;
    Eurit30 m_call;
    std::unique_ptr<CtiLibrary> m_line;
    CtiBinding m_cti;
    CallCommands m_commands;
    MainView m_view;
    std::vector<SettingsProblem> m_settingsProblems;
};
