#include "shell/Program.h"

#include "platform/capilink/CtiLibrary.h"
#include <QCoreApplication>
#include <QDir>

Program::Program(const Clock& clock_, std::unique_ptr<CtiLibrary> line_, const QString& dataDir_)
    : clock(clock_), dataDir(dataDir_), registry(profiles, RegistryPath(dataDir_)),
      logs(clock_, settings, dataDir_), dialogs(logs), Konfigurationen(language),
      Phonebooks(PhonebookServices{store, settings, logs, language, dialogs,
                                   QDir(dataDir_).filePath(QStringLiteral("Data")) + QLatin1Char('/'),
                                   dataDir_, [this] { return sound.DefaultSoundPath; }, false, nullptr,
                                   nullptr, 0},
                 profiles, IniPath(dataDir_)),
      callLog(CallLogServices{store, clock_, settings, logs, language, dialogs, Phonebooks, Konfigurationen,
                              profiles, IniPath(dataDir_), dataDir_,
                              [this] {
                                  return sound.DefaultSoundPath;
                              }}),
      actions(settings),
      settingsStore(profiles, registry, IniPath(dataDir_), settings, lastNumbers, actions, language),
      sound(dataDir_),
      call(clock_, settings, language, Konfigurationen, Phonebooks, callLog, actions, lastNumbers),
      line(std::move(line_)),
      cti(*line, clock_, settings, logs, call, Konfigurationen, sound, machine, dataDir_),
      commands(settings, call, cti, Konfigurationen, Phonebooks.Vorwahlen, nullptr) {
    profiles.problemReport = [this](const QString& text) {
        logs.Log_Write(text);
    };
    lvListAnrufe.setObjectName(QStringLiteral("lvListAnrufe"));
    actions.markNumberSeen = [this](const QString& number) {
        callLog.SEZGMarkNumberSeen(number, lvListAnrufe);
    };
    QObject::connect(&call, &Eurit30::callsListRefreshRequested, &call,
                     [this] { callLog.ShowRecentNewCalls(lvListAnrufe); });
}

void Program::loadSettings() {
    settingsStore.Eurit_Cfg_load();
}

bool Program::saveSettings() {
    return settingsStore.Eurit_Cfg_save(QCoreApplication::applicationFilePath(),
                                        QStringLiteral("%1.%2.%3")
                                            .arg(MORVA_VERSION_MAJOR)
                                            .arg(MORVA_VERSION_MINOR)
                                            .arg(MORVA_VERSION_PATCH));
}

QString Program::RegistryPath(const QString& dataDir) {
    return QDir(dataDir).filePath(QStringLiteral("Registry.ini"));
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
