// The answering machine and its remote inquiry in the whole program, on the real line and the simulated
// exchange. The prompt pieces are tones here, one frequency per piece, so that what the exchange heard
// on the line can be told back into the pieces it was joined from.

#include "lines/answering/AnsweringMachine.h"
#include "calllog/modEZGDB.h"
#include "lines/answering/PromptSet.h"
#include "platform/Clock.h"
#include "platform/capilink/CapiLink.h"
#include "platform/profile/ProfileStore.h"
#include "platform/voice/WaveFiles.h"
#include "shell/Program.h"
#include "shell/call/Eurit30.h"
#include "tests/support/CapiLineSupport.h"
#include "tests/support/SoundAnalysis.h"
#include "tests/support/TestProgram.h"

#include <QDir>
#include <QFile>
#include <QThread>

#include <gmock/gmock.h>

#include <cmath>
#include <map>
#include <numbers>

namespace {

using namespace std::chrono_literals;
using Field = clsConfig::Field;
using ::testing::ElementsAreArray;

QString S(const char* text) {
    return QString::fromUtf8(text);
}

// The tone of each prompt piece and of the two messages of the tests.
std::map<QString, double> PieceTones() {
    std::map<QString, double> tones;
    double hertz = 300;
    for (const QString& piece : PromptSet::PieceNames(S("de"))) {
        tones[piece] = hertz;
        hertz += 55;
    }
    tones[S("messageA")] = 3330;
    tones[S("messageB")] = 3440;
    return tones;
}

// A tone of `ms` followed by 40 ms of silence, as an 8 kHz A-law file.
void WriteTonePiece(const QString& path, double hertz, int ms) {
    voice::WaveWriter writer;
    QString error;
    ASSERT_TRUE(writer.open(path, 17, &error)) << error.toStdString();
    std::vector<int16_t> samples(std::size_t(8 * (ms + 40)), 0);
    for (std::size_t i = 0; i < std::size_t(8 * ms); ++i)
        samples[i] = int16_t(8000 * std::sin(2 * std::numbers::pi * hertz * double(i) / 8000.0));
    writer.write(samples.data(), samples.size());
    writer.close();
}

double Power(const std::vector<int16_t>& s, std::size_t from, std::size_t to, double hertz) {
    const double w = 2 * std::numbers::pi * hertz / 8000.0;
    double re = 0, im = 0;
    for (std::size_t i = from; i < to; ++i) {
        re += s[i] * std::cos(w * double(i));
        im += s[i] * std::sin(w * double(i));
    }
    return re * re + im * im;
}

// The pieces that sounded, in order: runs of sound between silences of at least 20 ms, each named by
// the tone that carries most of its energy.
QStringList Heard(const std::vector<int16_t>& s) {
    static const std::map<QString, double> tones = PieceTones();
    constexpr std::size_t Window = 80;
    QStringList heard;
    std::size_t runStart = 0;
    int quiet = 2;
    const auto close = [&](std::size_t end) {
        if (end < runStart + 3 * Window)
            return;
        QString best;
        double bestPower = 0;
        for (const auto& [name, hertz] : tones) {
            const double p = Power(s, runStart + Window, end - Window, hertz);
            if (p > bestPower) {
                bestPower = p;
                best = name;
            }
        }
        heard << best;
    };
    for (std::size_t w = 0; w + Window <= s.size(); w += Window) {
        const std::vector<int16_t> window(s.begin() + long(w), s.begin() + long(w + Window));
        const bool loud = Rms(window) > 800;
        if (loud && quiet >= 2)
            runStart = w;
        if (!loud && quiet == 1)
            close(w - Window);
        quiet = loud ? 0 : quiet + 1;
    }
    if (quiet < 2)
        close(s.size());
    return heard;
}

QStringList Pieces(std::initializer_list<const char*> names) {
    QStringList pieces;
    for (const char* name : names) {
        const QString n = S(name);
        pieces << (n.startsWith(S("message")) ? n : n + S(".wav"));
    }
    return pieces;
}

// A whole program on the real line, its machine on for MSN 1 ("5551") with the PIN 1234, answering at
// the first tick; the prompt folder holds the tone pieces.
struct MachineProgram {
    explicit MachineProgram(CapiExchange::Options options = {}, const QString& folder = {});
    ~MachineProgram();

