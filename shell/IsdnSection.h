#pragma once

#include <QString>

struct Settings;

// Reads section ISDN of Morva.ini into the settings: "BlockSize", and the CAPI server's "Driver",
// "Host" and "Port". Missing keys keep their defaults; a BlockSize outside 128 to 2048 keeps its default.
void LoadIsdnSection(Settings& settings, const QString& iniPath);
