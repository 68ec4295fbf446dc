// The start and the stop of the program in their order, with a fake window.

#include "tests/support/TestProgram.h"

#include "platform/fdsnd/SilentSound.h"
#include "shell/MainLifecycle.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

struct FakeHost : MainHost {
    QStringList calls;
    QRect screen{0, 0, 1280, 800};
    QList<QRect> otherScreens;
    QRect window;
    bool normal = true;
    std::function<void()> duringSplash;
    // The user's answers to the question whether to try the line again, and to the wait for it (true:
    // try again), in turn; when they run out, the user ends.
    QList<bool> lineAnswers;
    std::function<void()> duringLineQuestion;
    void showSplash(const QString& versionText) override {
        calls << S("splash ") + versionText;
        if (duringSplash)
            duringSplash();
    }
    void closeSplash() override { calls << S("splash closed"); }
    QList<QRect> screenAreas() const override { return QList<QRect>{screen} + otherScreens; }
    int twipsPerPixel() const override { return 15; }
    QRect frame() const override { return window; }
    void setFrame(const QRect& frame) override { window = frame; }
    bool normalState() const override { return normal; }
    void setEventTimer(bool on) override { calls << (on ? S("timer on") : S("timer off")); }
    void applyLanguage() override { calls << S("language"); }
    void showMain() override { calls << S("show"); }
    void postClose() override { calls << S("post close"); }
    void setWaitCursor(bool) override {}
    void showMessage(const QString& text) override { calls << text; }
    bool lineAnswer() {
        if (duringLineQuestion)
            duringLineQuestion();
        return !lineAnswers.isEmpty() && lineAnswers.takeFirst();
    }
    bool askLineRetry() override {
        calls << S("ask retry");
        return lineAnswer();
    }
    bool waitForLine(int seconds) override {
        calls << S("wait %1 s").arg(seconds);
        return lineAnswer();
    }
    void lineWaitOver() override { calls << S("wait over"); }
};

struct Lifecycle : TestProgram {
    FakeHost host;
    bool otherInstance = false;
    MainLifecycle lifecycle{*program, host, [this] {
                                return !otherInstance;
                            }};
    explicit Lifecycle(std::shared_ptr<FdSndLibrary> sound = nullptr)
        : TestProgram(false, std::move(sound)) {}

    QString ini(const char* section, const char* key) {
        return program->profiles().GetPrivateProfileString(QLatin1String(section), QLatin1String(key),
                                                           S("(none)"), program->iniPath());
    }
    void setIni(const char* section, const char* key, const QString& value) {
        program->profiles().WritePrivateProfileString(QLatin1String(section), QLatin1String(key), value,
                                                      program->iniPath());
    }
    // The step lines of debug.txt without their date and time (the books write their own lines between).
    QStringList steps() {
        QStringList out;
        for (const QString& line : logLines(S("debug.txt"))) {
            const QString text = line.section(QLatin1Char('\t'), 1);
            if (text.startsWith(QLatin1String("Main ")))
                out << text;
        }
        return out;
    }
    // Both passes of the stop, as the window runs them.
    void stop() {
        EXPECT_FALSE(lifecycle.Form_QueryUnload()) << "the first pass only posts a close";
        EXPECT_TRUE(lifecycle.Form_QueryUnload());
    }
};

} // namespace