    bool pumpUntil(const std::function<bool()>& pred, int timeoutMs = 5000) {
        return WaitUntil(pred, timeoutMs, [this] { program->eventTick(); });
    }
    void pumpFor(int ms) {
        pumpUntil([] { return false; }, ms);
    }
    clsCti& cti() { return *program->cti().channel(); }
    clsConfig& set() { return program->Konfigurationen().Item(1); }
    bool recording() {
        std::lock_guard lock(cti().machineMutex);
        return cti().intRecording != 0;
    }
    QString recordFile() {
        std::lock_guard lock(cti().machineMutex);
        return cti().strRecordFile;
    }
    QByteArray received(int call) const { return exchange->call(call)->received; }
    // Rings MSN 1 and waits until the machine has the call; the exchange's id of the call.
    int machineCall(const QByteArray& from = "891234567", bool afterGreeting = true);
    // Keys digits on the call and gives the pieces the machine answered with, once it has played them.
    QStringList key(int call, const QByteArray& digits, bool inband = false);
    // The far end hangs up; the line listens for calls again.
    void hangUp(int call) {
        const auto listens = [this] {
            const std::vector<QString> log = exchange->messageLog();
            return std::count_if(log.begin(), log.end(),
                                 [](const QString& l) { return l.contains(S("LISTEN_CONF")); });
        };
        const auto before = listens();
        const bool connected = exchange->call(call)->state == ExchangeCall::Active;
        exchange->hangUp(call);
        EXPECT_TRUE(pumpUntil(
            [&] { return program->call().CallState == StateIdle && (!connected || listens() > before); }));
    }
    // A message in the log: a call of `daysAgo` from `from`, its recording a tone file.
    void addMessage(const char* from, const char* file, const char* tone, int daysAgo);
    QString soundFile(const QString& name) const { return program->sound().SoundFullPath(name); }

