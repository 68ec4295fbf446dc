// Morva: a desktop telephony companion for ISDN.

#include "shell/ui/Main.h"
#include "platform/Clock.h"
#include "platform/TerminationSignals.h"
#include "shell/Program.h"
#include "tools/standinline/StandInLine.h"
#include "tools/standinline/StandInLineWindow.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QMessageBox>

#include <cstdio>

int main(int argc, char* argv[]) {
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Morva"));
    QApplication::setApplicationVersion(QStringLiteral("%1.%2.%3")
                                            .arg(MORVA_VERSION_MAJOR)
                                            .arg(MORVA_VERSION_MINOR)
                                            .arg(MORVA_VERSION_PATCH));
    QApplication::setDesktopFileName(QStringLiteral("morva"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Morva, the ISDN telephony companion."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption dataDirOption(
        QStringLiteral("data-dir"),
        QStringLiteral("Start in DIR, the folder of the data files; created "
                       "if missing. Default: the current folder."),
        QStringLiteral("DIR"));
    const QCommandLineOption lineOption(QStringLiteral("line"),
                                        QStringLiteral("The ISDN line: 'standin' (a simulated line with a "
                                                       "window to ring Morva from)."),
                                        QStringLiteral("KIND"), QStringLiteral("standin"));
    parser.addOption(dataDirOption);
    parser.addOption(lineOption);
    parser.process(app);

    if (parser.isSet(dataDirOption)) {
        const QString dir = parser.value(dataDirOption);
        if (!QDir().mkpath(dir) || !QDir::setCurrent(dir)) {
            std::fprintf(stderr, "morva: cannot use the data folder %s\n", qPrintable(dir));
            return 2;
        }
    }
    if (parser.value(lineOption) != QLatin1String("standin")) {
        std::fprintf(stderr, "morva: unknown line '%s'; known: standin\n",
                     qPrintable(parser.value(lineOption)));
        return 2;
    }

    SystemClock clock;
    auto line = std::make_unique<StandInLine>();
    StandInLine& standIn = *line;
    Program program(clock, std::move(line), QDir::currentPath());
    Main window(program);
    if (!window.Form_Load()) {
        const QString why = program.fatalMessage();
        std::fprintf(stderr, "morva: the ISDN line could not start: %s\n", qPrintable(why));
        QMessageBox::critical(nullptr, QStringLiteral("Morva"),
                              QStringLiteral("The ISDN line could not start.\n\n") + why);
        return 1;
    }
    window.show();

    StandInLineWindow standInWindow(standIn);
    standInWindow.setAttribute(Qt::WA_QuitOnClose, false); // closing Morva's window ends the program
    standInWindow.move(window.frameGeometry().topRight() + QPoint(16, 0));
    standInWindow.show();

    TerminationSignals signals_;
    QObject::connect(&signals_, &TerminationSignals::terminationRequested, &window, &QWidget::close);
    return app.exec();
}
