#pragma once

// The data of a fresh data folder without a program: the settings, logs, texts and dialogs, the store and
// the phonebooks, wired as the program wires them. The fixtures of the call log and
// of the call record build on it.

#include "phonebook/colPhonebook.h"
#include "platform/Clock.h"
#include "platform/pdbstore/PdbStore.h"
#include "platform/profile/ProfileStore.h"
#include "shell/base/Language.h"
#include "shell/base/Logs.h"
#include "shell/base/Settings.h"
#include "shell/base/UserDialogs.h"
#include "tests/support/TestEnvironment.h"

#include <QStringList>
#include <QTemporaryDir>

struct TestBooks {
    TestBooks();
    TestBooks(const TestBooks&) = delete;
    TestBooks& operator=(const TestBooks&) = delete;

    // The settings file of the data folder.
    QString iniPath() const;
    // The lines of a log file in the data folder; empty when it does not exist.
    QStringList logLines(const QString& fileName) const;

    ManualClock clock;
    QTemporaryDir dir;
    ProfileStore profiles{&clock};
    Settings settings;
    Language language;
    Logs logs{clock, settings, dir.path()};
    UserDialogs dialogs{logs};
    pdb::PdbStore store;
    // The sound folder, which the sound engine's DefaultSoundPath is in a program.
    QString soundFolder;
    colPhonebook Phonebooks;
};
