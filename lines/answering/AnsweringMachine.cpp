#include "lines/answering/AnsweringMachine.h"

#include "calllog/modEZGDB.h"
#include "config/ABCapiEntry.h"
#include "config/colConfig.h"
#include "lines/answering/PromptSet.h"
#include "lines/capi/clsCti.h"
#include "lines/sound/SoundEngine.h"
#include "numbers/Num_module.h"
#include "phonebook/colPhonebook.h"
#include "platform/Clock.h"
#include "platform/fdsnd/FdSndLibrary.h"
#include "platform/profile/ProfileStore.h"
#include "shell/base/Logs.h"
#include "shell/base/Settings.h"
#include "shell/base/modPathModify.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <mutex>

namespace {

using Field = clsConfig::Field;

const QString JournalSection = QStringLiteral("Recording");

} // namespace

AnsweringMachine::AnsweringMachine(AnsweringDependencies deps) : m_d(std::move(deps)), m_stts(m_d.sound) {}

QString AnsweringMachine::journalPath() const {
    return QDir(m_d.dataDir).filePath(QString::fromLatin1(JournalFile));
}

void AnsweringMachine::ABInit(const QString& languageCode) {
    m_stts.languageCode = PromptSet::Languages().contains(languageCode) ? languageCode : QStringLiteral("uk");
    QStringList failed;
    PromptSet::InstallPrompts(m_stts.languageCode, m_d.sound.promptPath(), &failed);
    for (const QString& file : failed)
        m_d.logs.ErrorLog(QStringLiteral("ABInit: cannot write the prompt ") + file);
    fileOrphanRecording();
}

void AnsweringMachine::ABExit(clsCti& cti) {
    clearPlayList(cti);
}

// ---- The machine's call ----

void AnsweringMachine::ABTick(clsCti& cti) {
    const clsConfig& config = m_d.configs.Item(1);
    if (cti.lngABState == 0 && cti.intMSNIndex != 0) {
        const int msn = cti.intMSNIndex;
        // The rings are those of the MSN that the call matched, as the settings window edits them.
        const int64_t waited = cti.dateRingStart.isValid() ? cti.dateRingStart.msecsTo(m_d.clock.now()) : -1;
        if (config.Number(Field::intCAPIABOn, msn) == 1 &&
            cti.event.stateName == QLatin1String(StateConnectPending) && cti.event.direction == 1 &&
            cti.lngAlerted == 1 &&
            waited >= config.Number(Field::intCAPIABRufanzahl, msn) * ABCapiEntry::RingSeconds * 1000) {
            cti.lngABState = 1;
            cti.eifc.AnswerMode = 1;
            m_loggedIn = false;
            cti.CtiIcaSetConfig();
            cti.CtiAnswerCall(cti.event.callHandle);
        }
        return;
    }
    noteRecording(cti);
    std::unique_lock lock(cti.machineMutex);
    if (cti.intRecording == 0 || m_loggedIn)
        return;
    // The limit counts in units of 1/100000 day, as the machine always has.
    const double units =
        double(cti.dateRecordStart.msecsTo(m_d.clock.now())) / (ABCapiEntry::RecordingUnitSeconds * 1000);
    if (units >= m_recordLimit) {
        cti.CtiSndInFileStop();
        cti.intRecording = 0;
        lock.unlock();
        // The recording stays with the call: its log entry is written when the line reports the end.
        cti.CtiDisconnect();
        cti.lngABState = 0;
    }
}

QString AnsweringMachine::greetingFor(const clsCti& cti, int msnIndex) const {
    const QString personal = m_d.phonebooks.GetAnsage(cti.event.callingNumber, 1);
    if (!personal.isEmpty() && QFileInfo(personal).isFile())
        return personal;
    const QString own = m_d.configs.Item(1).Text(Field::strCAPIABFile, msnIndex);
    if (!own.isEmpty()) {
        if (m_d.sound.SoundFileExists(own))
            return m_d.sound.SoundFullPath(own);
        // A greeting that cannot be played would leave the caller without a tone to speak after, and
        // without a recording: the default greeting stands in.
        m_d.logs.ErrorLog(QStringLiteral("ABOnConnected: the greeting %1 of MSN %2 is missing; the default "
                                         "greeting is played")
                              .arg(own)
                              .arg(msnIndex));
    }
    return m_d.sound.PromptFullPath(PromptSet::GreetingFileName());
}

