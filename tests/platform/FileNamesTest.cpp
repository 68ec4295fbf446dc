#include "platform/FileNames.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

void touch(const QDir& dir, const char* name) {
    QFile file(dir.filePath(S(name)));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
}

} // namespace

TEST(FileNameInFolder, FindsAFileWithoutRegardToCaseAndAnExactNameWins) {
    QTemporaryDir temp;
    const QDir dir(temp.path());
    touch(dir, "Freunde.dbf");
    touch(dir, "MACROS.DBF");
    touch(dir, "macros.dbf");
    touch(dir, "Müller.txt");
    ASSERT_TRUE(dir.mkdir(S("Verein.dbf")));

    EXPECT_EQ(FileNameInFolder(temp.path(), S("FREUNDE.DBF")), S("Freunde.dbf"));
    EXPECT_EQ(FileNameInFolder(temp.path(), S("freunde.dbf")), S("Freunde.dbf"));
    EXPECT_EQ(FileNameInFolder(temp.path(), S("MÜLLER.TXT")), S("Müller.txt"));
    EXPECT_EQ(FileNameInFolder(temp.path(), S("macros.dbf")), S("macros.dbf"));
    EXPECT_EQ(FileNameInFolder(temp.path(), S("MACROS.DBF")), S("MACROS.DBF"));
    EXPECT_EQ(FileNameInFolder(temp.path(), S("Macros.dbf")), S("MACROS.DBF")) << "the first in name order";
    EXPECT_EQ(FileNameInFolder(temp.path(), S("verein.dbf")), QString()) << "a folder is no file";
    EXPECT_EQ(FileNameInFolder(temp.path(), S("Freunde")), QString()) << "the whole name counts";
    EXPECT_EQ(FileNameInFolder(temp.path(), QString()), QString());
    EXPECT_EQ(FileNameInFolder(temp.filePath(S("gone")), S("Freunde.dbf")), QString());

    EXPECT_EQ(PathInFolder(temp.path(), S("FREUNDE.DBF")), dir.filePath(S("Freunde.dbf")));
    EXPECT_EQ(PathInFolder(temp.path(), S("Neu.dbf")), dir.filePath(S("Neu.dbf"))) << "a file to be made";
}
