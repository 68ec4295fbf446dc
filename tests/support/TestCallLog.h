#pragma once

// The call log of a fresh data folder, opened, over the phonebooks of TestBooks and the configuration
// sets, with the main window's list of new calls.

#include "calllog/modEZGDB.h"
#include "config/colConfig.h"
#include "shell/base/ListItems.h"
#include "tests/support/TestBooks.h"

#include <vector>

// The records of a call log, in file order (deleted ones left out).
std::vector<EZGRecord> CallLogRecords(pdb::PdbStore& store, const modEZGDB& log);

struct TestCallLog : TestBooks {
    TestCallLog();

    std::vector<EZGRecord> CallLogRecords() { return ::CallLogRecords(store, callLog); }

    colConfig Konfigurationen{ConfigDependencies{.settings = settings,
                                                 .language = language,
                                                 .logs = logs,
                                                 .profiles = profiles,
                                                 .dataFolder = dir.path(),
                                                 .iniPath = iniPath()}};
    modEZGDB callLog;
    ListItems lvListAnrufe;
};