TEST(MainStart, RunsItsStepsInOrderAndLogsThemWhenErrorLogIsOn) {
    Lifecycle t;
    t.setIni("Setup", "ErrorLog", S("1"));
    ASSERT_EQ(t.lifecycle.Form_Load(), MainLifecycle::StartResult::Started);
    QStringList start;
    for (const char* step : {"WMport_init", "NSM_init", "ClipboardInit", "DINFO_Init", "Phonebooks_create",
                             "Main Position", "Eurit Init", "Monitor Tray", "Tabstrip_click", "Language",
                             "Show", "Unload Start", "Init", " Finished"})
        start << S("Main Form_Load:") + QString::fromLatin1(step);
    EXPECT_EQ(t.steps(), start);
    EXPECT_EQ(t.host.calls.front(), t.lifecycle.VersionText().prepend(S("splash ")));
    EXPECT_LT(t.host.calls.indexOf(S("timer on")), t.host.calls.indexOf(S("show")));
    EXPECT_EQ(t.program->settings().UseTapi, 0) << "no TAPI, whatever the file says";
    EXPECT_FALSE(t.lifecycle.bLoading());
    for (const char* tone : {"ring.wav", "frei.wav", "besetzt.wav"})
        EXPECT_TRUE(QFile::exists(t.program->sound().SoundFullPath(S(tone))))
            << tone << " in the sound folder";

    t.stop();
    const QStringList stop = t.steps().mid(14);
    ASSERT_FALSE(stop.isEmpty());
    EXPECT_EQ(stop.front(), S("Main Form_QueryUnload: Begin"));
    EXPECT_EQ(stop.back(), S("Main Form_QueryUnload: End ."));
    EXPECT_LT(stop.indexOf(S("Main Form_QueryUnload: CTIExit")),
              stop.indexOf(S("Main Form_QueryUnload: Eurit_Cfg_save")));
    EXPECT_EQ(stop.size(), 22) << "both Begin lines and every step";
}

// A sound library that cannot start at all.
struct BrokenSound : SilentSound {
    int starts = 0;
    int32_t fdsnd_Init() override {
        ++starts;
        return -7;
    }
};

TEST(MainStart, OnlyASoundLibraryThatCannotStartEndsTheStart) {
    auto broken = std::make_shared<BrokenSound>();
    Lifecycle t(broken);
    t.setIni("Setup", "ErrorLog", S("1"));
    EXPECT_EQ(t.lifecycle.Form_Load(), MainLifecycle::StartResult::SoundFailed);
    EXPECT_EQ(broken->starts, 2) << "tried once more";
    EXPECT_TRUE(t.logLines(S("debug.txt")).filter(S("FdsndInit:Failed Reason:-7")).size() == 1);

    // Without a sound server the library starts (silent), and so does the program.
    Lifecycle silent;
    EXPECT_EQ(silent.lifecycle.Form_Load(), MainLifecycle::StartResult::Started);
    EXPECT_FALSE(silent.program->sound().soundAvailable());
}

// The run flag tells the next start of a crash; the CAPI test program runs at the first start only; with
// ErrorLog off no debug line is written.
TEST(MainStart, TheRunFlagTellsTheNextStartOfACrashAndTheCapiTestRunsOnce) {
    Lifecycle t;
    const QString marker = t.dir.filePath(S("ran"));
    QFile script(t.dir.filePath(S("capitest")));
    ASSERT_TRUE(script.open(QIODevice::WriteOnly));
    script.write(S("#!/bin/sh\necho run >> '%1'\n").arg(marker).toUtf8());
    script.close();
    script.setPermissions(script.permissions() | QFileDevice::ExeOwner);
    ASSERT_EQ(t.lifecycle.Form_Load(), MainLifecycle::StartResult::Started);
    EXPECT_EQ(t.ini("Setup", "IncorrectTerminate"), S("1"));
    EXPECT_EQ(t.ini("Setup", "CapiChecked"), S("1"));
    EXPECT_EQ(t.ini("Main", "Lastversion1"), QString::number(MORVA_VERSION_MAJOR));
    EXPECT_EQ(t.ini("Main", "Lastversion2"), QString::number(MORVA_VERSION_MINOR));
    // The process dies here, without a stop; the next start reads the same folder.
    t.program->stopLine();
    MainLifecycle next(*t.program, t.host, [] { return true; });
    bool seenDuringStart = false;
    t.host.duringSplash = [&] {
        seenDuringStart = next.bLastRunFailed();
    };
    ASSERT_EQ(next.Form_Load(), MainLifecycle::StartResult::Started);
    EXPECT_TRUE(seenDuringStart);
    EXPECT_FALSE(next.bLastRunFailed()) << "cleared at the end of the start";
    EXPECT_FALSE(next.Form_QueryUnload());
    EXPECT_TRUE(next.Form_QueryUnload());
    EXPECT_EQ(t.ini("Setup", "IncorrectTerminate"), S("0"));
    QFile ran(marker);
    ASSERT_TRUE(ran.open(QIODevice::ReadOnly));
    EXPECT_EQ(ran.readAll(), "run\n");
    EXPECT_FALSE(QFile::exists(t.dir.filePath(S("debug.txt"))));
}

