#pragma once

// modAB: the answering machine on the CAPI line.

#include "lines/capi/AnsweringSteps.h"

class AnsweringMachine final : public AnsweringSteps {
public:
    void ABOnConnected(clsCti&) override {}
    void ABOnDisconnected(clsCti&) override {}
    void ABOnDigit(clsCti&, char) override {}
    void ABOnFileEnd(clsCti&) override {}
    void ABTick(clsCti&) {}
};
