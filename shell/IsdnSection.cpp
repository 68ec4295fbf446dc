#include "shell/IsdnSection.h"

#include "shell/Settings.h"

#include <QSettings>

void LoadIsdnSection(Settings& settings, const QString& iniPath) {
    QSettings ini(iniPath, QSettings::IniFormat);
    ini.beginGroup(QStringLiteral("ISDN"));
    bool ok = false;
    const int blockSize = ini.value(QStringLiteral("BlockSize")).toInt(&ok);
    if (ok && blockSize >= 128 && blockSize <= 2048)
        settings.BlockSize = blockSize;
    settings.CapiDriver = ini.value(QStringLiteral("Driver"), settings.CapiDriver).toString().trimmed();
    settings.CapiHost = ini.value(QStringLiteral("Host"), settings.CapiHost).toString().trimmed();
    const int port = ini.value(QStringLiteral("Port")).toInt(&ok);
    if (ok && port > 0 && port < 65536)
        settings.CapiPort = port;
}
