#pragma once

#include <QString>

#include <cstdint>

// One global key (section Setup, "HotkeyVkey", "HotkeyUseCtrl" ... and the same with "2" for the second):
// a virtual key code, 0 for none, and its modifiers.
struct HotkeyRecord {
    int32_t vkey = 0;
    int16_t useCtrl = 0;
    int16_t useAlt = 0;
    int16_t useShift = 0;
};

// The rules that turn a marked number into one to dial ("HotkeyPrefix", "HotkeyReplace",
// "HotkeyReplacePlus", "HotkeyReplacePlusString"): a number that begins with `prefix` gets `replace` in
// its place; otherwise, with `replacePlus` 1, a number marked with "+" gets `plusString` in front.
struct HotkeyRules {
    QString prefix = QStringLiteral("49");
    QString replace = QStringLiteral("0");
    int16_t replacePlus = 1;
    QString plusString = QStringLiteral("00");
};

// The common settings of the program, as variables that every part reads. They start at their
// defaults; loading them from Morva.ini and the registry file fills them (Eurit_Cfg_load).
struct Settings {
    // Section Setup.
    int16_t ComPort = 1;
    int16_t UseTapi = 0;    // "USETAPI": the start sets it to 0 whatever the file says
    int16_t ErrorLogOn = 0; // "ErrorLog": switches debug.txt and log.txt, and the line library's debug flag
    int16_t LogEnable = 1;  // "Log enable": 0 writes no call log entries
    int16_t MonitorInTray = 1;
    int16_t MSNCount = 3; // "MSNAnzahl": own numbers the telephone kind offers
    int16_t SelFirmware = 1;
    QString NBSTAKZ = QStringLiteral("0");   // "Prefix": outside-line prefix
    QString NBSTAKZIN = QStringLiteral("0"); // "PrefixIncoming": prefix the exchange puts on incoming numbers
    QString LandesCode = QStringLiteral("49");
    int16_t ReadBookAtStart = 0;
    int16_t TransAuto = 0;
    int16_t UseDInfo = 0;
    QString DInfoPrefix;
    QString DInfoPath;
    int16_t UseTwixTel = 0;
    QString TwixTelPrefix;
    QString TwixTelDrive;
    int16_t IgnoreDigits = 1;
    int16_t IgnoreNumbers = 1;
    // "ABSafeInquiry": the answering machine's safer remote inquiry. A caller is cut off after three wrong
    // PINs and that number is refused for 15 minutes; with an empty PIN no inquiry is possible.
    int16_t ABSafeInquiry = 0;
    // The dial hotkey (1) and the hang-up hotkey (2), and the dial hotkey's number rules.
    HotkeyRecord Hotkey1;
    HotkeyRecord Hotkey2;
    HotkeyRules HotkeyDial;
    int16_t HotWaitTime = 15; // "HotWaitTime": seconds to wait for the marked text

    // Registry values.
    int16_t PhoneType = 3;
    int16_t NBST = 0; // a private branch exchange is in use: switches the prefix operations on
    QString Vorwahl;  // own area code with its leading "0"
    // "Language" is the language module's own state (Language::LanguageId).

    // Section Actions.
    int16_t Showonring = 0;
    int16_t MinimizeOnSilence = 0;
    QString ActionTestNumber; // "TestNumber": the number of the rule window's test

    // Section Konfig.
    int16_t LoadKonfigAtStart = 0;

    // Section Dial.
    int16_t DialMSN = 1; // 1 to 5: MSN of configuration set 1 shown on outgoing calls
    int16_t UseDialMSN = 0;

    // Section ISDN.
    int32_t BlockSize = 256; // B-channel block length of the line library
    // The CAPI server: "Driver" (libcapi20's module: "fritzbox", "rcapi" or "standard"; empty leaves the
    // choice to libcapi20's own configuration), "Host" and "Port".
    QString CapiDriver;
    QString CapiHost;
    int32_t CapiPort = 0;
};