    ManualClock clock{QDateTime(QDate(2026, 1, 5), QTime(9, 0, 0))};
    QTemporaryDir dir;
    QString data;
    std::unique_ptr<CapiExchange> exchange;
    std::unique_ptr<Program> program;
    bool dtmfFacility;
};

MachineProgram::MachineProgram(CapiExchange::Options options, const QString& folder)
    : data(folder.isEmpty() ? dir.path() : folder), exchange(StartExchange(options)),
      dtmfFacility(options.dtmfFacility) {
    program = std::make_unique<Program>(
        clock, std::make_unique<CapiLink>(ExchangeServer(), std::shared_ptr<voice::AudioDevice>()), data);
    program->callLog().SEZGDBOpen();
    EXPECT_TRUE(program->sound().SoundInit(program->profiles(), Program::IniPath(data), program->logs()));
    const std::map<QString, double> tones = PieceTones();
    for (const auto& [name, hertz] : tones)
        if (name.endsWith(S(".wav")) && !QFileInfo::exists(program->sound().PromptFullPath(name)))
            WriteTonePiece(program->sound().PromptFullPath(name), hertz,
                           name == S("standardansage.wav") ? 300 : 80);
    program->machine().ABInit(S("de"));
    clsConfig& c = set();
    c.setStrMSN(1, S("5551"));
    c.Assign(Field::intCAPIABOn, 1, 1);
    c.Assign(Field::intCAPIABRufanzahl, 1, 0);
    c.Assign(Field::intCAPIABAufnahmezeit, 1, 100);
    c.Assign(Field::strCAPIPIN, S("1234"));
    EXPECT_TRUE(program->startLine()) << program->fatalMessage().toStdString();
}

MachineProgram::~MachineProgram() {
    program.reset();
    exchange->stop();
}

int MachineProgram::machineCall(const QByteArray& from, bool afterGreeting) {
    const int call = exchange->offerCall(from, "5551");
    EXPECT_TRUE(pumpUntil([&] { return program->call().CallState == StateIncomingMachine; }));
    // Keys reach the machine once the line listens for them.
    EXPECT_TRUE(pumpUntil([&] { return !dtmfFacility || exchange->call(call)->facilityDtmf; }));
    if (afterGreeting) {
        EXPECT_TRUE(pumpUntil([&] { return cti().intPlaying == 0; }));
    }
    return call;
}

QStringList MachineProgram::key(int call, const QByteArray& digits, bool inband) {
    const qsizetype mark = received(call).size();
    EXPECT_TRUE(inband ? exchange->sendDtmfInband(call, digits) : exchange->sendDtmfFacility(call, digits));
    // The answer plays and ends; what is still on its way to the exchange follows.
    const bool answered = pumpUntil([&] { return cti().intPlaying != 0; }, 1500);
    if (answered) {
        EXPECT_TRUE(pumpUntil([&] { return cti().intPlaying == 0; }, 15000))
            << "digits " << program->machine().ABDigits().toStdString() << " logged in "
            << program->machine().ABLoggedIn();
    }
    pumpFor(300);
    return Heard(FromLine(received(call).mid(mark)));
}

void MachineProgram::addMessage(const char* from, const char* file, const char* tone, int daysAgo) {
    WriteTonePiece(soundFile(S(file)), PieceTones().at(S(tone)), 500);
    EZGRecord record;
    record.PartnerRufnummer = S(from);
    record.MSN = S("5551");
    record.Tondatei = S(file);
    record.Neu = 1;
    record.Richtung = 1;
    record.Verbindungsstatus = StateIncomingMachine;
    program->callLog().SEZGDBSave_EZG_Eintrag(DateNumber(clock.now().addDays(-daysAgo)), record);
}

// ---- The machine's call ----

TEST(AnsweringMachine, AnswersGreetsRecordsWhatTheCallerSaysAndFilesItInTheLog) {
    MachineProgram t;
    const int call = t.machineCall();
    ASSERT_TRUE(t.pumpUntil([&] { return t.recording(); }));
    EXPECT_THAT(Heard(FromLine(t.received(call))), ElementsAreArray(Pieces({"standardansage"})))
        << "a fresh MSN greets with the default greeting";
    const QString file = t.recordFile();
    EXPECT_EQ(QFileInfo(file).fileName(), S("Msg05_01_26 09_00_00.wav"));
    // The journal names the recording while the call lasts.
    const QString journal = QDir(t.data).filePath(S(AnsweringMachine::JournalFile));
    ASSERT_TRUE(t.pumpUntil([&] { return QFileInfo::exists(journal); }));
    EXPECT_EQ(t.program->profiles().GetPrivateProfileString(S("Recording"), S("File"), {}, journal),
              S("Msg05_01_26 09_00_00.wav"));

    const QString said = t.dir.filePath(S("said.wav"));
    WriteSine(said, 700, 1.0, 3);
    QString error;
    ASSERT_TRUE(t.exchange->playFile(call, said, &error)) << error.toStdString();
    ASSERT_TRUE(t.exchange->waitFor([&](const CapiExchange& x) { return !x.call(call)->playing; }, 5000));
    t.pumpFor(200);
    t.hangUp(call);

    const std::vector<EZGRecord> log = CallLogRecords(*t.program);
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].Verbindungsstatus, StateIncomingMachine);
    EXPECT_EQ(log[0].Richtung, 1);
    EXPECT_EQ(log[0].Neu, 1);
    EXPECT_EQ(log[0].Tondatei, S("Msg05_01_26 09_00_00.wav"));
    EXPECT_EQ(log[0].PartnerRufnummer, S("0891234567"));
    const std::vector<int16_t> recorded = ReadSamples(file);
    EXPECT_GT(ToneShare(recorded, 700), 0.9);
    const auto loud = [](const std::vector<int16_t>& samples) {
        return double(
            std::count_if(samples.begin(), samples.end(), [](int16_t v) { return std::abs(v) > 2000; }));
    };
    EXPECT_NEAR(loud(recorded), loud(ReadSamples(said)), 160.0) << "the second the caller spoke, whole";
    EXPECT_FALSE(QFileInfo::exists(journal)) << "the log entry is written: the note goes";
    EXPECT_THAT(t.exchange->violations(), ::testing::IsEmpty());
}