// Settings files damaged on disk (a NUL byte, as a crash or a copy may leave): the start tells the user
// once, in the language of what was read, writes each problem to error.log, keeps each damaged file under a
// name of its own, and runs with the settings that could be read. The next start finds sound files.
TEST(MainStart, DamagedSettingsFilesAreToldOnceKeptAsideAndWhatCouldBeReadIsInEffect) {
    Lifecycle t;
    QStringList asked;
    t.program->dialogs().setAsker([&](const QString& text, UserDialogs::Buttons, UserDialogs::Icon) {
        asked << text;
        return UserDialogs::Answer::Ok;
    });
    const auto put = [&](const char* name, const QByteArray& bytes) {
        QFile file(t.dir.filePath(S(name)));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    };
    static const char kIni[] =
        "[Setup]\nIgnoreDigits=3\nIgnoreNumbers=2\0\nLandesCode=43\n[Main]\nWidthEx=9000\n";
    static const char kRegistry[] =
        "[HKLM\\Software\\Nalda\\Morva]\nLanguage=dword:00000007\nVorwahl=\"0\0\"\n";
    const QByteArray ini(kIni, sizeof(kIni) - 1);
    const QByteArray registry(kRegistry, sizeof(kRegistry) - 1);
    put("Morva.ini", ini);
    put("Registry.ini", registry);

    ASSERT_EQ(t.lifecycle.Form_Load(), MainLifecycle::StartResult::Started);

    const Language& language = t.program->language();
    EXPECT_EQ(language.LanguageId(), 7) << "Registry.ini's whole lines are in effect";
    const QString expected = language.LanguageString(3190).arg(S("Morva.ini"), S("1"), S("6")) + S(" ") +
                             language.LanguageString(3191).arg(S("Morva.ini.20260105-090000.bad")) +
                             S("\n\n") +
                             language.LanguageString(3190).arg(S("Registry.ini"), S("1"), S("3")) + S(" ") +
                             language.LanguageString(3191).arg(S("Registry.ini.20260105-090000.bad"));
    EXPECT_EQ(asked, QStringList(expected));
    EXPECT_TRUE(asked.value(0).startsWith(S("Die Einstellungsdatei Morva.ini war beschädigt.")))
        << asked.value(0).toStdString();

    const QStringList errors = t.logLines(S("error.log"));
    for (const char* file : {"Morva.ini", "Registry.ini"}) {
        const QString path = t.dir.filePath(S(file));
        EXPECT_EQ(errors.filter(path + S(" is damaged (contains NUL characters): 1 of its")).size(), 1)
            << file;
        EXPECT_EQ(errors.filter(S("the damaged file is kept as %1.20260105-090000.bad").arg(path)).size(), 1)
            << file;
    }
    const auto bytesOf = [&](const QString& path) {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    };
    EXPECT_EQ(bytesOf(t.dir.filePath(S("Morva.ini.20260105-090000.bad"))), ini);
    EXPECT_EQ(bytesOf(t.dir.filePath(S("Registry.ini.20260105-090000.bad"))), registry);

    const Settings& settings = t.program->settings();
    EXPECT_EQ(settings.IgnoreDigits, 3);
    EXPECT_EQ(settings.IgnoreNumbers, 1) << "the damaged line is left out: the default";
    EXPECT_EQ(settings.LandesCode, S("43"));
    EXPECT_EQ(settings.Vorwahl, QString());
    EXPECT_EQ(t.host.window.width(), 9000 / 15) << "a later section of the damaged file is read too";
    const QByteArray now = bytesOf(t.program->iniPath());
    EXPECT_FALSE(now.contains('\0'));
    EXPECT_TRUE(now.contains("IgnoreDigits=3\n")) << now.toStdString();

    // The next start reads sound files: nothing to tell, nothing more kept.
    t.stop();
    Program next(t.clock, std::make_unique<StandInLine>(), t.dir.path());
    next.dialogs().setAsker([&](const QString& text, UserDialogs::Buttons, UserDialogs::Icon) {
        asked << text;
        return UserDialogs::Answer::Ok;
    });
    FakeHost host;
    MainLifecycle again(next, host, [] { return true; });
    ASSERT_EQ(again.Form_Load(), MainLifecycle::StartResult::Started);
    EXPECT_EQ(asked.size(), 1);
    EXPECT_EQ(next.settings().IgnoreDigits, 3);
    EXPECT_EQ(next.language().LanguageId(), 7);
    EXPECT_EQ(QDir(t.dir.path()).entryList({S("*.bad")}, QDir::Files).size(), 2);
    EXPECT_FALSE(again.Form_QueryUnload());
    EXPECT_TRUE(again.Form_QueryUnload());
}

