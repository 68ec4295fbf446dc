#include "shell/Program.h"

#include "platform/cti/CtiLibrary.h"

#include <QCoreApplication>
#include <QDir>
#include <QStandardPaths>

Program::Program(const Clock& clock, std::unique_ptr<CtiLibrary> line, const QString& dataDir)
    : m_dataDir(dataDir), m_registry(m_profiles, RegistryPath(dataDir)), m_logs(clock, m_settings, dataDir),
      m_dialogs(m_logs), m_Konfigurationen(m_language),
      m_Phonebooks(PhonebookDependencies{.store = m_store,
                                         .settings = m_settings,
                                         .logs = m_logs,
                                         .language = m_language,
                                         .dialogs = m_dialogs,
                                         .dataFolder = QDir(dataDir).filePath(QStringLiteral("Data")) +
                                                       QLatin1Char('/'),
                                         .programFolder = dataDir,
                                         .soundFolder =
                                             [this] {
                                                 return m_sound.DefaultSoundPath;
                                             }},
                   m_profiles, IniPath(dataDir)),
      m_callLog(CallLogServices{.store = m_store,
                                .clock = clock,
                                .settings = m_settings,
                                .logs = m_logs,
                                .language = m_language,
                                .dialogs = m_dialogs,
                                .phonebooks = m_Phonebooks,
                                .configs = m_Konfigurationen,
                                .profiles = m_profiles,
                                .iniPath = IniPath(dataDir),
                                .programFolder = dataDir,
                                .soundFolder =
                                    [this] {
                                        return m_sound.DefaultSoundPath;
                                    }}),
      m_actions(m_settings), m_settingsStore(m_profiles, m_registry, IniPath(dataDir), m_settings,
                                             m_lastNumbers, m_actions, m_language),
      m_sound(dataDir), m_call(clock, m_settings, m_language, m_Konfigurationen, m_Phonebooks, m_callLog,
                               m_actions, m_lastNumbers),
      m_line(std::move(line)), m_cti(*m_line, clock, m_settings, m_logs, m_call, m_call, m_Konfigurationen,
                                     m_sound, m_machine, dataDir),
      m_commands(m_settings, m_call, m_call, m_cti, m_Konfigurationen, m_Phonebooks.Vorwahlen, nullptr) {
    m_profiles.problemReport = [this](const QString& text) {
        m_logs.Log_Write(text);
    };
    m_lvListAnrufe.setObjectName(QStringLiteral("lvListAnrufe"));
    m_actions.markNumberSeen = [this](const QString& number) {
        m_callLog.SEZGMarkNumberSeen(number, m_lvListAnrufe);
    };
    QObject::connect(&m_call, &Eurit30::callsListRefreshRequested, &m_call,
                     [this] { m_callLog.ShowRecentNewCalls(m_lvListAnrufe); });
}

void Program::loadSettings() {
    m_settingsStore.Eurit_Cfg_load();
}

bool Program::saveSettings() {
    return m_settingsStore.Eurit_Cfg_save(QCoreApplication::applicationFilePath(),
                                          QStringLiteral("%1.%2.%3")
                                              .arg(MORVA_VERSION_MAJOR)
                                              .arg(MORVA_VERSION_MINOR)
                                              .arg(MORVA_VERSION_PATCH));
}

QString Program::DefaultDataDir() {
    return QDir(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation))
        .filePath(QStringLiteral("Morva"));
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
    return m_cti.CtiInit() && m_cti.CtiRegisterChannel();
}

void Program::stopLine() {
    if (m_cti.channel())
        m_cti.CtiExit();
}

bool Program::lineRegistered() const {
    const clsCti* channel = m_cti.channel();
    return channel && channel->lngCtiId != -1;
}

void Program::eventTick() {
    m_cti.CtiEventPump();
    m_machine.ABTick();
}

void Program::clockTick() {
    m_call.Eurit_UpdateCallClock();
}
