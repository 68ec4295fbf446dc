// Morva: a desktop telephony companion for ISDN.

#include "platform/Clock.h"
#include "platform/TerminationSignals.h"
#include "platform/capilink/CapiLink.h"
#include "platform/fdsnd/PulseSound.h"
#include "platform/profile/ProfileStore.h"
#include "shell/Program.h"
#include "shell/base/IsdnSection.h"
#include "shell/base/Settings.h"
#include "shell/ui/ProgramWindows.h"
#include "tools/standinline/StandInLine.h"
#include "tools/standinline/ui/StandInLineWindow.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QIcon>

#include <cstdio>

namespace {

// The program's command line.
struct Options {
    QCommandLineParser parser;
    const QCommandLineOption dataDir{
        QStringLiteral("data-dir"),
        QStringLiteral("Start in DIR, the folder of the data files; created if missing. Default: Morva in "
                       "$XDG_DATA_HOME, ~/.local/share/Morva when that is not set."),
        QStringLiteral("DIR")};
    const QCommandLineOption line{
        QStringLiteral("line"),
        QStringLiteral("The ISDN line: 'capi' (CAPI 2.0 through libcapi20, the default) or 'standin' (a "
                       "simulated line with a window to ring Morva from)."),
        QStringLiteral("KIND"), QStringLiteral("capi")};
    const QCommandLineOption capi{
        QStringLiteral("capi"),
        QStringLiteral("The CAPI server for this start, instead of section [ISDN] of "
                       "Morva.ini: DRIVER[:HOST[:PORT]], e.g. fritzbox:192.168.178.1:5031."),
        QStringLiteral("SERVER")};
    const QCommandLineOption wait{
        QStringLiteral("wait-for-line"),
        QStringLiteral("When no CAPI server answers, wait for it with a notice, trying again every few "
                       "seconds, instead of asking (for an autostart at login, while the router may still "
                       "be starting up).")};

    Options() {
        QCoreApplication::setApplicationName(QStringLiteral("Morva"));
        QCoreApplication::setApplicationVersion(QStringLiteral("%1.%2.%3")
                                                    .arg(MORVA_VERSION_MAJOR)
                                                    .arg(MORVA_VERSION_MINOR)
                                                    .arg(MORVA_VERSION_PATCH));
        parser.setApplicationDescription(QStringLiteral("Morva, the ISDN telephony companion."));
        parser.addHelpOption();
        parser.addVersionOption();
        parser.addOption(dataDir);
        parser.addOption(line);
        parser.addOption(capi);
        parser.addOption(wait);
    }
};

// Help and version are text for the terminal. They are answered before the application that opens the
// display exists, so that they work where there is none (over ssh, in a script).
void answerHelpOrVersion(int argc, char* argv[]) {
    for (int i = 1; i < argc; ++i) {
        const QByteArray argument(argv[i]);
        if (argument == "-h" || argument == "-?" || argument == "--help" || argument == "--help-all" ||
            argument == "-v" || argument == "--version") {
            QCoreApplication core(argc, argv);
            Options options;
            options.parser.process(core); // prints and ends the process
        }
    }
}

} // namespace