TEST(MainStart, ACloseDuringTheStartIsRefusedAndASecondInstanceEnds) {
    Lifecycle t;
    bool refused = false;
    t.host.duringSplash = [&] {
        refused = !t.lifecycle.Form_QueryUnload();
    };
    ASSERT_EQ(t.lifecycle.Form_Load(), MainLifecycle::StartResult::Started);
    EXPECT_TRUE(refused);
    EXPECT_EQ(t.lifecycle.iExitPass(), 0) << "the refused close did not count as a pass";

    Lifecycle second;
    second.otherInstance = true;
    EXPECT_EQ(second.lifecycle.Form_Load(), MainLifecycle::StartResult::SecondInstance);
    EXPECT_EQ(second.ini("Setup", "IncorrectTerminate"), S("(none)")) << "it ends before the flag";
    second.setIni("Setup", "AllowMultipleInstance", S("1"));
    EXPECT_EQ(second.lifecycle.Form_Load(), MainLifecycle::StartResult::Started);
}

TEST(MainWindowPlace, CentredFirstMovedBackOntoTheScreenAndSavedOnlyInTheNormalState) {
    {
        Lifecycle t;
        ASSERT_EQ(t.lifecycle.Form_Load(), MainLifecycle::StartResult::Started);
        EXPECT_EQ(t.host.window.size(), QSize(8240 / 15, 4500 / 15));
        EXPECT_EQ(t.host.window.center().x(), t.host.screen.center().x()) << "centred";
        t.host.normal = false;
        t.stop();
        EXPECT_EQ(t.ini("Main", "Fenster Left"), S("(none)")) << "a maximised window saves no place";
    }
    Lifecycle t;
    t.setIni("Main", "Fenster Left", QString::number(5000 * 15)); // a second screen that is gone
    t.setIni("Main", "Fenster Top", QString::number(-300 * 15));
    ASSERT_EQ(t.lifecycle.Form_Load(), MainLifecycle::StartResult::Started);
    EXPECT_TRUE(t.host.screen.contains(t.host.window)) << "moved back in";
    t.host.window.moveTo(100, 50);
    t.stop();
    EXPECT_EQ(t.ini("Main", "Fenster Left"), QString::number(100 * 15));
    EXPECT_EQ(t.ini("Main", "Fenster Top"), QString::number(50 * 15));
}