void AnsweringMachine::ABOnConnected(clsCti& cti) {
    if (cti.lngABState != 1)
        return;
    cti.lngABState = 2;
    const clsConfig& config = m_d.configs.Item(1);
    const int msn = config.GetMatchMSNNummer(cti.event.calledNumber, true);
    if (msn == 0)
        return;
    const QString greeting = greetingFor(cti, msn);
    m_caller = cti.event.callingNumber;
    m_msn = cti.event.calledNumber;
    m_callerLogged = IncomingPrefix(m_d.settings, m_caller, 0);
    m_wrongPins = 0;
    {
        std::lock_guard lock(cti.machineMutex);
        // Reports of files of earlier calls have all come in before this call's "Connected".
        m_filesOut = 0;
        m_playList.clear();
        m_recordFolder = m_d.sound.soundFolder();
        m_recordLimit = config.Number(Field::intCAPIABAufnahmezeit, msn);
        m_loggedIn = false;
        playOn(cti, greeting);
    }
    cti.setABMithören(config.Number(Field::intCAPIABMithören, msn) != 0);
}

void AnsweringMachine::ABOnFileEnd(clsCti& cti) {
    // Runs on the line library's thread.
    std::lock_guard lock(cti.machineMutex);
    if (m_filesOut > 0)
        --m_filesOut;
    // A stopped file, or the end of a file that was replaced meanwhile, is no end of what plays now.
    if (cti.fileOutReport[1] != 0 || m_filesOut > 0 || cti.intPlaying == 0)
        return;
    cti.CtiSndOutFileStop();
    if (!m_playList.isEmpty()) {
        const QString next = m_playList.takeFirst();
        if (cti.CtiSndOutFileStart(next) >= 0)
            ++m_filesOut;
        return;
    }
    cti.intPlaying = 0;
    if (m_loggedIn || m_recordLimit < 1 || cti.lngABState == 0)
        return;
    cti.dateRecordStart = m_d.clock.now();
    cti.strRecordFile = PathUnique(QStringLiteral("Msg"), QStringLiteral(".wav"), m_recordFolder, true,
                                   [this] { return m_d.clock.now(); });
    cti.CtiSndInFileStart(cti.strRecordFile);
    cti.intRecording = 1;
}

void AnsweringMachine::ABOnDisconnected(clsCti& cti) {
    // The call's log entry is written: its recording needs no note any more.
    {
        std::lock_guard lock(cti.machineMutex);
        m_playList.clear();
        cti.intRecording = 0;
        cti.strRecordFile.clear();
    }
    noteRecording(cti);
    cti.setABMithören(false);
    cti.intPlaying = 0;
    m_loggedIn = false;
    cti.lngABState = 0;
}

// ---- Playing into the line ----

void AnsweringMachine::playOn(clsCti& cti, const QString& file) {
    cti.intPlaying = 1;
    if (cti.CtiSndOutFileStart(file) >= 0)
        ++m_filesOut;
}

void AnsweringMachine::stopPlaying(clsCti& cti) {
    // A stopped file reports no end that would play on: after a stop nothing plays, so what comes next
    // (the welcome after a PIN keyed during the greeting) starts at once instead of waiting in the list.
    cti.CtiSndOutFileStop();
    cti.intPlaying = 0;
}

void AnsweringMachine::clearPlayList(clsCti& cti) {
    std::lock_guard lock(cti.machineMutex);
    m_playList.clear();
}

void AnsweringMachine::playAnswer(clsCti& cti) {
    {
        std::lock_guard lock(cti.machineMutex);
        playOn(cti, m_d.sound.SoundFullPath(QString::fromLatin1(modSTTS::TmpTts)));
    }
    ABMessagesRefresh(cti, false, false);
}

// ---- The inquiry ----