TEST(AnsweringMachine, AnswersAfterTheRingsOfItsMsnAndNeverOnAnMsnWhereItIsOff) {
    MachineProgram t;
    t.set().Assign(Field::intCAPIABRufanzahl, 1, 2);
    t.set().setStrMSN(2, S("5552"));
    const int other = t.exchange->offerCall("891234567", "5552");
    ASSERT_TRUE(t.pumpUntil([&] { return t.program->call().CallState == StateIncomingRinging; }));
    t.clock.advance(60s);
    t.pumpFor(300);
    EXPECT_EQ(t.program->call().CallState, StateIncomingRinging) << "MSN 2 has the machine off";
    t.hangUp(other);

    t.exchange->offerCall("891234567", "5551");
    ASSERT_TRUE(t.pumpUntil([&] { return t.program->call().CallState == StateIncomingRinging; }));
    t.clock.advance(3400ms);
    t.pumpFor(300);
    EXPECT_EQ(t.program->call().CallState, StateIncomingRinging) << "two rings are 3.456 s";
    t.clock.advance(100ms);
    EXPECT_TRUE(t.pumpUntil([&] { return t.program->call().CallState == StateIncomingMachine; }));
}

TEST(AnsweringMachine, TheCallersOwnGreetingComesFromThePhonebookAndTheMsnsOwnOtherwise) {
    MachineProgram t;
    WriteTonePiece(t.soundFile(S("own.wav")), PieceTones().at(S("messageA")), 300);
    WriteTonePiece(t.soundFile(S("anna.wav")), PieceTones().at(S("messageB")), 300);
    t.set().Assign(Field::strCAPIABFile, 1, S("own.wav"));
    t.program->Phonebooks().Phonebooks_create();
    clsPhonebook& book = *t.program->Phonebooks().Item(1);
    ASSERT_TRUE(book.EintragAdd(S("Anna"), {}, {}, {}, {}, S("0891111"), {}, {}, S("anna.wav")));

    int call = t.machineCall("891111");
    ASSERT_TRUE(t.pumpUntil([&] { return t.recording(); }));
    EXPECT_THAT(Heard(FromLine(t.received(call))), ElementsAreArray(Pieces({"messageB"})));
    t.hangUp(call);
    call = t.machineCall("892222");
    ASSERT_TRUE(t.pumpUntil([&] { return t.recording(); }));
    EXPECT_THAT(Heard(FromLine(t.received(call))), ElementsAreArray(Pieces({"messageA"})));
    t.hangUp(call);
}

TEST(AnsweringMachine, TheRecordingLimitEndsTheCallAndTheMessageIsStillFiled) {
    MachineProgram t;
    t.set().Assign(Field::intCAPIABAufnahmezeit, 1, 2); // two units of 0.864 s
    const int call = t.machineCall();
    ASSERT_TRUE(t.pumpUntil([&] { return t.recording(); }));
    t.clock.advance(1700ms);
    t.pumpFor(200);
    EXPECT_TRUE(t.recording());
    t.clock.advance(100ms);
    ASSERT_TRUE(t.pumpUntil([&] { return t.program->call().CallState == StateIdle; }));
    EXPECT_EQ(t.exchange->call(call)->state, ExchangeCall::Ended);
    const std::vector<EZGRecord> log = CallLogRecords(*t.program);
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].Tondatei, S("Msg05_01_26 09_00_00.wav"));
    EXPECT_TRUE(QFileInfo::exists(t.soundFile(log[0].Tondatei)));
}

