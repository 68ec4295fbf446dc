#include "shell/Program.h"

#include "platform/capilink/CtiLibrary.h"
#include "shell/IsdnSection.h"

#include <QDir>

Program::Program(const Clock& clock_, std::unique_ptr<CtiLibrary> line_, const QString& dataDir_)
    : clock(clock_), dataDir(dataDir_), logs(clock_, settings, dataDir_), Konfigurationen(language),
      actions(settings, callLog), sound(dataDir_),
      call(clock_, settings, language, Konfigurationen, Phonebooks, callLog, actions, lastNumbers),
      line(std::move(line_)),
      cti(*line, clock_, settings, logs, call, Konfigurationen, sound, machine, dataDir_),
      commands(settings, call, cti, Konfigurationen, nullptr) {
    LoadIsdnSection(settings, IniPath(dataDir));
}

QString Program::IniPath(const QString& dataDir) {
    return QDir(dataDir).filePath(QStringLiteral("Morva.ini"));
}

Program::~Program() {
    stopLine();
}

bool Program::startLine() {
    return cti.CtiInit() && cti.CtiRegisterChannel();
}

void Program::stopLine() {
    if (cti.channel())
        cti.CtiExit();
}

void Program::eventTick() {
    cti.CtiEventPump();
    machine.ABTick();
}

void Program::clockTick() {
    call.Eurit_UpdateCallClock();
}