bool AnsweringMachine::loginAllowed(clsCti& cti, bool pinRight) {
    if (m_d.settings.ABSafeInquiry == 0)
        return pinRight;
    const QString caller = m_caller.isEmpty() ? QStringLiteral("unbekannt") : m_caller;
    const QDateTime now = m_d.clock.now();
    const auto refuse = [&](const QString& why) {
        m_d.logs.ErrorLog(QStringLiteral("Remote inquiry of %1 on %2 refused: %3").arg(caller, m_msn, why));
        return false;
    };
    if (const auto locked = m_lockedOut.constFind(caller); locked != m_lockedOut.constEnd()) {
        if (now < *locked)
            return refuse(
                QStringLiteral("locked out until %1").arg(locked->toString(QStringLiteral("hh:mm:ss"))));
        m_lockedOut.erase(locked);
    }
    if (m_d.configs.Item(1).Text(Field::strCAPIPIN).isEmpty())
        return refuse(QStringLiteral("no PIN is set"));
    if (pinRight)
        return true;
    ++m_wrongPins;
    m_d.logs.ErrorLog(QStringLiteral("Remote inquiry of %1 on %2: wrong PIN (%3 of %4)")
                          .arg(caller, m_msn)
                          .arg(m_wrongPins)
                          .arg(WrongPinsAllowed));
    if (m_wrongPins >= WrongPinsAllowed) {
        m_lockedOut.insert(caller, now.addSecs(60 * LockoutMinutes));
        refuse(QStringLiteral("%1 wrong PINs; the call is ended and the caller refused for %2 minutes")
                   .arg(WrongPinsAllowed)
                   .arg(LockoutMinutes));
        cti.CtiDisconnect();
    }
    return false;
}

void AnsweringMachine::ABOnDigit(clsCti& cti, char digit) {
    if (m_loggedIn) {
        if (m_confirm == 0)
            ABMenuDigit(cti, digit);
        else
            ABConfirmDigit(cti, digit);
        return;
    }
    if (digit == '*') {
        m_digits.clear();
    } else if (digit == '#') {
        const bool right = m_digits == m_d.configs.Item(1).Text(Field::strCAPIPIN);
        m_digits.clear();
        if (loginAllowed(cti, right))
            login(cti);
    } else {
        m_digits += QLatin1Char(digit);
    }
}

void AnsweringMachine::login(clsCti& cti) {
    m_loggedIn = true;
    cti.CtiSndInFileStop();
    stopPlaying(cti);
    {
        // What the owner keyed is no message: the recording begun by this call goes.
        std::lock_guard lock(cti.machineMutex);
        if (cti.intRecording != 0) {
            QFile::remove(cti.strRecordFile);
            cti.strRecordFile.clear();
            cti.intRecording = 0;
        }
    }
    noteRecording(cti);
    ABMessagesRefresh(cti, true, true);
}

void AnsweringMachine::ABMenuDigit(clsCti& cti, char digit) {
    const QString tts = QString::fromLatin1(modSTTS::TmpTts);
    switch (digit) {
    case '1':
        --m_messageIndex;
        ABPlayMessage(cti);
        break;
    case '3':
        ++m_messageIndex;
        ABPlayMessage(cti);
        break;
    case '4':
        m_messageIndex = 1;
        ABPlayMessage(cti);
        break;
    case '6':
        m_messageIndex = lastIndex();
        ABPlayMessage(cti);
        break;
    case '2':
    case '5': {
        stopPlaying(cti);
        clearPlayList(cti);
        const bool one = digit == '2';
        const bool some = one ? (m_messageIndex >= 1 && m_messageIndex <= lastIndex()) : lastIndex() >= 1;
        if (!some) {
            m_stts.PromptBuild(tts, m_stts.NoMessages());
            playAnswer(cti);
            break;
        }
        m_stts.PromptBuild(tts, one ? m_stts.AskDeleteOne(m_messageIndex) : m_stts.AskDeleteAll());
        {
            std::lock_guard lock(cti.machineMutex);
            playOn(cti, m_d.sound.SoundFullPath(tts));
        }
        m_confirm = one ? 1 : 2;
        break;
    }
    case '0':
        stopPlaying(cti);
        clearPlayList(cti);
        m_stts.PromptBuild(tts, m_stts.Help(lastIndex()));
        playAnswer(cti);
        break;
    default: // "7", "8", "9", "*", "#"
        break;
    }
}

void AnsweringMachine::ABConfirmDigit(clsCti& cti, char digit) {
    const int32_t pending = m_confirm;
    m_confirm = 0;
    const QString tts = QString::fromLatin1(modSTTS::TmpTts);
    if (digit == '#') {
        stopPlaying(cti);
        clearPlayList(cti);
        if (pending == 1 && m_messageIndex >= 1 && m_messageIndex <= lastIndex()) {
            m_d.callLog.SEZGMarkSeen(m_messages[std::size_t(m_messageIndex - 1)]);
            m_stts.PromptBuild(tts, m_stts.DeletedOne(m_messageIndex));
        } else if (pending == 2 && lastIndex() >= 1) {
            for (const int32_t record : m_messages)
                m_d.callLog.SEZGMarkSeen(record);
            m_stts.PromptBuild(tts, m_stts.DeletedAll(lastIndex()));
        } else {
            m_stts.PromptBuild(tts, m_stts.NoMessages());
        }
        playAnswer(cti);
    } else if (digit == '0') {
        stopPlaying(cti);
        clearPlayList(cti);
        m_stts.PromptBuild(tts, m_stts.Help(lastIndex()));
        playAnswer(cti);
    } else {
        ABPlayMessage(cti);
    }
}