int main(int argc, char* argv[]) {
    answerHelpOrVersion(argc, argv);
    QApplication app(argc, argv);
    // SIGTERM and SIGINT are taken from here on, so that one during the start is not the end of the
    // process: it is kept, and the orderly stop runs once the start has finished.
    TerminationSignals signals_;
    bool stopBeforeWindows = false;
    QMetaObject::Connection earlyStop =
        QObject::connect(&signals_, &TerminationSignals::terminationRequested, &app,
                         [&stopBeforeWindows] { stopBeforeWindows = true; });
    // The desktop file and the icon installed with the program carry this name.
    QApplication::setDesktopFileName(QStringLiteral("org.morva.Morva"));
    QApplication::setWindowIcon(QIcon::fromTheme(QStringLiteral("org.morva.Morva")));

    Options options;
    QCommandLineParser& parser = options.parser;
    parser.process(app);
    const QCommandLineOption& dataDirOption = options.dataDir;
    const QCommandLineOption& lineOption = options.line;
    const QCommandLineOption& capiOption = options.capi;
    const QCommandLineOption& waitOption = options.wait;

    // The data folder is also the working folder: the program's files are found relative to it.
    const QString dir = parser.isSet(dataDirOption) ? parser.value(dataDirOption) : Program::DefaultDataDir();
    if (!QDir().mkpath(dir) || !QDir::setCurrent(dir)) {
        std::fprintf(stderr, "morva: cannot use the data folder %s\n", qPrintable(dir));
        return 2;
    }
    const QString lineKind = parser.value(lineOption);
    if (lineKind != QLatin1String("capi") && lineKind != QLatin1String("standin")) {
        std::fprintf(stderr, "morva: unknown line '%s'; known: capi, standin\n", qPrintable(lineKind));
        return 2;
    }

    const QString dataDir = QDir::currentPath();
    // Sound through the desktop's sound server; without one the program runs silent and says so.
    auto sound = std::make_shared<PulseSound>();
    std::unique_ptr<CtiLibrary> line;
    StandInLine* standIn = nullptr;
    QString serverName;
    if (lineKind == QLatin1String("standin")) {
        auto standInLine = std::make_unique<StandInLine>();
        standIn = standInLine.get();
        line = std::move(standInLine);
    } else {
        Settings isdn;
        ProfileStore profiles;
        LoadIsdnSection(profiles, isdn, Program::IniPath(dataDir));
        CapiServer server{isdn.CapiDriver.toLatin1(), isdn.CapiHost.toLatin1(), isdn.CapiPort};
        if (parser.isSet(capiOption)) {
            const QStringList parts = parser.value(capiOption).split(QLatin1Char(':'));
            bool portOk = parts.size() < 3;
            server = {parts.value(0).toLatin1(), parts.value(1).toLatin1(),
                      parts.size() >= 3 ? parts[2].toInt(&portOk) : 0};
            if (parts.size() > 3 || server.driver.isEmpty() || !portOk || server.port < 0 ||
                server.port > 65535) {
                std::fprintf(stderr, "morva: --capi wants DRIVER[:HOST[:PORT]], not '%s'\n",
                             qPrintable(parser.value(capiOption)));
                return 2;
            }
        }
        line = std::make_unique<CapiLink>(server, sound->voiceDevice());
        serverName = server.name();
    }

    SystemClock clock;
    Program program(clock, std::move(line), dataDir, sound);
    ProgramWindows windows(program);
    QObject::disconnect(earlyStop);
    QObject::connect(&signals_, &TerminationSignals::terminationRequested, &windows.main(),
                     [&windows] { windows.requestStop(); });
    if (stopBeforeWindows)
        windows.requestStop();
    if (lineKind == QLatin1String("capi"))
        windows.setLineFailureHelp(
            serverName,
            QStringLiteral(
                "Morva reaches ISDN through CAPI 2.0. Choose the CAPI server in section [ISDN] of "
                "%1:\n  Driver=fritzbox, Host=<router>, Port=5031 for a router's CAPI-over-TCP "
                "service;\n  Driver=rcapi, Host, Port for a remote CAPI server;\n  Driver=standard for "
                "a CAPI controller in this machine;\n  no Driver: libcapi20's own ~/.capi20rc or "
                "/etc/capi20.conf.\nFor one start: --capi DRIVER:HOST:PORT. To try Morva without "
                "ISDN: --line standin.")
                .arg(QDir::toNativeSeparators(Program::IniPath(dataDir))));
    windows.lifecycle().setWaitForLine(parser.isSet(waitOption));
    const MainLifecycle::StartResult started = windows.Form_Load();
    if (started == MainLifecycle::StartResult::SecondInstance) {
        std::fprintf(stderr, "morva: already running; brought its window to the front\n");
        return 0;
    }
    if (started == MainLifecycle::StartResult::SoundFailed) {
        std::fprintf(stderr, "morva: the sound library could not start (see debug.txt)\n");
        return 1;
    }
    if (started == MainLifecycle::StartResult::LineFailed) {
        // The user has seen why and chose to end (or gave up waiting, or the session asked Morva to end).
        QString why = program.fatalMessage();
        const QString detail = program.line().lastError();
        if (!detail.isEmpty())
            why += QStringLiteral(" ") + detail;
        std::fprintf(stderr, "morva: the ISDN line could not start: %s\n", qPrintable(why));
        return 1;
    }

    std::unique_ptr<StandInLineWindow> standInWindow;
    if (standIn) {
        standInWindow = std::make_unique<StandInLineWindow>(*standIn);
        standInWindow->setAttribute(Qt::WA_QuitOnClose, false); // closing Morva's window ends the program
        standInWindow->move(windows.main().frameGeometry().topRight() + QPoint(16, 0));
        standInWindow->show();
    }

    return app.exec();
}
