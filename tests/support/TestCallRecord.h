#pragma once

// The shared call record's logic (Eurit30) over the call log and the phonebooks of a fresh data folder,
// with the action rules and the last-used numbers, wired as the program wires them; no line, no window.

#include "automation/ActionRules.h"
#include "numbers/Num_module.h"
#include "shell/call/Eurit30.h"
#include "tests/support/TestCallLog.h"

struct TestCallRecord : TestCallLog {
    TestCallRecord();

    LastNumbers lastNumbers;
    NumTrans numTrans;
    ActionRules actions{settings, language, numTrans, clock, dialogs, dir.path()};
    Eurit30 call{clock,      settings, language, numTrans,   Konfigurationen,
                 Phonebooks, callLog,  actions,  lastNumbers};
};