void AnsweringMachine::ABPlayMessage(clsCti& cti) {
    clearPlayList(cti);
    stopPlaying(cti);
    m_messageIndex = std::clamp(m_messageIndex, 1, std::max(1, lastIndex()));
    if (lastIndex() == 0)
        m_messageIndex = 0;
    if (m_messageIndex == 0) {
        ABMessagesRefresh(cti, true, false);
        return;
    }
    const int32_t record = m_messages[std::size_t(m_messageIndex - 1)];
    const QString recording = m_d.sound.SoundFullPath(m_d.callLog.SEZGGetSoundFile(record));
    QString caller;
    QString msn;
    m_d.callLog.SEZGGetNumberAndMSN(record, caller, msn);
    const QString tts = QString::fromLatin1(modSTTS::TmpTts);
    m_stts.PromptBuild(tts, m_stts.Announcement(m_messageIndex, msn, caller));
    std::lock_guard lock(cti.machineMutex);
    m_playList << recording;
    playOn(cti, m_d.sound.SoundFullPath(tts));
}

void AnsweringMachine::ABMessagesRefresh(clsCti& cti, bool stop, bool welcome) {
    if (stop) {
        clearPlayList(cti);
        stopPlaying(cti);
    }
    const QDate today = m_d.clock.now().date();
    m_messages = m_d.callLog.SEZGGetNewRecordings(today.addDays(-7), today.addDays(1));
    const int n = lastIndex();
    const QString count = m_stts.PromptBuild(QString::fromLatin1(modSTTS::TmpTtsCount),
                                             welcome ? m_stts.Welcome(n) : m_stts.Count(n));
    std::lock_guard lock(cti.machineMutex);
    if (cti.intPlaying == 0)
        playOn(cti, count);
    else
        m_playList << count;
    cti.intPlaying = 1;
}

// ---- The recording of a call in progress, kept safe ----

void AnsweringMachine::noteRecording(clsCti& cti) {
    QString file;
    QDateTime start;
    {
        std::lock_guard lock(cti.machineMutex);
        if (cti.strRecordFile == m_journaled)
            return;
        file = cti.strRecordFile;
        start = cti.dateRecordStart;
    }
    m_journaled = file;
    if (file.isEmpty()) {
        QFile::remove(journalPath());
        return;
    }
    m_d.profiles.WritePrivateProfileStrings(
        {{JournalSection, QStringLiteral("File"), m_d.sound.SoundRelativePath(file)},
         {JournalSection, QStringLiteral("Start"), start.toString(Qt::ISODate)},
         {JournalSection, QStringLiteral("Number"), m_callerLogged},
         {JournalSection, QStringLiteral("MSN"), m_msn}},
        journalPath());
}

void AnsweringMachine::fileOrphanRecording() {
    const QString journal = journalPath();
    if (!QFileInfo::exists(journal))
        return;
    const auto read = [&](const char* key) {
        return m_d.profiles.GetPrivateProfileString(JournalSection, QString::fromLatin1(key), QString(),
                                                    journal);
    };
    const QString file = read("File");
    const QDateTime start = QDateTime::fromString(read("Start"), Qt::ISODate);
    FdSndWaveInfo info;
    if (!file.isEmpty() && start.isValid() &&
        FdSndLibrary::fdsnd_GetWaveFormat(info, m_d.sound.SoundFullPath(file)) >= 0) {
        const int seconds = info.samplesPerSecond > 0 && info.bytesPerBlock > 0
                                ? int(info.dataLength / (int64_t(info.samplesPerSecond) * info.bytesPerBlock))
                                : 0;
        if (m_d.callLog.SEZGFileOrphanRecording(start, seconds, read("Number"), read("MSN"), file))
            m_d.logs.ErrorLog(
                QStringLiteral("ABInit: the message %1 of a call that ended with the program was "
                               "filed in the log")
                    .arg(file));
    }
    QFile::remove(journal);
}