TEST(AnsweringMachine, ListeningInFollowsTheMsnAndTheToggleAndATakeOverSplitsTheCallInTwoEntries) {
    MachineProgram t;
    t.set().Assign(Field::intCAPIABMithören, 1, 1);
    const int call = t.machineCall();
    EXPECT_TRUE(t.program->ABMithören()) << "the MSN listens in from the start";
    t.program->toggleABMithören();
    EXPECT_FALSE(t.program->ABMithören());
    ASSERT_TRUE(t.pumpUntil([&] { return t.recording(); }));
    t.clock.advance(5s);
    t.program->commands().Eurit_TakeOver();
    EXPECT_EQ(t.program->call().CallState, StateIncomingConnected);
    t.clock.advance(200s);
    t.pumpFor(200);
    EXPECT_EQ(t.exchange->call(call)->state, ExchangeCall::Active) << "no recording limit cuts the talk";
    t.hangUp(call);
    const std::vector<EZGRecord> log = CallLogRecords(*t.program);
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0].Verbindungsstatus, StateIncomingMachine);
    EXPECT_EQ(log[0].Tondatei, S("Msg05_01_26 09_00_00.wav"));
    EXPECT_EQ(log[1].Verbindungsstatus, StateIncomingConnected);
    EXPECT_EQ(log[1].Tondatei, QString());
    EXPECT_EQ(log[1].Gesprächsdauer, 200);
}

TEST(AnsweringMachine, AMessageOfARunThatWasKilledIsFiledAtTheNextStartOnce) {
    // What a kill during a message leaves: the journal and the recording, and no log entry. They are
    // copied while the call is in progress, before the program's stop logs it.
    QTemporaryDir left;
    QString recording;
    {
        MachineProgram t;
        t.machineCall();
        ASSERT_TRUE(t.pumpUntil([&] { return t.recording(); }));
        const QString journal = QDir(t.data).filePath(S(AnsweringMachine::JournalFile));
        ASSERT_TRUE(t.pumpUntil([&] { return QFileInfo::exists(journal); }));
        recording = t.program->sound().SoundRelativePath(t.recordFile());
        const QString said = t.dir.filePath(S("said.wav"));
        WriteSine(said, 700, 1.0, 3);
        QString error;
        ASSERT_TRUE(t.exchange->playFile(t.exchange->lastCallId(), said, &error));
        t.pumpFor(600);
        ASSERT_TRUE(QFile::copy(journal, left.filePath(S("journal"))));
        ASSERT_TRUE(QFile::copy(t.recordFile(), left.filePath(S("recording"))));
    }
    MachineProgram t;
    ASSERT_TRUE(
        QFile::copy(left.filePath(S("journal")), QDir(t.data).filePath(S(AnsweringMachine::JournalFile))));
    ASSERT_TRUE(QFile::copy(left.filePath(S("recording")), t.soundFile(recording)));
    t.clock.advance(24h);
    t.program->machine().ABInit(S("de"));
    std::vector<EZGRecord> log = CallLogRecords(*t.program);
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].Tondatei, recording);
    EXPECT_EQ(log[0].Verbindungsstatus, StateIncomingMachine);
    EXPECT_EQ(log[0].Neu, 1);
    EXPECT_EQ(log[0].Richtung, 1);
    EXPECT_EQ(log[0].PartnerRufnummer, S("0891234567"));
    EXPECT_EQ(log[0].MSN, S("5551"));
    EXPECT_EQ(log[0].Uhrzeit, S("09:00:00")) << "filed at the recording's own start, a day before";
    EXPECT_NEAR(log[0].Gesprächsdauer, ReadSamples(t.soundFile(recording)).size() / 8000.0, 1.0);
    EXPECT_FALSE(QFileInfo::exists(QDir(t.data).filePath(S(AnsweringMachine::JournalFile))));
    EXPECT_THAT(t.program->machine().ABMessages(), ::testing::IsEmpty());

    // A journal whose message is in the log already (a kill after the entry was written) files nothing.
    ASSERT_TRUE(
        QFile::copy(left.filePath(S("journal")), QDir(t.data).filePath(S(AnsweringMachine::JournalFile))));
    t.program->machine().ABInit(S("de"));
    EXPECT_EQ(CallLogRecords(*t.program).size(), 1u);
}

// ---- The remote inquiry ----

