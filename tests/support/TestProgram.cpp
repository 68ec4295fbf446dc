#include "tests/support/TestProgram.h"

#include <gtest/gtest.h>

TestProgram::TestProgram(bool startLine, std::shared_ptr<FdSndLibrary> sound) {
    auto standIn = std::make_unique<StandInLine>();
    line = standIn.get();
    program = std::make_unique<Program>(clock, std::move(standIn), dir.path(), std::move(sound));
    program->callLog().SEZGDBOpen();
    if (startLine) {
        EXPECT_TRUE(program->startLine()) << program->fatalMessage().toStdString();
    }
}

TestProgram::~TestProgram() {
    program.reset();
}

void TestProgram::settle() {
    for (int round = 0; round < 100; ++round) {
        line->waitIdle();
        if (program->cti().pendingEvents() == 0)
            return;
        while (program->cti().pendingEvents() > 0)
            program->eventTick();
    }
    ADD_FAILURE() << "the line does not come to rest";
}

int32_t TestProgram::ring(const QByteArray& calling, const QByteArray& called, bool national) {
    const int32_t handle = line->offerCall(calling, called, national);
    settle();
    return handle;
}

QStringList TestProgram::logLines(const QString& fileName) const {
    return ReadLines(dir.filePath(fileName));
}

void SaveNewCalls(Program& program) {
    program.callLog().SEZGDBOpen();
    for (const auto& [number, message] : {std::pair{"0301111", "Msg1.wav"}, {"0302222", ""}}) {
        EZGRecord record;
        record.PartnerRufnummer = QString::fromLatin1(number);
        record.Tondatei = QString::fromLatin1(message);
        record.Neu = record.Richtung = 1;
        record.Verbindungsstatus = 134;
        program.callLog().SEZGDBSave_EZG_Eintrag(DateNumber(QDateTime(QDate(2026, 1, 5), QTime(8, 0))),
                                                 record);
    }
}
