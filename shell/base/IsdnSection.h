#pragma once

#include <QString>

class ProfileStore;
struct Settings;

// Reads section ISDN of Morva.ini into the settings: "BlockSize", and the CAPI server's "Driver",
// "Host" and "Port". Missing keys keep their defaults; a BlockSize outside 128 to 2048 and a port
// outside 1 to 65535 keep theirs.
void LoadIsdnSection(ProfileStore& profiles, Settings& settings, const QString& iniPath);
