#pragma once

// The application object: it owns the program's whole state, from the settings to the ISDN line, and
// wires the parts together. The main window shows it and drives its timers; a test builds a fresh
// Program in-process, with a stand-in line and a manual clock, as often as it likes.

#include "automation/ActionRules.h"
#include "calllog/modEZGDB.h"
#include "config/clsConfig.h"
#include "lines/answering/modAB.h"
#include "lines/capi/modCti.h"
#include "lines/sound/modFdSound.h"
#include "numbers/Num_module.h"
#include "phonebook/colPhonebook.h"
#include "platform/pdbstore/PdbStore.h"
#include "platform/profile/ProfileStore.h"
#include "platform/profile/modRegSet.h"
#include "serial/CallCommands.h"
#include "shell/Eurit30.h"
#include "shell/Language.h"
#include "shell/Log_Modul.h"
#include "shell/Settings.h"
#include "shell/SettingsStore.h"
#include "shell/UserDialogs.h"

#include <QString>

#include <memory>

class Clock;
class CtiLibrary;

class Program {
public:
    // `dataDir` is the folder of the data files and the logs (the phonebooks in its folder "Data");
    // `line` the ISDN line library.
    Program(const Clock& clock, std::unique_ptr<CtiLibrary> line, const QString& dataDir);
    ~Program();

    // Starts the ISDN line: CtiInit, then the registration of channel 0. False when the line cannot
    // start; `fatalMessage` says why, and the program must end.
    bool startLine();
    // Stops the line: what is left in the event queue is taken, then the library ends.
    void stopLine();
    QString fatalMessage() const { return cti.fatalMessage(); }
    // The program's settings file in a data folder, and the file of the values once kept in the registry.
    static QString IniPath(const QString& dataDir);
    static QString RegistryPath(const QString& dataDir);
    QString iniPath() const { return settingsStore.iniPath(); }

    // Reads the settings (Eurit_Cfg_load); a garbled file is reported to debug.txt and read as empty.
    void loadSettings();
    // Writes them back (Eurit_Cfg_save); false when the registry file cannot be written.
    bool saveSettings();

    // One tick of the 100 ms event timer: one line event, then the answering machine's tick.
    void eventTick();
    // One tick of the 1000 ms timer: the call clock.
    void clockTick();

    const Clock& clock;
    const QString dataDir;
    ProfileStore profiles;
    RegistryFile registry;
    Settings settings;
    Language language;
    Logs logs;
    UserDialogs dialogs;
    pdb::PdbStore store;
    colConfig Konfigurationen;
    colPhonebook Phonebooks;
    modEZGDB callLog;
    // The main window's list of new calls (its tab "LOG"): rows of the call log, tagged by record number.
    ListItems lvListAnrufe;
    LastNumbers lastNumbers;
    ActionRules actions;
    SettingsStore settingsStore;
    SoundEngine sound;
    AnsweringMachine machine;
    Eurit30 call;
    std::unique_ptr<CtiLibrary> line;
    CtiBinding cti;
    CallCommands commands;
};
