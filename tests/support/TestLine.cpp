#include "tests/support/TestLine.h"

#include <gtest/gtest.h>

TestLine::TestLine(std::unique_ptr<CtiLibrary> library_, bool start)
    : library(std::move(library_)), line(dynamic_cast<StandInLine*>(library.get())),
      binding(*library, clock, settings, logs, call, call, Konfigurationen, sound, machine, dir.path()) {
    if (start) {
        EXPECT_TRUE(startLine()) << binding.fatalMessage().toStdString();
    }
}

TestLine::~TestLine() {
    stopLine();
}

bool TestLine::startLine() {
    return binding.CtiInit() && binding.CtiRegisterChannel();
}

void TestLine::stopLine() {
    if (binding.channel())
        binding.CtiExit();
}

void TestLine::eventTick() {
    binding.CtiEventPump();
}

void TestLine::settle() {
    for (int round = 0; round < 100; ++round) {
        if (line)
            line->waitIdle();
        if (binding.pendingEvents() == 0)
            return;
        while (binding.pendingEvents() > 0)
            eventTick();
    }
    ADD_FAILURE() << "the line does not come to rest";
}

int32_t TestLine::ring(const QByteArray& calling, const QByteArray& called, bool national) {
    const int32_t handle = line->offerCall(calling, called, national);
    settle();
    return handle;
}

QStringList TestLine::logLines(const QString& fileName) const {
    return ReadLines(dir.filePath(fileName));
}
