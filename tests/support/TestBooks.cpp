#include "tests/support/TestBooks.h"

#include <QDir>
TestBooks::TestBooks()
    : Phonebooks(PhonebookDependencies{.store = store,
                                       .settings = settings,
                                       .logs = logs,
                                       .language = language,
                                       .dialogs = dialogs,
                                       .dataFolder = dir.filePath(QStringLiteral("Data")) + QLatin1Char('/'),
                                       .programFolder = dir.path(),
                                       .soundFolder =
                                           [this] {
                                               return soundFolder;
                                           }},
                 profiles, iniPath()) {
    profiles.problemReport = [this](const ProfileProblem& problem) {
        logs.ErrorLog(problem.text);
    };
}

QString TestBooks::iniPath() const {
    return dir.filePath(QStringLiteral("Morva.ini"));
}

QStringList TestBooks::logLines(const QString& fileName) const {
    return ReadLines(dir.filePath(fileName));
}
