#include "shell/base/IsdnSection.h"

#include "platform/profile/ProfileStore.h"
#include "shell/base/Settings.h"

void LoadIsdnSection(ProfileStore& profiles, Settings& settings, const QString& iniPath) {
    const QString isdn = QStringLiteral("ISDN");
    const int blockSize =
        profiles.GetPrivateProfileInt(isdn, QStringLiteral("BlockSize"), settings.BlockSize, iniPath);
    if (blockSize >= 128 && blockSize <= 2048)
        settings.BlockSize = blockSize;
    settings.CapiDriver =
        profiles.GetPrivateProfileString(isdn, QStringLiteral("Driver"), settings.CapiDriver, iniPath)
            .trimmed();
    settings.CapiHost =
        profiles.GetPrivateProfileString(isdn, QStringLiteral("Host"), settings.CapiHost, iniPath).trimmed();
    const int port = profiles.GetPrivateProfileInt(isdn, QStringLiteral("Port"), settings.CapiPort, iniPath);
    if (port > 0 && port < 65536)
        settings.CapiPort = port;
}