// The line does not start (a router still starting up): the splash goes before the question, each "try
// again" tries the line anew, and "close" ends the start without showing the window.
TEST(MainStart, ALineThatDoesNotStartIsTriedAgainAsTheUserWants) {
    {
        Lifecycle t;
        t.line->refuseStarts(2);
        t.host.lineAnswers = {true, true};
        ASSERT_EQ(t.lifecycle.Form_Load(), MainLifecycle::StartResult::Started);
        EXPECT_EQ(t.host.calls.count(S("ask retry")), 2);
        EXPECT_LT(t.host.calls.indexOf(S("splash closed")), t.host.calls.indexOf(S("ask retry")));
        EXPECT_TRUE(t.program->lineStatus().ready);
        EXPECT_EQ(t.line->requests().count(S("Init refused")), 2);
        t.stop();
    }
    Lifecycle t;
    t.line->refuseStarts(2);
    t.host.lineAnswers = {true, false};
    EXPECT_EQ(t.lifecycle.Form_Load(), MainLifecycle::StartResult::LineFailed);
    EXPECT_EQ(t.host.calls.count(S("ask retry")), 2);
    EXPECT_LT(t.host.calls.indexOf(S("splash closed")), t.host.calls.indexOf(S("ask retry")));
    EXPECT_FALSE(t.host.calls.contains(S("show")));
    EXPECT_FALSE(t.program->lineStatus().ready);
}

// Waiting for the line, the start asks nothing: it waits a few seconds between the tries, with its
// notice, until the line starts or the user gives up.
TEST(MainStart, WaitingForTheLineTriesEveryFewSecondsUntilItStartsOrTheUserGivesUp) {
    {
        Lifecycle t;
        t.lifecycle.setWaitForLine(true);
        t.line->refuseStarts(3);
        t.host.lineAnswers = {true, true, true};
        ASSERT_EQ(t.lifecycle.Form_Load(), MainLifecycle::StartResult::Started);
        const QString wait = S("wait %1 s").arg(MainLifecycle::LineRetrySeconds);
        EXPECT_EQ(t.host.calls.count(wait), 3);
        EXPECT_FALSE(t.host.calls.contains(S("ask retry")));
        EXPECT_LT(t.host.calls.lastIndexOf(wait), t.host.calls.indexOf(S("wait over")));
        EXPECT_LT(t.host.calls.indexOf(S("wait over")), t.host.calls.indexOf(S("show")));
        t.stop();
    }
    Lifecycle t;
    t.lifecycle.setWaitForLine(true);
    t.line->refuseStarts(100);
    t.host.lineAnswers = {true, false};
    EXPECT_EQ(t.lifecycle.Form_Load(), MainLifecycle::StartResult::LineFailed);
    EXPECT_EQ(t.host.calls.back(), S("wait over"));
    EXPECT_EQ(t.line->requests().count(S("Init refused")), 2);
}

// SIGTERM or SIGINT during the start: the start runs to its end, then the window is asked to close; a
// start that waits for the line stops waiting.
TEST(MainStart, AStopRequestedDuringTheStartFollowsItsEnd) {
    {
        Lifecycle t;
        t.host.duringSplash = [&] {
            t.lifecycle.requestStop();
        };
        ASSERT_EQ(t.lifecycle.Form_Load(), MainLifecycle::StartResult::Started);
        EXPECT_GT(t.host.calls.indexOf(S("post close")), t.host.calls.indexOf(S("show")));
        EXPECT_EQ(t.host.calls.back(), S("post close"));
        EXPECT_EQ(t.host.calls.count(S("post close")), 1);
        t.lifecycle.requestStop(); // after the start: the window is asked at once
        EXPECT_EQ(t.host.calls.count(S("post close")), 2);
    }
    Lifecycle t;
    t.lifecycle.setWaitForLine(true);
    t.line->refuseStarts(100);
    t.host.lineAnswers = {true, true, true};
    t.host.duringLineQuestion = [&] {
        t.lifecycle.requestStop();
    };
    EXPECT_EQ(t.lifecycle.Form_Load(), MainLifecycle::StartResult::LineFailed);
    EXPECT_EQ(t.line->requests().count(S("Init refused")), 1) << "no try after the stop request";
}