// One inquiry walked key by key: what the caller keys, and the pieces the machine answers with. Two
// new messages are within the week, a third is older and never offered.
TEST(RemoteInquiry, EachKeyOfTheMenuAndOfTheConfirmationAnswersWithItsPieces) {
    MachineProgram t;
    t.addMessage("0891234", "first.wav", "messageA", 1);
    t.addMessage("", "second.wav", "messageB", 0);
    t.addMessage("0307777", "old.wav", "messageA", 9);
    const int call = t.machineCall();
    struct Step {
        const char* keys;
        std::initializer_list<const char*> heard;
        const char* why;
    };
    const Step steps[] = {
        {"1234#", {"willkommen", "Siehaben", "2", "neueNn", "04help"}, "the PIN, by the facility"},
        {"4",
         {"nachrichtnr", "1", "fMSN", "5", "5", "5", "1", "von", "0", "8", "9", "1", "2", "3", "4",
          "messageA"},
         "the first message"},
        {"3", {"nachrichtnr", "2", "fMSN", "5", "5", "5", "1", "von", "messageB"}, "a caller without number"},
        {"3",
         {"nachrichtnr", "2", "fMSN", "5", "5", "5", "1", "von", "messageB"},
         "3 at the last: the last again"},
        {"1",
         {"nachrichtnr", "1", "fMSN", "5", "5", "5", "1", "von", "0", "8", "9", "1", "2", "3", "4",
          "messageA"},
         "back"},
        {"1",
         {"nachrichtnr", "1", "fMSN", "5", "5", "5", "1", "von", "0", "8", "9", "1", "2", "3", "4",
          "messageA"},
         "1 at the first: the first again"},
        {"2", {"oklöschen1", "1", "oklöschen2"}, "delete message 1?"},
        {"2",
         {"nachrichtnr", "1", "fMSN", "5", "5", "5", "1", "von", "0", "8", "9", "1", "2", "3", "4",
          "messageA"},
         "a second 2 drops the deletion and plays the message again"},
        {"7", {}, "7 does nothing"},
        {"2", {"oklöschen1", "1", "oklöschen2"}, "delete message 1?"},
        {"#", {"AnrufNummer", "1", "deleted", "Siehaben", "1e", "neueNt"}, "deleted; one left"},
        {"0",
         {"help", "Siehaben", "1e", "neueNt", "Siehaben", "1e", "neueNt"},
         "help, and the count as after every answer"},
        {"6",
         {"nachrichtnr", "1", "fMSN", "5", "5", "5", "1", "von", "messageB"},
         "the last is the only one"},
        {"5", {"allelöschen"}, "delete all?"},
        {"0",
         {"help", "Siehaben", "1e", "neueNt", "Siehaben", "1e", "neueNt"},
         "0 in the confirmation: help, nothing deleted"},
        {"5", {"allelöschen"}, "delete all?"},
        {"#", {"AnrufNummer", "1", "deleted", "noanrufe"}, "all of one deleted"},
        {"3", {"noanrufe"}, "no message left to play"},
        {"2", {"noanrufe", "noanrufe"}, "nothing to delete"},
    };
    for (const Step& step : steps)
        EXPECT_THAT(t.key(call, step.keys), ElementsAreArray(Pieces(step.heard))) << step.why;
    t.hangUp(call);

    const std::vector<EZGRecord> log = CallLogRecords(*t.program);
    ASSERT_EQ(log.size(), 4u);
    EXPECT_EQ(log[0].Neu, 0);
    EXPECT_EQ(log[1].Neu, 0);
    EXPECT_EQ(log[2].Neu, 1) << "older than a week: not offered, not deleted";
    EXPECT_TRUE(QFileInfo::exists(t.soundFile(S("first.wav")))) << "a deleted message keeps its file";
    EXPECT_EQ(log[3].Tondatei, QString()) << "the owner's call leaves no message";
    EXPECT_EQ(log[3].Verbindungsstatus, StateIncomingMachine);
}

TEST(RemoteInquiry, ThreeAndMoreMessagesAreCountedAndDeletedTogether) {
    MachineProgram t;
    for (const char* file : {"a.wav", "b.wav", "c.wav"})
        t.addMessage("0891234", file, "messageA", 0);
    const int call = t.machineCall();
    EXPECT_THAT(t.key(call, "1234#"),
                ElementsAreArray(Pieces({"willkommen", "Siehaben", "3", "neueNn", "04help"})));
    EXPECT_THAT(t.key(call, "5"), ElementsAreArray(Pieces({"allelöschen"})));
    EXPECT_THAT(t.key(call, "#"), ElementsAreArray(Pieces({"empty", "3", "anrgelöscht", "noanrufe"})));
    t.hangUp(call);
}

