// Putting the shipped pieces into the prompt folder: only those missing, never over a file that is there,
// English for an unknown language, and the paths it could not write.

#include "lines/answering/PromptSet.h"
#include "tests/support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

QByteArray Bytes(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void Write(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << qPrintable(path);
    file.write(bytes);
}

QString Shipped(const char* code, const QString& name) {
    return QStringLiteral(":/prompts/") + QLatin1String(code) + QLatin1Char('/') + name;
}

} // namespace

TEST(InstallPrompts, PutsEveryPieceIntoAFolderItMakes) {
    QTemporaryDir dir;
    const QString folder = dir.filePath(QStringLiteral("data/Ansage"));
    QStringList failed;
    const QStringList installed = PromptSet::InstallPrompts(QStringLiteral("de"), folder, &failed);
    EXPECT_EQ(installed, PromptSet::PieceNames(QStringLiteral("de")));
    EXPECT_TRUE(failed.isEmpty());
    for (const QString& name : installed) {
        const QByteArray bytes = Bytes(QDir(folder).filePath(name));
        EXPECT_FALSE(bytes.isEmpty()) << qPrintable(name);
        EXPECT_EQ(bytes, Bytes(Shipped("de", name))) << qPrintable(name);
    }
    EXPECT_TRUE(QDir(folder).entryList({QStringLiteral("*.part")}, QDir::Files).isEmpty());
    // A second start finds them all there.
    EXPECT_TRUE(PromptSet::InstallPrompts(QStringLiteral("de"), folder, &failed).isEmpty());
    EXPECT_TRUE(failed.isEmpty());
}

TEST(InstallPrompts, NeverReplacesAFileThatIsThere) {
    QTemporaryDir dir;
    const QDir folder(dir.path());
    // The user recorded the help, the welcome in another case, and a number.
    const QByteArray recorded("RIFF recorded by the user");
    Write(folder.filePath(QStringLiteral("help.wav")), recorded);
    Write(folder.filePath(QStringLiteral("WILLKOMMEN.WAV")), recorded + "2");
    Write(folder.filePath(QStringLiteral("7.wav")), recorded + "7");
    // What a start that died while writing left behind.
    Write(folder.filePath(QStringLiteral("Siehaben.wav.part")), "half");

    QStringList failed;
    const QStringList installed = PromptSet::InstallPrompts(QStringLiteral("fr"), folder.path(), &failed);
    EXPECT_TRUE(failed.isEmpty());
    EXPECT_EQ(installed.size(), PromptSet::PieceNames(QStringLiteral("fr")).size() - 3);
    for (const char* kept : {"help.wav", "willkommen.wav", "7.wav"})
        EXPECT_FALSE(installed.contains(QLatin1String(kept))) << kept;
    EXPECT_EQ(Bytes(folder.filePath(QStringLiteral("help.wav"))), recorded);
    EXPECT_EQ(Bytes(folder.filePath(QStringLiteral("WILLKOMMEN.WAV"))), recorded + "2");
    EXPECT_FALSE(QFile::exists(folder.filePath(QStringLiteral("willkommen.wav"))));
    EXPECT_EQ(Bytes(folder.filePath(QStringLiteral("7.wav"))), recorded + "7");
    EXPECT_EQ(Bytes(folder.filePath(QStringLiteral("Siehaben.wav"))),
              Bytes(Shipped("fr", QStringLiteral("Siehaben.wav"))));
    EXPECT_FALSE(QFile::exists(folder.filePath(QStringLiteral("Siehaben.wav.part"))));
}

TEST(InstallPrompts, AnUnknownLanguageGetsTheEnglishSet) {
    QTemporaryDir dir;
    const QStringList installed = PromptSet::InstallPrompts(QStringLiteral("xx"), dir.path());
    EXPECT_EQ(installed, PromptSet::PieceNames(QStringLiteral("uk")));
    for (const QString& name :
         {QStringLiteral("Siehaben.wav"), QStringLiteral("und.wav"), QStringLiteral("1e.wav")}) {
        EXPECT_EQ(Bytes(QDir(dir.path()).filePath(name)), Bytes(Shipped("uk", name))) << qPrintable(name);
        EXPECT_NE(Bytes(QDir(dir.path()).filePath(name)), Bytes(Shipped("de", name))) << qPrintable(name);
    }
}

TEST(InstallPrompts, ReportsAFolderItCannotWrite) {
    QTemporaryDir dir;
    // A file where the folder should be: neither it nor anything below it can be made, not even by root.
    const QString blocker = dir.filePath(QStringLiteral("Ansage"));
    Write(blocker, "not a folder");
    const QString folder = blocker + QStringLiteral("/de");
    QStringList failed;
    EXPECT_TRUE(PromptSet::InstallPrompts(QStringLiteral("de"), folder, &failed).isEmpty());
    ASSERT_EQ(failed.size(), PromptSet::PieceNames(QStringLiteral("de")).size());
    EXPECT_EQ(failed.front(), QDir(folder).filePath(PromptSet::PieceNames(QStringLiteral("de")).front()));
    EXPECT_EQ(Bytes(blocker), QByteArray("not a folder"));
}