// A window stays on any screen present; one on no present screen comes onto the primary screen whole.
TEST(MainWindowPlace, AWindowOnAnyScreenStaysAndOneOnNoScreenComesOntoThePrimary) {
    const QRect primary(0, 0, 1280, 800);
    const QRect right(1280, 0, 1920, 1080);
    const QRect left(-1024, 100, 1024, 768);
    const QSize size(500, 300);
    struct Case {
        const char* what;
        QList<QRect> screens;
        QPoint wanted;
        QPoint expected;
    };
    for (const Case& c : {
             Case{"on the primary", {primary}, {100, 50}, {100, 50}},
             Case{"on a screen right of the primary", {primary, right}, {2000, 400}, {2000, 400}},
             Case{"on a screen left of the primary", {primary, left}, {-900, 200}, {-900, 200}},
             Case{"across two screens", {primary, right}, {1100, 300}, {1100, 300}},
             Case{"partly beyond the primary's right edge", {primary}, {1000, 300}, {1000, 300}},
             Case{"on a screen gone since", {primary}, {2000, 400}, {780, 400}},
             Case{"left of every screen", {primary, right}, {-700, 100}, {0, 100}},
             Case{"its top above the screens", {primary, right}, {100, -200}, {100, 0}},
             Case{"only a sliver on a screen", {primary}, {1270, 100}, {780, 100}},
             Case{"below every screen", {primary, right}, {300, 1200}, {300, 500}},
         }) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(PlaceOnScreens(QRect(c.wanted, size), c.screens), QRect(c.expected, size));
    }
    EXPECT_EQ(PlaceOnScreens(QRect({30, 40}, size), {}), QRect({30, 40}, size)) << "no screen known";

    // At the start: the place saved on a second screen stays.
    Lifecycle t;
    t.host.otherScreens = {right};
    t.setIni("Main", "Fenster Left", QString::number(2000 * 15));
    t.setIni("Main", "Fenster Top", QString::number(400 * 15));
    ASSERT_EQ(t.lifecycle.Form_Load(), MainLifecycle::StartResult::Started);
    EXPECT_EQ(t.host.window.topLeft(), QPoint(2000, 400));
}

// The configuration sets start and stop with the program: a first start writes set 1 ("KonfMorva") and
// a new second set; the own numbers typed into set 1's file decide which calls ring and how the panel
// names them.
TEST(MainStart, TheConfigurationSetsComeFromTheirFilesAndDecideWhichCallsRing) {
    {
        Lifecycle t;
        t.setIni("Setup", "ErrorLog", S("1"));
        ASSERT_EQ(t.lifecycle.Form_Load(), MainLifecycle::StartResult::Started);
        EXPECT_TRUE(QFile::exists(t.dir.filePath(S("KonfMorva"))));
        EXPECT_TRUE(QFile::exists(t.dir.filePath(S("Konfig1.txt"))));
        const QStringList log = t.logLines(S("debug.txt"));
        EXPECT_EQ(log.filter(S("Konfiguration Konfig_create Begin")).size(), 1);
        EXPECT_EQ(log.filter(S("Konfiguration Konfig_create End")).size(), 1);
        t.stop();
        EXPECT_EQ(t.ini("Konfig", "Anzahl"), S("2"));
        EXPECT_EQ(t.ini("Konfig", "KonfigName2"), S("Konfig1.txt"));
    }

    Lifecycle t;
    QFile set(t.dir.filePath(S("KonfMorva")));
    ASSERT_TRUE(set.open(QIODevice::WriteOnly));
    set.write("[MSN]\r\nstrMSN1=5551\r\nexMSN1=-1\r\nstrMSNText1=B\xfcro\r\nexMSNText1=-1\r\n"); // as Windows
                                                                                                 // wrote it
    set.close();
    ASSERT_EQ(t.lifecycle.Form_Load(), MainLifecycle::StartResult::Started);

    t.ring("891234567", "5559", true);
    EXPECT_EQ(t.call().CallState, StateIdle) << "a call to another MSN is not alerted";
    t.line->farEndHangsUp();
    t.settle();

    t.ring("891234567", "5551", true);
    EXPECT_EQ(t.call().CallState, StateIncomingRinging);
    EXPECT_EQ(t.call().panel().lblMSN, S("Büro"));
    t.line->farEndHangsUp();
    t.settle();
    const std::vector<EZGRecord> records = CallLogRecords(*t.program);
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].MSN, S("5551")) << "the log keeps the number and names it when it shows it";
    t.stop();
}