TEST(RemoteInquiry, ThePinWorksByTonesInTheAudioAndDigitsOfAnEarlierCallStandAhead) {
    MachineProgram t({.dtmfFacility = false});
    int call = t.machineCall();
    EXPECT_THAT(t.key(call, "12", true), ::testing::IsEmpty());
    t.hangUp(call);
    call = t.machineCall();
    EXPECT_THAT(t.key(call, "1234#", true), ::testing::IsEmpty()) << "\"12\" of the last call stands ahead";
    EXPECT_FALSE(t.program->machine().ABLoggedIn());
    EXPECT_TRUE(t.recording()) << "a wrong PIN gets no answer; the recording goes on";
    EXPECT_THAT(t.key(call, "*1234#", true),
                ElementsAreArray(Pieces({"willkommen", "Siehaben", "1e", "neueNt", "04help"})))
        << "the message of the first call";
    EXPECT_TRUE(t.program->machine().ABLoggedIn());
    t.hangUp(call);
    EXPECT_THAT(CallLogRecords(*t.program).back().Tondatei, QString())
        << "the recording of the owner's call is deleted";
}

TEST(RemoteInquiry, WithoutAPinHashAloneLogsInAlsoDuringTheGreeting) {
    MachineProgram t;
    t.set().Assign(Field::strCAPIPIN, QString());
    // Keyed during the greeting: the greeting stops and the welcome follows at once.
    const int call = t.machineCall("891234567", false);
    const QStringList heard = t.key(call, "#");
    EXPECT_THAT(heard.mid(heard.size() - 5),
                ElementsAreArray(Pieces({"willkommen", "Siehaben", "0", "neueNn", "04help"})));
    t.hangUp(call);
}

TEST(RemoteInquiry, TheSaferInquiryEndsTheCallAfterThreeWrongPinsAndRefusesTheCallerForAQuarterHour) {
    MachineProgram t;
    t.program->settings().ABSafeInquiry = 1;
    int call = t.machineCall("891234567");
    t.key(call, "1#");
    t.key(call, "2#");
    EXPECT_EQ(t.exchange->call(call)->state, ExchangeCall::Active);
    t.key(call, "3#");
    ASSERT_TRUE(t.pumpUntil([&] { return t.program->call().CallState == StateIdle; }));
    EXPECT_EQ(t.exchange->call(call)->state, ExchangeCall::Ended);

    call = t.machineCall("891234567");
    EXPECT_THAT(t.key(call, "1234#"), ::testing::IsEmpty()) << "the right PIN, but the caller is refused";
    EXPECT_FALSE(t.program->machine().ABLoggedIn());
    t.hangUp(call);
    call = t.machineCall("897654321");
    EXPECT_THAT(t.key(call, "1234#"), ::testing::Not(::testing::IsEmpty())) << "another caller is not";
    t.hangUp(call);
    t.clock.advance(16min);
    call = t.machineCall("891234567");
    EXPECT_THAT(t.key(call, "1234#"), ::testing::Not(::testing::IsEmpty())) << "a quarter of an hour later";
    t.hangUp(call);

    t.set().Assign(Field::strCAPIPIN, QString());
    call = t.machineCall("897654321");
    EXPECT_THAT(t.key(call, "#"), ::testing::IsEmpty()) << "no PIN: no inquiry at all";
    t.hangUp(call);
    QFile errors(QDir(t.data).filePath(S("error.log")));
    ASSERT_TRUE(errors.open(QIODevice::ReadOnly));
    const QStringList lines = QString::fromUtf8(errors.readAll()).split(QLatin1Char('\n'));
    EXPECT_EQ(lines.filter(S("wrong PIN (")).size(), 3);
    EXPECT_EQ(lines.filter(S("refused")).size(), 3)
        << "the lockout, the locked-out login, the empty PIN: " << lines.join(S("\n")).toStdString();
}

} // namespace
