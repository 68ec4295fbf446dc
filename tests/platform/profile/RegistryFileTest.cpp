#include "platform/profile/RegistryFile.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

const QString kMorva = QStringLiteral("Software\\Nalda\\Morva");

class RegistryFileTest : public ::testing::Test {
protected:
    QByteArray contents() const {
        QFile file(m_path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QTemporaryDir m_dir;
    QString m_path = m_dir.filePath(QStringLiteral("Registry.ini"));
    ProfileStore m_store;
    RegistryFile m_registry{m_store, m_path};
};

TEST_F(RegistryFileTest, ValuesKeepTheirTypeAcrossAWriteAndARead) {
    EXPECT_TRUE(m_registry.RegWrite(RegRoot::LocalMachine, kMorva, QStringLiteral("NBST"), REG_DWORD, 1));
    EXPECT_TRUE(
        m_registry.RegWrite(RegRoot::LocalMachine, kMorva, QStringLiteral("Language"), REG_DWORD, -1));
    EXPECT_TRUE(m_registry.RegWrite(RegRoot::LocalMachine, kMorva, QStringLiteral("NBSTAKZ"), REG_SZ,
                                    QStringLiteral("0")));
    EXPECT_TRUE(m_registry.RegWrite(RegRoot::LocalMachine, kMorva, QStringLiteral("Vorwahl"), REG_SZ,
                                    QStringLiteral(" \"089\" ")));
    EXPECT_EQ(contents(), "[HKLM\\Software\\Nalda\\Morva]\nNBST=dword:00000001\nLanguage=dword:ffffffff\n"
                          "NBSTAKZ=\"0\"\nVorwahl=\" \"089\" \"\n");

    ProfileStore fresh; // as on the next start
    RegistryFile again(fresh, m_path);
    const QVariant nbst = again.RegRead(RegRoot::LocalMachine, kMorva, QStringLiteral("nbst"), 0);
    EXPECT_EQ(nbst.typeId(), QMetaType::Int);
    EXPECT_EQ(nbst.toInt(), 1);
    EXPECT_EQ(again.RegRead(RegRoot::LocalMachine, kMorva, QStringLiteral("Language"), 9).toInt(), -1);
    const QVariant prefix = again.RegRead(RegRoot::LocalMachine, kMorva, QStringLiteral("NBSTAKZ"), 5);
    EXPECT_EQ(prefix.typeId(), QMetaType::QString) << "the stored type, not the default's";
    EXPECT_EQ(prefix.toString(), QStringLiteral("0"));
    EXPECT_EQ(again.RegRead(RegRoot::LocalMachine, kMorva, QStringLiteral("Vorwahl"), QString()).toString(),
              QStringLiteral(" \"089\" "));
}

TEST_F(RegistryFileTest, MissingValuesKeysAndFilesGiveTheDefault) {
    EXPECT_EQ(m_registry.RegRead(RegRoot::LocalMachine, kMorva, QStringLiteral("PhoneType"), 3).toInt(), 3);
    EXPECT_TRUE(m_registry.RegWrite(RegRoot::LocalMachine, kMorva, QStringLiteral("NBST"), REG_DWORD, 0));
    EXPECT_EQ(m_registry.RegRead(RegRoot::LocalMachine, kMorva, QStringLiteral("PhoneType"), 3).toInt(), 3);
    EXPECT_EQ(m_registry.RegRead(RegRoot::CurrentUser, kMorva, QStringLiteral("NBST"), 7).toInt(), 7)
        << "the two roots are separate";
    EXPECT_EQ(
        m_registry
            .RegRead(RegRoot::LocalMachine, QStringLiteral("Software\\Other"), QStringLiteral("NBST"), 7)
            .toInt(),
        7);
}

TEST_F(RegistryFileTest, KeysAreCreatedOnceAndStringsEndAtNul) {
    EXPECT_TRUE(m_registry.RegCreateKey(RegRoot::CurrentUser, kMorva));
    EXPECT_TRUE(m_registry.RegCreateKey(RegRoot::CurrentUser, QStringLiteral("\\software\\nalda\\morva\\")));
    EXPECT_EQ(contents(), "[HKCU\\Software\\Nalda\\Morva]\n");
    const QString withNul = QStringLiteral("1.2") + QChar(u'\0') + QStringLiteral("junk");
    EXPECT_TRUE(
        m_registry.RegWrite(RegRoot::CurrentUser, kMorva, QStringLiteral("Version"), REG_SZ, withNul));
    EXPECT_EQ(
        m_registry.RegRead(RegRoot::CurrentUser, kMorva, QStringLiteral("Version"), QString()).toString(),
        QStringLiteral("1.2"));
    EXPECT_FALSE(
        m_registry.RegWrite(RegRoot::CurrentUser, kMorva, QStringLiteral("Bin"), 3, QByteArray("x")));
    EXPECT_FALSE(m_registry.RegWrite(RegRoot::CurrentUser, kMorva, QStringLiteral("N"), REG_DWORD,
                                     QStringLiteral("abc")));
}

TEST_F(RegistryFileTest, HandWrittenValuesAreRead) {
    QFile file(m_path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(
        "[HKLM\\Software\\Nalda\\Morva]\nPhoneType = DWORD:00000002\nVorwahl=  089  \nBad=dword:xyz\n");
    file.close();
    EXPECT_EQ(m_registry.RegRead(RegRoot::LocalMachine, kMorva, QStringLiteral("PhoneType"), 3).toInt(), 2);
    EXPECT_EQ(
        m_registry.RegRead(RegRoot::LocalMachine, kMorva, QStringLiteral("Vorwahl"), QString()).toString(),
        QStringLiteral("089"));
    EXPECT_EQ(m_registry.RegRead(RegRoot::LocalMachine, kMorva, QStringLiteral("Bad"), 4).toInt(), 4);
}

} // namespace
