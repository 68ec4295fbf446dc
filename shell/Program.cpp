#include "shell/Program.h"

#include "lines/capi/clsCti.h"
#include "platform/Clock.h"
#include "platform/cti/CtiLibrary.h"
#include "platform/fdsnd/SilentSound.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

Program::Program(const Clock& clock, std::unique_ptr<CtiLibrary> line, const QString& dataDir,
                 std::shared_ptr<FdSndLibrary> sound)
    : m_clock(clock), m_dataDir(dataDir), m_profiles(&clock), m_registry(m_profiles, RegistryPath(dataDir)),
      m_logs(clock, m_settings, dataDir), m_dialogs(m_logs),
      m_Konfigurationen(ConfigDependencies{.settings = m_settings,
                                           .language = m_language,
                                           .logs = m_logs,
                                           .profiles = m_profiles,
                                           .dataFolder = dataDir,
                                           .iniPath = IniPath(dataDir)}),
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
      m_lists(m_Phonebooks, m_callLog, m_lastNumbers, m_profiles, IniPath(dataDir), m_language, m_dialogs),
      m_actions(m_settings, m_language, m_numTrans, clock, m_dialogs, dataDir),
      m_hotkeys(m_settings, m_language, m_logs, m_dialogs),
      m_settingsStore(m_profiles, m_registry, IniPath(dataDir), m_settings, m_lastNumbers, m_actions,
                      m_language),
      m_soundLibrary(sound ? std::move(sound) : std::make_shared<SilentSound>()),
      m_sound(dataDir, *m_soundLibrary), m_machine(AnsweringDependencies{.clock = clock,
                                                                         .settings = m_settings,
                                                                         .logs = m_logs,
                                                                         .configs = m_Konfigurationen,
                                                                         .phonebooks = m_Phonebooks,
                                                                         .callLog = m_callLog,
                                                                         .sound = m_sound,
                                                                         .profiles = m_profiles,
                                                                         .dataDir = dataDir}),
      m_call(clock, m_settings, m_language, m_numTrans, m_Konfigurationen, m_Phonebooks, m_callLog, m_actions,
             m_lastNumbers),
      m_line(std::move(line)), m_cti(*m_line, clock, m_settings, m_logs, m_call, m_call, m_Konfigurationen,
                                     m_sound, m_machine, dataDir),
      m_commands(m_settings, m_call, m_call, m_cti, m_Konfigurationen, m_Phonebooks.Vorwahlen, nullptr),
      m_view(m_settings, m_Konfigurationen, m_Phonebooks.Vorwahlen, m_language, m_profiles,
             IniPath(dataDir)) {
    // error.log is always written: a damaged settings file must not pass unnoticed when the debug log is off.
    m_profiles.problemReport = [this](const ProfileProblem& problem) {
        m_logs.ErrorLog(problem.text);
        noteSettingsProblem(problem);
    };
    m_actions.setCallRecord(&m_call);
    m_actions.markNumberSeen = [this](const QString& number) {
        m_callLog.SEZGMarkNumberSeen(number, m_lists.lvListAnrufe());
    };
    QObject::connect(&m_call, &Eurit30::callsListRefreshRequested, &m_call,
                     [this] { m_lists.RefreshCalls(); });
    QObject::connect(&m_call, &Eurit30::lastNumbersChanged, &m_call,
                     [this] { m_lists.LastNumbersChanged(); });
}

void Program::loadSettings() {
    m_settingsStore.Eurit_Cfg_load();
}

void Program::noteSettingsProblem(const ProfileProblem& problem) {
    using Kind = ProfileProblem::Kind;
    if (problem.kind == Kind::Damaged || problem.kind == Kind::Unreadable) {
        // A file found again (it changed on disk meanwhile) is told once, as it is now.
        for (SettingsProblem& known : m_settingsProblems) {
            if (known.found.file == problem.file) {
                known = {problem, {}};
                return;
            }
        }
        m_settingsProblems.push_back({problem, {}});
    } else if (problem.kind == Kind::KeptAside) {
        for (SettingsProblem& known : m_settingsProblems) {
            if (known.found.file == problem.file)
                known.keptAs = problem.keptAs;
        }
    }
}

void Program::tellSettingsProblems() {
    // Keeping a file aside reports it (KeptAside), which fills in keptAs; the list may grow meanwhile.
    for (size_t i = 0; i < m_settingsProblems.size(); ++i) {
        if (m_settingsProblems[i].found.kind == ProfileProblem::Kind::Damaged &&
            m_settingsProblems[i].keptAs.isEmpty()) {
            const QString file = m_settingsProblems[i].found.file;
            m_profiles.KeepDamaged(file);
        }
    }
    QStringList paragraphs;
    for (const SettingsProblem& problem : m_settingsProblems) {
        const QString name = QFileInfo(problem.found.file).fileName();
        if (problem.found.kind == ProfileProblem::Kind::Unreadable) {
            paragraphs << m_language.LanguageString(3193).arg(name);
            continue;
        }
        QString text = m_language.LanguageString(3190).arg(name, QString::number(problem.found.droppedLines),
                                                           QString::number(problem.found.lines));
        text += QLatin1Char(' ') +
                (problem.keptAs.isEmpty()
                     ? m_language.LanguageString(3192)
                     : m_language.LanguageString(3191).arg(QFileInfo(problem.keptAs).fileName()));
        paragraphs << text;
    }
    m_settingsProblems.clear();
    if (!paragraphs.isEmpty())
        m_dialogs.MsgBox(paragraphs.join(QStringLiteral("\n\n")), UserDialogs::Buttons::Ok,
                         UserDialogs::Icon::Warning);
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

Program::LineStatus Program::lineStatus() {
    const CtiLinkState link = m_cti.linkState();
    if (link.kind != CtiLinkState::Ready) {
        m_lineBackSince = {};
    } else if (link.losses != m_lineLosses) {
        m_lineLosses = link.losses;
        m_lineBackSince = m_clock.now();
    }
    switch (link.kind) {
    case CtiLinkState::Ready:
        if (m_lineBackSince.isValid())
            return {m_language.LanguageString(3181).arg(m_lineBackSince.toString(QStringLiteral("HH:mm"))),
                    true};
        return {m_language.LanguageString(3177), true};
    case CtiLinkState::Lost:
        if (link.retryInSeconds > 0)
            return {m_language.LanguageString(3179).arg(link.server).arg(link.retryInSeconds), false};
        return {m_language.LanguageString(3180).arg(link.server), false};
    case CtiLinkState::Unavailable:
        break;
    }
    return {m_language.LanguageString(3178), false};
}

void Program::eventTick() {
    m_cti.CtiEventPump();
    if (clsCti* channel = m_cti.channel())
        m_machine.ABTick(*channel);
}

void Program::clockTick() {
    m_call.Eurit_UpdateCallClock();
}

bool Program::ABMithören() {
    const clsCti* channel = m_cti.channel();
    return channel && channel->ABMithören();
}

void Program::toggleABMithören() {
    if (clsCti* channel = m_cti.channel())
        channel->setABMithören(!channel->ABMithören());
}
